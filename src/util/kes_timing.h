// Interval timers for instrumentation, and the heartbeat that shows a long
// silent scan is still alive.
#ifndef BRINDLE_UTIL_KES_TIMING_H
#define BRINDLE_UTIL_KES_TIMING_H

#include <sys/time.h>

// Timers exist only when BRINDLE_TIMING is set; everywhere else the timer
// pointer is null.  So every operation takes the timer as an argument and does
// nothing for null: callers never test.  A call out of sequence prints a
// warning on standard error and changes nothing.
class Kes_timing {
public:
  enum { RUNNING = 1, SUSPENDED = 2 };

  struct timeval start_time;
  int total_sec;
  int total_usec;
  int flags;
  int count;
  const char *label;  // not owned

  explicit Kes_timing(const char *label);

  static void start(Kes_timing *t);
  static void suspend(Kes_timing *t);
  static void cont(Kes_timing *t);
  static void stop(Kes_timing *t);  // counts one more interval
  // Adds an interval measured elsewhere to the total.
  static void add_to_total(Kes_timing *t, const struct timeval &interval);
  // "label  N sec NNNNNN usec, count = N" on standard output.
  static void print(Kes_timing *t);
};

// A new timer if the environment asks for timing (BRINDLE_TIMING), else null.
Kes_timing *kes_timing_create(const char *label);

// Timer around every kes_copy_file; null unless the caller installs one.
extern Kes_timing *kes_time_copy_file;

// Every `seconds` (or as the environment variable env_name says: 0 turns the
// heartbeat off, a negative value means `seconds`) prints format with the
// minutes elapsed, a double, on standard output.
void kes_heartbeat_enable(int seconds, const char *env_name, const char *format);
void kes_heartbeat_disable();

#endif
