// Tables of file names: Kes_name_hash, a string table that spreads names of
// one shape well, and Kes_dir_hash, the history and p-file names of one
// directory, read once.  A transaction asks whether a history file exists for
// every name it examines; two directory caches, one per workspace, answer
// nearly every such question without a stat, since file lists come directory
// by directory.
#ifndef BRINDLE_TRANSACTION_KES_DIR_HASH_H
#define BRINDLE_TRANSACTION_KES_DIR_HASH_H

#include <dirent.h>

#include "util/kes_hash.h"

// The plain string hash sums the characters, so "d1/f12.c" and "d2/f11.c"
// collide, and a table of tens of thousands of such names becomes long
// chains.  This one mixes every byte in (FNV-1a).
class Kes_name_hash : public Kes_str_int_hash {
public:
  explicit Kes_name_hash(int missing = 0, int size = 50) : Kes_str_int_hash(missing, size) {}
  int key_hash(void *key) override;
};

class Kes_dir_hash : public Kes_name_hash {
public:
  char *path;  // the directory as asked for, owned
  DIR *dir;    // open only while the entries are read

  // Reads the directory; every entry beginning with "s." or "p." is entered
  // with the value 1.  A directory that can't be read holds nothing.
  explicit Kes_dir_hash(const char *path);
  ~Kes_dir_hash() override;

  int has(const char *name) { return lookup(name) != 0; }
};

#endif
