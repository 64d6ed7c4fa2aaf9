#!/usr/bin/env bash
# A preview of a bringover that would create a child tells what it would do,
# works although the child's root does not exist, and creates nothing: no
# directory, no link in the parent.  A refusal by the parent is a warning in a
# preview and an error in a real run.
. "$TEST_LIB"
e2e_start

test_case 'a preview of a create says what it would do and makes nothing' <<'EOF'
make_ws parent
sccs_new parent lib/a.c 'a'
before=$(tree_sum parent)
expect_run 0 bringover -n -p "$T/parent" -w "$T/child" lib
expect_eq "preview output" "Parent workspace: $T/parent
Child workspace:  $T/child
Updating names in parent workspace's name table

cd $T/parent/lib; $BRINDLE_BIN/def.dir.flp

Examined files: 1

Would bring over contents changes: 1

create: lib/a.c

Examined files: 1

Contents Summary:
       1   create

No changes were brought over" "$OUT"
expect_eq "preview stderr" "" "$ERR"
expect_no_file child
expect_no_file parent/Brindle_wsdata/children
expect_eq "parent unchanged" "$before" "$(tree_sum parent)"
EOF

test_case "a parent's refusal is only a warning in a preview" <<'EOF'
printf 'VERSION 2\nbringover-from\t\tnobody-but-me\n' >parent/Brindle_wsdata/access_control
expect_run 0 bringover -n -p "$T/parent" -w "$T/child" lib
expect_contains "refusal as a warning" \
  "bringover: User $(id -un) does not have access to bringover from workspace \"$T/parent\"  (Warning 2065)" "$OUT"
expect_no_file child
EOF

test_case 'in a real run it is an error, and the child made on the way stays' <<'EOF'
expect_run 1 bringover -p "$T/parent" -w "$T/other" lib
expect_eq "refusal as an error" \
  "bringover: User $(id -un) does not have access to bringover from workspace \"$T/parent\"  (Error 2065)" "$ERR"
expect_file other/Brindle_wsdata/access_control
EOF

test_done
