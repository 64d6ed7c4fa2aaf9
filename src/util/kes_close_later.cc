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
  bool started = false, failed = false;
  pid_t owner = 0;  // a forked child has no thread of its own

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

void kes_close_later(int fd) {
  if (fd < 0) return;
  std::unique_lock<std::mutex> lk(closer->mu);
  if (!closer->started || closer->owner != getpid()) {
    closer->started = true;
    closer->owner = getpid();
    closer->failed = false;
    closer->queue.clear();  // a parent's, not this process's to close
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
