// Plain path functions: absolute paths with and without links, dots, joining and
// splitting, history file names, home directories, changing directory.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "util/kes_err.h"
#include "util/kes_path.h"
#include "support/scratch.h"

using namespace support;

namespace {
class PathTest : public Scratch {
protected:
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
  std::string cwd() {
    char buf[PATH_MAX];
    return getcwd(buf, sizeof buf) ? buf : "<none>";
  }
};
}  // namespace

TEST_F(PathTest, AbspathFollowsLinksAndKeepsWhatIsNotThere) {
  make_dirs("real/sub");
  write_file("real/sub/file", "");
  make_dirs("other");
  link_at(at("real"), "abs");                // absolute target
  link_at("real/sub", "rel");                // relative target
  link_at("../real", "other/up");            // relative with ".."
  link_at("abs", "chain1");                  // chain onto a link
  link_at("chain1", "chain2");
  link_at("missing/part", "dangling");       // target that doesn't exist
  link_at(at("real/sub"), "real/loopback");  // inside the tree, absolute
  link_at("b", "a");                         // cycles
  link_at("a", "b");
  link_at("self", "self");
  make_dirs("target");  // l1 -> l2 -> ... -> l20 -> target: twenty links
  for (int i = 1; i <= 20; i++)
    link_at(i == 20 ? "target" : "l" + std::to_string(i + 1), "l" + std::to_string(i));
  link_at("l1", "l0");
  const std::string d = dir;
  struct {
    std::string in, out;
  } cases[] = {
      {"/", "/"},
      {"//", "/"},
      {"/./..", "/"},
      {d + "//real///sub/", at("real/sub")},
      {d + "/real/./sub/../sub/.", at("real/sub")},
      {d + "/real/sub/../..", d},
      // The walk ends at the first name that isn't there; the rest stays as written.
      {d + "/real/nothere/x/../y", at("real/nothere/x/../y")},
      {d + "/real/./nothere/", at("real/nothere")},
      {d + "/real/sub/file/", at("real/sub/file")},
      {d + "/real/sub/file/../g", at("real/sub/file/../g")},
      {at("abs/sub/file"), at("real/sub/file")},
      {at("rel/file"), at("real/sub/file")},
      {at("other/up/sub"), at("real/sub")},
      {at("chain2/sub/.."), at("real")},
      {at("dangling/more/"), at("missing/part/more")},
      // ".." applies to the physical directory the link leads to.
      {at("real/loopback/.."), at("real")},
      {at("rel/.."), at("real")},
      {at("l1"), at("target")},
      // The twenty-first link is kept as a plain name, and so is a cycle,
      // with whatever follows it.
      {at("l0"), at("l20")},
      {at("a"), at("a")},
      {at("self"), at("self")},
      {at("a/x/../y"), at("a/x/../y")},
      {"up/sub/file", at("real/sub/file")},  // from "other"
      {"", at("other")},
      {"../real/sub/..", at("real")},
  };
  ASSERT_EQ(chdir(at("other").c_str()), 0);
  for (const auto &c : cases) EXPECT_EQ(abspath(c.in), c.out) << c.in;
}

TEST_F(PathTest, AbspathLengthLimits) {
  EXPECT_EQ(abspath(dir, static_cast<int>(dir.size()) + 1), dir);
  EXPECT_EQ(abspath(dir, static_cast<int>(dir.size())), "<null>");
  EXPECT_EQ(abspath("/", 1), "<null>");
  // A non-existing tail is held to the limit of 1024 as well, whatever the buffer.
  std::string fits = dir + "/" + std::string(1023 - dir.size() - 1, 'y');
  EXPECT_EQ(abspath(fits), fits);
  EXPECT_EQ(abspath(fits + "z"), "<null>");
  char big[2048];
  EXPECT_EQ(kes_abspath((fits + "z").c_str(), big, sizeof big), nullptr);
  // Dots that shorten the name again don't help once a step was too long.
  EXPECT_EQ(abspath(fits + "z/.."), "<null>");
}

TEST(PathRemoveDots, TextualRemovalAndTooManyDotDots) {
  struct {
    const char *in, *out;
  } cases[] = {
      {"/a/./b/../c", "/a/c"}, {"/a/..", "/"},         {"//a//b//", "/a/b"}, {"a/..", "."},
      {"", "."},               {"./a/", "a"},          {"a/b/../../c", "c"},
      {"a/../..", nullptr},    {"..", nullptr},        {"/..", nullptr},     {"/a/../../b", nullptr},
      {"a/b", "a/b"},          {"a//b", "a/b"},        {"a/b/", "a/b"},      {"a/.", "a"},
      {".a/..b/c.", ".a/..b/c."}, {"a/./b", "a/b"},    {"a/b/..", "a"},      {"../a", nullptr},
  };
  set_cmdname("bringover");
  for (const auto &c : cases) {
    char buf[1024] = "old";
    Err err = take(kes_path_remove_dots(c.in, buf));
    if (c.out) {
      EXPECT_EQ(err.text, "") << c.in;
      EXPECT_STREQ(buf, c.out) << c.in;
      continue;
    }
    EXPECT_EQ(err.code, 2006);
    EXPECT_EQ(err.text, std::string("bringover: Filename \"") + c.in +
                              "\" has too many \"..\" path components in it  (Error 2006)\n");
    EXPECT_STREQ(buf, "");
  }
}

