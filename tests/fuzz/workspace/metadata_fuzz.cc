// Fuzz target: the small metadata files of a workspace, each through the
// reader the programs use.  Input: the file's simple name on the first line,
// then its contents (access_control, notification, locks, args, conflicts,
// parent, children, ombraparent, description, freezept_control,
// putback_validation, backup/new).
//
// A reader must give its file's errors or entries; a file that the tool rewrites
// (access control, notification, the settings, the description) must read back
// as it was written.
#include <unistd.h>

#include <cstring>
#include <string>

#include "fuzz_support.h"
#include "workspace/fuzz_workspace.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "workspace/kes_access.h"
#include "workspace/kes_cmdlock.h"
#include "workspace/kes_md_args.h"
#include "workspace/kes_md_backupnew.h"
#include "workspace/kes_md_conflicts.h"
#include "workspace/kes_md_description.h"
#include "workspace/kes_md_freezept_control.h"
#include "workspace/kes_md_parent.h"
#include "workspace/kes_md_putback_validation.h"
#include "workspace/kes_notify.h"
#include "workspace/kes_workspace.h"

namespace {

using fuzz::md;
using fuzz::workspace;

void access_control() {
  Kes_md_access *m = md<Kes_md_access>();
  Kes_accesslist list;
  // A version 1 file is converted in place.
  if (!fuzz::expect_codes(m->get_contents(&list), {MD_ERRORS, 1017}, "access_control")) {
    for (Kes_listelem *e = list.head.next; e != &list.head; e = e->next) {
      Kes_access *a = static_cast<Kes_access *>(e->data);
      a->access("alice");
      a->access("a-user-name-longer-than-thirty-two-bytes");
    }
    fuzz::expect_codes(m->put_contents(&list), {}, "access_control rewrite");
    Kes_accesslist again;
    fuzz::expect_codes(m->get_contents(&again), {}, "access_control read back");
    fuzz::check(list.compare(&again), "access_control reads back as it was written");
    int granted;
    for (const char *op : {"bringover-from", "putback-to", "workspace-delete", "nonsense"})
      fuzz::expect_codes(workspace()->access_granted(op, "alice", &granted), {2034},
                         "access check");
  }
  delete m;
}

void notification() {
  Kes_md_notify *m = md<Kes_md_notify>();
  Kes_notifylist list;
  if (!fuzz::expect_codes(m->get_contents(&list), {MD_ERRORS, 2052, 2053, 2054, 2067},
                          "notification")) {
    fuzz::expect_codes(m->put_contents(&list), {}, "notification rewrite");
    Kes_notifylist again;
    fuzz::expect_codes(m->get_contents(&again), {}, "notification read back");
    fuzz::check(list.compare(&again), "notification reads back as it was written");
  }
  delete m;
  Kes_notifylist *events = nullptr;
  fuzz::expect_codes(workspace()->get_notifications("putback-to", &events),
                     {MD_ERRORS, 2052, 2053, 2054, 2067}, "notifications of an event");
  delete events;
}

void locks() {
  Kes_cmdlocklist *list = nullptr;
  if (!fuzz::expect_codes(workspace()->get_locks(&list), {MD_ERRORS}, "locks")) {
    char buf[4096];
    for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next) {
      Kes_cmdlock *l = static_cast<Kes_cmdlock *>(e->data);
      l->format_lock_line(buf);
      l->format_msg(buf);
    }
    fuzz::expect_codes(list->deny_lock(KES_WRITE_LOCK, workspace()), {2021}, "lock refusal");
  }
  delete list;
}

// The files whose lines are read as they stand.
template <class MD> void lines(const char *what) {
  MD *m = md<MD>();
  Kes_strlist list;
  fuzz::expect_codes(m->get_lines(&list), {MD_ERRORS}, what);
  delete m;
}

// Where the workspaces named in the file may lie is anybody's guess: naming
// one on a host that can't be reached (1039), or one that can't be told where
// it is mounted from (2049, 2050), is an error of the line, not of the file.
#define LINK_ERRORS 1039, 2049, 2050

