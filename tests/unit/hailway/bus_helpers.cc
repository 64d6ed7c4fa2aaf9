// A private session bus for a test, and the receive loop the tests share.
#include "hailway/bus_helpers.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "hailway/hailway.h"

Private_bus::Private_bus() {
  char tmpl[] = "/tmp/brindle-bus.XXXXXX";
  if (!mkdtemp(tmpl)) abort();
  dir = tmpl;
  std::string config = dir + "/bus.conf";
  std::ofstream(config) << "<busconfig>\n"
                           "  <type>session</type>\n"
                           "  <listen>unix:dir=" << dir << "</listen>\n"
                           "  <auth>EXTERNAL</auth>\n"
                           "  <policy context=\"default\">\n"
                           "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
                           "    <allow eavesdrop=\"true\"/>\n"
                           "    <allow own=\"*\"/>\n"
                           "  </policy>\n"
                           "</busconfig>\n";
  int p[2];
  if (pipe(p)) abort();
  pid = fork();
  if (pid == 0) {
    close(p[0]);
    // Its complaints (it can't raise the descriptor limit) go to a log, not the test's output.
    int log = open((dir + "/daemon.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (log >= 0) dup2(log, 2);
    std::string conf = "--config-file=" + config, fd = "--print-address=" + std::to_string(p[1]);
    execlp("dbus-daemon", "dbus-daemon", conf.c_str(), "--nofork", "--nopidfile", fd.c_str(),
           static_cast<char *>(nullptr));
    _exit(127);
  }
  close(p[1]);
  // The daemon prints its address once it listens: that line is the handshake.
  char buf[1024];
  ssize_t n, got = 0;
  while (got < static_cast<ssize_t>(sizeof buf) - 1 && (n = read(p[0], buf + got, sizeof buf - 1 - got)) > 0) {
    got += n;
    if (buf[got - 1] == '\n') break;
  }
  close(p[0]);
  buf[got] = '\0';
  address.assign(buf, got > 0 && buf[got - 1] == '\n' ? got - 1 : got);
  if (const char *old = getenv("DBUS_SESSION_BUS_ADDRESS")) {
    had_address = true;
    saved_address = old;
  }
  setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
}

void Private_bus::kill_daemon() {
  if (pid <= 0) return;
  kill(pid, SIGTERM);
  waitpid(pid, nullptr, 0);
  pid = -1;
}

Private_bus::~Private_bus() {
  hw_close();
  kill_daemon();
  std::string rm = "rm -rf '" + dir + "'";
  if (system(rm.c_str())) fprintf(stderr, "could not remove %s\n", dir.c_str());
  if (had_address)
    setenv("DBUS_SESSION_BUS_ADDRESS", saved_address.c_str(), 1);
  else
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

bool hw_pump(const std::function<bool()> &done,
             const std::function<void(Hw_message_rec *)> &on_message) {
  while (!done()) {
    pollfd p{hw_fd(), POLLIN, 0};
    if (p.fd < 0 || poll(&p, 1, 60000) <= 0) return false;
    if (Hw_message m = hw_message_receive()) on_message(m);
    else if (hw_pointer_error(m) == HW_ERR_LOST) return done();
  }
  return true;
}
