// Reading a history file: the delta table into the node array, the flags,
// locked users and descriptive text behind it, and the p-file beside it.
#include "sccs/sccs_sfile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_mmap.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"

namespace {

void *xrealloc(void *p, size_t n) {
  void *q = realloc(p, n);
  if (!q) kes_new_handler();
  return q;
}

// Splits path into its directory ("" when it has none) and base name.
void split_path(const char *path, std::string *dir, std::string *base) {
  const char *slash = strrchr(path, '/');
  if (!slash) {
    dir->clear();
    *base = path;
  } else {
    dir->assign(path, slash == path ? 1 : slash - path);
    *base = slash + 1;
  }
}

std::string join(const std::string &dir, const std::string &name) {
  if (dir.empty()) return name;
  if (dir.back() == '/') return dir + name;
  return dir + "/" + name;
}

Kes_err *corrupted(const char *path) {
  return (new Kes_err)->format_msg(2043, 0, BWM_MSG(1009, "SCCS file \"%s\" is corrupted"), path);
}

}  // namespace

// ---------------------------------------------------------------------------
// Kes_pfile

Kes_pfile::Kes_pfile()
    : old_sid(nullptr), new_sid(nullptr), user(nullptr), date(), time(), delta(nullptr),
      next(nullptr) {}

Kes_pfile::~Kes_pfile() {
  free(old_sid);
  free(new_sid);
  free(user);
}

Kes_pfile *Kes_pfile::get_match(const char *sid) {
  for (Kes_pfile *p = this; p; p = p->next)
    if (sid && p->new_sid && strcmp(p->new_sid, sid) == 0) return p;
  return nullptr;
}

// ---------------------------------------------------------------------------
// Kes_sfile

Kes_sfile::Kes_sfile()
    : s_path(nullptr), clr_path(nullptr), tree(nullptr), name_tree(nullptr), stream(nullptr),
      deltab_end(0), deltab_lines(0), line_count(0), line(), serial_map(nullptr), map_size(0),
      unique_count(0), current_serial(0), state(0), pfile_list(nullptr), pfile_path(nullptr),
      tmp_pfile_path(nullptr), default_delta(nullptr), default_sid(nullptr), lock_count(0),
      zfile_path(nullptr), tmp_sfile_path(nullptr), sdata_delta(nullptr), desc_text(nullptr),
      flags(nullptr), locks(nullptr), has_pfile(0), exists(1) {}

Kes_sfile::~Kes_sfile() {
  if (stream) fclose(stream);
  delete tree;
  delete name_tree;
  free(serial_map);
  while (pfile_list) {
    Kes_pfile *n = pfile_list->next;
    delete pfile_list;
    pfile_list = n;
  }
  free(s_path);
  free(clr_path);
  free(pfile_path);
  free(tmp_pfile_path);
  free(default_sid);
  free(zfile_path);
  // A rewrite that failed (a full disk, a bad line) leaves its temporary
  // copy behind; one put in place has no name here any more.
  if (tmp_sfile_out) fclose(tmp_sfile_out);
  if (tmp_sfile_path) unlink(tmp_sfile_path);
  free(tmp_sfile_path);
  kes_strv_free(desc_text);
  delete flags;
  delete locks;
}

Kes_delta *Kes_sfile::find_delta_w_sid(const char *sid) {
  return tree ? tree->find_delta(sid) : nullptr;
}

Kes_err *Kes_sfile::find_leaf_delta(const char *sid, Kes_delta **node) {
  *node = nullptr;
  // The cut copy: "1.2.1" names branch 1.2.1, whose base is 1.2.
  std::string cut = sid ? sid : "";
  size_t dots = 0;
  for (char c : cut)
    if (c == '.') dots++;
  if (dots > 1) cut.erase(cut.rfind('.'));
  Kes_delta *base = nullptr;
  for (int i = tree ? tree->size : 0; i >= 1; i--) {
    Kes_delta *d = tree->ith_delta(i);
    if (!d->serial || d->removed || !d->sid) continue;
    if (samebranch(sid, d->sid)) {
      *node = d;
      return nullptr;
    }
    if (cut == d->sid) base = d;  // the lowest serial wins
  }
  if (base) {
    *node = base;
    return nullptr;
  }
  return (new Kes_err)
      ->format_msg(2523, 0,
                   BWM_MSG(1010, "Internal error in sccsmerge in find_leaf_delta(): could not "
                                 "find a leaf delta for default SID\n%s in file \"%s\""),
                   sid ? sid : "", s_path);
}

