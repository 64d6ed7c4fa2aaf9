// The hash behind SmIDs: the general compression against published digests, the
// compiled S-box table against its text form, and the unrolled 2-pass compression
// against the general one.
#include "sccs/kes_snefru.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

const std::string kSnefruDir = std::string(BRINDLE_DATA_DIR) + "/snefru/";

std::string hex_of(const unsigned long out[4]) {
  char buf[40];
  snprintf(buf, sizeof buf, "%08lx%08lx%08lx%08lx", out[0], out[1], out[2], out[3]);
  return buf;
}

struct Vector {
  std::string input;
  std::string digest;
  std::string label;
};

// Lines read: "text" [repeated N times] digest, with C escapes and N written with
// thousands commas.
std::vector<Vector> read_vectors() {
  std::ifstream f(kSnefruDir + "test-vectors-8-passes.txt");
  EXPECT_TRUE(f.good());
  std::vector<Vector> v;
  std::string line;
  while (std::getline(f, line)) {
    if (line.empty() || line[0] == '#') continue;
    EXPECT_EQ('"', line[0]) << line;
    size_t i = 1;
    std::string text;
    for (; i < line.size() && line[i] != '"'; i++) {
      if (line[i] == '\\') {
        char c = line[++i];
        text += c == 'n' ? '\n' : c == 't' ? '\t' : c;
      } else {
        text += line[i];
      }
    }
    std::istringstream rest(line.substr(i + 1));
    std::vector<std::string> words;
    for (std::string w; rest >> w;) words.push_back(w);
    std::string input = text;
    if (words.size() == 4 && words[0] == "repeated" && words[2] == "times") {
      std::string n;
      for (char c : words[1])
        if (c != ',') n += c;
      input.clear();
      for (long k = std::stol(n); k > 0; k--) input += text;
    } else {
      EXPECT_EQ(1u, words.size()) << line;
    }
    v.push_back({input, words.back(), line.substr(0, 40)});
  }
  return v;
}

TEST(SnefruGeneral, MatchesEveryPublishedDigestAtEightPasses) {
  std::vector<Vector> vectors = read_vectors();
  ASSERT_EQ(12u, vectors.size());
  ASSERT_EQ(1000000u, vectors.back().input.size());
  for (const Vector &v : vectors) {
    unsigned long out[4];
    snefru_passes(v.input.data(), v.input.size(), 8, out);
    EXPECT_EQ(v.digest, hex_of(out)) << v.label;
  }
}

TEST(SnefruTable, CompiledTableEqualsPublishedText) {
  std::ifstream f(kSnefruDir + "standard-sboxes.txt");
  ASSERT_TRUE(f.good());
  std::string line;
  int box = -1, index = 0, words = 0;
  while (std::getline(f, line)) {
    if (line.empty() || line[0] == '#') continue;
    if (line.compare(0, 3, "box") == 0) {
      box = std::stoi(line.substr(4));
      index = 0;
      continue;
    }
    std::istringstream in(line);
    for (std::string w; in >> w; index++, words++) {
      ASSERT_LT(box, SNEFRU_MAX_SBOXES);
      ASSERT_LT(index, 256);
      ASSERT_EQ((uint32_t)std::stoul(w, nullptr, 16), standardSBoxes[box][index])
          << "box " << box << " word " << index;
    }
  }
  EXPECT_EQ(SNEFRU_MAX_SBOXES * 256, words);
}

TEST(SnefruUnrolled, CompressionEqualsGeneralFormAtTwoPasses) {
  std::mt19937 rng(12345);
  for (int n = 0; n < 2000; n++) {
    uint32_t in[16], a[4], b[4];
    for (uint32_t &w : in) w = rng();
    Hash512(a, in);
    HashN(b, in, 2);
    ASSERT_EQ(0, memcmp(a, b, sizeof a)) << "block " << n;
  }
  // Output may overwrite the chaining words of its own input.
  uint32_t in[16], copy[16], expect[4];
  for (uint32_t &w : in) w = rng();
  memcpy(copy, in, sizeof in);
  HashN(expect, copy, 2);
  Hash512(in, in);
  EXPECT_EQ(0, memcmp(expect, in, sizeof expect));
}

TEST(SnefruUnrolled, MessageHashEqualsGeneralFormForAllLengthsAroundBlocks) {
  std::mt19937 rng(777);
  for (size_t len = 0; len <= 200; len++) {
    std::string text;
    for (size_t i = 0; i < len; i++) text += (char)(1 + rng() % 255);  // no zero byte
    unsigned long a[4], b[4];
    snefru(text.c_str(), a);
    snefru_passes(text.data(), text.size(), 2, b);
    ASSERT_EQ(hex_of(b), hex_of(a)) << "length " << len;
  }
}

TEST(SnefruMessageDeathTest, CounterOverflowEndsTheProgram) {
  uint64_t counter = ~(uint64_t)0 - 7;
  Increment64BitCounter(&counter, 7);
  EXPECT_EQ(~(uint64_t)0, counter);
  EXPECT_EXIT(Increment64BitCounter(&counter, 8), testing::ExitedWithCode(1),
              "^64-bit counter overflowed\n$");
}

}  // namespace
