// The rebuilding body merge: views of a body, differences between views, and
// writing a delta's differences into a body.
#include "sccs/seditor.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "sccs/kes_sfile.h"
#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"

namespace {

[[noreturn]] void fail(int code, int err, const char *text) {
  throw(new Kes_err)->format_msg(code, err, "%s", text);
}

// Unlinks the first string of a list and hands it over.
char *take_string(Kes_strlist *l) {
  Kes_listelem *e = l->head.next;
  char *s = static_cast<char *>(e->data);
  l->delete_elem_wrapper(e);
  return s;
}

// Moves all strings of from to the end of to.
void move_lines(Kes_strlist *from, Kes_strlist *to) {
  while (from->count) to->add_new_data(take_string(from));
}

}  // namespace

// ---------------------------------------------------------------------------
// Differences

Diff::Diff(type_t t, long l) : type(t), line(l), lines(new Kes_strlist) {}

Diff::~Diff() { delete lines; }

void Diff::add_line(const char *text) { lines->add_new_data(kes_strdup(text)); }

int Diff::compare(Diff *other) {
  return type == other->type && line == other->line && lines->compare(other->lines);
}

Diff_list::~Diff_list() { clear(); }
Kes_list *Diff_list::create_list() { return new Diff_list; }
void *Diff_list::create_data() { return new Diff(Diff::ins, 0); }
void *Diff_list::copy_data(void *data) {
  Diff *d = static_cast<Diff *>(data);
  Diff *c = new Diff(d->type, d->line);
  for (Kes_listelem *e = d->lines->head.next; e != &d->lines->head; e = e->next)
    c->add_line(static_cast<char *>(e->data));
  return c;
}
void Diff_list::delete_data(void *data) { delete static_cast<Diff *>(data); }
void Diff_list::print_data(void *data) {
  Diff *d = static_cast<Diff *>(data);
  fprintf(stderr, "%s %ld (%ld lines)\n", d->type == Diff::del ? "delete" : "insert", d->line,
          d->count());
}
int Diff_list::compare_datas(void *a, void *b) {
  return static_cast<Diff *>(a)->compare(static_cast<Diff *>(b));
}

Diff *Diff_list::take_first() {
  if (!count) return nullptr;
  Kes_listelem *e = head.next;
  Diff *d = static_cast<Diff *>(e->data);
  delete_elem_wrapper(e);
  return d;
}

void Diff_list::optimize() {
  if (count < 2) return;
  Diff_list result;
  while (count) {
    Diff *e = take_first();
    Diff *D, *I;
    if (e->type == Diff::del) {
      D = e;
      I = new Diff(Diff::ins, 0);
    } else {
      I = e;
      D = new Diff(Diff::del, e->line + 1);
    }
    // Fold the deletes that continue D and the inserts that land inside it.
    for (Kes_listelem *x = head.next, *next; x != &head; x = next) {
      next = x->next;
      Diff *xd = static_cast<Diff *>(x->data);
      long end = D->line + D->count();
      if (xd->line > end) break;
      if (xd->type == Diff::del && xd->line == end) {
        move_lines(xd->lines, D->lines);
        delete_elem(x);
      } else if (xd->type == Diff::ins && xd->line >= D->line - 1 && xd->line <= end - 1) {
        move_lines(xd->lines, I->lines);
        delete_elem(x);
      }
    }
    // Lines deleted and inserted again unchanged cancel out.
    while (D->count() && I->count()) {
      long j = 0, k = 0;
      bool found = false;
      for (Kes_listelem *a = D->lines->head.next; a != &D->lines->head && !found; a = a->next, j++) {
        k = 0;
        for (Kes_listelem *b = I->lines->head.next; b != &I->lines->head; b = b->next, k++)
          if (strcmp(static_cast<char *>(a->data), static_cast<char *>(b->data)) == 0) {
            found = true;
            break;
          }
        if (found) break;
      }
      if (!found) break;
      Diff *nd = nullptr;
      if (j > 0) {
        nd = new Diff(Diff::del, D->line);
        for (long i = 0; i < j; i++) nd->lines->add_new_data(take_string(D->lines));
        D->line += j;
        result.append(nd);
      }
      if (k > 0) {
        Diff *ni = new Diff(Diff::ins, nd ? nd->line + nd->count() - 1 : D->line - 1);
        for (long i = 0; i < k; i++) ni->lines->add_new_data(take_string(I->lines));
        result.append(ni);
      }
      while (D->count() && I->count() &&
             strcmp(static_cast<char *>(D->lines->head.next->data),
                    static_cast<char *>(I->lines->head.next->data)) == 0) {
        free(take_string(D->lines));
        free(take_string(I->lines));
        D->line++;
      }
    }
    I->line = D->line + D->count() - 1;
    if (D->count())
      result.append(D);
    else
      delete D;
    if (I->count())
      result.append(I);
    else
      delete I;
  }
  while (Diff *d = result.take_first()) append(d);
}

