// Lists: linking, ownership of data, iteration that deletes, sorting, and the
// string helpers shared with the hash tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "util/kes_list.h"

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

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
  void print_data(void *d) override { fprintf(stderr, "%d\n", static_cast<Item *>(d)->n); }
  int compare_datas(void *a, void *b) override {
    return static_cast<Item *>(a)->n == static_cast<Item *>(b)->n;
  }

  Kes_listelem *add(int n) {
    items_alive++;
    return add_new_data(new Item(n));
  }
  // For iterate_elem: drop odd items.
  void drop_odd(Kes_listelem *e, int *seen) {
    ++*seen;
    if (static_cast<Item *>(e->data)->n % 2) delete_elem(e);
  }
};

std::vector<int> contents(Kes_list &l) {
  std::vector<int> v;
  for (Kes_listelem *e = l.head.next; e != &l.head; e = e->next)
    v.push_back(static_cast<Item *>(e->data)->n);
  // The backward links must tell the same story.
  std::vector<int> back;
  for (Kes_listelem *e = l.head.prev; e != &l.head; e = e->prev)
    back.insert(back.begin(), static_cast<Item *>(e->data)->n);
  EXPECT_EQ(v, back);
  EXPECT_EQ((int)v.size(), l.count);
  return v;
}

std::vector<std::string> strings(Kes_list &l) {
  std::vector<std::string> v;
  for (Kes_listelem *e = l.head.next; e != &l.head; e = e->next)
    v.push_back(e->data ? static_cast<char *>(e->data) : "<null>");
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

using V = std::vector<int>;

}  // namespace

TEST_F(ListTest, AddingAndLinking) {
  Itemlist l;
  Kes_listelem *two = l.add(2);
  l.add(4);
  Item *fresh = static_cast<Item *>(l.add_new_elem());
  EXPECT_EQ(fresh->n, 0);
  Item five(5);
  Kes_listelem *copy = l.add_new_copy(&five);
  EXPECT_NE(copy->data, &five);
  EXPECT_EQ(contents(l), (V{2, 4, 0, 5}));

  Kes_listelem *e = l.create_elem();
  EXPECT_FALSE(e->linked());
  EXPECT_EQ(l.count, 4);
  l.insert_head(e);
  static_cast<Item *>(e->data)->n = 1;
  EXPECT_EQ(contents(l), (V{1, 2, 4, 0, 5}));

  Kes_listelem *x = new Kes_listelem(new Item(3));
  items_alive++;
  l.insert_after(two, x);
  Kes_listelem *y = new Kes_listelem(new Item(9));
  items_alive++;
  l.insert_before(two, y);
  EXPECT_EQ(contents(l), (V{1, 9, 2, 3, 4, 0, 5}));

  // Removing an element twice counts once; it can then go elsewhere.
  l.remove_elem(y);
  l.remove_elem(y);
  EXPECT_FALSE(y->linked());
  EXPECT_EQ(contents(l), (V{1, 2, 3, 4, 0, 5}));
  l.insert_tail(y);
  EXPECT_EQ(contents(l), (V{1, 2, 3, 4, 0, 5, 9}));
}

TEST_F(ListTest, DeletingElementsAndWrappers) {
  Itemlist l;
  Kes_listelem *a = l.add(1);
  Kes_listelem *b = l.add(2);
  l.add(3);
  l.delete_elem(a);
  EXPECT_EQ(items_alive, 2);
  Item *kept = static_cast<Item *>(b->data);
  l.delete_elem_wrapper(b);
  EXPECT_EQ(items_alive, 2);  // the datum outlives its element
  EXPECT_EQ(kept->n, 2);
  delete kept;
  items_alive--;
  EXPECT_EQ(contents(l), (V{3}));
  l.clear();
  EXPECT_EQ(items_alive, 0);
  EXPECT_EQ(l.count, 0);
}

TEST_F(ListTest, DeleteWrapperLeavesSharedData) {
  Itemlist owner;
  Itemlist *view = new Itemlist;
  for (int i = 0; i < 5; i++) view->add_new_data(owner.add(i)->data);
  view->delete_wrapper();
  EXPECT_EQ(lists_alive, 1);
  EXPECT_EQ(items_alive, 5);
  EXPECT_EQ(contents(owner), (V{0, 1, 2, 3, 4}));
}

TEST_F(ListTest, AppendMovesEverythingAndDeletesTheOther) {
  Itemlist l;
  l.add(1);
  Itemlist *other = new Itemlist;
  other->add(2);
  other->add(3);
  l.append(other);
  EXPECT_EQ(lists_alive, 1);
  EXPECT_EQ(contents(l), (V{1, 2, 3}));
  l.append(new Itemlist);
  EXPECT_EQ(contents(l), (V{1, 2, 3}));
  Itemlist empty;
  Itemlist *more = new Itemlist;
  more->add(7);
  empty.append(more);
  EXPECT_EQ(contents(empty), (V{7}));
}

