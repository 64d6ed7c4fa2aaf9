// Automatic freezepoints: a freezepoint file under Brindle_wsdata/Freezepoints
// made by the freezept command, named by the date and time it was taken.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <sys/stat.h>

#include "sccs/sccs_cmd.h"
#include "transaction/kes_transaction.h"
#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_list.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"
#include "workspace/kes_md_freezept_control.h"
#include "workspace/kes_workspace.h"

Kes_err *Kes_transaction::autofreezepoint_if(int Kes_autofr::*when) {
  Kes_autofr *autofr = nullptr;
  Kes_err *err = to_ws->get_autofr(&autofr);
  int wanted = !err && autofr && autofr->*when;
  delete autofr;
  return wanted ? autofreezepoint() : err;
}

Kes_err *Kes_transaction::autofreezepoint() {
  char prog[1024];
  Kes_err *err = kes_find_cmd_in_path("freezept", prog);
  if (err) {
    err->print();
    return err;
  }

  std::string joined;
  for (Kes_listelem *e = comment->head.next; e != &comment->head; e = e->next) {
    if (!joined.empty()) joined += '\n';
    joined += (const char *)e->data;
  }
  char *escaped_comment = escape_comment(joined.c_str());

  // A name taken in the same second as an earlier freezepoint waits for the
  // next second, at most five times.
  std::string file;
  for (int attempt = 0; attempt < 5; attempt++) {
    time_t now = time(nullptr);
    struct tm tm_now;
    localtime_r(&now, &tm_now);
    char day[32], clock[32];
    strftime(day, sizeof day, "%Y/%m/%d/", &tm_now);
    strftime(clock, sizeof clock, "%H%M%S", &tm_now);
    std::string dir = std::string(to_ws->get_absname()) + "/" + KES_METADATA_DIR + "/" +
                      "Freezepoints" + "/" + day;
    if ((err = kes_create_dirs(dir.c_str()))) {
      free(escaped_comment);
      err->print();
      return err;
    }
    file = dir + clock + ".fp";
    struct stat st;
    if (stat(file.c_str(), &st) != 0) break;
    sleep(1);
  }

  std::string cmd = kes_shell_word(prog) + " create";
  cmd += " -w " + kes_shell_word(to_ws->get_absname());
  cmd += " -k " + kes_shell_word(file.c_str());
  cmd += " -c '" + std::string(escaped_comment) + "' -z .";
  free(escaped_comment);
  ::printf("%s\n", cmd.c_str());
  fflush(stdout);
  err = kes_system_no_quoting(cmd.c_str());
  if (err) err->print();
  return err;
}
