// Fuzz target: the history log, as the workspace command and the tool's history
// viewer read it.  Input: the log file.
//
// The reader must give the framework's errors or records; a record always has
// at least one field, and printing the log goes through.
#include <string>

#include "fuzz_support.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "workspace/fuzz_workspace.h"
#include "workspace/kes_history.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::put_md("history", fuzz::text(data, size));
  Kes_md_history *log = fuzz::md<Kes_md_history>();
  Kes_historylist list;
  if (!fuzz::expect_codes(log->get_contents(&list), {MD_ERRORS}, "history log")) {
    for (Kes_listelem *e = list.head.next; e != &list.head; e = e->next) {
      Kes_history *h = static_cast<Kes_history *>(e->data);
      bool any = false;
      for (char *f : {h->command_text, h->comment, h->cwd, h->release, h->host, h->user,
                      h->parent_name, h->child_name, h->start_local, h->end_local, h->status,
                      h->rti, h->freezepoint_file})
        any = any || f;
      fuzz::check(any, "a record has a field");
      Kes_history *c = h->copy();
      fuzz::check(c->compare(h) == 0, "a copied record compares equal");
      delete c;
    }
    fuzz::expect_codes(log->print(), {}, "history print");
  }
  delete log;
  return 0;
}