TEST(PathSplit, ParseFilename) {
  struct {
    const char *path, *dir, *base;
  } parts[] = {
      {"/a/b/c", "/a/b", "c"}, {"/c", "/", "c"}, {"c", ".", "c"}, {"a/b/", "a/b", ""}, {"", ".", ""},
  };
  for (const auto &c : parts) {
    char dir[1024], base[1024];
    kes_parse_filename(c.path, dir, base);
    EXPECT_STREQ(dir, c.dir) << c.path;
    EXPECT_STREQ(base, c.base) << c.path;
  }
  // Either output may be left out, or be the input's own buffer.
  char same[1024] = "p/q/r";
  kes_parse_filename(same, nullptr, same);
  EXPECT_STREQ(same, "r");
  strcpy(same, "p/q/r");
  kes_parse_filename(same, same, nullptr);
  EXPECT_STREQ(same, "p/q");
}

TEST(HistoryNames, MakeSccsNameAndBack) {
  char buf[1024];
  EXPECT_STREQ(kes_make_sccs_name("dir/foo.c", buf, 's', 0, "SCCS", nullptr), "dir/SCCS/s.foo.c");
  EXPECT_STREQ(kes_make_sccs_name("foo.c", buf, 'p', 0, nullptr, nullptr), "p.foo.c");
  EXPECT_STREQ(kes_make_sccs_name("a/b/foo.c", buf, 'z', 0, nullptr, "/ws"), "a/b/z.foo.c");
  EXPECT_STREQ(kes_make_sccs_name("a/foo.c", buf, 's', 1, "SCCS", "/ws"), "/ws/a/SCCS/s.foo.c");
  EXPECT_STREQ(kes_make_sccs_name("foo.c", buf, 's', 1, "SCCS", "/ws/"), "/ws/SCCS/s.foo.c");
  EXPECT_STREQ(kes_make_sccs_name("/foo.c", buf, 's', 0, "SCCS", nullptr), "/SCCS/s.foo.c");
  EXPECT_STREQ(kes_make_sccs_name("./foo.c", buf, 's', 0, "", nullptr), "s.foo.c");
  // Without a history directory the clear file sits beside its history file.
  EXPECT_STREQ(kes_make_gname("a/b/s.foo.c", buf, nullptr), "a/b/foo.c");
  EXPECT_STREQ(kes_make_gname("dir/other/s.foo.c", buf, "SCCS"), "dir/other/foo.c");
  for (const char *name : {"x.c", "d/x.c", "d/e/x.c", "/r/x.c", "/x.c"}) {
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
  EXPECT_EQ(std::string(kes_fully_qualify("~/src/x", buf)), home + "/src/x");
  EXPECT_EQ(std::string(kes_fully_qualify("~root", buf)), root_home);
  EXPECT_STREQ(kes_fully_qualify("~no_such_user_kes/ws", buf), "~no_such_user_kes/ws");
  EXPECT_STREQ(kes_fully_qualify("/abs/./x", buf), "/abs/./x");
  if (old_home) setenv("HOME", saved.c_str(), 1); else unsetenv("HOME");
  ASSERT_EQ(chdir(dir.c_str()), 0);
  EXPECT_EQ(std::string(kes_fully_qualify("./ws", buf)), dir + "/ws");
  EXPECT_EQ(std::string(kes_fully_qualify(".", buf)), dir);
  // An expansion that won't fit leaves the name as given.
  std::string longname(1020, 'n');
  EXPECT_EQ(std::string(kes_fully_qualify(longname.c_str(), buf)), longname);
}

TEST_F(PathTest, ChdirByDescriptorOrNameAndItsFailures) {
  set_cmdname("putback");
  make_dirs("one");
  make_dirs("two");
  write_file("file", "");
  EXPECT_EQ(kes_fchdir_supported(), 1);
  int fd = open(at("one").c_str(), O_RDONLY);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(take(kes_chdir("two", fd)).text, "");  // the descriptor wins over the name
  close(fd);
  EXPECT_EQ(cwd(), at("one"));
  EXPECT_EQ(take(kes_chdir(at("two").c_str(), -1)).text, "");
  EXPECT_EQ(cwd(), at("two"));

  fd = open(at("file").c_str(), O_RDONLY);
  ASSERT_GE(fd, 0);
  Err by_fd = take(kes_chdir("somewhere", fd));
  close(fd);
  EXPECT_EQ(by_fd.text, "putback: Fchdir to \"somewhere\" failed  (Error 1031) - Not a directory"
                          "  (System error 20)\n");
  EXPECT_EQ(take(kes_chdir(at("missing").c_str(), -1)).code, 1023);
  EXPECT_EQ(cwd(), at("two"));
}