int Kes_sfile::walk_roots(int (*fn)(Kes_delta *root, Kes_delta *peer)) {
  if (!tree || !tree->root) return 0;
  Kes_tree_node *r = tree->root->fake ? tree->root->first_child : tree->root;
  bool many = tree->root->fake;
  for (; r; r = many ? r->next_sibling : nullptr)
    if (r->peer && fn(static_cast<Kes_delta *>(r), static_cast<Kes_delta *>(r->peer)))
      return 1;
  return 0;
}

namespace {
// Walk state of get_nth_from_latest: the count still to go and the node found.
int nth_left;
Kes_tree_node *nth_found;

int count_down(Kes_tree_node *n, void *, void *) {
  if (nth_found) return 0;
  if (--nth_left <= 0) {
    nth_found = n;
    return 0;
  }
  return 1;
}
}  // namespace

Kes_delta *Kes_sfile::get_nth_from_latest(int n) {
  if (!tree || !tree->head || n < 1) return nullptr;
  nth_left = n;
  nth_found = nullptr;
  walktree_backwards(tree->head, count_down, nullptr, nullptr, 1);
  Kes_delta *d = static_cast<Kes_delta *>(nth_found);
  if (d && !d->sid) return d->first_child_delta();
  return d;
}

void Kes_sfile::order_deltab(int from, int to) {
  if (!tree) return;
  if (from < 0) from = 0;
  if (to >= tree->array_length) to = tree->array_length - 1;
  for (int i = from; i <= to; i++) {
    Kes_delta *lo = tree->ith_delta(i);
    if (!lo->serial) continue;
    int j = i + 1;
    while (j <= to && !tree->ith_delta(j)->serial) j++;
    if (j > to) break;
    Kes_delta *hi = tree->ith_delta(j);
    if (cmptm(&lo->time, &hi->time) < 1) {
      hi->time = lo->time;
      hi->time.tm_sec++;
    }
  }
}

int Kes_sfile::fake_was_added() { return tree && tree->fake_was_added(); }

int Kes_sfile::sfile_exists() {
  struct stat st;
  return s_path && stat(s_path, &st) == 0;
}

Kes_pfile *Kes_sfile::get_pfile(Kes_delta *delta) {
  if (!delta || !delta->in_pfile || !delta->sid) return nullptr;
  for (Kes_pfile *p = pfile_list; p; p = p->next)
    if (p->old_sid && strcmp(p->old_sid, delta->sid) == 0) return p;
  return nullptr;
}

Kes_pfile *Kes_sfile::get_pfile(const char *new_sid) {
  return pfile_list ? pfile_list->get_match(new_sid) : nullptr;
}

int Kes_sfile::is_next_delta(const char *sid) { return get_pfile(sid) != nullptr; }

Kes_pfile *Kes_sfile::find_user_in_pfile(const char *user) {
  for (Kes_pfile *p = pfile_list; p; p = p->next)
    if (user && p->user && strncmp(p->user, user, 32) == 0) return p;
  return nullptr;
}

void Kes_sfile::find_delta_in_pfile(Kes_delta *delta) {
  for (Kes_pfile *p = pfile_list; p; p = p->next)
    if (p->old_sid && delta->sid && strcmp(p->old_sid, delta->sid) == 0) {
      p->delta = delta;
      delta->in_pfile = 1;
    }
}

Kes_delta *Kes_sfile::find_sdata() {
  if (!tree || !tree->root) return nullptr;
  for (Kes_tree_node *c = tree->root->first_child; c; c = c->next_sibling) {
    Kes_delta *d = static_cast<Kes_delta *>(c);
    if (d->serial == 2 && d->is_sdata()) return d;
  }
  return nullptr;
}

// ---------------------------------------------------------------------------
// SCCS_sfile: names

SCCS_sfile::SCCS_sfile(const char *path) {
  s_path = kes_strdup(path);
  clr_path = get_clr_name(path);
}

SCCS_sfile::SCCS_sfile(const char *clear_path, int mode) {
  s_path = get_sname(clear_path);
  clr_path = kes_strdup(clear_path);
  if (mode == 1 || mode == 3) {
    if (Kes_err *err = buildtree(0, 1, 0)) {
      exists = 0;
      delete err;
    }
  } else if (sfile_exists()) {
    delete read_pfile();
  } else {
    exists = 0;
  }
  if (stream) {
    fclose(stream);
    stream = nullptr;
  }
}

