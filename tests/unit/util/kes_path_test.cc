// Plain path functions: absolute paths with and without links, dots, joining and
// splitting, history file names, home directories, changing directory.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "util/kes_err.h"
#include "util/kes_path.h"
#include "util/scratch_helpers.h"

namespace {
class PathTest : public Scratch {
protected:
  void mkdir_at(const std::string &rel) { ASSERT_EQ(mkdir(at(rel).c_str(), 0755), 0) << rel; }
  void touch_at(const std::string &rel) { write_file(rel, ""); }
  void link_at(const std::string &target, const std::string &rel) {
    ASSERT_EQ(symlink(target.c_str(), at(rel).c_str()), 0) << rel;
  }
  std::string abspath(const std::string &p, int size = 1024) {
    char buf[1024];
    char *r = kes_abspath(p.c_str(), buf, size);
    return r ? std::string(r) : std::string("<null>");
  }
  std::string labspath(const std::string &p) {
    char buf[1024];
    char *r = kes_labspath(p.c_str(), buf, sizeof buf);
    return r ? std::string(r) : std::string("<null>");
  }
};
}  // namespace

TEST_F(PathTest, AbspathNormalisesWithoutLinks) {
  mkdir_at("a");
  mkdir_at("a/b");
  EXPECT_EQ(abspath("/"), "/");
  EXPECT_EQ(abspath("//"), "/");
  EXPECT_EQ(abspath("/./.."), "/");
  EXPECT_EQ(abspath("/.."), "/");
  EXPECT_EQ(abspath(dir + "//a///b/"), at("a/b"));
  EXPECT_EQ(abspath(dir + "/a/./b/../b/."), at("a/b"));
  EXPECT_EQ(abspath(dir + "/a/b/../.."), dir);
  ASSERT_EQ(chdir(at("a").c_str()), 0);
  EXPECT_EQ(abspath("b"), at("a/b"));
  EXPECT_EQ(abspath(""), at("a"));
  EXPECT_EQ(abspath("."), at("a"));
  EXPECT_EQ(abspath("../a/b/.."), at("a"));
}

TEST_F(PathTest, AbspathKeepsMissingTailAndTextBehindAFile) {
  mkdir_at("d");
  touch_at("d/f");
  // The walk ends at the first name that isn't there; the rest stays as written.
  EXPECT_EQ(abspath(dir + "/d/nothere/x/../y"), at("d/nothere/x/../y"));
  EXPECT_EQ(abspath(dir + "/d/./nothere/"), at("d/nothere"));
  EXPECT_EQ(abspath(dir + "/d/f"), at("d/f"));
  EXPECT_EQ(abspath(dir + "/d/f/"), at("d/f"));
  EXPECT_EQ(abspath(dir + "/d/f/../g"), at("d/f/../g"));
}

TEST_F(PathTest, AbspathFollowsLinks) {
  mkdir_at("real");
  mkdir_at("real/sub");
  touch_at("real/sub/file");
  mkdir_at("other");
  link_at(at("real"), "abs");                 // absolute target
  link_at("real/sub", "rel");                 // relative target
  link_at("../real", "other/up");             // relative with ".."
  link_at("abs", "chain1");                   // chain onto a link
  link_at("chain1", "chain2");
  link_at("real/sub/file", "tofile");         // link to a file
  link_at("missing/part", "dangling");        // target that doesn't exist
  link_at(at("real/sub"), "real/loopback");   // inside the tree, absolute
  EXPECT_EQ(abspath(at("abs")), at("real"));
  EXPECT_EQ(abspath(at("abs/sub/file")), at("real/sub/file"));
  EXPECT_EQ(abspath(at("rel/file")), at("real/sub/file"));
  EXPECT_EQ(abspath(at("other/up/sub")), at("real/sub"));
  EXPECT_EQ(abspath(at("chain2/sub/..")), at("real"));
  EXPECT_EQ(abspath(at("tofile")), at("real/sub/file"));
  EXPECT_EQ(abspath(at("dangling")), at("missing/part"));
  EXPECT_EQ(abspath(at("dangling/more/")), at("missing/part/more"));
  // ".." applies to the physical directory the link leads to.
  EXPECT_EQ(abspath(at("real/loopback/..")), at("real"));
  EXPECT_EQ(abspath(at("rel/..")), at("real"));
  ASSERT_EQ(chdir(at("other").c_str()), 0);
  EXPECT_EQ(abspath("up/sub/file"), at("real/sub/file"));
}

