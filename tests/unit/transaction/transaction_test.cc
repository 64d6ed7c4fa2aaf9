// The driver: order of the phases, output with and without the terminal, the
// environment of the run, what a signal leaves behind, and the names read
// from a file list program while a signal falls in the read.
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "support/support.h"
#include "transaction/kes_transaction.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "workspace/kes_workspace.h"

using namespace support;

namespace {

// A transaction whose phases record that they ran; each can be told to fail.
class Recording_transaction : public Kes_transaction {
public:
  std::vector<std::string> calls;
  std::string fail_in;

  Recording_transaction() : Kes_transaction(0, nullptr) {}

  Kes_err *step(const char *name) {
    calls.push_back(name);
    if (fail_in == name) return (new Kes_err)->format_msg(2000, 0, "%s failed", name);
    return nullptr;
  }

  Kes_err *parse_args() override { return step("parse_args"); }
  Kes_err *determine_workspaces() override { return step("determine_workspaces"); }
  void print_wss() override { calls.push_back("print_wss"); }
  Kes_err *update_arg_list() override { return step("update_arg_list"); }
  Kes_err *get_comments() override { return step("get_comments"); }
  Kes_err *obtain_locks() override { return step("obtain_locks"); }
  Kes_err *propagate() override { return step("propagate"); }
  Kes_err *update_args_file(Kes_workspace *) override { return step("update_args_file"); }
  void release_locks() override { calls.push_back("release_locks"); }

  void checked_out_status(Kes_ws_file *, Kes_ws_file *) override {}
  const char *get_nofiles_to_do_msg() override { return "Nothing to do"; }
  const char *get_changes_contents_msg() override { return "Moving contents"; }
  const char *get_changes_name_msg() override { return "Moving names"; }
  const char *get_no_files_done_msg() override { return "Nothing was done"; }
  int should_block() override { return 0; }
  [[noreturn]] void usage() override { exit(1); }
  void setup_notification(const char *, const char *) override {}
  int report_problems(Kes_file *, int) override { return 0; }
};

std::string joined(const std::vector<std::string> &v) {
  std::string s;
  for (const std::string &e : v) s += e + " ";
  return s;
}

const int caught_signals[] = {SIGHUP, SIGINT,  SIGQUIT, SIGPIPE, SIGTERM,
                              SIGILL, SIGFPE, SIGBUS,  SIGSEGV, SIGSYS};

class TransactionTest : public ::testing::Test {
protected:
  // Every test starts and ends with the default handlers, so that a run in
  // one test does not catch the signals of the next.
  void SetUp() override {
    set_cmdname("bringover");
    for (int s : caught_signals) signal(s, SIG_DFL);
  }
  void TearDown() override {
    for (int s : caught_signals) signal(s, SIG_DFL);
    current_transaction = nullptr;
  }
};

TEST_F(TransactionTest, PhasesRunInOrderAndStopAtTheFirstError) {
  const std::string upto_locks =
      "parse_args determine_workspaces print_wss update_arg_list get_comments obtain_locks ";
  struct {
    const char *fail_in, *calls;
  } cases[] = {
      {"", "propagate update_args_file release_locks "},
      // The args file is written only after a good run; the locks always go.
      {"propagate", "propagate release_locks "},
      {"obtain_locks", ""},
      {"get_comments", nullptr},
      // The workspaces are printed only once they are known.
      {"determine_workspaces", nullptr},
      {"parse_args", nullptr},
  };
  for (const auto &c : cases) {
    Recording_transaction t;
    t.fail_in = c.fail_in;
    Kes_err *err = t.transaction();
    if (*c.fail_in) {
      ASSERT_NE(err, nullptr) << c.fail_in;
      EXPECT_EQ(std::string(err->text), std::string("bringover: ") + c.fail_in +
                                            " failed  (Error 2000)\n");
    } else {
      EXPECT_EQ(err, nullptr);
      EXPECT_EQ(current_transaction, &t) << "set before the signals are taken";
    }
    delete err;
    std::string want = c.calls ? upto_locks + c.calls
                               : upto_locks.substr(0, upto_locks.find(c.fail_in) + strlen(c.fail_in) + 1);
    EXPECT_EQ(joined(t.calls), want) << c.fail_in;
  }
}

TEST_F(TransactionTest, SilentStopsTheTerminalAndVerboseOpensTheQuietLines) {
  Child r = in_child([]() {
    Recording_transaction t;
    t.printf("one %d\n", 1);
    t.status_printf(KES_TS_UPDATE, "a/b.c");
    t.vstatus_printf(KES_TS_UNCHANGED, "hidden.c");
    t.flags.verbose = 1;
    t.vstatus_printf(KES_TS_UNCHANGED, "shown.c");
    t.issue_warning(2627, 13, "Directory \"%s\" is mounted read-only", "/ws");
    t.flags.silent = 1;
    t.printf("two\n");
    t.status_printf(KES_TS_CREATE, "silent.c");
    t.vstatus_printf(KES_TS_CREATE, "silent-too.c");
    return 0;
  });
  EXPECT_EQ(r.out, "one 1\nupdate: a/b.c\nno action (unchanged): shown.c\n"
                   "bringover: Directory \"/ws\" is mounted read-only  (Warning 2627)\n");
  EXPECT_EQ(r.err, "");
}

// A signal during the run removes the file being written and ends the
// process with status 1 (a crash aborts); the line about the signal is not
// for the terminal.  A cleared name is left alone, and a run that ended before
// the signals were taken does not catch them.
TEST_F(TransactionTest, SignalsRemoveTheIncompleteFileAndEndTheRun) {
  Temp_dir tmp;
  std::string dir = tmp.path();
  struct {
    int sig;
    bool cleared, early;
    int status, killed_by;
  } cases[] = {{SIGTERM, false, false, 1, 0},  {SIGINT, false, false, 1, 0},
               {SIGHUP, false, false, 1, 0},   {SIGQUIT, false, false, 1, 0},
               {SIGPIPE, false, false, 1, 0},  {SIGSEGV, false, false, 128 + SIGABRT, SIGABRT},
               {SIGTERM, true, false, 1, 0},   {SIGTERM, false, true, 128 + SIGTERM, SIGTERM}};
  for (const auto &c : cases) {
    std::string half = dir + "/s.half-written";
    write_file(half, "partial");
    Child r = in_child([&]() {
      Recording_transaction *t = new Recording_transaction;
      t->flags.preview = 1;
      if (c.early) t->fail_in = "determine_workspaces";
      delete t->transaction();
      printf("running\n");
      kes_set_incomplete_file(half.c_str());
      if (c.cleared) kes_set_incomplete_file(nullptr);
      raise(c.sig);
      return 42;  // not reached
    });
    EXPECT_EQ(r.status, c.status) << "signal " << c.sig;
    EXPECT_EQ(r.signal, c.killed_by) << "signal " << c.sig;
    EXPECT_EQ(file_exists(half), c.cleared || c.early) << "signal " << c.sig;
    if (!c.killed_by) {  // an abort loses what was buffered
      EXPECT_EQ(r.out, "running\n") << "signal " << c.sig;
    }
  }
}

}  // namespace

