// The delta-tree merge and the body merge on histories made for each case with
// the SCCS programs, and judged by them: states, SIDs, flags, p-files, the
// conflict record, the two body routes and the failures.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "sccs/kes_conflict.h"
#include "support/merge_gen.h"
#include "sccs/sccs_merge.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"

using namespace merge_gen;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

struct Result {
  Kes_err *err = nullptr;
  int contents = -1, conflict_state = -1, rename = -1;
  unsigned options = 0;
  std::string ancestor_name;  // of the name trees, when there is one
  std::string out;  // standard output of the merge
  std::string error() const { return err ? err->text : ""; }
  ~Result() { delete err; }
};

class MergeTest : public ::testing::Test {
protected:
  void SetUp() override { unsetenv("BRINDLE_MERGE_BODIES_TEST"), kes_merge_bodies_test_reread(); }
  void TearDown() override { SetUp(); }

  // A workspace-like directory with SCCS/s.f and its first version.
  std::string make(const std::string &name, const std::string &text, const char *comment,
                   const std::string &admin_flags = "") {
    std::string dir = root + "/" + name;
    make_dirs(dir + "/SCCS");
    new_history(dir + "/SCCS", "f", text, "-y" + shq(comment) + " " + admin_flags);
    return dir;
  }
  std::string copy(const std::string &from, const std::string &name) {
    run({"cp", "-a", from, root + "/" + name});
    return root + "/" + name;
  }
  void edit(const std::string &dir, const std::string &text, const char *comment,
            const std::string &get_flags = "") {
    add_delta(sfile(dir), text, comment, get_flags);
  }
  // Gives one delta of the table another date, and mends the checksum.
  void set_date(const std::string &dir, const std::string &sid, const char *date, char type = 'D') {
    std::string key = std::string("\001d ") + type + " " + sid + " ", s = read_file(sfile(dir));
    size_t at = s.find(key);
    ASSERT_NE(at, std::string::npos) << sid;
    edit_sfile(sfile(dir), s.substr(at, key.size() + 17), key + date);
  }
  std::string sfile(const std::string &dir) { return dir + "/SCCS/s.f"; }

  // Merges from's history into to's, in place.
  // tweak sets what the defaults don't cover (names, outputs, options).
  void merge(const std::string &from, const std::string &to, Result *r, unsigned options = 0,
             const char *ws_path = "/ws/from", std::function<void(SCCS_merge &)> tweak = {}) {
    std::string fs = sfile(from), ts = sfile(to);
    SCCS_sfile ff(fs.c_str()), tf(ts.c_str());
    SCCS_merge m;
    m.from_sname = fs.c_str();
    m.to_sname = ts.c_str();
    m.from_name = m.to_name = "f";
    m.ws_path = ws_path;
    m.from_file = &ff;
    m.to_file = &tf;
    m.options |= options;
    if (tweak) tweak(m);
    CaptureStdout();
    r->err = m.merge();
    r->out = GetCapturedStdout();
    r->contents = m.contents_state;
    r->conflict_state = m.conflict_state;
    r->rename = m.rename_state;
    r->options = m.options;
    if (m.ancestor_name) r->ancestor_name = m.ancestor_name;
  }
  // Checks a merged file with the judge's rules against both inputs.
  void judge(const std::string &from_copy, const std::string &to_before,
             const std::string &merged, bool conflict, const char *ws_path = "/ws/from") {
    std::vector<std::string> problems;
    Snapshot f = snapshot(sfile(from_copy), &problems);
    Snapshot t = snapshot(sfile(to_before), &problems);
    Snapshot o = snapshot(sfile(merged), &problems);
    EXPECT_EQ(run({cssc("val"), sfile(merged)}).status, 0);
    EXPECT_EQ(run({cssc("admin"), "-h", sfile(merged)}).status, 0);
    check_output(f, t, o, conflict, ws_path, &problems);
    std::string all;
    for (const std::string &p : problems) all += p + "\n";
    EXPECT_TRUE(problems.empty()) << all;
  }
  std::string sids(const std::string &dir) {
    std::string out = run({cssc("prs"), "-e", "-a", "-d:I::DT: ", sfile(dir)}).out;
    out.erase(std::remove(out.begin(), out.end(), '\n'), out.end());
    return out;
  }
  std::string text(const std::string &dir, const std::string &sid) { return get_text(sfile(dir), sid).out; }
  Temp_dir tmp{"merge_test"};
  std::string root = tmp.path();
};

}  // namespace

