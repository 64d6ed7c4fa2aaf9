// Kes_renames: following files across renames.  The identity of a history
// file is its SmID, the hash of its root delta (several for a history with
// several roots).  Both workspaces' name tables are joined in memory into one
// table from SmID to the names it has on each side; a name present on one
// side only, or two unrelated histories under one name, is looked up there,
// and exactly one name on the other side makes the two records one file.
//
// The tables are caches and may be stale, since people move files without
// telling anybody: the entries that matching relies on are verified against
// the disk first.  A SmID under two names in one workspace (a history copied
// by hand) is made unique by a marker in the copy's root delta.
//
// A preview does all of this in memory: no name table and no history is
// written.
#ifndef BRINDLE_TRANSACTION_KES_RENAMES_H
#define BRINDLE_TRANSACTION_KES_RENAMES_H

#include <set>
#include <string>
#include <vector>

class Kes_err;
class Kes_file;
class Kes_listelem;
class Kes_md_nametable;
class Kes_smid;
class Kes_smid_int_hash;
class Kes_smid_smidinfo_hash;
class Kes_smidinfo;
class Kes_str_int_hash;
class Kes_strlist;
class Kes_transaction;
class Kes_workspace;
class Kes_ws_file;
class SCCS_deltalist;

// The two sides of a transaction.
enum { KES_FROM_SIDE = 0, KES_TO_SIDE = 1 };

class Kes_renames {
public:
  enum {
    TO_ROOT_EMPTY = 1,    // nothing to match against
    UNIQUIFIED = 2,       // some SmID was replaced in this run
    KEEP_FROM_TABLE = 4,  // don't write the from table
    KEEP_TO_TABLE = 8     // don't write the to table
  };

  Kes_transaction *transaction;
  Kes_md_nametable *from_nt;           // owned
  Kes_md_nametable *to_nt;             // owned
  Kes_smid_smidinfo_hash *smid_table;  // SmID to its names on both sides
  Kes_smid_int_hash *stale_from;       // per SmID, from entries that failed verification
  Kes_smid_int_hash *stale_to;
  Kes_smid_int_hash *uniquified;       // SmIDs replaced in this run
  Kes_smid_int_hash *duplicates;       // SmIDs that a table rebuild found under two names
  unsigned int flags : 4;

  explicit Kes_renames(Kes_transaction *t);
  ~Kes_renames();
  Kes_renames(const Kes_renames &) = delete;
  Kes_renames &operator=(const Kes_renames &) = delete;

  // Reads both name tables into the SmID table.
  [[nodiscard]] Kes_err *init();
  // Pairs the rename candidates that the transaction set aside, and hands each
  // result back to the transaction for its state.
  [[nodiscard]] Kes_err *match_up_files();
  // The pair in the side's name table and, if the table took it as new, in
  // the SmID table; *added (if given) says whether it did.
  [[nodiscard]] Kes_err *add_entry(const char *name, Kes_smid *smid, int side, int *added);
  [[nodiscard]] Kes_err *remove_entry(const char *name, Kes_smid *smid, int side);
  // Makes the duplicates found by rebuilds unique, then writes the tables
  // that changed (unless told to keep them).
  [[nodiscard]] Kes_err *update_tables();

  // What the actions ask (kes_renames_prop.cc).
  // A history copied into the to workspace: its SmIDs, from its root deltas,
  // enter the to table under the to name.  Into an empty root, a copy the
  // from workspace holds under two names is made unique in both workspaces
  // alike, and if that fails the new file is taken out again.
  [[nodiscard]] Kes_err *update_rename_info_on_prop_from_new(Kes_file *file,
                                                             SCCS_deltalist *deltas);
  // Moves the file within the to workspace from its to name to its from
  // name: history, p-file, clear file.  The table holds both names while the
  // history moves, so a crash loses no entry.
  [[nodiscard]] Kes_err *rename_kes_file(Kes_file *file);
  // The names the SmID has on a side now: its list, or its one name.
  std::vector<std::string> names_of_smid(Kes_smid *smid, int side);

private:
  std::set<std::string> names;  // names that SmID records point at when no table holds them
  // Uniquifications of this run, so that a preview, which writes nothing,
  // reads the SmIDs it would have written.
  struct Replacement {
    int side;
    std::string name;
    Kes_smid *old_smid, *new_smid;  // owned
  };
  std::vector<Replacement> replaced;

  Kes_md_nametable *table(int side) { return side ? to_nt : from_nt; }
  Kes_workspace *workspace(int side);
  const char *intern(const char *name);
  void insert_info(Kes_smid *smid, const char *name, int side);
  void remove_info(Kes_smid *smid, const char *name, int side);
  void fill_smid_table();
  [[nodiscard]] Kes_err *read_smids(Kes_ws_file *file, int side);
  [[nodiscard]] Kes_err *verify_smidhash();
  [[nodiscard]] Kes_err *kes_ws_file_verify_smidhash(Kes_ws_file *file, int side);
  [[nodiscard]] Kes_err *verify_smidinfo(Kes_smidinfo *info, Kes_smid *smid, const char *known,
                                         int known_side);
  [[nodiscard]] Kes_err *verify_name(const char *name, Kes_smid *smid, int side,
                                     Kes_smidinfo *info);
  [[nodiscard]] Kes_err *rebuild_hash_table(int from, int to);
  [[nodiscard]] Kes_err *get_original_names_for_dups(int side);
  [[nodiscard]] Kes_err *uniquify_duplicate_smids(Kes_smid *smid, int side, int *changed);
  [[nodiscard]] Kes_err *uniquify_smid_in_ws(Kes_ws_file *file, Kes_smid *smid, Kes_smid **out,
                                             int side);
  [[nodiscard]] Kes_err *uniquify_duplicate_smids_in_both(Kes_smid *smid);
  [[nodiscard]] Kes_err *remove_file_in_dst_ws(const char *name);
  [[nodiscard]] Kes_err *match_kes_file(Kes_listelem *elem, Kes_listelem **next_elem);
  [[nodiscard]] Kes_err *match_ws_file(Kes_ws_file *file, int side, Kes_ws_file **out);
  [[nodiscard]] Kes_err *add_matched_kes_file(Kes_file *file, const char *name);
};

// Writes a changed name table; when that fails, the file goes, since it no
// longer tells the truth, and the next reader builds the table anew.
[[nodiscard]] Kes_err *kes_nt_update_or_forget(Kes_md_nametable *nt);

// Moves a file, making the target's directory if need be; across file
// systems by the mv program.
[[nodiscard]] Kes_err *mv_file(const char *from, const char *to);

// The SmIDs of the file's root deltas, read once into file->smids.  With
// exists given, a missing history is no error and *exists says so.
[[nodiscard]] Kes_err *get_smidlist(Kes_ws_file *file, int *exists);
// Gives the root with the SmID a new identity by a marker naming the file,
// until no other root of the history shares it; *out is the new SmID.  The
// history is written only when write is set.
[[nodiscard]] Kes_err *uniquify_smid(Kes_ws_file *file, Kes_smid *smid, Kes_smid **out, int write);

#endif
