// The panels Kes_gui_bringover, Kes_gui_putback and Kes_gui_undo: reading
// their forms, checking them, building the command line, and what follows
// the run (conflicts, a blocked putback's bringover, the canvas).
#include <Xm/Text.h>
#include <Xm/ToggleB.h>
#include <Xm/Xm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "gui/kes_canvas.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_engine.h"
#include "gui/kes_gui_props.h"
#include "gui/kes_gui_trans.h"
#include "gui/kes_trans_forms.h"
#include "gui/shells/trans_shell.h"
#include "toolkit/modal_dialog.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_path.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"
#include "workspace/kes_md_putback_validation.h"
#include "workspace/kes_workspace.h"

namespace {

trans_files_form *form_of(Kes_gui_trans_kind kind) {
  trans_shell_c *t = get_trans_shell();
  if (!t || kind == KES_TRANS_UNDO) return nullptr;
  return kind == KES_TRANS_BRINGOVER ? &t->boc : &t->pb;
}

int toggled(Widget w) { return w && XmToggleButtonGetState(w); }

void set_toggle(Widget w, int on) {
  if (w) XmToggleButtonSetState(w, on ? True : False, False);
}

void set_label(Widget w, const char *text) {
  if (!w) return;
  XmString s = XmStringCreateLocalized(const_cast<char *>(text));
  XtVaSetValues(w, XmNlabelString, s, nullptr);
  XmStringFree(s);
}

int label_is(Widget w, const char *text) {
  if (!w) return 0;
  XmString s = nullptr;
  XtVaGetValues(w, XmNlabelString, &s, nullptr);
  char *plain = static_cast<char *>(
      XmStringUnparse(s, nullptr, XmCHARSET_TEXT, XmCHARSET_TEXT, nullptr, 0, XmOUTPUT_ALL));
  int same = plain && strcmp(plain, text) == 0;
  XtFree(plain);
  XmStringFree(s);
  return same;
}

// Everything of a form but the action button, and the tabs, follow on.
void set_form_sensitive(Kes_gui_trans_kind kind, int on) {
  trans_shell_c *t = get_trans_shell();
  if (!t) return;
  std::vector<Widget> widgets(t->tabs, t->tabs + 5);
  if (trans_files_form *f = form_of(kind)) {
    widgets.insert(widgets.end(),
                   {f->parent_text, f->parent_dots, f->child_text, f->child_dots, f->files_tgl,
                    f->flps_tgl, f->entire_tgl, f->list, f->add_btn, f->load_args_btn,
                    f->save_args_btn, f->select_all_btn, f->deselect_all_btn, f->delete_btn,
                    f->comment_text, f->output_btn, f->close_btn, f->help_btn});
    widgets.insert(widgets.end(), f->options, f->options + 7);
  } else {
    widgets.insert(widgets.end(), {t->undo_ws_text, t->undo_dots, t->undo_comment_text,
                                   t->undo_preview_tgl, t->undo_quiet_tgl, t->undo_output_btn,
                                   t->undo_close_btn, t->undo_help_btn});
  }
  for (Widget w : widgets)
    if (w) XtSetSensitive(w, on ? True : False);
  if (on) update_list_buttons();
}

Widget comment_widget(Kes_gui_trans_kind kind) {
  if (trans_files_form *f = form_of(kind)) return f->comment_text;
  trans_shell_c *t = get_trans_shell();
  return t ? t->undo_comment_text : nullptr;
}

void error_dialog(const char *fmt, const char *arg) {
  char text[2200];
  snprintf(text, sizeof text, fmt, arg);
  trans_error_dialog(text);
}

void show_err(Kes_err *err) {
  trans_error_dialog(err->text);
  delete err;
}

const char *base_of(Kes_workspace *ws) { return ws ? compute_basename(ws->wsname) : ""; }

// The field as a workspace object; an error goes to the dialog.
Kes_workspace *workspace_of(const char *path) {
  Kes_err *err = nullptr;
  auto *ws = new Kes_workspace(path, &err);
  if (err) {
    show_err(err);
    delete ws;
    return nullptr;
  }
  return ws;
}

int is_directory(const char *path) {
  struct stat st;
  return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

// The comment check of bringover and undo: the same comment as last time
// asks before it is used again.
int check_repeated_comment(Kes_gui_trans *t, char **last, const char *question,
                           const char *blocked) {
  if (t->preview || (get_gui() && !get_gui()->get_props()->issue_comment_warn)) return 1;
  char *text = get_field(comment_widget(t->kind));
  std::unique_ptr<char, decltype(&free)> owner(text, free);
  if (*last && strcmp(*last, text) == 0) {
    if (show_message(get_trans_shell()->shell, GUI_MSG("Lathe Weaving: Message"), question,
                     MODAL_QUESTION | MODAL_YES | MODAL_NO) == MODAL_YES)
      return 1;
    trans_footer(blocked);
    return 0;
  }
  if (*text) {
    free(*last);
    *last = strdup(text);
  }
  return 1;
}

// The start of a command line: prefix and the program's escaped path.
int command_start(Kes_gui_trans *t, const char *program, std::string *cmd) {
  char path[1024];
  if (Kes_err *err = kes_find_executable(program, path)) {
    show_err(err);
    return 0;
  }
  cmd->reserve(t->get_cmd_size());
  *cmd = std::string(t->command_prefix) + shell_escape(path);
  return 1;
}

void add_comment(Kes_gui_trans *t, std::string *cmd) {
  char *comment = t->get_comments();
  if (*comment) *cmd += std::string(" -c '") + comment + "'";
  free(comment);
}

void add_lists(Kes_gui_trans *t, std::string *cmd) {
  if (t->flp_list)
    for (Kes_listelem *e = t->flp_list->head.next; e != &t->flp_list->head; e = e->next)
      *cmd += std::string(" -f ") + shell_escape(static_cast<char *>(e->data));
  if (t->file_list)
    for (Kes_listelem *e = t->file_list->head.next; e != &t->file_list->head; e = e->next)
      *cmd += std::string(" ") + shell_escape(static_cast<char *>(e->data));
}

void finish_command(Kes_gui_trans *t, std::string *cmd) {
  *cmd += t->command_suffix;
  free(t->command);
  t->command = strdup(cmd->c_str());
}

Kes_graph_node *node_of(Kes_workspace *ws) {
  Kes_canvas *canvas = get_gui() ? get_gui()->get_canvas() : nullptr;
  return canvas && ws ? canvas->kes_find_node(ws) : nullptr;
}

// The toggles of a bringover or putback form; the fourth is Force Conflicts
// or Auto Bringover.
void read_options(Kes_gui_trans *t, int *fourth) {
  trans_files_form *f = form_of(t->kind);
  if (!f) return;
  int *fields[7] = {&t->preview, &t->skip_gets,    &t->verbose,       fourth,
                    &t->quiet,   &t->skip_backups, &t->delta_comments};
  for (int i = 0; i < 7; i++) *fields[i] = toggled(f->options[i]);
}

// The child field made absolute and built into the panel's child workspace;
// its path (malloc-ed), or null with the footer or dialog telling why.
char *child_field_workspace(Kes_gui_trans *t) {
  char *path = fully_qualify_textfield(form_of(t->kind)->child_text);
  if (!*path) trans_footer(GUI_MSG("Enter a Child Workspace Directory"));
  delete t->child_ws;
  t->child_ws = *path ? workspace_of(path) : nullptr;
  if (t->child_ws) return path;
  free(path);
  return nullptr;
}

// The parent field made absolute, filled from the child's parent file when
// empty, and built; a plain directory passes where a bringover reads from an
// older source tree.
Kes_workspace *verified_parent(Kes_gui_trans *t, int directory_will_do, const char *missing) {
  trans_files_form *f = form_of(t->kind);
  char *path = fully_qualify_textfield(f->parent_text);
  std::unique_ptr<char, decltype(&free)> owner(path, free);
  if (!*path) {
    Kes_workspace *parent = nullptr;
    if (t->child_ws) delete t->child_ws->get_parent(&parent);
    if (!parent) {
      trans_footer(GUI_MSG("Enter a Parent Workspace Directory"));
      return nullptr;
    }
    set_field(f->parent_text, parent->wsname);
    owner.reset(strdup(parent->wsname));
    delete parent;
  }
  Kes_workspace *ws = workspace_of(owner.get());
  if (ws && !ws->exists() && !(directory_will_do && is_directory(owner.get()))) {
    error_dialog(missing, owner.get());
    delete ws;
    return nullptr;
  }
  return ws;
}

void end_of_panel(Kes_gui_trans *t) {
  if (get_gui() && get_gui()->get_current_panel() == t) {
    get_gui()->set_current_panel(nullptr);
    update_action_button_state();
  }
  delete t;
}

}  // namespace

// ---- the comment, shared by all three

char *Kes_gui_trans::get_comments() {
  char *text = get_field(comment_widget(kind));
  char *out = quote_comment(text);
  free(text);
  return out;
}

char *Kes_gui_trans::quote_comment(const char *text) {
  int quotes = 0;
  for (const char *p = text; *p; p++) quotes += *p == '\'';
  int size = static_cast<int>(strlen(text)) + 3 * quotes + 2;
  char *out = static_cast<char *>(malloc(size));
  kes_quote_comment(text, out, size);
  return out;
}

// ---- the slots that find the panel's widgets, by its kind

namespace {

struct Panel_widgets {
  Widget form, action, output;
};

Panel_widgets panel_widgets(Kes_gui_trans_kind kind) {
  if (trans_files_form *f = form_of(kind)) return {f->form, f->action_btn, f->output_btn};
  if (trans_shell_c *t = get_trans_shell()) return {t->undo_form, t->undo_action_btn, t->undo_output_btn};
  return {nullptr, nullptr, nullptr};
}

}  // namespace

Widget Kes_gui_trans::get_abort_button() { return panel_widgets(kind).action; }
Widget Kes_gui_trans::get_output_button() { return panel_widgets(kind).output; }
Widget Kes_gui_trans::get_transaction_button() { return panel_widgets(kind).action; }
Widget Kes_gui_trans::get_panel() { return panel_widgets(kind).form; }
int Kes_gui_trans::is_abort_button() { return label_is(get_abort_button(), GUI_MSG("Stop")); }

const char *Kes_gui_trans::get_abort_label() {
  static const char *const kLabels[] = {"Stop Bringover", "Stop Putback", "Stop Undo"};
  return GUI_MSG(kLabels[kind]);
}

// ---- bringover

Kes_gui_bringover::Kes_gui_bringover(Kes_gui_engine *e) : Kes_gui_trans(KES_TRANS_BRINGOVER, e) {}
Kes_gui_bringover::~Kes_gui_bringover() { free(new_child_path); }

void Kes_gui_bringover::hide_abort_button() { set_label(get_abort_button(), GUI_MSG("Bringover")); }
void Kes_gui_bringover::enable_panel() { set_form_sensitive(kind, 1); }
void Kes_gui_bringover::disable_panel() { set_form_sensitive(kind, 0); }

void Kes_gui_bringover::get_options() {
  read_options(this, &force_conflicts);
  engine->set_preview(preview);
}

int Kes_gui_bringover::verify_child_ws() {
  std::unique_ptr<char, decltype(&free)> owner(child_field_workspace(this), free);
  const char *path = owner.get();
  if (!path) return 0;
  if (get_trans_category() == KES_GUI_BRINGOVER_CREATE) {
    char dir[1024];
    kes_parse_filename(path, dir, nullptr);
    if (!is_directory(dir)) {
      error_dialog(GUI_MSG("Bringover failed - non-existent containing directory: %s"), dir);
      return 0;
    }
    if (child_ws->exists()) {
      error_dialog(GUI_MSG("Bringover create failed - child workspace `%s` already exists."),
                   path);
      return 0;
    }
    // A preview makes nothing, so nothing is added to the canvas.
    created_new = !preview;
    if (created_new) new_child_path = strdup(path);
  } else {
    if (!child_ws->exists()) {
      error_dialog(GUI_MSG("Bringover failed - non-existent child workspace: %s"), path);
      return 0;
    }
    created_new = 0;
  }
  return 1;
}

int Kes_gui_bringover::verify_parent_ws() {
  delete parent_ws;
  parent_ws = verified_parent(this, 1, GUI_MSG("Bringover failed - non-existent parent workspace: %s"));
  return parent_ws != nullptr;
}

int Kes_gui_bringover::verify_comment() {
  return check_repeated_comment(
      this, &get_gui_trans()->last_bringover_comment,
      GUI_MSG("Your comment is the same as for previous bringover.\nDo you want to reuse it?"),
      GUI_MSG("bringover blocked; enter new comment"));
}

int Kes_gui_bringover::build_cmd() {
  std::string cmd;
  if (!command_start(this, "bringover", &cmd)) return 0;
  cmd += std::string(" -w ") + shell_escape(child_ws->wsname);
  cmd += std::string(" -p ") + shell_escape(parent_ws->wsname);
  add_comment(this, &cmd);
  const struct {
    int on;
    const char *flag;
  } kFlags[] = {{preview, " -n"},         {verbose, " -v"},      {quiet, " -q"},
                {skip_gets, " -g"},       {force_conflicts, " -C"}, {skip_backups, " -B"},
                {delta_comments, " -d"}};
  for (const auto &f : kFlags)
    if (f.on) cmd += f.flag;
  add_lists(this, &cmd);
  finish_command(this, &cmd);
  char text[2400];
  snprintf(text, sizeof text, GUI_MSG("bringover %sfrom %s to %s..."),
           preview ? GUI_MSG("preview ") : "", base_of(parent_ws), base_of(child_ws));
  trans_footer(text);
  return 1;
}

void Kes_gui_bringover::cleanup() {
  restore_panel();
  Kes_graph_node *node = node_of(child_ws);
  if (conflicts_created) {
    if (node) node->change_state(KES_WS_CONFLICT);
    if (trans_question(GUI_MSG("Bringover detected conflict(s) between files \nyou brought over "
                               "and files in your workspace.\nDo you want to resolve them now ?"))) {
      trans_show_resolve(child_ws->wsname);
    } else {
      trans_footer(GUI_MSG("Bringover created conflicts; to resolve, double click on "
                           "conflicting workspace"));
      print_status = 0;
    }
  }
  const int status = final_status();
  if (print_status) print_exit_status(status);
  if (created_new && status == 0 && get_gui())
    get_gui()->get_canvas()->add_workspace(parent_ws, child_ws);
  else if (node && !conflicts_created)
    node->update_state();
  end_of_panel(this);
}

// The panel takes the form of a command made elsewhere.
int Kes_gui_bringover::setup_panel() {
  trans_files_form *f = form_of(kind);
  if (!f || !command) return 0;
  // The words of the command, without the prefix's program and the suffix.
  std::vector<std::string> words;
  std::string word;
  for (const char *p = command; *p; p++) {
    if (*p == '\\' && p[1]) {
      word += *++p;
    } else if (*p == ' ') {
      if (!word.empty()) words.push_back(word);
      word.clear();
    } else {
      word += *p;
    }
  }
  if (!word.empty()) words.push_back(word);
  if (!words.empty() && words.back() == "2>&1") words.pop_back();
  std::vector<char *> argv;
  for (std::string &w : words) argv.push_back(&w[0]);
  argv.push_back(nullptr);
  opterr = 0;
  optind = 1;
  int c;
  while ((c = getopt(static_cast<int>(argv.size()) - 1, argv.data(), "nw:p:f:c:qvgCB")) != -1)
    if (c == '?') return 0;  // an option this panel does not know: leave the form as it is
  Kes_strlist *files = file_list;
  if (files) {
    files->clear();
    for (int i = optind; i < static_cast<int>(argv.size()) - 1; i++) files->add_new_copy(argv[i]);
  }
  set_field(f->parent_text, parent_ws ? parent_ws->wsname : "");
  set_field(f->child_text, child_ws ? child_ws->wsname : "");
  set_toggle(f->options[OPT_PREVIEW], preview);
  set_toggle(f->options[OPT_VERBOSE], verbose);
  set_toggle(f->options[OPT_QUIET], quiet);
  set_toggle(f->options[OPT_SKIP_GETS], skip_gets);
  set_toggle(f->options[OPT_FORCE_OR_AUTO], force_conflicts);
  set_toggle(f->options[OPT_SKIP_BACKUPS], skip_backups);
  set_toggle(f->options[OPT_DELTA_COMMENTS], delta_comments);
  switch_to_file_list();
  fill_scroll_list();
  char text[2400];
  snprintf(text, sizeof text, GUI_MSG("bringover %sfrom %s to %s..."),
           preview ? GUI_MSG("preview ") : "", base_of(parent_ws), base_of(child_ws));
  trans_footer(text);
  return 1;
}

// ---- putback

Kes_gui_putback::Kes_gui_putback(Kes_gui_engine *e) : Kes_gui_trans(KES_TRANS_PUTBACK, e) {}
Kes_gui_putback::~Kes_gui_putback() { free(bringover_command); }

void Kes_gui_putback::hide_abort_button() { set_label(get_abort_button(), GUI_MSG("Putback")); }
void Kes_gui_putback::enable_panel() { set_form_sensitive(kind, 1); }
void Kes_gui_putback::disable_panel() { set_form_sensitive(kind, 0); }

void Kes_gui_putback::get_options() {
  read_options(this, &auto_bringover);
  // The property counts as read afresh from the file.
  if (!auto_bringover && get_gui()) {
    get_gui()->get_props()->load();
    auto_bringover = get_gui()->get_props()->auto_bringover_update;
  }
  engine->set_preview(preview);
}

int Kes_gui_putback::verify_child_ws() {
  std::unique_ptr<char, decltype(&free)> owner(child_field_workspace(this), free);
  const char *path = owner.get();
  if (!path) return 0;
  if (!child_ws->exists()) {
    error_dialog(GUI_MSG("Putback failed - non-existent child workspace: %s"), path);
    return 0;
  }
  return 1;
}

int Kes_gui_putback::verify_parent_ws() {
  delete parent_ws;
  parent_ws = verified_parent(this, 0, GUI_MSG("Putback failed - non-existent parent workspace: %s"));
  return parent_ws != nullptr;
}

int Kes_gui_putback::verify_comment() {
  if (preview) return 1;
  Kes_gui_trans *base = get_gui_trans();
  Kes_pbval *pbval = nullptr;
  if (Kes_err *err = parent_ws->get_pbval(&pbval)) {
    show_err(err);
    return 0;
  }
  std::unique_ptr<Kes_pbval> owner(pbval);
  // The request comes first, even before an empty comment is refused.
  if (pbval && pbval->on &&
      !selection_prompt_dialog(get_trans_shell()->shell, GUI_MSG("Weaving: Integration Request"),
                               GUI_MSG("Enter Integration Request ID:"), base->integration_request,
                               sizeof base->integration_request))
    return 0;
  char *text = get_field(comment_widget(kind));
  std::unique_ptr<char, decltype(&free)> comment(text, free);
  if (!*text) {
    trans_error_dialog(GUI_MSG("Putback failed - comment required"));
    XmProcessTraversal(comment_widget(kind), XmTRAVERSE_CURRENT);
    return 0;
  }
  return check_repeated_comment(
      this, &base->last_putback_comment,
      GUI_MSG("Your comment is the same as for previous putback.\nDo you want to reuse it?"),
      GUI_MSG("putback blocked; enter new comment"));
}

int Kes_gui_putback::build_cmd() {
  std::string cmd;
  if (!command_start(this, "putback", &cmd)) return 0;
  cmd += std::string(" -w ") + shell_escape(child_ws->wsname);
  cmd += std::string(" -p ") + shell_escape(parent_ws->wsname);
  if (!preview) {
    add_comment(this, &cmd);
    Kes_pbval *pbval = nullptr;
    delete parent_ws->get_pbval(&pbval);
    if (pbval && pbval->on) {
      char quoted[3 * 1024 + 2];
      kes_quote_comment(get_gui_trans()->integration_request, quoted, sizeof quoted);
      cmd += std::string(" -M '") + quoted + "'";
    }
    delete pbval;
  }
  const struct {
    int on;
    const char *flag;
  } kFlags[] = {{preview, " -n"},   {verbose, " -v"},      {quiet, " -q"},
                {skip_gets, " -g"}, {skip_backups, " -B"}, {delta_comments, " -d"}};
  for (const auto &f : kFlags)
    if (f.on) cmd += f.flag;
  add_lists(this, &cmd);
  finish_command(this, &cmd);
  char text[2400];
  snprintf(text, sizeof text, GUI_MSG("putback %sfrom %s to %s..."),
           preview ? GUI_MSG("preview ") : "", base_of(child_ws), base_of(parent_ws));
  trans_footer(text);
  return 1;
}

void Kes_gui_putback::cleanup() {
  restore_panel();
  const int status = final_status();
  if (!blocked || preview) {
    print_exit_status(status);
    end_of_panel(this);
    return;
  }
  if (too_large) {
    trans_error_dialog(GUI_MSG(
        "Your putback was blocked and a bringover will be required.  However, the bringover\nto "
        "execute is currently too large for brindletool to process. The bringover command\nto "
        "execute can be found in the transaction output window (select \"Show Output...\")"));
    print_exit_status(status);
    end_of_panel(this);
    return;
  }
  if (!bringover_command) {  // blocked without a bringover that could help
    print_exit_status(status);
    end_of_panel(this);
    return;
  }
  if (!auto_bringover &&
      !trans_question(GUI_MSG("Your putback was blocked and a bringover will be required.\nDo you "
                              "want to do the bringover now?"))) {
    trans_footer(GUI_MSG("putback blocked; bringover required"));
    print_exit_status(status);
    end_of_panel(this);
    return;
  }
  // The bringover runs in the same window, its output behind the putback's.
  auto *bringover = new Kes_gui_bringover;
  bringover->command = strdup(bringover_command);
  bringover->preview = preview;
  bringover->quiet = quiet;
  bringover->parent_ws = parent_ws->copy();
  bringover->child_ws = child_ws->copy();
  bringover->engine->set_preview(preview);
  set_trans_category(KES_GUI_BRINGOVER_UPDATE);
  show_trans_tab(KES_GUI_BRINGOVER_UPDATE);
  bringover->file_list = get_trans_data(KES_GUI_BRINGOVER_UPDATE)->file_list;
  bringover->flp_list = get_trans_data(KES_GUI_BRINGOVER_UPDATE)->flp_list;
  bringover->setup_panel();
  if (get_gui()) {
    get_gui()->set_current_panel(bringover);
    if (get_gui()->get_props()->auto_display_output) show_output_window();
  }
  end_of_panel(this);
  bringover->disable_panel();
  bringover->run();
}

// ---- undo

Kes_gui_undo::Kes_gui_undo(Kes_gui_engine *e) : Kes_gui_trans(KES_TRANS_UNDO, e) {}

void Kes_gui_undo::hide_abort_button() { set_label(get_abort_button(), GUI_MSG("Perform Undo")); }
void Kes_gui_undo::enable_panel() { set_form_sensitive(kind, 1); }
void Kes_gui_undo::disable_panel() { set_form_sensitive(kind, 0); }

void Kes_gui_undo::get_options() {
  if (trans_shell_c *t = get_trans_shell()) {
    preview = toggled(t->undo_preview_tgl);
    quiet = toggled(t->undo_quiet_tgl);
  }
  engine->set_preview(preview);
}

int Kes_gui_undo::verify_parent_ws() { return 1; }
int Kes_gui_undo::verify_child_ws() { return verify_ws(); }

int Kes_gui_undo::verify_ws() {
  char *path = fully_qualify_textfield(get_trans_shell()->undo_ws_text);
  std::unique_ptr<char, decltype(&free)> owner(path, free);
  if (!*path) {
    trans_footer(GUI_MSG("Enter a Workspace Directory"));
    return 0;
  }
  delete child_ws;
  if (!(child_ws = workspace_of(path))) return 0;
  if (!child_ws->exists()) {
    char text[1200];
    snprintf(text, sizeof text, GUI_MSG("Undo failed - non-existent workspace: %s"), path);
    trans_footer(text);
    return 0;
  }
  return 1;
}

int Kes_gui_undo::verify_comment() {
  return check_repeated_comment(
      this, &get_gui_trans()->last_undo_comment,
      GUI_MSG("Your comment is the same as for previous undo.\nDo you want to reuse it?"),
      GUI_MSG("undo blocked; enter new comment"));
}

int Kes_gui_undo::get_cmd_size() { return Kes_gui_trans::get_cmd_size() + 1024; }

int Kes_gui_undo::build_cmd() {
  std::string cmd;
  if (!command_start(this, "ws_undo", &cmd)) return 0;
  cmd += std::string(" -w ") + shell_escape(child_ws->wsname);
  add_comment(this, &cmd);
  if (preview) cmd += " -n";
  if (quiet) cmd += " -q";
  if (Kes_strlist *list = get_gui_undo() ? get_gui_undo()->undo_list : nullptr)
    for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
      cmd += std::string(" ") + shell_escape(static_cast<char *>(e->data));
  finish_command(this, &cmd);
  char text[1400];
  snprintf(text, sizeof text, GUI_MSG("undo %s%s..."), preview ? GUI_MSG("preview ") : "",
           base_of(child_ws));
  trans_footer(text);
  return 1;
}

void Kes_gui_undo::cleanup() {
  restore_panel();
  print_exit_status(final_status());
  // An undo can take conflicts away or bring them back.
  if (Kes_graph_node *node = node_of(child_ws)) node->update_state();
  end_of_panel(this);
}
