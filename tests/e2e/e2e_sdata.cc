// e2e_sdata: writes the system's own data into a history file, as earlier
// transactions leave it, for scenario tests that start from such workspaces.
//
//   e2e_sdata names SFILE NAME        the name history, ending at NAME
//   e2e_sdata conflict SFILE WSPATH   a conflict record between the newest
//                                     delta and its predecessor
#include <cstdio>
#include <cstring>

#include "sccs/kes_conflict.h"
#include "sccs/kes_name_history.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"

namespace {
int fail(Kes_err *err) {
  fputs(err->text, stderr);
  delete err;
  return 1;
}
}  // namespace

int main(int argc, char **argv) {
  if (argc != 4) {
    fprintf(stderr, "usage: e2e_sdata names|conflict SFILE NAME|WSPATH\n");
    return 2;
  }
  SCCS_sfile sf(argv[2]);
  Kes_err *err;
  if (strcmp(argv[1], "names") == 0) {
    if ((err = sf.build_name_tree(argv[3], 0))) return fail(err);
    Kes_name_history nh(&sf, 0);
    if ((err = nh.write_from_tree(static_cast<Kes_name_tree *>(sf.name_tree)))) return fail(err);
    return 0;
  }
  if ((err = sf.buildtree(0, 0, 0))) return fail(err);
  Kes_delta *head = sf.head_delta();
  Kes_delta *pred = head ? head->parent_delta() : nullptr;
  if (!pred) {
    fprintf(stderr, "e2e_sdata: %s has no two deltas to be in conflict\n", argv[2]);
    return 1;
  }
  Kes_conflict c(&sf, 0);
  c.create = 1;
  c.set("noforce", head->sid, pred->sid, pred->sid, argv[3]);
  if ((err = c.write()) || (err = sf.write())) return fail(err);
  return 0;
}
