// Start-up and messages: what kes_init leaves behind for the rest of a run,
// the search for programs and catalogues that it sets up, the version option
// and the report of exhausted memory; error objects, warnings, checked output
// and the catalogues behind their texts; and what a run learns of its
// surroundings: the user, the time zone, and the string formatter.
#include <gtest/gtest.h>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>

#include "util/kes_err.h"
#include "util/kes_host.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"
#include "support/support.h"

using namespace support;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

namespace {
const std::string kBin = std::string(BRINDLE_BINARY_DIR) + "/bin";

// kes_init changes process-wide state (umask, environment, command name), so each
// story runs in a child and sends back what it saw.
std::string seen_in_child(const std::function<std::string()> &fn) {
  Child c = in_child(fn);
  return c.status == 0 ? c.out : c.out + "[child failed]";
}

std::string env(const char *name) {
  const char *v = getenv(name);
  return v ? v : "(unset)";
}
}  // namespace

TEST(Startup, InitSetsUmaskNameSearchPathsAndCatalogues) {
  std::string prog = kBin + "/bringover";  // need not exist: only its directory counts
  std::string seen = seen_in_child([&] {
    unsetenv("NLSPATH");
    setenv("PATH", "/bin", 1);
    unsetenv("TILEWINHOME");
    umask(027);
    umask_save();
    char *argv[] = {const_cast<char *>(prog.c_str()), nullptr};
    kes_init(argv);
    std::string r;
    r += "umask=" + std::to_string(umask(0)) + "\n";
    r += "saved=" + std::to_string(umask_get()) + "\n";
    r += std::string("base=") + kes_get_base_cmdname() + "\n";
    r += "PATH=" + env("PATH") + "\n";
    r += "NLSPATH=" + env("NLSPATH") + "\n";
    char *dir = nullptr;
    Kes_err *e = kes_find_run_dir(&dir);
    r += std::string("rundir=") + (e ? "error" : dir) + "\n";
    delete e;
    r += "utilinit=" + std::to_string(libutil_init()) + "\n";
    r += "bwminit=" + std::to_string(libbwm_init()) + "\n";
    Kes_err err;
    err.format_msg(2001, 0, "x");
    r += std::string("text=") + err.text;
    return r;
  });
  // The catalogue search: beside the programs first, then one level further up,
  // each with the user's language before C.
  const std::string up = kBin + "/..", upup = kBin + "/../..";
  EXPECT_EQ(seen, "umask=0\nsaved=23\nbase=bringover\n"  // 027 octal saved
                  "PATH=/bin:" BRINDLE_SCCS_DIR ":/usr/bin:/usr/sbin\n"
                  "NLSPATH=" + up + "/lib/locale/%L/LC_MESSAGES/%N.cat:" + up +
                      "/lib/locale/C/LC_MESSAGES/%N.cat:/usr/dt/lib/nls/msg/%L/%N.cat:" + upup +
                      "/lib/locale/%L/LC_MESSAGES/%N.cat:" + upup +
                      "/lib/locale/C/LC_MESSAGES/%N.cat\n"
                      "rundir=" + kBin + "\nutilinit=0\nbwminit=0\n"
                      "text=bringover: x  (Error 2001)\n");
}

TEST(Startup, BuiltCataloguesAreFound) {
  // The catalogues built beside the programs open through the search path that
  // start-up makes: a text read back through catgets proves it.
  std::string seen = seen_in_child([&] {
    unsetenv("NLSPATH");
    unsetenv("LANG");
    unsetenv("LC_ALL");
    std::string prog = kBin + "/x";
    char *argv[] = {const_cast<char *>(prog.c_str()), nullptr};
    kes_init(argv);
    libutil_init();
    // Ask for a number with a wrong fallback: only the catalogue knows the text.
    return std::string(kes_util_msg(5, "not from the catalogue"));
  });
  EXPECT_EQ(seen, "Writing to \"%s\" failed");
}

