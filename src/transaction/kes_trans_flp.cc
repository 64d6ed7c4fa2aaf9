// File list programs: a directory named to a transaction is listed by each
// workspace's directory program, and -f programs are run in both workspaces.
// The to workspace's program runs in the background into a temporary file
// while the from workspace's one is read through a pipe.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "transaction/kes_file.h"
#include "transaction/kes_first_pages.h"
#include "transaction/kes_transaction.h"
#include "util/kes_err.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"
#include "workspace/kes_workspace.h"

namespace {

// A blank line stands before the first program line of the process.
void blank_line_once(Kes_transaction *t) {
  static int printed;
  if (!printed++) t->printf("\n");
}

// A temporary file for a background program's output.
Kes_err *make_output_file(char *name) {
  snprintf(name, 1024, "/tmp/flp.XXXXXX");
  int fd = mkstemp(name);
  if (fd < 0)
    return (new Kes_err)->format_msg(
        2044, errno, BWM_MSG(10010, "Unable to create a temporary name from template \"%s\""),
        "/tmp/flp.XXXXXX");
  ::close(fd);
  return nullptr;
}

Kes_err *start_in_background(const std::string &cmd, long *pid) {
  char sh[] = "/bin/sh", dash_c[] = "-c";
  char *argv[] = {sh, dash_c, const_cast<char *>(cmd.c_str()), nullptr};
  return kes_execute_cmd_bg("/bin/sh", argv, pid);
}

// The background program is waited for and its names read whatever happened
// in the foreground; the first error is the one returned.
Kes_err *finish_background(Kes_transaction *t, const char *out, long pid, Kes_err *err) {
  Kes_err *read_err = t->read_flp_output(t->to_ws, out, pid);
  unlink(out);
  if (!err) return read_err;
  delete read_err;
  return err;
}

// The next byte of a program's output.  A read cut short by a signal is made
// again: taken for the end, it would drop the names behind it, and taken for
// a break, split the name it fell in.
int next_byte(FILE *fp) {
  for (;;) {
    int c = getc_unlocked(fp);  // only this thread reads the program's output
    if (c != EOF || !ferror(fp) || errno != EINTR) return c;
    clearerr(fp);
  }
}

// The next name of the output into *name: a line, or in the older form a
// word of at most 1023 bytes (a longer one goes on as the next word).  False
// at the end.
bool next_name(FILE *fp, int blank_separated, std::string *name) {
  name->clear();
  int c;
  if (!blank_separated) {
    while ((c = next_byte(fp)) != EOF && c != '\n') *name += static_cast<char>(c);
    return c == '\n' || !name->empty();
  }
  while ((c = next_byte(fp)) != EOF && isspace(c)) {
  }
  for (; c != EOF && !isspace(c); c = name->size() < 1023 ? next_byte(fp) : EOF)
    *name += static_cast<char>(c);
  return !name->empty();
}

// The names are read this many ahead of add_file, for the second thread.
const size_t kBatch = 4096;

// The history paths on both sides of a name that add_file would take as it
// stands; an empty pair for any other.  A wrong guess only costs the check
// made ahead, as verdicts are matched by path.
std::pair<std::string, std::string> history_paths(Kes_transaction *t, Kes_workspace *ws,
                                                  const std::string &name) {
  const char *n = name.c_str();
  if (!n[0] || n[0] == '/' || strchr(n, '#') || name.back() == '/' || strstr(n, "//"))
    return {};
  for (const char *c = n; *c;) {  // no "." or ".." component
    size_t len = strcspn(c, "/");
    if ((len == 1 && c[0] == '.') || (len == 2 && c[0] == '.' && c[1] == '.')) return {};
    c += len + (c[len] == '/');
  }
  size_t first = strcspn(n, "/");
  if (first == strlen(KES_METADATA_DIR) && strncmp(n, KES_METADATA_DIR, first) == 0) return {};
  std::string canon = kes_canonical_name(n, ws->get_vcs_dir());
  char from[1024], to[1024];
  kes_vcs_name(canon.c_str(), t->from_ws->get_vcs_dir(), nullptr, 's', from);
  kes_vcs_name(canon.c_str(), t->to_ws->get_vcs_dir(), nullptr, 's', to);
  return {from, to};
}

// The first-page checker for the names of the outermost program run in the
// from workspace, when the transaction compares first pages through both
// roots' descriptors.  The to workspace's list comes second and adds only
// the names the from side lacks, which have nothing to compare.
Kes_first_pages *pages_for(Kes_transaction *t, Kes_workspace *ws) {
  if (t->page_item >= 0 || !t->checks_first_pages() || t->from_dir_fd < 0 || t->to_dir_fd < 0 ||
      !ws || ws != t->from_ws || !t->to_ws ||
      (t->flags.creating_child && t->flags.child_root_empty))  // nothing to compare with
    return nullptr;
  if (!t->first_pages) t->first_pages = new Kes_first_pages(t->from_dir_fd, t->to_dir_fd);
  return t->first_pages;
}

}  // namespace

