// Kes_graph_node: one loaded workspace, its names, state, icon and place in the
// forest; the event procedures of icons and trees; the current item.
#include <X11/keysym.h>
#include <sys/stat.h>
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
#include "gui/shells/main_shell.h"
#include "toolkit/ss_canvas.h"
#include "toolkit/ss_draw.h"
#include "toolkit/ss_event.h"
#include "toolkit/ss_tree.h"
#include "util/kes_err.h"
#include "util/kes_path.h"
#include "util/kes_str.h"
#include "workspace/kes_md_description.h"
#include "workspace/kes_workspace.h"

void icon_event_proc(SSRectobj *obj, XEvent *event);
void icon_dbl_click_proc(SSRectobj *obj, XEvent *event);
void icon_dnd_proc(SSRectobj *dragged, SSRectobj *target, XEvent *event);
void tree_dnd_proc(SSRectobj *dragged, SSRectobj *target, XEvent *event);
void graph_event_proc(SSRectobj *obj, XEvent *event);

// ---- free functions

const char *compute_basename(const char *path) {
  const char *slash = strrchr(path, '/');
  return slash ? slash + 1 : path;
}

const char *get_unique_ws_name(const char *path, char *buf) {
  if (path[0] == '/' && kes_path_to_netpath(path, buf)) return buf;
  snprintf(buf, 1024, "%s", path);
  return buf;
}

void set_brindle_curr_item(const char *path) {
  // putenv keeps the pointer: the buffer lives as long as the process.
  static char entry[1024 + sizeof "BRINDLE_CURR_ITEM="];
  const char *value = path ? path : "";
  if (entry[0] && strcmp(entry + strlen("BRINDLE_CURR_ITEM="), value) == 0) return;
  snprintf(entry, sizeof entry, "BRINDLE_CURR_ITEM=%s", value);
  putenv(entry);
  gui_debug("curr_item %s", value);
}

int accessible_ws(const char *path) {
  Kes_gui *gui = get_gui();
  char text[1200];
  struct stat st;
  if (stat(path, &st) != 0) {
    snprintf(text, sizeof text, GUI_MSG("%s doesn't exist"), compute_basename(path));
  } else if (access(path, R_OK | X_OK) != 0) {
    snprintf(text, sizeof text, GUI_MSG("There is no access to %s"), compute_basename(path));
  } else {
    if (gui) gui->clear_footer(KES_GUI_LEFT_FOOTER);
    return 1;
  }
  if (gui) gui->print_footer(KES_GUI_LEFT_FOOTER, text);
  return 0;
}

int is_workspace_in_conflict(Kes_workspace *ws) {
  Kes_strlist *names = nullptr;
  Kes_err *err = ws->get_conflicts(&names);
  int answer = !err && names && names->count > 0;
  if (err) gui_issue_errdialog(err->text);
  delete err;
  delete names;
  return answer;
}

// ---- construction

Kes_graph_node::Kes_graph_node(Kes_canvas *canvas, Kes_workspace *ws, kes_ws_state state)
    : ws_state(state), ws_canvas(canvas), workspace(ws),
      children_nodes(new Kes_graph_node_list) {
  full_name = kes_strdup(ws->wsname ? ws->wsname : "");
  short_name = compute_basename(full_name);
  read_descname();
  set_name_style(canvas->get_current_name_style());
}

Kes_graph_node::Kes_graph_node(Kes_workspace *ws, kes_ws_state state)
    : ws_state(state), workspace(ws), children_nodes(new Kes_graph_node_list) {
  full_name = kes_strdup(ws->wsname ? ws->wsname : "");
  short_name = compute_basename(full_name);
  node_label = full_name;
}

Kes_graph_node::~Kes_graph_node() {
  delete workspace;
  if (parent_node) parent_node->delete_child_node(this);
  for (Kes_listelem *e = children_nodes->head.next; e != &children_nodes->head; e = e->next)
    static_cast<Kes_graph_node *>(e->data)->parent_node = nullptr;
  delete children_nodes;
  delete node_graphic;
  delete parent_ws;
  free(full_name);
  free(desc_name);
}

