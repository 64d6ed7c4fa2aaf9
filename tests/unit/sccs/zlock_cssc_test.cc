// The z-file lock against the SCCS programs' own lock files: a lock that a
// running delta holds is respected, one left by a killed delta is taken over,
// and our processes and a delta never write one history file at once.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sccs/kes_zlock.h"
#include "sccs/sccs_helpers.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"

using namespace sccs_test;

namespace {

std::vector<unsigned> waits;

unsigned record_wait(unsigned seconds) {
  waits.push_back(seconds);
  return 0;
}

// A short real pause instead of the lock's seconds, for processes that race.
unsigned short_wait(unsigned) {
  usleep(20000);
  return 0;
}

class ZlockCssc : public ::testing::Test {
protected:
  void SetUp() override {
    waits.clear();
    saved = kes_lock_sleep;
    kes_lock_sleep = record_wait;
    sfile = dir.file("s.f.c");
    z = dir.file("z.f.c");
    new_history(dir.path(), "f.c", "x\n");
  }
  void TearDown() override {
    kes_lock_sleep = saved;
    if (delta_pid > 0) {
      kill(delta_pid, SIGKILL);
      waitpid(delta_pid, nullptr, 0);
    }
    if (comments >= 0) close(comments);
  }

  // Checks the file out and starts a delta of it that holds the lock while
  // it waits for its comment on a pipe.
  void start_waiting_delta() {
    ASSERT_EQ(run(cssc("get") + " -s -e s.f.c", dir.path()).status, 0);
    write_file(dir.file("f.c"), "x\ny\n");
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    std::string prog = cssc("delta");
    fflush(nullptr);
    delta_pid = fork();
    ASSERT_GE(delta_pid, 0);
    if (delta_pid == 0) {
      dup2(fds[0], 0);
      close(fds[0]);
      close(fds[1]);
      int null = open("/dev/null", O_WRONLY);
      dup2(null, 1);
      dup2(null, 2);
      if (chdir(dir.path().c_str()) != 0) _exit(126);
      execl(prog.c_str(), "delta", "s.f.c", (char *)nullptr);
      _exit(127);
    }
    close(fds[0]);
    comments = fds[1];
    // The lock file is made first and its number written a moment later.
    struct stat st;
    auto written = [&] { return stat(z.c_str(), &st) == 0 && st.st_size > 0; };
    for (int i = 0; i < 500 && !written(); i++) usleep(20000);
    ASSERT_TRUE(written()) << "delta took no lock";
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

  TempDir dir;
  std::string sfile, z;
  unsigned (*saved)(unsigned) = nullptr;
  pid_t delta_pid = -1;
  int comments = -1;
};

TEST_F(ZlockCssc, ALiveDeltasLockIsRespected) {
  start_waiting_delta();
  // The SCCS programs of this host write the number as decimal text.
  std::string held = read_file(z);
  EXPECT_EQ(held, std::to_string(delta_pid));
  EXPECT_TRUE(mylock(z.c_str(), delta_pid));
  EXPECT_FALSE(mylock(z.c_str(), getpid()));

  EXPECT_EQ(lockit(z.c_str(), 2, getpid()), -1);
  EXPECT_FALSE(waits.empty());
  EXPECT_EQ(read_file(z), held);  // neither removed as damaged nor replaced
  {
    SCCS_sfile f(sfile.c_str());
    Kes_err *err = f.lock_file();
    ASSERT_NE(err, nullptr);
    EXPECT_EQ(err->code, 2068);
    delete err;
  }
  EXPECT_EQ(read_file(z), held);
  EXPECT_EQ(unlockit(z.c_str(), getpid()), -1);
  EXPECT_EQ(read_file(z), held);

  EXPECT_EQ(finish_delta("made while we waited"), 0);
  EXPECT_FALSE(file_exists(z));
  EXPECT_EQ(live_sids(sfile), (std::vector<std::string>{"1.2", "1.1"}));
  EXPECT_EQ(lockit(z.c_str(), 1, getpid()), 0);
  EXPECT_EQ(unlockit(z.c_str(), getpid()), 0);
}

TEST_F(ZlockCssc, AKilledDeltasLockIsTakenOver) {
  start_waiting_delta();
  std::string left = read_file(z);
  kill(delta_pid, SIGKILL);
  waitpid(delta_pid, nullptr, 0);
  delta_pid = -1;
  ASSERT_EQ(read_file(z), left);  // the lock outlives its holder

  ASSERT_EQ(lockit(z.c_str(), 3, getpid()), 0);
  EXPECT_EQ(waits, (std::vector<unsigned>{10}));  // one wait, then it is ours
  EXPECT_TRUE(mylock(z.c_str(), getpid()));
  std::string ours = read_file(z);
  uint32_t me = getpid();
  EXPECT_EQ(ours, std::string(reinterpret_cast<char *>(&me), 4));
  EXPECT_EQ(unlockit(z.c_str(), getpid()), 0);
  EXPECT_EQ(val(sfile), 0);
}

TEST_F(ZlockCssc, TextLocksOfOtherShapesAreStillDamage) {
  // Digits that can't be a process number, or digits with other text.
  for (std::string bad : {std::string("12345678901"), std::string("123 456"),
                          std::string("99x"), std::string("\n")}) {
    waits.clear();
    write_file(z, bad);
    ASSERT_EQ(lockit(z.c_str(), 2, getpid()), 0) << bad;
    EXPECT_EQ(waits, (std::vector<unsigned>{10})) << bad;
    ASSERT_EQ(unlockit(z.c_str(), getpid()), 0);
  }
}

// One of our writers: rewrites the history under the lock a few times,
// holding it a while each time.  Exits 0 when every rewrite went through and
// nothing changed the file while it held the lock.
int our_writer(const std::string &path, const std::string &zpath, int rounds) {
  kes_lock_sleep = short_wait;
  for (int i = 0; i < rounds; i++) {
    SCCS_sfile f(path.c_str());
    if (Kes_err *e = f.lock_file()) {
      delete e;
      return 2;
    }
    struct stat before, after;
    if (stat(path.c_str(), &before) != 0) return 3;
    if (Kes_err *e = f.buildtree(0, 1, 0)) {
      delete e;
      return 4;
    }
    usleep(150000);
    if (!mylock(zpath.c_str(), getpid())) return 5;
    if (stat(path.c_str(), &after) != 0 || after.st_ino != before.st_ino ||
        after.st_mtim.tv_nsec != before.st_mtim.tv_nsec || after.st_size != before.st_size)
      return 6;  // someone wrote the file under our lock
    if (Kes_err *e = f.write()) {
      delete e;
      return 7;
    }
    if (f.unlock_file() != 0) return 8;
    usleep(50000);
  }
  return 0;
}

TEST_F(ZlockCssc, OursAndADeltaNeverWriteAtOnce) {
  const int rounds = 4;
  pid_t writers[2];
  fflush(nullptr);
  for (pid_t &w : writers) {
    w = fork();
    ASSERT_GE(w, 0);
    if (w == 0) _exit(our_writer(sfile, z, rounds));
  }
  // Meanwhile the SCCS programs make three deltas, each under their own lock.
  for (int i = 0; i < 3; i++) {
    RunResult r = run(cssc("get") + " -s -e s.f.c", dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    write_file(dir.file("f.c"), read_file(dir.file("f.c")) + "line " + std::to_string(i) + "\n");
    r = run(cssc("delta") + " -s -yround" + std::to_string(i) + " s.f.c", dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
  }
  for (pid_t w : writers) {
    int status = -1;
    ASSERT_EQ(waitpid(w, &status, 0), w);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "writer status " << status;
  }
  // No delta was lost to a rewrite from an older reading.
  EXPECT_EQ(live_sids(sfile), (std::vector<std::string>{"1.4", "1.3", "1.2", "1.1"}));
  EXPECT_EQ(get_text(sfile, "1.4").out, "x\nline 0\nline 1\nline 2\n");
  EXPECT_EQ(val(sfile), 0);
  EXPECT_FALSE(file_exists(z));
}

}  // namespace
