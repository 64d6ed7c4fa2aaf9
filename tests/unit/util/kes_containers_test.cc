// Lists and hash tables: linking, ownership of data, iteration that deletes,
// sorting, the string helpers they share, and the tables' growth.
#include <gtest/gtest.h>

#include <algorithm>
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

// A typed list written the way other layers write theirs; it counts what it
// creates and destroys so that ownership mistakes show.
struct Item {
  int n;
  int visits = 0;
  explicit Item(int v) : n(v) {}
  void visit(int by) { visits += by; }
};

int items_alive = 0;
int lists_alive = 0;

class Itemlist : public Kes_list {
public:
  Itemlist() { lists_alive++; }
  ~Itemlist() override {
    clear();
    lists_alive--;
  }
  Kes_list *create_list() override { return new Itemlist; }
  void *create_data() override {
    items_alive++;
    return new Item(0);
  }
  void *copy_data(void *d) override {
    items_alive++;
    return new Item(static_cast<Item *>(d)->n);
  }
  void delete_data(void *d) override {
    items_alive--;
    delete static_cast<Item *>(d);
  }
  void print_data(void *) override {}
  int compare_datas(void *a, void *b) override {
    return static_cast<Item *>(a)->n == static_cast<Item *>(b)->n;
  }
  Kes_listelem *add(int n) {
    items_alive++;
    return add_new_data(new Item(n));
  }
  void drop_odd(Kes_listelem *e, int *seen) {
    ++*seen;
    if (static_cast<Item *>(e->data)->n % 2) delete_elem(e);
  }
};

// The contents read forwards; the backward links and the count must agree.
std::vector<int> contents(Kes_list &l) {
  std::vector<int> v, back;
  for (Kes_listelem *e = l.head.next; e != &l.head; e = e->next)
    v.push_back(static_cast<Item *>(e->data)->n);
  for (Kes_listelem *e = l.head.prev; e != &l.head; e = e->prev)
    back.insert(back.begin(), static_cast<Item *>(e->data)->n);
  EXPECT_EQ(v, back);
  EXPECT_EQ((int)v.size(), l.count);
  return v;
}

std::vector<std::string> strings(Kes_list &l) {
  std::vector<std::string> v, back;
  for (Kes_listelem *e = l.head.next; e != &l.head; e = e->next)
    v.push_back(e->data ? static_cast<char *>(e->data) : "<null>");
  for (Kes_listelem *e = l.head.prev; e != &l.head; e = e->prev)
    back.insert(back.begin(), e->data ? static_cast<char *>(e->data) : "<null>");
  EXPECT_EQ(v, back);
  return v;
}

class ListTest : public testing::Test {
protected:
  void SetUp() override { items_alive = lists_alive = 0; }
  void TearDown() override {
    EXPECT_EQ(items_alive, 0);
    EXPECT_EQ(lists_alive, 0);
  }
};

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

using V = std::vector<int>;

}  // namespace

