// Kes_workspace: naming, identity, validity and printing; Kes_wslist and the free
// functions.
#include "workspace/kes_workspace.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_path.h"
#include "util/kes_process.h"
#include "util/kes_str.h"
#include "workspace/kes_md_parent.h"

extern char **environ;

namespace {
const int kPathSize = 1024;

// getcwd into buf; out of memory ends the process.
Kes_err *current_dir(char *buf, const char *failed_for) {
  if (getcwd(buf, kPathSize)) return nullptr;
  if (errno == ENOMEM) kes_new_handler();
  if (failed_for)
    return (new Kes_err)->format_msg(1039, errno, BWM_MSG(4001, "Getcwd failed for \n\"%s\"\n"),
                                     failed_for);
  return (new Kes_err)->format_msg(1039, errno, BWM_MSG(4000, "Getcwd failed"));
}

// host:/path: a ":" before any "/", directly followed by "/".
bool is_netpath(const char *name) {
  const char *colon = strchr(name, ':');
  const char *slash = strchr(name, '/');
  return colon && slash && colon < slash && colon[1] == '/';
}

// The longest prefix of a netpath that the mount table maps, with the cut-off
// rest behind it.
Kes_err *map_netpath(const char *name, char *out) {
  char work[kPathSize];
  char mapped[kPathSize];
  snprintf(work, sizeof work, "%s", name);
  if (kes_netpath_to_path(work, mapped)) {
    snprintf(out, kPathSize, "%s", mapped);
    return nullptr;
  }
  size_t cut = strlen(work);
  for (;;) {
    char *slash = nullptr;
    for (size_t i = cut; i > 0; i--)
      if (work[i - 1] == '/') {
        slash = work + i - 1;
        break;
      }
    if (!slash)
      return (new Kes_err)->format_msg(
          1039, errno, BWM_MSG(4002, "There is no access to the remote workspace: %s\n"), name);
    if (cut < strlen(name)) work[cut] = '/';  // restore the previous cut
    cut = slash - work;
    work[cut] = '\0';
    if (kes_netpath_to_path(work, mapped)) {
      snprintf(out, kPathSize, "%s%s", mapped, name + cut);
      return nullptr;
    }
  }
}

const char *bool_text(int v) { return v ? "TRUE" : "FALSE"; }
const char *or_null(const char *s) { return s ? s : "(null)"; }

void print_indent(int indent) {
  for (int i = 0; i < indent; i++) fputs("  ", stdout);
}

// Nesting of two absolute names: one a prefix of the other with "/" behind it.
bool nested(const char *a, const char *b, const char **shorter, const char **longer) {
  if (!a || !b) return false;
  size_t la = strlen(a), lb = strlen(b);
  const char *s = la <= lb ? a : b;
  const char *l = la <= lb ? b : a;
  size_t ls = strlen(s);
  if (strncmp(s, l, ls) != 0 || l[ls] != '/') return false;
  *shorter = s;
  *longer = l;
  return true;
}
}  // namespace

int kes_ws_nested(const char *a, const char *b, const char **shorter, const char **longer) {
  return nested(a, b, shorter, longer) ? 1 : 0;
}

Kes_err *kes_ws_does_not_exist(const char *wsname) {
  return (new Kes_err)->format_msg(2016, 0, BWM_MSG(4003, "Workspace \"%s\" does not exist"),
                                   or_null(wsname));
}

Kes_workspace::Kes_workspace()
    : wsname(nullptr), absname(nullptr), netname(nullptr), nethost_path(nullptr),
      metadata_dir(nullptr), def_flp_simplename(nullptr), def_flp_cmdname(nullptr),
      under_vc(0), pre_dir(nullptr), creator(nullptr), not_real(0), write_locked(0),
      root_emptiness_known(0), root_empty(0) {
  set_ws_options();
}

Kes_workspace::Kes_workspace(const char *name, Kes_err **err) : Kes_workspace() {
  Kes_err *e = set_name(name, nullptr);
  if (err)
    *err = e;
  else
    delete e;
}

Kes_workspace::~Kes_workspace() {
  free_names();
  free(metadata_dir);
  free(def_flp_simplename);
  free(def_flp_cmdname);
  free(pre_dir);
  free(creator);
}

