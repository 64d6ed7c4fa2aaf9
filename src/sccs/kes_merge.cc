// The delta-tree merge: matching two delta trees, the states, and the delta
// table of a merged file with its new serials and SIDs.
#include "sccs/kes_merge.h"

#include <sys/stat.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sccs/kes_conflict.h"
#include "sccs/kes_name_history.h"
#include "sccs/kes_sdata.h"
#include "sccs/kes_sfile.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"

namespace {

// Running counts of matched deltas and matched names: one merge at a time.
int common_count;
int name_common_count;

Kes_delta *as_delta(Kes_tree_node *n) { return static_cast<Kes_delta *>(n); }

int dot_count(const char *s) {
  int n = 0;
  for (; s && *s; s++)
    if (*s == '.') n++;
  return n;
}

void link_peers(Kes_tree_node *a, Kes_tree_node *b) {
  a->peer = b;
  b->peer = a;
}

// Takes child out of its parent's chain of children.
void detach(Kes_tree_node *child) {
  Kes_tree_node *p = child->parent;
  if (!p) return;
  if (p->first_child == child) {
    p->first_child = child->next_sibling;
  } else {
    for (Kes_tree_node *c = p->first_child; c; c = c->next_sibling)
      if (c->next_sibling == child) {
        c->next_sibling = child->next_sibling;
        break;
      }
  }
  child->next_sibling = nullptr;
  child->parent = nullptr;
}

void add_last_child(Kes_tree_node *parent, Kes_tree_node *child) {
  child->parent = parent;
  child->next_sibling = nullptr;
  parent->append_child(child);
}

// The real roots of a tree: the fake root's children, or the root alone.
Kes_tree_node *first_real_root(Kes_tree *t) {
  if (!t->root) return nullptr;
  return t->root->fake ? t->root->first_child : t->root;
}

Kes_tree_node *next_real_root(Kes_tree *t, Kes_tree_node *r) {
  return t->root && t->root->fake ? r->next_sibling : nullptr;
}

int max_serial(Kes_tree *t) {
  int m = 0;
  for (int i = 0; i < t->array_length; i++)
    if (t->ith_node(i)->serial > m) m = t->ith_node(i)->serial;
  return m;
}

int count_node(Kes_tree_node *, void *count, void *) {
  (*static_cast<int *>(count))++;
  return 1;
}

}  // namespace

// ---------------------------------------------------------------------------
// Matching

// Matches the children of b (to tree) with those of a (from tree); children of b
// that have no match move, with their subtrees, to the end of a's children.
void walk2(Kes_tree_node *a, Kes_tree_node *b, int *common) {
  Kes_tree_node *next;
  for (Kes_tree_node *c = b->first_child; c; c = next) {
    next = c->next_sibling;
    if (c->peer) continue;
    Kes_tree_node *match = nullptr;
    for (Kes_tree_node *x = a->first_child; x; x = x->next_sibling)
      if (!x->peer && x->side == 0 && !x->different(c)) {
        match = x;
        break;
      }
    if (match) {
      link_peers(match, c);
      (*common)++;
      walk2(match, c, common);
    } else {
      detach(c);
      add_last_child(a, c);
    }
  }
}

void Kes_tree::merge_trees(Kes_tree *other, int *common, int *same_root) {
  if (root && root->fake && other->root && other->root->fake) {
    (*common)++;
    link_peers(root, other->root);
  }
  // Roots of the other tree that match none of ours, in order.
  Kes_tree_node *unmatched_head = nullptr, **unmatched_tail = &unmatched_head;
  Kes_tree_node *next;
  for (Kes_tree_node *r = first_real_root(other); r; r = next) {
    next = next_real_root(other, r);
    Kes_tree_node *match = nullptr;
    for (Kes_tree_node *f = first_real_root(this); f; f = next_real_root(this, f))
      if (!f->peer && !f->different(r)) {
        match = f;
        break;
      }
    if (match) {
      link_peers(match, r);
      (*common)++;
      *same_root = 1;
      walk2(match, r, common);
    } else {
      // Chained through peer for the moment; no match means peer is unused.
      *unmatched_tail = r;
      unmatched_tail = &r->peer;
    }
  }
  if (!unmatched_head) return;
  *unmatched_tail = nullptr;
  if (!root->fake) {
    add_fake();
    node_count++;
    if (other->root->fake) {
      (*common)++;
      link_peers(root, other->root);
    }
  }
  for (Kes_tree_node *r = unmatched_head, *n; r; r = n) {
    n = r->peer;
    r->peer = nullptr;
    detach(r);
    add_last_child(root, r);
  }
}

