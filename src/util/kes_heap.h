// Fixed-size node pools.  A transaction over a large workspace makes hundreds of
// thousands of small records; taking them from a pool costs a few instructions and
// freeing a whole pool at the end of a run is cheap.
//
// A pooled class declares its own allocation operators over these functions and a
// kes_<class>_delete_heap() that frees its pool:
//
//   static Kes_heap *thing_heap;
//   void *Kes_thing::operator new(size_t size) {
//     return kes_heap_new(&thing_heap, size, 500);
//   }
//   void Kes_thing::operator delete(void *p) { kes_heap_delete(thing_heap, p); }
//   void kes_thing_delete_heap() { kes_heap_destroy(&thing_heap); }
//
// Every request to one heap must be for its node size: a subclass of a pooled class
// that is larger than its base must declare its own operators, or the first
// allocation aborts.  Nodes are aligned for pointers, not beyond.
//
// With BRINDLE_NO_HEAP in the environment when a heap is created, every node of
// that heap comes from the general allocator, so that memory checkers see each one.
#ifndef BRINDLE_UTIL_KES_HEAP_H
#define BRINDLE_UTIL_KES_HEAP_H

#include <cstddef>

struct Kes_heap {
  void *blocks;          // chain of blocks through their first word
  char *next_free;       // next unused byte in the current block
  int per_block;         // nodes per block
  int used_in_block;     // nodes handed out from the current block
  size_t node_size;      // the one size this heap serves
  void *free_list;       // freed nodes, chained through their first word
  int flags;             // KES_HEAP_NO_POOL
  long in_use;           // nodes handed out and not yet freed
};

enum { KES_HEAP_NO_POOL = 1 };

// A node of size bytes, creating *heap on first use.  A size other than the heap's
// node size, or no memory for a new block, prints a message and aborts.
void *kes_heap_new(Kes_heap **heap, size_t size, int per_block);
// Returns p (null is ignored) to the heap.
void kes_heap_delete(Kes_heap *heap, void *p);
// Frees every block and the heap itself and sets *heap to null.  Nodes still in
// use become invalid: call it at the end of a run only.
void kes_heap_destroy(Kes_heap **heap);

#endif
