// What the workspace tests add to the support library: a bare workspace, the
// path of one of its metadata files, and this host's network name of a path.
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

}  // namespace ws_test

#endif
