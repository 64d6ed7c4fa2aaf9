// Kes_nt, one name table record, with its two line forms; Kes_ntlist and
// Kes_nt_hash.
#include "workspace/kes_nametable.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sccs/kes_smid.h"
#include "util/kes_err.h"
#include "util/kes_heap.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"

namespace {

Kes_heap *nt_heap;
const int kPerBlock = 400;

unsigned long w(const Kes_smid *s, int i) { return s ? s->word[i] : 0; }

}  // namespace

Kes_nt::Kes_nt() : name(nullptr), smid(nullptr), edit(NOOP), delete_name(0) {}

Kes_nt::Kes_nt(const char *n, Kes_smid *s)
    : name(kes_strdup_or_empty(n)), smid(s), edit(NOOP), delete_name(1) {}

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
  rec->name = kes_strdup_or_empty(buf);
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
  // The sum wraps, as the SmID's own hash does: a bucket takes its low bits.
  uint32_t name = nt->name ? (uint32_t)kes_str_hash(nt->name) : 0;
  return (int)(name + (nt->smid ? (uint32_t)kes_smid_hash(nt->smid) : 0));
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
