// ws_undo: takes the last bringover or putback into a workspace back.
#include "transaction/kes_undo.h"
#include "util/kes_init.h"

int main(int argc, char **argv) {
  if (kes_start_command(argc, argv)) return 0;
  kes_run_transaction<Kes_undo>(argc, argv);
}