int has_rmdel_peer(Kes_delta *d) {
  if (!d || !d->peer || d->peer == d) return 0;
  // After matching, the from node of a pair holds its own children and the
  // to file's unmatched ones; the to node keeps only the matched ones.
  Kes_tree_node *from = d->side == 0 ? d : d->peer;
  Kes_tree_node *kids[2] = {from->first_child, from->peer->first_child};
  for (Kes_tree_node *c0 : kids)
    for (Kes_tree_node *c = c0; c; c = c->next_sibling) {
      Kes_delta *cd = as_delta(c);
      if (!cd->removed) continue;
      int live = 0, removed = 0;
      for (Kes_tree_node *p0 : kids)
        for (Kes_tree_node *p = p0; p; p = p->next_sibling) {
          if (p->side == c->side) continue;
          Kes_delta *pd = as_delta(p);
          unsigned int saved = pd->removed;
          pd->removed = cd->removed;
          int diff = pd->different(cd);
          pd->removed = saved;
          if (!diff) (saved ? removed : live) = 1;
        }
      if (live && !removed) return 1;
    }
  return 0;
}

char *mkbranchsid(const char *sid) {
  std::string s = sid ? sid : "";
  if (!s.empty() && s.back() == '\n') s.pop_back();
  if (!s.empty() && s.back() == '.') s.pop_back();
  if (dot_count(s.c_str()) % 2 == 1) s.erase(s.rfind('.'));
  return kes_strdup_or_empty(s.c_str());
}

int used(const char *sid, Kes_delta **list, int n) {
  for (int i = 0; i < n; i++) {
    Kes_delta *d = list[i];
    if (d && d->new_sid_flag && !d->removed && d->new_sid && strcmp(d->new_sid, sid) == 0)
      return 1;
  }
  return 0;
}

// ---------------------------------------------------------------------------
// The merge object

Kes_merge::Kes_merge()
    : from_sname(nullptr), from_name(nullptr), to_sname(nullptr), to_name(nullptr),
      ancestor_output(nullptr), parent_output(nullptr), child_output(nullptr),
      destination(nullptr), ws_path(nullptr), from_file(nullptr), to_file(nullptr),
      extraction_file(nullptr), options(KES_MO_READ_PFILE), ancestor_name(nullptr),
      contents_state(0), conflict_state(0), rename_state(0), conflict_obj(nullptr),
      list_length(0), child_sid(nullptr), parent_sid(nullptr), ancestor_sid(nullptr) {}

Kes_merge::~Kes_merge() {
  free(ancestor_name);
  delete conflict_obj;
  free(child_sid);
  free(parent_sid);
  free(ancestor_sid);
}

Kes_err *Kes_merge::my_fprintf(FILE *out, const char *name, const char *format, ...) {
  if (!out) return nullptr;
  va_list ap;
  va_start(ap, format);
  int r = vfprintf(out, format, ap);
  va_end(ap);
  return r < 0 ? fprintf_err_message(name) : nullptr;
}

int Kes_merge::conflict() {
  Kes_delta *f = from_file->head_delta();
  Kes_delta *t = to_file->head_delta();
  if (has_rmdel_peer(t) || has_rmdel_peer(f)) return 1;
  if (f && f->peer) return 0;
  if (!t || !t->peer) return 1;
  return t->in_pfile;
}

void Kes_merge::have_roots_changed() {
  if (from_file->from_uniquification_only()) {
    options |= KES_MO_ROOTS_CHANGED;
    return;
  }
  Kes_tree *t = from_file->tree;
  for (Kes_tree_node *r = first_real_root(t); r; r = next_real_root(t, r))
    if (r->side == 0 && !r->peer) {
      options |= KES_MO_ROOTS_CHANGED;
      return;
    }
}

void Kes_merge::align_times() {
  // A to delta may not be older than its match, so that the grafted deltas
  // sort behind the deltas they grow from.
  Kes_tree *ft = from_file->tree;
  for (int i = 0; i < ft->array_length; i++) {
    Kes_delta *d = as_delta(ft->ith_node(i));
    if (!d->serial || !d->peer || d->peer == d) continue;
    Kes_delta *p = d->peer_delta();
    if (cmptm(&p->time, &d->time) > 0) p->time = d->time;
  }
  to_file->order_deltab(1, to_file->tree->size);
}