namespace {

// Propagation against real directories: a from and a to workspace made on
// disk.  File examination is simulated by determine_files setting the
// counters that it would set.
class Propagating_transaction : public Recording_transaction {
public:
  int set_examined = 0, set_actions = 0, set_contents = 0;

  Kes_err *propagate() override { return Kes_transaction::propagate(); }
  Kes_err *determine_files() override {
    examined = set_examined;
    action_count = set_actions;
    contents_action_count = set_contents;
    return nullptr;
  }
  int should_block() override {
    calls.push_back("should_block");
    return 0;
  }
};

class PropagateTest : public TransactionTest {
protected:
  Temp_dir tmp;
  std::string dir = tmp.path();
  void SetUp() override {
    TransactionTest::SetUp();
    for (const char *d : {"/from/Brindle_wsdata", "/to/Brindle_wsdata"})
      make_dirs(dir + d);
    // Name tables, as every workspace that has seen a transaction has.
    write_file(dir + "/from/Brindle_wsdata/nametable", "VERSION 1\n");
    write_file(dir + "/to/Brindle_wsdata/nametable", "VERSION 1\n");
  }
  // Runs propagate in a child with the two workspaces in place; fn may set
  // the transaction up and returns what the child reports.
  Child propagate(const std::function<void(Propagating_transaction &)> &setup,
                         const std::function<int(Propagating_transaction &, Kes_err *)> &check) {
    return in_child([&]() {
      Propagating_transaction t;
      Kes_err *err = nullptr;
      t.from_ws = t.parent_ws = new Kes_workspace((dir + "/from").c_str(), &err);
      if (err) return 90;
      t.to_ws = t.child_ws = new Kes_workspace((dir + "/to").c_str(), &err);
      if (err) return 91;
      setup(t);
      err = t.propagate();
      int status = check(t, err);
      delete err;
      return status;
    });
  }
};

TEST_F(PropagateTest, NothingToDoLeavesTheRunInTheToRootWithTheEnvironmentSet) {
  Child r = propagate([](Propagating_transaction &) {},
                             [&](Propagating_transaction &t, Kes_err *err) {
                               if (err) return 1;
                               char cwd[1024];
                               if (!getcwd(cwd, sizeof cwd)) return 2;
                               printf("cwd=%s\n", cwd);
                               for (const char *v : {"BRINDLE_WS_PARENT", "BRINDLE_WS_CHILD",
                                                     "BRINDLE_WS_SRC", "BRINDLE_WS_DEST",
                                                     "BRINDLE_CMD", "BRINDLE_WS_ROOT"})
                                 printf("%s=%s\n", v, getenv(v) ? getenv(v) : "(unset)");
                               printf("%s\n", joined(t.calls).c_str());
                               return 0;
                             });
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "\nExamined files: 0\n\nNothing to do\n"
                   "cwd=" + dir + "/to\n"
                   "BRINDLE_WS_PARENT=" + dir + "/from\n"
                   "BRINDLE_WS_CHILD=" + dir + "/to\n"
                   "BRINDLE_WS_SRC=" + dir + "/from\n"
                   "BRINDLE_WS_DEST=" + dir + "/to\n"
                   "BRINDLE_CMD=bringover\n"
                   "BRINDLE_WS_ROOT=\n"
                   "should_block \n");
}

