// The history log: records written through a temporary file and appended
// whole, read back field by field, and the command log behind each record.
#include <csignal>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include "util/kes_host.h"
#include "workspace/kes_cmdlog.h"
#include "workspace/kes_history.h"
#include "workspace/kes_metadata.h"
#include "workspace/ws_helpers.h"

using namespace support;
using namespace ws_test;

namespace {

typedef std::vector<std::string> Fields;  // the 18 fields, "-" for null

// The records of a log, each as its 18 fields.
std::vector<Fields> records(Kes_md_history *md) {
  Kes_historylist list;
  Err e = take(md->get_contents(&list));
  EXPECT_EQ(e.code, 0) << e.text;
  std::vector<Fields> out;
  for (Kes_listelem *el = list.head.next; el != &list.head; el = el->next) {
    Kes_history *h = (Kes_history *)el->data;
    const char *f[] = {h->command_name, h->command_text,  h->comment,     h->cwd,
                       h->release,      h->host,          h->user,        h->parent_name,
                       h->parent_netname, h->child_name,  h->child_netname, h->start_local,
                       h->start_gmt,    h->end_local,     h->end_gmt,     h->status,
                       h->rti,          h->freezepoint_file};
    Fields r;
    for (const char *s : f) r.push_back(s ? s : "-");
    out.push_back(r);
  }
  return out;
}

// A record with only the fields given by number (1-based) set.
Fields rec(std::initializer_list<std::pair<int, std::string>> set) {
  Fields f(18, "-");
  for (auto &p : set) f[p.first - 1] = p.second;
  return f;
}

// Names in dir other than the log itself: temporary files left behind.
std::vector<std::string> leftovers(const std::string &dir) {
  std::vector<std::string> out;
  DIR *d = opendir(dir.c_str());
  while (struct dirent *e = d ? readdir(d) : nullptr) {
    std::string n = e->d_name;
    if (n != "." && n != ".." && n != "history") out.push_back(n);
  }
  if (d) closedir(d);
  return out;
}

class HistoryLog : public ::testing::Test {
protected:
  Temp_dir tmp;
  std::string mdir = make_ws(tmp.path()) + "/Brindle_wsdata";
  std::string log = mdir + "/history";
  Kes_md_history md{nullptr, mdir.c_str()};

