// Cmd: running one shell command, in a directory or not, and keeping its
// output, its errors and its status; and comment quoting for the shell.
#include "sccs/sccs_cmd.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "sccs/sccs_helpers.h"

using namespace support;

namespace {

std::string str(const char *s) { return s ? s : "<null>"; }

// The exit status that a pclose status stands for.
int exit_code(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : -1; }

// What ran, its output, its errors and its status, for each constructor.  The
// texts are the object's own copies: the caller's buffer changes afterwards.
TEST(CmdExecute, KeepsOutputStatusAndTheTextThatRan) {
  char echo[] = "echo";
  struct {
    std::unique_ptr<Cmd> c;
    int status;
    const char *cmd, *out, *err;
  } cases[] = {
      {std::make_unique<Cmd>("sh", "-c", "'echo out; echo err >&2; exit 3'"), 3,
       "sh -c 'echo out; echo err >&2; exit 3'\n", "out\n", "err\n"},
      {std::make_unique<Cmd>(echo), 0, "echo\n", "\n", nullptr},
      {std::make_unique<Cmd>("printf", "'%s|'"), 0, "printf '%s|'\n", "|", nullptr},
      {std::make_unique<Cmd>(nullptr, "true", nullptr), 0, "true\n", "", nullptr},
  };
  echo[0] = 'X';
  for (auto &c : cases) {
    SCOPED_TRACE(c.cmd);
    EXPECT_EQ(exit_code(c.c->execute(nullptr)), c.status);
    EXPECT_EQ(exit_code(c.c->ret_stat), c.status);
    EXPECT_EQ(str(c.c->results), c.out);
    EXPECT_EQ(str(c.c->errors), str(c.err));  // null when nothing came
    // From here on cmd alone is what a message quotes.
    EXPECT_EQ(str(c.c->cmd), c.cmd);
    EXPECT_EQ(c.c->subcmd, nullptr);
    EXPECT_EQ(c.c->args, nullptr);
  }
}

TEST(CmdExecute, RunsInADirectoryWhoseNameNeedsQuoting) {
  Temp_dir tmp;
  std::string dir = tmp.file("a b;$HOME'\"`x`&|*");
  ASSERT_EQ(mkdir(dir.c_str(), 0777), 0);
  Cmd c("pwd");
  EXPECT_EQ(c.execute(dir.c_str()), 0);
  EXPECT_EQ(str(c.results), dir + "\n");
  EXPECT_EQ(c.errors, nullptr);
  // The text shown holds the cd, but not the redirections.
  std::string shown = str(c.cmd);
  EXPECT_EQ(shown.rfind("cd ", 0), 0u) << shown;
  EXPECT_EQ(shown.substr(shown.size() - 6), "; pwd\n") << shown;
  EXPECT_EQ(shown.find("2>"), std::string::npos) << shown;
}

TEST(CmdExecute, AFailedCdAndTheCommandShareTheErrorText) {
  Temp_dir tmp;
  std::string missing = tmp.file("no such dir");
  Cmd c("sh", "-c", "'echo mine >&2'");
  c.execute(missing.c_str());
  std::string errors = str(c.errors);
  // The first redirection made the file, the second appended to it.
  EXPECT_NE(errors.find("cd"), std::string::npos) << errors;
  EXPECT_NE(errors.find("no such dir"), std::string::npos) << errors;
  EXPECT_NE(errors.find("mine\n"), std::string::npos) << errors;
  EXPECT_LT(errors.find("cd"), errors.find("mine")) << errors;
}

TEST(CmdExecute, OutputOfAnySizeIsKeptWhole) {
  for (int lines : {0, 1, 204, 205, 20000}) {  // around the first 1024 bytes and far beyond
    Cmd c("sh", "-c", ("'seq 1 " + std::to_string(lines) + "'").c_str());
    ASSERT_EQ(c.execute(nullptr), 0);
    std::string expect;
    for (int i = 1; i <= lines; i++) expect += std::to_string(i) + "\n";
    EXPECT_EQ(str(c.results), expect) << lines;
  }
}

TEST(CmdExecute, TheErrorFileIsPrivateAndRemovedAfterwards) {
  // The command reports where its standard error goes, and that file's mode.
  Cmd c("sh", "-c",
        "'f=$(readlink /proc/$$/fd/2); echo \"$f\"; stat -c %a \"$f\"; echo x >&2'");
  ASSERT_EQ(c.execute("/"), 0);
  std::string out = str(c.results);
  size_t nl = out.find('\n');
  ASSERT_NE(nl, std::string::npos) << out;
  std::string errfile = out.substr(0, nl);
  EXPECT_EQ(errfile.rfind("/tmp/excmd", 0), 0u) << errfile;
  EXPECT_EQ(out.substr(nl + 1), "600\n");
  EXPECT_EQ(str(c.errors), "x\n");
  EXPECT_FALSE(file_exists(errfile));
}

TEST(CmdExecute, ASecondRunReplacesTheResults) {
  Temp_dir tmp;
  std::string counter = tmp.file("n");
  std::string cmd = "'echo run >> " + counter + "; wc -l < " + counter + "'";
  Cmd c("sh", "-c", cmd.c_str());
  ASSERT_EQ(c.execute(nullptr), 0);
  EXPECT_EQ(str(c.results), "1\n");
  ASSERT_EQ(c.execute(tmp.path().c_str()), 0);
  EXPECT_EQ(str(c.results), "2\n");
  ASSERT_EQ(c.execute(nullptr), 0);
  EXPECT_EQ(str(c.results), "3\n");
}

// Uses up every descriptor, so that popen can't make its pipe, and runs a
// command: 0 when that gave -2 and an empty result.
int run_without_descriptors() {
  struct rlimit lim;
  lim.rlim_cur = lim.rlim_max = 64;
  setrlimit(RLIMIT_NOFILE, &lim);
  while (open("/dev/null", O_RDONLY) >= 0) {
  }
  Cmd c("echo", "hi");
  int r = c.execute(nullptr);
  return r == -2 && c.ret_stat == -2 && c.results && !*c.results ? 0 : 1;
}

TEST(CmdExecute, NoShellWithoutDescriptorsGivesMinusTwo) {
  // A plain child: after the descriptors are gone it must run nothing else.
  fflush(nullptr);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) _exit(run_without_descriptors());
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_EQ(exit_code(status), 0);
}

