// conflicts: one relative file name per line for each file in conflict in the
// workspace.  Changed through the workspace's add_conflict, remove_conflict.
#ifndef BRINDLE_WORKSPACE_KES_MD_CONFLICTS_H
#define BRINDLE_WORKSPACE_KES_MD_CONFLICTS_H

#include "workspace/kes_metadata.h"

class Kes_md_conflicts : public Kes_metadata {
public:
  Kes_md_conflicts(Kes_workspace *ws, const char *metadata_dir)
      : Kes_metadata(ws, metadata_dir, "conflicts", 1) {}
};

#endif
