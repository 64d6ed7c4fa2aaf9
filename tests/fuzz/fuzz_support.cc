// The scratch directory, input parts and checks of the fuzz targets.
#include "fuzz_support.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "util/kes_err.h"
#include "util/kes_init.h"

namespace fuzz {

namespace {
std::string scratch_dir;

void remove_scratch() {
  std::error_code ec;
  if (!scratch_dir.empty()) std::filesystem::remove_all(scratch_dir, ec);
}
}  // namespace

const std::string &scratch() {
  if (scratch_dir.empty()) {
    // As a program starts: the user's mask kept, the process at umask 0.
    umask_save();
    umask(0);
    const char *base = getenv("TMPDIR");
    std::string tmpl = std::string(base && *base ? base : "/tmp") + "/brindle-fuzz.XXXXXX";
    char real[PATH_MAX];
    if (!mkdtemp(&tmpl[0]) || !realpath(tmpl.c_str(), real)) {
      perror(tmpl.c_str());
      abort();
    }
    scratch_dir = real;
    atexit(remove_scratch);
    // Warnings go to standard output; the fuzzer's own report goes to standard
    // error, which stays.
    int null = ::open("/dev/null", O_WRONLY);
    if (null >= 0) {
      fflush(stdout);
      dup2(null, 1);
      ::close(null);
    }
  }
  return scratch_dir;
}

std::string path(const std::string &rel) {
  std::string full = scratch() + "/" + rel;
  std::error_code ec;
  std::filesystem::create_directories(full.substr(0, full.rfind('/')), ec);
  return full;
}

std::string put(const std::string &rel, const std::string &bytes) {
  std::string full = path(rel);
  ::unlink(full.c_str());
  FILE *f = fopen(full.c_str(), "wb");
  if (!f || fwrite(bytes.data(), 1, bytes.size(), f) != bytes.size() || fclose(f) != 0) {
    perror(full.c_str());
    abort();
  }
  return full;
}

Parts split(const uint8_t *data, size_t size, size_t n) {
  Parts parts;
  std::string all = text(data, size);
  size_t from = 0;
  const size_t sep = strlen(kPartSeparator);
  for (size_t i = 0; i < n; i++) {
    if (from > all.size()) {
      parts.text.emplace_back();
      parts.has.push_back(false);
      continue;
    }
    size_t at = i + 1 < n ? all.find(kPartSeparator, from) : std::string::npos;
    if (at == std::string::npos) {
      parts.text.push_back(all.substr(from));
      from = all.size() + 1;
    } else {
      // The part keeps the newline that begins the separator.
      parts.text.push_back(all.substr(from, at + 1 - from));
      from = at + sep;
    }
    parts.has.push_back(true);
  }
  return parts;
}

std::string put_part(const std::string &rel, const Parts &parts, size_t i) {
  if (parts.has[i]) return put(rel, parts.text[i]);
  std::string full = path(rel);
  ::unlink(full.c_str());
  return full;
}

void check(bool cond, const char *what) {
  if (cond) return;
  fprintf(stderr, "fuzz check failed: %s\n", what);
  abort();
}

void check_same(const std::vector<std::string> &before, const std::vector<std::string> &after,
                const char *what) {
  if (before == after) return;
  for (const std::string &s : before) fprintf(stderr, "- %s\n", s.c_str());
  for (const std::string &s : after) fprintf(stderr, "+ %s\n", s.c_str());
  check(false, what);
}

bool expect_codes(Kes_err *err, std::initializer_list<int> codes, const char *what) {
  if (!err) return false;
  int code = err->code;
  bool known = false;
  for (int c : codes) known = known || c == code;
  if (!known) {
    fprintf(stderr, "fuzz check failed: %s: unexpected error %d: %s\n", what, code,
            err->text ? err->text : "");
    abort();
  }
  delete err;
  return true;
}

}  // namespace fuzz
