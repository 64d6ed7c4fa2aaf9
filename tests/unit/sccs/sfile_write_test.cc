// Rewriting history files: CSSC's val, admin -h and get -p judge what we write.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sccs/sccs_helpers.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"

using namespace sccs_test;
using namespace support;

namespace {

// The file after its first line, with the numbered end of descriptive text
// put back to its plain form.
std::string body_of(const std::string &text) {
  std::string t = text.substr(text.find('\n') + 1);
  size_t at = t.find("\001T 0\n");
  if (at != std::string::npos) t.replace(at, 5, "\001T\n");
  return t;
}

// The rich history holds every part the writer writes; only the end of the
// descriptive text takes our numbered form, and no temporary file is left.
TEST(SfileWrite, RoundTripKeepsEveryByteButTheTextEnd) {
  Temp_dir dir;
  std::string s = make_rich_history(dir.path(), "v.c");
  std::string before = read_file(s), view = cssc_view(s);
  auto f = read_full(s);
  ASSERT_EQ(f->write(), nullptr);
  std::string after = read_file(s);
  EXPECT_NE(after.find("\001T 0\n"), std::string::npos);
  EXPECT_EQ(body_of(after), body_of(before));
  EXPECT_EQ(val(s), 0);
  EXPECT_EQ(admin_check(s), 0);
  EXPECT_EQ(cssc_view(s), view);
  EXPECT_EQ(sh("ls -A", dir.path()).out, "desc.txt\ns.v.c\n");
}

TEST(SfileWrite, KeepsTimesAndReadOnlyMode) {
  Temp_dir dir;
  new_history(dir.path(), "m.c", "x\n");
  std::string s = dir.file("s.m.c");
  ASSERT_EQ(chmod(s.c_str(), 0640), 0);
  struct utimbuf t = {1000000000, 900000000};
  ASSERT_EQ(utime(s.c_str(), &t), 0);
  auto f = read_full(s);
  struct stat st;
  ASSERT_EQ(stat(s.c_str(), &st), 0);
  time_t atime = st.st_atime;  // reading may have moved it
  ASSERT_EQ(f->write(), nullptr);
  ASSERT_EQ(stat(s.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0440u);  // the old mode without write bits
  EXPECT_EQ(st.st_mtime, 900000000);
  EXPECT_EQ(st.st_atime, atime);
}

TEST(SfileWrite, FakeRootRaisesLevelsAndSerials) {
  Temp_dir dir;
  new_history(dir.path(), "f.c", "one\n");
  std::string s = dir.file("s.f.c");
  add_delta(s, "one\ntwo\n", "second");
  add_delta(s, "one\nb\n", "branch", "-r1.1 -b");
  std::string v11 = get_text(s, "1.1").out, v12 = get_text(s, "1.2").out,
              vb = get_text(s, "1.1.1.1").out;
  auto f = read_full(s);
  f->tree->add_fake();
  f->tree->node_count++;
  EXPECT_TRUE(f->fake_was_added());
  ASSERT_EQ(f->write(), nullptr);
  EXPECT_EQ(val(s), 0);
  EXPECT_EQ(admin_check(s), 0);
  EXPECT_EQ(live_sids(s), (std::vector<std::string>{"1.2.1.1", "1.3", "1.2", "1.1"}));
  EXPECT_EQ(get_text(s, "1.2").out, v11);
  EXPECT_EQ(get_text(s, "1.3").out, v12);
  EXPECT_EQ(get_text(s, "1.2.1.1").out, vb);
  EXPECT_EQ(get_text(s, "1.1").out, "");
  EXPECT_EQ(prs(s, ":P:|:D: :T:|:C:", "1.1"),
            "Fake|70/01/01 00:00:00|Fake Brindle delta to combine two files with no common "
            "deltas\n\n");
}

TEST(SfileWrite, RewrittenPfileFollowsNewSids) {
  Temp_dir dir;
  new_history(dir.path(), "p.c", "x\n", "-fj");
  std::string s = dir.file("s.p.c");
  add_delta(s, "x\ny\n", "two");
  ASSERT_EQ(sh(cssc("get") + " -s -e s.p.c", dir.path()).status, 0);
  std::string pfile = read_file(dir.file("p.p.c"));
  auto f = read_full(s);
  ASSERT_NE(f->pfile_list, nullptr);
  ASSERT_NE(f->pfile_list->delta, nullptr);
  f->pfile_list->delta->set_new_sid("1.7");
  ASSERT_EQ(f->rewrite_pfile(), nullptr);
  // Until the history file is replaced the old p-file stays.
  EXPECT_EQ(read_file(dir.file("p.p.c")), pfile);
  ASSERT_EQ(f->write(), nullptr);
  std::string now = read_file(dir.file("p.p.c"));
  EXPECT_EQ(now, "1.7" + pfile.substr(3));
  struct stat st;
  ASSERT_EQ(stat(dir.file("p.p.c").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0444u);
  EXPECT_FALSE(file_exists(dir.file("p.p.c.smoosh.tmp")));
}

// The history then stays with its p-file: replaced alone, it would leave a
// p-file naming the old table.
TEST(SfileWrite, HistoryAndPfileUnchangedWhenItsTemporaryCannotBeWritten) {
  Temp_dir dir;
  new_history(dir.path(), "p.c", "x\n");
  std::string s = dir.file("s.p.c");
  ASSERT_EQ(sh(cssc("get") + " -s -e s.p.c", dir.path()).status, 0);
  std::string pfile = read_file(dir.file("p.p.c")), history = read_file(s);
  ASSERT_EQ(mkdir(dir.file("p.p.c.smoosh.tmp").c_str(), 0755), 0);
  auto f = read_full(s);
  EXPECT_EQ(f->rewrite_pfile(), nullptr);  // only the system's word on stderr
  expect_error(f->write(), 1017,
               "Open of \"" + dir.file("p.p.c.smoosh.tmp") + "\" for writing failed  (Error 1017)");
  EXPECT_EQ(read_file(dir.file("p.p.c")), pfile);
  EXPECT_EQ(read_file(s), history);
}

TEST(SfileWrite, FailuresCarryTheirCodes) {
  Temp_dir dir;
  ASSERT_EQ(mkdir(dir.file("sub").c_str(), 0755), 0);
  new_history(dir.file("sub"), "w.c", "x\n");
  std::string s = dir.file("sub/s.w.c");
  auto f = read_full(s);
  // The directory went away: no temporary file can be made.
  ASSERT_EQ(rename(dir.file("sub").c_str(), dir.file("moved").c_str()), 0);
  Kes_err *err = f->write();
  ASSERT_NE(err, nullptr);
  EXPECT_EQ(err->code, 1017);
  EXPECT_EQ(err->system_errno, ENOENT);
  EXPECT_EQ(std::string(err->text),
            "Open of \"" + dir.file("sub/S.s.w.c.XXXXXX") +
                "\" for writing failed  (Error 1017) - No such file or directory  (System error 2)\n");
  delete err;
}

TEST(SfileRename, ChecksumAndReplaceFailures) {
  Temp_dir dir;
  new_history(dir.path(), "r.c", "x\n");
  std::string s = dir.file("s.r.c");
  SCCS_sfile f(s.c_str());
  f.tmp_sfile_path = strdup(dir.file("S.tmp").c_str());
  // Missing, empty and one-line-without-newline temporary files.
  expect_error(f.rename_tmp_sfile(s.c_str()), 1017,
             "Open of \"" + dir.file("S.tmp") + "\" for writing failed  (Error 1017)");
  write_file(dir.file("S.tmp"), "");
  expect_error(f.rename_tmp_sfile(s.c_str()), 1030,
             "Mmap of \"" + dir.file("S.tmp") + "\" failed  (Error 1030)");
  write_file(dir.file("S.tmp"), "\001h00000");
  expect_error(f.rename_tmp_sfile(s.c_str()), 2522,
             "Internal error in sccsmerge in chksum(): did not find the end of the first line  "
             "(Error 2522)");
  // A sound one replaces the target with the sum filled in.
  std::string good = read_file(s);
  write_file(dir.file("S.tmp"), "\001h99999" + good.substr(7));
  ASSERT_EQ(f.rename_tmp_sfile(s.c_str()), nullptr);
  EXPECT_EQ(read_file(s), good);
  EXPECT_FALSE(file_exists(dir.file("S.tmp")));
}

TEST(SfileCorrupted, AdminJudgesTheFile) {
  Temp_dir dir;
  new_history(dir.path(), "c.c", "x\n");
  std::string s = dir.file("s.c.c");
  SCCS_sfile f(s.c_str());
  EXPECT_EQ(f.test_corrupted(), nullptr);
  std::string t = read_file(s);
  t.replace(2, 5, "00001");
  write_file(s, t);
  expect_error(f.test_corrupted(), 2043, "SCCS file \"" + s + "\" is corrupted  (Error 2043)");
  SCCS_sfile gone(dir.file("s.gone").c_str());
  expect_error(gone.test_corrupted(), 2043,
             "SCCS file \"" + dir.file("s.gone") + "\" is corrupted  (Error 2043)");
}

}  // namespace
