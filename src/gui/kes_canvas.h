// Kes_canvas, the central view of the tool: it owns every Kes_graph and
// Kes_graph_node, stacks the trees on an SSCanvas, and turns what the user does
// with mouse and keys into calls of callbacks that the application installs.
//
// It has no dialogs of its own; the eight callbacks connect it with the rest of
// the tool, and until they are installed each prints a reminder on standard
// error.  The one exception is the propagation that follows a drag, which opens
// the transaction window itself.
//
// The name style and orientation come in pairs: the wanted value, which the
// View toggles set, and the applied one, which layout() makes follow.  Every
// bulk change holds repaints back, so the canvas flushes once.
//
// Defined in kes_canvas.cc (construction, images, layout, selection, events) and
// kes_canvas_load.cc (loading, unloading, reparenting, propagation).
#ifndef BRINDLE_GUI_KES_CANVAS_H
#define BRINDLE_GUI_KES_CANVAS_H

#include <X11/Intrinsic.h>

#include "gui/kes_graph.h"

class Kes_wslist;
class SSCanvas;

class Kes_canvas {
public:
  typedef void (*dbl_click_proc)(Kes_wslist *list);
  typedef int (*rename_init_proc)(Kes_workspace *ws);
  typedef void (*rename_proc)(Kes_workspace *ws);
  typedef void (*text_proc)(const char *text);
  typedef void (*key_proc)();
  typedef int (*reparent_proc)(Kes_workspace *child, Kes_workspace *new_parent);

  // On the drawing area "main_draw" below parent, the application shell.
  Kes_canvas(Widget parent, XFontSet font, int x, int y, Widget popup);
  ~Kes_canvas();
  Kes_canvas(const Kes_canvas &) = delete;
  Kes_canvas &operator=(const Kes_canvas &) = delete;

  SSCanvas *get_canvas() const { return canvas; }
  Kes_graph_list *get_graphs() const { return graphs; }
  Kes_graph_node_list *get_all_nodes() const { return all_nodes; }
  XFontSet get_font() const { return font; }
  Cursor get_ws_cursor() const { return ws_cursor; }
  int get_height() const { return height; }
  int get_width() const { return width; }
  Kes_canvas_name_style get_name_style() const { return name_style; }
  void set_name_style(Kes_canvas_name_style style) { name_style = style; }
  Kes_canvas_name_style get_current_name_style() const { return current_name_style; }
  Kes_canvas_orientation get_orientation() const { return orientation; }
  void set_orientation(Kes_canvas_orientation o) { orientation = o; }
  Kes_canvas_orientation get_current_orientation() const { return current_orientation; }
  int get_graph_node_spacing() const { return graph_node_spacing; }

  // The pictures, plain and highlighted, by state and cycle.
  Pixmap get_image(int conflict, int circular, int hilite) const;

  void set_dbl_click_callback(dbl_click_proc p) { dbl_click_callback = p; }
  void set_rename_init_callback(rename_init_proc p) { rename_init_callback = p; }
  void set_rename_callback(rename_proc p) { rename_callback = p; }
  void set_rename_abort_callback(text_proc p) { rename_abort_callback = p; }
  void set_delete_key_callback(key_proc p) { delete_key_callback = p; }
  void set_props_key_callback(key_proc p) { props_key_callback = p; }
  void set_reparent_callback(reparent_proc p) { reparent_callback = p; }
  void set_reparent_abort_callback(text_proc p) { reparent_abort_callback = p; }
  void call_dbl_click(Kes_wslist *list) { dbl_click_callback(list); }
  int call_rename_init(Kes_workspace *ws) { return rename_init_callback(ws); }
  void call_rename(Kes_workspace *ws) { rename_callback(ws); }
  void call_rename_abort(const char *text) { rename_abort_callback(text); }
  void call_delete_key() { delete_key_callback(); }
  void call_props_key() { props_key_callback(); }
  int call_reparent(Kes_workspace *child, Kes_workspace *parent) {
    return reparent_callback(child, parent);
  }
  void call_reparent_abort(const char *text) { reparent_abort_callback(text); }

