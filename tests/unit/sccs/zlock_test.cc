// The z-file lock: taking, giving back, waiting for a live holder, taking over
// from a dead one, removing a damaged lock, and CSSC respecting our lock.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utime.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sccs/kes_zlock.h"
#include "sccs/sccs_helpers.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"

using namespace sccs_test;
using namespace support;

namespace {

std::vector<unsigned> waits;

unsigned record_wait(unsigned seconds) {
  waits.push_back(seconds);
  return 0;
}

class Zlock : public ::testing::Test {
protected:
  void SetUp() override {
    waits.clear();
    saved = kes_lock_sleep;
    kes_lock_sleep = record_wait;
    z = dir.file("z.f.c");
  }
  void TearDown() override {
    kes_lock_sleep = saved;
    if (holder > 0) {
      kill(holder, SIGKILL);
      waitpid(holder, nullptr, 0);
    }
  }

  // The 4 bytes of a lock file, as a number.
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

  // A process that lives until the test ends.
  pid_t live_process() {
    holder = fork();
    if (holder == 0) {
      pause();
      _exit(0);
    }
    return holder;
  }

  // The number of a process that has ended.
  static pid_t dead_process() {
    pid_t p = fork();
    if (p == 0) _exit(0);
    waitpid(p, nullptr, 0);
    return p;
  }

