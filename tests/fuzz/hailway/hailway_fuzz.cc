// Fuzz target: the decoding of Hailway messages that arrive from the bus.
// Input: one byte that shapes the request an answer is matched to, then a
// D-Bus message in its wire form, as another process may send any.
//
// A call is made into a message record or refused; a record's arguments, coded
// again and read back, are what they were, and a string holds no zero byte.  A
// departure signal is made into its notice or ignored.  An answer needs the bus,
// so every call is taken as a notice: the decoding is the same for both classes.
//
// A reply or an error answers a request of ours waiting under its reply serial.
// The request's arguments have the shape the reply's own decode to, or, as the
// leading byte says, one more, one fewer, or the first with another mode.  A
// reply that fits that shape hands the request its out and inout values and
// leaves the in ones; one that doesn't, and an error, fail the request and
// leave its arguments as they were.
#include <dbus/dbus.h>

#include <optional>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "hailway/hailway.h"
#include "hailway/hw_internal.h"

namespace {

const char kSession[] = "fuzz-session";

bool same(const Hw_arg &a, const Hw_arg &b) {
  return a.type == b.type && a.mode == b.mode && a.ival == b.ival && a.sval == b.sval;
}

void check_round_trip(const std::vector<Hw_arg> &args) {
  for (const Hw_arg &a : args)
    fuzz::check(!a.sval || a.sval->find('\0') == std::string::npos, "a string has no zero byte");
  DBusMessage *msg = dbus_message_new_method_call(nullptr, HW_OBJECT_PATH, HW_INTERFACE, "op");
  DBusMessageIter it;
  dbus_message_iter_init_append(msg, &it);
  fuzz::check(hw_append_args(&it, args), "arguments are coded");
  std::vector<Hw_arg> back;
  fuzz::check(!dbus_message_iter_init(msg, &it) ? args.empty() : hw_read_args(&it, &back),
              "coded arguments are read");
  fuzz::check(back.size() == args.size(), "as many arguments read back");
  for (size_t i = 0; i < back.size(); i++) fuzz::check(same(back[i], args[i]), "an argument reads back");
  dbus_message_unref(msg);
}

// The request's arguments for the answer's (theirs, as decoded), in the shape
// the leading byte picks.
std::vector<Hw_arg> request_args(DBusMessage *answer, uint8_t shape, bool *fits,
                                 std::vector<Hw_arg> *theirs) {
  DBusMessageIter it;
  *fits = !dbus_message_iter_init(answer, &it) || hw_read_args(&it, theirs);
  std::vector<Hw_arg> mine = *fits ? *theirs : std::vector<Hw_arg>{};
  for (Hw_arg &a : mine) {  // values of our own, to tell which were handed back
    a.ival = 0x5eed;
    if (a.type == HW_TYPE_STRING) a.sval = "ours";
  }
  switch (shape % 4) {
    case 1:
      mine.push_back({HW_TYPE_INT, HW_MODE_OUT, 0, std::nullopt});
      *fits = false;
      break;
    case 2:
      if (!mine.empty()) mine.pop_back(), *fits = false;
      break;
    case 3:
      if (!mine.empty()) {
        mine[0].mode = mine[0].mode == HW_MODE_IN ? HW_MODE_OUT : HW_MODE_IN;
        *fits = false;
      }
      break;
  }
  return mine;
}

void check_answer(DBusMessage *answer, uint8_t shape) {
  bool fits;
  std::vector<Hw_arg> theirs;
  std::vector<Hw_arg> mine = request_args(answer, shape, &fits, &theirs);
  Hw_message m = hw_message_create("op", HW_CLASS_REQUEST, HW_SCOPE_SESSION, HW_ADDRESS_PROCEDURE,
                                   nullptr);
  fuzz::check(m, "a request is made");
  m->args = mine;
  m->state = HW_STATE_SENT;
  m->serial = dbus_message_get_reply_serial(answer);
  hw_link().waiting[m->serial] = m;
  hw_complete(answer);
  fuzz::check(hw_link().waiting.empty(), "the answered request waits no more");
  fuzz::check(m->args.size() == mine.size(), "a request keeps its arguments");
  if (dbus_message_get_type(answer) == DBUS_MESSAGE_TYPE_METHOD_RETURN && fits) {
    fuzz::check(m->state == HW_STATE_HANDLED && m->status == HW_OK, "a reply that fits is taken");
    for (size_t i = 0; i < mine.size(); i++)
      fuzz::check(same(m->args[i], mine[i].mode == HW_MODE_IN ? mine[i] : theirs[i]),
                  "out values are handed back, in values kept");
  } else {
    Hw_status s = m->status;
    fuzz::check(m->state == HW_STATE_FAILED &&
                    (s == HW_ERR_REJECTED || s == HW_ERR_NO_HANDLER || s == HW_ERR_NO_REPLY),
                "an error or a reply that does not fit fails the request");
    for (size_t i = 0; i < mine.size(); i++)
      fuzz::check(same(m->args[i], mine[i]), "a failed request keeps its values");
  }
  fuzz::check(hw_message_destroy(m) == HW_OK, "the request is destroyed");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  hw_link().session = kSession;
  hw_link().procid = "1";
  DBusError error;
  dbus_error_init(&error);
  if (size == 0) return 0;
  const uint8_t shape = data[0];
  DBusMessage *msg =
      dbus_message_demarshal(reinterpret_cast<const char *>(data) + 1, (int)size - 1, &error);
  if (!msg) {
    fuzz::check(dbus_error_is_set(&error), "a refused message says why");
    dbus_error_free(&error);
    return 0;
  }
  Hw_message m = nullptr;
  if (dbus_message_get_type(msg) == DBUS_MESSAGE_TYPE_METHOD_CALL) {
    dbus_message_set_no_reply(msg, TRUE);
    m = hw_accept_call(msg);
    if (m) {
      fuzz::check(hw_message_class(m) == HW_CLASS_NOTICE, "a call without reply is a notice");
      fuzz::check(hw_message_op(m) && hw_message_sender(m), "a record has its operation and sender");
      fuzz::check(hw_message_args_count(m) == (int)m->args.size(), "the argument count");
      check_round_trip(m->args);
    }
  } else if (dbus_message_get_type(msg) == DBUS_MESSAGE_TYPE_SIGNAL) {
    m = hw_accept_departure(msg);
    if (m) fuzz::check(hw_message_args_count(m) >= 0, "a departure's record is live");
  } else if (dbus_message_get_type(msg) == DBUS_MESSAGE_TYPE_METHOD_RETURN ||
             dbus_message_get_type(msg) == DBUS_MESSAGE_TYPE_ERROR) {
    check_answer(msg, shape);
  }  // a type the bus doesn't know is ignored, as the connection ignores it
  if (m) fuzz::check(hw_message_destroy(m) == HW_OK, "a record is destroyed");
  dbus_message_unref(msg);
  fuzz::check(hw_link().live.empty(), "no record outlives its input");
  return 0;
}