Diff_list *rebase(Diff_list *B, Diff_list *D) {
  Diff_list *res = new Diff_list;
  if (D->count == 0) {
    B->optimize();
    while (Diff *d = B->take_first()) res->append(d);
    return res;
  }
  long p = 1, v = 0;  // line numbers in the predecessor and in the view
  Diff *run = nullptr;
  while (B->count || D->count) {
    // Entries behind the walk would never be reached: take them here.
    for (Diff_list *l : {B, D}) {
      Diff *h = l->first();
      if (h && h->type == Diff::ins && h->line < p - 1) h->line = p - 1;
      if (h && h->type == Diff::del && h->line < p) h->line = p;
    }
    Diff *dh = D->first();
    if (dh && dh->type == Diff::ins && dh->line == p - 1) {
      // In the view, not in the delta.
      D->take_first();
      dh->type = Diff::del;
      dh->line = v + 1;
      v += dh->count();
      res->append(dh);
      run = nullptr;
      continue;
    }
    Diff *bh;
    while ((bh = B->first()) && bh->type == Diff::ins && bh->line == p - 1) {
      B->take_first();
      bh->line = v;
      res->append(bh);
      run = nullptr;
    }
    dh = D->first();
    bh = B->first();
    if (dh && bh) {
      if (dh->line > p && bh->line > p) {
        long m = dh->line < bh->line ? dh->line : bh->line;
        v += m - p;
        p = m;
        run = nullptr;
      }
    } else if (dh || bh) {
      Diff *h = dh ? dh : bh;
      if (h->line > p) {
        v += h->line - p;
        p = h->line;
        run = nullptr;
      }
    }
    char *dl = nullptr, *bl = nullptr;
    if (dh && dh->type == Diff::del && dh->line == p) {
      dl = take_string(dh->lines);
      dh->line++;
      if (!dh->count()) delete D->take_first();
    }
    if (bh && bh->type == Diff::del && bh->line == p) {
      bl = take_string(bh->lines);
      bh->line++;
      if (!bh->count()) delete B->take_first();
    }
    bool d_took = dl != nullptr;
    if ((dl && bl) || (!dl && !bl)) {
      run = nullptr;
    } else if (dl) {
      // Not in the view, still in the delta.
      if (!run || run->type != Diff::ins) {
        run = new Diff(Diff::ins, v);
        res->append(run);
      }
      run->lines->add_new_data(dl);
      dl = nullptr;
    } else {
      // In the view, gone from the delta.
      if (!run || run->type != Diff::del) {
        run = new Diff(Diff::del, v + 1);
        res->append(run);
      }
      run->lines->add_new_data(bl);
      bl = nullptr;
    }
    free(bl);
    free(dl);
    if (!d_took) v++;
    p++;
  }
  res->optimize();
  return res;
}

// ---------------------------------------------------------------------------
// Views

SEditor::SEditorFlags::SEditorFlags()
    : count(0), size(0), state(nullptr), queue(nullptr), visible(0) {}

SEditor::SEditorFlags::~SEditorFlags() {
  free(state);
  while (queue) {
    Entry *n = queue->next;
    delete queue;
    queue = n;
  }
}

