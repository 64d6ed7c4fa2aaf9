// The data delta: made in real histories and judged by CSSC, its date rule, its
// attributes and their failures; the SmID of real deltas; uniquification and
// the comparison of comments.
#include "sccs/kes_sdata.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "sccs/kes_smid.h"
#include "sccs/kes_snefru.h"
#include "sccs/sccs_helpers.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"
#include "util/kes_list.h"

using namespace sccs_test;
using namespace support;

namespace {

// Adds the data delta to the file in place, through a full read and write.
void add_sdata(const std::string &sfile) {
  SCCS_sfile f(sfile.c_str());
  Kes_sdata sd(&f, 0);
  sd.create = 1;
  ASSERT_EQ(nullptr, sd.check_for_sdata());
  ASSERT_NE(nullptr, sd.sdata);
  Kes_err *err = f.write();
  ASSERT_EQ(nullptr, err) << err->text;
}

std::vector<std::string> values(const std::string &sfile, const char *attribute) {
  SCCS_sfile f(sfile.c_str());
  Kes_sdata sd(&f, 0);
  Kes_strlist *l = nullptr;
  EXPECT_EQ(take(sd.get_values(attribute, &l)).text, "");
  if (!l) return {};
  std::vector<std::string> v = strings(l);
  delete l;
  return v;
}

// ---------------------------------------------------------------------------

TEST(SdataCreate, RewrittenHistoryKeepsEveryVersionAndPassesCssc) {
  Temp_dir d;
  std::string s = make_rich_history(d.path(), "f");
  std::string view = cssc_view(s, false);

  add_sdata(s);
  EXPECT_EQ(0, val(s));
  EXPECT_EQ(0, admin_check(s));
  EXPECT_EQ(view, cssc_view(s, false));

  // The new delta sits at serial 2 under the root; the others moved up,
  // include and exclude lists with them, or the versions would differ.
  std::vector<Table_row> after = table_rows(s);
  ASSERT_EQ(7u, after.size());
  const Table_row &data = after[after.size() - 2];
  EXPECT_EQ('R', data.type);
  EXPECT_EQ("1.2", data.sid);
  EXPECT_EQ(2, data.serial);
  EXPECT_EQ(1, data.pred);
  std::string text = read_file(s);
  EXPECT_NE(std::string::npos,
            text.find("\001s 00000/00000/00000\n\001d R 1.2 ")) << text;
  EXPECT_NE(std::string::npos, text.find(" Brindle 2 1\n\001c " KES_SDATA_MARKER "\001e\n"));

  // Found again, never made twice, and the file is written as it was.
  SCCS_sfile f(s.c_str());
  Kes_sdata sd(&f, 0);
  sd.create = 1;
  ASSERT_EQ(nullptr, sd.check_for_sdata());
  ASSERT_NE(nullptr, sd.sdata);
  EXPECT_EQ(2, sd.sdata->serial);
  EXPECT_FALSE(sd.sdata->new_data_delta);
  EXPECT_EQ(0, f.state & KES_SF_SDATA_INSERTED);
  ASSERT_EQ(nullptr, f.write());
  EXPECT_EQ(text.substr(8), read_file(s).substr(8));  // all but the checksum line
}

TEST(SdataCreate, RootSmidIsTheSameWithAndWithoutDataDelta) {
  Temp_dir d;
  std::string s = make_rich_history(d.path(), "f");
  std::string full = root_smid(s, 0);
  EXPECT_EQ(full, root_smid(s, 1));
  add_sdata(s);
  EXPECT_EQ(full, root_smid(s, 0));
  EXPECT_EQ(full, root_smid(s, 1));
}

TEST(SdataCreate, MarkerWithAnotherUserIsNoDataDelta) {
  Temp_dir d;
  new_history(d.path(), "f", "one\n");
  std::string s = d.file("s.f");
  std::string marker = KES_SDATA_MARKER;
  marker.pop_back();
  add_delta(s, "two\n", marker);  // serial 2 under the root, by the test's user
  SCCS_sfile f(s.c_str());
  Kes_sdata sd(&f, 0);
  ASSERT_EQ(nullptr, sd.find_sdata());
  EXPECT_EQ(nullptr, sd.sdata);
  std::string view = cssc_view(s, false);
  add_sdata(s);
  EXPECT_EQ(0, val(s));
  EXPECT_EQ(view, cssc_view(s, false));
  SCCS_sfile again(s.c_str());
  ASSERT_EQ(nullptr, again.buildtree(0, 0, 0));
  ASSERT_NE(nullptr, again.sdata_delta);
  EXPECT_STREQ(KES_SDATA_USER, again.sdata_delta->user);
  Kes_delta *old = again.tree->find_sid("1.2");  // removed deltas are skipped
  ASSERT_NE(nullptr, old);
  EXPECT_EQ(3, old->serial);
  EXPECT_STRNE(KES_SDATA_USER, old->user);
}


// Every refusal of the data delta's operations and of uniquification, with
// its code and text.
TEST(SdataCreate, MisuseAndFailuresAreReported) {
  Temp_dir d;
  new_history(d.path(), "f", "one\n");
  std::string s = d.file("s.f");
  SCCS_sfile f(s.c_str());
  ASSERT_EQ(nullptr, f.buildtree(0, 0, 0));
  Kes_sdata sd(&f, 0);
  Kes_strlist empty;
  Kes_sdata gone(new SCCS_sfile("/nonexistent-dir/s.f"), 1);  // owns the file object
  gone.create = 1;
  const char *ie = "Internal error in sccsmerge in Kes_sdata::";
  struct Case {
    std::function<Kes_err *()> call;
    int code;
    std::string text;
  } cases[] = {
      {[&] { return gone.check_for_sdata(); }, 1001,
       "Open of \"/nonexistent-dir/s.f\" for reading failed  (Error 1001) - No such file"},
      {[&] { return sd.replace_entire_list(&empty); }, 2536,
       std::string(ie) + "replace_entire_list: NULL sdata delta in \"" + s + "\""},
      // The spare slot is taken, as after another addition to the table.
      {[&] {
         f.tree->ith_node(f.tree->size + 1)->serial = 7;
         sd.create = 1;
         Kes_err *e = sd.check_for_sdata();
         f.tree->ith_node(f.tree->size + 1)->serial = 0;
         return e;
       },
       2534, std::string(ie) + "check_for_sdata(): No room in deltab for new sdata."},
      {[&] {
         SCCS_sfile g(s.c_str());
         Kes_smid none, *fresh = nullptr;
         Kes_err *e = kes_uniquify_sfile_smid(&g, &none, "f", &fresh);
         EXPECT_EQ(nullptr, fresh);
         return e;
       },
       2094, "Internal error: SmID not found"},
  };
  for (Case &c : cases) {
    SCOPED_TRACE(c.code);
    expect_error(c.call(), c.code, c.text);
  }
}

// ---------------------------------------------------------------------------
// The date: one second after the root, counted in Greenwich time whatever the
// zone, with later deltas of the same second moved behind it.

std::string sdata_date(const std::string &sfile) {
  SCCS_sfile f(sfile.c_str());
  Kes_sdata sd(&f, 0);
  sd.create = 1;
  Kes_err *err = sd.check_for_sdata();
  EXPECT_EQ(nullptr, err);
  delete err;
  return sd.sdata ? sd.sdata->date : "";
}

class SdataDate : public testing::Test {
protected:
  void SetUp() override {
    const char *tz = getenv("TZ");
    had_tz = tz != nullptr;
    if (tz) saved = tz;
  }
  void TearDown() override {
    if (had_tz)
      setenv("TZ", saved.c_str(), 1);
    else
      unsetenv("TZ");
  }
  bool had_tz;
  std::string saved;
};

TEST_F(SdataDate, CountsInGreenwichTimeOverCenturiesAndRestoresTheZone) {
  Temp_dir d;
  // 02:30 doesn't exist in that zone on that day: no zone may shift it.
  std::string s = make_dated_history(d.path(), "f", "90/04/01 02:30:00");
  setenv("TZ", "EST5EDT,M4.1.0,M10.5.0", 1);
  EXPECT_EQ("90/04/01 02:30:01", sdata_date(s));
  EXPECT_STREQ("EST5EDT,M4.1.0,M10.5.0", getenv("TZ"));
  unsetenv("TZ");
  EXPECT_EQ("90/04/01 02:30:01", sdata_date(s));
  EXPECT_EQ(nullptr, getenv("TZ"));
  // Over the century and a leap day, in two-digit years.
  EXPECT_EQ("00/01/01 00:00:00", sdata_date(make_dated_history(d.path(), "a", "99/12/31 23:59:59")));
  EXPECT_EQ("68/03/01 00:00:00", sdata_date(make_dated_history(d.path(), "b", "68/02/29 23:59:59")));
}

TEST_F(SdataDate, LaterDeltasOfTheSameSecondStayBehindIt) {
  Temp_dir d;
  std::string s = make_dated_history(d.path(), "f", "92/06/01 12:00:00");
  add_delta(s, "two\n", "second");
  add_delta(s, "three\n", "third");
  // All three deltas in one second: the new delta at :01 must still sort
  // between the root and the others.
  std::string text = read_file(s);
  for (const char *sid : {"1.2 ", "1.3 "}) {
    size_t at = text.find(std::string("\001d D ") + sid);
    ASSERT_NE(std::string::npos, at);
    text.replace(at + 5 + strlen(sid), 17, "92/06/01 12:00:00");
  }
  write_file(s, text);
  ASSERT_EQ(0, sh(cssc("admin") + " -z " + shq(s)).status);
  std::string view = cssc_view(s, false);
  add_sdata(s);
  EXPECT_EQ(0, val(s));
  EXPECT_EQ(view, cssc_view(s, false));
  std::vector<Table_row> rows = table_rows(s);
  ASSERT_EQ(4u, rows.size());
  EXPECT_EQ("1.3", rows[0].sid);
  EXPECT_EQ("1.2", rows[1].sid);
  EXPECT_EQ('D', rows[1].type);
  EXPECT_EQ('R', rows[2].type);
  EXPECT_EQ("1.1", rows[3].sid);
  // The texts of the dates are kept as they were.
  EXPECT_EQ("92/06/01 12:00:00\n92/06/01 12:00:00\n", prs(s, ":D: :T:", "1.3") + prs(s, ":D: :T:", "1.2"));
}

// ---------------------------------------------------------------------------
// Attributes

// Reading makes no data delta; writing an overlong value cuts it and the file
// stays sound.
TEST(SdataAttributes, ReadingMakesNothingAndOverlongLinesAreCut) {
  Temp_dir d;
  new_history(d.path(), "f", "one\n");
  std::string s = d.file("s.f");
  std::string view = cssc_view(s, false);
  {
    SCCS_sfile f(s.c_str());
    Kes_sdata sd(&f, 0);
    sd.create = 1;
    Kes_strlist *l = nullptr;
    ASSERT_EQ(nullptr, sd.get_values(KES_ATTR_NAME_HISTORY, &l));
    EXPECT_EQ(0, l->count);
    delete l;
    EXPECT_EQ(0, sd.create);
    EXPECT_EQ(nullptr, sd.sdata);
    EXPECT_EQ(1, f.tree->node_count);
    EXPECT_EQ(0, f.state & KES_SF_SDATA_INSERTED);
    ASSERT_EQ(nullptr, sd.get_entire_list(&l));
    EXPECT_EQ(0, l->count);
    delete l;
    Kes_strlist *v = strlist({std::string(3000, 'p') + "\n", "short"});
    ASSERT_EQ(nullptr, sd.replace_values(KES_ATTR_NAME_HISTORY, v));
    delete v;
    ASSERT_EQ(nullptr, f.write());
  }
  EXPECT_EQ(0, val(s));
  EXPECT_EQ(view, cssc_view(s, false));
  size_t prefix = strlen(KES_ATTR_NAME_HISTORY KES_SDATA_SEPARATOR);
  EXPECT_EQ((std::vector<std::string>{std::string(KES_SDATA_MAX_LINE - 1 - prefix, 'p') + "\n",
                                      "short\n"}),
            values(s, KES_ATTR_NAME_HISTORY));
}

TEST(SdataAttributes, ValuesRoundTripThroughTheFileAndOtherNamesStay) {
  Temp_dir d;
  std::string s = make_rich_history(d.path(), "f");
  {
    SCCS_sfile f(s.c_str());
    Kes_sdata sd(&f, 0);
    Kes_strlist *conflict = strlist({"noforce /ws 1.3 1.2\n"});
    Kes_strlist *names = strlist({"2 1 new name", "1 0 old\n"});
    ASSERT_EQ(nullptr, sd.replace_values(KES_ATTR_CONFLICT, conflict));
    ASSERT_EQ(nullptr, sd.replace_values(KES_ATTR_NAME_HISTORY, names));
    ASSERT_EQ(nullptr, sd.replace_values("Future thing", conflict));
    delete conflict;
    delete names;
    ASSERT_EQ(nullptr, f.write());
  }
  EXPECT_EQ(0, val(s));
  EXPECT_EQ((std::vector<std::string>{"2 1 new name\n", "1 0 old\n"}),
            values(s, KES_ATTR_NAME_HISTORY));
  EXPECT_EQ((std::vector<std::string>{"noforce /ws 1.3 1.2\n"}), values(s, KES_ATTR_CONFLICT));
  {
    // Replacing one attribute drops its old lines and appends the new ones.
    SCCS_sfile f(s.c_str());
    Kes_sdata sd(&f, 0);
    Kes_strlist *names = strlist({"1 0 only"});
    ASSERT_EQ(nullptr, sd.replace_values(KES_ATTR_NAME_HISTORY, names));
    delete names;
    Kes_strlist *all;
    ASSERT_EQ(nullptr, sd.get_entire_list(&all));
    EXPECT_EQ((std::vector<std::string>{"Conflict from ws : noforce /ws 1.3 1.2\n",
                                        "Future thing : noforce /ws 1.3 1.2\n",
                                        "Name history : 1 0 only\n"}),
              strings(all));
    delete all;
    Kes_strlist none;
    ASSERT_EQ(nullptr, sd.replace_values(KES_ATTR_CONFLICT, &none));
    ASSERT_EQ(nullptr, f.write());
  }
  EXPECT_EQ(0, val(s));
  EXPECT_TRUE(values(s, KES_ATTR_CONFLICT).empty());
  EXPECT_EQ(std::vector<std::string>{"1 0 only\n"}, values(s, KES_ATTR_NAME_HISTORY));
}

// ---------------------------------------------------------------------------
// SmIDs of real deltas

TEST(SdataSmid, HashesStatsDateUserAndCommentsAsCsscReportsThem) {
  Temp_dir d;
  std::string s = make_rich_history(d.path(), "f");
  SCCS_sfile f(s.c_str());
  ASSERT_EQ(nullptr, f.buildtree(0, 0, 0));
  for (const char *sid : {"1.1", "1.2.1.1", "1.4"}) {
    // prs ends what it prints with one newline of its own.
    std::string text = prs(s, ":DL:\n\n:D: :T:\n:P:\n", sid);
    text.pop_back();
    std::string comments = prs(s, ":C:", sid);
    comments.pop_back();
    for (size_t at = 0; at < comments.size();) {
      size_t nl = comments.find('\n', at);
      text += comments.substr(at, nl - at + 1) + "\n";
      at = nl + 1;
    }
    unsigned long out[4];
    snefru(text.c_str(), out);
    Kes_smid expect(out);
    Kes_smid *got = kes_smid_from_delta(f.find_delta_w_sid(sid));
    EXPECT_TRUE(kes_smid_equal(&expect, got)) << sid << "\n" << text;
    delete got;
  }
}

TEST(SdataSmid, RenumberedRootKeepsItsSmid) {
  Temp_dir d;
  std::string a = make_dated_history(d.path(), "a", "93/01/02 03:04:05");
  std::string b = make_dated_history(d.path(), "b", "93/01/02 03:04:05", "4.1");
  // Only the SID of b's root differs from a's.
  EXPECT_EQ(root_smid(a, 0), root_smid(b, 0));
  edit_sfile(b, "\001c date and time", "\001c Date and time");
  EXPECT_NE(root_smid(a, 0), root_smid(b, 0));
}

// ---------------------------------------------------------------------------
// Uniquification

TEST(SdataUniquify, FailedWriteHandsOutNoSmid) {
  Temp_dir d;
  std::string sub = d.file("gone");
  ASSERT_EQ(0, sh("mkdir " + shq(sub)).status);
  new_history(sub, "f", "one\n");
  std::string s = sub + "/s.f";
  std::string smid = root_smid(s, 1);
  SCCS_sfile f(s.c_str());
  ASSERT_EQ(nullptr, f.buildtree(0, 0, 0));
  // The directory goes away while the file is open: no temporary file can be made.
  ASSERT_EQ(0, sh("rm -rf " + shq(sub)).status);
  Kes_smid old;
  ASSERT_EQ(4, old.scan(smid.c_str()));
  Kes_smid *fresh = &old;  // must come back null
  Kes_err *err = kes_uniquify_sfile_smid(&f, &old, "f", &fresh);
  ASSERT_NE(nullptr, err);
  EXPECT_EQ(1017, err->code);
  EXPECT_EQ(nullptr, fresh);
  delete err;
}

TEST(SdataUniquify, UnderAFakeRootRepeatsUntilNoOtherRootShares) {
  Temp_dir d;
  // The second root already carries the line that the first one will get.
  std::string s = fake_rooted(d.path(), "\001c same\n",
                              "\001c Brindle Uniquification: two\n\001c same\n");
  ASSERT_EQ(0, val(s));
  std::string texts = versions(s);
  SCCS_sfile f(s.c_str());
  ASSERT_EQ(nullptr, f.buildtree(0, 0, 0));
  Kes_delta *first = f.find_delta_w_sid("1.2");
  ASSERT_NE(nullptr, first);
  Kes_smid *target = kes_smid_from_delta(first);
  Kes_smid *fresh = nullptr;
  ASSERT_EQ(nullptr, kes_uniquify_sfile_smid(&f, target, "two", &fresh));
  delete target;
  delete fresh;
  EXPECT_EQ(0, val(s));
  EXPECT_EQ(texts, versions(s));
  // prs ends with a newline of its own.
  EXPECT_EQ("Brindle Uniquification: two\nBrindle Uniquification: two\nsame\n\n",
            prs(s, ":C:", "1.2"));
  EXPECT_EQ("Brindle Uniquification: two\nsame\n\n", prs(s, ":C:", "1.1.1.1"));
}

TEST(SdataUniquify, PeersCarryUniquificationsAcross) {
  Temp_dir d;
  std::string a = make_rich_history(d.path(), "f");
  std::string b = d.file("s.g");
  copy_file(a, b);
  SCCS_sfile plain(a.c_str()), marked(b.c_str());
  ASSERT_EQ(nullptr, plain.buildtree(0, 0, 0));
  ASSERT_EQ(nullptr, marked.buildtree(1, 0, 0));
  Kes_smid *out = nullptr;
  uniquify_delta(marked.root_delta(), "g", &out);
  Kes_smid *now = kes_smid_from_delta(marked.root_delta());
  EXPECT_TRUE(kes_smid_equal(out, now));
  delete out;
  delete now;
  EXPECT_TRUE(marked.root_delta()->has_uniquification());
  EXPECT_FALSE(plain.root_delta()->has_uniquification());

  // Without peers no root takes part.
  EXPECT_EQ(0, plain.to_uniquification_only());
  plain.root_delta()->peer = marked.root_delta();
  marked.root_delta()->peer = plain.root_delta();
  EXPECT_EQ(0, plain.from_uniquification_only());
  EXPECT_EQ(1, plain.to_uniquification_only());
  EXPECT_EQ(1, marked.from_uniquification_only());
  EXPECT_EQ(0, marked.to_uniquification_only());

  plain.preserve_uniquifications();
  EXPECT_TRUE(plain.root_delta()->has_uniquification());
  Kes_smid *p = kes_smid_from_delta(plain.root_delta());
  Kes_smid *m = kes_smid_from_delta(marked.root_delta());
  EXPECT_TRUE(kes_smid_equal(p, m));
  delete p;
  delete m;
  EXPECT_EQ(0, plain.to_uniquification_only());
}

// ---------------------------------------------------------------------------
// Comparing comments

struct Node {
  SCCS_delta d;
  Node(std::vector<std::string> comments, bool root) {
    d.comments = static_cast<char **>(calloc(comments.size() + 1, sizeof(char *)));
    for (size_t i = 0; i < comments.size(); i++) d.comments[i] = strdup(comments[i].c_str());
    d.root = root ? &d : nullptr;
    d.parent = root ? nullptr : &d;  // anything but a root
  }
  ~Node() { d.parent = nullptr; }
};

TEST(SdataComments, WhatSeparatesTwoDeltas) {
  const std::string sig = "sccsmerge-signature: x\n", u = "Brindle Uniquification: x\n";
  struct Case {
    std::vector<std::string> a, b;
    bool roots;
    int differ;
  } cases[] = {
      {{"a\n", "b\n"}, {"a\n", "b\n"}, true, 0},
      {{}, {}, true, 0},
      {{"a\n", "b\n"}, {"a\n", "c\n"}, true, 1},
      {{"a\n"}, {"a\n", "b\n"}, true, 1},
      {{"b\n", "a\n"}, {"a\n", "b\n"}, true, 1},
      {{"a\n"}, {"a\n", "sccsmerge-signature: x 1.2\n"}, true, 0},
      {{}, {"sccsmerge-signature:\n"}, false, 0},
      {{"a\n"}, {"a\n", sig, "more\n"}, true, 1},
      {{"a\n"}, {"a\n", "more\n", sig}, true, 1},
      {{u, "a\n"}, {"a\n"}, true, 0},
      {{u, u, "a\n"}, {"a\n"}, true, 0},
      {{u, "a\n"}, {"a\n"}, false, 1},
      {{u, "a\n"}, {u, "a\n"}, true, 0},
      {{u, "a\n"}, {"Brindle Uniquification: y\n", "a\n"}, true, 1},
      {{u, u, "a\n"}, {u, "a\n"}, true, 1},
  };
  int row = 0;
  for (const Case &c : cases) {
    Node x(c.a, c.roots), y(c.b, c.roots);
    EXPECT_EQ(c.differ, x.d.comments_differ(&y.d)) << "row " << row;
    EXPECT_EQ(c.differ, y.d.comments_differ(&x.d)) << "row " << row << " reversed";
    row++;
  }
}

TEST(SdataComments, DataDeltasNeverDiffer) {
  Node x({KES_SDATA_MARKER, "Name history : 1 0 a\n"}, false);
  Node y({KES_SDATA_MARKER, "Name history : 2 1 b\n", "Name history : 1 0 a\n"}, false);
  x.d.set_user(KES_SDATA_USER);
  y.d.set_user(KES_SDATA_USER);
  EXPECT_EQ(0, x.d.comments_differ(&y.d));
  y.d.set_user("someone");
  EXPECT_EQ(1, x.d.comments_differ(&y.d));
}

}  // namespace
