// Access control: the value lists, the file as people edit it, the defaults a
// new workspace starts with, and the checks the commands make.

#include "util/kes_host.h"
#include "util/kes_init.h"
#include "workspace/kes_access.h"
#include "workspace/kes_notify.h"
#include "workspace/kes_workspace.h"
#include "workspace/ws_helpers.h"

using namespace support;
using namespace ws_test;

namespace {

Kes_access *entry(const char *values) {
  Kes_strlist *list = nullptr;
  if (values) {
    list = new Kes_strlist;
    std::string v = values;
    size_t start = 0;
    while (start <= v.size()) {
      size_t colon = v.find(':', start);
      if (colon == std::string::npos) colon = v.size();
      list->add_new_copy(const_cast<char *>(v.substr(start, colon - start).c_str()));
      start = colon + 1;
    }
  }
  return new Kes_access(nullptr, "bringover-to", list);
}

TEST(AccessValuesTest, ListsAreReadLeftToRightAndNamesCompareOn32Bytes) {
  struct Case {
    const char *values, *user;
    int granted;
  } cases[] = {
      {"-alice:bob", "alice", 0}, {"-alice:bob", "bob", 1},   {"-alice:bob", "carol", 0},
      {"-alice", "alice", 0},     {"-alice", "carol", 1},     {"alice:-", "alice", 1},
      {"alice:-", "carol", 0},    {"-:alice", "alice", 0},    {"-:alice", "carol", 0},
      {"alice", "alicia", 0},     {"alice", "alic", 0},
  };
  for (const Case &c : cases) {
    Kes_access *a = entry(c.values);
    EXPECT_EQ(a->access(c.user), c.granted) << c.values << " for " << c.user;
    delete a;
  }
  // No values grant everybody; names compare on their first 32 bytes.
  Kes_access *none = entry(nullptr), *empty = new Kes_access(nullptr, "undo", new Kes_strlist);
  EXPECT_EQ(none->access("anyone"), 1);
  EXPECT_EQ(empty->access("anyone"), 1);
  std::string value(32, 'u');
  Kes_access *a = entry(value.c_str());
  EXPECT_EQ(a->access((value + "x").c_str()), 1) << "the 33rd byte is not looked at";
  EXPECT_EQ(a->access(value.substr(0, 31).c_str()), 0);
  delete none;
  delete empty;
  delete a;
}

class AccessFileTest : public ::testing::Test {
protected:
  Temp_dir tmp;
  std::string dir = tmp.path();
  Kes_workspace *ws = nullptr;
  std::string file;
  std::string user;

