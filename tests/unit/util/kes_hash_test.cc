// Hash tables: sizing, growth by stored hash, chain order, ownership of keys and
// values, and the string-keyed tables.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "util/kes_hash.h"
#include "util/kes_list.h"
#include "util/kes_str.h"

namespace {

char *dup(const std::string &s) { return strdup(s.c_str()); }

// A string table that counts its hash calls: growth must not hash again.
class Counting_hash : public Kes_str_int_hash {
public:
  explicit Counting_hash(int size) : Kes_str_int_hash(-1, size) {}
  int hashes = 0;
  int key_hash(void *key) override {
    hashes++;
    return Kes_str_int_hash::key_hash(key);
  }
};


}  // namespace

// A table asked for one slot grows from the second insert on, and every key
// stays findable through many resizes.
TEST(HashGrowth, EveryKeyStaysFindableAcrossManyResizes) {
  Kes_str_int_hash one(0, 1);
  for (int i = 0; i < 100; i++) one.insert(dup("n" + std::to_string(i)), i);
  EXPECT_EQ(one.lookup("n0"), 0);
  EXPECT_EQ(one.lookup("n99"), 99);

  Counting_hash h(50);
  const int n = 12000;  // passes the threshold 9 times
  for (int i = 0; i < n; i++) ASSERT_EQ(h.insert(dup("path/" + std::to_string(i) + ".c"), i), 0);
  EXPECT_EQ(h.count, n);
  // Growth relinks by the stored hash: one key_hash per insert, none per resize.
  EXPECT_EQ(h.hashes, n);
  for (int i = 0; i < n; i++) ASSERT_EQ(h.lookup(("path/" + std::to_string(i) + ".c").c_str()), i);
  EXPECT_EQ(h.lookup("path/.c"), -1);

  for (int i = 0; i < n; i += 2) ASSERT_EQ(h.remove(("path/" + std::to_string(i) + ".c").c_str()), 1);
  EXPECT_EQ(h.count, n / 2);
  for (int i = 0; i < n; i++)
    ASSERT_EQ(h.lookup(("path/" + std::to_string(i) + ".c").c_str()), i % 2 ? i : -1);
}

TEST(HashOps, InsertReplaceLookupRemove) {
  Kes_str_str_hash h;
  EXPECT_EQ(h.insert(dup("x"), dup("one")), 0);
  char *key = dup("x"), *val = dup("two");
  EXPECT_EQ(h.insert(key, val), 1);  // nothing changed: both stay ours
  EXPECT_STREQ(h.lookup("x"), "one");
  free(key);
  free(val);

  // replace keeps the stored key and destroys the old value.
  char *stored = static_cast<char *>(h.table[kes_str_hash("x") & h.mask]->key);
  key = dup("x");
  EXPECT_EQ(h.replace(key, dup("three")), 1);
  EXPECT_STREQ(h.lookup("x"), "three");
  EXPECT_EQ(h.table[kes_str_hash("x") & h.mask]->key, stored);
  free(key);  // still the caller's
  EXPECT_EQ(h.replace(dup("y"), dup("new")), 0);
  EXPECT_STREQ(h.lookup("y"), "new");
  EXPECT_EQ(h.count, 2);

  EXPECT_EQ(h.lookup("z"), nullptr);
  EXPECT_EQ(h.remove("x"), 1);
  EXPECT_EQ(h.remove("x"), 0);
  EXPECT_EQ(h.lookup("x"), nullptr);
  EXPECT_EQ(h.count, 1);
  // Negative hashes from high bytes still land inside the table.
  EXPECT_EQ(h.insert(dup("\xe4\xf6\xfc"), dup("umlauts")), 0);
  EXPECT_LT(kes_str_hash("\xe4\xf6\xfc"), 0);
  EXPECT_STREQ(h.lookup("\xe4\xf6\xfc"), "umlauts");

  // The value for a missing key may equal a stored one.
  Kes_str_int_hash ints(-7);
  EXPECT_EQ(ints.lookup("absent"), -7);
  ints.insert(dup("zero"), 0);
  EXPECT_EQ(ints.lookup("zero"), 0);
}

TEST(HashOps, IterateSumsAndMayRemove) {
  Kes_str_int_hash h;
  std::map<std::string, int> want;
  for (int i = 1; i <= 200; i++) {
    h.insert(dup("f" + std::to_string(i)), i);
    want["f" + std::to_string(i)] = i;
  }
  std::map<std::string, int> seen;
  int sum = h.iterate(
      [](void *k, void *v, void *arg) {
        (*static_cast<std::map<std::string, int> *>(arg))[static_cast<char *>(k)] = (int)(intptr_t)v;
        return (int)(intptr_t)v;
      },
      &seen);
  EXPECT_EQ(sum, 200 * 201 / 2);
  EXPECT_EQ(seen, want);

  // Removing the entry in hand during iteration.
  int removed = h.iterate(
      [](void *k, void *v, void *arg) {
        if ((intptr_t)v % 2) return 0;
        return static_cast<Kes_str_int_hash *>(arg)->remove(static_cast<char *>(k));
      },
      &h);
  EXPECT_EQ(removed, 100);
  EXPECT_EQ(h.count, 100);
  EXPECT_EQ(h.lookup("f3"), 3);
  EXPECT_EQ(h.lookup("f4"), 0);
}

TEST(HashOps, DeleteHashEmptiesAndTheDestructorCopes) {
  Kes_str_str_hash *h = new Kes_str_str_hash(8);
  for (int i = 0; i < 20; i++) h->insert(dup("k" + std::to_string(i)), dup("v"));
  h->delete_hash();
  EXPECT_EQ(h->count, 0);
  EXPECT_EQ(h->table, nullptr);
  delete h;
}
