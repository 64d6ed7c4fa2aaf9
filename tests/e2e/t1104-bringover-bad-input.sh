#!/usr/bin/env bash
# Bad input to a bringover preview: odd names are warned about and passed
# over, names full of shell syntax are only names, and damaged histories
# stop the command before anything happens, each with its code.
. "$TEST_LIB"
e2e_start

make_ws parent
sccs_new parent src/a.c 'a'
copy_child parent child

test_case 'names a shell would take apart are only names' <<'EOF'
# The first name listed has no blank, so the list is not taken for the older
# output form.
odd=('src/my file.c' "src/quote'd.c" 'src/$(touch pwned).c' 'src/semi;colon.c' 'src/back`touch pwned`.c'
     'src/star*.c' 'src/dir with blanks/in.c')
for f in "${odd[@]}"; do sccs_new parent "$f" "$f"; done
printf 'src/*$(touch pwned).c\n' >include
expect_run 0 bringover -n -w "$T/child" src "src/semi;colon.c" -i include
expect_eq "every odd name a file like any other" "src/\$(touch pwned).c
src/back\`touch pwned\`.c
src/my file.c
src/quote'd.c
src/semi;colon.c
src/star*.c
src/dir with blanks/in.c" "$(printf '%s\n' "$OUT" | sed -n 's/^create: //p')"
expect_contains "the directory with blanks is listed quoted" \
  "cd $T/parent/src; $BRINDLE_BIN/def.dir.flp" "$OUT"
expect_no_file parent/pwned
expect_no_file child/pwned
expect_no_file pwned
EOF

test_case "names that can't be files are each warned of once, and none examined" <<'EOF'
mkdir -p elsewhere/SCCS && sccs_new . elsewhere/z.c 'z'
ln -s "$T/elsewhere" child/src/link
ln -s "$T/elsewhere" parent/src/link
echo 'not under version control' >parent/src/plain.c
expect_run 0 bringover -n -w "$T/child" "src/x#y.c" ../../../../../../../../../../../x src/link/z.c src/plain.c \
  Brindle_wsdata/parent "$T/parent/src/a.c"
expect_eq "each said once, in order" "bringover: Filename \"src/x#y.c\" contains a comment character ('#') - ignored  (Warning 2622)
bringover: Filename \"../../../../../../../../../../../x\" has too many \"..\" path components in it - ignored  (Warning 2613)
bringover: Pathname \"src/link/z.c\" contains a symlink - ignored  (Warning 2633)
bringover: File \"src/plain.c\" is not under version control in either workspace - ignored  (Warning 2602)" \
  "$(printf '%s\n' "$OUT" | grep Warning)"
expect_contains "the absolute name counts" "Examined files: 1" "$OUT"
printf '#!/bin/sh\necho src/a.c\necho\n' >parent/blank.sh && chmod +x parent/blank.sh
run bringover -n -w "$T/child" -f blank.sh
expect_contains "an empty line from a program" "bringover: Zero length filename - ignored  (Warning 2603)" "$OUT"
EOF

test_case 'damaged histories stop the command with their codes, and nothing moves' <<'EOF'
# The parent's name table, rebuilt on the way, reports the file it could not
# read too.
sums=$(tree_sum parent; tree_sum child)
: >parent/src/SCCS/s.a.c
expect_run 1 bringover -n -w "$T/child" src/a.c
expect_eq "the empty history named" "
Examined files: 1

bringover cannot continue due to the following errors:" "$(printf '%s\n' "$OUT" | sed -n '/^$/,$p')"
expect_eq "its error" "bringover: File \"src/SCCS/s.a.c\" has incomplete delta table  (Error 2055)
bringover: Zero-length history file, \"src/SCCS/s.a.c\"  (Error 2057)" "$ERR"
cp child/src/SCCS/s.a.c parent/src/SCCS/s.a.c
sed -i 's/^\(\x01d D 1.1 .*\) 1 0$/\1 x y/' parent/src/SCCS/s.a.c
expect_run 1 bringover -n -w "$T/child" src/a.c
expect_contains "cannot continue" "bringover cannot continue due to the following errors:" "$OUT"
expect_contains "the damage named" "(Error 2043)" "$ERR"
cp child/src/SCCS/s.a.c parent/src/SCCS/s.a.c
expect_eq "nothing written" "$sums" "$(tree_sum parent; tree_sum child)"
EOF

test_case "a closed directory stops a table rebuild; with the tables the directory program names it" <<'EOF'
# Root reads everything, so root tries it as the user nobody.
as_user=()
if [ "$(id -u)" -eq 0 ]; then
  chmod -R a+rX "$T" 2>/dev/null
  as_user=(setpriv --reuid=nobody --regid=nogroup --clear-groups)
  "${as_user[@]}" test -x "$BRINDLE_BIN/bringover" ||
    { test_skip "the user nobody cannot reach $BRINDLE_BIN"; return 0; }
fi
sccs_new parent src/closed/c.c 'c'
rm -f parent/Brindle_wsdata/nametable
chmod 000 parent/src/closed
expect_run 1 "${as_user[@]}" bringover -n -w "$T/child" src
expect_eq "the rebuild stopped" "bringover: Chdir to \"src/closed\" failed  (Error 1023) - Permission denied  (System error 13)" "$ERR"
expect_no_file parent/Brindle_wsdata/nametable
chmod 755 parent/src/closed
run bringover -w "$T/child" src/a.c
expect_file parent/Brindle_wsdata/nametable
chmod 000 parent/src/closed
run "${as_user[@]}" bringover -n -w "$T/child" src
chmod 755 parent/src/closed
expect_exit 0
expect_eq "the closed directory named" "def.dir.flp: $T/parent/src/closed: Permission denied" "$ERR"
EOF

test_done
