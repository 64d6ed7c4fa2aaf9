// Runs a fuzz target over kept inputs without libFuzzer: each argument is a
// file, or a directory whose files (and subdirectories) are taken in name
// order.  A wrong answer aborts, as it does under the fuzzer.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz_support.h"

namespace {
namespace fs = std::filesystem;
int replayed = 0;

void replay(const fs::path &p) {
  std::error_code ec;
  if (fs::is_directory(p, ec)) {
    std::vector<fs::path> names;
    for (const fs::directory_entry &e : fs::directory_iterator(p, ec))
      if (e.path().filename().string()[0] != '.') names.push_back(e.path());
    std::sort(names.begin(), names.end());
    for (const fs::path &n : names) replay(n);
    return;
  }
  std::ifstream f(p, std::ios::binary);
  if (!f) {
    fprintf(stderr, "replay: %s: no such input\n", p.c_str());
    exit(2);
  }
  std::string bytes{std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>()};
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