void Kes_graph_node::read_descname() {
  Kes_strlist *lines = nullptr;
  Kes_description description;
  Kes_err *err = workspace->get_description(&lines);
  if (!err) err = description.init_description(lines);
  delete err;  // an unreadable description shows as no descriptive name
  delete lines;
  set_descname(description.name);
}

// ---- names

void Kes_graph_node::set_name_style(Kes_canvas_name_style style) {
  if (!ws_canvas) {
    node_label = full_name;
  } else {
    switch (style) {
      case KES_NAMES_SHORT: node_label = short_name; break;
      case KES_NAMES_DESCRIPTIVE: node_label = desc_name; break;
      default: node_label = full_name; break;
    }
  }
  show_label();
}

void Kes_graph_node::show_label() {
  if (node_graphic && strcmp(node_graphic->getText()->getString(), node_label) != 0)
    node_graphic->getText()->setString(node_label);
}

void Kes_graph_node::set_name(const char *name) {
  // A descriptive name made from the short name follows it.
  const bool derived = !desc_name || std::string("<") + short_name + ">" == desc_name;
  char *old = full_name;
  full_name = kes_strdup(name);
  short_name = compute_basename(full_name);
  free(old);
  if (derived)
    set_descname(nullptr);
  else
    set_name_style(ws_canvas ? ws_canvas->get_current_name_style() : KES_NAMES_FULL);
}

void Kes_graph_node::set_descname(const char *name) {
  char *text = name && *name ? kes_strdup(name)
                             : kes_strdup((std::string("<") + short_name + ">").c_str());
  free(desc_name);
  desc_name = text;
  set_name_style(ws_canvas ? ws_canvas->get_current_name_style() : KES_NAMES_FULL);
}

// ---- state and pictures

Pixmap Kes_graph_node::calculate_image(kes_ws_state state, int circ) {
  if (state != KES_WS_NORMAL && state != KES_WS_CONFLICT) return None;
  return ws_canvas->get_image(state == KES_WS_CONFLICT, circ, 0);
}

Pixmap Kes_graph_node::calculate_hilite_image(kes_ws_state state, int circ) {
  if (state != KES_WS_NORMAL && state != KES_WS_CONFLICT) return None;
  return ws_canvas->get_image(state == KES_WS_CONFLICT, circ, 1);
}

Pixmap Kes_graph_node::get_ws_plain_image() { return ws_canvas->get_image(0, 0, 0); }
Pixmap Kes_graph_node::get_ws_plain_hilite_image() { return ws_canvas->get_image(0, 0, 1); }
Pixmap Kes_graph_node::get_ws_circ_image() { return ws_canvas->get_image(0, 1, 0); }
Pixmap Kes_graph_node::get_ws_circ_hilite_image() { return ws_canvas->get_image(0, 1, 1); }
Pixmap Kes_graph_node::get_ws_conf_image() { return ws_canvas->get_image(1, 0, 0); }
Pixmap Kes_graph_node::get_ws_conf_hilite_image() { return ws_canvas->get_image(1, 0, 1); }
Pixmap Kes_graph_node::get_ws_conf_circ_image() { return ws_canvas->get_image(1, 1, 0); }
Pixmap Kes_graph_node::get_ws_conf_circ_hilite_image() { return ws_canvas->get_image(1, 1, 1); }
Pixmap Kes_graph_node::get_state_image() { return calculate_image(ws_state, 0); }
Pixmap Kes_graph_node::get_state_hilite_image() { return calculate_hilite_image(ws_state, 0); }
Pixmap Kes_graph_node::get_state_circ_image() { return calculate_image(ws_state, 1); }
Pixmap Kes_graph_node::get_state_circ_hilite_image() { return calculate_hilite_image(ws_state, 1); }

