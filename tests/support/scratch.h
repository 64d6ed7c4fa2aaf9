// A test case in a fresh directory of its own, which is also its working
// directory while it runs: relative names in the test mean that directory.
#ifndef BRINDLE_TESTS_SUPPORT_SCRATCH_H
#define BRINDLE_TESTS_SUPPORT_SCRATCH_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "support/support.h"

namespace support {

class Scratch : public testing::Test {
protected:
  void SetUp() override {
    char here[PATH_MAX];
    ASSERT_NE(getcwd(here, sizeof here), nullptr);
    back = here;
    ASSERT_EQ(chdir(dir.c_str()), 0);
  }
  void TearDown() override { ASSERT_EQ(chdir(back.c_str()), 0); }
  std::string at(const std::string &rel) const { return tmp.file(rel); }

  Temp_dir tmp;
  const std::string dir = tmp.path();
  std::string back;
};

}  // namespace support

#endif