TEST_F(MergeTest, RemovalOnOneSideIsAConflictEvenWithEqualHeads) {
  std::string a = make("a", "one\n", "start", "-fb");
  edit(a, "one\ntwo\n", "trunk");
  edit(a, "one\nbranch\n", "on a branch", "-b -r1.2");
  std::string b = copy(a, "b");
  ASSERT_EQ(run({cssc("rmdel"), "-r1.2.1.1", "SCCS/s.f"}, b).status, 0);
  std::string b0 = copy(b, "b0");
  Result r;
  merge(a, b, &r);
  ASSERT_EQ(r.err, nullptr) << r.error();
  EXPECT_EQ(r.contents, KES_MERGE_CONFLICT);
  judge(a, b0, b, true);
}

// A removed trunk delta of the to file keeps its SID when it is older than the
// from file's live one at that level, and goes on a branch when it is younger.
TEST_F(MergeTest, RemovedTrunkDeltasAndTheirSids) {
  for (int older = 0; older < 2; older++) {
    std::string tag = older ? "older" : "younger";
    std::string a = make("a" + tag, "one\n", "start");
    std::string b = copy(a, "b" + tag);
    edit(b, "one\nremoved\n", "to side, removed later");
    ASSERT_EQ(run({cssc("rmdel"), "-r1.2", "SCCS/s.f"}, b).status, 0);
    edit(a, "one\nlive\n", "from side");
    set_date(a, "1.1", "95/01/01 00:00:00");
    set_date(b, "1.1", "95/01/01 00:00:00");
    set_date(a, "1.2", "95/01/02 00:00:00");
    set_date(b, "1.2", older ? "95/01/01 12:00:00" : "95/01/03 00:00:00", 'R');
    std::string b0 = copy(b, "b0" + tag);
    Result r;
    merge(a, b, &r);
    ASSERT_EQ(r.err, nullptr) << r.error();
    EXPECT_EQ(r.contents, KES_MERGE_FROM_NEW);
    EXPECT_EQ(sids(b), older ? "1.2D 1.2R 1.1D " : "1.1.1.1R 1.2D 1.1D ") << tag;
    judge(a, b0, b, false);
  }
}

