// ws_undo: takes the last bringover or putback into a workspace back.
#include <cstdlib>

#include "transaction/kes_undo.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"

int main(int argc, char **argv) {
  umask_save();
  kes_init(argv);
  libbwm_init();
  libutil_init();
  if (kes_check_if_invoked_for_version(argc, argv, "6.02")) return 0;
  // The object stays alive to the end: the exit step releases its locks.
  static Kes_undo *undo;
  undo = new Kes_undo(argc, argv);
  undo->command();
  exit(undo->exit_status);
}
