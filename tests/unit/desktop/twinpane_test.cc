// twinpane as the resolve side sees it: over a private bus with a stub in the
// human's place, and in its -x form with the real diff3 and its exit statuses.
#include <fcntl.h>
#include <glob.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <iterator>
#include <string>
#include <vector>

#include "hailway/bus_helpers.h"
#include "hailway/hailway.h"

namespace {
int answers;
void count_answer(Hw_message) { answers++; }

class Twinpane : public testing::Test {
protected:
  void SetUp() override {
    char tmpl[] = "/tmp/brindle-twinpane.XXXXXX";
    dir = mkdtemp(tmpl);
    // The stub stands in for the human at a kdiff3-style tool (BASE LOCAL OTHER
    // -o OUT): its "merge" is the three inputs in a known order.
    write("stub", "#!/bin/sh\n[ \"$4\" = -o ] || exit 2\ncat \"$2\" \"$1\" \"$3\" > \"$5\"\n");
    chmod(at("stub").c_str(), 0755);
  }
  void TearDown() override { EXPECT_EQ(system(("rm -rf " + dir).c_str()), 0); }

  std::string at(const std::string &name) const { return dir + "/" + name; }
  void write(const std::string &name, const std::string &text) { std::ofstream(at(name)) << text; }
  std::string read(const std::string &name) {
    std::ifstream in(at(name));
    return in ? std::string(std::istreambuf_iterator<char>(in), {}) : "(missing)";
  }

  // Starts twinpane; typed goes to its terminal, or, when null, it has none.
  pid_t start(const std::vector<std::string> &args, const std::map<std::string, std::string> &env,
              const char *typed = nullptr) {
    std::vector<char *> argv{const_cast<char *>(BRINDLE_BINARY_DIR "/bin/twinpane")};
    for (const std::string &a : args) argv.push_back(const_cast<char *>(a.c_str()));
    argv.push_back(nullptr);
    terminal = -1;
    pid_t pid = typed ? forkpty(&terminal, nullptr, nullptr, nullptr) : fork();
    if (pid == 0) {
      if (!typed) dup2(open("/dev/null", O_RDONLY), 0);
      for (auto &e : env) setenv(e.first.c_str(), e.second.c_str(), 1);
      execv(argv[0], argv.data());
      _exit(127);
    }
    // Typed ahead: the terminal keeps the lines until the program reads them.
    if (typed) {
      EXPECT_EQ(::write(terminal, typed, strlen(typed)), static_cast<ssize_t>(strlen(typed)));
    }
    return pid;
  }

