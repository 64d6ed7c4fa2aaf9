#!/usr/bin/env bash
# A bringover that would create a child.  Its preview tells what it would do,
# works although the child's root does not exist, and creates nothing: no
# directory, no link in the parent.  The create needs something to bring over
# (a file list program alone is enough) and a parent, and a workspace nested
# in another is refused both ways; each refusal comes before any directory is
# made.  A refusal by the parent is a warning in a preview and an error in a
# real run.
. "$TEST_LIB"
e2e_start
make_ws parent
sccs_new parent lib/a.c 'a'
make_ws outer/parent
sccs_new outer/parent x.c 'x'

test_case 'a preview of a create says what it would do and makes nothing' <<'EOF'
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

test_case 'a child inside its parent is refused' <<'EOF'
refused "bringover: Cannot create workspace \"$T/outer/parent/sub/child\" because
it would be nested within workspace \"$T/outer/parent\"  (Error 2063)" \
  bringover -p "$T/outer/parent" -w "$T/outer/parent/sub/child" x.c
expect_no_file outer/parent/sub
EOF

test_case 'a child around its parent is refused; a preview makes no child, so it is not refused' <<'EOF'
refused "bringover: Workspace \"$T/outer/parent\" is nested within \"$T/outer\"  (Error 2063)" \
  bringover -p "$T/outer/parent" -w "$T/outer" x.c
expect_no_file outer/Brindle_wsdata
expect_run 0 bringover -n -p "$T/outer/parent" -w "$T/outer" x.c
EOF

test_case 'a create without files fails before anything is made' <<'EOF'
refused "bringover: Must specify at least one file, directory or -f argument
to a bringover that creates a child workspace  (Error 2048)" bringover -p "$T/parent" -w "$T/made"
expect_eq "no output beyond it" "" "$OUT"
expect_no_file made
EOF

test_case 'without -p there is no parent to make the child from' <<'EOF'
refused "bringover: \"$T/made\" is not a workspace  (Error 2003)" bringover -w "$T/made" lib/a.c
expect_no_file made
EOF

test_case 'a file list program alone is enough' <<'EOF'
printf '#!/bin/sh\necho lib/a.c\n' >"$T/list-files"
chmod 755 "$T/list-files"
expect_run 0 bringover -p "$T/parent" -w "$T/made" -f "$T/list-files"
expect_file made/Brindle_wsdata/access_control
expect_contains "child linked" "$T/made" "$(cat parent/Brindle_wsdata/children)"
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