// Merges that are refused, each with its code and text, the to file untouched
// and no lock left behind.  setup returns the from and to directories.
TEST_F(MergeTest, RefusedMerges) {
  // Two files that share their start but differ in one line of it.
  auto differing = [&](const std::string &tag) {
    std::string a = make("a" + tag, "one\ntwo\n", "start");
    std::string b = copy(a, "b" + tag);
    std::string s = read_file(sfile(b));
    s.replace(s.find("two\n"), 4, "TWO\n");
    chmod(sfile(b).c_str(), 0644);
    write_file(sfile(b), s);
    EXPECT_EQ(run({cssc("admin"), "-z", sfile(b)}).status, 0);
    edit(a, "one\ntwo\nfrom\n", "from side");
    edit(b, "one\nTWO\nto\n", "to side");
    return std::make_pair(a, b);
  };
  // In a text, @A and @B stand for the from and the to history file, @b for
  // the to directory.
  struct Case {
    const char *story;
    std::function<std::pair<std::string, std::string>()> setup;
    int code;
    const char *text;
    bool slow;
  } cases[] = {
      // The oldest delta is the to file's and predates the fake root.
      {"root new in destination",
       [&] {
         std::string a = make("a1", "alpha\n", "from start"), b = make("b1", "other\n", "to start");
         set_date(b, "1.1", "69/12/31 23:59:59");
         return std::make_pair(a, b);
       },
       2505, "Internal error in sccsmerge in mksids(): root is new in destination", false},
      {"text and binary",
       [&] { return std::make_pair(make("a2", "one\n", "text"), make("b2", "one\n", "binary", "-b")); },
       2537, "File \"@A\" has incompatible type with file \"@B\"(text/binary)", false},
      // A damaged file explains a failure better than the type does.
      {"damaged checksum",
       [&] {
         std::string b = make("b3", "one\n", "binary", "-b");
         std::string s = read_file(sfile(b));
         s.replace(2, 5, "00000");
         chmod(sfile(b).c_str(), 0644);
         write_file(sfile(b), s);
         return std::make_pair(make("a3", "one\n", "text"), b);
       },
       2043, "SCCS file \"@B\" is corrupted", false},
      {"p-file naming no delta",
       [&] {
         std::string a = make("a4", "one\n", "start"), b = copy(a, "b4");
         edit(a, "one\ntwo\n", "from side");
         write_file(b + "/SCCS/p.f", "1.7 1.8 someone 95/01/01 00:00:00\n");
         return std::make_pair(a, b);
       },
       2090, "Invalid p-file \"@b/SCCS/p.f\": delta 1.7 is not in the s-file", false},
      // A line of a common delta that differs stops the fast route for good:
      // the rebuild is not tried on files that disagree...
      {"common delta differs, fast route", [&] { return differing("5"); }, 2512,
       "Internal error in sccsmerge in sccsmerge(): Data lines\nat line", false},
      // ...and the rebuild compares the versions before it relies on them.
      {"common delta differs, rebuild", [&] { return differing("6"); }, 2520,
       "Internal error in merge_bodies: different g-files for serial 1", true},
  };
  for (Case &c : cases) {
    SCOPED_TRACE(c.story);
    auto [a, b] = c.setup();
    std::string text = c.text;
    for (size_t at = 0; (at = text.find('@', at)) != std::string::npos;) {
      std::string w = text[at + 1] == 'A' ? sfile(a) : text[at + 1] == 'B' ? sfile(b) : b;
      text.replace(at, 2, w);
      at += w.size();
    }
    if (c.slow) setenv("BRINDLE_MERGE_BODIES_TEST", "1", 1);
    kes_merge_bodies_test_reread();
    std::string before = read_file(sfile(b));
    Result r;
    merge(a, b, &r);
    unsetenv("BRINDLE_MERGE_BODIES_TEST");
    kes_merge_bodies_test_reread();
    ASSERT_NE(r.err, nullptr);
    EXPECT_EQ(r.err->code, c.code) << r.error();
    EXPECT_NE(r.error().find(text), std::string::npos) << r.error();
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(read_file(sfile(b)), before);
    EXPECT_FALSE(file_exists(b + "/SCCS/z.f"));
  }
}

TEST_F(MergeTest, SignaturesAndForcedConflicts) {
  std::string a = make("a", "one\n", "start");
  std::string b = copy(a, "b");
  edit(a, "one\ntwo\n", "from side");
  Result r;
  merge(a, b, &r, KES_MO_SIGNATURE);
  ASSERT_EQ(r.err, nullptr) << r.error();
  std::string c = run({cssc("prs"), "-r1.2", "-d:C:", sfile(b)}).out;
  std::string date = run({cssc("prs"), "-r1.2", "-d:D: :T:", sfile(b)}).out;
  date.pop_back();
  std::string user = run({cssc("prs"), "-r1.2", "-d:P:", sfile(b)}).out;
  user.pop_back();
  EXPECT_EQ(c, "from side\nsccsmerge-signature: " + user + " " + date + "\n\n");
  // The signature doesn't part the delta from its unsigned self.
  Result again;
  merge(a, b, &again);
  EXPECT_EQ(again.contents, KES_MERGE_SAME);

  // Force makes a conflict of equal files, and the record says so.
  std::string d = copy(a, "d");
  Result f;
  merge(a, d, &f, KES_MO_FORCE, "/ws/with blank");
  ASSERT_EQ(f.err, nullptr) << f.error();
  EXPECT_EQ(f.contents, KES_MERGE_CONFLICT);
  SCCS_sfile sf(sfile(d).c_str());
  Kes_conflict rec(&sf, 0);
  Kes_err *e = rec.get();
  ASSERT_EQ(e, nullptr);
  EXPECT_STREQ(rec.force_word, "force");
  EXPECT_STREQ(rec.ws_path, "/ws/with blank");
  EXPECT_STREQ(rec.child_sid, "1.2");
  EXPECT_STREQ(rec.parent_sid, "1.2");
  EXPECT_STREQ(rec.ancestor_sid, "1.2");
}

