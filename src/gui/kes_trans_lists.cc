// The transaction window's lists: files and file list programs per form, the
// three list modes, the args file, and adding names from the choosers.
#include <Xm/List.h>
#include <Xm/ToggleB.h>
#include <Xm/Xm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "gui/kes_graph.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_props.h"
#include "gui/kes_trans_forms.h"
#include "gui/kes_ws_choosers.h"
#include "gui/shells/trans_shell.h"
#include "toolkit/gui_scrolling_list.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_path.h"
#include "workspace/kes_md_args.h"
#include "workspace/kes_workspace.h"

namespace {

trans_files_form *current_form() {
  trans_shell_c *t = get_trans_shell();
  Kes_gui_util_trans_enum kind = get_trans_category();
  if (!t || kind > KES_GUI_PUTBACK) return nullptr;
  return kind == KES_GUI_PUTBACK ? &t->pb : &t->boc;
}

Kes_trans_data *current_data() { return get_trans_data(get_trans_category()); }

// The list that the widget shows in the present mode.
Kes_strlist *shown_list() {
  return file_list_mode() == 1 ? current_data()->flp_list : current_data()->file_list;
}

int contains(Kes_strlist *list, const std::string &item) {
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
    if (item == static_cast<char *>(e->data)) return 1;
  return 0;
}

int exists(const std::string &path, struct stat *st) { return stat(path.c_str(), st) == 0; }

std::string real_path(const std::string &path) {
  char real[PATH_MAX];
  return realpath(path.c_str(), real) ? real : path;
}

void set_sensitive(Widget w, int on) {
  if (w) XtSetSensitive(w, on ? True : False);
}

// The Name field's name made absolute: under the chooser's directory unless
// it begins with "/" or "~".
std::string name_field_path(GfileChooser *chooser) {
  std::string name = chooser->getName();
  name.erase(0, name.find_first_not_of(" \t") == std::string::npos ? name.size()
                                                                   : name.find_first_not_of(" \t"));
  if (name.empty()) return name;
  if (name[0] == '/') return name;
  if (name[0] == '~') {
    char full[1024];
    return kes_fully_qualify(name.c_str(), full) ? full : name;
  }
  return chooser->getDirectory() + "/" + name;
}

// Adds the candidates to list: stored as store() makes them, counted.
template <class Store>
void add_candidates(const std::vector<std::string> &candidates, Kes_strlist *list, Store store) {
  int added = 0, refused = 0;
  for (const std::string &path : candidates) {
    std::string item = store(path);
    std::string other = item.size() > 1 && item.back() == '/' ? item.substr(0, item.size() - 1)
                                                              : item + "/";
    if (contains(list, item) || contains(list, other)) {
      refused++;
      continue;
    }
    list->add_new_copy(const_cast<char *>(item.c_str()));
    added++;
  }
  char text[128];
  if (added == 0 && refused > 0)
    snprintf(text, sizeof text, GUI_MSG("%d file(s) already in file list"), refused);
  else
    snprintf(text, sizeof text, GUI_MSG("%d of %d added"), added,
             static_cast<int>(candidates.size()));
  fill_scroll_list();
  update_action_button_state();
  trans_footer(text);
  if (trans_shell_c *t = get_trans_shell()) XRaiseWindow(XtDisplay(t->shell), XtWindow(t->shell));
}

}  // namespace

Widget get_scroll_list() {
  trans_files_form *f = current_form();
  return f ? f->list : nullptr;
}

void set_file_list_switch() {
  trans_files_form *f = current_form();
  if (!f) return;
  XmToggleButtonSetState(f->files_tgl, True, False);
  XmToggleButtonSetState(f->flps_tgl, False, False);
  XmToggleButtonSetState(f->entire_tgl, False, False);
  switch_to_file_list();
}

int file_list_mode() {
  trans_files_form *f = current_form();
  if (!f) return 0;
  if (XmToggleButtonGetState(f->flps_tgl)) return 1;
  if (XmToggleButtonGetState(f->entire_tgl)) return 2;
  return 0;
}

void update_list_buttons() {
  trans_files_form *f = current_form();
  if (!f) return;
  const int mode = file_list_mode();
  set_sensitive(f->add_btn, mode != 2);
  set_sensitive(f->delete_btn, mode != 2);
  set_sensitive(f->load_args_btn, mode != 1);
  set_sensitive(f->save_args_btn, mode != 1);
}