void SEditor::SEditorFlags::init(Kes_tree_node **list, int n, Kes_tree_node *node,
                                 Kes_tree_node **includes, Kes_tree_node **excludes) {
  free(state);
  size = n;
  count = 0;
  visible = 0;
  state = static_cast<int *>(calloc(size + 1, sizeof(int)));
  if (!state) kes_new_handler();
  // The version's deltas: the predecessor chain of node, what the given lists
  // and the lists of its deltas include, less what any of them excludes or
  // ignores.  The host's SCCS lets an exclusion win over an inclusion wherever
  // either stands, but heeds a delta's ignores only while that delta is itself
  // in the version; the given lists count as those of a delta on top of node.
  // Lists name older deltas, so walking down from the newest settles a delta
  // before its own lists are read.
  char *in = static_cast<char *>(calloc(size + 1, 1));
  char *out = static_cast<char *>(calloc(size + 1, 1));
  char *ancestor = static_cast<char *>(calloc(size + 1, 1));
  if (!in || !out || !ancestor) kes_new_handler();
  auto add = [&](char *set, Kes_tree_node **l) {
    for (; l && *l; l++)
      if ((*l)->serial >= 1 && (*l)->serial <= size) set[(*l)->serial] = 1;
  };
  add(in, includes);
  add(out, excludes);
  if (node && node->serial >= 1 && node->serial <= size) ancestor[node->serial] = 1;
  for (int s = size; s >= 1; s--) {
    Kes_tree_node *d = list ? list[size - s] : nullptr;
    if (ancestor[s]) {
      in[s] = 1;
      if (s > 1 && d && d->pred >= 1 && d->pred <= size) ancestor[d->pred] = 1;
    }
    if (!in[s] || !d) continue;
    add(in, d->includes);
    add(out, d->excludes);
    if (!out[s]) add(out, d->ignores);
  }
  for (int s = 1; s <= size; s++) state[s] = in[s] && !out[s] ? 1 : 2;
  free(in);
  free(out);
  free(ancestor);
}

void SEditor::SEditorFlags::fini() {
  if (queue)
    fail(2525, 0, BWM_MSG(2500, "Internal error in merge_bodies: flags left in queue"));
}

void SEditor::SEditorFlags::add_queue(int serial, int keep_value) {
  Entry **at = &queue;
  while (*at && (*at)->serial > serial) at = &(*at)->next;
  if (*at && (*at)->serial == serial)
    fail(2526, 0,
         BWM_MSG(2501, "Internal error in merge_bodies: nested controls for the same serial"));
  *at = new Entry{serial, keep_value, *at};
}

void SEditor::SEditorFlags::rem_queue(int serial) {
  for (Entry **at = &queue; *at; at = &(*at)->next)
    if ((*at)->serial == serial) {
      Entry *e = *at;
      *at = e->next;
      delete e;
      return;
    }
  fail(2527, 0, BWM_MSG(2502, "Internal error in merge_bodies: end without inc/del"));
}

void SEditor::SEditorFlags::ctrl_line(char letter, int serial) {
  visible = 0;
  if (letter == 'D')
    add_queue(serial, state[serial] == 1 ? drop : none);
  else if (letter == 'I')
    add_queue(serial, state[serial] == 1 ? keep : drop);
  else
    rem_queue(serial);
  for (Entry *e = queue; e; e = e->next)
    if (e->keep_t != none) {
      visible = e->keep_t == keep;
      break;
    }
}

// ---------------------------------------------------------------------------
// The editor

SEditor::SEditor(Kes_sfile *f, Kes_tree_node **l, int n)
    : file(f), buf(nullptr), buf_size(4096), body_offset(0), body_line(0), list(l),
      list_size(n), line_no(0) {
  buf = static_cast<char *>(malloc(buf_size));
  if (!buf) kes_new_handler();
  buf[0] = '\0';
}

SEditor::~SEditor() { free(buf); }

void SEditor::put(FILE *out, const char *name, const char *text) {
  if (Kes_err *e = fputs_N_check(text, out, name)) throw e;
}

char *SEditor::read_line(int required) {
  size_t len = 0;
  buf[0] = '\0';
  for (;;) {
    if (!fgets(buf + len, static_cast<int>(buf_size - len), file->stream)) {
      if (ferror(file->stream))
        throw(new Kes_err)
            ->format_msg(1001, errno, BWM_MSG(2503, "Reading from \"%s\" failed"), file->s_path);
      if (len > 0) break;
      if (required)
        throw(new Kes_err)
            ->format_msg(2529, 0,
                         BWM_MSG(2504, "Internal error in merge_bodies: premature end of file "
                                       "\"%s\""),
                         file->s_path);
      return nullptr;
    }
    len += strlen(buf + len);
    if (len > 0 && buf[len - 1] == '\n') break;
    char *bigger = static_cast<char *>(realloc(buf, buf_size + 4096));
    if (!bigger) fail(1001, errno, BWM_MSG(2505, "Memory allocation failed"));
    buf = bigger;
    buf_size += 4096;
  }
  line_no++;
  return buf;
}

