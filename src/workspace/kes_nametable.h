// The name table: per workspace, the SmID of every history file's root delta
// and the file's current name, so that renamed files are found without
// reading every history file.  It is a cache: any doubt about it leads to a
// rebuild from the tree.  While a transaction changes names, each change also
// goes to a small journal, nametable_editlog, until the table is rewritten.
//
// nametable:          "VERSION 1", then "name w0 w1 w2 w3" per record, the
//                     SmID words in lower-case hexadecimal.  Names may hold
//                     blanks: the fields are found from the end of the line.
// nametable_editlog:  "VERSION 1", then "name w0 w1 w2 w3 edit" per change.
//
// Where the members are defined: kes_nt.cc the records and their lists and
// hashes, kes_md_nt_editlog.cc the journal, kes_nametable.cc the table,
// kes_nt_walk.cc the walk that rebuilds it.
#ifndef BRINDLE_WORKSPACE_KES_NAMETABLE_H
#define BRINDLE_WORKSPACE_KES_NAMETABLE_H

#include <cstddef>
#include <cstdio>

#include "util/kes_hash.h"
#include "util/kes_list.h"
#include "workspace/kes_md_backupnew.h"
#include "workspace/kes_metadata.h"
#include "workspace/kes_nt_client.h"

class Kes_err;
class Kes_smid;
class Kes_smid_int_hash;
class Kes_smid_str_hash;
class Kes_workspace;

// The longest line of either file, newline included.  A name may have 1024
// characters.
constexpr int KES_NT_LINE_MAX = 1062;
// Room for a formatted line with its terminating zero.
constexpr int KES_NT_BUF_SIZE = 1100;

// One record: a name relative to the workspace root (the clear file's) and
// the SmID of its history file.
class Kes_nt {
public:
  enum { NOOP = 0, ADD = 1, REMOVE = 2 };

  char *name;
  Kes_smid *smid;  // owned
  unsigned int edit : 2;
  unsigned int delete_name : 1;  // name is owned; else it points into a table image

  Kes_nt();
  // Copies name; takes smid.
  Kes_nt(const char *name, Kes_smid *smid);
  ~Kes_nt();
  Kes_nt(const Kes_nt &) = delete;
  Kes_nt &operator=(const Kes_nt &) = delete;

  // Records come from a pool of 400 per block.
  static void *operator new(size_t size);
  static void operator delete(void *p);

  // Always with an owned name.
  Kes_nt *copy();

  // The table line: on fp with its newline (error 2045 names name, or
  // "unknown"), or into buf (KES_NT_BUF_SIZE bytes) without.
  [[nodiscard]] Kes_err *print(FILE *fp, const char *name);
  char *print(char *buf);
  // The journal line, the same way.
  [[nodiscard]] Kes_err *print_with_edit(FILE *fp, const char *name);
  char *print_with_edit(char *buf);

  // Splits a line (without newline) at its last four blanks, or five when
  // edit is given, into name (a buffer of KES_NT_BUF_SIZE), SmID and edit.
  // 1 on success, 0 when there are too few blanks or SmID words.
  static int scan_with_spaces(const char *line, char *name, Kes_smid *smid, int *edit);
  // This record from a table line; 1 on success.
  int scan(const char *line);
  int scan(FILE *fp);
  // This record from a journal line.  The text form splits as a table line
  // does and marks the record as an add: a journal replay never matches a
  // file (see the read of the table).  The FILE form reads five fields and
  // accepts the edit types 0, 1 and 2.
  int scan_with_edit(const char *line);
  int scan_with_edit(FILE *fp);

  // Debugging dump on standard output.
  void print();
};

// Frees the record pool at the end of a run.
void kes_nt_delete_heap();

// SmIDs and names both agree; two nulls count as equal.
int kes_nt_equal(Kes_nt *a, Kes_nt *b);
int kes_nt_hash(Kes_nt *nt);

// A list of records; owns them.
class Kes_ntlist : public Kes_list {
public:
  ~Kes_ntlist() override;
  Kes_list *create_list() override;
  void *create_data() override;
  void *copy_data(void *data) override;
  void delete_data(void *data) override;
  void print_data(void *data) override;
  int compare_datas(void *a, void *b) override;
};

// Records to anything; neither keys nor values are owned.
class Kes_nt_hash : public Kes_hash {
public:
  Kes_nt_hash();
  ~Kes_nt_hash() override;
  int keys_equal(void *a, void *b) override;
  int key_hash(void *key) override;
  void key_delete(void *key) override;
  void value_delete(void *value) override;
};

