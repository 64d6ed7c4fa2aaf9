// The merge object the workspace hands out, on history files made by CSSC.  How
// the history file objects it hands out read is tested with SCCS_sfile itself.

#include "sccs/kes_merge.h"
#include "sccs/kes_sfile.h"
#include "util/kes_process.h"
#include "workspace/kes_workspace.h"
#include "workspace/ws_helpers.h"

using namespace support;
using namespace ws_test;

namespace {

TEST(WorkspaceSfile, MergeObjectFromTheFactory) {
  // A child history one delta ahead of its parent: the merge the workspace hands
  // out sees the from side as new, without writing anything in analysis mode.
  Temp_dir tmp;
  std::string root = make_ws(tmp.file("ws"));
  make_dirs(root + "/p/SCCS");
  make_dirs(root + "/c/SCCS");
  write_file(root + "/p/a.c", "int a;\n");
  kes_set_path();
  std::string cmd = "cd '" + root + "/p' && admin -ia.c SCCS/s.a.c && rm a.c && cp SCCS/s.a.c ../c/SCCS/ && "
                    "cd ../c && get -e -s SCCS/s.a.c && echo 'int b;' >> a.c && "
                    "delta -s -y'second' SCCS/s.a.c";
  ASSERT_EQ(system(cmd.c_str()), 0) << cmd;
  Kes_workspace ws(root.c_str(), nullptr);
  std::string from = root + "/c/SCCS/s.a.c", to = root + "/p/SCCS/s.a.c";
  Kes_sfile *from_file = ws.get_sfile(from.c_str());
  Kes_sfile *to_file = ws.get_sfile(to.c_str());
  Kes_merge *m = ws.get_merge_object();
  ASSERT_NE(m, nullptr);
  m->from_sname = from.c_str();
  m->to_sname = to.c_str();
  m->from_file = from_file;
  m->to_file = to_file;
  m->options |= KES_MO_ANALYSIS_ONLY;
  EXPECT_EQ(take(m->merge()).code, 0);
  EXPECT_EQ(m->contents_state, KES_MERGE_FROM_NEW);
  EXPECT_EQ(m->conflict_state, 0);
  delete m;
  delete from_file;
  delete to_file;
}

}  // namespace
