// The tree of workspaces: the links between them (parent, children,
// ombraparent) as their files hold them, and deleting, moving and reparenting
// on real directories: the link files of the neighbours, the command lock, the
// failures and their rollback.  The command's refusals, a plain reparenting
// and the mails are t1405's.
#include <sys/mount.h>

#include "util/kes_host.h"
#include "workspace/kes_cmdlock.h"
#include "workspace/kes_md_freezept_control.h"
#include "workspace/kes_md_parent.h"
#include "workspace/kes_md_putback_validation.h"
#include "workspace/kes_workspace.h"
#include "workspace/ws_helpers.h"

using namespace support;
using namespace ws_test;

namespace {

class Links : public testing::Test {
protected:
  Temp_dir tmp;
};

// Links made by bringover and the workspace command are the stories' (t1001,
// t1401); here a parent file as people write it by hand: comments are
// skipped and only the first line counts.
TEST_F(Links, AParentFileAsPeopleWriteIt) {
  std::string p = make_ws(tmp.file("parent")), c1 = make_ws(tmp.file("c1")),
              c2 = make_ws(tmp.file("c2"));
  Kes_workspace child1(c1.c_str(), nullptr);
  write_file(md_file(c1, "parent"), "VERSION 1\n# set by hand\n" + c2 + "\n" + p + "\n");
  Kes_workspace *got = nullptr;
  ASSERT_EQ(take(child1.get_kes_parent(&got)).code, 0);
  ASSERT_NE(got, nullptr);
  EXPECT_STREQ(got->wsname, c2.c_str());
  delete got;
}

TEST_F(Links, UnreachableChildAndForeignLineForms) {
  std::string p = make_ws(tmp.file("p")), c = make_ws(tmp.file("c"));
  std::string far = "unreachable-" + std::string(kes_hostname()) + "-x:/export/ws";
  write_file(md_file(p, "children"), "VERSION 1\n" + far + "\n" + net(c) + "\n");
  Kes_workspace parent(p.c_str(), nullptr);
  Kes_wslist *kids = nullptr;
  ASSERT_EQ(take(parent.get_children(&kids)).code, 0);
  ASSERT_EQ(kids->count, 2);
  Kes_workspace *first = static_cast<Kes_workspace *>(kids->head.next->data);
  EXPECT_EQ(std::string(first->wsname), far);
  EXPECT_FALSE(first->exists());
  Kes_workspace *second = static_cast<Kes_workspace *>(kids->head.next->next->data);
  EXPECT_STREQ(second->wsname, c.c_str());
  EXPECT_TRUE(second->exists());

  // A child line in the host:/path form goes even when the caller's netname
  // is a plain path (as through an automounter).
  Kes_workspace child(c.c_str(), nullptr);
  free(child.netname);
  child.netname = strdup(c.c_str());
  ASSERT_EQ(take(parent.remove_child(second)).code, 0);  // by its netname
  EXPECT_EQ(read_file(md_file(p, "children")), "VERSION 1\n" + far + "\n");
  write_file(md_file(p, "children"), "VERSION 1\n" + far + "\n" + net(c) + "\n");
  ASSERT_EQ(take(parent.remove_child(&child)).code, 0);  // by the netpath form
  EXPECT_EQ(read_file(md_file(p, "children")), "VERSION 1\n" + far + "\n");
  // And the dead child by its line.
  ASSERT_EQ(take(parent.remove_child(first)).code, 0);
  EXPECT_EQ(read_file(md_file(p, "children")), "VERSION 1\n");
  delete kids;
}

// Refusing a nested pair is the stories' (t1004, t1401); here the rule itself
// and the setters on a workspace that is gone.
TEST_F(Links, NestingAndMissingWorkspaces) {
  const char *a_, *b_;
  EXPECT_EQ(kes_ws_nested("/x/y", "/x/y/z", &a_, &b_), 1);
  EXPECT_STREQ(a_, "/x/y");
  EXPECT_EQ(kes_ws_nested("/x/y/z", "/x/y", &a_, &b_), 1);
  EXPECT_STREQ(a_, "/x/y");  // the shorter path first, whichever role it has
  EXPECT_EQ(kes_ws_nested("/x/y", "/x/y", &a_, &b_), 0);
  EXPECT_EQ(kes_ws_nested("/x/y", "/x/yz", &a_, &b_), 0);  // a prefix without "/"

  Kes_workspace a(make_ws(tmp.file("a")).c_str(), nullptr);
  Kes_workspace gone(tmp.file("gone").c_str(), nullptr);
  Kes_pbval pb;
  Kes_autofr af;
  for (Kes_err *e : {gone.set_parent(&a), gone.add_child(&a), gone.add_conflict("f.c"),
                     gone.set_pbval(&pb), gone.set_autofr(&af)})
    EXPECT_EQ(take(e).code, 2016);
  EXPECT_FALSE(file_exists(tmp.file("gone")));

  // Its readers give nothing, and no error.
  Kes_workspace *p = nullptr;
  Kes_wslist *kids = nullptr;
  Kes_strlist *conflicts = nullptr, *desc = nullptr;
  Kes_pbval *pbv = nullptr;
  Kes_autofr *afr = nullptr;
  EXPECT_EQ(take(gone.get_parent(&p)).code, 0);
  EXPECT_EQ(take(gone.get_children(&kids)).code, 0);
  EXPECT_EQ(take(gone.get_conflicts(&conflicts)).code, 0);
  EXPECT_EQ(take(gone.get_description(&desc)).code, 0);
  EXPECT_EQ(take(gone.get_pbval(&pbv)).code, 0);
  EXPECT_EQ(take(gone.get_autofr(&afr)).code, 0);
  EXPECT_TRUE(!p && !desc && !pbv && !afr);
  ASSERT_TRUE(kids && conflicts);
  EXPECT_EQ(kids->count + conflicts->count, 0);
  delete kids;
  delete conflicts;
}

TEST_F(Links, DirectoriesThatAreNotRealTakePartWithoutLinks) {
  std::string w = make_ws(tmp.file("ws"));
  make_dirs(tmp.file("plain"));
  Kes_workspace ws(w.c_str(), nullptr), dir(tmp.file("plain").c_str(), nullptr);
  delete dir.not_real_warning();  // accepted as a plain directory
  ASSERT_TRUE(dir.not_real);
  EXPECT_EQ(take(ws.set_parent(&dir)).code, 0);
  EXPECT_FALSE(file_exists(md_file(w, "parent")));
  EXPECT_EQ(take(dir.add_child(&ws)).code, 0);
  EXPECT_FALSE(file_exists(tmp.file("plain/Brindle_wsdata")));
}

TEST_F(Links, OmbraParent) {
  std::string c = make_ws(tmp.file("c"));
  Kes_workspace child(c.c_str(), nullptr);
  write_file(md_file(c, "ombraparent"), "VERSION 1\n*abc\n");

  Kes_workspace *got = nullptr;
  ASSERT_EQ(take(child.get_parent(&got)).code, 0);
  ASSERT_NE(got, nullptr);
  EXPECT_STREQ(got->wsname, "/ombra/br.abc/vcs");
  EXPECT_STREQ(got->netname, "*abc");
  EXPECT_EQ(got->under_vc, 0);
  EXPECT_FALSE(got->exists());
  delete got;
  // Only the parent file counts for the native parent.
  ASSERT_EQ(take(child.get_kes_parent(&got)).code, 0);
  EXPECT_EQ(got, nullptr);

  // A native parent takes precedence.
  std::string p = make_ws(tmp.file("p"));
  Kes_workspace parent(p.c_str(), nullptr);
  ASSERT_EQ(take(child.set_parent(&parent)).code, 0);
  ASSERT_EQ(take(child.get_parent(&got)).code, 0);
  ASSERT_NE(got, nullptr);
  EXPECT_TRUE(got->compare(&parent));
  delete got;
  // Removing takes the parent file only while there is one.
  ASSERT_EQ(take(child.remove_parent()).code, 0);
  EXPECT_TRUE(file_exists(md_file(c, "ombraparent")));
  ASSERT_EQ(take(child.remove_parent()).code, 0);
  EXPECT_FALSE(file_exists(md_file(c, "ombraparent")));

  // An Ombra parent is recorded in ombraparent, also through a copy.
  Kes_workspace *env = nullptr;
  ASSERT_EQ(take(kes_build_ws_for_env("*xyz", &env)).code, 0);
  Kes_workspace *env_copy = env->copy();
  ASSERT_EQ(take(child.set_parent(env_copy)).code, 0);
  EXPECT_EQ(read_file(md_file(c, "ombraparent")), "VERSION 1\n*xyz\n");
  EXPECT_FALSE(file_exists(md_file(c, "parent")));
  delete env;
  delete env_copy;
}

TEST_F(Links, OmbraEnvironmentNames) {
  Kes_workspace *env = nullptr;
  ASSERT_EQ(take(kes_build_ws_for_env("*br42", &env)).code, 0);
  std::string old_path = getenv("PATH") ? getenv("PATH") : "";
  std::string bin = tmp.file("bin");
  make_dirs(bin);

  // No lookup program: the path is printed.
  setenv("PATH", bin.c_str(), 1);
  EXPECT_EQ(capture_stdout([&] { env->print_wsname(1); }), "  /ombra/br.br42/vcs\n");
  // A lookup program that answers: "<key> <branch> <host>".
  write_file(bin + "/ypmatch",
             "#!/bin/sh\n[ \"$2\" = ombra.branch.byid ] || exit 1\necho \"$1 main-$1 buildhost\"\n");
  chmod((bin + "/ypmatch").c_str(), 0755);
  EXPECT_EQ(capture_stdout([&] { env->print_wsname(0); }),
            "Ombra environment main-br42@buildhost\n");
  // One that says nothing.
  write_file(bin + "/ypmatch", "#!/bin/sh\nexit 1\n");
  EXPECT_EQ(capture_stdout([&] { env->print_wsname(0); }), "/ombra/br.br42/vcs\n");
  setenv("PATH", old_path.c_str(), 1);
  delete env;
}

class WsTree : public testing::Test {
protected:
  Temp_dir tmp;
  std::string dir = tmp.path();

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

TEST_F(WsTree, DeleteUnlinksNeighbours) {
  std::string p = make_ws(dir + "/p"), w = make_ws(dir + "/w"), c = make_ws(dir + "/c"),
              sib = make_ws(dir + "/sib");
  link(p, sib);
  link(p, w);
  link(w, c);
  write_file(w + "/src.c", "int x;\n");
  Kes_workspace wws(w.c_str(), nullptr);
  ASSERT_EQ(take(wws.delete_ws(0)).text, "");
  EXPECT_FALSE(file_exists(w));
  EXPECT_EQ(read_file(md_file(p, "children")), "VERSION 1\n" + net(sib) + "\n");
  EXPECT_FALSE(file_exists(md_file(c, "parent")));
}

TEST_F(WsTree, DeleteGoesOnPastNeighboursThatCannotBeUpdated) {
  std::string p = make_ws(dir + "/p"), w = make_ws(dir + "/w"), c = make_ws(dir + "/c");
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
  std::string w = make_ws(fs + "/w");
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
  std::string p = make_ws(dir + "/p"), w = make_ws(dir + "/w"), c = make_ws(dir + "/c"),
              c2 = make_ws(dir + "/c2"), q = make_ws(dir + "/q");
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
}

TEST_F(WsTree, CopyIntoAFullFileSystemFailsAndLeavesTheOldTree) {
  std::string fs = dir + "/small";
  make_dirs(fs);
  if (mount("tmpfs", fs.c_str(), "tmpfs", 0, "size=64k") != 0)
    GTEST_SKIP() << "no small file system can be mounted here";
  std::string p = make_ws(dir + "/p"), w = make_ws(dir + "/w");
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
}

TEST_F(WsTree, ForcedReparentGoesPastAnUnreachableOldParent) {
  std::string o = make_ws(dir + "/o"), w = make_ws(dir + "/w"), n = make_ws(dir + "/n");
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
