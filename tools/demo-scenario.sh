#!/usr/bin/env bash
# The demo itself: a parent workspace with a few SCCS files, and a child made from
# it by bringover; the parent moves on and the next bringover carries its edit,
# new file and rename into the child; a change on both sides is a conflict,
# which resolve settles before a putback carries the child's work back; ws_undo
# takes that putback back again.
# Argument: the directory of the built programs.
set -euo pipefail
bin=${1:?usage: demo-scenario.sh BIN-DIR}
bin=$(cd "$bin" && pwd)
tools=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
demo=$(mktemp -d "${TMPDIR:-/tmp}/brindle-demo.XXXXXX")
demo=$(cd "$demo" && pwd -P)
echo "Demo tree in $demo"
if [ ! -x "$bin/bringover" ]; then
  echo "Built programs:"; ls "$bin"
  exit 0
fi
# The SCCS programs' directory is the one the build was configured with.
sccs_dir=$(sed -n 's/^BRINDLE_SCCS_DIR:PATH=//p' "$bin/../CMakeCache.txt")
export PATH="$bin:$sccs_dir:$PATH"

# show CMD...: prints the command as typed, runs it, and tells its status.
show() {
  echo
  echo "\$ $*"
  local status=0
  "$@" || status=$?
  echo "[exit status $status]"
}

# A parent workspace: a directory with the metadata directory at its root, and
# history files made with the SCCS programs.
cd "$demo"
mkdir -p parent/Brindle_wsdata parent/src/SCCS parent/doc/SCCS
printf '#include <stdio.h>\nint main() { puts("hello"); return 0; }\n' >parent/src/hello.c
printf 'hello: hello.c\n\tcc -o hello hello.c\n' >parent/src/Makefile
printf 'A greeting program.\n' >parent/doc/README
for f in src/hello.c src/Makefile doc/README; do
  d=$(dirname "$f"); b=$(basename "$f")
  (cd "parent/$d" && admin -i"$b" -y"first version of $f" "SCCS/s.$b" 2>/dev/null && rm -f "$b")
done
(cd parent/src && get -s -e SCCS/s.hello.c &&
  printf '#include <stdio.h>\nint main() { puts("hello, world"); return 0; }\n' >hello.c &&
  delta -s -y"a friendlier greeting" SCCS/s.hello.c 2>/dev/null)

echo
echo "The parent workspace:"
(cd parent && find . -type f | sort | sed 's/^/  /')
echo "History of src/hello.c:"
(cd parent/src && prs -e -d'  :I: :P: :C:' SCCS/s.hello.c) | sed '/^$/d'

# A newcomer makes a child of it: a preview first, then the real thing.
show bringover -n -p "$demo/parent" -w "$demo/child" src doc
show bringover -p "$demo/parent" -w "$demo/child" src doc

echo
echo "The child's metadata directory:"
ls -l child/Brindle_wsdata | sed 's/^/  /'
echo "Its parent link:"
sed 's/^/  /' child/Brindle_wsdata/parent
echo "The parent's children:"
sed 's/^/  /' parent/Brindle_wsdata/children
echo "Who may do what in the child (the end of access_control):"
grep -v '^#' child/Brindle_wsdata/access_control | grep -v '^$' | sed 's/^/  /'
echo "The record the bringover left in the child's history log:"
sed 's/^/  /' child/Brindle_wsdata/history

# While a putback into the child is running (its lock is written here by
# hand), a bringover into it is refused at once and says who is in the way.
printf 'write putback 4242 %s %s %s\n' "$(uname -n)" "$(id -un)" "$(($(date +%s) - 3720))" \
  >>child/Brindle_wsdata/locks
show bringover -p "$demo/parent" -w "$demo/child" src doc
# That putback died long ago: its lock is shown and removed.
show workspace locks -w "$demo/child"
show workspace locks -w "$demo/child" -f -r 1

