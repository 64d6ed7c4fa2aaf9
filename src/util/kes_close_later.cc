// kes_close_later: a thread that closes the descriptors handed to it.
#include <signal.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "util/kes_file.h"

namespace {

struct Closer {
  std::mutex mu;
  std::condition_variable cv;
  std::vector<int> queue;
  pid_t owner = 0;  // the process that started the thread; 0 before
  bool failed = false;

  void run() {
    std::vector<int> batch;
    for (;;) {
      {
        std::unique_lock<std::mutex> lk(mu);
        cv.wait(lk, [this] { return !queue.empty(); });
        batch.swap(queue);
      }
      for (int fd : batch) ::close(fd);
      batch.clear();
    }
  }
};

// Never destroyed: the thread runs until the process ends, and exit must not
// wait for it nor pull its queue away.
Closer *closer = new Closer;

}  // namespace

// Called from the main thread only, which alone reads and sets owner.
void kes_close_later(int fd) {
  if (fd < 0) return;
  // A forked child has no thread, and the parent's may have held the mutex
  // when it forked.
  if (closer->owner && closer->owner != getpid()) {
    ::close(fd);
    return;
  }
  std::unique_lock<std::mutex> lk(closer->mu);
  if (!closer->owner) {
    closer->owner = getpid();
    sigset_t all, old;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &old);
    try {
      std::thread(&Closer::run, closer).detach();
    } catch (const std::system_error &) {
      closer->failed = true;
    }
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
  }
  if (closer->failed) {
    lk.unlock();
    ::close(fd);
    return;
  }
  closer->queue.push_back(fd);
  lk.unlock();
  closer->cv.notify_one();
}
