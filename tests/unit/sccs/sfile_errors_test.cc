// Damaged history files: each is refused with its code and text, in the full
// read and in the roots-only read where the damage lies in what that reads.
#include <cstdio>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "sccs/sccs_helpers.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"

using namespace sccs_test;

namespace {

class SfileErrors : public ::testing::Test {
protected:
  void SetUp() override {
    new_history(dir.path(), "e.c", "one\n");
    s = dir.file("s.e.c");
    add_delta(s, "one\ntwo\n", "second");
    add_delta(s, "one\ntwo\nthree\n", "third");
    good = read_file(s);
  }

  // The good file with one piece of text replaced.
  void damage(const std::string &from, const std::string &to) {
    std::string t = good;
    size_t at = t.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    t.replace(at, from.size(), to);
    write_file(s, t);
  }

  // Reads in the given mode and checks code and whole text.
  void expect_refused(int roots_only, int code, const std::string &text) {
    SCCS_sfile f(s.c_str());
    Kes_err *err = f.buildtree(0, 0, roots_only);
    ASSERT_NE(err, nullptr) << "mode " << roots_only;
    EXPECT_EQ(err->code, code);
    EXPECT_EQ(std::string(err->text), text + "  (Error " + std::to_string(code) + ")\n");
    EXPECT_FALSE(f.exists);
    delete err;
  }

  TempDir dir;
  std::string s, good;
};

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

TEST_F(SfileErrors, LineWithoutControlByte) {
  damage("\001c third", "Xc third");
  const std::string text = "File \"" + s + "\" is probably not an s-file\non line 4 expected ^A, "
                           "but got 'X' (0x58)";
  expect_refused(0, 2039, text);
  expect_refused(1, 2039, text);  // a skipped delta's lines are still table lines
}

TEST_F(SfileErrors, NotAHistoryFileAtAll) {
  write_file(s, "#include <stdio.h>\n");
  expect_refused(0, 2039, "File \"" + s + "\" is probably not an s-file\non line 1 expected ^A, "
                                          "but got '#' (0x23)");
}

TEST_F(SfileErrors, OverlongTableLine) {
  // 1,100 bytes of comment: the stream reads it in pieces, and the second
  // piece isn't a control line.  The mapped reader refuses the line whole.
  damage("\001c third\n", "\001c " + std::string(1100, 'w') + "\n");
  expect_refused(0, 2039, "File \"" + s + "\" is probably not an s-file\non line 5 expected ^A, "
                                          "but got 'w' (0x77)");
  expect_refused(1, 2000, "Line too long or unexpected end of file in \"" + s + "\"");
}

TEST_F(SfileErrors, UnknownControlLetter) {
  damage("\001c second", "\001z second");
  expect_refused(0, 2026, "Unknown SCCS control character (z) in file\n\"" + s + "\" at line 8");
  // Letters between the known ones are unknown too.
  damage("\001c second", "\001k second");
  expect_refused(0, 2026, "Unknown SCCS control character (k) in file\n\"" + s + "\" at line 8");
  // The root generation reads the delta of serial 2, so it sees the letter.
  expect_refused(1, 2026, "Unknown SCCS control character (k) in file\n\"" + s + "\" at line 8");
}

TEST_F(SfileErrors, IncompleteTable) {
  write_file(s, good.substr(0, good.find("\001u\n")));
  expect_refused(0, 2055, "File \"" + s + "\" has incomplete delta table");
  expect_refused(1, 2055, "File \"" + s + "\" has incomplete delta table");
  // Ending inside a run of comment lines.
  write_file(s, good.substr(0, good.find("\001c third\n") + 9));
  expect_refused(0, 2055, "File \"" + s + "\" has incomplete delta table");
}

TEST_F(SfileErrors, NoDeltas) {
  write_file(s, "\001h00000\n\001u\n\001U\n\001t\n\001T\n");
  expect_refused(0, 2024, "File \"" + s + "\" has no deltas");
  expect_refused(1, 2024, "File \"" + s + "\" has no deltas");
}

TEST_F(SfileErrors, SerialsOutOfOrder) {
  // A repeated serial.
  damage(" 2 1\n", " 3 1\n");
  expect_refused(0, 2060, "Delta serial number 3 out of order in file \"" + s + "\"");
  expect_refused(1, 2060, "Delta serial number 3 out of order in file \"" + s + "\"");
  // A rising one, in a delta that the roots-only read skips.
  write_file(s, good);
  std::string t = good;
  t.replace(t.find(" 2 1\n"), 5, " 4 1\n");
  write_file(s, t);
  expect_refused(0, 2060, "Delta serial number 4 out of order in file \"" + s + "\"");
  expect_refused(1, 2060, "Delta serial number 4 out of order in file \"" + s + "\"");
}

TEST_F(SfileErrors, TreeStaysAfterAnError) {
  damage("\001c second", "\001z second");
  SCCS_sfile f(s.c_str());
  Kes_err *err = f.buildtree(0, 0, 0);
  ASSERT_NE(err, nullptr);
  delete err;
  ASSERT_NE(f.tree, nullptr);
  EXPECT_EQ(f.tree->size, 3);
  EXPECT_EQ(f.tree->node_count, 2);
}

TEST_F(SfileErrors, DescriptiveTextWithoutEnd) {
  write_file(s, good.substr(0, good.find("\001u\n")) + "\001u\n\001U\n\001t\nsome text\n");
  expect_refused(0, 2043, "SCCS file \"" + s + "\" is corrupted");
  // The roots-only read stops at the end of the table.
  SCCS_sfile f(s.c_str());
  Kes_err *err = f.buildtree(0, 0, 1);
  EXPECT_EQ(err, nullptr);
  delete err;
}

TEST_F(SfileErrors, UserListWithoutEnd) {
  write_file(s, good.substr(0, good.find("\001u\n")) + "\001u\nann\n");
  expect_refused(0, 2043, "SCCS file \"" + s + "\" is corrupted");
}

TEST_F(SfileErrors, SerialListsOutsideTheTable) {
  damage("\001c third", "\001i 9\n\001c third");
  expect_refused(0, 2043, "SCCS file \"" + s + "\" is corrupted");
  damage("\001c third", "\001x 0\n\001c third");
  expect_refused(0, 2043, "SCCS file \"" + s + "\" is corrupted");
  damage("\001c third", "\001g 2 x\n\001c third");
  expect_refused(0, 2043, "SCCS file \"" + s + "\" is corrupted");
}

TEST_F(SfileErrors, PredecessorNotBelowTheDelta) {
  damage(" 2 1\n", " 2 2\n");
  expect_refused(0, 2043, "SCCS file \"" + s + "\" is corrupted");
  damage(" 2 1\n", " 2 x\n");
  expect_refused(0, 2043, "SCCS file \"" + s + "\" is corrupted");
}

TEST_F(SfileErrors, DefaultSidWithNoLeaf) {
  damage("\001t\n", "\001f d 1.9.1\n\001t\n");
  expect_refused(0, 2523,
                 "Internal error in sccsmerge in find_leaf_delta(): could not find a leaf delta "
                 "for default SID\n1.9.1 in file \"" + s + "\"");
  // Only the full read looks behind the table.
  SCCS_sfile f(s.c_str());
  Kes_err *err = f.buildtree(0, 0, 1);
  EXPECT_EQ(err, nullptr);
  delete err;
}

}  // namespace
