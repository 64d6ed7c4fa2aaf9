// Runs a fuzz target over kept inputs without libFuzzer: each argument is a
// file, or a directory whose files (and subdirectories) are taken in name
// order.  A wrong answer aborts, as it does under the fuzzer.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "fuzz_support.h"

namespace {
int replayed = 0;

void replay(const std::string &p) {
  struct stat st;
  if (stat(p.c_str(), &st) != 0) {
    fprintf(stderr, "replay: %s: no such input\n", p.c_str());
    exit(2);
  }
  if (S_ISDIR(st.st_mode)) {
    std::vector<std::string> names;
    if (DIR *d = opendir(p.c_str())) {
      while (dirent *e = readdir(d))
        if (e->d_name[0] != '.') names.push_back(e->d_name);
      closedir(d);
    }
    std::sort(names.begin(), names.end());
    for (const std::string &n : names) replay(p + "/" + n);
    return;
  }
  FILE *f = fopen(p.c_str(), "rb");
  if (!f) {
    perror(p.c_str());
    exit(2);
  }
  std::string bytes;
  char buf[65536];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0) bytes.append(buf, n);
  fclose(f);
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
  replayed++;
}
}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    fprintf(stderr, "usage: %s INPUT-OR-DIRECTORY...\n", argv[0]);
    return 2;
  }
  for (int i = 1; i < argc; i++) replay(argv[i]);
  // Standard output may be closed by the target: the count goes to standard error.
  fprintf(stderr, "replayed %d inputs\n", replayed);
  return replayed ? 0 : 1;
}