TEST_F(ListTest, LinkingUnlinkingAndOwnership) {
  Itemlist l;
  Kes_listelem *two = l.add(2);
  l.add(4);
  EXPECT_EQ(static_cast<Item *>(l.add_new_elem())->n, 0);
  Item five(5);
  EXPECT_NE(l.add_new_copy(&five)->data, &five);
  Kes_listelem *e = l.create_elem();
  EXPECT_FALSE(e->linked());
  l.insert_head(e);
  static_cast<Item *>(e->data)->n = 1;
  Kes_listelem *x = new Kes_listelem(new Item(3));
  Kes_listelem *y = new Kes_listelem(new Item(9));
  items_alive += 2;
  l.insert_after(two, x);
  l.insert_before(two, y);
  EXPECT_EQ(contents(l), (V{1, 9, 2, 3, 4, 0, 5}));

  // Removing an element twice counts once; it can then go elsewhere.
  l.remove_elem(y);
  l.remove_elem(y);
  EXPECT_FALSE(y->linked());
  l.insert_tail(y);
  EXPECT_EQ(contents(l), (V{1, 2, 3, 4, 0, 5, 9}));

  l.delete_elem(e);
  EXPECT_EQ(items_alive, 6);
  Item *kept = static_cast<Item *>(two->data);
  l.delete_elem_wrapper(two);  // the datum outlives its element
  EXPECT_EQ(items_alive, 6);
  EXPECT_EQ(kept->n, 2);
  delete kept;
  items_alive--;
  EXPECT_EQ(contents(l), (V{3, 4, 0, 5, 9}));

  // A view sharing the data lets go of its elements only.
  Itemlist *view = new Itemlist;
  for (Kes_listelem *d = l.head.next; d != &l.head; d = d->next) view->add_new_data(d->data);
  view->delete_wrapper();
  EXPECT_EQ(lists_alive, 1);
  EXPECT_EQ(items_alive, 5);

  // Append takes everything over and deletes the other list, empty or not.
  Itemlist *other = new Itemlist;
  other->add(6);
  l.append(other);
  l.append(new Itemlist);
  EXPECT_EQ(lists_alive, 1);
  EXPECT_EQ(contents(l), (V{3, 4, 0, 5, 9, 6}));
  l.clear();
  EXPECT_EQ(items_alive, 0);
  EXPECT_EQ(l.count, 0);
  EXPECT_EQ(l.head.next, &l.head);
}

TEST_F(ListTest, CopyIsDeepAndCompareWantsCountAndOrder) {
  Itemlist a, b;
  EXPECT_EQ(a.compare(&b), 1);
  EXPECT_EQ(a.compare(nullptr), 0);
  for (int i = 0; i < 4; i++) a.add(i * 10);
  Kes_list *c = a.copy();
  ASSERT_NE(dynamic_cast<Itemlist *>(c), nullptr);
  EXPECT_EQ(contents(*c), (V{0, 10, 20, 30}));
  EXPECT_EQ(a.compare(c), 1);
  static_cast<Item *>(c->head.next->data)->n = 99;
  EXPECT_EQ(a.compare(c), 0);
  EXPECT_EQ(contents(a), (V{0, 10, 20, 30}));
  delete c;
  for (int n : {30, 20, 10, 0}) b.add(n);
  EXPECT_EQ(a.compare(&b), 0);  // same data, other order
  b.clear();
  for (int n : {0, 10, 20, 30, 40}) b.add(n);
  EXPECT_EQ(a.compare(&b), 0);  // one more
}

TEST_F(ListTest, FindSearchAndIterate) {
  Itemlist l;
  Item probe(7);
  EXPECT_EQ(l.find_elem(&probe), nullptr);
  EXPECT_EQ(l.iterate_or([](void *, void *) { return 7; }, nullptr), 0);
  for (int i = 1; i <= 6; i++) l.add(i);
  Kes_listelem *first7 = l.add(7);
  l.add(7);
  EXPECT_EQ(l.find_elem(&probe), first7);
  probe.n = 8;
  EXPECT_EQ(l.find_elem(&probe), nullptr);

  auto above = [](void *d, void *arg) { return static_cast<Item *>(d)->n > *(int *)arg ? 1 : 0; };
  int limit = 6;
  EXPECT_EQ(l.search_elem(above, &limit), first7);
  EXPECT_EQ(l.search(above, &limit), first7->data);
  limit = 7;
  EXPECT_EQ(l.search(above, &limit), nullptr);

  int calls = 0;
  int r = l.iterate_or(
      [](void *d, void *arg) {
        ++*static_cast<int *>(arg);
        int n = static_cast<Item *>(d)->n;
        return n >= 3 ? n * 100 : 0;
      },
      &calls);
  EXPECT_EQ(r, 300);
  EXPECT_EQ(calls, 3);
  int sum = 0;
  l.iterate([](void *d, void *arg) { *(int *)arg += static_cast<Item *>(d)->n; }, &sum);
  EXPECT_EQ(sum, 35);
  l.iterate_data(&Item::visit, 5);
  l.iterate_data(&Item::visit, 2);
  EXPECT_EQ(static_cast<Item *>(l.head.prev->data)->visits, 7);
}

