// Hailway's messages: records, arguments and their coding on the bus, sending,
// answering, and matching answers to the requests that wait for them.
#include <cstring>
#include <string>

#include "hailway/hailway.h"
#include "hailway/hw_internal.h"

namespace {
Hw_message known(Hw_message m) { return m && hw_link().live.count(m) ? m : nullptr; }

Hw_status add_arg(Hw_message m, Hw_mode mode, Hw_type type, int ival, const char *sval) {
  if (!known(m)) return HW_ERR_POINTER;
  if (m->received || m->state != HW_STATE_CREATED) return HW_ERR_STATE;
  if (mode != HW_MODE_IN && mode != HW_MODE_OUT && mode != HW_MODE_INOUT) return HW_ERR_VALUE;
  Hw_arg a{type, mode, ival, std::nullopt};
  if (sval) a.sval = sval;
  m->args.push_back(a);
  return HW_OK;
}

// The argument n of type, or null with the reason in *status.
Hw_arg *arg_of(Hw_message m, int n, Hw_type type, Hw_status *status) {
  if (!known(m)) {
    *status = HW_ERR_POINTER;
    return nullptr;
  }
  if (n < 0 || n >= static_cast<int>(m->args.size())) {
    *status = HW_ERR_NUM;
    return nullptr;
  }
  Hw_arg &a = m->args[n];
  *status = a.type == type ? HW_OK : HW_ERR_TYPE;
  return *status == HW_OK ? &a : nullptr;
}

// Only out and inout arguments of a request being handled here may be set.
Hw_arg *settable(Hw_message m, int n, Hw_type type, Hw_status *status) {
  Hw_arg *a = arg_of(m, n, type, status);
  if (!a) return nullptr;
  if (!m->received || m->cls != HW_CLASS_REQUEST || m->state != HW_STATE_SENT) {
    *status = HW_ERR_STATE;
    return nullptr;
  }
  if (a->mode == HW_MODE_IN) {
    *status = HW_ERR_VALUE;
    return nullptr;
  }
  return a;
}

// Sends the answer to a received request: a reply with its arguments, or a refusal.
Hw_status answer(Hw_message m, bool reply) {
  if (!known(m)) return HW_ERR_POINTER;
  if (!m->received || m->state != HW_STATE_SENT) return HW_ERR_STATE;
  if (m->cls == HW_CLASS_NOTICE) return reply ? HW_ERR_STATE : HW_OK;
  Hw_status s = hw_usable();
  if (s != HW_OK || !m->call) return s != HW_OK ? s : HW_ERR_STATE;
  DBusMessage *out;
  if (reply) {
    out = dbus_message_new_method_return(m->call);
    DBusMessageIter it;
    dbus_message_iter_init_append(out, &it);
    if (!hw_append_args(&it, m->args)) {
      dbus_message_unref(out);
      return HW_ERR_VALUE;
    }
  } else {
    out = dbus_message_new_error(m->call, HW_ERROR_REJECTED, "The recipient refused the message");
  }
  hw_send_now(out, nullptr);
  dbus_message_unref(out);
  dbus_message_unref(m->call);
  m->call = nullptr;
  m->state = reply ? HW_STATE_HANDLED : HW_STATE_FAILED;
  m->status = reply ? HW_OK : HW_ERR_REJECTED;
  return HW_OK;
}

Hw_status status_of_error(const char *name) {
  if (!strcmp(name, DBUS_ERROR_NAME_HAS_NO_OWNER) || !strcmp(name, DBUS_ERROR_SERVICE_UNKNOWN))
    return HW_ERR_NO_HANDLER;
  if (!strcmp(name, DBUS_ERROR_NO_REPLY)) return HW_ERR_NO_REPLY;
  return HW_ERR_REJECTED;
}

void finish(Hw_message m, Hw_state state, Hw_status status) {
  m->state = state;
  m->status = status;
  if (m->callback) m->callback(m);  // last use of m: the callback may destroy it
}
}  // namespace

