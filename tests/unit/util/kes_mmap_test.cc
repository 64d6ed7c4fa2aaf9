// The mapped file reader: lines and raw data across many windows, the line rules
// at window edges, and every failure with its code and text.
#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "util/kes_mmap.h"
#include "util/scratch_helpers.h"

namespace {

class MmapTest : public Scratch {
protected:
  void SetUp() override {
    Scratch::SetUp();
    set_cmdname("/usr/bin/bringover");
    page = (size_t)sysconf(_SC_PAGESIZE);
  }
  std::string write(const char *name, const std::string &data) {
    write_file(name, data);
    return at(name);
  }
  // All lines through gets, with a buffer that always fits.
  static std::vector<std::string> all_lines(Kes_mmap &m, Kes_err **err) {
    std::vector<std::string> lines;
    std::vector<char> buf(1 << 20);
    while (m.gets(buf.data(), (int)buf.size(), err)) lines.push_back(buf.data());
    EXPECT_EQ(buf[0], '\0');
    return lines;
  }
  static std::string all_data(Kes_mmap &m, size_t window, Kes_err **err) {
    std::string got;
    char *data;
    int len;
    while (m.read(&data, &len, err)) {
      EXPECT_GT(len, 0);
      EXPECT_LE((size_t)len, window);
      got.append(data, len);
    }
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(len, 0);
    return got;
  }

  size_t page = 0;
};

std::string text_of(Kes_err *e) {
  std::string s = e ? e->text : "<no error>";
  delete e;
  return s;
}

// Lines of many lengths, so that line ends fall everywhere relative to the
// window edges.
std::string varied_lines(int count, unsigned seed, std::vector<std::string> *lines) {
  std::string all;
  for (int i = 0; i < count; i++) {
    seed = seed * 1103515245 + 12345;
    size_t len = (seed >> 8) % 300;
    std::string line(len, 'a' + i % 26);
    line += '\n';
    lines->push_back(line);
    all += line;
  }
  return all;
}

}  // namespace

TEST_F(MmapTest, FullNameAndWindowSize) {
  Kes_mmap a("SCCS/s.main.c", "/ws/child");
  EXPECT_STREQ(a.get_fullname(), "/ws/child/SCCS/s.main.c");
  EXPECT_EQ(a.window, 2 * page);
  EXPECT_EQ(a.fd, -1);
  Kes_mmap b("/abs/s.x", "/ws");
  EXPECT_STREQ(b.get_fullname(), "/abs/s.x");
  Kes_mmap c("rel/s.x", nullptr);
  EXPECT_STREQ(c.get_fullname(), "rel/s.x");
  Kes_mmap d("s.x", "", 5 * page + 17);
  EXPECT_STREQ(d.get_fullname(), "s.x");
  EXPECT_EQ(d.window, 5 * page);
  Kes_mmap e("s.x", nullptr, 100);
  EXPECT_EQ(e.window, 2 * page);
}

TEST_F(MmapTest, LinesAcrossManyWindows) {
  std::vector<std::string> want;
  std::string data = varied_lines(4000, 7, &want);
  ASSERT_GT(data.size(), 40 * page);
  write("lines", data);
  for (size_t w : {size_t(0), 3 * page, 16 * page}) {
    Kes_mmap m("lines", dir.c_str(), (int)w);
    ASSERT_EQ(text_of(m.open()), "<no error>");
    Kes_err *err = nullptr;
    EXPECT_EQ(all_lines(m, &err), want) << "window " << m.window;
    EXPECT_EQ(err, nullptr);
    EXPECT_EQ(m.eof(), 1);
    // After a rewind the same lines come again.
    ASSERT_EQ(text_of(m.rewind()), "<no error>");
    EXPECT_EQ(m.eof(), 0);
    EXPECT_EQ(all_lines(m, &err), want);
    EXPECT_EQ(text_of(m.close()), "<no error>");
    EXPECT_EQ(m.fd, -1);
  }
}

TEST_F(MmapTest, LineEndingExactlyAtTheWindowEdge) {
  // The first line fills the whole window; the second starts the next one.
  std::string first(2 * page - 1, 'x');
  first += '\n';
  write("edge", first + "second\n" + "third\n");
  Kes_mmap m("edge", dir.c_str());
  ASSERT_EQ(text_of(m.open()), "<no error>");
  Kes_err *err = nullptr;
  EXPECT_EQ(all_lines(m, &err), (std::vector<std::string>{first, "second\n", "third\n"}));
  EXPECT_EQ(err, nullptr);
}

