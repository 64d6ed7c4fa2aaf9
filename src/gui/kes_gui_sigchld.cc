// The shared SIGCHLD handler and its hooks.
#include "gui/kes_gui_sigchld.h"

#include <signal.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

constexpr int kMaxHooks = 4;
Gui_sigchld_hook volatile hooks[kMaxHooks];
volatile sig_atomic_t hook_count;
struct sigaction previous_handler;

void sigchld_handler(int sig) {
  int saved = errno;
  for (int i = 0; i < hook_count; i++) hooks[i]();
  if (previous_handler.sa_handler != SIG_DFL && previous_handler.sa_handler != SIG_IGN &&
      previous_handler.sa_handler)
    previous_handler.sa_handler(sig);
  errno = saved;
}

}  // namespace

void gui_on_sigchld(Gui_sigchld_hook hook) {
  for (int i = 0; i < hook_count; i++)
    if (hooks[i] == hook) return;
  if (hook_count == kMaxHooks) {
    fprintf(stderr, "brindletool: too many SIGCHLD hooks\n");
    return;
  }
  // The hook is in place before the count lets the handler see it.
  hooks[hook_count] = hook;
  hook_count = hook_count + 1;
  if (hook_count > 1) return;
  struct sigaction sa;
  memset(&sa, 0, sizeof sa);
  sa.sa_handler = sigchld_handler;
  sa.sa_flags = SA_RESTART;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGCHLD, &sa, &previous_handler);
}
