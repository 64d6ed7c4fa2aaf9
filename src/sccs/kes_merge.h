// Comparing and merging two history files of one source file.  Deltas are
// matched on their bookkeeping lines from the roots down, never by SID or
// serial; a merged file gets all numbers anew.  The caller fills the public
// fields, calls merge() and reads the states.  The body of a merged file is
// written by the concrete class (SCCS_merge).
#ifndef BRINDLE_SCCS_KES_MERGE_H
#define BRINDLE_SCCS_KES_MERGE_H

#include <cstdio>

class Kes_err;
class Kes_sfile;
class Kes_delta;
class Kes_conflict;
class Kes_tree_node;

// Bits of Kes_merge::options.  The constructor sets KES_MO_READ_PFILE only.
enum {
  KES_MO_SIGNATURE = 1 << 0,       // sign each delta new to the to file
  KES_MO_ANALYSIS_ONLY = 1 << 1,   // no lock, no output files
  KES_MO_READ_CONFLICTS = 1 << 2,  // set conflict_state from both records
  KES_MO_READ_PFILE = 1 << 3,      // analysis only still reads the to p-file
  KES_MO_NAMES = 1 << 4,           // analyse names, carry the name history
  KES_MO_NH_REWRITE = 1 << 5,      // result: the name history is to be rewritten
  KES_MO_TO_NAME_GAINED = 1 << 6,  // result: the to name tree gained a node
  KES_MO_FROM_NAME_GAINED = 1 << 7,  // result: the from name tree gained a node
  KES_MO_ROOTS_CHANGED = 1 << 8,   // result: a from root is new to the to file
  KES_MO_FORCE = 1 << 9,           // a conflict whatever the analysis says
  KES_MO_STRIP_FLAGS = 1 << 10     // drop the b and d flags from the output
};

// Contents states.
enum {
  KES_MERGE_SAME = 0,
  KES_MERGE_FROM_NEW = 1,
  KES_MERGE_TO_NEW = 2,
  KES_MERGE_CONFLICT = 3,
  KES_MERGE_CONFLICT_NO_COMMON = 4
};

class Kes_merge {
public:
  // Inputs.  The strings are the caller's, read during merge() only.
  const char *from_sname;      // path of the from file
  const char *from_name;       // its name in the from workspace (name history)
  const char *to_sname;        // path of the to file
  const char *to_name;         // its name in the to workspace
  const char *ancestor_output; // where the common ancestor's text goes, if set
  const char *parent_output;   // where the parent version's text goes, if set
  const char *child_output;    // where the child version's text goes, if set
  const char *destination;     // where the merged file stands; null: to_sname
  const char *ws_path;         // kept in the conflict record
  Kes_sfile *from_file;        // not owned
  Kes_sfile *to_file;          // not owned
  Kes_sfile *extraction_file;  // the output versions come from it when set
  unsigned int options;
  // Results.
  char *ancestor_name;         // name at the common ancestor (owned)
  int contents_state;
  int conflict_state;          // 1 from file in conflict, 2 to file, 3 both
  int rename_state;            // 1 renamed in from, 2 in to, 3 differently in both
  Kes_conflict *conflict_obj;  // working value (owned)

  Kes_merge();
  Kes_merge(const Kes_merge &) = delete;
  Kes_merge &operator=(const Kes_merge &) = delete;
  virtual ~Kes_merge();
  // Writes the merged file to a temporary file beside the destination.
  [[nodiscard]] virtual Kes_err *mksfile(Kes_delta **list, int conflict) = 0;

  [[nodiscard]] Kes_err *merge();

  // Formats into out; a null stream writes nothing.
  [[nodiscard]] static Kes_err *my_fprintf(FILE *out, const char *name, const char *format, ...)
                    __attribute__((format(printf, 3, 4)));

  // The steps of merge(), public for the tests of each.
  [[nodiscard]] Kes_err *determine_rename_state();
  int conflict();
  void have_roots_changed();
  // Gives each to delta at least the time of its match and orders the to
  // file's times by serial again.
  void align_times();
  [[nodiscard]] Kes_err *produce_output_files(int conflict);
  [[nodiscard]] Kes_err *mksids(Kes_delta **list, int n);
  [[nodiscard]] Kes_err *nextsid(Kes_delta *base, Kes_delta **list, int n, char **out,
                                 const char *old_sid, Kes_delta *parent, int side, int must_branch);
  [[nodiscard]] Kes_err *mapfromfile(Kes_delta **list);
  [[nodiscard]] Kes_err *maptofile(Kes_sfile *from, Kes_sfile *to, Kes_delta **list);
  [[nodiscard]] Kes_err *prepare_delta_entries(Kes_delta **list);
  [[nodiscard]] Kes_err *fileresolve();
  [[nodiscard]] Kes_err *get_conflict_files();
  [[nodiscard]] Kes_err *replace_name_history();
  [[nodiscard]] Kes_err *check_to_conflict();

  // Length of the delta list of the running merge.
  int list_length;
  // SIDs of the conflict record, for the output versions (owned).
  char *child_sid;
  char *parent_sid;
  char *ancestor_sid;
};

// Matches the children of b (to tree) with those of a (from tree), recursively;
// unmatched children of b move with their subtrees under a.
void walk2(Kes_tree_node *a, Kes_tree_node *b, int *common);
// True when a child of d has been removed in one file and not in the other.
int has_rmdel_peer(Kes_delta *d);
// The branch of a SID: "1.2" gives "1", "1.2.3.4" gives "1.2.3", "1.2.3" stays.
// Returns a new string.
char *mkbranchsid(const char *sid);
// An entry of the list with a new SID equal to sid that isn't removed.
int used(const char *sid, Kes_delta **list, int n);

#endif
