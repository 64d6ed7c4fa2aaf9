// ws_props_shell_c, "Workspace Properties", with its five pages: access
// control, putback validation, notification, description and freezepointing.
// Each page is read from its metadata file when shown and written back through
// the engine's class for that file, under the file's lock.
#include <Xm/List.h>
#include <Xm/PushB.h>
#include <Xm/ToggleB.h>
#include <Xm/Xm.h>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "gui/kes_canvas.h"
#include "gui/kes_graph.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_stubs.h"
#include "gui/shells/form_dialog.h"
#include "gui/shells/ws_ops.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "workspace/kes_access.h"
#include "workspace/kes_md_description.h"
#include "workspace/kes_md_freezept_control.h"
#include "workspace/kes_md_putback_validation.h"
#include "workspace/kes_notify.h"
#include "workspace/kes_workspace.h"

enum Kes_gui_wsp_category_enum {
  KES_WSP_ACCESS = 0,
  KES_WSP_NOTIFY = 1,
  KES_WSP_DESCRIPTION = 2,
  KES_WSP_PBVAL = 3,
  KES_WSP_AUTOFR = 4,
};

namespace {

const char *const kOperations[] = {"bringover-from", "bringover-to",     "putback-from",
                                   "putback-to",     "undo",             "workspace-delete",
                                   "workspace-move", "workspace-reparent",
                                   "workspace-reparent-to"};
const char *const kOperationLabels[] = {
    "Bringover-From",   "Bringover-To",   "Putback-From",       "Putback-To",           "Undo",
    "Workspace-Delete", "Workspace-Move", "Workspace-Reparent", "Workspace-Reparent-To"};
const char *const kFreezeLabels[] = {"Before bringover:", "After bringover:", "Before putback:",
                                     "After putback:",    "Before undo:",     "After undo:",
                                     "Before resolve:",   "After resolve:"};
int Kes_autofr::*const kFreezeFields[] = {
    &Kes_autofr::before_br,   &Kes_autofr::after_br,   &Kes_autofr::before_pb,
    &Kes_autofr::after_pb,    &Kes_autofr::before_undo, &Kes_autofr::after_undo,
    &Kes_autofr::before_res,  &Kes_autofr::after_res};

std::vector<std::string> words_of(const std::string &text) {
  std::vector<std::string> out;
  std::istringstream in(text);
  std::string w;
  while (in >> w) out.push_back(w);
  return out;
}

std::string join(Kes_strlist *list) {
  std::string out;
  if (!list) return out;
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
    out += std::string(out.empty() ? "" : " ") + static_cast<char *>(e->data);
  return out;
}

Kes_strlist *strlist(const std::vector<std::string> &words) {
  auto *l = new Kes_strlist;
  for (const std::string &w : words) l->add_new_copy(const_cast<char *>(w.c_str()));
  return l;
}

void set_items(Widget list, const std::vector<std::string> &items, int keep) {
  XmListDeleteAllItems(list);
  for (const std::string &i : items) {
    XmString s = XmStringCreateLocalized(const_cast<char *>(i.c_str()));
    XmListAddItemUnselected(list, s, 0);
    XmStringFree(s);
  }
  if (keep > 0 && keep <= static_cast<int>(items.size())) XmListSelectPos(list, keep, False);
}

int selected_pos(Widget list) {
  int *pos = nullptr, n = 0, out = 0;
  if (XmListGetSelectedPos(list, &pos, &n) && n > 0) out = pos[0];
  XtFree(reinterpret_cast<char *>(pos));
  return out;
}

// Checks the entries of one access row: users must exist, nothing twice.
std::string check_access_words(const std::vector<std::string> &words) {
  char text[1024];
  for (size_t i = 0; i < words.size(); i++) {
    std::string w = words[i];
    std::string bare = w[0] == '-' ? w.substr(1) : w;
    for (size_t j = 0; j < i; j++) {
      if (words[j] != w) continue;
      if (bare[0] == '@')
        snprintf(text, sizeof text, GUI_MSG("The netgroup: %s%s is already in the list."),
                 w[0] == '-' ? "-" : "", bare.c_str());
      else
        snprintf(text, sizeof text, GUI_MSG("The user: %s is already in the list."), w.c_str());
      return text;
    }
    if (!bare.empty() && bare[0] != '@' && !getpwnam(bare.c_str())) {
      snprintf(text, sizeof text, GUI_MSG("The user: %s does not exist."), bare.c_str());
      return text;
    }
  }
  return "";
}

}  // namespace

