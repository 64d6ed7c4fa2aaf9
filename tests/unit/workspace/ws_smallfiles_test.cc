// The small metadata files on their own: the backup journal, the description,
// and the two settings files of the workspace properties.

#include "workspace/kes_md_freezept_control.h"
#include "workspace/kes_md_backupnew.h"
#include "workspace/kes_md_description.h"
#include "workspace/kes_md_putback_validation.h"
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

TEST(BackupJournal, Failures) {
  Temp_dir tmp;
  // The directory can't be made: a plain file is in the way.
  write_file(tmp.file("backup"), "");
  Kes_md_backupnew blocked(nullptr, tmp.path().c_str());
  Err e = take(blocked.open());
  EXPECT_EQ(e.code, 1017);
  EXPECT_EQ(e.system_errno, ENOTDIR);
  EXPECT_EQ(blocked.stream, nullptr);
  // Not opened: a write error, not a crash.
  e = take(blocked.add_line("x"));
  EXPECT_EQ(e.code, 1001);
  EXPECT_EQ(e.text.rfind("Writing to \"" + tmp.file("backup/new") + "\" failed", 0), 0u)
      << e.text;
  unlink(tmp.file("backup").c_str());

  // A full disk shows at the sync.
  make_dirs(tmp.file("backup"));
  ASSERT_EQ(symlink("/dev/full", tmp.file("backup/new").c_str()), 0);
  Kes_md_backupnew full(nullptr, tmp.path().c_str());
  ASSERT_EQ(take(full.open()).code, 0);
  for (int i = 1; i <= 9; i++) ASSERT_EQ(take(full.add_line("f")).code, 0);
  e = take(full.add_line("f"));
  EXPECT_EQ(e.code, 1001);
  EXPECT_EQ(e.system_errno, ENOSPC);
  delete full.close();

  // A journal that can't be synced: a pipe takes the lines but no fsync.
  unlink(tmp.file("backup/new").c_str());
  ASSERT_EQ(mkfifo(tmp.file("backup/new").c_str(), 0666), 0);
  Kes_md_backupnew fifo(nullptr, tmp.path().c_str());
  ASSERT_EQ(take(fifo.open()).code, 0);
  for (int i = 1; i <= 9; i++) ASSERT_EQ(take(fifo.add_line("f")).code, 0);
  e = take(fifo.add_line("f"));
  EXPECT_EQ(e.code, 1026);
  EXPECT_EQ(e.text.rfind("Fsync to \"" + tmp.file("backup/new") + "\" failed  (Error 1026)", 0),
            0u)
      << e.text;
  delete fifo.close();
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

  // Written back through the file, it reads the same.
  char *text = d.make_description_line();
  Kes_strlist out;
  out.add_new_data(text);
  ASSERT_EQ(take(md.put_contents(&out)).code, 0);
  EXPECT_EQ(read_file(tmp.file("description")),
            "VERSION 1\nNAME\nGateway # not a comment\nDESCRIPTION\n  first line\n\nthird \\\n");
  Kes_strlist back;
  ASSERT_EQ(take(md.get_contents(&back)).code, 0);
  EXPECT_EQ(strings(&back), strings(&l));
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
      {{"free text"}, nullptr, nullptr,
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

const char kAutofrHead[] =
    "VERSION 2\n"
    "#\n# Settings to create autofreezepoints before and after transactions:\n#\n"
    "# Key names:\n# before_bringover\n# after_bringover\n# before_putback\n"
    "# after_putback\n# before_resolve\n# after_resolve\n# before_undo\n# after_undo\n#\n"
    "# Allowed values:\n# yes\n# no\n#\n# Separator:\n# tabs or spaces\n#\n"
    "# Examples:\n# before_putback yes\n# after_resolve yes\n# before_undo no\n\n";

TEST(AutoFreezepoints, SavedReadBackWithoutTheResolveKeys) {
  Temp_dir tmp;
  Kes_md_autofr md(nullptr, tmp.path().c_str());
  Kes_autofr all_on(1, 1, 1, 1, 1, 1, 1, 1);
  ASSERT_EQ(take(md.save(&all_on)).code, 0);
  EXPECT_EQ(read_file(tmp.file("freezept_control")),
            std::string(kAutofrHead) +
                "before_bringover    yes\nafter_bringover     yes\nbefore_putback      yes\n"
                "after_putback       yes\nbefore_undo         yes\nafter_undo          yes\n"
                "before_resolve      yes\nafter_resolve       yes\n");
  Kes_md_autofr reader(nullptr, tmp.path().c_str());
  Kes_strlist unused;
  ASSERT_EQ(take(reader.get_contents(&unused)).code, 0);
  EXPECT_EQ(unused.count, 0);  // the settings go into the object
  Kes_autofr expected(1, 1, 1, 1, 1, 1, 0, 0);  // resolve keys are never read back
  EXPECT_TRUE(reader.autofr.compare(&expected));
  EXPECT_FALSE(reader.autofr.compare(&all_on));

  // Saving over an existing file drops the comment.
  Kes_autofr some(0, 1, 0, 1, 0, 1, 0, 0);
  ASSERT_EQ(take(md.save(&some)).code, 0);
  EXPECT_EQ(read_file(tmp.file("freezept_control")),
            "VERSION 2\nbefore_bringover    no\nafter_bringover     yes\nbefore_putback      no\n"
            "after_putback       yes\nbefore_undo         no\nafter_undo          yes\n"
            "before_resolve      no\nafter_resolve       no\n");
  Kes_md_autofr r2(nullptr, tmp.path().c_str());
  ASSERT_EQ(take(r2.get_contents(&unused)).code, 0);
  EXPECT_TRUE(r2.autofr.compare(&some));
}

TEST(AutoFreezepoints, HandWrittenFile) {
  Temp_dir tmp;
  write_file(tmp.file("freezept_control"),
             "VERSION 2\nbefore_bringover\tyes\nafter_bringover Yes\n  before_putback   yes  # ok\n"
             "after_putback\nbefore_undo yes please\nafter_undo maybe\nbefore_resolve yes\n"
             "unknown yes\n");
  Kes_md_autofr md(nullptr, tmp.path().c_str());
  Kes_strlist unused;
  ASSERT_EQ(take(md.get_contents(&unused)).code, 0);
  // The value is the first word after the key.
  Kes_autofr expected(1, 0, 1, 0, 1, 0, 0, 0);
  EXPECT_TRUE(md.autofr.compare(&expected))
      << md.autofr.before_br << md.autofr.after_br << md.autofr.before_pb
      << md.autofr.after_pb << md.autofr.before_undo << md.autofr.after_undo;

  // A version 1 file has no converter.
  write_file(tmp.file("freezept_control"), "VERSION 1\nbefore_bringover yes\n");
  Kes_md_autofr old(nullptr, tmp.path().c_str());
  Err e = take(old.get_contents(&unused));
  EXPECT_EQ(e.code, 2047);

  // The default file is just the version line.
  Kes_md_autofr fresh(nullptr, tmp.path().c_str());
  unlink(tmp.file("freezept_control").c_str());
  ASSERT_EQ(take(fresh.create_default_file()).code, 0);
  EXPECT_EQ(read_file(tmp.file("freezept_control")), "VERSION 2\n");
}

TEST(PutbackValidation, DefaultsRoundTripAndProgramLine) {
  Temp_dir tmp;
  Kes_md_pbval md(nullptr, tmp.path().c_str());
  Kes_pbval defaults;
  Kes_strlist unused;
  ASSERT_EQ(take(md.get_contents(&unused)).code, 0);  // no file: the defaults
  EXPECT_TRUE(md.pbval.compare(&defaults));

  Kes_pbval s(1, 0, 0, "/opt/check -x --strict 'two words'");
  ASSERT_EQ(take(md.save(&s)).code, 0);
  EXPECT_EQ(read_file(tmp.file("putback_validation")),
            "VERSION 2\nputback-validation  on\noverride-ac         no\n"
            "auto-approved       no\n"
            "validation-program  /opt/check -x --strict 'two words'\n");
  Kes_md_pbval r(nullptr, tmp.path().c_str());
  ASSERT_EQ(take(r.get_contents(&unused)).code, 0);
  EXPECT_TRUE(r.pbval.compare(&s)) << r.pbval.prog;

  // Off, and no program.
  Kes_pbval off(0, 1, 1, nullptr);
  ASSERT_EQ(take(md.save(&off)).code, 0);
  Kes_md_pbval r2(nullptr, tmp.path().c_str());
  ASSERT_EQ(take(r2.get_contents(&unused)).code, 0);
  EXPECT_TRUE(r2.pbval.compare(&off));
  EXPECT_FALSE(r2.pbval.compare(&s));
  Kes_pbval on_without_program(1, 0, 0, nullptr);
  EXPECT_FALSE(on_without_program.compare(&s));  // the program counts

  // Hand-written: anything but "on" is off, lines without a value count for
  // nothing.
  write_file(tmp.file("putback_validation"),
             "VERSION 2\nputback-validation\tmaybe\noverride-ac\nauto-approved yes\n"
             "validation-program\n");
  Kes_md_pbval r3(nullptr, tmp.path().c_str());
  ASSERT_EQ(take(r3.get_contents(&unused)).code, 0);
  Kes_pbval expected(0, 1, 1, nullptr);
  EXPECT_TRUE(r3.pbval.compare(&expected));

  write_file(tmp.file("putback_validation"), "VERSION 1\n");
  Kes_md_pbval r4(nullptr, tmp.path().c_str());
  EXPECT_EQ(take(r4.get_contents(&unused)).code, 2047);
}

}  // namespace
