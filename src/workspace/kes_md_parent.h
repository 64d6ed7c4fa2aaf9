// The links between workspaces: parent (one netname; only the first line
// counts), children (one netname per line) and ombraparent (the identifier
// "*name" of an Ombra environment).  Lines are added and removed one at a time
// through the workspace's set_parent, remove_parent, add_child, remove_child;
// nothing rewrites these files whole.  Entries read are Kes_workspace objects,
// so the list to read into is a Kes_wslist.
#ifndef BRINDLE_WORKSPACE_KES_MD_PARENT_H
#define BRINDLE_WORKSPACE_KES_MD_PARENT_H

#include "workspace/kes_metadata.h"

class Kes_md_parent : public Kes_metadata {
public:
  Kes_md_parent(Kes_workspace *ws, const char *metadata_dir)
      : Kes_metadata(ws, metadata_dir, "parent", 1) {}
  [[nodiscard]] Kes_err *parse(char *line, void **entry, Kes_strlist *comments) override;

protected:
  Kes_md_parent(Kes_workspace *ws, const char *metadata_dir, const char *simplename)
      : Kes_metadata(ws, metadata_dir, simplename, 1) {}
};

class Kes_md_ombraparent : public Kes_md_parent {
public:
  Kes_md_ombraparent(Kes_workspace *ws, const char *metadata_dir)
      : Kes_md_parent(ws, metadata_dir, "ombraparent") {}
  [[nodiscard]] Kes_err *parse(char *line, void **entry, Kes_strlist *comments) override;
};

class Kes_md_children : public Kes_metadata {
public:
  Kes_md_children(Kes_workspace *ws, const char *metadata_dir)
      : Kes_metadata(ws, metadata_dir, "children", 1) {}
  [[nodiscard]] Kes_err *parse(char *line, void **entry, Kes_strlist *comments) override;
};

// The workspace object for the Ombra environment line "*name": the tree
// /ombra/br.name/vcs with the netname "*name" and Ombra's options.
[[nodiscard]] Kes_err *kes_build_ws_for_env(const char *line, Kes_workspace **ws);

#endif
