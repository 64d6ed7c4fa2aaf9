// The pair generator makes the histories it promises, and the judge refuses
// wrong merges.  Here the "merges" are simple stand-ins whose faults are known,
// so that a judge that passes everything cannot go unnoticed.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <string>

#include "support/merge_gen.h"

using namespace merge_gen;

namespace {

class MergeGen : public ::testing::Test {
protected:
  Temp_dir tmp{"merge_gen"};
  std::string root = tmp.path();
};

int count_type(const Snapshot &s, char type) {
  int n = 0;
  for (const Delta_info &d : s.deltas)
    if (d.type == type) n++;
  return n;
}

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

TEST_F(MergeGen, PairsHoldTheRequestedHistories) {
  Generator gen(7, root);
  Gen_params p;
  p.common_ops = 3;
  p.from_ops = 4;
  p.to_ops = 4;
  p.branch_pct = 50;
  p.ie_pct = 100;
  p.rmdel_pct = 30;
  p.checkout_to = true;
  Pair pair = gen.make_pair(p, "plain");
  std::vector<std::string> problems;
  Snapshot from = snapshot(pair.from_sfile, &problems);
  Snapshot to = snapshot(pair.to_sfile, &problems);
  ASSERT_TRUE(problems.empty()) << problems[0];
  EXPECT_EQ(run({cssc("val"), pair.from_sfile}).status, 0);
  EXPECT_EQ(run({cssc("val"), pair.to_sfile}).status, 0);
  // A common start: the root and the first common deltas are the same.
  EXPECT_EQ(from.deltas.back().key(), to.deltas.back().key());
  // Both sides went on, with removed deltas, include lists and branches.
  EXPECT_GE(from.deltas.size(), 5u);
  EXPECT_GE(to.deltas.size(), 5u);
  EXPECT_GT(count_type(from, 'R') + count_type(to, 'R'), 0);
  bool lists = false, branch = false;
  for (const Snapshot *s : {&from, &to})
    for (const Delta_info &d : s->deltas) {
      if (!d.included.empty() || !d.excluded.empty()) lists = true;
      if (std::count(d.sid.begin(), d.sid.end(), '.') == 3) branch = true;
    }
  EXPECT_TRUE(lists);
  EXPECT_TRUE(branch);
  ASSERT_EQ(to.pfile.size(), 1u);
  EXPECT_TRUE(from.pfile.empty());
  // Within each file every delta has its own bookkeeping, so that no two deltas
  // match by chance.
  for (const Snapshot *s : {&from, &to}) {
    std::set<std::string> keys;
    for (const Delta_info &d : s->deltas) keys.insert(d.key());
    EXPECT_EQ(keys.size(), s->deltas.size());
  }
}

TEST_F(MergeGen, UnrelatedAndBinaryPairs) {
  Generator gen(11, root);
  Gen_params p;
  p.no_common = true;
  p.binary = true;
  p.from_ops = 2;
  p.to_ops = 2;
  Pair pair = gen.make_pair(p, "binary");
  std::vector<std::string> problems;
  Snapshot from = snapshot(pair.from_sfile, &problems);
  Snapshot to = snapshot(pair.to_sfile, &problems);
  ASSERT_TRUE(problems.empty()) << problems[0];
  EXPECT_TRUE(from.encoded);
  EXPECT_TRUE(to.encoded);
  for (const Delta_info &d : from.deltas) EXPECT_EQ(to.by_key(d.key()), nullptr) << d.sid;
  bool conflict;
  EXPECT_EQ(expected_state(from, to, &conflict), 4);
  EXPECT_TRUE(conflict);
  // The texts are binary and come back whole.
  bool high = false;
  for (const auto &t : from.text)
    for (char c : t.second)
      if (static_cast<unsigned char>(c) >= 0x80 || c == '\0') high = true;
  EXPECT_TRUE(high);
}

TEST_F(MergeGen, ExpectedStatesFollowTheConflictRule) {
  Generator gen(3, root);
  Gen_params p;
  p.common_ops = 2;
  p.branch_pct = 0;
  p.ie_pct = 0;
  p.rmdel_pct = 0;
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
TEST_F(MergeGen, JudgeAcceptsGoodMergesAndRefusesBadOnes) {
  Generator gen(21, root);
  Gen_params p;
  p.common_ops = 3;
  p.from_ops = 4;
  p.to_ops = 0;
  p.rmdel_pct = 0;
  p.ie_pct = 0;
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
