// Kes_canvas: construction, pictures, stacking the trees, view settings, the
// selection, the canvas's own events and the layout trace.
#include <Xm/DrawingA.h>
#include <Xm/ScrollBar.h>
#include <Xm/ScrolledW.h>
#include <Xm/Xm.h>
#include <X11/keysym.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "gui/kes_canvas.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "toolkit/ss_canvas.h"
#include "toolkit/ss_draw.h"
#include "toolkit/ss_event.h"
#include "toolkit/ss_tree.h"
#include "toolkit/ss_xpm.h"
#include "workspace/kes_workspace.h"

// A drop on a tree, in kes_graph_node.cc.
void tree_dnd_proc(SSRectobj *dragged, SSRectobj *target, XEvent *event);

namespace {

void remind_dbl_click(Kes_wslist *) { fprintf(stderr, "Double click callback needs to be installed\n"); }
int remind_rename_init(Kes_workspace *) {
  fprintf(stderr, "Rename init callback needs to be installed\n");
  return 1;
}
void remind_rename(Kes_workspace *) { fprintf(stderr, "Rename callback needs to be installed\n"); }
void remind_rename_abort(const char *) {
  fprintf(stderr, "Rename abort callback needs to be installed\n");
}
void remind_delete_key() { fprintf(stderr, "Delete key callback needs to be installed\n"); }
void remind_props_key() { fprintf(stderr, "Props key callback needs to be installed\n"); }
int remind_reparent(Kes_workspace *, Kes_workspace *) {
  fprintf(stderr, "Reparent callback needs to be installed\n");
  return 0;
}
void remind_reparent_abort(const char *) {
  fprintf(stderr, "Reparent abort callback needs to be installed\n");
}

// The pictures by conflict and cycle, in the order of the images array.
const char *const kPictures[] = {"ws_plain.xpm", "ws_circ.xpm", "ws_conf.xpm", "ws_conf_circ.xpm"};

}  // namespace

Kes_canvas::Kes_canvas(Widget parent, XFontSet font_set, int x, int y, Widget popup)
    : parent_widget(parent),
      graphs(new Kes_graph_list(this)),
      all_nodes(new Kes_graph_node_list(1)),
      new_roots(new Kes_graph_node_list),
      dbl_click_callback(remind_dbl_click),
      font(font_set),
      rename_init_callback(remind_rename_init),
      rename_callback(remind_rename),
      rename_abort_callback(remind_rename_abort),
      delete_key_callback(remind_delete_key),
      props_key_callback(remind_props_key),
      reparent_callback(remind_reparent),
      reparent_abort_callback(remind_reparent_abort) {
  drawing_area = XtNameToWidget(parent, "*main_draw");
  // An automatic scrolled window puts its clip window between it and the area.
  scrolled_window = XtParent(XtParent(drawing_area));
  canvas = new SSCanvas(drawing_area, popup);
  canvas->setXY(x, y);
  canvas->setDropSite(1);
  canvas->setDropProc(canvas_drop_proc);
  canvas->addKeyData(KES_CANVAS_KEY, this);
  old_handler = canvas->getEventHandler();
  canvas->setEventHandler(ws_canvas_event_proc);
  canvas->setSelectionProc(selection_proc, this);
  XtAddEventHandler(parent, StructureNotifyMask, False, ws_canvas_resize_proc, this);
  if (gui_debug_on()) XtAddCallback(drawing_area, XmNexposeCallback, expose_proc, this);
  measure_view();
  load_images();
}

Kes_canvas::~Kes_canvas() {
  XtRemoveEventHandler(parent_widget, StructureNotifyMask, False, ws_canvas_resize_proc, this);
  delete graphs;
  delete new_roots;
  delete all_nodes;
  delete canvas;
  Display *dpy = XtDisplay(drawing_area);
  for (Pixmap p : images)
    if (p != None) XFreePixmap(dpy, p);
  if (ws_cursor != None) XFreeCursor(dpy, ws_cursor);
}