// Each argument travels as one struct: (mode, value) for an integer, and
// (mode, present, bytes) for a string, since the bus has no null string and its
// own strings must be UTF-8, which a file name needn't be.
bool hw_append_args(DBusMessageIter *it, const std::vector<Hw_arg> &args) {
  for (const Hw_arg &a : args) {
    DBusMessageIter st, bytes;
    unsigned char mode = static_cast<unsigned char>(a.mode);
    bool ok = dbus_message_iter_open_container(it, DBUS_TYPE_STRUCT, nullptr, &st) &&
              dbus_message_iter_append_basic(&st, DBUS_TYPE_BYTE, &mode);
    if (a.type == HW_TYPE_INT) {
      dbus_int32_t v = a.ival;
      ok = ok && dbus_message_iter_append_basic(&st, DBUS_TYPE_INT32, &v);
    } else {
      dbus_bool_t present = a.sval.has_value();
      const char *text = present ? a.sval->c_str() : "";
      ok = ok && dbus_message_iter_append_basic(&st, DBUS_TYPE_BOOLEAN, &present) &&
           dbus_message_iter_open_container(&st, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE_AS_STRING,
                                            &bytes) &&
           dbus_message_iter_append_fixed_array(&bytes, DBUS_TYPE_BYTE, &text,
                                                static_cast<int>(strlen(text))) &&
           dbus_message_iter_close_container(&st, &bytes);
    }
    if (!ok || !dbus_message_iter_close_container(it, &st)) return false;
  }
  return true;
}

bool hw_read_args(DBusMessageIter *it, std::vector<Hw_arg> *args) {
  for (int t; (t = dbus_message_iter_get_arg_type(it)) != DBUS_TYPE_INVALID;
       dbus_message_iter_next(it)) {
    if (t != DBUS_TYPE_STRUCT) return false;
    char *sig = dbus_message_iter_get_signature(it);
    std::string shape = sig;
    dbus_free(sig);
    if (shape != "(yi)" && shape != "(ybay)") return false;
    DBusMessageIter st;
    dbus_message_iter_recurse(it, &st);
    unsigned char mode;
    dbus_message_iter_get_basic(&st, &mode);
    if (mode != HW_MODE_IN && mode != HW_MODE_OUT && mode != HW_MODE_INOUT) return false;
    Hw_arg a{shape == "(yi)" ? HW_TYPE_INT : HW_TYPE_STRING, static_cast<Hw_mode>(mode), 0,
             std::nullopt};
    dbus_message_iter_next(&st);
    if (a.type == HW_TYPE_INT) {
      dbus_int32_t v;
      dbus_message_iter_get_basic(&st, &v);
      a.ival = v;
    } else {
      dbus_bool_t present;
      dbus_message_iter_get_basic(&st, &present);
      dbus_message_iter_next(&st);
      DBusMessageIter bytes;
      dbus_message_iter_recurse(&st, &bytes);
      const char *text = nullptr;
      int n = 0;
      dbus_message_iter_get_fixed_array(&bytes, &text, &n);
      // A C string ends at its first NUL, whatever a foreign sender put behind it.
      if (present) a.sval = std::string(text ? text : "", n).c_str();
    }
    args->push_back(a);
  }
  return true;
}

void hw_send_now(DBusMessage *msg, dbus_uint32_t *serial) {
  Hw_link &l = hw_link();
  dbus_connection_send(l.conn, msg, serial);
  dbus_connection_flush(l.conn);
}

