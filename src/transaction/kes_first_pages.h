// The first-page check of two histories, and a second thread that makes it
// ahead of the examination.  Opening and reading the first page of every
// history on both sides is most of what a large transaction spends before
// it acts; a second core does that while the main thread builds its file
// objects, and the main thread takes the verdicts in its own order.
#ifndef BRINDLE_TRANSACTION_KES_FIRST_PAGES_H
#define BRINDLE_TRANSACTION_KES_FIRST_PAGES_H

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// Reads the first pages of the open histories ffd and tfd and compares them
// up to the end of the first delta entry.  Sets *na and *nb to the bytes
// read (negative on a read error).  1 when the histories agree there.
int kes_first_pages_same(int ffd, int tfd, long *na, long *nb);

// The checks of one batch of names, made by a thread of its own.  Verdicts
// are used only for the exact pair of paths they were made for, so a name
// the batch got wrong costs a check, never an answer.
class Kes_first_pages {
public:
  // Histories are opened relative to the two roots' descriptors.
  Kes_first_pages(int from_dir_fd, int to_dir_fd);
  ~Kes_first_pages();
  Kes_first_pages(const Kes_first_pages &) = delete;
  Kes_first_pages &operator=(const Kes_first_pages &) = delete;

  // A new batch of (from, to) history paths relative to the roots; an empty
  // pair is skipped.  The previous batch is ended first.
  void start_batch(std::vector<std::pair<std::string, std::string>> paths);
  // The verdict for item i of the batch if its paths are these: 1 the same,
  // 0 different, -1 not known (error, empty file, other paths): check it
  // yourself.  An item the thread hasn't reached is taken from it.
  int take(long i, const char *from_rel, const char *to_rel);
  // The thread leaves what is left of the batch and waits for the next.
  void end_batch();

private:
  enum : unsigned char { FREE, BUSY, SAME, DIFFERENT, UNKNOWN, TAKEN };
  void run();
  unsigned char check(const std::pair<std::string, std::string> &p);

  int from_fd, to_fd;
  std::vector<std::pair<std::string, std::string>> items;
  std::unique_ptr<std::atomic<unsigned char>[]> state;
  std::mutex mu;
  std::condition_variable cv;
  bool have_batch = false, working = false, quit = false;
  std::atomic<bool> stop{false};
  std::thread worker;
};

#endif