void Kes_canvas::load_images() {
  Display *dpy = XtDisplay(drawing_area);
  Window root = RootWindowOfScreen(XtScreen(drawing_area));
  Pixel fg = canvas->getForeground(), bg = canvas->getBackground();
  Pixel black = BlackPixelOfScreen(XtScreen(drawing_area));
  char path[1024];
  for (int i = 0; i < 4; i++) {
    gui_icon_path(kPictures[i], path);
    if (SSXpmFileToPixmap(dpy, root, path, fg, bg, &images[2 * i], nullptr, nullptr))
      images[2 * i] = None;
    if (SSXpmFileToPixmap(dpy, root, path, fg, black, &images[2 * i + 1], nullptr, nullptr))
      images[2 * i + 1] = None;
  }
  gui_icon_path("ws_cursor.xpm", path);
  if (SSXpmFileToCursor(dpy, path, fg, bg, 23, 23, &ws_cursor)) ws_cursor = None;
}

Pixmap Kes_canvas::get_image(int conflict, int circular, int hilite) const {
  return images[((conflict ? 2 : 0) + (circular ? 1 : 0)) * 2 + (hilite ? 1 : 0)];
}

void Kes_canvas::measure_view() {
  Dimension w = 0, h = 0, sb_width = 0;
  Widget vsb = nullptr;
  XtVaGetValues(scrolled_window, XmNwidth, &w, XmNheight, &h, XmNverticalScrollBar, &vsb, nullptr);
  if (vsb) XtVaGetValues(vsb, XmNwidth, &sb_width, nullptr);
  view_width = std::max(w - 4, 1);
  view_height = std::max(h - 4, 1);
  scroll_bar_margin = sb_width + 8;
}

void Kes_canvas::set_delay_repaint(int delay) { canvas->setDelayRepaint(delay); }

// ---- lists and lookups

void Kes_canvas::add_graph(Kes_graph *graph) { graphs->add_new_data(graph); }

void Kes_canvas::add_graph_after(Kes_graph *where, Kes_graph *graph) {
  Kes_listelem *e = where ? graphs->find_elem(where) : nullptr;
  if (e)
    graphs->insert_after(e, new Kes_listelem(graph));
  else
    graphs->add_new_data(graph);
}

void Kes_canvas::delete_graph(Kes_graph *graph) {
  if (Kes_listelem *e = graphs->find_elem(graph)) graphs->delete_elem(e);
}

void Kes_canvas::add_node(Kes_graph_node *node) { all_nodes->add_new_data(node); }

void Kes_canvas::delete_node(Kes_graph_node *node) {
  delete_new_root(node);
  if (Kes_listelem *e = all_nodes->find_node(node)) all_nodes->delete_elem(e);
}

void Kes_canvas::add_new_root(Kes_graph_node *node) {
  if (!new_roots->find_node(node)) new_roots->add_new_data(node);
}

void Kes_canvas::delete_new_root(Kes_graph_node *node) {
  if (Kes_listelem *e = new_roots->find_node(node)) new_roots->delete_elem(e);
}

Kes_graph *Kes_canvas::kes_find_graph(Kes_workspace *ws) {
  for (Kes_listelem *e = graphs->head.next; e != &graphs->head; e = e->next) {
    auto *g = static_cast<Kes_graph *>(e->data);
    if (g->get_root_node() && g->get_root_node()->get_workspace()->compare(ws)) return g;
  }
  return nullptr;
}

Kes_graph_node *Kes_canvas::kes_find_node(Kes_workspace *ws) { return all_nodes->find_ws(ws); }

Kes_graph_node *Kes_canvas::ss_find_node(SSDrawIcon *icon) {
  return icon ? static_cast<Kes_graph_node *>(icon->getKeyData(KES_NODE_KEY)) : nullptr;
}

Kes_graph *Kes_canvas::ss_find_graph(SSTree *tree) {
  return tree ? static_cast<Kes_graph *>(tree->getKeyData(KES_GRAPH_KEY)) : nullptr;
}

Kes_graph *Kes_canvas::graph_of(Kes_graph_node *node) {
  if (node->get_my_graph()) return node->get_my_graph();
  // Up the parents to a root; no more steps than there are nodes, for a cycle.
  int steps = all_nodes->count;
  for (Kes_graph_node *n = node; n && steps-- >= 0; n = n->get_parent_node())
    for (Kes_listelem *e = graphs->head.next; e != &graphs->head; e = e->next)
      if (static_cast<Kes_graph *>(e->data)->get_root_node() == n)
        return static_cast<Kes_graph *>(e->data);
  return nullptr;
}