int SEditor::parse_line(SEditorFlags &flags) {
  if (buf[0] != '\001') {
    if (flags.visible) flags.count++;
    return flags.visible;
  }
  char letter = buf[1];
  strncpy(file->line, buf, sizeof file->line - 1);
  file->line[sizeof file->line - 1] = '\0';
  int serial = file->get_serial();
  if (file->serial_map) {
    if (serial < 1 || serial > file->map_size)
      fail(2530, 0, BWM_MSG(2506, "Internal error in merge_bodies: invalid serial number"));
    serial = file->serial_map[serial].serial;
  }
  if (serial < 1 || serial > flags.size)
    fail(2531, 0, BWM_MSG(2506, "Internal error in merge_bodies: invalid serial number"));
  if (letter != 'I' && letter != 'D' && letter != 'E')
    throw(new Kes_err)
        ->format_msg(2532, 0, BWM_MSG(2507, "Internal error in merge_bodies: invalid control "
                                            "type '%c'"),
                     letter);
  flags.ctrl_line(letter, serial);
  return 0;
}

void SEditor::seek_to_body() {
  if (!file->stream) {
    file->stream = kes_fopen_read(file->s_path);
    if (!file->stream)
      throw(new Kes_err)
          ->format_msg(1001, errno, BWM_MSG(2508, "Open of \"%s\" for reading failed"),
                       file->s_path);
  }
  if (body_offset) {
    if (fseek(file->stream, body_offset, SEEK_SET) != 0)
      throw(new Kes_err)
          ->format_msg(1040, errno, BWM_MSG(2509, "fseek() failed for \"%s\""), file->s_path);
    line_no = body_line;
    return;
  }
  if (fseek(file->stream, 0, SEEK_SET) != 0)
    throw(new Kes_err)
        ->format_msg(1040, errno, BWM_MSG(2509, "fseek() failed for \"%s\""), file->s_path);
  line_no = 0;
  for (;;) {
    char *l = read_line(1);
    if (l[0] == '\001' && l[1] == 'T') break;
  }
  long pos = ftell(file->stream);
  if (pos < 0)
    throw(new Kes_err)
        ->format_msg(1001, errno, BWM_MSG(2510, "ftell() failed for \"%s\""), file->s_path);
  body_offset = pos;
  body_line = line_no;
}

int SEditor::cmp_files(SEditor &a, Kes_tree_node *n1, SEditor &b, Kes_tree_node *n2) {
  SEditorFlags fa, fb;
  fa.init(a.list, a.list_size, n1, nullptr, nullptr);
  fb.init(b.list, b.list_size, n2, nullptr, nullptr);
  a.seek_to_body();
  b.seek_to_body();
  auto next_visible = [](SEditor &e, SEditorFlags &f) -> char * {
    for (;;) {
      char *l = e.read_line(0);
      if (!l) return nullptr;
      if (e.parse_line(f) && l[0] != '\001') return l;
    }
  };
  for (;;) {
    char *la = next_visible(a, fa);
    char *lb = next_visible(b, fb);
    if (!la && !lb) {
      fa.fini();
      fb.fini();
      return 1;
    }
    if (!la || !lb || strcmp(la, lb) != 0) return 0;
  }
}

void SEditor::next_diff(long line, int before, int after, Diff_list *l, Diff **current) {
  if (before && after) {
    *current = nullptr;
    return;
  }
  if (!before && !after) return;
  Diff::type_t t = after ? Diff::ins : Diff::del;
  if (!*current || (*current)->type != t) {
    *current = new Diff(t, line);
    l->append(*current);
  }
  (*current)->add_line(buf);
}

namespace {
Kes_tree_node *predecessor(Kes_tree_node **list, int size, Kes_tree_node *node) {
  if (node->pred < 1 || node->pred > size) return nullptr;
  return list[size - node->pred];
}

// What a delta leaves out of the version it is written against: its excludes
// and its ignores, for CSSC's get takes an ignored delta out like an excluded
// one.  The version after the delta leaves out the same, so the delta's own
// change is all that lies between the two.
std::vector<Kes_tree_node *> left_out(Kes_tree_node *node) {
  std::vector<Kes_tree_node *> v;
  for (Kes_tree_node **l : {node->excludes, node->ignores})
    for (; l && *l; l++) v.push_back(*l);
  v.push_back(nullptr);
  return v;
}
}  // namespace

