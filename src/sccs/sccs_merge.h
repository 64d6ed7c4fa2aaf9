// The SCCS kind of merge: writes the merged history file, delta table, header
// and one body that gives every version of both inputs.  The body is merged by
// a fast parallel walk of both bodies; when that walk finds structure it can't
// follow, the output is cut back and the body is rebuilt delta by delta.
#ifndef BRINDLE_SCCS_SCCS_MERGE_H
#define BRINDLE_SCCS_SCCS_MERGE_H

#include <cstdio>

#include "sccs/kes_merge.h"

class Kes_sfile;

class SCCS_merge : public Kes_merge {
public:
  SCCS_merge();
  ~SCCS_merge() override;

  [[nodiscard]] Kes_err *mksfile(Kes_delta **list, int conflict) override;
  // Header from the to file, then the merged body.
  [[nodiscard]] Kes_err *sbody(Kes_delta **list, FILE *out, int conflict, int strip);
  [[nodiscard]] Kes_err *merge_bodies(Kes_delta **list, FILE *out);
  // The parallel walk; throws a Kes_err * when it can't go on.
  [[nodiscard]] Kes_err *merge_bodies_old(FILE *out);
  // The rebuild, one delta at a time, oldest first.
  [[nodiscard]] Kes_err *merge_bodies_new(FILE *out, Kes_delta **list);
  // Copies the block of a delta new to the output, with what nests in it.
  [[nodiscard]] Kes_err *newstuff(Kes_sfile *src, FILE *out, const char *out_name,
                                  Kes_sfile *other);
};

// BRINDLE_MERGE_BODIES_TEST is read once per process; this makes the next merge
// read it again (for tests that run both routes in one process).
void kes_merge_bodies_test_reread();

#endif