class ws_props_shell_c : public form_dialog_c {
public:
  ws_props_shell_c()
      : form_dialog_c("ws_props_shell", GUI_MSG("Lathe Weaving: Workspace Properties"),
                      "wsprops") {
    ws_field = add_field("ws_props_ws", GUI_MSG("Workspace:"), 1);
    XtAddCallback(ws_field, XmNactivateCallback, ws_activate, this);
    const char *tabs[] = {GUI_MSG("Access Control"), GUI_MSG("Putback Validation"),
                          GUI_MSG("Notification"), GUI_MSG("Description"),
                          GUI_MSG("Freezepointing")};
    add_radio("tabs", "", tabs, 5, tab);
    for (Widget w : tab) XtAddCallback(w, XmNvalueChangedCallback, tab_callback, this);

    page[KES_WSP_ACCESS] = begin_page("access_page");
    access_list = add_list("access_list", 9, 1);
    XtVaSetValues(access_list, XtVaTypedArg, XmNfontList, XmRString, "fixed", 6, nullptr);
    XtAddCallback(access_list, XmNbrowseSelectionCallback, access_pick, this);
    access_entry = add_field("access_entry", GUI_MSG("Entries:"));
    Widget row = add_row("access_buttons", GUI_MSG("@ = Netgroup     - = Access Denied "));
    add_action(row, "access_edit", GUI_MSG("Edit..."), 0);
    add_action(row, "access_load", GUI_MSG("Load"), 1);

    page[KES_WSP_NOTIFY] = begin_page("notify_page");
    notify_list = add_list("notify_list", 6, 1);
    XtAddCallback(notify_list, XmNbrowseSelectionCallback, notify_pick, this);
    notify_addr = add_field("notify_addr", GUI_MSG("Address:"));
    notify_events = add_field("notify_events", GUI_MSG("Events:"));
    notify_files = add_field("notify_files", GUI_MSG("Files:"));
    row = add_row("notify_buttons", "");
    add_action(row, "notify_create", GUI_MSG("Create Entry..."), 2);
    add_action(row, "notify_edit", GUI_MSG("Edit Entry..."), 3);
    add_action(row, "notify_delete", GUI_MSG("Delete"), 4);
    add_action(row, "notify_load", GUI_MSG("Load"), 5);

    page[KES_WSP_DESCRIPTION] = begin_page("description_page");
    desc_name = add_field("desc_name", GUI_MSG("Name:"));
    add_label("desc_label", GUI_MSG("Description:"));
    desc_text = add_text("desc_text", 5, 1);

    page[KES_WSP_PBVAL] = begin_page("pbval_page");
    const char *onoff[] = {GUI_MSG("On"), GUI_MSG("Off")};
    add_radio("pbval_on", GUI_MSG("Putback Validation:"), onoff, 2, pb_on);
    const char *yesno[] = {GUI_MSG("Yes"), GUI_MSG("No")};
    add_radio("pbval_over", GUI_MSG("Override Access Control:"), yesno, 2, pb_over);
    const char *approval[] = {GUI_MSG("Approved Automatically"),
                              GUI_MSG("Approved by Validation Program")};
    add_radio("pbval_auto", GUI_MSG("Putback Approval:"), approval, 2, pb_auto);
    pb_prog = add_field("pbval_prog", GUI_MSG("Validation Program:"));

    page[KES_WSP_AUTOFR] = begin_page("autofr_page");
    for (int i = 0; i < 8; i++)
      add_radio((std::string("autofr_") + std::to_string(i)).c_str(), GUI_MSG(kFreezeLabels[i]),
                yesno, 2, freeze[i]);
    into = work;
    const char *buttons[] = {"OK", "Apply", "Reset", "Cancel", "Help"};
    add_buttons(buttons, 5);
    show_page(page[KES_WSP_ACCESS]);
  }

