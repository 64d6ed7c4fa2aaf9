// Flags and the locked-user list of a history file, read from the lines behind
// the delta table.
#include <cstdlib>
#include <cstring>

#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"

Kes_sc_flags::Kes_sc_flags()
    : enable_branch(0), ceiling_delta(nullptr), floor_delta(nullptr), default_sid(nullptr),
      no_kw_is_err(0), allow_concurr(0), empty_skip_rel(0), Q_kw(nullptr), M_kw(nullptr),
      T_kw(nullptr), locked_releases(nullptr), verif_prog(nullptr), encoded(0) {}

Kes_sc_flags::~Kes_sc_flags() {
  free(ceiling_delta);
  free(floor_delta);
  free(default_sid);
  free(Q_kw);
  free(M_kw);
  free(T_kw);
  free(locked_releases);
  free(verif_prog);
}

void Kes_sc_flags::print(FILE *out) {
  auto s = [](const char *v) { return v ? v : "(null)"; };
  fprintf(out, "enable_branch = %d\n", enable_branch);
  fprintf(out, "ceiling_delta = %s\n", s(ceiling_delta));
  fprintf(out, "floor_delta = %s\n", s(floor_delta));
  fprintf(out, "default_sid = %s\n", s(default_sid));
  fprintf(out, "no_kw_is_err = %d\n", no_kw_is_err);
  fprintf(out, "allow_concurr = %d\n", allow_concurr);
  fprintf(out, "empty_skip_rel = %d\n", empty_skip_rel);
  fprintf(out, "Q_kw = %s\n", s(Q_kw));
  fprintf(out, "M_kw = %s\n", s(M_kw));
  fprintf(out, "T_kw = %s\n", s(T_kw));
  fprintf(out, "locked_releases = %s\n", s(locked_releases));
  fprintf(out, "verif_prog = %s\n", s(verif_prog));
  fprintf(out, "encoded = %d\n", encoded);
}

namespace {
// The value without its trailing newline, as a new string.
char *flag_value(const char *value) {
  size_t n = strcspn(value, "\n");
  return kes_strndup(value, n);
}

void set_string(char **field, const char *value) {
  free(*field);
  *field = flag_value(value);
}
}  // namespace

void SCCS_flags::read_flag(const char *line) {
  // "^Af x value": the letter is the fourth byte, the value starts at the sixth.
  size_t len = strlen(line);
  if (len < 4) return;
  const char *value = len >= 5 ? line + 5 : "";
  switch (line[3]) {
  case 'b': enable_branch = 1; break;
  case 'c': set_string(&ceiling_delta, value); break;
  case 'f': set_string(&floor_delta, value); break;
  case 'd': set_string(&default_sid, value); break;
  case 'i': no_kw_is_err = 1; break;
  case 'j': allow_concurr = 1; break;
  case 'n': empty_skip_rel = 1; break;
  case 'q': set_string(&Q_kw, value); break;
  case 'm': set_string(&M_kw, value); break;
  case 't': set_string(&T_kw, value); break;
  case 'l': set_string(&locked_releases, value); break;
  case 'v': set_string(&verif_prog, value); break;
  case 'e': encoded = value[0] == '1'; break;
  default: break;  // other flags are not ours to judge
  }
}

Kes_sc_locks::Kes_sc_locks() : locks(new Kes_strlist) {}

Kes_sc_locks::~Kes_sc_locks() { delete locks; }

Kes_err *SCCS_locks::read_locks(FILE *in, int *line_counter) {
  char buf[1024];
  while (fgets(buf, sizeof buf, in)) {
    (*line_counter)++;
    if (buf[0] == '\001' && buf[1] == 'U') return nullptr;
    locks->add_new_copy(buf);
  }
  return (new Kes_err)->format_msg(2043, 0, BWM_MSG(1009, "SCCS file \"%s\" is corrupted"),
                                   file_name ? file_name : "");
}
