// What every fuzz target shares: a private scratch directory for the files a
// parser reads from a path, the input split into parts, and the checks that end
// the run when a parser answers wrongly.
//
// A target defines LLVMFuzzerTestOneInput.  The same source is linked either
// with libFuzzer (the fuzzing tree) or with replay_main.cc, which feeds it the
// kept inputs (every tree, in the test run).
#ifndef BRINDLE_TESTS_FUZZ_FUZZ_SUPPORT_H
#define BRINDLE_TESTS_FUZZ_FUZZ_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

class Kes_err;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace fuzz {

// The line that separates the parts of an input that feeds several files.
constexpr char kPartSeparator[] = "\n--8<--\n";

// A directory of this process under $TMPDIR, made on first use and removed
// at exit; the process works with umask 0, as the programs do.
const std::string &scratch();
// scratch()/rel, with its directories made.
std::string path(const std::string &rel);
// Writes bytes to scratch()/rel (replacing the file); returns the full path.
std::string put(const std::string &rel, const std::string &bytes);
// The input as a string.
inline std::string text(const uint8_t *data, size_t size) {
  return std::string(reinterpret_cast<const char *>(data), size);
}

// The input cut at each separator into at most n parts; missing parts are
// absent (has[i] false), so that a file can also be left out.
struct Parts {
  std::vector<std::string> text;
  std::vector<bool> has;
};
Parts split(const uint8_t *data, size_t size, size_t n);
// Writes part i to scratch()/rel, or removes that file when the input has no
// part i; returns the full path.
std::string put_part(const std::string &rel, const Parts &parts, size_t i);

// Ends the run with a message when cond is false: a wrong answer.
void check(bool cond, const char *what);
// Ends the run when the two differ, showing both: a value that did not survive
// its round trip.
void check_same(const std::vector<std::string> &before, const std::vector<std::string> &after,
                const char *what);
// Deletes err.  A null err passes; otherwise its code must be one of codes,
// else the run ends: the parser gave an error it has no business giving.
// Returns whether there was an error.
bool expect_codes(Kes_err *err, std::initializer_list<int> codes, const char *what);

}  // namespace fuzz

#endif
