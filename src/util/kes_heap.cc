// Kes_heap: pools of records of one size.
#include "util/kes_heap.h"

#include <cstdio>
#include <cstdlib>

#include "util/kes_msg.h"

namespace {
// A block starts with the link to the previous block; the header keeps the nodes
// behind it aligned as malloc aligns.
constexpr size_t kBlockHeader = alignof(std::max_align_t);

// Nodes hold the free-list link when free, so they are at least a pointer wide and
// a whole number of pointers.
size_t node_stride(size_t size) {
  if (size < sizeof(void *)) size = sizeof(void *);
  return (size + sizeof(void *) - 1) / sizeof(void *) * sizeof(void *);
}

Kes_heap *create_heap(size_t size, int per_block) {
  Kes_heap *h = static_cast<Kes_heap *>(calloc(1, sizeof(Kes_heap)));
  if (!h) {
    fprintf(stderr, UTIL_MSG(101, "Kes_heap: cannot allocate %d byte block\n"),
            (int)sizeof(Kes_heap));
    abort();
  }
  h->per_block = per_block > 0 ? per_block : 1;
  h->used_in_block = h->per_block;  // no current block yet
  h->node_size = size;
  if (getenv("BRINDLE_NO_HEAP")) h->flags |= KES_HEAP_NO_POOL;
  return h;
}
}  // namespace

void *kes_heap_new(Kes_heap **heap, size_t size, int per_block) {
  if (!*heap) *heap = create_heap(size, per_block);
  Kes_heap *h = *heap;
  if (size != h->node_size) {
    fprintf(stderr,
            UTIL_MSG(100, "Kes_heap: cannot allocate %d byte node from heap of %d byte nodes\n"),
            (int)size, (int)h->node_size);
    abort();
  }
  void *node;
  if (h->flags & KES_HEAP_NO_POOL) {
    node = malloc(node_stride(size));
    if (!node) {
      fprintf(stderr, UTIL_MSG(101, "Kes_heap: cannot allocate %d byte block\n"), (int)size);
      abort();
    }
  } else if (h->free_list) {
    node = h->free_list;
    h->free_list = *static_cast<void **>(node);
  } else {
    size_t stride = node_stride(size);
    if (h->used_in_block >= h->per_block) {
      size_t bytes = stride * h->per_block + kBlockHeader;
      void *block = malloc(bytes);
      if (!block) {
        fprintf(stderr, UTIL_MSG(101, "Kes_heap: cannot allocate %d byte block\n"), (int)bytes);
        abort();
      }
      *static_cast<void **>(block) = h->blocks;
      h->blocks = block;
      h->next_free = static_cast<char *>(block) + kBlockHeader;
      h->used_in_block = 0;
    }
    node = h->next_free;
    h->next_free += stride;
    h->used_in_block++;
  }
  h->in_use++;
  return node;
}

void kes_heap_delete(Kes_heap *heap, void *p) {
  if (!p || !heap) return;
  heap->in_use--;
  if (heap->flags & KES_HEAP_NO_POOL) {
    free(p);
    return;
  }
  *static_cast<void **>(p) = heap->free_list;
  heap->free_list = p;
}

void kes_heap_destroy(Kes_heap **heap) {
  Kes_heap *h = *heap;
  if (!h) return;
  for (void *b = h->blocks; b;) {
    void *prev = *static_cast<void **>(b);
    free(b);
    b = prev;
  }
  free(h);
  *heap = nullptr;
}
