// Pairs of history files made with the SCCS programs from a common start, and a
// judge that decides, with the SCCS programs alone, whether a merged file holds
// both histories.  Nothing here uses the engine's own reader: the merge under test
// is handed in as a function, so the judge cannot share the merge's mistakes.
#ifndef BRINDLE_TESTS_SUPPORT_MERGE_GEN_H
#define BRINDLE_TESTS_SUPPORT_MERGE_GEN_H

#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "support/cssc.h"

namespace merge_gen {

using namespace support;

// ---- what the SCCS programs say about a history file -----------------------

struct Delta_info {
  std::string sid;
  char type = 'D';  // 'D' or 'R'
  std::string date, user, stats;
  std::string comments;  // all comment lines, each ending in a newline
  int serial = 0, pred = 0;
  std::vector<int> included, excluded, ignored;
  // Bookkeeping that identifies a delta across files: what the merge matches on.
  std::string key() const;
};

struct Pfile_entry {
  std::string old_sid, new_sid, user;
};

struct Snapshot {
  std::string sfile;
  std::vector<Delta_info> deltas;           // newest first, as prs lists them
  std::map<std::string, std::string> text;  // live SID -> text of that version
  bool branch_flag = false;
  std::string default_sid;  // the d flag's value, "" when unset
  std::string desc;  // the descriptive text
  std::vector<Pfile_entry> pfile;

  const Delta_info *by_key(const std::string &key) const;
  const Delta_info *by_serial(int serial) const;
  const Delta_info *by_live_sid(const std::string &sid) const;
  // The delta that `get` without -r would give (default SID rules).
  const Delta_info *head() const;
};

// Reads the delta table, flags, descriptive text, p-file and every live version
// with prs and get.  Failures go to `problems`.
Snapshot snapshot(const std::string &sfile, std::vector<std::string> *problems);

// Text of one SID by `get -p -k`, or "" with a problem noted.
std::string get_text(const std::string &sfile, const std::string &sid,
                     std::vector<std::string> *problems);

// ---- the generator ----------------------------------------------------------

struct Gen_params {
  int common_ops = 3;     // operations before the two copies part
  int from_ops = 3;       // operations on the from copy afterwards
  int to_ops = 3;         // and on the to copy
  bool no_common = false; // two histories begun separately
  bool binary = false;    // encoded files
  bool checkout_to = false;  // leave the to file checked out (p-file present)
  bool checkout_from = false;
  int branch_pct = 25;    // chance that an edit starts from an older SID
  int ie_pct = 15;        // chance that an edit includes or excludes deltas
  int rmdel_pct = 10;     // chance that an operation removes a leaf delta
  int long_line_pct = 3;  // chance that an inserted line is over 1,024 bytes
  int ignore_pct = 0;     // chance that a new delta also ignores an older one
  // The to file's first block of the root is split in two, the same version in
  // another structure, so that the fast body route gives way to the rebuild.
  bool split_root = false;
  // Plain edits only, all in the second the SCCS programs give them: for long
  // histories, where the per-delta bookkeeping would dominate.
  bool quick = false;
  // Dates as the SCCS programs give them, mostly all in one second.
  bool same_second = false;
  // Merge with the name analysis that transactions ask for.
  bool names = false;
  std::string describe() const;
};

// One generated pair: the from file and the to file of a merge, in directories
// laid out as <dir>/from/SCCS/s.<name> and <dir>/to/SCCS/s.<name>.
struct Pair {
  std::string dir, name;
  std::string from_sfile, to_sfile;
  Gen_params params;
};

class Generator {
public:
  Generator(unsigned seed, const std::string &root);
  // Random parameters over all scenarios, sized by `scale` (1 = small).
  Gen_params random_params(int scale);
  Pair make_pair(const Gen_params &params, const std::string &name);

  struct History;  // a history being built in one directory

private:
  int pick(int n);  // uniform 0..n-1
  bool chance(int pct);
  std::string new_line();
  std::string new_binary_line();
  void edit_text(std::string *text, bool binary);
  bool operate(History &h, const Gen_params &p);
  bool do_edit(History &h, const Gen_params &p);
  bool do_rmdel(History &h);
  void ignore_older(History &h);
  void checkout(History &h, const Gen_params &p);
  void stamp(History &h);
  void create(History &h, const Gen_params &p);

  std::mt19937 rng_;
  std::string root_;
  long clock_;      // next delta date, seconds since the epoch
  int counter_ = 0; // makes every comment unique
  int long_line_pct_ = 0;
};

// ---- the judge --------------------------------------------------------------

struct Merge_outcome {
  bool ok = false;     // merge() returned no error
  std::string error;   // its text otherwise
  int contents_state = -1;
  int conflict_state = -1;
  bool switched = false;  // the fast body route gave way to the slow one
};

// Merges from_sfile into to_sfile and writes the result over to_sfile (the files
// are scratch copies).  slow: use the rebuilding body merge only.  analysis: no
// output.  force: treat as a conflict.
struct Merge_request {
  std::string from_sfile, to_sfile;
  bool slow = false, analysis = false, force = false, signature = false, names = false;
  std::string ws_path = "/ws/from";
};
using Merge_fn = std::function<Merge_outcome(const Merge_request &)>;

struct Judge_report {
  std::vector<std::string> problems;
  int contents_state = -1;  // of the first merge, for statistics
  int states[5] = {0, 0, 0, 0, 0};  // expected states of both directions
  int switches = 0;                 // fast merges that went the slow route
  std::string summary() const;
};

// Merges the pair both ways and with both routes on scratch copies, and checks
// every result with the SCCS programs (see the .cc for the list of checks).
Judge_report judge_pair(const Pair &pair, const Merge_fn &merge);

// The checks of one merge result against its inputs; `conflict` is the judge's
// own reading of the conflict rule (expected_state).  Problems are appended.
void check_output(const Snapshot &from, const Snapshot &to, const Snapshot &out,
                  bool conflict, const std::string &ws_path,
                  std::vector<std::string> *problems);

// The judge's own reading of whether a merge of these two must conflict, and
// which contents state it must report.
int expected_state(const Snapshot &from, const Snapshot &to, bool *conflict);

}  // namespace merge_gen

#endif
