// The resolve pane: its widgets, the session's state, the decisions, and the
// merge tool over Hailway or by its exit status.
#include "gui/shells/resolve_pane.h"

#include <Xm/Form.h>
#include <Xm/Frame.h>
#include <Xm/Label.h>
#include <Xm/List.h>
#include <Xm/PushB.h>
#include <Xm/Text.h>
#include <Xm/Xm.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "gui/kes_canvas.h"
#include "gui/kes_graph.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_props.h"
#include "gui/kes_gui_sigchld.h"
#include "gui/kes_trans_forms.h"
#include "gui/shells/form_dialog.h"
#include "gui/shells/resolve_dialogs.h"
#include "gui/shells/trans_shell.h"
#include "sccs/kes_conflict.h"
#include "sccs/kes_sfile.h"
#include "toolkit/modal_dialog.h"
#include "transaction/kes_resolve.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_process.h"
#include "workspace/kes_workspace.h"

namespace {

// ---- the session's state

Kes_workspace *resolve_ws;
Kes_resolve *resolve_file;
int started_twinpane, twinpane_running, twinpane_exited_ok, send_load_message, was_load;
std::string fm_procid;  // the tool's process id on Hailway
std::string my_procid;
int hw_connected;
int total_conflicts;
const char *word = "merged";

// The user's settings as the tool's properties hold them: the Resolve page of
// the properties changes them while the tool runs.
const Kes_resolve_rc &settings() {
  static const Kes_resolve_rc defaults;
  Kes_gui_props *props = get_gui_props();
  return props ? props->resolve_settings : defaults;
}

// The tool started without Hailway, and the pipe its SIGCHLD writes to so
// that its end is handled on the event loop.
pid_t tool_pid = -1;
int sig_pipe[2] = {-1, -1};

Widget list, child_hist, parent_hist, merge_btn, child_btn, parent_btn;

Widget parent_widget() { return get_trans_shell_widget(); }

void error_dialog(const char *text) { trans_error_dialog(text); }

int list_count() {
  int n = 0;
  XtVaGetValues(list, XmNitemCount, &n, nullptr);
  return n;
}

int selected_position() {
  int *pos = nullptr, n = 0;
  int p = XmListGetSelectedPos(list, &pos, &n) && n > 0 ? pos[0] : 0;
  XtFree(reinterpret_cast<char *>(pos));
  return p;
}

std::string item_text(int pos) {
  XmStringTable items = nullptr;
  XtVaGetValues(list, XmNitems, &items, nullptr);
  char *text = nullptr;
  if (!items || pos < 1 || !XmStringGetLtoR(items[pos - 1], XmFONTLIST_DEFAULT_TAG, &text))
    return "";
  std::string out = text;
  XtFree(text);
  return out;
}

void drop_file() {
  if (!resolve_file) return;
  resolve_file->remove_tmpfiles();
  delete resolve_file;
  resolve_file = nullptr;
}

// What print_history writes on standard output, caught in a temporary file.
std::string history_text(Kes_err *(Kes_resolve::*print)()) {
  std::string out;
  FILE *tmp = tmpfile();
  if (!tmp) return out;
  fflush(stdout);
  int saved = dup(1);
  dup2(fileno(tmp), 1);
  Kes_err *err = (resolve_file->*print)();
  fflush(stdout);
  dup2(saved, 1);
  close(saved);
  if (err) {
    out = err->text;
    delete err;
  } else {
    rewind(tmp);
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, tmp)) > 0) out.append(buf, n);
  }
  fclose(tmp);
  return out;
}

void show_histories() {
  std::string c = resolve_file ? history_text(&Kes_resolve::print_child_history) : "";
  std::string p = resolve_file ? history_text(&Kes_resolve::print_parent_history) : "";
  XmTextSetString(child_hist, const_cast<char *>(c.c_str()));
  XmTextSetString(parent_hist, const_cast<char *>(p.c_str()));
}

