// Kes_gui_load_ws_dlg, "Load Workspaces", the workspace chooser, and
// Kes_gui_load_children_dlg, "Load Children": workspaces named or chosen,
// listed by the workspace command, and put on the canvas.
#include <Xm/List.h>
#include <Xm/Xm.h>

#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "gui/kes_canvas.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_load.h"
#include "gui/kes_gui_props.h"
#include "gui/kes_gui_stubs.h"
#include "gui/kes_ws_choosers.h"
#include "gui/shells/form_dialog.h"
#include "gui/shells/ws_ops.h"
#include "util/kes_err.h"
#include "util/kes_quote.h"
#include "workspace/kes_workspace.h"

namespace {

std::string item_text(XmString s) {
  char *t = nullptr;
  t = static_cast<char *>(XmStringUnparse(s, nullptr, XmCHARSET_TEXT, XmCHARSET_TEXT, nullptr, 0,
                                          XmOUTPUT_ALL));
  std::string out = t ? t : "";
  XtFree(t);
  return out;
}

void fill_list(Widget list, const std::vector<std::string> &items) {
  XmListDeleteAllItems(list);
  for (const std::string &i : items) {
    XmString s = XmStringCreateLocalized(const_cast<char *>(i.c_str()));
    XmListAddItemUnselected(list, s, 0);
    XmStringFree(s);
  }
}

std::vector<std::string> selected_items(Widget list) {
  XmStringTable items = nullptr;
  int n = 0;
  XtVaGetValues(list, XmNselectedItems, &items, XmNselectedItemCount, &n, nullptr);
  std::vector<std::string> out;
  for (int i = 0; i < n; i++) out.push_back(item_text(items[i]));
  return out;
}

// Loads the workspaces that "workspace list" makes of names (shell syntax) and
// tells how many came, were there already or were not found: the number that
// came.
int load_named(const std::string &names, int asked, GfileChooser *chooser) {
  std::string cmd = ws_command_path(0);
  if (cmd.empty()) return 0;
  char message[Kes_gui_load::MESSAGE_SIZE];
  cmd += " list " + names + " 2>/dev/null";
  gui_debug("command %s", cmd.c_str());
  std::unique_ptr<Kes_wslist> list(Kes_gui_load::build_workspace_list(cmd.c_str(), message));
  Kes_canvas *canvas = get_gui()->get_canvas();
  Kes_wslist fresh;
  int already = 0;
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next) {
    auto *ws = static_cast<Kes_workspace *>(e->data);
    if (canvas->kes_find_node(ws))
      already++;
    else
      fresh.add_new_copy(ws);
  }
  canvas->load_workspaces(&fresh);
  const int loaded = fresh.count, missing = std::max(0, asked - list->count);
  char text[512];
  std::string t;
  if (loaded) {
    snprintf(text, sizeof text,
             loaded == 1 ? GUI_MSG("1 workspace loaded") : GUI_MSG("%d workspaces loaded"),
             loaded);
    t = text;
    if (already) {
      snprintf(text, sizeof text,
               already == 1 ? GUI_MSG(", 1 was already loaded") : GUI_MSG(", %d were already loaded"),
               already);
      t += text;
    }
    if (missing) {
      snprintf(text, sizeof text, missing == 1 ? GUI_MSG(", 1 not found") : GUI_MSG(", %d not found"),
               missing);
      t += text;
    }
  } else if (already) {
    snprintf(text, sizeof text,
             already == 1 ? GUI_MSG("1 workspace was already loaded")
                          : GUI_MSG("%d workspaces were already loaded"),
             already);
    t = text;
  } else {
    snprintf(text, sizeof text,
             missing == 1 ? GUI_MSG("1 workspace not loaded") : GUI_MSG("%d workspaces not loaded"),
             missing);
    t = text;
  }
  chooser->setFooter(t.c_str());
  left_footer("%s", t.c_str());
  return loaded;
}

}  // namespace

// "Load Workspaces": the workspace chooser, whose first button loads the
// chosen workspaces, whose "Load Directory" descends into the chosen
// directory, and where a double click on a workspace loads it.
class Kes_gui_load_ws_dlg : public BW_wsviewer {
public:
  explicit Kes_gui_load_ws_dlg(Widget parent)
      : BW_wsviewer(parent, "load_workspaces", GUI_MSG("Lathe Weaving: Load Workspaces")) {
    setAddLabel(GUI_MSG("Load Workspaces"));
    setAddProc(load_pressed, this);
  }

protected:
  void loadPressed() override {
    std::vector<std::string> paths = chosen();
    if (paths.size() != 1) {
      setFooter(paths.empty() ? GUI_MSG("Select or enter a directory in the Name field")
                              : GUI_MSG("Select or enter a single directory"));
      return;
    }
    struct stat st;
    if (stat(paths[0].c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
      setFooter(GUI_MSG("Name field requires a valid directory"));
      return;
    }
    if (is_workspace_dir(paths[0])) {
      setFooter(GUI_MSG("Cannot load a directory which is a workspace"));
      return;
    }
    setFooter(GUI_MSG("Loading directory..."));
    setName("");
    loadDirectory(paths[0].c_str());
  }

  void directoryActivated(const std::string &path) override {
    if (!is_workspace_dir(path)) {
      loadDirectory(path.c_str());
      return;
    }
    if (load_named(quoted(path), 1, this) != 1)
      gui_issue_errdialog(GUI_MSG("Error in loading workspace"));
  }

private:
  // The selected entries and the Name field's words, made absolute.
  std::vector<std::string> chosen() {
    std::vector<std::string> out = getSelectedPaths();
    std::istringstream words(getName());
    std::string w;
    while (words >> w) out.push_back(w[0] == '/' ? w : getDirectory() + "/" + w);
    return out;
  }

  static void load_pressed(GfileChooser *, void *data) {
    auto *self = static_cast<Kes_gui_load_ws_dlg *>(data);
    std::vector<std::string> paths = self->chosen();
    if (paths.empty()) {
      self->setFooter(GUI_MSG("Select workspaces or enter a workspace in the Name field"));
      return;
    }
    std::string names;
    for (const std::string &p : paths) {
      if (!is_workspace_dir(p)) {
        self->setFooter(GUI_MSG("Name field requires a valid workspace or directory"));
        return;
      }
      names += quoted(p.c_str()) + " ";
    }
    char text[256];
    snprintf(text, sizeof text, GUI_MSG("Loading %d workspace(s)..."),
             static_cast<int>(paths.size()));
    self->setFooter(text);
    load_named(names, static_cast<int>(paths.size()), self);
  }
};

class Kes_gui_load_children_dlg : public form_dialog_c {
public:
  Kes_gui_load_children_dlg()
      : form_dialog_c("load_children_shell", GUI_MSG("Lathe Weaving: Load Children"), "load") {
    ws = add_label("children_ws", "");
    add_label("children_caption", GUI_MSG("Select Child Workspaces To Load:"));
    list = add_list("children_list", 8);
    const char *buttons[] = {"Select All", "Deselect All", "Load", "Cancel", "Help"};
    add_buttons(buttons, 5);
  }
  Widget ws, list;
  int count = 0;