void hw_complete(DBusMessage *answer) {
  Hw_link &l = hw_link();
  auto w = l.waiting.find(dbus_message_get_reply_serial(answer));
  if (w == l.waiting.end()) return;  // its request was destroyed
  Hw_message m = w->second;
  l.waiting.erase(w);
  if (dbus_message_get_type(answer) == DBUS_MESSAGE_TYPE_ERROR) {
    finish(m, HW_STATE_FAILED, status_of_error(dbus_message_get_error_name(answer)));
    return;
  }
  std::vector<Hw_arg> back;
  DBusMessageIter it;
  bool ok = !dbus_message_iter_init(answer, &it) || hw_read_args(&it, &back);
  ok = ok && back.size() == m->args.size();
  for (size_t i = 0; ok && i < back.size(); i++)
    ok = back[i].type == m->args[i].type && back[i].mode == m->args[i].mode;
  if (!ok) {
    finish(m, HW_STATE_FAILED, HW_ERR_REJECTED);  // an answer that isn't ours
    return;
  }
  for (size_t i = 0; i < back.size(); i++)
    if (m->args[i].mode != HW_MODE_IN) m->args[i] = back[i];
  finish(m, HW_STATE_HANDLED, HW_OK);
}

void hw_fail_waiting(Hw_status status) {
  Hw_link &l = hw_link();
  while (!l.waiting.empty()) {
    Hw_message m = l.waiting.begin()->second;
    l.waiting.erase(l.waiting.begin());
    finish(m, HW_STATE_FAILED, status);
  }
}

Hw_message hw_accept_call(DBusMessage *call) {
  bool wants_answer = !dbus_message_get_no_reply(call);
  const char *iface = dbus_message_get_interface(call);
  const char *path = dbus_message_get_path(call);
  const char *dest = dbus_message_get_destination(call);
  DBusMessageIter it;
  const char *sender = nullptr, *session = nullptr;
  std::vector<Hw_arg> args;
  bool ours = iface && path && !strcmp(iface, HW_INTERFACE) && !strcmp(path, HW_OBJECT_PATH);
  bool ok = ours && dbus_message_iter_init(call, &it) &&
            dbus_message_iter_get_arg_type(&it) == DBUS_TYPE_STRING;
  if (ok) {
    dbus_message_iter_get_basic(&it, &sender);
    ok = dbus_message_iter_next(&it) && dbus_message_iter_get_arg_type(&it) == DBUS_TYPE_STRING;
  }
  if (ok) {
    dbus_message_iter_get_basic(&it, &session);
    dbus_message_iter_next(&it);
    ok = hw_read_args(&it, &args) && hw_link().session == session;
  }
  if (!ok) {
    if (wants_answer) {
      DBusMessage *no = ours ? dbus_message_new_error(call, HW_ERROR_REJECTED, "Malformed message")
                             : dbus_message_new_error(call, DBUS_ERROR_UNKNOWN_METHOD,
                                                      "Only Hailway messages are handled here");
      hw_send_now(no, nullptr);
      dbus_message_unref(no);
    }
    return nullptr;
  }
  bool by_op = dest && !strncmp(dest, HW_OP_PREFIX, strlen(HW_OP_PREFIX));
  Hw_message m = new Hw_message_rec{dbus_message_get_member(call),
                                    wants_answer ? HW_CLASS_REQUEST : HW_CLASS_NOTICE,
                                    HW_SCOPE_SESSION,
                                    by_op ? HW_ADDRESS_PROCEDURE : HW_ADDRESS_HANDLER,
                                    by_op ? std::string() : hw_link().procid,
                                    sender,
                                    true,
                                    std::move(args),
                                    HW_STATE_SENT,
                                    HW_OK,
                                    nullptr,
                                    0,
                                    wants_answer ? dbus_message_ref(call) : nullptr};
  hw_link().live.insert(m);
  return m;
}

