#include "private_cwd.h"  // every test process works in a directory of its own
#include "util/scratch_helpers.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "util/kes_init.h"

void set_cmdname(const char *name) {
  char *argv[] = {const_cast<char *>(name), nullptr};
  kes_set_full_cmdname(argv);
}

void Scratch::SetUp() {
  char tmpl[] = "/tmp/kes_util_test.XXXXXX";
  ASSERT_NE(mkdtemp(tmpl), nullptr);
  char real[PATH_MAX];
  ASSERT_NE(realpath(tmpl, real), nullptr);
  dir = real;
  char cwd[PATH_MAX];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  old_cwd = cwd;
}

void Scratch::TearDown() {
  ASSERT_EQ(chdir(old_cwd.c_str()), 0);
  // Tests take permissions away; give them back so that the removal succeeds.
  std::string cmd = "chmod -R u+rwX '" + dir + "' && rm -rf '" + dir + "'";
  ASSERT_EQ(system(cmd.c_str()), 0);
}

void Scratch::write_file(const std::string &rel, const std::string &data, mode_t mode) {
  int fd = open(at(rel).c_str(), O_WRONLY | O_CREAT | O_TRUNC, mode);
  ASSERT_GE(fd, 0) << rel;
  ASSERT_EQ(write(fd, data.data(), data.size()), static_cast<ssize_t>(data.size()));
  ASSERT_EQ(fchmod(fd, mode), 0);
  close(fd);
}

std::string Scratch::read_file(const std::string &rel) const {
  FILE *f = fopen(at(rel).c_str(), "rb");
  if (!f) return "(missing)";
  std::string out;
  char buf[65536];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0) out.append(buf, n);
  fclose(f);
  return out;
}

bool Scratch::exists(const std::string &rel) const {
  struct stat st;
  return lstat(at(rel).c_str(), &st) == 0;
}

void Scratch::mkdirs(const std::string &rel) {
  std::string cmd = "mkdir -p '" + at(rel) + "'";
  ASSERT_EQ(system(cmd.c_str()), 0);
}

Child run_in_child(const std::function<std::string()> &fn, bool stderr_too) {
  int fds[2];
  if (pipe(fds) != 0) return {-1, "pipe failed"};
  fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    close(fds[0]);
    if (stderr_too) dup2(fds[1], 2);
    std::string out = fn();
    fflush(stderr);
    if (write(fds[1], out.data(), out.size()) != static_cast<ssize_t>(out.size())) _exit(2);
    _exit(0);
  }
  close(fds[1]);
  Child c{-1, ""};
  char buf[4096];
  ssize_t n;
  while ((n = read(fds[0], buf, sizeof buf)) > 0) c.out.append(buf, static_cast<size_t>(n));
  close(fds[0]);
  int st = 0;
  if (pid > 0 && waitpid(pid, &st, 0) == pid && WIFEXITED(st)) c.status = WEXITSTATUS(st);
  return c;
}