TEST_F(PathTest, AbspathStopsFollowingAfterTwentyLinks) {
  mkdir_at("target");
  // l1 -> l2 -> ... -> l20 -> target resolves: twenty links.
  for (int i = 1; i <= 20; i++) {
    std::string to = i == 20 ? "target" : "l" + std::to_string(i + 1);
    link_at(to, "l" + std::to_string(i));
  }
  EXPECT_EQ(abspath(at("l1")), at("target"));
  // One more in front: the twenty-first is kept as a plain name.
  link_at("l1", "l0");
  EXPECT_EQ(abspath(at("l0")), at("l20"));
}

TEST_F(PathTest, AbspathEndsLinkCyclesWithThePlainName) {
  link_at("b", "a");
  link_at("a", "b");
  link_at("self", "self");
  // Twenty steps around a <-> b land on a again, which is kept.
  EXPECT_EQ(abspath(at("a")), at("a"));
  EXPECT_EQ(abspath(at("b")), at("b"));
  EXPECT_EQ(abspath(at("self")), at("self"));
  // Behind the kept name the system itself can't go on: the rest stays.
  EXPECT_EQ(abspath(at("a/x/../y")), at("a/x/../y"));
}

TEST_F(PathTest, AbspathLengthLimits) {
  EXPECT_EQ(abspath(dir, static_cast<int>(dir.size()) + 1), dir);
  EXPECT_EQ(abspath(dir, static_cast<int>(dir.size())), "<null>");
  EXPECT_EQ(abspath("/", 2), "/");
  EXPECT_EQ(abspath("/", 1), "<null>");
  // A non-existing tail is held to the limit as well.
  std::string longtail = dir + "/" + std::string(1100, 'x');
  EXPECT_EQ(abspath(longtail), "<null>");
  std::string fits = dir + "/" + std::string(1023 - dir.size() - 1, 'y');
  EXPECT_EQ(abspath(fits), fits);
  EXPECT_EQ(abspath(fits + "z"), "<null>");
  // A larger buffer doesn't lift the limit of 1024.
  char big[2048];
  EXPECT_EQ(kes_abspath((fits + "z").c_str(), big, sizeof big), nullptr);
  // Dots that shorten the name again don't help once a step was too long.
  EXPECT_EQ(abspath(fits + "z/.."), "<null>");
}

TEST_F(PathTest, LabspathDoesNotFollowLinks) {
  mkdir_at("real");
  touch_at("real/file");
  link_at("real", "ldir");
  link_at("real/file", "lfile");
  link_at("nothere", "dangling");
  EXPECT_EQ(labspath(at("ldir")), at("ldir"));
  EXPECT_EQ(labspath(at("ldir/file")), at("ldir/file"));
  EXPECT_EQ(labspath(at("lfile")), at("lfile"));
  EXPECT_EQ(labspath(at("dangling/x/..")), at("dangling/x/.."));
  // ".." behind a link to a directory is taken textually.
  EXPECT_EQ(labspath(at("ldir/..")), dir);
  EXPECT_EQ(labspath(at("real/file/../x")), at("real/file/../x"));
  EXPECT_EQ(labspath("/"), "/");
  ASSERT_EQ(chdir(dir.c_str()), 0);
  EXPECT_EQ(labspath("ldir/"), at("ldir"));
}

TEST(PathRemoveDots, TextualRemoval) {
  struct {
    const char *in, *out;
  } cases[] = {
      {"/a/./b/../c", "/a/c"}, {"/a/b/..", "/a"},     {"/a/..", "/"},   {"/", "/"},
      {"//a//b//", "/a/b"},    {"a/./b/../c", "a/c"}, {"a/..", "."},    {".", "."},
      {"", "."},               {"./a/", "a"},         {"a/b/../../c", "c"},
  };
  for (const auto &c : cases) {
    char buf[1024];
    Kes_err *err = kes_path_remove_dots(c.in, buf);
    EXPECT_EQ(err, nullptr) << c.in;
    delete err;
    EXPECT_STREQ(buf, c.out) << c.in;
  }
}

