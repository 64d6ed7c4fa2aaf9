// backup/new: the journal of a running transaction, one relative name per line
// for each file it created, so that undo can remove them.  The object stays
// open for the whole transaction; lines are synced to disk every `limit`
// lines.
#ifndef BRINDLE_WORKSPACE_KES_MD_BACKUPNEW_H
#define BRINDLE_WORKSPACE_KES_MD_BACKUPNEW_H

#include "workspace/kes_metadata.h"

class Kes_md_backupnew : public Kes_metadata {
public:
  int sync_counter;
  int limit;  // -1: never sync

  Kes_md_backupnew(Kes_workspace *ws, const char *metadata_dir)
      : Kes_md_backupnew(ws, metadata_dir, "backup/new") {}
  using Kes_metadata::open;
  // Creates the directory and starts a new journal.
  [[nodiscard]] Kes_err *open();
  void set_limit(int n) { limit = n; }
  // Writes the line: no duplicate test, no lock.
  [[nodiscard]] Kes_err *add_line(const char *line) override;

protected:
  Kes_md_backupnew(Kes_workspace *ws, const char *metadata_dir, const char *simplename)
      : Kes_metadata(ws, metadata_dir, simplename, 1), sync_counter(0), limit(10) {}
};

#endif
