// The test support library: temporary trees, files, running programs and
// children, error objects.  Shared by unit tests, GUI tests and benchmarks; the
// CSSC side is in support/cssc.h.
#ifndef BRINDLE_TESTS_SUPPORT_SUPPORT_H
#define BRINDLE_TESTS_SUPPORT_SUPPORT_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

class Kes_err;
class Kes_strlist;

namespace support {

// A fresh directory under $TMPDIR (or /tmp), named by its physical path and
// removed with everything in it, modes taken away by the test included.
class Temp_dir {
public:
  explicit Temp_dir(const char *tag = "brindle");
  ~Temp_dir();
  Temp_dir(const Temp_dir &) = delete;
  Temp_dir &operator=(const Temp_dir &) = delete;
  const std::string &path() const { return path_; }
  std::string file(const std::string &rel) const { return path_ + "/" + rel; }
  void keep() { path_.clear(); }  // left in place (a forked child's copy)

private:
  std::string path_;
};
void remove_tree(const std::string &path);

// Files.  read_file gives "<missing PATH>" for a file that isn't there, so that
// no expected text matches it by chance.  write_file makes a read-only file
// writable first; a mode, when given, is set whatever the umask.
std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &text, int mode = -1);
void copy_file(const std::string &from, const std::string &to);  // keeps the mode
bool file_exists(const std::string &path);                       // lstat: links count
void make_dirs(const std::string &path);
mode_t mode_of(const std::string &path);  // permission bits, 0 when absent
std::vector<std::string> lines_of(const std::string &text);
std::string dir_of(const std::string &path);   // "." for a bare name
std::string base_of(const std::string &path);
std::string shq(const std::string &word);  // quoted for the shell

// Programs.  status is the exit status, 128 + the signal when one ended it.
struct Run_result {
  int status = -1;
  std::string out, err;
};
Run_result run(const std::vector<std::string> &argv, const std::string &cwd = "");
Run_result sh(const std::string &command, const std::string &cwd = "");

// fn in a forked child whose standard output and error are kept; the child
// exits with fn's result.  For process-wide state: user, limits, signals,
// mounts, the working directory.
struct Child {
  int status = -1;  // exit status, 128 + signal
  int signal = 0;
  std::string out, err;
};
Child in_child(const std::function<int()> &fn);
// The same for a child that reports in text: out ends with what fn returned,
// and the child exits with 0.
Child in_child(const std::function<std::string()> &fn);
// What the standard output or error of this process received while fn ran.
std::string capture_stdout(const std::function<void()> &fn);
std::string capture_stderr(const std::function<void()> &fn);

// Waits until ready() holds, looking again whenever something changes in dir
// (inotify): a handshake through the file system.  False after `seconds`
// without it, so that a fault fails the test instead of hanging it.
bool wait_for_change(const std::string &dir, const std::function<bool()> &ready,
                     int seconds = 120);

// An error's code, errno and text; the error is deleted.  All zero and empty
// for no error, so EXPECT_EQ(take(e).text, "") shows any error it finds.
struct Err {
  int code = 0, system_errno = 0;
  std::string text;
};
Err take(Kes_err *e);
// Checks an error by its code and the words that matter, and deletes it.
void expect_error(Kes_err *e, int code, const std::string &words);

// The command name that messages begin with, as start-up sets it from argv[0].
void set_cmdname(const char *name);

// String lists as vectors, and back (the list and its strings are new).
std::vector<std::string> strings(const Kes_strlist *l);
Kes_strlist *strlist(const std::vector<std::string> &v);

}  // namespace support

#endif
