// Examining a large workspace pair: a bringover preview with nothing to do,
// against the floor of any such command, a plain loop that lists both trees
// and reads the first page of every history file in both.
//
// usage: examine_bench [scratch-dir [files [rounds]]]
//        (defaults /work/scratch/examine or $TMPDIR/examine, 50000, 3)
//
// The parent and child (files history files each, every one with its own
// SmID, and name tables) are made on the first run and reused while their
// size stays the same.  Each round times the floor, then the preview, with
// warm caches; the best of each is reported, with the ratio and the peak
// memory of the preview process.
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
std::string history_text(const std::string &name, int index) {
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

struct Run {
  double ms;
  long peak_kb;
  int status;
  std::string out;
};

Run run_preview(const std::string &bin, const std::string &dir) {
  std::string out_path = dir + "/preview.out";
  double t0 = now_ms();
  pid_t pid = fork();
  if (pid == 0) {
    int fd = open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    dup2(fd, 1);
    dup2(fd, 2);
    std::string child = dir + "/child";
    execl((bin + "/bringover").c_str(), "bringover", "-n", "-w", child.c_str(), (char *)nullptr);
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

  double best_floor = 1e30, best_preview = 1e30;
  long peak = 0;
  static char page[4096];
  Run last{};
  for (int r = 0; r < rounds + 1; r++) {  // the first round only warms the caches
    double t0 = now_ms();
    long seen = floor_walk(dir + "/parent", page) + floor_walk(dir + "/child", page);
    double floor_ms = now_ms() - t0;
    if (seen != 2L * files) die("the floor read " + std::to_string(seen) + " histories");
    last = run_preview(bin, dir);
    if (last.status != 0) die("bringover -n failed:\n" + last.out);
    if (r == 0) continue;
    best_floor = floor_ms < best_floor ? floor_ms : best_floor;
    best_preview = last.ms < best_preview ? last.ms : best_preview;
    peak = last.peak_kb > peak ? last.peak_kb : peak;
    printf("round %d: floor %8.1f ms   bringover -n %8.1f ms\n", r, floor_ms, last.ms);
  }
  std::string examined = "Examined files: " + std::to_string(files) + "\n";
  if (last.out.find(examined) == std::string::npos ||
      last.out.find("No changes to bring over") == std::string::npos)
    die("the preview did not find every file unchanged:\n" + last.out);
  printf("\nno-op bringover -n over %d files: %.1f ms\n", files, best_preview);
  printf("floor (list both trees, read the first page of each history): %.1f ms\n", best_floor);
  printf("ratio: %.2f\n", best_preview / best_floor);
  printf("peak memory of bringover -n: %ld KB\n", peak);
  return 0;
}
