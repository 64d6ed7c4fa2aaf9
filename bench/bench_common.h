// What the benchmarks share: the history corpus beside the tree, the files
// below a directory, and the process's peak memory.
#ifndef BRINDLE_BENCH_BENCH_COMMON_H
#define BRINDLE_BENCH_BENCH_COMMON_H

#include <dirent.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <string>
#include <vector>

namespace bench {

inline std::string corpus_dir() { return std::string(BRINDLE_DATA_DIR) + "/corpus/bsd44"; }

// Every regular file below dir, named relative to it, in directory order;
// links are not followed.
inline void collect(const std::string &dir, const std::string &rel, std::vector<std::string> *out) {
  DIR *d = opendir(dir.c_str());
  if (!d) return;
  while (struct dirent *e = readdir(d)) {
    if (e->d_name[0] == '.') continue;
    std::string p = dir + "/" + e->d_name, r = rel.empty() ? e->d_name : rel + "/" + e->d_name;
    struct stat st;
    if (lstat(p.c_str(), &st) != 0) continue;
    if (S_ISDIR(st.st_mode))
      collect(p, r, out);
    else if (S_ISREG(st.st_mode))
      out->push_back(r);
  }
  closedir(d);
}

inline std::vector<std::string> files_below(const std::string &dir) {
  std::vector<std::string> out;
  collect(dir, "", &out);
  return out;
}

// The history files ("s." names) below dir, as full paths.
inline std::vector<std::string> histories_below(const std::string &dir) {
  std::vector<std::string> out;
  for (const std::string &f : files_below(dir)) {
    size_t slash = f.rfind('/');
    if (f.compare(slash == std::string::npos ? 0 : slash + 1, 2, "s.") == 0) out.push_back(dir + "/" + f);
  }
  return out;
}

inline long peak_rss_kb() {
  struct rusage ru;
  getrusage(RUSAGE_SELF, &ru);
  return ru.ru_maxrss;
}

}  // namespace bench

#endif
