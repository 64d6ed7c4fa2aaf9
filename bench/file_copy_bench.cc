// Costs of copying: the history file corpus copied into a fresh tree (directory
// creation with its cache, and many small files), one large file in mapped
// windows, and a directory that is asked for again.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench_common.h"
#include "support/support.h"
#include "util/kes_err.h"
#include "util/kes_file.h"

namespace {
using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point t0) {
  return std::chrono::duration<double>(Clock::now() - t0).count();
}

bool check(Kes_err *err) {
  if (!err) return true;
  err->print();
  delete err;
  return false;
}
}  // namespace

int main() {
  support::Temp_dir scratch("file_copy_bench");
  std::string top = scratch.path();

  std::string corpus = bench::corpus_dir();
  std::vector<std::string> files = bench::files_below(corpus);
  long bytes = 0;
  auto t0 = Clock::now();
  for (const std::string &f : files) {
    std::string to = top + "/corpus/" + f;
    if (!check(kes_create_file_dirs(to.c_str()))) return 1;
    if (!check(kes_copy_file(to.c_str(), (corpus + "/" + f).c_str()))) return 1;
    struct stat st;
    if (stat(to.c_str(), &st) == 0) bytes += st.st_size;
  }
  double s = seconds_since(t0);
  printf("corpus: %zu files, %.1f MB in %.3f s: %.1f us per file\n", files.size(), bytes / 1e6,
         s, files.empty() ? 0.0 : s * 1e6 / static_cast<double>(files.size()));

  // One large file of 64 MB.
  std::string big = top + "/big", copy = top + "/big.copy";
  int fd = open(big.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  std::string block(1 << 20, 'x');
  for (int i = 0; i < 64; i++)
    if (write(fd, block.data(), block.size()) != static_cast<ssize_t>(block.size())) return 1;
  close(fd);
  t0 = Clock::now();
  const int rounds = 5;
  for (int i = 0; i < rounds; i++)
    if (!check(kes_copy_file(copy.c_str(), big.c_str()))) return 1;
  s = seconds_since(t0);
  printf("large file: 64 MB x %d in %.3f s: %.0f MB/s\n", rounds, s, 64.0 * rounds / s);

  // A directory that is known already costs a hash lookup.
  std::string known = top + "/corpus/a/b/c";
  if (!check(kes_create_dirs(known.c_str()))) return 1;
  const long n = 1000000;
  t0 = Clock::now();
  for (long i = 0; i < n; i++) delete kes_create_dirs(known.c_str());
  printf("known directory: %.1f ns per call\n", seconds_since(t0) * 1e9 / n);

  return 0;
}