  Widget ws_field, tab[5], page[5];
  Widget access_list, access_entry;
  Widget notify_list, notify_addr, notify_events, notify_files;
  Widget desc_name, desc_text;
  Widget pb_on[2], pb_over[2], pb_auto[2], pb_prog;
  Widget freeze[8][2];
  std::unique_ptr<Kes_workspace> ws;
  std::string ws_text;
  std::vector<std::string> access_values;  // per operation, blank separated
  std::unique_ptr<Kes_notifylist> notes;

  int current() const {
    // The tabs' order on the screen differs from the categories' numbers.
    static const int kCategory[] = {KES_WSP_ACCESS, KES_WSP_PBVAL, KES_WSP_NOTIFY,
                                    KES_WSP_DESCRIPTION, KES_WSP_AUTOFR};
    int t = radio_index(tab, 5);
    return kCategory[t < 0 ? 0 : t];
  }

  void report(Kes_err *err) {
    gui_issue_errdialog(err->text);
    delete err;
  }

  // The workspace field: made absolute and opened.
  int change_wsdir() {
    std::string path = absolute_path(text_of(ws_field));
    if (path.empty()) {
      set_footer(GUI_MSG("Please specify a workspace in the Workspace textfield"));
      return 0;
    }
    set_text(ws_field, path.c_str());
    Kes_err *err = nullptr;
    std::unique_ptr<Kes_workspace> w(new Kes_workspace(path.c_str(), &err));
    delete err;
    if (!w->exists()) {
      char text[1200];
      snprintf(text, sizeof text, GUI_MSG("Workspace: %s does not exist"), path.c_str());
      gui_issue_errdialog(text);
      ws.reset();
      XmListDeleteAllItems(access_list);
      XmListDeleteAllItems(notify_list);
      return 0;
    }
    ws = std::move(w);
    ws_text = path;
    return 1;
  }

  // change_category: the page rebuilt from its file.
  void load_page() {
    if (!ws) return;
    switch (current()) {
      case KES_WSP_ACCESS: load_access(); break;
      case KES_WSP_NOTIFY: load_notify(); break;
      case KES_WSP_DESCRIPTION: load_description(); break;
      case KES_WSP_PBVAL: load_pbval(); break;
      case KES_WSP_AUTOFR: load_autofr(); break;
    }
  }

  void load_access() {
    Kes_accesslist *list = nullptr;
    if (Kes_err *err = ws->get_accesslist(&list)) report(err);
    std::unique_ptr<Kes_accesslist> owner(list);
    access_values.clear();
    std::vector<std::string> rows;
    for (int i = 0; i < 9; i++) {
      Kes_access *a = list ? list->find_operation(kOperations[i]) : nullptr;
      std::unique_ptr<Kes_access> def(a ? nullptr : kes_acl_get_default(ws.get(), kOperations[i]));
      access_values.push_back(join(a ? a->values : def ? def->values : nullptr));
      char row[1200];
      snprintf(row, sizeof row, "%-24s %s", GUI_MSG(kOperationLabels[i]),
               access_values.back().c_str());
      rows.push_back(row);
    }
    int keep = selected_pos(access_list);
    set_items(access_list, rows, keep);
    set_text(access_entry, keep ? access_values[keep - 1].c_str() : "");
  }

  void access_edit() {
    int pos = selected_pos(access_list);
    if (!pos) {
      set_footer(GUI_MSG("No item is selected - please select an access control entry."));
      return;
    }
    std::vector<std::string> words = words_of(text_of(access_entry));
    std::string why = check_access_words(words);
    if (!why.empty()) {
      set_footer(why.c_str());
      return;
    }
    std::string v;
    for (const std::string &w : words) v += (v.empty() ? "" : " ") + w;
    access_values[pos - 1] = v;
    char row[1200];
    snprintf(row, sizeof row, "%-24s %s", GUI_MSG(kOperationLabels[pos - 1]), v.c_str());
    XmString s = XmStringCreateLocalized(row);
    XmListReplaceItemsPos(access_list, &s, 1, pos);
    XmListSelectPos(access_list, pos, False);
    XmStringFree(s);
    set_footer(nullptr);
  }

  void load_notify() {
    Kes_notifylist *list = nullptr;
    if (Kes_err *err = ws->get_notifications(nullptr, &list)) report(err);
    notes.reset(list ? list : new Kes_notifylist);
    show_notes(selected_pos(notify_list));
  }

