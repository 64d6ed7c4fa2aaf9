// Start-up: what kes_init leaves behind for the rest of a run, the search for
// programs and catalogues that it sets up, the version option and the report
// of exhausted memory; and what a run learns of its surroundings: the user, the
// time zone, and the string formatter.
#include <gtest/gtest.h>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

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
using testing::internal::CaptureStdout;
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

TEST(Startup, RunDirectoryUnknownWithoutName) {
  std::string seen = seen_in_child([] {
    char *none[] = {nullptr};
    kes_set_full_cmdname(none);
    char *dir = reinterpret_cast<char *>(1);
    Kes_err *e = kes_find_run_dir(&dir);
    std::string r = e ? std::to_string(e->code) + ":" + e->text : "no error";
    delete e;
    return r + (dir == nullptr ? "null" : "set");
  });
  EXPECT_EQ(seen,
            "2076:Internal error: Cannot find the directory in which command \"this program\"\n"
            "is located because kes_find_run_dir_init() has not been called  (Error 2076)\n"
            "null");
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
// The user, the time zone and the string formatter.

TEST(Host, UserFromPasswordDatabase) {
  struct passwd *pw = getpwuid(getuid());
  ASSERT_NE(pw, nullptr);
  std::string login = pw->pw_name, home = pw->pw_dir;
  EXPECT_EQ(std::string(kes_get_user(0, 1)), login);
  EXPECT_EQ(std::string(kes_get_user(1, 0)), login.substr(0, 32));
  char name[1024] = "x", dir[1024] = "x";
  Kes_err *err = kes_get_user(name, dir);
  EXPECT_EQ(err, nullptr);
  delete err;
  EXPECT_EQ(std::string(name), login);
  EXPECT_EQ(std::string(dir), home);
}

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

TEST(Host, SprintfWithMallocJoinsStrings) {
  std::string big(10000, 'b');
  char *s = sprintf_with_malloc("%s/T.%s.XXXXXX%%[%s]", "/ws/Brindle_wsdata", "", big.c_str(),
                                static_cast<char *>(nullptr));
  EXPECT_EQ(std::string(s), "/ws/Brindle_wsdata/T..XXXXXX%[" + big + "]");
  free(s);
}
