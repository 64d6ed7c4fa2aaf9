// Hailway's connection: opening the bus, the one descriptor for the event loop,
// sessions, registration for operations, receiving, and the status texts.
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "hailway/hailway.h"
#include "hailway/hw_internal.h"
#include "util/kes_msg.h"

namespace {
Hw_status last_status = HW_OK;

// Fails a pointer-returning call.
template <typename T>
T *fail(Hw_status status) {
  last_status = status;
  return nullptr;
}

// Drops everything of a connection, open or half open.
void teardown() {
  Hw_link &l = hw_link();
  for (DBusMessage *m : l.inbox) dbus_message_unref(m);
  l.inbox.clear();
  for (Hw_message m : l.live) {
    if (m->call) dbus_message_unref(m->call);
    m->call = nullptr;
  }
  l.waiting.clear();
  if (l.conn) {
    dbus_connection_close(l.conn);
    dbus_connection_unref(l.conn);
  }
  if (l.epfd >= 0) close(l.epfd);
  if (l.evfd >= 0) close(l.evfd);
  l.conn = nullptr;
  l.epfd = l.evfd = l.sock = -1;
  l.procid.clear();
  l.session.clear();
  l.lost = false;
  l.event_raised = false;
}

// The bus has gone: stop watching its socket (it would stay readable for ever)
// and fail every request that waits for an answer.
void lose() {
  Hw_link &l = hw_link();
  if (l.lost) return;
  l.lost = true;
  epoll_ctl(l.epfd, EPOLL_CTL_DEL, l.sock, nullptr);
  hw_fail_waiting(HW_ERR_LOST);
}

}  // namespace

Hw_status hw_usable() {
  Hw_link &l = hw_link();
  if (!l.conn) return HW_ERR_NOT_OPEN;
  return l.lost ? HW_ERR_LOST : HW_OK;
}

Hw_link &hw_link() {
  static Hw_link link;
  return link;
}

void hw_set_last(Hw_status status) { last_status = status; }

bool hw_valid_name(const char *name) {
  if (!name || !*name || strlen(name) > 200 || isdigit(static_cast<unsigned char>(*name)))
    return false;
  for (const char *p = name; *p; p++)
    if (!isalnum(static_cast<unsigned char>(*p)) && *p != '_') return false;
  return true;
}

void hw_pull() {
  Hw_link &l = hw_link();
  if (!l.conn) return;
  while (DBusMessage *m = dbus_connection_pop_message(l.conn)) l.inbox.push_back(m);
  // The eventfd counts 1 while the inbox holds anything, so the one descriptor
  // stays readable even when the socket has nothing more to give.
  bool want = !l.inbox.empty();
  if (want != l.event_raised) {
    uint64_t one = 1;
    ssize_t done = want ? write(l.evfd, &one, sizeof one) : read(l.evfd, &one, sizeof one);
    if (done == sizeof one) l.event_raised = want;
  }
}

Hw_status hw_pointer_error(const void *returned) { return returned ? HW_OK : last_status; }

Hw_status hw_int_error(int returned) {
  return returned < 0 ? static_cast<Hw_status>(-returned) : HW_OK;
}

const char *hw_status_message(Hw_status status) {
  switch (status) {
    case HW_OK: return UTIL_MSG(500, "No error");
    case HW_ERR_NO_SERVICE:
      return UTIL_MSG(501,
                      "The message service can't be reached (is DBUS_SESSION_BUS_ADDRESS set?)");
    case HW_ERR_NOT_OPEN: return UTIL_MSG(502, "The message service has not been opened");
    case HW_ERR_LOST: return UTIL_MSG(503, "The connection to the message service was lost");
    case HW_ERR_POINTER: return UTIL_MSG(504, "Not a valid message");
    case HW_ERR_VALUE: return UTIL_MSG(505, "Invalid value");
    case HW_ERR_NUM: return UTIL_MSG(506, "No argument with that number");
    case HW_ERR_TYPE: return UTIL_MSG(507, "The argument has another type");
    case HW_ERR_STATE: return UTIL_MSG(508, "The message is not in a state that allows this");
    case HW_ERR_NO_MESSAGE: return UTIL_MSG(509, "No message is waiting");
    case HW_ERR_SESSION: return UTIL_MSG(510, "No such session");
    case HW_ERR_NO_HANDLER: return UTIL_MSG(511, "No process handles the message");
    case HW_ERR_REJECTED: return UTIL_MSG(512, "The recipient refused the message");
    case HW_ERR_NO_REPLY: return UTIL_MSG(513, "The recipient left before it answered");
  }
  return UTIL_MSG(514, "Unknown status");
}