void update_node() {
  if (!resolve_ws || !get_gui()) return;
  if (Kes_graph_node *node = get_gui()->get_canvas()->kes_find_node(resolve_ws))
    node->update_state();
}

void update_buttons() {
  Boolean on = resolve_file && resolve_file->materialized ? True : False;
  XtSetSensitive(merge_btn, selected_position() ? True : False);
  XtSetSensitive(child_btn, on);
  XtSetSensitive(parent_btn, on);
}

// Takes up the file at pos: its names, its versions, both histories.  0 when
// it is in hand; 1 when it went (not in conflict, or settled by itself) or on
// an error, which has been shown.
int take_up(int pos) {
  drop_file();
  XmListSelectPos(list, pos, False);
  std::string name = item_text(pos);
  resolve_file = new Kes_resolve;
  int not_in_conflict = 0, done = 0;
  Kes_err *err = resolve_file->set_names(name.c_str(), resolve_ws, &not_in_conflict);
  if (!err && not_in_conflict) {
    rt_update_conflict_list();
    return 1;
  }
  if (!err) err = resolve_file->materialize_tmpfiles(&done);
  if (err) {
    rt_issue_error(err);
    update_buttons();
    return 1;
  }
  gui_debug("resolve file %s", resolve_file->relative_name);
  show_histories();
  update_buttons();
  return 0;
}

void rt_next(int skip);

// One decision on r, recorded as the resolve command records it.  0 on
// success; an error has been shown and the file stays in conflict.
int decide(Kes_resolve *r, int decision) {
  std::string comment;
  const char *text = nullptr;
  if (settings().checkin_comments && decision != KES_RS_PARENT) {
    char def[1024] = "";
    if (decision == KES_RS_CHILD)
      r->accept_child_def_comment(def);
    else
      r->merge_def_comment(def);
    comment = def;
    static checkin_comment_dlg *dialog;
    if (!dialog) dialog = new checkin_comment_dlg;
    if (!dialog->show(r->relative_name, &comment)) return 1;
    text = comment.c_str();
  }
  rt_busy_cursor();
  std::string ws = resolve_ws->wsname, name = r->relative_name;
  char *argv[] = {const_cast<char *>("resolve"), const_cast<char *>("-w"), &ws[0], &name[0],
                  nullptr};
  Kes_resolve_log log(resolve_ws);
  Kes_err *err = log.open(4, argv);
  if (!err) err = resolve_decide(r, decision, text, log.history, rt_footer);
  log.close(err ? 1 : 0);
  rt_normal_cursor();
  if (err) {
    rt_issue_error(err);
    return 1;
  }
  word = resolve_decision_word(decision);
  gui_debug("resolve %s: %s", word, r->relative_name);
  return 0;
}

// The finishing step: the decision is recorded, and the pane goes on.
void finish(Kes_resolve *r, int decision) {
  if (decide(r, decision)) return;
  rt_footer(nullptr, 0);
  rt_next(0);
}

// ---- the tool without Hailway: its exit status decides

// In signal context: the tool's end is handled on the event loop.
void wake_event_loop() {
  if (sig_pipe[1] >= 0) {
    char c = 0;
    (void)!write(sig_pipe[1], &c, 1);
  }
}

void child_input(XtPointer, int *fd, XtInputId *) {
  char buf[64];
  while (read(*fd, buf, sizeof buf) > 0) {
  }
  int status = 0;
  if (tool_pid <= 0 || waitpid(tool_pid, &status, WNOHANG) != tool_pid) return;
  tool_pid = -1;
  send_load_message = 0;
  rt_normal_cursor();
  int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  gui_debug("resolve tool exit %d", code);
  if ((code == KES_RS_PARENT || code == KES_RS_CHILD || code == KES_RS_MERGED) && resolve_file)
    finish(resolve_file, code);
  else
    rt_footer(nullptr, 0);
}