Kes_err *Kes_merge::merge() {
  Kes_err *err = nullptr;
  common_count = 0;
  name_common_count = 0;
  int analysis = (options & KES_MO_ANALYSIS_ONLY) != 0;
  if (!destination) destination = to_sname;
  int read_pfile = !analysis || (options & KES_MO_READ_PFILE);
  if (options & KES_MO_FORCE) to_file->state |= KES_SF_REWRITE;
  if (!analysis && to_file->build_zfilename(destination))
    if ((err = to_file->lock_file())) return err;

  do {
    if ((err = from_file->buildtree(0, 0, 0))) break;
    if ((err = to_file->buildtree(1, read_pfile, 0))) break;

    if (options & KES_MO_READ_CONFLICTS) {
      Kes_conflict from_c(from_file, 0), to_c(to_file, 0);
      conflict_state = (from_c.in_conflict() ? 1 : 0) | (to_c.in_conflict() ? 2 : 0);
    }
    if (options & KES_MO_NAMES) {
      // Returns with the lock held: the caller ends the matter by deleting the
      // file objects.
      if ((err = determine_rename_state())) return err;
    }

    Kes_tree *ft = from_file->tree, *tt = to_file->tree;
    ft->assign_roots();
    tt->assign_roots();
    int same_root = 0;
    ft->merge_trees(tt, &common_count, &same_root);

    from_file->unique_count = ft->node_count - common_count;
    to_file->unique_count = tt->node_count - common_count;
    if (from_file->sdata_delta && !from_file->sdata_delta->peer) from_file->unique_count--;
    if (to_file->sdata_delta && !to_file->sdata_delta->peer) to_file->unique_count--;
    int count = 0;
    walktree(ft->root, count_node, &count, nullptr);
    ft->node_count = count;

    if (from_file->unique_count > 0 || from_file->from_uniquification_only())
      from_file->state |= KES_SF_REWRITE;
    if (to_file->unique_count > 0 || from_file->to_uniquification_only())
      to_file->state |= KES_SF_REWRITE;

    if (!analysis) align_times();

    if (!conflict() && !(options & KES_MO_FORCE)) {
      if (from_file->state & KES_SF_REWRITE) {
        contents_state = KES_MERGE_FROM_NEW;
        if (!analysis) err = produce_output_files(0);
      } else {
        contents_state = (to_file->state & KES_SF_REWRITE) ? KES_MERGE_TO_NEW : KES_MERGE_SAME;
        if (!analysis && (options & (KES_MO_NH_REWRITE | KES_MO_TO_NAME_GAINED)))
          err = produce_output_files(0);
      }
      if (!err) have_roots_changed();
    } else {
      delete conflict_obj;
      conflict_obj = new Kes_conflict(from_file, 0);
      conflict_obj->create = 1;
      if ((err = conflict_obj->check_for_sdata())) break;
      contents_state = same_root ? KES_MERGE_CONFLICT : KES_MERGE_CONFLICT_NO_COMMON;
      if (!analysis && (err = produce_output_files(1))) break;
      have_roots_changed();
    }
  } while (0);

  to_file->unlock_file();
  if (err) {
    // A damaged file explains a failure better than the failure itself.
    Kes_err *c = to_file->test_corrupted();
    if (!c) c = from_file->test_corrupted();
    if (c) {
      delete err;
      err = c;
    }
  }
  return err;
}

// ---------------------------------------------------------------------------
// Names

