// freezept: records the state of a workspace's history files in a freezepoint
// file, lists a workspace's freezepoints, and extracts the files of one.
#include <cstdlib>

#include "transaction/kes_freezept.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"

int main(int argc, char **argv) {
  umask_save();
  kes_init(argv);
  libbwm_init();
  libutil_init();
  if (kes_check_if_invoked_for_version(argc, argv, "6.02")) return 0;
  Kes_freezept command(argc, argv);
  exit(command.command());
}