void Kes_graph_node::set_images(Pixmap plain, Pixmap hilite) {
  if (node_graphic) node_graphic->getImage()->setPixmaps(plain, hilite);
}

void Kes_graph_node::change_state(kes_ws_state state) {
  Pixmap plain = calculate_image(state, circular);
  if (plain == None) return;
  ws_state = state;
  set_images(plain, calculate_hilite_image(state, circular));
  gui_debug("state %s %d", get_full_name(), state);
}

void Kes_graph_node::update_state() {
  read_descname();
  change_state(is_workspace_in_conflict(workspace) ? KES_WS_CONFLICT : KES_WS_NORMAL);
}

// ---- structure

void Kes_graph_node::add_child_node(Kes_graph_node *child) {
  child->parent_node = this;
  children_nodes->add_new_data(child);
}

void Kes_graph_node::delete_child_node(Kes_graph_node *child) {
  if (Kes_listelem *e = children_nodes->find_node(child)) {
    children_nodes->delete_elem(e);
    if (child->parent_node == this) child->parent_node = nullptr;
  }
}

void Kes_graph_node::add_to_graph(Kes_graph *graph) {
  my_graph = graph;
  graph->add_node(this);
}

int Kes_graph_node::is_ancestor(Kes_graph_node *node) {
  // A cycle in the parent links ends the walk where it comes round again.
  std::vector<Kes_graph_node *> seen;
  for (Kes_graph_node *p = parent_node; p; p = p->parent_node) {
    if (p == node) return 1;
    for (Kes_graph_node *s : seen)
      if (s == p) return 0;
    seen.push_back(p);
  }
  return 0;
}

int Kes_graph_node::is_graph_root() {
  Kes_graph_list *graphs = ws_canvas ? ws_canvas->get_graphs() : nullptr;
  if (!graphs) return 0;
  for (Kes_listelem *e = graphs->head.next; e != &graphs->head; e = e->next)
    if (static_cast<Kes_graph *>(e->data)->get_root_node() == this) return 1;
  return 0;
}

int Kes_graph_node::is_selected() { return node_graphic && node_graphic->getSelected(); }

Kes_workspace *Kes_graph_node::get_parent_ws() {
  if (!parent_ws_valid) {
    Kes_workspace *parent = nullptr;
    delete workspace->get_parent(&parent);  // unreadable: no parent, a root
    set_parent_ws(parent);
  }
  return parent_ws;
}

void Kes_graph_node::set_parent_ws(Kes_workspace *parent) {
  if (parent != parent_ws) delete parent_ws;
  parent_ws = parent;
  parent_ws_valid = 1;
}

void Kes_graph_node::reset_parent_ws() {
  delete parent_ws;
  parent_ws = nullptr;
  parent_ws_valid = 0;
}

// ---- drawing

void Kes_graph_node::render(Kes_graph *graph) {
  SSCanvas *c = ws_canvas->get_canvas();
  if (!node_graphic) {
    node_graphic = new SSDrawIcon(c, get_state_image(), get_state_hilite_image(), node_label);
    node_graphic->setPopupMenu(c->getPopupMenu());
    node_graphic->addKeyData(KES_NODE_KEY, this);
    node_graphic->setDropSite(1);
    node_graphic->setDraggable(1);
    node_graphic->setCursor(ws_canvas->get_ws_cursor());
    node_graphic->setDropProc(icon_dnd_proc);
    node_graphic->setDblClickProc(icon_dbl_click_proc);
    node_graphic->getText()->setFont(ws_canvas->get_font());
    old_handler = node_graphic->getEventHandler();
    node_graphic->setEventHandler(icon_event_proc);
  }
  add_to_graph(graph);
  node_graphic->setParent(graph->get_ss_tree());
  render_children(graph);
}

void Kes_graph_node::render_children(Kes_graph *graph) {
  // A child that is a graph root was drawn already: the walk stops at a cycle.
  for (Kes_listelem *e = children_nodes->head.next; e != &children_nodes->head; e = e->next) {
    auto *child = static_cast<Kes_graph_node *>(e->data);
    if (!child->is_graph_root()) child->render(graph);
  }
}

