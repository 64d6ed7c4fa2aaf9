// The body editor of the rebuilding merge: its views give the versions the SCCS
// programs give, its difference lists do what they say, and its internal
// checks fire on broken bodies.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "support/merge_gen.h"
#include "sccs/sccs_sfile.h"
#include "sccs/seditor.h"
#include "util/kes_err.h"

using namespace merge_gen;

namespace {

// The deltas of a file read by the engine, at index size - serial.
struct Read_file {
  SCCS_sfile sf;
  std::vector<Kes_tree_node *> list;
  int size = 0;
  explicit Read_file(const std::string &path) : sf(path.c_str()) {
    Kes_err *e = sf.buildtree(0, 0, 0);
    EXPECT_EQ(e, nullptr) << (e ? e->text : "");
    delete e;
    for (int s = 0; s < sf.tree->array_length; s++)
      if (sf.tree->ith_node(s)->serial > size) size = sf.tree->ith_node(s)->serial;
    list.assign(size + 1, nullptr);
    for (int s = 0; s < sf.tree->array_length; s++) {
      Kes_tree_node *n = sf.tree->ith_node(s);
      if (n->serial) list[size - n->serial] = n;
    }
  }
  Kes_delta *by_sid(const std::string &sid) {
    for (int s = 0; s < sf.tree->array_length; s++) {
      Kes_delta *d = sf.tree->ith_delta(s);
      if (d->serial && !d->removed && d->sid && sid == d->sid) return d;
    }
    return nullptr;
  }
};

// The text of one version as the editor's view sees it.
std::string view_text(Read_file &f, Kes_tree_node *node) {
  SEditor ed(&f.sf, f.list.data(), f.size);
  SEditorFlags flags;
  flags.init(f.list.data(), f.size, node, nullptr, nullptr);
  ed.seek_to_body();
  std::string text;
  while (char *l = ed.read_line(0))
    if (ed.parse_line(flags) && l[0] != '\001') text += l;
  flags.fini();
  return text;
}

// ---- a model of difference lists, to check them against ---------------------

using Lines = std::vector<std::string>;

// Applies a list, numbered in the base's lines, to the base.  Deleted lines must
// be those of the base; false when they aren't or the list runs backwards.
bool apply(Diff_list &l, const Lines &base, Lines *out) {
  out->clear();
  long copied = 0;  // base lines handled
  for (Kes_listelem *e = l.head.next; e != &l.head; e = e->next) {
    Diff *d = static_cast<Diff *>(e->data);
    long upto = d->type == Diff::del ? d->line - 1 : d->line;
    if (upto > static_cast<long>(base.size())) return false;
    while (copied < upto) out->push_back(base[copied++]);
    if (d->type == Diff::ins) {
      for (Kes_listelem *x = d->lines->head.next; x != &d->lines->head; x = x->next)
        out->push_back(static_cast<char *>(x->data));
      continue;
    }
    if (d->line != copied + 1) return false;
    for (Kes_listelem *x = d->lines->head.next; x != &d->lines->head; x = x->next) {
      if (copied >= static_cast<long>(base.size()) || base[copied] != static_cast<char *>(x->data))
        return false;
      copied++;
    }
  }
  while (copied < static_cast<long>(base.size())) out->push_back(base[copied++]);
  return true;
}

// A random list over the base, as a comparison of two versions gives it: in
// order, inserts after a line and runs of deleted lines.
void random_list(std::mt19937 &rng, const Lines &base, Diff_list *l) {
  auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
  static const char *const words[] = {"a\n", "b\n", "c\n", "d\n"};
  for (long pos = 0; pos <= static_cast<long>(base.size());) {
    if (pick(4) == 0) {
      Diff *d = new Diff(Diff::ins, pos);
      for (int i = 1 + pick(3); i > 0; i--) d->add_line(words[pick(4)]);
      l->append(d);
    }
    if (pos < static_cast<long>(base.size()) && pick(4) == 0) {
      Diff *d = new Diff(Diff::del, pos + 1);
      long n = std::min<long>(1 + pick(3), base.size() - pos);
      for (long i = 0; i < n; i++) d->add_line(base[pos + i].c_str());
      l->append(d);
      pos += n;
      if (pick(2)) continue;  // an insert may follow a delete directly
    }
    pos++;
  }
}

Lines random_text(std::mt19937 &rng) {
  static const char *const words[] = {"a\n", "b\n", "c\n", "d\n", "e\n"};
  Lines t;
  for (int i = std::uniform_int_distribution<int>(0, 12)(rng); i > 0; i--)
    t.push_back(words[std::uniform_int_distribution<int>(0, 4)(rng)]);
  return t;
}

class SEditorTest : public ::testing::Test {
protected:
  Temp_dir tmp{"seditor"};
  std::string root = tmp.path();
};

}  // namespace