void start_tool() {
  char program[1024];
  if (Kes_err *err = kes_find_executable("twinpane", program)) {
    delete err;
    error_dialog(GUI_MSG("Couldn't start Merging window."));
    return;
  }
  std::vector<std::string> words =
      resolve_twinpane_command(program, hw_connected ? my_procid.c_str() : nullptr, resolve_file);
  if (!hw_connected) {
    if (sig_pipe[0] < 0 && pipe2(sig_pipe, O_CLOEXEC | O_NONBLOCK) == 0) {
      XtAppAddInput(get_app_context(), sig_pipe[0], reinterpret_cast<XtPointer>(XtInputReadMask),
                    child_input, nullptr);
      gui_on_sigchld(wake_event_loop);
    }
    if (tool_pid > 0) kill(tool_pid, SIGTERM);  // an earlier tool gives way
  }
  std::vector<char *> argv;
  for (std::string &w : words) argv.push_back(&w[0]);
  argv.push_back(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    execv(argv[0], argv.data());
    _exit(127);
  }
  if (pid < 0) {
    error_dialog(GUI_MSG("Couldn't start Merging window."));
    return;
  }
  if (!hw_connected) tool_pid = pid;
  gui_debug("resolve tool started %d", static_cast<int>(pid));
}

// ---- the pane's buttons

void select_callback(Widget, XtPointer, XtPointer call) {
  auto *cbs = static_cast<XmListCallbackStruct *>(call);
  rt_footer(nullptr, 0);
  if (cbs->item_position) take_up(cbs->item_position);
}

void merge_callback(Widget, XtPointer, XtPointer) {
  Kes_gui_resolve panel;
  panel.process();
}

void accept_callback(Widget, XtPointer client, XtPointer) {
  if (!resolve_file || !resolve_file->materialized) {
    error_dialog(GUI_MSG("You must select a file."));
    return;
  }
  finish(resolve_file, static_cast<int>(reinterpret_cast<intptr_t>(client)));
}

void help_callback(Widget, XtPointer, XtPointer) { gui_help_topic("resolve"); }

Widget titled_frame(Widget form, const char *name, const char *title) {
  Widget f = XtVaCreateManagedWidget(name, xmFrameWidgetClass, form, nullptr);
  XmString s = XmStringCreateLocalized(const_cast<char *>(GUI_MSG(title)));
  XtVaCreateManagedWidget("title", xmLabelWidgetClass, f, XmNchildType, XmFRAME_TITLE_CHILD,
                          XmNlabelString, s, nullptr);
  XmStringFree(s);
  return f;
}

Widget history_box(Widget form, const char *name, const char *title) {
  Widget f = titled_frame(form, (std::string(name) + "_frame").c_str(), title);
  Arg args[4];
  XtSetArg(args[0], XmNrows, 6);
  XtSetArg(args[1], XmNeditMode, XmMULTI_LINE_EDIT);
  XtSetArg(args[2], XmNeditable, False);
  XtSetArg(args[3], XmNcursorPositionVisible, False);
  Widget text = XmCreateScrolledText(f, const_cast<char *>(name), args, 4);
  XtManageChild(text);
  return text;
}

}  // namespace

// ---- building

