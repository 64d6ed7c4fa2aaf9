// workspace: creates, moves, deletes, reparents and lists workspaces, shows and
// removes their locks, prints their history logs and repairs their name tables.
#include <cstdlib>

#include "transaction/kes_ws_command.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"

int main(int argc, char **argv) {
  umask_save();
  kes_init(argv);
  libbwm_init();
  libutil_init();
  if (kes_check_if_invoked_for_version(argc, argv, "6.02")) return 0;
  Kes_ws_command command(argc, argv);
  exit(command.command());
}
