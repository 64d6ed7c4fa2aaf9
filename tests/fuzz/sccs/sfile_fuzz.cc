// Fuzz target: the history file reader in its three modes, on one file and the
// p-file beside it.  Input: the history file, then optionally, behind the part
// separator, the p-file.
//
// Full mode (buildtree with the p-file) must give one of the reader's errors or
// a tree that the engine's walks go over and that a rewrite keeps.  Roots-only
// mode and the fast read of roots and names (both through the mapped reader)
// must give their errors or roots.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "sccs/kes_name_history.h"
#include "sccs/kes_smid.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"
#include "util/kes_mmap.h"

namespace {

// Errors of reading a delta table: not a history file, a control letter or a
// serial out of place, a table cut short or empty, damage behind the table, a
// default SID with no delta, and, from the mapped reader, a line too long.
#define READ_ERRORS 2039, 2060, 2026, 2055, 2024, 2043, 2523, 2000

// Each delta as one line: serial, predecessor, type, SID, SmID and the serial
// lists.
std::vector<std::string> deltas_of(Kes_delta_tree *t) {
  std::vector<std::string> v;
  for (int i = 1; i <= t->size; i++) {
    Kes_delta *d = t->ith_delta(i);
    if (!d->serial) continue;
    Kes_smid *id = kes_smid_from_delta(d);
    char line[200];
    snprintf(line, sizeof line, "%d %d %c %.40s %x %x %x %x", d->serial, d->pred,
             d->removed ? 'R' : 'D', d->sid ? d->sid : "", id->word[0], id->word[1], id->word[2],
             id->word[3]);
    delete id;
    std::string s = line;
    for (Kes_tree_node **list : {d->includes, d->excludes, d->ignores}) {
      s += " /";
      for (Kes_tree_node **n = list; n && *n; n++) s += " " + std::to_string((*n)->serial);
    }
    v.push_back(s);
  }
  return v;
}

void full_mode(const std::string &s_path) {
  SCCS_sfile sf(s_path.c_str());
  if (fuzz::expect_codes(sf.buildtree(0, 1, 0), {READ_ERRORS}, "full read")) return;
  Kes_delta_tree *t = sf.tree;
  fuzz::check(t->root && sf.head_delta() && sf.default_delta, "full read gives a head");
  int used = 0;
  for (int i = 1; i <= t->size; i++)
    if (t->ith_delta(i)->serial) {
      fuzz::check(t->ith_delta(i)->serial == i, "a delta sits in the slot of its serial");
      used++;
    }
  fuzz::check(used == t->node_count, "the node count is the number of deltas");
  // The walks of the engine: the delta list from the root, the latest deltas.
  Kes_delta **list = nullptr;
  fuzz::expect_codes(sf.mklist(&list), {}, "delta list");
  int n = 0;
  while (list[n]) n++;
  fuzz::check(n == used, "the delta list holds every delta");
  free(list);
  for (int k = 1; k <= 3; k++) sf.get_nth_from_latest(k);
  for (Kes_pfile *p = sf.pfile_list; p; p = p->next)
    fuzz::check(!p->delta || p->delta->in_pfile, "a p-file entry's delta knows of it");

  // A rewrite of the table keeps every delta as it was.
  std::vector<std::string> before = deltas_of(t);
  fuzz::expect_codes(sf.write(), {}, "rewrite");
  SCCS_sfile again(s_path.c_str());
  fuzz::expect_codes(again.buildtree(0, 0, 0), {}, "read of the rewritten file");
  fuzz::check_same(before, deltas_of(again.tree), "a rewritten table reads back the same");
}

void roots_only(const std::string &s_path) {
  SCCS_sfile sf(s_path.c_str());
  if (fuzz::expect_codes(sf.buildtree(0, 0, 1), {READ_ERRORS}, "roots-only read")) return;
  Kes_delta *root = sf.root_delta();
  fuzz::check(root != nullptr, "roots-only read gives a root slot");
  for (Kes_tree_node *c = root->first_child; c; c = c->next_sibling)
    delete kes_smid_from_delta(static_cast<Kes_delta *>(c));
  if (root->serial) delete kes_smid_from_delta(root);
}

void fast_read(const std::string &s_path) {
  SCCS_sfile sf(s_path.c_str());
  Kes_mmap mm(s_path.c_str(), nullptr);
  if (fuzz::expect_codes(mm.open(), {}, "open")) return;
  Kes_name_tree *names = nullptr;
  SCCS_deltalist *roots = nullptr;
  int conflicted = 0;
  Kes_err *err = sf.build_nametree_deltalist(&mm, "f", &names, &roots, &conflicted);
  delete mm.close();
  // The name history's own errors come on top of the reader's.
  if (fuzz::expect_codes(err, {READ_ERRORS, 2059, 2079}, "fast read")) return;
  fuzz::check(names && roots, "fast read hands out a tree and a list");
  Kes_name_node *latest = kes_latest_name(names);
  fuzz::check(latest && latest->name && strcmp(latest->name, "f") == 0,
              "the latest name is the name in use");
  for (Kes_listelem *e = roots->head.next; e != &roots->head; e = e->next)
    delete kes_smid_from_delta(static_cast<Kes_delta *>(e->data));
  delete names;
  delete roots;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Parts parts = fuzz::split(data, size, 2);
  std::string s_path = fuzz::put("sfile/SCCS/s.f", parts.text[0]);
  fuzz::put_part("sfile/SCCS/p.f", parts, 1);
  roots_only(s_path);
  fast_read(s_path);
  full_mode(s_path);  // last: it rewrites the file
  return 0;
}
