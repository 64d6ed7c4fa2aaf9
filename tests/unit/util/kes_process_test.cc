// Shell commands, programs run without a shell, and what their status means.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "util/kes_err.h"
#include "util/kes_process.h"
#include "support/scratch.h"

using namespace support;

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

namespace {
class Process : public Scratch {
protected:
  void SetUp() override {
    Scratch::SetUp();
    set_cmdname("/usr/bin/tproc");
  }
};
}  // namespace

// One table for the shell, pclose and the programs run without a shell: each
// way a command can end, with its code and text.
TEST_F(Process, StatusesOfShellsPipesAndProgramsAreDecoded) {
  enum How { SHELL, PIPE, EXEC };
  struct {
    How how;
    std::string cmd;
    int code, rc;
    std::string text;  // behind "tproc: Command \"<cmd>\"\n"
  } cases[] = {
      {SHELL, "exit 0", 0, 0, ""},
      {SHELL, "exit 3", 2012, 3, "exited with status 3  (Error 2012)\n"},
      // 127 is the shell's "not found", whatever the real reason was.
      {SHELL, "exit 127", 2010, 127, "failed, could not execute the shell, /bin/sh  (Error 2010)\n"},
      {SHELL, "kill -9 $$", 2009, 0, "failed, /bin/sh killed by signal 9  (Error 2009)\n"},
      // A child of the shell killed: the shell exits with 128 + the signal.
      {SHELL, "/bin/sh -c 'kill -TERM $$'; exit $?", 2011, 143, "killed by signal 15  (Error 2011)\n"},
      {PIPE, "echo hello", 0, 0, ""},
      {PIPE, "exit 5", 2012, 5, "exited with status 5  (Error 2012)\n"},
      {EXEC, "exit 3", 2012, 3, "exited with status 3  (Error 2012)\n"},
      {EXEC, "kill -KILL $$", 2011, 0, "killed by signal 9  (Error 2011)\n"},
  };
  for (auto &c : cases) {
    int rc = -1;
    Kes_err *err = nullptr;
    if (c.how == SHELL) {
      err = kes_system_with_rc_no_quoting(c.cmd.c_str(), &rc);
    } else if (c.how == PIPE) {
      FILE *fp = popen(c.cmd.c_str(), "r");
      ASSERT_NE(fp, nullptr);
      char line[64] = "";
      if (fgets(line, sizeof line, fp)) {
        EXPECT_STREQ(line, "hello\n");
      }
      err = kes_pclose_with_rc(fp, c.cmd.c_str(), &rc);
    } else {
      char *argv[] = {const_cast<char *>("/bin/sh"), const_cast<char *>("-c"), &c.cmd[0], nullptr};
      err = kes_execute_cmd_with_rc("/bin/sh", argv, &rc);
      c.cmd = "/bin/sh -c " + c.cmd;  // the message shows the whole line
    }
    Err e = take(err);
    EXPECT_EQ(e.code, c.code) << c.cmd;
    if (c.code) {
      EXPECT_EQ(e.text, "tproc: Command \"" + c.cmd + "\"\n" + c.text);
    }
    EXPECT_EQ(rc, c.rc) << c.cmd;
  }
  // No shell ran at all.
  int rc = -1;
  EXPECT_EQ(take(kes_decode_sh_wait(-1, "x", &rc)).code, 2010);
  EXPECT_EQ(rc, 0);
}

TEST_F(Process, SystemQuotesMetacharactersButKeepsWords) {
  std::string cmd = "touch " + dir + "/a;touch " + dir + "/b";
  Err quoted = take(kes_system(cmd.c_str()));
  EXPECT_EQ(quoted.text, "") << quoted.text;
  // One touch with two names: "a;touch" and "b".
  EXPECT_TRUE(file_exists("a;touch"));
  EXPECT_FALSE(file_exists("a"));
  std::string plain = "touch " + dir + "/c;touch " + dir + "/d";
  EXPECT_EQ(take(kes_system_no_quoting(plain.c_str())).text, "");
  EXPECT_TRUE(file_exists("d"));
  // The message names the command as the caller gave it.
  std::string failing = "ls " + dir + "/nothing>x";
  Err err = take(kes_system(failing.c_str()));
  EXPECT_EQ(err.code, 2012);
  EXPECT_NE(err.text.find("Command \"" + failing + "\"\nexited with status"), std::string::npos);
  EXPECT_FALSE(file_exists("x"));
}

