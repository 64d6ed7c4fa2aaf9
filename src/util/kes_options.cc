// The option scanner's string and the usage text, both from a command's option table.
#include "util/kes_options.h"

std::string kes_opt_string(const Kes_option *opts, size_t n) {
  std::string s;
  for (size_t i = 0; i < n; i++) {
    s += opts[i].letter;
    if (opts[i].arg) s += ':';
  }
  return s;
}

std::string kes_opt_usage(const Kes_option *opts, size_t n, const char *operands) {
  std::string s;
  for (size_t i = 0; i < n; i++) {
    if (i > 0) s += opts[i].show & KES_OPT_NEW_LINE ? "\n\t" : " ";
    std::string one = std::string("[-") + opts[i].letter;
    if (opts[i].arg) one += std::string(" ") + opts[i].arg;
    one += "]";
    s += opts[i].show & KES_OPT_REPEATS ? "[" + one + "...]" : one;
  }
  if (operands && operands[0]) s += std::string(n ? " " : "") + operands;
  return s;
}
