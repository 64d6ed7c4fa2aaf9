// Merging histories: long histories merged by both body routes, with times, and
// the merge judge run over more generated pairs than the test suite can afford.
//
//   merge_bench                      both parts with their defaults
//   merge_bench long [N]             N deltas on each side (default 1000)
//   merge_bench merge FROM TO [slow]  one merge, TO changed in place
//   merge_bench judge [SEED [COUNT [SCALE]]]
//                                    COUNT pairs (default 100) of seeds SEED on
//                                    (default 2, five seeds), sized by SCALE (2)
//
// Scratch files go under $TMPDIR.  Exit status 1 when the judge finds a problem.
#include <sys/resource.h>
#include <sys/time.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bench_common.h"
#include "support/merge_engine.h"
#include "sccs/sccs_merge.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"

using namespace merge_gen;

namespace {

double now() {
  struct timeval tv;
  gettimeofday(&tv, nullptr);
  return tv.tv_sec + tv.tv_usec / 1e6;
}

int run_long(int n) {
  Temp_dir tmp("merge_bench");
  std::string root = tmp.path();
  Generator gen(4242, root);
  Gen_params p;
  p.common_ops = 20;
  p.from_ops = n;
  p.to_ops = n;
  p.branch_pct = p.ie_pct = p.rmdel_pct = 0;
  p.long_line_pct = 0;
  p.quick = true;
  double t0 = now();
  Pair pair = gen.make_pair(p, "long");
  printf("made two histories of %d deltas each side (+%d common) in %.1f s\n", n, p.common_ops,
         now() - t0);
  int status = 0;
  std::string outs[2];
  const char *route_names[2] = {"fast", "slow"};
  for (int slow = 0; slow < 2; slow++) {
    std::string from = root + "/in." + route_names[slow];
    std::string to = root + "/out." + route_names[slow];
    copy_file(pair.from_sfile, from);
    copy_file(pair.to_sfile, to);
    Merge_request r;
    r.from_sfile = from;
    r.to_sfile = to;
    r.slow = slow;
    if (!slow) {
      r.analysis = true;
      t0 = now();
      Merge_outcome a = engine_merge(r);
      printf("analysis only: state %d in %.3f s\n", a.contents_state, now() - t0);
      r.analysis = false;
    }
    t0 = now();
    Merge_outcome m = engine_merge(r);
    double t = now() - t0;
    int val = run({cssc("val"), to}).status;
    printf("%s route: state %d, %s, val %s, %.3f s\n", route_names[slow], m.contents_state,
           m.ok ? "merged" : m.error.c_str(), val == 0 ? "accepts" : "REFUSES", t);
    if (!m.ok || val != 0) status = 1;
    outs[slow] = to;
  }
  // Both routes give the same versions; a sample of SIDs keeps this quick.
  std::vector<std::string> problems;
  Run_result sids = run({cssc("prs"), "-e", "-d:I:", outs[0]});
  int checked = 0, differ = 0, k = 0;
  size_t pos = 0;
  while (pos < sids.out.size()) {
    size_t e = sids.out.find('\n', pos);
    std::string sid = sids.out.substr(pos, e - pos);
    pos = e == std::string::npos ? sids.out.size() : e + 1;
    if (sid.empty() || k++ % 50 != 0) continue;
    checked++;
    if (get_text(outs[0], sid, &problems) != get_text(outs[1], sid, &problems)) differ++;
  }
  printf("routes compared on %d SIDs: %d differ\n", checked, differ);
  printf("peak RSS %ld KB\n", bench::peak_rss_kb());
  if (differ || !problems.empty()) status = 1;
  return status;
}

int run_judge(unsigned first_seed, int seeds, int count, int scale) {
  Temp_dir tmp("merge_bench");
  std::string root = tmp.path();
  int failures = 0, states[5] = {0, 0, 0, 0, 0}, switches = 0;
  double t0 = now();
  for (unsigned seed = first_seed; seed < first_seed + seeds; seed++) {
    Generator gen(seed, root);
    for (int i = 0; i < count; i++) {
      Gen_params p = gen.random_params(scale);
      Pair pair = gen.make_pair(p, "s" + std::to_string(seed) + "p" + std::to_string(i));
      Judge_report rep = judge_pair(pair, engine_merge);
      for (int s = 0; s < 5; s++) states[s] += rep.states[s];
      switches += rep.switches;
      if (!rep.problems.empty()) {
        failures++;
        printf("seed %u pair %d (%s): kept in %s\n%s", seed, i, p.describe().c_str(),
               pair.dir.c_str(), rep.summary().c_str());
      } else {
        remove_tree(pair.dir);
      }
    }
  }
  printf("%d pairs judged in %.1f s: %d with problems; states %d %d %d %d %d; %d route "
         "switches\n",
         seeds * count, now() - t0, failures, states[0], states[1], states[2], states[3],
         states[4], switches);
  if (failures) tmp.keep();  // the pairs with problems stay for a look
  return failures ? 1 : 0;
}

}  // namespace

int main(int argc, char **argv) {
  const char *what = argc > 1 ? argv[1] : "";
  if (strcmp(what, "merge") == 0 && argc > 3) {
    // One merge by hand: from file, to file (changed in place), "slow" for the
    // rebuilding route.
    Merge_request r;
    r.from_sfile = argv[2];
    r.to_sfile = argv[3];
    r.slow = argc > 4 && strcmp(argv[4], "slow") == 0;
    Merge_outcome m = engine_merge(r);
    printf("state %d %s\n", m.contents_state, m.ok ? "" : m.error.c_str());
    return m.ok ? 0 : 1;
  }
  if (strcmp(what, "long") == 0) return run_long(argc > 2 ? atoi(argv[2]) : 1000);
  if (strcmp(what, "judge") == 0) {
    unsigned seed = argc > 2 ? atoi(argv[2]) : 2;
    int count = argc > 3 ? atoi(argv[3]) : 100;
    int scale = argc > 4 ? atoi(argv[4]) : 2;
    return run_judge(seed, argc > 2 ? 1 : 5, count, scale);
  }
  int status = run_long(1000);
  return run_judge(2, 5, 40, 2) | status;
}