void resolve_pane_create(trans_shell_c *t, Widget form, Widget above) {
  static const struct {
    const char *name, *label;
  } kButtons[5] = {{"trans_resolve_merge_btn", "Merge..."},
                   {"trans_resolve_child_btn", "Accept Child"},
                   {"trans_resolve_parent_btn", "Accept Parent"},
                   {"trans_resolve_close_btn", "Close"},
                   {"trans_resolve_help_btn", "Help"}};
  Widget row = XtVaCreateManagedWidget("trans_resolve_buttons", xmFormWidgetClass, form,
                                       XmNbottomAttachment, XmATTACH_FORM, XmNleftAttachment,
                                       XmATTACH_FORM, XmNrightAttachment, XmATTACH_FORM,
                                       XmNfractionBase, 5, nullptr);
  Widget buttons[5];
  for (int i = 0; i < 5; i++) {
    XmString s = XmStringCreateLocalized(const_cast<char *>(GUI_MSG(kButtons[i].label)));
    buttons[i] = XtVaCreateManagedWidget(
        kButtons[i].name, xmPushButtonWidgetClass, row, XmNlabelString, s, XmNleftAttachment,
        XmATTACH_POSITION, XmNleftPosition, i, XmNrightAttachment, XmATTACH_POSITION,
        XmNrightPosition, i + 1, XmNleftOffset, 6, XmNrightOffset, 6, XmNtopAttachment,
        XmATTACH_FORM, XmNtopOffset, 6, nullptr);
    XmStringFree(s);
  }
  merge_btn = buttons[0], child_btn = buttons[1], parent_btn = buttons[2];
  t->resolve_close_btn = buttons[3];
  XtAddCallback(merge_btn, XmNactivateCallback, merge_callback, nullptr);
  XtAddCallback(child_btn, XmNactivateCallback, accept_callback,
                reinterpret_cast<XtPointer>(static_cast<intptr_t>(KES_RS_CHILD)));
  XtAddCallback(parent_btn, XmNactivateCallback, accept_callback,
                reinterpret_cast<XtPointer>(static_cast<intptr_t>(KES_RS_PARENT)));
  XtAddCallback(buttons[4], XmNactivateCallback, help_callback, nullptr);

  // The list above the two histories, side by side, above the buttons.
  Widget files = titled_frame(form, "conflicts_frame", "Files in Conflict");
  XtVaSetValues(files, XmNtopAttachment, XmATTACH_WIDGET, XmNtopWidget, above, XmNtopOffset, 4,
                XmNleftAttachment, XmATTACH_FORM, XmNrightAttachment, XmATTACH_FORM, nullptr);
  Arg args[2];
  XtSetArg(args[0], XmNvisibleItemCount, 6);
  XtSetArg(args[1], XmNselectionPolicy, XmBROWSE_SELECT);
  list = XmCreateScrolledList(files, const_cast<char *>("trans_resolve_list"), args, 2);
  XtManageChild(list);
  XtAddCallback(list, XmNbrowseSelectionCallback, select_callback, nullptr);
  // A second click soon after the first is a double click, which Motif
  // reports in place of the selection: it takes up the file all the same.
  XtAddCallback(list, XmNdefaultActionCallback, select_callback, nullptr);
  t->resolve_list = list;

  child_hist = history_box(form, "trans_resolve_child_history", "Changes in Child");
  parent_hist = history_box(form, "trans_resolve_parent_history", "Changes in Parent");
  Widget cf = XtParent(XtParent(child_hist)), pf = XtParent(XtParent(parent_hist));
  XtVaSetValues(cf, XmNtopAttachment, XmATTACH_WIDGET, XmNtopWidget, files, XmNtopOffset, 4,
                XmNleftAttachment, XmATTACH_FORM, XmNrightAttachment, XmATTACH_POSITION,
                XmNrightPosition, 50, XmNbottomAttachment, XmATTACH_WIDGET, XmNbottomWidget, row,
                nullptr);
  XtVaSetValues(pf, XmNtopAttachment, XmATTACH_WIDGET, XmNtopWidget, files, XmNtopOffset, 4,
                XmNleftAttachment, XmATTACH_POSITION, XmNleftPosition, 50, XmNleftOffset, 4,
                XmNrightAttachment, XmATTACH_FORM, XmNbottomAttachment, XmATTACH_WIDGET,
                XmNbottomWidget, row, nullptr);
  update_buttons();
}

// ---- the session

void rt_main_init() {
  const char *id = gui_hw_procid();
  hw_connected = id != nullptr;
  my_procid = id ? id : "";
}

void rt_set_ws(Kes_workspace *ws) {
  if (resolve_ws && ws != resolve_ws) {
    drop_file();
    delete resolve_ws;
  }
  resolve_ws = ws;
}

