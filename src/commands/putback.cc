// putback: puts the changes of a child workspace back into its parent.
#include "transaction/kes_putback.h"
#include "util/kes_init.h"

int main(int argc, char **argv) {
  if (kes_start_command(argc, argv)) return 0;
  kes_run_transaction<Kes_putback>(argc, argv);
}