  // Attaches each workspace of list where its parent is; loading a workspace
  // twice changes nothing.
  void load_workspaces(Kes_wslist *list);
  void unload_workspaces(Kes_wslist *list);
  // A workspace the tool made itself, below parent (or none).
  void add_workspace(Kes_workspace *parent, Kes_workspace *ws);
  void rename_workspace(Kes_workspace *old_ws, Kes_workspace *new_ws);
  // With new_parent not on the canvas the node moves to no parent.
  void reparent_workspace(Kes_workspace *ws, Kes_workspace *new_parent);
  // A new list with copies of the selected workspaces, in selection order.
  Kes_wslist *get_selected_workspaces();
  void layout();
  void layout_graphs();
  void rebuild_graphs();
  void add_graph(Kes_graph *graph);
  void add_graph_after(Kes_graph *where, Kes_graph *graph);
  void delete_graph(Kes_graph *graph);  // takes it off the list and deletes it
  void add_node(Kes_graph_node *node);
  void delete_node(Kes_graph_node *node);  // takes it off the list and deletes it
  void add_new_root(Kes_graph_node *node);
  void delete_new_root(Kes_graph_node *node);
  Kes_graph *kes_find_graph(Kes_workspace *ws);  // the graph rooted at ws
  Kes_graph_node *kes_find_node(Kes_workspace *ws);
  Kes_graph_node *ss_find_node(SSDrawIcon *icon);
  Kes_graph *ss_find_graph(SSTree *tree);
  // The graph whose tree holds node, or that node's root heads.
  Kes_graph *graph_of(Kes_graph_node *node);
  void get_dbl_click(Kes_graph_node *node);
  // A drag of source onto target (none: the bare canvas) opens the transaction
  // window for the pair.
  void setup_propagation(Kes_graph_node *source, Kes_graph_node *target);
  // The action select dialog: 0 the first answer, 1 the second, 2 Cancel.
  int ask_on_the_fly_propagation(const char *source, const char *target);
  void set_delay_repaint(int delay);

  // The reserved state of a rename typed on the canvas itself.
  int rename_in_progress() const { return rename_in_progress_; }
  void set_rename_in_progress() { rename_in_progress_ = 1; }
  void reset_rename_in_progress() { rename_in_progress_ = 0; }
  void rename_cleanup() {}

  // Writes every node's label, state and place on the screen to the debug trace.
  void trace_layout();

private:
  void load_images();
  void measure_view();
  void attach_ws(Kes_workspace *ws, Kes_workspace *parent);
  void update_name_style();
  void update_orientation();
  void bring_into_view(Kes_graph_node *node);
  void trace_selection();
  static void ws_canvas_event_proc(SSRectobj *obj, XEvent *event);
  static void canvas_drop_proc(SSRectobj *dragged, SSRectobj *target, XEvent *event);
  static void ws_canvas_resize_proc(Widget w, XtPointer data, XEvent *event, Boolean *cont);
  static void selection_proc(SSCanvas *canvas, void *data);
  static void expose_proc(Widget w, XtPointer data, XtPointer call);

  Widget parent_widget;
  SSCanvas *canvas = nullptr;
  Kes_graph_list *graphs;
  Kes_graph_node_list *all_nodes;
  Kes_graph_node_list *new_roots;
  // plain, circular, conflict, conflict and circular; each plain and highlighted
  Pixmap images[8] = {None, None, None, None, None, None, None, None};
  Cursor ws_cursor = None;
  dbl_click_proc dbl_click_callback;
  XFontSet font;
  Widget rename_panel = nullptr;
  Widget rename_field = nullptr;
  rename_init_proc rename_init_callback;
  rename_proc rename_callback;
  text_proc rename_abort_callback;
  int height = 0;
  int width = 0;
  int view_height = 0;
  int view_width = 0;
  int rename_in_progress_ = 0;
  key_proc delete_key_callback;
  key_proc props_key_callback;
  reparent_proc reparent_callback;
  text_proc reparent_abort_callback;
  SSEventHandlerProc old_handler = nullptr;
  Kes_canvas_name_style name_style = KES_NAMES_FULL;
  Kes_canvas_name_style current_name_style = KES_NAMES_FULL;
  Kes_canvas_orientation orientation = KES_VERTICAL;
  Kes_canvas_orientation current_orientation = KES_VERTICAL;
  int graph_spacing = 0;
  int graph_node_spacing = 15;

  Widget drawing_area;
  Widget scrolled_window;
  int scroll_bar_margin = 0;
};

#endif
