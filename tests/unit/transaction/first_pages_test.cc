// The first-page check made on the second thread gives the main thread's
// answer for every pair, whichever thread reached the pair first, and no
// answer where the main thread must say what went wrong.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "support/support.h"
#include "transaction/kes_first_pages.h"
#include "util/kes_file.h"

using namespace support;

namespace {

// The main thread's own check: 1 same, 0 different, -1 an error to report.
int own_check(int from_dir, int to_dir, const std::string &from, const std::string &to) {
  int a = kes_open_read(from_dir, from.c_str()), b = kes_open_read(to_dir, to.c_str());
  long na = -1, nb = -1;
  int same = a >= 0 && b >= 0 ? kes_first_pages_same(a, b, &na, &nb) : 0;
  if (a >= 0) close(a);
  if (b >= 0) close(b);
  return na > 0 && nb > 0 ? same : -1;
}

TEST(FirstPagesTest, EveryVerdictIsTheMainThreadsOwn) {
  Temp_dir tmp;
  make_dirs(tmp.file("a"));
  make_dirs(tmp.file("b"));
  // The first delta entry ends at "\1e"; a long one runs past the first read.
  std::string entry = "\001h01234\n\001s 1/0/0\n\001d D 1.1 x\n\001c ";
  std::string long_entry = entry + std::string(700, 'c') + "\n\001e\n";
  std::vector<std::pair<std::string, std::string>> sides = {
      {entry + "one\n\001e\nbody\n", entry + "one\n\001e\nother body\n"},  // same head
      {entry + "one\n\001e\n", entry + "two\n\001e\n"},                    // different
      {long_entry + "a", long_entry + "b"},                                // same, long
      {long_entry, entry + std::string(699, 'c') + "d\n\001e\n"},          // differ late
      {entry + "one\n\001e\n", ""},                                        // empty: error
      {entry + "one\n\001e\n", "-"},                                       // missing: error
      {entry + "one\n", entry + "one\n"},                                  // cut short: differ
  };
  const int expected[] = {1, 0, 1, 0, -1, -1, 0};
  std::vector<std::pair<std::string, std::string>> paths;
  for (int i = 0; i < 700; i++) {
    std::string name = "s.f" + std::to_string(i);
    const auto &s = sides[i % sides.size()];
    write_file(tmp.file("a/" + name), s.first);
    if (s.second != "-") write_file(tmp.file("b/" + name), s.second);
    paths.emplace_back(name, name);
  }
  int a = open(tmp.file("a").c_str(), O_RDONLY | O_DIRECTORY);
  int b = open(tmp.file("b").c_str(), O_RDONLY | O_DIRECTORY);
  for (size_t i = 0; i < sides.size(); i++)
    ASSERT_EQ(own_check(a, b, paths[i].first, paths[i].second), expected[i]) << i;

  Kes_first_pages pages(a, b);
  for (int round = 0; round < 20; round++) {
    pages.start_batch(paths);
    for (size_t i = 0; i < paths.size(); i++) {
      const auto &p = paths[i];
      int v = pages.take(static_cast<long>(i), p.first.c_str(), p.second.c_str());
      if (v < 0) v = own_check(a, b, p.first, p.second);
      ASSERT_EQ(v, expected[i % sides.size()]) << "round " << round << " item " << i;
    }
  }
  // Another pair of paths, or an item out of the batch, gets no verdict.
  pages.start_batch(paths);
  EXPECT_EQ(pages.take(0, "s.f1", "s.f1"), -1);
  EXPECT_EQ(pages.take(-1, "s.f0", "s.f0"), -1);
  EXPECT_EQ(pages.take(700, "s.f0", "s.f0"), -1);
  pages.end_batch();
  close(a);
  close(b);
}

}  // namespace