TEST(PathRemoveDots, TooManyDotDotsIsError2006) {
  set_cmdname("bringover");
  for (const char *in : {"a/../..", "..", "/..", "/a/../../b"}) {
    char buf[1024] = "old";
    Kes_err *err = kes_path_remove_dots(in, buf);
    ASSERT_NE(err, nullptr) << in;
    EXPECT_EQ(err->code, 2006);
    EXPECT_EQ(err->system_errno, 0);
    EXPECT_EQ(std::string(err->text),
              std::string("bringover: Filename \"") + in +
                  "\" has too many \"..\" path components in it  (Error 2006)\n");
    EXPECT_STREQ(buf, "");
    delete err;
  }
}

TEST(PathJoinSplit, PathCatUsesExactlyOneSlash) {
  struct {
    const char *dir, *tail, *out;
  } cases[] = {
      {"/a", "b", "/a/b"},   {"/a/", "b", "/a/b"}, {"/a", "/b", "/a/b"}, {"/a/", "//b", "/a/b"},
      {"/", "b", "/b"},      {"/", "/b", "/b"},    {"a", "b/c", "a/b/c"}, {"", "b", "b"},
      {"/a", "", "/a"},
  };
  for (const auto &c : cases) {
    char buf[1024];
    strcpy(buf, c.dir);
    EXPECT_EQ(kes_path_cat(buf, c.tail), buf);
    EXPECT_STREQ(buf, c.out) << c.dir << " + " << c.tail;
  }
}

TEST(PathJoinSplit, ParseFilename) {
  struct {
    const char *path, *dir, *base;
  } cases[] = {
      {"/a/b/c", "/a/b", "c"}, {"/c", "/", "c"},   {"c", ".", "c"},
      {"a/b/", "a/b", ""},     {"/", "/", ""},     {"", ".", ""},
  };
  for (const auto &c : cases) {
    char dir[1024], base[1024];
    kes_parse_filename(c.path, dir, base);
    EXPECT_STREQ(dir, c.dir) << c.path;
    EXPECT_STREQ(base, c.base) << c.path;
  }
  char only[1024];
  kes_parse_filename("x/y", only, nullptr);
  EXPECT_STREQ(only, "x");
  kes_parse_filename("x/y", nullptr, only);
  EXPECT_STREQ(only, "y");
  // The outputs may be the input's own buffer.
  char same[1024] = "p/q/r";
  kes_parse_filename(same, same, nullptr);
  EXPECT_STREQ(same, "p/q");
}

TEST(HistoryNames, MakeSccsName) {
  char buf[1024];
  EXPECT_STREQ(kes_make_sccs_name("dir/foo.c", buf, 's', 0, "SCCS", nullptr), "dir/SCCS/s.foo.c");
  EXPECT_STREQ(kes_make_sccs_name("foo.c", buf, 's', 0, "SCCS", nullptr), "SCCS/s.foo.c");
  EXPECT_STREQ(kes_make_sccs_name("foo.c", buf, 'p', 0, nullptr, nullptr), "p.foo.c");
  EXPECT_STREQ(kes_make_sccs_name("a/b/foo.c", buf, 'z', 0, nullptr, "/ws"), "a/b/z.foo.c");
  EXPECT_STREQ(kes_make_sccs_name("a/foo.c", buf, 's', 1, "SCCS", "/ws"), "/ws/a/SCCS/s.foo.c");
  EXPECT_STREQ(kes_make_sccs_name("foo.c", buf, 's', 1, "SCCS", "/ws/"), "/ws/SCCS/s.foo.c");
  EXPECT_STREQ(kes_make_sccs_name("/abs/foo.c", buf, 's', 0, "SCCS", nullptr),
               "/abs/SCCS/s.foo.c");
  EXPECT_STREQ(kes_make_sccs_name("/foo.c", buf, 's', 0, "SCCS", nullptr), "/SCCS/s.foo.c");
  EXPECT_STREQ(kes_make_sccs_name("./foo.c", buf, 's', 0, "", nullptr), "s.foo.c");
}