int rt_display_ws_info() {
  XmListDeleteAllItems(list);
  drop_file();
  show_histories();
  update_buttons();
  if (!resolve_ws) return 0;
  Kes_strlist *names = resolve_get_conflicts(resolve_ws, rt_issue_error);
  if (!names) {
    update_node();
    return 0;
  }
  for (Kes_listelem *e = names->head.next; e != &names->head; e = e->next) {
    XmString s = XmStringCreateLocalized(static_cast<char *>(e->data));
    XmListAddItemUnselected(list, s, 0);
    XmStringFree(s);
  }
  gui_debug("trans conflicts %d", names->count);
  delete names;
  if (take_up(1)) return 1;
  total_conflicts = list_count();
  char text[256];
  snprintf(text, sizeof text, GUI_MSG("%d of %d files unresolved"), total_conflicts,
           total_conflicts);
  rt_footer(text, 0);
  if (settings().start_twinpane && !rt_checkedout() && !rt_binary()) rt_invoke_twinpane();
  return 0;
}

void rt_quit() {
  drop_file();
  if (hw_connected && !fm_procid.empty() && started_twinpane)
    resolve_send_hw_quit_msg(fm_procid.c_str());
}

void rt_issue_error(Kes_err *err) {
  if (get_trans_shell())
    error_dialog(err->text);
  else
    err->print();
  delete err;
}

void rt_invoke_twinpane() {
  if (!selected_position() || !resolve_file) {
    error_dialog(GUI_MSG("You must select a file."));
    return;
  }
  int done = 0;
  if (Kes_err *err = resolve_file->materialize_tmpfiles(&done)) {
    rt_issue_error(err);
    return;
  }
  if (!resolve_file->ancestor_file) {
    char text[2048];
    snprintf(text, sizeof text,
             GUI_MSG("No common ancestor file for file\n%s\nDo you want two-way merge ?"),
             resolve_file->relative_name);
    if (show_message(parent_widget(), GUI_MSG("Lathe Weaving: Warning"), text,
                     MODAL_WARNING | MODAL_YES | MODAL_NO) != MODAL_YES)
      return;
  }
  rt_send_load_msg(0);
}

void rt_send_load_msg(int reuse) {
  if (send_load_message || !resolve_file) return;
  char text[2048];
  snprintf(text, sizeof text, GUI_MSG("Merging %s"), resolve_file->relative_name);
  rt_footer(text, 0);
  if (!hw_connected) {
    start_tool();
    return;
  }
  send_load_message = 1;
  rt_busy_cursor();
  if (!started_twinpane && !settings().reuse_twinpane && !twinpane_running && !was_load) {
    // Its Started brings the Load.
    was_load = 1;
    start_tool();
    return;
  }
  // With reuse 0 the service picks the recipient: a tool already up, wherever
  // it was started, or none, and then the failed message starts one.
  gui_debug("resolve message sent Oakline_Twinpane_Load");
  Kes_err *err = resolve_send_hw_load_msg(reuse, resolve_file, fm_procid.c_str(),
                                          settings().autosave, load_msg_callback);
  if (err) {
    send_load_message = 0;
    rt_normal_cursor();
    rt_issue_error(err);
  }
}

void load_msg_callback(Hw_message message) {
  rt_normal_cursor();
  if (hw_message_state(message) == HW_STATE_FAILED) {
    send_load_message = 0;
    Hw_status status = hw_message_status(message);
    if (status == HW_ERR_NO_HANDLER) {
      // No tool to take it: one is started, and its Started loads the file.
      if (!was_load) {
        was_load = 1;
        send_load_message = 1;
        started_twinpane = 0;
        start_tool();
      }
    } else if (status != HW_ERR_NO_REPLY) {
      rt_footer(GUI_MSG("Couldn't start Merging window."), 0);
    }
  }
  hw_message_destroy(message);
}

