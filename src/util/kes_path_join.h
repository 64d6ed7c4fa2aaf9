// Joining path texts inside the library, for code that works on std::string.
#ifndef BRINDLE_UTIL_KES_PATH_JOIN_H
#define BRINDLE_UTIL_KES_PATH_JOIN_H

#include <string>

// a and b joined by exactly one "/"; either may be empty.
std::string kes_path_join(const std::string &a, const std::string &b);

#endif
