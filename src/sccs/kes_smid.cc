// Kes_smid, its lists and hashes, and Kes_smidinfo.
#include "sccs/kes_smid.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/kes_heap.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"

namespace {
Kes_heap *smid_heap;
Kes_heap *smidinfo_heap;
constexpr int kPerBlock = 400;

}  // namespace

// ---------------------------------------------------------------------------
// Kes_smid

Kes_smid::Kes_smid() : word{0, 0, 0, 0} {}

Kes_smid::Kes_smid(const unsigned long words[4]) {
  for (int i = 0; i < 4; i++) word[i] = (uint32_t)words[i];
}

void *Kes_smid::operator new(size_t size) { return kes_heap_new(&smid_heap, size, kPerBlock); }
void Kes_smid::operator delete(void *p) { kes_heap_delete(smid_heap, p); }
void kes_smid_delete_heap() { kes_heap_destroy(&smid_heap); }

Kes_smid *Kes_smid::copy() {
  Kes_smid *s = new Kes_smid;
  memcpy(s->word, word, sizeof word);
  return s;
}

void Kes_smid::print(FILE *out) {
  fprintf(out, "%s %lx %lx %lx %lx\n", BWM_MSG(1501, "SmID:"), (unsigned long)word[0],
          (unsigned long)word[1], (unsigned long)word[2], (unsigned long)word[3]);
}

char *Kes_smid::to_text(char *buf) {
  snprintf(buf, KES_SMID_TEXT_SIZE, "%lx %lx %lx %lx", (unsigned long)word[0],
           (unsigned long)word[1], (unsigned long)word[2], (unsigned long)word[3]);
  return buf;
}

// Words are kept only when all four were read, so a short line leaves the SmID
// as it was.
static int take_words(Kes_smid *s, int n, const unsigned long w[4]) {
  if (n == 4)
    for (int i = 0; i < 4; i++) s->word[i] = (uint32_t)w[i];
  return n;
}

int Kes_smid::scan(FILE *in) {
  unsigned long w[4];
  return take_words(this, fscanf(in, "%lx %lx %lx %lx", &w[0], &w[1], &w[2], &w[3]), w);
}

namespace {
// The value of each hex digit, -1 for any other byte: a table, since digits
// and letters come in random order and a test per byte mispredicts.
struct Hex_table {
  signed char value[256];
  constexpr Hex_table() : value{} {
    for (int c = 0; c < 256; c++) value[c] = -1;
    for (int d = 0; d < 10; d++) value['0' + d] = (signed char)d;
    for (int d = 0; d < 6; d++) value['a' + d] = value['A' + d] = (signed char)(10 + d);
  }
};
constexpr Hex_table hex_table;

int hex_digit(unsigned char c) { return hex_table.value[c]; }

// strtoul(p, end, 16), with the words a table writes (up to 16 plain hex
// digits) read inline; a sign, a "0x", or more digits go to strtoul.
unsigned long scan_hex(const char *p, const char **end) {
  unsigned long v = 0;
  const char *q = p;
  if (!(q[0] == '0' && (q[1] | 0x20) == 'x')) {
    for (int d; q - p < 16 && (d = hex_digit(*q)) >= 0; q++) v = v << 4 | d;
    if (q > p && hex_digit(*q) < 0) {
      *end = q;
      return v;
    }
  }
  char *e;
  v = strtoul(p, &e, 16);
  *end = e;
  return v;
}
}  // namespace

// By hand, as sscanf's "%lx %lx %lx %lx" reads: a name table holds one per
// record, and sscanf's cost, then strtoul's, dominated reading a large table.
int Kes_smid::scan(const char *text) {
  unsigned long w[4];
  int n = 0;
  const char *p = text;
  for (; n < 4; n++) {
    while (isspace((unsigned char)*p)) p++;
    const char *end;
    unsigned long v = scan_hex(p, &end);
    if (end == p) break;
    w[n] = v;
    p = end;
  }
  return take_words(this, n == 0 && !*p ? EOF : n, w);
}

int Kes_smid::compare(Kes_smid *other) { return kes_smid_equal(this, other); }

