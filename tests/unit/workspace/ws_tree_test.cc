// Deleting, moving and reparenting workspaces on real directories: the link
// files of the neighbours, the command lock, the failures and their rollback,
// and the mails, recorded by a mailer script that stands in for the host's.
#include <sys/mount.h>

#include "util/kes_host.h"
#include "workspace/kes_cmdlock.h"
#include "workspace/kes_mailer.h"
#include "workspace/kes_workspace.h"
#include "workspace/ws_helpers.h"

using namespace support;
using namespace ws_test;

namespace {

class WsTree : public testing::Test {
protected:
  Temp_dir tmp;
  std::string dir = tmp.path(), mailer_fmt, host_mailer = kes_get_mail_command();
  std::string user = kes_get_user(1, 0);

  void SetUp() override {
    make_dirs(dir + "/mail");
    // Each mail becomes a file named after its number: address, then the text.
    write_file(dir + "/mailer", "#!/bin/sh\nn=$(ls " + dir + "/mail | wc -l)\n{ echo \"$1\"; cat; } > " +
                                    dir + "/mail/$((n + 1))\n");
    chmod((dir + "/mailer").c_str(), 0755);
    mailer_fmt = dir + "/mailer %s < %s";
    kes_set_mail_command(mailer_fmt.c_str());
  }
  void TearDown() override { kes_set_mail_command(host_mailer.c_str()); }

  std::string mail(int n) { return read_file(dir + "/mail/" + std::to_string(n)); }
  int mails() { return std::stoi(sh("ls " + dir + "/mail | wc -l").out); }
  std::string head(const std::string &addr, const std::string &event) {
    return addr + "\nTo: " + addr + "\nSubject: Brindle notification (" + event +
           ")\nPrecedence: junk\n\n";
  }