TEST(HistoryNames, MakeGnameInvertsMakeSccsName) {
  char buf[1024];
  EXPECT_STREQ(kes_make_gname("dir/SCCS/s.foo.c", buf, "SCCS"), "dir/foo.c");
  EXPECT_STREQ(kes_make_gname("SCCS/s.foo.c", buf, "SCCS"), "foo.c");
  EXPECT_STREQ(kes_make_gname("/ws/a/SCCS/s.foo.c", buf, "SCCS"), "/ws/a/foo.c");
  EXPECT_STREQ(kes_make_gname("/SCCS/s.foo.c", buf, "SCCS"), "/foo.c");
  // Without a history directory the clear file sits beside its history file.
  EXPECT_STREQ(kes_make_gname("a/b/s.foo.c", buf, nullptr), "a/b/foo.c");
  EXPECT_STREQ(kes_make_gname("s.foo.c", buf, nullptr), "foo.c");
  EXPECT_STREQ(kes_make_gname("dir/other/s.foo.c", buf, "SCCS"), "dir/other/foo.c");
  for (const char *name : {"x.c", "d/x.c", "d/e/x.c", "/r/x.c"}) {
    char sname[1024], back[1024];
    kes_make_sccs_name(name, sname, 's', 0, "SCCS", nullptr);
    EXPECT_STREQ(kes_make_gname(sname, back, "SCCS"), name) << sname;
  }
}

TEST_F(PathTest, FullyQualifyExpandsHomesAndRelativeNames) {
  char buf[1024];
  struct passwd *me = getpwuid(getuid());
  ASSERT_NE(me, nullptr);
  std::string home = me->pw_dir;
  struct passwd *root = getpwnam("root");
  ASSERT_NE(root, nullptr);
  std::string root_home = root->pw_dir;
  const char *old_home = getenv("HOME");
  std::string saved = old_home ? old_home : "";
  setenv("HOME", dir.c_str(), 1);
  // The password entry counts, not $HOME.
  EXPECT_EQ(std::string(kes_fully_qualify("~", buf)), home);
  EXPECT_EQ(std::string(kes_fully_qualify("~/src/x", buf)), home + "/src/x");
  EXPECT_EQ(std::string(kes_fully_qualify("~root", buf)), root_home);
  EXPECT_EQ(std::string(kes_fully_qualify("~root/ws", buf)), root_home + "/ws");
  EXPECT_STREQ(kes_fully_qualify("~no_such_user_kes/ws", buf), "~no_such_user_kes/ws");
  EXPECT_STREQ(kes_fully_qualify("/abs/./x", buf), "/abs/./x");
  // The other form takes $HOME for "~" alone, and the password file for a user.
  EXPECT_EQ(std::string(kes_fully_qualify_using_home("~/ws", buf)), dir + "/ws");
  EXPECT_EQ(std::string(kes_fully_qualify_using_home("~", buf)), dir);
  EXPECT_EQ(std::string(kes_fully_qualify_using_home("~root/ws", buf)), root_home + "/ws");
  unsetenv("HOME");
  EXPECT_EQ(std::string(kes_fully_qualify_using_home("~/ws", buf)), home + "/ws");
  if (old_home) setenv("HOME", saved.c_str(), 1);
  ASSERT_EQ(chdir(dir.c_str()), 0);
  EXPECT_EQ(std::string(kes_fully_qualify("ws/a", buf)), dir + "/ws/a");
  EXPECT_EQ(std::string(kes_fully_qualify("./ws", buf)), dir + "/ws");
  EXPECT_EQ(std::string(kes_fully_qualify(".", buf)), dir);
  // An expansion that won't fit leaves the name as given.
  std::string longname(1020, 'n');
  EXPECT_EQ(std::string(kes_fully_qualify(longname.c_str(), buf)), longname);
}

