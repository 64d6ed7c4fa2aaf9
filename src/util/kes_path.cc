// Plain path functions: absolute paths, dots, joining and splitting names, the
// names of history files, home directories, changing directory.
#include "util/kes_path.h"
#include "util/kes_path_join.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"

namespace {
const int kPathBuf = 1024;  // every path buffer of the system
const int kMaxLinks = 20;   // links followed by one walk

// Copies s into buf (kPathBuf bytes); false, with buf untouched, when it won't fit.
bool copy_out(const std::string &s, char *buf) {
  if (s.size() >= static_cast<size_t>(kPathBuf)) return false;
  memcpy(buf, s.c_str(), s.size() + 1);
  return true;
}

// The working directory; false when it can't be had.  Lack of memory ends the
// process like every other allocation failure.
bool current_dir(std::string *out) {
  char *cwd = getcwd(nullptr, 0);
  if (!cwd) {
    if (errno == ENOMEM) kes_new_handler();
    return false;
  }
  *out = cwd;
  free(cwd);
  return true;
}


// The walk behind kes_abspath (follow set: lstat, links followed) and
// kes_labspath (stat, links taken as the names they are).
char *walk(const char *path, char *buf, int size, bool follow) {
  if (!path || !buf || size <= 0) return nullptr;
  const size_t limit = static_cast<size_t>(size < kPathBuf ? size : kPathBuf);
  std::string rest;
  if (path[0] == '/') {
    rest = path;
  } else {
    if (!current_dir(&rest)) return nullptr;
    rest += '/';
    rest += path;
  }
  std::string built;  // empty stands for "/"
  int links = 0;
  size_t pos = 0;
  for (;;) {
    while (pos < rest.size() && rest[pos] == '/') pos++;
    if (pos >= rest.size()) break;
    size_t end = rest.find('/', pos);
    if (end == std::string::npos) end = rest.size();
    std::string comp = rest.substr(pos, end - pos);
    if (comp == ".") {
      pos = end;
      continue;
    }
    if (comp == "..") {
      size_t slash = built.rfind('/');
      built.erase(slash == std::string::npos ? 0 : slash);
      pos = end;
      continue;
    }
    std::string cand = built + "/" + comp;
    if (cand.size() >= limit) return nullptr;
    struct stat st;
    int rc = follow ? lstat(cand.c_str(), &st) : stat(cand.c_str(), &st);
    if (rc == 0 && S_ISDIR(st.st_mode)) {
      built = cand;
      pos = end;
      continue;
    }
    if (rc == 0 && follow && S_ISLNK(st.st_mode)) {
      if (links >= kMaxLinks) {  // a cycle or a very long chain: keep the name
        built = cand;
        pos = end;
        continue;
      }
      char target[kPathBuf];
      ssize_t n = readlink(cand.c_str(), target, sizeof target);
      if (n >= static_cast<ssize_t>(sizeof target)) return nullptr;
      if (n > 0) {
        links++;
        target[n] = '\0';
        size_t after = end;
        while (after < rest.size() && rest[after] == '/') after++;
        std::string next = std::string(target);
        if (after < rest.size()) next += "/" + rest.substr(after);
        if (next.size() >= static_cast<size_t>(kPathBuf)) return nullptr;
        if (target[0] == '/') built.clear();
        rest = next;
        pos = 0;
        continue;
      }
      // An unreadable link counts as a name that can't be looked at.
    }
    // Missing, unreadable, or no directory: the rest goes on as it stands.
    std::string whole = built + "/" + rest.substr(pos);
    if (whole.size() >= limit) return nullptr;
    built = whole;
    break;
  }
  while (built.size() > 1 && built.back() == '/') built.pop_back();
  if (built.empty()) built = "/";
  if (built.size() >= limit) return nullptr;
  memcpy(buf, built.c_str(), built.size() + 1);
  return buf;
}

// Home directory of a user by the password file; null when unknown.
const char *password_home(const char *user) {
  struct passwd *pw = user ? getpwnam(user) : getpwuid(getuid());
  return pw && pw->pw_dir ? pw->pw_dir : nullptr;
}

// Shared by both qualify functions; use_home takes $HOME for a bare "~".
char *qualify(const char *name, char *buf, bool use_home) {
  std::string result;
  bool ok = true;
  if (name[0] == '~') {
    const char *slash = strchr(name, '/');
    std::string user = slash ? std::string(name + 1, slash - name - 1) : std::string(name + 1);
    const char *home = nullptr;
    if (user.empty()) {
      if (use_home) home = getenv("HOME");
      if (!home || !*home) home = password_home(nullptr);
    } else {
      home = password_home(user.c_str());
    }
    ok = home != nullptr;
    if (ok) result = kes_path_join(home, slash ? slash : "");
  } else if (name[0] != '/') {
    const char *tail = name;
    while (tail[0] == '.' && tail[1] == '/') {
      tail += 2;
      while (*tail == '/') tail++;
    }
    if (strcmp(tail, ".") == 0) tail = "";
    ok = current_dir(&result);
    if (ok) result = kes_path_join(result, tail);
  } else {
    result = name;
  }
  // A name that can't be expanded, or whose expansion won't fit, stays as given.
  if (!ok || !copy_out(result, buf)) copy_out(std::string(name, strnlen(name, kPathBuf - 1)), buf);
  return buf;
}

// 0 unknown, 1 fchdir works, 2 it doesn't.
int fchdir_state = 0;
}  // namespace

char *kes_abspath(const char *path, char *buf, int size) { return walk(path, buf, size, true); }

char *kes_labspath(const char *path, char *buf, int size) { return walk(path, buf, size, false); }

