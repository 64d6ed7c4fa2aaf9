// Copying files and links, creating directory trees, the directory descriptor
// cache.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_list.h"
#include "util/kes_timing.h"
#include "support/scratch.h"

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

using namespace support;

namespace {
class FileTest : public Scratch {
protected:
  void SetUp() override {
    Scratch::SetUp();
    set_cmdname("tfile");
  }
};

// Bytes that differ at every offset, so a misplaced window shows.
std::string pattern(size_t size) {
  std::string s(size, '\0');
  unsigned x = 12345;
  for (size_t i = 0; i < size; i++) {
    x = x * 1103515245u + 12345u;
    s[i] = static_cast<char>(x >> 16);
  }
  return s;
}

bool fd_open(int fd) { return fcntl(fd, F_GETFD) != -1; }
}  // namespace

TEST_F(FileTest, CopyKeepsModeAndBytes) {
  write_file("empty", "", 0640);
  EXPECT_EQ(take(kes_copy_file(at("empty.copy").c_str(), at("empty").c_str())).text, "");
  EXPECT_EQ(read_file("empty.copy"), "");
  EXPECT_EQ(mode_of("empty.copy"), 0640u);

  // Sizes around the 256 KB window, and several windows with a short last one.
  const size_t window = 0x40000;
  for (size_t size : {size_t(1), window - 1, window, window + 1, 4 * window + 17}) {
    std::string data = pattern(size);
    write_file("src", data, 04755);
    std::string to = "copy." + std::to_string(size);
    Err err = take(kes_copy_file(at(to).c_str(), at("src").c_str()));
    EXPECT_EQ(err.text, "") << err.text;
    EXPECT_TRUE(read_file(to) == data) << "size " << size;
    EXPECT_EQ(mode_of(to), 04755u) << "size " << size;
  }

  // An existing, longer target is replaced.
  write_file("short", "new", 0600);
  write_file("long", "old old old old", 0644);
  EXPECT_EQ(take(kes_copy_file(at("long").c_str(), at("short").c_str())).text, "");
  EXPECT_EQ(read_file("long"), "new");
}

TEST_F(FileTest, CopyRunsUnderItsTimer) {
  Kes_timing timer("    To copy files:");
  kes_time_copy_file = &timer;
  write_file("a", "abc", 0644);
  CaptureStderr();
  Err ok = take(kes_copy_file(at("b").c_str(), at("a").c_str()));
  Err missing = take(kes_copy_file(at("c").c_str(), at("nothing").c_str()));
  Err no_dir = take(kes_copy_file(at("no/dir").c_str(), at("a").c_str()));
  kes_time_copy_file = nullptr;
  EXPECT_EQ(GetCapturedStderr(), "");  // every path stops the timer once
  EXPECT_EQ(timer.count, 3);
  EXPECT_EQ(timer.flags, 0);
}

TEST_F(FileTest, CopyAFileOrALinkFailsNamingTheFileAndLeavesNoTarget) {
  write_file("src", "data", 0644);
  write_file("plain", "x", 0644);
  ASSERT_EQ(symlink("../elsewhere/file name", at("link").c_str()), 0);
  EXPECT_EQ(take(kes_copy_link(at("copy").c_str(), at("link").c_str())).text, "");
  char text[256];
  ssize_t n = readlink(at("copy").c_str(), text, sizeof text);
  EXPECT_EQ(std::string(text, static_cast<size_t>(n > 0 ? n : 0)), "../elsewhere/file name");

  make_dirs("d");
  write_file("d/entry", "x", 0644);
  struct stat st;
  ASSERT_EQ(stat(at("d").c_str(), &st), 0);
  const std::string enoent = " - No such file or directory  (System error 2)\n";
  struct {
    bool link;
    std::string to, from, text;
  } cases[] = {
      {false, "to", "nothing", "Open of \"" + at("nothing") + "\" for reading failed  (Error 1001)" + enoent},
      {false, "no/to", "src", "Create of \"" + at("no/to") + "\" failed  (Error 1005)" + enoent},
      // A directory opens and has a size, but cannot be mapped.
      {false, "from-dir", "d", "Mmap of \"" + at("d") + "\" failed  (Error 1030) - No such device  (System error 19)\n"},
      {true, "copy", "link", "Symlink(\"../elsewhere/file name\", \"" + at("copy") +
                                 "\") failed  (Error 1012) - File exists  (System error 17)\n"},
      {true, "copy2", "plain", "Readlink of \"" + at("plain") +
                                   "\" failed   (Error 1011) - Invalid argument  (System error 22)\n"},
  };
  for (const auto &c : cases) {
    if (c.from == "d" && st.st_size == 0) continue;  // this file system gives directories no size
    Err err = take(c.link ? kes_copy_link(at(c.to).c_str(), at(c.from).c_str())
                   : kes_copy_file(at(c.to).c_str(), at(c.from).c_str()));
    EXPECT_EQ(err.text, "tfile: " + c.text);
    EXPECT_EQ(file_exists(c.to), c.to == "copy") << c.to;
  }
}