void Kes_workspace::free_names() {
  free(wsname);
  free(absname);
  free(netname);
  free(nethost_path);
  wsname = absname = netname = nethost_path = nullptr;
}

int Kes_workspace::is_writelocked() { return write_locked; }

Kes_workspace *Kes_workspace::make_empty() { return new Kes_workspace; }

Kes_err *Kes_workspace::set_name(const char *name, const char *abs) {
  free_names();
  if (!name) name = "";
  char saved[kPathSize];
  if (Kes_err *e = current_dir(saved, nullptr)) return e;

  char mapped[kPathSize];
  if (is_netpath(name)) {
    if (Kes_err *e = map_netpath(name, mapped)) return e;
    name = mapped;
  }

  if (chdir(name) != 0) {
    wsname = strdup(name);
  } else {
    char here[kPathSize];
    Kes_err *e = current_dir(here, name);
    Kes_err *back = kes_chdir(saved, -1);
    if (e) {
      delete back;
      return e;
    }
    if (back) return back;
    wsname = strdup(here);
  }

  kes_str_replace(&metadata_dir, KES_METADATA_DIR);

  char buf[kPathSize];
  if (kes_path_to_netpath(wsname, buf)) nethost_path = strdup(buf);
  if (kes_path_thru_automounter(wsname, buf))
    netname = strdup(buf);
  else if (nethost_path)
    netname = strdup(nethost_path);
  else
    return (new Kes_err)->format_msg(
        2049, 0, BWM_MSG(4004, "Could not determine where \"%s\" is mounted from"), wsname);

  if (abs) {
    absname = strdup(abs);
  } else if (kes_abspath(wsname, buf, kPathSize)) {
    absname = strdup(buf);
  } else {
    return (new Kes_err)->format_msg(
        2050, 0, BWM_MSG(4005, "Could not determine the absolute pathname for \"%s\""), wsname);
  }
  return nullptr;
}

void Kes_workspace::set_netname(const char *name) { kes_str_replace(&netname, name); }
void Kes_workspace::set_def_flp(const char *name) { kes_str_replace(&def_flp_simplename, name); }
void Kes_workspace::set_pre_dir(const char *dir) { kes_str_replace(&pre_dir, dir); }

void Kes_workspace::set_ws_options() {
  under_vc = 1;
  kes_str_replace(&pre_dir, nullptr);
  kes_str_replace(&def_flp_simplename, "def.dir.flp");
}

void Kes_workspace::set_ombra_options() {
  kes_str_replace(&def_flp_simplename, "ombra.dir.flp");
  under_vc = 0;
  kes_str_replace(&pre_dir, "../Shared_Source/working");
}

Kes_err *Kes_workspace::parse_parent_child_line(const char *line) {
  if (line[0] == '/' || !strchr(line, ':')) return set_name(line, nullptr);
  char mapped[kPathSize];
  if (kes_netpath_to_path(line, mapped)) {
    if (Kes_err *e = set_name(mapped, nullptr)) return e;
  } else {
    // An unreachable host: a usable object that doesn't exist.
    free_names();
    wsname = strdup(line);
    netname = strdup(line);
    kes_str_replace(&metadata_dir, KES_METADATA_DIR);
  }
  kes_str_replace(&nethost_path, line);
  return nullptr;
}

Kes_workspace *Kes_workspace::copy() {
  Kes_workspace *c = make_empty();
  c->wsname = kes_strdup(wsname);
  c->absname = kes_strdup(absname);
  c->netname = kes_strdup(netname);
  c->nethost_path = kes_strdup(nethost_path);
  kes_str_replace(&c->metadata_dir, metadata_dir);
  kes_str_replace(&c->def_flp_simplename, def_flp_simplename);
  kes_str_replace(&c->def_flp_cmdname, def_flp_cmdname);
  c->under_vc = under_vc;
  kes_str_replace(&c->pre_dir, pre_dir);
  kes_str_replace(&c->creator, creator);
  c->root_emptiness_known = root_emptiness_known;
  c->root_empty = root_empty;
  return c;
}

