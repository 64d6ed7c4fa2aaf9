// The name table: records, the journal, reading the table in place, writing
// it, and rebuilding it by a walk over the workspace.
#include "workspace/kes_nametable.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "sccs/kes_sfile.h"
#include "sccs/kes_smid.h"
#include "util/kes_err.h"
#include "util/kes_heap.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_path.h"
#include "util/kes_process.h"
#include "util/kes_timing.h"
#include "workspace/kes_workspace.h"

namespace {

Kes_heap *nt_heap;
const int kPerBlock = 400;

char *xstrdup(const char *s) {
  char *d = strdup(s ? s : "");
  if (!d) kes_new_handler();
  return d;
}

unsigned long w(const Kes_smid *s, int i) { return s ? s->word[i] : 0; }

}  // namespace

Kes_timing *kes_time_find;
Kes_timing *kes_time_readsccsdir;

// ---------------------------------------------------------------------------
// Records

Kes_nt::Kes_nt() : name(nullptr), smid(nullptr), edit(NOOP), delete_name(0) {}

Kes_nt::Kes_nt(const char *n, Kes_smid *s)
    : name(xstrdup(n)), smid(s), edit(NOOP), delete_name(1) {}

Kes_nt::~Kes_nt() {
  if (delete_name) free(name);
  delete smid;
}

void *Kes_nt::operator new(size_t size) { return kes_heap_new(&nt_heap, size, kPerBlock); }
void Kes_nt::operator delete(void *p) { kes_heap_delete(nt_heap, p); }
void kes_nt_delete_heap() { kes_heap_destroy(&nt_heap); }

Kes_nt *Kes_nt::copy() {
  Kes_nt *c = new Kes_nt(name, smid ? smid->copy() : nullptr);
  c->edit = edit;
  return c;
}

Kes_err *Kes_nt::print(FILE *fp, const char *file) {
  if (fprintf(fp, "%s %lx %lx %lx %lx\n", name ? name : "", w(smid, 0), w(smid, 1), w(smid, 2),
              w(smid, 3)) < 0)
    return (new Kes_err)->format_msg(2045, errno, BWM_MSG(5000, "Fprintf of \"%s\" failed"),
                                     file ? file : BWM_MSG(5001, "unknown"));
  return nullptr;
}

char *Kes_nt::print(char *buf) {
  snprintf(buf, KES_NT_BUF_SIZE, "%s %lx %lx %lx %lx", name ? name : "", w(smid, 0), w(smid, 1),
           w(smid, 2), w(smid, 3));
  return buf;
}

Kes_err *Kes_nt::print_with_edit(FILE *fp, const char *file) {
  if (fprintf(fp, "%s %lx %lx %lx %lx %d\n", name ? name : "", w(smid, 0), w(smid, 1),
              w(smid, 2), w(smid, 3), (int)edit) < 0)
    return (new Kes_err)->format_msg(2045, errno, BWM_MSG(5000, "Fprintf of \"%s\" failed"),
                                     file ? file : BWM_MSG(5001, "unknown"));
  return nullptr;
}

char *Kes_nt::print_with_edit(char *buf) {
  snprintf(buf, KES_NT_BUF_SIZE, "%s %lx %lx %lx %lx %d", name ? name : "", w(smid, 0),
           w(smid, 1), w(smid, 2), w(smid, 3), (int)edit);
  return buf;
}

int Kes_nt::scan_with_spaces(const char *line, char *name_out, Kes_smid *s, int *edit_out) {
  size_t len = strcspn(line, "\n");
  int need = edit_out ? 5 : 4;
  const char *q = line + len;
  int blanks = 0;
  while (q > line) {
    q--;
    if (*q == ' ' && ++blanks == need) break;
  }
  if (blanks < need || q == line) return 0;
  std::string rest(q + 1, line + len);
  unsigned long v[4];
  int e = 0;
  if (edit_out) {
    if (sscanf(rest.c_str(), "%lx %lx %lx %lx %d", &v[0], &v[1], &v[2], &v[3], &e) != 5) return 0;
    *edit_out = e;
  } else if (sscanf(rest.c_str(), "%lx %lx %lx %lx", &v[0], &v[1], &v[2], &v[3]) != 4) {
    return 0;
  }
  for (int i = 0; i < 4; i++) s->word[i] = (uint32_t)v[i];
  size_t n = q - line;
  if (n > (size_t)KES_NT_BUF_SIZE - 1) n = KES_NT_BUF_SIZE - 1;
  memcpy(name_out, line, n);
  name_out[n] = '\0';
  return 1;
}

