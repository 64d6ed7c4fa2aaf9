// What the workspace tests add to the support library: a bare workspace, the
// path of one of its metadata files, this host's network name of a path, and
// a handshake for processes racing for a file lock.
#ifndef BRINDLE_TESTS_UNIT_WORKSPACE_WS_HELPERS_H
#define BRINDLE_TESTS_UNIT_WORKSPACE_WS_HELPERS_H

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/support.h"
#include "util/kes_err.h"
#include "util/kes_host.h"
#include "util/kes_list.h"
#include "workspace/kes_metadata.h"

namespace ws_test {

// dir with its metadata directory; returns dir.
inline std::string make_ws(const std::string &dir) {
  support::make_dirs(dir + "/Brindle_wsdata");
  return dir;
}
inline std::string md_file(const std::string &ws, const std::string &name) {
  return ws + "/Brindle_wsdata/" + name;
}
inline std::string net(const std::string &path) { return std::string(kes_hostname()) + ":" + path; }

// In a forked child: writes one byte to fd, and closes it, when the child first
// finds a file lock held, so that a parent holding the lock knows when every
// child waits for it.
inline int waiting_fd = -1;
inline void say_when_waiting(int fd) {
  waiting_fd = fd;
  kes_file_lock_set_observer([](const char *, time_t, time_t, int) {
    if (waiting_fd >= 0 && write(waiting_fd, "w", 1) == 1) close(waiting_fd);
    waiting_fd = -1;
  });
}

}  // namespace ws_test

#endif
