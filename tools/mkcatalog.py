#!/usr/bin/env python3
"""Gather catalogue texts from the sources and compile them with gencat.

Every user-visible text is written in the code as UTIL_MSG(n, "text") (foundation
library, catalogue libutil_1) or BWM_MSG(n, "text") (engine, catalogue libbwm_1).
A number used twice with different texts is a build error, so a catalogue can never
give one message the text of another.
"""
import argparse
import os
import re
import subprocess
import sys

CALL = re.compile(r'\b(UTIL|BWM)_MSG\(\s*(\d+)\s*,\s*((?:"(?:[^"\\\n]|\\.)*"\s*)+)\)', re.S)
PIECE = re.compile(r'"((?:[^"\\\n]|\\.)*)"', re.S)
CATALOGS = {"UTIL": "libutil_1", "BWM": "libbwm_1"}


def c_unescape(s):
    out, i = [], 0
    simple = {"n": "\n", "t": "\t", "r": "\r", "\\": "\\", '"': '"', "'": "'",
              "a": "\a", "b": "\b", "f": "\f", "v": "\v", "?": "?"}
    while i < len(s):
        c = s[i]
        if c != "\\":
            out.append(c)
            i += 1
            continue
        n = s[i + 1]
        if n in simple:
            out.append(simple[n])
            i += 2
        elif n in "01234567":
            j = i + 1
            while j < len(s) and j < i + 4 and s[j] in "01234567":
                j += 1
            out.append(chr(int(s[i + 1:j], 8)))
            i = j
        else:
            raise ValueError("unsupported escape \\" + n)
    return "".join(out)


def gencat_escape(s):
    m = {"\n": "\\n", "\t": "\\t", "\\": "\\\\", '"': '\\"', "\r": "\\r",
         "\b": "\\b", "\f": "\\f", "\v": "\\v"}
    return "".join(m.get(c, c) for c in s)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--gencat", default="gencat")
    ap.add_argument("--out", required=True)
    ap.add_argument("sources", nargs="*")
    a = ap.parse_args()
    texts = {k: {} for k in CATALOGS}
    where = {}
    bad = False
    for path in a.sources:
        with open(path, encoding="utf-8", errors="replace") as f:
            src = f.read()
        for m in CALL.finditer(src):
            cat, num = m.group(1), int(m.group(2))
            text = "".join(c_unescape(p) for p in PIECE.findall(m.group(3)))
            line = src.count("\n", 0, m.start()) + 1
            old = texts[cat].get(num)
            if old is not None and old != text:
                print("%s:%d: %s_MSG(%d) differs from the text at %s"
                      % (path, line, cat, num, where[(cat, num)]), file=sys.stderr)
                bad = True
            texts[cat][num] = text
            where.setdefault((cat, num), "%s:%d" % (path, line))
    if bad:
        return 1
    os.makedirs(a.out, exist_ok=True)
    for cat, name in CATALOGS.items():
        msg = os.path.join(a.out, name + ".msg")
        with open(msg, "w", encoding="utf-8") as f:
            f.write("$set 1\n$quote \"\n")
            for num in sorted(texts[cat]):
                f.write('%d "%s"\n' % (num, gencat_escape(texts[cat][num])))
        target = os.path.join(a.out, name + ".cat")
        tmp = target + ".new"
        subprocess.run([a.gencat, "-o", tmp, msg], check=True)
        os.replace(tmp, target)
    return 0


if __name__ == "__main__":
    sys.exit(main())
