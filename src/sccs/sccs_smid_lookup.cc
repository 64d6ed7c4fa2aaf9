// Look-ups of deltas by SmID.
#include <cstdlib>

#include "sccs/kes_sfile.h"
#include "sccs/kes_smid.h"
#include "util/kes_init.h"

Kes_delta *Kes_delta_tree::find_delta(Kes_smid *smid) {
  if (!smid) return nullptr;
  for (int i = 0; i < array_length; i++) {
    Kes_delta *d = ith_delta(i);
    if (!d->serial) continue;
    Kes_smid *s = kes_smid_from_delta(d);
    int same = kes_smid_equal(s, smid);
    delete s;
    if (same) return d;
  }
  return nullptr;
}

Kes_delta **Kes_delta_tree::find_deltas(Kes_smid *smid) {
  Kes_delta **out = static_cast<Kes_delta **>(calloc(array_length + 1, sizeof(Kes_delta *)));
  if (!out) kes_new_handler();
  int k = 0;
  for (int i = 0; smid && i < array_length; i++) {
    Kes_delta *d = ith_delta(i);
    if (!d->serial) continue;
    Kes_smid *s = kes_smid_from_delta(d);
    if (kes_smid_equal(s, smid)) out[k++] = d;
    delete s;
  }
  return out;
}
