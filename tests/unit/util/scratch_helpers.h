// Pieces shared by the foundation library's tests: a scratch directory, errors
// owned by the test, and running part of a test in a child process.
#ifndef BRINDLE_TESTS_UNIT_UTIL_SCRATCH_HELPERS_H
#define BRINDLE_TESTS_UNIT_UTIL_SCRATCH_HELPERS_H

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>
#include <string>

#include "util/kes_err.h"

void set_cmdname(const char *name);

// A fresh directory under /tmp, named by its physical path.  The working
// directory is restored and the tree removed afterwards.
class Scratch : public testing::Test {
protected:
  void SetUp() override;
  void TearDown() override;
  std::string at(const std::string &rel) const { return dir + "/" + rel; }
  void write_file(const std::string &rel, const std::string &data, mode_t mode = 0644);
  std::string read_file(const std::string &rel) const;  // "(missing)" when absent
  bool exists(const std::string &rel) const;            // the name itself, links too
  void mkdirs(const std::string &rel);                  // with every missing parent

  std::string dir, old_cwd;
};

// Owns an error so that a failing assertion does not leak it.
struct Err {
  explicit Err(Kes_err *e) : err(e) {}
  ~Err() { delete err; }
  Err(const Err &) = delete;
  Err &operator=(const Err &) = delete;
  int code() const { return err ? err->code : 0; }
  std::string text() const { return err ? err->text : "(no error)"; }
  Kes_err *err;
};

// Runs fn in a forked child, for stories that change process-wide state (user,
// limits, mounts, start-up).  out is what fn returned, preceded by the child's
// standard error when stderr_too; status is the exit status, or -1 when the child
// did not exit normally.  A child that cannot set its scene exits with 77.
struct Child {
  int status;
  std::string out;
};
Child run_in_child(const std::function<std::string()> &fn, bool stderr_too = false);

#endif