Hw_message hw_accept_departure(DBusMessage *signal) {
  const char *name, *old_owner, *new_owner;
  size_t prefix = strlen(HW_PROCESS_PREFIX);
  if (!dbus_message_is_signal(signal, DBUS_INTERFACE_DBUS, "NameOwnerChanged") ||
      !dbus_message_get_args(signal, nullptr, DBUS_TYPE_STRING, &name, DBUS_TYPE_STRING, &old_owner,
                             DBUS_TYPE_STRING, &new_owner, DBUS_TYPE_INVALID) ||
      *new_owner || strncmp(name, HW_PROCESS_PREFIX, prefix))
    return nullptr;
  Hw_message m = new Hw_message_rec{HW_OP_PROCESS_GONE,
                                    HW_CLASS_NOTICE,
                                    HW_SCOPE_SESSION,
                                    HW_ADDRESS_HANDLER,
                                    hw_link().procid,
                                    name + prefix,
                                    true,
                                    {},
                                    HW_STATE_SENT,
                                    HW_OK,
                                    nullptr,
                                    0,
                                    nullptr};
  hw_link().live.insert(m);
  return m;
}

Hw_message hw_message_create(const char *op, Hw_class cls, Hw_scope scope, Hw_address address,
                             const char *handler) {
  bool ok =
      hw_valid_name(op) && (cls == HW_CLASS_NOTICE || cls == HW_CLASS_REQUEST) &&
      scope == HW_SCOPE_SESSION &&
      (address == HW_ADDRESS_PROCEDURE || (address == HW_ADDRESS_HANDLER && handler && *handler &&
                                           hw_valid_name((std::string("P") + handler).c_str())));
  if (!ok) {
    hw_set_last(HW_ERR_VALUE);
    return nullptr;
  }
  Hw_message m = new Hw_message_rec{
      op,      cls,   scope,  address,          address == HW_ADDRESS_HANDLER ? handler : "",
      "",      false, {},     HW_STATE_CREATED, HW_OK,
      nullptr, 0,     nullptr};
  hw_link().live.insert(m);
  hw_set_last(HW_OK);
  return m;
}

Hw_status hw_message_destroy(Hw_message m) {
  if (!known(m)) return HW_ERR_POINTER;
  // A sender must never wait for ever on a request nobody answered.
  if (m->received && m->call && m->state == HW_STATE_SENT && hw_usable() == HW_OK) answer(m, false);
  Hw_link &l = hw_link();
  if (m->cls == HW_CLASS_REQUEST && !m->received && m->state == HW_STATE_SENT)
    l.waiting.erase(m->serial);
  if (m->call) dbus_message_unref(m->call);
  l.live.erase(m);
  delete m;
  return HW_OK;
}

Hw_status hw_message_string_arg_add(Hw_message m, Hw_mode mode, const char *value) {
  return add_arg(m, mode, HW_TYPE_STRING, 0, value);
}

Hw_status hw_message_int_arg_add(Hw_message m, Hw_mode mode, int value) {
  return add_arg(m, mode, HW_TYPE_INT, value, nullptr);
}

int hw_message_args_count(Hw_message m) {
  return known(m) ? static_cast<int>(m->args.size()) : -HW_ERR_POINTER;
}

Hw_status hw_message_arg_type(Hw_message m, int n, Hw_type *type) {
  if (!known(m)) return HW_ERR_POINTER;
  if (n < 0 || n >= static_cast<int>(m->args.size())) return HW_ERR_NUM;
  *type = m->args[n].type;
  return HW_OK;
}

Hw_status hw_message_arg_mode(Hw_message m, int n, Hw_mode *mode) {
  if (!known(m)) return HW_ERR_POINTER;
  if (n < 0 || n >= static_cast<int>(m->args.size())) return HW_ERR_NUM;
  *mode = m->args[n].mode;
  return HW_OK;
}

Hw_status hw_message_arg_string(Hw_message m, int n, const char **value) {
  Hw_status s;
  Hw_arg *a = arg_of(m, n, HW_TYPE_STRING, &s);
  if (a) *value = a->sval ? a->sval->c_str() : nullptr;
  return s;
}

