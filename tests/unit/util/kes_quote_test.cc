// Quoting for the shell and for single-quoted comments, and reading a
// comment.  The shell itself judges whether a quoted text comes back unchanged.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "util/kes_list.h"
#include "util/kes_quote.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {
// Runs a shell command and returns its standard output.
std::string sh_output(const std::string &cmd) {
  FILE *p = popen(cmd.c_str(), "r");
  if (!p) return "popen failed";
  std::string out;
  char buf[4096];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
  pclose(p);
  return out;
}

const char kEscaped[] = "&;`'\"!|*?~<>^()[]{}$\\ ";
}  // namespace

TEST(ShellEscape, EverySpecialCharacterGetsABackslashAndTheShellReadsItBack) {
  for (const char *c = kEscaped; *c; c++) {
    std::string in = std::string("a") + *c + "b";
    EXPECT_EQ(std::string(shell_escape(in.c_str())), std::string("a\\") + *c + "b")
        << "character " << static_cast<int>(*c);
  }
  // Ordinary characters, the comma, equals sign, hash, colon and tab among them, stay.
  EXPECT_STREQ(shell_escape("ab-_.,=/#%:+@\t9"), "ab-_.,=/#%:+@\t9");
  EXPECT_EQ(shell_escape(nullptr), nullptr);
  // A backslash before a newline would drop it: it goes in quotes.
  EXPECT_STREQ(shell_escape("a\nb"), "a'\n'b");
  std::string text = "my file; rm -rf *|`id` $HOME\n'q' \"dq\" (x) {y} [z] <a> ~ ! ^ & \\\n";
  EXPECT_EQ(sh_output(std::string("printf '%s' ") + shell_escape(text.c_str())), text);
  // One word, and a leading "-" made a path that no program takes for an option.
  EXPECT_EQ(sh_output("printf '<%s>' " + kes_shell_path("-n x\ny")), "<./-n x\ny>");
  EXPECT_EQ(kes_shell_path("/a b"), "/a\\ b");
  EXPECT_EQ(kes_shell_word(nullptr), "");
}

TEST(ShellEscape, BufferIsSharedAndBounded) {
  char *first = shell_escape("one");
  EXPECT_EQ(shell_escape("two"), first);
  EXPECT_STREQ(first, "two");
  std::string plain(3000, 'a');
  EXPECT_EQ(strlen(shell_escape(plain.c_str())), 2049u);
  // Pairs are never split: the output ends on a whole escape.
  std::string dollars(3000, '$');
  std::string escaped = shell_escape(dollars.c_str());
  EXPECT_EQ(escaped.size(), 2048u);
  EXPECT_EQ(escaped.substr(escaped.size() - 2), "\\$");
}

TEST(QuoteStr, MetacharactersQuotedBlanksKeptAndTheCommandKeepsItsWords) {
  const char quoted_set[] = "\"#$&'()*;<>?[\\]^`{|}";
  for (const char *c = quoted_set; *c; c++) {
    char in[2] = {*c, 0};
    char out[8];
    EXPECT_EQ(std::string(kes_quote_str(in, out)), std::string("\\") + *c) << *c;
  }
  char out[256];
  EXPECT_STREQ(kes_quote_str("a b ~ ! , = %", out), "a b ~ ! , = %");
  // Worst case is exactly twice the input.
  char twice[2 * 4 + 1];
  EXPECT_STREQ(kes_quote_str(";;;;", twice), "\\;\\;\\;\\;");
  kes_quote_str("printf %s\\n one;two $(id) three|four", out);
  EXPECT_EQ(sh_output(out), "one;two\n$(id)\nthree|four\n");
}

TEST(QuoteComment, SingleQuotesSurviveAndTheLimitHolds) {
  char out[128];
  EXPECT_STREQ(kes_quote_comment("it's Bob's", out, sizeof out), "it'\\''s Bob'\\''s");
  EXPECT_EQ(sh_output(std::string("printf '%s' '") + out + "'"), "it's Bob's");
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