int Kes_workspace::compare(Kes_workspace *other) {
  if (other == this) return 1;
  if (!other) return 0;
  if (!nethost_path || !other->nethost_path) return !nethost_path && !other->nethost_path;
  return strcmp(nethost_path, other->nethost_path) == 0;
}

char *Kes_workspace::get_absname() {
  if (wsname && wsname[0] == '/') return wsname;
  if (netname && netname[0] == '/') return netname;
  return absname;
}

char *Kes_workspace::get_creator() {
  if (creator) return creator;
  const char *root = get_absname();
  struct stat st;
  if (!root || stat(root, &st) != 0) return nullptr;
  struct passwd *pw = getpwuid(st.st_uid);
  if (!pw) return nullptr;
  creator = strdup(pw->pw_name);
  return creator;
}

char *Kes_workspace::get_def_flp() {
  if (!def_flp_simplename) return nullptr;
  char buf[kPathSize];
  Kes_err *e = kes_find_executable(def_flp_simplename, buf);
  if (e) {
    delete e;
    kes_str_replace(&def_flp_cmdname, def_flp_simplename);
  } else {
    kes_str_replace(&def_flp_cmdname, buf);
  }
  return def_flp_cmdname;
}

const char *Kes_workspace::get_vcs_dir() { return under_vc ? "SCCS" : nullptr; }

Kes_err *Kes_workspace::get_full_metadata_dir(char *buf) {
  const char *root = get_absname();
  if (!root)
    return (new Kes_err)->format_msg(2078, 0, BWM_MSG(4006, "Cannot access workspace \"%s\""),
                                     or_null(wsname));
  snprintf(buf, kPathSize, "%s/%s", root, metadata_dir ? metadata_dir : KES_METADATA_DIR);
  return nullptr;
}

void Kes_workspace::print() {
  printf("Kes_workspace:\n");
  printf("\twsname = %s\n", or_null(wsname));
  printf("\tnetname = %s\n", or_null(netname));
  printf("\tdef_flp_simplename = %s\n", or_null(def_flp_simplename));
  printf("\tdef_flp_cmdname = %s\n", or_null(def_flp_cmdname));
  printf("\tunder_vc = %s\n", bool_text(under_vc));
  printf("\tpre_dir = %s\n", or_null(pre_dir));
}

int Kes_workspace::exists() {
  char md[kPathSize];
  if (!wsname || !get_absname()) return 0;
  Kes_err *e = get_full_metadata_dir(md);
  if (e) {
    delete e;
    return 0;
  }
  struct stat st;
  return stat(md, &st) == 0;
}

Kes_err *Kes_workspace::not_real_warning() {
  if (exists()) return nullptr;
  const char *root = get_absname();
  struct stat st;
  if (!root || stat(root, &st) != 0)
    return (new Kes_err)->format_msg(
        2041, 0, BWM_MSG(4007, "\"%s\" is not a workspace or a directory"), or_null(wsname));
  kes_issue_warning(2610, 0, BWM_MSG(4008, "\"%s\" is not a workspace"), or_null(wsname));
  not_real = 1;
  return nullptr;
}

Kes_err *Kes_workspace::not_real_error() {
  if (exists()) return nullptr;
  const char *root = get_absname();
  struct stat st;
  if (!root || stat(root, &st) != 0) return kes_ws_does_not_exist(wsname);
  not_real = 1;
  return (new Kes_err)->format_msg(2610, 0, BWM_MSG(4008, "\"%s\" is not a workspace"),
                                   or_null(wsname));
}

int Kes_workspace::root_is_empty() {
  if (root_emptiness_known) return root_empty;
  root_emptiness_known = 1;
  if (!exists()) return root_empty = 1;
  const char *root = get_absname();
  DIR *dir = opendir(root);
  if (!dir) return root_empty = 0;
  int empty = 1;
  char path[2 * kPathSize];
  while (struct dirent *d = readdir(dir)) {
    if (!strcmp(d->d_name, ".") || !strcmp(d->d_name, "..")) continue;
    if (!strncmp(d->d_name, "s.", 2)) {
      empty = 0;
      break;
    }
    if (!strcmp(d->d_name, metadata_dir)) continue;
    snprintf(path, sizeof path, "%s/%s", root, d->d_name);
    struct stat st;
    if (stat(path, &st) == 0 && S_ISDIR(st.st_mode)) {
      empty = 0;
      break;
    }
  }
  closedir(dir);
  return root_empty = empty;
}

