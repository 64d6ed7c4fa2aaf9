// The workspace object: its name forms, identity across different paths to
// one tree, naming failures, the root's emptiness, and paths inside a workspace.
#include <sched.h>
#include <sys/mount.h>

#include <filesystem>

#include "util/kes_host.h"
#include "workspace/kes_workspace.h"
#include "workspace/ws_helpers.h"

using namespace support;
using namespace ws_test;

namespace {

std::string host() { return kes_hostname(); }

// A name for a host that is not this one and that no mount names.
std::string unreachable() { return "unreachable-" + host() + "-x"; }

// In a child: a mount namespace of its own, so that test mounts are private to
// it and vanish with it; unprivileged, a user namespace gives the mount rights.
bool private_mounts() {
  uid_t uid = getuid();
  gid_t gid = getgid();
  if (unshare(CLONE_NEWNS) != 0) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    write_file("/proc/self/setgroups", "deny");
    write_file("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
    write_file("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
  }
  return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

std::string describe(Kes_workspace &ws) {
  auto s = [](const char *p) { return std::string(p ? p : "(null)"); };
  return "wsname=" + s(ws.wsname) + " absname=" + s(ws.absname) + " netname=" + s(ws.netname) +
         " nethost=" + s(ws.nethost_path);
}

class Workspace : public testing::Test {
protected:
  Temp_dir tmp;
  char saved_cwd[1024];
  void SetUp() override { ASSERT_NE(getcwd(saved_cwd, sizeof saved_cwd), nullptr); }
  void TearDown() override { ASSERT_EQ(chdir(saved_cwd), 0); }
};

TEST_F(Workspace, NameFormsOfALocalTree) {
  std::string root = make_ws(tmp.file("ws"));
  Kes_workspace ws(root.c_str(), nullptr);
  EXPECT_EQ(describe(ws), "wsname=" + root + " absname=" + root + " netname=" + host() + ":" +
                              root + " nethost=" + host() + ":" + root);
  EXPECT_STREQ(ws.get_absname(), root.c_str());
  EXPECT_TRUE(ws.exists());
  char md[1024];
  ASSERT_EQ(take(ws.get_full_metadata_dir(md)).code, 0);
  EXPECT_EQ(std::string(md), root + "/Brindle_wsdata");
  // The process's directory is where it was.
  char cwd[1024];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  EXPECT_STREQ(cwd, saved_cwd);

  // A relative name, and an absolute name given by the caller.
  ASSERT_EQ(chdir(tmp.path().c_str()), 0);
  Kes_workspace rel;
  ASSERT_EQ(take(rel.set_name("ws/./", "/given/abs")).code, 0);
  EXPECT_STREQ(rel.wsname, root.c_str());
  EXPECT_STREQ(rel.absname, "/given/abs");
  EXPECT_STREQ(rel.get_absname(), root.c_str());
  EXPECT_TRUE(rel.compare(&ws));

  // Naming again replaces every form.  Names that can't be entered stay as
  // given; "host:a/b" has no "/" behind the ":", "a:b" has no "/" at all, in
  // "a/b:/c" the "/" comes first: all are plain relative names.
  for (const char *name : {"elsewhere", "host:a/b", "a:b", "a/b:/c"}) {
    ASSERT_EQ(take(rel.set_name(name, nullptr)).code, 0) << name;
    EXPECT_STREQ(rel.wsname, name);
    EXPECT_EQ(std::string(rel.absname), tmp.file(name));
    EXPECT_EQ(std::string(rel.nethost_path), host() + ":" + tmp.file(name));
    EXPECT_FALSE(rel.exists());
    EXPECT_FALSE(rel.compare(&ws));
  }
}

TEST_F(Workspace, OneTreeThroughASymbolicLinkComparesEqual) {
  std::string real = make_ws(tmp.file("real/ws"));
  ASSERT_EQ(symlink(tmp.file("real").c_str(), tmp.file("link").c_str()), 0);
  Err e1, e2;
  Kes_err *err1 = nullptr, *err2 = nullptr;
  Kes_workspace direct(real.c_str(), &err1);
  Kes_workspace linked(tmp.file("link/ws").c_str(), &err2);
  ASSERT_EQ(take(err1).code, 0);
  ASSERT_EQ(take(err2).code, 0);
  EXPECT_STREQ(linked.wsname, real.c_str());  // the physical path
  EXPECT_STREQ(linked.nethost_path, direct.nethost_path);
  EXPECT_TRUE(linked.compare(&direct));
  EXPECT_TRUE(direct.compare(&linked));

  // A link to a workspace that can't be entered: the text keeps the link,
  // the nethost path doesn't.
  ASSERT_EQ(chmod(real.c_str(), 0), 0);
  if (geteuid() != 0) {
    Kes_workspace shut(tmp.file("link/ws").c_str(), nullptr);
    EXPECT_EQ(std::string(shut.wsname), tmp.file("link/ws"));
    EXPECT_TRUE(shut.compare(&direct)) << describe(shut) << " vs " << describe(direct);
  }
  chmod(real.c_str(), 0755);
  Kes_workspace other(make_ws(tmp.file("other")).c_str(), nullptr);
  EXPECT_FALSE(other.compare(&direct));
}

TEST_F(Workspace, OneTreeThroughABindMountComparesEqual) {
  std::string real = make_ws(tmp.file("real/ws"));
  make_dirs(tmp.file("view"));
  Child c = in_child([&] {
    if (!private_mounts() ||
        mount(tmp.file("real").c_str(), tmp.file("view").c_str(), nullptr, MS_BIND, nullptr))
      _exit(77);
    Kes_workspace direct(real.c_str(), nullptr);
    Kes_workspace viewed(tmp.file("view/ws").c_str(), nullptr);
    return describe(viewed) + "\n" + describe(direct) + "\n" +
           std::to_string(viewed.compare(&direct)) + std::to_string(viewed.exists());
  });
  if (c.status == 77) GTEST_SKIP() << "no private bind mount here";
  std::string n = host() + ":" + real;
  EXPECT_EQ(c.out, "wsname=" + tmp.file("view/ws") + " absname=" + tmp.file("view/ws") +
                       " netname=" + n + " nethost=" + n + "\nwsname=" + real +
                       " absname=" + real + " netname=" + n + " nethost=" + n + "\n11");
}

TEST_F(Workspace, NamingFailures) {
  // The current directory is gone.
  make_dirs(tmp.file("doomed"));
  ASSERT_EQ(chdir(tmp.file("doomed").c_str()), 0);
  ASSERT_EQ(rmdir(tmp.file("doomed").c_str()), 0);
  Kes_workspace ws;
  Err e = take(ws.set_name("/", nullptr));
  EXPECT_EQ(e.code, 1039);
  EXPECT_EQ(e.system_errno, ENOENT);
  ASSERT_EQ(chdir(tmp.path().c_str()), 0);

  // A directory that can be entered but whose path is too long for the name.
  std::string rel;
  for (int i = 0; i < 11; i++) rel += (i ? "/" : "") + std::string(99, 'a' + i);
  make_dirs(tmp.file(rel.c_str()));
  e = take(ws.set_name(rel.c_str(), nullptr));
  EXPECT_EQ(e.code, 1039);
  EXPECT_EQ(e.system_errno, ERANGE);
  char cwd[1024];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);  // back where it was
  EXPECT_EQ(std::string(cwd), tmp.path());

  // A name that no mount can account for.
  std::string huge = "/" + rel + "/missing";
  e = take(ws.set_name(huge.c_str(), nullptr));
  EXPECT_EQ(e.code, 2049);
  Kes_err *err = nullptr;
  Kes_workspace from_ctor(huge.c_str(), &err);
  EXPECT_EQ(take(err).code, 2049);
  Kes_workspace quiet(huge.c_str(), nullptr);  // the error may be dropped
  EXPECT_FALSE(quiet.exists());

  // A host:/path name that no mount maps.  Names that a mount maps are the
  // mount tables' tests.
  e = take(ws.set_name((unreachable() + ":/x/y").c_str(), nullptr));
  EXPECT_EQ(e.code, 1039);
  EXPECT_EQ(e.text.rfind("There is no access to the remote workspace: " + unreachable() + ":/x/y\n", 0),
            0u)
      << e.text;
}

TEST_F(Workspace, ParentAndChildLines) {
  std::string root = make_ws(tmp.file("ws"));
  Kes_workspace plain(root.c_str(), nullptr);

  // An absolute path.
  Kes_workspace abs;
  ASSERT_EQ(take(abs.parse_parent_child_line(root.c_str())).code, 0);
  EXPECT_EQ(describe(abs), describe(plain));

  // This host's netpath: mapped, and the line is the identity.
  std::string line = host() + ":" + root;
  Kes_workspace local;
  ASSERT_EQ(take(local.parse_parent_child_line(line.c_str())).code, 0);
  EXPECT_STREQ(local.wsname, root.c_str());
  EXPECT_EQ(std::string(local.nethost_path), line);
  EXPECT_TRUE(local.exists());
  EXPECT_TRUE(local.compare(&plain));

  // A host that can't be reached: usable, but not there.
  std::string far = unreachable() + ":/export/ws";
  Kes_workspace remote;
  ASSERT_EQ(take(remote.parse_parent_child_line(far.c_str())).code, 0);
  EXPECT_EQ(describe(remote),
            "wsname=" + far + " absname=(null) netname=" + far + " nethost=" + far);
  EXPECT_FALSE(remote.exists());
  EXPECT_EQ(remote.get_absname(), nullptr);
  char md[1024];
  EXPECT_EQ(take(remote.get_full_metadata_dir(md)).code, 2078);
  EXPECT_EQ(take(remote.not_real_error()).code, 2016);
  Kes_workspace same_line;
  ASSERT_EQ(take(same_line.parse_parent_child_line(far.c_str())).code, 0);
  EXPECT_TRUE(same_line.compare(&remote));
  EXPECT_FALSE(same_line.compare(&plain));

  // A relative line is relative to the current directory.
  ASSERT_EQ(chdir(tmp.path().c_str()), 0);
  Kes_workspace relative;
  ASSERT_EQ(take(relative.parse_parent_child_line("ws")).code, 0);
  EXPECT_TRUE(relative.compare(&plain));
}

// Whether a root is empty, by the one entry beside the metadata and a plain
// file: a file, a directory, or a link, which counts as what it points to.
TEST_F(Workspace, RootEmptiness) {
  std::string root = make_ws(tmp.file("ws"));
  write_file(root + "/Makefile", "all:\n");
  struct {
    char kind;  // 'f'ile, 'd'irectory, 'l'ink, or 0 for no entry
    const char *entry, *target;
    bool empty;
  } cases[] = {
      {0, "", nullptr, true},           {'d', "SCCS", nullptr, false},
      {'f', "s.file.c", nullptr, false}, {'d', "src", nullptr, false},
      {'l', "dangling", "/nonexistent/dir", true}, {'l', "up", "/", false},
  };
  for (auto &c : cases) {
    SCOPED_TRACE(c.entry);
    std::string entry = root + "/" + c.entry;
    if (c.kind == 'f') write_file(entry, "");
    if (c.kind == 'd') make_dirs(entry);
    if (c.kind == 'l') {
      ASSERT_EQ(symlink(c.target, entry.c_str()), 0);
    }
    EXPECT_EQ(Kes_workspace(root.c_str(), nullptr).root_is_empty(), c.empty);
    if (c.kind) std::filesystem::remove(entry);
  }
  // The answer is kept; a workspace that isn't there is empty.
  Kes_workspace ws(root.c_str(), nullptr);
  EXPECT_TRUE(ws.root_is_empty());
  make_dirs(root + "/SCCS");
  EXPECT_TRUE(ws.root_is_empty());
  EXPECT_TRUE(Kes_workspace(tmp.file("none").c_str(), nullptr).root_is_empty());
}

TEST_F(Workspace, PathsUnderTheWorkspace) {
  std::string root = make_ws(tmp.file("ws"));
  Kes_workspace ws(root.c_str(), nullptr);
  char rel[1024];
  EXPECT_TRUE(ws.is_under_ws((root + "/src/a.c").c_str(), rel));
  EXPECT_STREQ(rel, "src/a.c");
  EXPECT_TRUE(ws.is_under_ws(root.c_str(), rel));
  EXPECT_STREQ(rel, ".");
  EXPECT_FALSE(ws.is_under_ws((root + "x/a.c").c_str(), rel));
  EXPECT_FALSE(ws.is_under_ws("src/a.c", nullptr));
  EXPECT_TRUE(ws.is_under_ws((root + "/a").c_str(), nullptr));
  // A byte comparison: no normalising.
  EXPECT_FALSE(ws.is_under_ws((tmp.path() + "/./ws/a").c_str(), rel));
  // wsname and netname count too, when absolute.
  free(ws.netname);
  ws.netname = strdup("/net/server/ws");
  EXPECT_TRUE(ws.is_under_ws("/net/server/ws/x", rel));
  EXPECT_STREQ(rel, "x");

  char dir[64];
  struct Case {
    const char *dir, *path;
    int under;
  } cases[] = {
      {".", "anything", 1},       {"src", "src", 1},        {"src", "src/a.c", 1},
      {"src", "srcs/a.c", 0},     {"src///", "src/a.c", 1}, {"src/lib", "src", 0},
      {"/abs", "/abs/x", 0},      {"src", "other", 0},      {"./", "x", 1},
  };
  for (const Case &c : cases) {
    snprintf(dir, sizeof dir, "%s", c.dir);
    EXPECT_EQ(ws.is_under_dir(dir, c.path), c.under) << c.dir << " " << c.path;
  }
  snprintf(dir, sizeof dir, "src//");
  EXPECT_EQ(ws.is_under_dir(dir, (root + "/src/a.c").c_str()), 1);
  EXPECT_STREQ(dir, "src");  // stripped in place
  snprintf(dir, sizeof dir, "src");
  EXPECT_EQ(ws.is_under_dir(dir, (tmp.path() + "/src/a.c").c_str()), 0);
  snprintf(dir, sizeof dir, "/");
  EXPECT_EQ(ws.is_under_dir(dir, "x"), 0);
}

}  // namespace
