// SmIDs: text form, order, and the tables keyed by them.
#include "sccs/kes_smid.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

Kes_smid *make(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  Kes_smid *s = new Kes_smid;
  s->word[0] = a;
  s->word[1] = b;
  s->word[2] = c;
  s->word[3] = d;
  return s;
}

std::string read_back(FILE *f) {
  rewind(f);
  std::string s;
  for (int c; (c = fgetc(f)) != EOF;) s += (char)c;
  return s;
}

TEST(SmidText, WritesAndReadsTheFourWordsInHex) {
  Kes_smid *s = make(0xdeadbeef, 0, 0x10, 0xffffffff);
  char buf[KES_SMID_TEXT_SIZE];
  EXPECT_STREQ("deadbeef 0 10 ffffffff", s->to_text(buf));

  Kes_smid back;
  EXPECT_EQ(4, back.scan(buf));
  EXPECT_TRUE(back.compare(s));

  FILE *f = tmpfile();
  ASSERT_TRUE(f);
  s->print(f);
  fputs("1 2 3 4 rest\n", f);
  EXPECT_EQ("SmID: deadbeef 0 10 ffffffff\n1 2 3 4 rest\n", read_back(f));
  fseek(f, 6, SEEK_SET);  // behind the label
  Kes_smid from_file;
  EXPECT_EQ(4, from_file.scan(f));
  EXPECT_TRUE(kes_smid_equal(s, &from_file));
  EXPECT_EQ(4, from_file.scan(f));
  EXPECT_EQ(3u, from_file.word[2]);
  fclose(f);
  delete s;
}

TEST(SmidText, ShortOrBadTextReportsFewerWordsAndChangesNothing) {
  Kes_smid s;
  s.word[0] = 7;
  EXPECT_EQ(3, s.scan("a b c"));
  EXPECT_EQ(7u, s.word[0]);
  EXPECT_EQ(0, s.scan("zz 1 2 3"));
  EXPECT_EQ(EOF, s.scan(""));
  EXPECT_EQ(7u, s.word[0]);
  // A word wider than 32 bits keeps its low 32 bits.
  EXPECT_EQ(4, s.scan("123456789 1 1 1"));
  EXPECT_EQ(0x23456789u, s.word[0]);
}

// The text scan reads what sscanf's "%lx %lx %lx %lx" reads, odd words too.
TEST(SmidText, TextScanAgreesWithSscanf) {
  for (const char *text : {"deadbeef 0 10 ffffffff", "DEADBEEF A b C", "0x1f 0X2 3 4", "-1 +a 2 3",
                           "ffffffffffffffff 1 2 3", "10000000000000000 1 2 3",
                           "000000000000000000000000a 1 2 3", "ab12g 1 2 3", "1\t2\n3  4x",
                           "12 34", "0 0 0 0"}) {
    unsigned long w[4] = {0, 0, 0, 0};
    int want = sscanf(text, "%lx %lx %lx %lx", &w[0], &w[1], &w[2], &w[3]);
    Kes_smid s;
    EXPECT_EQ(want, s.scan(text)) << text;
    if (want == 4) {
      for (int i = 0; i < 4; i++) EXPECT_EQ((uint32_t)w[i], s.word[i]) << text << " word " << i;
    }
  }
}

TEST(SmidOrder, FirstUnequalWordDecidesAndEqualityUsesAllWords) {
  Kes_smid a, b;
  EXPECT_EQ(0, kes_smid_cmp(&a, &b));
  a.word[2] = 5;
  b.word[2] = 3;
  b.word[3] = 100;  // later words don't count
  EXPECT_EQ(2, kes_smid_cmp(&a, &b));
  EXPECT_EQ(-2, kes_smid_cmp(&b, &a));
  // A difference of 2^31 or more reads as negative: the larger word sorts first.
  Kes_smid big, small;
  big.word[0] = 0x90000000u;
  small.word[0] = 1;
  EXPECT_LT(kes_smid_cmp(&big, &small), 0);
  EXPECT_GT(kes_smid_cmp(&small, &big), 0);
  EXPECT_EQ((int32_t)0x8fffffffu, kes_smid_cmp(&big, &small));

  // Equality and the hash use all four words.
  Kes_smid *p = make(1, 2, 3, 4), *q = make(1, 2, 3, 4), *r = make(1, 2, 3, 5);
  EXPECT_TRUE(kes_smid_equal(p, q));
  EXPECT_FALSE(kes_smid_equal(p, r));
  EXPECT_EQ(1, p->compare(q));
  EXPECT_EQ(0, p->compare(r));
  EXPECT_EQ(10, kes_smid_hash(p));
  Kes_smid *wrap = make(0xffffffffu, 2, 0, 0);
  EXPECT_EQ(1, kes_smid_hash(wrap));  // the sum wraps in 32 bits
  delete p;
  delete q;
  delete r;
  delete wrap;
}

// The tables find a key by its words, not by the object; they own neither
// keys nor string values.
TEST(SmidHash, IntAndStringTablesMatchKeysByValue) {
  Kes_smid_int_hash ints(-1);
  Kes_smid_str_hash strs;
  std::vector<Kes_smid *> keys;
  char names[300][16];
  for (int i = 0; i < 300; i++) {  // enough to make the tables grow several times
    keys.push_back(make(i, 0x9e3779b9u * i, 7, i * 3));
    snprintf(names[i], sizeof names[i], "f%d", i);
    EXPECT_EQ(0, ints.insert(keys[i], i));
    EXPECT_EQ(0, strs.insert(keys[i], names[i]));
  }
  for (int i = 0; i < 300; i++) {
    Kes_smid *probe = keys[i]->copy();
    EXPECT_EQ(i, ints.lookup(probe));
    EXPECT_STREQ(names[i], strs.lookup(probe));
    delete probe;
  }
  Kes_smid absent;
  absent.word[0] = 12345678;
  EXPECT_EQ(-1, ints.lookup(&absent));
  EXPECT_EQ(nullptr, strs.lookup(&absent));
  ints.delete_hash();
  strs.delete_hash();
  for (Kes_smid *k : keys) delete k;
}

}  // namespace
