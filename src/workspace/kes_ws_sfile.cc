// The workspace as the factory of the history-file layer: the only place above
// that layer that names its SCCS implementation.
#include "sccs/sccs_merge.h"
#include "sccs/sccs_sfile.h"
#include "workspace/kes_workspace.h"

Kes_sfile *Kes_workspace::get_sfile(const char *name) { return new SCCS_sfile(name); }

Kes_sfile *Kes_workspace::get_sfile(const char *name, int flag) {
  return new SCCS_sfile(name, flag);
}

Kes_merge *Kes_workspace::get_merge_object() { return new SCCS_merge; }
