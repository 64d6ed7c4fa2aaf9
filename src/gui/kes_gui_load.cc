// Kes_gui_load: the list of workspaces to load, from "workspace list" or made in
// the tool, and the parents and children around it.
#include "gui/kes_gui_load.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "gui/kes_gui_debug.h"
#include "util/kes_err.h"
#include "util/kes_path.h"
#include "workspace/kes_workspace.h"

namespace {

int listed(Kes_wslist *list, Kes_workspace *ws) {
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
    if (static_cast<Kes_workspace *>(e->data)->compare(ws)) return 1;
  return 0;
}

void add_once(Kes_wslist *list, Kes_workspace *ws) {
  if (!listed(list, ws)) list->add_new_copy(ws);
}

}  // namespace

Kes_wslist *Kes_gui_load::build_workspace_list(const char *command, char *message) {
  message[0] = '\0';
  auto *list = new Kes_wslist;
  FILE *fp = popen(command, "r");
  if (!fp) {
    snprintf(message, MESSAGE_SIZE, GUI_MSG("Could not execute \"%s\""), command);
    return list;
  }
  char line[1027];
  while (fgets(line, sizeof line, fp)) {
    size_t n = strlen(line);
    if (n && line[n - 1] == '\n') line[n - 1] = '\0';
    const char *path = line[0] ? line + 1 : line;  // past the status column
    if (path[0] != '/' && strncmp(path, "./", 2) != 0) {
      snprintf(message, MESSAGE_SIZE,
               GUI_MSG("build_workspace_list: \"%s\" doesn't start with a /"), path);
      break;
    }
    char full[1024];
    if (path[0] == '.') path = kes_fully_qualify(path, full);
    Kes_workspace ws(path, nullptr);
    list->add_new_copy(&ws);
  }
  if (pclose(fp) != 0 && !message[0])
    snprintf(message, MESSAGE_SIZE, "%s", GUI_MSG("Could not get list of workspaces"));
  return list;
}

Kes_err *Kes_gui_load::add_parent_children_context(Kes_wslist *list, Kes_wslist **out) {
  *out = static_cast<Kes_wslist *>(list->copy());
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next) {
    auto *ws = static_cast<Kes_workspace *>(e->data);
    Kes_workspace *parent = nullptr;
    Kes_err *err = ws->get_parent(&parent);
    if (!err && parent && !parent->exists())
      err = (new Kes_err)->format_msg(
          2082, 0, GUI_MSG("Workspace %s's parent %s does not exist in the file system"),
          ws->wsname, parent->wsname);
    if (err) {
      delete parent;
      return err;
    }
    if (parent) add_once(*out, parent);
    delete parent;
  }
  Kes_err_owner first;
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next) {
    auto *ws = static_cast<Kes_workspace *>(e->data);
    Kes_wslist *children = nullptr;
    Kes_err *err = ws->get_children(&children);
    if (err) {
      first.keep(err);
      continue;
    }
    for (Kes_listelem *c = children->head.next; c != &children->head; c = c->next) {
      auto *child = static_cast<Kes_workspace *>(c->data);
      if (child->exists())
        add_once(*out, child);
      else
        first.keep((new Kes_err)->format_msg(
            2083, 0, GUI_MSG("Workspace %s's child %s does not exist in file system"), ws->wsname,
            child->wsname));
    }
    delete children;
  }
  return first.release();
}

Kes_wslist *Kes_gui_load::no_context(Kes_wslist *list) {
  return static_cast<Kes_wslist *>(list->copy());
}
