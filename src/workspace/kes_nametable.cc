// Kes_md_nametable: reading the table in place, replaying the journal,
// writing the table, and its edits.
#include "workspace/kes_nametable.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "sccs/kes_smid.h"
#include "util/kes_crash.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"
#include "util/kes_scope_exit.h"
#include "util/kes_timing.h"
#include "workspace/kes_workspace.h"

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
    // A zero byte would cut the name short: the line isn't one this table wrote.
    if (blanks < 4 || q == p || memchr(p, '\0', q - p)) {
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
  // A child being made by this command has no history files yet.
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
  kes_crash_point();
  if ((err = lock())) return give_up(err);
  auto unlock_at_end = kes_scope_exit([this] { unlock(); });
  if (rename(temp_name, fullname) != 0)
    return give_up((new Kes_err)->format_msg(
        1018, errno, BWM_MSG(5023, "Rename of \"%s\" to \"%s\" failed"), temp_name, fullname));
  temp_name[0] = '\0';
  chmod(fullname, 0666);
  dirty = 0;
  delete editlog->close();
  return editlog->remove();
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
