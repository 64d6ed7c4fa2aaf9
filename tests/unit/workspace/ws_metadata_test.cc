// The metadata file framework: open modes and version line, reading with
// comments and continuations, appends, deletes, atomic rewrites, and the
// short lock with its stale-lock rule.
#include <csignal>
#include <sys/time.h>

#include "workspace/kes_metadata.h"
#include "workspace/ws_helpers.h"

using namespace support;
using namespace ws_test;

namespace {

// An entry with the comments that stood before it, as a class that keeps
// hand-written comments writes them back.
struct Entry {
  std::string text;
  std::vector<std::string> comments;
};

class Entrylist : public Kes_list {
public:
  ~Entrylist() override { clear(); }
  Kes_list *create_list() override { return new Entrylist; }
  void *create_data() override { return new Entry; }
  void *copy_data(void *d) override { return new Entry(*static_cast<Entry *>(d)); }
  void delete_data(void *d) override { delete static_cast<Entry *>(d); }
  void print_data(void *) override {}
  int compare_datas(void *a, void *b) override {
    return static_cast<Entry *>(a)->text == static_cast<Entry *>(b)->text;
  }
  std::vector<Entry> all() {
    std::vector<Entry> v;
    for (Kes_listelem *e = head.next; e != &head; e = e->next) v.push_back(*(Entry *)e->data);
    return v;
  }
};

class Md_commented : public Kes_metadata {
public:
  Md_commented(const char *dir, const char *name, int version = 1)
      : Kes_metadata(nullptr, dir, name, version) {}
  Kes_err *parse(char *line, void **entry, Kes_strlist *comments) override {
    Entry *e = new Entry;
    e->text = line;
    for (Kes_listelem *c = comments->head.next; c != &comments->head; c = c->next)
      e->comments.push_back(static_cast<char *>(c->data));
    *entry = e;
    return nullptr;
  }
  void format_comment(void *entry, char **text) override {
    std::string s;
    for (auto &c : static_cast<Entry *>(entry)->comments) s += c + "\n";
    *text = s.empty() ? nullptr : strdup(s.c_str());
  }
  void format_entry(void *entry, char **text) override {
    *text = strdup((static_cast<Entry *>(entry)->text + "\n").c_str());
  }
};

// A class at version 2 that can bring a version 1 file up to date.
class Md_converting : public Kes_metadata {
public:
  int conversions = 0;
  Md_converting(const char *dir) : Kes_metadata(nullptr, dir, "conv", 2) {}
  Kes_err *conversion() override {
    conversions++;
    return nullptr;
  }
};

class Metadata : public testing::Test {
protected:
  Temp_dir tmp;
  const char *dir() { return tmp.path().c_str(); }
  std::string file(const char *name) { return tmp.file(name); }
};

// Files made by appending or writing, and missing ones read, are every
// story's; here the empty file, as a full disk or a killed writer leaves it.
TEST_F(Metadata, EmptyFileOpened) {
  Kes_metadata md(nullptr, dir(), "f", 1);
  // Opened for appending it gets its version line. opened for appending gets its version line too.
  write_file(file("f"), "");
  ASSERT_EQ(take(md.open("a")).code, 0);
  fputs("x\n", md.stream);
  ASSERT_EQ(take(md.close()).code, 0);
  EXPECT_EQ(read_file(file("f")), "VERSION 1\nx\n");

  // Opened for reading only can't get its line: a write error.
  write_file(file("f"), "");
  Err e = take(md.open("r"));
  EXPECT_EQ(e.code, 1001);
  EXPECT_EQ(md.stream, nullptr);
  EXPECT_EQ(read_file(file("f")), "");
}

// What a read of lines makes of each file, for a class at version 2: the
// code, the text of the error ("" for none) and the lines read before it.  A
// file that fails stays as it was.
TEST_F(Metadata, WhatAReadMakesOfEachFile) {
  const std::string f = file("f"), longline = std::string(1500, 'x') + "\\" + std::string(1500, 'y');
  const std::string no_version = "No version number in file \"" + f + "\"  (Error 2008)\n";
  using V = std::vector<std::string>;
  struct Case {
    std::string text;
    int code;
    std::string error;
    V lines;
  } cases[] = {
      {"version 2\n", 2008, no_version, {}},
      {"VERSION 3\nline\n", 2046,
       "Version mismatch between this binary and file\n\"" + f +
           "\".\nThis binary is compatible with version 2, but the file is version 3.\nUpgrade to "
           "a release that is more recent than release 2.1.  (Error 2046)\n",
       {}},
      {"VERSION 1\nline\n", 2047,
       "Do not know how to convert file \"" + f + "\" from version 1 to 2  (Error 2047)\n", {}},
      {"VERSION 2 trailing\nok\n", 0, "", {"ok"}},
      // A backslash inside a line is plain text.
      {"VERSION 2\n" + longline + "\nnext\n", 0, "", {longline, "next"}},
      // The line count is one past the last line read.
      {"VERSION 2\na\nb \\\n", 2027, "Corrupted file - \"" + f + "\", line 4  (Error 2027)\n", {"a"}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.text.substr(0, 40));
    write_file(f, c.text);
    Kes_metadata md(nullptr, dir(), "f", 2);
    Kes_strlist l;
    Err e = take(md.get_lines(&l));
    EXPECT_EQ(e.code, c.code);
    EXPECT_EQ(e.text, c.error);
    EXPECT_EQ(strings(&l), c.lines);
    EXPECT_EQ(md.stream, nullptr);
    if (c.code == 2046) {
      EXPECT_EQ(take(md.add_line("more")).code, 2046);
    }
    if (c.code) {
      EXPECT_EQ(read_file(f), c.text);
    }
  }

  // With a converter the read goes on.
  Md_converting conv(dir());
  write_file(file("conv"), "VERSION 1\nline\n");
  Kes_strlist l;
  ASSERT_EQ(take(conv.get_lines(&l)).code, 0);
  EXPECT_EQ(conv.conversions, 1);
  EXPECT_EQ(strings(&l), std::vector<std::string>{"line"});
}

TEST_F(Metadata, CommentsAndContinuations) {
  write_file(file("f"),
             "VERSION 1\n"
             "# heading\n"
             "\n"
             "first\n"
             "foo # bar\n"
             "   # only a comment\n"
             "  \n"
             "joined \\\n"
             "over \\\n"
             "three\n"
             "last#tight\n"
             "# trailing comment, lost on a rewrite\n");
  Md_commented md(dir(), "f");
  Entrylist l;
  ASSERT_EQ(take(md.get_contents(&l)).code, 0);
  std::vector<Entry> v = l.all();
  ASSERT_EQ(v.size(), 4u);
  EXPECT_EQ(v[0].text, "first");
  EXPECT_EQ(v[0].comments, (std::vector<std::string>{"# heading", ""}));
  EXPECT_EQ(v[1].text, "foo ");  // the blank before "#" stays
  EXPECT_EQ(v[1].comments, std::vector<std::string>{"# bar"});
  EXPECT_EQ(v[2].text, "joined over three");
  EXPECT_EQ(v[2].comments, (std::vector<std::string>{"# only a comment", "  "}));
  EXPECT_EQ(v[3].text, "last");
  EXPECT_EQ(v[3].comments, std::vector<std::string>{"#tight"});

  // Lines only: the same rules, no parse.
  Kes_strlist lines;
  ASSERT_EQ(take(md.get_lines(&lines)).code, 0);
  EXPECT_EQ(strings(&lines),
            (std::vector<std::string>{"first", "foo ", "joined over three", "last"}));

  // Rewriting keeps every comment that stands before an entry.
  ASSERT_EQ(take(md.put_contents(&l)).code, 0);
  EXPECT_EQ(read_file(file("f")),
            "VERSION 1\n# heading\n\nfirst\n# bar\nfoo \n# only a comment\n  \n"
            "joined over three\n#tight\nlast\n");
  Entrylist again;
  ASSERT_EQ(take(md.get_contents(&again)).code, 0);
  EXPECT_EQ(again.all().size(), 4u);
  EXPECT_EQ(again.all()[2].text, "joined over three");
  EXPECT_EQ(again.all()[2].comments, v[2].comments);
}

TEST_F(Metadata, AddAndDeleteLines) {
  Kes_metadata md(nullptr, dir(), "f", 1);
  // Adding creates the file and is idempotent; null and empty lines are nothing.
  for (const char *line : {"one", "two", "one", "", (const char *)nullptr, "three"})
    ASSERT_EQ(take(md.add_line(line)).code, 0);
  ASSERT_EQ(read_file(file("f")), "VERSION 1\none\ntwo\nthree\n");
  write_file(file("f"), read_file(file("f")) + "one\n");  // twice, by hand
  EXPECT_FALSE(file_exists(file("f.lock")));

  // Deleting drops every equal line; an empty line is never looked for.
  struct {
    const char *line;
    int found;
    const char *left;
  } deletes[] = {
      {"one", 1, "two\nthree\n"}, {"absent", 0, "two\nthree\n"}, {"", 7, "two\nthree\n"},
      {"two", 1, "three\n"},
  };
  for (auto &d : deletes) {
    int found = 7;
    ASSERT_EQ(take(md.delete_line(d.line, &found)).code, 0) << d.line;
    EXPECT_EQ(found, d.found) << d.line;
    EXPECT_EQ(read_file(file("f")), std::string("VERSION 1\n") + d.left) << d.line;
  }
  EXPECT_FALSE(file_exists(file("f.tmp")));

  // On a missing file: no error, nothing found, nothing made.
  Kes_metadata missing(nullptr, dir(), "none", 1);
  int found = -1;
  ASSERT_EQ(take(missing.delete_line("x", &found)).code, 0);
  EXPECT_EQ(found, 0);
  EXPECT_FALSE(file_exists(file("none")));

  // Remove: a missing file is no failure; something that can't be unlinked is.
  ASSERT_EQ(take(md.remove()).code, 0);
  EXPECT_FALSE(md.exists());
  ASSERT_EQ(take(md.remove()).code, 0);
  make_dirs(file("adir") + "/inside");
  Kes_metadata dirmd(nullptr, dir(), "adir", 1);
  Err e = take(dirmd.remove());
  EXPECT_EQ(e.code, 1019);
}

TEST_F(Metadata, RewriteKeepsModeWhereDeleteDoesNot) {
  Kes_metadata md(nullptr, dir(), "f", 1);
  write_file(file("f"), "VERSION 1\na\nb\n");
  ASSERT_EQ(chmod(file("f").c_str(), 0640), 0);
  Kes_strlist l;
  ASSERT_EQ(take(md.get_lines(&l)).code, 0);
  l.add_new_data(strdup("c"));
  ASSERT_EQ(take(md.put_contents(&l)).code, 0);
  struct stat st;
  ASSERT_EQ(stat(file("f").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
  EXPECT_EQ(umask(0), 0u);  // restored

  ASSERT_EQ(take(md.add_line("d")).code, 0);
  ASSERT_EQ(take(md.delete_line("d", nullptr)).code, 0);
  ASSERT_EQ(stat(file("f").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0666u);

  // A null list does nothing; a missing file can't be rewritten.
  ASSERT_EQ(take(md.put_contents(nullptr)).code, 0);
  Kes_metadata missing(nullptr, dir(), "none", 1);
  Err e = take(missing.put_contents(&l));
  EXPECT_EQ(e.code, 2702);
  EXPECT_EQ(e.system_errno, ENOENT);
  EXPECT_FALSE(file_exists(file("none")));
  EXPECT_FALSE(file_exists(file("none.lock")));
}

TEST_F(Metadata, FailedRewritesLeaveTheOldFile) {
  Md_commented md(dir(), "f");
  const std::string old = "VERSION 1\nkeep\nme\n";
  write_file(file("f"), old);
  Entrylist l;
  ASSERT_EQ(take(md.get_contents(&l)).code, 0);
  Entry *extra = new Entry;
  extra->text = "new";
  l.add_new_data(extra);

  // A full disk under the temporary file.
  ASSERT_EQ(symlink("/dev/full", file("f.tmp").c_str()), 0);
  Err e = take(md.put_contents(&l));
  EXPECT_EQ(e.code, 1001) << e.text;
  EXPECT_EQ(e.system_errno, ENOSPC) << e.text;
  EXPECT_EQ(read_file(file("f")), old);
  EXPECT_FALSE(file_exists(file("f.tmp")));  // no stale temporary file

  // The temporary file can't be made.
  make_dirs(file("f.tmp"));
  e = take(md.put_contents(&l));
  EXPECT_EQ(e.code, 1017);
  EXPECT_EQ(read_file(file("f")), old);
  rmdir(file("f.tmp").c_str());

  // The rename fails: the file is a non-empty directory.
  make_dirs(file("d/sub"));
  write_file(file("d.tmp"), "");
  Md_commented dmd(dir(), "d");
  // put_contents needs stat of the file to work, and it does on a directory.
  e = take(dmd.put_contents(&l));
  EXPECT_EQ(e.code, 1018);
  EXPECT_TRUE(file_exists(file("d.tmp")));  // the temporary file remains
  EXPECT_FALSE(file_exists(file("d.lock")));
  EXPECT_FALSE(file_exists(file("f.lock")));
}

TEST_F(Metadata, LocksNestAndLeaveNothingBehind) {
  Kes_metadata md(nullptr, dir(), "f", 1);
  std::string lk = file("f.lock");
  ASSERT_EQ(take(md.lock()).code, 0);
  char target[1024] = "";
  ASSERT_GT(readlink(lk.c_str(), target, sizeof target - 1), 0);
  EXPECT_EQ(std::string(target), file("f"));
  ASSERT_EQ(take(md.lock()).code, 0);
  EXPECT_EQ(md.lock_count, 2);
  // Adding inside a locked section uses the held lock.
  ASSERT_EQ(take(md.add_line("inside")).code, 0);
  EXPECT_TRUE(file_exists(lk));
  md.unlock();
  EXPECT_TRUE(file_exists(lk));
  md.unlock();
  EXPECT_FALSE(file_exists(lk));
  md.unlock();  // one too many
  EXPECT_EQ(md.lock_count, 0);
  ASSERT_EQ(take(md.lock()).code, 0);
  EXPECT_TRUE(file_exists(lk));
  md.unlock();

  // No directory to make the lock in.
  Kes_metadata nodir(nullptr, file("nodir").c_str(), "f", 1);
  Err e = take(nodir.lock());
  EXPECT_EQ(e.code, 1014);
  EXPECT_EQ(e.system_errno, ENOENT);
  EXPECT_EQ(nodir.lock_count, 0);
}

// What kes_file_lock saw at each look at a held lock.
struct Look {
  time_t lock_mtime;
  time_t probe_mtime;
  int broken;
};
std::vector<Look> looks;
std::function<void()> at_look;  // a test may act at each look
void record(const char *, time_t lock_mtime, time_t probe_mtime, int broken) {
  looks.push_back({lock_mtime, probe_mtime, broken});
  if (at_look) at_look();
}

// Sets a lock link's own modification time to now - age seconds.
void age_link(const std::string &path, int age) {
  struct timeval now;
  gettimeofday(&now, nullptr);
  struct timeval tv[2] = {{now.tv_sec - age, 0}, {now.tv_sec - age, 0}};
  ASSERT_EQ(lutimes(path.c_str(), tv), 0) << strerror(errno);
}

class FileLock : public Metadata {
protected:
  void SetUp() override {
    looks.clear();
    at_look = nullptr;
    kes_file_lock_set_observer(record);
  }
  void TearDown() override {
    kes_file_lock_set_observer(nullptr);
    at_look = nullptr;
  }
};

TEST_F(FileLock, LockOfAKilledProcessIsBroken) {
  std::string lk = file("f.lock");
  int pipefd[2];
  ASSERT_EQ(pipe(pipefd), 0);
  pid_t pid = fork();
  if (pid == 0) {
    Kes_metadata md(nullptr, dir(), "f", 1);
    Kes_err *e = md.lock();
    if (write(pipefd[1], e ? "E" : "L", 1) != 1) _exit(3);
    pause();
    _exit(0);
  }
  char c = 0;
  ASSERT_EQ(read(pipefd[0], &c, 1), 1);
  ASSERT_EQ(c, 'L');
  kill(pid, SIGKILL);
  int status;
  waitpid(pid, &status, 0);
  close(pipefd[0]);
  close(pipefd[1]);
  ASSERT_TRUE(file_exists(lk));  // left behind by the killed holder

  // The lock is fresh at the next locker's first look; then it is made old by
  // its own time stamp, and the second look breaks it.
  at_look = [&] {
    if (looks.size() == 1) age_link(lk, 60);
  };
  Kes_metadata md(nullptr, dir(), "f", 1);
  ASSERT_EQ(take(md.add_line("survivor")).code, 0);
  ASSERT_EQ(looks.size(), 2u);
  EXPECT_FALSE(looks.front().broken);
  EXPECT_TRUE(looks.back().broken);
  for (const Look &l : looks) EXPECT_EQ(l.broken, l.lock_mtime + 15 < l.probe_mtime);
  EXPECT_EQ(read_file(file("f")), "VERSION 1\nsurvivor\n");
  EXPECT_FALSE(file_exists(lk));
}

}  // namespace