void rt_commit_file(Hw_message message) {
  rt_busy_cursor();
  Kes_resolve *r = nullptr;
  int took_parent = 0, took_child = 0;
  Kes_err *err = resolve_get_hw_save_msg(message, resolve_ws, &r, &took_parent, &took_child);
  rt_normal_cursor();
  if (err) {
    delete r;
    rt_issue_error(err);
    return;
  }
  if (!r->conflict || !r->conflict->child_sid) {  // already settled
    r->remove_tmpfiles();
    delete r;
    return;
  }
  int decision = took_parent ? KES_RS_PARENT : took_child ? KES_RS_CHILD : KES_RS_MERGED;
  // The tool may report on a file other than the one in hand.
  bool current = resolve_file && !strcmp(r->path, resolve_file->path);
  if (current) {
    delete r;
    finish(resolve_file, decision);
    return;
  }
  if (!decide(r, decision)) {
    XmString s = XmStringCreateLocalized(r->relative_name);
    XmListDeleteItem(list, s);
    XmStringFree(s);
  }
  delete r;
}

int rt_binary() {
  if (!resolve_file || !resolve_file->sfile->flags || !resolve_file->sfile->flags->encoded)
    return 0;
  if (twinpane_running && !fm_procid.empty()) resolve_send_hw_quit_msg(fm_procid.c_str());
  const char *labels[3] = {GUI_MSG("Accept Child"), GUI_MSG("Accept Parent"), GUI_MSG("Skip")};
  modal_dialog dialog(parent_widget());
  int answer = dialog.show(GUI_MSG("Lathe Weaving:: Binary File"),
                           GUI_MSG("File is binary. Accept either parent or child version of file."),
                           MODAL_QUESTION, labels, 3);
  if (answer == 0 || answer == 1)
    finish(resolve_file, answer == 0 ? KES_RS_CHILD : KES_RS_PARENT);
  else
    rt_next(1);
  return 1;
}

int rt_checkedout() {
  if (!resolve_file || !resolve_file->is_checkedout()) return 0;
  static checked_out_file_dlg *dialog;
  if (!dialog) dialog = new checked_out_file_dlg;
  std::string comment;
  int answer = dialog->show(resolve_file->relative_name, &comment);
  Kes_err *err = nullptr;
  int done = 0;
  if (answer == checked_out_file_dlg::CHECK_IN) {
    err = resolve_file->checkin(comment.c_str(), rt_footer);
    if (!err) err = resolve_file->materialize_child(&done);
  } else if (answer == checked_out_file_dlg::UNCHECK_OUT) {
    err = resolve_file->uncheckout();
    if (!err) err = resolve_file->materialize_child(&done);
    if (!err && done) {
      rt_next(0);
      return 1;
    }
  } else {
    rt_next(1);
    return 1;
  }
  if (err) {
    rt_issue_error(err);
    return 1;
  }
  return 0;
}

void rt_busy_cursor() { ss_set_busy_cursor(parent_widget(), 1); }
void rt_normal_cursor() { ss_set_busy_cursor(parent_widget(), 0); }

void rt_footer(const char *text, int flag) {
  trans_footer(text);
  if (hw_connected && twinpane_running && !fm_procid.empty())
    resolve_send_hw_footer_msg(fm_procid.c_str(), text && *text ? text : " ", flag);
}

void rt_update_conflict_list() {
  std::string name = resolve_file ? resolve_file->relative_name : item_text(selected_position());
  char text[2048];
  snprintf(text, sizeof text,
           GUI_MSG("File \"%s\" is not conflict\naccording to the SCCS file.  It will be removed "
                   "from the list."),
           name.c_str());
  show_message(parent_widget(), GUI_MSG("Lathe Weaving: Message"), text,
               MODAL_INFORMATION | MODAL_OK);
  if (int pos = selected_position()) XmListDeletePos(list, pos);
  drop_file();
  update_buttons();
  if (!list_count()) update_node();
}