void Kes_graph_node::unrender() {
  if (!my_graph) return;
  my_graph = nullptr;
  if (node_graphic) {
    node_graphic->setParent(ws_canvas->get_canvas());
    node_graphic->setShow(0);  // until a tree links it again
  }
  for (Kes_listelem *e = children_nodes->head.next; e != &children_nodes->head; e = e->next) {
    auto *child = static_cast<Kes_graph_node *>(e->data);
    if (!child->is_graph_root()) child->unrender();
  }
}

void Kes_graph_node::link() {
  if (!my_graph || !node_graphic) return;
  SSTree *tree = my_graph->get_ss_tree();
  if (my_graph->get_root_node() == this) {
    tree->addLink(tree, node_graphic);
  } else {
    if (children_nodes->find_node(my_graph->get_root_node())) {
      circular = 1;
      set_images(get_state_circ_image(), get_state_circ_hilite_image());
    }
    if (parent_node && parent_node->node_graphic)
      tree->addLink(parent_node->node_graphic, node_graphic);
  }
  for (Kes_listelem *e = children_nodes->head.next; e != &children_nodes->head; e = e->next) {
    auto *child = static_cast<Kes_graph_node *>(e->data);
    if (!child->is_graph_root()) child->link();
  }
}

void Kes_graph_node::unlink() {
  if (!my_graph || !node_graphic) return;
  my_graph->get_ss_tree()->unLink(node_graphic);
  if (children_nodes->find_node(my_graph->get_root_node())) {
    circular = 0;
    set_images(get_state_image(), get_state_hilite_image());
  }
  for (Kes_listelem *e = children_nodes->head.next; e != &children_nodes->head; e = e->next) {
    auto *child = static_cast<Kes_graph_node *>(e->data);
    if (!child->is_graph_root()) child->unlink();
  }
}

void Kes_graph_node::dbl_click() { ws_canvas->get_dbl_click(this); }

// ---- changes

void Kes_graph_node::rename_ws(Kes_workspace *new_ws) {
  Kes_graph *graph = ws_canvas->graph_of(this);
  Kes_graph_node *root = graph ? graph->get_root_node() : nullptr;
  ws_canvas->set_delay_repaint(1);
  if (graph) graph->reset();
  delete workspace;
  workspace = new_ws;
  free(desc_name);
  desc_name = nullptr;
  set_name(new_ws->wsname ? new_ws->wsname : "");
  read_descname();
  if (graph) graph->rebuild_from(root);
  ws_canvas->layout_graphs();
  ws_canvas->set_delay_repaint(0);
}

int Kes_graph_node::reparent_check(Kes_graph_node *new_parent) {
  const char *why = nullptr;
  Kes_workspace *present = get_parent_ws();
  if (!present && !new_parent)
    why = GUI_MSG("Workspace already has no parent");
  else if (present && new_parent && present->compare(new_parent->workspace))
    why = GUI_MSG("Workspace is already a child of target workspace");
  else if (new_parent == this)
    why = GUI_MSG("Reparent aborted");
  if (why) ws_canvas->call_reparent_abort(why);
  return why == nullptr;
}

