// Examining a large workspace pair: a bringover preview with nothing to do,
// and a real bringover with nothing to do, against the floor of any such
// command, a plain loop that lists both trees and reads the first page of
// every history file in both.  Then a bringover that carries a change to 1% of
// the files (three deltas each) against `hg pull -u` of the same change
// between two Mercurial clones of the same texts.
//
// usage: examine_bench [scratch-dir [files [rounds]]]
//        (defaults /work/scratch/examine or $TMPDIR/examine, 50000, 3)
//
// The parent and child (files history files each, every one with its own
// SmID, and name tables) are made on the first run and reused while their
// size stays the same, as are the changed parent and the two Mercurial
// clones.  Each round times the floor, then the commands, each with the trees
// it reads warm in the page cache;
// the best of each is reported, with the ratios and the peak memory of each
// process.  A round's changed child and clone are fresh copies, made untimed.
#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "util/kes_err.h"
#include "workspace/kes_nametable.h"
#include "workspace/kes_workspace.h"

namespace {

double now_ms() {
  using namespace std::chrono;
  return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

void die(const std::string &what) {
  fprintf(stderr, "examine_bench: %s\n", what.c_str());
  exit(1);
}

void mkdirs(const std::string &path) {
  std::string cur;
  for (size_t i = 0; i <= path.size(); i++) {
    if (i == path.size() || path[i] == '/') {
      if (!cur.empty()) mkdir(cur.c_str(), 0777);
    }
    if (i < path.size()) cur += path[i];
  }
}

void write_file(const std::string &path, const std::string &text) {
  FILE *f = fopen(path.c_str(), "w");
  if (!f || fwrite(text.data(), 1, text.size(), f) != text.size() || fclose(f) != 0)
    die("cannot write " + path);
}

// A history of two deltas, as CSSC writes one: the second appends lines.
// The first comment names the file, so every root delta, and so every SmID,
// is its own.
// With later > 0 the history has that many more deltas, each adding a line:
// the parent's side of the changed pair.
std::string history_text(const std::string &name, int index, int later = 0) {
  char buf[256];
  int first = 40 + index % 60, added = 1 + index % 7;
  std::string body = "\001I 1\n";
  for (int i = 0; i < first; i++) {
    snprintf(buf, sizeof buf, "line %d of %s: some text to make a body of a usual size\n", i,
             name.c_str());
    body += buf;
  }
  body += "\001E 1\n\001I 2\n";
  for (int i = 0; i < added; i++) body += "an added line\n";
  body += "\001E 2\n";
  std::string rest;
  for (int k = 1; k <= later; k++) {
    snprintf(buf, sizeof buf, "\001I %d\nchange %d in the parent\n\001E %d\n", k + 2, k, k + 2);
    body += buf;
  }
  for (int k = later; k >= 1; k--) {
    snprintf(buf, sizeof buf, "\001s 00001/00000/%05d\n\001d D 1.%d 24/03/01 09:00:%02d bench %d %d\n",
             first + added + k - 1, k + 2, k, k + 2, k + 1);
    rest += buf;
    rest += "\001c parent change " + std::to_string(k) + " to " + name + "\n\001e\n";
  }
  snprintf(buf, sizeof buf, "\001s %05d/00000/%05d\n", added, first);
  rest += buf;
  snprintf(buf, sizeof buf, "\001d D 1.2 24/02/%02d 11:%02d:%02d bench 2 1\n", 1 + index % 28,
           index / 60 % 60, index % 60);
  rest += buf;
  rest += "\001c a change to " + name + "\n\001e\n";
  snprintf(buf, sizeof buf, "\001s %05d/00000/00000\n", first);
  rest += buf;
  rest += "\001d D 1.1 24/01/01 10:00:00 bench 1 0\n\001c first version of " + name +
          "\n\001e\n\001u\n\001U\n\001t\n\001T\n" + body;
  unsigned sum = 0;
  for (unsigned char c : rest) sum += c;
  snprintf(buf, sizeof buf, "\001h%05u\n", sum & 0xffff);
  return buf + rest;
}

std::string rel_name(int i) {
  char buf[64];
  snprintf(buf, sizeof buf, "d%02d/e%02d/file%05d.c", i / 2000, i / 100 % 20, i);
  return buf;
}

void build_workspace(const std::string &root, int files, const std::string &parent) {
  mkdirs(root + "/Brindle_wsdata");
  for (int i = 0; i < files; i++) {
    std::string name = rel_name(i);
    size_t slash = name.rfind('/');
    std::string dir = root + "/" + name.substr(0, slash) + "/SCCS";
    if (i % 100 == 0) mkdirs(dir);
    write_file(dir + "/s." + name.substr(slash + 1), history_text(name, i));
  }
  if (!parent.empty()) {
    write_file(root + "/Brindle_wsdata/parent", "VERSION 1\n" + parent + "\n");
    write_file(root + "/Brindle_wsdata/args", "VERSION 1\n.\n");
  }
  // The name table, as a first transaction leaves it.
  Kes_err *err = nullptr;
  Kes_workspace ws(root.c_str(), &err);
  Kes_md_nametable *nt = nullptr;
  if (!err) err = ws.get_md_nametable(&nt);
  int dups = 0;
  if (!err) err = nt->rebuild_table(nullptr, nullptr, &dups);
  if (!err && dups) die("duplicate SmIDs in " + root);
  if (!err) err = nt->write_table();
  if (err) die(err->text);
  delete nt;
}

void make_pair(const std::string &dir, int files, const std::string &cssc) {
  std::string marker = dir + "/made-" + std::to_string(files);
  struct stat st;
  if (stat(marker.c_str(), &st) == 0) return;
  printf("making a parent and a child of %d history files in %s ...\n", files, dir.c_str());
  fflush(stdout);
  if (system(("rm -rf '" + dir + "'").c_str()) != 0) die("cannot clear " + dir);
  mkdirs(dir);
  build_workspace(dir + "/parent", files, "");
  build_workspace(dir + "/child", files, dir + "/parent");
  // CSSC judges a sample of what was written.
  for (int i : {0, files / 2, files - 1}) {
    std::string name = rel_name(i);
    size_t slash = name.rfind('/');
    std::string cmd = "cd '" + dir + "/parent/" + name.substr(0, slash) + "' && '" + cssc +
                      "/val' SCCS/s." + name.substr(slash + 1);
    if (system(cmd.c_str()) != 0) die("val refuses " + name);
  }
  write_file(marker, "");
}

// The floor: list a tree, and read the first page of each history file.
long floor_walk(const std::string &dir, char *page) {
  long n = 0;
  DIR *d = opendir(dir.c_str());
  if (!d) return 0;
  while (dirent *e = readdir(d)) {
    if (e->d_name[0] == '.') continue;
    std::string p = dir + "/" + e->d_name;
    if (e->d_type == DT_DIR) {
      n += floor_walk(p, page);
    } else if (e->d_name[0] == 's' && e->d_name[1] == '.') {
      int fd = open(p.c_str(), O_RDONLY);
      if (fd >= 0 && read(fd, page, 4096) > 0) n++;
      if (fd >= 0) close(fd);
    }
  }
  closedir(d);
  return n;
}

// Reads every file under dir, so that the next command finds it in the page
// cache.  This machine gives cached pages back soon after large copies, so
// each tree is read again just before the command that reads it is timed.
void warm(const std::string &dir) {
  static char buf[65536];
  DIR *d = opendir(dir.c_str());
  if (!d) return;
  while (dirent *e = readdir(d)) {
    if (strcmp(e->d_name, ".") == 0 || strcmp(e->d_name, "..") == 0) continue;
    std::string p = dir + "/" + e->d_name;
    if (e->d_type == DT_DIR) {
      warm(p);
    } else if (e->d_type == DT_REG) {
      int fd = open(p.c_str(), O_RDONLY);
      if (fd < 0) continue;
      while (read(fd, buf, sizeof buf) > 0) {
      }
      close(fd);
    }
  }
  closedir(d);
}

struct Run {
  double ms;
  long peak_kb;
  int status;
  std::string out;
};

// Runs a program in cwd, its output kept; time, peak memory, status.
Run run_prog(const std::vector<std::string> &argv, const std::string &cwd,
             const std::string &out_path) {
  double t0 = now_ms();
  pid_t pid = fork();
  if (pid == 0) {
    int fd = open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    dup2(fd, 1);
    dup2(fd, 2);
    if (chdir(cwd.c_str()) != 0) _exit(126);
    std::vector<char *> args;
    for (const std::string &a : argv) args.push_back(const_cast<char *>(a.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  int status;
  struct rusage ru;
  wait4(pid, &status, 0, &ru);
  Run r{now_ms() - t0, ru.ru_maxrss, WIFEXITED(status) ? WEXITSTATUS(status) : -1, ""};
  FILE *f = fopen(out_path.c_str(), "r");
  char buf[4096];
  size_t n;
  while (f && (n = fread(buf, 1, sizeof buf, f)) > 0) r.out.append(buf, n);
  if (f) fclose(f);
  return r;
}

void shell(const std::string &cmd) {
  if (system(cmd.c_str()) != 0) die("failed: " + cmd);
}

// The text of a history's newest version: its body without control lines.
std::string text_of(const std::string &history) {
  std::string out;
  size_t at = history.find("\001T\n") + 3;
  while (at < history.size()) {
    size_t nl = history.find('\n', at);
    if (history[at] != '\001') out.append(history, at, nl + 1 - at);
    at = nl + 1;
  }
  return out;
}

const int kLater = 3;  // deltas added to each changed file

// The changed pair beside the pair: the parent with every 100th history three
// deltas ahead, the child as it was (copied afresh for each round), and two
// Mercurial clones of the texts, the first three commits behind the second.
void make_changed(const std::string &dir, int files, const std::string &cssc) {
  std::string c = dir + "/changed";
  std::string marker = c + "/made-" + std::to_string(files);
  struct stat st;
  if (stat(marker.c_str(), &st) == 0) return;
  printf("making the changed parent and the Mercurial clones in %s ...\n", c.c_str());
  fflush(stdout);
  shell("rm -rf '" + c + "' && mkdir -p '" + c + "' && cp -a '" + dir + "/parent' '" + c +
        "/parent' && cp -a '" + dir + "/child' '" + c + "/child0'");
  write_file(c + "/child0/Brindle_wsdata/parent", "VERSION 1\n" + c + "/parent\n");
  for (int i = 0; i < files; i += 100) {
    std::string name = rel_name(i);
    size_t slash = name.rfind('/');
    write_file(c + "/parent/" + name.substr(0, slash) + "/SCCS/s." + name.substr(slash + 1),
               history_text(name, i, kLater));
    // The child has them checked out, as Mercurial's clone has its files:
    // both commands write the new texts.
    write_file(c + "/child0/" + name, text_of(history_text(name, i)));
    chmod((c + "/child0/" + name).c_str(), 0444);
  }
  for (int i : {0, files / 2 / 100 * 100}) {
    std::string name = rel_name(i);
    size_t slash = name.rfind('/');
    shell("cd '" + c + "/parent/" + name.substr(0, slash) + "' && '" + cssc + "/val' SCCS/s." +
          name.substr(slash + 1) + " && '" + cssc + "/get' -s -p SCCS/s." +
          name.substr(slash + 1) + " | grep -q 'change 3 in the parent'");
  }
  // The clones hold the texts as the two workspaces' newest versions.
  std::string hg = "hg --config ui.username=bench -q";
  mkdirs(c + "/hgparent");
  for (int i = 0; i < files; i++) {
    std::string name = rel_name(i);
    if (i % 100 == 0) mkdirs(c + "/hgparent/" + name.substr(0, name.rfind('/')));
    write_file(c + "/hgparent/" + name, text_of(history_text(name, i)));
  }
  shell("cd '" + c + "/hgparent' && " + hg + " init && " + hg + " add && " + hg +
        " commit -m 'the first texts' && " + hg + " clone . ../hgchild0");
  for (int k = 1; k <= kLater; k++) {
    for (int i = 0; i < files; i += 100) {
      std::string name = rel_name(i);
      write_file(c + "/hgparent/" + name, text_of(history_text(name, i, k)));
    }
    shell("cd '" + c + "/hgparent' && " + hg + " commit -m 'parent change " +
          std::to_string(k) + "'");
  }
  write_file(marker, "");
}

}  // namespace

int main(int argc, char **argv) {
  const char *tmp = getenv("TMPDIR");
  struct stat st;
  std::string dir = argc > 1 ? argv[1]
                    : stat("/work/scratch", &st) == 0 ? "/work/scratch/examine"
                                                      : std::string(tmp ? tmp : "/tmp") + "/examine";
  int files = argc > 2 ? atoi(argv[2]) : 50000;
  int rounds = argc > 3 ? atoi(argv[3]) : 3;
  char self[4096];
  ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  if (n <= 0) die("cannot find my own directory");
  self[n] = '\0';
  std::string bin = std::string(self).substr(0, std::string(self).rfind('/'));
  std::string path = bin + ":" + BRINDLE_SCCS_DIR + ":/usr/bin:/bin";
  setenv("PATH", path.c_str(), 1);
  unsetenv("BRINDLE_WS");
  unsetenv("BRINDLE_TIMING");

  make_pair(dir, files, BRINDLE_SCCS_DIR);

  make_changed(dir, files, BRINDLE_SCCS_DIR);

  struct Best {
    double ms = 1e30;
    long peak_kb = 0;
    void add(const Run &r) {
      ms = r.ms < ms ? r.ms : ms;
      peak_kb = r.peak_kb > peak_kb ? r.peak_kb : peak_kb;
    }
  } floor, preview, noop, carry, hg;
  static char page[4096];
  std::string c = dir + "/changed";
  int changed = (files + 99) / 100;
  for (int r = 0; r < rounds + 1; r++) {  // the first round only warms the caches
    // The fresh copies first; every command and the floor then start with the
    // trees they read warm in the page cache.
    // A status in the fresh clone settles its dirstate, whose file times the
    // clone left undecided: a clone someone works in has them settled.
    shell("rm -rf '" + c + "/child' '" + c + "/hgchild' && cp -a '" + c + "/child0' '" + c +
          "/child' && cp -a '" + c + "/hgchild0' '" + c + "/hgchild' && cd '" + c +
          "/hgchild' && hg status -q >/dev/null && sync");
    warm(dir + "/parent");
    warm(dir + "/child");
    double t0 = now_ms();
    long seen = floor_walk(dir + "/parent", page) + floor_walk(dir + "/child", page);
    Run fl{now_ms() - t0, 0, 0, ""};
    if (seen != 2L * files) die("the floor read " + std::to_string(seen) + " histories");
    Run pv = run_prog({"bringover", "-n", "-w", dir + "/child"}, dir, dir + "/preview.out");
    if (pv.status != 0 || pv.out.find("No changes to bring over") == std::string::npos)
      die("bringover -n did not find every file unchanged:\n" + pv.out);
    Run no = run_prog({"bringover", "-w", dir + "/child"}, dir, dir + "/noop.out");
    if (no.status != 0 || no.out.find("No changes to bring over") == std::string::npos ||
        no.out.find("Examined files: " + std::to_string(files) + "\n") == std::string::npos)
      die("the no-op bringover did not find every file unchanged:\n" + no.out);

    warm(c + "/parent");
    warm(c + "/child");
    Run cb = run_prog({"bringover", "-w", c + "/child"}, c, c + "/carry.out");
    char want[64];
    snprintf(want, sizeof want, "%8d   update\n", changed);
    if (cb.status != 0 || cb.out.find(want) == std::string::npos)
      die("the bringover did not carry " + std::to_string(changed) + " updates:\n" + cb.out);
    warm(c + "/hgparent");
    warm(c + "/hgchild");
    Run hp = run_prog({"hg", "pull", "-u"}, c + "/hgchild", c + "/hg.out");
    if (hp.status != 0) die("hg pull -u failed:\n" + hp.out);
    if (r == 0) continue;
    floor.add(fl);
    preview.add(pv);
    noop.add(no);
    carry.add(cb);
    hg.add(hp);
    printf("round %d: floor %7.1f ms  bringover -n %7.1f ms  no-op bringover %7.1f ms  "
           "1%% bringover %7.1f ms  hg pull -u %7.1f ms\n",
           r, fl.ms, pv.ms, no.ms, cb.ms, hp.ms);
  }
  // CSSC judges a changed file as the bringover left it.
  std::string name = rel_name(0);
  size_t slash = name.rfind('/');
  shell("cd '" + c + "/child/" + name.substr(0, slash) + "' && val SCCS/s." +
        name.substr(slash + 1) + " && get -s -p SCCS/s." + name.substr(slash + 1) +
        " | grep -q 'change 3 in the parent' && grep -q 'change 3 in the parent' " +
        name.substr(slash + 1));
  printf("\n%d files; floor (list both trees, read the first page of each history): %.1f ms\n",
         files, floor.ms);
  printf("no-op bringover -n: %.1f ms, ratio %.2f, peak %ld KB\n", preview.ms,
         preview.ms / floor.ms, preview.peak_kb);
  printf("no-op bringover:    %.1f ms, ratio %.2f, peak %ld KB\n", noop.ms, noop.ms / floor.ms,
         noop.peak_kb);
  printf("1%% bringover (%d files, %d deltas each): %.1f ms, peak %ld KB\n", changed, kLater,
         carry.ms, carry.peak_kb);
  printf("hg pull -u of the same change: %.1f ms, peak %ld KB\n", hg.ms, hg.peak_kb);
  printf("ratio to hg pull -u: %.2f\n", carry.ms / hg.ms);
  return 0;
}
