// History files reached through the workspace, made and changed by CSSC.

#include "sccs/kes_merge.h"
#include "sccs/kes_sfile.h"
#include "util/kes_process.h"
#include "workspace/kes_workspace.h"
#include "workspace/ws_helpers.h"

using namespace support;
using namespace ws_test;

namespace {

TEST(WorkspaceSfile, FilesFromTheFactory) {
  Temp_dir tmp;
  std::string root = make_ws(tmp.file("ws"));
  make_dirs(root + "/src/SCCS");
  write_file(root + "/src/a.c", "int a;\n");
  kes_set_path();  // the SCCS programs, found the way the engine finds them
  std::string cmd = "cd '" + root +
                    "/src' && admin -ia.c SCCS/s.a.c && rm a.c && get -e -s SCCS/s.a.c && "
                    "echo 'int b;' >> a.c && delta -s -y'second' SCCS/s.a.c && "
                    "get -e -s SCCS/s.a.c";
  ASSERT_EQ(system(cmd.c_str()), 0) << cmd;
  Kes_workspace ws(root.c_str(), nullptr);
  ASSERT_EQ(chdir(root.c_str()), 0);

  // By the history file's name: nothing read yet.
  Kes_sfile *byname = ws.get_sfile("src/SCCS/s.a.c");
  ASSERT_NE(byname, nullptr);
  EXPECT_STREQ(byname->s_path, "src/SCCS/s.a.c");
  EXPECT_STREQ(byname->clr_path, "src/a.c");
  EXPECT_EQ(byname->tree, nullptr);
  ASSERT_EQ(take(byname->buildtree(0, 1, 0)).code, 0);
  EXPECT_NE(byname->tree, nullptr);
  delete byname;

  // By the clear file's name, with the delta table read, or the p-file only.
  Kes_sfile *full = ws.get_sfile("src/a.c", 1);
  EXPECT_STREQ(full->s_path, "src/SCCS/s.a.c");
  EXPECT_TRUE(full->exists);
  EXPECT_NE(full->tree, nullptr);
  EXPECT_TRUE(full->has_pfile);
  delete full;
  Kes_sfile *pfile_only = ws.get_sfile("src/a.c", 2);
  EXPECT_EQ(pfile_only->tree, nullptr);
  EXPECT_TRUE(pfile_only->has_pfile);
  delete pfile_only;
  Kes_sfile *none = ws.get_sfile("src/none.c", 2);
  EXPECT_FALSE(none->exists);
  delete none;
}

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
