// Name histories: the tree built from stored lines, its lines written back into
// real files judged by CSSC, and the fast read of roots and names.
#include "sccs/kes_name_history.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "sccs/kes_smid.h"
#include "sccs/sccs_helpers.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_mmap.h"

using namespace sccs_test;
using namespace support;

namespace {

// The tree as "serial pred name" in pre-order, children in chain order.
std::string shape(Kes_name_tree *t) {
  std::string out;
  std::function<void(Kes_tree_node *)> walk = [&](Kes_tree_node *n) {
    for (; n; n = n->next_sibling) {
      Kes_name_node *nn = static_cast<Kes_name_node *>(n);
      out += std::to_string(n->serial) + " " + std::to_string(n->pred) + " " +
             (nn->name ? nn->name : "(null)") + (n->fake ? " fake" : "") + ";";
      walk(n->first_child);
    }
  };
  walk(t->root);
  return out;
}

Kes_err *build(Kes_name_tree *t, std::vector<std::string> lines, const char *current) {
  Kes_strlist *l = strlist(lines);
  Kes_err *err = t->build_name_tree("s.f", l, current, 1);
  delete l;
  return err;
}

// ---------------------------------------------------------------------------

// Stored lines, newest first, and the file's current name: the tree, lowest
// serial first, and whether the current name was new.
TEST(NamehistTree, StoredLinesMakeTheTree) {
  struct Case {
    std::vector<std::string> lines;
    const char *current, *shape;
    int gained, nodes;
  } cases[] = {
      {{"4 2 d\n", "3 1 c\n", "2 1 b\n", "1 0 a\n"}, "d", "1 0 a;2 1 b;4 2 d;3 1 c;", 0, 4},
      // A new name goes under the latest.
      {{"3 1 c\n", "2 1 b\n", "1 0 a\n"}, "e", "1 0 a;2 1 b;4 2 e;3 1 c;", 1, 4},
      {{}, "src/x.c", "1 0 src/x.c;", 1, 1},
      // Paths keep their blanks; a fake root is known by its name.
      {{"3 1 b c  d\n", "2 1 a b\n", "1 0 /fake\n"}, "a b", "1 0 /fake fake;2 1 a b;3 1 b c  d;", 0,
       3},
      // A repeated serial passes and the later line wins.
      {{"2 1 b\n", "2 1 c\n", "1 0 a\n"}, "c", "1 0 a;2 1 c;", 0, 2},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.shape);
    Kes_name_tree t;
    ASSERT_EQ(nullptr, build(&t, c.lines, c.current));
    EXPECT_EQ(c.shape, shape(&t));
    EXPECT_EQ(c.gained, t.gained);
    EXPECT_EQ(c.nodes, t.node_count);
    if (c.gained && !c.lines.empty()) {
      EXPECT_EQ(c.nodes, t.size);  // the new name took the next serial
    }
    EXPECT_STREQ(c.current, kes_latest_name(&t)->name);
  }
}

TEST(NamehistTree, BadLinesAreRefused) {
  const std::string parse = "Could not parse name history for file\n\"s.f\",\nline contains: ";
  struct Case {
    std::vector<std::string> lines;
    int code;
    std::string text;
  } cases[] = {
      {{"2 1 b\n", "7\n"}, 2079, parse + "7"},
      {{"2 1 b\n", "3 1 c\n"}, 2059, "Name history serial number 3 out of order in file \"s.f\""},
      // A predecessor that isn't older than its node would make a loop.
      {{"2 2 b\n", "1 0 a\n"}, 2079, parse + "2 2 b"},
      {{"2 1 b\n"}, 2079, parse + "2 1 b"},
  };
  for (const Case &c : cases) {
    Kes_name_tree t;
    expect_error(build(&t, c.lines, "b"), c.code, c.text);
  }
}

// ---------------------------------------------------------------------------
// In real files

std::vector<std::string> stored_lines(const std::string &sfile) {
  std::vector<std::string> v;
  std::string text = read_file(sfile), key = "\001c Name history : ";
  for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + 1))
    v.push_back(text.substr(at + key.size(), text.find('\n', at) - at - key.size()));
  return v;
}