  void show_notes(int keep) {
    std::vector<std::string> rows;
    for (Kes_listelem *e = notes->head.next; e != &notes->head; e = e->next) {
      auto *n = static_cast<Kes_notify *>(e->data);
      std::string row = std::string(n->email_addr ? n->email_addr : "") + ": " + join(n->events);
      if (n->files && n->files->count) row += " [" + join(n->files) + "]";
      rows.push_back(row);
    }
    set_items(notify_list, rows, keep);
  }

  // An entry from the three fields, or null with the footer saying why.
  Kes_notify *notify_from_fields() {
    std::vector<std::string> events = words_of(text_of(notify_events));
    std::vector<std::string> files = words_of(text_of(notify_files));
    std::string addr = text_of(notify_addr);
    std::vector<std::string> a = words_of(addr);
    char text[1200];
    if (a.size() != 1 || events.empty()) {
      set_footer(GUI_MSG("An entry needs one address and at least one event."));
      return nullptr;
    }
    for (const std::string &ev : events) {
      if (!check_event_entry(ev.c_str())) {
        snprintf(text, sizeof text, GUI_MSG("The event: %s is not known."), ev.c_str());
        set_footer(text);
        return nullptr;
      }
    }
    for (size_t i = 0; i < files.size(); i++) {
      struct stat st;
      if (stat((ws_text + "/" + files[i]).c_str(), &st) != 0) {
        snprintf(text, sizeof text, GUI_MSG("The file: %s does not exist."), files[i].c_str());
        set_footer(text);
        return nullptr;
      }
      for (size_t j = 0; j < i; j++)
        if (files[j] == files[i]) {
          snprintf(text, sizeof text, GUI_MSG("The file: %s is already in the list."),
                   files[i].c_str());
          set_footer(text);
          return nullptr;
        }
    }
    auto *n = new Kes_notify;
    n->set_emailaddr(a[0].c_str());
    delete n->events;
    n->events = strlist(events);
    n->files = files.empty() ? nullptr : strlist(files);
    return n;
  }

  void notify_action(int action) {
    if (!notes) return;
    if (action == 5) {
      load_notify();
      return;
    }
    int pos = selected_pos(notify_list);
    if (action == 4 || action == 3) {
      if (!pos) {
        set_footer(action == 4 ? GUI_MSG("No items are selected to delete")
                               : GUI_MSG("No item is selected - please select an entry."));
        return;
      }
    }
    Kes_listelem *at = notes->head.next;
    for (int i = 1; i < pos; i++) at = at->next;
    if (action == 4) {
      notes->delete_elem(at);
      show_notes(0);
      set_footer(nullptr);
      return;
    }
    Kes_notify *n = notify_from_fields();
    if (!n) return;
    if (action == 3) {
      notes->delete_data(at->data);  // the edited entry keeps its place
      at->data = n;
    } else {
      notes->add_new_data(n);
      pos = notes->count;
    }
    show_notes(pos);
    set_footer(nullptr);
  }

  void load_description() {
    Kes_strlist *lines = nullptr;
    Kes_description d;
    Kes_err *err = ws->get_description(&lines);
    if (!err) err = d.init_description(lines);
    delete lines;
    if (err) report(err);
    set_text(desc_name, d.name);
    set_text(desc_text, d.text);
  }

  void load_pbval() {
    Kes_pbval *v = nullptr;
    if (Kes_err *err = ws->get_pbval(&v)) report(err);
    std::unique_ptr<Kes_pbval> owner(v ? v : new Kes_pbval);
    set_radio(pb_on, 2, owner->on ? 0 : 1);
    set_radio(pb_over, 2, owner->over ? 0 : 1);
    set_radio(pb_auto, 2, owner->auto_ ? 0 : 1);
    set_text(pb_prog, owner->prog);
  }

  void load_autofr() {
    Kes_autofr *v = nullptr;
    if (Kes_err *err = ws->get_autofr(&v)) report(err);
    std::unique_ptr<Kes_autofr> owner(v ? v : new Kes_autofr);
    for (int i = 0; i < 8; i++) set_radio(freeze[i], 2, owner.get()->*kFreezeFields[i] ? 0 : 1);
  }

