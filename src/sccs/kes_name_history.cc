// The name history: its tree, its lines in the data delta, and the fast read
// that takes a file's roots and names in one pass over the delta table.
#include "sccs/kes_name_history.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_mmap.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"

namespace {

// Unlinks node from its parent's chain of children.
void detach(Kes_tree_node *node) {
  Kes_tree_node *p = node->parent;
  if (!p) return;
  for (Kes_tree_node **link = &p->first_child; *link; link = &(*link)->next_sibling)
    if (*link == node) {
      *link = node->next_sibling;
      break;
    }
  node->parent = nullptr;
  node->next_sibling = nullptr;
}

Kes_err *parse_error(const char *file_name, const char *line) {
  std::string text = line;
  if (!text.empty() && text.back() == '\n') text.pop_back();
  return (new Kes_err)
      ->format_msg(2079, 0,
                   BWM_MSG(1800, "Could not parse name history for file\n\"%s\",\nline contains: %s"),
                   file_name ? file_name : "", text.c_str());
}

}  // namespace

// ---------------------------------------------------------------------------
// Kes_name_node

Kes_name_node::Kes_name_node() : name(nullptr) {}

Kes_name_node::~Kes_name_node() { free(name); }

int Kes_name_node::different(Kes_tree_node *other) {
  return !kes_str_compare(name, static_cast<Kes_name_node *>(other)->name);
}

void Kes_name_node::make_fake() {
  serial = 1;
  pred = 0;
  fake = 1;
  peer = this;
  set_name(KES_FAKE_NAME);
}

int Kes_name_node::is_fake() const { return name && strcmp(name, KES_FAKE_NAME) == 0; }

void Kes_name_node::set_name(const char *text) {
  free(name);
  name = text ? kes_strdup(text) : nullptr;
}

// ---------------------------------------------------------------------------
// Kes_name_tree

Kes_name_tree::Kes_name_tree() : gained(0), nodes(nullptr) {}

Kes_name_tree::Kes_name_tree(int n) : gained(0), nodes(nullptr) { alloc_array(n); }

Kes_name_tree::~Kes_name_tree() { delete[] nodes; }

void Kes_name_tree::alloc_array(int n) {
  delete[] nodes;
  nodes = new Kes_name_node[n + 2];
  node_array = nodes;
  size = n;
  array_length = n + 2;
  node_count = 0;
  root = head = first_root = nullptr;
}

Kes_tree_node *Kes_name_tree::ith_node(int i) { return &nodes[i]; }

void Kes_name_tree::add_fake() {
  Kes_tree_node *old_root = root;
  Kes_name_node *f = &nodes[0];
  f->make_fake();
  f->first_child = old_root;
  if (old_root) {
    old_root->parent = f;
    old_root->next_sibling = nullptr;
  }
  root = f;
}

Kes_err *Kes_name_tree::build_name_tree(const char *file_name, Kes_strlist *lines,
                                        const char *current_name, int side) {
  int previous = INT_MAX;
  const char *first_line = nullptr;
  if (lines)
    for (Kes_listelem *e = lines->head.next; e != &lines->head; e = e->next) {
      const char *line = static_cast<const char *>(e->data);
      const char *blank = strchr(line, ' ');
      const char *path = blank ? strchr(blank + 1, ' ') : nullptr;
      int serial, pred;
      if (!path || sscanf(line, "%d %d", &serial, &pred) != 2) return parse_error(file_name, line);
      path++;
      if (!nodes) {
        // Serials are numbered from 1 without gaps when a history is stored,
        // so the first, the highest, can't be above the number of lines: a
        // larger one is damage, and would size the array without bound.
        if (serial > lines->count) return parse_error(file_name, line);
        alloc_array(serial > 0 ? serial : 0);
        first_line = line;
      } else if (serial > previous) {
        return (new Kes_err)
            ->format_msg(2059, 0,
                         BWM_MSG(1801, "Name history serial number %d out of order in file \"%s\""),
                         serial, file_name ? file_name : "");
      }
      // Numbers outside the array, or a predecessor that isn't older, can't be a tree.
      if (serial < 1 || serial > size || pred < 0 || pred >= serial)
        return parse_error(file_name, line);
      previous = serial;
      Kes_name_node *node = ith_name(serial);
      if (node->serial)
        detach(node);  // a repeated serial: the later line wins
      else
        node_count++;
      size_t len = strlen(path);
      if (len && path[len - 1] == '\n') len--;
      free(node->name);
      node->name = strndup(path, len);
      if (!node->name) kes_new_handler();
      node->serial = serial;
      node->pred = pred;
      node->fake = node->is_fake();
      node->side = side;
      if (pred > 0) {
        node->parent = ith_node(pred);
        node->parent->push_child(node);
      }
    }
  if (!nodes) {
    alloc_array(2);
    Kes_name_node *n = ith_name(1);
    n->serial = 1;
    n->pred = 0;
    n->set_name(current_name);
    n->side = side;
    node_count++;
    gained = 1;
  }
  root = ith_node(1);
  if (!root->serial) return parse_error(file_name, first_line);

  Kes_name_node *latest = kes_latest_name(this);
  if (current_name && !kes_str_compare(latest->name, current_name)) {
    Kes_name_node *n = ith_name(size + 1);
    n->serial = size + 1;
    n->pred = latest->serial;
    n->set_name(current_name);
    n->side = side;
    n->parent = latest;
    latest->push_child(n);
    node_count++;
    size++;
    gained = 1;
  }
  return nullptr;
}

