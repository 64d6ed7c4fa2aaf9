#!/usr/bin/env bash
# Which files a bringover looks at: operands in any spelling, include and
# exclude files with patterns, the child's args file and how a run brings it
# up to date, and file list programs run in both workspaces.
. "$TEST_LIB"
e2e_start

make_ws parent
for f in src/a.c src/b.c src/b.h src/lib/x.c src/libx.c doc/guide; do sccs_new parent "$f" "$f"; done
make_ws child
printf 'VERSION 1\n%s\n' "$T/parent" >child/Brindle_wsdata/parent
# The names a preview would create, in the order it gives them.
creates() { printf '%s\n' "$OUT" | sed -n 's/^create: //p' | tr '\n' ' '; }

test_case 'operands in any spelling name each file once; a name in neither workspace is warned of' <<'EOF'
# One file by two spellings, a directory, and names that lead nowhere.
expect_run 0 bringover -n -w "$T/child" src/SCCS/s.a.c src/a.c "$T/parent/doc/" src/none.c src/lib/../b.h
expect_eq "each file once" "src/a.c doc/guide src/b.h " "$(creates)"
expect_contains "a name in neither workspace" \
  "bringover: \"src/none.c\" does not exist in either workspace - ignored  (Warning 2611)" "$OUT"
EOF

test_case 'include and exclude files: comments skipped, patterns expanded, paths kept whole' <<'EOF'
# Patterns expand among the parent's clear files; an exclusion stops at path
# boundaries.
(cd parent/src && get -s SCCS/s.a.c SCCS/s.b.c SCCS/s.b.h SCCS/s.libx.c) ||
  fail "get of the clear files"
printf '# what I work on\n\nsrc/*.c\nsrc/lib\nsrc/b.h\n' >include
printf 'src/lib\n' >exclude
expect_run 0 bringover -n -w "$T/child" -i include -x exclude
expect_eq "src/lib left out, src/libx.c kept" "src/a.c src/b.c src/libx.c src/b.h " "$(creates)"
EOF

test_case "the args file: a directory covers its entries; program lines and lost names stay" <<'EOF'
# A name gone from both workspaces stays in the file though this run passes it
# over.  A preview leaves the file alone.  The program runs in both workspaces.
printf 'VERSION 1\nsrc/lib/x.c\nold/gone.c\n-f list.sh\n' >child/Brindle_wsdata/args
printf '#!/bin/sh\necho doc/guide\necho "$BRINDLE_WS_ROOT" >>%s/roots\n' "$T" >parent/list.sh
chmod +x parent/list.sh
cp parent/list.sh child/list.sh
args_before=$(cat child/Brindle_wsdata/args)
run bringover -n -w "$T/child"
expect_eq "the args file names the files" "doc/guide src/lib/x.c " "$(creates)"
expect_contains "the program ran in the child in the background" "cd $T/child; ./list.sh &" "$OUT"
expect_contains "and in the parent" "cd $T/parent; ./list.sh
" "$OUT"
expect_eq "each run knew its own root" "$T/child
$T/parent" "$(sort roots)"
expect_eq "a preview writes no args file" "$args_before" "$(cat child/Brindle_wsdata/args)"
EOF

test_case 'a program found nowhere stops the command; one that fails has said why, its names count' <<'EOF'
expect_run 1 bringover -n -w "$T/child" -f nowhere.sh
expect_eq "said so" "bringover: FLP \"nowhere.sh\" does not exist in either parent or child workspace  (Error 2013)" "$ERR"
printf '#!/bin/sh\necho src/a.c\necho Brindle_wsdata/args\necho "cannot list more" >&2\nexit 3\n' >parent/bad.sh
chmod +x parent/bad.sh
expect_run 0 bringover -n -w "$T/child" -f bad.sh
expect_eq "its complaint shown" "cannot list more" "$ERR"
expect_eq "its names used, metadata passed over" "src/a.c " "$(creates)"
EOF

test_case 'names on one line are the older output form: a warning, unless asked for' <<'EOF'
printf '#!/bin/sh\necho src/a.c src/b.c\n' >parent/old.sh
chmod +x parent/old.sh
run bringover -n -w "$T/child" -f old.sh
expect_contains "old form noticed" "bringover: flp program output contains white-spaces.  It is quite  possible
	it is old output style or there are white-spaces in name of file.
	If your flp program writes white-space separated list of files,
	set BRINDLE_COMPAT_2_1 environment variable.  (Warning 2634)" "$OUT"
run env BRINDLE_COMPAT_2_1=1 bringover -n -w "$T/child" -f old.sh
expect_eq "old form read" "src/a.c src/b.c " "$(creates)"
EOF

test_case 'a real run brings the files, and the args file up to date' <<'EOF'
# It comes last: the previews above find the child empty.
expect_run 0 bringover -w "$T/child" src
expect_eq "the directory covers its entry" "VERSION 1
old/gone.c
-f list.sh
src" "$(cat child/Brindle_wsdata/args)"
expect_eq "the files are there" "src/a.c" "$(sccs_text child src/a.c)"
EOF

test_done