namespace {
// Gives rec the name and SmID scanned; 1 on success.
int take_scan(Kes_nt *rec, const char *line, int *edit) {
  char buf[KES_NT_BUF_SIZE];
  Kes_smid *s = new Kes_smid;
  if (!Kes_nt::scan_with_spaces(line, buf, s, edit)) {
    delete s;
    return 0;
  }
  if (rec->delete_name) free(rec->name);
  rec->name = xstrdup(buf);
  rec->delete_name = 1;
  delete rec->smid;
  rec->smid = s;
  return 1;
}

int read_line(FILE *fp, char *buf) {
  if (!fgets(buf, KES_NT_BUF_SIZE, fp)) return 0;
  buf[strcspn(buf, "\n")] = '\0';
  return 1;
}
}  // namespace

int Kes_nt::scan(const char *line) {
  if (!take_scan(this, line, nullptr)) return 0;
  edit = NOOP;
  return 1;
}

int Kes_nt::scan(FILE *fp) {
  char buf[KES_NT_BUF_SIZE];
  return read_line(fp, buf) && scan(buf);
}

int Kes_nt::scan_with_edit(const char *line) {
  // No edit pointer: the line splits as a table line, the edit number ends
  // up in the SmID, and the record counts as an add.
  if (!take_scan(this, line, nullptr)) return 0;
  edit = ADD;
  return 1;
}

int Kes_nt::scan_with_edit(FILE *fp) {
  char buf[KES_NT_BUF_SIZE];
  int e = 0;
  if (!read_line(fp, buf) || !take_scan(this, buf, &e) || e < NOOP || e > REMOVE) return 0;
  edit = e;
  return 1;
}

void Kes_nt::print() {
  static const char *const edits[] = {"no-op", "add", "remove", "undefined"};
  printf(BWM_MSG(5002, "Name: %s\n"), name ? name : "(null)");
  if (smid) smid->print(stdout);
  printf(BWM_MSG(5003, "Edit: %s\n"), edits[edit]);
  printf(BWM_MSG(5004, "Delete_Name: %s\n"), delete_name ? "true" : "false");
}

int kes_nt_equal(Kes_nt *a, Kes_nt *b) {
  if (a->smid || b->smid) {
    if (!a->smid || !b->smid || !kes_smid_equal(a->smid, b->smid)) return 0;
  }
  if (a->name || b->name) {
    if (!a->name || !b->name || strcmp(a->name, b->name) != 0) return 0;
  }
  return 1;
}

int kes_nt_hash(Kes_nt *nt) {
  return (nt->name ? kes_str_hash(nt->name) : 0) + (nt->smid ? kes_smid_hash(nt->smid) : 0);
}

Kes_ntlist::~Kes_ntlist() { clear(); }
Kes_list *Kes_ntlist::create_list() { return new Kes_ntlist; }
void *Kes_ntlist::create_data() { return new Kes_nt; }
void *Kes_ntlist::copy_data(void *data) { return static_cast<Kes_nt *>(data)->copy(); }
void Kes_ntlist::delete_data(void *data) { delete static_cast<Kes_nt *>(data); }
void Kes_ntlist::print_data(void *data) { static_cast<Kes_nt *>(data)->print(); }
int Kes_ntlist::compare_datas(void *a, void *b) {
  return kes_nt_equal(static_cast<Kes_nt *>(a), static_cast<Kes_nt *>(b));
}

Kes_nt_hash::Kes_nt_hash() : Kes_hash(nullptr, nullptr, 50) {}
Kes_nt_hash::~Kes_nt_hash() { delete_hash(); }
int Kes_nt_hash::keys_equal(void *a, void *b) {
  return kes_nt_equal(static_cast<Kes_nt *>(a), static_cast<Kes_nt *>(b));
}
int Kes_nt_hash::key_hash(void *key) { return kes_nt_hash(static_cast<Kes_nt *>(key)); }
void Kes_nt_hash::key_delete(void *) {}
void Kes_nt_hash::value_delete(void *) {}

