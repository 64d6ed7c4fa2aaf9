// Kes_graph: one tree of the workspace forest, rendered and linked on an
// SSTree; the lists of graphs and of nodes.
#include <cstdio>

#include "gui/kes_canvas.h"
#include "gui/kes_graph.h"
#include "toolkit/ss_canvas.h"
#include "toolkit/ss_draw.h"
#include "toolkit/ss_event.h"
#include "toolkit/ss_tree.h"
#include "workspace/kes_workspace.h"

// The event procedures of the toolkit objects, in kes_graph_node.cc.
void tree_dnd_proc(SSRectobj *dragged, SSRectobj *target, XEvent *event);
void graph_event_proc(SSRectobj *obj, XEvent *event);

namespace {

const char *root_path(Kes_graph_node *root) { return root ? root->get_full_name() : "(none)"; }

SSTreeLayout kes_to_ss_orientation(Kes_canvas_orientation o) {
  return o == KES_HORIZONTAL ? SSTreeHorizontal : SSTreeVertical;
}

}  // namespace

// ---- lists

Kes_graph_node_list::~Kes_graph_node_list() { clear(); }
Kes_list *Kes_graph_node_list::create_list() { return new Kes_graph_node_list(owning_); }
void *Kes_graph_node_list::create_data() { return nullptr; }

void *Kes_graph_node_list::copy_data(void *data) {
  auto *n = static_cast<Kes_graph_node *>(data);
  auto *copy = new Kes_graph_node(n->get_workspace()->copy(), n->get_ws_state());
  if (Kes_workspace *p = n->get_parent_ws()) copy->set_parent_ws(p->copy());
  return copy;
}

void Kes_graph_node_list::delete_data(void *data) {
  if (owning_) delete static_cast<Kes_graph_node *>(data);
}

void Kes_graph_node_list::print_data(void *data) {
  fprintf(stderr, "\t%p %s\n", data, static_cast<Kes_graph_node *>(data)->get_full_name());
}

int Kes_graph_node_list::compare_datas(void *a, void *b) { return a == b; }

Kes_graph_node *Kes_graph_node_list::find_ws(Kes_workspace *ws) {
  for (Kes_listelem *e = head.next; e != &head; e = e->next) {
    auto *n = static_cast<Kes_graph_node *>(e->data);
    if (n->get_workspace()->compare(ws)) return n;
  }
  return nullptr;
}

Kes_listelem *Kes_graph_node_list::find_node(Kes_graph_node *node) { return find_elem(node); }

Kes_graph_list::~Kes_graph_list() { clear(); }
Kes_list *Kes_graph_list::create_list() { return new Kes_graph_list(canvas_); }
void *Kes_graph_list::create_data() { return new Kes_graph(canvas_); }
void *Kes_graph_list::copy_data(void *) { return new Kes_graph(canvas_); }
void Kes_graph_list::delete_data(void *data) { delete static_cast<Kes_graph *>(data); }

void Kes_graph_list::print_data(void *data) {
  fprintf(stderr, "\t%p %s\n", data, root_path(static_cast<Kes_graph *>(data)->get_root_node()));
}

int Kes_graph_list::compare_datas(void *a, void *b) { return a == b; }

// ---- graphs

Kes_graph::Kes_graph(Kes_canvas *canvas) : ws_canvas(canvas) {}

Kes_graph::~Kes_graph() {
  if (ss_tree) reset();
  delete graph_nodes;
}

Kes_graph_node *Kes_graph::ss_find_graph_node(SSDrawIcon *icon) {
  if (!graph_nodes) return nullptr;
  for (Kes_listelem *e = graph_nodes->head.next; e != &graph_nodes->head; e = e->next)
    if (static_cast<Kes_graph_node *>(e->data)->get_node_graphic() == icon)
      return static_cast<Kes_graph_node *>(e->data);
  return nullptr;
}

Kes_graph_node *Kes_graph::kes_find_graph_node(Kes_workspace *ws) {
  return graph_nodes ? graph_nodes->find_ws(ws) : nullptr;
}

