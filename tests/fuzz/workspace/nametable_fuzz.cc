// Fuzz target: the name table and its journal, as a transaction reads them.
// Input: the table file, then optionally, behind the part separator, the
// journal (a journal left by a transaction that died before it rewrote the
// table).
//
// read_table must give its errors, or records that a rewrite keeps: the table
// it writes reads back to the same records, with no journal left.
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "workspace/fuzz_workspace.h"
#include "workspace/kes_nametable.h"

namespace {

// The framework's errors, a table that can't be read, two names for one SmID,
// and a journal line without its fields.
#define TABLE_ERRORS MD_ERRORS, 1006, 2088, 2056

std::vector<std::string> records(Kes_md_nametable *nt) {
  std::vector<std::string> v;
  char buf[KES_NT_BUF_SIZE];
  for (Kes_listelem *e = nt->list->head.next; e != &nt->list->head; e = e->next) {
    Kes_nt *r = static_cast<Kes_nt *>(e->data);
    if (r->edit != Kes_nt::REMOVE) v.push_back(r->print(buf));
  }
  std::sort(v.begin(), v.end());
  return v;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Parts parts = fuzz::split(data, size, 2);
  fuzz::put_md("nametable", parts.text[0]);
  std::string journal = fuzz::put_part("ws/" KES_METADATA_DIR "/nametable_editlog", parts, 1);

  Kes_md_nametable *nt = fuzz::md<Kes_md_nametable>();
  if (!fuzz::expect_codes(nt->read_table(nullptr, nullptr), {TABLE_ERRORS}, "name table")) {
    std::vector<std::string> before = records(nt);
    fuzz::expect_codes(nt->write_table(), {}, "name table write");
    fuzz::check(access(journal.c_str(), F_OK) != 0, "writing the table removes the journal");
    Kes_md_nametable *again = fuzz::md<Kes_md_nametable>();
    fuzz::expect_codes(again->read_table(nullptr, nullptr), {}, "name table read back");
    fuzz::check_same(before, records(again), "the name table reads back as it was written");
    delete again;
  }
  delete nt;
  return 0;
}
