// Kes_gui_browser_dlg, "History Viewer": a workspace's history log, one line
// per record, with a filter row, the selected record's details, the options
// dialog (Kes_gui_options_dlg) and the two find dialogs (Kes_gui_findcmt_dlg,
// Kes_gui_findlog_dlg).  Read only.
#include <Xm/List.h>
#include <Xm/PushB.h>
#include <Xm/RowColumn.h>
#include <Xm/MessageB.h>
#include <Xm/Text.h>
#include <Xm/TextF.h>
#include <Xm/ToggleB.h>
#include <Xm/Xm.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <memory>
#include <string>
#include <vector>

#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_props.h"
#include "gui/kes_gui_stubs.h"
#include "gui/shells/form_dialog.h"
#include "gui/shells/ws_ops.h"
#include "toolkit/modal_dialog.h"
#include "util/kes_err.h"
#include "workspace/kes_history.h"
#include "workspace/kes_workspace.h"

namespace {

enum { TIME, OPERATION, USER, HOST, RELEASE, STATUS, COLUMNS };
const char *const kCaptions[] = {"Time", "Operation", "User", "Host", "FM Release", "Status"};
const int kWidths[] = {35, 15, 10, 10, 14, 14};
const char *const kOptionLabels[] = {"Time", "Operation", "User", "Host", "FM Release",
                                     "Exit Status"};

char *Kes_history::*const kFields[] = {&Kes_history::start_local, &Kes_history::command_name,
                                       &Kes_history::user,        &Kes_history::host,
                                       &Kes_history::release,     &Kes_history::status};

int sort_column;

// strcmp of the sort column; a record without a value goes behind.
int compare_records(const void *a, const void *b) {
  const char *x = (*static_cast<Kes_history *const *>(a))->*kFields[sort_column];
  const char *y = (*static_cast<Kes_history *const *>(b))->*kFields[sort_column];
  if (!x) return 1;
  if (!y) return -1;
  return strcmp(x, y);
}

// The exit status as a word, by the operation's meaning of its numbers.
const char *status_word(const char *operation, const char *status) {
  if (!status) return nullptr;
  if (operation && (strncasecmp(operation, "bringover", 9) == 0 ||
                    strncasecmp(operation, "ws_undo", 7) == 0)) {
    if (strcmp(status, "4") == 0) return "Conflicts";
  } else if (operation && strncasecmp(operation, "putback", 7) == 0) {
    if (strcmp(status, "2") == 0 || strcmp(status, "3") == 0) return "Blocked";
    if (strcmp(status, "4") == 0) return "Conflicts";
  }
  return strcmp(status, "0") == 0 ? "Success" : "Failure";
}

std::wstring wide(const char *text) {
  std::wstring out;
  if (!text) return out;
  size_t n = mbstowcs(nullptr, text, 0);
  if (n == static_cast<size_t>(-1)) {
    for (const char *p = text; *p; p++) out += static_cast<wchar_t>(static_cast<unsigned char>(*p));
    return out;
  }
  out.resize(n);
  mbstowcs(&out[0], text, n);
  return out;
}

void fixed_font(Widget w) {
  XtVaSetValues(w, XtVaTypedArg, XmNfontList, XmRString, "fixed", 6, nullptr);
}

void info_box(const char *title, const char *text) {
  show_message(get_main_shell()->app_shell, title, text, MODAL_INFORMATION | MODAL_OK);
}

}  // namespace

class Kes_gui_browser_dlg;

// The two find dialogs differ only in the text they search.
class Kes_gui_find_dlg : public form_dialog_c {
public:
  Kes_gui_find_dlg(const char *name, const char *title, int in_log, Kes_gui_browser_dlg *b)
      : form_dialog_c(name, title, "history"), title_(title), in_log_(in_log), browser(b) {
    needle = add_field("find_string", GUI_MSG("Enter Search String:"));
    Widget row = add_row("find_options", "");
    case_tgl = add_toggle(row, "case_sensitive", GUI_MSG("Case Sensitive"));
    back_tgl = add_toggle(row, "backwards", GUI_MSG("Backwards"));
    const char *buttons[] = {"Find Next", "Cancel"};
    add_buttons(buttons, 2);
  }
  void button(int index) override;
  Widget needle, case_tgl, back_tgl;

private:
  std::string title_;
  int in_log_;
  Kes_gui_browser_dlg *browser;
};

