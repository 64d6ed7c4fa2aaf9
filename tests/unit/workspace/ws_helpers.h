// Test helpers for workspaces and metadata files: scratch directories, file
// contents, captured output, and running a piece of code in a child process.
#ifndef BRINDLE_TESTS_UNIT_WORKSPACE_WS_HELPERS_H
#define BRINDLE_TESTS_UNIT_WORKSPACE_WS_HELPERS_H

// The headers nearly every workspace test needs come with this one.
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

#include "util/kes_err.h"
#include "util/kes_list.h"

namespace ws_test {

// A fresh directory under $TMPDIR (or /tmp), with symbolic links resolved,
// removed with its contents at the end.
class TempDir {
public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;
  const std::string &path() const { return path_; }
  std::string file(const std::string &name) const { return path_ + "/" + name; }

private:
  std::string path_;
};

std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &text);
bool file_exists(const std::string &path);  // lstat: links count
void make_dirs(const std::string &path);
// dir/Brindle_wsdata made; returns dir.
std::string make_ws(const std::string &dir);
// The path of a workspace's metadata file.
std::string md_file(const std::string &ws, const std::string &name);
// Permission bits of a path, 0 when it can't be looked at.
mode_t mode_of(const std::string &path);
// A text's lines without their newlines.
std::vector<std::string> lines_of(const std::string &text);
// A string quoted for the shell.
std::string quote(const std::string &s);

// The text of an error, its code and errno, and deletes it.  Empty text and
// code 0 for null.
struct Err {
  int code = 0;
  int system_errno = 0;
  std::string text;
};
Err take(Kes_err *e);

// Standard output written while fn runs.
std::string capture_stdout(const std::function<void()> &fn);
// Standard error written while fn runs.
std::string capture_stderr(const std::function<void()> &fn);

// Runs fn in a child process and returns its exit status (128 + signal when
// killed).  fn's return value is the exit status.
int in_child(const std::function<int()> &fn);

// Output of a shell command.
std::string sh(const std::string &cmd);

// This host's network name of a path, "host:/path".
std::string net(const std::string &path);

// A string list's members in order, and a new list made of strings.
std::vector<std::string> strings(const Kes_strlist *l);
Kes_strlist *strlist(const std::vector<std::string> &v);

}  // namespace ws_test

#endif
