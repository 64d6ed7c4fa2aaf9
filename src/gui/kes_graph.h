// The model behind the workspace forest: Kes_graph, one tree of the forest drawn
// by one SSTree; Kes_graph_node, one loaded workspace with its icon; their lists;
// and the helpers that keep BRINDLE_CURR_ITEM.
//
// The model holds only what the user loaded.  A workspace whose parent is not
// loaded is a root, and a cycle in the parent files is possible: it is drawn,
// the node that closes it (its child is the root of the graph) showing the
// circular picture.  Kes_canvas owns every graph and node and does the loading;
// a node's icon carries the node as key data KES_NODE_KEY, a graph's tree the
// graph as KES_GRAPH_KEY, so the toolkit's callbacks find the model.
//
// Rendering makes the toolkit objects (a tree per graph, an icon per node) and
// linking connects them; a node keeps its icon across renders.  Unrendering a
// graph clears its root node, root workspace and canvas, which is why every
// caller that resets a graph saves them and puts them back.
//
// Defined in kes_graph.cc (Kes_graph, the lists) and kes_graph_node.cc
// (Kes_graph_node, its event procedures and the free functions).
#ifndef BRINDLE_GUI_KES_GRAPH_H
#define BRINDLE_GUI_KES_GRAPH_H

#include <X11/Intrinsic.h>

#include "toolkit/ss_rectobj.h"
#include "util/kes_list.h"

class Kes_canvas;
class Kes_graph;
class Kes_graph_node;
class Kes_workspace;
class SSDrawIcon;
class SSTree;

enum kes_ws_state { KES_WS_NO_STATE = 0, KES_WS_NORMAL = 1, KES_WS_CONFLICT = 2 };
enum Kes_canvas_name_style { KES_NAMES_FULL = 0, KES_NAMES_SHORT = 1, KES_NAMES_DESCRIPTIVE = 2 };
enum Kes_canvas_orientation { KES_HORIZONTAL = 0, KES_VERTICAL = 1 };

// Key data under which toolkit objects carry the model.
enum { KES_NODE_KEY = 1000, KES_CANVAS_KEY = 1001, KES_GRAPH_KEY = 1002 };

// Nodes.  The canvas's list of all nodes owns them; every other list only
// points at them.  find_ws compares workspaces, find_node pointers.
class Kes_graph_node_list : public Kes_list {
public:
  explicit Kes_graph_node_list(int owning = 0) : owning_(owning) {}
  ~Kes_graph_node_list() override;
  Kes_list *create_list() override;
  void *create_data() override;
  void *copy_data(void *data) override;  // a bare node: state, workspace, parent
  void delete_data(void *data) override;
  void print_data(void *data) override;
  int compare_datas(void *a, void *b) override;  // the same node
  Kes_graph_node *find_ws(Kes_workspace *ws);
  Kes_listelem *find_node(Kes_graph_node *node);

private:
  int owning_;
};

// Graphs, top to bottom on the canvas; the canvas's list owns them.
class Kes_graph_list : public Kes_list {
public:
  explicit Kes_graph_list(Kes_canvas *canvas) : canvas_(canvas) {}
  ~Kes_graph_list() override;
  Kes_list *create_list() override;
  void *create_data() override;
  void *copy_data(void *data) override;  // a new empty graph on the same canvas
  void delete_data(void *data) override;
  void print_data(void *data) override;
  int compare_datas(void *a, void *b) override;  // the same graph

private:
  Kes_canvas *canvas_;
};

class Kes_graph {
public:
  explicit Kes_graph(Kes_canvas *canvas);
  ~Kes_graph();
  Kes_graph(const Kes_graph &) = delete;
  Kes_graph &operator=(const Kes_graph &) = delete;

  SSTree *get_ss_tree() const { return ss_tree; }
  void set_ss_tree(SSTree *tree) { ss_tree = tree; }
  Kes_graph_node_list *get_graph_nodes() const { return graph_nodes; }
  void set_graph_nodes(Kes_graph_node_list *nodes) { graph_nodes = nodes; }
  Kes_workspace *get_ws_root() const { return ws_root; }
  void set_ws_root(Kes_workspace *ws) { ws_root = ws; }
  Kes_graph_node *get_root_node() const { return root_node; }
  void set_root_node(Kes_graph_node *node) { root_node = node; }
  Kes_canvas *get_ws_canvas() const { return ws_canvas; }
  void set_ws_canvas(Kes_canvas *canvas) { ws_canvas = canvas; }
  SSEventHandlerProc get_old_handler() const { return old_handler; }
  int get_rebuild_flag() const { return rebuild_flag; }
  void set_rebuild_flag(int flag) { rebuild_flag = flag; }

  Kes_graph_node *ss_find_graph_node(SSDrawIcon *icon);
  Kes_graph_node *kes_find_graph_node(Kes_workspace *ws);
  // A new state 1 node for ws, below parent's node when this graph holds it,
  // else as the root; rendered and linked at once.  ws is copied.
  Kes_graph_node *add_workspace(Kes_workspace *parent, Kes_workspace *ws);
  void add_node(Kes_graph_node *node);
  void delete_node(Kes_graph_node *node);

