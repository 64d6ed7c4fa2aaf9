// SmIDs: the 128-bit identity of a delta, a Snefru hash of its bookkeeping
// lines.  The SmID of a history's root delta identifies the file across renames
// and workspaces.  SmIDs come from a pool of their own; tables keyed by SmID
// serve the name table and rename matching.
#ifndef BRINDLE_SCCS_KES_SMID_H
#define BRINDLE_SCCS_KES_SMID_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "util/kes_hash.h"
#include "util/kes_list.h"

class Kes_delta;
class Kes_timing;

// Room for the text form "%lx %lx %lx %lx" with its terminating zero.
constexpr int KES_SMID_TEXT_SIZE = 4 * 9;

class Kes_smid {
public:
  uint32_t word[4];  // the order is significant

  Kes_smid();
  explicit Kes_smid(const unsigned long words[4]);

  // From a pool of 400 per block.
  static void *operator new(size_t size);
  static void operator delete(void *p);

  Kes_smid *copy();
  // "SmID: w0 w1 w2 w3\n" with the label from the catalogue.
  void print(FILE *out);
  // The text form "w0 w1 w2 w3" in hexadecimal, into buf of KES_SMID_TEXT_SIZE.
  char *to_text(char *buf);
  // Read the text form; each returns the count of words scanned, as scanf does.
  int scan(FILE *in);
  int scan(const char *text);
  int compare(Kes_smid *other);  // 1 when equal, 0 otherwise
};

// Frees the SmID pool at the end of a run: every SmID becomes invalid.
void kes_smid_delete_heap();

int kes_smid_equal(Kes_smid *a, Kes_smid *b);
// The sum of the four words, in 32 bits.
int kes_smid_hash(Kes_smid *s);
// The difference of the first unequal words, a's minus b's, taken modulo 2^32
// and read as signed; 0 when all are equal.  A large difference flips the sign,
// and that is the order of this system.
int kes_smid_cmp(Kes_smid *a, Kes_smid *b);

// Times every kes_smid_from_delta; null (no timing) unless a command sets it.
extern Kes_timing *kes_time_smid;

// A new SmID of the delta: the hash of its stats, date, user and comments.
// Neither SID, serial, type nor MRs count, so renumbering keeps a delta's SmID.
Kes_smid *kes_smid_from_delta(Kes_delta *delta);
// Order of delta lists: newer time first, at equal times by SmID.
int kes_delta_cmp(Kes_delta *a, Kes_delta *b);

// A list of SmIDs, owned.
class Kes_smidlist : public Kes_list {
public:
  ~Kes_smidlist() override;
  Kes_list *create_list() override;
  void *create_data() override;
  void *copy_data(void *data) override;
  void delete_data(void *data) override;
  void print_data(void *data) override;
  int compare_datas(void *a, void *b) override;
};

// What rename matching knows of one SmID in the two workspaces of a command.
class Kes_smidinfo {
public:
  enum {
    FROM_MISSING = 1,  // the from side's original is missing or stale
    TO_MISSING = 2,    // the same for the to side
    VERIFIED = 4
  };

  char *from_name;        // the only or first name in each workspace; not owned
  char *to_name;
  char *orig_from_name;   // owned: the name in the last clean table
  char *orig_to_name;
  Kes_strlist *from_names;  // all names when more than one, else null; owned
  Kes_strlist *to_names;
  unsigned int flags : 3;

  Kes_smidinfo();
  ~Kes_smidinfo();
  Kes_smidinfo(const Kes_smidinfo &) = delete;
  Kes_smidinfo &operator=(const Kes_smidinfo &) = delete;

  // From a pool of 400 per block.
  static void *operator new(size_t size);
  static void operator delete(void *p);

  // A new record with the same names and flags, and new lists and original
  // names holding copies of the strings.
  Kes_smidinfo *copy();
};

void kes_smidinfo_delete_heap();

// Tables keyed by SmID.  Keys are not owned: they belong to whoever made them,
// usually a name-table record, and must outlive their entry.
class Kes_smid_hash_base : public Kes_hash {
public:
  explicit Kes_smid_hash_base(void *missing) : Kes_hash(nullptr, missing, 50) {}
  int keys_equal(void *a, void *b) override;
  int key_hash(void *key) override;
  void key_delete(void *key) override;
};

class Kes_smid_int_hash : public Kes_smid_hash_base {
public:
  explicit Kes_smid_int_hash(int missing = 0);
  ~Kes_smid_int_hash() override;
  void value_delete(void *value) override;

  int insert(Kes_smid *key, int value) { return Kes_hash::insert(key, to_ptr(value)); }
  int replace(Kes_smid *key, int value) { return Kes_hash::replace(key, to_ptr(value)); }
  int lookup(Kes_smid *key) { return (int)(intptr_t)Kes_hash::lookup(key); }
  int remove(Kes_smid *key) { return Kes_hash::remove(key); }

private:
  static void *to_ptr(int v) { return (void *)(intptr_t)v; }
};

// Values are strings that the table doesn't own.
class Kes_smid_str_hash : public Kes_smid_hash_base {
public:
  Kes_smid_str_hash();
  ~Kes_smid_str_hash() override;
  void value_delete(void *value) override;

  int insert(Kes_smid *key, char *value) { return Kes_hash::insert(key, value); }
  int replace(Kes_smid *key, char *value) { return Kes_hash::replace(key, value); }
  char *lookup(Kes_smid *key) { return (char *)Kes_hash::lookup(key); }
  int remove(Kes_smid *key) { return Kes_hash::remove(key); }
};

// Values are records that the table owns and destroys.
class Kes_smid_smidinfo_hash : public Kes_smid_hash_base {
public:
  Kes_smid_smidinfo_hash();
  ~Kes_smid_smidinfo_hash() override;
  void value_delete(void *value) override;

  int insert(Kes_smid *key, Kes_smidinfo *value) { return Kes_hash::insert(key, value); }
  int replace(Kes_smid *key, Kes_smidinfo *value) { return Kes_hash::replace(key, value); }
  Kes_smidinfo *lookup(Kes_smid *key) { return (Kes_smidinfo *)Kes_hash::lookup(key); }
  int remove(Kes_smid *key) { return Kes_hash::remove(key); }
};

#endif
