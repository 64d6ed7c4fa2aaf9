// The z-file lock against our own processes and CSSC's: taking and giving back,
// waiting for a live holder, taking over from a dead one, removing a damaged
// lock, and CSSC and we never writing one history file at once.  Every meeting
// with a CSSC program is a handshake: its lock file or its word that it waits.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utime.h>

#include <cstdint>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sccs/kes_zlock.h"
#include "sccs/sccs_sfile.h"
#include "support/cssc.h"
#include "util/kes_err.h"

using namespace support;

namespace {

// The lock's waits are recorded instead of slept; a test may act at one.
std::vector<unsigned> waits;
std::function<void()> at_wait;
unsigned record_wait(unsigned seconds) {
  waits.push_back(seconds);
  if (at_wait) at_wait();
  return 0;
}

class Zlock : public ::testing::Test {
protected:
  void SetUp() override {
    waits.clear();
    at_wait = nullptr;
    saved = kes_lock_sleep;
    kes_lock_sleep = record_wait;
  }
  void TearDown() override {
    kes_lock_sleep = saved;
    at_wait = nullptr;
    for (pid_t p : children) kill(p, SIGKILL), waitpid(p, nullptr, 0);
    if (delta_pid > 0) kill(delta_pid, SIGKILL), waitpid(delta_pid, nullptr, 0);
    if (comments >= 0) close(comments);
  }

  static uint32_t held_by(const std::string &path) {
    std::string t = read_file(path);
    EXPECT_EQ(t.size(), 4u);
    uint32_t pid = 0;
    if (t.size() == 4) memcpy(&pid, t.data(), 4);
    return pid;
  }
  static void write_lock(const std::string &path, uint32_t pid) {
    write_file(path, std::string(reinterpret_cast<char *>(&pid), 4));
  }
  static void age(const std::string &path, long seconds) {
    struct utimbuf t = {time(nullptr) - seconds, time(nullptr) - seconds};
    ASSERT_EQ(utime(path.c_str(), &t), 0);
  }
  pid_t live_process() {
    pid_t p = fork();
    if (p == 0) pause(), _exit(0);
    children.push_back(p);
    return p;
  }
  static pid_t dead_process() {
    pid_t p = fork();
    if (p == 0) _exit(0);
    waitpid(p, nullptr, 0);
    return p;
  }

  // Checks the file out and starts a delta of it that holds the lock while it
  // waits for its comment on a pipe; returns once its number is in the lock.
  void start_waiting_delta() {
    new_history(dir.path(), "f.c", "x\n");
    ASSERT_EQ(run({cssc("get"), "-s", "-e", "s.f.c"}, dir.path()).status, 0);
    write_file(dir.file("f.c"), "x\ny\n");
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    std::string prog = cssc("delta");
    fflush(nullptr);
    delta_pid = fork();
    if (delta_pid == 0) {
      dup2(fds[0], 0);
      close(fds[1]);
      int null = open("/dev/null", O_WRONLY);
      dup2(null, 1);
      dup2(null, 2);
      if (chdir(dir.path().c_str()) == 0) execl(prog.c_str(), "delta", "s.f.c", (char *)nullptr);
      _exit(127);
    }
    close(fds[0]);
    comments = fds[1];
    // The lock file is made first and its number written a moment later.
    struct stat st;
    ASSERT_TRUE(wait_for_change(dir.path(), [&] { return stat(z.c_str(), &st) == 0 && st.st_size > 0; }))
        << "delta took no lock";
  }
  // Gives the waiting delta its comment and waits for its end: its status.
  int finish_delta(const std::string &comment) {
    std::string line = comment + "\n";
    EXPECT_EQ(write(comments, line.data(), line.size()), (ssize_t)line.size());
    close(comments);
    comments = -1;
    int status = -1;
    waitpid(delta_pid, &status, 0);
    delta_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
  }

