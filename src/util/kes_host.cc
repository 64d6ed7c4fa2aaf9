// The user, the host and the time zone, and a formatter for strings.
#include "util/kes_host.h"

#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"

namespace {
// Longest user name that goes into metadata files.
const size_t kShortUserMax = 32;

struct User {
  bool looked_up = false;
  uid_t uid = 0;
  bool known = false;
  std::string name;
  std::string short_name;
  std::string home;
};

// Kept per uid, so that a process that changes its user sees the new one.
const User &current_user() {
  static User user;
  uid_t uid = getuid();
  if (!user.looked_up || user.uid != uid) {
    user = User();
    user.looked_up = true;
    user.uid = uid;
    struct passwd *pw = getpwuid(uid);
    if (pw && pw->pw_name) {
      user.known = true;
      user.name = pw->pw_name;
      user.short_name = user.name.substr(0, kShortUserMax);
      user.home = pw->pw_dir ? pw->pw_dir : "";
    }
  }
  return user;
}
}  // namespace

const char *kes_hostname() {
  static bool done = false;
  static char name[sizeof(((struct utsname *)nullptr)->nodename)];
  if (!done) {
    struct utsname u;
    if (uname(&u) < 0) return nullptr;
    snprintf(name, sizeof name, "%s", u.nodename);
    done = true;
  }
  return name;
}

const char *kes_get_user(int unknown_ok, int whole) {
  const User &user = current_user();
  if (!user.known) return unknown_ok ? "Unknown" : nullptr;
  return whole ? user.name.c_str() : user.short_name.c_str();
}

Kes_err *kes_get_user(char *name, char *home) {
  const User &user = current_user();
  if (!user.known)
    return (new Kes_err)->format_msg(2007, 0, UTIL_MSG(380, "Could not get username for uid %d"),
                                     static_cast<int>(user.uid));
  if (name) snprintf(name, 1024, "%s", user.name.c_str());
  if (home) snprintf(home, 1024, "%s", user.home.c_str());
  return nullptr;
}

const char *kes_get_timezone() {
  tzset();
  return daylight ? tzname[1] : tzname[0];
}

char *sprintf_with_malloc(const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  size_t size = strlen(fmt) + 1;
  for (const char *arg = va_arg(ap, const char *); arg; arg = va_arg(ap, const char *))
    size += strlen(arg);
  va_end(ap);
  char *buf = static_cast<char *>(malloc(size));
  if (!buf) {
    fputs(UTIL_MSG(381, "System error: Memory allocation fails\n"), stderr);
    exit(1);
  }
  va_start(ap, fmt);
  vsnprintf(buf, size, fmt, ap);
  va_end(ap);
  return buf;
}

namespace {
char *vformat_alloc(const char *fmt, va_list ap) {
  char *out = nullptr;
  if (vasprintf(&out, fmt, ap) < 0) kes_new_handler();
  return out;
}
}  // namespace

char *kes_format_alloc(const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  char *out = vformat_alloc(fmt, ap);
  va_end(ap);
  return out;
}

std::string kes_format(const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  char *out = vformat_alloc(fmt, ap);
  va_end(ap);
  std::string s = out;
  free(out);
  return s;
}