class Kes_gui_options_dlg : public form_dialog_c {
public:
  explicit Kes_gui_options_dlg(Kes_gui_browser_dlg *b)
      : form_dialog_c("options_dlg", GUI_MSG("History Viewer Options"), "history"), browser(b) {
    Widget display = add_row("display_row", GUI_MSG("Display:"));
    const char *labels[COLUMNS];
    for (int i = 0; i < COLUMNS; i++) {
      labels[i] = GUI_MSG(kOptionLabels[i]);
      show_tgl[i] = add_toggle(display, ("show_" + std::to_string(i)).c_str(), labels[i]);
    }
    add_radio("sort", GUI_MSG("Sort By:"), labels, COLUMNS, sort);
    Widget filters = add_row("filter_row", GUI_MSG("Filter:"));
    for (int i = 0; i < 5; i++)
      filter[i] = add_toggle(filters, ("filter_" + std::to_string(i)).c_str(), labels[i + 1]);
    const char *buttons[] = {"OK", "Apply", "Cancel", "Help"};
    add_buttons(buttons, 4);
  }
  void button(int index) override;
  void load();
  Widget show_tgl[COLUMNS], sort[COLUMNS], filter[5];

private:
  Kes_gui_browser_dlg *browser;
};

class Kes_gui_browser_dlg : public form_dialog_c {
public:
  Kes_gui_browser_dlg()
      : form_dialog_c("browser_dlg", GUI_MSG("Lathe Weaving: History Viewer"), "history") {
    Widget menus = add_row("menus", "");
    add_action(menus, "options_btn", GUI_MSG("Options..."), 0);
    find_cmt_btn = add_action(menus, "find_cmt_btn", GUI_MSG("Search Comments..."), 1);
    find_log_btn = add_action(menus, "find_log_btn", GUI_MSG("Search Command Log..."), 2);
    ws_path = add_field("ws_path", GUI_MSG("Workspace:"), 1);
    XtAddCallback(ws_path, XmNactivateCallback, ws_activate, this);
    entry_label = add_label("entry_label", "");
    fixed_font(entry_label);
    entry_list = add_list("entry_list", 10, 1);
    fixed_font(entry_list);
    XtAddCallback(entry_list, XmNbrowseSelectionCallback, entry_list_browse_selection, this);
    Widget frow = add_row("filter_row", "");
    apply_filter_btn = add_action(frow, "apply_filter_btn", GUI_MSG("Apply Filter"), 3);
    const char *names[] = {"Operation", "User", "Host", "Release", "Exit Status"};
    for (int i = 0; i < 5; i++) {
      filter_tgl[i] = add_toggle(frow, ("filter_tgl_" + std::to_string(i)).c_str(),
                                 GUI_MSG(names[i]));
      filter_value[i] = XtVaCreateManagedWidget(("filter_value_" + std::to_string(i)).c_str(),
                                                xmTextFieldWidgetClass, frow, XmNcolumns, 9,
                                                nullptr);
      XtAddCallback(filter_tgl[i], XmNvalueChangedCallback, filter_changed, this);
      XtAddCallback(filter_value[i], XmNvalueChangedCallback, filter_changed, this);
    }
    Widget srow = add_row("sections", "");
    const char *sections[] = {"Transaction Details", "Comments", "Command Log"};
    for (int i = 0; i < 3; i++) {
      section_tgl[i] = add_toggle(srow, ("section_" + std::to_string(i)).c_str(),
                                  GUI_MSG(sections[i]));
      XmToggleButtonSetState(section_tgl[i], True, False);
      XtAddCallback(section_tgl[i], XmNvalueChangedCallback, section_changed, this);
    }
    section[0] = into = XtVaCreateManagedWidget("details_form", xmRowColumnWidgetClass, work,
                                                 XmNorientation, XmVERTICAL, nullptr);
    const char *details[] = {"Start:", "End:", "Parent:", "Child:", "Directory:", "RTI:",
                             "FreezePoint file:"};
    for (int i = 0; i < 7; i++) detail[i] = add_label(("detail_" + std::to_string(i)).c_str(), "");
    for (int i = 0; i < 7; i++) detail_names[i] = details[i];
    section[1] = into = XtVaCreateManagedWidget("comments_form", xmRowColumnWidgetClass, work,
                                                 nullptr);
    comment_text = add_text("comment_text", 3, 0);
    section[2] = into = XtVaCreateManagedWidget("cmdlog_form", xmRowColumnWidgetClass, work,
                                                 nullptr);
    cmdlog_text = add_text("cmdlog_text", 4, 0);
    into = work;
    const char *buttons[] = {"Close", "Help"};
    add_buttons(buttons, 2);
    options = new Kes_gui_options_dlg(this);
    findcmt = new Kes_gui_find_dlg("findcmt_dlg", GUI_MSG("Search Comments"), 0, this);
    findlog = new Kes_gui_find_dlg("findlog_dlg", GUI_MSG("Search Command Log"), 1, this);
  }

