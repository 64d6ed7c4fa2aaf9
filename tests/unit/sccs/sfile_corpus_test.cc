// Real history files written over many years by other SCCS programs: every one
// reads in all three modes (full, roots only, roots and names) to the same root,
// and a fixed sample is rewritten and judged by CSSC.  The whole corpus's
// rewrite is bench/sfile_corpus_bench.cc.
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sccs/kes_name_history.h"
#include "sccs/kes_smid.h"
#include "sccs/sccs_helpers.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"

using namespace sccs_test;
using namespace support;
namespace fs = std::filesystem;

namespace {

// Every 97th file, and the ones with something special: serial gaps, include
// and exclude lists, descriptive text, flags, removed deltas, the largest.
std::vector<std::string> sample() {
  std::vector<std::string> all = corpus_files(), pick;
  for (size_t i = 0; i < all.size(); i += 97) pick.push_back(all[i]);
  for (const char *f : {"bin/df/SCCS/s.Makefile", "bin/df/SCCS/s.df.c", "sbin/dump/SCCS/s.dump.8",
                        "lib/libc/net/SCCS/s.res_debug.c", "sbin/routed/SCCS/s.main.c",
                        "lib/libc/SCCS/s.Makefile", "bin/ls/SCCS/s.ls.c",
                        "lib/libm/common_source/SCCS/s.ieee.3",
                        "lib/libm/common_source/SCCS/s.erf.3", "sbin/ping/SCCS/s.ping.c",
                        "sbin/fsck/SCCS/s.main.c", "bin/ps/SCCS/s.ps.c"})
    pick.push_back(corpus_dir() + "/" + f);
  return pick;
}

TEST(SfileCorpus, EveryFileReadsInEveryMode) {
  std::vector<std::string> files = corpus_files();
  ASSERT_EQ(files.size(), 2568u);
  int deltas = 0;
  for (const std::string &f : files) {
    SCOPED_TRACE(f);
    std::vector<Table_row> rows = table_rows(f);
    ASSERT_FALSE(rows.empty());
    SCCS_sfile full(f.c_str());
    Kes_err *err = full.buildtree(0, 1, 0);
    ASSERT_EQ(err, nullptr) << err->text;
    EXPECT_EQ(full.tree->node_count, (int)rows.size());
    EXPECT_EQ(full.tree->size, rows.front().serial);
    ASSERT_NE(full.head_delta(), nullptr);
    EXPECT_FALSE(full.head_delta()->removed);
    deltas += full.tree->node_count;

    SCCS_sfile roots(f.c_str());
    err = roots.buildtree(0, 0, 1);
    ASSERT_EQ(err, nullptr) << err->text;
    // The roots-only tree is the root and its live children.
    std::set<int> want, got;
    for (const Table_row &r : rows)
      if (r.pred == 1 && r.type == 'D') want.insert(r.serial);
    for (Kes_tree_node *c = roots.tree->root->first_child; c; c = c->next_sibling)
      got.insert(c->serial);
    EXPECT_EQ(got, want);  // some files have removed children of the root
    EXPECT_EQ(roots.tree->node_count, 1 + (int)want.size());
    EXPECT_EQ(roots.tree->root->serial, 1);
    EXPECT_STREQ(roots.root_delta()->date, full.root_delta()->date);
    EXPECT_STREQ(roots.root_delta()->stats, full.root_delta()->stats);
    std::string root_id = smid_text(kes_smid_from_delta(full.root_delta()));
    EXPECT_EQ(smid_text(kes_smid_from_delta(roots.root_delta())), root_id);

    // The fast read of roots and names: the same root, and a name tree of the
    // one name it is given, for a file that has no name history yet.
    SCCS_sfile fast(f.c_str());
    Kes_name_tree *names = nullptr;
    SCCS_deltalist *list = nullptr;
    int conflicted = 0;  // set only when a conflict record is found
    err = fast.build_nametree_deltalist(nullptr, "x", &names, &list, &conflicted);
    ASSERT_EQ(err, nullptr) << err->text;
    ASSERT_EQ(list->count, 1);
    EXPECT_EQ(smid_text(kes_smid_from_delta(static_cast<Kes_delta *>(list->head.next->data))),
              root_id);
    EXPECT_EQ(names->node_count, 1);
    EXPECT_STREQ(static_cast<Kes_name_node *>(names->root)->name, "x");
    EXPECT_EQ(conflicted, 0);
    delete names;
    delete list;
  }
  EXPECT_EQ(deltas, 20930);
}

// Every delta's SmID, by serial.
std::vector<std::string> smids(SCCS_sfile &sf) {
  std::vector<std::string> v;
  for (int i = 1; i <= sf.tree->size; i++)
    if (sf.tree->ith_node(i)->serial)
      v.push_back(smid_text(kes_smid_from_delta(sf.tree->ith_delta(i))));
  return v;
}

// Inserts text before the first `at` of an s-file and mends the checksum by
// hand: CSSC's admin -z would rewrite the table and give bare lines a blank.
void insert_by_hand(const std::string &sfile, const std::string &at, const std::string &text) {
  std::string t = read_file(sfile);
  size_t pos = t.find(at);
  ASSERT_NE(pos, std::string::npos) << at;
  t.insert(pos, text);
  unsigned short sum = 0;
  for (size_t i = t.find('\n') + 1; i < t.size(); i++) sum += (signed char)t[i];
  char head[8];
  snprintf(head, sizeof head, "\001h%05u", (unsigned)sum);
  write_file(sfile, t.replace(0, 7, head));
  ASSERT_EQ(val(sfile), 0);
}

// The sample: the head is what CSSC gets, and a rewrite is sound and keeps
// every version, what prs shows of every delta, and every SmID.  Histories of
// other projects also have bare comment and MR lines ("^Ac" with nothing
// behind it): one copy gets them in its root, and at the start and the end of
// another delta's comment.
TEST(SfileCorpus, SampleHeadsAndRewrites) {
  Temp_dir dir;
  std::vector<std::string> files = sample();
  std::string bare = dir.file("s.bare.c");
  copy_file(corpus_dir() + "/bin/df/SCCS/s.df.c", bare);
  insert_by_hand(bare, "\001c date and time created 80", "\001m\n\001c\n");
  insert_by_hand(bare, "\001c use vfslist", "\001c\n");
  insert_by_hand(bare, "\001e\n", "\001c\n");
  files.push_back(bare);
  int n = 0;
  for (const std::string &f : files) {
    SCOPED_TRACE(f);
    std::string sub = dir.file(std::to_string(n++));
    ASSERT_EQ(mkdir(sub.c_str(), 0755), 0);
    std::string copy = sub + "/" + fs::path(f).filename().string();
    copy_file(f, copy);
    std::string before = read_file(copy), view = cssc_view(copy);
    std::vector<std::string> ids;
    {
      SCCS_sfile sf(copy.c_str());
      Kes_err *err = sf.buildtree(0, 1, 0);
      ASSERT_EQ(err, nullptr) << err->text;
      Run_result g = sh(cssc("get") + " -g " + shq(copy));
      ASSERT_EQ(g.status, 0) << g.err;
      EXPECT_EQ(std::string(sf.head_delta()->sid) + "\n", g.out);
      ids = smids(sf);
      err = sf.write();
      ASSERT_EQ(err, nullptr) << err->text;
      if (!sf.desc_text) {
        EXPECT_EQ(read_file(copy), before);
      }
    }
    EXPECT_EQ(val(copy), 0);
    EXPECT_EQ(admin_check(copy), 0);
    EXPECT_EQ(cssc_view(copy), view);
    SCCS_sfile again(copy.c_str());
    Kes_err *err = again.buildtree(0, 0, 0);
    ASSERT_EQ(err, nullptr) << err->text;
    EXPECT_EQ(smids(again), ids);
  }
}

}  // namespace
