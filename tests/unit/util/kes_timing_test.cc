// Interval timers and the heartbeat.
#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sys/time.h>
#include <string>

#include "util/kes_timing.h"

using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

namespace {
void sleep_ms(long ms) {
  struct timespec ts = {ms / 1000, (ms % 1000) * 1000000};
  while (nanosleep(&ts, &ts) < 0) {
  }
}

struct State {
  int flags, count, sec, usec;
};
State state(const Kes_timing &t) { return {t.flags, t.count, t.total_sec, t.total_usec}; }
bool same(const State &a, const State &b) {
  return a.flags == b.flags && a.count == b.count && a.sec == b.sec && a.usec == b.usec;
}
}  // namespace

long usec_since(const timeval &t0) {
  timeval now, d;
  gettimeofday(&now, nullptr);
  timersub(&now, &t0, &d);
  return d.tv_sec * 1000000L + d.tv_usec;
}

// The counted time lies between the sleeps it holds and the wall time of the
// running stretches measured around them; the suspended 200 ms fall outside,
// however slowly a loaded machine runs.  Null timers, as a run without
// BRINDLE_TIMING has them, are the timing story's.
TEST(Timing, MeasuresRunningTimeOnly) {
  Kes_timing t("    To copy files:");
  timeval t0;
  gettimeofday(&t0, nullptr);
  Kes_timing::start(&t);
  sleep_ms(20);
  Kes_timing::suspend(&t);
  long running = usec_since(t0);
  sleep_ms(200);  // not counted
  gettimeofday(&t0, nullptr);
  Kes_timing::cont(&t);
  sleep_ms(20);
  Kes_timing::stop(&t);
  running += usec_since(t0);
  EXPECT_EQ(t.flags, 0);
  EXPECT_EQ(t.count, 1);
  long usec = t.total_sec * 1000000L + t.total_usec;
  EXPECT_GE(usec, 40000);
  EXPECT_LE(usec, running);
  EXPECT_LT(t.total_usec, 1000000);
}

TEST(Timing, WrongSequencesWarnAndChangeNothing) {
  Kes_timing t("lbl");
  auto expect_warning = [&t](void (*op)(Kes_timing *), const std::string &text) {
    State before = state(t);
    CaptureStderr();
    op(&t);
    EXPECT_EQ(GetCapturedStderr(), "Warning: " + text + " timer: lbl\n");
    EXPECT_TRUE(same(before, state(t))) << text;
  };
  // One wrong step in each state: stopped, running, suspended.
  expect_warning(Kes_timing::suspend, "suspending a non-running");
  Kes_timing::start(&t);
  expect_warning(Kes_timing::print, "printing a running");
  Kes_timing::suspend(&t);
  ASSERT_EQ(t.flags, Kes_timing::SUSPENDED);
  expect_warning(Kes_timing::stop, "stopping a suspended");
  EXPECT_EQ(t.count, 0);
}

TEST(Timing, PrintedPadded) {
  setenv("BRINDLE_TIMING", "", 1);
  Kes_timing *made = kes_timing_create("  To execute actions:");
  unsetenv("BRINDLE_TIMING");
  ASSERT_NE(made, nullptr);
  Kes_timing &t = *made;
  Kes_timing::add_to_total(&t, timeval{1, 700000});
  Kes_timing::add_to_total(&t, timeval{1, 300005});
  EXPECT_EQ(t.total_sec, 3);
  EXPECT_EQ(t.total_usec, 5);
  t.count = 12;
  CaptureStdout();
  Kes_timing::print(&t);
  // The label is padded to 40 columns.
  EXPECT_EQ(GetCapturedStdout(), "  To execute actions:" + std::string(40 - 21, ' ') +
                                     "    3 sec 000005 usec, count =    12\n");
  delete made;
}

namespace {
// The alarm set by kes_heartbeat_enable, in seconds; 0 for none.  Cancels it.
unsigned pending_alarm() { return alarm(0); }

void (*alarm_handler())(int) {
  struct sigaction sa;
  sigaction(SIGALRM, nullptr, &sa);
  return sa.sa_handler;
}
}  // namespace

TEST(Heartbeat, EnvironmentChoosesTheInterval) {
  struct {
    const char *value;  // of KES_TEST_BEAT; null for unset
    const char *var;    // the name passed; null for none
    unsigned deflt, alarm;
  } cases[] = {
      {nullptr, "KES_TEST_BEAT", 7, 7},
      {"3", "KES_TEST_BEAT", 7, 3},
      {"-5", "KES_TEST_BEAT", 7, 7},  // negative: the caller's default
      {"3", nullptr, 4, 4},           // without a name only the default counts
      {"0", "KES_TEST_BEAT", 60, 0},  // zero turns it off
  };
  for (const auto &c : cases) {
    signal(SIGALRM, SIG_DFL);
    if (c.value) setenv("KES_TEST_BEAT", c.value, 1); else unsetenv("KES_TEST_BEAT");
    kes_heartbeat_enable(static_cast<int>(c.deflt), c.var, "%f\n");
    EXPECT_EQ(pending_alarm(), c.alarm) << (c.value ? c.value : "unset");
    // A handler only when it beats.
    EXPECT_EQ(alarm_handler() == SIG_DFL, c.alarm == 0) << (c.value ? c.value : "unset");
    kes_heartbeat_disable();
    EXPECT_EQ(alarm_handler(), SIG_IGN);
  }
  unsetenv("KES_TEST_BEAT");
}

// Each pause() returns after one beat's handler has run: two beats, whatever
// the machine's load.
TEST(Heartbeat, PrintsElapsedMinutes) {
  setenv("KES_TEST_BEAT", "1", 1);
  CaptureStdout();
  kes_heartbeat_enable(60, "KES_TEST_BEAT", "alive %.4f minutes\n");
  pause();
  pause();
  kes_heartbeat_disable();
  fflush(stdout);
  std::string out = GetCapturedStdout();
  unsetenv("KES_TEST_BEAT");
  EXPECT_EQ(out, "alive 0.0167 minutes\nalive 0.0333 minutes\n");
  EXPECT_EQ(pending_alarm(), 0u);
}