SCCS_sfile::~SCCS_sfile() {
  // A lock still held is given back, so that no z-file outlives its holder.
  if (lock_count > 0) {
    lock_count = 1;
    unlock_file();
  }
}

char *SCCS_sfile::get_sname(const char *path) {
  std::string dir, base;
  split_path(path, &dir, &base);
  return kes_strdup(join(join(dir, "SCCS"), "s." + base).c_str());
}

char *SCCS_sfile::get_pname(const char *path) {
  std::string dir, base;
  split_path(path, &dir, &base);
  return kes_strdup(join(join(dir, "SCCS"), "p." + base).c_str());
}

char *SCCS_sfile::get_clr_name(const char *path) {
  std::string dir, base;
  split_path(path, &dir, &base);
  if (base.compare(0, 2, "s.") != 0) return kes_strdup(path);
  std::string name = base.substr(2);
  std::string pdir, pbase;
  split_path(dir.c_str(), &pdir, &pbase);
  if (pbase == "SCCS") {
    // Under the parent of the SCCS directory; no directory part for ".".
    if (pdir.empty() || pdir == ".") return kes_strdup(name.c_str());
    return kes_strdup(join(pdir, name).c_str());
  }
  if (dir.empty()) return kes_strdup(name.c_str());
  return kes_strdup(join(dir, name).c_str());
}

int SCCS_sfile::build_pfilename(char *out) {
  std::string dir, base;
  split_path(s_path, &dir, &base);
  if (base.empty() || base[0] != 's') return 0;
  base[0] = 'p';
  snprintf(out, 1024, "%s", join(dir, base).c_str());
  return 1;
}

int SCCS_sfile::build_zfilename(const char *name) {
  std::string dir, base;
  split_path(name ? name : s_path, &dir, &base);
  if (base.empty() || base[0] != 's') return 0;
  base[0] = 'z';
  free(zfile_path);
  zfile_path = kes_strdup(join(dir, base).c_str());
  return 1;
}

// ---------------------------------------------------------------------------
// SCCS_sfile: the p-file

Kes_err *SCCS_sfile::read_pfile() {
  char name[1024];
  if (!s_path || !build_pfilename(name)) return nullptr;
  free(pfile_path);
  pfile_path = kes_strdup(name);
  FILE *in = fopen(pfile_path, "r");
  if (!in) {
    if (errno == ENOENT) return nullptr;
    return (new Kes_err)
        ->format_msg(1001, errno, BWM_MSG(1000, "Open of \"%s\" for reading failed"), pfile_path);
  }
  Kes_pfile **tail = &pfile_list;
  while (*tail) tail = &(*tail)->next;
  char buf[1024];
  while (fgets(buf, sizeof buf, in)) {
    // A blank is the only separator; the last field ends at the newline.
    buf[strcspn(buf, "\n")] = '\0';
    const char *field[5];
    size_t len[5];
    int n = 0;
    const char *p = buf;
    while (n < 5) {
      const char *blank = strchr(p, ' ');
      field[n] = p;
      len[n] = blank ? (size_t)(blank - p) : strlen(p);
      n++;
      if (!blank) break;
      p = blank + 1;
    }
    if (n < 5) continue;
    Kes_pfile *e = new Kes_pfile;
    e->old_sid = kes_strndup(field[0], len[0]);
    e->new_sid = kes_strndup(field[1], len[1]);
    e->user = kes_strndup(field[2], len[2]);
    snprintf(e->date, sizeof e->date, "%.*s", (int)len[3], field[3]);
    snprintf(e->time, sizeof e->time, "%.*s", (int)len[4], field[4]);
    *tail = e;
    tail = &e->next;
  }
  fclose(in);
  if (pfile_list) {
    state |= KES_SF_REWRITE;
    has_pfile = 1;
  }
  return nullptr;
}

// ---------------------------------------------------------------------------
// SCCS_sfile: the delta table

int SCCS_sfile::next_line(Kes_mmap *mm, Kes_err **err) {
  *err = nullptr;
  if (mm) {
    if (!mm->gets(line, sizeof line, err)) return 0;
  } else if (!fgets(line, sizeof line, stream)) {
    line[0] = '\0';
    return 0;
  }
  line_count++;
  // A line that ends before its newline, and isn't a piece of a long line or
  // the last line, holds a zero byte.  No text of a history file has one, and
  // the strings kept from such a line would lose their newline, so that a
  // rewrite would run two lines into one.
  size_t n = strlen(line);
  if ((n == 0 || line[n - 1] != '\n') && (mm || (n < sizeof line - 1 && !feof(stream)))) {
    *err = corrupted(s_path);
    line[0] = '\0';
    return 0;
  }
  return 1;
}

