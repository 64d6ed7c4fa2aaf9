// The first-page check, and the thread that makes it ahead of the main one.
#include "transaction/kes_first_pages.h"

#include <signal.h>
#include <unistd.h>

#include <system_error>

#include "util/kes_file.h"

namespace {

long page_size() {
  static long size = sysconf(_SC_PAGESIZE) > 0 ? sysconf(_SC_PAGESIZE) : 4096;
  return size;
}

// Compares bytes from..to-1 of the first pages: 1 same when they agree up to
// the end of the first delta entry (the checksum and the newest delta), 0
// different, -1 when they agree all along and the entry goes on.  What lies
// past the end of a short file reads as NUL, and a NUL means different.
int compare_pages(const unsigned char *a, long na, const unsigned char *b, long nb, long from,
                  long to) {
  int prev = from ? a[from - 1] : 0;
  for (long i = from; i < to; i++) {
    if (i >= na || i >= nb) return 0;
    int c = a[i];
    if (c == 0 || c != b[i]) return 0;
    if (prev == 1 && c == 'e') return 1;
    prev = c;
  }
  return -1;
}

// The first delta entry nearly always ends within this many bytes; the rest
// of the page is read only when it doesn't, as copying whole pages cost more
// than the rest of the check.
const long kHead = 512;

}  // namespace

int kes_first_pages_same(int ffd, int tfd, long *na, long *nb) {
  const long page = page_size();
  const long head = page < kHead ? page : kHead;
  unsigned char *a = static_cast<unsigned char *>(alloca(2 * page));
  unsigned char *b = a + page;
  *na = pread(ffd, a, head, 0);
  *nb = pread(tfd, b, head, 0);
  int same = *na > 0 && *nb > 0 ? compare_pages(a, *na, b, *nb, 0, head) : 0;
  if (same >= 0) return same;
  long ra = pread(ffd, a + head, page - head, head);
  long rb = pread(tfd, b + head, page - head, head);
  if (ra < 0 || rb < 0) {
    if (ra < 0) *na = ra;
    if (rb < 0) *nb = rb;
    return 0;
  }
  *na += ra;
  *nb += rb;
  return compare_pages(a, *na, b, *nb, head, page) != 0;
}

Kes_first_pages::Kes_first_pages(int from_dir_fd, int to_dir_fd)
    : from_fd(from_dir_fd), to_fd(to_dir_fd) {
  // Signals are the main thread's: its handlers clean up and exit.
  sigset_t all, old;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &old);
  try {
    worker = std::thread(&Kes_first_pages::run, this);
  } catch (const std::system_error &) {
    // No thread: every item stays free and the main thread checks it.
  }
  pthread_sigmask(SIG_SETMASK, &old, nullptr);
}

Kes_first_pages::~Kes_first_pages() {
  {
    std::lock_guard<std::mutex> lk(mu);
    quit = true;
    stop.store(true);
  }
  cv.notify_all();
  if (worker.joinable()) worker.join();
}

void Kes_first_pages::start_batch(std::vector<std::pair<std::string, std::string>> paths) {
  end_batch();
  std::lock_guard<std::mutex> lk(mu);
  items = std::move(paths);
  state.reset(new std::atomic<unsigned char>[items.size()]);
  for (size_t i = 0; i < items.size(); i++) state[i].store(FREE, std::memory_order_relaxed);
  have_batch = true;
  cv.notify_all();
}

void Kes_first_pages::end_batch() {
  stop.store(true);
  std::unique_lock<std::mutex> lk(mu);
  have_batch = false;
  cv.wait(lk, [this] { return !working; });
  stop.store(false);
}

int Kes_first_pages::take(long i, const char *from_rel, const char *to_rel) {
  if (i < 0 || static_cast<size_t>(i) >= items.size()) return -1;
  const auto &p = items[i];
  if (p.first != from_rel || p.second != to_rel) return -1;
  unsigned char s = state[i].load(std::memory_order_acquire);
  if (s == FREE && state[i].compare_exchange_strong(s, TAKEN, std::memory_order_acq_rel))
    return -1;
  // The thread is on this very item: a few microseconds.
  while (s == BUSY) {
    std::this_thread::yield();
    s = state[i].load(std::memory_order_acquire);
  }
  return s == SAME ? 1 : s == DIFFERENT ? 0 : -1;
}

void Kes_first_pages::run() {
  std::unique_lock<std::mutex> lk(mu);
  for (;;) {
    cv.wait(lk, [this] { return quit || have_batch; });
    if (quit) return;
    have_batch = false;
    working = true;
    const size_t n = items.size();
    lk.unlock();
    // From the end: the main thread checks from the start what the thread
    // hasn't reached, so the two meet and neither waits for the other.
    for (size_t i = n; i-- > 0 && !stop.load(std::memory_order_relaxed);) {
      unsigned char expect = FREE;
      if (!state[i].compare_exchange_strong(expect, BUSY, std::memory_order_acq_rel)) break;
      state[i].store(check(items[i]), std::memory_order_release);
    }
    lk.lock();
    working = false;
    cv.notify_all();
  }
}

// Only the plain outcome is a verdict: both histories read and not empty.
// Anything else is left to the main thread, which says what went wrong.
unsigned char Kes_first_pages::check(const std::pair<std::string, std::string> &p) {
  if (p.first.empty()) return UNKNOWN;
  int ffd = kes_open_read(from_fd, p.first.c_str());
  if (ffd < 0) return UNKNOWN;
  int tfd = kes_open_read(to_fd, p.second.c_str());
  if (tfd < 0) {
    ::close(ffd);
    return UNKNOWN;
  }
  long na, nb;
  int same = kes_first_pages_same(ffd, tfd, &na, &nb);
  ::close(ffd);
  ::close(tfd);
  if (na <= 0 || nb <= 0) return UNKNOWN;
  return same ? SAME : DIFFERENT;
}
