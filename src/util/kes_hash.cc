// Kes_hash and its string-keyed forms Kes_str_int_hash and Kes_str_str_hash.
#include "util/kes_hash.h"

#include <cstdlib>
#include <cstring>

#include "util/kes_heap.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_str.h"

namespace {
Kes_heap *bucket_heap = nullptr;

Kes_hashbucket **new_table(int slots) {
  void *t = calloc(slots, sizeof(Kes_hashbucket *));
  if (!t) kes_new_handler();
  return static_cast<Kes_hashbucket **>(t);
}
}  // namespace

void *Kes_hashbucket::operator new(size_t size) {
  return kes_heap_new(&bucket_heap, size, 500);
}

void Kes_hashbucket::operator delete(void *p) { kes_heap_delete(bucket_heap, p); }

void kes_hashbucket_delete_heap() { kes_heap_destroy(&bucket_heap); }

Kes_hash::Kes_hash(void *key_default, void *missing, int requested)
    : table(nullptr), count(0), threshold(0), mask(0), size(1),
      key_default(key_default), missing(missing) {
  if (requested < 1) requested = 1;
  while (size < requested) size *= 2;
  mask = requested - 1;
  threshold = requested * 8 / 10;
  table = new_table(size);
}

Kes_hash::~Kes_hash() {
  if (!table) return;
  for (int i = 0; i < size; i++) {
    for (Kes_hashbucket *b = table[i], *n; b; b = n) {
      n = b->next;
      delete b;
    }
  }
  free(table);
  table = nullptr;
}

Kes_hashbucket **Kes_hash::find(void *key, int hash) {
  Kes_hashbucket **link = &table[hash & mask];
  for (; *link; link = &(*link)->next)
    if ((*link)->hash == hash && keys_equal((*link)->key, key)) return link;
  return nullptr;
}

void Kes_hash::add(void *key, void *value, int hash) {
  Kes_hashbucket *b = new Kes_hashbucket;
  b->hash = hash;
  b->key = key;
  b->value = value;
  Kes_hashbucket **slot = &table[hash & mask];
  b->next = *slot;
  *slot = b;
  if (count++ > threshold) grow();
}

void Kes_hash::grow() {
  int new_size = size * 2;
  Kes_hashbucket **t = new_table(new_size);
  int new_mask = new_size - 1;
  for (int i = 0; i < size; i++) {
    for (Kes_hashbucket *b = table[i], *n; b; b = n) {
      n = b->next;
      Kes_hashbucket **slot = &t[b->hash & new_mask];
      b->next = *slot;
      *slot = b;
    }
  }
  free(table);
  table = t;
  size = new_size;
  mask = new_mask;
  // A table asked for with one slot has threshold 0, which doubling keeps at 0:
  // it would then double at every insert.  From there on it follows the usual
  // ratio instead.
  threshold = threshold > 0 ? threshold * 2 : new_size * 8 / 10;
}

int Kes_hash::insert(void *key, void *value) {
  int hash = key_hash(key);
  if (find(key, hash)) return 1;
  add(key, value, hash);
  return 0;
}

int Kes_hash::replace(void *key, void *value) {
  int hash = key_hash(key);
  if (Kes_hashbucket **link = find(key, hash)) {
    value_delete((*link)->value);
    (*link)->value = value;
    return 1;
  }
  add(key, value, hash);
  return 0;
}

void *Kes_hash::lookup(void *key) {
  Kes_hashbucket **link = find(key, key_hash(key));
  return link ? (*link)->value : missing;
}

int Kes_hash::remove(void *key) {
  Kes_hashbucket **link = find(key, key_hash(key));
  if (!link) return 0;
  Kes_hashbucket *b = *link;
  *link = b->next;
  count--;
  key_delete(b->key);
  value_delete(b->value);
  delete b;
  return 1;
}

int Kes_hash::iterate(int (*fn)(void *key, void *value, void *arg), void *arg) {
  int sum = 0;
  for (int i = 0; i < size; i++) {
    for (Kes_hashbucket *b = table[i], *n; b; b = n) {
      n = b->next;
      sum += fn(b->key, b->value, arg);
    }
  }
  return sum;
}

void Kes_hash::delete_hash() {
  if (!table) return;
  for (int i = 0; i < size; i++) {
    for (Kes_hashbucket *b = table[i], *n; b; b = n) {
      n = b->next;
      key_delete(b->key);
      value_delete(b->value);
      delete b;
    }
  }
  free(table);
  table = nullptr;
  count = 0;
}

void Kes_hash::print_stats(FILE *out, const char *title) {
  int used = 0, longest = 0;
  for (int i = 0; table && i < size; i++) {
    int len = 0;
    for (Kes_hashbucket *b = table[i]; b; b = b->next) len++;
    if (len) used++;
    if (len > longest) longest = len;
  }
  fprintf(out, "%s: count %d size %d mask %d threshold %d slots used %d longest chain %d\n",
          title ? title : "hash", count, size, mask, threshold, used, longest);
}

Kes_str_int_hash::Kes_str_int_hash(int missing, int size)
    : Kes_hash(nullptr, to_ptr(missing), size) {}

Kes_str_int_hash::~Kes_str_int_hash() { delete_hash(); }

int Kes_str_int_hash::keys_equal(void *a, void *b) {
  return kes_str_compare(static_cast<char *>(a), static_cast<char *>(b));
}

int Kes_str_int_hash::key_hash(void *key) { return kes_str_hash(static_cast<char *>(key)); }

void Kes_str_int_hash::key_delete(void *key) { kes_str_delete(static_cast<char *>(key)); }

void Kes_str_int_hash::value_delete(void *) {}

Kes_str_str_hash::Kes_str_str_hash(int size) : Kes_hash(nullptr, nullptr, size) {}

Kes_str_str_hash::~Kes_str_str_hash() { delete_hash(); }

int Kes_str_str_hash::keys_equal(void *a, void *b) {
  return kes_str_compare(static_cast<char *>(a), static_cast<char *>(b));
}

int Kes_str_str_hash::key_hash(void *key) { return kes_str_hash(static_cast<char *>(key)); }

void Kes_str_str_hash::key_delete(void *key) { kes_str_delete(static_cast<char *>(key)); }

void Kes_str_str_hash::value_delete(void *value) { kes_str_delete(static_cast<char *>(value)); }
