// twinpane as the resolve side sees it: over a private bus with a stub in the
// human's place, and in its -x form with the real diff3 and its exit statuses.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <glob.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "hailway/bus_helpers.h"
#include "hailway/hailway.h"

namespace {
const std::string kTwinpane = BRINDLE_BINARY_DIR "/bin/twinpane";

std::string slurp(const std::string &path) {
  std::ifstream in(path);
  if (!in) return "(missing)";
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

class Twinpane : public testing::Test {
protected:
  void SetUp() override {
    char tmpl[] = "/tmp/brindle-twinpane.XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir = tmpl;
    // The stub stands in for the human at a kdiff3-style tool (BASE LOCAL OTHER
    // -o OUT): its "merge" is the three inputs in a known order.
    write("stub", "#!/bin/sh\n[ \"$4\" = -o ] || exit 2\ncat \"$2\" \"$1\" \"$3\" > \"$5\"\n");
    chmod(at("stub").c_str(), 0755);
  }
  void TearDown() override { system(("rm -rf '" + dir + "'").c_str()); }

  std::string at(const std::string &name) const { return dir + "/" + name; }
  void write(const std::string &name, const std::string &text) { std::ofstream(at(name)) << text; }

  // Starts twinpane with env set; typed is written to its terminal, or, when
  // null, it runs without one.  Returns its pid.
  pid_t start(const std::vector<std::string> &args, const std::map<std::string, std::string> &env,
              const char *typed, int *terminal) {
    std::vector<char *> argv{const_cast<char *>(kTwinpane.c_str())};
    for (const std::string &a : args) argv.push_back(const_cast<char *>(a.c_str()));
    argv.push_back(nullptr);
    *terminal = -1;
    pid_t pid = typed ? forkpty(terminal, nullptr, nullptr, nullptr) : fork();
    if (pid == 0) {
      if (!typed) dup2(open("/dev/null", O_RDONLY), 0);
      for (auto &e : env) setenv(e.first.c_str(), e.second.c_str(), 1);
      execv(argv[0], argv.data());
      _exit(127);
    }
    // Typed ahead: the terminal keeps the lines until the program reads them.
    if (typed) {
      EXPECT_EQ(::write(*terminal, typed, strlen(typed)), static_cast<ssize_t>(strlen(typed)));
    }
    return pid;
  }

  // Waits for the exit status, draining the terminal so the program never blocks on it.
  int finish(pid_t pid, int terminal) {
    char buf[512];
    if (terminal >= 0) {
      while (read(terminal, buf, sizeof buf) > 0) {
      }
      close(terminal);
    }
    int status;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::string dir;
};

std::string arg_text(Hw_message m, int n) {
  const char *v = "(error)";
  hw_message_arg_string(m, n, &v);
  return v ? v : "(null)";
}

int arg_num(Hw_message m, int n) {
  int v = -1;
  hw_message_arg_int(m, n, &v);
  return v;
}

int load_answers;
void on_load_answer(Hw_message) { load_answers++; }

// The Load of the resolve side: reuse 0 goes by procedure, reuse 1 to the tool.
Hw_message load(int reuse, const std::string &tool, const std::string &ancestor,
                const std::string &child, const std::string &parent, const std::string &merged,
                const std::string &path) {
  Hw_message m = hw_message_create("Oakline_Twinpane_Load", HW_CLASS_REQUEST, HW_SCOPE_SESSION,
                                   reuse ? HW_ADDRESS_HANDLER : HW_ADDRESS_PROCEDURE, tool.c_str());
  bool anc = !ancestor.empty();
  hw_message_int_arg_add(m, HW_MODE_IN, reuse);
  hw_message_int_arg_add(m, HW_MODE_IN, 0);
  hw_message_string_arg_add(m, HW_MODE_IN, anc ? ancestor.c_str() : nullptr);
  hw_message_string_arg_add(m, HW_MODE_IN, anc ? "Child vs. Ancestor" : "Child");
  hw_message_string_arg_add(m, HW_MODE_IN, anc ? "Parent vs. Ancestor" : "parent");
  hw_message_string_arg_add(m, HW_MODE_IN, nullptr);
  hw_message_string_arg_add(m, HW_MODE_IN, child.c_str());
  hw_message_string_arg_add(m, HW_MODE_IN, parent.c_str());
  hw_message_string_arg_add(m, HW_MODE_INOUT, merged.c_str());
  hw_message_string_arg_add(m, HW_MODE_IN, path.c_str());
  hw_message_string_arg_add(m, HW_MODE_IN, "Merged Result");
  hw_message_int_arg_add(m, HW_MODE_IN, 1);
  hw_message_int_arg_add(m, HW_MODE_IN, 0);
  hw_message_string_arg_add(m, HW_MODE_IN, path.c_str());
  hw_message_callback_add(m, on_load_answer);
  return m;
}

Hw_message request(const char *op, const std::string &tool) {
  Hw_message m = hw_message_create(op, HW_CLASS_REQUEST, HW_SCOPE_SESSION, HW_ADDRESS_HANDLER,
                                   tool.c_str());
  hw_message_callback_add(m, on_load_answer);
  return m;
}
}  // namespace

// The resolve side starts the tool, loads two conflicts (one without a common
// ancestor), gets each decision back as Saved, drives the footer, and quits it;
// once for each way the user can decide.
TEST_F(Twinpane, ServesTheResolveSideOverHailway) {
  Private_bus bus;
  char *me = hw_open();
  ASSERT_NE(me, nullptr);
  write("f.c.A.a1b2c3", "ancestor\n");
  write("f.c.C.a1b2c3", "child\n");
  write("f.c.P.a1b2c3", "parent\n");
  std::vector<std::string> seen;  // "op sender"
  std::vector<Hw_message> saved;
  auto on_message = [&](Hw_message m) {
    seen.push_back(std::string(hw_message_op(m)) + " " + hw_message_sender(m));
    if (seen.back().rfind("Oakline_Twinpane_Saved", 0) == 0)
      saved.push_back(m);
    else
      hw_message_destroy(m);
  };
  struct {
    const char *decision;
    int took_parent, took_child;
  } users[] = {{"", 0, 0}, {"parent", 1, 0}, {"child", 0, 1}};
  for (auto &user : users) {
    SCOPED_TRACE(std::string("decision ") + user.decision);
    seen.clear();
    int term;
    pid_t pid = start({"-T", me}, {{"TWINPANE_TOOL", at("stub")}, {"TWINPANE_DECISION", user.decision}},
                      nullptr, &term);
    std::string tool = std::to_string(pid);
    ASSERT_TRUE(hw_pump([&] { return !seen.empty(); }, on_message));
    EXPECT_EQ(seen, std::vector<std::string>{"Oakline_Twinpane_Started " + tool});

    struct {
      int reuse;
      std::string ancestor, merge;
    } files[] = {{0, at("f.c.A.a1b2c3"), "child\nancestor\nparent\n"}, {1, "", "child\nparent\n"}};
    for (auto &f : files) {
      SCOPED_TRACE(f.reuse ? "second file, to the running tool" : "first file, by procedure");
      std::string merged = at(f.reuse ? "f.c.M.d4e5f6" : "f.c.M.a1b2c3");
      unlink(merged.c_str());
      Hw_message m = load(f.reuse, tool, f.ancestor, at("f.c.C.a1b2c3"), at("f.c.P.a1b2c3"),
                          merged, at("f.c"));
      seen.clear();
      load_answers = 0;
      ASSERT_EQ(hw_message_send(m), HW_OK);
      ASSERT_TRUE(hw_pump([&] { return load_answers && saved.size() == 1; }, on_message));
      EXPECT_EQ(hw_message_state(m), HW_STATE_HANDLED);
      EXPECT_EQ(arg_text(m, 8), merged);
      hw_message_destroy(m);
      EXPECT_EQ(seen, (std::vector<std::string>{"Oakline_Twinpane_Loaded " + tool,
                                                "Oakline_Twinpane_Saved " + tool}));
      Hw_message s = saved.front();
      saved.clear();
      EXPECT_EQ(arg_text(s, 0), f.ancestor.empty() ? "(null)" : f.ancestor);
      EXPECT_EQ(arg_text(s, 1), at("f.c.C.a1b2c3"));
      EXPECT_EQ(arg_text(s, 2), at("f.c.P.a1b2c3"));
      EXPECT_EQ(arg_text(s, 3), merged);
      EXPECT_EQ(arg_num(s, 4), user.took_parent);
      EXPECT_EQ(arg_num(s, 5), user.took_child);
      hw_message_destroy(s);
      EXPECT_EQ(slurp(merged), *user.decision ? "(missing)" : f.merge);
    }
    // The stand-in for the missing ancestor is gone with the merge.
    glob_t g;
    EXPECT_EQ(glob(at("*.E.*").c_str(), 0, nullptr, &g), GLOB_NOMATCH);
    globfree(&g);

    struct {
      const char *op;
      Hw_state state;
    } steps[] = {{"Oakline_Twinpane_Set_LFtr", HW_STATE_HANDLED},
                 {"Oakline_Twinpane_Unload", HW_STATE_HANDLED},
                 {"Oakline_Twinpane_Frobnicate", HW_STATE_FAILED},
                 {"Oakline_Twinpane_Quit", HW_STATE_HANDLED}};
    for (auto &step : steps) {
      SCOPED_TRACE(step.op);
      Hw_message m = request(step.op, tool);
      if (std::string(step.op) == "Oakline_Twinpane_Set_LFtr") {
        hw_message_string_arg_add(m, HW_MODE_IN, "Checking in f.c");
        hw_message_int_arg_add(m, HW_MODE_IN, 0);
      } else {
        hw_message_int_arg_add(m, HW_MODE_IN, 1);
      }
      load_answers = 0;
      seen.clear();
      ASSERT_EQ(hw_message_send(m), HW_OK);
      ASSERT_TRUE(hw_pump([&] { return load_answers > 0; }, on_message));
      EXPECT_EQ(hw_message_state(m), step.state);
      hw_message_destroy(m);
    }
    ASSERT_TRUE(hw_pump([&] { return !seen.empty(); }, on_message));
    EXPECT_EQ(seen, std::vector<std::string>{"Oakline_Twinpane_Quitted " + tool});
    EXPECT_EQ(finish(pid, term), 0);
  }
}

// The -x form: the decision is the exit status, whether it comes from the
// environment, from the user at the terminal, or from how the merge went.
TEST_F(Twinpane, TellsTheDecisionByItsExitStatus) {
  write("anc", "one\ntwo\nthree\nfour\nfive\n");
  write("child", "ONE\ntwo\nthree\nfour\nfive\n");
  write("clean", "one\ntwo\nthree\nfour\nFIVE\n");   // merges cleanly with child
  write("clash", "uno\ntwo\nthree\nfour\nfive\n");   // conflicts with child
  struct {
    const char *decision, *typed, *parent;
    int status;
    std::string merged;  // "(markers)": diff3's conflict left in place
  } cases[] = {
      {"", nullptr, "clean", 48, "ONE\ntwo\nthree\nfour\nFIVE\n"},
      {"", nullptr, "clash", 0, "(markers)"},
      {"merged", nullptr, "clash", 0, "(markers)"},
      {"child", nullptr, "clash", 32, "(missing)"},
      {"parent", nullptr, "clash", 16, "(missing)"},
      {"skip", nullptr, "clean", 0, "(missing)"},
      {"", "p\n", "clash", 16, "(markers)"},
      // "m" is refused while markers remain; then the child's version.
      {"", "m\nc\n", "clash", 32, "(markers)"},
      {"", "\n", "clean", 48, "ONE\ntwo\nthree\nfour\nFIVE\n"},
  };
  for (auto &c : cases) {
    SCOPED_TRACE(std::string(c.decision) + " typed " + (c.typed ? c.typed : "(no terminal)") +
                 " with " + c.parent);
    unlink(at("merged").c_str());
    int term;
    pid_t pid = start({"-x", "-a", at("anc"), "-f1", "Child vs. Ancestor", "-f2",
                       "Parent vs. Ancestor", "-f3", "Merged Result", "-ft", at("file"),
                       at("child"), at(c.parent), at("merged")},
                      {{"TWINPANE_TOOL", "diff3"}, {"EDITOR", "true"},
                       {"TWINPANE_DECISION", c.decision}},
                      c.typed, &term);
    EXPECT_EQ(finish(pid, term), c.status);
    std::string merged = slurp(at("merged"));
    if (merged.find("<<<<<<< child\nONE\n||||||| ancestor\none\n=======\nuno\n>>>>>>> parent\n") == 0)
      merged = "(markers)";
    EXPECT_EQ(merged, c.merged);
  }
}
