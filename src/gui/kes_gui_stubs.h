// The actions behind the menus and the canvas's popup menu, and the callbacks
// that connect the canvas with the rest of the tool.  The dialogs behind most
// of them live in gui/shells/, one file each.
#ifndef BRINDLE_GUI_KES_GUI_STUBS_H
#define BRINDLE_GUI_KES_GUI_STUBS_H

void gui_stubs_load_workspaces();
void gui_stubs_create_workspace();
void gui_stubs_create_child();
void gui_stubs_unload_workspaces();
void gui_stubs_load_parent_workspace();
void gui_stubs_load_children();
void gui_stubs_delete_workspaces();
void gui_stubs_edit_locks();
void gui_stubs_rename_workspaces();
void gui_stubs_reparent_workspaces();
void gui_stubs_updatenames();
void gui_stubs_history_browser();
void gui_stubs_ws_props();
void gui_stubs_bw_props();
void gui_stubs_commands_menu_resolve();
// Help, Overview: the help's contents page in the user's browser.
void gui_stubs_help();
// Help, About: the version and what the tool is.
void gui_stubs_about();
void gui_stubs_trans_create();
void gui_stubs_trans_update();
void gui_stubs_trans_putback();
void gui_stubs_trans_resolve();
void gui_stubs_trans_undo();
// View, Refresh: states, parents and vanished workspaces read again.
void main_refresh_btn_callback();

#endif