Kes_name_node *kes_latest_name(Kes_name_tree *tree) {
  Kes_tree_node *n = tree ? tree->root : nullptr;
  while (n && n->first_child) n = n->first_child;
  return static_cast<Kes_name_node *>(n);
}

// ---------------------------------------------------------------------------
// Kes_name_history

Kes_name_history::Kes_name_history(Kes_sfile *f, int owns_file) : Kes_sdata(f, owns_file) {}

Kes_err *Kes_name_history::get_name_history(Kes_strlist **out) {
  return get_values(KES_ATTR_NAME_HISTORY, out);
}

Kes_err *Kes_name_history::replace_name_history(Kes_strlist *lines) {
  return replace_values(KES_ATTR_NAME_HISTORY, lines);
}

namespace {
int number_node(Kes_tree_node *n, void *counter, void *) {
  n->serial = ++*static_cast<int *>(counter);
  n->pred = n->parent ? n->parent->serial : 0;
  return 1;
}

int add_line(Kes_tree_node *n, void *list, void *) {
  const char *name = static_cast<Kes_name_node *>(n)->name;
  std::string line = std::to_string(n->serial) + " " + std::to_string(n->pred) + " " +
                     (name ? name : "");
  static_cast<Kes_strlist *>(list)->insert_head(new Kes_listelem(kes_strdup(line.c_str())));
  return 1;
}
}  // namespace

Kes_err *Kes_name_history::replace_from_tree(Kes_name_tree *tree) {
  int counter = 0;
  walktree(tree->root, number_node, &counter, nullptr);
  Kes_strlist lines;
  walktree(tree->root, add_line, &lines, nullptr);
  return replace_name_history(&lines);
}

Kes_err *Kes_name_history::write() { return file->write(); }

Kes_err *Kes_name_history::write_from_tree(Kes_name_tree *tree) {
  Kes_err *err = replace_from_tree(tree);
  return err ? err : write();
}

// ---------------------------------------------------------------------------
// Reading the tree of a file

Kes_err *Kes_sfile::build_name_tree(const char *current_name, int side) {
  Kes_name_history nh(this, 0);
  Kes_strlist *lines = nullptr;
  Kes_err *err = nh.get_name_history(&lines);
  if (err) return err;
  Kes_name_tree *t = new Kes_name_tree;
  err = t->build_name_tree(s_path, lines, current_name, side);
  delete lines;
  if (err) {
    delete t;
    return err;
  }
  delete name_tree;
  name_tree = t;
  return nullptr;
}

namespace {
void add_comment(Kes_delta *d, const char *text, size_t *cap) {
  size_t n = 0;
  if (d->comments)
    while (d->comments[n]) n++;
  if (n + 1 >= *cap || !d->comments) {
    *cap = d->comments ? *cap + 10 : 10;
    char **v = static_cast<char **>(realloc(d->comments, *cap * sizeof(char *)));
    if (!v) kes_new_handler();
    d->comments = v;
  }
  d->comments[n] = kes_strdup(text);
  d->comments[n + 1] = nullptr;
}
}  // namespace