void SEditor::build_diffs(Kes_tree_node *node, Diff_list *full, Diff_list *plain,
                          Diff_list *ie) {
  Kes_tree_node *pred = predecessor(list, list_size, node);
  bool need_i = full || ie, need_p = plain || ie, need_d = plain || full;
  SEditorFlags vi, vp, vd;
  if (need_i) vi.init(list, list_size, pred, node->includes, left_out(node).data());
  if (need_p) vp.init(list, list_size, pred, nullptr, nullptr);
  if (need_d) vd.init(list, list_size, node, nullptr, nullptr);
  seek_to_body();
  Diff *cur_full = nullptr, *cur_plain = nullptr, *cur_ie = nullptr;
  while (read_line(0)) {
    int text = buf[0] != '\001';
    int si = need_i ? parse_line(vi) : 0;
    int sp = need_p ? parse_line(vp) : 0;
    int sd = need_d ? parse_line(vd) : 0;
    if (!text) continue;
    if (plain) next_diff(vp.count, sp, sd, plain, &cur_plain);
    if (full) next_diff(vi.count, si, sd, full, &cur_full);
    if (ie) next_diff(vp.count, sp, si, ie, &cur_ie);
  }
  if (need_i) vi.fini();
  if (need_p) vp.fini();
  if (need_d) vd.fini();
}

void SEditor::delete_lines(const char *name, FILE *out, SEditorFlags &flags, Diff *diff,
                           int serial) {
  for (;;) {
    char *l = read_line(1);
    if (parse_line(flags) && l[0] != '\001' && flags.count == diff->line) break;
    put(out, name, l);
  }
  char ctl[32];
  snprintf(ctl, sizeof ctl, "%cD %d\n", 1, serial);
  put(out, name, ctl);
  for (Kes_listelem *e = diff->lines->head.next; e != &diff->lines->head; e = e->next) {
    if (strcmp(buf, static_cast<char *>(e->data)) != 0)
      fail(2528, 0,
           BWM_MSG(2511, "Internal error in merge_bodies: deleted text does not match g-file"));
    put(out, name, buf);
    if (e->next == &diff->lines->head) break;
    for (;;) {
      char *l = read_line(1);
      if (parse_line(flags) && l[0] != '\001') break;
      put(out, name, l);
    }
  }
  snprintf(ctl, sizeof ctl, "%cE %d\n", 1, serial);
  put(out, name, ctl);
}

void SEditor::insert_lines(const char *name, FILE *out, SEditorFlags &flags, Diff *diff,
                           int serial) {
  while (flags.count < diff->line) {
    char *l = read_line(1);
    parse_line(flags);
    put(out, name, l);
  }
  char ctl[32];
  snprintf(ctl, sizeof ctl, "%cI %d\n", 1, serial);
  put(out, name, ctl);
  for (Kes_listelem *e = diff->lines->head.next; e != &diff->lines->head; e = e->next)
    put(out, name, static_cast<char *>(e->data));
  snprintf(ctl, sizeof ctl, "%cE %d\n", 1, serial);
  put(out, name, ctl);
}

void SEditor::apply_diffs(Kes_tree_node *node, Diff_list *l) {
  if ((node->serial == 1 || (node->parent && node->parent->fake)) && l->count == 0)
    l->append(new Diff(Diff::ins, 0));
  if (l->count == 0) return;
  FILE *tmp = tmpfile();
  if (!tmp) fail(1003, errno, BWM_MSG(2512, "tmpfile() failed"));
  const char *name = "tmpfile";
  try {
    seek_to_body();
    SEditorFlags flags;
    flags.init(list, list_size, predecessor(list, list_size, node), node->includes,
               left_out(node).data());
    for (Kes_listelem *e = l->head.next; e != &l->head; e = e->next) {
      Diff *d = static_cast<Diff *>(e->data);
      if (d->type == Diff::del)
        delete_lines(name, tmp, flags, d, node->serial);
      else
        insert_lines(name, tmp, flags, d, node->serial);
    }
    while (char *line = read_line(0)) {
      parse_line(flags);
      put(tmp, name, line);
    }
    flags.fini();
    if (fseek(tmp, 0, SEEK_SET) != 0)
      throw(new Kes_err)->format_msg(1040, errno, BWM_MSG(2509, "fseek() failed for \"%s\""), name);
    seek_to_body();
    char block[8192];
    size_t n;
    while ((n = fread(block, 1, sizeof block, tmp)) > 0)
      if (fwrite(block, 1, n, file->stream) != n)
        throw(new Kes_err)
            ->format_msg(1001, errno, BWM_MSG(2513, "Writing to \"%s\" failed"), file->s_path);
    if (ferror(tmp))
      throw(new Kes_err)->format_msg(1001, errno, BWM_MSG(2503, "Reading from \"%s\" failed"), name);
    if (fflush(file->stream) != 0)
      throw(new Kes_err)
          ->format_msg(1001, errno, BWM_MSG(2513, "Writing to \"%s\" failed"), file->s_path);
  } catch (...) {
    fclose(tmp);
    throw;
  }
  fclose(tmp);
}