  void SetUp() override {
    make_ws(dir + "/ws");
    Kes_err *err = nullptr;
    ws = new Kes_workspace((dir + "/ws").c_str(), &err);
    ASSERT_EQ(err, nullptr);
    file = dir + "/ws/Brindle_wsdata/access_control";
    user = kes_get_user(0, 1) ? kes_get_user(0, 1) : "";
  }
  void TearDown() override { delete ws; }
  int granted(const char *operation, const char *who) {
    int g = -1;
    Kes_err *err = ws->access_granted(operation, who, &g);
    if (err) {
      ADD_FAILURE() << err->text;
      delete err;
    }
    return g;
  }
};

TEST_F(AccessFileTest, EntriesKeepTheirCommentsAndSplitAtAnySeparator) {
  write_file(file,
       "VERSION 2\n# who may bring over\n\nbringover-to  alice, bob\tcarol:dave # team\n"
       "undo\n");
  Kes_md_access *md = nullptr;
  ASSERT_EQ(ws->get_md_access(&md), nullptr);
  Kes_accesslist list;
  Kes_err *err = md->get_contents(&list);
  ASSERT_EQ(err, nullptr) << err->text;
  ASSERT_EQ(list.count, 2);
  Kes_access *to = list.find_operation("bringover-to");
  ASSERT_NE(to, nullptr);
  ASSERT_EQ(to->values->count, 4);
  EXPECT_STREQ((char *)to->values->head.prev->data, "dave");
  ASSERT_NE(to->comments, nullptr);
  char *text = nullptr;
  md->format_comment(to, &text);
  ASSERT_NE(text, nullptr);
  EXPECT_STREQ(text, "# who may bring over\n\n# team\n");
  free(text);
  md->format_entry(to, &text);
  EXPECT_STREQ(text, "bringover-to\t\talice:bob:carol:dave\n");
  free(text);
  Kes_access *undo = list.find_operation("undo");
  ASSERT_NE(undo, nullptr);
  EXPECT_TRUE(!undo->values || undo->values->count == 0);
  EXPECT_EQ(list.find_operation("putback-to"), nullptr);

  delete md;
}

TEST_F(AccessFileTest, EntryPaddingReachesColumn24) {
  Kes_md_access md(ws, (dir + "/ws/Brindle_wsdata").c_str());
  std::string o23(23, 'o'), o24(24, 'o');
  struct Case {
    std::string op, expected;
  } cases[] = {
      {"undo", "undo\t\t\tx\n"},
      {"workspace-reparent-to", "workspace-reparent-to\tx\n"},
      {o23, o23 + "\tx\n"},
      {o24, o24 + " x\n"},
  };
  for (const Case &c : cases) {
    Kes_strlist *values = new Kes_strlist;
    values->add_new_copy(const_cast<char *>("x"));
    Kes_access a(nullptr, c.op.c_str(), values);
    char *text = nullptr;
    md.format_entry(&a, &text);
    EXPECT_EQ(c.expected, text) << c.op;
    free(text);
  }
}

TEST_F(AccessFileTest, MissingFileOrMissingOperationFallsBack) {
  EXPECT_EQ(granted("workspace-delete", "anybody"), 1) << "no file: everything is allowed";

  write_file(file, "VERSION 2\nbringover-from\t\t-\n");
  EXPECT_EQ(granted("bringover-from", user.c_str()), 0);
  // Not in the file: the built-in default, whose creator is the running user.
  EXPECT_EQ(granted("workspace-delete", user.c_str()), 1);
  EXPECT_EQ(granted("workspace-delete", "somebody-else"), 0);
  EXPECT_EQ(granted("putback-to", "somebody-else"), 1);

  int g = -1;
  EXPECT_EQ(take(ws->access_granted("fly-away", user.c_str(), &g)).code, 2034);
}

TEST_F(AccessFileTest, VersionOneFileIsUpgradedInPlaceByItsFirstReader) {
  write_file(file, "VERSION 1\nundo\t\t\t-\n");
  EXPECT_EQ(granted("undo", user.c_str()), 0);
  EXPECT_EQ(read_file(file), "VERSION 2\nundo\t\t\t-\n");

  write_file(file, "VERSION 3\nundo\n");
  int g = -1;
  EXPECT_EQ(take(ws->access_granted("undo", user.c_str(), &g)).code, 2046)
      << "a newer file stops the command";
}

class NotifyFileTest : public AccessFileTest {
protected:
  // Reads the notification file; the error's code, 0 for success.
  int read(const std::string &text, Kes_notifylist *list, std::string *msg = nullptr) {
    write_file(dir + "/ws/Brindle_wsdata/notification", text);
    Kes_md_notify *md = nullptr;
    EXPECT_EQ(ws->get_md_notify(&md), nullptr);
    Kes_err *err = md->get_contents(list);
    delete md;
    if (!err) return 0;
    if (msg) *msg = err->text;
    int code = err->code;
    delete err;
    return code;
  }
};

TEST_F(NotifyFileTest, FileListsAreOptionalAndADotMeansAllFiles) {
  Kes_notifylist list;
  ASSERT_EQ(read("VERSION 1\na@x bringover-to undo\nBEGIN\nsrc/one two\n.\nEND\n"
                 "b@y putback-to\nBEGIN\n.\nEND\nc@z workspace-move\nBEGIN\nEND\n",
                 &list),
            0);
  ASSERT_EQ(list.count, 3);
  Kes_notify *a = (Kes_notify *)list.head.next->data;
  EXPECT_STREQ(a->email_addr, "a@x");
  EXPECT_EQ(a->events->count, 2);
  ASSERT_NE(a->files, nullptr);
  ASSERT_EQ(a->files->count, 1);
  EXPECT_STREQ((char *)a->files->head.next->data, "src/one") << "a name is cut at a blank";
  EXPECT_EQ(((Kes_notify *)list.head.next->next->data)->files, nullptr);
  EXPECT_EQ(((Kes_notify *)list.head.prev->data)->files, nullptr);
  char *text = nullptr;
  Kes_md_notify md(ws, (dir + "/ws/Brindle_wsdata").c_str());
  md.format_entry(a, &text);
  EXPECT_STREQ(text, "a@x bringover-to undo\nBEGIN\nsrc/one\nEND\n");
  free(text);

  list.get_event("putback-to");
  ASSERT_EQ(list.count, 1);
  EXPECT_STREQ(((Kes_notify *)list.head.next->data)->email_addr, "b@y");
  EXPECT_EQ(check_event_entry("undo"), 1);
  EXPECT_EQ(check_event_entry("user@host"), 0);
}

TEST_F(NotifyFileTest, DamagedEntriesNameTheirLineCountingComments) {
  struct Case {
    const char *text;
    int code;
    const char *what;
  } cases[] = {
      {"VERSION 1\n# who\n# gets mail\nlonely@x\n", 2067, "missing notification event, line 4."},
      {"VERSION 1\na@x undo\nBEGIN\nsrc\nEND now\n", 2053, "text after \"END\", line 5."},
      {"VERSION 1\na@x undo\nBEGIN\nsrc\n", 2054, "missing \"END\", line 4."},
  };
  for (const Case &c : cases) {
    Kes_notifylist list;
    std::string msg;
    EXPECT_EQ(read(c.text, &list, &msg), c.code) << c.text;
    EXPECT_NE(msg.find(c.what), std::string::npos) << msg;
  }
}

}  // namespace
