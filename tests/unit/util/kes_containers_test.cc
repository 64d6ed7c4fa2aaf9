// Lists and hash tables: linking, ownership of data, iteration that deletes,
// sorting, the string helpers they share, and the tables' growth; and the node
// pools beneath them: reuse of freed nodes, blocks, the one node size per
// heap, pooling switched off by the environment.
#include <gtest/gtest.h>

#include <sys/resource.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "util/kes_hash.h"
#include "util/kes_heap.h"
#include "util/kes_list.h"
#include "util/kes_str.h"

namespace {

// A typed list written the way other layers write theirs; it counts what it
// creates and destroys so that ownership mistakes show.
struct Item {
  int n;
  explicit Item(int v) : n(v) {}
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
  l.add(0);
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

TEST_F(ListTest, FindAndSearch) {
  Itemlist l;
  Item probe(7);
  EXPECT_EQ(l.find_elem(&probe), nullptr);
  for (int i = 1; i <= 6; i++) l.add(i);
  Kes_listelem *first7 = l.add(7);
  l.add(7);
  EXPECT_EQ(l.find_elem(&probe), first7);
  probe.n = 8;
  EXPECT_EQ(l.find_elem(&probe), nullptr);

  auto above = [](void *d, void *arg) { return static_cast<Item *>(d)->n > *(int *)arg ? 1 : 0; };
  int limit = 6;
  EXPECT_EQ(l.search(above, &limit), first7->data);
  limit = 7;
  EXPECT_EQ(l.search(above, &limit), nullptr);
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
  std::vector<int> left = contents(l);
  ASSERT_EQ((int)left.size(), n - (n + 2) / 3);
  for (int v : left) EXPECT_NE(v % 3, 0) << v;
  EXPECT_EQ(items_alive, l.count);

  void *found = l.search(
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
  EXPECT_EQ(strings(l), (std::vector<std::string>{"alpha", "alpha", "<null>"}));
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

TEST(StringHelpers, NullsCompareFirst) {
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

// ---------------------------------------------------------------------------
// Node pools.

namespace {

struct Node24 {
  char bytes[24];
};

class HeapTest : public testing::Test {
protected:
  void SetUp() override { unsetenv("BRINDLE_NO_HEAP"); }
  void TearDown() override {
    kes_heap_destroy(&heap);
    unsetenv("BRINDLE_NO_HEAP");
  }
  Kes_heap *heap = nullptr;
};

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif
#else
constexpr bool kAddressSanitizer = false;
#endif

}  // namespace

// Freed nodes are used again, before a new block is taken; nodes smaller than
// a pointer still hold the free list's link; a destroyed heap starts afresh.
TEST_F(HeapTest, FreedNodesAreReusedAndDestroyStartsAfresh) {
  for (size_t size : {sizeof(Node24), size_t(1)}) {
    std::set<char *> nodes;
    for (int i = 0; i < 6; i++) nodes.insert(static_cast<char *>(kes_heap_new(&heap, size, 4)));
    ASSERT_EQ(nodes.size(), 6u);
    for (char *p : nodes) {
      EXPECT_EQ((uintptr_t)p % alignof(void *), 0u);
      memset(p, 0xa5, size);  // usable memory of its own
    }
    for (char *p : nodes) kes_heap_delete(heap, p);
    EXPECT_EQ(heap->in_use, 0);
    std::set<char *> again;
    for (int i = 0; i < 6; i++) again.insert(static_cast<char *>(kes_heap_new(&heap, size, 4)));
    EXPECT_EQ(again, nodes);
    EXPECT_EQ(heap->in_use, 6);
    kes_heap_destroy(&heap);
    EXPECT_EQ(heap, nullptr);
    kes_heap_destroy(&heap);  // twice is harmless
  }
}

TEST_F(HeapTest, NoPoolingWhenTheEnvironmentSaysSoAtCreation) {
  Kes_heap *pooled = nullptr;
  void *q = kes_heap_new(&pooled, 32, 50);  // made before the variable is set

  setenv("BRINDLE_NO_HEAP", "1", 1);
  std::vector<void *> nodes;
  for (int i = 0; i < 120; i++) nodes.push_back(kes_heap_new(&heap, 32, 50));
  EXPECT_NE(heap->flags & KES_HEAP_NO_POOL, 0);
  EXPECT_EQ(heap->blocks, nullptr);  // each node came from the general allocator
  EXPECT_EQ(heap->in_use, 120);
  for (void *p : nodes) kes_heap_delete(heap, p);  // and goes back to it
  EXPECT_EQ(heap->in_use, 0);
  EXPECT_EQ(heap->free_list, nullptr);

  // A heap made earlier keeps pooling.
  void *r = kes_heap_new(&pooled, 32, 50);
  EXPECT_EQ(pooled->flags & KES_HEAP_NO_POOL, 0);
  EXPECT_NE(pooled->blocks, nullptr);
  EXPECT_EQ(static_cast<char *>(r) - static_cast<char *>(q), 32);
  kes_heap_destroy(&pooled);
}

// A class derived from a pooled class and larger than it must bring its own
// operators; otherwise its first allocation stops the program.
struct Fat_elem : Kes_listelem {
  char extra[8];
};

TEST(HeapDeathTest, WrongNodeSizeAbortsAlsoForALargerSubclassOfAPooledClass) {
  EXPECT_DEATH(
      {
        Kes_heap *h = nullptr;
        kes_heap_new(&h, 24, 10);
        kes_heap_new(&h, 32, 10);
      },
      "^Kes_heap: cannot allocate 32 byte node from heap of 24 byte nodes\n");
  EXPECT_DEATH(
      {
        delete new Kes_listelem;  // the pool takes its node size from the first
        delete new Fat_elem;
      },
               "Kes_heap: cannot allocate " + std::to_string(sizeof(Fat_elem)) +
                   " byte node from heap of " + std::to_string(sizeof(Kes_listelem)) + " byte nodes");
}

TEST(HeapDeathTest, NoMemoryForABlockAborts) {
  if (kAddressSanitizer) GTEST_SKIP() << "the sanitizer reserves more address space than the limit";
  EXPECT_DEATH(
      {
        struct rlimit lim;
        lim.rlim_cur = lim.rlim_max = 1u << 30;
        setrlimit(RLIMIT_AS, &lim);
        Kes_heap *h = nullptr;
        kes_heap_new(&h, 1 << 20, 1500);
      },
      "^Kes_heap: cannot allocate 1572864016 byte block\n");
}

// The pooled list and hash classes without the pool; in a child so that it
// starts with none.
TEST(PooledClasses, ListsAndTablesWorkUnpooled) {
  EXPECT_EXIT(
      {
        setenv("BRINDLE_NO_HEAP", "1", 1);
        kes_listelem_delete_heap();
        kes_hashbucket_delete_heap();
        Kes_strlist l;
        Kes_str_int_hash h;
        int bad = 0;
        for (int i = 0; i < 5000; i++) {
          l.add_new_data(strdup(std::to_string(i).c_str()));
          h.insert(strdup(std::to_string(i).c_str()), i);
        }
        for (int i = 0; i < 5000; i++) bad += h.lookup(std::to_string(i).c_str()) != i;
        l.clear();
        h.delete_hash();
        fprintf(stderr, "bad %d\n", bad);
        exit(bad == 0 && l.count == 0 ? 0 : 1);
      },
      testing::ExitedWithCode(0), "bad 0");
}
