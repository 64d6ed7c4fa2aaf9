// The delta list of a file, sorted by the delta order of the SmID code; until
// that order is built the list stops the program like an operation that must
// not be called.
#include <cstdio>
#include <cstdlib>

#include "sccs/sccs_sfile.h"
#include "util/kes_msg.h"

Kes_err *SCCS_sfile::mklist(Kes_delta ***) {
  fprintf(stderr, BWM_MSG(1030, "%s() called, exiting\n"), "SCCS_sfile::mklist");
  fflush(stderr);
  exit(10);
}
