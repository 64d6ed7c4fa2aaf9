// Reading history files at scale: the root generation of every corpus history
// in roots-only mode and in the fast name-history mode (what whole-workspace
// scans do), and the largest history read and written in full.  Prints times
// and the peak resident size.
//
//   sccs_corpus_bench [corpus-dir] [rounds]
#include <dirent.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "bench_common.h"
#include "support/support.h"
#include "sccs/kes_name_history.h"
#include "sccs/kes_smid.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"
#include "util/kes_list.h"

namespace {

struct File {
  std::string path;
  off_t size;
};

double seconds(const std::function<int()> &fn, int *failures) {
  auto start = std::chrono::steady_clock::now();
  *failures = fn();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void report(const char *what, double secs, int rounds, size_t per_round, int failures) {
  printf("%-44s %8.3f s  %8.2f us/file  failures %d  peak RSS %ld kB\n", what, secs,
         secs * 1e6 / (rounds * (double)per_round), failures, bench::peak_rss_kb());
}

// Roots only, and the SmID of each root.
int roots_only(const std::vector<File> &files) {
  int bad = 0;
  for (const File &f : files) {
    SCCS_sfile s(f.path.c_str());
    if (Kes_err *err = s.buildtree(0, 0, 1)) {
      err->print();
      delete err;
      bad++;
      continue;
    }
    delete kes_smid_from_delta(s.root_delta());
  }
  return bad;
}

// The fast read of roots and names, and the SmIDs of the roots.
int fast_names(const std::vector<File> &files) {
  int bad = 0;
  for (const File &f : files) {
    SCCS_sfile s(f.path.c_str());
    Kes_name_tree *tree = nullptr;
    SCCS_deltalist *deltas = nullptr;
    int conflicted = 0;
    if (Kes_err *err = s.build_nametree_deltalist(nullptr, "name", &tree, &deltas, &conflicted)) {
      err->print();
      delete err;
      bad++;
      continue;
    }
    for (Kes_listelem *e = deltas->head.next; e != &deltas->head; e = e->next)
      delete kes_smid_from_delta(static_cast<Kes_delta *>(e->data));
    delete tree;
    delete deltas;
  }
  return bad;
}

int full_read(const std::string &path) {
  SCCS_sfile s(path.c_str());
  Kes_err *err = s.buildtree(0, 0, 0);
  if (!err) return 0;
  err->print();
  delete err;
  return 1;
}

// Full read, a name recorded in the data delta, and the file written back.
int full_read_write(const std::string &path, const char *name) {
  SCCS_sfile s(path.c_str());
  Kes_err *err = s.build_name_tree(name, 0);
  if (!err) {
    Kes_name_history nh(&s, 0);
    err = nh.write_from_tree(static_cast<Kes_name_tree *>(s.name_tree));
  }
  if (!err) return 0;
  err->print();
  delete err;
  return 1;
}

bool copy(const std::string &from, const std::string &to) {
  FILE *in = fopen(from.c_str(), "rb"), *out = fopen(to.c_str(), "wb");
  bool ok = in && out;
  char buf[65536];
  size_t n;
  while (ok && (n = fread(buf, 1, sizeof buf, in)) > 0) ok = fwrite(buf, 1, n, out) == n;
  if (in) fclose(in);
  if (out && fclose(out) != 0) ok = false;
  return ok;
}

}  // namespace

int main(int argc, char **argv) {
  std::string dir = argc > 1 ? argv[1] : bench::corpus_dir();
  int rounds = argc > 2 ? atoi(argv[2]) : 5;
  if (rounds < 1) rounds = 1;
  std::vector<File> files;
  for (const std::string &path : bench::histories_below(dir)) {
    struct stat st;
    if (stat(path.c_str(), &st) == 0) files.push_back({path, st.st_size});
  }
  if (files.empty()) {
    fprintf(stderr, "no history files under %s\n", dir.c_str());
    return 1;
  }
  const File *largest = &files[0];
  off_t total = 0;
  for (const File &f : files) {
    total += f.size;
    if (f.size > largest->size) largest = &f;
  }
  printf("%zu history files, %ld bytes, %d rounds; largest %s (%ld bytes)\n", files.size(),
         (long)total, rounds, largest->path.c_str(), (long)largest->size);
  printf("peak RSS at start %ld kB\n", bench::peak_rss_kb());

  int bad = 0, failures;
  double t = seconds([&] {
    int b = 0;
    for (int r = 0; r < rounds; r++) b += roots_only(files);
    return b;
  }, &failures);
  report("roots-only read + root SmID, all files", t, rounds, files.size(), failures);
  bad += failures;

  t = seconds([&] {
    int b = 0;
    for (int r = 0; r < rounds; r++) b += fast_names(files);
    return b;
  }, &failures);
  report("fast name-history read + SmIDs, all files", t, rounds, files.size(), failures);
  bad += failures;

  int big_rounds = rounds * 20;
  t = seconds([&] {
    int b = 0;
    for (int r = 0; r < big_rounds; r++) b += full_read(largest->path);
    return b;
  }, &failures);
  report("full read, largest file", t, big_rounds, 1, failures);
  bad += failures;

  support::Temp_dir scratch("brindle-bench");
  std::string work = scratch.file("s.largest");
  // Each round starts from the original, so every write adds the data delta.
  double copy_secs = 0;
  t = seconds([&] {
    int b = 0;
    for (int r = 0; r < big_rounds; r++) {
      auto c0 = std::chrono::steady_clock::now();
      unlink(work.c_str());
      if (!copy(largest->path, work)) return b + 1;
      copy_secs += std::chrono::duration<double>(std::chrono::steady_clock::now() - c0).count();
      b += full_read_write(work, r % 2 ? "odd/name.c" : "even/name.c");
    }
    return b;
  }, &failures);
  report("full read + data delta + write, largest", t - copy_secs, big_rounds, 1, failures);
  bad += failures;
  unlink(work.c_str());
  return bad ? 1 : 0;
}
