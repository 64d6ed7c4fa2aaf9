// Costs of path work: absolute paths of every history file of the corpus, the
// same through a symbolic link, and the netpath mapping, which reads the mount
// table at each call.
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench_common.h"
#include "support/support.h"
#include "util/kes_path.h"

namespace {
using Clock = std::chrono::steady_clock;

double micros_per(Clock::time_point t0, size_t n) {
  return std::chrono::duration<double, std::micro>(Clock::now() - t0).count() / (n ? n : 1);
}

}  // namespace

int main() {
  std::string corpus = bench::corpus_dir();
  std::vector<std::string> files = bench::files_below(corpus);
  if (files.empty()) {
    fprintf(stderr, "no files under %s\n", corpus.c_str());
    return 1;
  }
  support::Temp_dir scratch("path_bench");
  std::string link = scratch.file("corpus");
  if (symlink(corpus.c_str(), link.c_str()) != 0) return 1;

  char buf[1024];
  size_t ok = 0;
  auto t0 = Clock::now();
  for (const std::string &f : files) ok += kes_abspath((corpus + "/" + f).c_str(), buf, 1024) != nullptr;
  printf("kes_abspath, %zu history files: %.2f us each (%zu resolved)\n", files.size(),
         micros_per(t0, files.size()), ok);

  ok = 0;
  t0 = Clock::now();
  for (const std::string &f : files) ok += kes_abspath((link + "/" + f).c_str(), buf, 1024) != nullptr;
  printf("kes_abspath through a link: %.2f us each (%zu resolved)\n",
         micros_per(t0, files.size()), ok);

  const size_t rounds = 500;
  ok = 0;
  t0 = Clock::now();
  for (size_t i = 0; i < rounds; i++)
    ok += kes_path_to_netpath((link + "/" + files[i % files.size()]).c_str(), buf) != nullptr;
  printf("kes_path_to_netpath: %.2f us each (%zu mapped)\n", micros_per(t0, rounds), ok);

  char net[1024];
  if (!kes_path_to_netpath(corpus.c_str(), net)) return 1;
  ok = 0;
  t0 = Clock::now();
  for (size_t i = 0; i < rounds; i++) ok += kes_netpath_to_path(net, buf) != nullptr;
  printf("kes_netpath_to_path of %s: %.2f us each (%zu mapped)\n", net, micros_per(t0, rounds), ok);

  return 0;
}