// ---------------------------------------------------------------------------
// The journal

Kes_md_nt_editlog::Kes_md_nt_editlog(Kes_workspace *ws, const char *metadata_dir)
    : Kes_md_backupnew(ws, metadata_dir, "nametable_editlog") {}

Kes_err *Kes_md_nt_editlog::add_rec(Kes_nt *rec) {
  if (!stream) {
    if (Kes_err *e = open("w+")) return e;
  }
  char buf[KES_NT_BUF_SIZE];
  return add_line(rec->print_with_edit(buf));
}

Kes_err *Kes_md_nt_editlog::open(const char *mode) {
  if (mode[0] == 'w') {
    // Whoever may run a transaction here must be able to rewrite the journal.
    int fd = ::open(fullname, O_CREAT | O_RDWR, 0664);
    if (fd < 0)
      return (new Kes_err)->format_msg(
          1017, errno, BWM_MSG(5011, "Open of \"%s\" for writing failed"), fullname);
    fchmod(fd, 0666);
    ::close(fd);
    sync_counter = 0;
  } else if (mode[0] == 'a') {
    return (new Kes_err)->format_msg(
        1025, 0, BWM_MSG(5012, "Open of \"%s\" for appending failed"), fullname);
  }
  return Kes_metadata::open(mode);
}

Kes_err *Kes_md_nt_editlog::parse(char *line, void **entry, Kes_strlist *) {
  Kes_nt *rec = new Kes_nt;
  if (!rec->scan_with_edit(line)) {
    delete rec;
    *entry = nullptr;
    return (new Kes_err)->format_msg(
        2056, 0, BWM_MSG(5010, "Badly formatted line in \"%s\":\n\"%s\""), fullname, line);
  }
  *entry = rec;
  return nullptr;
}

// ---------------------------------------------------------------------------
// The table

Kes_md_nametable::Kes_md_nametable(Kes_workspace *ws, const char *metadata_dir)
    : Kes_metadata(ws, metadata_dir, "nametable", 1),
      editlog(new Kes_md_nt_editlog(ws, metadata_dir)),
      writable(access(metadata_dir, W_OK) == 0),
      dirty(0),
      check_dups(1),
      editlog_on(1),
      temp_name(),
      image(nullptr),
      image_size(0),
      hash(new Kes_nt_hash),
      list(new Kes_ntlist),
      rebuilt(0) {}

Kes_md_nametable::~Kes_md_nametable() {
  delete hash;
  delete list;  // before the image that names may point into
  free(image);
  delete editlog;
}

void Kes_md_nametable::clear_data() {
  delete hash;
  delete list;
  hash = new Kes_nt_hash;
  list = new Kes_ntlist;
  free(image);
  image = nullptr;
  image_size = 0;
  dirty = 0;
}

int Kes_md_nametable::editlog_enabled() {
  return editlog_on && workspace && workspace->is_writelocked();
}

Kes_err *Kes_md_nametable::read_table_to_memory(int *missing) {
  *missing = 0;
  if (access(fullname, F_OK) != 0) {
    *missing = 1;
    return nullptr;
  }
  int fd = ::open(fullname, O_RDONLY);
  if (fd < 0)
    return (new Kes_err)->format_msg(
        1001, errno, BWM_MSG(5013, "Open of \"%s\" for reading failed"), fullname);
  struct stat st;
  if (fstat(fd, &st) != 0) {
    int e = errno;
    ::close(fd);
    return (new Kes_err)->format_msg(1016, e, BWM_MSG(5014, "Internal error: couldn't stat \"%s\""),
                                     fullname);
  }
  // The version line, a byte at a time, so that the rest comes in one read.
  char vline[1024];
  size_t n = 0;
  long consumed = 0;
  for (;;) {
    char c;
    ssize_t r = read(fd, &c, 1);
    if (r != 1) {
      int e = r < 0 ? errno : 0;
      ::close(fd);
      return (new Kes_err)->format_msg(1006, e, BWM_MSG(5015, "Read of \"%s\" failed"), fullname);
    }
    consumed++;
    if (c == '\n') break;
    if (n < sizeof vline - 1) vline[n++] = c;
  }
  vline[n] = '\0';
  if (Kes_err *e = check_vernum_string(vline)) {
    ::close(fd);
    return e;
  }
  long rest = (long)st.st_size - consumed;
  if (rest < 0) rest = 0;
  char *data = static_cast<char *>(malloc(rest + 1));
  if (!data) {
    ::close(fd);
    fputs(BWM_MSG(5016, "malloc failed - out of swap space?\n"), stderr);
    return (new Kes_err)->format_msg(1037, errno, BWM_MSG(5017, "Malloc of %d failed"),
                                     (int)(rest + 1));
  }
  long got = 0;
  while (got < rest) {
    ssize_t r = read(fd, data + got, rest - got);
    if (r <= 0) {
      int e = r < 0 ? errno : 0;
      ::close(fd);
      free(data);
      return (new Kes_err)->format_msg(1006, e, BWM_MSG(5015, "Read of \"%s\" failed"), fullname);
    }
    got += r;
  }
  ::close(fd);
  data[rest] = '\0';
  free(image);
  image = data;
  image_size = (int)rest;
  return nullptr;
}

