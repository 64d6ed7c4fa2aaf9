// e2e_gui_command: the command line brindletool's transaction panels build,
// printed without its trailing newline, for stories that run it with sh.
//
//   e2e_gui_command bringover CHILD PARENT COMMENT NAME...
//   e2e_gui_command putback CHILD PARENT COMMENT REQUEST NAME...
//   e2e_gui_command undo WORKSPACE COMMENT NAME...
//
// The panel's fields are set as a user fills them in; its comment, which the
// panel reads from a text widget, comes from the argument.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "gui/kes_gui_trans.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "workspace/kes_workspace.h"

namespace {

template <class Panel>
class With_comment : public Panel {
public:
  const char *comment = "";
  char *get_comments() override { return Kes_gui_trans::quote_comment(comment); }
};

Kes_workspace *workspace(const char *path) {
  Kes_err *err = nullptr;
  auto *ws = new Kes_workspace(path, &err);
  if (err) {
    fputs(err->text, stderr);
    exit(1);
  }
  return ws;
}

int build(Kes_gui_trans *t, const char *child, const char *parent, char **names, int n) {
  t->child_ws = workspace(child);
  if (parent) t->parent_ws = workspace(parent);
  auto *list = new Kes_strlist;
  for (int i = 0; i < n; i++) list->add_new_copy(names[i]);
  t->file_list = list;
  int ok = t->build_cmd();
  t->file_list = nullptr;
  delete list;
  if (!ok) return 1;
  fputs(t->command, stdout);
  return 0;
}

int usage() {
  fputs("usage: e2e_gui_command bringover CHILD PARENT COMMENT NAME...\n"
        "       e2e_gui_command putback CHILD PARENT COMMENT REQUEST NAME...\n"
        "       e2e_gui_command undo WORKSPACE COMMENT NAME...\n",
        stderr);
  return 2;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) return usage();
  const char *kind = argv[1];
  // The tool's long-lived object, which holds the integration request its
  // dialog asks for.
  Kes_gui_trans base;
  set_gui_trans(&base);
  if (!strcmp(kind, "bringover") && argc >= 5) {
    With_comment<Kes_gui_bringover> t;
    t.comment = argv[4];
    return build(&t, argv[2], argv[3], argv + 5, argc - 5);
  }
  if (!strcmp(kind, "putback") && argc >= 6) {
    With_comment<Kes_gui_putback> t;
    t.comment = argv[4];
    snprintf(base.integration_request, sizeof base.integration_request, "%s", argv[5]);
    return build(&t, argv[2], argv[3], argv + 6, argc - 6);
  }
  if (!strcmp(kind, "undo") && argc >= 4) {
    // The panel gives ws_undo the names of the long-lived undo panel's list.
    With_comment<Kes_gui_undo> t;
    t.comment = argv[3];
    auto *list = new Kes_strlist;
    for (int i = 4; i < argc; i++) list->add_new_copy(argv[i]);
    t.undo_list = list;
    set_gui_undo(&t);
    int status = build(&t, argv[2], nullptr, nullptr, 0);
    set_gui_undo(nullptr);
    delete list;
    return status;
  }
  return usage();
}
