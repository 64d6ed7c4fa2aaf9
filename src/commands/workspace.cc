// workspace: creates, moves, deletes, reparents and lists workspaces, shows and
// removes their locks, prints their history logs and repairs their name tables.
#include <cstdlib>

#include "transaction/kes_ws_command.h"
#include "util/kes_init.h"

int main(int argc, char **argv) {
  if (kes_start_command(argc, argv)) return 0;
  Kes_ws_command command(argc, argv);
  exit(command.command());
}