// The journal.  It exists only between two table writes.
class Kes_md_nt_editlog : public Kes_md_backupnew {
public:
  Kes_md_nt_editlog(Kes_workspace *ws, const char *metadata_dir);

  // Starts the journal on first use and appends the record's line; synced
  // every 10 lines.
  [[nodiscard]] Kes_err *add_rec(Kes_nt *rec);
  // "w...": creates the file for every user (0666) and starts it anew;
  // "a...": refused, error 1025, for the journal is never continued; others as
  // for any metadata file.
  [[nodiscard]] Kes_err *open(const char *mode);
  // A journal line into a record; error 2056 for a line with too few fields.
  [[nodiscard]] Kes_err *parse(char *line, void **entry, Kes_strlist *comments) override;
};

class Kes_md_nametable : public Kes_metadata {
public:
  Kes_md_nt_editlog *editlog;  // owned
  int writable;                // the metadata directory could be written at construction
  int dirty;                   // the memory differs from the file
  int check_dups;              // reading refuses two names for one SmID
  int editlog_on;
  char temp_name[1024];        // the table being written; empty otherwise
  char *image;                 // the file without its version line; names point into it
  int image_size;
  Kes_nt_hash *hash;           // record to its list element
  Kes_ntlist *list;            // the records in file order
  int rebuilt;                 // a full scan has run

  Kes_md_nametable(Kes_workspace *ws, const char *metadata_dir);
  ~Kes_md_nametable() override;

  // Makes the memory valid: reads the table and replays the journal, or
  // rebuilds it from the tree.  tr may be null; dup_smids, if given, receives
  // the SmIDs that a rebuild found on more than one file (copies, which the
  // caller deletes: see kes_nt_delete_dup_smids).
  [[nodiscard]] Kes_err *read_table(Kes_nt_client *tr, Kes_smid_int_hash *dup_smids);
  // Reads without the duplicate test and never rebuilds: a bad or missing
  // table reads as empty.  For the repair of duplicates.
  [[nodiscard]] Kes_err *read_existing_table_with_dups();
  // A full scan of the tree.
  [[nodiscard]] Kes_err *rebuild_table(Kes_nt_client *tr, Kes_smid_int_hash *dup_smids, int *dups);
  // Writes the table with every edit and removes the journal.  Nothing, and no
  // error, in a workspace that can't be written.
  [[nodiscard]] Kes_err *write_table();
  [[nodiscard]] Kes_err *update_table();  // write_table when dirty
  // Adds a copy of rec; *stored, if given, gets the copy, or null when the
  // record was there already.
  [[nodiscard]] Kes_err *add_record(Kes_nt *rec, Kes_nt **stored);
  [[nodiscard]] Kes_err *remove_record(Kes_nt *rec);
  int record_exists(Kes_nt *rec);
  void editlog_enable() { editlog_on = 1; }
  void editlog_disable() { editlog_on = 0; }
  // Edits reach the journal only in a write-locked workspace.
  int editlog_enabled();
  void clear_data();
  // For a signal handler: removes a half-written table, closes the journal.
  void cleanup_on_intr();

  // The steps of read_table.
  // *missing is set when there is no table file.
  [[nodiscard]] Kes_err *read_table_to_memory(int *missing);
  // Builds list and hash from the image, replaying the journal records in L;
  // *bad is set (with a warning) when the image isn't a table.
  [[nodiscard]] Kes_err *build_list_from_memory(Kes_ntlist *L, int *bad);
  // Null when rec's SmID is new to seen (and enters it); else error 2088 when
  // reading, 2090 when writing.
  [[nodiscard]] Kes_err *is_a_duplicate_smid(Kes_nt *rec, Kes_smid_str_hash *seen, int reading);
};

// The tree walk: one record per history file (one per real root under a fake
// root), appended to list and entered in hash.  SmIDs found more than once set
// *dups and go to dup_smids.  Unreadable history files are reported and
// skipped.
[[nodiscard]] Kes_err *find_sfiles_in_ws(Kes_workspace *ws, Kes_ntlist *list, Kes_nt_hash *hash,
                                         Kes_smid_int_hash *dup_smids, int *dups);

// Deletes a table of duplicates filled by a rebuild, with its keys.
void kes_nt_delete_dup_smids(Kes_smid_int_hash *dups);

// Timers of the tree walk; null (no timing) unless a command sets them.
class Kes_timing;
extern Kes_timing *kes_time_find;
extern Kes_timing *kes_time_readsccsdir;

#endif
