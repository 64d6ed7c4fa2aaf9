// Tree operations over histories read from CSSC-made and hand-written files:
// roots, fake roots, child order, time order with gaps, look-ups by SmID.
#include <cstdlib>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "sccs/kes_smid.h"
#include "sccs/sccs_helpers.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"

using namespace sccs_test;
using namespace support;

namespace {

// 1.1 <- 1.2 <- {1.3, 1.2.1.1 <- 1.2.1.2}
std::string branched(const Temp_dir &dir) {
  new_history(dir.path(), "t.c", "a\n");
  std::string s = dir.file("s.t.c");
  add_delta(s, "a\nb\n", "two");
  add_delta(s, "a\nb\nc\n", "three");
  add_delta(s, "a\nB\n", "branch", "-r1.2 -b");
  add_delta(s, "a\nB\nC\n", "branch two", "-r1.2.1.1");
  return s;
}

// A table written by hand; the body is a single block of the root.
std::string hand_written(const Temp_dir &dir, const std::string &table) {
  std::string s = dir.file("s.h.c");
  write_file(s, "\001h00000\n" + table + "\001u\n\001U\n\001t\n\001T\n\001I 1\nx\n\001E 1\n");
  return s;
}

std::string delta(const char *sid, const char *date, int serial, int pred, const char *c) {
  return std::string("\001s 00001/00000/00000\n\001d D ") + sid + " " + date + " ann " +
         std::to_string(serial) + " " + std::to_string(pred) + "\n\001c " + c + "\n\001e\n";
}

// One root over every delta; then a fake root over the tree.
TEST(SfileTree, RootsAndAFakeRootOverTheTree) {
  Temp_dir dir;
  auto f = read_full(branched(dir));
  Kes_delta_tree *t = f->tree;
  t->assign_roots();
  EXPECT_EQ(t->first_root, t->root);
  EXPECT_EQ(t->root_count, 1);
  for (int i = 1; i <= t->size; i++) EXPECT_EQ(t->ith_node(i)->root, t->root) << i;
  EXPECT_EQ(t->find_root(t->find_delta("1.2.1.2")), t->root);
  EXPECT_FALSE(t->fake_was_added());
  Kes_tree_node *old_root = t->root;
  t->add_fake();
  t->node_count++;
  ASSERT_EQ(t->root, t->ith_node(0));
  EXPECT_TRUE(f->fake_was_added());
  Kes_delta *fake = f->root_delta();
  EXPECT_TRUE(fake->is_fake());
  EXPECT_EQ(fake->peer, fake);
  EXPECT_STREQ(fake->sid, "1.1");
  EXPECT_STREQ(fake->user, "Fake");
  ASSERT_NE(fake->comments, nullptr);
  EXPECT_STREQ(fake->comments[0], "Fake Brindle delta to combine two files with no common deltas\n");
  EXPECT_EQ(fake->first_child, old_root);
  EXPECT_EQ(old_root->parent, fake);
  // Release-1 SIDs of the from side move up a level; serials move up by one.
  EXPECT_STREQ(static_cast<Kes_delta *>(old_root)->sid, "1.2");
  EXPECT_EQ(old_root->serial, 2);
  EXPECT_STREQ(t->ith_delta(4)->sid, "1.3.1.1");
  EXPECT_EQ(t->ith_delta(4)->pred, 3);
  t->assign_roots();
  EXPECT_EQ(t->first_root, old_root);
  EXPECT_EQ(t->root_count, 1);
  EXPECT_EQ(t->find_root(t->ith_node(5)), old_root);
  EXPECT_EQ(fake->root, fake);
}

TEST(SfileTree, WalkRootsVisitsRootsWithPeers) {
  Temp_dir dir;
  auto f = read_full(branched(dir));
  static int calls;
  calls = 0;
  auto count = [](Kes_delta *, Kes_delta *) { return ++calls, 0; };
  EXPECT_EQ(f->walk_roots(count), 0);
  EXPECT_EQ(calls, 0);  // no peer yet
  Temp_dir other;
  auto g = read_full(branched(other));
  f->root_delta()->peer = g->root_delta();
  static Kes_delta *seen_root, *seen_peer;
  auto stop = [](Kes_delta *r, Kes_delta *p) {
    seen_root = r;
    seen_peer = p;
    return 1;
  };
  EXPECT_EQ(f->walk_roots(stop), 1);
  EXPECT_EQ(seen_root, f->root_delta());
  EXPECT_EQ(seen_peer, g->root_delta());
}

// Children in SID order whatever the table's order: a lower level before a
// higher one, a lower branch before a higher one.
TEST(SfileTree, ChildrenInSidOrder) {
  struct Case {
    std::string table;
    const char *parent, *first, *second;
  } cases[] = {
      {delta("2.1", "90/01/04 00:00:00", 4, 2, "d") + delta("1.3", "90/01/03 00:00:00", 3, 2, "c") +
           delta("1.2", "90/01/02 00:00:00", 2, 1, "b") +
           delta("1.1", "90/01/01 00:00:00", 1, 0, "a"),
       "1.2", "1.3", "2.1"},
      {delta("1.1.2.1", "90/01/04 00:00:00", 3, 1, "c") +
           delta("1.1.1.1", "90/01/03 00:00:00", 2, 1, "b") +
           delta("1.1", "90/01/01 00:00:00", 1, 0, "a"),
       "1.1", "1.1.1.1", "1.1.2.1"},
  };
  for (const Case &c : cases) {
    Temp_dir dir;
    auto f = read_full(hand_written(dir, c.table));
    Kes_delta *parent = f->tree->find_delta(c.parent);
    ASSERT_NE(parent, nullptr);
    ASSERT_NE(parent->first_child, nullptr);
    EXPECT_STREQ(parent->first_child_delta()->sid, c.first);
    ASSERT_NE(parent->first_child->next_sibling, nullptr);
    EXPECT_STREQ(parent->first_child_delta()->next_sibling_delta()->sid, c.second);
  }
}

TEST(SfileTree, TimeOrderSkipsUnusedSlots) {
  Temp_dir dir;
  // Serial 3 is missing; 4 is older by its text than 2 and must come after it.
  std::string s = hand_written(dir, delta("1.3", "85/01/01 00:00:00", 4, 2, "c") +
                                        delta("1.2", "90/01/02 00:00:00", 2, 1, "b") +
                                        delta("1.1", "90/01/01 00:00:00", 1, 0, "a"));
  auto f = read_full(s);
  Kes_delta *d2 = f->tree->ith_delta(2), *d4 = f->tree->ith_delta(4);
  EXPECT_EQ(f->tree->ith_delta(3)->serial, 0);
  EXPECT_EQ(cmptm(&d2->time, &d4->time), 1);
  EXPECT_EQ(d4->time.tm_year, 90);
  EXPECT_STREQ(d4->date, "85/01/01 00:00:00");
  // Written back, the table keeps its text and order.
  std::string before = read_file(s);
  ASSERT_EQ(f->write(), nullptr);
  EXPECT_EQ(read_file(s).substr(8), before.substr(8));
}

TEST(SfileTree, LookupBySmid) {
  Temp_dir dir;
  auto f = read_full(branched(dir));
  Kes_delta_tree *t = f->tree;
  Kes_smid *root_id = kes_smid_from_delta(f->root_delta());
  EXPECT_EQ(t->find_delta(root_id), f->root_delta());
  Kes_delta **found = t->find_deltas(root_id);
  ASSERT_NE(found[0], nullptr);
  EXPECT_EQ(found[0], f->root_delta());
  EXPECT_EQ(found[1], nullptr);
  free(found);
  // Two deltas whose bookkeeping is the same have the same SmID.
  Kes_delta *a = t->find_delta("1.3"), *b = t->find_delta("1.2.1.2");
  b->set_stats(a->stats);
  b->set_date(a->date);
  b->set_user(a->user);
  free(b->comments[0]);
  b->comments[0] = strdup(a->comments[0]);
  Kes_smid *id = kes_smid_from_delta(a);
  found = t->find_deltas(id);
  EXPECT_EQ(found[0], a);
  EXPECT_EQ(found[1], b);
  EXPECT_EQ(found[2], nullptr);
  free(found);
  Kes_smid none;
  EXPECT_EQ(t->find_delta(&none), nullptr);
  delete id;
  delete root_id;
}

}  // namespace
