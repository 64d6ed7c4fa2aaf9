// The test support library: temporary trees, files, programs, children, errors.
#include "support/support.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_list.h"

namespace support {

namespace {
std::string slurp_fd(int fd) {
  std::string text;
  char buf[8192];
  ssize_t n;
  while ((n = ::read(fd, buf, sizeof buf)) > 0 || (n < 0 && errno == EINTR))
    if (n > 0) text.append(buf, static_cast<size_t>(n));
  return text;
}

int decode(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : WIFSIGNALED(status) ? 128 + WTERMSIG(status) : -1;
}
}  // namespace

Temp_dir::Temp_dir(const char *tag) {
  const char *tmp = getenv("TMPDIR");
  std::string templ = std::string(tmp && *tmp ? tmp : "/tmp") + "/" + tag + ".XXXXXX";
  char real[PATH_MAX];
  if (!mkdtemp(&templ[0]) || !realpath(templ.c_str(), real)) {
    fprintf(stderr, "cannot make a temporary directory %s: %s\n", templ.c_str(), strerror(errno));
    abort();
  }
  path_ = real;
  chmod(path_.c_str(), 0755);  // tests that drop to another user still reach it
}

Temp_dir::~Temp_dir() {
  if (!path_.empty()) remove_tree(path_);
}

namespace {
// Opens every directory below dir to its owner again, so that it can be removed.
void open_up(const std::string &dir) {
  chmod(dir.c_str(), 0755);
  std::error_code ec;
  for (const auto &e : std::filesystem::directory_iterator(dir, ec))
    if (e.is_directory(ec) && !e.is_symlink(ec)) open_up(e.path());
}
}  // namespace

void remove_tree(const std::string &path) {
  if (path.size() < 6) return;  // never anything like "/" or "/tmp"
  open_up(path);  // tests take permissions away, SCCS leaves files read-only
  std::error_code ec;
  std::filesystem::remove_all(path, ec);
}

std::string read_file(const std::string &path) {
  int fd = open(path.c_str(), O_RDONLY);
  if (fd < 0) return "<missing " + path + ">";
  std::string text = slurp_fd(fd);
  close(fd);
  return text;
}

void write_file(const std::string &path, const std::string &text, int mode) {
  struct stat st;
  if (stat(path.c_str(), &st) == 0 && !(st.st_mode & S_IWUSR)) chmod(path.c_str(), st.st_mode | S_IWUSR);
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  ASSERT_GE(fd, 0) << "cannot write " << path << ": " << strerror(errno);
  EXPECT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size())) << path;
  if (mode >= 0) fchmod(fd, static_cast<mode_t>(mode));
  close(fd);
}

void copy_file(const std::string &from, const std::string &to) {
  struct stat st;
  unlink(to.c_str());
  write_file(to, read_file(from), stat(from.c_str(), &st) == 0 ? int(st.st_mode & 07777) : -1);
}

bool file_exists(const std::string &path) {
  struct stat st;
  return lstat(path.c_str(), &st) == 0;
}

void make_dirs(const std::string &path) {
  std::error_code ec;
  std::filesystem::create_directories(path, ec);
  ASSERT_FALSE(ec) << "mkdir -p " << path << ": " << ec.message();
}