Kes_err *Kes_md_nametable::is_a_duplicate_smid(Kes_nt *rec, Kes_smid_str_hash *seen,
                                                int reading) {
  char *earlier = seen->lookup(rec->smid);
  if (!earlier) {
    seen->insert(rec->smid, rec->name);
    return nullptr;
  }
  char prog[1024];
  if (Kes_err *e = kes_find_executable("workspace", prog)) {
    delete e;
    snprintf(prog, sizeof prog, "%s", "workspace");
  }
  const char *ws = workspace && workspace->wsname ? workspace->wsname : "";
  const char *cmd = kes_get_base_cmdname();
  if (!cmd) cmd = "";
  int size = (int)(2 * strlen(ws) + strlen(earlier) + strlen(rec->name) + strlen(cmd) +
                   strlen(prog) + 400);
  if (reading)
    return (new Kes_err(size))
        ->format_msg(2088, 0,
                     BWM_MSG(5021, "Nametable in workspace: \"%s\"\ncannot be read because the "
                                   "following history files have identical root deltas\n\t%s\n"
                                   "\t%s\nRun the following command and then re-execute the "
                                   "\"%s\" command:\n\t\"%s updatenames %s\"\n"),
                     ws, earlier, rec->name, cmd, prog, ws);
  return (new Kes_err(size))
      ->format_msg(2090, 0,
                   BWM_MSG(5022, "Nametable in workspace: \"%s\"\nnot written because the "
                                 "following history files have identical root deltas\n\t%s\n"
                                 "\t%s\nRun the following command and then re-execute the "
                                 "\"%s\" command:\n\t\"%s updatenames %s\"\n"),
                   ws, earlier, rec->name, cmd, prog, ws);
}

