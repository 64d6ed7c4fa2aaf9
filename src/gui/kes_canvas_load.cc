// Kes_canvas: loading and unloading workspaces, where a node finds its place in
// the forest whatever the load order, renames, reparents, and the propagation
// that follows a drag.
#include <cstdio>
#include <cstring>
#include <memory>

#include "gui/kes_canvas.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_trans.h"
#include "gui/kes_trans_forms.h"
#include "gui/kes_ws_choosers.h"
#include "gui/shells/action_select_dlg.h"
#include "gui/shells/main_shell.h"
#include "toolkit/ss_canvas.h"
#include "util/kes_err.h"
#include "workspace/kes_workspace.h"

void Kes_canvas::load_workspaces(Kes_wslist *list) {
  if (!list || list->count == 0) return;
  set_delay_repaint(1);
  Kes_wslist *copy = static_cast<Kes_wslist *>(list->copy());
  for (Kes_listelem *e = copy->head.next; e != &copy->head; e = e->next) {
    auto *ws = static_cast<Kes_workspace *>(e->data);
    Kes_workspace *parent = nullptr;
    delete ws->get_parent(&parent);  // unreadable: no parent, the node is a root
    attach_ws(ws, parent);
    delete parent;
  }
  rebuild_graphs();
  layout_graphs();
  bring_into_view(kes_find_node(static_cast<Kes_workspace *>(copy->head.prev->data)));
  delete copy;
  set_delay_repaint(0);
  // The next load reads the parent files again.
  for (Kes_listelem *e = all_nodes->head.next; e != &all_nodes->head; e = e->next)
    static_cast<Kes_graph_node *>(e->data)->reset_parent_ws();
}

void Kes_canvas::attach_ws(Kes_workspace *ws, Kes_workspace *parent) {
  if (kes_find_node(ws)) return;
  Kes_graph_node *parent_node = parent ? kes_find_node(parent) : nullptr;
  Kes_workspace *copy = ws->copy();
  auto *node = new Kes_graph_node(
      this, copy, is_workspace_in_conflict(copy) ? KES_WS_CONFLICT : KES_WS_NORMAL);
  add_node(node);
  node->set_parent_ws(parent ? parent->copy() : nullptr);

  Kes_graph *new_graph = nullptr;
  if (parent_node) {
    Kes_graph *graph = graph_of(parent_node);
    if (graph && graph->get_ss_tree()) graph->reset_for_rebuild();
    parent_node->add_child_node(node);
  } else {
    new_graph = new Kes_graph(this);
    new_graph->set_root_node(node);
    new_graph->set_ws_root(copy);
    new_graph->set_rebuild_flag(1);
  }

  // Adopt the orphans: nodes loaded before their parent come under it, and the
  // first of their trees gives its place to the new one.
  for (Kes_listelem *e = all_nodes->head.next; e != &all_nodes->head; e = e->next) {
    auto *orphan = static_cast<Kes_graph_node *>(e->data);
    if (orphan == node || orphan->get_parent_node()) continue;
    Kes_workspace *its_parent = orphan->get_parent_ws();
    if (!its_parent || !its_parent->compare(copy)) continue;
    Kes_graph *old = graph_of(orphan);
    node->add_child_node(orphan);
    if (node->is_ancestor(orphan) || !old || old->get_root_node() != orphan) continue;
    if (new_graph && !graphs->find_elem(new_graph)) add_graph_after(old, new_graph);
    old->reset();
    delete_graph(old);
  }
  if (new_graph && !graphs->find_elem(new_graph)) add_graph(new_graph);
}

void Kes_canvas::rebuild_graphs() {
  for (Kes_listelem *e = graphs->head.next; e != &graphs->head; e = e->next) {
    auto *graph = static_cast<Kes_graph *>(e->data);
    if (!graph->get_rebuild_flag()) continue;
    graph->render();  // with a fresh node list
    graph->link();
    graph->set_rebuild_flag(0);
  }
}

void Kes_canvas::unload_workspaces(Kes_wslist *list) {
  set_delay_repaint(1);
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next) {
    auto *ws = static_cast<Kes_workspace *>(e->data);
    Kes_graph_node *node = kes_find_node(ws);
    if (!node) {
      fprintf(stderr, "Kes_canvas::unload_workspaces: Cannot find workspace %s \n", ws->wsname);
      continue;
    }
    Kes_graph *graph = graph_of(node);
    Kes_graph_node *root = graph ? graph->get_root_node() : nullptr;
    const int was_root = root == node;
    if (graph && was_root)
      graph->reset();
    else if (graph)
      graph->reset_for_rebuild();
    // The children become roots of trees of their own, in their order, right
    // behind the old tree; a child above the surviving root (a cycle) heads it.
    Kes_graph *behind = graph;
    Kes_graph_node_list *children = node->get_children_nodes();
    for (Kes_listelem *c = children->head.next; c != &children->head; c = c->next) {
      auto *child = static_cast<Kes_graph_node *>(c->data);
      if (child->is_graph_root()) continue;
      if (!was_root && root && root->is_ancestor(child)) {
        graph->set_root_node(child);
        graph->set_ws_root(child->get_workspace());
        continue;
      }
      auto *piece = new Kes_graph(this);
      piece->set_root_node(child);
      piece->set_ws_root(child->get_workspace());
      piece->set_rebuild_flag(1);
      add_graph_after(behind, piece);
      behind = piece;
    }
    delete_node(node);
    if (graph && was_root) delete_graph(graph);
  }
  rebuild_graphs();
  layout_graphs();
  set_delay_repaint(0);
}