  void write_log(const std::string &body) { write_file(log, "VERSION 1\n" + body); }
};

TEST_F(HistoryLog, ParserSplitsRecordsOnlyWhereKeywordsGoBack) {
  write_log(
      // A comment line that looks like a keyword ends the comment; the
      // "END COMMENT" behind it then starts a record of its own.
      "COMMAND   /usr/bin/putback -n  a.c \n"
      "BEGIN COMMENT\n"
      "first\n"
      "CWD /not/really\n"
      "second\n"
      "END COMMENT\n"
      "USER ann\n"
      // A free line in the time format is taken for the end time.
      "END (free) (text)\n"
      "STATUS 0\n"
      // Each keyword that goes back in the order starts a record, with or
      // without a command line.
      "RTI 42\n"
      "CWD /w\n"
      "PARENT_WORKSPACE \n"
      "CHILD_WORKSPACE )x( (y)\n"
      "START (s1) (s2\n"
      // A keyword must match whole: these are text.
      "COMMAND\n"
      "COMMANDfoo\n"
      "status 3\n"
      // The same keyword again also goes back.
      "STATUS 5\n"
      "STATUS 6\n");
  std::vector<Fields> want = {
      rec({{1, "putback"},
           {2, "  /usr/bin/putback -n  a.c \nsecond\n"},
           {3, "first\n"},
           {4, "/not/really"}}),
      rec({{7, "ann"}, {14, "free"}, {15, "text"}, {16, "0"}}),
      rec({{17, "42"}}),
      // Only a whole pair of parentheses counts.
      rec({{2, "COMMAND\nCOMMANDfoo\nstatus 3\n"}, {4, "/w"}, {12, "s1"}, {16, "5"}}),
      rec({{16, "6"}}),
  };
  EXPECT_EQ(records(&md), want);
}

TEST_F(HistoryLog, ParserJoinsLinesAndAcceptsEmptyOrMissingLogs) {
  EXPECT_TRUE(records(&md).empty());  // no file
  write_log("");
  EXPECT_TRUE(records(&md).empty());

  std::string longword(3000, 'x');
  write_log("COMMAND get " + longword + "\nCWD /a\\\n/b\nSTATUS 1");  // no final newline
  std::vector<Fields> want = {
      rec({{1, "get"}, {2, "get " + longword + "\n"}, {4, "/a/b"}, {16, "1"}})};
  EXPECT_EQ(records(&md), want);
}

// A zone with daylight time, so that local and GMT times differ and the
// zone's daylight name is the one written.
struct Zone {
  const char *old = getenv("TZ");
  std::string saved = old ? old : "";
  explicit Zone(const char *tz) {
    setenv("TZ", tz, 1);
    tzset();
  }
  ~Zone() {
    old ? setenv("TZ", saved.c_str(), 1) : unsetenv("TZ");
    tzset();
  }
};

// The fields of a record as commands write them are the stories' (bringover,
// putback, freezepoint), which compare records without their times; here the
// times.
TEST_F(HistoryLog, RecordTimesAreTheClocksInBothZones) {
  Zone zone("EST5EDT");
  ASSERT_STREQ(kes_get_timezone(), "EDT");
  time_t before = time(nullptr);
  Kes_cmdlog cmdlog;
  ASSERT_EQ(take(md.start(0)).code, 0);
  cmdlog.finish(4);
  time_t after = time(nullptr);
  md.done(&cmdlog);

  EXPECT_TRUE(leftovers(mdir).empty());
  std::vector<Fields> got = records(&md);
  ASSERT_EQ(got.size(), 1u);
  Fields &r = got[0];
  EXPECT_EQ(r[15], "4");

  // Each time is one the clock showed while the record was made: asctime
  // text, then the zone's name or "GMT" in the second parenthesis' line.
  auto seen = [&](const std::string &text, bool gmt) {
    for (time_t t = before; t <= after; t++) {
      struct tm tm;
      char buf[64];
      asctime_r(gmt ? gmtime_r(&t, &tm) : localtime_r(&t, &tm), buf);
      buf[24] = '\0';
      if (text == std::string(buf) + " " + (gmt ? "GMT" : kes_get_timezone()))
        return true;
    }
    return false;
  };
  EXPECT_TRUE(seen(r[11], false)) << r[11];
  EXPECT_TRUE(seen(r[12], true)) << r[12];
  EXPECT_TRUE(seen(r[13], false)) << r[13];
  EXPECT_TRUE(seen(r[14], true)) << r[14];
}

TEST_F(HistoryLog, ConcurrentRecordsStayWhole) {
  const int kProcs = 3, kLines = 2000;
  // The children compose their records, then append them at the same moment
  // when the parent closes the pipe.
  int gate[2], waiting[2];
  ASSERT_EQ(pipe(gate), 0);
  ASSERT_EQ(pipe(waiting), 0);
  std::vector<pid_t> pids;
  for (int p = 0; p < kProcs; p++) {
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      close(waiting[0]);
      say_when_waiting(waiting[1]);
      Kes_md_history m(nullptr, mdir.c_str());
      Kes_cmdlog cl;
      std::string name = "proc" + std::to_string(p);
      const char *argv[] = {name.c_str()};
      m.argc = 1;
      m.argv = (char **)argv;
      int bad = m.start(0) != nullptr;
      // Records far larger than a stdio buffer: each append takes many writes.
      for (int i = 0; i < kLines && !bad; i++)
        bad = m.printf("%s line %d of a record that only this process writes\n", name.c_str(),
                       i) != nullptr;
      cl.finish(p);
      close(gate[1]);
      char c;
      if (read(gate[0], &c, 1) != 0) bad = 1;
      m.done(&cl);
      _exit(bad);
    }
    pids.push_back(pid);
  }
  close(gate[0]);
  close(waiting[1]);
  // While another holds the log's file lock, nobody appends: every child has
  // come to the lock and waits.
  Kes_md_history holder(nullptr, mdir.c_str());
  ASSERT_EQ(take(holder.lock()).code, 0);
  close(gate[1]);
  char c;
  int arrived = 0;
  while (arrived < kProcs && read(waiting[0], &c, 1) == 1) arrived++;
  close(waiting[0]);
  EXPECT_EQ(arrived, kProcs);
  EXPECT_FALSE(file_exists(log));
  holder.unlock();
  for (pid_t pid : pids) {
    int status;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_EQ(status, 0);
  }
  std::vector<Fields> got = records(&md);
  ASSERT_EQ(got.size(), (size_t)kProcs);
  std::vector<bool> seen(kProcs);
  for (const Fields &r : got) {
    int p = std::stoi(r[15]);
    ASSERT_TRUE(p >= 0 && p < kProcs && !seen[p]);
    seen[p] = true;
    std::string name = "proc" + std::to_string(p);
    std::string body = name + " \n";
    for (int i = 0; i < kLines; i++)
      body += name + " line " + std::to_string(i) + " of a record that only this process writes\n";
    EXPECT_EQ(r[0], name);
    EXPECT_EQ(r[1], body);
  }
  EXPECT_TRUE(leftovers(mdir).empty());
}