namespace {
// Whether a relative name has nothing to remove: no empty, "." or ".."
// component and no slash at the end.  Every name a file list gives is one.
bool has_nothing_to_remove(const char *p) {
  if (!*p || *p == '/') return false;
  for (const char *c = p;;) {
    if (*c == '/' || *c == '\0') return false;
    if (c[0] == '.' && (c[1] == '/' || c[1] == '\0' || (c[1] == '.' && (c[2] == '/' || c[2] == '\0'))))
      return false;
    const char *slash = strchr(c, '/');
    if (!slash) return true;
    c = slash + 1;
  }
}
}  // namespace

Kes_err *kes_path_remove_dots(const char *path, char *buf) {
  if (has_nothing_to_remove(path)) {
    snprintf(buf, kPathBuf, "%s", path);
    return nullptr;
  }
  std::string copy(path);
  bool absolute = path[0] == '/';
  std::string result;
  char *save = nullptr;
  for (char *tok = strtok_r(&copy[0], "/", &save); tok; tok = strtok_r(nullptr, "/", &save)) {
    if (strcmp(tok, ".") == 0) continue;
    if (strcmp(tok, "..") == 0) {
      if (result.empty()) {
        buf[0] = '\0';
        return (new Kes_err)->format_msg(
            2006, 0,
            UTIL_MSG(200, "Filename \"%s\" has too many \"..\" path components in it"), path);
      }
      size_t slash = result.rfind('/');
      result.erase(slash == std::string::npos ? 0 : slash);
      continue;
    }
    if (!result.empty()) result += '/';
    result += tok;
  }
  if (absolute) result.insert(0, "/");
  if (result.empty()) result = ".";
  // Removing dots never lengthens a name, so a name held to the buffer size fits.
  snprintf(buf, kPathBuf, "%s", result.c_str());
  return nullptr;
}

char *kes_path_cat(char *dir, const char *tail) {
  std::string joined = kes_path_join(dir, tail);
  snprintf(dir, kPathBuf, "%s", joined.c_str());
  return dir;
}

void kes_parse_filename(const char *path, char *dir, char *base) {
  std::string p(path);
  size_t slash = p.rfind('/');
  std::string d, b;
  if (slash == std::string::npos) {
    d = ".";
    b = p;
  } else {
    d = slash == 0 ? "/" : p.substr(0, slash);
    b = p.substr(slash + 1);
  }
  if (dir) snprintf(dir, kPathBuf, "%s", d.c_str());
  if (base) snprintf(base, kPathBuf, "%s", b.c_str());
}

char *kes_make_sccs_name(const char *name, char *buf, char prefix, int use_root,
                         const char *vcs_dir, const char *root) {
  char dir[kPathBuf], base[kPathBuf];
  kes_parse_filename(name, dir, base);
  std::string result;
  if (use_root && root && *root) result = root;
  if (strcmp(dir, ".") != 0) result = kes_path_join(result, dir);
  if (vcs_dir && *vcs_dir) result = kes_path_join(result, vcs_dir);
  result = kes_path_join(result, std::string(1, prefix) + "." + base);
  snprintf(buf, kPathBuf, "%s", result.c_str());
  return buf;
}

char *kes_make_gname(const char *sname, char *buf, const char *vcs_dir) {
  char dir[kPathBuf], base[kPathBuf], upper[kPathBuf], last[kPathBuf];
  kes_parse_filename(sname, dir, base);
  kes_parse_filename(dir, upper, last);
  const char *gbase = strlen(base) >= 2 ? base + 2 : "";
  // Under the history directory the clear file sits one level up; otherwise
  // beside its history file.
  const char *keep = dir;
  if (vcs_dir && *vcs_dir && strncmp(last, vcs_dir, strlen(vcs_dir)) == 0) keep = upper;
  std::string result = strcmp(keep, ".") == 0 ? std::string(gbase) : kes_path_join(keep, gbase);
  snprintf(buf, kPathBuf, "%s", result.c_str());
  return buf;
}

char *kes_fully_qualify(const char *name, char *buf) { return qualify(name, buf, false); }

char *kes_fully_qualify_using_home(const char *name, char *buf) { return qualify(name, buf, true); }

int kes_fchdir_supported() {
  if (fchdir_state == 0) {
    int fd = open(".", O_RDONLY);
    fchdir_state = fd >= 0 && fchdir(fd) == 0 ? 1 : 2;
    if (fd >= 0) close(fd);
  }
  return fchdir_state == 1;
}

Kes_err *kes_chdir(const char *path, int fd) {
  if (fd != -1 && kes_fchdir_supported()) {
    if (fchdir(fd) != 0)
      return (new Kes_err)->format_msg(1031, errno, UTIL_MSG(201, "Fchdir to \"%s\" failed"), path);
    return nullptr;
  }
  if (chdir(path) != 0)
    return (new Kes_err)->format_msg(1023, errno, UTIL_MSG(202, "Chdir to \"%s\" failed"), path);
  return nullptr;
}

int kes_is_readable_dir(const char *path) {
  struct stat st;
  return stat(path, &st) == 0 && S_ISDIR(st.st_mode) && access(path, R_OK | X_OK) == 0;
}

int kes_empty_line(const char *line) {
  if (!line) return 1;
  for (; *line; line++)
    if (!isspace(static_cast<unsigned char>(*line))) return 0;
  return 1;
}

std::string kes_path_join(const std::string &a, const std::string &b) {
  if (a.empty()) return b;
  if (b.empty()) return a;
  size_t start = 0;
  if (a.back() == '/') {
    while (start < b.size() && b[start] == '/') start++;
    return a + b.substr(start);
  }
  return b[0] == '/' ? a + b : a + "/" + b;
}
