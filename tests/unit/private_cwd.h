// A working directory of its own for each test process, made at start-up and
// removed at exit.
//
// CTest runs every test case as a process of its own, many at once.  Programs
// that a test runs leave files in the current directory, and CSSC's get, when
// it fails, removes a file in it named after its output ("null" for get -g):
// in a shared directory one test would remove what another is using.  A layer's
// test helpers include this header once; the helpers are linked whole into
// every test program of the layer.  The directory is open to all (0755), so a
// test that drops to an unprivileged user can still name it.
#ifndef BRINDLE_TESTS_UNIT_PRIVATE_CWD_H
#define BRINDLE_TESTS_UNIT_PRIVATE_CWD_H

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace unit_test {

class Private_cwd {
public:
  Private_cwd() {
    const char *tmp = getenv("TMPDIR");
    std::string templ = std::string(tmp && *tmp ? tmp : "/tmp") + "/brindle-cwd-XXXXXX";
    if (!mkdtemp(&templ[0]) || chmod(templ.c_str(), 0755) != 0 || chdir(templ.c_str()) != 0) {
      fprintf(stderr, "cannot make a working directory %s: %s\n", templ.c_str(), strerror(errno));
      exit(1);
    }
    path_ = templ;
    owner_ = getpid();
  }
  // Only the process that made it removes it: children that a test forks and
  // that end with exit() pass through here too.
  ~Private_cwd() {
    if (getpid() != owner_) return;
    std::error_code ec;
    if (chdir("/") == 0) std::filesystem::remove_all(path_, ec);
  }
  Private_cwd(const Private_cwd &) = delete;
  Private_cwd &operator=(const Private_cwd &) = delete;

private:
  std::string path_;
  pid_t owner_ = 0;
};

inline Private_cwd private_cwd;

}  // namespace unit_test

#endif