TEST_F(MmapTest, LongLinesAgainstTheWindow) {
  // A line longer than the window reads as the end of the file.
  std::string huge(2 * page + 1, 'h');
  huge.back() = '\n';
  write("huge", "before\n" + huge + "after\n");
  Kes_mmap m("huge", dir.c_str());
  ASSERT_EQ(text_of(m.open()), "<no error>");
  Kes_err *err = nullptr;
  EXPECT_EQ(all_lines(m, &err), std::vector<std::string>{"before\n"});
  EXPECT_EQ(err, nullptr);
  EXPECT_EQ(m.eof(), 0);  // the rest is there but cannot be read as lines

  // With a wider window the same file reads completely.
  Kes_mmap wide("huge", dir.c_str(), 4 * page);
  ASSERT_EQ(text_of(wide.open()), "<no error>");
  EXPECT_EQ(all_lines(wide, &err), (std::vector<std::string>{"before\n", huge, "after\n"}));
}

TEST_F(MmapTest, WindowMovesToThePageWhereTheLineStarts) {
  // Short lines up to the last byte of the third page; there a line begins.
  std::vector<std::string> lead;
  size_t at = 0, end = 3 * page - 1;
  while (at < end) {
    size_t n = end - at < 100 ? end - at : 100;
    lead.push_back(std::string(n - 1, 's') + "\n");
    at += n;
  }
  std::string prefix;
  for (const std::string &l : lead) prefix += l;
  ASSERT_EQ(prefix.size(), 3 * page - 1);
  // The window moved to that page reaches one page and a byte past the start:
  // a line of that length is read, one byte more reads as the end of the file.
  std::string fits(page, 'f'), over(page + 1, 'o');
  fits += '\n';
  over += '\n';
  write("fits", prefix + fits + "tail\n");
  write("over", prefix + over + "tail\n");

  Kes_err *err = nullptr;
  Kes_mmap a("fits", dir.c_str());
  ASSERT_EQ(text_of(a.open()), "<no error>");
  std::vector<std::string> want = lead;
  want.push_back(fits);
  want.push_back("tail\n");
  EXPECT_EQ(all_lines(a, &err), want);

  Kes_mmap b("over", dir.c_str());
  ASSERT_EQ(text_of(b.open()), "<no error>");
  EXPECT_EQ(all_lines(b, &err), lead);
  EXPECT_EQ(err, nullptr);
  EXPECT_EQ(b.offset, (off_t)(2 * page));
}

TEST_F(MmapTest, LastLineWithoutNewlineReadsAsEnd) {
  write("partial", "one\ntwo\nno newline");
  Kes_mmap m("partial", dir.c_str());
  ASSERT_EQ(text_of(m.open()), "<no error>");
  Kes_err *err = nullptr;
  EXPECT_EQ(all_lines(m, &err), (std::vector<std::string>{"one\n", "two\n"}));
  EXPECT_EQ(err, nullptr);
  EXPECT_EQ(m.eof(), 0);
  // What is left is still there for read.
  EXPECT_EQ(all_data(m, m.window, &err), "no newline");
}

TEST_F(MmapTest, LineTooLongForTheBufferIsError2000) {
  std::string path = write("long", "1234567\n12345678\nnext\n");
  Kes_mmap m("long", dir.c_str());
  ASSERT_EQ(text_of(m.open()), "<no error>");
  char buf[9];
  Kes_err *err = nullptr;
  // Eight bytes with the newline fit a buffer of nine; nine do not.
  EXPECT_EQ(m.gets(buf, 9, &err), buf);
  EXPECT_STREQ(buf, "1234567\n");
  EXPECT_EQ(err, nullptr);
  EXPECT_EQ(m.gets(buf, 9, &err), nullptr);
  EXPECT_STREQ(buf, "");
  ASSERT_NE(err, nullptr);
  EXPECT_EQ(err->code, 2000);
  EXPECT_EQ(err->system_errno, 0);
  EXPECT_EQ(text_of(err),
            "bringover: Line too long or unexpected end of file in \"" + path +
                "\"  (Error 2000)\n");
  // A larger buffer gets the same line.
  char big[64];
  EXPECT_STREQ(m.gets(big, sizeof big, &err), "12345678\n");
  EXPECT_STREQ(m.gets(big, sizeof big, &err), "next\n");
}

TEST_F(MmapTest, BinaryDataWindowByWindow) {
  std::string data;
  unsigned seed = 99;
  for (size_t i = 0; i < 37 * page + 123; i++) {
    seed = seed * 1103515245 + 12345;
    data += (char)(seed >> 16);
  }
  ASSERT_NE(data.find('\0'), std::string::npos);
  write("bin", data);
  Kes_mmap m("bin", dir.c_str(), 4 * page);
  ASSERT_EQ(text_of(m.open()), "<no error>");
  Kes_err *err = nullptr;
  EXPECT_EQ(all_data(m, m.window, &err), data);
  EXPECT_EQ(err, nullptr);
  EXPECT_EQ(m.eof(), 1);
  char *p;
  int len;
  EXPECT_EQ(m.read(&p, &len, &err), 0);  // stays at the end
  ASSERT_EQ(text_of(m.rewind()), "<no error>");
  EXPECT_EQ(all_data(m, m.window, &err), data);
}