Kes_err *Kes_md_nametable::build_list_from_memory(Kes_ntlist *L, int *bad) {
  *bad = 0;
  // The journal's verdict per record: the last occurrence wins.
  Kes_nt_hash *edits = nullptr;
  if (L->count) {
    edits = new Kes_nt_hash;
    for (Kes_listelem *e = L->head.next; e != &L->head; e = e->next) {
      Kes_nt *r = static_cast<Kes_nt *>(e->data);
      edits->replace(r, (void *)(intptr_t)r->edit);
    }
  }
  auto verdict = [&](Kes_nt *r) { return edits ? (int)(intptr_t)edits->lookup(r) : 0; };
  Kes_smid_str_hash seen;
  Kes_err *err = nullptr;
  char *p = image, *end = image + image_size;
  for (int lineno = 1; p && p < end; lineno++) {
    size_t room = end - p < KES_NT_LINE_MAX ? end - p : KES_NT_LINE_MAX;
    char *nl = static_cast<char *>(memchr(p, '\n', room));
    if (!nl) {
      kes_issue_warning(2614, 0,
                        BWM_MSG(5018, "Line %d too long or unexpected end of file in \"%s\""),
                        lineno, fullname);
      *bad = 1;
      break;
    }
    // The SmID is the last four fields: the name is what lies before them.
    char *q = nl;
    int blanks = 0;
    while (q > p) {
      q--;
      if (*q == ' ' && ++blanks == 4) break;
    }
    if (blanks < 4 || q == p) {
      kes_issue_warning(2615, 0, BWM_MSG(5019, "Line %d has bad format in \"%s\""), lineno,
                        fullname);
      *bad = 1;
      break;
    }
    *q = '\0';
    *nl = '\0';
    Kes_nt *rec = new Kes_nt;
    rec->name = p;
    rec->smid = new Kes_smid;
    p = nl + 1;
    if (rec->smid->scan(q + 1) < 4) {
      delete rec;
      kes_issue_warning(2615, 0, BWM_MSG(5019, "Line %d has bad format in \"%s\""), lineno,
                        fullname);
      *bad = 1;
      break;
    }
    if (verdict(rec) == Kes_nt::REMOVE || hash->lookup(rec)) {
      delete rec;  // removed since, or a second identical line
      continue;
    }
    if (check_dups && (err = is_a_duplicate_smid(rec, &seen, 1))) {
      delete rec;
      break;
    }
    hash->insert(rec, list->add_new_data(rec));
  }
  // The journal's adds that the table doesn't hold yet.
  for (Kes_listelem *e = L->head.next, *next; !err && !*bad && e != &L->head; e = next) {
    next = e->next;
    Kes_nt *r = static_cast<Kes_nt *>(e->data);
    if (r->edit == Kes_nt::ADD && verdict(r) == Kes_nt::ADD && !hash->lookup(r)) {
      r->edit = Kes_nt::NOOP;
      if (check_dups && (err = is_a_duplicate_smid(r, &seen, 1))) break;
      L->delete_elem_wrapper(e);
      hash->insert(r, list->add_new_data(r));
      continue;
    }
    if (r->edit != Kes_nt::NOOP && r->edit != Kes_nt::ADD && r->edit != Kes_nt::REMOVE)
      kes_issue_warning(2617, 0,
                        BWM_MSG(5020, "Unexpected name table editlog record type %d in \"%s\" - "
                                      "ignored"),
                        (int)r->edit, editlog->fullname);
    L->delete_elem(e);
  }
  delete edits;
  L->clear();
  return err;
}

Kes_err *Kes_md_nametable::read_table(Kes_nt_client *tr, Kes_smid_int_hash *dup_smids) {
  // Nobody may replace the table while it is merged with its journal.
  if (writable) {
    if (Kes_err *e = lock()) return e;
  }
  auto unlock_if = [&]() {
    if (writable) unlock();
  };
  auto rebuild_and_keep = [&]() -> Kes_err * {
    int dups = 0;
    if (Kes_err *e = rebuild_table(tr, dup_smids, &dups)) return e;
    return dups ? nullptr : write_table();
  };
  clear_data();
  int missing = 0;
  if (Kes_err *e = read_table_to_memory(&missing)) {
    unlock_if();
    return e;
  }
  if (missing) {
    unlock_if();
    return rebuild_and_keep();
  }
  Kes_ntlist L;
  if (Kes_err *e = editlog->get_contents(&L)) {
    unlock_if();
    return e;
  }
  int replay = L.count > 0;
  if (replay) {
    dirty = 1;
  } else if (writable) {
    delete editlog->remove();  // a journal opened and never written to
  }
  int bad = 0;
  Kes_err *err = build_list_from_memory(&L, &bad);
  if (err) {
    clear_data();
    unlock_if();
    return err;
  }
  if (bad) {
    unlock_if();
    return rebuild_and_keep();
  }
  if (replay) err = write_table();
  unlock_if();
  return err;
}

Kes_err *Kes_md_nametable::read_existing_table_with_dups() {
  if (writable) {
    if (Kes_err *e = lock()) return e;
  }
  clear_data();
  int saved = check_dups;
  check_dups = 0;
  int missing = 0;
  Kes_err *err = read_table_to_memory(&missing);
  if (!err && !missing) {
    Kes_ntlist L;
    err = editlog->get_contents(&L);
    if (!err) {
      if (L.count) dirty = 1;
      int bad = 0;
      err = build_list_from_memory(&L, &bad);
      if (bad) clear_data();  // a damaged table reads as empty
    }
  }
  check_dups = saved;
  if (writable) unlock();
  return err;
}