  // A file that is there and cannot be written is refused before anything.
  int writable(Kes_metadata *md) {
    if (access(md->fullname, F_OK) != 0 || access(md->fullname, W_OK) == 0) return 1;
    char text[1200];
    snprintf(text, sizeof text, GUI_MSG("Unable to write into file %s.\nCheck permissions."),
             md->fullname);
    gui_issue_errdialog(text);
    return 0;
  }

  Kes_err *save_access(Kes_md_access *md) {
    Kes_err *err = nullptr;
    if (!md->exists()) err = md->create_default_file(VCS_SCCS);
    if (!err) err = md->lock();
    if (err) return err;
    Kes_accesslist list;
    err = md->get_contents(&list);
    for (int i = 0; !err && i < 9; i++) {
      Kes_strlist *values = strlist(words_of(access_values[i]));
      if (Kes_access *a = list.find_operation(kOperations[i]))
        a->set_values(values);
      else
        list.add_new_data(new Kes_access(nullptr, kOperations[i], values));
    }
    if (!err) err = md->put_contents(&list);
    md->unlock();
    return err;
  }

  Kes_err *save_notify(Kes_md_notify *md) {
    Kes_err *err = md->exists() ? nullptr : md->create_default_file();
    if (!err) err = md->lock();
    if (err) return err;
    err = md->put_contents(notes.get());
    md->unlock();
    return err;
  }

  Kes_err *save_description(Kes_md_description *md) {
    Kes_description d;
    std::string name = text_of(desc_name), text = text_of(desc_text);
    if (!name.empty()) d.name = strdup(name.c_str());
    if (!text.empty()) {
      if (text.back() != '\n') text += '\n';
      d.text = strdup(text.c_str());
    }
    if (!ok_for_write(md))
      return (new Kes_err)->format_msg(2070, 0, "%s", md->fullname);
    Kes_err *err = md->lock();
    if (err) return err;
    Kes_strlist lines;
    lines.add_new_data(d.make_description_line());
    err = md->put_contents(&lines);
    md->unlock();
    // A loaded node shows the new name at once.
    if (!err)
      if (Kes_graph_node *node = get_gui()->get_canvas()->kes_find_node(ws.get()))
        node->set_descname(d.name);
    return err;
  }

  Kes_err *save_pbval(Kes_md_pbval *md) {
    std::string prog = text_of(pb_prog);
    Kes_pbval v(radio_index(pb_on, 2) == 0, radio_index(pb_over, 2) == 0,
                radio_index(pb_auto, 2) == 0, prog.empty() ? nullptr : prog.c_str());
    Kes_err *err = md->lock();
    if (err) return err;
    err = md->save(&v);
    md->unlock();
    return err;
  }

  Kes_err *save_autofr(Kes_md_autofr *md) {
    Kes_autofr v;
    for (int i = 0; i < 8; i++) {
      int r = radio_index(freeze[i], 2);
      if (r < 0) {
        gui_issue_errdialog(GUI_MSG("Internal error: Can't set autofreezepoint properties."));
        return (new Kes_err)->format_msg(2070, 0, "%s", md->fullname);
      }
      v.*kFreezeFields[i] = r == 0;
    }
    Kes_err *err = md->lock();
    if (err) return err;
    err = md->save(&v);
    md->unlock();
    return err;
  }

  // One of the workspace's metadata factories, into a base pointer.
  template <class T>
  Kes_err *get_md(Kes_err *(Kes_workspace::*factory)(T **), Kes_metadata **out) {
    T *md = nullptr;
    Kes_err *err = (ws.get()->*factory)(&md);
    *out = md;
    return err;
  }

