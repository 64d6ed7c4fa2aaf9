// Files: the mapped reader (lines and raw data across many windows, the line
// rules at window edges, the failures to open), copying files and links,
// creating directory trees, the directory descriptor cache.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_list.h"
#include "util/kes_mmap.h"
#include "util/kes_timing.h"
#include "support/scratch.h"

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

using namespace support;

namespace {

using Lines = std::vector<std::string>;

class MmapTest : public Scratch {
protected:
  void SetUp() override {
    Scratch::SetUp();
    set_cmdname("/usr/bin/bringover");
    page = (size_t)sysconf(_SC_PAGESIZE);
  }
  // All lines through gets, with a buffer that always fits.
  static Lines all_lines(Kes_mmap &m, Kes_err **err) {
    Lines lines;
    std::vector<char> buf(1 << 20);
    while (m.gets(buf.data(), (int)buf.size(), err)) lines.push_back(buf.data());
    EXPECT_EQ(buf[0], '\0');
    return lines;
  }
  static std::string all_data(Kes_mmap &m, Kes_err **err) {
    std::string got;
    char *data;
    int len;
    while (m.read(&data, &len, err)) {
      EXPECT_GT(len, 0);
      EXPECT_LE((size_t)len, m.window);
      got.append(data, len);
    }
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(len, 0);
    return got;
  }
  // The lines of a file written with data, read with the given window.
  Lines lines_of(const std::string &data, int window = 0) {
    write_file("f", data);
    Kes_mmap m("f", dir.c_str(), window);
    EXPECT_EQ(take(m.open()).text, "");
    Kes_err *err = nullptr;
    Lines got = all_lines(m, &err);
    EXPECT_EQ(take(err).text, "");
    return got;
  }
  size_t page = 0;
};


// Lines of many lengths, so that line ends fall everywhere relative to the
// window edges.
std::string varied_lines(int count, Lines *lines) {
  std::string all;
  unsigned seed = 7;
  for (int i = 0; i < count; i++) {
    seed = seed * 1103515245 + 12345;
    std::string line(((seed >> 8) % 300), 'a' + i % 26);
    line += '\n';
    lines->push_back(line);
    all += line;
  }
  return all;
}

}  // namespace

TEST_F(MmapTest, LinesAndDataAcrossManyWindowsAndAfterRewind) {
  Lines want;
  std::string data = varied_lines(4000, &want);
  ASSERT_GT(data.size(), 40 * page);
  write_file("lines", data);
  for (size_t w : {size_t(0), 3 * page, 16 * page}) {
    Kes_mmap m("lines", dir.c_str(), (int)w);
    ASSERT_EQ(take(m.open()).text, "");
    Kes_err *err = nullptr;
    EXPECT_EQ(all_lines(m, &err), want) << "window " << m.window;
    EXPECT_EQ(err, nullptr);
    EXPECT_EQ(m.eof(), 1);
    ASSERT_EQ(take(m.rewind()).text, "");
    EXPECT_EQ(m.eof(), 0);
    EXPECT_EQ(all_data(m, &err), data);
    EXPECT_EQ(m.eof(), 1);
    char *p;
    int len;
    EXPECT_EQ(m.read(&p, &len, &err), 0);  // stays at the end
    EXPECT_EQ(take(m.close()).text, "");
    EXPECT_EQ(m.fd, -1);
  }
}

TEST_F(MmapTest, LineRulesAtTheWindowEdges) {
  // A line ending exactly at the window edge; the next starts the next window.
  std::string first(2 * page - 1, 'x');
  first += '\n';
  EXPECT_EQ(lines_of(first + "second\n"), (Lines{first, "second\n"}));

  // A line longer than the window reads as the end of the file; a wider
  // window reads it.
  std::string huge(2 * page + 1, 'h');
  huge.back() = '\n';
  EXPECT_EQ(lines_of("before\n" + huge + "after\n"), Lines{"before\n"});
  EXPECT_EQ(lines_of("before\n" + huge + "after\n", 4 * page),
            (Lines{"before\n", huge, "after\n"}));

  // Short lines up to the last byte of the third page, where a line begins.
  // The window moved to that page reaches one page and a byte past the start:
  // a line of that length is read, one byte more reads as the end of the file.
  Lines lead;
  std::string prefix;
  while (prefix.size() < 3 * page - 1) {
    size_t n = std::min<size_t>(3 * page - 1 - prefix.size(), 100);
    lead.push_back(std::string(n - 1, 's') + "\n");
    prefix += lead.back();
  }
  std::string fits = std::string(page, 'f') + "\n", over = std::string(page + 1, 'o') + "\n";
  Lines want = lead;
  want.push_back(fits);
  want.push_back("tail\n");
  EXPECT_EQ(lines_of(prefix + fits + "tail\n"), want);
  write_file("over", prefix + over + "tail\n");
  Kes_mmap b("over", dir.c_str());
  ASSERT_EQ(take(b.open()).text, "");
  Kes_err *err = nullptr;
  EXPECT_EQ(all_lines(b, &err), lead);
  EXPECT_EQ(err, nullptr);
  EXPECT_EQ(b.offset, (off_t)(2 * page));
  EXPECT_EQ(b.eof(), 0);

  // A last line without its newline is left for read.
  write_file("partial", "one\ntwo\nno newline");
  Kes_mmap m("partial", dir.c_str());
  ASSERT_EQ(take(m.open()).text, "");
  EXPECT_EQ(all_lines(m, &err), (Lines{"one\n", "two\n"}));
  EXPECT_EQ(m.eof(), 0);
  EXPECT_EQ(all_data(m, &err), "no newline");
}

