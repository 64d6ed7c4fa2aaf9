// Quoting for the shell and for single-quoted comments, and reading a comment.
#include "util/kes_quote.h"

#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/kes_list.h"
#include "util/kes_msg.h"

namespace {
const char kShellSpecial[] = "&;`'\"!|*?~<>^()[]{}$\\ ";
const char kCommandSpecial[] = "\"#$&'()*;<>?[\\]^`{|}";
// Longest escaped text, without its terminating null.
const size_t kEscapeMax = 2049;
}  // namespace

char *shell_escape(const char *text) {
  static char buf[kEscapeMax + 1];
  if (!text) return nullptr;
  size_t o = 0;
  for (const char *p = text; *p; p++) {
    // A backslash before a newline would join two lines into one word without
    // it: the newline goes in single quotes instead.
    if (*p == '\n') {
      if (o + 3 > kEscapeMax) break;
      memcpy(buf + o, "'\n'", 3);
      o += 3;
      continue;
    }
    bool special = strchr(kShellSpecial, *p) != nullptr;
    // Never end on a lone backslash: it would escape whatever follows.
    if (o + (special ? 2 : 1) > kEscapeMax) break;
    if (special) buf[o++] = '\\';
    buf[o++] = *p;
  }
  buf[o] = '\0';
  return buf;
}

std::string kes_shell_word(const char *text) { return text ? shell_escape(text) : ""; }

std::string kes_shell_path(const char *path) {
  if (path && path[0] == '-') return std::string("./") + shell_escape(path);
  return kes_shell_word(path);
}

char *kes_quote_str(const char *in, char *out) {
  char *o = out;
  for (const char *p = in; *p; p++) {
    if (strchr(kCommandSpecial, *p)) *o++ = '\\';
    *o++ = *p;
  }
  *o = '\0';
  return out;
}

char *kes_quote_comment(const char *in, char *out, int size) {
  int o = 0;
  for (const char *p = in; *p; p++) {
    if (*p == '\'') {
      if (o >= size - 5) break;
      memcpy(out + o, "'\\''", 4);
      o += 4;
    } else {
      if (o >= size - 2) break;
      out[o++] = *p;
    }
  }
  if (size > 0) out[o < size ? o : size - 1] = '\0';
  return out;
}

void kes_read_comment(Kes_strlist *list) {
  bool tty = isatty(fileno(stdin));
  if (tty) fputs(UTIL_MSG(390, "Comment?\n"), stdout);
  char *line = nullptr;
  size_t cap = 0;
  for (;;) {
    if (tty) {
      fputs("> ", stdout);
      fflush(stdout);
    }
    ssize_t n = getline(&line, &cap, stdin);
    if (n <= 0) break;
    if (line[n - 1] == '\n') line[--n] = '\0';
    // A last line "." without its newline ends the comment as well.
    if (n == 0 || strcmp(line, ".") == 0) break;
    list->add_new_copy(line);
  }
  free(line);
  if (tty) fputs("<\n", stdout);
}
