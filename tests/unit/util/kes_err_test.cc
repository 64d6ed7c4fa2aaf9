// Error objects, warnings, checked output and the catalogues behind their texts.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "support/scratch.h"

using namespace support;

using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

TEST(KesErr, TextsWithAndWithoutSystemErrorAndCommandName) {
  struct {
    const char *cmd;  // null: no command name
    int code, sys;
    const char *fmt, *arg, *text;
  } cases[] = {
      {"/opt/brindle/bin/bringover", 1001, 13, "Open of \"%s\" for reading failed", "/a/x",
       "bringover: Open of \"/a/x\" for reading failed  (Error 1001)"
       " - Permission denied  (System error 13)\n"},
      {"putback", 2001, 0, "No %s", "parent", "putback: No parent  (Error 2001)\n"},
      {"putback", 2001, 99999, "x%s", "", "putback: x  (Error 2001) - Errno 99999 not recognized\n"},
      {"putback", 2001, -4, "y%s", "", "putback: y  (Error 2001) - Errno -4 not recognized\n"},
      {nullptr, 2003, 0, "plain%s", "", "plain  (Error 2003)\n"},
  };
  for (const auto &c : cases) {
    char *argv[] = {const_cast<char *>(c.cmd), nullptr};
    kes_set_full_cmdname(argv);
    Kes_err e;
    EXPECT_EQ(e.format_msg(c.code, c.sys, c.fmt, c.arg), &e);
    EXPECT_STREQ(e.text, c.text);
    EXPECT_EQ(e.code, c.code);
    EXPECT_EQ(e.system_errno, c.sys);
    EXPECT_EQ(e.stream, stderr);
  }
  EXPECT_EQ(kes_get_base_cmdname(), nullptr);

  // A null format leaves the object empty; a second format replaces the first.
  set_cmdname("bringover");
  Kes_err e;
  e.format_msg(2005, 2, nullptr);
  EXPECT_EQ(e.code, 0);
  EXPECT_STREQ(e.text, "");
  e.format_msg(2005, 0, "first");
  e.format_msg(2006, 0, "second");
  EXPECT_STREQ(e.text, "bringover: second  (Error 2006)\n");
}

TEST(KesErr, PrintOnceAndCopyPrintsAgain) {
  set_cmdname("bringover");
  Kes_err e;
  e.format_msg(2002, 0, "once");
  CaptureStderr();
  e.print();
  e.print();
  Kes_err *c = e.copy();
  c->print();
  std::string out = GetCapturedStderr();
  EXPECT_EQ(out, "bringover: once  (Error 2002)\nbringover: once  (Error 2002)\n");
  EXPECT_EQ(c->code, 2002);
  EXPECT_EQ(e.printed, 1);
  delete c;
}

TEST(KesErr, LongTextIsCutNotOverrun) {
  set_cmdname("bringover");
  std::string big(5000, 'x');
  Kes_err e;
  e.format_msg(2000, 0, "%s", big.c_str());
  EXPECT_LT(strlen(e.text), 3072u);
  Kes_err sized(6000);
  sized.format_msg(2000, 0, "%s", big.c_str());
  EXPECT_EQ(std::string(sized.text), "bringover: " + big + "  (Error 2000)\n");
}

TEST(KesWarning, GoesToStdoutWithoutErrno) {
  set_cmdname("bringover");
  Kes_warning w;
  w.format_msg(2610, 13, "Something %d", 7);
  EXPECT_STREQ(w.text, "bringover: Something 7  (Warning 2610)\n");
  EXPECT_EQ(w.stream, stdout);
  Kes_err *c = w.copy();
  EXPECT_EQ(c->stream, stderr);  // a copy is a plain error
  delete c;
  CaptureStdout();
  kes_issue_warning(2623, 0, "Lock %s", "held");
  EXPECT_EQ(GetCapturedStdout(), "bringover: Lock held  (Warning 2623)\n");
}

TEST(CheckedOutput, WriteAndCloseFailuresCarry1001) {
  set_cmdname("bringover");
  const std::string full = " - No space left on device  (System error 28)\n";
  FILE *f = fopen("/dev/full", "w");
  ASSERT_NE(f, nullptr);
  setvbuf(f, nullptr, _IONBF, 0);
  EXPECT_EQ(take(fprintf_N_check(f, "/dev/full", "%s", "data")).text,
            "bringover: Writing to \"/dev/full\" failed  (Error 1001)" + full);
  EXPECT_EQ(take(fputs_N_check("data", f, "/dev/full")).code, 1001);
  fclose(f);

  // A buffered write to a full disk shows only at the close.
  f = fopen("/dev/full", "w");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(fprintf_N_check(f, "/dev/full", "buffered"), nullptr);
  Err closing = take(fclose_N_check(f, "/dev/full"));
  EXPECT_EQ(closing.code, 1001);
  EXPECT_NE(closing.text.find("Closing of the \"/dev/full\" failed"), std::string::npos);
}

TEST(Catalogues, WithoutNlspathInitFailsAndEnglishStays) {
  set_cmdname("bringover");
  std::string saved = getenv("NLSPATH") ? getenv("NLSPATH") : "";
  bool had = getenv("NLSPATH") != nullptr;
  unsetenv("NLSPATH");
  CaptureStderr();
  EXPECT_NE(libbwm_init(), 0);
  EXPECT_NE(libutil_init(), 0);
  EXPECT_EQ(GetCapturedStderr(),
            "Internal error: Set NLSPATH before opening catalogue file\n"
            "Internal error: Set NLSPATH before opening catalogue file\n");
  Kes_err e;
  e.format_msg(2001, 0, "%s", "x");
  EXPECT_STREQ(e.text, "bringover: x  (Error 2001)\n");
  if (had) setenv("NLSPATH", saved.c_str(), 1);
}

TEST(Catalogues, TranslatedTextsComeFromTheCatalogue) {
  // A catalogue with another text for the error suffix: the codes stay numbers.
  Temp_dir dir;
  write_file(dir.file("libutil_1.msg"), "$set 1\n$quote \"\n1 \"  (Fehler %d)\"\n");
  ASSERT_EQ(run({"gencat", "-o", dir.file("libutil_1.cat"), dir.file("libutil_1.msg")}).status, 0);
  setenv("NLSPATH", dir.file("%N.cat").c_str(), 1);
  libutil_fini();
  ASSERT_EQ(libutil_init(), 0);
  set_cmdname("bringover");
  Kes_err e;
  e.format_msg(2001, 0, "x");
  EXPECT_STREQ(e.text, "bringover: x  (Fehler 2001)\n");
  libutil_fini();
  Kes_err f;
  f.format_msg(2001, 0, "x");
  EXPECT_STREQ(f.text, "bringover: x  (Error 2001)\n");
  unsetenv("NLSPATH");
}