TEST_F(ListTest, CopyIsDeepAndOfTheSameClass) {
  Itemlist l;
  for (int i = 0; i < 4; i++) l.add(i * 10);
  Kes_list *c = l.copy();
  ASSERT_NE(dynamic_cast<Itemlist *>(c), nullptr);
  EXPECT_EQ(contents(*c), (V{0, 10, 20, 30}));
  EXPECT_EQ(l.compare(c), 1);
  static_cast<Item *>(c->head.next->data)->n = 99;
  EXPECT_EQ(l.compare(c), 0);
  EXPECT_EQ(contents(l), (V{0, 10, 20, 30}));
  delete c;
}

TEST_F(ListTest, EmptyListsAndCompare) {
  Itemlist a, b;
  // An empty list survives every operation and equals another empty one.
  a.clear();
  a.sort([](const void *, const void *) { return 0; });
  EXPECT_EQ(contents(a), V{});
  EXPECT_EQ(a.head.next, &a.head);
  Item probe(1);
  EXPECT_EQ(a.find_elem(&probe), nullptr);
  EXPECT_EQ(a.iterate_or([](void *, void *) { return 7; }, nullptr), 0);
  EXPECT_EQ(a.compare(&b), 1);
  EXPECT_EQ(a.compare(nullptr), 0);

  // Same count and equal data in the same order.
  EXPECT_EQ(a.compare(&a), 1);
  a.add(1);
  a.add(2);
  b.add(2);
  b.add(1);
  EXPECT_EQ(a.compare(&b), 0);
  b.add(3);
  EXPECT_EQ(a.compare(&b), 0);
  Itemlist c;
  c.add(1);
  c.add(2);
  EXPECT_EQ(a.compare(&c), 1);
  EXPECT_EQ(c.compare(&a), 1);
}

TEST_F(ListTest, FindAndSearch) {
  Itemlist l;
  l.add(5);
  Kes_listelem *first7 = l.add(7);
  l.add(7);
  Item probe(7);
  EXPECT_EQ(l.find_elem(&probe), first7);
  probe.n = 8;
  EXPECT_EQ(l.find_elem(&probe), nullptr);

  auto above = [](void *d, void *arg) { return static_cast<Item *>(d)->n > *(int *)arg ? 1 : 0; };
  int limit = 6;
  EXPECT_EQ(l.search_elem(above, &limit), first7);
  EXPECT_EQ(l.search(above, &limit), first7->data);
  limit = 7;
  EXPECT_EQ(l.search(above, &limit), nullptr);
  EXPECT_EQ(l.search_elem(above, &limit), nullptr);
}

TEST_F(ListTest, IterateOrStopsAtFirstNonZero) {
  Itemlist l;
  for (int i = 1; i <= 6; i++) l.add(i);
  struct Probe {
    int calls = 0;
  } p;
  int r = l.iterate_or(
      [](void *d, void *arg) {
        static_cast<Probe *>(arg)->calls++;
        int n = static_cast<Item *>(d)->n;
        return n >= 3 ? n * 100 : 0;
      },
      &p);
  EXPECT_EQ(r, 300);
  EXPECT_EQ(p.calls, 3);

  int sum = 0;
  l.iterate([](void *d, void *arg) { *(int *)arg += static_cast<Item *>(d)->n; }, &sum);
  EXPECT_EQ(sum, 21);
}

// A list shared by many elements, where the visiting function deletes the
// element it is given: iteration must carry on with the rest.
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
        if (static_cast<Item *>(d)->n % 3 == 0) {
          Kes_listelem *e = c->list->find_elem(d);
          c->list->delete_elem(e);
        }
      },
      &ctx);
  EXPECT_EQ(ctx.seen, n);
  EXPECT_EQ(l.count, n - (n + 2) / 3);
  EXPECT_EQ(items_alive, l.count);

  int seen = 0;
  l.iterate_elem(&Itemlist::drop_odd, &seen);
  EXPECT_EQ(seen, n - (n + 2) / 3);
  std::vector<int> left = contents(l);
  ASSERT_FALSE(left.empty());
  for (int v : left) EXPECT_TRUE(v % 2 == 0 && v % 3 != 0) << v;
  EXPECT_EQ(items_alive, l.count);

  // search_elem, too, survives a function that deletes.
  Kes_listelem *found = l.search_elem(
      [](void *d, void *arg) {
        Itemlist *list = static_cast<Itemlist *>(arg);
        list->delete_elem(list->find_elem(d));
        return 0;
      },
      &l);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(l.count, 0);
  EXPECT_EQ(items_alive, 0);
}

TEST_F(ListTest, IterateDataCallsAMemberOfEachDatum) {
  Itemlist l;
  for (int i = 0; i < 3; i++) l.add(i);
  l.iterate_data(&Item::visit, 5);
  l.iterate_data(&Item::visit, 2);
  for (Kes_listelem *e = l.head.next; e != &l.head; e = e->next)
    EXPECT_EQ(static_cast<Item *>(e->data)->visits, 7);
}