Kes_err *Kes_merge::determine_rename_state() {
  Kes_err *err;
  if ((err = from_file->build_name_tree(from_name, 0))) return err;
  if ((err = to_file->build_name_tree(to_name, 1))) return err;
  Kes_name_tree *ft = static_cast<Kes_name_tree *>(from_file->name_tree);
  Kes_name_tree *tt = static_cast<Kes_name_tree *>(to_file->name_tree);
  // The latest names before matching: matching moves the to tree's own nodes.
  Kes_name_node *fl = kes_latest_name(ft), *tl = kes_latest_name(tt);
  ft->assign_roots();
  tt->assign_roots();
  int same_root = 0;
  ft->merge_trees(tt, &name_common_count, &same_root);
  int u1 = ft->node_count - name_common_count;
  int u2 = tt->node_count - name_common_count;
  int same = fl && tl && strcmp(fl->name, tl->name) == 0;

  if (!same_root) {
    rename_state = same ? 0 : 3;
    if (same) options |= KES_MO_NH_REWRITE;
  } else if (u1 < 1) {
    rename_state = (u2 > 0 && !same) ? 2 : 0;
  } else if (u2 < 1) {
    rename_state = same ? 0 : 1;
    if (same) options |= KES_MO_NH_REWRITE;
  } else if (same) {
    rename_state = 0;
    options |= KES_MO_NH_REWRITE;
  } else {
    // Renamed on both sides since they parted: the name at the parting tells
    // which side kept it.
    rename_state = 3;
    Kes_name_node *a = static_cast<Kes_name_node *>(ft->find_ancestor(fl, tl));
    if (a) {
      free(ancestor_name);
      ancestor_name = kes_strdup_or_empty(a->name);
      int af = strcmp(a->name, fl->name) == 0, at = strcmp(a->name, tl->name) == 0;
      if (af && !at) {
        rename_state = 2;
        options |= KES_MO_NH_REWRITE;
      } else if (!af && at) {
        rename_state = 1;
        options |= KES_MO_NH_REWRITE;
      }
    }
  }
  if (tt->gained) options |= KES_MO_TO_NAME_GAINED;
  if (ft->gained) options |= KES_MO_FROM_NAME_GAINED;
  return nullptr;
}

Kes_err *Kes_merge::replace_name_history() {
  if (!from_file->name_tree) return nullptr;
  Kes_name_history nh(from_file, 0);
  return nh.replace_from_tree(static_cast<Kes_name_tree *>(from_file->name_tree));
}

Kes_err *Kes_merge::check_to_conflict() {
  if (conflict_obj) return nullptr;
  Kes_conflict to_c(to_file, 0);
  Kes_err *err = to_c.get();
  if (err || !to_c.child_sid) {
    delete err;  // an unreadable record is no record
    return nullptr;
  }
  Kes_conflict from_c(from_file, 0);
  from_c.set(to_c.force_word, to_c.child_sid, to_c.parent_sid, to_c.ancestor_sid, to_c.ws_path);
  return from_c.write();
}

// ---------------------------------------------------------------------------
// Output

Kes_err *Kes_merge::produce_output_files(int conflict) {
  Kes_err *err;
  if (options & KES_MO_NAMES)
    if ((err = replace_name_history())) return err;
  if ((err = check_to_conflict())) return err;
  from_file->preserve_uniquifications();
  // A data delta made since (for the conflict record or the name history) moved
  // the from file's later deltas on by a second.
  align_times();

  Kes_delta_tree *ft = from_file->tree, *tt = to_file->tree;
  // The largest serial by a scan: a data delta made in this run sits in the
  // spare slot above the others, with serial 2.
  from_file->map_size = max_serial(ft) + to_file->unique_count;
  to_file->map_size = max_serial(tt);
  for (Kes_sfile *f : {from_file, to_file}) {
    free(f->serial_map);
    f->serial_map = static_cast<Kes_serial *>(calloc(f->map_size + 1, sizeof(Kes_serial)));
    if (!f->serial_map) kes_new_handler();
    for (int i = 0; i <= f->map_size; i++) f->serial_map[i].serial = -1;
  }

  Kes_delta **list = nullptr;
  if ((err = from_file->mklist(&list))) return err;
  int n = ft->node_count;
  list_length = n;
  do {
    if ((err = mksids(list, n))) break;
    if ((err = mapfromfile(list))) break;
    if ((err = maptofile(from_file, to_file, list))) break;
    if ((err = prepare_delta_entries(list))) break;
    if ((err = fileresolve())) break;
    if (to_file->pfile_list && (err = to_file->rewrite_pfile())) break;
    if ((err = mksfile(list, conflict))) break;
    if ((err = to_file->rename_tmp_sfile(destination))) break;
    err = get_conflict_files();
  } while (0);
  free(list);
  return err;
}

