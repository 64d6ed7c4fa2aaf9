// resolve: settles the conflicts that a bringover left in a workspace.
#include <csignal>
#include <cstdlib>

#include "transaction/kes_resolve_command.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"

namespace {
Kes_resolve_command *running;

void on_signal(int sig) {
  signal(sig, SIG_IGN);
  if (running) running->clean_up(sig);
  exit(1);
}
}  // namespace

int main(int argc, char **argv) {
  umask_save();
  kes_init(argv);
  libbwm_init();
  libutil_init();
  if (kes_check_if_invoked_for_version(argc, argv, "6.02")) return 0;
  static Kes_resolve_command command(argc, argv);
  running = &command;
  for (int sig : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM}) signal(sig, on_signal);
  int status = command.command();
  running = nullptr;
  exit(status);
}