Kes_err *SCCS_sfile::savestrings(char letter, char ***out, Kes_mmap *mm) {
  size_t cap = 10, n = 0;
  char **v = static_cast<char **>(xrealloc(nullptr, cap * sizeof(char *)));
  v[n++] = kes_strdup(strlen(line) >= 3 ? line + 3 : "");
  Kes_err *err = nullptr;
  for (;;) {
    if (!next_line(mm, &err)) {
      v[n] = nullptr;
      kes_strv_free(v);
      if (err) return err;
      return (new Kes_err)->format_msg(
          2055, 0, BWM_MSG(1007, "File \"%s\" has incomplete delta table"), s_path);
    }
    if (line[1] != letter) break;  // stays in the buffer for the caller
    if (n + 1 >= cap) {
      cap += 10;
      v = static_cast<char **>(xrealloc(v, cap * sizeof(char *)));
    }
    v[n++] = kes_strdup(strlen(line) >= 3 ? line + 3 : "");
  }
  v[n] = nullptr;
  kes_strv_free(*out);
  *out = v;
  return nullptr;
}

Kes_err *SCCS_sfile::saveints(Kes_tree_node ***out) {
  size_t cap = 10, n = 0;
  Kes_tree_node **v = static_cast<Kes_tree_node **>(xrealloc(nullptr, cap * sizeof *v));
  std::string rest = line + 2;
  char *save = nullptr;
  for (char *tok = strtok_r(&rest[0], " \t\n", &save); tok; tok = strtok_r(nullptr, " \t\n", &save)) {
    char *end;
    long s = strtol(tok, &end, 10);
    // A serial outside the table would point outside the node array.
    if (*end || s < 1 || s > tree->size) {
      free(v);
      return corrupted(s_path);
    }
    if (n + 1 >= cap) {
      cap += 10;
      v = static_cast<Kes_tree_node **>(xrealloc(v, cap * sizeof *v));
    }
    v[n++] = tree->ith_node((int)s);
  }
  v[n] = nullptr;
  free(*out);
  *out = v;
  return nullptr;
}

Kes_err *SCCS_sfile::read_descriptive_text() {
  size_t n = 0;
  if (desc_text)
    while (desc_text[n]) n++;
  Kes_err *err;
  while (next_line(nullptr, &err)) {
    // Only the second byte is looked at, whatever the first.
    if (line[1] == 'T') return nullptr;
    desc_text = static_cast<char **>(xrealloc(desc_text, (n + 2) * sizeof(char *)));
    desc_text[n++] = kes_strdup(line);
    desc_text[n] = nullptr;
  }
  return err ? err : corrupted(s_path);
}

Kes_err *SCCS_sfile::read_info() {
  if (!flags) flags = new SCCS_flags;
  if (!locks) {
    SCCS_locks *l = new SCCS_locks;
    l->file_name = s_path;
    locks = l;
  }
  if (Kes_err *err = locks->read_locks(stream, &line_count)) return err;
  Kes_err *err;
  while (next_line(nullptr, &err)) {
    if (line[0] != '\001') break;
    if (line[1] == 'f')
      flags->read_flag(line);
    else if (line[1] == 't') {
      if ((err = read_descriptive_text())) return err;
    } else if (line[1] == 'I')
      break;
  }
  if (err) return err;
  free(default_sid);
  default_sid = kes_strdup(flags->default_sid ? flags->default_sid : "1");
  return nullptr;
}

namespace {
// A run of at most 9 decimal digits at *p, into *out.
bool digits(const char **p, int *out) {
  const char *q = *p;
  long v = 0;
  while (isdigit((unsigned char)*q) && q - *p < 9) v = v * 10 + (*q++ - '0');
  if (q == *p || isdigit((unsigned char)*q)) return false;
  *out = (int)v;
  *p = q;
  return true;
}

// A word up to the next blank, which must follow it; not empty.
bool word(const char **p, std::string *out) {
  size_t n = strcspn(*p, " \n");
  if (n == 0 || (*p)[n] != ' ') return false;
  out->assign(*p, n);
  *p += n + 1;
  return true;
}
}  // namespace

