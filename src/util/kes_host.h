// The user, the host and the time zone, and a formatter for strings.
#ifndef BRINDLE_UTIL_KES_HOST_H
#define BRINDLE_UTIL_KES_HOST_H

#include <string>

class Kes_err;

// The node name of this host, kept for the process; null if it is unknown.
const char *kes_hostname();

// The login name of the real user, kept for the process.  Without an entry in
// the password database: "Unknown" if unknown_ok, else null.  With whole the
// whole name, else at most its first 32 bytes.
const char *kes_get_user(int unknown_ok, int whole);
// The login name and home directory copied into each non-null buffer (1024
// bytes each); error 2007 without an entry for the user.
[[nodiscard]] Kes_err *kes_get_user(char *name, char *home);

// The name of the local time zone: the daylight name if the zone has daylight
// time, else the standard name.
const char *kes_get_timezone();

// fmt formatted with string arguments only, ended by a null, into a new
// malloc-ed buffer the caller frees.  Exits with status 1 when memory is out.
char *sprintf_with_malloc(const char *fmt, ...) __attribute__((sentinel));

// fmt formatted as printf does, into a new malloc-ed buffer the caller frees,
// or into a string.  Out of memory goes to the process's handler.
char *kes_format_alloc(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
std::string kes_format(const char *fmt, ...) __attribute__((format(printf, 1, 2)));

#endif
