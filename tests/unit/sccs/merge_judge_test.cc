// Merges of generated history pairs, judged by the SCCS programs alone: every
// version of both inputs survives under its new SID, the file is sound, the
// states and the conflict record are right, both body routes agree and a merge
// of the result with either input finds nothing new.  First the judge itself is
// shown to refuse merges whose faults are known, so that a judge that passes
// everything cannot go unnoticed.
#include <gtest/gtest.h>

#include <sys/stat.h>

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
  Temp_dir tmp{"merge_judge"};
  std::string root = tmp.path();
};

// Writes the from file over the to file, as a merge may when the to file has
// nothing of its own.  Analysis asks the judge's own rule.
Merge_outcome copy_merge(const Merge_request &r) {
  std::vector<std::string> problems;
  Snapshot from = snapshot(r.from_sfile, &problems);
  Snapshot to = snapshot(r.to_sfile, &problems);
  Merge_outcome m;
  bool conflict;
  m.contents_state = expected_state(from, to, &conflict);
  m.ok = problems.empty();
  if (!r.analysis && m.contents_state != 0 && m.contents_state != 2) {
    chmod(r.to_sfile.c_str(), 0644);
    copy_file(r.from_sfile, r.to_sfile);
  }
  return m;
}

}  // namespace

// The judge's reading of the conflict rule, on pairs whose outcome is known.
TEST_F(MergeJudge, ExpectedStatesFollowTheConflictRule) {
  Generator gen(3, root);
  Gen_params p;
  p.common_ops = 2;
  p.branch_pct = p.ie_pct = p.rmdel_pct = 0;
  struct Case {
    int from_ops, to_ops;
    bool checkout_to;
    int state;
  } cases[] = {{0, 0, false, 0}, {2, 0, false, 1}, {0, 2, false, 2},
               {2, 2, false, 3}, {2, 0, true, 3}, {0, 0, true, 2}};
  int n = 0;
  for (const Case &c : cases) {
    p.from_ops = c.from_ops;
    p.to_ops = c.to_ops;
    p.checkout_to = c.checkout_to;
    Pair pair = gen.make_pair(p, "state" + std::to_string(n++));
    std::vector<std::string> problems;
    Snapshot from = snapshot(pair.from_sfile, &problems);
    Snapshot to = snapshot(pair.to_sfile, &problems);
    bool conflict;
    EXPECT_EQ(expected_state(from, to, &conflict), c.state) << pair.params.describe();
    EXPECT_EQ(conflict, c.state >= 3);
  }
}

// The judge accepts a copy when only one side moved, and catches a copy that
// loses the other side's work, a wrong state and a changed text.
TEST_F(MergeJudge, AcceptsGoodMergesAndRefusesBadOnes) {
  Generator gen(21, root);
  Gen_params p;
  p.common_ops = 3;
  p.from_ops = 4;
  p.to_ops = 0;
  p.rmdel_pct = p.ie_pct = 0;
  Pair onesided = gen.make_pair(p, "onesided");
  Judge_report rep = judge_pair(onesided, copy_merge);
  EXPECT_TRUE(rep.problems.empty()) << rep.summary();
  EXPECT_EQ(rep.contents_state, 1);

  // Copies, then changes one text line of the body and mends the checksum, so
  // that only the versions betray the fault.
  auto corrupting = [](const Merge_request &r) {
    Merge_outcome m = copy_merge(r);
    if (r.analysis || m.contents_state != 1) return m;
    std::string s = read_file(r.to_sfile);
    size_t line = s.find("\n\001I 1\n", s.find("\n\001T\n"));
    if (line != std::string::npos) s.insert(line + 6, "planted line\n");
    write_file(r.to_sfile, s);
    run({cssc("admin"), "-z", r.to_sfile});
    return m;
  };
  rep = judge_pair(onesided, corrupting);
  EXPECT_NE(rep.summary().find("text of"), std::string::npos) << rep.summary();

  p.to_ops = 2;
  Pair diverged = gen.make_pair(p, "diverged");
  rep = judge_pair(diverged, copy_merge);
  EXPECT_NE(rep.summary().find("lost delta"), std::string::npos) << rep.summary();
  auto wrong_state = [](const Merge_request &r) {
    Merge_outcome m = copy_merge(r);
    m.contents_state = m.contents_state == 1 ? 2 : 1;
    return m;
  };
  rep = judge_pair(diverged, wrong_state);
  EXPECT_NE(rep.summary().find("expected"), std::string::npos) << rep.summary();
}

// A fixed seed over all kinds of pairs (binary and unrelated ones, removed
// deltas, include lists, branches, check-outs); the benchmark runs other seeds.
TEST_F(MergeJudge, RandomPairs) {
  int states[5] = {0, 0, 0, 0, 0}, switches = 0;
  Generator gen(1, root);
  for (int i = 0; i < 60; i++) {
    Gen_params p = gen.random_params(1);
    Pair pair = gen.make_pair(p, "p" + std::to_string(i));
    Judge_report rep = judge_pair(pair, engine_merge);
    EXPECT_TRUE(rep.problems.empty()) << "pair " << i << " (" << p.describe() << ")\n"
                                      << rep.summary();
    for (int s = 0; s < 5; s++) states[s] += rep.states[s];
    switches += rep.switches;
    if (rep.problems.empty()) remove_tree(pair.dir);
  }
  printf("states %d %d %d %d %d, %d fast merges switched to the slow route\n", states[0],
         states[1], states[2], states[3], states[4], switches);
  // The seed covers every outcome, so that no state goes untested, and the
  // fast route's giving way.
  for (int s = 0; s < 5; s++) EXPECT_GT(states[s], 0) << "no pair ended in state " << s;
  EXPECT_GT(switches, 0);
}
