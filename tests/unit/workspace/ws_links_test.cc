// Links between workspaces (parent, children, ombraparent) and the printed
// workspace tree.

#include "util/kes_host.h"
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
  std::string missing = "Workspace \"" + tmp.file("gone") + "\" does not exist  (Error 2016)\n";
  EXPECT_EQ(take(gone.set_parent(&a)).text, missing);
  EXPECT_EQ(take(gone.add_child(&a)).text, missing);
  EXPECT_EQ(take(gone.add_conflict("f.c")).text, missing);
  Kes_pbval pb;
  Kes_autofr af;
  EXPECT_EQ(take(gone.set_pbval(&pb)).text, missing);
  EXPECT_EQ(take(gone.set_autofr(&af)).text, missing);
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
  EXPECT_STREQ(got->pre_dir, "../Shared_Source/working");
  EXPECT_STREQ(got->def_flp_simplename, "ombra.dir.flp");
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

TEST_F(Links, PrintedTree) {
  std::string top = make_ws(tmp.file("top")), mid = make_ws(tmp.file("mid")),
              leaf1 = make_ws(tmp.file("leaf1")), leaf2 = make_ws(tmp.file("leaf2"));
  Kes_workspace t(top.c_str(), nullptr), m(mid.c_str(), nullptr), l1(leaf1.c_str(), nullptr),
      l2(leaf2.c_str(), nullptr);
  for (auto link : {std::make_pair(&m, &t), std::make_pair(&l1, &m), std::make_pair(&l2, &m)}) {
    ASSERT_EQ(take(link.first->set_parent(link.second)).code, 0);
    ASSERT_EQ(take(link.second->add_child(link.first)).code, 0);
  }
  auto out = [](const std::function<void()> &fn) { return capture_stdout(fn); };
  EXPECT_EQ(out([&] { l1.print_wsname(2); }), "    " + leaf1 + "\n");
  EXPECT_EQ(out([&] { delete l1.print_parent(0, 0); }), mid + "\n");
  EXPECT_EQ(out([&] { delete l1.print_parent(1, 1); }), "  " + mid + "\n    " + top + "\n");
  EXPECT_EQ(out([&] { delete t.print_children(0, 0); }), mid + "\n");
  EXPECT_EQ(out([&] { delete t.print_children(1, 0); }),
            mid + "\n  " + leaf1 + "\n  " + leaf2 + "\n");

  // A loop in the link files ends.
  ASSERT_EQ(take(t.set_parent(&l1)).code, 0);
  EXPECT_EQ(out([&] { delete l1.print_parent(1, 0); }),
            mid + "\n  " + top + "\n    " + leaf1 + "\n");

  // An error on the way is printed, and the walk succeeds.
  write_file(md_file(mid, "parent"), "VERSION 7\n");
  Kes_err *e = nullptr;
  testing::internal::CaptureStderr();
  std::string o = out([&] { e = l1.print_parent(1, 0); });
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(e, nullptr);
  EXPECT_EQ(o, mid + "\n");
  EXPECT_NE(err.find("(Error 2046)"), std::string::npos) << err;
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

}  // namespace
