// Node pools: reuse of freed nodes, blocks, the one node size per heap, pooling
// switched off by the environment, and the pooled list and hash classes.
#include <gtest/gtest.h>

#include <sys/resource.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "util/kes_hash.h"
#include "util/kes_heap.h"
#include "util/kes_list.h"

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