TEST_F(Process, ExecFailureIsReportedByChildAndParent) {
  char *argv[] = {const_cast<char *>("prog"), nullptr};
  int rc = 0;
  std::string path = dir + "/no-such-program";
  CaptureStderr();
  Err err = take(kes_execute_cmd_with_rc(path.c_str(), argv, &rc));
  std::string child_said = GetCapturedStderr();
  EXPECT_EQ(child_said, "tproc: Execv of \"" + path +
                            "\" failed  (Error 1028) - No such file or directory"
                            "  (System error 2)\n");
  EXPECT_EQ(err.code, 1028);
  EXPECT_EQ(err.text, "tproc: Execv of \"" + path + "\" failed  (Error 1028)\n");
  EXPECT_EQ(rc, 127);

  // A file that is not a program: permission denied.
  write_file("text", "not a program\n");
  std::string text = at("text");
  CaptureStderr();
  Err denied = take(kes_execute_cmd(text.c_str(), argv));
  EXPECT_NE(GetCapturedStderr().find("(Error 1028) - Permission denied  (System error 13)"),
            std::string::npos);
  EXPECT_EQ(denied.code, 1028);
}

TEST_F(Process, LongCommandLineIsCutAtWordBoundary) {
  // "/bin/sh -c exit 3 " is 18 bytes; the last word brings the line to 924.
  std::string word(924 - 18, 'w');
  std::vector<char *> argv = {const_cast<char *>("/bin/sh"), const_cast<char *>("-c"),
                              const_cast<char *>("exit 3"), &word[0], nullptr};
  Err fits = take(kes_execute_cmd("/bin/sh", argv.data()));
  EXPECT_EQ(fits.text, "tproc: Command \"/bin/sh -c exit 3 " + word +
                             "\"\nexited with status 3  (Error 2012)\n");

  std::string longer = word + "w";
  argv[3] = &longer[0];
  Err cut = take(kes_execute_cmd("/bin/sh", argv.data()));
  EXPECT_EQ(cut.text, "tproc: Command \"/bin/sh -c exit 3 ...\"\nexited with status 3"
                        "  (Error 2012)\n");
}

TEST_F(Process, BackgroundStartsGivePidsWithoutWaiting) {
  std::string script = "echo $0 > " + dir + "/mark; exit 4";
  char *argv[] = {const_cast<char *>("/bin/sh"), const_cast<char *>("-c"), &script[0], nullptr};
  long pid = 0;
  ASSERT_EQ(take(kes_execute_cmd_bg("/bin/sh", argv, &pid)).text, "");
  ASSERT_GT(pid, 0);
  int status = 0;
  ASSERT_EQ(waitpid(static_cast<pid_t>(pid), &status, 0), pid);
  EXPECT_EQ(read_file("mark"), "/bin/sh\n");
  int rc = 0;
  EXPECT_EQ(take(kes_decode_wait(status, "/bin/sh", argv, &rc)).code, 2012);
  EXPECT_EQ(rc, 4);

  // A command runs through the shell; a text longer than the buffer is cut.
  std::string text = "exit 7";
  KesCommand cmd(text.c_str());
  pid = cmd.invoke();
  ASSERT_GT(pid, 0);
  ASSERT_EQ(waitpid(static_cast<pid_t>(pid), &status, 0), pid);
  EXPECT_EQ(WEXITSTATUS(status), 7);
  std::string huge(5000, 'x');
  KesCommand big(huge.c_str());
  EXPECT_EQ(std::string(big.get_text()), huge.substr(0, 4095));
}

TEST_F(Process, WaitFailureIsError1029) {
  // With SIGCHLD ignored the child is reaped by the system, and waitpid fails.
  struct sigaction ignore = {}, old = {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGCHLD, &ignore, &old);
  char *argv[] = {const_cast<char *>("true"), nullptr};
  Err err = take(kes_execute_cmd("/bin/true", argv));
  sigaction(SIGCHLD, &old, nullptr);
  EXPECT_EQ(err.code, 1029);
  EXPECT_EQ(err.text, "tproc: Waitpid failed  (Error 1029) - No child processes"
                        "  (System error 10)\n");
}