void Kes_graph_node::reparent(Kes_graph_node *new_parent) {
  Kes_canvas *c = ws_canvas;
  c->set_delay_repaint(1);
  const int was_root = is_graph_root();
  Kes_graph *old_graph = c->graph_of(this);
  Kes_graph *target;
  if (new_parent && (was_root || !new_parent->is_ancestor(this))) {
    target = c->graph_of(new_parent);
  } else {
    // Below its own descendant, or to no parent: a graph of its own.
    target = new Kes_graph(c);
    c->add_graph_after(old_graph, target);
  }
  Kes_graph_node *target_root = nullptr;
  if (target != old_graph) {
    target_root = target->get_root_node() ? target->get_root_node() : this;
    target->reset();
  }
  Kes_graph_node *old_root = old_graph ? old_graph->get_root_node() : nullptr;
  if (old_graph) old_graph->reset();
  if (old_graph && target != old_graph && (was_root || !is_ancestor(old_root))) {
    c->delete_graph(old_graph);
    old_graph = nullptr;
  }
  if (parent_node) parent_node->delete_child_node(this);
  if (new_parent) new_parent->add_child_node(this);
  if (old_graph) old_graph->rebuild_from(old_root);
  if (target != old_graph) target->rebuild_from(target_root);
  c->layout_graphs();
  c->set_delay_repaint(0);
}

// ---- event procedures

namespace {

Kes_graph_node *node_of(SSRectobj *obj) {
  return obj ? static_cast<Kes_graph_node *>(obj->getKeyData(KES_NODE_KEY)) : nullptr;
}

int is_delete_key(KeySym k) { return k == XK_Delete || k == XK_F20; }

// A drop of dragged onto target (none: a tree or the bare canvas).
void drop_node(Kes_graph_node *dragged, Kes_graph_node *target, XEvent *event) {
  Kes_canvas *c = dragged->get_ws_canvas();
  if (!SSEventCtrlIsDown(event)) {
    c->setup_propagation(dragged, target);
    return;
  }
  if (dragged->reparent_check(target) &&
      c->call_reparent(dragged->get_workspace(), target ? target->get_workspace() : nullptr) == 1)
    dragged->reparent(target);
}

}  // namespace

void icon_event_proc(SSRectobj *obj, XEvent *event) {
  Kes_graph_node *node = node_of(obj);
  if (!node) return;
  Kes_canvas *c = node->get_ws_canvas();
  if (event->type == KeyPress) {
    KeySym k = SSEventKeysym(event);
    if (is_delete_key(k) && node->is_selected()) c->call_delete_key();
    if (k == XK_F13) c->call_props_key();
  }
  const char *path = node->get_full_name();
  if (accessible_ws(path)) {
    set_brindle_curr_item(path);
  } else {
    struct stat st;
    set_brindle_curr_item(stat(path, &st) == 0 ? path : nullptr);
  }
  SSDrawIcon *icon = node->get_node_graphic();
  const int x = SSEventX(event), y = SSEventY(event);
  if (icon->inText(x, y) && event->type == ButtonRelease && SSEventMouseLeft(event)) {
    if (c->call_rename_init(node->get_workspace())) c->call_rename(node->get_workspace());
    return;
  }
  if (icon->inImage(x, y) || SSEventMouseRightIsDown(event)) {
    if (SSEventHandlerProc old = node->get_old_handler()) old(obj, event);
  }
}

void icon_dbl_click_proc(SSRectobj *obj, XEvent *) {
  Kes_graph_node *node = node_of(obj);
  if (node && accessible_ws(node->get_full_name())) node->dbl_click();
}

void icon_dnd_proc(SSRectobj *dragged, SSRectobj *target, XEvent *event) {
  if (Kes_graph_node *node = node_of(dragged)) drop_node(node, node_of(target), event);
}

void tree_dnd_proc(SSRectobj *dragged, SSRectobj *, XEvent *event) {
  if (Kes_graph_node *node = node_of(dragged)) drop_node(node, nullptr, event);
}

void graph_event_proc(SSRectobj *obj, XEvent *event) {
  auto *graph = static_cast<Kes_graph *>(obj->getKeyData(KES_GRAPH_KEY));
  if (!graph) return;
  Kes_canvas *c = graph->get_ws_canvas();
  if (event->type == KeyPress) {
    KeySym k = SSEventKeysym(event);
    if (is_delete_key(k)) {
      c->call_delete_key();
      return;
    }
    if (k == XK_F13) {
      c->call_props_key();
      return;
    }
  }
  if (SSEventHandlerProc old = graph->get_old_handler()) old(obj, event);
}