mode_t mode_of(const std::string &path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

std::vector<std::string> lines_of(const std::string &text) {
  std::vector<std::string> v;
  for (size_t p = 0; p < text.size();) {
    size_t nl = text.find('\n', p);
    if (nl == std::string::npos) nl = text.size();
    v.push_back(text.substr(p, nl - p));
    p = nl + 1;
  }
  return v;
}

std::string dir_of(const std::string &path) {
  size_t s = path.rfind('/');
  return s == std::string::npos ? "." : path.substr(0, s);
}

std::string base_of(const std::string &path) {
  size_t s = path.rfind('/');
  return s == std::string::npos ? path : path.substr(s + 1);
}

std::string shq(const std::string &word) {
  std::string q = "'";
  for (char c : word) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

// posix_spawn rather than fork: forking a large sanitizer process is slow.
Run_result run(const std::vector<std::string> &argv, const std::string &cwd) {
  Run_result r;
  int out[2], err[2];
  if (pipe2(out, O_CLOEXEC) != 0) return r;
  if (pipe2(err, O_CLOEXEC) != 0) {
    close(out[0]);
    close(out[1]);
    return r;
  }
  posix_spawn_file_actions_t fa;
  posix_spawn_file_actions_init(&fa);
  if (!cwd.empty()) posix_spawn_file_actions_addchdir_np(&fa, cwd.c_str());
  posix_spawn_file_actions_addopen(&fa, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&fa, out[1], 1);
  posix_spawn_file_actions_adddup2(&fa, err[1], 2);
  std::vector<char *> args;
  for (const std::string &a : argv) args.push_back(const_cast<char *>(a.c_str()));
  args.push_back(nullptr);
  pid_t pid;
  int rc = posix_spawnp(&pid, args[0], &fa, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&fa);
  close(out[1]);
  close(err[1]);
  if (rc != 0) {
    close(out[0]);
    close(err[0]);
    r.err = argv[0] + ": " + strerror(rc);
    return r;
  }
  struct pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
  std::string *dest[2] = {&r.out, &r.err};
  char buf[8192];
  for (int open_fds = 2; open_fds > 0;) {
    if (poll(fds, 2, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    for (int i = 0; i < 2; i++) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      ssize_t n = read(fds[i].fd, buf, sizeof buf);
      if (n > 0) {
        dest[i]->append(buf, static_cast<size_t>(n));
      } else if (n == 0 || errno != EINTR) {
        close(fds[i].fd);
        fds[i].fd = -1;
        open_fds--;
      }
    }
  }
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  r.status = decode(status);
  return r;
}

Run_result sh(const std::string &command, const std::string &cwd) {
  return run({"/bin/sh", "-c", command}, cwd);
}

Child in_child(const std::function<int()> &fn) {
  FILE *out = tmpfile(), *err = tmpfile();
  fflush(nullptr);
  Child c;
  pid_t pid = fork();
  if (pid == 0) {
    dup2(fileno(out), 1);
    dup2(fileno(err), 2);
    int status = fn();
    fflush(nullptr);
    _exit(status);
  }
  int status = 0;
  while (pid > 0 && waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  c.status = decode(status);
  if (WIFSIGNALED(status)) c.signal = WTERMSIG(status);
  rewind(out);
  rewind(err);
  c.out = slurp_fd(fileno(out));
  c.err = slurp_fd(fileno(err));
  fclose(out);
  fclose(err);
  return c;
}

Child in_child(const std::function<std::string()> &fn) {
  return in_child([&] {
    std::string text = fn();
    fflush(stdout);
    return write(1, text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 2;
  });
}

namespace {
std::string capture(int fd, const std::function<void()> &fn) {
  fflush(nullptr);
  FILE *f = tmpfile();
  int saved = dup(fd);
  dup2(fileno(f), fd);
  fn();
  fflush(nullptr);
  dup2(saved, fd);
  close(saved);
  rewind(f);
  std::string text = slurp_fd(fileno(f));
  fclose(f);
  return text;
}
}  // namespace

std::string capture_stdout(const std::function<void()> &fn) { return capture(1, fn); }
std::string capture_stderr(const std::function<void()> &fn) { return capture(2, fn); }

bool wait_for_change(const std::string &dir, const std::function<bool()> &ready, int seconds) {
  int fd = inotify_init1(IN_CLOEXEC);
  if (fd < 0 || inotify_add_watch(fd, dir.c_str(), IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE |
                                                      IN_DELETE | IN_MOVED_TO | IN_ATTRIB) < 0) {
    ADD_FAILURE() << "cannot watch " << dir << ": " << strerror(errno);
    if (fd >= 0) close(fd);
    return false;
  }
  bool ok;
  char buf[4096];
  while (!(ok = ready())) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, seconds * 1000) <= 0) break;
    if (read(fd, buf, sizeof buf) < 0 && errno != EINTR) break;
  }
  close(fd);
  return ok || ready();
}

Err take(Kes_err *e) {
  Err r;
  if (!e) return r;
  r.code = e->code;
  r.system_errno = e->system_errno;
  r.text = e->text;
  delete e;
  return r;
}

void expect_error(Kes_err *e, int code, const std::string &words) {
  Err r = take(e);
  EXPECT_EQ(r.code, code) << r.text;
  EXPECT_NE(r.text.find(words), std::string::npos) << "\"" << words << "\" not in: " << r.text;
}

void set_cmdname(const char *name) {
  char *argv[] = {const_cast<char *>(name), nullptr};
  kes_set_full_cmdname(argv);
}

std::vector<std::string> strings(const Kes_strlist *l) {
  std::vector<std::string> v;
  for (Kes_listelem *e = l->head.next; e != &l->head; e = e->next)
    v.push_back(e->data ? static_cast<char *>(e->data) : "<null>");
  return v;
}

Kes_strlist *strlist(const std::vector<std::string> &v) {
  Kes_strlist *l = new Kes_strlist;
  for (const std::string &s : v) l->add_new_data(strdup(s.c_str()));
  return l;
}

}  // namespace support
