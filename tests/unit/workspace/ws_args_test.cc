// The args file and the copies it leaves in the backup area for undo.

#include "workspace/kes_md_args.h"
#include "workspace/kes_workspace.h"
#include "workspace/ws_helpers.h"

using namespace support;
using namespace ws_test;

namespace {

class Args : public testing::Test {
protected:
  Temp_dir tmp;
  std::string root = make_ws(tmp.file("ws"));
  Kes_workspace ws{root.c_str(), nullptr};
  std::string md = root + "/Brindle_wsdata";
  std::string backup = md + "/backup/files";
  // Names in the backup directory, recursively, sorted.
  std::string backup_listing() {
    return sh("cd '" + backup + "' 2>/dev/null && find . -type f | sort").out;
  }
};

TEST_F(Args, RewriteWritesSecondListFirstAndSavesTheOldFile) {
  Kes_md_args *args = nullptr;
  ASSERT_EQ(take(ws.get_md_args(&args)).code, 0);
  ASSERT_EQ(std::string(args->fullname), md + "/args");

  // Both lists empty: nothing happens.
  Kes_strlist empty;
  ASSERT_EQ(take(args->rewrite(&empty, nullptr)).code, 0);
  EXPECT_FALSE(args->exists());

  // A new file: no backup copy is needed.
  Kes_strlist *dirs = strlist({"src", "include"}), *files = strlist({"Makefile"});
  ASSERT_EQ(take(args->rewrite(dirs, files)).code, 0);
  EXPECT_EQ(read_file(md + "/args"), "VERSION 1\nMakefile\nsrc\ninclude\n");
  EXPECT_EQ(backup_listing(), "");
  ASSERT_EQ(chmod((md + "/args").c_str(), 0640), 0);

  // Replacing it keeps the old one in the backup area, mode included.
  Kes_strlist *next = strlist({"lib"});
  ASSERT_EQ(take(args->rewrite(next, nullptr)).code, 0);
  EXPECT_EQ(read_file(md + "/args"), "VERSION 1\nlib\n");
  EXPECT_EQ(backup_listing(), "./Brindle_wsdata/args\n");
  EXPECT_EQ(read_file(backup + "/Brindle_wsdata/args"), "VERSION 1\nMakefile\nsrc\ninclude\n");
  struct stat st;
  ASSERT_EQ(stat((backup + "/Brindle_wsdata/args").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
  EXPECT_FALSE(file_exists(md + "/args.lock"));

  // Read back with the comment rules.
  write_file(md + "/args", "VERSION 1\n# chosen by hand\nsrc   # the sources\n\nlib\n");
  Kes_strlist lines;
  ASSERT_EQ(take(args->get_lines(&lines)).code, 0);
  EXPECT_EQ(strings(&lines), (std::vector<std::string>{"src   ", "lib"}));
  delete dirs;
  delete files;
  delete next;
  delete args;
}

TEST_F(Args, BackupCopies) {
  make_dirs(root + "/src/sub");
  write_file(root + "/src/sub/a.c", "int a;\n");
  write_file(root + "/top.h", "#define TOP\n");
  ASSERT_EQ(take(make_backup_file("src/sub/a.c", &ws)).code, 0);
  ASSERT_EQ(take(make_backup_file("top.h", &ws)).code, 0);
  EXPECT_EQ(backup_listing(), "./src/sub/a.c\n./top.h\n");
  EXPECT_EQ(read_file(backup + "/src/sub/a.c"), "int a;\n");
  EXPECT_EQ(read_file(backup + "/top.h"), "#define TOP\n");
  // A second copy replaces the first.
  write_file(root + "/top.h", "#define TOP 2\n");
  ASSERT_EQ(take(make_backup_file("top.h", &ws)).code, 0);
  EXPECT_EQ(read_file(backup + "/top.h"), "#define TOP 2\n");
  EXPECT_EQ(backup_listing(), "./src/sub/a.c\n./top.h\n");

  // Nothing to copy: the error of the copy, and no temporary file left.
  Err e = take(make_backup_file("missing.c", &ws));
  EXPECT_EQ(e.code, 1001) << e.text;
  EXPECT_EQ(backup_listing(), "./src/sub/a.c\n./top.h\n");

  // The copy can't take the file's place.
  make_dirs(backup + "/blocked/inside");
  write_file(root + "/blocked", "x\n");
  e = take(make_backup_file("blocked", &ws));
  EXPECT_EQ(e.code, 1018);
  EXPECT_EQ(e.text.rfind("Rename of \"" + backup + "/T.blocked.", 0), 0u) << e.text;
  EXPECT_NE(e.text.find("\" to \"" + backup + "/blocked\" failed  (Error 1018)"),
            std::string::npos)
      << e.text;
  EXPECT_EQ(backup_listing(), "./src/sub/a.c\n./top.h\n");

  // A name too long for the temporary name beside it.
  std::string name(250, 'n');
  write_file(root + "/" + name, "long\n");
  e = take(make_backup_file(name.c_str(), &ws));
  EXPECT_EQ(e.code, 2044);
  EXPECT_EQ(e.text.rfind("Unable to create a temporary name from template \"" + backup + "/T." +
                             name + ".XXXXXX\"  (Error 2044)",
                         0),
            0u)
      << e.text;
}

TEST_F(Args, RewriteStopsWhenTheOldFileCannotBeSaved) {
  write_file(md + "/args", "VERSION 1\nold\n");
  // A directory where the copy must go.
  make_dirs(backup + "/Brindle_wsdata/args/x");
  Kes_md_args *args = nullptr;
  ASSERT_EQ(take(ws.get_md_args(&args)).code, 0);
  Kes_strlist *l = strlist({"new"});
  Err e = take(args->rewrite(l, nullptr));
  EXPECT_EQ(e.code, 1018);
  EXPECT_EQ(read_file(md + "/args"), "VERSION 1\nold\n");
  EXPECT_FALSE(file_exists(md + "/args.lock"));
  delete l;
  delete args;
}

}  // namespace