  Widget find_cmt_btn, find_log_btn, ws_path, entry_label, entry_list, apply_filter_btn;
  Widget filter_tgl[5], filter_value[5], section_tgl[3], section[3], detail[7], comment_text,
      cmdlog_text;
  const char *detail_names[7];
  Kes_gui_options_dlg *options;
  Kes_gui_find_dlg *findcmt, *findlog;

  std::unique_ptr<Kes_md_history> history;
  std::unique_ptr<Kes_historylist> entries;
  std::vector<Kes_history *> visible;
  int show_col[COLUMNS] = {1, 1, 1, 1, 0, 1};
  int sort_col = 0;
  int filter_on[5] = {0, 0, 0, 0, 0};
  std::string filter_text[5];

  // The columns, sort and filters from the tool properties.
  void show_ws(const char *path) {
    Kes_gui_props *p = get_gui_props();
    int *shows[] = {&p->show_time, &p->show_operation, &p->show_user,
                    &p->show_host, &p->show_release,   &p->show_status};
    int *filters[] = {&p->filter_operation, &p->filter_user, &p->filter_host,
                      &p->filter_release, &p->filter_status};
    for (int i = 0; i < COLUMNS; i++) show_col[i] = *shows[i];
    sort_col = p->sort_option;
    for (int i = 0; i < 5; i++) set_filter_shown(i, *filters[i]);
    show();
    open_history(path);
  }

  // A filter that the options hide is cleared and leaves the row.
  void set_filter_shown(int i, int shown_now) {
    if (shown_now) {
      XtManageChild(filter_tgl[i]);
      XtManageChild(filter_value[i]);
      return;
    }
    XmToggleButtonSetState(filter_tgl[i], False, False);
    set_text(filter_value[i], "");
    filter_on[i] = 0;
    filter_text[i].clear();
    XtUnmanageChild(filter_tgl[i]);
    XtUnmanageChild(filter_value[i]);
  }

  void close_history() {
    history.reset();
    entries.reset();
    visible.clear();
    XmListDeleteAllItems(entry_list);
    for (Widget d : detail) set_label(d, "");
    set_text(comment_text, "");
    set_text(cmdlog_text, "");
    XtSetSensitive(find_cmt_btn, False);
    XtSetSensitive(find_log_btn, False);
  }

  void open_history(const char *path) {
    close_history();
    if (!path || !*path) {
      set_footer(GUI_MSG("Specify a workspace to view history."));
      set_text(ws_path, "");
      build_list_caption();
      return;
    }
    Kes_err *err = nullptr;
    Kes_workspace ws(path, &err);
    Kes_md_history *md = nullptr;
    if (!err) err = ws.get_md_history(&md);
    history.reset(md);
    entries.reset(new Kes_historylist);
    if (!err) err = md->get_contents(entries.get());
    if (err) {
      show_message(get_main_shell()->app_shell, GUI_MSG("Error"), err->text, MODAL_ERROR | MODAL_OK);
      delete err;
      entries.reset();
      history.reset();
      build_list_caption();
      return;
    }
    for (Kes_listelem *e = entries->head.next; e != &entries->head; e = e->next) {
      auto *h = static_cast<Kes_history *>(e->data);
      if (const char *word = status_word(h->command_name, h->status)) {
        free(h->status);
        h->status = strdup(word);
      }
    }
    set_text(ws_path, path);
    XtSetSensitive(find_cmt_btn, True);
    XtSetSensitive(find_log_btn, True);
    build_list_caption();
    build_list();
  }

  std::string line_of(Kes_history *h) {
    std::string out;
    char field[128];
    for (int i = 0; i < COLUMNS; i++) {
      if (!show_col[i]) continue;
      const char *v = h ? h->*kFields[i] : GUI_MSG(kCaptions[i]);
      snprintf(field, sizeof field, "%-*s ", kWidths[i], v ? v : "");
      out += field;
    }
    return out;
  }

  void build_list_caption() {
    std::string caption = line_of(nullptr);
    set_label(entry_label, caption.c_str());
    gui_debug("caption %s", caption.c_str());
  }

  int passes(Kes_history *h) {
    for (int i = 0; i < 5; i++) {
      if (!filter_on[i]) continue;
      const char *v = h->*kFields[i + 1];
      if (!v) return 0;
      if (i == 0) {
        if (strncasecmp(v, filter_text[i].c_str(), filter_text[i].size()) != 0) return 0;
      } else if (filter_text[i] != v) {
        return 0;
      }
    }
    return 1;
  }

