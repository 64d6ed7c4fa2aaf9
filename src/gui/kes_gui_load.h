// Kes_gui_load: turning names into the list of workspaces to load, by the
// output of "workspace list", and widening a list by the parents and children
// of its workspaces.
#ifndef BRINDLE_GUI_KES_GUI_LOAD_H
#define BRINDLE_GUI_KES_GUI_LOAD_H

class Kes_err;
class Kes_wslist;

class Kes_gui_load {
public:
  enum { MESSAGE_SIZE = 8192 };

  // Runs command and reads its lines: a status column, then an absolute path or
  // one beginning "./".  A complaint goes to message (MESSAGE_SIZE bytes), empty
  // when all went well; the list holds what was read either way.
  static Kes_wslist *build_workspace_list(const char *command, char *message);
  // list and the parents and children of its workspaces, each once.  A parent
  // that does not exist stops with error 2082; a missing child is recorded as
  // error 2083 and the rest goes on.
  [[nodiscard]] static Kes_err *add_parent_children_context(Kes_wslist *list, Kes_wslist **out);
  static Kes_wslist *no_context(Kes_wslist *list);
};

#endif