std::string tree_of(const std::string &sfile, const char *name, int *gained = nullptr) {
  SCCS_sfile f(sfile.c_str());
  Kes_err *err = f.build_name_tree(name, 0);
  EXPECT_EQ(nullptr, err);
  delete err;
  if (!f.name_tree) return "";
  if (gained) *gained = static_cast<Kes_name_tree *>(f.name_tree)->gained;
  return shape(static_cast<Kes_name_tree *>(f.name_tree));
}

// Reads the file's tree under the name and writes it back.
void record_name(const std::string &sfile, const char *name) {
  SCCS_sfile f(sfile.c_str());
  ASSERT_EQ(nullptr, f.build_name_tree(name, 0));
  Kes_name_history nh(&f, 0);
  Kes_err *err = nh.write_from_tree(static_cast<Kes_name_tree *>(f.name_tree));
  ASSERT_EQ(nullptr, err) << err->text;
}

TEST(NamehistFile, RenamesAreRecordedAndReadBack) {
  Temp_dir d;
  std::string s = make_rich_history(d.path(), "f");
  std::string texts = versions(s);
  int gained = -1;
  EXPECT_EQ("1 0 src/f.c;", tree_of(s, "src/f.c", &gained));
  EXPECT_EQ(1, gained);

  record_name(s, "src/f.c");
  EXPECT_EQ(0, val(s));
  EXPECT_EQ(0, admin_check(s));
  EXPECT_EQ(texts, versions(s));
  EXPECT_EQ(std::vector<std::string>{"1 0 src/f.c"}, stored_lines(s));
  EXPECT_EQ("1 0 src/f.c;", tree_of(s, "src/f.c", &gained));
  EXPECT_EQ(0, gained);

  record_name(s, "new dir/f  2.c");
  record_name(s, "src/f.c");
  EXPECT_EQ(0, val(s));
  EXPECT_EQ(texts, versions(s));
  EXPECT_EQ((std::vector<std::string>{"3 2 src/f.c", "2 1 new dir/f  2.c", "1 0 src/f.c"}),
            stored_lines(s));
  EXPECT_EQ("1 0 src/f.c;2 1 new dir/f  2.c;3 2 src/f.c;", tree_of(s, "src/f.c", &gained));
  EXPECT_EQ(0, gained);
}

TEST(NamehistFile, GraftedNamesAndFakeRootsSurviveTheRoundTrip) {
  Temp_dir d;
  std::string s = make_rich_history(d.path(), "f");
  record_name(s, "a");
  record_name(s, "b");
  {
    SCCS_sfile f(s.c_str());
    ASSERT_EQ(nullptr, f.build_name_tree("b", 0));
    Kes_name_tree *t = static_cast<Kes_name_tree *>(f.name_tree);
    // A name that came from elsewhere, grafted as a merge does: behind the
    // existing child, so the latest name stays "b".
    Kes_name_tree other(1);
    Kes_name_node *c = other.ith_name(1);
    c->set_name("c");
    c->serial = 1;
    c->parent = t->root;
    t->root->append_child(c);
    // And an unrelated history under a fake root.
    Kes_name_node *u = other.ith_name(2);
    u->set_name("unrelated");
    u->serial = 2;
    t->add_fake();
    u->parent = t->root;
    t->root->append_child(u);
    Kes_name_history nh(&f, 0);
    ASSERT_EQ(nullptr, nh.write_from_tree(t));
    c->parent = u->parent = nullptr;
  }
  EXPECT_EQ(0, val(s));
  EXPECT_EQ((std::vector<std::string>{"5 1 unrelated", "4 2 c", "3 2 b", "2 1 a", "1 0 /fake"}),
            stored_lines(s));
  EXPECT_EQ("1 0 /fake fake;2 1 a;3 2 b;4 2 c;5 1 unrelated;", tree_of(s, "b"));
}

// ---------------------------------------------------------------------------
// The fast read