Kes_err *SCCS_sfile::build_nametree_deltalist(Kes_mmap *mm, const char *current_name,
                                              Kes_name_tree **tree_out,
                                              SCCS_deltalist **deltas_out, int *conflicted) {
  *tree_out = nullptr;
  *deltas_out = nullptr;
  Kes_err *err = nullptr;
  Kes_mmap *own = nullptr;
  if (!mm) {
    own = mm = new Kes_mmap(s_path, nullptr);
    if ((err = own->open())) {
      delete own;
      return err;
    }
  }
  SCCS_deltalist *deltas = new SCCS_deltalist;
  Kes_strlist names;
  SCCS_delta *pending = nullptr;
  size_t pending_cap = 0;
  char *pending_stats = nullptr;
  bool sdata_possible = false, marker_seen = false, fake_seen = false;
  int last_serial = INT_MAX;
  char buf[1024];
  const size_t attr_len = strlen(KES_ATTR_NAME_HISTORY KES_SDATA_SEPARATOR);

  while (!err && mm->gets(buf, sizeof buf, &err)) {
    // A zero byte inside a line: see SCCS_sfile::next_line.
    size_t len = strlen(buf);
    if (len == 0 || buf[len - 1] != '\n') {
      err = (new Kes_err)->format_msg(
          2043, 0, BWM_MSG(1802, "SCCS file \"%s\" is corrupted"), s_path);
      break;
    }
    if (buf[0] != '\001' || buf[1] == 'u') break;
    const char *text = strlen(buf) >= 3 ? buf + 3 : "";
    switch (buf[1]) {
      case 's':
        free(pending_stats);
        pending_stats = kes_strdup(text);
        break;
      case 'd': {
        SCCS_delta_line f;
        // As in the full read: a delta line of the one form, behind its statistics.
        if (!sccs_parse_delta_line(buf, &f) || !pending_stats) {
          err = (new Kes_err)->format_msg(
              2043, 0, BWM_MSG(1802, "SCCS file \"%s\" is corrupted"), s_path);
          break;
        }
        if (f.serial > last_serial) {
          err = (new Kes_err)->format_msg(
              2060, 0, BWM_MSG(1803, "Delta serial number %d out of order in file \"%s\""),
              f.serial, s_path);
          break;
        }
        last_serial = f.serial;
        sdata_possible = f.serial == 2 && f.type == 'R' && f.user == KES_SDATA_USER;
        marker_seen = false;
        delete pending;
        pending = nullptr;
        if (f.type == 'D' && (f.serial == 1 || f.pred == 1)) {
          pending = new SCCS_delta;
          pending->serial = f.serial;
          pending->pred = f.pred;
          pending->stats = pending_stats;
          pending_stats = nullptr;
          pending->set_date(f.date.c_str());
          pending->set_user(f.user.c_str());
          pending->file_name = s_path;
          pending_cap = 0;
        }
        free(pending_stats);  // a delta not kept has had its statistics too
        pending_stats = nullptr;
        break;
      }
      case 'c':
        if (sdata_possible) {
          if (!marker_seen) {
            if (kes_str_starts_with(text, KES_SDATA_MARKER))
              marker_seen = true;
            else
              sdata_possible = false;
          } else if (kes_str_starts_with(text, KES_ATTR_NAME_HISTORY)) {
            names.add_new_copy(strlen(buf) > attr_len + 3 ? buf + attr_len + 3 : (char *)"");
          } else if (kes_str_starts_with(text, KES_ATTR_CONFLICT)) {
            if (conflicted) *conflicted = 1;
          }
        } else if (pending) {
          add_comment(pending, text, &pending_cap);
        }
        break;
      case 'e':
        if (pending) {
          if (!pending->comments) pending->comments = static_cast<char **>(calloc(1, sizeof(char *)));
          if (pending->is_fake()) {
            fake_seen = true;
            delete pending;
          } else {
            deltas->add_new_data(pending);
          }
          pending = nullptr;
        }
        sdata_possible = false;
        break;
      default:
        break;
    }
  }
  delete pending;
  free(pending_stats);
  if (own) {
    Kes_err *cerr = own->close();
    if (!err)
      err = cerr;
    else
      delete cerr;
    delete own;
  }
  // Without a fake root only the root counts; it came last, having serial 1.
  if (!fake_seen)
    while (deltas->count > 1) deltas->delete_elem(deltas->head.next);
  Kes_name_tree *tree = nullptr;
  if (!err) {
    tree = new Kes_name_tree;
    err = tree->build_name_tree(s_path, &names, current_name, 0);
  }
  if (err) {
    delete tree;
    delete deltas;
    return err;
  }
  *tree_out = tree;
  *deltas_out = deltas;
  return nullptr;
}
