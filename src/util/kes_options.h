// Kes_option: a command's option table, the one source of both its option
// scanner and its usage text, so the two cannot drift apart.
//
// A command lists its options once, in the order of its usage text:
//   const Kes_option opts[] = {{'w', "child_ws"}, {'f', "flp", KES_OPT_REPEATS}, {'n'}};
// scans with getopt(argc, argv, kes_opt_string(opts).c_str()) and a switch on
// the letters, and prints kes_opt_usage(opts, "[files and dirs]").
#ifndef BRINDLE_UTIL_KES_OPTIONS_H
#define BRINDLE_UTIL_KES_OPTIONS_H

#include <cstddef>
#include <string>

// How an option is shown in the usage text.
enum {
  KES_OPT_REPEATS = 1,   // may be given more than once: "[[-f flp]...]"
  KES_OPT_NEW_LINE = 2,  // the usage text goes on in a new, indented line before it
};

struct Kes_option {
  char letter;
  const char *arg = nullptr;  // the argument's name in the usage text; null for a flag
  int show = 0;               // KES_OPT_... bits
};

// getopt's option string: each letter, with ':' behind those that take an argument.
std::string kes_opt_string(const Kes_option *opts, size_t n);
// The options in table order, "[-x]" or "[-x arg]" each, separated by blanks,
// then operands when given.
std::string kes_opt_usage(const Kes_option *opts, size_t n, const char *operands);

template <size_t N> std::string kes_opt_string(const Kes_option (&opts)[N]) {
  return kes_opt_string(opts, N);
}
template <size_t N>
std::string kes_opt_usage(const Kes_option (&opts)[N], const char *operands) {
  return kes_opt_usage(opts, N, operands);
}

#endif