TEST_F(MmapTest, ReadTakesOverWhereGetsStopped) {
  std::vector<std::string> lines;
  std::string data = varied_lines(600, 3, &lines);
  write("mixed", data);
  Kes_mmap m("mixed", dir.c_str());
  ASSERT_EQ(text_of(m.open()), "<no error>");
  std::string head;
  char buf[400];
  Kes_err *err = nullptr;
  for (int i = 0; i < 250; i++) {
    ASSERT_NE(m.gets(buf, sizeof buf, &err), nullptr);
    head += buf;
  }
  EXPECT_EQ(head + all_data(m, m.window, &err), data);
}

TEST_F(MmapTest, EmptyFileGivesNoData) {
  write("empty", "");
  Kes_mmap m("empty", dir.c_str());
  ASSERT_EQ(text_of(m.open()), "<no error>");
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
  EXPECT_EQ(text_of(m.rewind()), "<no error>");
  EXPECT_EQ(text_of(m.close()), "<no error>");
}

TEST_F(MmapTest, HistoryFilesReadLikeTheStreamLibraryReadsThem) {
  std::string corpus = std::string(BRINDLE_DATA_DIR) + "/corpus/bsd44";
  std::vector<std::string> files;
  std::vector<std::string> stack{corpus};
  while (!stack.empty() && files.size() < 40) {
    std::string d = stack.back();
    stack.pop_back();
    DIR *dp = opendir(d.c_str());
    if (!dp) continue;
    while (struct dirent *de = readdir(dp)) {
      std::string n = de->d_name;
      if (n == "." || n == "..") continue;
      std::string p = d + "/" + n;
      struct stat st;
      if (stat(p.c_str(), &st) != 0) continue;
      if (S_ISDIR(st.st_mode)) stack.push_back(p);
      else if (n.rfind("s.", 0) == 0 && st.st_size > (off_t)(3 * page)) files.push_back(p);
    }
    closedir(dp);
  }
  if (files.empty()) GTEST_SKIP() << "no history files under " << corpus;
  for (const std::string &path : files) {
    std::ifstream in(path, std::ios::binary);
    std::vector<std::string> want;
    std::string line;
    while (std::getline(in, line)) want.push_back(line + "\n");
    Kes_mmap m(path.c_str(), nullptr);
    ASSERT_EQ(text_of(m.open()), "<no error>");
    Kes_err *err = nullptr;
    EXPECT_EQ(all_lines(m, &err), want) << path;
    EXPECT_EQ(err, nullptr);
  }
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
    EXPECT_EQ(text_of(err), c.text);
    EXPECT_EQ(m.fd, -1);
    EXPECT_EQ(text_of(m.close()), "<no error>");
  }
}

TEST_F(MmapTest, UnreadableFileIsError1001) {
  std::string path = write("secret", "hidden\n");
  ASSERT_EQ(chmod(path.c_str(), 0), 0);
  ASSERT_EQ(chmod(dir.c_str(), 0755), 0);
  // Permissions do not stop root, so as root the open runs as an unprivileged
  // user in a child.
  EXPECT_EXIT(
      {
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) exit(3);
        Kes_mmap m("secret", dir.c_str());
        Kes_err *err = m.open();
        if (!err) exit(2);
        fputs(err->text, stderr);
        exit(err->code == 1001 && err->system_errno == EACCES && m.fd == -1 ? 0 : 1);
      },
      testing::ExitedWithCode(0),
      "bringover: Open of \"" + path +
          "\" for reading failed  \\(Error 1001\\) - Permission denied  \\(System error 13\\)");
}

TEST_F(MmapTest, CloseAndUnmapFailures) {
  std::string path = write("f", std::string(3 * page, 'z'));
  {
    Kes_mmap m("f", dir.c_str());
    ASSERT_EQ(text_of(m.open()), "<no error>");
    ::close(m.fd);  // the descriptor goes away behind the reader's back
    Kes_err *err = m.close();
    ASSERT_NE(err, nullptr);
    EXPECT_EQ(err->code, 1009);
    EXPECT_EQ(text_of(err), "bringover: Close of \"" + path +
                                "\" failed  (Error 1009) - Bad file descriptor  (System error 9)\n");
    EXPECT_EQ(m.fd, -1);
    EXPECT_EQ(m.addr, nullptr);
  }
  {
    Kes_mmap m("f", dir.c_str());
    ASSERT_EQ(text_of(m.open()), "<no error>");
    char *real = m.addr;
    m.addr = real + 1;  // not page aligned: the unmap is refused
    Kes_err *err = m.munmap();
    ASSERT_NE(err, nullptr);
    EXPECT_EQ(err->code, 1034);
    EXPECT_EQ(text_of(err), "bringover: Munmap of \"" + path +
                                "\" failed  (Error 1034) - Invalid argument  (System error 22)\n");
    m.addr = real;
    EXPECT_EQ(text_of(m.close()), "<no error>");
  }
}
