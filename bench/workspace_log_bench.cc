// Costs of a workspace's two logs of commands: appending records to the
// history log and reading a long log back whole, as its viewer does; taking
// and giving back command locks, and a denial with many readers in the file.
//   workspace_log_bench [records [lines-per-record [lock-rounds]]]
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench_common.h"
#include "support/support.h"
#include "util/kes_err.h"
#include "workspace/kes_cmdlock.h"
#include "workspace/kes_cmdlog.h"
#include "workspace/kes_history.h"
#include "workspace/kes_workspace.h"

namespace {
using Clock = std::chrono::steady_clock;

double ms_since(Clock::time_point t0) {
  return std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
}

void check(Kes_err *err) {
  if (!err) return;
  err->print();
  exit(1);
}
}  // namespace

int main(int argc, char **argv) {
  int records = argc > 1 ? atoi(argv[1]) : 10000;
  int lines = argc > 2 ? atoi(argv[2]) : 20;
  int rounds = argc > 3 ? atoi(argv[3]) : 2000;

  support::Temp_dir scratch("brindle-logbench");
  const char *dir = scratch.path().c_str();
  std::string md = scratch.file("Brindle_wsdata");
  support::make_dirs(md);
  Kes_err *err = nullptr;
  Kes_workspace ws(dir, &err);
  check(err);

  static char a0[] = "bringover", a1[] = "-p", a2[] = "/ws/parent", a3[] = "src";
  char *words[] = {a0, a1, a2, a3, nullptr};
  Kes_cmdlog log;
  log.set_ws("/ws/parent", "host:/ws/parent", dir, dir);
  log.finish(0);

  auto t0 = Clock::now();
  for (int r = 0; r < records; r++) {
    Kes_md_history *h = nullptr;
    check(ws.get_md_history(&h));
    h->argc = 4;
    h->argv = words;
    check(h->start(0));
    for (int i = 0; i < lines; i++) check(h->printf("update: src/dir%d/file%d.c\n", r % 97, i));
    h->done(&log);
    delete h;
  }
  double append_ms = ms_since(t0);
  printf("history append: %d records of %d free lines, %.3f ms per record\n", records, lines,
         append_ms / records);

  long before_kb = bench::peak_rss_kb();
  t0 = Clock::now();
  Kes_md_history *h = nullptr;
  check(ws.get_md_history(&h));
  Kes_historylist list;
  check(h->get_contents(&list));
  double read_ms = ms_since(t0);
  delete h;
  printf("history read: %d records in %.1f ms, peak memory %ld KB (%ld KB before)\n", list.count,
         read_ms, bench::peak_rss_kb(), before_kb);
  if (list.count != records) {
    printf("expected %d records\n", records);
    return 1;
  }

  t0 = Clock::now();
  for (int r = 0; r < rounds; r++) {
    Kes_cmdlock *lock = nullptr;
    check(ws.obtain_lock(KES_READ_LOCK, &lock));
    check(ws.release_lock(lock));
    delete lock;
  }
  printf("read lock taken and given back: %.3f ms per round (%d rounds)\n",
         ms_since(t0) / rounds, rounds);

  // Readers fill the file; a writer is refused with all of them named.
  const int readers = 200;
  Kes_cmdlock *held[readers];
  for (int i = 0; i < readers; i++) {
    check(ws.obtain_lock(KES_READ_LOCK, &held[i]));
    // Each line must differ: the same process in the same second writes one.
    held[i]->pid = 100000 + i;
  }
  std::string lines_text = "VERSION 1\n";
  for (int i = 0; i < readers; i++) {
    char buf[1024];
    lines_text += std::string(held[i]->format_lock_line(buf)) + "\n";
  }
  FILE *f = fopen((md + "/locks").c_str(), "w");
  if (!f || fputs(lines_text.c_str(), f) < 0 || fclose(f) != 0) return 1;
  t0 = Clock::now();
  int denials = 0;
  for (int r = 0; r < 100; r++) {
    Kes_cmdlock *w = nullptr;
    Kes_err *e = ws.obtain_lock(KES_WRITE_LOCK, &w);
    if (e && e->code == 2021) denials++;
    delete e;
    delete w;
  }
  printf("write lock refused beside %d readers: %.3f ms per refusal (%d of 100 refused)\n",
         readers, ms_since(t0) / 100, denials);
  for (Kes_cmdlock *l : held) delete l;

  return 0;
}
