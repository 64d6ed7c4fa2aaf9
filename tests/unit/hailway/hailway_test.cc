// Hailway between real processes on a private bus: both addressings, the three
// argument modes, answers, refusals and lost peers, and a process without a bus.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "hailway/bus_helpers.h"
#include "hailway/hailway.h"

namespace {
int signal_pipe[2];  // a peer writes here when it is ready, and when it has sent a burst
int answers;
void count_answer(Hw_message) { answers++; }

// What a peer does with each operation.
void serve(Hw_message m, const std::string &me) {
  std::string op = hw_message_op(m);
  if (op == "Hw_test_swap") {  // in s, inout s, out i, inout i, out s
    hw_message_arg_string_set(m, 1, (hw_arg(m, 1) + "+" + hw_arg(m, 0)).c_str());
    hw_message_arg_int_set(m, 2, static_cast<int>(hw_arg(m, 0).size()));
    hw_message_arg_int_set(m, 3, std::stoi(hw_arg(m, 3)) * 2);
    hw_message_arg_string_set(m, 4, me.c_str());
    hw_message_reply(m);
  } else if (op == "Hw_test_notify_me") {  // two notices back, then the answer
    for (int i = 0; i < 2; i++) {
      Hw_message n = hw_message_create("Hw_test_note", HW_CLASS_NOTICE, HW_SCOPE_SESSION,
                                       HW_ADDRESS_HANDLER, hw_message_sender(m));
      hw_message_string_arg_add(n, HW_MODE_IN, nullptr);
      hw_message_int_arg_add(n, HW_MODE_IN, 7 + i);
      hw_message_send(n);
      hw_message_destroy(n);
    }
    hw_message_reply(m);
    if (write(signal_pipe[1], "x", 1) != 1) _exit(5);
  } else if (op == "Hw_test_leave") {
    _exit(0);  // without answering
  } else if (op == "Hw_test_hold") {
    return;  // never answered
  } else if (op != "Hw_test_drop") {
    hw_message_reject(m);
  }
  hw_message_destroy(m);  // a dropped request is refused here
}

class Hailway : public testing::Test {
protected:
  void SetUp() override { ASSERT_EQ(pipe(signal_pipe), 0); }
  void TearDown() override {
    for (pid_t pid : peers) kill(pid, SIGKILL), waitpid(pid, nullptr, 0);
    close(signal_pipe[0]);
    close(signal_pipe[1]);
  }

  // A peer process, registered for op when given; its id is its process number.
  std::string start_peer(const char *op) {
    pid_t pid = fork();
    if (pid == 0) {
      char *me = hw_open();
      if (!me || hw_session_join(hw_default_session()) || (op && hw_op_register(op))) _exit(3);
      if (write(signal_pipe[1], "r", 1) != 1) _exit(4);
      hw_pump([] { return false; }, [&](Hw_message m) { serve(m, me); });
      _exit(0);
    }
    peers.push_back(pid);
    char ready;
    EXPECT_EQ(read(signal_pipe[0], &ready, 1), 1);
    return std::to_string(pid);
  }

  Private_bus bus;
  std::vector<pid_t> peers;
};

Hw_message swap_request(const char *op, Hw_address address, const char *handler) {
  Hw_message m = hw_message_create(op, HW_CLASS_REQUEST, HW_SCOPE_SESSION, address, handler);
  hw_message_string_arg_add(m, HW_MODE_IN, "in");
  hw_message_string_arg_add(m, HW_MODE_INOUT, "io");
  hw_message_int_arg_add(m, HW_MODE_OUT, 0);
  hw_message_int_arg_add(m, HW_MODE_INOUT, 21);
  hw_message_string_arg_add(m, HW_MODE_OUT, nullptr);
  hw_message_callback_add(m, count_answer);
  answers = 0;
  return m;
}
}  // namespace

