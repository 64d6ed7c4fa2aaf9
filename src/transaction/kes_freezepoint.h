// Kes_freezepoint: the state of a workspace's history files at one moment, as
// the freezept command keeps it in a freezepoint file.  Plain text, one line a
// file (docs/freezepoint-format.md):
//
//   VERSION 1
//   WORKSPACE /abs/path/of/the/workspace
//   DATE 1700000000 2023/11/14 22:13:20
//   COMMENT a line of the comment              (any number)
//   SCOPE src                                  (any number; none is all)
//   FILE 1.3 w0 w1 w2 w3 d0 d1 d2 d3 src/a file.c
//
// A FILE line holds the SID of the newest delta, the SmID of the history's
// root (its identity across renames) and the SmID of that newest delta (which
// finds it again after a merge has renumbered the SIDs), then the clear
// file's name from the workspace root, which may hold blanks.
#ifndef BRINDLE_TRANSACTION_KES_FREEZEPOINT_H
#define BRINDLE_TRANSACTION_KES_FREEZEPOINT_H

#include <string>
#include <vector>

#include "sccs/kes_smid.h"

class Kes_err;
class Kes_workspace;

#define KES_FREEZEPOINT_VERSION 1
// Where freezepoints of a workspace are kept, under its metadata directory.
#define KES_FREEZEPOINTS_DIR "Freezepoints"

struct Kes_fp_file {
  std::string name;  // the clear file's, from the workspace root
  std::string sid;   // of the newest delta
  Kes_smid root;     // of the history's (first) root delta
  Kes_smid delta;    // of the newest delta
};

class Kes_freezepoint {
public:
  std::string workspace;
  long time = 0;  // seconds since the epoch
  std::vector<std::string> comment;
  std::vector<std::string> scope;  // names from the root; empty: everything
  std::vector<Kes_fp_file> files;  // in name order

  // Reads a whole file; error 2087 names the first line that isn't of the
  // format, 2046 a version this program doesn't know.
  [[nodiscard]] Kes_err *read(const char *path);
  // Writes a new file, complete or not at all; an existing file is never
  // replaced (error 2086).
  [[nodiscard]] Kes_err *write(const char *path);
  // Records every history file of ws that lies under the scope.  A file that
  // can't be read is reported and left out; *unreadable counts them.
  [[nodiscard]] Kes_err *take(Kes_workspace *ws, int *unreadable);
  // Whether name lies under the scope.
  int in_scope(const std::string &name) const;
  // The time in local time, "YYYY/MM/DD HH:MM:SS".
  std::string when() const;
};

#endif