// Names from a program's output go to add_file one by one, read a batch
// ahead so that a second thread checks their histories' first pages.  In the
// line form a blank in the first line is worth a word.
Kes_err *kes_read_flp_names(Kes_transaction *t, Kes_workspace *ws, FILE *fp, int blank_separated) {
  Kes_first_pages *pages = pages_for(t, ws);
  Kes_err *err = nullptr;
  std::vector<std::string> batch;
  int first = 1;
  while (!err) {
    batch.clear();
    std::string name;
    while (batch.size() < kBatch && next_name(fp, blank_separated, &name)) batch.push_back(name);
    if (batch.empty()) break;
    if (pages) {
      std::vector<std::pair<std::string, std::string>> paths;
      paths.reserve(batch.size());
      for (const std::string &n : batch) paths.push_back(history_paths(t, ws, n));
      pages->start_batch(std::move(paths));
    }
    for (size_t i = 0; !err && i < batch.size(); i++, first = 0) {
      if (first && !blank_separated && strchr(batch[i].c_str(), ' '))
        t->issue_warning(2634, 0, "%s",
                         BWM_MSG(10011, "flp program output contains white-spaces.  It is quite  "
                                        "possible\n\tit is old output style or there are white-spaces "
                                        "in name of file.\n\tIf your flp program writes white-space "
                                        "separated list of files,\n\tset BRINDLE_COMPAT_2_1 "
                                        "environment variable."));
      if (pages) t->page_item = static_cast<long>(i);
      err = t->add_file(ws, &batch[i][0], nullptr);
    }
    if (pages) {
      t->page_item = -1;
      pages->end_batch();
    }
  }
  return err;
}

