// run_mrs: the putback validation program, which a parent may require to
// approve every putback into it.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "transaction/kes_file.h"
#include "transaction/kes_transaction.h"
#include "util/kes_err.h"
#include "util/kes_host.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"
#include "workspace/kes_workspace.h"

// A bringover and an undo run no validation program.
Kes_err *Kes_transaction::execute_validation_program() { return nullptr; }

// The program is run as: program user parent child request file-of-names.
// With no integration request the argument is an empty word, so the file of
// names stays the fifth argument.
Kes_err *Kes_transaction::run_mrs(const char *program) {
  printf(BWM_MSG(13560, "\nRunning validation program \"%s\"\n"), program);
  char names[] = "/tmp/brindle_vpargs.XXXXXX";
  int fd = mkstemp(names);
  FILE *f = fd >= 0 ? fdopen(fd, "w") : nullptr;
  if (!f) {
    if (fd >= 0) {
      ::close(fd);
      unlink(names);
    }
    return (new Kes_err)->format_msg(
        1005, errno, "%s",
        BWM_MSG(13561, "Cannot create temp file for validation program arguments"));
  }
  for (Kes_listelem *e = action_files ? action_files->head.next : nullptr;
       e && e != &action_files->head; e = e->next) {
    Kes_file *file = (Kes_file *)e->data;
    if (file->flags.contents_action || file->flags.name_action) fprintf(f, "%s\n", file->to->name);
  }
  if (fclose(f) != 0) {
    unlink(names);
    return fprintf_close_err_message(names);
  }
  // shell_escape gives one static buffer: each result is copied at once.
  const char *user = kes_get_user(1, 0);
  std::string cmd = shell_escape(program);
  cmd += " " + std::string(shell_escape(user ? user : ""));
  cmd += " " + std::string(shell_escape(to_ws->get_absname()));
  cmd += " " + std::string(shell_escape(from_ws->get_absname()));
  cmd += " ";
  cmd += integration_request && integration_request[0] ? integration_request : "''";
  cmd += " " + std::string(names);
  Kes_err *err = kes_system_no_quoting(cmd.c_str());
  unlink(names);
  if (!err) return nullptr;
  delete err;
  return (new Kes_err)->format_msg(2023, 0, "%s", BWM_MSG(13562, "Integration Request failed"));
}