// Every header line with a 'b' or a 'd' in the fourth byte goes, the descriptive
// text's too; the other lines stay.
TEST_F(MergeTest, StripFlagsDropsBranchAndDefault) {
  std::string a = make("a", "one\n", "start");
  std::string b = copy(a, "b");
  write_file(root + "/desc", " *\tdefault\nribbon\nkept\n");
  run({cssc("admin"), "-fb", "-fd1", "-fqtext", "-t" + root + "/desc", sfile(b)});
  edit(a, "one\ntwo\n", "from side");
  Result r;
  merge(a, b, &r, KES_MO_STRIP_FLAGS);
  ASSERT_EQ(r.err, nullptr) << r.error();
  EXPECT_EQ(run({cssc("prs"), "-d:BF:|:Ds:|:Q:|:FD:", sfile(b)}).out,
            "no|none|text|kept\n\n");
}

// Common deltas with the same versions but another block structure: the fast
// route gives way, says so once, and the rebuild makes the file.
TEST_F(MergeTest, FastRouteGivesWayToTheRebuild) {
  std::string a = make("a", "one\ntwo\nthree\n", "start");
  std::string b = copy(a, "b");
  std::string s = read_file(sfile(b));
  size_t at = s.find("two\n", s.find("\001T\n"));
  s.insert(at, "\001E 1\n\001I 1\n");  // one block split in two: the same version
  chmod(sfile(b).c_str(), 0644);
  write_file(sfile(b), s);
  ASSERT_EQ(run({cssc("admin"), "-z", sfile(b)}).status, 0);
  edit(a, "one\ntwo\nthree\nfrom\n", "from side");
  edit(b, "zero\none\ntwo\nthree\n", "to side");
  std::string b0 = copy(b, "b0");
  Result r;
  merge(a, b, &r);
  ASSERT_EQ(r.err, nullptr) << r.error();
  EXPECT_EQ(r.out,
            "--> Switching to new merging logic due to internal error in sccsmerge().\n--> It "
            "may take several minutes, please wait.\n");
  judge(a, b0, b, true);
}

// A root with no text still has its block, made by the rebuild.
TEST_F(MergeTest, EmptyRootKeepsItsBlock) {
  std::string a = root + "/a";
  mkdir(a.c_str(), 0755);
  mkdir((a + "/SCCS").c_str(), 0755);
  ASSERT_EQ(run({cssc("admin"), "-n", "-yempty", "SCCS/s.f"}, a).status, 0);
  std::string b = copy(a, "b");
  edit(a, "from\n", "from side");
  edit(b, "to\n", "to side");
  std::string b0 = copy(b, "b0");
  setenv("BRINDLE_MERGE_BODIES_TEST", "1", 1);
  kes_merge_bodies_test_reread();
  Result r;
  merge(a, b, &r);
  ASSERT_EQ(r.err, nullptr) << r.error();
  std::string s = read_file(sfile(b));
  EXPECT_NE(s.find("\n\001I 1\n\001E 1\n"), std::string::npos);
  judge(a, b0, b, true);
}

