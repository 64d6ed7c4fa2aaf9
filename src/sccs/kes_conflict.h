// The conflict record of a history file: the attribute "Conflict from ws" of the
// data delta, naming the two lines to reconcile, their common ancestor and the
// workspace they came from.  It travels with the file.
#ifndef BRINDLE_SCCS_KES_CONFLICT_H
#define BRINDLE_SCCS_KES_CONFLICT_H

#include "sccs/kes_sdata.h"

class Kes_err;
class Kes_sfile;

class Kes_conflict : public Kes_sdata {
public:
  char *child_sid;
  char *parent_sid;
  char *ancestor_sid;  // null when there is none
  char *ws_path;
  char *force_word;    // "force" or "noforce"

  Kes_conflict(Kes_sfile *file, int owns);
  ~Kes_conflict();

  // Reads the record into the fields; no record clears them.
  [[nodiscard]] Kes_err *get();
  // Copies the arguments.  A null argument clears its field, but a null or
  // empty ancestor leaves that field as it was.
  void set(const char *word, const char *child, const char *parent, const char *ancestor,
           const char *path);
  // Stores the record in the data delta; the file isn't written.
  [[nodiscard]] Kes_err *write();
  // Removes the record and writes the file.
  [[nodiscard]] Kes_err *clear();
  // True when a record with a child SID can be read.
  int in_conflict();
};

#endif
