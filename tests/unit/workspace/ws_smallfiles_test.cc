// The small metadata files on their own: the backup journal, the description,
// the two settings files of the workspace properties, and the args file with
// the copies it leaves in the backup area for undo.

#include "workspace/kes_md_args.h"
#include "workspace/kes_md_freezept_control.h"
#include "workspace/kes_md_backupnew.h"
#include "workspace/kes_md_description.h"
#include "workspace/kes_md_putback_validation.h"
#include "workspace/kes_workspace.h"
#include "workspace/ws_helpers.h"

using namespace support;
using namespace ws_test;

namespace {

std::string lines(int from, int to) {
  std::string s;
  for (int i = from; i <= to; i++) s += "f" + std::to_string(i) + "\n";
  return s;
}

TEST(BackupJournal, SyncedEveryTenLines) {
  Temp_dir tmp;
  Kes_md_backupnew md(nullptr, tmp.path().c_str());
  ASSERT_EQ(take(md.open()).code, 0);
  std::string path = tmp.file("backup/new");
  // Nothing reaches the disk before the tenth line.
  for (int i = 1; i <= 9; i++) ASSERT_EQ(take(md.add_line(("f" + std::to_string(i)).c_str())).code, 0);
  EXPECT_EQ(read_file(path), "");
  ASSERT_EQ(take(md.add_line("f10")).code, 0);
  EXPECT_EQ(read_file(path), "VERSION 1\n" + lines(1, 10));
  for (int i = 11; i <= 19; i++) ASSERT_EQ(take(md.add_line(("f" + std::to_string(i)).c_str())).code, 0);
  EXPECT_EQ(read_file(path), "VERSION 1\n" + lines(1, 10));
  ASSERT_EQ(take(md.add_line("f20")).code, 0);
  EXPECT_EQ(read_file(path), "VERSION 1\n" + lines(1, 20));
  // No duplicate test: the journal records what happened.
  ASSERT_EQ(take(md.add_line("f20")).code, 0);
  ASSERT_EQ(take(md.close()).code, 0);
  EXPECT_EQ(read_file(path), "VERSION 1\n" + lines(1, 20) + "f20\n");

  // A new transaction starts a new journal; with the limit off nothing is
  // synced before the close.
  Kes_md_backupnew again(nullptr, tmp.path().c_str());
  again.set_limit(-1);
  ASSERT_EQ(take(again.open()).code, 0);
  for (int i = 1; i <= 25; i++) ASSERT_EQ(take(again.add_line(("f" + std::to_string(i)).c_str())).code, 0);
  EXPECT_EQ(read_file(path), "");
  ASSERT_EQ(take(again.close()).code, 0);
  EXPECT_EQ(read_file(path), "VERSION 1\n" + lines(1, 25));
}

TEST(Description, ReadsTheFileAsItStands) {
  Temp_dir tmp;
  write_file(tmp.file("description"),
             "VERSION 1\nNAME\nGateway # not a comment\nDESCRIPTION\n  first line\n\n"
             "third \\\n");
  Kes_md_description md(nullptr, tmp.path().c_str());
  Kes_strlist l;
  ASSERT_EQ(take(md.get_contents(&l)).code, 0);
  EXPECT_EQ(strings(&l), (std::vector<std::string>{"NAME", "Gateway # not a comment",
                                                  "DESCRIPTION", "  first line", "",
                                                  "third \\"}));
  Kes_description d;
  ASSERT_EQ(take(d.init_description(&l)).code, 0);
  EXPECT_STREQ(d.name, "Gateway # not a comment");
  EXPECT_STREQ(d.text, "  first line\n\nthird \\\n");
}

TEST(Description, ShapesAndErrors) {
  struct Case {
    std::vector<std::string> lines;
    const char *name, *text, *error, *file;
  } cases[] = {
      {{}, nullptr, nullptr, nullptr, ""},
      {{"NAME", "short"}, "short", nullptr, nullptr, "NAME\nshort\n"},
      {{"DESCRIPTION", "a", "b"}, nullptr, "a\nb\n", nullptr, "DESCRIPTION\na\nb\n"},
      {{"DESCRIPTION"}, nullptr, "", nullptr, "DESCRIPTION\n"},
      {{"NAME", "n", "DESCRIPTION"}, "n", "", nullptr, "NAME\nn\nDESCRIPTION\n"},
      {{"NAME"}, nullptr, nullptr, "Description file is corrupted: has no name  (Error 2070)\n",
       nullptr},
      {{"NAME", "n", "TEXT", "x"}, "n", nullptr,
       "Description file is corrupted: has no keyword for description  (Error 2070)\n", nullptr},
  };
  for (const Case &c : cases) {
    Kes_strlist *l = strlist(c.lines);
    Kes_description d;
    Err e = take(d.init_description(l));
    delete l;
    std::string what = c.lines.empty() ? "(empty)" : c.lines[0] + "...";
    if (c.error) {
      EXPECT_EQ(e.code, 2070) << what;
      EXPECT_EQ(e.text, c.error) << what;
      continue;
    }
    ASSERT_EQ(e.code, 0) << what << e.text;
    EXPECT_EQ(d.name ? d.name : "(null)", std::string(c.name ? c.name : "(null)")) << what;
    EXPECT_EQ(d.text ? d.text : "(null)", std::string(c.text ? c.text : "(null)")) << what;
    char *line = d.make_description_line();
    EXPECT_EQ(std::string(line), c.file) << what;
    free(line);
  }
  Kes_description d;
  EXPECT_EQ(take(d.init_description(nullptr)).code, 0);
  EXPECT_EQ(d.name, nullptr);
}


// The settings files as people write them by hand; what the properties
// window saves is read back by the GUI stories and the metadata fuzz replay,
// and the bringover and putback stories act on it.
TEST(SettingsFiles, HandWrittenFiles) {
  Temp_dir tmp;
  Kes_strlist unused;
  // The value is the first word after the key; the resolve keys are never read.
  write_file(tmp.file("freezept_control"),
             "VERSION 2\nbefore_bringover\tyes\nafter_bringover Yes\n  before_putback   yes  # ok\n"
             "after_putback\nbefore_undo yes please\nafter_undo maybe\nbefore_resolve yes\n"
             "after_resolve yes\nunknown yes\n");
  Kes_md_autofr af(nullptr, tmp.path().c_str());
  ASSERT_EQ(take(af.get_contents(&unused)).code, 0);
  EXPECT_EQ(unused.count, 0);  // the settings go into the object
  Kes_autofr want_af(1, 0, 1, 0, 1, 0, 0, 0);
  EXPECT_TRUE(af.autofr.compare(&want_af));

  // Anything but "on" is off; a key without a value counts for nothing.
  write_file(tmp.file("putback_validation"),
             "VERSION 2\nputback-validation\tmaybe\noverride-ac\nauto-approved yes\n"
             "validation-program\n");
  Kes_md_pbval pb(nullptr, tmp.path().c_str());
  ASSERT_EQ(take(pb.get_contents(&unused)).code, 0);
  Kes_pbval want_pb(0, 1, 1, nullptr);
  EXPECT_TRUE(pb.pbval.compare(&want_pb));
}

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
  EXPECT_EQ(backup_listing(), "./src/sub/a.c\n./top.h\n");

  // A name too long for the temporary name beside it.
  std::string name(250, 'n');
  write_file(root + "/" + name, "long\n");
  e = take(make_backup_file(name.c_str(), &ws));
  EXPECT_EQ(e.code, 2044);
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