  void build_list() {
    visible.clear();
    if (!entries) return;
    for (Kes_listelem *e = entries->head.next; e != &entries->head; e = e->next)
      if (passes(static_cast<Kes_history *>(e->data)))
        visible.push_back(static_cast<Kes_history *>(e->data));
    if (sort_col >= 1 && sort_col <= 5 && !visible.empty()) {
      sort_column = sort_col;
      qsort(visible.data(), visible.size(), sizeof visible[0], compare_records);
    }
    XmListDeleteAllItems(entry_list);
    for (Kes_history *h : visible) {
      std::string line = line_of(h);
      XmString s = XmStringCreateLocalized(const_cast<char *>(line.c_str()));
      XmListAddItemUnselected(entry_list, s, 0);
      XmStringFree(s);
      gui_debug("entry %s", line.c_str());
    }
    const int n = static_cast<int>(visible.size());
    char text[128];
    if (n == 0)
      snprintf(text, sizeof text, "%s", GUI_MSG("history contains no entries."));
    else
      snprintf(text, sizeof text, n == 1 ? GUI_MSG("%d entry selected.") : GUI_MSG("%d entries selected."), n);
    if (n) {
      XmListSetBottomPos(entry_list, n);
      XmListSelectPos(entry_list, n, True);  // the latest shows first
    }
    set_footer(text);
  }

  int selected() {
    int *pos = nullptr, n = 0, out = 0;
    if (XmListGetSelectedPos(entry_list, &pos, &n) && n > 0) out = pos[0];
    XtFree(reinterpret_cast<char *>(pos));
    return out;
  }

  void show_details(Kes_history *h) {
    const char *values[] = {h->start_local, h->end_local, h->parent_name, h->child_name,
                            h->cwd,         h->rti,       h->freezepoint_file};
    for (int i = 0; i < 7; i++) {
      std::string t = std::string(GUI_MSG(detail_names[i])) + " " + (values[i] ? values[i] : "");
      set_label(detail[i], t.c_str());
      XtSetSensitive(detail[i], values[i] != nullptr);
    }
    set_text(comment_text, h->comment);
    set_text(cmdlog_text, h->command_text);
    XtSetSensitive(comment_text, h->comment != nullptr);
    XtSetSensitive(cmdlog_text, h->command_text != nullptr);
  }

  // Searches the comments (in_log 0) or command logs, from the selection in
  // the current entry's text onwards, wrapping round the entries.
  int find_and_select(const std::string &needle_mb, int case_sensitive, int backwards,
                      int in_log) {
    const int n = static_cast<int>(visible.size());
    int start = selected();
    if (n == 0 || start == 0) return 0;
    std::wstring needle = wide(needle_mb.c_str());
    if (!case_sensitive)
      for (wchar_t &c : needle) c = towlower(c);
    if (backwards) std::reverse(needle.begin(), needle.end());
    Widget text = in_log ? cmdlog_text : comment_text;
    auto search = [&](Kes_history *h, size_t from, size_t *at) {
      std::wstring hay = wide(in_log ? h->command_text : h->comment);
      if (!case_sensitive)
        for (wchar_t &c : hay) c = towlower(c);
      if (backwards) std::reverse(hay.begin(), hay.end());
      size_t found = hay.find(needle, from);
      if (found == std::wstring::npos) return 0;
      *at = backwards ? hay.size() - found - needle.size() : found;
      return 1;
    };
    XmTextPosition left = 0, right = 0;
    size_t from = 0;
    if (XmTextGetSelectionPosition(text, &left, &right)) {
      const size_t len = wide(in_log ? visible[start - 1]->command_text
                                     : visible[start - 1]->comment).size();
      from = backwards ? len - left : right;
    }
    size_t at = 0;
    int pos = start;
    int found = search(visible[pos - 1], from, &at);
    while (!found) {
      pos = backwards ? (pos == 1 ? n : pos - 1) : (pos == n ? 1 : pos + 1);
      if (pos == start) return 0;
      found = search(visible[pos - 1], 0, &at);
    }
    if (pos != start) {
      XmListSetPos(entry_list, pos);
      XmListSelectPos(entry_list, pos, True);
    }
    XmTextSetSelection(text, at, at + needle.size(), CurrentTime);
    XmTextShowPosition(text, at);
    gui_debug("found %d %d", pos, static_cast<int>(at));
    return 1;
  }