void Kes_canvas::add_workspace(Kes_workspace *parent, Kes_workspace *ws) {
  set_delay_repaint(1);
  Kes_graph *graph = nullptr;
  if (parent) {
    Kes_graph_node *parent_node = kes_find_node(parent);
    graph = parent_node ? graph_of(parent_node) : nullptr;
  }
  if (!graph) {
    graph = new Kes_graph(this);
    add_graph(graph);
  }
  graph->add_workspace(parent, ws);
  layout_graphs();
  set_delay_repaint(0);
}

void Kes_canvas::rename_workspace(Kes_workspace *old_ws, Kes_workspace *new_ws) {
  if (Kes_graph_node *node = kes_find_node(old_ws)) node->rename_ws(new_ws->copy());
}

void Kes_canvas::reparent_workspace(Kes_workspace *ws, Kes_workspace *new_parent) {
  Kes_graph_node *node = kes_find_node(ws);
  if (!node) return;
  Kes_graph_node *parent_node = new_parent ? kes_find_node(new_parent) : nullptr;
  node->set_parent_ws(new_parent ? new_parent->copy() : nullptr);
  if (node->get_parent_node() != parent_node) node->reparent(parent_node);
}

void Kes_canvas::setup_propagation(Kes_graph_node *source, Kes_graph_node *target) {
  static const char *const kinds[] = {"bringover-create", "bringover-update", "putback",
                                      "resolve", "undo"};
  Kes_gui_util_trans_enum kind = KES_GUI_BRINGOVER_CREATE;
  Kes_graph_node *arguments = nullptr;  // the child, whose args file fills the list
  if (target) {
    if (strcmp(source->get_full_name(), target->get_full_name()) == 0) return;
    Kes_workspace *read = nullptr;
    Kes_err *err = source->get_workspace()->get_parent(&read);
    std::unique_ptr<Kes_workspace> source_parent(read);
    read = nullptr;
    if (!err) err = target->get_workspace()->get_parent(&read);
    std::unique_ptr<Kes_workspace> target_parent(read);
    if (err) {
      gui_issue_errdialog(err->text);
      delete err;
      return;
    }
    if (target_parent && target_parent->compare(source->get_workspace())) {
      kind = KES_GUI_BRINGOVER_UPDATE;
    } else if (source_parent && source_parent->compare(target->get_workspace())) {
      kind = KES_GUI_PUTBACK;
    } else {
      int answer = ask_on_the_fly_propagation(source->get_full_name(), target->get_full_name());
      if (answer != 0 && answer != 1) return;
      kind = answer == 0 ? KES_GUI_BRINGOVER_UPDATE : KES_GUI_PUTBACK;
    }
    arguments = kind == KES_GUI_PUTBACK ? source : target;
  }
  gui_debug("propagation %s %s %s", kinds[kind], source->get_full_name(),
            target ? target->get_full_name() : "-");
  if (!init_trans_shell(get_main_shell(), kind)) return;
  Kes_gui_trans *base = get_gui_trans();
  base->clear_footer(KES_GUI_LEFT_FOOTER);
  base->clear_footer(KES_GUI_RIGHT_FOOTER);
  set_source_ws_dir(source->get_full_name());
  set_destination_ws_dir(target ? target->get_full_name() : "");
  WSSfileChooser *chooser = get_gui()->get_add_files_chooser();
  if (chooser && chooser->isUp()) chooser->setWsDirectory(source->get_full_name());
  set_file_list_switch();
  if (arguments)
    set_argument_lists(arguments->get_workspace());
  else
    clear_argument_lists();
  if (kind == KES_GUI_BRINGOVER_CREATE)
    base->print_footer(KES_GUI_LEFT_FOOTER, GUI_MSG("Enter a Child Workspace Directory"));
  else if (args_lists_empty())
    base->print_footer(KES_GUI_LEFT_FOOTER,
                       kind == KES_GUI_PUTBACK
                           ? GUI_MSG("No files to putback - Select File=>Add Files to List...")
                           : GUI_MSG("No files to bringover - Select File=>Add Files to List..."));
}

int Kes_canvas::ask_on_the_fly_propagation(const char *source, const char *target) {
  char first[2200], second[2200];
  snprintf(first, sizeof first, GUI_MSG("Bringover from %s to %s..."), compute_basename(source),
           compute_basename(target));
  snprintf(second, sizeof second, GUI_MSG("Putback from %s to %s..."), compute_basename(source),
           compute_basename(target));
  Kes_gui_action_select_dlg dialog(parent_widget, first, second);
  return dialog.ask();
}