Kes_err *Kes_md_nametable::rebuild_table(Kes_nt_client *tr, Kes_smid_int_hash *dup_smids,
                                         int *dups) {
  *dups = 0;
  // A child being made by this transaction has no history files yet.
  if (tr && tr->nt_creating_child(workspace)) {
    rebuilt = 1;
    return nullptr;
  }
  if (tr) tr->nt_print_progress(workspace);
  clear_data();
  kes_heartbeat_enable(60, "BRINDLE_HEARTBEAT",
                       BWM_MSG(5027, "Searching for history files for %.1f minutes ...\n"));
  Kes_err *err = find_sfiles_in_ws(workspace, list, hash, dup_smids, dups);
  kes_heartbeat_disable();
  if (err) return err;
  rebuilt = 1;
  dirty = 1;
  if (writable) delete editlog->remove();  // the scan holds everything it knew
  return nullptr;
}

Kes_err *Kes_md_nametable::write_table() {
  if (!writable) return nullptr;
  snprintf(temp_name, sizeof temp_name, "%s.XXXXXX", fullname);
  int fd = mkstemp(temp_name);
  FILE *fp = fd >= 0 ? fdopen(fd, "w") : nullptr;
  if (!fp) {
    int e = errno;
    if (fd >= 0) {
      ::close(fd);
      unlink(temp_name);
    }
    Kes_err *err = (new Kes_err)->format_msg(
        1017, e, BWM_MSG(5011, "Open of \"%s\" for writing failed"), temp_name);
    temp_name[0] = '\0';
    return err;
  }
  auto give_up = [&](Kes_err *err) {
    unlink(temp_name);
    temp_name[0] = '\0';
    return err;
  };
  Kes_err *err = write_vernum_to_fp(fp);
  Kes_smid_str_hash seen;
  for (Kes_listelem *e = list->head.next; !err && e != &list->head; e = e->next) {
    Kes_nt *rec = static_cast<Kes_nt *>(e->data);
    if (rec->edit == Kes_nt::REMOVE) continue;
    err = is_a_duplicate_smid(rec, &seen, 0);
    if (!err) err = rec->print(fp, temp_name);
  }
  if (err) {
    fclose(fp);
    return give_up(err);
  }
  if ((err = fclose_N_check(fp, temp_name))) return give_up(err);
  // Rename and the end of the journal under one lock: a reader sees the old
  // table with its journal, or the new table alone.
  if ((err = lock())) return give_up(err);
  if (rename(temp_name, fullname) != 0) {
    err = (new Kes_err)->format_msg(
        1018, errno, BWM_MSG(5023, "Rename of \"%s\" to \"%s\" failed"), temp_name, fullname);
    unlock();
    return give_up(err);
  }
  temp_name[0] = '\0';
  chmod(fullname, 0666);
  dirty = 0;
  delete editlog->close();
  err = editlog->remove();
  unlock();
  return err;
}

Kes_err *Kes_md_nametable::update_table() { return dirty ? write_table() : nullptr; }

Kes_err *Kes_md_nametable::add_record(Kes_nt *rec, Kes_nt **stored) {
  if (hash->lookup(rec)) {
    if (stored) *stored = nullptr;
    return nullptr;
  }
  rec->edit = Kes_nt::NOOP;
  Kes_nt *c = rec->copy();
  hash->insert(c, list->add_new_data(c));
  if (stored) *stored = c;
  dirty = 1;
  if (!editlog_enabled()) return nullptr;
  rec->edit = Kes_nt::ADD;
  Kes_err *err = editlog->add_rec(rec);
  rec->edit = Kes_nt::NOOP;
  return err;
}

Kes_err *Kes_md_nametable::remove_record(Kes_nt *rec) {
  Kes_listelem *e = static_cast<Kes_listelem *>(hash->lookup(rec));
  if (!e) return nullptr;
  hash->remove(rec);
  // The element stays in the list until write_table passes over it.
  static_cast<Kes_nt *>(e->data)->edit = Kes_nt::REMOVE;
  dirty = 1;
  if (!editlog_enabled()) return nullptr;
  rec->edit = Kes_nt::REMOVE;
  return editlog->add_rec(rec);
}

int Kes_md_nametable::record_exists(Kes_nt *rec) { return hash->lookup(rec) != nullptr; }

