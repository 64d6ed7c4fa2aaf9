// The links between workspaces: parse of the parent, children and ombraparent
// files.
#include "workspace/kes_md_parent.h"

#include <cstdio>

#include "util/kes_err.h"
#include "workspace/kes_workspace.h"

namespace {
// A line of the parent or children file: one workspace by its netname.
Kes_err *parse_link(const char *line, void **entry) {
  Kes_workspace *ws = new Kes_workspace;
  Kes_err *e = ws->parse_parent_child_line(line);
  if (e) {
    delete ws;
    return e;
  }
  *entry = ws;
  return nullptr;
}
}  // namespace

Kes_err *Kes_md_parent::parse(char *line, void **entry, Kes_strlist *comments) {
  return parse_link(line, entry);
}

Kes_err *Kes_md_children::parse(char *line, void **entry, Kes_strlist *comments) {
  return parse_link(line, entry);
}

Kes_err *Kes_md_ombraparent::parse(char *line, void **entry, Kes_strlist *comments) {
  Kes_workspace *ws = nullptr;
  Kes_err *e = kes_build_ws_for_env(line, &ws);
  *entry = ws;
  return e;
}

Kes_err *kes_build_ws_for_env(const char *line, Kes_workspace **ws) {
  *ws = nullptr;
  char path[1024];
  snprintf(path, sizeof path, "/ombra/br.%s/vcs", line[0] ? line + 1 : line);
  Kes_err *e = nullptr;
  Kes_workspace *w = new Kes_ws_ombraparent(path, &e);
  if (e) {
    delete w;
    return e;
  }
  w->set_netname(line);
  w->set_ombra_options();
  *ws = w;
  return nullptr;
}