TEST(Startup, ExistingSearchPathMembersAreNotRepeated) {
  char *a = maybe_append_str_to_env_var("PATH=/a:/b", "/b:/c:/a");
  EXPECT_STREQ(a, "PATH=/a:/b:/c");
  free(a);
  char *b = maybe_append_str_to_env_var("X=", "/p:/q");
  EXPECT_STREQ(b, "X=/p:/q");  // no colon behind an empty value
  free(b);
  char *c = maybe_append_str_to_env_var("X=/ab", "/a");
  EXPECT_STREQ(c, "X=/ab:/a");  // members compare whole, not by prefix
  free(c);
  std::string seen = seen_in_child([] {
    setenv("PATH", "/usr/bin:" BRINDLE_SCCS_DIR, 1);
    setenv("TILEWINHOME", "/opt/tw", 1);
    kes_set_path();
    kes_set_path();
    return env("PATH");
  });
  EXPECT_EQ(seen, "/usr/bin:" BRINDLE_SCCS_DIR ":/opt/tw/bin:/usr/sbin");
}

TEST(Startup, VersionOptionAnywhere) {
  char a0[] = "bringover", a1[] = "-w", a2[] = "ws", a3[] = "-V";
  char *argv[] = {a0, a1, a2, a3, nullptr};
  CaptureStdout();
  EXPECT_EQ(kes_check_if_invoked_for_version(4, argv, "1.0"), 1);
  EXPECT_EQ(GetCapturedStdout(), "bringover: 1.0\n");
  EXPECT_EQ(kes_check_if_invoked_for_version(3, argv, "1.0"), 0);
}

TEST(Startup, OutOfMemoryReport) {
  set_cmdname("/x/bringover");
  EXPECT_EXIT(kes_new_handler(), testing::ExitedWithCode(1),
              "^bringover: Memory allocation failed - you may be out of swap space\\.\n$");
}

// ---------------------------------------------------------------------------
// Error objects, warnings, checked output and the catalogues.

TEST(KesErr, TextsWithAndWithoutSystemErrorAndCommandName) {
  struct {
    const char *cmd;  // null: no command name
    int code, sys;
    const char *fmt, *arg, *text;
  } cases[] = {
      // The common forms, with and without a system error, are in the stories' texts.
      {"/opt/brindle/bin/bringover", 1001, 13, "Open of \"%s\" for reading failed", "/a/x",
       "bringover: Open of \"/a/x\" for reading failed  (Error 1001)"
       " - Permission denied  (System error 13)\n"},
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

// ---------------------------------------------------------------------------
// The user, the time zone and the string formatter.

TEST(Host, UserWithoutEntry) {
  const uid_t stranger = 54321;
  if (getpwuid(stranger)) GTEST_SKIP() << "uid 54321 has an entry here";
  set_cmdname("thost");
  kes_get_user(0, 0);  // fill the cache for the present user first
  Child c = in_child([&] {
    if (setuid(stranger) < 0) _exit(77);
    std::string report;
    report += kes_get_user(0, 0) ? "named" : "null";
    report += std::string(" ") + kes_get_user(1, 1) + "\n";
    char name[1024] = "untouched";
    Kes_err *err = kes_get_user(name, nullptr);
    report += err ? err->text : "no error\n";
    report += std::string(name) + "\n";
    delete err;
    return report;
  });
  if (c.status == 77) GTEST_SKIP() << "cannot change the user";
  ASSERT_EQ(c.status, 0);
  EXPECT_EQ(c.out,
            "null Unknown\n"
            "thost: Could not get username for uid 54321  (Error 2007)\n"
            "untouched\n");
}

TEST(Host, TimezoneNamesDaylightWhenItHasOne) {
  const char *old = getenv("TZ");
  std::string saved = old ? old : "";
  setenv("TZ", "EST5EDT", 1);
  EXPECT_STREQ(kes_get_timezone(), "EDT");
  setenv("TZ", "JST-9", 1);
  EXPECT_STREQ(kes_get_timezone(), "JST");
  setenv("TZ", "UTC0", 1);
  EXPECT_STREQ(kes_get_timezone(), "UTC");
  if (old) setenv("TZ", saved.c_str(), 1); else unsetenv("TZ");
  tzset();
}
