// Hailway between real processes on a private bus: both addressings, the three
// argument modes, answers, refusals and lost peers, and a process without a bus.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "hailway/bus_helpers.h"
#include "hailway/hailway.h"

namespace {
std::string text(Hw_message m, int n) {
  const char *v = "(unset)";
  if (hw_message_arg_string(m, n, &v) != HW_OK) return "(error)";
  return v ? v : "(null)";
}

int num(Hw_message m, int n) {
  int v = -999;
  return hw_message_arg_int(m, n, &v) == HW_OK ? v : -999;
}

// Written by a peer when it has sent a whole burst.
int burst_sent[2];

// What a peer does with each operation.
void serve(Hw_message m, const std::string &me) {
  std::string op = hw_message_op(m);
  if (op == "Hw_test_swap") {  // in s, inout s, out i, inout i, out s
    std::string joined = text(m, 1) + "+" + text(m, 0);
    hw_message_arg_string_set(m, 1, joined.c_str());
    hw_message_arg_int_set(m, 2, static_cast<int>(text(m, 0).size()));
    hw_message_arg_int_set(m, 3, num(m, 3) * 2);
    hw_message_arg_string_set(m, 4, me.c_str());
    hw_message_reply(m);
  } else if (op == "Hw_test_notify_me") {
    // Two notices back in one burst, then the answer.
    for (int i = 0; i < 2; i++) {
      Hw_message n = hw_message_create("Hw_test_note", HW_CLASS_NOTICE, HW_SCOPE_SESSION,
                                       HW_ADDRESS_HANDLER, hw_message_sender(m));
      hw_message_string_arg_add(n, HW_MODE_IN, nullptr);
      hw_message_int_arg_add(n, HW_MODE_IN, 7 + i);
      hw_message_send(n);
      hw_message_destroy(n);
    }
    hw_message_reply(m);
    if (write(burst_sent[1], "x", 1) != 1) _exit(5);
  } else if (op == "Hw_test_leave") {
    _exit(0);  // without answering
  } else if (op == "Hw_test_hold") {
    return;    // kept unanswered until the bus goes
  } else if (op != "Hw_test_drop") {
    hw_message_reject(m);
  }
  hw_message_destroy(m);  // a dropped request is refused here
}

class Hailway : public testing::Test {
protected:
  void SetUp() override { ASSERT_EQ(pipe(burst_sent), 0); }

  // A peer process on the bus, registered for op when given; returns its id.
  std::string start_peer(const char *op) {
    int p[2];
    EXPECT_EQ(pipe(p), 0);
    pid_t pid = fork();
    if (pid == 0) {
      close(p[0]);
      char *me = hw_open();
      if (!me || hw_session_join(hw_default_session()) || (op && hw_op_register(op))) _exit(3);
      std::string id = std::string(me) + "\n";
      if (write(p[1], id.data(), id.size()) != static_cast<ssize_t>(id.size())) _exit(4);
      hw_pump([] { return false; }, [&](Hw_message m) { serve(m, me); });
      _exit(0);
    }
    close(p[1]);
    peers.push_back(pid);
    char buf[64] = {0};
    ssize_t n = read(p[0], buf, sizeof buf - 1);
    close(p[0]);
    return std::string(buf, n > 0 ? n - 1 : 0);
  }

  void TearDown() override {
    close(burst_sent[0]);
    close(burst_sent[1]);
    for (pid_t pid : peers) {
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
    }
  }

  Private_bus bus;
  std::vector<pid_t> peers;
};

int answers;
void count_answer(Hw_message) { answers++; }

Hw_message swap_request(const char *op, Hw_address address, const char *handler) {
  Hw_message m = hw_message_create(op, HW_CLASS_REQUEST, HW_SCOPE_SESSION, address, handler);
  hw_message_string_arg_add(m, HW_MODE_IN, "in");
  hw_message_string_arg_add(m, HW_MODE_INOUT, "io");
  hw_message_int_arg_add(m, HW_MODE_OUT, 0);
  hw_message_int_arg_add(m, HW_MODE_INOUT, 21);
  hw_message_string_arg_add(m, HW_MODE_OUT, nullptr);
  hw_message_callback_add(m, count_answer);
  return m;
}
}  // namespace

