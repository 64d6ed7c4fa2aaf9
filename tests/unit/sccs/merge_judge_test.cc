// Merges of generated history pairs, judged by the SCCS programs alone: every
// version of both inputs survives under its new SID, the file is sound, the
// states and the conflict record are right, both body routes agree and a merge
// of the result with either input finds nothing new.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/merge_engine.h"
#include "sccs/sccs_merge.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"

using namespace merge_gen;

namespace {

class MergeJudge : public ::testing::Test {
protected:

  // Judges `count` pairs of one seed; returns how many ended in each state.
  void judge_many(unsigned seed, int count, int scale, int states[5], int &switches) {
    Generator gen(seed, root);
    for (int i = 0; i < count; i++) {
      Gen_params p = gen.random_params(scale);
      Pair pair = gen.make_pair(p, "p" + std::to_string(i));
      Judge_report rep = judge_pair(pair, engine_merge);
      EXPECT_TRUE(rep.problems.empty())
          << "seed " << seed << " pair " << i << " (" << p.describe() << ")\n"
          << rep.summary();
      for (int s = 0; s < 5; s++) states[s] += rep.states[s];
      switches += rep.switches;
      if (rep.problems.empty()) remove_tree(pair.dir);
    }
  }
  Temp_dir tmp{"merge_judge"};
  std::string root = tmp.path();
};

}  // namespace

// A fixed seed over all kinds of pairs; the benchmark runs other seeds.
TEST_F(MergeJudge, RandomPairs) {
  int states[5] = {0, 0, 0, 0, 0}, switches = 0;
  judge_many(1, 60, 1, states, switches);
  printf("states %d %d %d %d %d, %d fast merges switched to the slow route\n", states[0],
         states[1], states[2], states[3], states[4], switches);
  // The seed covers every outcome, so that no state goes untested, and the
  // fast route's giving way.
  for (int s = 0; s < 5; s++) EXPECT_GT(states[s], 0) << "no pair ended in state " << s;
  EXPECT_GT(switches, 0);
}