  Temp_dir dir;
  std::string z;
  unsigned (*saved)(unsigned) = nullptr;
  pid_t holder = -1;
};

TEST_F(Zlock, TakeAndGiveBack) {
  unsigned me = getpid();
  ASSERT_EQ(lockit(z.c_str(), 3, me), 0);
  EXPECT_EQ(held_by(z), me);
  struct stat st;
  ASSERT_EQ(stat(z.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0444u);
  EXPECT_TRUE(mylock(z.c_str(), me));
  EXPECT_FALSE(mylock(z.c_str(), me + 1));
  EXPECT_TRUE(waits.empty());
  // Only the holder gives it back.
  EXPECT_EQ(unlockit(z.c_str(), me + 1), -1);
  EXPECT_TRUE(file_exists(z));
  EXPECT_EQ(unlockit(z.c_str(), me), 0);
  EXPECT_FALSE(file_exists(z));
  EXPECT_FALSE(mylock(z.c_str(), me));
  EXPECT_EQ(unlockit(z.c_str(), me), -1);
  // No private file is left in the directory.
  EXPECT_EQ(sh("ls -A", dir.path()).out, "");
}

TEST_F(Zlock, NoTriesFailsAtOnce) {
  EXPECT_EQ(lockit(z.c_str(), 0, getpid()), -1);
  EXPECT_FALSE(file_exists(z));
  EXPECT_TRUE(waits.empty());
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
}

TEST_F(Zlock, LiveHolderOfAnOldOrFutureLock) {
  pid_t other = live_process();
  write_lock(z, other);
  struct utimbuf old = {time(nullptr) - 3600, time(nullptr) - 3600};
  ASSERT_EQ(utime(z.c_str(), &old), 0);
  EXPECT_EQ(lockit(z.c_str(), 1, getpid()), -1);
  EXPECT_EQ(waits, (std::vector<unsigned>{10}));  // an hour old: no minute's wait
  waits.clear();
  struct utimbuf future = {time(nullptr) + 3600, time(nullptr) + 3600};
  ASSERT_EQ(utime(z.c_str(), &future), 0);
  EXPECT_EQ(lockit(z.c_str(), 1, getpid()), -1);
  EXPECT_EQ(waits, (std::vector<unsigned>{60, 10}));
}

TEST_F(Zlock, DeadHolderIsTakenOverAfterOneWait) {
  write_lock(z, dead_process());
  ASSERT_EQ(lockit(z.c_str(), 3, getpid()), 0);
  EXPECT_EQ(waits, (std::vector<unsigned>{10}));
  EXPECT_EQ(held_by(z), (uint32_t)getpid());
}

TEST_F(Zlock, DamagedLockIsRemoved) {
  for (const std::string &bad : {std::string("abc"), std::string("abcde"), std::string()}) {
    waits.clear();
    write_file(z, bad);
    struct utimbuf old = {time(nullptr) - 60, time(nullptr) - 60};
    ASSERT_EQ(utime(z.c_str(), &old), 0);
    ASSERT_EQ(lockit(z.c_str(), 3, getpid()), 0) << bad.size() << " bytes";
    EXPECT_EQ(waits, (std::vector<unsigned>{10}));
    EXPECT_EQ(held_by(z), (uint32_t)getpid());
    ASSERT_EQ(unlockit(z.c_str(), getpid()), 0);
  }
}

// The SCCS programs create their lock file before they write their number
// into it: a lock file just made and still empty belongs to someone.
TEST_F(Zlock, LockBeingWrittenIsNotTakenForDamage) {
  write_file(z, "");
  EXPECT_EQ(lockit(z.c_str(), 2, getpid()), -1);
  EXPECT_EQ(waits, (std::vector<unsigned>{10, 10}));
  EXPECT_TRUE(file_exists(z));
  EXPECT_EQ(read_file(z), "");
}

TEST_F(Zlock, UnusableDirectoryIsFatal) {
  std::string bad = dir.file("no/such/z.f.c");
  EXPECT_EXIT(lockit(bad.c_str(), 1, getpid()), ::testing::ExitedWithCode(1),
              "^ERROR \\[" + dir.file("no/such/") + "[0-9]+\\.[0-9]+\\]: `" + dir.file("no/such/") +
                  "[0-9]+\\.[0-9]+' nonexistent \\(ut4\\)\n$");
}

TEST_F(Zlock, CsscWaitsWhileWeHoldTheLock) {
  new_history(dir.path(), "f.c", "x\n");
  ASSERT_EQ(lockit(z.c_str(), 1, getpid()), 0);
  Run_result r = sh("timeout 3 " + cssc("get") + " -s -e s.f.c", dir.path());
  EXPECT_NE(r.status, 0);
  EXPECT_FALSE(file_exists(dir.file("p.f.c")));
  ASSERT_EQ(unlockit(z.c_str(), getpid()), 0);
  r = sh(cssc("get") + " -s -e s.f.c", dir.path());
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(file_exists(dir.file("p.f.c")));
}

TEST_F(Zlock, FileLockIsCounted) {
  new_history(dir.path(), "f.c", "x\n");
  {
    SCCS_sfile f(dir.file("s.f.c").c_str());
    ASSERT_EQ(f.lock_file(), nullptr);
    ASSERT_EQ(f.lock_file(), nullptr);
    EXPECT_STREQ(f.zfile_path, z.c_str());
    EXPECT_TRUE(mylock(z.c_str(), getpid()));
    EXPECT_EQ(f.unlock_file(), 0);
    EXPECT_TRUE(mylock(z.c_str(), getpid()));  // still held once
    EXPECT_EQ(f.unlock_file(), 0);
    EXPECT_FALSE(file_exists(z));
    EXPECT_EQ(f.unlock_file(), 0);  // more releases than locks do nothing
    ASSERT_EQ(f.lock_file(), nullptr);
  }
  // Deleting the file object gives the lock back.
  EXPECT_FALSE(file_exists(z));
  EXPECT_TRUE(waits.empty());
}

TEST_F(Zlock, FileWithoutLockNameLocksNothing) {
  SCCS_sfile f(dir.file("plain.c").c_str());
  EXPECT_EQ(f.lock_file(), nullptr);
  EXPECT_EQ(f.zfile_path, nullptr);
  EXPECT_EQ(sh("ls -A", dir.path()).out, "");
}

TEST_F(Zlock, BusyFileCannotBeLocked) {
  new_history(dir.path(), "f.c", "x\n");
  write_lock(z, live_process());
  SCCS_sfile f(dir.file("s.f.c").c_str());
  Kes_err *err = f.lock_file();
  ASSERT_NE(err, nullptr);
  EXPECT_EQ(err->code, 2068);
  EXPECT_EQ(std::string(err->text), "SCCS error for file \"" + dir.file("s.f.c") +
                                        "\" - cannot create lock file (cm4)  (Error 2068)\n");
  delete err;
  EXPECT_EQ(waits.size(), 20u);  // ten tries, each with its two waits
  EXPECT_EQ(f.lock_count, 0);
  EXPECT_EQ(f.unlock_file(), 0);
  EXPECT_TRUE(file_exists(z));  // the other's lock is left alone
}

}  // namespace