// A link to the full device: creat succeeds, the first write fails, and what
// is removed is the link, not the device.  A small file system (where one may
// be mounted): the first window is written in part, the write of the rest
// says why.
TEST_F(FileTest, CopyToAFullDiskFailsAndLeavesNoTarget) {
  ASSERT_EQ(symlink("/dev/full", at("full").c_str()), 0);
  ASSERT_EQ(mkdir(at("small").c_str(), 0755), 0);
  bool small = mount("tmpfs", at("small").c_str(), "tmpfs", 0, "size=64k") == 0;
  write_file("src", pattern(1024 * 1024 + 17), 0644);
  for (const char *to : {"full", "small/big"}) {
    if (!small && std::string(to) == "small/big") continue;
    Err err = take(kes_copy_file(at(to).c_str(), at("src").c_str()));
    EXPECT_EQ(err.code, 1008);
    EXPECT_EQ(err.text, "tfile: Write to \"" + at(to) +
                            "\" failed  (Error 1008) - No space left on device  (System error 28)\n");
    EXPECT_FALSE(file_exists(to)) << to;
  }
  if (small) umount2(at("small").c_str(), MNT_DETACH);
  struct stat st;
  EXPECT_EQ(stat("/dev/full", &st), 0);
}

TEST_F(FileTest, CreateDirsMakesEveryLevelOnceAndRemembersOnlySuccess) {
  std::string deep = at("a/b/c/d/e");
  EXPECT_EQ(take(kes_create_dirs(deep.c_str())).text, "");
  EXPECT_EQ(mode_of("a/b/c/d/e"), 0777u);
  // Levels removed behind the cache's back: a second call trusts the cache.
  ASSERT_EQ(rmdir(deep.c_str()), 0);
  ASSERT_EQ(rmdir(at("a/b/c/d").c_str()), 0);
  EXPECT_EQ(take(kes_create_dirs(deep.c_str())).text, "");
  EXPECT_EQ(take(kes_create_dirs(at("a/b/c/d").c_str())).text, "");
  EXPECT_FALSE(file_exists("a/b/c/d"));
  // Directories that exist already are fine, trailing "/" too.
  ASSERT_EQ(mkdir(at("pre").c_str(), 0700), 0);
  EXPECT_EQ(take(kes_create_dirs((at("pre") + "/").c_str())).text, "");
  EXPECT_EQ(mode_of("pre"), 0700u);
  EXPECT_EQ(take(kes_create_dirs("/")).text, "");

  ASSERT_EQ(chdir(dir.c_str()), 0);
  EXPECT_EQ(take(kes_create_file_dirs("f1/f2/main.c")).text, "");
  EXPECT_TRUE(file_exists("f1/f2"));
  EXPECT_FALSE(file_exists("f1/f2/main.c"));
  EXPECT_EQ(take(kes_create_file_dirs("main.c")).text, "");

  write_file("file", "x", 0644);
  std::string bad = at("file/sub/deeper");
  EXPECT_EQ(take(kes_create_dirs(bad.c_str())).text,
            "tfile: Mkdir of \"" + bad + "\" failed  (Error 1013) - Not a directory  (System error 20)\n");
  // Nothing was remembered: once the way is free the call succeeds.
  ASSERT_EQ(unlink(at("file").c_str()), 0);
  EXPECT_EQ(take(kes_create_dirs(bad.c_str())).text, "");
  EXPECT_TRUE(file_exists("file/sub/deeper"));
}

TEST_F(FileTest, DirfdCacheKeepsAtMostLimit) {
  for (const char *d : {"d1", "d2", "d3"}) ASSERT_EQ(mkdir(at(d).c_str(), 0755), 0);
  auto *cache = new Kes_dirfd_cache(2);
  int fd1 = -1, fd2 = -1, fd3 = -1, again = -1;
  EXPECT_EQ(take(cache->get_dir_fd(at("d1").c_str(), &fd1)).text, "");
  EXPECT_EQ(take(cache->get_dir_fd(at("d2").c_str(), &fd2)).text, "");
  ASSERT_GE(fd1, 0);
  ASSERT_GE(fd2, 0);
  // A hit gives the same descriptor, with no new open.
  EXPECT_EQ(take(cache->get_dir_fd(at("d1").c_str(), &again)).text, "");
  EXPECT_EQ(again, fd1);

  // The third pushes out the oldest, which is closed and forgotten.
  EXPECT_EQ(take(cache->get_dir_fd(at("d3").c_str(), &fd3)).text, "");
  ASSERT_GE(fd3, 0);
  EXPECT_FALSE(fd_open(fd1));
  EXPECT_TRUE(fd_open(fd2));
  EXPECT_EQ(cache->lookup(at("d1").c_str()), -1);

  delete cache;
  EXPECT_FALSE(fd_open(fd2));
  EXPECT_FALSE(fd_open(fd3));
}

TEST_F(FileTest, DirfdCacheRemembersMissingDirectories) {
  write_file("plain", "x", 0644);
  ASSERT_EQ(symlink("loop", at("loop").c_str()), 0);
  Kes_dirfd_cache cache(10);
  int fd = 0;
  EXPECT_EQ(take(cache.get_dir_fd(at("nothing").c_str(), &fd)).text, "");
  EXPECT_EQ(fd, -2);
  EXPECT_EQ(take(cache.get_dir_fd(at("plain/below").c_str(), &fd)).text, "");
  EXPECT_EQ(fd, -2);
  // Remembered: creating it now changes nothing for this cache.
  ASSERT_EQ(mkdir(at("nothing").c_str(), 0755), 0);
  EXPECT_EQ(take(cache.get_dir_fd(at("nothing").c_str(), &fd)).text, "");
  EXPECT_EQ(fd, -2);

  // Any other failure is an error and is not remembered.
  Err err = take(cache.get_dir_fd(at("loop").c_str(), &fd));
  EXPECT_EQ(fd, -1);
  EXPECT_EQ(err.code, 1001);
  EXPECT_EQ(err.text, "tfile: Open of \"" + at("loop") +
                            "\" for reading failed  (Error 1001) - Too many levels of symbolic"
                            " links  (System error 40)\n");
  EXPECT_EQ(cache.lookup(at("loop").c_str()), -1);
}