  Temp_dir dir;
  std::string z = dir.file("z.f.c"), sfile = dir.file("s.f.c");
  unsigned (*saved)(unsigned) = nullptr;
  std::vector<pid_t> children;
  pid_t delta_pid = -1;
  int comments = -1;
};

TEST_F(Zlock, TakeAndGiveBack) {
  unsigned me = getpid();
  EXPECT_EQ(lockit(z.c_str(), 0, me), -1);  // no tries: fails at once
  EXPECT_FALSE(file_exists(z));
  ASSERT_EQ(lockit(z.c_str(), 3, me), 0);
  EXPECT_EQ(held_by(z), me);
  EXPECT_EQ(mode_of(z), 0444u);
  EXPECT_TRUE(mylock(z.c_str(), me));
  EXPECT_FALSE(mylock(z.c_str(), me + 1));
  EXPECT_TRUE(waits.empty());
  // Only the holder gives it back.
  EXPECT_EQ(unlockit(z.c_str(), me + 1), -1);
  EXPECT_TRUE(file_exists(z));
  EXPECT_EQ(unlockit(z.c_str(), me), 0);
  EXPECT_FALSE(file_exists(z));
  EXPECT_EQ(unlockit(z.c_str(), me), -1);
  EXPECT_EQ(sh("ls -A", dir.path()).out, "");  // no private file left
}

TEST_F(Zlock, LiveHolderIsWaitedFor) {
  pid_t other = live_process();
  write_lock(z, other);
  EXPECT_EQ(lockit(z.c_str(), 2, getpid()), -1);
  // Each try waits out the rest of a minute from the lock's time, then 10 s.
  ASSERT_EQ(waits.size(), 4u);
  EXPECT_GE(waits[0], 58u);
  EXPECT_LE(waits[0], 60u);
  EXPECT_EQ(waits[1], 10u);
  EXPECT_EQ(waits[3], 10u);
  EXPECT_EQ(held_by(z), (uint32_t)other);
  // An hour old: no minute's wait; from the future: the whole minute.
  age(z, 3600);
  waits.clear();
  EXPECT_EQ(lockit(z.c_str(), 1, getpid()), -1);
  EXPECT_EQ(waits, (std::vector<unsigned>{10}));
  age(z, -3600);
  waits.clear();
  EXPECT_EQ(lockit(z.c_str(), 1, getpid()), -1);
  EXPECT_EQ(waits, (std::vector<unsigned>{60, 10}));
}

// A lock of a dead holder, of the wrong size, or with text that can't be a
// process number is taken over after one wait.  A lock file just made and still
// empty belongs to someone writing it: the SCCS programs make the file first.
TEST_F(Zlock, DeadDamagedAndBeingWrittenLocks) {
  uint32_t dead = dead_process();
  struct {
    std::string bytes;
    long age;
    int result;
    std::vector<unsigned> waits;
  } cases[] = {
      {std::string(reinterpret_cast<char *>(&dead), 4), 0, 0, {10}},
      {"abc", 60, 0, {10}},
      {"", 60, 0, {10}},
      {"12345678901", 0, 0, {10}},
      {"99x", 0, 0, {10}},
      {"", 0, -1, {10, 10}},
  };
  for (const auto &c : cases) {
    waits.clear();
    write_file(z, c.bytes);
    age(z, c.age);
    EXPECT_EQ(lockit(z.c_str(), 2, getpid()), c.result) << "\"" << c.bytes << "\"";
    EXPECT_EQ(waits, c.waits) << "\"" << c.bytes << "\"";
    if (c.result == 0) {
      EXPECT_EQ(held_by(z), (uint32_t)getpid());
      ASSERT_EQ(unlockit(z.c_str(), getpid()), 0);
    } else {
      EXPECT_EQ(read_file(z), c.bytes);
    }
  }
}

TEST_F(Zlock, UnusableDirectoryIsFatal) {
  std::string bad = dir.file("no/such/z.f.c");
  EXPECT_EXIT(lockit(bad.c_str(), 1, getpid()), ::testing::ExitedWithCode(1),
              "^ERROR \\[" + dir.file("no/such/") + "[0-9]+\\.[0-9]+\\]: `" + dir.file("no/such/") +
                  "[0-9]+\\.[0-9]+' nonexistent \\(ut4\\)\n$");
}

TEST_F(Zlock, HistoryFileLockIsCountedAndABusyOneRefused) {
  new_history(dir.path(), "f.c", "x\n");
  {
    SCCS_sfile f(sfile.c_str());
    ASSERT_EQ(take(f.lock_file()).text, "");
    ASSERT_EQ(take(f.lock_file()).text, "");
    EXPECT_STREQ(f.zfile_path, z.c_str());
    EXPECT_EQ(f.unlock_file(), 0);
    EXPECT_TRUE(mylock(z.c_str(), getpid()));  // still held once
    EXPECT_EQ(f.unlock_file(), 0);
    EXPECT_FALSE(file_exists(z));
    EXPECT_EQ(f.unlock_file(), 0);  // more releases than locks do nothing
    ASSERT_EQ(take(f.lock_file()).text, "");
    // A child made by fork locks under its own number, not the one its
    // parent's locks remembered.
    pid_t child = fork();
    if (child == 0) _exit(kes_lock_pid() == (unsigned)getpid() ? 0 : 1);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  EXPECT_FALSE(file_exists(z));  // deleting the file object gives the lock back
  SCCS_sfile plain(dir.file("plain.c").c_str());  // no history name: no lock
  EXPECT_EQ(take(plain.lock_file()).text, "");
  EXPECT_EQ(plain.zfile_path, nullptr);
  EXPECT_TRUE(waits.empty());

  write_lock(z, live_process());
  SCCS_sfile f(sfile.c_str());
  EXPECT_EQ(take(f.lock_file()).text, "SCCS error for file \"" + sfile +
                                          "\" - cannot create lock file (cm4)  (Error 2068)\n");
  EXPECT_EQ(waits.size(), 20u);  // ten tries, each with its two waits
  EXPECT_EQ(f.lock_count, 0);
  EXPECT_EQ(f.unlock_file(), 0);
  EXPECT_TRUE(file_exists(z));  // the other's lock is left alone
}

// A delta holds the lock while it waits for its comment: we neither take its
// lock nor call it damaged, and our rewrite waits for it and then reads what
// the delta wrote, so that no delta is lost to a rewrite from an older reading.
// Then we hold the lock: CSSC's get says it waits and makes no p-file until we
// give the lock back.
TEST_F(Zlock, CsscAndWeWaitForEachOther) {
  start_waiting_delta();
  std::string held = read_file(z);
  EXPECT_EQ(held, std::to_string(delta_pid));  // this host's CSSC writes decimal text
  EXPECT_TRUE(mylock(z.c_str(), delta_pid));
  EXPECT_FALSE(mylock(z.c_str(), getpid()));
  EXPECT_EQ(lockit(z.c_str(), 2, getpid()), -1);
  EXPECT_EQ(unlockit(z.c_str(), getpid()), -1);
  EXPECT_EQ(read_file(z), held);  // neither removed as damaged nor replaced

  waits.clear();
  at_wait = [&] {
    if (waits.size() == 1) {
      EXPECT_EQ(finish_delta("made while we waited"), 0);
    }
  };
  {
    SCCS_sfile f(sfile.c_str());
    ASSERT_EQ(take(f.lock_file()).text, "");
    EXPECT_FALSE(waits.empty()) << "took the lock of a live delta";
    ASSERT_EQ(take(f.buildtree(0, 1, 0)).text, "");
    ASSERT_EQ(take(f.write()).text, "");
    std::string cmd = "cd " + shq(dir.path()) + " && " + cssc("get") + " -s -e s.f.c 2>&1";
    FILE *get = popen(cmd.c_str(), "r");
    ASSERT_NE(get, nullptr);
    char line[512];
    bool waiting = false;
    while (!waiting && fgets(line, sizeof line, get)) waiting = strstr(line, "waiting for lock");
    EXPECT_TRUE(waiting) << "get did not wait for our lock";
    EXPECT_FALSE(file_exists(dir.file("p.f.c")));
    EXPECT_EQ(f.unlock_file(), 0);
    while (fgets(line, sizeof line, get)) {
    }
    EXPECT_EQ(pclose(get), 0);
  }
  EXPECT_TRUE(file_exists(dir.file("p.f.c")));
  EXPECT_EQ(live_sids(sfile), (std::vector<std::string>{"1.2", "1.1"}));
  EXPECT_EQ(get_text(sfile, "1.2").out, "x\ny\n");
  EXPECT_EQ(val(sfile), 0);
}

TEST_F(Zlock, AKilledDeltasLockIsTakenOver) {
  start_waiting_delta();
  std::string left = read_file(z);
  kill(delta_pid, SIGKILL);
  waitpid(delta_pid, nullptr, 0);
  delta_pid = -1;
  ASSERT_EQ(read_file(z), left);  // the lock outlives its holder
  ASSERT_EQ(lockit(z.c_str(), 3, getpid()), 0);
  EXPECT_EQ(waits, (std::vector<unsigned>{10}));  // one wait, then it is ours
  EXPECT_EQ(held_by(z), (uint32_t)getpid());
  EXPECT_EQ(unlockit(z.c_str(), getpid()), 0);
  EXPECT_EQ(val(sfile), 0);
}

}  // namespace
