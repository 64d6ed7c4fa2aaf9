// Command locks: the lines of the locks file, the age text, who shuts out
// whom, release with and without room for a rewrite, and processes racing for
// one workspace.
#include <sys/wait.h>

#include <ctime>
#include <map>

#include "util/kes_init.h"
#include "workspace/kes_cmdlock.h"
#include "workspace/kes_metadata.h"
#include "workspace/kes_workspace.h"
#include "workspace/ws_helpers.h"

using namespace support;
using namespace ws_test;

namespace {

class CmdlockTest : public ::testing::Test {
protected:
  Temp_dir tmp;
  std::string root = make_ws(tmp.file("ws"));
  std::string locks = root + "/Brindle_wsdata/locks";
  Kes_workspace *ws = nullptr;

  void SetUp() override {
    static char name[] = "/usr/bin/locktest";
    static char *argv[] = {name, nullptr};
    kes_set_full_cmdname(argv);
    Kes_err *err = nullptr;
    ws = new Kes_workspace(root.c_str(), &err);
    ASSERT_EQ(err, nullptr);
  }
  void TearDown() override { delete ws; }

  // The line of a lock taken by somebody else age seconds ago.
  static std::string other(const char *type, const char *cmd, int pid, const char *user,
                           long age) {
    return std::string(type) + " " + cmd + " " + std::to_string(pid) + " hostB " + user + " " +
           std::to_string(time(nullptr) - age);
  }
  std::string message(const char *line) {
    Kes_cmdlock l(line, ws);
    char buf[1024];
    return l.format_msg(buf);
  }
};

TEST_F(CmdlockTest, LinesParseWithDefaultsAndCompareInTheirOldShape) {
  // Line, then the line as written back.
  const char *cases[][2] = {
      {"write putback 4711 hostA alice 1100000000", "write putback 4711 hostA alice 1100000000"},
      {"write bringover 123 hostA", "write bringover 123 hostA Unknown 0"},
      {"", "read Unknown -1 Unknown Unknown 0"},
      {"WRITE undo 9 h u 5", "read undo 9 h u 5"},
      {"write undo notapid h u 5", "write undo -1 Unknown Unknown 0"},
  };
  char buf[1024];
  for (auto &c : cases) EXPECT_STREQ(Kes_cmdlock(c[0], ws).format_lock_line(buf), c[1]) << c[0];

  const char *base = "write putback 10 hostA alice 500";
  struct {
    const char *other;
    int equal;
  } compares[] = {
      {base, 0},                                  // identical lines differ
      {"write bringover 10 hostB bob 500", 1},    // other command, machine, user; same time
      {"write bringover 10 hostB bob 501", 0},    // ... other time
      {"read bringover 10 hostB bob 500", 0},     // other type
      {"write bringover 11 hostB bob 500", 0},    // other pid
      {"write bringover 10 hostA bob 500", 0},    // same machine
      {"write bringover 10 hostB alice 500", 0},  // same user
  };
  Kes_cmdlock a(base, ws);
  EXPECT_EQ(a.compare(nullptr), 0);
  for (auto &c : compares) {
    Kes_cmdlock b(c.other, ws);
    EXPECT_EQ(a.compare(&b), c.equal) << c.other;
  }
}

TEST_F(CmdlockTest, AgeTextRoundsMinutesAndLeavesOutZeroDaysAndHours) {
  // Ages chosen so that a clock tick during the test changes nothing.
  struct {
    long age;
    const char *tail;
  } cases[] = {
      {59 * 60 + 40, "60 minutes\n"},
      {0, "0 minutes\n"},
      {3600 + 60, "1 hours, 1 minutes\n"},
      {86400 + 5 * 60, "1 days, 0 hours, 5 minutes\n"},
      {2 * 86400 + 3 * 3600 + 10, "2 days, 3 hours, 0 minutes\n"},
  };
  for (auto &c : cases)
    EXPECT_EQ(message(other("write", "putback", 77, "bob", c.age).c_str()),
              std::string("    User bob has been running a putback command (pid 77)\n"
                          "        on hostB for ") + c.tail) << c.age;
}

TEST_F(CmdlockTest, ReleaseWithoutRoomForARewriteRemovesOnlyALoneLock) {
  // A directory where the rewrite's temporary file goes makes the rewrite fail
  // for any user, root included.
  make_dirs(locks + ".tmp");
  Kes_cmdlock *lock = nullptr;
  ASSERT_EQ(take(ws->obtain_lock(KES_WRITE_LOCK, &lock)).text, "");
  std::string alone = read_file(locks);
  auto release = [&] {
    testing::internal::CaptureStderr();
    EXPECT_EQ(take(ws->release_lock(lock)).text, "") << "the failure is only shown";
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("(Error 1017)"), std::string::npos) << err;
  };
  write_file(locks, alone + other("read", "bringover", 5, "dora", 0) + "\n");
  std::string kept = read_file(locks);
  release();
  EXPECT_EQ(read_file(locks), kept);
  EXPECT_EQ(ws->write_locked, 0u);