TEST_F(Process, VforkFailureIsReported) {
  // As the user nobody with no further processes allowed, vfork fails.
  Child c = in_child(
      [] {
        struct rlimit none = {0, 0};
        if (setgid(65534) < 0 || setuid(65534) < 0 || setrlimit(RLIMIT_NPROC, &none) < 0) _exit(77);
        char *argv[] = {const_cast<char *>("true"), nullptr};
        long pid = 99;
        Kes_err *err = kes_execute_cmd_bg("/bin/true", argv, &pid);
        if (err) err->print();
        delete err;
        if (pid != -1) fputs("pid was not -1\n", stderr);
        KesGCommand cmd("echo hi");
        if (cmd.invoke() != -1) fputs("invoke did not give -1\n", stderr);
        return std::string();
      });
  if (c.status == 77) GTEST_SKIP() << "cannot change to the user nobody";
  EXPECT_EQ(c.status, 0);
  EXPECT_EQ(c.err,
            "tproc: Cannot start command \"/bin/true\" because vfork failed  (Error 1032)"
            " - Resource temporarily unavailable  (System error 11)\n"
            "Cannot start command \"echo hi\" because vfork failed\n");
}

namespace {
// A run directory <dir>/lib/arch holding this "program", the system's own
// programs in <dir>/bin, and another directory on PATH.
class FindExecutable : public Process {
protected:
  void SetUp() override {
    Process::SetUp();
    for (const char *d : {"lib", "lib/arch", "bin", "path"})
      ASSERT_EQ(mkdir((dir + "/" + d).c_str(), 0755), 0);
    kes_find_run_dir_init((dir + "/lib/arch/tproc").c_str());
    const char *p = getenv("PATH");
    old_path = p ? p : "";
    setenv("PATH", (dir + "/path:" + old_path).c_str(), 1);
    unsetenv("BRINDLE_PATH_ONLY");
  }
  void TearDown() override {
    setenv("PATH", old_path.c_str(), 1);
    unsetenv("BRINDLE_PATH_ONLY");
    Process::TearDown();
  }
  void program(const std::string &name, mode_t mode = 0755) { write_file(name, "#!/bin/sh\n", mode); }
  std::string find(const char *cmd) {
    char buf[1024] = "untouched";
    Err err = take(kes_find_executable(cmd, buf));
    return err.code ? err.text : buf;
  }
  std::string old_path;
};
}  // namespace

// Each case uses its own program names: what is found is kept for the process.
TEST_F(FindExecutable, OwnProgramsComeBeforePathAndResultsAreKept) {
  program("bin/kes_fe_both");
  program("path/kes_fe_both");
  program("path/kes_fe_path");
  EXPECT_EQ(find("kes_fe_both"), dir + "/bin/kes_fe_both");
  EXPECT_EQ(find("kes_fe_path"), dir + "/path/kes_fe_path");
  ASSERT_EQ(unlink((dir + "/bin/kes_fe_both").c_str()), 0);
  EXPECT_EQ(find("kes_fe_both"), dir + "/bin/kes_fe_both");

  // Not runnable or not a regular file: PATH decides.
  program("bin/kes_fe_noexec", 0644);
  program("path/kes_fe_noexec");
  EXPECT_EQ(find("kes_fe_noexec"), dir + "/path/kes_fe_noexec");
  ASSERT_EQ(mkdir((dir + "/bin/kes_fe_dir").c_str(), 0755), 0);
  program("path/kes_fe_dir");
  EXPECT_EQ(find("kes_fe_dir"), dir + "/path/kes_fe_dir");
}

TEST_F(FindExecutable, MissingEverywhereOrOnlyOutsidePath) {
  EXPECT_EQ(find("kes_fe_none"), "tproc: Could not find the \"kes_fe_none\" command.  Executable \"" +
                                     dir + "/bin/kes_fe_none\" does not exist.\nAlso, could not"
                                     " find the command in PATH \"" + dir + "/path:" + old_path +
                                     "\"  (Error 2025)\n");
  // A failure is not kept: the program may appear later.
  program("path/kes_fe_none");
  EXPECT_EQ(find("kes_fe_none"), dir + "/path/kes_fe_none");
  char buf[1024];  // a name with a slash is not looked up
  EXPECT_EQ(take(kes_find_cmd_in_path("./rel/prog", buf)).text, "");
  EXPECT_STREQ(buf, "./rel/prog");

  setenv("BRINDLE_PATH_ONLY", "1", 1);
  program("bin/kes_fe_po_own");
  EXPECT_EQ(find("kes_fe_po_own"),
            "tproc: Could not find the \"kes_fe_po_own\" command in PATH \"" + dir + "/path:" +
                old_path + "\"  (Error 2028)\n");
}