  // Writes the visible page; 1 on success.
  int save_page() {
    static const char *const ok_texts[] = {
        "Access entries saved to %s", "Notification entries saved to %s",
        "Workspace description saved to %s", "Putback validation properties saved to %s",
        "Autofreezepoint properties saved to %s"};
    static const char *const fail_texts[] = {
        "Writing of access entries failed in %s", "Writing of notification entries to %s failed",
        "Writing of descriptive workspace name to %s failed",
        "Writing of putback validation properties to %s failed",
        "Writing of autofreezepoint properties to %s failed"};
    if (!ws) {
      set_footer(GUI_MSG("Please specify a workspace in the Workspace textfield"));
      return 0;
    }
    const int cat = current();
    Kes_metadata *md = nullptr;
    Kes_err *err = nullptr;
    switch (cat) {
      case KES_WSP_ACCESS: err = get_md(&Kes_workspace::get_md_access, &md); break;
      case KES_WSP_NOTIFY: err = get_md(&Kes_workspace::get_md_notify, &md); break;
      case KES_WSP_DESCRIPTION: err = get_md(&Kes_workspace::get_md_description, &md); break;
      case KES_WSP_PBVAL: err = get_md(&Kes_workspace::get_md_pbval, &md); break;
      case KES_WSP_AUTOFR: err = get_md(&Kes_workspace::get_md_autofr, &md); break;
    }
    std::unique_ptr<Kes_metadata> owner(md);
    char text[1200];
    if (!err && !writable(md)) {
      snprintf(text, sizeof text, GUI_MSG(fail_texts[cat]), md->fullname);
      set_footer(text);
      return 0;
    }
    if (!err) {
      switch (cat) {
        case KES_WSP_ACCESS: err = save_access(static_cast<Kes_md_access *>(md)); break;
        case KES_WSP_NOTIFY: err = save_notify(static_cast<Kes_md_notify *>(md)); break;
        case KES_WSP_DESCRIPTION:
          err = save_description(static_cast<Kes_md_description *>(md));
          break;
        case KES_WSP_PBVAL: err = save_pbval(static_cast<Kes_md_pbval *>(md)); break;
        case KES_WSP_AUTOFR: err = save_autofr(static_cast<Kes_md_autofr *>(md)); break;
      }
    }
    const char *where = md ? md->fullname : ws_text.c_str();
    if (err) {
      report(err);
      snprintf(text, sizeof text, GUI_MSG(fail_texts[cat]), where);
      set_footer(text);
      return 0;
    }
    snprintf(text, sizeof text, GUI_MSG(ok_texts[cat]), where);
    set_footer(text);
    return 1;
  }

  void action(int n) override {
    if (!ws) return;
    if (n == 0) access_edit();
    if (n == 1) load_access();
    if (n >= 2) notify_action(n);
  }

  void button(int index) override {
    if (index == 0 || index == 1) {
      if (save_page() && index == 0) hide();
      return;
    }
    load_page();  // Reset and Cancel put the file's values back
    if (index == 3) {
      ws.reset();
      hide();
    }
  }

  void open(const std::string &path) {
    set_text(ws_field, path.c_str());
    set_footer(nullptr);
    if (change_wsdir()) load_page();
  }

  static void ws_activate(Widget, XtPointer client, XtPointer) {
    auto *self = static_cast<ws_props_shell_c *>(client);
    self->open(text_of(self->ws_field));
  }
  static void tab_callback(Widget w, XtPointer client, XtPointer) {
    auto *self = static_cast<ws_props_shell_c *>(client);
    if (!XmToggleButtonGetState(w)) return;
    self->show_page(self->page[self->current()]);
    self->load_page();
  }
  static void access_pick(Widget, XtPointer client, XtPointer) {
    auto *self = static_cast<ws_props_shell_c *>(client);
    int pos = selected_pos(self->access_list);
    if (pos) set_text(self->access_entry, self->access_values[pos - 1].c_str());
  }
  static void notify_pick(Widget, XtPointer client, XtPointer) {
    auto *self = static_cast<ws_props_shell_c *>(client);
    int pos = selected_pos(self->notify_list);
    Kes_listelem *e = self->notes->head.next;
    for (int i = 1; i < pos; i++) e = e->next;
    auto *n = static_cast<Kes_notify *>(e->data);
    set_text(self->notify_addr, n->email_addr);
    set_text(self->notify_events, join(n->events).c_str());
    set_text(self->notify_files, join(n->files).c_str());
  }
};

namespace {
ws_props_shell_c *ws_props;
}

void gui_stubs_ws_props() {
  if (!ws_props) ws_props = new ws_props_shell_c;
  ws_props->show();
  std::string sel = selected_ws_path();
  ws_props->open(sel.empty() ? ws_props->ws_text : sel);
}
