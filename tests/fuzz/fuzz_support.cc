// The scratch directory, input parts and checks of the fuzz targets.
#include "fuzz_support.h"

#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/kes_err.h"
#include "util/kes_init.h"

namespace fuzz {

namespace {
std::string scratch_dir;

int remove_one(const char *p, const struct stat *, int, struct FTW *) {
  ::remove(p);
  return 0;
}

void remove_tree(const std::string &p) {
  chmod(p.c_str(), 0755);
  nftw(p.c_str(), remove_one, 16, FTW_DEPTH | FTW_PHYS);
}

void remove_scratch() {
  if (!scratch_dir.empty()) remove_tree(scratch_dir);
}

void make_dirs(const std::string &p) {
  for (size_t slash = p.find('/', 1); slash != std::string::npos; slash = p.find('/', slash + 1))
    mkdir(p.substr(0, slash).c_str(), 0777);
  mkdir(p.c_str(), 0777);
}
}  // namespace

const std::string &scratch() {
  if (scratch_dir.empty()) {
    // As a program starts: the user's mask kept, the process at umask 0.
    umask_save();
    umask(0);
    const char *base = getenv("TMPDIR");
    std::string tmpl = std::string(base && *base ? base : "/tmp") + "/brindle-fuzz.XXXXXX";
    std::vector<char> buf(tmpl.begin(), tmpl.end());
    buf.push_back('\0');
    if (!mkdtemp(buf.data())) {
      perror("mkdtemp");
      abort();
    }
    char *real = realpath(buf.data(), nullptr);
    scratch_dir = real;
    free(real);
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
  make_dirs(full.substr(0, full.rfind('/')));
  return full;
}

std::string put(const std::string &rel, const std::string &bytes) {
  std::string full = path(rel);
  ::unlink(full.c_str());
  int fd = ::open(full.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (fd < 0) {
    perror(full.c_str());
    abort();
  }
  for (size_t done = 0; done < bytes.size();) {
    ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n <= 0) {
      perror(full.c_str());
      abort();
    }
    done += (size_t)n;
  }
  ::close(fd);
  return full;
}

void remove(const std::string &rel) { remove_tree(scratch() + "/" + rel); }

Parts split(const uint8_t *data, size_t size, size_t n) {
  Parts parts;
  std::string all(reinterpret_cast<const char *>(data), size);
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

void check(bool cond, const char *what) {
  if (cond) return;
  fprintf(stderr, "fuzz check failed: %s\n", what);
  abort();
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
