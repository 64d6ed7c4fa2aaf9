// History files: the abstract class tree.  A history file is read into one
// array of delta nodes indexed by serial number; these classes hold that tree,
// the flags, the lock list, the p-file and the file object itself.  The only
// concrete kind is the SCCS one (sccs/sccs_sfile.h); code above this layer
// names only the classes here.
#ifndef BRINDLE_SCCS_KES_SFILE_H
#define BRINDLE_SCCS_KES_SFILE_H

#include <cstdio>
#include <ctime>

class Kes_err;
class Kes_list;
class Kes_mmap;
class Kes_smid;
class Kes_strlist;
class Kes_name_tree;
class SCCS_deltalist;
class Cmd;

// The data delta: a removed delta with serial 2 under the root, owned by this
// user, whose first comment line is the marker.
#define KES_SDATA_USER "Brindle"
#define KES_SDATA_MARKER "Oakline Brindle data about conflicts, renames, etc...\n"

// A fake root, put over two trees that share no delta.
#define KES_FAKE_STATS "00000/00000/00000\n"
#define KES_FAKE_DATE "70/01/01 00:00:00"
#define KES_FAKE_USER "Fake"

// ---------------------------------------------------------------------------
// Nodes and trees

class Kes_tree_node {
public:
  Kes_tree_node *parent;        // null at a root
  Kes_tree_node *first_child;
  Kes_tree_node *next_sibling;
  Kes_tree_node *peer;          // same node in the other file of a merge
  Kes_tree_node *root;          // the real root over this node
  Kes_tree_node **includes;     // null-terminated; owned array, shared nodes
  Kes_tree_node **excludes;
  Kes_tree_node **ignores;
  unsigned int side : 1;        // 0: from file of a merge, 1: to file
  unsigned int colour : 1;      // mark bit of the ancestor search
  unsigned int fake : 1;
  int serial;                   // 0: slot unused
  int pred;

  Kes_tree_node();
  Kes_tree_node(const Kes_tree_node &) = delete;
  Kes_tree_node &operator=(const Kes_tree_node &) = delete;

  // Non-zero when the two nodes are not the same.
  virtual int different(Kes_tree_node *other) = 0;
  virtual void make_fake() = 0;
  virtual ~Kes_tree_node();

  // Puts child at the end of this node's children.
  void append_child(Kes_tree_node *child);
  // Puts child at the front of this node's children.
  void push_child(Kes_tree_node *child);
};

class Kes_delta : public Kes_tree_node {
public:
  char *stats;          // "00000/00000/00000\n", newline kept
  char *sid;
  char *new_sid;        // given by a merge
  char *date;           // "yy/mm/dd hh:mm:ss"
  struct tm time;       // date parsed; may be moved forward by order_deltab
  char *user;
  char **comments;      // null-terminated, each line with its newline
  char **mrs;           // null-terminated or null
  const char *file_name;  // the history file's name, shared
  unsigned int new_sid_flag : 1;
  unsigned int removed : 1;
  unsigned int in_pfile : 1;
  unsigned int on_head_path : 1;
  unsigned int sccs_kind : 1;
  unsigned int new_data_delta : 1;

  Kes_delta();
  ~Kes_delta() override;

  // Same delta in another file: date, removed bit, stats, user, comments.
  // Defined with the delta-tree merge.
  int different(Kes_tree_node *other) override;

  // Writes the delta's lines of the delta table; name is for messages.
  [[nodiscard]] virtual Kes_err *write(FILE *out, const char *name) = 0;
  // Never to be called: each reports and exits with status 10.
  virtual Kes_delta *copy();
  virtual void print();
  virtual int compare(Kes_delta *other);

  // The stats, date and user of a fake root, with serial 1.
  int is_fake() const;
  // The data delta: user "Brindle", first comment the marker.
  int is_sdata() const;
  // Defined with the data delta (kes_sdata.cc).
  int has_uniquification() const;
  int comments_differ(Kes_delta *other);