TEST_F(HistoryLog, FailedAppendLosesOnlyTheRecord) {
  // The log is a directory: it can't be opened for appending.
  make_dirs(log);
  ASSERT_EQ(take(md.start(0)).code, 0);
  std::string err = capture_stderr([&] { md.done(nullptr); });
  EXPECT_NE(err.find("Open of \"" + log + "\" for appending failed"), std::string::npos) << err;
  EXPECT_NE(err.find("1025"), std::string::npos) << err;
  EXPECT_TRUE(leftovers(mdir).empty());
  rmdir(log.c_str());

  // A write that fails halfway, by the file size limit: the log keeps its old
  // end exactly, and the message names the log.
  // The record (6 KB) fits below the limit, the log with it doesn't.
  write_log("COMMAND old\n" + std::string(8000, 'o') + "\nSTATUS 0\n");
  std::string old = read_file(log);
  std::string errfile = tmp.file("stderr");
  int status = in_child([&] {
    int fd = open(errfile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(fd, 2);
    signal(SIGXFSZ, SIG_IGN);
    struct rlimit rl = {(rlim_t)old.size() + 3000, (rlim_t)old.size() + 3000};
    setrlimit(RLIMIT_FSIZE, &rl);
    Kes_md_history m(nullptr, mdir.c_str());
    if (Kes_err *e = m.start(0)) return e->print(), 2;
    for (int i = 0; i < 150; i++)
      if (Kes_err *e = m.printf("%040d\n", i)) return e->print(), 3;
    m.done(nullptr);
    return 0;
  }).status;
  EXPECT_EQ(status, 0) << read_file(errfile);
  EXPECT_EQ(read_file(log), old);
  EXPECT_NE(read_file(errfile).find("Writing to \"" + log + "\" failed"), std::string::npos)
      << read_file(errfile);
  EXPECT_TRUE(leftovers(mdir).empty());
}

TEST(CommandLog, NoCurrentDirectoryEndsTheProcess) {
  Temp_dir tmp;
  std::string gone = tmp.file("gone");
  make_dirs(gone);
  std::string errfile = tmp.file("stderr");
  int status = in_child([&] {
    int fd = open(errfile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(fd, 2);
    if (chdir(gone.c_str()) != 0 || rmdir(gone.c_str()) != 0) return 5;
    Kes_cmdlog cl;
    return 0;
  }).status;
  EXPECT_EQ(status, 1);
  std::string err = read_file(errfile);
  EXPECT_NE(err.find(": Could not get current working directory\n"), std::string::npos) << err;
}

}  // namespace