char *hw_open() {
  Hw_link &l = hw_link();
  // A forked child has its parent's connection in memory, but the connection and
  // the id are the parent's: it starts afresh, leaving them alone.
  if (l.conn && l.owner != getpid()) l = Hw_link();
  if (l.conn && !l.lost) {
    last_status = HW_OK;
    return &l.procid[0];
  }
  teardown();
  const char *address = getenv("DBUS_SESSION_BUS_ADDRESS");
  if (!address || !*address) return fail<char>(HW_ERR_NO_SERVICE);
  DBusError err;
  dbus_error_init(&err);
  // A private connection: ours alone, and it doesn't end the process when the
  // bus goes away.
  l.conn = dbus_connection_open_private(address, &err);
  bool ok = l.conn != nullptr;
  if (ok) {
    dbus_connection_set_exit_on_disconnect(l.conn, FALSE);
    ok = dbus_bus_register(l.conn, &err);
  }
  char *id = ok ? dbus_bus_get_id(l.conn, &err) : nullptr;
  if (id) {
    l.session = id;
    dbus_free(id);
    l.owner = getpid();
    l.procid = std::to_string(l.owner);
    // Owning the process's name makes it reachable by handler address, and makes
    // sure no other process on the bus goes by the same id.
    std::string name = HW_PROCESS_PREFIX + l.procid;
    ok = dbus_bus_request_name(l.conn, name.c_str(), DBUS_NAME_FLAG_DO_NOT_QUEUE, &err) ==
         DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER;
  } else {
    ok = false;
  }
  ok = ok && dbus_connection_get_unix_fd(l.conn, &l.sock);
  if (ok) {
    l.epfd = epoll_create1(EPOLL_CLOEXEC);
    l.evfd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    epoll_event ev{};
    ev.events = EPOLLIN;
    ok = l.epfd >= 0 && l.evfd >= 0 && epoll_ctl(l.epfd, EPOLL_CTL_ADD, l.sock, &ev) == 0 &&
         epoll_ctl(l.epfd, EPOLL_CTL_ADD, l.evfd, &ev) == 0;
  }
  dbus_error_free(&err);
  if (!ok) {
    teardown();
    return fail<char>(HW_ERR_NO_SERVICE);
  }
  hw_pull();
  last_status = HW_OK;
  return &l.procid[0];
}

Hw_status hw_close() {
  teardown();
  return HW_OK;
}

int hw_fd() {
  Hw_status s = hw_usable();
  return s == HW_OK ? hw_link().epfd : -s;
}

char *hw_default_session() {
  Hw_status s = hw_usable();
  if (s != HW_OK) return fail<char>(s);
  last_status = HW_OK;
  return &hw_link().session[0];
}

// One bus is one session, so joining only checks the id.
Hw_status hw_session_join(const char *session) {
  Hw_status s = hw_usable();
  if (s != HW_OK) return s;
  return session && hw_link().session == session ? HW_OK : HW_ERR_SESSION;
}

Hw_status hw_op_register(const char *op) {
  Hw_status s = hw_usable();
  if (s != HW_OK) return s;
  if (!hw_valid_name(op)) return HW_ERR_VALUE;
  Hw_link &l = hw_link();
  DBusError err;
  dbus_error_init(&err);
  // Queued ownership of the operation's name: the first process to ask owns it,
  // the others wait in line and take over, in order, when it leaves.
  std::string name = std::string(HW_OP_PREFIX) + op;
  int got = dbus_bus_request_name(l.conn, name.c_str(), 0, &err);
  dbus_error_free(&err);
  hw_pull();
  if (got == DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER || got == DBUS_REQUEST_NAME_REPLY_IN_QUEUE ||
      got == DBUS_REQUEST_NAME_REPLY_ALREADY_OWNER)
    return HW_OK;
  if (!dbus_connection_get_is_connected(l.conn)) {
    lose();
    return HW_ERR_LOST;
  }
  return HW_ERR_NO_SERVICE;
}

Hw_status hw_process_watch(const char *procid) {
  Hw_status s = hw_usable();
  if (s != HW_OK) return s;
  if (!procid || !hw_valid_name((std::string("P") + procid).c_str())) return HW_ERR_VALUE;
  Hw_link &l = hw_link();
  std::string name = HW_PROCESS_PREFIX + std::string(procid);
  std::string rule =
      "type='signal',sender='" DBUS_SERVICE_DBUS "',member='NameOwnerChanged',arg0='" + name + "'";
  DBusError err;
  dbus_error_init(&err);
  // Watch first, then look: a process leaving in between is still seen.
  dbus_bus_add_match(l.conn, rule.c_str(), &err);
  bool there = !dbus_error_is_set(&err) && dbus_bus_name_has_owner(l.conn, name.c_str(), &err);
  dbus_error_free(&err);
  hw_pull();
  return there ? HW_OK : HW_ERR_NO_HANDLER;
}

Hw_message hw_message_receive() {
  Hw_status s = hw_usable();
  if (s != HW_OK) return fail<Hw_message_rec>(s);
  Hw_link &l = hw_link();
  // Reads what the socket has without waiting; parses it into messages.  Answers
  // that came before a loss are still handled before the loss is declared.
  bool gone = !dbus_connection_read_write(l.conn, 0) || !dbus_connection_get_is_connected(l.conn);
  hw_pull();
  Hw_message found = nullptr;
  while (!found && !l.inbox.empty()) {
    DBusMessage *m = l.inbox.front();
    l.inbox.pop_front();
    int type = dbus_message_get_type(m);
    if (type == DBUS_MESSAGE_TYPE_METHOD_RETURN || type == DBUS_MESSAGE_TYPE_ERROR)
      hw_complete(m);
    else if (type == DBUS_MESSAGE_TYPE_METHOD_CALL)
      found = hw_accept_call(m);
    else if (type == DBUS_MESSAGE_TYPE_SIGNAL)
      found = hw_accept_departure(m);
    dbus_message_unref(m);
  }
  // The connection may have been closed by a callback.
  if (!l.conn) return fail<Hw_message_rec>(HW_ERR_NOT_OPEN);
  if (!found && gone) lose();
  hw_pull();
  if (found) {
    last_status = HW_OK;
    return found;
  }
  return fail<Hw_message_rec>(l.lost ? HW_ERR_LOST : HW_ERR_NO_MESSAGE);
}