  Kes_delta *parent_delta() const { return static_cast<Kes_delta *>(parent); }
  Kes_delta *first_child_delta() const { return static_cast<Kes_delta *>(first_child); }
  Kes_delta *next_sibling_delta() const { return static_cast<Kes_delta *>(next_sibling); }
  Kes_delta *peer_delta() const { return static_cast<Kes_delta *>(peer); }
  // The SID a merge gives, or the one read.
  const char *current_sid() const { return new_sid_flag && new_sid ? new_sid : sid; }

  void set_stats(const char *text);
  void set_sid(const char *text);
  void set_new_sid(const char *text);  // also sets the new-sid flag
  void set_date(const char *text);     // copies the text and parses it
  void set_user(const char *text);
};

class Kes_tree {
public:
  Kes_tree_node *node_array;   // slot 0: fake root; 1..size: by serial; size+1 spare
  Kes_tree_node *root;
  Kes_tree_node *head;         // latest delta
  Kes_tree_node *first_root;   // first real root
  int node_count;              // nodes in use
  int size;                    // largest usable serial
  int array_length;
  int root_count;

  Kes_tree();
  Kes_tree(const Kes_tree &) = delete;
  Kes_tree &operator=(const Kes_tree &) = delete;

  virtual Kes_tree_node *ith_node(int i) = 0;
  virtual void add_fake() = 0;
  virtual ~Kes_tree();

  // The real root over node: climbs parents until the parent is null, has
  // serial 0 or is fake.
  Kes_tree_node *find_root(Kes_tree_node *node);
  // Sets the first real root, counts the real roots and sets every node's root.
  void assign_roots();
  // Latest common ancestor of two nodes, by predecessors and includes.
  Kes_tree_node *find_ancestor(Kes_tree_node *n1, Kes_tree_node *n2);
  // Matches two trees (the delta-tree merge).
  void merge_trees(Kes_tree *other, int *common, int *same_root);
  // True when slot 0 holds the root.
  int fake_was_added();
};

typedef int (*Kes_walk_fn)(Kes_tree_node *node, void *a, void *b);
// Pre-order over first child and siblings.
void walktree(Kes_tree_node *node, Kes_walk_fn fn, void *a, void *b);
// Follows predecessors and includes; fn returning 0 stops that branch, and so
// does a node with serial 0.  With stop_on_fail the whole walk ends there.
// Returns 0 when stopped by stop_on_fail, else 1.
int walktree_backwards(Kes_tree_node *node, Kes_walk_fn fn, void *a, void *b,
                       int stop_on_fail);

class Kes_delta_tree : public Kes_tree {
public:
  virtual int largest_serial() = 0;
  virtual Kes_delta *get_common_ancestor(const char *sid1, const char *sid2) = 0;
  // Serials 1 to the node count, removed deltas skipped, first match.
  virtual Kes_delta *find_sid(const char *sid) = 0;

  Kes_delta *ith_delta(int i) { return static_cast<Kes_delta *>(ith_node(i)); }
  // Joins child to parent in SID order: the trunk child comes first.
  void add_child(Kes_delta *parent, Kes_delta *child);
  // Any used slot whose SID is sid, removed or not.
  Kes_delta *find_delta(const char *sid);
  Kes_delta *find_delta(Kes_smid *smid);
  // Null-terminated arrays sized for all nodes; the caller frees the array.
  Kes_delta **find_deltas(const char *sid);
  Kes_delta **find_deltas(Kes_smid *smid);
};

// ---------------------------------------------------------------------------
// Flags and locks

class Kes_sc_flags {
public:
  int enable_branch;      // b
  char *ceiling_delta;    // c
  char *floor_delta;      // f
  char *default_sid;      // d
  int no_kw_is_err;       // i
  int allow_concurr;      // j
  int empty_skip_rel;     // n
  char *Q_kw;             // q
  char *M_kw;             // m
  char *T_kw;             // t
  char *locked_releases;  // l
  char *verif_prog;       // v
  int encoded;            // e

  Kes_sc_flags();
  Kes_sc_flags(const Kes_sc_flags &) = delete;
  Kes_sc_flags &operator=(const Kes_sc_flags &) = delete;
  virtual ~Kes_sc_flags();
  virtual void read_flag(const char *line) = 0;
  void print(FILE *out);
};

typedef Kes_strlist Locklist;

class Kes_sc_locks {
public:
  Locklist *locks;  // locked-user lines, newline kept