Kes_graph_node *Kes_graph::add_workspace(Kes_workspace *parent, Kes_workspace *ws) {
  auto *node = new Kes_graph_node(ws_canvas, ws->copy(), KES_WS_NORMAL);
  ws_canvas->add_node(node);
  Kes_graph_node *parent_node = parent && ss_tree ? kes_find_graph_node(parent) : nullptr;
  if (parent_node) {
    parent_node->add_child_node(node);
    node->render(this);
    node->link();
  } else {
    root_node = node;
    ws_root = node->get_workspace();
    render();
    link();
  }
  return node;
}

void Kes_graph::add_node(Kes_graph_node *node) {
  if (!graph_nodes) graph_nodes = new Kes_graph_node_list;
  if (!graph_nodes->find_node(node)) graph_nodes->add_new_data(node);
}

void Kes_graph::delete_node(Kes_graph_node *node) {
  if (Kes_listelem *e = graph_nodes ? graph_nodes->find_node(node) : nullptr)
    graph_nodes->delete_elem(e);
}

void Kes_graph::render() {
  if (ss_tree) {
    fprintf(stderr, "Kes_graph::render: ss_tree for graph at %s is not NULL, rendering aborted\n",
            root_path(root_node));
    return;
  }
  SSCanvas *c = ws_canvas->get_canvas();
  ss_tree = new SSTree(c);
  ss_tree->setBatchLayout(1);  // link() lays the tree out once, at its end
  ss_tree->setParentDistance(ws_canvas->get_graph_node_spacing());
  ss_tree->setLayout(kes_to_ss_orientation(ws_canvas->get_current_orientation()));
  ss_tree->setDropSite(1);
  ss_tree->setDropProc(tree_dnd_proc);
  ss_tree->addKeyData(KES_GRAPH_KEY, this);
  ss_tree->setPopupMenu(c->getPopupMenu());
  old_handler = ss_tree->getEventHandler();
  ss_tree->setEventHandler(graph_event_proc);
  if (!graph_nodes) graph_nodes = new Kes_graph_node_list;
  if (root_node) root_node->render(this);
}

void Kes_graph::unrender() {
  // Every node drawn in the tree goes back to the canvas before the tree, which
  // would take its children with it, is deleted.
  if (graph_nodes)
    for (Kes_listelem *e = graph_nodes->head.next; e != &graph_nodes->head; e = e->next)
      static_cast<Kes_graph_node *>(e->data)->unrender();
  delete ss_tree;
  ss_tree = nullptr;
  delete graph_nodes;
  graph_nodes = nullptr;
  root_node = nullptr;
  ws_root = nullptr;
}

void Kes_graph::link() {
  if (!ss_tree) {
    fprintf(stderr, "Kes_graph::link: ss_tree for graph at %s is NULL, linking aborted\n",
            root_path(root_node));
    return;
  }
  if (root_node) root_node->link();
  ss_tree->setBatchLayout(0);
}

void Kes_graph::unlink() {
  if (!ss_tree || !root_node) return;
  ss_tree->setBatchLayout(1);
  root_node->unlink();
}

void Kes_graph::reset() {
  unlink();
  unrender();
}

void Kes_graph::reset_for_rebuild() {
  Kes_graph_node *root = root_node;
  reset();
  root_node = root;
  ws_root = root ? root->get_workspace() : nullptr;
  rebuild_flag = 1;
}

void Kes_graph::rebuild_from(Kes_graph_node *root) {
  if (ss_tree) reset();
  root_node = root;
  ws_root = root ? root->get_workspace() : nullptr;
  graph_nodes = new Kes_graph_node_list;
  render();
  link();
}

void Kes_graph::relayout() { rebuild_from(root_node); }

void Kes_graph::set_orientation(Kes_canvas_orientation orientation) {
  if (ss_tree) ss_tree->setLayout(kes_to_ss_orientation(orientation));
}