// ---------------------------------------------------------------------------
// Comment quoting

// What the shell makes of the quoted text inside single quotes.
std::string through_shell(const std::string &text) {
  char *q = escape_comment(text.c_str());
  std::string arg = std::string("'") + q + "'";
  free(q);
  Cmd c("printf", "%s", arg.c_str());
  EXPECT_EQ(c.execute(nullptr), 0) << str(c.errors);
  return str(c.results);
}

TEST(CommentQuoting, QuotesBecomeEscapesThatSurviveTheShellAndNullIsEmpty) {
  char *q = escape_comment("it's");
  EXPECT_STREQ(q, "it'\\''s");
  free(q);
  q = escape_comment(nullptr);
  EXPECT_STREQ(q, "");
  free(q);
  for (std::string text : {"it's", "'", "''", "a'b'c'", "$HOME `id` \"x\" \\ ; | & > <",
                           "two\nlines", "tab\there", ""})
    EXPECT_EQ(through_shell(text), text);
}

TEST(CommentQuoting, CutAt1024CharactersNeverInsideAnEscape) {
  std::string long_text(2000, 'a');
  char *q = escape_comment(long_text.c_str());
  EXPECT_EQ(strlen(q), 1024u);
  free(q);
  // The quote would end at 1027: it is left out whole.
  std::string near_end = std::string(1023, 'b') + "'c";
  q = escape_comment(near_end.c_str());
  EXPECT_EQ(std::string(q), std::string(1023, 'b'));
  free(q);
  // Exactly fitting: 1020 + 4.
  std::string fits = std::string(1020, 'd') + "'";
  q = escape_comment(fits.c_str());
  EXPECT_EQ(std::string(q), std::string(1020, 'd') + "'\\''");
  free(q);
  // Whatever the cut, the text stays a valid piece between single quotes: the
  // shell gives back a prefix of the original.
  std::mt19937 rng(7);
  for (int round = 0; round < 40; round++) {
    std::string text;
    int len = 900 + rng() % 400;
    for (int i = 0; i < len; i++) text += "ab'$\\ \"x"[rng() % 8];
    std::string back = through_shell(text);
    EXPECT_EQ(text.compare(0, back.size(), back), 0);
    EXPECT_GE(back.size(), 1024u / 4);
  }
}

}  // namespace