  // A workspace with its notification file and, if name is given, a description.
  std::string ws(const std::string &path, const std::string &notify = "",
                 const std::string &name = "") {
    make_ws(path);
    write_file(md_file(path, "notification"), "VERSION 1\n# who hears of it\n" + notify);
    if (!name.empty())
      write_file(md_file(path, "description"), "VERSION 1\nNAME\n" + name + "\nDESCRIPTION\ntext\n");
    return path;
  }
  // parent's children file and child's parent file name each other.
  static void link(const std::string &parent, const std::string &child) {
    std::string kids = file_exists(md_file(parent, "children")) ? read_file(md_file(parent, "children"))
                                                           : "VERSION 1\n";
    write_file(md_file(parent, "children"), kids + net(child) + "\n");
    write_file(md_file(child, "parent"), "VERSION 1\n" + net(parent) + "\n");
  }
  // A file made a directory: every rewrite of it fails.
  static void break_file(const std::string &path) {
    unlink(path.c_str());
    make_dirs(path + "/x");
  }
  static std::string lock_lines(const std::string &ws) {
    return sh("grep -c '^write' " + md_file(ws, "locks") + " || true").out;
  }
};

TEST_F(WsTree, DeleteUnlinksNeighboursAndTellsTheRegistered) {
  std::string p = ws(dir + "/p"), w = ws(dir + "/w", "ann@x workspace-delete\n", "wname"),
              c = ws(dir + "/c"), sib = ws(dir + "/sib");
  link(p, sib);
  link(p, w);
  link(w, c);
  write_file(w + "/src.c", "int x;\n");
  Kes_workspace wws(w.c_str(), nullptr);
  ASSERT_EQ(take(wws.delete_ws(0)).text, "");
  EXPECT_FALSE(file_exists(w));
  EXPECT_EQ(read_file(md_file(p, "children")), "VERSION 1\n" + net(sib) + "\n");
  EXPECT_FALSE(file_exists(md_file(c, "parent")));
  ASSERT_EQ(mails(), 1);
  EXPECT_EQ(mail(1), head("ann@x", "workspace-delete") + "Event:     workspace-delete\nWorkspace: " +
                         w + "\n           <wname>\nUser:       " + user + "\n");

  // A second delete finds nothing and tells nobody.
  EXPECT_EQ(take(wws.delete_ws(0)).code, 2016);
  EXPECT_EQ(mails(), 1);
}

TEST_F(WsTree, DeleteGoesOnPastNeighboursThatCannotBeUpdated) {
  std::string p = ws(dir + "/p"), w = ws(dir + "/w"), c = ws(dir + "/c");
  link(p, w);
  link(w, c);
  break_file(md_file(p, "children"));
  break_file(md_file(c, "parent"));
  Kes_workspace wws(w.c_str(), nullptr);
  Err e;
  std::string out = capture_stdout([&] { e = take(wws.delete_ws(0)); });
  EXPECT_EQ(e.text, "");
  EXPECT_FALSE(file_exists(w));
  EXPECT_NE(out.find("Workspace \"" + p + "\" is a parent of \"" + w +
                     "\".  Could not update its child file because:  (Warning 2608)"),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("Workspace \"" + c + "\" is a child of \"" + w +
                     "\".  Could not update its parent file because:  (Warning 2608)"),
            std::string::npos)
      << out;
}

TEST_F(WsTree, DeleteOnAFullDiskMakesRoomForItsLock) {
  std::string fs = dir + "/small";
  make_dirs(fs);
  if (mount("tmpfs", fs.c_str(), "tmpfs", 0, "size=64k") != 0)
    GTEST_SKIP() << "no small file system can be mounted here";
  std::string w = ws(fs + "/w");
  sh("dd if=/dev/zero of=" + md_file(w, "zfill") + " bs=4k 2>/dev/null");
  Kes_workspace wws(w.c_str(), nullptr);
  Err e = take(wws.delete_ws(0));
  bool gone = !file_exists(w);
  umount(fs.c_str());
  EXPECT_TRUE(gone);
  EXPECT_EQ(e.text, "");
  EXPECT_EQ(e.code, 0);
}

TEST_F(WsTree, MoveOnOneFileSystemRelinksAndReleasesLockAtNewPlace) {
  std::string p = ws(dir + "/p"), w = ws(dir + "/w", "bo@y workspace-move\n", "wn"),
              c = ws(dir + "/c"), c2 = ws(dir + "/c2"), q = ws(dir + "/q");
  link(p, w);
  link(w, c);
  link(w, c2);
  write_file(md_file(c2, "parent"), "VERSION 1\n" + net(q) + "\n");  // moved on since
  write_file(w + "/a.c", "a\n");
  std::string to = dir + "/elsewhere/w2";
  make_dirs(dir + "/elsewhere");
  Kes_workspace wws(w.c_str(), nullptr), target(to.c_str(), nullptr);
  ASSERT_EQ(take(wws.move_ws(&target)).text, "");
  EXPECT_FALSE(file_exists(w));
  EXPECT_EQ(read_file(to + "/a.c"), "a\n");
  EXPECT_EQ(lock_lines(to), "0\n");
  EXPECT_EQ(read_file(md_file(p, "children")), "VERSION 1\n" + net(to) + "\n");
  EXPECT_EQ(read_file(md_file(c, "parent")), "VERSION 1\n" + net(to) + "\n");
  EXPECT_EQ(read_file(md_file(c2, "parent")), "VERSION 1\n" + net(q) + "\n");
  ASSERT_EQ(mails(), 1);
  EXPECT_EQ(mail(1), head("bo@y", "workspace-move") + "Event:        workspace-move\nWorkspace:    " +
                         w + "\n              <wn>\nNew location: " + to + "\nUser:          " +
                         user + "\n");
}

TEST_F(WsTree, CopyIntoAFullFileSystemFailsAndLeavesTheOldTree) {
  std::string fs = dir + "/small";
  make_dirs(fs);
  if (mount("tmpfs", fs.c_str(), "tmpfs", 0, "size=64k") != 0)
    GTEST_SKIP() << "no small file system can be mounted here";
  std::string p = ws(dir + "/p"), w = ws(dir + "/w", "bo@y workspace-move\n");
  link(p, w);
  sh("dd if=/dev/zero of=" + w + "/big bs=4k count=64 2>/dev/null");
  Kes_workspace wws(w.c_str(), nullptr), target((fs + "/w").c_str(), nullptr);
  Err e = take(wws.move_ws(&target));
  bool copied_metadata = file_exists(fs + "/w/Brindle_wsdata");
  umount(fs.c_str());
  EXPECT_EQ(e.code, 2012) << e.text;
  EXPECT_FALSE(copied_metadata);
  EXPECT_EQ(sh("stat -c %s " + w + "/big").out, "262144\n");
  EXPECT_EQ(lock_lines(w), "0\n");
  EXPECT_EQ(read_file(md_file(p, "children")), "VERSION 1\n" + net(w) + "\n");
  EXPECT_EQ(mails(), 0);
}

TEST_F(WsTree, MoveFailuresLeaveTheWorkspaceInPlaceAndUnlocked) {
  std::string w = ws(dir + "/w"), other = ws(dir + "/other");
  Kes_workspace wws(w.c_str(), nullptr);
  Kes_workspace onto(other.c_str(), nullptr), inside((other + "/in").c_str(), nullptr),
      nowhere((dir + "/no/such/dir").c_str(), nullptr), gone((dir + "/gone").c_str(), nullptr);
  EXPECT_EQ(take(wws.move_ws(&onto)).code, 2015);
  Err e = take(wws.move_ws(&inside));
  EXPECT_EQ(e.code, 2063);
  EXPECT_NE(e.text.find("Cannot move workspace \"" + w + "\" because\nit would be nested within "
                        "workspace \"" + other + "\""),
            std::string::npos)
      << e.text;
  e = take(wws.move_ws(&nowhere));
  EXPECT_EQ(e.code, 1018);
  EXPECT_EQ(e.system_errno, ENOENT);
  EXPECT_EQ(lock_lines(w), "0\n");
  EXPECT_EQ(take(gone.move_ws(&nowhere)).code, 2016);
  EXPECT_TRUE(file_exists(md_file(w, "notification")));
  EXPECT_EQ(mails(), 0);
}

TEST_F(WsTree, ReparentMovesTheLinksAndTellsBothSides) {
  std::string o = ws(dir + "/o"), w = ws(dir + "/w", "ann@x workspace-reparent\n", "wn"),
              n = ws(dir + "/n", "bo@y workspace-reparent-to\n", "nn");
  link(o, w);
  Kes_workspace wws(w.c_str(), nullptr), nws(n.c_str(), nullptr);
  ASSERT_EQ(take(wws.reparent(&nws, 0)).text, "");
  EXPECT_EQ(read_file(md_file(o, "children")), "VERSION 1\n");
  EXPECT_EQ(read_file(md_file(n, "children")), "VERSION 1\n" + net(w) + "\n");
  EXPECT_EQ(read_file(md_file(w, "parent")), "VERSION 1\n" + net(n) + "\n");
  ASSERT_EQ(mails(), 2);
  EXPECT_EQ(mail(1), head("ann@x", "workspace-reparent") +
                         "Event:      workspace-reparent\nWorkspace:  " + w +
                         "\n            <wn>\nNew parent: " + n + "\n            <nn>\nUser:        " +
                         user + "\n");
  EXPECT_EQ(mail(2), head("bo@y", "workspace-reparent-to") +
                         "Event:           workspace-reparent-to\nChild workspace: " + w +
                         "\n                 <wn>\nNew parent:      " + n +
                         "\n                 <nn>\nUser:             " + user + "\n");

  // To none: an orphan, and the former parent isn't told.
  ASSERT_EQ(take(wws.reparent(nullptr, 0)).text, "");
  EXPECT_EQ(read_file(md_file(n, "children")), "VERSION 1\n");
  EXPECT_FALSE(file_exists(md_file(w, "parent")));
  ASSERT_EQ(mails(), 3);
  EXPECT_EQ(mail(3), head("ann@x", "workspace-reparent") + "Event:     workspace-reparent\n" +
                         "Workspace:  " + w + "\n            <wn>\nUser:       " + user + "\n");
}

TEST_F(WsTree, ReparentRefusalsAndRollback) {
  std::string o = ws(dir + "/o"), w = ws(dir + "/w", "ann@x workspace-reparent\n"),
              n = ws(dir + "/n");
  link(o, w);
  std::string before_o = read_file(md_file(o, "children")), before_w = read_file(md_file(w, "parent"));
  Kes_workspace wws(w.c_str(), nullptr), self(w.c_str(), nullptr),
      nested(ws(w + "/sub/inner").c_str(), nullptr), nws(n.c_str(), nullptr);
  EXPECT_EQ(take(wws.reparent(&self, 0)).code, 2018);
  Err e = take(wws.reparent(&nested, 0));
  EXPECT_EQ(e.code, 2063);
  EXPECT_NE(e.text.find("Can't reparent nested workspace.\nWorkspace \"" + w +
                        "/sub/inner\" is nested within \"" + w + "\""),
            std::string::npos)
      << e.text;

  // The new parent refuses the child line: the old parent gets it back.
  break_file(md_file(n, "children"));
  EXPECT_NE(take(wws.reparent(&nws, 0)).code, 0);
  EXPECT_EQ(read_file(md_file(o, "children")), before_o);
  EXPECT_EQ(read_file(md_file(w, "parent")), before_w);
  EXPECT_EQ(mails(), 0);
}

TEST_F(WsTree, ForcedReparentGoesPastAnUnreachableOldParent) {
  std::string o = ws(dir + "/o"), w = ws(dir + "/w"), n = ws(dir + "/n");
  link(o, w);
  break_file(md_file(o, "children"));
  Kes_workspace wws(w.c_str(), nullptr), nws(n.c_str(), nullptr);
  std::string before_w = read_file(md_file(w, "parent"));
  EXPECT_NE(take(wws.reparent(&nws, 0)).code, 0);
  EXPECT_EQ(read_file(md_file(w, "parent")), before_w);
  EXPECT_FALSE(file_exists(md_file(n, "children")));

  EXPECT_EQ(take(wws.reparent(&nws, 1)).text, "");
  EXPECT_EQ(read_file(md_file(w, "parent")), "VERSION 1\n" + net(n) + "\n");
  EXPECT_EQ(read_file(md_file(n, "children")), "VERSION 1\n" + net(w) + "\n");
}

}  // namespace