// Histories with many include and exclude lists: every version the editor sees
// is the one the SCCS programs give.
TEST_F(SEditorTest, ViewsAreTheVersionsOfTheSccsPrograms) {
  Generator gen(3, root);
  int checked = 0, lists = 0, branches = 0;
  for (int i = 0; i < 12; i++) {
    Gen_params p;
    p.common_ops = 10;
    p.from_ops = 8;
    p.to_ops = 0;
    p.branch_pct = 40;
    p.ie_pct = 60;
    p.rmdel_pct = 5;
    Pair pair = gen.make_pair(p, "v" + std::to_string(i));
    std::vector<std::string> problems;
    Snapshot s = snapshot(pair.from_sfile, &problems);
    Read_file f(pair.from_sfile);
    for (const Delta_info &d : s.deltas) {
      lists += !d.included.empty() || !d.excluded.empty();
      branches += std::count(d.sid.begin(), d.sid.end(), '.') == 3;
    }
    for (const auto &t : s.text) {
      Kes_delta *d = f.by_sid(t.first);
      ASSERT_NE(d, nullptr) << t.first;
      EXPECT_EQ(view_text(f, d), t.second) << pair.from_sfile << " SID " << t.first;
      checked++;
    }
  }
  EXPECT_GT(checked, 100);
  // The generator keeps its word: the views met include lists and branches.
  EXPECT_GT(lists, 0);
  EXPECT_GT(branches, 0);
}


// Lines carried by a list: what a merged body grows by.
long lines_of(Diff_list &l) {
  long n = 0;
  for (Kes_listelem *e = l.head.next; e != &l.head; e = e->next) n += static_cast<Diff *>(e->data)->count();
  return n;
}

// Adjacent runs fold and a line deleted and inserted again cancels: some
// lists must shrink.
TEST(DiffList, OptimizeKeepsTheEffectAndNeverGrows) {
  std::mt19937 rng(17);
  int shrunk = 0;
  for (int round = 0; round < 3000; round++) {
    Lines base = random_text(rng), want, got;
    Diff_list l;
    random_list(rng, base, &l);
    ASSERT_TRUE(apply(l, base, &want));
    long before = lines_of(l);
    l.optimize();
    ASSERT_TRUE(apply(l, base, &got)) << "round " << round;
    EXPECT_EQ(got, want) << "round " << round;
    EXPECT_LE(lines_of(l), before);
    shrunk += lines_of(l) < before;
  }
  EXPECT_GT(shrunk, 0);
}

// From the view that other differences make of a base, the rebased list leads
// to the text of the delta's own differences.
TEST(DiffList, RebaseLeadsFromTheViewToTheDelta) {
  std::mt19937 rng(29);
  for (int round = 0; round < 3000; round++) {
    Lines base = random_text(rng), view, delta, got;
    Diff_list *b = new Diff_list, *d = new Diff_list;
    random_list(rng, base, b);
    random_list(rng, base, d);
    ASSERT_TRUE(apply(*b, base, &delta));
    ASSERT_TRUE(apply(*d, base, &view));
    Diff_list *r = rebase(b, d);
    EXPECT_TRUE(apply(*r, view, &got)) << "round " << round;
    EXPECT_EQ(got, delta) << "round " << round;
    delete r;
    delete b;
    delete d;
  }
}

// Controls out of order: each refusal with its code and text.
TEST(SEditorFlagsTest, QueueChecks) {
  SEditorFlags f;
  f.init(nullptr, 3, nullptr, nullptr, nullptr);
  f.ctrl_line('I', 2);
  struct Case {
    std::function<void()> call;
    int code;
    const char *text;
  } cases[] = {
      {[&] { f.ctrl_line('I', 2); }, 2526, "nested controls for the same serial"},
      {[&] { f.ctrl_line('E', 3); }, 2527, "end without inc/del"},
      {[&] { f.fini(); }, 2525, "flags left in queue"},
  };
  for (const Case &c : cases) {
    Kes_err *e = nullptr;
    try {
      c.call();
    } catch (Kes_err *x) {
      e = x;
    }
    ASSERT_NE(e, nullptr) << c.text;
    EXPECT_EQ(e->code, c.code);
    EXPECT_NE(strstr(e->text, (std::string("Internal error in merge_bodies: ") + c.text).c_str()),
              nullptr)
        << e->text;
    delete e;
  }
}

// Broken bodies stop the editor with its internal errors.
TEST_F(SEditorTest, BrokenBodies) {
  std::string dir = root + "/broken";
  mkdir(dir.c_str(), 0755);
  write_file(dir + "/f", "one\ntwo\n");
  ASSERT_EQ(run({cssc("admin"), "-if", "s.f"}, dir).status, 0);
  std::string good = read_file(dir + "/s.f");
  struct Case {
    const char *from, *to;
    int code;
    const char *text;
  } cases[] = {
      {"\001I 1\n", "\001X 1\n", 2532, "invalid control type 'X'"},
      {"\001I 1\n", "\001I 7\n", 2531, "invalid serial number"},
      {"\001E 1\n", "", 2525, "flags left in queue"},
  };
  for (const Case &c : cases) {
    std::string s = good;
    size_t at = s.find(c.from, s.find("\001T\n"));
    ASSERT_NE(at, std::string::npos);
    s.replace(at, strlen(c.from), c.to);
    write_file(dir + "/s.f", s);
    Read_file f(dir + "/s.f");
    Kes_err *e = nullptr;
    try {
      view_text(f, f.by_sid("1.1"));
    } catch (Kes_err *x) {
      e = x;
    }
    ASSERT_NE(e, nullptr) << c.text;
    EXPECT_EQ(e->code, c.code);
    EXPECT_NE(strstr(e->text, c.text), nullptr) << e->text;
    delete e;
  }
}
