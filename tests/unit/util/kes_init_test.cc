// Start-up: what kes_init leaves behind for the rest of a run, and the search
// for programs and catalogues that it sets up.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"
#include "support/support.h"

namespace {
const std::string kBin = std::string(BRINDLE_BINARY_DIR) + "/bin";

// kes_init changes process-wide state (umask, environment, command name), so each
// story runs in a child and sends back what it saw.
std::string seen_in_child(const std::function<std::string()> &fn) {
  support::Child c = support::in_child(fn);
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
