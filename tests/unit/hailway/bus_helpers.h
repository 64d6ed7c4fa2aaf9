// Pieces shared by the tests that talk over Hailway: a private session bus per
// test, and waiting on the library's descriptor for what a test expects.
#ifndef BRINDLE_TESTS_UNIT_HAILWAY_BUS_HELPERS_H
#define BRINDLE_TESTS_UNIT_HAILWAY_BUS_HELPERS_H

#include <sys/types.h>

#include <functional>
#include <string>

// A dbus-daemon of the test's own, with its own configuration and socket
// directory, never the machine's bus.  DBUS_SESSION_BUS_ADDRESS names it while the
// object lives; the destructor closes this process's connection and kills it.
struct Private_bus {
  Private_bus();
  ~Private_bus();
  void kill_daemon();
  std::string dir;
  pid_t pid = -1;
};

// An argument as text: a string's value, "(null)", or an integer in decimal.
std::string hw_arg(struct Hw_message_rec *m, int n);

// Watches hw_fd and calls hw_message_receive until done() holds; each message
// received goes to on_message, which owns it.  False when the bus stays silent
// for a minute: the far side has hung, and the test fails instead of hanging.
bool hw_pump(const std::function<bool()> &done,
             const std::function<void(struct Hw_message_rec *)> &on_message);

#endif
