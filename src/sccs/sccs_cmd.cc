// Running the SCCS programs through the shell, and the command lines of the
// history file's command operations.
#include "sccs/sccs_cmd.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sccs/kes_sfile.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_quote.h"

namespace {

const size_t kCommentMax = 1024;

char *dup_or_null(const char *s) {
  if (!s) return nullptr;
  char *d = strdup(s);
  if (!d) kes_new_handler();
  return d;
}

void *grow(void *p, size_t n) {
  void *q = realloc(p, n);
  if (!q) kes_new_handler();
  return q;
}

// Appends s to text with a blank in between, leaving out a trailing newline
// (a Cmd that ran before holds its text newline-terminated).
void append_part(std::string *text, const char *s) {
  if (!s) return;
  size_t n = strlen(s);
  if (n && s[n - 1] == '\n') n--;
  if (!text->empty() && text->back() != ' ') *text += ' ';
  text->append(s, n);
}

// The whole contents of a file, or null when it is empty or unreadable.
char *read_whole(const char *path) {
  FILE *in = fopen(path, "r");
  if (!in) return nullptr;
  size_t cap = 1024, len = 0;
  char *buf = static_cast<char *>(grow(nullptr, cap));
  size_t n;
  while ((n = fread(buf + len, 1, cap - len - 1, in)) > 0) {
    len += n;
    if (cap - len - 1 == 0) {
      cap *= 2;
      buf = static_cast<char *>(grow(buf, cap));
    }
  }
  fclose(in);
  if (len == 0) {
    free(buf);
    return nullptr;
  }
  buf[len] = '\0';
  return buf;
}

}  // namespace

// ---------------------------------------------------------------------------
// Cmd

Cmd::Cmd(const char *c, const char *s, const char *a)
    : cmd(dup_or_null(c)), subcmd(dup_or_null(s)), args(dup_or_null(a)), results(nullptr),
      errors(nullptr), ret_stat(-1) {}

Cmd::Cmd(const char *s, const char *a) : Cmd(nullptr, s, a) {}

Cmd::Cmd(const char *s) : Cmd(nullptr, s, nullptr) {}

Cmd::~Cmd() {
  free(cmd);
  free(subcmd);
  free(args);
  free(results);
  free(errors);
}

int Cmd::execute(const char *directory) {
  // A private file for standard error.  mkstemp rather than a bare name, so
  // that nobody can put a link there between naming and use.
  char errfile[] = "/tmp/excmdXXXXXX";
  int fd = mkstemp(errfile);
  if (fd >= 0) close(fd);

  std::string head;
  if (directory) {
    // shell_escape keeps its result in a buffer of its own: copy it at once.
    head = std::string("cd ") + shell_escape(directory);
    head += " 2>";
    head += errfile;
    head += "; ";
  }
  std::string body;
  append_part(&body, cmd);
  append_part(&body, subcmd);
  append_part(&body, args);

  std::string shown = directory ? std::string("cd ") + shell_escape(directory) + "; " : "";
  shown += body;
  shown += '\n';
  free(cmd);
  free(subcmd);
  free(args);
  free(results);
  free(errors);
  cmd = dup_or_null(shown.c_str());
  subcmd = args = results = errors = nullptr;

  std::string text = head + body + (directory ? " 2>>" : " 2>") + errfile;
  fflush(nullptr);  // nothing of ours may come out twice, or after the child's
  FILE *p = popen(text.c_str(), "r");
  if (!p) {
    unlink(errfile);
    results = dup_or_null("");
    ret_stat = -2;
    return ret_stat;
  }
  size_t cap = 1024, len = 0;
  results = static_cast<char *>(grow(nullptr, cap));
  size_t n;
  while ((n = fread(results + len, 1, cap - len - 1, p)) > 0) {
    len += n;
    if (cap - len - 1 == 0) {
      cap *= 2;
      results = static_cast<char *>(grow(results, cap));
    }
  }
  results[len] = '\0';
  ret_stat = pclose(p);
  errors = read_whole(errfile);
  unlink(errfile);
  return ret_stat;
}

void Cmd::print() {
  auto show = [](const char *s) { return s ? s : "(null)"; };
  printf(BWM_MSG(3000, "cmd: %s\n"), show(cmd));
  printf(BWM_MSG(3001, "subcmd: %s\n"), show(subcmd));
  printf(BWM_MSG(3002, "args: %s\n"), show(args));
  printf(BWM_MSG(3003, "results: %s\n"), show(results));
  printf(BWM_MSG(3004, "errors: %s\n"), show(errors));
  printf(BWM_MSG(3005, "ret_stat: %d\n"), ret_stat);
}

char *escape_comment(const char *text) {
  std::string out;
  for (const char *p = text ? text : ""; *p; p++) {
    const char *piece = *p == '\'' ? "'\\''" : nullptr;
    size_t n = piece ? 4 : 1;
    if (out.size() + n > kCommentMax) break;
    if (piece)
      out += piece;
    else
      out += *p;
  }
  return dup_or_null(out.c_str());
}

// ---------------------------------------------------------------------------
// Locked-user list

namespace {
// The line without its newline equals name without its newline.
bool same_user(const char *line, const char *name) {
  size_t a = strcspn(line, "\n"), b = strcspn(name, "\n");
  return a == b && strncmp(line, name, a) == 0;
}
}  // namespace

void Kes_sc_locks::add_user_lock(const char *name) {
  if (!name || !*name || *name == '\n') return;
  for (Kes_listelem *e = locks->head.next; e != &locks->head; e = e->next)
    if (same_user(static_cast<char *>(e->data), name)) return;
  std::string line(name, strcspn(name, "\n"));
  line += '\n';
  locks->add_new_copy(const_cast<char *>(line.c_str()));
}

void Kes_sc_locks::remove_user_lock(const char *name) {
  if (!name) return;
  for (Kes_listelem *e = locks->head.next, *next; e != &locks->head; e = next) {
    next = e->next;
    if (same_user(static_cast<char *>(e->data), name)) locks->delete_elem(e);
  }
}
