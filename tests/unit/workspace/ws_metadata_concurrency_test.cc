// Several processes on one metadata file at once: appends, rewrites and
// deletes lose no line, and readers never see a half-written file.
#include <map>
#include <sys/wait.h>

#include "workspace/kes_metadata.h"
#include "workspace/ws_helpers.h"

using namespace support;
using namespace ws_test;

namespace {

// A plain line file: entries are the lines.
class Md_lines : public Kes_metadata {
public:
  Md_lines(const char *dir) : Kes_metadata(nullptr, dir, "shared", 1) {}
  void format_comment(void *, char **text) override { *text = nullptr; }
  void format_entry(void *entry, char **text) override {
    std::string s = static_cast<char *>(entry);
    *text = strdup((s + "\n").c_str());
  }
};

const int kWriters = 3, kAdds = 12;
const int kRewriters = 2, kRewrites = 5;
const int kDeletes = 5;

void pause_a_little(unsigned *seed) { usleep(rand_r(seed) % 40000); }

int writer(const char *dir, int id) {
  unsigned seed = id;
  Md_lines md(dir);
  for (int n = 0; n < kAdds; n++) {
    std::string line = "w" + std::to_string(id) + "-" + std::to_string(n);
    if (Kes_err *e = md.add_line(line.c_str())) {
      e->print();
      return 1;
    }
    pause_a_little(&seed);
  }
  return 0;
}

// Reads the whole file, adds a line and writes it back, under one lock.
int rewriter(const char *dir, int id) {
  unsigned seed = 100 + id;
  Md_lines md(dir);
  for (int n = 0; n < kRewrites; n++) {
    Kes_err *e = md.lock();
    Kes_strlist lines;
    if (!e) e = md.get_lines(&lines);
    usleep(60000);  // a slow rewrite: appenders arrive while it holds the lock
    std::string line = "r" + std::to_string(id) + "-" + std::to_string(n);
    lines.add_new_data(strdup(line.c_str()));
    if (!e) e = md.put_contents(&lines);
    md.unlock();
    if (e) {
      e->print();
      return 1;
    }
    pause_a_little(&seed);
  }
  return 0;
}

// Adds a line and deletes it again.
int deleter(const char *dir) {
  unsigned seed = 7;
  Md_lines md(dir);
  for (int n = 0; n < kDeletes; n++) {
    std::string line = "tmp-" + std::to_string(n);
    int found = 0;
    Kes_err *e = md.add_line(line.c_str());
    if (!e) e = md.delete_line(line.c_str(), &found);
    if (e) {
      e->print();
      return 1;
    }
    if (!found) return 2;
    pause_a_little(&seed);
  }
  return 0;
}

// Reads until the stop file appears, raw and through the framework; each
// snapshot must be a whole file.  Exits 0 only if it read at least once.
int reader(const char *dir, const std::string &stop) {
  std::string path = std::string(dir) + "/shared";
  Md_lines md(dir);
  int reads = 0;
  while (!file_exists(stop)) {
    std::string text = read_file(path);
    if (text.rfind("VERSION 1\n", 0) != 0 || text.empty() || text.back() != '\n') {
      fprintf(stderr, "torn file:\n%s\n", text.c_str());
      return 1;
    }
    Kes_strlist lines;
    if (Kes_err *e = md.get_lines(&lines)) {
      e->print();
      return 1;
    }
    for (Kes_listelem *el = lines.head.next; el != &lines.head; el = el->next) {
      const char *l = static_cast<char *>(el->data);
      if (!strchr("wrt", l[0]) || !strchr(l, '-')) {
        fprintf(stderr, "bad line \"%s\"\n", l);
        return 1;
      }
    }
    reads++;
    usleep(2000);
  }
  return reads > 0 ? 0 : 3;
}

TEST(MetadataConcurrency, NoLineLostNoFileTorn) {
  Temp_dir tmp;
  const char *dir = tmp.path().c_str();
  std::string stop = tmp.file("stop");
  {
    Md_lines md(dir);
    ASSERT_EQ(ok_for_write(&md), 1);
  }

  std::map<pid_t, std::string> workers;
  auto start = [&](const std::string &name, const std::function<int()> &fn) {
    fflush(stdout);
    pid_t pid = fork();
    if (pid == 0) _exit(fn());
    ASSERT_GT(pid, 0);
    workers[pid] = name;
  };
  pid_t reader_pid = fork();
  if (reader_pid == 0) _exit(reader(dir, stop));
  for (int i = 0; i < kWriters; i++)
    start("writer " + std::to_string(i), [=] { return writer(dir, i); });
  for (int i = 0; i < kRewriters; i++)
    start("rewriter " + std::to_string(i), [=] { return rewriter(dir, i); });
  start("deleter", [=] { return deleter(dir); });

  while (!workers.empty()) {
    int status = 0;
    pid_t pid = waitpid(-1, &status, 0);
    if (pid < 0 && errno == EINTR) continue;
    ASSERT_GT(pid, 0);
    if (pid == reader_pid) {
      ADD_FAILURE() << "the reader stopped early with status " << status;
      reader_pid = -1;
      continue;
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << workers[pid] << " ended with status " << status;
    workers.erase(pid);
  }
  write_file(stop, "");
  if (reader_pid > 0) {
    int status = 0;
    waitpid(reader_pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << "reader ended with status " << status;
  }

  // Every added and rewritten line is there exactly once; the deleted ones
  // are gone; no lock or temporary file is left.
  std::string text = read_file(tmp.file("shared"));
  ASSERT_EQ(text.rfind("VERSION 1\n", 0), 0u);
  std::map<std::string, int> seen;
  size_t pos = strlen("VERSION 1\n");
  while (pos < text.size()) {
    size_t nl = text.find('\n', pos);
    ASSERT_NE(nl, std::string::npos);
    seen[text.substr(pos, nl - pos)]++;
    pos = nl + 1;
  }
  std::map<std::string, int> expected;
  for (int i = 0; i < kWriters; i++)
    for (int n = 0; n < kAdds; n++) expected["w" + std::to_string(i) + "-" + std::to_string(n)] = 1;
  for (int i = 0; i < kRewriters; i++)
    for (int n = 0; n < kRewrites; n++)
      expected["r" + std::to_string(i) + "-" + std::to_string(n)] = 1;
  EXPECT_EQ(seen, expected);
  EXPECT_EQ(sh("ls '" + tmp.path() + "'").out, "shared\nstop\n");
}

}  // namespace
