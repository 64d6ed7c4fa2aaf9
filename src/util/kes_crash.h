// Crash points: the places where a command is about to change a file, so
// that a test can end the process at each of them as kill -9 would, and then
// check that nothing was lost.
//
// With BRINDLE_KILL_AT=N in the environment, the Nth call of kes_crash_point
// in the process sends SIGKILL to the process itself.  Without it a call
// costs one test of a static.  A test sweeps N from 1 until a run ends by
// itself: every point of the run has then been a crash.
#ifndef BRINDLE_UTIL_KES_CRASH_H
#define BRINDLE_UTIL_KES_CRASH_H

void kes_crash_point();

#endif