  Kes_sc_locks();
  Kes_sc_locks(const Kes_sc_locks &) = delete;
  Kes_sc_locks &operator=(const Kes_sc_locks &) = delete;
  virtual ~Kes_sc_locks();
  // Takes every line up to the user-list end line; returns null or an error.
  [[nodiscard]] virtual Kes_err *read_locks(FILE *in, int *line_counter) = 0;
  // Keep the list free of doubles (with the SCCS command layer).
  void add_user_lock(const char *name);
  void remove_user_lock(const char *name);
};

// ---------------------------------------------------------------------------
// P-file entries and serial maps

struct Kes_pfile {
  char *old_sid;
  char *new_sid;
  char *user;
  char date[32];
  char time[32];
  Kes_delta *delta;   // the node of old_sid, set when the table is read
  Kes_pfile *next;

  Kes_pfile();
  ~Kes_pfile();
  Kes_pfile(const Kes_pfile &) = delete;
  Kes_pfile &operator=(const Kes_pfile &) = delete;
  // First entry from this one on whose new SID is sid.
  Kes_pfile *get_match(const char *sid);
};

struct Kes_serial {
  Kes_delta *delta;
  int serial;   // in the merged file, -1 when none
  int mode;     // 0, 'I' or 'D' while the body merger is inside the block
};

// ---------------------------------------------------------------------------
// The file

// Bits of Kes_sfile::state.
enum {
  KES_SF_SDATA_INSERTED = 1,  // body serials at and above 2 shift by one
  KES_SF_REWRITE = 2          // the file is to be rewritten
};

class Kes_sfile {
public:
  char *s_path;
  char *clr_path;
  Kes_delta_tree *tree;
  Kes_tree *name_tree;    // a Kes_name_tree, kept by its base so that it can be freed here
  FILE *stream;
  long deltab_end;        // stream position behind the "u" line
  int deltab_lines;       // line count at that position
  int line_count;
  char line[1024];
  Kes_serial *serial_map;
  int map_size;
  int unique_count;
  int current_serial;
  int state;
  Kes_pfile *pfile_list;
  char *pfile_path;
  char *tmp_pfile_path;
  Kes_delta *default_delta;
  char *default_sid;
  int lock_count;
  char *zfile_path;
  char *tmp_sfile_path;
  FILE *tmp_sfile_out = nullptr;  // the temporary history, written and flushed, still open
  int sync_tmp_sfile = 0;  // a merge wrote it: synced before its rename
  Kes_delta *sdata_delta;
  char **desc_text;       // descriptive text lines, null-terminated or null
  Kes_sc_flags *flags;
  Kes_sc_locks *locks;
  int has_pfile;
  int exists;

  Kes_sfile();
  Kes_sfile(const Kes_sfile &) = delete;
  Kes_sfile &operator=(const Kes_sfile &) = delete;

