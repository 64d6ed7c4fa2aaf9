// The name history: what a file was called through time, kept as a small tree
// of names in the attribute "Name history" of the data delta, one comment line
// per node, "serial pred path", highest serial first.  A rename adds a node
// under the latest one; two histories meet by matching their name trees as
// delta trees are matched.
#ifndef BRINDLE_SCCS_KES_NAME_HISTORY_H
#define BRINDLE_SCCS_KES_NAME_HISTORY_H

#include "sccs/kes_sdata.h"
#include "sccs/kes_sfile.h"

class Kes_strlist;

// The path of the fake root put over two histories that share no name.
#define KES_FAKE_NAME "/fake"

class Kes_name_node : public Kes_tree_node {
public:
  char *name;  // owned

  Kes_name_node();
  ~Kes_name_node() override;

  // True when the names differ.
  int different(Kes_tree_node *other) override;
  // Serial 1, predecessor 0, fake, its own peer, the name "/fake".
  void make_fake() override;
  int is_fake() const;

  void set_name(const char *text);
  Kes_name_node *first_child_node() const { return static_cast<Kes_name_node *>(first_child); }
};

class Kes_name_tree : public Kes_tree {
public:
  int gained;  // 1: the tree has a node that the stored history lacks

  Kes_name_tree();            // no array until build_name_tree
  explicit Kes_name_tree(int n);
  ~Kes_name_tree() override;

  // Drops any array and makes n + 2 nodes: slot 0 for a fake root, 1 to n by
  // serial, n + 1 spare.
  void alloc_array(int n);
  Kes_tree_node *ith_node(int i) override;
  // Puts slot 0 over the root; nothing is renumbered, since serials are made
  // anew when the history is stored.
  void add_fake() override;

  // Builds the tree from the history's lines (values of the attribute, highest
  // serial first), and adds a node for current_name when the latest recorded
  // name differs.  file_name is for messages.
  [[nodiscard]] Kes_err *build_name_tree(const char *file_name, Kes_strlist *lines,
                                         const char *current_name, int side);

  Kes_name_node *ith_name(int i) { return static_cast<Kes_name_node *>(ith_node(i)); }

  Kes_name_node *nodes;
};

// The latest name: first children followed from the root to a leaf.
Kes_name_node *kes_latest_name(Kes_name_tree *tree);

class Kes_name_history : public Kes_sdata {
public:
  Kes_name_history(Kes_sfile *file, int owns);

  [[nodiscard]] Kes_err *get_name_history(Kes_strlist **out);
  [[nodiscard]] Kes_err *replace_name_history(Kes_strlist *lines);
  // Numbers the nodes anew in pre-order and stores their lines in the data delta.
  [[nodiscard]] Kes_err *replace_from_tree(Kes_name_tree *tree);
  [[nodiscard]] Kes_err *write();
  [[nodiscard]] Kes_err *write_from_tree(Kes_name_tree *tree);
};

#endif
