#include "workspace/ws_helpers.h"

#include <ftw.h>
#include <sys/wait.h>

#include "private_cwd.h"  // every test process works in a directory of its own
#include "util/kes_host.h"
#include "util/kes_init.h"

namespace ws_test {

namespace {
int remove_one(const char *path, const struct stat *, int, struct FTW *) {
  ::remove(path);
  return 0;
}

// The process runs with umask 0 and modes are explicit, as in the programs.
struct Umask0 {
  Umask0() {
    umask_save();
    umask(0);
  }
} umask0;
}  // namespace

TempDir::TempDir() {
  const char *base = getenv("TMPDIR");
  std::string tmpl = std::string(base && *base ? base : "/tmp") + "/brindle-ws.XXXXXX";
  char *buf = strdup(tmpl.c_str());
  if (!mkdtemp(buf)) abort();
  char *real = realpath(buf, nullptr);
  path_ = real;
  free(real);
  free(buf);
  chmod(path_.c_str(), 0755);
}

TempDir::~TempDir() {
  // Make everything removable first: tests chmod things away.
  std::string cmd = "chmod -R u+rwx '" + path_ + "' 2>/dev/null";
  if (system(cmd.c_str()) != 0) {
  }
  nftw(path_.c_str(), remove_one, 16, FTW_DEPTH | FTW_PHYS);
}

std::string read_file(const std::string &path) {
  FILE *f = fopen(path.c_str(), "r");
  if (!f) return "<missing " + path + ">";
  std::string s;
  char buf[4096];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0) s.append(buf, n);
  fclose(f);
  return s;
}

void write_file(const std::string &path, const std::string &text) {
  FILE *f = fopen(path.c_str(), "w");
  ASSERT_NE(f, nullptr) << path << ": " << strerror(errno);
  fwrite(text.data(), 1, text.size(), f);
  fclose(f);
}

bool file_exists(const std::string &path) {
  struct stat st;
  return lstat(path.c_str(), &st) == 0;
}

void make_dirs(const std::string &path) {
  std::string cmd = "mkdir -p '" + path + "'";
  ASSERT_EQ(system(cmd.c_str()), 0) << cmd;
}

std::string make_ws(const std::string &dir) {
  make_dirs(dir + "/Brindle_wsdata");
  return dir;
}

std::string md_file(const std::string &ws, const std::string &name) {
  return ws + "/Brindle_wsdata/" + name;
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

std::string quote(const std::string &s) {
  std::string r = "'";
  for (char c : s) r += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return r + "'";
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

std::string capture_stdout(const std::function<void()> &fn) {
  fflush(stdout);
  testing::internal::CaptureStdout();
  fn();
  fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

std::string capture_stderr(const std::function<void()> &fn) {
  fflush(stderr);
  testing::internal::CaptureStderr();
  fn();
  fflush(stderr);
  return testing::internal::GetCapturedStderr();
}

int in_child(const std::function<int()> &fn) {
  fflush(stdout);
  fflush(stderr);
  pid_t pid = fork();
  if (pid == 0) _exit(fn());
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return WEXITSTATUS(status);
}

std::string sh(const std::string &cmd) {
  FILE *p = popen(cmd.c_str(), "r");
  if (!p) return "";
  std::string s;
  char buf[4096];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, p)) > 0) s.append(buf, n);
  pclose(p);
  return s;
}

std::string net(const std::string &path) { return std::string(kes_hostname()) + ":" + path; }

std::vector<std::string> strings(const Kes_strlist *l) {
  std::vector<std::string> v;
  for (Kes_listelem *e = l->head.next; e != &l->head; e = e->next)
    v.push_back(static_cast<char *>(e->data));
  return v;
}

Kes_strlist *strlist(const std::vector<std::string> &v) {
  Kes_strlist *l = new Kes_strlist;
  for (auto &s : v) l->add_new_data(strdup(s.c_str()));
  return l;
}

}  // namespace ws_test