TEST(Strlist, DataOperations) {
  Kes_strlist l;
  char *s = strdup("alpha");
  l.add_new_data(s);
  Kes_listelem *c = l.add_new_copy(s);
  EXPECT_NE(c->data, s);
  EXPECT_STREQ(static_cast<char *>(c->data), "alpha");
  l.add_new_copy(nullptr);  // null stays null
  EXPECT_STREQ(static_cast<char *>(l.add_new_elem()), "");
  EXPECT_EQ(strings(l), (std::vector<std::string>{"alpha", "alpha", "<null>", ""}));

  EXPECT_EQ(l.find_elem((void *)"alpha"), l.head.next);
  EXPECT_EQ(l.find_elem(nullptr), l.head.next->next->next);
  EXPECT_EQ(l.find_elem((void *)"beta"), nullptr);

  Kes_list *copy = l.copy();
  ASSERT_NE(dynamic_cast<Kes_strlist *>(copy), nullptr);
  EXPECT_EQ(copy->compare(&l), 1);
  delete copy;
}

TEST(Strlist, PrintShowsAddressAndText) {
  Kes_strlist l;
  char *s = strdup("gamma");
  l.add_new_data(s);
  CaptureStderr();
  l.print();
  char expect[64];
  snprintf(expect, sizeof expect, "\t%lx gamma\n", (unsigned long)(uintptr_t)s);
  EXPECT_EQ(GetCapturedStderr(), expect);
}

TEST(Strlist, SortByStrcmpMovesElementsWithTheirData) {
  Kes_strlist l;
  std::vector<std::string> want = {"pear", "apple", "fig", "Zebra", "apple", "banana"};
  unsigned seed = 12345;
  for (int i = 0; i < 3000; i++) {
    seed = seed * 1103515245 + 12345;
    want.push_back((seed & 1 ? "f" : "F") + std::to_string(seed % 100000));
  }
  std::vector<std::pair<Kes_listelem *, std::string>> elems;
  for (const std::string &w : want) elems.emplace_back(l.add_new_data(strdup(w.c_str())), w);
  l.sort(kes_strlist_compare);
  std::sort(want.begin(), want.end());  // by byte value, upper case first, as strcmp
  EXPECT_EQ(strings(l), want);
  EXPECT_EQ(l.count, static_cast<int>(want.size()));
  // Elements moved with their data: a pointer held elsewhere still finds its word.
  for (auto &p : elems) ASSERT_EQ(static_cast<char *>(p.first->data), p.second);
  std::vector<std::string> back;
  for (Kes_listelem *e = l.head.prev; e != &l.head; e = e->prev)
    back.insert(back.begin(), static_cast<char *>(e->data));
  EXPECT_EQ(back, want);

  Kes_strlist one;
  one.add_new_data(strdup("only"));
  one.sort(kes_strlist_compare);
  EXPECT_EQ(strings(one), std::vector<std::string>{"only"});
}

TEST(StringHelpers, HashIsASignedByteSum) {
  EXPECT_EQ(kes_str_hash(""), 0);
  EXPECT_EQ(kes_str_hash("A"), 65);
  EXPECT_EQ(kes_str_hash("AB"), 131);
  EXPECT_EQ(kes_str_hash("listing.c"), kes_str_hash("c.gitlsin"));
  EXPECT_EQ(kes_str_hash("\xff"), -1);
  EXPECT_EQ(kes_str_hash("a\x80"), 97 - 128);
}

TEST(StringHelpers, CompareDupAndDelete) {
  char a[] = "same", b[] = "same", c[] = "other";
  EXPECT_EQ(kes_str_compare(a, a), 1);
  EXPECT_EQ(kes_str_compare(a, b), 1);
  EXPECT_EQ(kes_str_compare(a, c), 0);
  EXPECT_EQ(kes_str_compare(nullptr, nullptr), 1);
  EXPECT_EQ(kes_str_compare(a, nullptr), 0);
  EXPECT_EQ(kes_str_compare(nullptr, a), 0);

  EXPECT_EQ(kes_strdup(nullptr), nullptr);
  char *d = kes_strdup(a);
  EXPECT_NE(d, a);
  EXPECT_STREQ(d, "same");
  kes_str_delete(d);
  kes_str_delete(nullptr);

  char *x = a, *y = c, *z = nullptr;
  EXPECT_GT(kes_strlist_compare(&x, &y), 0);  // "same" after "other"
  EXPECT_LT(kes_strlist_compare(&y, &x), 0);
  EXPECT_EQ(kes_strlist_compare(&x, &x), 0);
  EXPECT_LT(kes_strlist_compare(&z, &x), 0);
  EXPECT_GT(kes_strlist_compare(&x, &z), 0);
}
