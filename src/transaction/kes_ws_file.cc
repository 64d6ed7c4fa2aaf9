// Kes_filetype and Kes_ws_file: the kinds of file, and one name in one workspace.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "sccs/kes_sfile.h"
#include "sccs/kes_smid.h"
#include "sccs/sccs_cmd.h"
#include "transaction/kes_file.h"
#include "transaction/kes_transaction.h"
#include "util/kes_err.h"
#include "util/kes_heap.h"
#include "util/kes_host.h"
#include "util/kes_str.h"
#include "workspace/kes_workspace.h"

// ---------------------------------------------------------------------------
// Kes_filetype

const char *Kes_filetype::get_string() const {
  switch (kind) {
    case SCCS: case KIND_2: case REGULAR: case KIND_4: return "file";
    case DIRECTORY: return "directory";
    case SYMLINK: return "symlink";
    default: return "unknown";
  }
}

namespace {
int file_kind(int k) { return k == Kes_filetype::SCCS || k == Kes_filetype::REGULAR || k == Kes_filetype::KIND_4; }
}  // namespace

int Kes_filetype::compatible(const Kes_filetype *a, const Kes_filetype *b) {
  return a == b || (a && b && file_kind(a->kind) && file_kind(b->kind));
}

Kes_filetype *kes_get_filetype(int kind) {
  static Kes_filetype types[] = {Kes_filetype(0), Kes_filetype(1), Kes_filetype(2), Kes_filetype(3),
                                 Kes_filetype(4), Kes_filetype(5), Kes_filetype(6)};
  return &types[kind >= 0 && kind <= 6 ? kind : 0];
}

// ---------------------------------------------------------------------------
// Kes_ws_file

namespace {
Kes_heap *ws_file_heap;
}  // namespace

void *Kes_ws_file::operator new(size_t size) { return kes_heap_new(&ws_file_heap, size, 500); }
void Kes_ws_file::operator delete(void *p) { kes_heap_delete(ws_file_heap, p); }
void kes_ws_file_delete_heap() { kes_heap_destroy(&ws_file_heap); }

Kes_ws_file::Kes_ws_file(Kes_workspace *w, const char *n)
    : name(kes_strdup(n)),
      ws(w),
      filetype(kes_get_filetype(Kes_filetype::UNKNOWN)),
      exists(0),
      unresolved(0),
      nh_incomplete(0),
      checked_out(0),
      smids(nullptr) {}

Kes_ws_file::~Kes_ws_file() {
  free(name);
  delete smids;
}

Kes_ws_file *Kes_ws_file::copy() {
  Kes_ws_file *c = new Kes_ws_file(ws, name);
  c->filetype = filetype;
  c->exists = exists;
  c->unresolved = unresolved;
  c->nh_incomplete = nh_incomplete;
  c->checked_out = checked_out;
  return c;
}

char *Kes_ws_file::get_abs_canname(char *buf) {
  snprintf(buf, 1024, "%s/%s", ws->get_absname(), name);
  return buf;
}

char *Kes_ws_file::get_rel_clrname(char *buf) {
  if (ws->pre_dir && ws->pre_dir[0])
    snprintf(buf, 1024, "%s/%s", ws->pre_dir, name);
  else
    snprintf(buf, 1024, "%s", name);
  return buf;
}

char *Kes_ws_file::get_abs_clrname(char *buf) {
  char rel[1024];
  // A name too long for the buffer is cut; nothing on disk has it.
  if (snprintf(buf, 1024, "%s/%s", ws->get_absname(), get_rel_clrname(rel)) >= 1024) buf[1023] = '\0';
  return buf;
}

