// A private session bus for a test, and the receive loop the tests share.
#include "hailway/bus_helpers.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "hailway/hailway.h"

Private_bus::Private_bus() {
  char tmpl[] = "/tmp/brindle-bus.XXXXXX";
  dir = mkdtemp(tmpl);
  std::ofstream(dir + "/bus.conf")
      << "<busconfig><type>session</type><listen>unix:dir=" << dir << "</listen>"
      << "<auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\" "
         "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n";
  // The daemon, our own child, prints its address once it listens: the handshake.
  int p[2];
  if (pipe(p)) abort();
  pid = fork();
  if (pid == 0) {
    std::string conf = "--config-file=" + dir + "/bus.conf",
                fd = "--print-address=" + std::to_string(p[1]);
    if (!freopen((dir + "/daemon.log").c_str(), "w", stderr)) _exit(126);
    execlp("dbus-daemon", "dbus-daemon", conf.c_str(), "--nofork", "--nopidfile", fd.c_str(),
           static_cast<char *>(nullptr));
    _exit(127);
  }
  close(p[1]);
  FILE *out = fdopen(p[0], "r");
  char address[1024] = "";
  if (!fgets(address, sizeof address, out)) abort();
  fclose(out);
  address[strcspn(address, "\n")] = '\0';
  setenv("DBUS_SESSION_BUS_ADDRESS", address, 1);
}

void Private_bus::kill_daemon() {
  if (pid > 0) kill(pid, SIGTERM), waitpid(pid, nullptr, 0);
  pid = -1;
}

Private_bus::~Private_bus() {
  hw_close();
  kill_daemon();
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  if (system(("rm -rf " + dir).c_str())) fprintf(stderr, "could not remove %s\n", dir.c_str());
}

std::string hw_arg(Hw_message m, int n) {
  const char *v = "(error)";
  int i;
  if (hw_message_arg_int(m, n, &i) == HW_OK) return std::to_string(i);
  hw_message_arg_string(m, n, &v);
  return v ? v : "(null)";
}

bool hw_pump(const std::function<bool()> &done,
             const std::function<void(Hw_message_rec *)> &on_message) {
  while (!done()) {
    pollfd p{hw_fd(), POLLIN, 0};
    if (p.fd < 0 || poll(&p, 1, 60000) <= 0) return false;
    if (Hw_message m = hw_message_receive())
      on_message(m);
    else if (hw_pointer_error(m) == HW_ERR_LOST)
      return done();
  }
  return true;
}
