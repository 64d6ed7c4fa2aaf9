// Creating a workspace: where it may be made, the modes it gets, and the two
// files it starts with.

#include "util/kes_init.h"
#include "workspace/kes_workspace.h"
#include "workspace/ws_helpers.h"

using namespace support;
using namespace ws_test;

namespace {

class CreateWsTest : public ::testing::Test {
protected:
  Temp_dir tmp;
  std::string dir = tmp.path();
  static bool is_file(const std::string &path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
  }
  // Creates the workspace at path; the error's code, 0 for success.
  static int create(const std::string &path, std::string *text = nullptr,
                    std::string *wsname = nullptr) {
    Kes_err *err = nullptr;
    Kes_workspace ws(path.c_str(), &err);
    if (err) {
      delete err;
      return -1;
    }
    err = ws.create_ws(VCS_SCCS);
    if (wsname && ws.wsname) *wsname = ws.wsname;
    if (!err) return 0;
    int code = err->code;
    if (text) *text = err->text;
    delete err;
    return code;
  }
};

TEST_F(CreateWsTest, NewRootGetsTheUsersMaskAndBothDefaultFilesAnExistingOneKeepsItsMode) {
  umask(0);  // the process works with umask 0; the saved mask still counts
  std::string root = dir + "/new/ws";
  std::string wsname;
  ASSERT_EQ(create(root, nullptr, &wsname), 0);
  EXPECT_EQ(mode_of(root), 0777 & ~umask_get());
  EXPECT_TRUE(is_file(root + "/Brindle_wsdata/access_control"));
  EXPECT_TRUE(is_file(root + "/Brindle_wsdata/notification"));
  EXPECT_EQ(wsname, root) << "the names are computed again for the real directory";
  Kes_err *err = nullptr;
  Kes_workspace ws(root.c_str(), &err);
  ASSERT_EQ(err, nullptr);
  EXPECT_TRUE(ws.exists());
  EXPECT_TRUE(ws.root_is_empty());

  // An existing directory keeps its mode.
  std::string existing = dir + "/existing";
  ASSERT_EQ(mkdir(existing.c_str(), 0700), 0);
  ASSERT_EQ(chmod(existing.c_str(), 0750), 0);
  ASSERT_EQ(create(existing), 0);
  EXPECT_EQ(mode_of(existing), 0750u);
}

TEST_F(CreateWsTest, PlaceThatCannotHoldADirectoryGivesTheMkdirError) {
  std::string file = dir + "/plain-file";
  write_file(file, "");
  std::string text;
  EXPECT_EQ(create(file + "/ws", &text), 1013);
  EXPECT_NE(text.find("Mkdir of \""), std::string::npos) << text;
}

}  // namespace
