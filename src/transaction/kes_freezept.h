// Kes_freezept: the freezept command.  create records the state of a
// workspace's history files in a freezepoint file (as the transactions call it
// for their automatic freezepoints), list shows a workspace's freezepoints,
// and extract rebuilds the clear files of a freezepoint into a directory,
// finding each file by its identity and each version by its delta's SmID, so
// that renames and renumbered SIDs since don't matter.
//
// The exit status is 0 when everything asked for was done, else 1.
#ifndef BRINDLE_TRANSACTION_KES_FREEZEPT_H
#define BRINDLE_TRANSACTION_KES_FREEZEPT_H

#include <string>

#include "transaction/kes_subcommands.h"

class Kes_workspace;
class Kes_md_nametable;
struct Kes_fp_file;

class Kes_freezept : public Kes_subcommands {
public:
  Kes_freezept(int argc, char **argv);
  ~Kes_freezept() override;

  int create(int argc, char **argv);
  int list(int argc, char **argv);
  int extract(int argc, char **argv);

private:
  Kes_md_nametable *nametable;  // of extract's workspace, read when first needed

  // extract of one file into dir; 0, or 1 after printing why not.
  int extract_file(Kes_workspace *ws, const Kes_fp_file &f, const std::string &dir);
  // The present name in ws of the history whose root has the file's SmID; empty if none.
  std::string current_name(Kes_workspace *ws, const Kes_fp_file &f);
};

#endif
