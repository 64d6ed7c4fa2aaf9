// freezept: records the state of a workspace's history files in a freezepoint
// file, lists a workspace's freezepoints, and extracts the files of one.
#include <cstdlib>

#include "transaction/kes_freezept.h"
#include "util/kes_init.h"

int main(int argc, char **argv) {
  if (kes_start_command(argc, argv)) return 0;
  Kes_freezept command(argc, argv);
  exit(command.command());
}
