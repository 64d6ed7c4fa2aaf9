// The timers of a transaction, printed at its end in one fixed order when
// BRINDLE_TIMING is set.  Without it every timer is null and costs nothing.
#ifndef BRINDLE_TRANSACTION_KES_TRANS_TIMERS_H
#define BRINDLE_TRANSACTION_KES_TRANS_TIMERS_H

class Kes_timing;

// In print order.  The rename matching timers stand between "examine creates"
// and "readir dirs".
enum Kes_trans_timer_id {
  KES_TIMER_COMMAND,
  KES_TIMER_DETERMINE_FILES,
  KES_TIMER_CREATE_WS_FILES,
  KES_TIMER_EXAMINE_CREATES,
  KES_TIMER_RENAMES_FIRST,  // the eleven timers of rename matching
  KES_TIMER_RENAMES_LAST = KES_TIMER_RENAMES_FIRST + 10,
  KES_TIMER_READDIR,
  KES_TIMER_DETERMINE_STATES,
  KES_TIMER_SCCSMERGE_TEST,
  KES_TIMER_EXECUTE_ACTIONS,
  KES_TIMER_SCCSMERGE_UPDATE,
  KES_TIMER_COPY_FILES,
  KES_TIMER_SMART_COPY_FILES,
  KES_TIMER_SMARTS,
  KES_TIMER_SCCS_GETS,
  KES_TIMER_UTIMES,
  KES_TIMER_EXEC_COMMANDS,
  KES_TIMER_MALLOCS,
  KES_TIMER_FREE,
  KES_TIMER_COUNT
};

// 1 if BRINDLE_TIMING is set.
int kes_trans_timing_on();
// The timer of that slot, made on first use; null when timing is off.
Kes_timing *kes_trans_timer(int id);
// Prints every labelled timer in slot order, those never started too.
void kes_trans_timers_print();
// Deletes all timers.
void kes_trans_timers_delete();

#endif
