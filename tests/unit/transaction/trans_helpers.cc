#include "trans_helpers.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "private_cwd.h"  // every test process works in a directory of its own

Child_result run_in_child(const std::function<int()> &fn) {
  std::string dir = make_temp_dir();
  std::string out_path = dir + "/out", err_path = dir + "/err";
  fflush(stdout);
  fflush(stderr);
  Child_result r;
  pid_t pid = fork();
  if (pid == 0) {
    if (!freopen(out_path.c_str(), "w", stdout) || !freopen(err_path.c_str(), "w", stderr))
      _exit(99);
    int status = fn();
    fflush(stdout);
    fflush(stderr);
    exit(status);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  if (WIFEXITED(status)) r.exit_status = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) r.signal = WTERMSIG(status);
  r.out = read_file(out_path);
  r.err = read_file(err_path);
  remove_tree(dir);
  return r;
}

std::string make_temp_dir() {
  char tmpl[] = "/tmp/brindle-trans-test.XXXXXX";
  const char *d = mkdtemp(tmpl);
  return d ? std::string(d) : std::string();
}

void remove_tree(const std::string &path) {
  if (path.empty() || path == "/") return;
  sh("chmod -R u+rwx '" + path + "' 2>/dev/null; rm -rf '" + path + "'");
}

std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

void write_file(const std::string &path, const std::string &text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
}

bool path_exists(const std::string &path) {
  struct stat st;
  return lstat(path.c_str(), &st) == 0;
}

int sh(const std::string &cmd) {
  int status = system(cmd.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
