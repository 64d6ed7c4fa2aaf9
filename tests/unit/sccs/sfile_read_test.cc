// Reading history files: files made by CSSC checked against what CSSC's prs,
// get -g and sact say about them, the tree operations over what was read, and
// damaged files refused with their codes.
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sccs/kes_smid.h"
#include "sccs/sccs_helpers.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"
#include "util/kes_list.h"

using namespace sccs_test;
using namespace support;

namespace {

std::string joined(char **v) {
  std::string s;
  for (char **p = v; p && *p; p++) s += *p;
  return s;
}

std::string serials(Kes_tree_node **v) {
  std::string s;
  for (Kes_tree_node **p = v; p && *p; p++) s += (s.empty() ? "" : " ") + std::to_string((*p)->serial);
  return s;
}

// prs's list form " 4 5" or "4 5" normalised to "4 5".
std::string words(const std::string &text) {
  std::istringstream in(text);
  std::string w, s;
  while (in >> w) s += (s.empty() ? "" : " ") + w;
  return s;
}

Run_result checked(const std::string &cmd, const std::string &dir) {
  Run_result r = support::sh(cmd, dir);
  EXPECT_EQ(r.status, 0) << cmd << "\n" << r.err;
  return r;
}

// Every delta's fields against prs, and the removed ones against the table.
void expect_matches_prs(SCCS_sfile *f, const std::string &s) {
  Kes_delta_tree *t = f->tree;
  ASSERT_NE(t, nullptr);
  std::vector<Table_row> rows = table_rows(s);
  ASSERT_FALSE(rows.empty());
  EXPECT_EQ(t->size, rows.front().serial);
  EXPECT_EQ(t->node_count, (int)rows.size());
  for (const Table_row &row : rows) {
    Kes_delta *d = t->ith_delta(row.serial);
    SCOPED_TRACE("SID " + row.sid);
    ASSERT_EQ(d->serial, row.serial);
    EXPECT_STREQ(d->sid, row.sid.c_str());
    EXPECT_EQ(d->pred, row.pred);
    EXPECT_EQ(d->removed, row.type == 'R' ? 1u : 0u);
    if (row.pred)
      EXPECT_EQ(d->parent, t->ith_node(row.pred));
    else
      EXPECT_EQ(d->parent, nullptr);
    if (row.type == 'R') continue;  // prs doesn't show removed deltas
    std::string line = prs(s, ":D: :T:|:P:|:DS:|:DP:|:Li:/:Ld:/:Lu:|:Dn:|:Dx:|:Dg:", row.sid);
    std::vector<std::string> fld;
    std::string cur;
    for (char c : line.substr(0, line.size() - 1)) {
      if (c == '|') {
        fld.push_back(cur);
        cur.clear();
      } else {
        cur += c;
      }
    }
    fld.push_back(cur);
    ASSERT_EQ(fld.size(), 8u) << line;
    EXPECT_EQ(d->date, fld[0]);
    EXPECT_EQ(d->user, fld[1]);
    EXPECT_EQ(std::to_string(d->serial), fld[2]);
    EXPECT_EQ(std::to_string(d->pred), fld[3]);
    EXPECT_EQ(std::string(d->stats), fld[4] + "\n");
    EXPECT_EQ(serials(d->includes), words(fld[5]));
    EXPECT_EQ(serials(d->excludes), words(fld[6]));
    EXPECT_EQ(serials(d->ignores), words(fld[7]));
    EXPECT_EQ(joined(d->comments) + "\n", prs(s, ":C:", row.sid));
    std::string mrs = prs(s, ":MR:", row.sid);
    if (mrs == "\n")
      EXPECT_EQ(d->mrs, nullptr);
    else
      EXPECT_EQ(joined(d->mrs) + "\n", mrs);
  }
}

// The SID that CSSC's get would give without -r.
std::string cssc_default_sid(const std::string &s) {
  Run_result r = sh(cssc("get") + " -g " + shq(s));
  EXPECT_EQ(r.status, 0) << r.err;
  return r.out.substr(0, r.out.find('\n'));
}

TEST(SfileRead, RichHistoryMatchesPrs) {
  Temp_dir dir;
  std::string s = make_rich_history(dir.path(), "r.c");
  // A default SID on the branch; the i flag only once get -g has run, for no
  // version holds an id keyword.
  checked(cssc("admin") + " -fd1.2.1 s.r.c", dir.path());
  std::string default_sid = cssc_default_sid(s);
  checked(cssc("admin") + " -fi s.r.c", dir.path());
  auto f = read_full(s);
  expect_matches_prs(f.get(), s);
  Kes_delta_tree *t = f->tree;

  // Head and default delta: CSSC's get -g gives the same SID; the head path
  // runs 1.2.1.1 -> 1.2 -> 1.1 and nothing else.
  EXPECT_STREQ(f->head_delta()->sid, default_sid.c_str());
  EXPECT_STREQ(f->default_sid, "1.2.1");
  EXPECT_EQ(f->default_delta, f->head_delta());
  std::set<std::string> on_path;
  for (int i = 1; i <= t->size; i++)
    if (t->ith_delta(i)->on_head_path) on_path.insert(t->ith_delta(i)->sid);
  EXPECT_EQ(on_path, (std::set<std::string>{"1.1", "1.2", "1.2.1.1"}));
  EXPECT_EQ(f->sdata_delta, nullptr);
  EXPECT_EQ(t->largest_serial(), 6);

  // Flags, users and descriptive text as prs gives them.
  Kes_sc_flags *fl = f->flags;
  auto yn = [](int v) { return std::string(v ? "yes" : "no"); };
  std::string mine = yn(fl->enable_branch) + "|" + fl->ceiling_delta + "|" + fl->floor_delta +
                     "|" + fl->default_sid + "|" + yn(fl->no_kw_is_err) + "|" +
                     yn(fl->allow_concurr) + "|" + yn(fl->empty_skip_rel) + "|" + fl->Q_kw + "|" +
                     fl->M_kw + "|" + fl->T_kw + "|" + fl->locked_releases + "|" + fl->verif_prog;
  EXPECT_EQ(mine + "\n", prs(s, ":BF:|:CB:|:FB:|:Ds:|:KF:|:J:|:ND:|:Q:|:M:|:Y:|:LK:|:MP:", "1.1"));
  EXPECT_EQ(fl->encoded, 0);
  std::string users;
  for (Kes_listelem *e = f->locks->locks->head.next; e != &f->locks->locks->head; e = e->next)
    users += static_cast<char *>(e->data);
  EXPECT_EQ(users + "\n", prs(s, ":UN:", "1.1"));
  EXPECT_EQ(joined(f->desc_text) + "\n", prs(s, ":FD:", "1.1"));

  // 1.2 has the trunk child 1.3 and the branch 1.2.1.1: the trunk child first.
  Kes_delta *d12 = t->find_delta("1.2");
  ASSERT_NE(d12->first_child, nullptr);
  EXPECT_STREQ(d12->first_child_delta()->sid, "1.3");
  ASSERT_NE(d12->first_child->next_sibling, nullptr);
  EXPECT_STREQ(d12->first_child_delta()->next_sibling_delta()->sid, "1.2.1.1");
  EXPECT_EQ(d12->first_child->next_sibling->next_sibling, nullptr);

  // find_delta sees removed deltas, find_sid doesn't; ancestors go by
  // predecessors and includes (1.4 includes 1.2.1.1).
  ASSERT_NE(t->find_delta("1.5"), nullptr);
  EXPECT_TRUE(t->find_delta("1.5")->removed);
  EXPECT_EQ(t->find_sid("1.5"), nullptr);
  EXPECT_EQ(t->find_sid("1.3"), t->ith_node(3));
  EXPECT_EQ(t->get_common_ancestor("1.3", "1.2.1.1"), t->ith_node(2));
  EXPECT_EQ(t->get_common_ancestor("1.4", "1.2.1.1"), t->ith_node(4));
  EXPECT_EQ(t->get_common_ancestor("1.4", "7.7"), nullptr);

  // With the trunk's 1.4 as head, the nth latest walks predecessors, then includes.
  sh(cssc("admin") + " -dd s.r.c", dir.path());
  auto g = read_full(s);
  ASSERT_STREQ(g->head_delta()->sid, "1.4");
  int want[] = {5, 3, 2, 1, 4};
  for (int n = 1; n <= 5; n++) EXPECT_EQ(g->get_nth_from_latest(n), g->tree->ith_node(want[n - 1])) << n;
  EXPECT_EQ(g->get_nth_from_latest(9), nullptr);
}

// A binary history without flags: encoded, no default SID, no users, no text.
TEST(SfileRead, DefaultsWithoutFlagsInABinaryHistory) {
  Temp_dir dir;
  write_file(dir.file("init"), std::string("\x01\x02\x00\xff binary\n", 12));
  Run_result r = sh(cssc("admin") + " -n -b -iinit s.bin", dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  auto f = read_full(dir.file("s.bin"));
  EXPECT_EQ(f->flags->encoded, 1);
  EXPECT_STREQ(f->default_sid, "1");
  EXPECT_EQ(f->flags->enable_branch, 0);
  EXPECT_EQ(f->flags->default_sid, nullptr);
  EXPECT_EQ(f->locks->locks->count, 0);
  EXPECT_EQ(f->desc_text, nullptr);
  EXPECT_STREQ(f->head_delta()->sid, "1.1");
  // A delta without comments has an empty, not a missing, comment array.
  EXPECT_NE(f->head_delta()->comments, nullptr);
}

TEST(SfileRead, PfileEntriesMatchSact) {
  Temp_dir dir;
  new_history(dir.path(), "q.c", "one\n", "-fj");
  std::string s = dir.file("s.q.c");
  add_delta(s, "one\ntwo\n", "c");
  ASSERT_EQ(sh(cssc("get") + " -s -e s.q.c", dir.path()).status, 0);
  ASSERT_EQ(sh("rm -f q.c && " + cssc("get") + " -s -e -r1.1 s.q.c", dir.path()).status, 0);
  auto f = read_full(s);
  EXPECT_TRUE(f->has_pfile);
  EXPECT_TRUE(f->state & KES_SF_REWRITE);
  std::string mine;
  for (Kes_pfile *p = f->pfile_list; p; p = p->next)
    mine += std::string(p->old_sid) + " " + p->new_sid + " " + p->user + " " + p->date + " " +
            p->time + "\n";
  Run_result sact = sh(cssc("sact") + " s.q.c", dir.path());
  EXPECT_EQ(mine, sact.out);
  // Each entry points at the delta of its old SID, which is marked.
  ASSERT_NE(f->pfile_list, nullptr);
  ASSERT_NE(f->pfile_list->next, nullptr);
  EXPECT_EQ(f->pfile_list->delta, f->tree->find_delta("1.2"));
  EXPECT_EQ(f->pfile_list->next->delta, f->tree->find_delta("1.1"));
  EXPECT_TRUE(f->tree->find_delta("1.1")->in_pfile);
  EXPECT_TRUE(f->tree->find_delta("1.2")->in_pfile);
}

TEST(SfileRead, PfileShortLinesAreSkipped) {
  Temp_dir dir;
  new_history(dir.path(), "q.c", "one\n");
  write_file(dir.file("p.q.c"), "1.1 1.2 ann\n1.1 1.2 bob 26/01/02 03:04:05\n");
  auto f = read_full(dir.file("s.q.c"));
  ASSERT_NE(f->pfile_list, nullptr);
  EXPECT_STREQ(f->pfile_list->user, "bob");
  EXPECT_STREQ(f->pfile_list->time, "03:04:05");
  EXPECT_EQ(f->pfile_list->next, nullptr);
  // Without asking, the p-file isn't read.
  auto g = read_full(dir.file("s.q.c"), 0, 0);
  EXPECT_EQ(g->pfile_list, nullptr);
  EXPECT_FALSE(g->has_pfile);
  EXPECT_FALSE(g->tree->ith_delta(1)->in_pfile);
}

// Files the reader takes although they are odd: descriptive text cut at a line
// with 'T' as its second byte, unknown flag letters, a wrong checksum (which
// CSSC notices and the reader leaves to others).
TEST(SfileRead, OddFilesStillRead) {
  Temp_dir dir;
  write_file(dir.file("desc"), "first\nATM machines\nlast\n");
  new_history(dir.path(), "d.c", "x\n", "-tdesc -fqkeep");
  std::string s = dir.file("s.d.c");
  std::string t = read_file(s);
  t.insert(t.find("\001f q"), "\001f z strange\n\001f x\n");
  t.replace(2, 5, "12345");
  write_file(s, t);
  ASSERT_NE(admin_check(s), 0);
  auto f = read_full(s);
  EXPECT_EQ(joined(f->desc_text), "first\n");
  EXPECT_STREQ(f->flags->Q_kw, "keep");
  EXPECT_STREQ(f->head_delta()->sid, "1.1");
}

TEST(SfileRead, DefaultSidChoosesHeadAndDefaultDelta) {
  // Three trunk deltas.  A branch 1.2.1 with no delta: the head is 1.2 itself,
  // not the trunk's latest, and a two-dot SID names no delta, so the default
  // delta is the head.  One dot: the default delta is that delta, the head is
  // the trunk's latest.
  struct Case {
    const char *flag, *head, *default_sid;
  } cases[] = {{"1.2.1", "1.2", "1.2"}, {"1.2", "1.3", "1.2"}};
  for (const Case &c : cases) {
    Temp_dir dir;
    new_history(dir.path(), "b.c", "x\n");
    std::string s = dir.file("s.b.c");
    add_delta(s, "x\ny\n", "two");
    add_delta(s, "x\ny\nz\n", "three");
    std::string t = read_file(s);
    t.insert(t.find("\001t\n"), std::string("\001f d ") + c.flag + "\n");
    write_file(s, t);
    auto f = read_full(s);
    EXPECT_STREQ(f->head_delta()->sid, c.head) << c.flag;
    EXPECT_STREQ(f->default_delta->sid, c.default_sid) << c.flag;
  }
}

// ---------------------------------------------------------------------------
// Names

TEST(SfileNames, ClearNames) {
  SCCS_sfile f("x");
  struct Case {
    const char *in, *out;
  } cases[] = {
      {"SCCS/s.foo.c", "foo.c"},      {"./SCCS/s.foo.c", "foo.c"},
      {"a/b/SCCS/s.foo.c", "a/b/foo.c"}, {"/SCCS/s.foo.c", "/foo.c"},
      {"a/s.foo.c", "a/foo.c"},       {"s.foo.c", "foo.c"},
      {"a/b/foo.c", "a/b/foo.c"},     {"a/SCCS/p.foo.c", "a/SCCS/p.foo.c"},
  };
  for (const Case &c : cases) {
    char *got = f.get_clr_name(c.in);
    EXPECT_STREQ(got, c.out) << c.in;
    free(got);
  }
  EXPECT_STREQ(f.clr_path, "x");
}

TEST(SfileNames, HistoryAndPfileNames) {
  SCCS_sfile f("a/SCCS/s.foo.c");
  EXPECT_STREQ(f.clr_path, "a/foo.c");
  char *s = f.get_sname("a/foo.c"), *p = f.get_pname("a/foo.c"), *s2 = f.get_sname("foo.c");
  EXPECT_STREQ(s, "a/SCCS/s.foo.c");
  EXPECT_STREQ(p, "a/SCCS/p.foo.c");
  EXPECT_STREQ(s2, "SCCS/s.foo.c");
  free(s);
  free(p);
  free(s2);
  char buf[1024];
  ASSERT_EQ(f.build_pfilename(buf), 1);
  EXPECT_STREQ(buf, "a/SCCS/p.foo.c");
  ASSERT_EQ(f.build_zfilename(nullptr), 1);
  EXPECT_STREQ(f.zfile_path, "a/SCCS/z.foo.c");
  ASSERT_EQ(f.build_zfilename("/o/s.bar"), 1);
  EXPECT_STREQ(f.zfile_path, "/o/z.bar");
  EXPECT_EQ(f.build_zfilename("/o/S.bar"), 0);
  SCCS_sfile odd("dir/foo.c");
  EXPECT_EQ(odd.build_pfilename(buf), 0);
  EXPECT_EQ(odd.build_zfilename(nullptr), 0);
  EXPECT_EQ(odd.zfile_path, nullptr);
}

// ---------------------------------------------------------------------------
// Dates and SIDs

// Years 69-99 are 19xx, 00-68 are 20xx; cmptm gives the first difference b - a.
TEST(SfileDates, TwoDigitYearsAndComparison) {
  struct tm a, b;
  mystrptime("68/01/01 00:00:00", &a);
  mystrptime("99/12/31 23:59:59", &b);
  EXPECT_EQ(a.tm_year, 168);
  EXPECT_EQ(b.tm_year, 99);
  EXPECT_LT(cmptm(&a, &b), 0);
  mystrptime("69/02/03 04:05:06", &a);
  EXPECT_EQ(std::vector<int>({a.tm_year, a.tm_mon, a.tm_mday, a.tm_hour, a.tm_min, a.tm_sec}),
            std::vector<int>({69, 1, 3, 4, 5, 6}));
  mystrptime("90/05/05 10:10:10", &a);
  mystrptime("90/05/05 10:10:13", &b);
  EXPECT_EQ(cmptm(&a, &b), 3);
  EXPECT_EQ(cmptm(&b, &a), -3);
  mystrptime("90/07/01 00:00:00", &b);
  EXPECT_EQ(cmptm(&a, &b), 2);  // months, before any later field
}

TEST(SfileSids, ComponentsAndBranches) {
  int r, l, b, s;
  EXPECT_EQ(get_sid_info("1.2.3.4", &r, &l, &b, &s), 4);
  EXPECT_EQ(r * 1000 + l * 100 + b * 10 + s, 1234);
  EXPECT_EQ(get_sid_info("5", &r, &l, &b, &s), 1);
  EXPECT_EQ(r * 1000 + l * 100 + b * 10 + s, 5000);
  EXPECT_EQ(get_sid_info("9.8.1.2.3.4", &r, &l, &b, &s), 6);  // the last four count
  EXPECT_EQ(r * 1000 + l * 100 + b * 10 + s, 1234);
  EXPECT_TRUE(samebranch("1", "2.7"));
  EXPECT_FALSE(samebranch("1", "1.2.1.1"));
  EXPECT_TRUE(samebranch("1.2.1", "1.2.1.5"));
  EXPECT_FALSE(samebranch("1.2.1", "1.2.2.1"));
  EXPECT_FALSE(samebranch("1.2.1", "1.3"));
}

// ---------------------------------------------------------------------------
// The tree over tables written by hand: child order, time order with gaps.

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

// Times rise with the serials, over a slot left unused: deltas of one second
// move on by whole seconds (not normalised), one dated before the delta below
// it follows that one; the date texts stay, and a rewrite keeps the table.
TEST(SfileTree, TimesRiseWithTheSerials) {
  Temp_dir dir;
  std::string s = hand_written(dir, delta("1.4", "85/01/01 00:00:00", 5, 3, "d") +
                                        delta("1.3", "99/12/31 23:59:59", 3, 2, "c") +
                                        delta("1.2", "99/12/31 23:59:59", 2, 1, "b") +
                                        delta("1.1", "99/12/31 23:59:59", 1, 0, "a"));
  auto f = read_full(s);
  Kes_delta_tree *t = f->tree;
  EXPECT_EQ(t->ith_delta(4)->serial, 0);
  std::vector<int> secs;
  for (int i : {1, 2, 3, 5}) secs.push_back(t->ith_delta(i)->time.tm_sec);
  EXPECT_EQ(secs, (std::vector<int>{59, 60, 61, 62}));
  EXPECT_EQ(t->ith_delta(5)->time.tm_year, 99);
  EXPECT_STREQ(t->ith_delta(5)->date, "85/01/01 00:00:00");
  std::string before = read_file(s);
  ASSERT_EQ(f->write(), nullptr);
  EXPECT_EQ(read_file(s).substr(8), before.substr(8));
}

// ---------------------------------------------------------------------------
// Damaged history files: each is refused with its code and text, in the full
// read and in the roots-only read where the damage lies in what that reads.
class SfileErrors : public ::testing::Test {
protected:
  void SetUp() override {
    new_history(dir.path(), "e.c", "one\n");
    s = dir.file("s.e.c");
    add_delta(s, "one\ntwo\n", "second");
    add_delta(s, "one\ntwo\nthree\n", "third");
    good = read_file(s);
  }

  Temp_dir dir;
  std::string s, good;
};

// How a good three-delta file is damaged: 'r' replaces the first `from` with
// `to`, 'c' cuts the file before `from` and appends `to`, 'w' writes `to` as
// the whole file.  mode: 0 full read, 1 roots-only read, 2 both.  code 0: the
// read succeeds.  An @ in the text stands for the file's name.
struct Damage {
  char how;
  const char *from, *to;
  int mode, code;
  const char *text;
};

const char kNotSfile[] = "File \"@\" is probably not an s-file\non line ";
const char kCorrupted[] = "SCCS file \"@\" is corrupted";

const Damage kDamages[] = {
    {'r', "\001c third", "Xc third", 2, 2039, "4 expected ^A, but got 'X' (0x58)"},
    // 1,100 bytes of comment: the stream reads it in pieces, and the second
    // piece isn't a control line.  The mapped reader refuses the line whole.
    {'r', "\001c third\n", nullptr, 0, 2039, "5 expected ^A, but got 'w' (0x77)"},
    {'r', "\001c third\n", nullptr, 1, 2000, "Line too long or unexpected end of file in \"@\""},
    // Letters between the known ones are unknown too; the root generation
    // reads the delta of serial 2, so it sees the letter.
    {'r', "\001c second", "\001k second", 2, 2026,
     "Unknown SCCS control character (k) in file\n\"@\" at line 8"},
    {'c', "\001u\n", "", 2, 2055, "File \"@\" has incomplete delta table"},
    {'w', "", "\001h00000\n\001u\n\001U\n\001t\n\001T\n", 2, 2024, "File \"@\" has no deltas"},
    // A rising serial in a delta that roots-only skips.
    {'r', " 2 1\n", " 4 1\n", 2, 2060, "Delta serial number 4 out of order in file \"@\""},
    // No table has more deltas than the file has bytes; one just under its
    // size, though past the bytes read when it is met, is taken.
    {'r', " 3 2\n", " 9999 2\n", 2, 2043, kCorrupted},
    {'r', " 3 2\n", " 150 2\n", 2, 0, ""},
    // Behind the table only the full read looks; a bad include list or
    // predecessor stands for the damaged table lines.
    {'c', "\001u\n", "\001u\n\001U\n\001t\nsome text\n", 0, 2043, kCorrupted},
    {'c', "\001u\n", "\001u\n\001U\n\001t\nsome text\n", 1, 0, ""},
    {'r', "\001c third", "\001i 9\n\001c third", 0, 2043, kCorrupted},
    {'r', " 2 1\n", " 2 2\n", 0, 2043, kCorrupted},
    {'r', "\001t\n", "\001f d 1.9.1\n\001t\n", 0, 2523,
     "Internal error in sccsmerge in find_leaf_delta(): could not find a leaf delta "
     "for default SID\n1.9.1 in file \"@\""},
    {'r', "\001t\n", "\001f d 1.9.1\n\001t\n", 1, 0, ""},
};

TEST_F(SfileErrors, EachDamageIsRefusedWithItsCodeAndText) {
  for (const Damage &d : kDamages) {
    std::string to = d.to ? d.to : "\001c " + std::string(1100, 'w') + "\n";
    std::string t = good;
    if (d.how == 'w') {
      t = to;
    } else {
      size_t at = t.find(d.from);
      ASSERT_NE(at, std::string::npos) << d.from;
      t = d.how == 'c' ? t.substr(0, at) + to : t.replace(at, strlen(d.from), to);
    }
    write_file(s, t);
    std::string text = d.code == 2039 ? kNotSfile + std::string(d.text) : d.text;
    for (size_t at; (at = text.find('@')) != std::string::npos;) text.replace(at, 1, s);
    for (int roots_only = 0; roots_only < 2; roots_only++) {
      if (d.mode != 2 && d.mode != roots_only) continue;
      SCOPED_TRACE(to + " read with roots_only " + std::to_string(roots_only));
      SCCS_sfile f(s.c_str());
      Kes_err *err = f.buildtree(0, 0, roots_only);
      if (d.code == 0) {
        EXPECT_EQ(err, nullptr) << err->text;
        delete err;
        continue;
      }
      ASSERT_NE(err, nullptr);
      EXPECT_EQ(err->code, d.code);
      EXPECT_EQ(std::string(err->text), text + "  (Error " + std::to_string(d.code) + ")\n");
      EXPECT_FALSE(f.exists);
      delete err;
    }
  }
}

TEST_F(SfileErrors, MissingFile) {
  unlink(s.c_str());
  const std::string text = "Open of \"" + s + "\" for reading failed  (Error 1001)"
                           " - No such file or directory  (System error 2)\n";
  for (int roots_only = 0; roots_only < 2; roots_only++) {
    SCCS_sfile f(s.c_str());
    Kes_err *err = f.buildtree(0, 1, roots_only);
    ASSERT_NE(err, nullptr);
    EXPECT_EQ(err->code, 1001);
    EXPECT_EQ(std::string(err->text), text);
    EXPECT_FALSE(f.exists);
    EXPECT_EQ(f.tree, nullptr);
    delete err;
  }
}

}  // namespace
