// The transaction window's forms: opening a tab with the fields that the
// selection gives, the file and program lists that the user edits
// (Kes_trans_data, one per form), the args file, the choosers of "Add..." and
// the ". . ." buttons, and the window's footers and dialogs.
//
// The functions work on the form of the tab on top: "source" and
// "destination" are its two workspace fields, the parent and the child for a
// bringover, the child and the parent for a putback.
//
// Defined in kes_trans_forms.cc (tabs, fields, window) and kes_trans_lists.cc
// (lists, args file, adding files).
#ifndef BRINDLE_GUI_KES_TRANS_FORMS_H
#define BRINDLE_GUI_KES_TRANS_FORMS_H

#include <X11/Intrinsic.h>

#include "gui/kes_gui.h"

class Kes_strlist;
class Kes_workspace;
class GfileChooser;
class trans_shell_c;
class output_shell_c;

// Hangs on each form's list widget as its user data.
struct Kes_trans_data {
  Widget action_button;
  Kes_strlist *file_list;
  Kes_strlist *flp_list;
};

// The windows; null until first use.
trans_shell_c *get_trans_shell();
// The transaction window's shell, made if need be: the parent of its dialogs.
Widget get_trans_shell_widget();
output_shell_c *get_output_shell();
output_shell_c *ensure_output_shell();
void show_output_window();

// The kind of the tab on top.
Kes_gui_util_trans_enum get_trans_category();
void set_trans_category(Kes_gui_util_trans_enum kind);
// Opens the window on the tab, with the fields the selected workspaces give;
// 0 when the selection is refused or the question cancelled.
int init_trans_form(Kes_gui_util_trans_enum kind);
// Puts the tab on top without touching its fields.
void show_trans_tab(Kes_gui_util_trans_enum kind);
Kes_trans_data *get_trans_data(Kes_gui_util_trans_enum kind);
// The Resolve tab on top for the workspace at path, with its files in conflict.
void trans_show_resolve(const char *path);

// The window's footer and dialogs.
void trans_footer(const char *text);
void trans_error_dialog(const char *text);
// A question with Yes and No; 1 for Yes.
int trans_question(const char *text);
// The text field made absolute in place (a leading "~" too); the new value,
// malloc-ed.
char *fully_qualify_textfield(Widget field);
// The field's text, malloc-ed.
char *get_field(Widget field);
void set_field(Widget field, const char *text);

// Lists.
void set_file_list_switch();
int file_list_mode();  // 0 files, 1 programs, 2 entire workspace
void switch_to_file_list();
void switch_to_flp_list();
void switch_to_entire_ws();
// Add, Delete and the args buttons as the list mode allows.
void update_list_buttons();
void clear_argument_lists();
void set_argument_lists(Kes_workspace *ws);
// The workspace's args file appended to list; an error goes to the dialog.
void args_strlist_from_wsname(Kes_workspace *ws, Kes_strlist *list);
void load_dirs_files_list(Kes_workspace *ws);
void save_dirs_files_list(Kes_workspace *ws);
int args_lists_empty();
void update_action_button_state();
Widget get_scroll_list();
void fill_scroll_list();
void select_all_scroll_list();
void unselect_all_scroll_list();
void delete_selected_backing_files();
void delete_selection_scroll_list();
// The fields, as texts (malloc-ed) and set.
char *get_source_ws_dir();
void set_source_ws_dir(const char *dir);
char *get_destination_ws_dir();
void set_destination_ws_dir(const char *dir);
// After the fields were set: the list mode, the lists of a valid child and
// the footers.
void check_trans_fields();
// The footer that tells what the form still needs, most urgent first.
void trans_field_footers();
void trans_add_files_callback(GfileChooser *chooser, void *data);
void trans_add_flps_callback(GfileChooser *chooser, void *data);
// "Add...": the chooser of the mode, loaded with the source workspace.
void trans_add_button();
// The directory chooser behind a ". . ." button, for field.
void show_dot_dot_chooser(Widget field, int workspaces_only);
// The choosers pop down when a transaction starts.
void popdown_trans_choosers();

#endif
