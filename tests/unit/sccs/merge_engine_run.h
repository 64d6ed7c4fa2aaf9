// The merge under judgement: our engine run on a generated pair, with the body
// route chosen through the environment as a user would.  Kept apart from the
// generator and the judge, which must not share the engine's code; the merge
// test and the merge benchmark both run it.
#ifndef BRINDLE_TESTS_SCCS_MERGE_ENGINE_RUN_H
#define BRINDLE_TESTS_SCCS_MERGE_ENGINE_RUN_H

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "merge_gen_helpers.h"
#include "sccs/sccs_merge.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"

namespace merge_gen {

inline Merge_outcome engine_merge(const Merge_request &r) {
  if (r.slow)
    setenv("BRINDLE_MERGE_BODIES_TEST", "1", 1);
  else
    unsetenv("BRINDLE_MERGE_BODIES_TEST");
  kes_merge_bodies_test_reread();
  SCCS_sfile from(r.from_sfile.c_str()), to(r.to_sfile.c_str());
  SCCS_merge m;
  m.from_sname = r.from_sfile.c_str();
  m.to_sname = r.to_sfile.c_str();
  m.from_name = m.to_name = "f.c";
  m.ws_path = r.ws_path.c_str();
  m.from_file = &from;
  m.to_file = &to;
  if (r.analysis) m.options |= KES_MO_ANALYSIS_ONLY;
  if (r.force) m.options |= KES_MO_FORCE;
  if (r.names) m.options |= KES_MO_NAMES;
  if (r.signature) m.options |= KES_MO_SIGNATURE;
  // The notice of a route switch goes to standard output: catch it there.
  fflush(stdout);
  FILE *seen = tmpfile();
  int saved = dup(1);
  if (seen) dup2(fileno(seen), 1);
  Kes_err *err = m.merge();
  fflush(stdout);
  dup2(saved, 1);
  close(saved);
  Merge_outcome out;
  if (seen) {
    rewind(seen);
    std::string text;
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, seen)) > 0) text.append(buf, n);
    fclose(seen);
    out.switched = text.find("--> Switching to new merging logic") != std::string::npos;
  }
  out.ok = err == nullptr;
  if (err) out.error = err->text;
  delete err;
  out.contents_state = m.contents_state;
  out.conflict_state = m.conflict_state;
  unsetenv("BRINDLE_MERGE_BODIES_TEST");
  return out;
}

}  // namespace merge_gen

#endif