Kes_err *Kes_merge::mapfromfile(Kes_delta **list) {
  int n = list_length;
  Kes_serial *map = from_file->serial_map;
  for (int i = 0; i < n; i++) {
    Kes_delta *d = list[i];
    if (!d || d->side != 0) continue;
    if (d->serial > from_file->map_size || d->serial < 0)
      return (new Kes_err)
          ->format_msg(2502, 0,
                       BWM_MSG(2000, "Internal error in sccsmerge in mapfromfile(): bad serial "
                                     "number, %d"),
                       d->serial);
    map[d->serial].delta = d;
    map[d->serial].serial = n - i;
  }
  return nullptr;
}

Kes_err *Kes_merge::maptofile(Kes_sfile *from, Kes_sfile *to, Kes_delta **list) {
  int n = list_length;
  Kes_delta_tree *tt = to->tree;
  Kes_serial *map = to->serial_map;
  for (int s = 0; s < tt->array_length; s++) {
    Kes_delta *d = tt->ith_delta(s);
    if (!d->serial) continue;
    if (d->serial > to->map_size)
      return (new Kes_err)
          ->format_msg(2503, 0,
                       BWM_MSG(2001, "Internal error in sccsmerge in maptofile(): serial number "
                                     "%d beyond map size, %d"),
                       d->serial, to->map_size);
    if (d->peer && d->peer != d) {
      Kes_delta *p = d->peer_delta();
      map[d->serial].delta = p;
      map[d->serial].serial = (p->serial >= 0 && p->serial <= from->map_size)
                                  ? from->serial_map[p->serial].serial
                                  : -1;
      continue;
    }
    int i;
    for (i = 0; i < n; i++)
      if (list[i] == d) break;
    if (i < n) {
      map[d->serial].delta = d;
      map[d->serial].serial = n - i;
    } else if (!d->fake) {
      return (new Kes_err)
          ->format_msg(2504, 0,
                       BWM_MSG(2002, "Internal error in sccsmerge in maptofile(): bad serial "
                                     "number, %d"),
                       d->serial);
    }
  }
  return nullptr;
}

// The SID that delta gets in the merged file, given the delta (or p-file entry,
// or default) that it grows from.
Kes_err *Kes_merge::nextsid(Kes_delta *base, Kes_delta **list, int n, char **out,
                            const char *old_sid, Kes_delta *parent, int side,
                            int must_branch) {
  const char *cur = base->current_sid();
  int rel, lev, br, seq;
  int ncomp = get_sid_info(cur, &rel, &lev, &br, &seq);
  std::string prefix;
  if (ncomp > 4) {
    const char *p = cur;
    for (int skip = ncomp - 4; skip > 0; skip--) p = strchr(p, '.') + 1;
    prefix.assign(cur, p - cur);  // with its trailing dot
  }
  int on_parent_trunk = 1;
  if (old_sid) {
    Kes_delta *p = parent;
    if (side && p && p->side == 0 && p->peer) p = p->peer_delta();
    on_parent_trunk = p && samebranch(p->sid, old_sid);
  }
  char buf[128];
  auto take = [&](const char *sid) {
    free(*out);
    *out = kes_strdup_or_empty(sid);
  };
  if (on_parent_trunk && !must_branch) {
    bool have = false;
    if (br || seq) {
      snprintf(buf, sizeof buf, "%s%d.%d.%d.%d", prefix.c_str(), rel, lev, br, seq + 1);
      have = true;
    } else {
      bool trunk_child = false;
      for (Kes_tree_node *c = base->first_child; c; c = c->next_sibling) {
        Kes_delta *cd = as_delta(c);
        if (!cd->removed && cd->new_sid_flag && dot_count(cd->current_sid()) == 1)
          trunk_child = true;
      }
      if (!trunk_child) {
        snprintf(buf, sizeof buf, "%s%d.%d", prefix.c_str(), rel, lev + 1);
        have = true;
      }
    }
    if (have && !used(buf, list, n)) {
      take(buf);
      return nullptr;
    }
  }
  if (!on_parent_trunk && strcmp(cur, base->sid ? base->sid : "") == 0 &&
      !used(old_sid, list, n) &&
      (!base->peer || strcmp(base->peer_delta()->sid ? base->peer_delta()->sid : "", cur) == 0)) {
    take(old_sid);
    return nullptr;
  }
  for (int b = br ? br : 1;; b++) {
    snprintf(buf, sizeof buf, "%s%d.%d.%d.1", prefix.c_str(), rel, lev, b);
    if (!used(buf, list, n)) break;
  }
  take(buf);
  return nullptr;
}