void Kes_md_nametable::cleanup_on_intr() {
  if (temp_name[0]) unlink(temp_name);
  temp_name[0] = '\0';
  delete editlog->close();
}

// ---------------------------------------------------------------------------
// The walk over a workspace

namespace {

struct Walk {
  Kes_workspace *ws;
  Kes_ntlist *list;
  Kes_nt_hash *hash;
  Kes_smid_int_hash *dup_smids;
  int *dups;
  Kes_smid_int_hash *seen;  // SmIDs met so far; keys belong to the records
  const char *vcs;          // null when the workspace isn't under version control
  const char *vcs_name;     // the name of history directories
  int root_fd;
  std::string rel;          // the directory being read, from the root, as "./a/b"
};

std::string join(const std::string &dir, const char *name) {
  std::string p = dir + "/" + name;
  return p.compare(0, 2, "./") == 0 ? p.substr(2) : p;
}

// The clear file's name of a history file: "a/SCCS/s.x" gives "a/x".
std::string clear_name(const std::string &path, const char *vcs_name) {
  size_t slash = path.rfind('/');
  std::string dir = slash == std::string::npos ? "" : path.substr(0, slash);
  std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
  if (base.compare(0, 2, "s.") == 0) base = base.substr(2);
  size_t up = dir.rfind('/');
  std::string last = up == std::string::npos ? dir : dir.substr(up + 1);
  if (last == vcs_name) dir = up == std::string::npos ? "" : dir.substr(0, up);
  return dir.empty() ? base : dir + "/" + base;
}

void add_record(Walk *wk, const std::string &name, Kes_delta *delta) {
  Kes_nt *rec = new Kes_nt(name.c_str(), kes_smid_from_delta(delta));
  Kes_listelem *e = wk->list->add_new_data(rec);
  wk->hash->insert(rec, e);
  if (wk->seen->insert(rec->smid, 1) == 1) {
    *wk->dups = 1;
    Kes_smid *c = rec->smid->copy();
    if (wk->dup_smids->insert(c, 1) == 1) delete c;
  }
}

// Reads one history file, named from the root, where the process is now.
void read_history(Walk *wk, const std::string &path) {
  Kes_sfile *sf = wk->ws->get_sfile(path.c_str());
  if (Kes_err *err = sf->buildtree(0, 0, 1)) {
    // One bad history file doesn't stop the scan.
    err->print();
    delete err;
    delete sf;
    return;
  }
  std::string name = clear_name(path, wk->vcs_name);
  Kes_delta *root = sf->root_delta();
  if (root && root->is_fake()) {
    // Unrelated trees under one fake root: each real root is a file's identity.
    for (Kes_delta *c = root->first_child_delta(); c; c = c->next_sibling_delta())
      add_record(wk, name, c);
  } else if (root) {
    add_record(wk, name, root);
  }
  delete sf;
}

// From the directory fd (the one being read) to the root, read, and back.
Kes_err *read_from_root(Walk *wk, const std::string &path, int here_fd) {
  Kes_timing::suspend(kes_time_readsccsdir);
  Kes_timing::suspend(kes_time_find);
  Kes_err *err = kes_chdir(".", wk->root_fd);
  if (!err) {
    read_history(wk, path);
    err = kes_chdir(wk->rel.c_str(), here_fd);
  }
  Kes_timing::cont(kes_time_find);
  Kes_timing::cont(kes_time_readsccsdir);
  return err;
}

Kes_err *read_history_dir(Walk *wk, const char *dirname, int here_fd) {
  std::string hdir = join(wk->rel, dirname);
  DIR *d = opendir(dirname);
  if (!d)
    return (new Kes_err)->format_msg(1035, errno, BWM_MSG(5029, "Opendir of \"%s\" failed"),
                                     hdir.c_str());
  Kes_timing::start(kes_time_readsccsdir);
  Kes_err *err = nullptr;
  while (struct dirent *e = readdir(d)) {
    if (strncmp(e->d_name, "s.", 2) != 0) continue;
    if ((err = read_from_root(wk, hdir + "/" + e->d_name, here_fd))) break;
  }
  Kes_timing::stop(kes_time_readsccsdir);
  closedir(d);
  return err;
}

int is_directory(const struct dirent *e) {
  if (e->d_type == DT_DIR) return 1;
  if (e->d_type != DT_UNKNOWN) return 0;
  struct stat st;
  return lstat(e->d_name, &st) == 0 && S_ISDIR(st.st_mode);  // links aren't followed
}

// Reads the current directory, wk->rel; recurses into subdirectories.
Kes_err *walk_dir(Walk *wk, int top) {
  DIR *d = opendir(".");
  if (!d)
    return (new Kes_err)->format_msg(1035, errno, BWM_MSG(5029, "Opendir of \"%s\" failed"),
                                     wk->rel.c_str());
  int here = dirfd(d);
  Kes_err *err = nullptr;
  while (!err) {
    struct dirent *e = readdir(d);
    if (!e) break;
    const char *n = e->d_name;
    if (strcmp(n, ".") == 0 || strcmp(n, "..") == 0) continue;
    int dir = is_directory(e);
    if (!wk->vcs && !dir && strncmp(n, "s.", 2) == 0) {
      err = read_from_root(wk, join(wk->rel, n), here);
      continue;
    }
    if (!dir) continue;
    if (top && strcmp(n, KES_METADATA_DIR) == 0) continue;
    if (strcmp(n, wk->vcs_name) == 0) {
      err = read_history_dir(wk, n, here);
      continue;
    }
    std::string sub = wk->rel + "/" + n;
    if (chdir(n) != 0) {
      err = (new Kes_err)->format_msg(1023, errno, BWM_MSG(5028, "Chdir to \"%s\" failed"),
                                      join(wk->rel, n).c_str());
      break;
    }
    std::string saved = wk->rel;
    wk->rel = sub;
    err = walk_dir(wk, 0);
    wk->rel = saved;
    Kes_err *back = kes_chdir("..", here);
    if (!err) err = back;
    else delete back;
  }
  closedir(d);
  return err;
}

}  // namespace

