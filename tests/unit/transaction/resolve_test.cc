// The resolve side's own formats: the user's ~/.brindle_resrc, read and
// written by its rules, and the refusal of a merge tool's report on files that
// are not one conflict's.  Settling files end to end, with the messages as
// twinpane receives them, is told by the stories t1501 and t1502.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "hailway/bus_helpers.h"
#include "hailway/hailway.h"
#include "support/scratch.h"
#include "support/support.h"
#include "transaction/kes_resolve.h"

using namespace support;

namespace {

class ResolveRc : public Scratch {
protected:
  void SetUp() override {
    Scratch::SetUp();
    const char *home = getenv("HOME");
    saved_home = home ? home : "";
    setenv("HOME", dir.c_str(), 1);
  }
  void TearDown() override {
    setenv("HOME", saved_home.c_str(), 1);
    Scratch::TearDown();
  }
  static std::string fields(const Kes_resolve_rc &rc) {
    return std::to_string(rc.start_twinpane) + std::to_string(rc.autoadvance) +
           std::to_string(rc.checkin_comments) + std::to_string(rc.reuse_twinpane) +
           std::to_string(rc.autosave);
  }
  std::string saved_home;
};

// Fields in the order start_twinpane, autoadvance, checkin_comments,
// reuse_twinpane, autosave; the defaults are 01000.
TEST_F(ResolveRc, ReadsSetLinesByTheirRules) {
  struct {
    const char *text;  // null: no file
    const char *fields;
    int code;
  } cases[] = {
      {nullptr, "01000", 0},
      {"# mine\n\nset start_twinpane\nset noautoadvance\n", "10000", 0},
      {"set noauto\n", "00000", 0},                    // a prefix of the first key in order
      {"set noskipcomments\n", "01100", 0},            // the opposite of skipping
      {"set checkin_comments\nset skipcomments\n", "01000", 0},
      {"set\treuse\nset autosave_later\nset frobnicate\n", "01011", 0},  // "_" ends a word
      {"set no\nset\n", "01000", 0},
      {"set autosave\nunset autosave\nset reuse\n", "01001", 2032},  // stops at the bad line
  };
  for (auto &c : cases) {
    SCOPED_TRACE(c.text ? c.text : "(no file)");
    unlink(at(".brindle_resrc").c_str());
    if (c.text) write_file(at(".brindle_resrc"), c.text);
    Kes_resolve_rc rc;
    Err e = take(rc.read());
    EXPECT_EQ(e.code, c.code) << e.text;
    EXPECT_EQ(e.text.find("unset autosave") != std::string::npos, c.code != 0) << e.text;
    EXPECT_EQ(fields(rc), c.fields);
  }
}

// The written form and its reading back are told by the story t2107.
TEST_F(ResolveRc, AHomeThatCannotTakeTheFileGetsNothing) {
  Kes_resolve_rc rc;
  setenv("HOME", at("gone").c_str(), 1);
  EXPECT_EQ(take(rc.write()).code, 2031);
  EXPECT_FALSE(file_exists(at("gone")));
}

// A Saved report names files that resolve will rename and unlink: only the
// temporary files of one clear file are taken.
TEST(ResolveMessages, ASavedReportOnForeignFilesIsRefused) {
  Private_bus bus;
  char *me = hw_open();
  ASSERT_NE(me, nullptr);
  struct {
    const char *ancestor, *child, *parent, *merged;
  } cases[] = {
      {nullptr, "/w/f.c.C.aaaaaa", "/w/f.c.P.aaaaaa", "/etc/passwd"},
      {"/w/g.c.A.aaaaaa", "/w/f.c.C.aaaaaa", "/w/f.c.P.aaaaaa", "/w/f.c.M.aaaaaa"},
      {nullptr, "/w/f.c.C.aa/aaa", "/w/f.c.P.aaaaaa", "/w/f.c.M.aaaaaa"},
      {nullptr, "/w/f.c.C.aaaaaa", nullptr, "/w/f.c.M.aaaaaa"},
      {nullptr, "C.aaaaaa", "/w/f.c.P.aaaaaa", "/w/f.c.M.aaaaaa"},
  };
  int received = 0;
  for (auto &c : cases) {
    Hw_message m = hw_message_create("Oakline_Twinpane_Saved", HW_CLASS_NOTICE, HW_SCOPE_SESSION,
                                     HW_ADDRESS_HANDLER, me);
    for (const char *s : {c.ancestor, c.child, c.parent, c.merged})
      hw_message_string_arg_add(m, HW_MODE_IN, s);
    hw_message_int_arg_add(m, HW_MODE_IN, 0);
    hw_message_int_arg_add(m, HW_MODE_IN, 0);
    ASSERT_EQ(hw_message_send(m), HW_OK);
    hw_message_destroy(m);
  }
  ASSERT_TRUE(hw_pump([&] { return received == 5; }, [&](Hw_message m) {
    Kes_resolve *r = nullptr;
    int parent = -1, child = -1;
    Err e = take(resolve_get_hw_save_msg(m, nullptr, &r, &parent, &child));
    EXPECT_EQ(e.code, 2073) << "case " << received;
    EXPECT_EQ(r, nullptr);
    received++;
    hw_message_destroy(m);
  }));
}

}  // namespace