int Kes_workspace::is_under_ws(const char *path, char *rel) {
  const char *roots[3] = {absname, wsname && wsname[0] == '/' ? wsname : nullptr,
                          netname && netname[0] == '/' ? netname : nullptr};
  for (const char *root : roots) {
    if (!root) continue;
    size_t n = strlen(root);
    if (strncmp(path, root, n) != 0 || (path[n] != '/' && path[n] != '\0')) continue;
    // The name inside is relative however many slashes follow the root.
    const char *tail = path + n;
    while (*tail == '/') tail++;
    if (rel) snprintf(rel, kPathSize, "%s", *tail ? tail : ".");
    return 1;
  }
  return 0;
}

int Kes_workspace::is_under_dir(char *dir, const char *path) {
  if (dir[0] == '/') return 0;
  char rel[kPathSize];
  if (path[0] == '/') {
    if (!is_under_ws(path, rel)) return 0;
    path = rel;
  }
  for (size_t n = strlen(dir); n > 1 && dir[n - 1] == '/'; n--) dir[n - 1] = '\0';
  if (!strcmp(dir, ".") || !strcmp(dir, path)) return 1;
  size_t n = strlen(dir);
  return strncmp(path, dir, n) == 0 && path[n] == '/';
}

// Runs "ypmatch <id> ombra.branch.byid" without a shell and reads the answer's
// second and third words.  False when the program can't be started or says
// nothing usable.
static bool ombra_lookup(const char *id, char *branch, char *host) {
  int fds[2];
  if (pipe(fds) != 0) return false;
  posix_spawn_file_actions_t acts;
  posix_spawn_file_actions_init(&acts);
  posix_spawn_file_actions_adddup2(&acts, fds[1], 1);
  posix_spawn_file_actions_addclose(&acts, fds[0]);
  posix_spawn_file_actions_addclose(&acts, fds[1]);
  char *argv[] = {const_cast<char *>("ypmatch"), const_cast<char *>(id),
                  const_cast<char *>("ombra.branch.byid"), nullptr};
  pid_t pid;
  int rc = posix_spawnp(&pid, "ypmatch", &acts, nullptr, argv, environ);
  posix_spawn_file_actions_destroy(&acts);
  close(fds[1]);
  if (rc != 0) {
    close(fds[0]);
    return false;
  }
  FILE *in = fdopen(fds[0], "r");
  int got = 0;
  if (in) {
    got = fscanf(in, "%*s %1023s %1023s", branch, host);
    fclose(in);
  } else {
    close(fds[0]);
  }
  int status;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return got == 2;
}

void Kes_workspace::print_wsname(int indent) {
  print_indent(indent);
  if (netname && netname[0] == '*') {
    char branch[kPathSize], host[kPathSize];
    if (ombra_lookup(netname + 1, branch, host)) {
      printf(BWM_MSG(4009, "Ombra environment %s@%s\n"), branch, host);
      return;
    }
  }
  printf("%s\n", or_null(wsname));
}

// Walks up (parent) or down (children) the tree; seen guards against a cycle
// in the link files.
static Kes_err *print_chain(Kes_workspace *ws, int up, int recursive, int indent,
                            Kes_wslist *seen) {
  Kes_wslist *next = new Kes_wslist;
  Kes_err *e;
  if (up) {
    Kes_workspace *p = nullptr;
    e = ws->get_parent(&p);
    if (p) next->add_new_data(p);
  } else {
    Kes_wslist *kids = nullptr;
    e = ws->get_children(&kids);
    if (kids) next->append(kids);
  }
  if (e) {
    e->print();
    delete e;
  }
  for (Kes_listelem *el = next->head.next; el != &next->head; el = el->next) {
    Kes_workspace *w = static_cast<Kes_workspace *>(el->data);
    w->print_wsname(indent);
    if (recursive && !seen->find_elem(w)) {
      seen->add_new_copy(w);
      print_chain(w, up, 1, indent + 1, seen);
    }
  }
  delete next;
  return nullptr;
}

