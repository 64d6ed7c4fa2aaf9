// The z-file lock of a history file, shared with the SCCS programs: a file
// "z.<name>" beside the history file holding the holder's process number as 4
// bytes in the machine's order, made by link() so that only one process wins.
#ifndef BRINDLE_SCCS_KES_ZLOCK_H
#define BRINDLE_SCCS_KES_ZLOCK_H

// Takes the lock: 0, or -1 after tries failed tries.  A holder that no longer
// lives loses its lock; a lock file of the wrong size is removed as damaged.
int lockit(const char *lockfile, int tries, unsigned pid);
// Gives the lock back: -1 unless the lock file holds pid.
int unlockit(const char *lockfile, int pid);
// True when the lock file holds this process number.
int mylock(const char *lockfile, unsigned pid);

// This process's number for the lock: asked of the kernel once, and again in
// a child made by fork.
unsigned kes_lock_pid();

// The waits of lockit go through this function, sleep() unless replaced.
extern unsigned (*kes_lock_sleep)(unsigned seconds);

// Reports a failed system call on file from function and ends the process:
// "ERROR [file]: message" on standard error, exit status 1.
[[noreturn]] void xmsg(const char *file, const char *function);
[[noreturn]] void fatal(const char *message);

#endif
