// The rebuilding body merge: an editor over the body of one history file that
// sees any version through a set of flags, turns the step from one version to
// another into a list of line differences, and writes a delta's differences
// into a body.  Errors are thrown as Kes_err * from any depth; the caller of
// the rebuild catches them.
#ifndef BRINDLE_SCCS_SEDITOR_H
#define BRINDLE_SCCS_SEDITOR_H

#include <cstdio>

#include "util/kes_list.h"

class Kes_sfile;
class Kes_tree_node;

// One difference: lines deleted from a version, or lines inserted into it.
class Diff {
public:
  enum type_t { del = 0, ins = 1 };
  type_t type;
  long line;          // delete: first line removed; insert: the line after which
  Kes_strlist *lines;

  Diff(type_t type, long line);
  ~Diff();
  Diff(const Diff &) = delete;
  Diff &operator=(const Diff &) = delete;
  long count() const { return lines->count; }
  void add_line(const char *text);
  // Equal type, number and lines.
  int compare(Diff *other);
};

// Differences in ascending order of their place.
class Diff_list : public Kes_list {
public:
  ~Diff_list() override;
  Kes_list *create_list() override;
  void *create_data() override;
  void *copy_data(void *data) override;
  void delete_data(void *data) override;
  void print_data(void *data) override;
  int compare_datas(void *a, void *b) override;

  Diff *first() { return count ? static_cast<Diff *>(head.next->data) : nullptr; }
  // Unlinks and returns the first difference.
  Diff *take_first();
  void append(Diff *d) { add_new_data(d); }
  // Makes the list smaller without changing its effect.
  void optimize();
};

// From the view that the output has of a delta's predecessor (D: predecessor
// to that view) and the source's own step (B: predecessor to the delta), the
// differences from that view to the delta.  Both lists are used up.
Diff_list *rebase(Diff_list *B, Diff_list *D);

class SEditor {
public:
  // One view of a body: which deltas a version holds and which control blocks
  // are open at the current line.
  class SEditorFlags {
  public:
    enum keep_t { none = 0, keep = 1, drop = 2 };
    struct Entry {
      int serial;
      int keep_t;
      Entry *next;
    };
    long count;      // visible lines so far
    int size;        // number of serials
    int *state;      // per serial: 0 unset, 1 in, 2 out
    Entry *queue;    // open blocks, highest serial first
    int visible;

    SEditorFlags();
    ~SEditorFlags();
    SEditorFlags(const SEditorFlags &) = delete;
    SEditorFlags &operator=(const SEditorFlags &) = delete;
    // The version of node (none when null) with the extra includes and
    // excludes; list holds the delta of serial s at index size - s.
    void init(Kes_tree_node **list, int size, Kes_tree_node *node, Kes_tree_node **includes,
              Kes_tree_node **excludes);
    void fini();
    void add_queue(int serial, int keep);
    void rem_queue(int serial);
    void ctrl_line(char letter, int serial);
  };

  Kes_sfile *file;
  char *buf;
  size_t buf_size;
  long body_offset;   // 0 until found
  int body_line;      // line number at the body's start
  Kes_tree_node **list;
  int list_size;
  int line_no;        // of the line in buf

  SEditor(Kes_sfile *file, Kes_tree_node **list, int count);
  ~SEditor();
  SEditor(const SEditor &) = delete;
  SEditor &operator=(const SEditor &) = delete;

  // True when the two versions have the same text.
  static int cmp_files(SEditor &a, Kes_tree_node *node1, SEditor &b, Kes_tree_node *node2);
  void next_diff(long line, int before, int after, Diff_list *list, Diff **current);
  // full: the predecessor with node's includes and excludes, to node; plain:
  // the plain predecessor to node; ie: the plain predecessor to the one with
  // includes and excludes.  Null lists are not made.
  void build_diffs(Kes_tree_node *node, Diff_list *full, Diff_list *plain, Diff_list *ie);
  // Writes node's differences into the body, against the view of its
  // predecessor with its includes and excludes.
  void apply_diffs(Kes_tree_node *node, Diff_list *list);
  void delete_lines(const char *name, FILE *out, SEditorFlags &flags, Diff *diff, int serial);
  void insert_lines(const char *name, FILE *out, SEditorFlags &flags, Diff *diff, int serial);
  // The next line of the body, null at the end (an error when required).
  char *read_line(int required);
  // 0 for a control line; for a text line its visibility.
  int parse_line(SEditorFlags &flags);
  void seek_to_body();

private:
  void put(FILE *out, const char *name, const char *text);
};

typedef SEditor::SEditorFlags SEditorFlags;

#endif