void switch_to_file_list() {
  update_list_buttons();
  fill_scroll_list();
}

void switch_to_flp_list() {
  update_list_buttons();
  fill_scroll_list();
}

void switch_to_entire_ws() {
  trans_files_form *f = current_form();
  if (!f) return;
  popdown_trans_choosers();
  current_data()->file_list->clear();
  current_data()->flp_list->clear();
  current_data()->file_list->add_new_copy(const_cast<char *>("./"));
  update_list_buttons();
  fill_scroll_list();
  update_action_button_state();
}

void clear_argument_lists() {
  if (!current_form()) return;
  current_data()->file_list->clear();
  current_data()->flp_list->clear();
  fill_scroll_list();
  update_action_button_state();
}

void args_strlist_from_wsname(Kes_workspace *ws, Kes_strlist *list) {
  Kes_md_args *md = nullptr;
  Kes_err *err = ws->get_md_args(&md);
  std::unique_ptr<Kes_md_args> owner(md);
  if (!err && md && md->exists()) err = md->get_lines(list);
  if (err) {
    trans_error_dialog(err->text);
    delete err;
  }
}

void set_argument_lists(Kes_workspace *ws) {
  if (!current_form()) return;
  current_data()->file_list->clear();
  current_data()->flp_list->clear();
  if (get_gui()->get_props()->auto_load_file_list)
    args_strlist_from_wsname(ws, current_data()->file_list);
  fill_scroll_list();
  update_action_button_state();
}

void load_dirs_files_list(Kes_workspace *ws) {
  if (!current_form()) return;
  current_data()->file_list->clear();
  args_strlist_from_wsname(ws, current_data()->file_list);
  fill_scroll_list();
  update_action_button_state();
  gui_debug("trans args loaded %d", current_data()->file_list->count);
}

void save_dirs_files_list(Kes_workspace *ws) {
  Widget list = get_scroll_list();
  if (!list) return;
  std::vector<std::string> items = Gui_scrolling_list(list).items();
  char text[2400];
  const char *base = compute_basename(ws->wsname);
  if (items.empty()) {
    snprintf(text, sizeof text,
             GUI_MSG("Files/Directories list for %s is empty.  Is it ok to write out an empty "
                     "arguments file ?"),
             base);
    if (!trans_question(text)) return;
    items.push_back("  ");  // a line of two blanks: the file is written, empty of names
  }
  Kes_strlist lines, none;
  for (const std::string &item : items) lines.add_new_copy(const_cast<char *>(item.c_str()));
  Kes_md_args *md = nullptr;
  Kes_err *err = ws->get_md_args(&md);
  if (!err) err = md->rewrite(&lines, &none);
  delete md;
  snprintf(text, sizeof text,
           err ? GUI_MSG("Error occurred while saving args file for %s")
               : GUI_MSG("Saved args file for %s"),
           base);
  delete err;
  trans_footer(text);
}

int args_lists_empty() {
  if (!current_form()) return 1;
  return current_data()->file_list->count == 0 && current_data()->flp_list->count == 0;
}

void update_action_button_state() {
  if (!current_form() || (get_gui() && get_gui()->get_current_panel())) return;
  set_sensitive(current_data()->action_button, !args_lists_empty());
}

void fill_scroll_list() {
  Widget list = get_scroll_list();
  if (!list) return;
  Gui_scrolling_list scroll(list);
  scroll.delete_all();
  Kes_strlist *items = shown_list();
  for (Kes_listelem *e = items->head.next; e != &items->head; e = e->next)
    scroll.add_item(static_cast<char *>(e->data));
}

void select_all_scroll_list() {
  if (Widget list = get_scroll_list()) Gui_scrolling_list(list).select_all();
}

void unselect_all_scroll_list() {
  if (Widget list = get_scroll_list()) Gui_scrolling_list(list).deselect_all();
}

void delete_selected_backing_files() {
  Widget list = get_scroll_list();
  if (!list) return;
  Kes_strlist *items = shown_list();
  for (const std::string &item : Gui_scrolling_list(list).selected_items())
    for (Kes_listelem *e = items->head.next; e != &items->head; e = e->next)
      if (item == static_cast<char *>(e->data)) {
        items->delete_elem(e);
        break;
      }
}

void delete_selection_scroll_list() {
  if (Widget list = get_scroll_list()) Gui_scrolling_list(list).delete_selection();
}

