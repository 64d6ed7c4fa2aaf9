// Kes_dir_hash: a directory's history and p-file names, read once.
#include "transaction/kes_dir_hash.h"

#include <cstdlib>

#include "transaction/kes_trans_timers.h"
#include "util/kes_str.h"
#include "util/kes_timing.h"

int Kes_name_hash::key_hash(void *key) {
  unsigned h = 2166136261u;
  for (const unsigned char *p = static_cast<const unsigned char *>(key); *p; p++) h = (h ^ *p) * 16777619u;
  return (int)(h & 0x7fffffff);
}

Kes_dir_hash::Kes_dir_hash(const char *p) : Kes_name_hash(0, 64), path(kes_strdup(p)), dir(nullptr) {
  Kes_timing *timer = kes_trans_timer(KES_TIMER_READDIR);
  Kes_timing::start(timer);
  dir = opendir(path[0] ? path : ".");
  if (dir) {
    while (struct dirent *e = readdir(dir)) {
      const char *n = e->d_name;
      if ((n[0] == 's' || n[0] == 'p') && n[1] == '.') insert(kes_strdup(n), 1);
    }
    closedir(dir);
    dir = nullptr;
  }
  Kes_timing::stop(timer);
}

Kes_dir_hash::~Kes_dir_hash() { free(path); }