// Requests in turn, each answered before the next: who gets a message, and what
// comes back to the sender's callback.
TEST_F(Hailway, RequestsReachTheirRecipientAndAnswersReachTheCallback) {
  std::string first = start_peer("Hw_test_swap");
  std::string second = start_peer("Hw_test_swap");
  ASSERT_FALSE(first.empty());
  ASSERT_FALSE(second.empty());
  ASSERT_NE(hw_open(), nullptr);
  struct {
    const char *op;
    Hw_address address;
    std::string handler;
    Hw_state state;
    Hw_status status;
    std::string handled_by;
  } cases[] = {
      {"Hw_test_swap", HW_ADDRESS_HANDLER, second, HW_STATE_HANDLED, HW_OK, second},
      {"Hw_test_swap", HW_ADDRESS_PROCEDURE, "", HW_STATE_HANDLED, HW_OK, first},
      {"Hw_test_unknown", HW_ADDRESS_HANDLER, first, HW_STATE_FAILED, HW_ERR_REJECTED, ""},
      {"Hw_test_drop", HW_ADDRESS_HANDLER, first, HW_STATE_FAILED, HW_ERR_REJECTED, ""},
      {"Hw_test_unknown", HW_ADDRESS_PROCEDURE, "", HW_STATE_FAILED, HW_ERR_NO_HANDLER, ""},
      {"Hw_test_swap", HW_ADDRESS_HANDLER, "99999999", HW_STATE_FAILED, HW_ERR_NO_HANDLER, ""},
      {"Hw_test_leave", HW_ADDRESS_HANDLER, first, HW_STATE_FAILED, HW_ERR_NO_REPLY, ""},
      // The first registered has gone: the one in line takes over.
      {"Hw_test_swap", HW_ADDRESS_PROCEDURE, "", HW_STATE_HANDLED, HW_OK, second},
  };
  for (auto &c : cases) {
    SCOPED_TRACE(std::string(c.op) + " to " + (c.handler.empty() ? "(procedure)" : c.handler));
    Hw_message m = swap_request(c.op, c.address, c.handler.c_str());
    answers = 0;
    ASSERT_EQ(hw_message_send(m), HW_OK);
    ASSERT_TRUE(hw_pump([] { return answers > 0; }, hw_message_destroy));
    EXPECT_EQ(answers, 1);
    EXPECT_EQ(hw_message_state(m), c.state);
    EXPECT_EQ(hw_message_status(m), c.status);
    bool handled = c.state == HW_STATE_HANDLED;
    EXPECT_EQ(text(m, 0), "in");
    EXPECT_EQ(text(m, 1), handled ? "io+in" : "io");
    EXPECT_EQ(num(m, 2), handled ? 2 : 0);
    EXPECT_EQ(num(m, 3), handled ? 42 : 21);
    EXPECT_EQ(text(m, 4), handled ? c.handled_by : "(null)");
    EXPECT_EQ(hw_message_destroy(m), HW_OK);
  }
}

// Notices come with their sender's id and null strings intact; each of a burst
// read at once wakes the loop on its own; a notice to nobody fails at once.
TEST_F(Hailway, NoticesCarryTheirSenderAndEachOneWakesTheLoop) {
  std::string peer = start_peer(nullptr);
  ASSERT_NE(hw_open(), nullptr);
  Hw_message ask = hw_message_create("Hw_test_notify_me", HW_CLASS_REQUEST, HW_SCOPE_SESSION,
                                     HW_ADDRESS_HANDLER, peer.c_str());
  hw_message_callback_add(ask, count_answer);
  answers = 0;
  ASSERT_EQ(hw_message_send(ask), HW_OK);
  // The whole burst waits in the socket before the loop reads any of it.
  char sent;
  ASSERT_EQ(read(burst_sent[0], &sent, 1), 1);
  std::vector<int> seen;
  auto note = [&](Hw_message n) {
    EXPECT_STREQ(hw_message_op(n), "Hw_test_note");
    EXPECT_EQ(hw_message_sender(n), peer);
    EXPECT_EQ(hw_message_class(n), HW_CLASS_NOTICE);
    EXPECT_EQ(text(n, 0), "(null)");
    seen.push_back(num(n, 1));
    EXPECT_EQ(hw_message_reject(n), HW_OK);  // refusing a notice does nothing
    hw_message_destroy(n);
  };
  ASSERT_TRUE(hw_pump([&] { return answers == 1 && seen.size() == 2; }, note));
  EXPECT_EQ(seen, (std::vector<int>{7, 8}));
  hw_message_destroy(ask);

  Hw_message lost = hw_message_create("Hw_test_note", HW_CLASS_NOTICE, HW_SCOPE_SESSION,
                                      HW_ADDRESS_HANDLER, "99999999");
  EXPECT_EQ(hw_message_send(lost), HW_ERR_NO_HANDLER);
  EXPECT_EQ(hw_message_state(lost), HW_STATE_FAILED);
  hw_message_destroy(lost);
}

// A request waiting when the bus dies fails through its callback, and the loop
// learns that the bus is gone instead of spinning on a dead socket.
TEST_F(Hailway, ALostBusFailsTheWaitingRequests) {
  std::string peer = start_peer(nullptr);
  ASSERT_NE(hw_open(), nullptr);
  Hw_message m = swap_request("Hw_test_hold", HW_ADDRESS_HANDLER, peer.c_str());
  answers = 0;
  ASSERT_EQ(hw_message_send(m), HW_OK);
  bus.kill_daemon();
  EXPECT_TRUE(hw_pump([] { return answers > 0; }, hw_message_destroy));
  EXPECT_EQ(hw_message_status(m), HW_ERR_LOST);
  EXPECT_EQ(hw_message_receive(), nullptr);
  EXPECT_EQ(hw_pointer_error(nullptr), HW_ERR_LOST);
  EXPECT_EQ(hw_int_error(hw_fd()), HW_ERR_LOST);
  hw_message_destroy(m);
}

// Without a reachable bus, opening fails cleanly and nothing else pretends to work.
TEST(HailwayWithoutBus, OpenFailsCleanly) {
  const char *addresses[] = {nullptr, "", "unix:path=/nonexistent/bus-socket", "garbage"};
  for (const char *address : addresses) {
    SCOPED_TRACE(address ? address : "(unset)");
    if (address)
      setenv("DBUS_SESSION_BUS_ADDRESS", address, 1);
    else
      unsetenv("DBUS_SESSION_BUS_ADDRESS");
    char *id = hw_open();
    EXPECT_EQ(id, nullptr);
    EXPECT_EQ(hw_pointer_error(id), HW_ERR_NO_SERVICE);
    EXPECT_EQ(hw_int_error(hw_fd()), HW_ERR_NOT_OPEN);
    EXPECT_EQ(hw_default_session(), nullptr);
    Hw_message m = hw_message_create("Op", HW_CLASS_REQUEST, HW_SCOPE_SESSION,
                                     HW_ADDRESS_PROCEDURE, nullptr);
    EXPECT_EQ(hw_message_send(m), HW_ERR_NOT_OPEN);
    hw_message_destroy(m);
  }
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
}
