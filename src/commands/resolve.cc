// resolve: settles the conflicts that a bringover left in a workspace.
#include <csignal>
#include <cstdlib>

#include "transaction/kes_resolve_command.h"
#include "util/kes_init.h"

namespace {
Kes_resolve_command *running;

void on_signal(int sig) {
  signal(sig, SIG_IGN);
  if (running) running->clean_up(sig);
  exit(1);
}
}  // namespace

int main(int argc, char **argv) {
  if (kes_start_command(argc, argv)) return 0;
  static Kes_resolve_command command(argc, argv);
  running = &command;
  for (int sig : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM}) signal(sig, on_signal);
  int status = command.command();
  running = nullptr;
  exit(status);
}
