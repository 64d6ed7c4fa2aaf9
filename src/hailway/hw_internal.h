// The Hailway library's own state: the one connection, the message records and
// how both sides name things on the bus.  Not for callers: they use hailway.h.
#ifndef BRINDLE_HAILWAY_HW_INTERNAL_H
#define BRINDLE_HAILWAY_HW_INTERNAL_H

#include <dbus/dbus.h>
#include <sys/types.h>

#include <deque>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "hailway/hailway.h"

// Names on the bus; docs/hailway.md explains the mapping.
#define HW_OBJECT_PATH "/org/brindle/Hailway"
#define HW_INTERFACE "org.brindle.Hailway"
#define HW_PROCESS_PREFIX "org.brindle.Hailway.P"  // + process id
#define HW_OP_PREFIX "org.brindle.Hailway.Op."     // + operation
#define HW_ERROR_REJECTED "org.brindle.Hailway.Error.Rejected"

struct Hw_arg {
  Hw_type type;
  Hw_mode mode;
  int ival;
  std::optional<std::string> sval;  // empty for a null string
};

struct Hw_message_rec {
  std::string op;
  Hw_class cls;
  Hw_scope scope;
  Hw_address address;
  std::string handler;
  std::string sender;  // a received message's sender
  bool received;
  std::vector<Hw_arg> args;
  Hw_state state;
  Hw_status status;
  Hw_callback callback;
  dbus_uint32_t serial;  // of a sent request, to match its answer
  DBusMessage *call;     // of a received request, to answer it
};

// The one connection of this process.
struct Hw_link {
  DBusConnection *conn = nullptr;
  pid_t owner = 0;  // the process that opened it
  std::string procid, session;
  int sock = -1, epfd = -1, evfd = -1;
  bool lost = false;
  bool event_raised = false;
  std::deque<DBusMessage *> inbox;                        // taken from libdbus, not yet handled
  std::unordered_map<dbus_uint32_t, Hw_message> waiting;  // sent requests by serial
  std::unordered_set<Hw_message> live;                    // every message not destroyed
};

Hw_link &hw_link();
// HW_OK while the connection is open and the bus is there.
Hw_status hw_usable();
// Records the status that hw_pointer_error reports for a null result.
void hw_set_last(Hw_status status);
// Moves what libdbus has read into the inbox and keeps the event descriptor
// readable while the inbox holds anything.
void hw_pull();
bool hw_valid_name(const char *name);

// Message records: argument coding, and handling what comes in.
bool hw_append_args(DBusMessageIter *it, const std::vector<Hw_arg> &args);
bool hw_read_args(DBusMessageIter *it, std::vector<Hw_arg> *args);
// An answer to a sent request: updates it and runs its callback.
void hw_complete(DBusMessage *answer);
// Every request still waiting fails with status.
void hw_fail_waiting(Hw_status status);
// An incoming call made into a message record, or null when it is not ours or
// malformed (then answered here).
Hw_message hw_accept_call(DBusMessage *call);
// A watched process has left the bus: a notice record from it, or null for any
// other signal.
Hw_message hw_accept_departure(DBusMessage *signal);
void hw_send_now(DBusMessage *msg, dbus_uint32_t *serial);

#endif
