// Costs of the containers: list elements and hash buckets from their pools (run
// once more with BRINDLE_NO_HEAP=1 to compare with the general allocator), and
// line reading of the history file corpus through the mapped reader.
#include <dirent.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench_common.h"
#include "util/kes_hash.h"
#include "util/kes_list.h"
#include "util/kes_mmap.h"

namespace {
using Clock = std::chrono::steady_clock;

double ns_per(Clock::time_point t0, long n) {
  return std::chrono::duration<double, std::nano>(Clock::now() - t0).count() / n;
}

}  // namespace

int main() {
  printf("pools: %s\n", getenv("BRINDLE_NO_HEAP") ? "off (BRINDLE_NO_HEAP)" : "on");

  const long n = 1000000;
  Kes_strlist l;
  auto t0 = Clock::now();
  for (int round = 0; round < 5; round++) {
    for (long i = 0; i < n; i++) l.add_new_data(nullptr);
    l.clear();
  }
  printf("list add + clear: %.1f ns per element\n", ns_per(t0, 5 * n));

  const int keys = 20000;  // the sum of characters crowds long names into few chains
  std::vector<std::string> names;
  for (int i = 0; i < keys; i++) names.push_back("usr/src/lib" + std::to_string(i * 7919 % 99991) + "/f" + std::to_string(i));
  t0 = Clock::now();
  Kes_str_int_hash h;
  for (int i = 0; i < keys; i++) h.insert(strdup(names[i].c_str()), i);
  printf("hash insert: %.1f ns per key (%d keys, table %d)\n", ns_per(t0, keys), h.count, h.size);
  t0 = Clock::now();
  long found = 0;
  for (int i = 0; i < keys; i++) found += h.lookup(names[i].c_str()) == i;
  printf("hash lookup: %.1f ns per key (%ld found)\n", ns_per(t0, keys), found);

  std::vector<std::string> files = bench::histories_below(bench::corpus_dir());
  char buf[4096];
  long lines = 0, bytes = 0;
  t0 = Clock::now();
  for (const std::string &f : files) {
    Kes_mmap m(f.c_str(), nullptr);
    if (Kes_err *err = m.open()) {
      err->print();
      delete err;
      continue;
    }
    Kes_err *err = nullptr;
    while (m.gets(buf, sizeof buf, &err)) {
      lines++;
      bytes += strlen(buf);
    }
    delete err;
  }
  double secs = std::chrono::duration<double>(Clock::now() - t0).count();
  printf("mapped gets: %zu files, %ld lines, %.1f MB/s\n", files.size(), lines,
         secs > 0 ? bytes / secs / 1e6 : 0.0);
  return 0;
}
