// Damaged history files: each is refused with its code and text, in the full
// read and in the roots-only read where the damage lies in what that reads.
#include <cstdio>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "sccs/sccs_helpers.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"

using namespace sccs_test;
using namespace support;

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
    {'w', "", "#include <stdio.h>\n", 0, 2039, "1 expected ^A, but got '#' (0x23)"},
    // 1,100 bytes of comment: the stream reads it in pieces, and the second
    // piece isn't a control line.  The mapped reader refuses the line whole.
    {'r', "\001c third\n", nullptr, 0, 2039, "5 expected ^A, but got 'w' (0x77)"},
    {'r', "\001c third\n", nullptr, 1, 2000, "Line too long or unexpected end of file in \"@\""},
    {'r', "\001c second", "\001z second", 0, 2026,
     "Unknown SCCS control character (z) in file\n\"@\" at line 8"},
    // Letters between the known ones are unknown too; the root generation
    // reads the delta of serial 2, so it sees the letter.
    {'r', "\001c second", "\001k second", 2, 2026,
     "Unknown SCCS control character (k) in file\n\"@\" at line 8"},
    {'c', "\001u\n", "", 2, 2055, "File \"@\" has incomplete delta table"},
    {'c', "\001c third\n", "\001c third\n", 0, 2055, "File \"@\" has incomplete delta table"},
    {'w', "", "\001h00000\n\001u\n\001U\n\001t\n\001T\n", 2, 2024, "File \"@\" has no deltas"},
    // A repeated serial, and a rising one in a delta that roots-only skips.
    {'r', " 2 1\n", " 3 1\n", 2, 2060, "Delta serial number 3 out of order in file \"@\""},
    {'r', " 2 1\n", " 4 1\n", 2, 2060, "Delta serial number 4 out of order in file \"@\""},
    // Behind the table only the full read looks.
    {'c', "\001u\n", "\001u\n\001U\n\001t\nsome text\n", 0, 2043, kCorrupted},
    {'c', "\001u\n", "\001u\n\001U\n\001t\nsome text\n", 1, 0, ""},
    {'c', "\001u\n", "\001u\nann\n", 0, 2043, kCorrupted},
    {'r', "\001c third", "\001i 9\n\001c third", 0, 2043, kCorrupted},
    {'r', "\001c third", "\001x 0\n\001c third", 0, 2043, kCorrupted},
    {'r', "\001c third", "\001g 2 x\n\001c third", 0, 2043, kCorrupted},
    {'r', " 2 1\n", " 2 2\n", 0, 2043, kCorrupted},
    {'r', " 2 1\n", " 2 x\n", 0, 2043, kCorrupted},
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

TEST_F(SfileErrors, TreeStaysAfterAnError) {
  std::string t = good;
  t.replace(t.find("\001c second"), 9, "\001z second");
  write_file(s, t);
  SCCS_sfile f(s.c_str());
  Kes_err *err = f.buildtree(0, 0, 0);
  ASSERT_NE(err, nullptr);
  delete err;
  ASSERT_NE(f.tree, nullptr);
  EXPECT_EQ(f.tree->size, 3);
  EXPECT_EQ(f.tree->node_count, 2);
}

}  // namespace