// Requests in turn, each answered before the next: who gets a message, and what
// comes back to the sender's callback.
TEST_F(Hailway, RequestsReachTheirRecipientAndAnswersReachTheCallback) {
  std::string first = start_peer("Hw_test_swap"), second = start_peer("Hw_test_swap");
  ASSERT_NE(hw_open(), nullptr);
  struct {
    const char *op;
    std::string handler;  // empty: by procedure
    Hw_status status;
    std::string handled_by;
  } cases[] = {
      {"Hw_test_swap", second, HW_OK, second},
      {"Hw_test_swap", "", HW_OK, first},  // the first registered
      {"Hw_test_unknown", first, HW_ERR_REJECTED, ""},
      {"Hw_test_drop", first, HW_ERR_REJECTED, ""},
      {"Hw_test_unknown", "", HW_ERR_NO_HANDLER, ""},
      {"Hw_test_swap", "99999999", HW_ERR_NO_HANDLER, ""},
      {"Hw_test_leave", first, HW_ERR_NO_REPLY, ""},
      {"Hw_test_swap", "", HW_OK, second},  // the first has gone: the next in line
  };
  for (auto &c : cases) {
    SCOPED_TRACE(std::string(c.op) + " to " + (c.handler.empty() ? "(procedure)" : c.handler));
    Hw_message m = swap_request(c.op, c.handler.empty() ? HW_ADDRESS_PROCEDURE : HW_ADDRESS_HANDLER,
                                c.handler.c_str());
    ASSERT_EQ(hw_message_send(m), HW_OK);
    ASSERT_TRUE(hw_pump([] { return answers > 0; }, hw_message_destroy));
    bool handled = c.status == HW_OK;
    EXPECT_EQ(answers, 1);
    EXPECT_EQ(hw_message_state(m), handled ? HW_STATE_HANDLED : HW_STATE_FAILED);
    EXPECT_EQ(hw_message_status(m), c.status);
    std::string args;
    for (int i = 0; i < 5; i++) args += " " + hw_arg(m, i);
    EXPECT_EQ(args, handled ? " in io+in 2 42 " + c.handled_by : " in io 0 21 (null)");
    hw_message_destroy(m);
  }
}

// Notices come with their sender's id and null strings intact; each of a burst
// read at once wakes the loop on its own; a notice to nobody fails at once.  A
// request waiting when the bus dies fails through its callback, and the loop
// learns that the bus is gone instead of spinning on a dead socket.
TEST_F(Hailway, NoticesWakeTheLoopOneByOneAndALostBusFailsWhatWaits) {
  std::string peer = start_peer(nullptr);
  ASSERT_NE(hw_open(), nullptr);
  Hw_message m = swap_request("Hw_test_notify_me", HW_ADDRESS_HANDLER, peer.c_str());
  ASSERT_EQ(hw_message_send(m), HW_OK);
  char sent;  // the whole burst waits in the socket before the loop reads any of it
  ASSERT_EQ(read(signal_pipe[0], &sent, 1), 1);
  std::vector<std::string> seen;
  auto note = [&](Hw_message n) {
    seen.push_back(std::string(hw_message_op(n)) + " " + hw_message_sender(n) + " " + hw_arg(n, 0) +
                   " " + hw_arg(n, 1));
    EXPECT_EQ(hw_message_reject(n), HW_OK);  // refusing a notice does nothing
    hw_message_destroy(n);
  };
  ASSERT_TRUE(hw_pump([&] { return answers == 1 && seen.size() == 2; }, note));
  EXPECT_EQ(seen, (std::vector<std::string>{"Hw_test_note " + peer + " (null) 7",
                                            "Hw_test_note " + peer + " (null) 8"}));
  hw_message_destroy(m);
  Hw_message lost = hw_message_create("Hw_test_note", HW_CLASS_NOTICE, HW_SCOPE_SESSION,
                                      HW_ADDRESS_HANDLER, "99999999");
  EXPECT_EQ(hw_message_send(lost), HW_ERR_NO_HANDLER);
  hw_message_destroy(lost);

  m = swap_request("Hw_test_hold", HW_ADDRESS_HANDLER, peer.c_str());
  ASSERT_EQ(hw_message_send(m), HW_OK);
  bus.kill_daemon();
  EXPECT_TRUE(hw_pump([] { return answers > 0; }, hw_message_destroy));
  EXPECT_EQ(hw_message_status(m), HW_ERR_LOST);
  EXPECT_EQ(hw_message_receive(), nullptr);
  EXPECT_EQ(hw_pointer_error(nullptr), HW_ERR_LOST);
  hw_message_destroy(m);
}

// Without a reachable bus, opening fails cleanly and nothing pretends to work.
TEST(HailwayWithoutBus, OpenFailsCleanly) {
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus-socket", 1);
  EXPECT_EQ(hw_pointer_error(hw_open()), HW_ERR_NO_SERVICE);
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  EXPECT_EQ(hw_pointer_error(hw_open()), HW_ERR_NO_SERVICE);
  EXPECT_EQ(hw_int_error(hw_fd()), HW_ERR_NOT_OPEN);
  Hw_message m = swap_request("Op", HW_ADDRESS_PROCEDURE, nullptr);
  EXPECT_EQ(hw_message_send(m), HW_ERR_NOT_OPEN);
  hw_message_destroy(m);
}
