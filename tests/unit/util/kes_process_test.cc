// Shell commands: quoting words for the shell and for single-quoted comments
// (the shell itself judges whether a quoted text comes back unchanged), reading
// a comment, programs run with and without a shell, and what their status means.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <stdio_ext.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"
#include "support/scratch.h"

using namespace support;

using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

namespace {
class Process : public Scratch {
protected:
  void SetUp() override {
    Scratch::SetUp();
    set_cmdname("/usr/bin/tproc");
  }
};
}  // namespace

// One table for the shell and the programs run without one: each way a
// command can end, with its code and text.
TEST_F(Process, StatusesOfShellsAndProgramsAreDecoded) {
  enum How { SHELL, EXEC };
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
      {EXEC, "exit 3", 2012, 3, "exited with status 3  (Error 2012)\n"},
      {EXEC, "kill -KILL $$", 2011, 0, "killed by signal 9  (Error 2011)\n"},
  };
  for (auto &c : cases) {
    int rc = -1;
    Kes_err *err = nullptr;
    if (c.how == SHELL) {
      err = kes_system_with_rc_no_quoting(c.cmd.c_str(), &rc);
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
  EXPECT_EQ(take(kes_execute_cmd(text.c_str(), argv)).code, 1028);
  EXPECT_NE(GetCapturedStderr().find("Permission denied"), std::string::npos);
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
  EXPECT_EQ(err.system_errno, ECHILD);
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
        return std::string();
      });
  if (c.status == 77) GTEST_SKIP() << "cannot change to the user nobody";
  EXPECT_EQ(c.status, 0);
  EXPECT_EQ(c.err,
            "tproc: Cannot start command \"/bin/true\" because vfork failed  (Error 1032)"
            " - Resource temporarily unavailable  (System error 11)\n");
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

// Only in PATH (2028) is the autofreezepoint story's.
TEST_F(FindExecutable, MissingEverywhere) {
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
}

// ---------------------------------------------------------------------------
// Quoting, and reading a comment.

TEST(ShellEscape, EverySpecialCharacterGetsABackslashAndTheShellReadsItBack) {
  EXPECT_STREQ(shell_escape("a|b"), "a\\|b");
  // Ordinary characters, the comma, equals sign, hash, colon and tab among them, stay.
  EXPECT_STREQ(shell_escape("ab-_.,=/#%:+@\t9"), "ab-_.,=/#%:+@\t9");
  EXPECT_EQ(shell_escape(nullptr), nullptr);
  // A backslash before a newline would drop it: it goes in quotes.
  EXPECT_STREQ(shell_escape("a\nb"), "a'\n'b");
  std::string text = "my file; rm -rf *|`id` $HOME\n'q' \"dq\" (x) {y} [z] <a> ~ ! ^ & ?\\\n";
  EXPECT_EQ(sh(std::string("printf '%s' ") + shell_escape(text.c_str())).out, text);
  // One word, and a leading "-" made a path that no program takes for an option.
  EXPECT_EQ(sh("printf '<%s>' " + kes_shell_path("-n x\ny")).out, "<./-n x\ny>");
  EXPECT_EQ(kes_shell_path("/a b"), "/a\\ b");
  EXPECT_EQ(kes_shell_word(nullptr), "");
}

TEST(ShellEscape, OutputIsBounded) {
  std::string plain(3000, 'a');
  EXPECT_EQ(strlen(shell_escape(plain.c_str())), 2049u);
  // Pairs are never split: the output ends on a whole escape.
  std::string dollars(3000, '$');
  std::string escaped = shell_escape(dollars.c_str());
  EXPECT_EQ(escaped.size(), 2048u);
  EXPECT_EQ(escaped.substr(escaped.size() - 2), "\\$");
}

TEST(QuoteStr, MetacharactersQuotedBlanksKeptAndTheCommandKeepsItsWords) {
  char out[256];
  EXPECT_STREQ(kes_quote_str("a b ~ ! , = %", out), "a b ~ ! , = %");
  // Worst case is exactly twice the input.
  char twice[2 * 4 + 1];
  EXPECT_STREQ(kes_quote_str(";;;;", twice), "\\;\\;\\;\\;");
  // Every metacharacter reaches the program as itself, in the words the blanks make.
  kes_quote_str("printf %s\\n one;two $(id) three|four \"#$&'()*;<>?[\\]^`{|}", out);
  EXPECT_EQ(sh(out).out, "one;two\n$(id)\nthree|four\n\"#$&'()*;<>?[\\]^`{|}\n");
}

