// Fuzz target: the output of a file list program, as a bringover reads it.
// Input: one byte that picks the form, then what the program writes.  An odd
// byte picks the older form of blank-separated names (BRINDLE_COMPAT_2_1), an
// even one a name a line.  "@P@" and "@C@" stand for the parent's and the
// child's root, so that absolute names inside a workspace can be reached.
//
// The bringover's files are determined as the command does, and then the
// output is read from a file by the reader that takes a program's pipe or its
// background output (running a program for each input would leave the fuzzer
// waiting for processes).  The parent holds a history, a directory with a
// history, a link to that directory and a file not under version control; a
// directory is listed by the default directory program, found beside this one.
// The names kept are the histories among those named, each once, whatever
// form the program wrote them in.
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include "fuzz_support.h"
#include "transaction/kes_bringover.h"
#include "transaction/kes_file.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "workspace/kes_workspace.h"

namespace {

const char kHistory[] =
    "\001h00000\n"
    "\001s 00001/00000/00000\n"
    "\001d D 1.1 24/01/01 10:00:00 alice 1 0\n"
    "\001c first\n"
    "\001e\n"
    "\001u\n\001U\n\001t\n\001T\n"
    "\001I 1\none\n\001E 1\n";

struct Roots {
  std::string parent, child, output;
};

const Roots &roots() {
  static const Roots r = [] {
    Roots r;
    fuzz::path("p/" KES_METADATA_DIR "/x");  // the metadata directories
    fuzz::path("c/" KES_METADATA_DIR "/x");
    r.parent = fuzz::scratch() + "/p";
    r.child = fuzz::scratch() + "/c";
    fuzz::put("p/SCCS/s.a", kHistory);
    fuzz::put("p/d/SCCS/s.b", kHistory);
    fuzz::put("p/plain", "not under version control\n");
    fuzz::check(symlink("d", (r.parent + "/l").c_str()) == 0, "link in the parent");
    r.output = fuzz::path("flp.out");
    char self[4096];
    ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    fuzz::check(n > 0, "own path");
    std::string dir(self, (size_t)n);
    setenv("PATH", (dir.substr(0, dir.rfind('/')) + ":/usr/bin:/bin").c_str(), 1);
    return r;
  }();
  return r;
}

std::string with_roots(std::string s, const Roots &r) {
  for (const auto &[mark, root] : {std::make_pair("@P@", r.parent), std::make_pair("@C@", r.child)})
    for (size_t at = s.find(mark); at != std::string::npos; at = s.find(mark, at + root.size()))
      s.replace(at, strlen(mark), root);
  return s;
}

// A kept name is one of the parent's histories, once: every other name is
// refused, ignored or not there.
void check_kept(Kes_filelist *list, std::set<std::string> *seen) {
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next) {
    std::string name = static_cast<Kes_file *>(e->data)->from->name;
    fuzz::check(name == "a" || name == "d/b", "a kept name is a history the parent holds");
    fuzz::check(seen->insert(name).second, "a name is kept once");
  }
}

// The names a bringover keeps from the output written, read in a form.
std::set<std::string> kept_names(const Roots &r, const std::string &written, int blank_separated) {
  fuzz::put("flp.out", written);
  char cmd[] = "bringover";
  char *argv[] = {cmd, nullptr};
  Kes_bringover t(1, argv);
  Kes_err *err = nullptr;
  t.from_ws = t.parent_ws = new Kes_workspace(r.parent.c_str(), &err);
  fuzz::expect_codes(err, {}, "parent workspace");
  t.to_ws = t.child_ws = new Kes_workspace(r.child.c_str(), &err);
  fuzz::expect_codes(err, {}, "child workspace");
  fuzz::expect_codes(t.determine_files(), {}, "files without names");

  FILE *fp = fopen(r.output.c_str(), "r");
  fuzz::check(fp, "the output opens");
  err = kes_read_flp_names(&t, t.to_ws, fp, blank_separated);
  fclose(fp);
  std::set<std::string> seen;
  if (!fuzz::expect_codes(err, {}, "file list")) {
    check_kept(t.action_files, &seen);
    check_kept(t.rename_candidates, &seen);
  }
  return seen;
}

// The words of the older form, one a line; empty when a word is longer than
// the scan takes at once.
std::string one_a_line(const std::string &words) {
  std::string lines, word;
  for (char c : words + " ") {
    if (!isspace(static_cast<unsigned char>(c))) {
      word += c;
      continue;
    }
    if (word.size() >= 1023) return "";
    if (!word.empty()) lines += word + "\n";
    word.clear();
  }
  return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const Roots &r = roots();
  const int blank_separated = data[0] & 1;
  std::string written = with_roots(fuzz::text(data + 1, size - 1), r);
  std::set<std::string> kept = kept_names(r, written, blank_separated);
  // Blank-separated words keep what the same words a line keep.
  std::string lines = blank_separated ? one_a_line(written) : "";
  if (lines.empty()) return 0;
  std::set<std::string> from_lines = kept_names(r, lines, 0);
  fuzz::check_same({kept.begin(), kept.end()}, {from_lines.begin(), from_lines.end()},
                   "words keep what the same names a line keep");
  return 0;
}