  void button(int index) override {
    if (index == 0 || index == 1) {
      XmListDeselectAllItems(list);
      if (index == 0)
        for (int i = 1; i <= count; i++) XmListSelectPos(list, i, False);
    } else if (index == 3) {
      hide();
    } else if (index == 2) {
      Kes_wslist load;
      for (const std::string &p : selected_items(list)) {
        Kes_workspace w(p.c_str(), nullptr);
        load.add_new_copy(&w);
      }
      get_gui()->get_canvas()->load_workspaces(&load);
      char text[256];
      if (load.count == 1)
        snprintf(text, sizeof text, GUI_MSG("1 child workspace selected, %d loaded."), 1);
      else
        snprintf(text, sizeof text, GUI_MSG("%d child workspaces selected, %d loaded."),
                 load.count, load.count);
      set_footer(text);
      left_footer("%s", text);
    }
  }
};

void gui_stubs_load_workspaces() {
  BW_wsviewer *chooser = get_gui()->get_load_chooser();
  std::string dir;
  if (!chooser) {
    chooser = new Kes_gui_load_ws_dlg(get_main_shell()->app_shell);
    get_gui()->set_load_chooser(chooser);
    gui_trace_places_on_map(chooser->getDialog()->shell);
    Kes_gui_props *props = get_gui()->get_props();
    dir = props->current_dir ? props->current_dir : ".";
  } else {
    dir = chooser->getDirectory();  // read again: workspaces come and go
  }
  chooser->setName("");
  chooser->popup();
  chooser->loadDirectory(dir.c_str());
}

void gui_stubs_load_children() {
  static Kes_gui_load_children_dlg *shell;
  std::unique_ptr<Kes_wslist> sel(get_gui()->get_canvas()->get_selected_workspaces());
  if (sel->count == 0) {
    left_footer("%s", GUI_MSG("No workspace selected to load children."));
    return;
  }
  Kes_wslist children;
  std::vector<std::string> names;
  std::string heads;
  for (Kes_listelem *e = sel->head.next; e != &sel->head; e = e->next) {
    auto *w = static_cast<Kes_workspace *>(e->data);
    heads += std::string(heads.empty() ? "" : " ") + w->wsname;
    Kes_wslist *kids = nullptr;
    if (Kes_err *err = w->get_children(&kids)) {
      gui_issue_errdialog(err->text);
      delete err;
    }
    if (!kids) continue;
    for (Kes_listelem *k = kids->head.next; k != &kids->head; k = k->next) {
      auto *kw = static_cast<Kes_workspace *>(k->data);
      if (!kw->exists()) continue;
      children.add_new_copy(kw);
      names.push_back(kw->wsname);
    }
    delete kids;
  }
  if (names.empty()) {
    left_footer("%s", sel->count == 1 ? GUI_MSG("Selected workspace does not have children.")
                                      : GUI_MSG("Selected workspaces do not have children."));
    return;
  }
  if (!get_gui()->get_props()->show_children_dlg) {
    Kes_canvas *canvas = get_gui()->get_canvas();
    int fresh = 0;
    for (Kes_listelem *e = children.head.next; e != &children.head; e = e->next)
      fresh += canvas->kes_find_node(static_cast<Kes_workspace *>(e->data)) == nullptr;
    canvas->load_workspaces(&children);
    if (names.size() == 1)
      left_footer(GUI_MSG("1 child workspace, %d loaded."), fresh);
    else
      left_footer(GUI_MSG("%d child workspaces, %d loaded."), static_cast<int>(names.size()),
                  fresh);
    return;
  }
  if (!shell) shell = new Kes_gui_load_children_dlg;
  char head[4096];
  snprintf(head, sizeof head, "%s %s", GUI_MSG("Workspace:"), heads.c_str());
  form_dialog_c::set_label(shell->ws, head);
  fill_list(shell->list, names);
  shell->count = static_cast<int>(names.size());
  shell->set_footer(nullptr);
  shell->show();
}
