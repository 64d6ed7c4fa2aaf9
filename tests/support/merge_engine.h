// The merge under judgement: our engine run on a generated pair, with the body
// route chosen through the environment as a user would.  Kept apart from the
// generator and the judge, which must not share the engine's code; the merge
// tests and the merge benchmark both run it.  Header only: its users link the
// history file layer, the support library does not.
#ifndef BRINDLE_TESTS_SUPPORT_MERGE_ENGINE_H
#define BRINDLE_TESTS_SUPPORT_MERGE_ENGINE_H

#include <cstdlib>
#include <string>

#include "support/merge_gen.h"
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
  Kes_err *err = nullptr;
  std::string said = capture_stdout([&] { err = m.merge(); });
  Merge_outcome out;
  out.switched = said.find("--> Switching to new merging logic") != std::string::npos;
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
