// Hailway, the desktop message service: the hw_ library over the D-Bus session bus.
//
// A process opens the service once (hw_open) and is then known to every other
// process on the same session bus by its process id, a short text.  Processes
// exchange messages: an operation name, a list of typed arguments, and, for a
// request, an answer.
//
//   * A request (class HW_CLASS_REQUEST) is answered exactly once: the receiver
//     replies (hw_message_reply), which sends back the values of the out and
//     inout arguments, or refuses it (hw_message_reject).  The sender learns
//     the outcome through the callback attached with hw_message_callback_add.
//   * A notice (HW_CLASS_NOTICE) is one-way and has no answer.
//
// Addressing:
//   * HW_ADDRESS_HANDLER: to one process, named by its process id.
//   * HW_ADDRESS_PROCEDURE: the service picks the recipient among the processes
//     that registered for the operation with hw_op_register, the first one that
//     registered and is still there.  None registered: the message fails with
//     HW_ERR_NO_HANDLER; the service never starts a program for it.
//
// Errors.  Calls that return a status return HW_OK (0) or an error status.
// Calls that return a pointer return null on failure; hw_pointer_error on that
// value, asked before the next hw_ call, gives the reason (HW_OK when null is the
// legitimate answer).  Calls that return an int return a negative number on
// failure; hw_int_error gives the reason.  hw_status_message gives the text.
//
// The event loop.  hw_fd is one descriptor that is readable whenever
// hw_message_receive has work: a message has arrived, or an answer to one of
// this process's requests.  Watch it for readable input (XtAppAddInput, poll) and
// call hw_message_receive once per wake-up.  hw_message_receive runs the
// callbacks of the answers that came in, then hands out the next incoming
// message, if any; the descriptor stays readable while more are waiting.
//
// Finding the bus: the address in DBUS_SESSION_BUS_ADDRESS, and nothing else.
// Without it hw_open fails with HW_ERR_NO_SERVICE and the caller runs without the
// service.  One process has one connection; the library is not thread-safe.
//
// Ownership: the library owns the texts it returns (process id, session id,
// operation names, sender ids, string arguments); a message's texts live as long
// as the message.  The creator of a message owns it, and so does the receiver of
// a message handed out by hw_message_receive: each destroys it with
// hw_message_destroy.  A request may be destroyed right after it is sent: its
// answer is then dropped.  A callback may destroy its message.  A received
// request destroyed without an answer is refused, so its sender is never left
// waiting.  Defined in hw_connection.cc (connection, sessions, receiving) and
// hw_message.cc (messages, arguments, sending and answering).  docs/hailway.md
// describes how messages travel on the bus.
#ifndef BRINDLE_HAILWAY_HAILWAY_H
#define BRINDLE_HAILWAY_HAILWAY_H

enum Hw_status {
  HW_OK = 0,
  HW_ERR_NO_SERVICE = 1001,  // no bus address, or the bus can't be reached
  HW_ERR_NOT_OPEN = 1002,    // hw_open has not succeeded
  HW_ERR_LOST = 1003,        // the connection to the bus was lost
  HW_ERR_POINTER = 1010,     // null, destroyed or unknown message
  HW_ERR_VALUE = 1011,       // bad class, scope, address, mode, op name or process id
  HW_ERR_NUM = 1012,         // no argument with that number
  HW_ERR_TYPE = 1013,        // the argument has the other type
  HW_ERR_STATE = 1014,       // not in this state: sending twice, answering one's own message
  HW_ERR_NO_MESSAGE = 1020,  // nothing waiting to be received
  HW_ERR_SESSION = 1030,     // not a session of this bus
  HW_ERR_NO_HANDLER = 1053,  // no process handles the message
  HW_ERR_REJECTED = 1054,    // the recipient refused the message
  HW_ERR_NO_REPLY = 3022,    // the recipient left the bus before it answered
};

// The numbers are those the callers and the protocol texts use.
enum Hw_class { HW_CLASS_NOTICE = 1, HW_CLASS_REQUEST = 2 };
enum Hw_scope { HW_SCOPE_SESSION = 1 };
enum Hw_address { HW_ADDRESS_PROCEDURE = 0, HW_ADDRESS_HANDLER = 2 };
enum Hw_mode { HW_MODE_IN = 1, HW_MODE_OUT = 2, HW_MODE_INOUT = 3 };
enum Hw_type { HW_TYPE_STRING = 1, HW_TYPE_INT = 2 };

