// bringover: brings the changes of a parent workspace over into a child.
#include "transaction/kes_bringover.h"
#include "util/kes_init.h"

int main(int argc, char **argv) {
  if (kes_start_command(argc, argv)) return 0;
  kes_run_transaction<Kes_bringover>(argc, argv);
}