Kes_err *Kes_merge::mksids(Kes_delta **list, int n) {
  Kes_err *err;
  if (n < 1) return nullptr;
  Kes_delta *root = list[n - 1];
  if (!root)
    return (new Kes_err)
        ->format_msg(2506, 0,
                     BWM_MSG(2004, "Internal error in sccsmerge in mksids(): Null entry in delta "
                                   "list"));
  if (root->side == 1 && !root->peer)
    return (new Kes_err)
        ->format_msg(2505, 0,
                     BWM_MSG(2003, "Internal error in sccsmerge in mksids(): root is new in "
                                   "destination"));
  root->set_new_sid(root->sid);

  // The from file's trunk keeps its numbers, up to where a to delta takes over.
  Kes_delta *last_trunk = root;
  for (Kes_delta *cur = root; cur;) {
    Kes_delta *c = cur->first_child_delta();
    if (!c) break;
    Kes_delta *live = nullptr;
    for (Kes_delta *s = c; s; s = s->next_sibling_delta())
      if (!s->removed && dot_count(s->sid) == 1) {
        live = s;
        break;
      }
    for (Kes_delta *s = c; s; s = s->next_sibling_delta())
      if (s->removed && dot_count(s->sid) == 1 && (!live || cmptm(&s->time, &live->time) > 0))
        s->set_new_sid(s->sid);
    if (!live || live->side == 1) break;
    live->set_new_sid(live->sid);
    last_trunk = live;
    cur = live;
  }
  Kes_delta *m = has_rmdel_peer(last_trunk) ? last_trunk : nullptr;

  for (int i = n - 1; i >= 0; i--) {
    Kes_delta *d = list[i];
    if (!d)
      return (new Kes_err)
          ->format_msg(2506, 0,
                       BWM_MSG(2004, "Internal error in sccsmerge in mksids(): Null entry in "
                                     "delta list"));
    if (d->new_sid_flag) continue;
    Kes_delta *parent = d->parent_delta();
    if (!parent) {
      d->set_new_sid(d->sid);
      continue;
    }
    char *sid = nullptr;
    if ((err = nextsid(parent, list, n, &sid, d->sid, parent, d->side, parent == m))) return err;
    d->set_new_sid(sid);
    free(sid);
  }

  // Pending check-outs of the to file go on where the merged file is free.
  for (Kes_pfile *p = to_file->pfile_list; p; p = p->next) {
    if (!p->delta)
      return (new Kes_err)
          ->format_msg(2090, 0, BWM_MSG(2005, "Invalid p-file \"%s\": delta %s is not in the s-file"),
                       to_file->pfile_path ? to_file->pfile_path : "", p->old_sid ? p->old_sid : "");
    Kes_delta *base = p->delta;
    if (base->side == 1 && base->peer) base = base->peer_delta();
    char *sid = kes_strdup_or_empty(p->new_sid);
    if ((err = nextsid(base, list, n, &sid, p->new_sid, p->delta, 0, base == m))) {
      free(sid);
      return err;
    }
    free(p->new_sid);
    p->new_sid = sid;
  }

  // The to file's default SID: where its line of work now goes on.
  Kes_delta *head = to_file->head_delta();
  if (head) {
    Kes_delta *base = head->peer ? head->peer_delta() : head;
    char *sid = nullptr;
    if (!head->in_pfile) {
      sid = kes_strdup_or_empty(base->current_sid());
    } else if ((err = nextsid(base, list, n, &sid, nullptr, base, 0, base == m))) {
      return err;
    }
    char *dot = strrchr(sid, '.');
    if (dot) *dot = '\0';
    free(to_file->default_sid);
    to_file->default_sid = sid;
  }
  return nullptr;
}