TEST_F(MmapTest, LineTooLongForTheBufferIsError2000) {
  write_file("long", "1234567\n12345678\nnext\n");
  Kes_mmap m("long", dir.c_str());
  ASSERT_EQ(take(m.open()).text, "");
  char buf[9];
  Kes_err *err = nullptr;
  // Eight bytes with the newline fit a buffer of nine; nine do not.
  EXPECT_EQ(m.gets(buf, 9, &err), buf);
  EXPECT_STREQ(buf, "1234567\n");
  EXPECT_EQ(m.gets(buf, 9, &err), nullptr);
  EXPECT_STREQ(buf, "");
  ASSERT_NE(err, nullptr);
  EXPECT_EQ(err->system_errno, 0);
  EXPECT_EQ(take(err).text, "bringover: Line too long or unexpected end of file in \"" +
                              at("long") + "\"  (Error 2000)\n");
  // A larger buffer gets the same line.
  char big[64];
  EXPECT_STREQ(m.gets(big, sizeof big, &err), "12345678\n");
}

TEST_F(MmapTest, EmptyFileGivesNoData) {
  write_file("empty", "");
  Kes_mmap m("empty", dir.c_str());
  ASSERT_EQ(take(m.open()).text, "");
  EXPECT_EQ(m.addr, nullptr);
  char buf[16] = "junk";
  Kes_err *err = nullptr;
  EXPECT_EQ(m.gets(buf, sizeof buf, &err), nullptr);
  EXPECT_STREQ(buf, "");
  char *p = buf;
  int len = 5;
  EXPECT_EQ(m.read(&p, &len, &err), 0);
  EXPECT_EQ(len, 0);
  EXPECT_EQ(err, nullptr);
  EXPECT_EQ(m.eof(), 1);
  EXPECT_EQ(take(m.rewind()).text, "");
}

TEST_F(MmapTest, OpenFailuresLeaveNothingOpen) {
  struct stat root;
  ASSERT_EQ(stat("/", &root), 0);
  ASSERT_GT(root.st_size, 0) << "a directory with a size is needed";
  struct {
    std::string name;
    const char *dir;
    int code, sys;
    std::string text;
  } cases[] = {
      {"absent", dir.c_str(), 1001, ENOENT,
       "bringover: Open of \"" + dir + "/absent\" for reading failed  (Error 1001)"
       " - No such file or directory  (System error 2)\n"},
      // A directory opens and has a size, but cannot be mapped.
      {"/", nullptr, 1030, ENODEV,
       "bringover: Mmap of \"/\" failed  (Error 1030) - No such device  (System error 19)\n"},
  };
  for (const auto &c : cases) {
    Kes_mmap m(c.name.c_str(), c.dir);
    Kes_err *err = m.open();
    ASSERT_NE(err, nullptr) << c.name;
    EXPECT_EQ(err->code, c.code);
    EXPECT_EQ(err->system_errno, c.sys);
    EXPECT_EQ(take(err).text, c.text);
    EXPECT_EQ(m.fd, -1);
  }
}

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

TEST_F(FileTest, CopyFailsNamingTheTargetAndLeavesNothing) {
  write_file("src", "data", 0644);
  EXPECT_EQ(take(kes_copy_file(at("no/to").c_str(), at("src").c_str())).text,
            "tfile: Create of \"" + at("no/to") +
                "\" failed  (Error 1005) - No such file or directory  (System error 2)\n");
  EXPECT_FALSE(file_exists("no"));
}

// A link to the full device: creat succeeds, the first write fails, and what
// is removed is the link, not the device.  A real small file system that fills
// up is the full-disk bringover story's.
TEST_F(FileTest, CopyToAFullDiskFailsAndLeavesNoTarget) {
  ASSERT_EQ(symlink("/dev/full", at("full").c_str()), 0);
  write_file("src", pattern(1024 * 1024 + 17), 0644);
  Err err = take(kes_copy_file(at("full").c_str(), at("src").c_str()));
  EXPECT_EQ(err.text, "tfile: Write to \"" + at("full") +
                          "\" failed  (Error 1008) - No space left on device  (System error 28)\n");
  EXPECT_FALSE(file_exists("full"));
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