// Built by hand: every examined file needs several of these names.
char *kes_vcs_name(const char *name, const char *vcs, const char *root, char prefix, char *buf) {
  const char *slash = strrchr(name, '/');
  const char *base = slash ? slash + 1 : name;
  size_t dirlen = slash ? (size_t)(slash - name) : 0;
  char *p = buf, *end = buf + 1023;
  auto put = [&](const char *text, size_t n) {
    if (n > (size_t)(end - p)) n = end - p;
    memcpy(p, text, n);
    p += n;
  };
  if (root) {
    put(root, strlen(root));
    put("/", 1);
  }
  if (dirlen && !(dirlen == 1 && name[0] == '.')) {
    put(name, dirlen);
    put("/", 1);
  }
  if (vcs) {
    put(vcs, strlen(vcs));
    put("/", 1);
  }
  char head[2] = {prefix, '.'};
  put(head, 2);
  put(base, strlen(base));
  *p = '\0';
  return buf;
}

char *Kes_ws_file::make_vcs_name(char prefix, int absolute, char *buf) {
  return kes_vcs_name(name, ws->get_vcs_dir(), absolute ? ws->get_absname() : nullptr, prefix, buf);
}

char *Kes_ws_file::get_rel_sdotname(char *buf) { return make_vcs_name('s', 0, buf); }
char *Kes_ws_file::get_abs_sdotname(char *buf) { return make_vcs_name('s', 1, buf); }
char *Kes_ws_file::get_rel_pdotname(char *buf) { return make_vcs_name('p', 0, buf); }
char *Kes_ws_file::get_abs_pdotname(char *buf) { return make_vcs_name('p', 1, buf); }

int Kes_ws_file::compatible(Kes_ws_file *other) {
  return !exists || !other->exists || Kes_filetype::compatible(filetype, other->filetype);
}

void Kes_ws_file::fillin(Kes_transaction *t) {
  char buf[1024];
  exists = 0;
  unresolved = 0;
  checked_out = 0;
  filetype = kes_get_filetype(Kes_filetype::UNKNOWN);
  if (t->history_file_exists(get_rel_sdotname(buf), ws->get_absname())) {
    exists = 1;
    filetype = kes_get_filetype(Kes_filetype::SCCS);
    determine_checked_out(t);
    return;
  }
  struct stat st;
  if (lstat(get_abs_clrname(buf), &st) != 0) return;
  // A plain file without a history is not under version control: it does
  // not count as present.
  if (S_ISDIR(st.st_mode)) {
    filetype = kes_get_filetype(Kes_filetype::DIRECTORY);
    exists = 1;
  } else if (S_ISREG(st.st_mode)) {
    filetype = kes_get_filetype(Kes_filetype::REGULAR);
  } else if (S_ISLNK(st.st_mode)) {
    filetype = kes_get_filetype(Kes_filetype::SYMLINK);
    exists = 1;
  }
}

namespace {
// get -p of the newest version against the clear file: 1 when they agree.
// A file checked out for editing holds its keywords unexpanded (get -k).
int same_as_clear_file(Kes_sfile *sf, int unexpanded) {
  Cmd *c = sf->check_different(unexpanded ? 1 : 0);
  int same = c && c->ret_stat == 0;
  delete c;
  return same;
}
}  // namespace

void Kes_ws_file::determine_checked_out(Kes_transaction *t) {
  char buf[1024];
  checked_out = 0;
  if (!t->history_file_exists(get_rel_pdotname(buf), ws->get_absname())) return;
  struct stat st;
  if (lstat(get_abs_clrname(buf), &st) != 0) {
    checked_out = 1;
    return;
  }
  Kes_sfile *sf = ws->get_sfile(get_abs_sdotname(buf));
  if (st.st_mode & S_IWUSR) {
    delete sf->read_pfile();  // an unreadable p-file names nobody
    const char *user = kes_get_user(1, 0);
    if (!sf->find_user_in_pfile(user))
      checked_out = 2;
    else
      checked_out = same_as_clear_file(sf, 1) ? 1 : 2;
  } else {
    checked_out = same_as_clear_file(sf, 0) ? 3 : 4;
  }
  delete sf;
}