  virtual ~Kes_sfile();
  // side: the merge side bit of every node; roots_only: only the root and its
  // children, read through a mapped reader.
  [[nodiscard]] virtual Kes_err *buildtree(int side, int read_pfile, int roots_only) = 0;
  // The fast read of a file's roots and name history (defined with the name
  // history).  The caller owns *tree_out and *deltas_out.
  [[nodiscard]] virtual Kes_err *build_nametree_deltalist(Kes_mmap *mm, const char *name,
                                                          Kes_name_tree **tree_out,
                                                          SCCS_deltalist **deltas_out,
                                                          int *conflicted) = 0;
  [[nodiscard]] virtual Kes_err *read_pfile() = 0;
  [[nodiscard]] virtual Kes_err *rewrite_pfile() = 0;
  [[nodiscard]] virtual Kes_err *read_descriptive_text() = 0;
  virtual int get_serial() = 0;
  [[nodiscard]] virtual Kes_err *savestrings(char letter, char ***out, Kes_mmap *mm) = 0;
  [[nodiscard]] virtual Kes_err *test_corrupted() = 0;
  // Return 0, and make no name, when the base name doesn't begin with 's'.
  virtual int build_pfilename(char *out) = 0;
  virtual int build_zfilename(const char *name) = 0;
  [[nodiscard]] virtual Kes_err *lock_file() = 0;
  virtual int unlock_file() = 0;
  [[nodiscard]] virtual Kes_err *write() = 0;
  [[nodiscard]] virtual Kes_err *rename_tmp_sfile(const char *target) = 0;
  [[nodiscard]] virtual Kes_err *mklist(Kes_delta ***out) = 0;
  virtual SCCS_deltalist *new_deltalist() = 0;
  // The SCCS command operations: each returns a command that has run in the
  // file's directory; the caller deletes it.
  virtual Cmd *check_in(const char *sid, const char *comment, const char *flags) = 0;
  virtual Cmd *check_out(const char *sid, const char *gfile) = 0;
  virtual Cmd *check_out_n_include(const char *sid, const char *include) = 0;
  virtual Cmd *uncheckout(const char *sid) = 0;
  virtual Cmd *check_different(int flags) = 0;
  virtual Cmd *check_sfile() = 0;
  virtual Cmd *get_clear_file_cmd(const char *sid, int flags, const char *out) = 0;
  virtual int get_clear_file(const char *sid, int flags, const char *out) = 0;
  virtual Cmd *put_under_sc(const char *comment) = 0;
  virtual Cmd *diff_two_deltas(const char *sid1, const char *sid2, int context) = 0;
  virtual Cmd *set_flag(const char *f) = 0;
  virtual Cmd *unset_flag(const char *f) = 0;
  virtual Cmd *unset_branch() = 0;
  // Name forms; each returns a new malloc-ed string made from path.
  virtual char *get_sname(const char *path) = 0;
  virtual char *get_pname(const char *path) = 0;
  virtual char *get_clr_name(const char *path) = 0;

  // Look-ups over the tree read.
  Kes_delta *find_delta_w_sid(const char *sid);
  // The latest delta on the branch of a default SID; error 2523 when none.
  [[nodiscard]] Kes_err *find_leaf_delta(const char *sid, Kes_delta **node);
  // fn(root, peer) for each real root with a peer; 1 at the first non-zero.
  int walk_roots(int (*fn)(Kes_delta *root, Kes_delta *peer));
  Kes_delta *get_nth_from_latest(int n);
  // Moves delta times forward so that serial order and time order agree.
  void order_deltab(int from, int to);
  int fake_was_added();
  int sfile_exists();

  // P-file look-ups.
  Kes_pfile *get_pfile(Kes_delta *delta);
  Kes_pfile *get_pfile(const char *new_sid);
  int is_next_delta(const char *sid);
  Kes_pfile *find_user_in_pfile(const char *user);
  void find_delta_in_pfile(Kes_delta *delta);

  // The data delta among the root's children: serial 2, is_sdata().
  Kes_delta *find_sdata();
  // Name history and uniquifications (defined with them).
  [[nodiscard]] Kes_err *build_name_tree(const char *current_name, int side);
  void preserve_uniquifications();
  int from_uniquification_only();
  int to_uniquification_only();
  // SCCS command layer: "%s %s" with the command and the s-file.
  Cmd *file_history(const char *command);

  Kes_delta *head_delta() { return static_cast<Kes_delta *>(tree ? tree->head : nullptr); }
  Kes_delta *root_delta() { return static_cast<Kes_delta *>(tree ? tree->root : nullptr); }
};

// The delta list of build_nametree_deltalist as the list it is, for code that
// knows only the abstract classes: its elements are Kes_delta, and deleting it
// deletes them.
Kes_list *kes_deltalist_list(SCCS_deltalist *list);

// Ends the process with text on standard error and status 10: the body of the
// operations that the abstract classes must never have called.
[[noreturn]] void kes_never_called(const char *text);

// Date and SID helpers.
// Parses "yy/mm/dd hh:mm:ss" by position; years below 69 are after 1999.
void mystrptime(const char *date, struct tm *out);
// b minus a at the first differing field: positive when a is older.
int cmptm(const struct tm *a, const struct tm *b);
// Component count of sid; from its last four components the release, level,
// branch and sequence (missing ones 0).
int get_sid_info(const char *sid, int *rel, int *lev, int *br, int *seq);
// Same branch, judged by the last four components.
int samebranch(const char *sid1, const char *sid2);

#endif
