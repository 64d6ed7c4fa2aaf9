// Interval timers and the heartbeat.
#include "util/kes_timing.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/kes_init.h"
#include "util/kes_msg.h"

Kes_timing *kes_time_copy_file = nullptr;

namespace {
void warn(const char *fmt, const Kes_timing *t) {
  fprintf(stderr, fmt, t->label ? t->label : "");
}

// Adds the time since start_time to the total.
void add_elapsed(Kes_timing *t) {
  struct timeval now;
  gettimeofday(&now, nullptr);
  struct timeval d;
  timersub(&now, &t->start_time, &d);
  Kes_timing::add_to_total(t, d);
}
}  // namespace

Kes_timing::Kes_timing(const char *label_)
    : start_time{0, 0}, total_sec(0), total_usec(0), flags(0), count(0), label(label_) {}

Kes_timing *kes_timing_create(const char *label) {
  return getenv("BRINDLE_TIMING") ? new Kes_timing(label) : nullptr;
}

void Kes_timing::start(Kes_timing *t) {
  if (!t) return;
  if (t->flags & RUNNING) {
    warn(UTIL_MSG(350, "Warning: starting a running timer: %s\n"), t);
  } else if (t->flags & SUSPENDED) {
    warn(UTIL_MSG(351, "Warning: starting a suspended timer: %s\n"), t);
  } else {
    gettimeofday(&t->start_time, nullptr);
    t->flags = RUNNING;
  }
}

void Kes_timing::suspend(Kes_timing *t) {
  if (!t) return;
  if (t->flags & SUSPENDED) {
    warn(UTIL_MSG(352, "Warning: suspending a suspended timer: %s\n"), t);
  } else if (!(t->flags & RUNNING)) {
    warn(UTIL_MSG(353, "Warning: suspending a non-running timer: %s\n"), t);
  } else {
    add_elapsed(t);
    t->flags = SUSPENDED;
  }
}

void Kes_timing::cont(Kes_timing *t) {
  if (!t) return;
  if (t->flags & RUNNING) {
    warn(UTIL_MSG(354, "Warning: continuing a running timer: %s\n"), t);
  } else if (!(t->flags & SUSPENDED)) {
    warn(UTIL_MSG(355, "Warning: continuing a non-suspended timer: %s\n"), t);
  } else {
    gettimeofday(&t->start_time, nullptr);
    t->flags = RUNNING;
  }
}

void Kes_timing::stop(Kes_timing *t) {
  if (!t) return;
  if (t->flags & SUSPENDED) {
    warn(UTIL_MSG(356, "Warning: stopping a suspended timer: %s\n"), t);
  } else if (!(t->flags & RUNNING)) {
    warn(UTIL_MSG(357, "Warning: stopping a stopped timer: %s\n"), t);
  } else {
    add_elapsed(t);
    t->flags = 0;
    t->count++;
  }
}

void Kes_timing::add_to_total(Kes_timing *t, const struct timeval &interval) {
  if (!t) return;
  long usec = static_cast<long>(t->total_usec) + interval.tv_usec;
  long sec = static_cast<long>(t->total_sec) + interval.tv_sec + usec / 1000000;
  t->total_sec = static_cast<int>(sec);
  t->total_usec = static_cast<int>(usec % 1000000);
}

void Kes_timing::print(Kes_timing *t) {
  if (!t) return;
  if (t->flags & RUNNING) {
    warn(UTIL_MSG(358, "Warning: printing a running timer: %s\n"), t);
    return;
  }
  printf(UTIL_MSG(359, "%-40s %4d sec %06d usec, count = %5d\n"), t->label ? t->label : "",
         t->total_sec, t->total_usec, t->count);
}

// The heartbeat.  Its state is read by the signal handler.
namespace {
volatile int heartbeat_interval = -1;
volatile int heartbeat_elapsed = 0;
char *volatile heartbeat_format = nullptr;

void heartbeat_handler(int) {
  heartbeat_elapsed = heartbeat_elapsed + heartbeat_interval;
  if (heartbeat_format) printf(heartbeat_format, heartbeat_elapsed / 60.0);
  alarm(static_cast<unsigned>(heartbeat_interval));
}
}  // namespace

void kes_heartbeat_enable(int seconds, const char *env_name, const char *format) {
  heartbeat_elapsed = 0;
  int interval = -1;
  const char *value = env_name ? getenv(env_name) : nullptr;
  if (value) interval = atoi(value);
  if (interval < 0) interval = seconds;
  heartbeat_interval = interval;
  free(heartbeat_format);
  heartbeat_format = format ? strdup(format) : nullptr;
  if (format && !heartbeat_format) kes_new_handler();
  if (interval > 0) {
    struct sigaction sa;
    memset(&sa, 0, sizeof sa);
    sa.sa_handler = heartbeat_handler;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;  // reads and writes carry on after a beat
    sigaction(SIGALRM, &sa, nullptr);
    alarm(static_cast<unsigned>(interval));
  }
}

void kes_heartbeat_disable() {
  alarm(0);
  signal(SIGALRM, SIG_IGN);
  char *format = heartbeat_format;
  heartbeat_format = nullptr;
  free(format);
}