  // The exit status; the terminal is drained so that the program never blocks on it.
  int finish(pid_t pid) {
    char buf[512];
    while (terminal >= 0 && ::read(terminal, buf, sizeof buf) > 0) continue;
    if (terminal >= 0) close(terminal);
    int status;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::string dir;
  int terminal = -1;
};

// A request to the tool; a Load is filled as the resolve side fills it.  The
// names and places are written out here, not taken from the protocol header, so
// that a slip there shows.
Hw_message request(const char *op, const std::string &tool, Hw_address address,
                   const std::vector<std::string> &files = {}) {
  Hw_message m = hw_message_create(op, HW_CLASS_REQUEST, HW_SCOPE_SESSION, address, tool.c_str());
  hw_message_callback_add(m, count_answer);
  answers = 0;
  if (files.empty()) return m;
  const char *anc = files[0].empty() ? nullptr : files[0].c_str(), *path = files[4].c_str();
  hw_message_int_arg_add(m, HW_MODE_IN, address == HW_ADDRESS_HANDLER);  // reuse
  hw_message_int_arg_add(m, HW_MODE_IN, 0);
  for (const char *s :
       {anc, anc ? "Child vs. Ancestor" : "Child", anc ? "Parent vs. Ancestor" : "parent",
        static_cast<const char *>(nullptr), files[1].c_str(), files[2].c_str()})
    hw_message_string_arg_add(m, HW_MODE_IN, s);
  hw_message_string_arg_add(m, HW_MODE_INOUT, files[3].c_str());
  hw_message_string_arg_add(m, HW_MODE_IN, path);
  hw_message_string_arg_add(m, HW_MODE_IN, "Merged Result");
  hw_message_int_arg_add(m, HW_MODE_IN, 1);
  hw_message_int_arg_add(m, HW_MODE_IN, 0);  // autosave
  hw_message_string_arg_add(m, HW_MODE_IN, path);
  return m;
}
}  // namespace

// The resolve side starts the tool, loads two conflicts (one without a common
// ancestor), gets each decision back as Saved, drives the footer, and quits it;
// once for each way the user can decide.  Then it leaves without a Quit.
TEST_F(Twinpane, ServesTheResolveSideOverHailway) {
  Private_bus bus;
  char *me = hw_open();
  ASSERT_NE(me, nullptr);
  const std::string f = "f\xe9 c";  // a blank, and a Latin-1 byte that isn't UTF-8
  write(f + ".A.a1b2c3", "ancestor\n");
  write(f + ".C.a1b2c3", "child\n");
  write(f + ".P.a1b2c3", "parent\n");
  std::vector<std::string> seen;  // "op sender", and a Saved's arguments
  auto on_message = [&](Hw_message m) {
    std::string line = std::string(hw_message_op(m)) + " " + hw_message_sender(m);
    for (int i = 0; i < hw_message_args_count(m); i++) line += " " + hw_arg(m, i);
    seen.push_back(line);
    hw_message_destroy(m);
  };
  struct {
    const char *decision, *ints;  // the Saved's "took parent, took child"
  } users[] = {{"", "0 0"}, {"parent", "1 0"}, {"child", "0 1"}};
  for (auto &user : users) {
    SCOPED_TRACE(std::string("decision ") + user.decision);
    seen.clear();
    pid_t pid =
        start({"-T", me}, {{"TWINPANE_TOOL", at("stub")}, {"TWINPANE_DECISION", user.decision}});
    std::string tool = std::to_string(pid);
    ASSERT_TRUE(hw_pump([&] { return !seen.empty(); }, on_message));
    EXPECT_EQ(seen, std::vector<std::string>{"Oakline_Twinpane_Started " + tool});
    // First by procedure, then to the running tool without an ancestor.
    for (std::string ancestor : {at(f + ".A.a1b2c3"), std::string()}) {
      std::string merged = at(f + (ancestor.empty() ? ".M.d4e5f6" : ".M.a1b2c3"));
      Hw_message m = request("Oakline_Twinpane_Load", tool,
                             ancestor.empty() ? HW_ADDRESS_HANDLER : HW_ADDRESS_PROCEDURE,
                             {ancestor, at(f + ".C.a1b2c3"), at(f + ".P.a1b2c3"), merged, at(f)});
      seen.clear();
      ASSERT_EQ(hw_message_send(m), HW_OK);
      ASSERT_TRUE(hw_pump([&] { return answers && seen.size() == 2; }, on_message));
      EXPECT_EQ(hw_message_state(m), HW_STATE_HANDLED);
      EXPECT_EQ(hw_arg(m, 8), merged);
      hw_message_destroy(m);
      EXPECT_EQ(seen, (std::vector<std::string>{
                          "Oakline_Twinpane_Loaded " + tool,
                          "Oakline_Twinpane_Saved " + tool + " " +
                              (ancestor.empty() ? "(null)" : ancestor) + " " + at(f + ".C.a1b2c3") +
                              " " + at(f + ".P.a1b2c3") + " " + merged + " " + user.ints}));
      std::string merge = ancestor.empty() ? "child\nparent\n" : "child\nancestor\nparent\n";
      EXPECT_EQ(read(merged.substr(dir.size() + 1)), *user.decision ? "(missing)" : merge);
      unlink(merged.c_str());
    }
    // The stand-in for the missing ancestor is gone with the merge.
    glob_t g;
    EXPECT_EQ(glob(at("*.E.*").c_str(), 0, nullptr, &g), GLOB_NOMATCH);
    globfree(&g);
    for (const char *op : {"Oakline_Twinpane_Set_LFtr", "Oakline_Twinpane_Unload",
                           "Oakline_Twinpane_Frobnicate", "Oakline_Twinpane_Quit"}) {
      SCOPED_TRACE(op);
      Hw_message m = request(op, tool, HW_ADDRESS_HANDLER);
      if (!strcmp(op, "Oakline_Twinpane_Set_LFtr"))
        hw_message_string_arg_add(m, HW_MODE_IN, "Checking in f.c");
      hw_message_int_arg_add(m, HW_MODE_IN, 1);
      seen.clear();
      ASSERT_EQ(hw_message_send(m), HW_OK);
      ASSERT_TRUE(hw_pump([&] { return answers > 0; }, on_message));
      EXPECT_EQ(hw_message_status(m), strstr(op, "Frob") ? HW_ERR_REJECTED : HW_OK);
      hw_message_destroy(m);
    }
    ASSERT_TRUE(hw_pump([&] { return !seen.empty(); }, on_message));
    EXPECT_EQ(seen, std::vector<std::string>{"Oakline_Twinpane_Quitted " + tool});
    EXPECT_EQ(finish(pid), 0);
  }
  // A resolve side that goes away without a Quit doesn't leave the tool behind.
  seen.clear();
  pid_t pid = start({"-T", me}, {});
  ASSERT_TRUE(hw_pump([&] { return !seen.empty(); }, on_message));
  hw_close();
  EXPECT_EQ(finish(pid), 0);
}

// The -x form: the decision is the exit status, whether it comes from the
// environment, from the user at the terminal, or from how the merge went.
TEST_F(Twinpane, TellsTheDecisionByItsExitStatus) {
  write("anc", "one\ntwo\nthree\nfour\nfive\n");
  write("child", "ONE\ntwo\nthree\nfour\nfive\n");
  write("clean", "one\ntwo\nthree\nfour\nFIVE\n");  // merges cleanly with child
  write("clash", "uno\ntwo\nthree\nfour\nfive\n");  // conflicts with child
  const std::string merge = "ONE\ntwo\nthree\nfour\nFIVE\n";
  const std::string markers =
      "<<<<<<< child\nONE\n||||||| ancestor\none\n=======\nuno\n>>>>>>> "
      "parent\ntwo\nthree\nfour\nfive\n";
  struct {
    const char *decision, *typed, *parent;
    int status;
    std::string merged;
  } cases[] = {
      {"", nullptr, "clean", 48, merge},
      {"", nullptr, "clash", 0, markers},
      {"merged", nullptr, "clash", 0, markers},
      {"child", nullptr, "clash", 32, "(missing)"},
      {"parent", nullptr, "clash", 16, "(missing)"},
      {"skip", nullptr, "clean", 0, "(missing)"},
      {"", "p\n", "clash", 16, markers},
      {"", "m\nc\n", "clash", 32, markers},  // "m" is refused while markers remain
      {"", "\n", "clean", 48, merge},
  };
  for (auto &c : cases) {
    SCOPED_TRACE(std::string(c.decision) + " typed " + (c.typed ? c.typed : "(no terminal)") +
                 " with " + c.parent);
    unlink(at("merged").c_str());
    pid_t pid =
        start({"-x", "-a", at("anc"), "-f1", "Child vs. Ancestor", "-f2", "Parent vs. Ancestor",
               "-f3", "Merged Result", "-ft", at("file"), at("child"), at(c.parent), at("merged")},
              {{"TWINPANE_TOOL", "diff3"}, {"EDITOR", "true"}, {"TWINPANE_DECISION", c.decision}},
              c.typed);
    EXPECT_EQ(finish(pid), c.status);
    EXPECT_EQ(read("merged"), c.merged);
  }
}