void receive_hw_message(Hw_message message) {
  std::string op = hw_message_op(message);
  if (op.rfind("Oakline_Twinpane_", 0) == 0) gui_debug("resolve message %s", op.c_str());
  if (op == HW_TP_STARTED) {
    started_twinpane = 1;
    send_load_message = 0;
    const char *sender = hw_message_sender(message);
    if (sender) fm_procid = sender;
    rt_send_load_msg(0);
  } else if (op == HW_TP_LOADED) {
    twinpane_running = 1;
    rt_footer(nullptr, 0);
    if (const char *sender = hw_message_sender(message)) fm_procid = sender;
    send_load_message = 0;
  } else if (op == HW_TP_SAVED) {
    send_load_message = 0;
    rt_commit_file(message);
  } else if (op == HW_TP_QUITTED) {
    twinpane_exited_ok = 1;
    send_load_message = twinpane_running = started_twinpane = was_load = 0;
    fm_procid.clear();
    rt_normal_cursor();
    rt_footer(nullptr, 0);
  } else {
    gui_debug("hailway refused %s", op.c_str());
    hw_message_reject(message);
  }
  hw_message_destroy(message);
}

namespace {

void rt_next(int skip) {
  int n = list_count();
  int pos = selected_position();
  if (n <= 1) {
    rt_quit();
    if (!skip) {
      XmListDeleteAllItems(list);
      show_histories();
      rt_footer(GUI_MSG("Resolve completed"), 0);
      update_node();
    }
    update_buttons();
    return;
  }
  if (skip) {
    drop_file();
    XmListDeselectAllItems(list);
    pos = pos % n + 1;
  } else {
    delete resolve_file;
    resolve_file = nullptr;
    if (pos) XmListDeletePos(list, pos);
    n--;
    char text[256];
    snprintf(text, sizeof text, GUI_MSG("%d of %d files unresolved"), n, total_conflicts);
    rt_footer(text, 0);
    if (pos < 1 || pos > n) pos = 1;
  }
  if (!skip && !settings().autoadvance) {
    if (hw_connected && twinpane_running && !fm_procid.empty())
      resolve_send_hw_unload_msg(fm_procid.c_str());
    show_histories();
    update_buttons();
    return;
  }
  if (take_up(pos)) return;
  if (!rt_checkedout() && !rt_binary()) rt_invoke_twinpane();
}

}  // namespace

void resolve_pane_load(const char *path) {
  Kes_workspace *ws = nullptr;
  if (path && *path) {
    Kes_err *err = nullptr;
    ws = new Kes_workspace(path, &err);
    if (err) {
      rt_issue_error(err);
      delete ws;
      ws = nullptr;
    }
  }
  rt_set_ws(ws);
  rt_display_ws_info();
}

// ---- the panel

Widget Kes_gui_resolve::get_panel() {
  trans_shell_c *t = get_trans_shell();
  return t ? t->resolve_form : nullptr;
}

void Kes_gui_resolve::enable_panel() {
  if (Widget p = get_panel()) XtSetSensitive(p, True);
}

void Kes_gui_resolve::disable_panel() {
  if (Widget p = get_panel()) XtSetSensitive(p, False);
}

int Kes_gui_resolve::process() {
  rt_footer(nullptr, 0);
  int pos = selected_position();
  if (!pos) {
    error_dialog(GUI_MSG("You must select a file."));
    return 1;
  }
  // The field names the workspace: a new one replaces the pane's.
  trans_shell_c *t = get_trans_shell();
  char *path = fully_qualify_textfield(t->resolve_ws_text);
  if (*path && (!resolve_ws || strcmp(path, resolve_ws->wsname) != 0)) {
    Kes_err *err = nullptr;
    auto *ws = new Kes_workspace(path, &err);
    free(path);
    if (err) {
      delete ws;
      rt_issue_error(err);
      return 1;
    }
    rt_set_ws(ws);
  } else {
    free(path);
  }
  if (take_up(pos)) return 1;
  if (rt_checkedout() || rt_binary()) return 0;
  rt_invoke_twinpane();
  return 0;
}