  void render();
  void unrender();
  void link();
  void unlink();
  void reset();     // unlink, unrender
  // reset, keeping root node and root workspace, and marked for rebuild.
  void reset_for_rebuild();
  // The rebuild that follows a reset: root as the root node (and its workspace
  // as the root workspace), a fresh node list, render and link.
  void rebuild_from(Kes_graph_node *root);
  void relayout();  // a complete rebuild of the picture of this graph
  void set_orientation(Kes_canvas_orientation orientation);

private:
  SSTree *ss_tree = nullptr;
  Kes_graph_node_list *graph_nodes = nullptr;
  Kes_workspace *ws_root = nullptr;
  Kes_graph_node *root_node = nullptr;
  Kes_canvas *ws_canvas;
  SSEventHandlerProc old_handler = nullptr;
  int rebuild_flag = 0;
};

class Kes_graph_node {
public:
  // Takes ws; reads its description for the descriptive name.
  Kes_graph_node(Kes_canvas *canvas, Kes_workspace *ws, kes_ws_state state);
  // A bare node for list copies: no canvas, no description.
  Kes_graph_node(Kes_workspace *ws, kes_ws_state state);
  ~Kes_graph_node();
  Kes_graph_node(const Kes_graph_node &) = delete;
  Kes_graph_node &operator=(const Kes_graph_node &) = delete;

  kes_ws_state get_ws_state() const { return ws_state; }
  int get_circular() const { return circular; }
  const char *get_node_label() const { return node_label; }
  const char *get_full_name() const { return full_name; }
  const char *get_short_name() const { return short_name; }
  const char *get_desc_name() const { return desc_name; }
  Kes_graph *get_my_graph() const { return my_graph; }
  void set_my_graph(Kes_graph *graph) { my_graph = graph; }
  Kes_canvas *get_ws_canvas() const { return ws_canvas; }
  Kes_workspace *get_workspace() const { return workspace; }
  Kes_graph_node *get_parent_node() const { return parent_node; }
  void set_parent_node(Kes_graph_node *node) { parent_node = node; }
  Kes_graph_node_list *get_children_nodes() const { return children_nodes; }
  SSDrawIcon *get_node_graphic() const { return node_graphic; }
  SSEventHandlerProc get_old_handler() const { return old_handler; }

  void add_child_node(Kes_graph_node *child);
  void delete_child_node(Kes_graph_node *child);
  void add_to_graph(Kes_graph *graph);
  // 1 if node lies on the parent chain above this node.
  int is_ancestor(Kes_graph_node *node);
  int is_graph_root();
  int is_selected();
  void change_state(kes_ws_state state);
  // Reads description and conflicts again.
  void update_state();
  Pixmap calculate_image(kes_ws_state state, int circular);
  Pixmap calculate_hilite_image(kes_ws_state state, int circular);
  Pixmap get_ws_plain_image();
  Pixmap get_ws_plain_hilite_image();
  Pixmap get_ws_circ_image();
  Pixmap get_ws_circ_hilite_image();
  Pixmap get_ws_conf_image();
  Pixmap get_ws_conf_hilite_image();
  Pixmap get_ws_conf_circ_image();
  Pixmap get_ws_conf_circ_hilite_image();
  Pixmap get_state_image();
  Pixmap get_state_hilite_image();
  Pixmap get_state_circ_image();
  Pixmap get_state_circ_hilite_image();

  void render(Kes_graph *graph);
  void unrender();
  void link();
  void unlink();
  void dbl_click();
  // Takes new_ws in place of the workspace, and redraws its graph.
  void rename_ws(Kes_workspace *new_ws);
  // Whether a reparent to new_parent (none: to no parent) makes sense; if not,
  // the canvas's reparent abort callback hears why.
  int reparent_check(Kes_graph_node *new_parent);
  // Moves the subtree in the picture; the workspace was changed before.
  void reparent(Kes_graph_node *new_parent);
  void set_name_style(Kes_canvas_name_style style);
  void set_name(const char *name);
  void set_descname(const char *name);
  // The parent file's workspace, read on first use and kept, even when none.
  Kes_workspace *get_parent_ws();
  void set_parent_ws(Kes_workspace *parent);  // takes parent
  void reset_parent_ws();

private:
  void read_descname();
  void show_label();
  void set_images(Pixmap plain, Pixmap hilite);
  void render_children(Kes_graph *graph);

  kes_ws_state ws_state;
  int circular = 0;
  const char *node_label = nullptr;
  char *full_name = nullptr;
  const char *short_name = nullptr;
  char *desc_name = nullptr;
  Kes_graph *my_graph = nullptr;
  Kes_canvas *ws_canvas = nullptr;
  Kes_workspace *workspace;
  Kes_graph_node *parent_node = nullptr;
  Kes_graph_node_list *children_nodes;
  SSDrawIcon *node_graphic = nullptr;
  SSEventHandlerProc old_handler = nullptr;
  Kes_workspace *parent_ws = nullptr;
  int parent_ws_valid = 0;
};

// The text behind the last "/", or the whole text.
const char *compute_basename(const char *path);
// For an absolute path its netpath, otherwise the path as it stands; buf holds
// 1024 bytes.
const char *get_unique_ws_name(const char *path, char *buf);
// putenv of BRINDLE_CURR_ITEM= and the path; none empties it.
void set_brindle_curr_item(const char *path);
// 1 when the directory can be read and searched.  The left footer tells why
// not ("%s doesn't exist", "There is no access to %s"), or is cleared.
int accessible_ws(const char *path);
// 1 when the workspace's conflicts file lists a file; a failure to read it is
// shown in an error dialog and counts as none.
int is_workspace_in_conflict(Kes_workspace *ws);

#endif