// A message's life, seen from the process that holds it.  A sent request is
// HW_STATE_SENT until its answer arrives; a received request is HW_STATE_SENT
// until this process answers it.
enum Hw_state {
  HW_STATE_CREATED = 0,
  HW_STATE_SENT = 1,
  HW_STATE_HANDLED = 2,  // replied; a sent notice stays HW_STATE_SENT
  HW_STATE_FAILED = 3,   // refused, or undeliverable: hw_message_status says why
};

typedef struct Hw_message_rec *Hw_message;

// Called from hw_message_receive when the answer to a request has come:
// the state is HW_STATE_HANDLED (out and inout arguments hold the recipient's
// values) or HW_STATE_FAILED.  Also called, with HW_ERR_LOST, for every request
// still waiting when the connection is lost.
typedef void (*Hw_callback)(Hw_message message);

// ---- Errors
Hw_status hw_pointer_error(const void *returned);
Hw_status hw_int_error(int returned);
const char *hw_status_message(Hw_status status);

// ---- Connection and sessions
// Connects to the session bus and returns this process's id (the decimal process
// number), which others use to address it.  Calling it again returns the same id.
char *hw_open();
// Disconnects: requests still waiting get no callback; messages held become
// unusable.  Safe to call when not open.
Hw_status hw_close();
// The descriptor to watch for readable input (see above); negative on failure.
int hw_fd();
// The id of the session this process is in: the bus's own id.
char *hw_default_session();
// Joins a session; the only session there is the default one.
Hw_status hw_session_join(const char *session);
// Registers this process to receive procedure-addressed messages of op.
// Operation names are letters, digits and underscores, not beginning with a digit.
Hw_status hw_op_register(const char *op);
// Watches another process: when it leaves the bus (it quit or died),
// hw_message_receive hands out a notice HW_OP_PROCESS_GONE with that process as
// its sender.  HW_ERR_NO_HANDLER when it isn't on the bus now.
#define HW_OP_PROCESS_GONE "Hailway_Process_Gone"
Hw_status hw_process_watch(const char *procid);

// ---- Messages
// handler is the recipient's process id for HW_ADDRESS_HANDLER, and ignored
// (may be null) for HW_ADDRESS_PROCEDURE.  The message is in the default session.
Hw_message hw_message_create(const char *op, Hw_class cls, Hw_scope scope, Hw_address address,
                             const char *handler);
Hw_status hw_message_destroy(Hw_message message);

// Arguments, numbered from 0 in the order added.  A string may be null.  An out
// argument's value is only a starting value: the recipient's reply sets it.
Hw_status hw_message_string_arg_add(Hw_message message, Hw_mode mode, const char *value);
Hw_status hw_message_int_arg_add(Hw_message message, Hw_mode mode, int value);
int hw_message_args_count(Hw_message message);
Hw_status hw_message_arg_type(Hw_message message, int n, Hw_type *type);
Hw_status hw_message_arg_mode(Hw_message message, int n, Hw_mode *mode);
// *value points into the message (null for a null string) until the argument is
// set again or the message destroyed.
Hw_status hw_message_arg_string(Hw_message message, int n, const char **value);
Hw_status hw_message_arg_int(Hw_message message, int n, int *value);
// For the recipient of a request: the values its reply carries back.  Only out
// and inout arguments travel back; setting an in argument is HW_ERR_VALUE.
Hw_status hw_message_arg_string_set(Hw_message message, int n, const char *value);
Hw_status hw_message_arg_int_set(Hw_message message, int n, int value);

// What a message is: its operation, who sent it (null on one this process
// created), its class, its state and, in HW_STATE_FAILED, the reason.
const char *hw_message_op(Hw_message message);
const char *hw_message_sender(Hw_message message);
Hw_class hw_message_class(Hw_message message);
Hw_state hw_message_state(Hw_message message);
Hw_status hw_message_status(Hw_message message);

// ---- Sending and answering
// Attaches the callback for the answer of a request; before sending.
Hw_status hw_message_callback_add(Hw_message message, Hw_callback callback);
// Sends a created message.  A notice to a handler that isn't on the bus fails here
// with HW_ERR_NO_HANDLER; a request learns of it through its callback.
Hw_status hw_message_send(Hw_message message);
// For a received request: replies with the current values of its out and inout
// arguments, or refuses it.  Refusing a notice does nothing and succeeds.
Hw_status hw_message_reply(Hw_message message);
Hw_status hw_message_reject(Hw_message message);
// Runs the callbacks of the answers that have come in, then returns the next
// incoming message, or null: HW_ERR_NO_MESSAGE when nothing else is waiting,
// HW_ERR_LOST when the bus has gone (the callbacks of waiting requests have then
// run with HW_ERR_LOST, and the descriptor is no longer watched for the bus).
Hw_message hw_message_receive();

#endif