void trans_add_files_callback(GfileChooser *chooser, void *) {
  auto *ws_chooser = static_cast<WSSfileChooser *>(chooser);
  const std::string &root = ws_chooser->getWsDirectory();
  std::vector<std::string> candidates;
  std::string name = name_field_path(chooser);
  if (!name.empty()) {
    struct stat st;
    std::string dir = name.substr(0, name.rfind('/'));
    std::string history = dir + "/SCCS/s." + name.substr(name.rfind('/') + 1);
    if (!exists(name, &st) && !exists(history, &st)) {
      chooser->setFooter(GUI_MSG("Name field requires a valid file or directory"));
      return;
    }
    // A clear file need not exist: the name of its history file will do.
    std::string real = exists(name, &st) ? real_path(name) : real_path(dir) + "/" +
                                                                 name.substr(name.rfind('/') + 1);
    if (real.compare(0, root.size(), root) != 0 ||
        (real.size() > root.size() && real[root.size()] != '/')) {
      chooser->setFooter(GUI_MSG("Enter a file or directory under the workspace"));
      return;
    }
    candidates.push_back(real);
  }
  for (const std::string &path : chooser->getSelectedPaths()) candidates.push_back(path);
  if (candidates.empty()) {
    chooser->setFooter(GUI_MSG("Select files or enter a file in the Name field"));
    return;
  }
  add_candidates(candidates, current_data()->file_list, [&root](const std::string &path) {
    std::string rel = path.size() > root.size() ? path.substr(root.size() + 1) : ".";
    struct stat st;
    if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) rel += "/";
    return rel;
  });
}

void trans_add_flps_callback(GfileChooser *chooser, void *) {
  std::vector<std::string> candidates;
  std::string name = name_field_path(chooser);
  if (!name.empty()) candidates.push_back(name);
  for (const std::string &path : chooser->getSelectedPaths()) candidates.push_back(path);
  if (candidates.empty()) {
    chooser->setFooter(GUI_MSG("Select files or enter a file in the Name field"));
    return;
  }
  for (const std::string &path : candidates) {
    struct stat st;
    if (!exists(path, &st) || !S_ISREG(st.st_mode) || access(path.c_str(), X_OK) != 0) {
      chooser->setFooter(GUI_MSG("FLP's must be executable files"));
      return;
    }
  }
  add_candidates(candidates, current_data()->flp_list, [](const std::string &path) { return path; });
}

void trans_add_button() {
  const int putback = get_trans_category() == KES_GUI_PUTBACK;
  char *text = get_source_ws_dir();
  std::string source = text;
  free(text);
  struct stat st;
  if (source.empty() || !exists(source, &st) || !S_ISDIR(st.st_mode)) {
    trans_footer(putback
                     ? GUI_MSG("Enter a valid Child Workspace in the Child Workspace Directory field")
                     : GUI_MSG("Enter a valid Parent Workspace in the Parent Workspace Directory field"));
    return;
  }
  char why[1200];
  if (!accessible_dir(source.c_str(), why, sizeof why)) {
    trans_error_dialog(why);
    return;
  }
  const int programs = file_list_mode() == 1;
  Kes_gui *gui = get_gui();
  GfileChooser *chooser = programs ? static_cast<GfileChooser *>(gui->get_add_flp_chooser())
                                   : static_cast<GfileChooser *>(gui->get_add_files_chooser());
  const std::string &loaded = programs ? gui->get_add_flp_chooser()->getWsDirectory()
                                       : gui->get_add_files_chooser()->getWsDirectory();
  std::string real = real_path(source);
  int load = loaded.empty();
  if (!load && loaded != real) {
    char question[3400];
    snprintf(question, sizeof question,
             putback ? GUI_MSG("Child Workspace Directory has been changed from %s to %s.\nIs it "
                               "ok to load %s into the chooser ?")
                     : GUI_MSG("Parent Workspace Directory has been changed from %s to %s.\nIs it "
                               "ok to load %s into the chooser ?"),
             loaded.c_str(), source.c_str(), source.c_str());
    load = trans_question(question);
  }
  chooser->popup();
  if (load) {
    char footer[1200];
    snprintf(footer, sizeof footer, GUI_MSG("Loading %s ..."), source.c_str());
    chooser->setFooter(footer);
    if (programs)
      gui->get_add_flp_chooser()->setWsDirectory(source.c_str());
    else
      gui->get_add_files_chooser()->setWsDirectory(source.c_str());
  }
  gui_trace_places(chooser->getDialog()->shell);
}