# Mistakes a newcomer makes, and what the command says.
show bringover -p "$demo/parent" -w "$demo/child2"
show bringover -p "$demo/parent" -w "$demo/parent/inner" src

# The parent moves on: an edit, a new file and a rename.  The next bringover
# carries each change into the child, and -d says why each was made.
(cd parent/src && get -s -e SCCS/s.Makefile &&
  printf 'hello: hello.c\n\tcc -O2 -o hello hello.c\n' >Makefile &&
  delta -s -y"build with optimisation" SCCS/s.Makefile 2>/dev/null)
printf '#!/bin/sh\n./hello\n' >parent/src/run.sh
(cd parent/src && admin -irun.sh -y"first version of src/run.sh" SCCS/s.run.sh 2>/dev/null && rm -f run.sh)
mkdir -p parent/doc/guide/SCCS
mv parent/doc/SCCS/s.README parent/doc/guide/SCCS/s.README
show bringover -d -p "$demo/parent" -w "$demo/child" src doc
echo "The child's files now, each with the parent's latest text:"
for f in src/Makefile src/run.sh doc/guide/README; do
  echo "  $f:"; (cd "child/$(dirname "$f")" && get -s -p "SCCS/s.$(basename "$f")" 2>/dev/null) | sed 's/^/    /'
done

# Both sides change the same line of hello.c: the bringover records the
# conflict in the child's history and ends with exit status 4.
(cd parent/src && get -s -e SCCS/s.hello.c &&
  printf '#include <stdio.h>\nint main() { puts("hello, parent"); return 0; }\n' >hello.c &&
  delta -s -y"the parent's greeting" SCCS/s.hello.c 2>/dev/null)
(cd child/src && get -s -e SCCS/s.hello.c &&
  printf '#include <stdio.h>\nint main() { puts("hello, child"); return 0; }\n' >hello.c &&
  delta -s -y"the child's greeting" SCCS/s.hello.c 2>/dev/null)
show bringover -p "$demo/parent" -w "$demo/child" src doc
echo "The conflict, as the child's history of src/hello.c holds it:"
(cd child/src && prs -e -d'  :I: :P: :C:' SCCS/s.hello.c) | sed '/^$/d'

# A putback with the conflict still open is blocked, and says what is in the way.
show putback -w "$demo/child" -c "greetings"
# The user settles the conflict (resolve alone asks file by file and can start a
# three-way merge tool); here the child's line is kept for every file.
show resolve -w "$demo/child" -c
show putback -w "$demo/child" -c "the child's greeting wins"
echo "The parent's src/hello.c now:"
(cd parent/src && get -s -p SCCS/s.hello.c 2>/dev/null) | sed 's/^/    /'
# Any transaction can be taken back: ws_undo in the parent undoes the putback.
show ws_undo -w "$demo/parent"
echo "The parent's src/hello.c after the undo:"
(cd parent/src && get -s -p SCCS/s.hello.c 2>/dev/null) | sed 's/^/    /'

# More workspaces make a tree: a second child, and a grandchild below the first.
show bringover -p "$demo/parent" -w "$demo/child2" src doc
show bringover -p "$demo/child" -w "$demo/grandchild" src

# The tree of workspaces, and a freezepoint of the parent to get back to.
show workspace list "$demo"
show freezept create -w "$demo/parent" -c "before the next change"
show freezept list -w "$demo/parent"

echo
echo "The graphical tool draws these workspaces as a tree:"
echo "  $bin/brindletool $demo/parent $demo/child $demo/child2 $demo/grandchild"
shot=(bash "$tools/brindletool-shot.sh" -n short "$demo/brindletool.png"
  "$demo/parent" "$demo/child" "$demo/child2" "$demo/grandchild")
echo "Without a display, a picture of it:"
echo "  ${shot[*]}"
if command -v Xvfb >/dev/null; then
  BRINDLE_BIN=$bin "${shot[@]}" | sed 's/^/  /'
fi
