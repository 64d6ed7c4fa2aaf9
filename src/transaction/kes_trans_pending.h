// What the transactions do not do yet, in one place (kes_trans_pending.cc).
#ifndef BRINDLE_TRANSACTION_KES_TRANS_PENDING_H
#define BRINDLE_TRANSACTION_KES_TRANS_PENDING_H

class Kes_file;
class Kes_transaction;

// Ends the program (status 10) with "<operation>() called, exiting": the work
// of an operation whose building is still to come, which no run reaches.
[[noreturn]] void kes_not_built(const char *operation);
// The delta comments that -d adds under a status line; none yet.
void kes_pending_delta_comments(Kes_transaction *t, Kes_file *file);

#endif
