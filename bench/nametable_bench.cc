// Name table speed: reading and writing a table of many records, and the
// rebuild by a walk over a workspace of many history files.
//
// usage: nametable_bench [records [history-files [scratch-dir]]]
//        (defaults 100000, 10000 and $TMPDIR or /tmp)
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "bench_common.h"
#include "support/support.h"
#include "util/kes_err.h"
#include "util/kes_process.h"
#include "workspace/kes_nametable.h"
#include "workspace/kes_workspace.h"

namespace {

double now_ms() {
  using namespace std::chrono;
  return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

// Resident set size in KB, from the kernel's account of this process.
long rss_kb() {
  FILE *f = fopen("/proc/self/status", "r");
  if (!f) return -1;
  char line[256];
  long kb = -1;
  while (fgets(line, sizeof line, f))
    if (strncmp(line, "VmRSS:", 6) == 0) kb = atol(line + 6);
  fclose(f);
  return kb;
}

void check(Kes_err *e, const char *what) {
  if (!e) return;
  fprintf(stderr, "%s: %s", what, e->text);
  delete e;
  exit(1);
}

void bench_table(const std::string &root, int records) {
  std::string md = root + "/Brindle_wsdata";
  std::mt19937 rng(1);
  std::string text = "VERSION 1\n";
  char line[256];
  for (int i = 0; i < records; i++) {
    snprintf(line, sizeof line, "usr/src/dir%03d/sub dir%02d/file%06d.c %x %x %x %x\n", i % 997,
             i % 31, i, (unsigned)rng(), (unsigned)rng(), (unsigned)rng(), (unsigned)rng());
    text += line;
  }
  support::write_file(md + "/nametable", text);
  printf("table of %d records, %zu bytes\n", records, text.size());

  Kes_err *err = nullptr;
  Kes_workspace ws(root.c_str(), &err);
  check(err, "workspace");
  const int rounds = 5;
  double read_ms = 0, write_ms = 0;
  long rss_before = rss_kb(), rss_table = 0;
  for (int r = 0; r < rounds; r++) {
    Kes_md_nametable *nt = nullptr;
    check(ws.get_md_nametable(&nt), "table");
    double t0 = now_ms();
    check(nt->read_table(nullptr, nullptr), "read");
    double t1 = now_ms();
    if (nt->list->count != records || nt->rebuilt) {
      fprintf(stderr, "read %d records, rebuilt %d\n", nt->list->count, nt->rebuilt);
      exit(1);
    }
    rss_table = rss_kb() - rss_before;
    // One edit makes it dirty; the write is of the whole table.
    Kes_nt rec;
    rec.scan("one more 1 2 3 4");
    check(nt->add_record(&rec, nullptr), "add");
    double t2 = now_ms();
    check(nt->write_table(), "write");
    double t3 = now_ms();
    check(nt->remove_record(&rec), "remove");
    check(nt->write_table(), "write back");
    read_ms += t1 - t0;
    write_ms += t3 - t2;
    delete nt;
  }
  printf("read_table:  %8.1f ms per read (mean of %d)\n", read_ms / rounds, rounds);
  printf("write_table: %8.1f ms per write (mean of %d)\n", write_ms / rounds, rounds);
  printf("memory of a read table: %ld KB resident (%.0f bytes per record)\n", rss_table,
         rss_table * 1024.0 / records);

  // Look-ups of every record by name and SmID.
  Kes_md_nametable *nt = nullptr;
  check(ws.get_md_nametable(&nt), "table");
  check(nt->read_table(nullptr, nullptr), "read");
  Kes_ntlist copies;
  for (Kes_listelem *e = nt->list->head.next; e != &nt->list->head; e = e->next)
    copies.add_new_copy(e->data);
  double t0 = now_ms();
  int found = 0;
  for (Kes_listelem *e = copies.head.next; e != &copies.head; e = e->next)
    found += nt->record_exists(static_cast<Kes_nt *>(e->data));
  double t1 = now_ms();
  printf("record_exists: %d of %d in %.1f ms\n", found, records, t1 - t0);
  delete nt;
}

void bench_rebuild(const std::string &root, int files) {
  // One history made by SCCS; the others are copies whose first comment is
  // their own, so that every file has a SmID of its own.
  std::string tdir = root + "/template";
  if (support::sh("mkdir -p '" + tdir + "' && echo 'first line' > '" + tdir + "/init' && cd '" + tdir +
           "' && admin -n -iinit -ytemplate s.t.c 2>/dev/null").status != 0) {
    fprintf(stderr, "admin failed\n");
    exit(1);
  }
  std::string templ = support::read_file(tdir + "/s.t.c");
  support::sh("rm -rf '" + tdir + "'");
  size_t c = templ.find("\001c template\n");
  if (c == std::string::npos) {
    fprintf(stderr, "unexpected template\n");
    exit(1);
  }
  for (int i = 0; i < files; i++) {
    char dir[1024], name[1024];
    snprintf(dir, sizeof dir, "%s/src/d%03d/SCCS", root.c_str(), i / 100);
    if (i % 100 == 0) support::sh(std::string("mkdir -p '") + dir + "'");
    snprintf(name, sizeof name, "%s/s.f%05d.c", dir, i);
    std::string t = templ;
    t.replace(c, strlen("\001c template\n"), "\001c file " + std::to_string(i) + "\n");
    support::write_file(name, t);
  }
  Kes_err *err = nullptr;
  Kes_workspace ws(root.c_str(), &err);
  check(err, "workspace");
  Kes_md_nametable *nt = nullptr;
  check(ws.get_md_nametable(&nt), "table");
  unlink((root + "/Brindle_wsdata/nametable").c_str());
  support::sh("sync");
  double t0 = now_ms();
  check(nt->read_table(nullptr, nullptr), "rebuild");
  double t1 = now_ms();
  if (!nt->rebuilt || nt->list->count != files) {
    fprintf(stderr, "rebuild found %d of %d\n", nt->list->count, files);
    exit(1);
  }
  printf("rebuild over %d history files (walk, roots-only reads, write): %.1f ms, %.1f us per "
         "file\n",
         files, t1 - t0, (t1 - t0) * 1000 / files);
  delete nt;
}

}  // namespace

int main(int argc, char **argv) {
  int records = argc > 1 ? atoi(argv[1]) : 100000;
  int files = argc > 2 ? atoi(argv[2]) : 10000;
  if (argc > 3) setenv("TMPDIR", argv[3], 1);
  support::Temp_dir scratch("nametable-bench");
  std::string root = scratch.path();
  kes_set_path();
  umask(0);
  support::make_dirs(root + "/Brindle_wsdata");
  bench_table(root, records);
  support::sh("rm -f '" + root + "/Brindle_wsdata/nametable'");
  bench_rebuild(root, files);
  printf("peak resident size: %ld KB\n", bench::peak_rss_kb());
  return 0;
}