void links() {
  Kes_workspace *parent = nullptr;
  fuzz::expect_codes(workspace()->get_parent(&parent), {MD_ERRORS, LINK_ERRORS}, "parent");
  delete parent;
  Kes_wslist *children = nullptr;
  fuzz::expect_codes(workspace()->get_children(&children), {MD_ERRORS, LINK_ERRORS},
                     "children");
  delete children;
}

void ombraparent() {
  Kes_md_ombraparent *m = md<Kes_md_ombraparent>();
  Kes_wslist list;
  fuzz::expect_codes(m->get_contents(&list), {MD_ERRORS, LINK_ERRORS}, "ombraparent");
  delete m;
}

void description() {
  Kes_strlist *text = nullptr;
  if (fuzz::expect_codes(workspace()->get_description(&text), {MD_ERRORS}, "description")) return;
  Kes_description d;
  if (!fuzz::expect_codes(d.init_description(text), {2070}, "description contents") &&
      (d.name || d.text)) {
    Kes_md_description *m = md<Kes_md_description>();
    Kes_strlist one;
    one.add_new_data(d.make_description_line());
    fuzz::expect_codes(m->put_contents(&one), {}, "description rewrite");
    delete m;
    Kes_strlist *again = nullptr;
    Kes_description back;
    fuzz::expect_codes(workspace()->get_description(&again), {}, "description read back");
    fuzz::expect_codes(back.init_description(again), {}, "description read back");
    delete again;
    auto same = [](const char *a, const char *b) { return a ? b && !strcmp(a, b) : !b; };
    fuzz::check(same(d.name, back.name) && same(d.text, back.text),
                "description reads back as it was written");
  }
  delete text;
}

// A settings file that the tool saves whole reads back as it was saved; even()
// smooths what saving may rightly change.
template <class V, class MD>
void settings(Kes_err *(Kes_workspace::*get)(V **), const char *what, void (*even)(V *)) {
  V *v = nullptr;
  if (!fuzz::expect_codes((workspace()->*get)(&v), {MD_ERRORS}, what)) {
    MD *m = md<MD>();
    fuzz::expect_codes(m->save(v), {}, "settings save");
    delete m;
    V *back = nullptr;
    fuzz::expect_codes((workspace()->*get)(&back), {}, "settings read back");
    even(v);
    even(back);
    fuzz::check(v->compare(back), "settings read back as they were saved");
    delete back;
  }
  delete v;
}

// A program that ends in a backslash is written with a blank behind it, lest
// the line be taken for a continued one; the shell ignores the blank.
void without_guard_blank(Kes_pbval *p) {
  size_t n = p->prog ? strlen(p->prog) : 0;
  if (n > 1 && p->prog[n - 1] == ' ' && p->prog[n - 2] == '\\') p->prog[n - 1] = '\0';
}

struct File {
  const char *name;
  void (*read)();
};

const File kFiles[] = {
    {"access_control", access_control},
    {"notification", notification},
    {"locks", locks},
    {"args", [] { lines<Kes_md_args>("args"); }},
    {"conflicts", [] { lines<Kes_md_conflicts>("conflicts"); }},
    {"backup/new", [] { lines<Kes_md_backupnew>("backup/new"); }},
    {"parent", links},
    {"children", links},
    {"ombraparent", ombraparent},
    {"description", description},
    {"putback_validation",
     [] { settings<Kes_pbval, Kes_md_pbval>(&Kes_workspace::get_pbval, "putback_validation",
                                            without_guard_blank); }},
    {"freezept_control",
     [] { settings<Kes_autofr, Kes_md_autofr>(&Kes_workspace::get_autofr, "freezept_control",
                                              [](Kes_autofr *) {}); }},
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::string in = fuzz::text(data, size);
  size_t nl = in.find('\n');
  if (nl == std::string::npos) return 0;
  std::string name = in.substr(0, nl);
  for (const File &f : kFiles)
    if (name == f.name) {
      std::string path = fuzz::put_md(name, in.substr(nl + 1));
      f.read();
      unlink(path.c_str());
      return 0;
    }
  return 0;
}
