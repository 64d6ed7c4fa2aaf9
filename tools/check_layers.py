#!/usr/bin/env python3
"""Checks that every include in src/, tests/unit/ and tests/fuzz/ keeps to the layers' order.

The layers and what each may use are read from the brindle_layer(...) lines of
src/*/CMakeLists.txt, the same lines that build the libraries.  A file of layer L
(src/L/..., or a test in tests/unit/L/ or tests/fuzz/L/) may include "L/..." and the headers
of the layers L uses, directly or through another; a unit test may also include
"support/...", the shared test library.  An include that climbs out of its
directory ("../") is refused everywhere.  Prints one line per fault and exits 1 if
there is any.

Usage: check_layers.py [SOURCE-DIR]
"""
import os
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]')
LAYER_LINE = re.compile(r'brindle_layer\(([^)]*)\)')
KEYWORDS = {'LIBS', 'PROGRAMS'}


def read_layers(src):
    """{layer: set of layers it names} from the brindle_layer lines."""
    layers = {}
    for name in sorted(os.listdir(src)):
        cmake = os.path.join(src, name, 'CMakeLists.txt')
        if not os.path.isfile(cmake):
            continue
        with open(cmake) as f:
            text = re.sub(r'#.*', '', f.read())
        for m in LAYER_LINE.finditer(text):
            words = m.group(1).split()
            uses = set()
            for w in words[1:]:
                if w in KEYWORDS:
                    if w == 'LIBS':
                        break
                    continue
                uses.add(w[len('brindle_'):] if w.startswith('brindle_') else w)
            layers[words[0]] = uses
    return layers


def closure(layers, name):
    seen, todo = set(), [name]
    while todo:
        for dep in layers.get(todo.pop(), ()):
            if dep not in seen:
                seen.add(dep)
                todo.append(dep)
    return seen


def sources(top):
    for root, _, files in os.walk(top):
        for f in sorted(files):
            if f.endswith(('.h', '.cc', '.c', '.cpp', '.hpp')):
                yield os.path.join(root, f)


def check(top):
    src = os.path.join(top, 'src')
    layers = read_layers(src)
    faults = []
    trees = [(os.path.join(src, d), d, False) for d in sorted(os.listdir(src))
             if os.path.isdir(os.path.join(src, d))]
    unit = os.path.join(top, 'tests', 'unit')
    if os.path.isdir(unit):
        trees += [(os.path.join(unit, d), d, True) for d in sorted(os.listdir(unit))
                  if os.path.isdir(os.path.join(unit, d))]
    # Fuzz targets sit in tests/fuzz/LAYER beside their inputs (corpus/, regress/, dict/).
    fuzz = os.path.join(top, 'tests', 'fuzz')
    if os.path.isdir(fuzz):
        trees += [(os.path.join(fuzz, d), d, True) for d in sorted(os.listdir(fuzz))
                  if os.path.isdir(os.path.join(fuzz, d)) and d in layers]
    for tree, layer, is_test in trees:
        if layer not in layers:
            faults.append('%s: not a layer: no brindle_layer(%s ...) line in src/%s/CMakeLists.txt'
                          % (os.path.relpath(tree, top), layer, layer))
            continue
        allowed = closure(layers, layer) | {layer}
        for path in sources(tree):
            rel = os.path.relpath(path, top)
            with open(path, errors='replace') as f:
                for number, line in enumerate(f, 1):
                    m = INCLUDE.match(line)
                    if not m:
                        continue
                    header = m.group(1)
                    if '../' in header or header.startswith('..'):
                        faults.append('%s:%d: include climbs out of its directory: %s'
                                      % (rel, number, header))
                        continue
                    first = header.split('/')[0] if '/' in header else None
                    if first in layers and first not in allowed:
                        faults.append('%s:%d: layer %s may not include %s (it uses: %s)'
                                      % (rel, number, layer, header,
                                         ' '.join(sorted(allowed - {layer})) or 'nothing'))
                    elif first == 'support' and not is_test:
                        faults.append('%s:%d: the library may not include the test library: %s'
                                      % (rel, number, header))
    return faults


def main():
    top = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), '..')
    faults = check(os.path.abspath(top))
    for f in faults:
        print(f)
    if faults:
        print('%d include(s) across the layers\' order' % len(faults))
        return 1
    return 0


if __name__ == '__main__':
    sys.exit(main())
