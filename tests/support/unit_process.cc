// Compiled into every unit test program: each test process works in a
// directory of its own, with umask 0 as the programs run.
//
// CTest runs every test case as a process of its own, many at once.  Programs
// that a test runs leave files in the current directory, and CSSC's get, when it
// fails, removes a file in it named after its output ("null" for get -g): in a
// shared directory one test would remove what another is using.  The directory
// is open to all (0755), so a test that drops to an unprivileged user can still
// name it.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "support/support.h"
#include "util/kes_init.h"

namespace {

struct Unit_process {
  Unit_process() : owner(getpid()) {
    umask_save();
    umask(0);
    if (chdir(cwd.path().c_str()) != 0) {
      perror(cwd.path().c_str());
      exit(1);
    }
  }
  // Only the process that made it removes it: children that a test forks and
  // that end with exit() pass through here too.
  ~Unit_process() {
    if (getpid() != owner && chdir("/") == 0) cwd.keep();
  }
  pid_t owner;
  support::Temp_dir cwd{"brindle-cwd"};
};

Unit_process unit_process;

}  // namespace