  write_file(locks, alone);
  release();
  EXPECT_FALSE(file_exists(locks)) << "the lone lock went with its file";
  delete lock;
}

// n processes race for one workspace.  The short lock of the locks file is
// held until every one of them waits for it, so that all try at once when it
// goes.  The exit statuses by pid: 0 with the lock, 21 denied, 1 otherwise.
std::map<pid_t, int> race(const std::string &root, Kes_cmdlocktype type, int n) {
  std::string link = root + "/Brindle_wsdata/locks.lock";
  int ready[2];
  if (symlink("locks", link.c_str()) != 0 || pipe(ready) != 0) abort();
  std::map<pid_t, int> out;
  fflush(stdout);
  fflush(stderr);
  for (int i = 0; i < n; i++) {
    pid_t pid = fork();
    if (pid == 0) {
      close(ready[0]);
      say_when_waiting(ready[1]);
      Kes_err *err = nullptr;
      Kes_workspace ws(root.c_str(), &err);
      Kes_cmdlock *lock = nullptr;
      if (!err) err = ws.obtain_lock(type, &lock);
      _exit(!err ? (lock ? 0 : 1) : err->code == 2021 ? 21 : 1);
    }
    out[pid] = -1;
  }
  close(ready[1]);
  char c;
  for (int waiting = 0; waiting < n && read(ready[0], &c, 1) == 1;) waiting++;
  close(ready[0]);
  unlink(link.c_str());
  for (auto &r : out) {
    int status = 0;
    waitpid(r.first, &status, 0);
    r.second = WIFEXITED(status) ? WEXITSTATUS(status) : 128;
  }
  return out;
}

TEST_F(CmdlockTest, RacingWritersLetOneInAndRacingReadersAll) {
  std::map<pid_t, int> results = race(root, KES_WRITE_LOCK, 6);
  std::map<int, int> by_status;
  pid_t winner = -1;
  for (auto &r : results) {
    by_status[r.second]++;
    if (r.second == 0) winner = r.first;
  }
  EXPECT_EQ(by_status, (std::map<int, int>{{0, 1}, {21, 5}}));
  std::vector<std::string> l = lines_of(read_file(locks));
  ASSERT_EQ(l.size(), 2u) << read_file(locks);
  EXPECT_EQ(l[0], "VERSION 1");
  Kes_cmdlock held(l[1].c_str(), ws);
  EXPECT_EQ(held.type, KES_WRITE_LOCK);
  EXPECT_EQ(held.pid, winner);
  EXPECT_STREQ(held.command, "locktest");

  unlink(locks.c_str());
  results = race(root, KES_READ_LOCK, 5);
  l = lines_of(read_file(locks));
  ASSERT_EQ(l.size(), 6u) << read_file(locks);
  for (size_t i = 1; i < l.size(); i++) {
    Kes_cmdlock reader(l[i].c_str(), ws);
    EXPECT_EQ(reader.type, KES_READ_LOCK) << l[i];
    EXPECT_EQ(results[reader.pid], 0) << l[i];
    results.erase(reader.pid);
  }
  EXPECT_TRUE(results.empty());
  EXPECT_FALSE(file_exists(locks + ".lock"));
}

}  // namespace