TEST_F(PathTest, ChdirByDescriptorAndByName) {
  set_cmdname("putback");
  mkdir_at("one");
  mkdir_at("two");
  EXPECT_EQ(kes_fchdir_supported(), 1);
  int fd = open(at("one").c_str(), O_RDONLY);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(chdir(at("two").c_str()), 0);
  // The descriptor wins over the name.
  Kes_err *err = kes_chdir("two", fd);
  EXPECT_EQ(err, nullptr);
  delete err;
  close(fd);
  char cwd[PATH_MAX];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  EXPECT_EQ(std::string(cwd), at("one"));
  err = kes_chdir(at("two").c_str(), -1);
  EXPECT_EQ(err, nullptr);
  delete err;
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  EXPECT_EQ(std::string(cwd), at("two"));
}

TEST_F(PathTest, ChdirFailuresAreErrors1031And1023) {
  set_cmdname("putback");
  touch_at("file");
  int fd = open(at("file").c_str(), O_RDONLY);
  ASSERT_GE(fd, 0);
  Kes_err *err = kes_chdir("somewhere", fd);
  close(fd);
  ASSERT_NE(err, nullptr);
  EXPECT_EQ(err->code, 1031);
  EXPECT_EQ(err->system_errno, ENOTDIR);
  EXPECT_STREQ(err->text,
               "putback: Fchdir to \"somewhere\" failed  (Error 1031) - Not a directory"
               "  (System error 20)\n");
  delete err;
  std::string missing = at("missing");
  err = kes_chdir(missing.c_str(), -1);
  ASSERT_NE(err, nullptr);
  EXPECT_EQ(err->code, 1023);
  EXPECT_EQ(err->system_errno, ENOENT);
  EXPECT_EQ(std::string(err->text), "putback: Chdir to \"" + missing +
                                        "\" failed  (Error 1023) - No such file or directory"
                                        "  (System error 2)\n");
  delete err;
  char cwd[PATH_MAX];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  EXPECT_EQ(std::string(cwd), old_cwd);
}

TEST_F(PathTest, IsReadableDir) {
  mkdir_at("open");
  touch_at("file");
  ASSERT_EQ(mkdir(at("closed").c_str(), 0700), 0);
  ASSERT_EQ(mkdir(at("noexec").c_str(), 0744), 0);
  EXPECT_EQ(kes_is_readable_dir(at("open").c_str()), 1);
  EXPECT_EQ(kes_is_readable_dir(at("closed").c_str()), 1);
  EXPECT_EQ(kes_is_readable_dir(at("file").c_str()), 0);
  EXPECT_EQ(kes_is_readable_dir(at("missing").c_str()), 0);
  if (geteuid() != 0) {
    ASSERT_EQ(chmod(at("closed").c_str(), 0), 0);
    EXPECT_EQ(kes_is_readable_dir(at("closed").c_str()), 0);
    ASSERT_EQ(chmod(at("closed").c_str(), 0700), 0);
    return;
  }
  // As root every directory may be read: ask as an ordinary user instead.
  ASSERT_EQ(chmod(dir.c_str(), 0755), 0);
  Child c = run_in_child([&] {
    if (setgid(65534) != 0 || setuid(65534) != 0) _exit(77);
    std::string r;
    for (const char *d : {"open", "closed", "noexec"})
      r += std::to_string(kes_is_readable_dir(at(d).c_str()));
    return r;
  });
  ASSERT_EQ(c.status, 0);
  EXPECT_EQ(c.out, "100") << "only the world-searchable directory is readable";
}

TEST(EmptyLine, BlanksOnly) {
  EXPECT_EQ(kes_empty_line(""), 1);
  EXPECT_EQ(kes_empty_line("   \t \n"), 1);
  EXPECT_EQ(kes_empty_line(nullptr), 1);
  EXPECT_EQ(kes_empty_line("  x  "), 0);
  EXPECT_EQ(kes_empty_line("x"), 0);
  EXPECT_EQ(kes_empty_line("\t\t#\n"), 0);
}