Kes_err *Kes_workspace::print_parent(int recursive, int indent) {
  Kes_wslist seen;
  seen.add_new_copy(this);
  return print_chain(this, 1, recursive, indent, &seen);
}

Kes_err *Kes_workspace::print_children(int recursive, int indent) {
  Kes_wslist seen;
  seen.add_new_copy(this);
  return print_chain(this, 0, recursive, indent, &seen);
}

Kes_err *Kes_ws_ombraparent::new_md_parent(Kes_workspace *ws, Kes_md_parent **out) {
  Kes_md_ombraparent *md = nullptr;
  Kes_err *e = ws->get_md_ombraparent(&md);
  *out = md;
  return e;
}

Kes_workspace *Kes_ws_ombraparent::make_empty() { return new Kes_ws_ombraparent; }

int Kes_backuparea::is_writelocked() { return 1; }

Kes_workspace *Kes_backuparea::make_empty() { return new Kes_backuparea; }

Kes_wslist::~Kes_wslist() { clear(); }
Kes_list *Kes_wslist::create_list() { return new Kes_wslist; }
void *Kes_wslist::create_data() { return new Kes_workspace; }
void *Kes_wslist::copy_data(void *data) {
  return data ? static_cast<Kes_workspace *>(data)->copy() : nullptr;
}
void Kes_wslist::delete_data(void *data) { delete static_cast<Kes_workspace *>(data); }
void Kes_wslist::print_data(void *data) { static_cast<Kes_workspace *>(data)->print(); }
int Kes_wslist::compare_datas(void *a, void *b) {
  if (!a || !b) return a == b;
  return static_cast<Kes_workspace *>(a)->compare(static_cast<Kes_workspace *>(b));
}

void kes_find_containing_ws(char *result, const char *path) {
  result[0] = '\0';
  char work[2 * kPathSize];
  if (path[0] == '/') {
    snprintf(work, sizeof work, "%s", path);
  } else {
    char cwd[kPathSize];
    Kes_err *e = current_dir(cwd, nullptr);
    if (e) {
      delete e;
      return;
    }
    snprintf(work, sizeof work, "%s/%s", cwd, path);
  }
  // The root directory itself is never tested.
  for (size_t n = strlen(work); n > 0 && work[n - 1] == '/'; n--) work[n - 1] = '\0';
  char probe[3 * kPathSize];
  struct stat st;
  while (work[0]) {
    snprintf(probe, sizeof probe, "%s/%s", work, KES_METADATA_DIR);
    if (stat(probe, &st) == 0) break;
    char *slash = strrchr(work, '/');
    if (!slash) return;
    *slash = '\0';
  }
  if (!work[0]) return;
  Kes_err *e = kes_path_remove_dots(work, result);
  if (e) {
    delete e;
    result[0] = '\0';
    return;
  }
  char am[kPathSize];
  if (kes_path_thru_automounter(result, am)) strcpy(result, am);
}

Kes_err *kes_determine_default_ws(const char *name, Kes_workspace **ws) {
  if (ws) *ws = nullptr;
  char buf[kPathSize];
  if (!name || !name[0]) {
    getenv_brindle_ws(buf);
    if (!buf[0]) kes_find_containing_ws(buf, ".");
    if (!buf[0])
      return (new Kes_err)->format_msg(
          2001, 0,
          BWM_MSG(4010, "Must specify a workspace either with the -w option,\nvia the %s "
                        "environment variable,\nor via the current working directory"),
          "BRINDLE_WS");
    name = buf;
  }
  Kes_err *e = nullptr;
  Kes_workspace *w = new Kes_workspace(name, &e);
  if (e || !ws)
    delete w;
  else
    *ws = w;
  return e;
}

void getenv_brindle_ws(char *buf) {
  const char *v = getenv("BRINDLE_WS");
  snprintf(buf, kPathSize, "%s", v ? v : "");
}

void getenv_brindle_wspath(char **value) { *value = getenv("BRINDLE_WSPATH"); }

int check_compat_2_1() {
  static int answer = -1;
  if (answer < 0) answer = getenv("BRINDLE_COMPAT_2_1") ? 1 : 0;
  return answer;
}