Kes_wslist *Kes_canvas::get_selected_workspaces() {
  auto *list = new Kes_wslist;
  for (SSListNode *n = canvas->getSelectedList(); n; n = n->getNext())
    if (Kes_graph_node *node = ss_find_node(static_cast<SSDrawIcon *>(n->getData())))
      list->add_new_copy(node->get_workspace());
  return list;
}

// ---- layout

void Kes_canvas::layout() {
  set_delay_repaint(1);
  for (Kes_listelem *e = graphs->head.next; e != &graphs->head; e = e->next)
    if (SSTree *t = static_cast<Kes_graph *>(e->data)->get_ss_tree()) t->setBatchLayout(1);
  if (name_style != current_name_style) update_name_style();
  if (orientation != current_orientation) update_orientation();
  for (Kes_listelem *e = graphs->head.next; e != &graphs->head; e = e->next)
    static_cast<Kes_graph *>(e->data)->relayout();
  layout_graphs();
  set_delay_repaint(0);
}

void Kes_canvas::update_name_style() {
  current_name_style = name_style;
  for (Kes_listelem *e = all_nodes->head.next; e != &all_nodes->head; e = e->next)
    static_cast<Kes_graph_node *>(e->data)->set_name_style(current_name_style);
}

void Kes_canvas::update_orientation() {
  current_orientation = orientation;
  for (Kes_listelem *e = graphs->head.next; e != &graphs->head; e = e->next)
    static_cast<Kes_graph *>(e->data)->set_orientation(current_orientation);
}

void Kes_canvas::layout_graphs() {
  set_delay_repaint(1);
  int y = 1, max_width = 1;
  for (Kes_listelem *e = graphs->head.next; e != &graphs->head; e = e->next) {
    SSTree *tree = static_cast<Kes_graph *>(e->data)->get_ss_tree();
    if (!tree) continue;
    tree->setXY(0, y);
    y += tree->getHeight() + graph_spacing;
    max_width = std::max(max_width, tree->getWidth());
  }
  height = y;
  width = max_width;
  // The drawing surface is never smaller than the visible area, and content
  // that just fits gets no scroll bars.
  const int sb = scroll_bar_margin;
  const int w = view_width - (height > view_height ? sb : 0);
  const int h = view_height - (width > view_width ? sb : 0);
  const int canvas_height = y < h ? h : y < view_height ? view_height : y;
  const int canvas_width = width < w ? w : std::max(width, view_width);
  canvas->startSet();
  canvas->setWidth(canvas_width);
  canvas->setHeight(canvas_height);
  canvas->finishSet();
  set_delay_repaint(0);
  trace_layout();
}

void Kes_canvas::bring_into_view(Kes_graph_node *node) {
  SSDrawIcon *icon = node ? node->get_node_graphic() : nullptr;
  if (!icon) return;
  Widget hsb = nullptr, vsb = nullptr;
  XtVaGetValues(scrolled_window, XmNhorizontalScrollBar, &hsb, XmNverticalScrollBar, &vsb,
                nullptr);
  const int edges[2][2] = {{icon->getX(), icon->getX() + icon->getWidth()},
                           {icon->getY(), icon->getY() + icon->getHeight()}};
  Widget bars[2] = {hsb, vsb};
  for (int i = 0; i < 2; i++) {
    if (!bars[i] || !XtIsManaged(bars[i])) continue;
    int value = 0, slider = 0, minimum = 0, maximum = 0, incr = 0, page = 0;
    XtVaGetValues(bars[i], XmNvalue, &value, XmNsliderSize, &slider, XmNminimum, &minimum,
                  XmNmaximum, &maximum, XmNincrement, &incr, XmNpageIncrement, &page, nullptr);
    if (slider >= maximum) continue;
    int wanted = value;
    if (edges[i][0] < value)
      wanted = edges[i][0];
    else if (edges[i][1] > value + slider)
      wanted = edges[i][1] - slider;
    wanted = std::max(minimum, std::min(wanted, maximum - slider));
    if (wanted != value) XmScrollBarSetValues(bars[i], wanted, slider, incr, page, True);
  }
}