Hw_status hw_message_arg_int(Hw_message m, int n, int *value) {
  Hw_status s;
  Hw_arg *a = arg_of(m, n, HW_TYPE_INT, &s);
  if (a) *value = a->ival;
  return s;
}

Hw_status hw_message_arg_string_set(Hw_message m, int n, const char *value) {
  Hw_status s;
  Hw_arg *a = settable(m, n, HW_TYPE_STRING, &s);
  if (a) a->sval = value ? std::optional<std::string>(value) : std::nullopt;
  return s;
}

Hw_status hw_message_arg_int_set(Hw_message m, int n, int value) {
  Hw_status s;
  Hw_arg *a = settable(m, n, HW_TYPE_INT, &s);
  if (a) a->ival = value;
  return s;
}

const char *hw_message_op(Hw_message m) {
  hw_set_last(known(m) ? HW_OK : HW_ERR_POINTER);
  return known(m) ? m->op.c_str() : nullptr;
}

const char *hw_message_sender(Hw_message m) {
  hw_set_last(known(m) ? HW_OK : HW_ERR_POINTER);
  return known(m) && m->received ? m->sender.c_str() : nullptr;
}

Hw_class hw_message_class(Hw_message m) { return known(m) ? m->cls : HW_CLASS_NOTICE; }
Hw_state hw_message_state(Hw_message m) { return known(m) ? m->state : HW_STATE_FAILED; }
Hw_status hw_message_status(Hw_message m) { return known(m) ? m->status : HW_ERR_POINTER; }

Hw_status hw_message_callback_add(Hw_message m, Hw_callback callback) {
  if (!known(m)) return HW_ERR_POINTER;
  if (m->received || m->state != HW_STATE_CREATED) return HW_ERR_STATE;
  m->callback = callback;
  return HW_OK;
}

Hw_status hw_message_send(Hw_message m) {
  if (!known(m)) return HW_ERR_POINTER;
  if (m->received || m->state != HW_STATE_CREATED) return HW_ERR_STATE;
  Hw_status s = hw_usable();
  if (s != HW_OK) return s;
  Hw_link &l = hw_link();
  std::string dest =
      m->address == HW_ADDRESS_HANDLER ? HW_PROCESS_PREFIX + m->handler : HW_OP_PREFIX + m->op;
  if (m->cls == HW_CLASS_NOTICE) {
    // A notice gets no answer, so whether anyone is there is asked beforehand.
    DBusError err;
    dbus_error_init(&err);
    bool there = dbus_bus_name_has_owner(l.conn, dest.c_str(), &err);
    dbus_error_free(&err);
    hw_pull();
    if (!there) {
      m->state = HW_STATE_FAILED;
      m->status = HW_ERR_NO_HANDLER;
      return HW_ERR_NO_HANDLER;
    }
  }
  DBusMessage *msg =
      dbus_message_new_method_call(dest.c_str(), HW_OBJECT_PATH, HW_INTERFACE, m->op.c_str());
  // "Start none": the service never launches a program for a message.
  dbus_message_set_auto_start(msg, FALSE);
  dbus_message_set_no_reply(msg, m->cls == HW_CLASS_NOTICE);
  DBusMessageIter it;
  dbus_message_iter_init_append(msg, &it);
  const char *ids[] = {l.procid.c_str(), l.session.c_str()};
  for (const char *id : ids) dbus_message_iter_append_basic(&it, DBUS_TYPE_STRING, &id);
  if (!hw_append_args(&it, m->args)) {
    dbus_message_unref(msg);
    return HW_ERR_VALUE;
  }
  hw_send_now(msg, &m->serial);
  dbus_message_unref(msg);
  m->state = HW_STATE_SENT;
  if (m->cls == HW_CLASS_REQUEST) l.waiting[m->serial] = m;
  return HW_OK;
}

Hw_status hw_message_reply(Hw_message m) { return answer(m, true); }
Hw_status hw_message_reject(Hw_message m) { return answer(m, false); }