Kes_err *find_sfiles_in_ws(Kes_workspace *ws, Kes_ntlist *list, Kes_nt_hash *hash,
                           Kes_smid_int_hash *dup_smids, int *dups) {
  *dups = 0;
  const char *root = ws ? ws->get_absname() : nullptr;
  char saved_name[1024];
  if (!getcwd(saved_name, sizeof saved_name)) saved_name[0] = '\0';
  int saved_fd = ::open(".", O_RDONLY | O_DIRECTORY);
  if (!root || chdir(root) != 0) {
    int e = root ? errno : ENOENT;
    if (saved_fd >= 0) ::close(saved_fd);
    return (new Kes_err)->format_msg(1023, e, BWM_MSG(5028, "Chdir to \"%s\" failed"),
                                     root ? root : (ws && ws->wsname ? ws->wsname : ""));
  }
  Walk wk;
  wk.ws = ws;
  wk.list = list;
  wk.hash = hash;
  Kes_smid_int_hash *own_dups = dup_smids ? nullptr : new Kes_smid_int_hash;
  wk.dup_smids = dup_smids ? dup_smids : own_dups;
  wk.dups = dups;
  wk.seen = new Kes_smid_int_hash;
  wk.vcs = ws->get_vcs_dir();
  wk.vcs_name = wk.vcs ? wk.vcs : "SCCS";
  wk.root_fd = ::open(".", O_RDONLY | O_DIRECTORY);
  wk.rel = ".";
  Kes_timing::start(kes_time_find);
  Kes_err *err = walk_dir(&wk, 1);
  Kes_timing::stop(kes_time_find);
  Kes_err *back = kes_chdir(saved_name, saved_fd);
  if (!err) err = back;
  else delete back;
  if (wk.root_fd >= 0) ::close(wk.root_fd);
  if (saved_fd >= 0) ::close(saved_fd);
  delete wk.seen;
  if (own_dups) kes_nt_delete_dup_smids(own_dups);
  return err;
}

void kes_nt_delete_dup_smids(Kes_smid_int_hash *dups) {
  if (!dups) return;
  std::vector<Kes_smid *> keys;
  dups->iterate(
      [](void *key, void *, void *arg) {
        static_cast<std::vector<Kes_smid *> *>(arg)->push_back(static_cast<Kes_smid *>(key));
        return 0;
      },
      &keys);
  delete dups;
  for (Kes_smid *k : keys) delete k;
}
