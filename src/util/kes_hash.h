// Chained hash tables whose key and value types are given by subclasses.
//
// Sizing: the table is the requested size rounded up to a power of two, but the
// mask is the requested size - 1 and the threshold the requested size * 8 / 10.  So
// a table of 50 has 64 slots, mask 49 and threshold 40, and until it first grows
// the mask reaches only some slots; lookups find the same things either way.  When
// an insert finds more entries than the threshold, the table doubles, the
// threshold doubles, the mask becomes the new size - 1, and the buckets are
// relinked by their stored hash without calling key_hash.
//
// A base destructor cannot call the derived key_delete and value_delete, so every
// concrete table's destructor calls delete_hash() itself.
//
// Ownership: after insert gives 0, or replace, the table owns key and value.  When
// insert gives 1 nothing changed and both stay the caller's.  replace on an
// existing key destroys the old value and keeps the stored key, so the key passed
// stays the caller's.
#ifndef BRINDLE_UTIL_KES_HASH_H
#define BRINDLE_UTIL_KES_HASH_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

class Kes_hashbucket {
public:
  int hash;  // the whole value of key_hash
  void *key;
  void *value;
  Kes_hashbucket *next;

  // Buckets come from a pool of 500 nodes per block.
  static void *operator new(size_t size);
  static void operator delete(void *p);
};

// Frees the bucket pool.  Every bucket made with new becomes invalid.
void kes_hashbucket_delete_heap();

class Kes_hash {
public:
  Kes_hashbucket **table;
  int count;
  int threshold;
  int mask;
  int size;            // slots in table
  void *key_default;   // kept from the constructor, not used
  void *missing;       // what lookup gives for an absent key

  Kes_hash(void *key_default, void *missing, int size);
  // Frees buckets and table left behind, without their keys and values.
  virtual ~Kes_hash();
  Kes_hash(const Kes_hash &) = delete;
  Kes_hash &operator=(const Kes_hash &) = delete;

  virtual int keys_equal(void *a, void *b) = 0;  // 1 if equal
  virtual int key_hash(void *key) = 0;
  virtual void key_delete(void *key) = 0;
  virtual void value_delete(void *value) = 0;

  int insert(void *key, void *value);   // 1 if the key exists; 0 if added
  int replace(void *key, void *value);  // 1 if the key existed; 0 if added
  void *lookup(void *key);              // value, or missing: the two look alike
  int remove(void *key);                // 1 if removed, with key and value
  // The sum of fn(key, value, arg) over all entries.  fn may remove the entry
  // it is given.
  int iterate(int (*fn)(void *key, void *value, void *arg), void *arg);
  void delete_hash();  // destroys all keys, values and the table
  // Debugging report: counts, sizes and the chain lengths.
  void print_stats(FILE *out, const char *title);

private:
  Kes_hashbucket **find(void *key, int hash);
  void add(void *key, void *value, int hash);
  void grow();
};

// String keys, owned and freed by the table; int values.
class Kes_str_int_hash : public Kes_hash {
public:
  explicit Kes_str_int_hash(int missing = 0, int size = 50);
  ~Kes_str_int_hash() override;
  int keys_equal(void *a, void *b) override;
  int key_hash(void *key) override;
  void key_delete(void *key) override;
  void value_delete(void *value) override;

  // Typed forms of the operations above; key must come from malloc.
  int insert(char *key, int value) { return Kes_hash::insert(key, to_ptr(value)); }
  int replace(char *key, int value) { return Kes_hash::replace(key, to_ptr(value)); }
  int lookup(const char *key) {
    return (int)(intptr_t)Kes_hash::lookup(const_cast<char *>(key));
  }
  int remove(const char *key) { return Kes_hash::remove(const_cast<char *>(key)); }

private:
  static void *to_ptr(int v) { return (void *)(intptr_t)v; }
};

// String keys and string values, both owned and freed by the table.
class Kes_str_str_hash : public Kes_hash {
public:
  explicit Kes_str_str_hash(int size = 50);
  ~Kes_str_str_hash() override;
  int keys_equal(void *a, void *b) override;
  int key_hash(void *key) override;
  void key_delete(void *key) override;
  void value_delete(void *value) override;

  // Typed forms; key and value must come from malloc.  lookup gives null if absent.
  int insert(char *key, char *value) { return Kes_hash::insert(key, value); }
  int replace(char *key, char *value) { return Kes_hash::replace(key, value); }
  char *lookup(const char *key) {
    return (char *)Kes_hash::lookup(const_cast<char *>(key));
  }
  int remove(const char *key) { return Kes_hash::remove(const_cast<char *>(key)); }
};

#endif
