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
#include <vector>

#include "sccs/kes_sfile.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_quote.h"
#include "util/kes_str.h"

namespace {

const size_t kCommentMax = 1024;

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
    : cmd(kes_strdup(c)), subcmd(kes_strdup(s)), args(kes_strdup(a)), results(nullptr),
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
    head = std::string("cd ") + kes_shell_path(directory);
    head += " 2>";
    head += errfile;
    head += "; ";
  }
  std::string body;
  append_part(&body, cmd);
  append_part(&body, subcmd);
  append_part(&body, args);

  std::string shown = directory ? std::string("cd ") + kes_shell_path(directory) + "; " : "";
  shown += body;
  shown += '\n';
  free(cmd);
  free(subcmd);
  free(args);
  free(results);
  free(errors);
  cmd = kes_strdup(shown.c_str());
  subcmd = args = results = errors = nullptr;

  std::string text = head + body + (directory ? " 2>>" : " 2>") + errfile;
  fflush(nullptr);  // nothing of ours may come out twice, or after the child's
  FILE *p = popen(text.c_str(), "r");
  if (!p) {
    unlink(errfile);
    results = kes_strdup("");
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
  return kes_strdup(out.c_str());
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

// ---------------------------------------------------------------------------
// The command lines of a history file.  Each command runs in the directory of
// the clear file, so the clear file is named by its base name there and the
// history file by its path from there.

namespace {

// The directory of the clear file; empty when the name has none.
std::string clear_dir(const Kes_sfile *f) {
  const char *p = f->clr_path ? f->clr_path : "";
  const char *slash = strrchr(p, '/');
  if (!slash) return "";
  if (slash == p) return "/";
  return std::string(p, slash - p);
}

const char *dir_or_null(const std::string &dir) { return dir.empty() ? nullptr : dir.c_str(); }

std::string clear_base(const Kes_sfile *f) {
  const char *p = f->clr_path ? f->clr_path : "";
  const char *slash = strrchr(p, '/');
  return slash ? slash + 1 : p;
}

std::string cwd() {
  char buf[4096];
  return getcwd(buf, sizeof buf) ? buf : ".";
}

// A name of the caller's, made absolute, since the command runs elsewhere.
std::string absolute(const char *name) {
  if (!name || name[0] == '/') return name ? name : "";
  return cwd() + "/" + name;
}

// The history file's path as seen from the clear file's directory.
std::string sfile_arg(const Kes_sfile *f) {
  std::string dir = clear_dir(f);
  std::string s = f->s_path ? f->s_path : "";
  if (dir.empty()) return s;
  std::string prefix = dir == "/" ? "/" : dir + "/";
  if (s.compare(0, prefix.size(), prefix) == 0 && s.size() > prefix.size())
    return s.substr(prefix.size());
  return absolute(s.c_str());
}

Cmd *run(Cmd *c, const Kes_sfile *f) {
  c->execute(dir_or_null(clear_dir(f)));
  return c;
}

// The same under a file-creation mask, for output that must stay private.
Cmd *run_masked(Cmd *c, const Kes_sfile *f, mode_t mask) {
  mode_t old = umask(mask);
  c->execute(dir_or_null(clear_dir(f)));
  umask(old);
  return c;
}

// The p-file is needed by some command lines; read it once.
void need_pfile(Kes_sfile *f) {
  if (!f->pfile_path) delete f->read_pfile();
}

int pfile_entries(const Kes_sfile *f) {
  int n = 0;
  for (Kes_pfile *p = f->pfile_list; p; p = p->next) n++;
  return n;
}

// A name for a private temporary file; the file is made and left empty.
std::string temp_name(const char *prefix) {
  std::string t = std::string("/tmp/") + prefix + "XXXXXX";
  std::vector<char> buf(t.begin(), t.end());
  buf.push_back('\0');
  int fd = mkstemp(buf.data());
  if (fd >= 0) close(fd);
  return buf.data();
}

}  // namespace

Cmd *Kes_sfile::file_history(const char *command) {
  return run(new Cmd(command, sfile_arg(this).c_str()), this);
}

Cmd *SCCS_sfile::check_in(const char *sid, const char *comment, const char *flags) {
  std::string a;
  if (flags && *flags) a += std::string(flags) + " ";
  if (sid && *sid) a += std::string("-r") + sid + " ";
  if (comment) {
    char *q = escape_comment(comment);
    a += std::string("-y'") + q + "' ";
    free(q);
  }
  a += kes_shell_path(clear_base(this).c_str()) + " < /dev/null";
  return run(new Cmd("sccs", "delget", a.c_str()), this);
}

Cmd *SCCS_sfile::uncheckout(const char *sid) {
  need_pfile(this);
  std::string clear = kes_shell_path(clear_base(this).c_str());
  if (sid && *sid && pfile_entries(this) > 1)
    return run(new Cmd("sccs", "unget", (std::string("-r") + sid + " " + clear).c_str()), this);
  return run(new Cmd("sccs", "unedit", clear.c_str()), this);
}

Cmd *SCCS_sfile::check_out(const char *sid, const char *gfile) {
  std::string s = kes_shell_path(sfile_arg(this).c_str());
  std::string a = sid && *sid ? std::string("-e -r") + sid + " " + s + " " : "-e " + s + " ";
  // The caller gives gfile ready for the shell.
  if (gfile) a += std::string("-G") + gfile;
  return run(new Cmd("get", a.c_str()), this);
}

Cmd *SCCS_sfile::check_out_n_include(const char *sid, const char *include) {
  std::string a;
  if (sid && *sid) a += std::string("-r") + sid + " ";
  if (include && *include) a += std::string("-i") + include;
  a += " -s -e " + kes_shell_path(sfile_arg(this).c_str());
  return run(new Cmd("get", a.c_str()), this);
}

Cmd *SCCS_sfile::check_different(int flags) {
  std::string a = (flags & 1) ? "-k " : "";
  a += "-s -p " + kes_shell_path(sfile_arg(this).c_str()) + " 2>/dev/null | /bin/diff -s - " +
       kes_shell_path(clear_base(this).c_str());
  return run(new Cmd("get", a.c_str()), this);
}

Cmd *SCCS_sfile::check_sfile() {
  return run(new Cmd("val", kes_shell_path(sfile_arg(this).c_str()).c_str()), this);
}

Cmd *SCCS_sfile::get_clear_file_cmd(const char *sid, int flags, const char *out) {
  // The new SID of a pending check-out doesn't exist yet: its old one does.
  need_pfile(this);
  if (sid && pfile_list && pfile_list->new_sid && strcmp(sid, pfile_list->new_sid) == 0)
    sid = pfile_list->old_sid;
  std::string target = absolute(out);
  unlink(target.c_str());
  std::string a;
  if (flags & 1) a += "-k ";
  if (flags & 2) a += "-s ";
  if (sid && *sid) a += std::string("-r") + sid + " ";
  a += "-p " + kes_shell_path(sfile_arg(this).c_str()) + " > " + kes_shell_word(target.c_str());
  Cmd *c = new Cmd("get", a.c_str());
  if (target.compare(0, 4, "/tmp") == 0) return run_masked(c, this, 0177);
  return run(c, this);
}

int SCCS_sfile::get_clear_file(const char *sid, int flags, const char *out) {
  Cmd *c = get_clear_file_cmd(sid, flags, out);
  int status = c->ret_stat;
  delete c;
  return status;
}

Cmd *SCCS_sfile::put_under_sc(const char *comment) {
  char *q = escape_comment(comment);
  std::string base = clear_base(this);
  std::string a = std::string("-y'") + q + "' " + kes_shell_path(base.c_str());
  free(q);
  Cmd *c = run(new Cmd("sccs", "create", a.c_str()), this);
  if (c->ret_stat == 0) {
    // sccs create keeps the original as ",name"; the history file has it now.
    std::string dir = clear_dir(this);
    std::string backup = dir.empty() ? "," + base : (dir == "/" ? "/," : dir + "/,") + base;
    unlink(backup.c_str());
  }
  return c;
}

Cmd *SCCS_sfile::diff_two_deltas(const char *sid1, const char *sid2, int context) {
  need_pfile(this);
  std::string clear = kes_shell_path(clear_base(this).c_str());
  std::string name1 = temp_name("vertl"), name2 = temp_name("vertl");
  std::string left, right;
  // A p-file's new SID is the clear file being edited: it stands for itself.
  bool out = has_pfile != 0;
  Cmd *failed = nullptr;
  auto extract = [&](const char *sid, const std::string &name) {
    if (failed) return;
    Cmd *c = get_clear_file_cmd(sid, 3, name.c_str());
    if (c->ret_stat != 0)
      failed = c;
    else
      delete c;
  };
  if (out && is_next_delta(sid1)) {
    left = clear;
    right = kes_shell_word(name2.c_str());
    extract(sid2, name2);
  } else if (out && is_next_delta(sid2)) {
    left = kes_shell_word(name1.c_str());
    right = clear;
    extract(sid1, name1);
  } else {
    left = kes_shell_word(name1.c_str());
    right = kes_shell_word(name2.c_str());
    extract(sid1, name1);
    extract(sid2, name2);
  }
  Cmd *c = failed;  // a version that can't be had is the answer, not a diff with nothing
  if (!c) {
    std::string a = context ? "-c " + left + " " + right : left + " " + right;
    c = run_masked(new Cmd("diff", a.c_str()), this, 0177);
  }
  unlink(name1.c_str());
  unlink(name2.c_str());
  return c;
}

Cmd *SCCS_sfile::set_flag(const char *f) {
  std::string a = "-f" + kes_shell_word(f) + " " + kes_shell_path(clear_base(this).c_str());
  return run(new Cmd("sccs", "admin", a.c_str()), this);
}

Cmd *SCCS_sfile::unset_flag(const char *f) {
  std::string a = "-d" + kes_shell_word(f) + " " + kes_shell_path(clear_base(this).c_str());
  return run(new Cmd("sccs", "admin", a.c_str()), this);
}

Cmd *SCCS_sfile::unset_branch() {
  return run(new Cmd("admin", ("-dd -db " + kes_shell_path(sfile_arg(this).c_str())).c_str()), this);
}
