// trans_shell_c, the window "Lathe Weaving: Transactions": a row of five tabs
// (Bringover Create, Bringover Update, Putback, Resolve, Undo) over four forms
// (both bringover tabs share trans_boc_form), with the status label and the
// progress bar below; and output_shell_c, "Lathe Weaving: Transaction Output",
// where the commands' output goes.
//
// These classes only build and hold the widgets; what the forms do is in
// kes_trans_forms.cc and the panels.  The windows are made on first use and
// then only popped up and down.
#ifndef BRINDLE_GUI_SHELLS_TRANS_SHELL_H
#define BRINDLE_GUI_SHELLS_TRANS_SHELL_H

#include <X11/Intrinsic.h>

#include <string>

#include "gui/shells/main_shell.h"

class SSGauge;
// The widgets of the bringover and the putback form, which have the same shape.
struct trans_files_form {
  Widget form = nullptr;
  Widget parent_text = nullptr;  // Parent(From): or Parent(To):
  Widget parent_dots = nullptr;
  Widget child_text = nullptr;   // Child(To): or Child(From):
  Widget child_dots = nullptr;
  Widget files_label = nullptr;  // "Parent Files" or "Child Files"
  Widget files_tgl = nullptr;    // Directories and Files
  Widget flps_tgl = nullptr;     // File List Programs (FLPs)
  Widget entire_tgl = nullptr;   // Entire Workspace
  Widget list = nullptr;
  Widget add_btn = nullptr;
  Widget load_args_btn = nullptr;
  Widget save_args_btn = nullptr;
  Widget select_all_btn = nullptr;
  Widget deselect_all_btn = nullptr;
  Widget delete_btn = nullptr;
  Widget comment_text = nullptr;
  // Preview, Skip SCCS gets, Verbose, Force Conflicts or Auto Bringover,
  // Quiet, Skip Backups, Delta Comments.
  Widget options[7] = {};
  Widget action_btn = nullptr;
  Widget output_btn = nullptr;
  Widget close_btn = nullptr;
  Widget help_btn = nullptr;
};

enum { OPT_PREVIEW, OPT_SKIP_GETS, OPT_VERBOSE, OPT_FORCE_OR_AUTO, OPT_QUIET, OPT_SKIP_BACKUPS,
       OPT_DELTA_COMMENTS };

class trans_shell_c : public xd_XtWidget_c {
public:
  trans_shell_c() = default;
  ~trans_shell_c() override;
  virtual void create(Widget parent);

  Widget shell = nullptr;
  Widget trans_tab_mgr = nullptr;
  Widget tabs[5] = {};  // trans_bo_btn, trans_bo_update_btn, trans_pb_btn, ..._resolve_, ..._undo_
  trans_files_form boc;  // trans_boc_form
  trans_files_form pb;   // trans_pb_form
  Widget resolve_form = nullptr;
  Widget resolve_ws_text = nullptr;
  Widget resolve_dots = nullptr;
  Widget resolve_list = nullptr;
  Widget resolve_close_btn = nullptr;
  Widget undo_form = nullptr;
  Widget undo_ws_text = nullptr;
  Widget undo_dots = nullptr;
  Widget undo_comment_text = nullptr;
  Widget undo_preview_tgl = nullptr;
  Widget undo_quiet_tgl = nullptr;
  Widget undo_action_btn = nullptr;
  Widget undo_output_btn = nullptr;
  Widget undo_close_btn = nullptr;
  Widget undo_help_btn = nullptr;
  Widget trans_status_label = nullptr;
  Widget trans_progress_bar = nullptr;
  SSGauge *progress = nullptr;  // drawn on trans_progress_bar

  // The form of a tab: 0 and 1 share the bringover form.
  Widget form_of(int kind) const;

private:
  void create_files_form(trans_files_form *f, Widget parent, const char *prefix, int putback);
  void create_resolve_form(Widget parent);
  void create_undo_form(Widget parent);
};

class output_shell_c : public xd_XtWidget_c {
public:
  output_shell_c() = default;
  ~output_shell_c() override;
  virtual void create(Widget parent);
  // Inserts text at the insertion point, moves the point behind it, shows it.
  void update_output(const char *text, int length);
  void set_status(const char *text);
  void clear();
  // Writes the text to file; 0 on success, else errno.
  int save(const char *file);

  Widget shell = nullptr;
  Widget output_text = nullptr;
  Widget output_status = nullptr;
  Widget close_btn = nullptr;
  long insertion_point = 0;
  std::string file_name;  // where Save writes, once known
};

#endif