int sccs_parse_delta_line(const char *line, SCCS_delta_line *d) {
  if (strncmp(line, "\001d ", 3) != 0 || (line[3] != 'D' && line[3] != 'R') || line[4] != ' ')
    return 0;
  d->type = line[3];
  const char *p = line + 5;
  if (!word(&p, &d->sid)) return 0;
  static const char shape[] = "99/99/99 99:99:99";
  for (int i = 0; shape[i]; i++)
    if (shape[i] == '9' ? !isdigit((unsigned char)p[i]) : p[i] != shape[i]) return 0;
  d->date.assign(p, 17);
  p += 17;
  if (*p++ != ' ' || !word(&p, &d->user)) return 0;
  if (!digits(&p, &d->serial) || *p++ != ' ' || !digits(&p, &d->pred)) return 0;
  return *p == '\n' || *p == '\0';
}

Kes_err *SCCS_sfile::buildtree(int side, int read_pf, int roots_only) {
  Kes_mmap *mm = nullptr;
  Kes_err *err = nullptr;
  if (roots_only) {
    mm = new Kes_mmap(s_path, nullptr);
    if ((err = mm->open())) {
      delete mm;
      exists = 0;
      return err;
    }
  } else {
    if (stream) fclose(stream);
    stream = kes_fopen_read(s_path);
    if (!stream) {
      exists = 0;
      return (new Kes_err)->format_msg(1001, errno,
                                       BWM_MSG(1000, "Open of \"%s\" for reading failed"), s_path);
    }
    // A stream told where it starts keeps count of where it stands: the end
    // of the table is then known without asking the kernel, and going back to
    // it reads nothing again.
    fseek(stream, 0, SEEK_SET);
  }
  // The node array is made for the first serial read.  A real table has a
  // delta line for every serial, so no serial can be above the file's size in
  // bytes; a larger one is damage, not a reason to allocate without bound.
  // The file holds at least the bytes read so far, so the size is asked only
  // of a serial above those.
  off_t seen = 0;
  auto file_size = [&]() -> off_t {
    struct stat st;
    return mm ? mm->status.st_size : fstat(fileno(stream), &st) == 0 ? st.st_size : 0;
  };
  line_count = 0;
  if (read_pf && (err = read_pfile())) {
    delete mm;
    return err;
  }

  char *pending_stats = nullptr;
  Kes_delta *cur = nullptr;  // the delta whose lines are being read
  bool skipping = false;     // roots-only: a delta that isn't taken
  bool have_line = false;    // savestrings left the next line in the buffer
  bool seen_u = false;
  bool seen_first = false;  // the delta of serial 1, the root of every other
  int last_serial = INT_MAX;
  for (;;) {
    if (!have_line && !next_line(mm, &err)) break;
    have_line = false;
    seen += (off_t)strlen(line);
    if (line[0] != '\001') {
      err = (new Kes_err)->format_msg(
          2039, 0,
          BWM_MSG(1004, "File \"%s\" is probably not an s-file\non line %d expected ^A, but got "
                        "'%c' (0x%x)"),
          s_path, line_count, line[0], (unsigned char)line[0]);
      break;
    }
    char c = line[1];
    if (c == 'u') {
      seen_u = true;
      if (mm) {
        err = mm->close();
      } else {
        deltab_end = ftell(stream);
        deltab_lines = line_count;
      }
      break;
    }
    if (c == 'h') continue;
    if (c == 's') {
      free(pending_stats);
      // The text keeps its newline, which the writer relies on: a bare "^As"
      // line has its newline at the third byte.
      pending_stats = kes_strdup(line[2] == ' ' ? line + 3 : line + 2);
      continue;
    }
    if (c == 'd') {
      SCCS_delta_line dl;
      // A delta line of the one form, behind its statistics line: a rewrite
      // would give a delta without one a statistics line, and a new SmID.
      if (!sccs_parse_delta_line(line, &dl) || !pending_stats) {
        err = corrupted(s_path);
        break;
      }
      int serial = dl.serial, pred = dl.pred;
      if (serial >= last_serial || serial < 1) {
        err = (new Kes_err)->format_msg(
            2060, 0, BWM_MSG(1005, "Delta serial number %d out of order in file \"%s\""), serial,
            s_path);
        break;
      }
      last_serial = serial;
      seen_first = serial == 1;
      if (!tree && serial > seen && serial > file_size()) {
        err = corrupted(s_path);
        break;
      }
      if (!tree) tree = new SCCS_delta_tree(serial);
      // A predecessor outside the table, or not below the delta, can't be a tree;
      // only the first delta has none.
      if (pred < 0 || pred >= serial || (pred == 0) != (serial == 1)) {
        err = corrupted(s_path);
        break;
      }
      if (roots_only && !((serial == 1 || pred == 1) && dl.type == 'D')) {
        skipping = true;
        cur = nullptr;
        free(pending_stats);
        pending_stats = nullptr;
        continue;
      }
      skipping = false;
      Kes_delta *d = tree->ith_delta(serial);
      tree->node_count++;
      d->serial = serial;
      d->pred = pred;
      d->file_name = s_path;
      d->stats = pending_stats;
      pending_stats = nullptr;
      d->set_user(dl.user.c_str());
      free(d->date);
      d->date = kes_strdup(dl.date.c_str());
      d->fake = d->is_fake();
      Kes_delta *parent = pred > 0 ? tree->ith_delta(pred) : nullptr;
      if (roots_only) {
        d->parent = parent;
        if (parent) parent->push_child(d);
      } else {
        d->set_sid(dl.sid.c_str());
        d->side = side;
        if (dl.type == 'D')
          find_delta_in_pfile(d);
        else
          d->removed = 1;
        mystrptime(d->date, &d->time);
        if (parent) tree->add_child(parent, d);
      }
      cur = d;
      continue;
    }
    if (skipping) {
      if (c == 'e') skipping = false;
      continue;
    }
    if (c == 'c' || c == 'm') {
      char **scratch = nullptr;
      char ***out = !cur ? &scratch : c == 'c' ? &cur->comments : (roots_only ? &scratch : &cur->mrs);
      err = savestrings(c, out, mm);
      kes_strv_free(scratch);
      if (err) break;
      have_line = true;
      continue;
    }
    if (c == 'i' || c == 'x' || c == 'g') {
      if (!cur || !tree || roots_only) continue;
      err = saveints(c == 'i' ? &cur->includes : c == 'x' ? &cur->excludes : &cur->ignores);
      if (err) break;
      continue;
    }
    if (c == 'e') {
      if (cur && !cur->comments) {
        cur->comments = static_cast<char **>(xrealloc(nullptr, sizeof(char *)));
        cur->comments[0] = nullptr;
      }
      cur = nullptr;
      continue;
    }
    err = (new Kes_err)->format_msg(
        2026, 0, BWM_MSG(1006, "Unknown SCCS control character (%c) in file\n\"%s\" at line %d"),
        c, s_path, line_count);
    break;
  }
  free(pending_stats);
  if (mm) {
    if (err) delete mm->close();
    delete mm;
  }
  if (!err && !seen_u)
    err = (new Kes_err)->format_msg(
        2055, 0, BWM_MSG(1007, "File \"%s\" has incomplete delta table"), s_path);
  if (!err && !tree)
    err = (new Kes_err)->format_msg(2024, 0, BWM_MSG(1008, "File \"%s\" has no deltas"), s_path);
  // Without its first delta the table has no root; a predecessor that names no
  // delta leaves its successors outside the tree.  Roots-only mode keeps no
  // other deltas to look at.
  if (!err && !seen_first) err = corrupted(s_path);
  for (int i = 2; !err && !roots_only && i <= tree->size; i++) {
    Kes_delta *d = tree->ith_delta(i);
    if (d->serial && !tree->ith_delta(d->pred)->serial) err = corrupted(s_path);
  }
  if (err) {
    exists = 0;
    return err;
  }

  tree->root = tree->ith_node(1);
  if (roots_only) return nullptr;

  if ((err = read_info())) {
    exists = 0;
    return err;
  }
  order_deltab(1, tree->size);
  Kes_delta *head = nullptr;
  if ((err = find_leaf_delta(default_sid, &head))) {
    exists = 0;
    return err;
  }
  tree->head = head;
  int dots = 0;
  for (const char *p = default_sid; *p; p++)
    if (*p == '.') dots++;
  default_delta = nullptr;
  if (dots == 1 || dots == 3) default_delta = find_delta_w_sid(default_sid);
  if (!default_delta) default_delta = head;
  for (Kes_delta *d = head; d; d = d->parent_delta()) d->on_head_path = 1;
  sdata_delta = find_sdata();
  return nullptr;
}