struct Fast {
  Kes_name_tree *tree = nullptr;
  SCCS_deltalist *deltas = nullptr;
  int conflicted = 0;
  ~Fast() {
    delete tree;
    delete deltas;
  }
  std::vector<std::string> smids() {
    std::vector<std::string> v;
    for (Kes_listelem *e = deltas->head.next; e != &deltas->head; e = e->next)
      v.push_back(smid_text(kes_smid_from_delta(static_cast<Kes_delta *>(e->data))));
    return v;
  }
};

Kes_err *fast_read(const std::string &sfile, const char *name, Fast *out, Kes_mmap *mm = nullptr) {
  SCCS_sfile f(sfile.c_str());
  return f.build_nametree_deltalist(mm, name, &out->tree, &out->deltas, &out->conflicted);
}

// Through the caller's window, which stays open: the root and the same tree as
// a full read; then a conflict record is reported.
TEST(NamehistFast, GivesTheRootTheTreeAndTheConflictOfAFullRead) {
  Temp_dir d;
  std::string s = make_rich_history(d.path(), "f");
  record_name(s, "one");
  record_name(s, "two words");
  Kes_mmap mm(s.c_str(), nullptr);
  ASSERT_EQ(nullptr, mm.open());
  Fast fast;
  ASSERT_EQ(nullptr, fast_read(s, "three", &fast, &mm));
  EXPECT_EQ(tree_of(s, "three"), shape(fast.tree));
  EXPECT_EQ(1, fast.tree->gained);
  EXPECT_EQ(0u, fast.tree->root->side);
  EXPECT_EQ(0, fast.conflicted);
  ASSERT_EQ(1, fast.deltas->count);
  EXPECT_EQ(1, static_cast<Kes_delta *>(fast.deltas->head.next->data)->serial);
  EXPECT_EQ(std::vector<std::string>{root_smid(s, 0)}, fast.smids());
  ASSERT_EQ(nullptr, mm.rewind());
  char buf[1024];
  Kes_err *err = nullptr;
  ASSERT_NE(nullptr, mm.gets(buf, sizeof buf, &err));
  EXPECT_EQ(0, strncmp(buf, "\001h", 2));
  ASSERT_EQ(nullptr, mm.close());

  {
    SCCS_sfile f(s.c_str());
    Kes_sdata sd(&f, 0);
    Kes_strlist *v = strlist({"noforce /ws 1.3 1.2.1.1"});
    ASSERT_EQ(nullptr, sd.replace_values(KES_ATTR_CONFLICT, v));
    delete v;
    ASSERT_EQ(nullptr, f.write());
  }
  Fast again;
  ASSERT_EQ(nullptr, fast_read(s, "f", &again));
  EXPECT_EQ(1, again.conflicted);
}

TEST(NamehistFast, UnderAFakeRootListsEveryRealRoot) {
  Temp_dir d;
  std::string s = fake_rooted(d.path(), "\001c a\n", "\001c b\n");
  ASSERT_EQ(0, val(s));
  Fast fast;
  ASSERT_EQ(nullptr, fast_read(s, "two", &fast));
  ASSERT_EQ(2, fast.deltas->count);
  SCCS_sfile f(s.c_str());
  ASSERT_EQ(nullptr, f.buildtree(0, 0, 0));
  std::vector<std::string> expect;
  for (const char *sid : {"1.1.1.1", "1.2"})
    expect.push_back(smid_text(kes_smid_from_delta(f.find_delta_w_sid(sid))));
  EXPECT_EQ(expect, fast.smids());
}

// A damaged table: the error, and nothing handed out.
TEST(NamehistFast, FailuresHandOutNothing) {
  Temp_dir d;
  std::string s = make_rich_history(d.path(), "f");
  std::string rising = d.file("s.rising");
  copy_file(s, rising);
  edit_sfile(rising, "root 5 3\n", "root 9 3\n");  // 1.4 above 1.5's 6
  Fast a;
  expect_error(fast_read(rising, "f", &a), 2060,
               "Delta serial number 9 out of order in file \"" + rising + "\"");
  EXPECT_EQ(nullptr, a.tree);
  EXPECT_EQ(nullptr, a.deltas);
}

}  // namespace