void Kes_canvas::trace_layout() {
  if (!gui_debug_on() || !XtIsRealized(drawing_area)) return;
  Display *dpy = XtDisplay(drawing_area);
  Window root = RootWindowOfScreen(XtScreen(drawing_area)), child;
  int count = 0, graph_index = 0;
  for (Kes_listelem *e = graphs->head.next; e != &graphs->head; e = e->next, graph_index++) {
    Kes_graph_node_list *nodes = static_cast<Kes_graph *>(e->data)->get_graph_nodes();
    if (!nodes) continue;
    for (Kes_listelem *n = nodes->head.next; n != &nodes->head; n = n->next, count++) {
      auto *node = static_cast<Kes_graph_node *>(n->data);
      SSDrawIcon *icon = node->get_node_graphic();
      int x = 0, y = 0;
      XTranslateCoordinates(dpy, XtWindow(drawing_area), root, icon->getX(), icon->getY(), &x, &y,
                            &child);
      gui_debug("node %s %d %d %d %d %d %d %d %s", node->get_full_name(), x, y, icon->getWidth(),
                icon->getHeight(), node->get_ws_state(), node->get_circular(), graph_index,
                node->get_node_label());
    }
  }
  gui_debug("layout %d %s", count,
            current_orientation == KES_VERTICAL ? "vertical" : "horizontal");
}

// ---- selection and events

void Kes_canvas::selection_proc(SSCanvas *, void *data) {
  static_cast<Kes_canvas *>(data)->trace_selection();
}

void Kes_canvas::trace_selection() {
  std::string line = "selected";
  for (SSListNode *n = canvas->getSelectedList(); n; n = n->getNext())
    if (Kes_graph_node *node = ss_find_node(static_cast<SSDrawIcon *>(n->getData())))
      line += std::string(" ") + node->get_full_name();
  gui_debug("%s", line.c_str());
}

void Kes_canvas::get_dbl_click(Kes_graph_node *node) {
  Kes_wslist list;
  list.add_new_copy(node->get_workspace());
  for (SSListNode *n = canvas->getSelectedList(); n; n = n->getNext()) {
    Kes_graph_node *other = ss_find_node(static_cast<SSDrawIcon *>(n->getData()));
    if (other && other != node) list.add_new_copy(other->get_workspace());
  }
  dbl_click_callback(&list);
}

void Kes_canvas::ws_canvas_event_proc(SSRectobj *obj, XEvent *event) {
  auto *self = static_cast<Kes_canvas *>(obj->getKeyData(KES_CANVAS_KEY));
  set_brindle_curr_item(nullptr);
  if (event->type == KeyPress) {
    KeySym k = SSEventKeysym(event);
    if (k == XK_Delete || k == XK_F20) {
      self->delete_key_callback();
      return;
    }
    if (k == XK_F13) {
      self->props_key_callback();
      return;
    }
  }
  if (self->old_handler) self->old_handler(obj, event);
}

void Kes_canvas::canvas_drop_proc(SSRectobj *dragged, SSRectobj *target, XEvent *event) {
  // The bare canvas takes a drop as a tree does: with no target.
  tree_dnd_proc(dragged, target, event);
}

void Kes_canvas::ws_canvas_resize_proc(Widget, XtPointer data, XEvent *event, Boolean *) {
  if (event->type != ConfigureNotify) return;
  auto *self = static_cast<Kes_canvas *>(data);
  self->measure_view();
  self->layout_graphs();
  if (self->rename_in_progress()) {
    self->rename_cleanup();
    self->rename_abort_callback(GUI_MSG("Rename aborted"));
  }
}

void Kes_canvas::expose_proc(Widget, XtPointer data, XtPointer call) {
  // The first complete exposure: the window is up, and places are final.
  static int shown = 0;
  auto *cbs = static_cast<XmDrawingAreaCallbackStruct *>(call);
  if (shown || !cbs->event || cbs->event->xexpose.count != 0) return;
  shown = 1;
  XSync(XtDisplay(static_cast<Kes_canvas *>(data)->drawing_area), False);
  gui_debug("shown");
  static_cast<Kes_canvas *>(data)->trace_layout();
}
