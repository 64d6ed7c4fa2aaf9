// Fuzz target: the data delta, the name history and the conflict record.
// Input: the comment lines behind the data delta's marker, one a line, put into
// a small history file whose table is otherwise sound, so that the fuzzer works
// on the attributes rather than the delta table.
//
// Each reader must give its error or an answer that survives being written back:
// a conflict record and a name tree read again after a rewrite are what they
// were, and the fast read of names agrees with the full one.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "sccs/kes_conflict.h"
#include "sccs/kes_name_history.h"
#include "sccs/kes_sdata.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_mmap.h"

namespace {

const char kHead[] =
    "\001h00000\n"
    "\001s 00001/00000/00002\n"
    "\001d D 1.2 24/01/02 10:00:00 alice 3 1\n"
    "\001c second\n"
    "\001e\n"
    "\001s 00000/00000/00000\n"
    "\001d R 1.2 24/01/01 10:00:01 Brindle 2 1\n"
    "\001c Oakline Brindle data about conflicts, renames, etc...\n";
const char kTail[] =
    "\001e\n"
    "\001s 00002/00000/00000\n"
    "\001d D 1.1 24/01/01 10:00:00 alice 1 0\n"
    "\001c first\n"
    "\001e\n"
    "\001u\n\001U\n\001t\n\001T\n"
    "\001I 1\none\n\001E 1\n"
    "\001I 3\ntwo\n\001E 3\n";

// The longest attribute line taken from the input: with the three bytes in
// front it stays a line that the reader takes whole.
const size_t kMaxLine = 1000;

std::string make_file(const uint8_t *data, size_t size, std::vector<std::string> *lines) {
  std::string in = fuzz::text(data, size), file = kHead;
  for (size_t from = 0; from < in.size();) {
    size_t nl = in.find('\n', from);
    if (nl == std::string::npos) nl = in.size();
    std::string line = in.substr(from, std::min(nl - from, kMaxLine));
    lines->push_back(line);
    file += "\001c " + line + "\n";
    from = nl + 1;
  }
  return file + kTail;
}

// A fresh object on the file, its table read.
SCCS_sfile *read_file(const std::string &path) {
  SCCS_sfile *sf = new SCCS_sfile(path.c_str());
  if (Kes_err *err = sf->buildtree(0, 0, 0)) {
    fprintf(stderr, "rewritten file unreadable: %s\n", err->text);
    fuzz::check(false, "a rewritten history file reads again");
  }
  return sf;
}

std::string str(const char *s) { return s ? s : "<null>"; }

// The force word, path, child, parent and ancestor of a conflict record.
std::vector<std::string> record_of(Kes_conflict &c) {
  return {str(c.force_word), str(c.ws_path), str(c.child_sid), str(c.parent_sid),
          str(c.ancestor_sid)};
}

void conflict_record(const std::string &path) {
  Kes_conflict c(new SCCS_sfile(path.c_str()), 1);
  if (fuzz::expect_codes(c.get(), {2533, 2043}, "conflict record")) return;
  if (!c.child_sid) return;
  std::vector<std::string> before = record_of(c);
  // SIDs hold no "/": one that does can't be told from the path's end mark.
  for (size_t sid = 2; sid < before.size(); sid++)
    if (before[sid].find('/') != std::string::npos) return;
  if (fuzz::expect_codes(c.write(), {2529}, "conflict write")) return;
  fuzz::expect_codes(c.file->write(), {}, "history file write");
  Kes_conflict again(read_file(path), 1);
  fuzz::expect_codes(again.get(), {}, "conflict record read back");
  fuzz::check_same(before, record_of(again), "a conflict record reads back as it was written");
}

int collect(Kes_tree_node *n, void *out, void *) {
  const char *name = static_cast<Kes_name_node *>(n)->name;
  static_cast<std::vector<std::string> *>(out)->push_back(name ? name : "<null>");
  return 1;
}

std::vector<std::string> names_of(Kes_tree *t) {
  std::vector<std::string> v;
  if (t && t->root) walktree(t->root, collect, &v, nullptr);
  return v;
}

// The fast read takes every comment that begins with the attribute's name as
// its line, with or without the separator; it agrees with the full read only
// when every such line has the separator.
bool names_well_formed(const std::vector<std::string> &lines) {
  const std::string name = KES_ATTR_NAME_HISTORY, full = name + KES_SDATA_SEPARATOR;
  for (const std::string &l : lines)
    if (l.compare(0, name.size(), name) == 0 && l.compare(0, full.size(), full) != 0) return false;
  return true;
}

void name_history(const std::string &path, const std::vector<std::string> &lines) {
  SCCS_sfile *sf = new SCCS_sfile(path.c_str());
  Kes_name_history nh(sf, 1);
  if (fuzz::expect_codes(sf->build_name_tree("cur", 0), {2059, 2079, 2043}, "name history")) return;
  std::vector<std::string> before = names_of(sf->name_tree);
  Kes_name_node *latest = kes_latest_name(static_cast<Kes_name_tree *>(sf->name_tree));
  fuzz::check(latest && latest->name && !strcmp(latest->name, "cur"),
              "the latest name is the name in use");

  if (names_well_formed(lines)) {
    SCCS_sfile fast(path.c_str());
    Kes_mmap mm(path.c_str(), nullptr);
    fuzz::expect_codes(mm.open(), {}, "open");
    Kes_name_tree *tree = nullptr;
    SCCS_deltalist *roots = nullptr;
    int conflicted = 0;
    fuzz::expect_codes(fast.build_nametree_deltalist(&mm, "cur", &tree, &roots, &conflicted), {},
                       "fast read of a file the full read took");
    delete mm.close();
    fuzz::check_same(before, names_of(tree), "the fast read gives the names of the full read");
    delete tree;
    delete roots;
  }

  fuzz::expect_codes(nh.replace_from_tree(static_cast<Kes_name_tree *>(sf->name_tree)), {},
                     "name history store");
  fuzz::expect_codes(nh.write(), {}, "history file write");
  SCCS_sfile *again = read_file(path);
  Kes_sdata keep(again, 1);
  fuzz::expect_codes(again->build_name_tree("cur", 0), {}, "name history read back");
  fuzz::check_same(before, names_of(again->name_tree),
                   "a name history reads back as it was written");
}

void values(const std::string &path) {
  Kes_sdata sd(new SCCS_sfile(path.c_str()), 1);
  Kes_strlist *all = nullptr, *names = nullptr, *conflicts = nullptr;
  // A zero byte in a line makes the file corrupt.
  if (fuzz::expect_codes(sd.get_entire_list(&all), {2043}, "data delta lines")) return;
  fuzz::expect_codes(sd.get_values(KES_ATTR_NAME_HISTORY, &names), {}, "name history values");
  fuzz::expect_codes(sd.get_values(KES_ATTR_CONFLICT, &conflicts), {}, "conflict values");
  fuzz::check(all && names && conflicts && names->count + conflicts->count <= all->count,
              "values are among the data delta's lines");
  // Replacing one attribute keeps every other line.
  int others = all->count - names->count;
  fuzz::expect_codes(sd.replace_values(KES_ATTR_NAME_HISTORY, nullptr), {}, "replace values");
  Kes_strlist *left = nullptr;
  fuzz::expect_codes(sd.get_entire_list(&left), {}, "data delta lines");
  fuzz::check(left && left->count == others, "replacing an attribute keeps the other lines");
  delete all;
  delete names;
  delete conflicts;
  delete left;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::vector<std::string> lines;
  std::string text = make_file(data, size, &lines);
  std::string path = fuzz::put("sdata/SCCS/s.f", text);
  values(path);
  conflict_record(path);
  fuzz::put("sdata/SCCS/s.f", text);
  name_history(path, lines);
  return 0;
}
