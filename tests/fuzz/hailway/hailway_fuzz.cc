// Fuzz target: the decoding of Hailway messages that arrive from the bus.
// Input: a D-Bus message in its wire form, as another process may send any.
//
// A call is made into a message record or refused; a record's arguments, coded
// again and read back, are what they were, and a string holds no zero byte.  A
// departure signal is made into its notice or ignored.  An answer needs the bus,
// so every call is taken as a notice: the decoding is the same for both classes.
#include <dbus/dbus.h>

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  hw_link().session = kSession;
  hw_link().procid = "1";
  DBusError error;
  dbus_error_init(&error);
  DBusMessage *msg = dbus_message_demarshal(reinterpret_cast<const char *>(data), (int)size, &error);
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
  }
  if (m) fuzz::check(hw_message_destroy(m) == HW_OK, "a record is destroyed");
  dbus_message_unref(msg);
  return 0;
}
