// The SCCS command operations of SCCS_sfile are written with the command layer
// (Cmd).  Until then each of them stops the program the way an operation that
// must not be called does: a line on standard error and exit status 10.  The
// command layer replaces this file.
#include <cstdio>
#include <cstdlib>

#include "sccs/sccs_sfile.h"
#include "util/kes_msg.h"

namespace {
[[noreturn]] void not_built(const char *name) {
  fprintf(stderr, BWM_MSG(1030, "%s() called, exiting\n"), name);
  fflush(stderr);
  exit(10);
}
}  // namespace

Cmd *SCCS_sfile::check_in(const char *, const char *, const char *) {
  not_built("SCCS_sfile::check_in");
}
Cmd *SCCS_sfile::check_out(const char *, const char *) { not_built("SCCS_sfile::check_out"); }
Cmd *SCCS_sfile::check_out_n_include(const char *, const char *) {
  not_built("SCCS_sfile::check_out_n_include");
}
Cmd *SCCS_sfile::uncheckout(const char *) { not_built("SCCS_sfile::uncheckout"); }
Cmd *SCCS_sfile::check_different(int) { not_built("SCCS_sfile::check_different"); }
Cmd *SCCS_sfile::check_sfile() { not_built("SCCS_sfile::check_sfile"); }
Cmd *SCCS_sfile::get_clear_file_cmd(const char *, int, const char *) {
  not_built("SCCS_sfile::get_clear_file_cmd");
}
int SCCS_sfile::get_clear_file(const char *, int, const char *) {
  not_built("SCCS_sfile::get_clear_file");
}
Cmd *SCCS_sfile::put_under_sc(const char *) { not_built("SCCS_sfile::put_under_sc"); }
Cmd *SCCS_sfile::diff_two_deltas(const char *, const char *, int) {
  not_built("SCCS_sfile::diff_two_deltas");
}
Cmd *SCCS_sfile::set_flag(const char *) { not_built("SCCS_sfile::set_flag"); }
Cmd *SCCS_sfile::unset_flag(const char *) { not_built("SCCS_sfile::unset_flag"); }
Cmd *SCCS_sfile::unset_branch() { not_built("SCCS_sfile::unset_branch"); }
