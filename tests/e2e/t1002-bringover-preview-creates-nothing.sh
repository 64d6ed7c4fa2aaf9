#!/usr/bin/env bash
# A preview of a bringover that would create a child tells what it would do,
# works although the child's root does not exist, and creates nothing: no
# directory, no link in the parent.
. "$E2E_LIB"
e2e_start

make_ws parent
sccs_new parent lib/a.c 'a'
before=$(tree_sum parent)

run bringover -n -p "$T/parent" -w "$T/child" lib
expect_exit "preview of a create" 0
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
expect_no_file "no child root" child
expect_eq "parent unchanged" "$before" "$(tree_sum parent)"
expect_no_file "no children file" parent/Brindle_wsdata/children

# A parent that refuses bringovers from it is only a warning in a preview.
# In a real run the same refusal is an error, and the child made on the way
# stays, as the workspace it now is.
printf 'VERSION 2\nbringover-from\t\tnobody-but-me\n' >parent/Brindle_wsdata/access_control
run bringover -n -p "$T/parent" -w "$T/child" lib
expect_exit "refused preview" 0
expect_contains "refusal as a warning" \
  "bringover: User $(id -un) does not have access to bringover from workspace \"$T/parent\"  (Warning 2065)" "$OUT"
expect_no_file "still no child" child

run bringover -p "$T/parent" -w "$T/other" lib
expect_exit "refused run" 1
expect_eq "refusal as an error" \
  "bringover: User $(id -un) does not have access to bringover from workspace \"$T/parent\"  (Error 2065)" "$ERR"
expect_file "the child made stays" other/Brindle_wsdata/access_control

e2e_finish
