// twinpane, the merge tool of the resolve side: the file in hand, the three-way
// tool that merges it, the decision that ends it, and the two ways of reporting
// that decision (exit status, or Hailway messages).
//
// Defined in twinpane_merge.cc (choosing and running the three-way tool, asking
// the user), twinpane_service.cc (the message protocol) and twinpane_main.cc
// (the command line).  docs/man/twinpane.1 is the user's view.
#ifndef BRINDLE_DESKTOP_TWINPANE_H
#define BRINDLE_DESKTOP_TWINPANE_H

#include <string>

#include "hailway/hw_twinpane.h"

class Kes_err;

// The values are the exit statuses of "twinpane -x": what the resolve side does.
enum Tp_decision {
  TP_SKIP = 0,
  TP_PARENT = HW_TP_EXIT_PARENT,
  TP_CHILD = HW_TP_EXIT_CHILD,
  TP_MERGED = HW_TP_EXIT_MERGED
};

// One file in hand.  The names are those the resolve side made: the child's,
// the parent's and the common ancestor's versions, and where the merge goes.
struct Tp_job {
  std::string ancestor;  // empty: no common ancestor, a two-way merge
  std::string child, parent, merged;
  std::string title;  // the clear file's path
  std::string captions[3];
  bool ask = false;  // the user may be asked on the terminal
};

// A decision fixed beforehand (-d or TWINPANE_DECISION), or -1 for none.
// Returns false for a word that names no decision.
bool tp_decision_from_word(const char *word, int *decision);

// Takes one job to its decision: runs the chosen three-way tool unless the
// decision was fixed to the child or the parent, then asks the user when allowed,
// else takes the merge when the tool produced one and skips otherwise.
[[nodiscard]] Kes_err *tp_resolve(const Tp_job &job, int preset, Tp_decision *decision);

// Serves the resolve side of the process with Hailway id caller until it sends
// Quit.  Returns the exit status.
int tp_serve(const char *caller, int preset);

#endif