int kes_smid_equal(Kes_smid *a, Kes_smid *b) {
  return a->word[0] == b->word[0] && a->word[1] == b->word[1] && a->word[2] == b->word[2] &&
         a->word[3] == b->word[3];
}

int kes_smid_hash(Kes_smid *s) {
  return (int)(uint32_t)(s->word[0] + s->word[1] + s->word[2] + s->word[3]);
}

int kes_smid_cmp(Kes_smid *a, Kes_smid *b) {
  for (int i = 0; i < 4; i++)
    if (a->word[i] != b->word[i]) return (int32_t)(uint32_t)(a->word[i] - b->word[i]);
  return 0;
}

// ---------------------------------------------------------------------------
// Kes_smidlist

Kes_smidlist::~Kes_smidlist() { clear(); }
Kes_list *Kes_smidlist::create_list() { return new Kes_smidlist; }
void *Kes_smidlist::create_data() { return new Kes_smid; }
void *Kes_smidlist::copy_data(void *data) {
  return data ? static_cast<Kes_smid *>(data)->copy() : nullptr;
}
void Kes_smidlist::delete_data(void *data) { delete static_cast<Kes_smid *>(data); }
void Kes_smidlist::print_data(void *data) { static_cast<Kes_smid *>(data)->print(stderr); }
int Kes_smidlist::compare_datas(void *a, void *b) {
  return kes_smid_equal(static_cast<Kes_smid *>(a), static_cast<Kes_smid *>(b));
}

// ---------------------------------------------------------------------------
// Kes_smidinfo

Kes_smidinfo::Kes_smidinfo()
    : from_name(nullptr), to_name(nullptr), orig_from_name(nullptr), orig_to_name(nullptr),
      from_names(nullptr), to_names(nullptr), flags(0) {}

Kes_smidinfo::~Kes_smidinfo() {
  free(orig_from_name);
  free(orig_to_name);
  delete from_names;
  delete to_names;
}

void *Kes_smidinfo::operator new(size_t size) {
  return kes_heap_new(&smidinfo_heap, size, kPerBlock);
}
void Kes_smidinfo::operator delete(void *p) { kes_heap_delete(smidinfo_heap, p); }
void kes_smidinfo_delete_heap() { kes_heap_destroy(&smidinfo_heap); }

Kes_smidinfo *Kes_smidinfo::copy() {
  Kes_smidinfo *c = new Kes_smidinfo;
  c->from_name = from_name;
  c->to_name = to_name;
  c->orig_from_name = kes_strdup(orig_from_name);
  c->orig_to_name = kes_strdup(orig_to_name);
  c->from_names = from_names ? static_cast<Kes_strlist *>(from_names->copy()) : nullptr;
  c->to_names = to_names ? static_cast<Kes_strlist *>(to_names->copy()) : nullptr;
  c->flags = flags;
  return c;
}

// ---------------------------------------------------------------------------
// Tables keyed by SmID

int Kes_smid_hash_base::keys_equal(void *a, void *b) {
  return kes_smid_equal(static_cast<Kes_smid *>(a), static_cast<Kes_smid *>(b));
}
int Kes_smid_hash_base::key_hash(void *key) { return kes_smid_hash(static_cast<Kes_smid *>(key)); }
void Kes_smid_hash_base::key_delete(void *) {}

Kes_smid_int_hash::Kes_smid_int_hash(int missing)
    : Kes_smid_hash_base((void *)(intptr_t)missing) {}
Kes_smid_int_hash::~Kes_smid_int_hash() { delete_hash(); }
void Kes_smid_int_hash::value_delete(void *) {}

Kes_smid_str_hash::Kes_smid_str_hash() : Kes_smid_hash_base(nullptr) {}
Kes_smid_str_hash::~Kes_smid_str_hash() { delete_hash(); }
void Kes_smid_str_hash::value_delete(void *) {}

Kes_smid_smidinfo_hash::Kes_smid_smidinfo_hash() : Kes_smid_hash_base(nullptr) {}
Kes_smid_smidinfo_hash::~Kes_smid_smidinfo_hash() { delete_hash(); }
void Kes_smid_smidinfo_hash::value_delete(void *value) {
  delete static_cast<Kes_smidinfo *>(value);
}