// The to workspace's history log is open from the actions on: a signal then
// ends the record with its own line and status 1, out of the user's sight.
TEST_F(PropagateTest, ASignalAfterTheLogIsOpenEndsItsRecordThere) {
  Child r = propagate(
      [](Propagating_transaction &t) {
        static char a0[] = "bringover", a1[] = "src";
        static char *args[] = {a0, a1, nullptr};
        t.argc = 2;
        t.argv = args;
        t.set_examined = 2;
        t.set_actions = 1;
        t.set_contents = 1;
      },
      [](Propagating_transaction &t, Kes_err *err) {
        if (err) return 2;
        current_transaction = &t;
        kes_trans_take_signals();
        t.printf("last words\n");
        fflush(stdout);
        raise(SIGTERM);
        return 3;
      });
  EXPECT_EQ(r.status, 1) << r.err;
  EXPECT_EQ(r.out, "\nExamined files: 2\n\nMoving contents: 1\n\nlast words\n");
  std::string log = read_file(dir + "/to/Brindle_wsdata/history");
  EXPECT_EQ(log.substr(0, log.find("CWD ")),
            "VERSION 1\nCOMMAND bringover src \nlast words\nCommand exited due to signal 15\n");
  EXPECT_NE(log.find("\nSTATUS 1\n"), std::string::npos) << log;
  EXPECT_NE(sh("ls -A " + dir + "/to/Brindle_wsdata | grep -q '^history\\.'").status, 0)
      << "no record left half composed";
}



// A file list program's output read while a signal falls in the read: every
// name arrives whole.  The signal's handler is installed without SA_RESTART,
// as a library or a tool may install one, so the read it cuts is not made
// again by the system.  The writer sends the rest only once the reader has
// drained the pipe, sleeps in its next read, and has taken the signal.
std::atomic<int> signals_taken{0};
void take_signal(int) { signals_taken++; }

class Names_transaction : public Recording_transaction {
public:
  std::vector<std::string> names;
  Kes_err *add_file(Kes_workspace *, char *name, int *) override {
    names.push_back(name);
    return nullptr;
  }
};

// Whether thread tid sleeps, from the state in /proc/self/task/TID/stat.
bool sleeping(pid_t tid) {
  std::ifstream f("/proc/self/task/" + std::to_string(tid) + "/stat");
  std::string s((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
  size_t at = s.rfind(") ");
  return at != std::string::npos && s[at + 2] == 'S';
}

TEST_F(TransactionTest, FileListNamesArriveWholeWhenASignalCutsTheRead) {
  struct Row {
    int blank_separated;
    const char *before, *after, *names;
  } rows[] = {
      {0, "a\n", "d/b\n", "a d/b "},
      {0, "src/lo", "ng.c\nx\n", "src/long.c x "},
      {1, "a d/", "b\tc\n", "a d/b c "},
  };
  struct sigaction sa = {}, old;
  sa.sa_handler = take_signal;
  sigaction(SIGUSR1, &sa, &old);
  for (const Row &row : rows) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    FILE *fp = fdopen(fds[0], "r");
    pid_t reader = static_cast<pid_t>(syscall(SYS_gettid));
    pthread_t reader_thread = pthread_self();
    int taken = signals_taken;
    std::thread writer([&] {
      EXPECT_EQ(write(fds[1], row.before, strlen(row.before)), (ssize_t)strlen(row.before));
      for (int left = 1; left > 0 || !sleeping(reader);) ioctl(fds[0], FIONREAD, &left);
      pthread_kill(reader_thread, SIGUSR1);
      while (signals_taken == taken) {
      }
      EXPECT_EQ(write(fds[1], row.after, strlen(row.after)), (ssize_t)strlen(row.after));
      close(fds[1]);
    });
    Names_transaction t;
    Kes_err *err = kes_read_flp_names(&t, nullptr, fp, row.blank_separated);
    writer.join();
    fclose(fp);
    EXPECT_EQ(err, nullptr);
    EXPECT_EQ(joined(t.names), row.names) << row.before << "|" << row.after;
  }
  sigaction(SIGUSR1, &old, nullptr);
}

}  // namespace