// The visiting function deletes the element it is given: iteration must carry
// on with the rest.
TEST_F(ListTest, DeletingWhileIterating) {
  Itemlist l;
  const int n = 2000;
  for (int i = 0; i < n; i++) l.add(i);
  struct Ctx {
    Itemlist *list;
    int seen;
  } ctx{&l, 0};
  l.iterate(
      [](void *d, void *arg) {
        Ctx *c = static_cast<Ctx *>(arg);
        c->seen++;
        if (static_cast<Item *>(d)->n % 3 == 0) c->list->delete_elem(c->list->find_elem(d));
      },
      &ctx);
  EXPECT_EQ(ctx.seen, n);
  EXPECT_EQ(l.count, n - (n + 2) / 3);

  int seen = 0;
  l.iterate_elem(&Itemlist::drop_odd, &seen);
  EXPECT_EQ(seen, n - (n + 2) / 3);
  std::vector<int> left = contents(l);
  ASSERT_FALSE(left.empty());
  for (int v : left) EXPECT_TRUE(v % 2 == 0 && v % 3 != 0) << v;
  EXPECT_EQ(items_alive, l.count);

  Kes_listelem *found = l.search_elem(
      [](void *d, void *arg) {
        Itemlist *list = static_cast<Itemlist *>(arg);
        list->delete_elem(list->find_elem(d));
        return 0;
      },
      &l);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(items_alive, 0);
}

TEST(Strlist, DataOperationsAndSortByStrcmp) {
  Kes_strlist l;
  char *s = strdup("alpha");
  l.add_new_data(s);
  Kes_listelem *c = l.add_new_copy(s);
  EXPECT_NE(c->data, s);
  l.add_new_copy(nullptr);  // null stays null
  EXPECT_STREQ(static_cast<char *>(l.add_new_elem()), "");
  EXPECT_EQ(strings(l), (std::vector<std::string>{"alpha", "alpha", "<null>", ""}));
  EXPECT_EQ(l.find_elem(nullptr), l.head.next->next->next);
  EXPECT_EQ(l.find_elem((void *)"beta"), nullptr);
  Kes_list *copy = l.copy();
  ASSERT_NE(dynamic_cast<Kes_strlist *>(copy), nullptr);
  EXPECT_EQ(copy->compare(&l), 1);
  delete copy;

  Kes_strlist big;
  std::vector<std::string> want = {"pear", "apple", "fig", "Zebra", "apple", "banana"};
  unsigned seed = 12345;
  for (int i = 0; i < 3000; i++) {
    seed = seed * 1103515245 + 12345;
    want.push_back((seed & 1 ? "f" : "F") + std::to_string(seed % 100000));
  }
  std::vector<std::pair<Kes_listelem *, std::string>> elems;
  for (const std::string &w : want) elems.emplace_back(big.add_new_data(strdup(w.c_str())), w);
  big.sort(kes_strlist_compare);
  std::sort(want.begin(), want.end());  // by byte value, upper case first, as strcmp
  EXPECT_EQ(strings(big), want);
  // Elements moved with their data.
  for (auto &p : elems) ASSERT_EQ(static_cast<char *>(p.first->data), p.second);
}

TEST(StringHelpers, SignedByteSumAndNullsFirst) {
  EXPECT_EQ(kes_str_hash("AB"), 131);
  EXPECT_EQ(kes_str_hash("a\x80"), 97 - 128);
  char a[] = "same", b[] = "same";
  EXPECT_EQ(kes_str_compare(a, b), 1);
  EXPECT_EQ(kes_str_compare(nullptr, nullptr), 1);
  EXPECT_EQ(kes_str_compare(a, nullptr), 0);
  char *x = a, *z = nullptr;
  EXPECT_LT(kes_strlist_compare(&z, &x), 0);
  EXPECT_GT(kes_strlist_compare(&x, &z), 0);
}

// ---------------------------------------------------------------------------
// Hash tables: sizing, growth by stored hash, ownership of keys and values, and
// the string-keyed tables.

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