TEST(QuoteComment, SingleQuotesSurviveAndTheLimitHolds) {
  char out[128];
  EXPECT_STREQ(kes_quote_comment("it's Bob's", out, sizeof out), "it'\\''s Bob'\\''s");
  EXPECT_EQ(sh(std::string("printf '%s' '") + out + "'").out, "it's Bob's");
  // Plain text: at most size - 2 characters; a quote needs its four bytes to
  // fit within size - 2.
  EXPECT_STREQ(kes_quote_comment("abcdefghijklmnopqrstuvwxyz", out, 10), "abcdefgh");
  EXPECT_STREQ(kes_quote_comment("abcd'x", out, 10), "abcd'\\''");
  EXPECT_STREQ(kes_quote_comment("abcd'x", out, 9), "abcd");
  memset(out, '#', 16);
  EXPECT_STREQ(kes_quote_comment("abcde'", out, 10), "abcde");
  EXPECT_EQ(out[6], '#');  // nothing written behind the terminator
}

namespace {
// Runs kes_read_comment with fd as standard input; gives the lines read.
std::vector<std::string> read_comment_from(int fd) {
  int saved = dup(0);
  dup2(fd, 0);
  __fpurge(stdin);  // nothing buffered from an earlier input
  clearerr(stdin);
  Kes_strlist list;
  kes_read_comment(&list);
  dup2(saved, 0);
  close(saved);
  __fpurge(stdin);
  clearerr(stdin);
  std::vector<std::string> lines;
  for (Kes_listelem *e = list.head.next; e != &list.head; e = e->next)
    lines.push_back(static_cast<char *>(e->data));
  return lines;
}

std::vector<std::string> read_comment_text(const std::string &text) {
  char tmpl[] = "/tmp/kes_comment.XXXXXX";
  int fd = mkstemp(tmpl);
  if (fd < 0) return {"mkstemp failed"};
  unlink(tmpl);
  if (write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) return {"short"};
  lseek(fd, 0, SEEK_SET);
  std::vector<std::string> lines = read_comment_from(fd);
  close(fd);
  return lines;
}

using Lines = std::vector<std::string>;
}  // namespace

TEST(ReadComment, EndsAtDotEmptyLineOrEndOfInput) {
  CaptureStdout();
  EXPECT_EQ(read_comment_text("first line\n  indented\n.\nafter\n"),
            (Lines{"first line", "  indented"}));
  EXPECT_EQ(read_comment_text("one\n\ntwo\n"), (Lines{"one"}));
  EXPECT_EQ(read_comment_text("a\nb"), (Lines{"a", "b"}));
  EXPECT_EQ(read_comment_text(""), (Lines{}));
  EXPECT_EQ(read_comment_text(" .\n..\n.\n"), (Lines{" .", ".."}));
  std::string longer(5000, 'c');
  EXPECT_EQ(read_comment_text(longer + "\n"), (Lines{longer}));
  // Without a terminal there are no prompts.
  EXPECT_EQ(GetCapturedStdout(), "");
}

TEST(ReadComment, PromptsOnATerminal) {
  int master = posix_openpt(O_RDWR | O_NOCTTY);
  if (master < 0) GTEST_SKIP() << "no pseudo terminals here";
  ASSERT_EQ(grantpt(master), 0);
  ASSERT_EQ(unlockpt(master), 0);
  int slave = open(ptsname(master), O_RDWR | O_NOCTTY);
  ASSERT_GE(slave, 0);
  const char typed[] = "fix the build\nfor real\n.\nnot read\n";
  ASSERT_EQ(write(master, typed, sizeof typed - 1), static_cast<ssize_t>(sizeof typed - 1));
  CaptureStdout();
  Lines lines = read_comment_from(slave);
  EXPECT_EQ(GetCapturedStdout(), "Comment?\n> > > <\n");
  EXPECT_EQ(lines, (Lines{"fix the build", "for real"}));
  close(slave);
  close(master);
}