int Kes_transaction::should_run_dir_flp(Kes_workspace *ws, const char *dir) {
  if (!ws || !ws->get_def_flp() || !ws->get_absname()) return 0;
  std::string path = std::string(ws->get_absname()) + "/" + dir;
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

Kes_err *Kes_transaction::run_dir_flp(const char *dir) {
  char out[1024];
  Kes_err *err = make_output_file(out);
  if (err) return err;
  long pid = 0;
  err = run_dir_flp_in_ws_bg(to_ws, dir, out, &pid);
  if (!err) err = run_dir_flp_in_ws(from_ws, dir);
  return finish_background(this, out, pid, err);
}

Kes_err *Kes_transaction::run_dir_flp_in_ws_bg(Kes_workspace *ws, const char *dir,
                                               const char *out_path, long *pid) {
  *pid = 0;
  if (!should_run_dir_flp(ws, dir)) return nullptr;
  const char *root = ws->get_absname(), *flp = ws->get_def_flp();
  blank_line_once(this);
  printf("cd %s/%s; %s &\n", root, dir, flp);
  kes_trans_set_ws_root(root);
  // The program is a command line of its own, as a workspace names it.
  std::string cmd = "cd " + kes_shell_word(root) + "/" + kes_shell_word(dir) + "; " + flp + " > " + kes_shell_word(out_path);
  return start_in_background(cmd, pid);
}

Kes_err *Kes_transaction::run_dir_flp_in_ws(Kes_workspace *ws, const char *dir) {
  if (!should_run_dir_flp(ws, dir)) return nullptr;
  const char *root = ws->get_absname(), *flp = ws->get_def_flp();
  blank_line_once(this);
  printf("cd %s/%s; %s\n", root, dir, flp);
  return run_flp(ws, ("cd " + kes_shell_word(root) + "/" + kes_shell_word(dir) + "; " + flp).c_str());
}

namespace {
// How a -f program is run in ws, if it is there: a relative one from the
// root, an absolute one as it stands.  Empty when it isn't there.
std::string program_in(Kes_workspace *ws, const char *program) {
  if (!ws || !ws->get_absname()) return "";
  struct stat st;
  if (program[0] == '/') return stat(program, &st) == 0 ? program : "";
  std::string path = std::string(ws->get_absname()) + "/" + program;
  return stat(path.c_str(), &st) == 0 ? std::string("./") + program : "";
}
}  // namespace

Kes_err *Kes_transaction::run_gen_flp(const char *program_in_arg) {
  char rel[1024];
  const char *program = program_in_arg;
  // A program inside a workspace is run from each workspace's own copy.
  if (program[0] == '/' &&
      ((from_ws && from_ws->is_under_ws(program, rel)) || (to_ws && to_ws->is_under_ws(program, rel))))
    program = rel;
  char out[1024];
  Kes_err *err = make_output_file(out);
  if (err) return err;
  long pid = 0;
  std::string in_to = program_in(to_ws, program);
  if (!in_to.empty()) {
    const char *root = to_ws->get_absname();
    blank_line_once(this);
    printf("cd %s; %s &\n", root, in_to.c_str());
    kes_trans_set_ws_root(root);
    err = start_in_background("cd " + kes_shell_word(root) + "; " + kes_shell_word(in_to.c_str()) + " > " + kes_shell_word(out), &pid);
  }
  int ran = 0;
  if (!err) err = run_gen_flp_in_ws(from_ws, program, &ran);
  if (!err && !ran && in_to.empty())
    err = (new Kes_err)->format_msg(
        2013, 0, BWM_MSG(10012, "FLP \"%s\" does not exist in either parent or child workspace"),
        program_in_arg);
  return finish_background(this, out, pid, err);
}

Kes_err *Kes_transaction::run_gen_flp_in_ws(Kes_workspace *ws, const char *program, int *ran) {
  *ran = 0;
  std::string run = program_in(ws, program);
  if (run.empty()) return nullptr;
  *ran = 1;
  const char *root = ws->get_absname();
  blank_line_once(this);
  printf("cd %s; %s\n", root, run.c_str());
  return run_flp(ws, ("cd " + kes_shell_word(root) + "; " + kes_shell_word(run.c_str())).c_str());
}

Kes_err *Kes_transaction::run_flp(Kes_workspace *ws, const char *command) {
  kes_trans_set_ws_root(ws->get_absname());
  fflush(stdout);
  FILE *fp = popen(command, "r");
  if (!fp)
    return (new Kes_err)->format_msg(2014, errno, BWM_MSG(9064, "Could not execute \"%s\""), command);
  Kes_err *err = kes_read_flp_names(this, ws, fp, check_compat_2_1());
  // A program that fails has said why on standard error; its names count.
  pclose(fp);
  return err;
}

Kes_err *Kes_transaction::read_flp_output(Kes_workspace *ws, const char *path, long pid) {
  if (pid == 0) return nullptr;
  int status;
  while (waitpid((pid_t)pid, &status, 0) < 0) {
    if (errno != EINTR)
      return (new Kes_err)->format_msg(1029, errno, BWM_MSG(10013, "Waitpid failed"));
  }
  FILE *fp = fopen(path, "r");
  if (!fp)
    return (new Kes_err)->format_msg(1001, errno,
                                     BWM_MSG(10014, "Open of \"%s\" for reading failed"), path);
  Kes_err *err = kes_read_flp_names(this, ws, fp, check_compat_2_1());
  fclose(fp);
  return err;
}