  void apply_filter() {
    for (int i = 0; i < 5; i++) {
      filter_on[i] = XtIsManaged(filter_tgl[i]) && XmToggleButtonGetState(filter_tgl[i]);
      filter_text[i] = text_of(filter_value[i]);
    }
    XtSetSensitive(apply_filter_btn, False);
    build_list();
  }

  void action(int n) override {
    switch (n) {
      case 0: options->load(); options->show(); break;
      case 1: findcmt->show(); break;
      case 2: findlog->show(); break;
      case 3: apply_filter(); break;
    }
  }

  void button(int index) override {
    if (index == 0) {
      close_history();
      options->hide();
      findcmt->hide();
      findlog->hide();
      hide();
    }
  }

  static void ws_activate(Widget, XtPointer client, XtPointer) {
    auto *self = static_cast<Kes_gui_browser_dlg *>(client);
    std::string path = absolute_path(text_of(self->ws_path));
    char text[1200];
    struct stat st;
    if (stat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
      snprintf(text, sizeof text, GUI_MSG("Workspace \"%s\" does not exists."), path.c_str());
    } else if (!is_workspace_dir(path)) {
      snprintf(text, sizeof text, GUI_MSG("\"%s\" is not a workspace."), path.c_str());
    } else {
      gui_set_busy(1);
      self->open_history(path.c_str());
      gui_set_busy(0);
      return;
    }
    gui_issue_errdialog(text);
    self->set_footer(text);
  }
  static void entry_list_browse_selection(Widget, XtPointer client, XtPointer call) {
    auto *self = static_cast<Kes_gui_browser_dlg *>(client);
    int pos = static_cast<XmListCallbackStruct *>(call)->item_position;
    if (pos < 1 || pos > static_cast<int>(self->visible.size())) return;
    self->show_details(self->visible[pos - 1]);
    gui_debug("history selected %d", pos);
  }
  static void filter_changed(Widget, XtPointer client, XtPointer) {
    XtSetSensitive(static_cast<Kes_gui_browser_dlg *>(client)->apply_filter_btn, True);
  }
  static void section_changed(Widget w, XtPointer client, XtPointer) {
    auto *self = static_cast<Kes_gui_browser_dlg *>(client);
    for (int i = 0; i < 3; i++)
      if (self->section_tgl[i] == w) {
        if (XmToggleButtonGetState(w))
          XtManageChild(self->section[i]);
        else
          XtUnmanageChild(self->section[i]);
      }
  }
};

void Kes_gui_find_dlg::button(int index) {
  if (index == 1) {
    hide();
    return;
  }
  std::string s = text_of(needle);
  if (s.empty()) {
    info_box(title_.c_str(), GUI_MSG("Nothing to search for."));
    return;
  }
  if (!browser->find_and_select(s, XmToggleButtonGetState(case_tgl),
                                XmToggleButtonGetState(back_tgl), in_log_))
    info_box(title_.c_str(), GUI_MSG("Search string not found."));
}

void Kes_gui_options_dlg::load() {
  for (int i = 0; i < COLUMNS; i++) XmToggleButtonSetState(show_tgl[i], browser->show_col[i], False);
  set_radio(sort, COLUMNS, browser->sort_col);
  for (int i = 0; i < 5; i++)
    XmToggleButtonSetState(filter[i], XtIsManaged(browser->filter_tgl[i]), False);
}

void Kes_gui_options_dlg::button(int index) {
  if (index == 2) {
    hide();
    return;
  }
  int any = 0;
  for (Widget w : show_tgl) any |= XmToggleButtonGetState(w);
  if (!any) {
    gui_issue_errdialog(GUI_MSG("You must select at least one item to show"));
    return;
  }
  int changed_cols = 0;
  for (int i = 0; i < COLUMNS; i++) {
    int v = XmToggleButtonGetState(show_tgl[i]);
    changed_cols |= v != browser->show_col[i];
    browser->show_col[i] = v;
  }
  int new_sort = radio_index(sort, COLUMNS);
  const int changed_sort = new_sort != browser->sort_col;
  browser->sort_col = new_sort;
  for (int i = 0; i < 5; i++) browser->set_filter_shown(i, XmToggleButtonGetState(filter[i]));
  if (changed_cols) browser->build_list_caption();
  if (changed_cols || changed_sort) browser->build_list();
  if (index == 0) hide();
}

void gui_stubs_history_browser() {
  static Kes_gui_browser_dlg *dlg;
  if (!dlg) dlg = new Kes_gui_browser_dlg;
  std::string sel = selected_ws_path();
  dlg->show_ws(sel.empty() ? nullptr : sel.c_str());
}
