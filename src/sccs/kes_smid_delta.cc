// SmIDs of deltas and the order of delta lists: kept apart from kes_smid.cc,
// which needs nothing of the history file classes.
#include <cstring>

#include "sccs/kes_sfile.h"
#include "sccs/kes_smid.h"
#include "sccs/kes_snefru.h"
#include "util/kes_timing.h"

namespace {
size_t text_length(const char *s) { return s ? strlen(s) : 0; }

char *append(char *to, const char *s) {
  size_t n = text_length(s);
  memcpy(to, s ? s : "", n);
  return to + n;
}
}  // namespace

Kes_timing *kes_time_smid;

int kes_delta_cmp(Kes_delta *a, Kes_delta *b) {
  int c = cmptm(&a->time, &b->time);
  if (c) return c;
  Kes_smid *sa = kes_smid_from_delta(a);
  Kes_smid *sb = kes_smid_from_delta(b);
  c = kes_smid_cmp(sa, sb);
  delete sa;
  delete sb;
  return c;
}

Kes_smid *kes_smid_from_delta(Kes_delta *d) {
  Kes_timing::start(kes_time_smid);
  // Stats, date, user and each comment, each followed by one newline of its own.
  size_t len = text_length(d->stats) + 1 + text_length(d->date) + 1 + text_length(d->user) + 1;
  if (d->comments)
    for (char **c = d->comments; *c; c++) len += strlen(*c) + 1;
  char *text = new char[len + 1];
  char *p = append(text, d->stats);
  *p++ = '\n';
  p = append(p, d->date);
  *p++ = '\n';
  p = append(p, d->user);
  *p++ = '\n';
  if (d->comments)
    for (char **c = d->comments; *c; c++) {
      p = append(p, *c);
      *p++ = '\n';
    }
  *p = 0;
  unsigned long out[4];
  snefru(text, out);
  delete[] text;
  Kes_timing::stop(kes_time_smid);
  return new Kes_smid(out);
}

