// Kes_gui_props, the user's tool properties, kept in the X resource file
// ~/.brindletoolrc, and the resolve pane's settings, kept in ~/.brindle_resrc.
//
// Each property has a resource "brindletool.<key>" (class "Brindletool.<Key>").
// Values are compared over the length that Xrm gives, its terminating null
// included, so only the exact words count; an unknown value leaves the default
// standing.  A file that cannot be read leaves every
// default and a message, load_failure_text(), for the caller to show; so does
// a .brindle_resrc that cannot be parsed, whose settings stay as far as they
// were read.
//
// Orientation is stored as 1 for horizontal and 0 for vertical, the reverse of
// the canvas's numbers; Kes_gui maps one to the other.
#ifndef BRINDLE_GUI_KES_GUI_PROPS_H
#define BRINDLE_GUI_KES_GUI_PROPS_H

#include <X11/Xresource.h>

#include "transaction/kes_resolve.h"

class Kes_err;

class Kes_gui_props {
public:
  enum { PROPS_VERTICAL = 0, PROPS_HORIZONTAL = 1 };

  Kes_gui_props();
  ~Kes_gui_props();
  Kes_gui_props(const Kes_gui_props &) = delete;
  Kes_gui_props &operator=(const Kes_gui_props &) = delete;

  void init() { load(); }
  void load();
  // Composes the kept message from the tool file that could not be opened
  // and the resolve file's error, either of them null.
  void load_failure(const char *tool_file, Kes_err *resolve_err);
  const char *load_failure_text() const { return failure_text; }
  // 1 when a file is there but could not be read: worth telling the user.
  int file_unreadable() const { return unreadable; }
  const char *get_rc_path() const { return rc_path; }
  // Writes every property into the file, keeping its other resources.  0 with
  // the message in why (1024 bytes) when the file cannot be written.
  int store_tool_props(char *why);

  char *current_dir = nullptr;
  char *normal_double_click = nullptr;
  char *conflict_double_click = nullptr;
  char *workspace_path = nullptr;
  int load_parents_and_children = 0;
  int orientation = PROPS_VERTICAL;
  int workspace_names = 0;  // 0 full, 1 short, 2 descriptive
  int auto_load_file_list = 1;
  int auto_display_output = 1;
  int auto_bringover_update = 0;
  int issue_comment_warn = 1;
  int show_children_dlg = 1;
  int show_time = 1;
  int show_operation = 1;
  int show_user = 1;
  int show_host = 1;
  int show_release = 0;
  int show_status = 1;
  int sort_option = 0;
  int filter_operation = 1;
  int filter_user = 1;
  int filter_host = 1;
  int filter_release = 0;
  int filter_status = 1;
  XrmDatabase database = nullptr;
  char *rc_path = nullptr;
  Kes_resolve_rc resolve_settings;  // the resolve pane reads these
  char *failure_text = nullptr;

private:
  void read_resources();
  int unreadable = 0;
};

Kes_gui_props *get_gui_props();

#endif
