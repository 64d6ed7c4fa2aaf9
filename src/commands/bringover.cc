// bringover: brings the changes of a parent workspace over into a child.
#include <cstdlib>

#include "transaction/kes_bringover.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"

int main(int argc, char **argv) {
  umask_save();
  kes_init(argv);
  libbwm_init();
  libutil_init();
  if (kes_check_if_invoked_for_version(argc, argv, "6.02")) return 0;
  // The object stays alive to the end: the exit step releases its locks.
  static Kes_bringover *bringover;
  bringover = new Kes_bringover(argc, argv);
  bringover->command();
  exit(bringover->exit_status);
}