Kes_err *Kes_merge::prepare_delta_entries(Kes_delta **list) {
  int n = list_length;
  for (int i = 0; i < n; i++) {
    Kes_delta *d = list[i];
    Kes_sfile *own = d->side ? to_file : from_file;
    const char *own_name = d->side ? "toinfo" : "frominfo";
    int serial = d->serial >= 0 && d->serial <= own->map_size ? own->serial_map[d->serial].serial : -1;
    if (serial == -1)
      return (new Kes_err)
          ->format_msg(2507, 0,
                       BWM_MSG(2006, "Internal error in sccsmerge in delta_entry(): serial "
                                     "number not in map, %s->map[%d] = -1"),
                       own_name, d->serial);
    int pred = 0;
    Kes_delta *p = d->parent_delta();
    if (p) {
      Kes_sfile *pf = p->side ? to_file : from_file;
      const char *pf_name = p->side ? "toinfo" : "frominfo";
      pred = p->serial >= 0 && p->serial <= pf->map_size ? pf->serial_map[p->serial].serial : -1;
      if (pred == -1)
        return (new Kes_err)
            ->format_msg(2508, 0,
                         BWM_MSG(2007, "Internal error in sccsmerge in delta_entry(): parent "
                                       "delta not in serial map, %s->map[%d] = -1"),
                         pf_name, p->serial);
      if (pred >= serial)
        return (new Kes_err)
            ->format_msg(2509, 0,
                         BWM_MSG(2008, "Internal error in sccsmerge in delta_entry(): bad "
                                       "parent serial number %d, mapsize %d"),
                         pred, pf->map_size);
    }
    d->serial = serial;
    d->pred = pred;

    if ((options & KES_MO_SIGNATURE) && d->side == 0 && !d->peer) {
      static const char sig[] = "sccsmerge-signature:";
      int count = 0;
      while (d->comments && d->comments[count]) count++;
      if (count == 0 || strncmp(d->comments[count - 1], sig, sizeof sig - 1) != 0) {
        std::string line = std::string(sig) + " " + (d->user ? d->user : "") + " " +
                           (d->date ? d->date : "") + "\n";
        char **c = static_cast<char **>(realloc(d->comments, (count + 2) * sizeof(char *)));
        if (!c) kes_new_handler();
        c[count] = kes_strdup_or_empty(line.c_str());
        c[count + 1] = nullptr;
        d->comments = c;
      }
    }

    // Lists name the from file's node of a matched pair.
    for (Kes_tree_node **l : {d->includes, d->excludes, d->ignores})
      for (; l && *l; l++)
        if ((*l)->side == 1 && (*l)->peer) *l = (*l)->peer;
  }
  return nullptr;
}

Kes_err *Kes_merge::fileresolve() {
  if (!conflict_obj) return nullptr;
  Kes_delta *f = from_file->head_delta();
  Kes_delta *t = to_file->head_delta();
  Kes_delta *a = static_cast<Kes_delta *>(from_file->tree->find_ancestor(f, t));
  free(ancestor_sid);
  ancestor_sid = a && !a->fake ? kes_strdup_or_empty(a->current_sid()) : nullptr;
  const char *f_sid = f ? f->current_sid() : "";
  const char *t_sid = t ? (t->peer ? t->peer_delta() : t)->current_sid() : "";
  free(child_sid);
  free(parent_sid);
  child_sid = kes_strdup_or_empty(to_file->default_sid);
  parent_sid = mkbranchsid(f_sid);
  if (ancestor_sid && strcmp(child_sid, parent_sid) == 0) {
    // The two lines share a branch: name the versions themselves.
    if (strcmp(t_sid, ancestor_sid) == 0) {
      free(child_sid);
      free(parent_sid);
      child_sid = kes_strdup_or_empty(ancestor_sid);
      parent_sid = kes_strdup_or_empty(f_sid);
    } else if (strcmp(f_sid, ancestor_sid) == 0) {
      free(child_sid);
      free(parent_sid);
      parent_sid = kes_strdup_or_empty(ancestor_sid);
      child_sid = kes_strdup_or_empty(t_sid);
    }
  }
  conflict_obj->set((options & KES_MO_FORCE) ? "force" : "noforce", child_sid, parent_sid,
                    ancestor_sid, ws_path);
  return conflict_obj->write();
}

Kes_err *Kes_merge::get_conflict_files() {
  if (!conflict_obj) return nullptr;
  Kes_sfile *src = extraction_file ? extraction_file : to_file;
  struct Out {
    const char *path;
    const char *sid;
  } outs[3] = {{child_output, child_sid}, {ancestor_output, ancestor_sid},
               {parent_output, parent_sid}};
  for (const Out &o : outs) {
    if (!o.path || !o.sid) continue;
    src->get_clear_file(o.sid, 3, o.path);
    chmod(o.path, 0444);
  }
  return nullptr;
}
