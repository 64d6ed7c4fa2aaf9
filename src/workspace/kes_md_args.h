// args: the workspace's default file list, one element per line, written
// after each transaction.  Read with get_lines; the comment rules apply.
#ifndef BRINDLE_WORKSPACE_KES_MD_ARGS_H
#define BRINDLE_WORKSPACE_KES_MD_ARGS_H

#include "workspace/kes_metadata.h"

class Kes_undo;

class Kes_md_args : public Kes_metadata {
public:
  Kes_md_args(Kes_workspace *ws, const char *metadata_dir)
      : Kes_metadata(ws, metadata_dir, "args", 1) {}
  // Writes list2 then list1, after saving the old file into the backup area.
  // Written in place: an error leaves the file partly written.
  [[nodiscard]] Kes_err *rewrite(Kes_strlist *list1, Kes_strlist *list2);
  // Adds the args file to the undo's actions when it needs one; defined with
  // the undo machinery.
  [[nodiscard]] Kes_err *determine_undo_state(Kes_undo *undo);
};

// Copies from to a temporary name beside to and renames it over to, so that
// to is whole afterwards, or as it was before: never partly written or gone.
[[nodiscard]] Kes_err *kes_copy_file_over(const char *to, const char *from);

// Copies relname, a path relative to area's root, to the same relative path
// under area's Brindle_wsdata/backup/files, by a temporary name and a rename,
// so the copy there is whole or absent.
[[nodiscard]] Kes_err *make_backup_file(const char *relname, Kes_workspace *area);

#endif
