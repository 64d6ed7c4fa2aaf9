// Reads every history file of the corpus in full and in roots-only mode, then
// rewrites a copy of each and has CSSC judge it: val, admin -h, prs of every
// delta (comments included) and get -p of every SID compared with the original
// (files that come out byte for byte the same are compared as bytes).  A file
// that CSSC's val already refuses as it stands is counted apart and not
// rewritten.  Prints counts and times.
//
//   sfile_corpus_bench [corpus-dir] [--no-rewrite] [--get-all]
//
// --get-all compares get -p of every SID for every file, identical or not.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "bench_common.h"
#include "support/cssc.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point t) {
  return std::chrono::duration<double>(Clock::now() - t).count();
}

struct Mode_result {
  int ok = 0, failed = 0, deltas = 0;
  double secs = 0;
};

Mode_result read_all_files(const std::vector<std::string> &files, int roots_only) {
  Mode_result r;
  auto t = Clock::now();
  for (const std::string &f : files) {
    SCCS_sfile sf(f.c_str());
    Kes_err *err = sf.buildtree(0, 0, roots_only);
    if (err) {
      r.failed++;
      fprintf(stderr, "%s", err->text);
      delete err;
    } else {
      r.ok++;
      r.deltas += sf.tree->node_count;
    }
  }
  r.secs = seconds_since(t);
  return r;
}

}  // namespace

int main(int argc, char **argv) {
  std::string corpus = bench::corpus_dir();
  bool rewrite = true, get_all = false;
  for (int i = 1; i < argc; i++) {
    if (!strcmp(argv[i], "--no-rewrite"))
      rewrite = false;
    else if (!strcmp(argv[i], "--get-all"))
      get_all = true;
    else
      corpus = argv[i];
  }
  std::vector<std::string> files;
  for (const auto &e : fs::recursive_directory_iterator(corpus))
    if (e.is_regular_file() && e.path().filename().string().rfind("s.", 0) == 0)
      files.push_back(e.path().string());
  std::sort(files.begin(), files.end());
  printf("history files: %zu in %s\n", files.size(), corpus.c_str());

  Mode_result full = read_all_files(files, 0);
  printf("full read:       %d ok, %d failed, %d deltas, %.3f s (%.1f us/file)\n", full.ok,
         full.failed, full.deltas, full.secs, 1e6 * full.secs / files.size());
  Mode_result roots = read_all_files(files, 1);
  printf("roots-only read: %d ok, %d failed, %d deltas, %.3f s (%.1f us/file)\n", roots.ok,
         roots.failed, roots.deltas, roots.secs, 1e6 * roots.secs / files.size());

  // The largest file, read and written repeatedly.
  std::string largest;
  uintmax_t largest_size = 0;
  for (const std::string &f : files)
    if (fs::file_size(f) > largest_size) largest_size = fs::file_size(f), largest = f;
  support::Temp_dir scratch("sfile-bench");
  std::string tmp = scratch.path();
  {
    std::string copy = tmp + "/s.largest";
    fs::copy_file(largest, copy);
    const int rounds = 50;
    double read_secs = 0, write_secs = 0;
    for (int i = 0; i < rounds; i++) {
      SCCS_sfile sf(copy.c_str());
      auto t = Clock::now();
      Kes_err *err = sf.buildtree(0, 0, 0);
      read_secs += seconds_since(t);
      if (err) {
        fprintf(stderr, "%s", err->text);
        return 1;
      }
      t = Clock::now();
      err = sf.write();
      write_secs += seconds_since(t);
      if (err) {
        fprintf(stderr, "%s", err->text);
        return 1;
      }
    }
    printf("largest %s (%ju bytes): full read %.3f ms, write %.3f ms (mean of %d)\n",
           largest.c_str(), largest_size, 1e3 * read_secs / rounds, 1e3 * write_secs / rounds,
           rounds);
  }

  int failures = full.failed + roots.failed;
  if (rewrite) {
    int identical = 0, rewritten = 0, val_bad = 0, sum_bad = 0, text_bad = 0, write_bad = 0,
        prs_bad = 0, refused_before = 0;
    auto t = Clock::now();
    double write_secs = 0;
    for (size_t i = 0; i < files.size(); i++) {
      if (support::val(files[i]) != 0) {
        refused_before++;
        fprintf(stderr, "val refuses %s as it stands: not judged\n", files[i].c_str());
        continue;
      }
      std::string dir = tmp + "/" + std::to_string(i);
      fs::create_directory(dir);
      std::string copy = dir + "/" + fs::path(files[i]).filename().string();
      fs::copy_file(files[i], copy);
      std::string before = support::read_file(copy);
      {
        SCCS_sfile sf(copy.c_str());
        auto tw = Clock::now();
        Kes_err *err = sf.buildtree(0, 0, 0);
        if (!err) err = sf.write();
        write_secs += seconds_since(tw);
        if (err) {
          fprintf(stderr, "%s", err->text);
          delete err;
          write_bad++;
          continue;
        }
      }
      rewritten++;
      std::string after = support::read_file(copy);
      bool same = after == before;
      if (same) identical++;
      if (support::val(copy) != 0) {
        val_bad++;
        fprintf(stderr, "val refuses %s\n", files[i].c_str());
      }
      if (support::admin_check(copy) != 0) {
        sum_bad++;
        fprintf(stderr, "admin -h refuses %s\n", files[i].c_str());
      }
      if (!same || get_all) {
        if (support::cssc_view(copy) != support::cssc_view(files[i])) {
          prs_bad++;
          fprintf(stderr, "prs shows other deltas in %s\n", files[i].c_str());
        }
        if (support::versions(copy) != support::versions(files[i])) {
          text_bad++;
          fprintf(stderr, "versions differ in %s\n", files[i].c_str());
        }
      }
      fs::remove_all(dir);
    }
    printf("rewrite: %d refused by val as they stand (not judged); %d rewritten (%d byte for "
           "byte the same), %d write errors, %d refused by val, %d refused by admin -h, "
           "%d with changed prs, %d with changed versions; write %.3f s, all with CSSC %.1f s\n",
           refused_before, rewritten, identical, write_bad, val_bad, sum_bad, prs_bad, text_bad,
           write_secs, seconds_since(t));
    failures += write_bad + val_bad + sum_bad + prs_bad + text_bad;
  }
  printf("peak RSS: %ld KB\n", bench::peak_rss_kb());
  return failures ? 1 : 0;
}