// The versions a resolution needs, and the conflict state of later merges.
TEST_F(MergeTest, ConflictFilesAndConflictState) {
  std::string a = make("a", "one\n", "start");
  edit(a, "one\ntwo\n", "common");
  std::string b = copy(a, "b");
  edit(a, "one\ntwo\nparent\n", "from side");
  edit(b, "child\none\ntwo\n", "to side");
  std::string anc = root + "/ancestor", par = root + "/parent", chi = root + "/child";
  // The SCCS programs are found on PATH, as the engine sets it at start-up.
  std::string path = std::string(getenv("PATH")) + ":" + cssc("").substr(0, cssc("").size() - 1);
  setenv("PATH", path.c_str(), 1);
  Result c;
  merge(a, b, &c, 0, "/ws/parent", [&](SCCS_merge &m) {
    m.ancestor_output = anc.c_str();
    m.parent_output = par.c_str();
    m.child_output = chi.c_str();
  });
  ASSERT_EQ(c.err, nullptr) << c.error();
  EXPECT_EQ(c.contents, KES_MERGE_CONFLICT);
  EXPECT_EQ(read_file(anc), "one\ntwo\n");
  EXPECT_EQ(read_file(par), "one\ntwo\nparent\n");
  EXPECT_EQ(read_file(chi), "child\none\ntwo\n");
  struct stat st;
  ASSERT_EQ(stat(chi.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0444u);
  // The record travels: the to file is now in conflict.
  Result r;
  merge(a, b, &r, KES_MO_READ_CONFLICTS | KES_MO_ANALYSIS_ONLY);
  ASSERT_EQ(r.err, nullptr) << r.error();
  EXPECT_EQ(r.conflict_state, 2);
  Result back;
  merge(b, a, &back, KES_MO_READ_CONFLICTS | KES_MO_ANALYSIS_ONLY);
  EXPECT_EQ(back.conflict_state, 1);
}

// Blocks of new deltas that don't nest stop the parallel walk with its own
// errors; the files are damaged, so the rebuild isn't tried.
TEST_F(MergeTest, BrokenBlocksOfNewDeltas) {
  std::string base = make("base", "one\n", "start");
  std::string to = copy(base, "to");
  std::string from = copy(base, "from");
  edit(from, "one\nx\n", "from 1");  // serial 2: I 2 / x / E 2
  edit(from, "one\nx\ny\n", "from 2");  // serial 3
  std::string good = read_file(sfile(from));
  struct Case {
    const char *find, *replace;
    int code;
    const char *text;
  } cases[] = {
      {"\001E 3\n", "", 2518, "newstuff(): EOF in file"},
      {"\001I 2\n", "\001X 2\n", 2520, "newstuff(): two deltas in files"},
      {"\001E 2\n", "\001E 2\n\001E 2\n", 2519, "newstuff(): unset flags for serial number 2"},
      {"\001E 2\n", "\001I 2\n", 2517, "newstuff(): no insert flag"},
      {"\001I 2\n", "\001I 9\n", 2515, "newstuff(): serial number 9 maps to -1"},
      {"\001I 3\ny\n\001E 3\n", "\001D 3\n", 2514, "sccsmerge(): flags left in map for"},
      {"\001E 2\n\001I 3\ny\n\001E 3\n", "\001D 3\ny\n\001E 3\n", 2521,
       "newstuff(): returning while still in insert mode"},
  };
  for (const Case &c : cases) {
    std::string s = good;
    size_t at = s.find(c.find, s.find("\001T\n"));
    ASSERT_NE(at, std::string::npos) << c.text;
    s.replace(at, strlen(c.find), c.replace);
    chmod(sfile(from).c_str(), 0644);
    write_file(sfile(from), s);
    std::string t = copy(to, std::string("t") + std::to_string(c.code));
    std::string before = read_file(sfile(t));
    run({cssc("admin"), "-z", sfile(from)});
    Result r;
    merge(from, t, &r);
    ASSERT_NE(r.err, nullptr) << c.text;
    EXPECT_EQ(r.err->code, c.code) << r.error();
    EXPECT_NE(r.error().find(c.text), std::string::npos) << r.error();
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(read_file(sfile(t)), before);
  }
}

TEST(MergeFprintf, NullStreamAndFailedWrite) {
  EXPECT_EQ(Kes_merge::my_fprintf(nullptr, "nowhere", "%d lines\n", 3), nullptr);
  FILE *full = fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  setvbuf(full, nullptr, _IONBF, 0);
  Kes_err *e = Kes_merge::my_fprintf(full, "/dev/full", "%s\n", "text");
  ASSERT_NE(e, nullptr);
  EXPECT_NE(strstr(e->text, "/dev/full"), nullptr) << e->text;
  EXPECT_EQ(e->system_errno, ENOSPC);
  delete e;
  fclose(full);
}
