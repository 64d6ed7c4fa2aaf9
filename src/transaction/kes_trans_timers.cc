// The transaction's timers, made when BRINDLE_TIMING is set, and their printing.
#include "transaction/kes_trans_timers.h"

#include <cstdlib>

#include "util/kes_timing.h"

namespace {

// The labels are instrumentation, printed as they stand and never translated.
const char *const labels[KES_TIMER_COUNT] = {
    "To do the command:",
    "  To determine files:",
    "    To create ws_files:",
    "    To examine creates:",
    "      To build hash:",
    "        To read src nt:",
    "        To read dst nt:",
    "      To match files:",
    "        To verify smids:",
    "          To get smids:",
    "      To edit nt's:",
    "      To execute actions:",
    "        To add kes_files:",
    "        To write src nt:",
    "        To write dst nt:",
    "    To readir dirs:",
    "    To deter. states:",
    "    To sccsmerge test:",
    "  To execute actions:",
    "    To sccsmerge update:",
    "    To copy files:",
    "    To smart copy files:",
    "    To do smarts():",
    "    To do SCCS gets:",
    "    To do utimes before gets:",
    "    To exec commands:",
    "To do mallocs",
    "To do free",
};

Kes_timing *timers[KES_TIMER_COUNT];

}  // namespace

int kes_trans_timing_on() { return getenv("BRINDLE_TIMING") != nullptr; }

Kes_timing *kes_trans_timer(int id) {
  if (id < 0 || id >= KES_TIMER_COUNT || !kes_trans_timing_on() || !labels[id]) return nullptr;
  if (!timers[id]) timers[id] = new Kes_timing(labels[id]);
  return timers[id];
}

void kes_trans_timers_print() {
  for (int i = 0; i < KES_TIMER_COUNT; i++) Kes_timing::print(kes_trans_timer(i));
}

void kes_trans_timers_delete() {
  for (int i = 0; i < KES_TIMER_COUNT; i++) {
    delete timers[i];
    timers[i] = nullptr;
  }
}
