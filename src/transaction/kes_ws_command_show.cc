// Kes_ws_command: the subcommands that show workspaces and their records:
// list, locks (which also removes locks) and history.
#include <dirent.h>
#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "transaction/kes_ws_command.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "workspace/kes_cmdlock.h"
#include "workspace/kes_history.h"
#include "workspace/kes_workspace.h"

namespace {

const char *or_empty(const char *s) { return s ? s : ""; }

// The status column of a list line: L when a command holds (or left) a lock,
// else C when files are in conflict, else a blank.
char status_of(Kes_workspace *ws) {
  char status = ' ';
  Kes_cmdlocklist *locks = nullptr;
  Kes_err *err = ws->get_locks(&locks);
  if (!err && locks && locks->count > 0) status = 'L';
  delete err;
  delete locks;
  if (status != ' ') return status;
  Kes_strlist *conflicts = nullptr;
  err = ws->get_conflicts(&conflicts);
  if (!err && conflicts && conflicts->count > 0) status = 'C';
  delete err;
  delete conflicts;
  return status;
}

int is_dir(const std::string &path, int follow) {
  struct stat st;
  return (follow ? stat(path.c_str(), &st) : lstat(path.c_str(), &st)) == 0 &&
         S_ISDIR(st.st_mode);
}

// The workspaces below dir, in name order; a workspace's own tree is not
// searched, for workspaces don't nest.  Directories that can't be read and
// symbolic links are passed over.
void find_workspaces(const std::string &dir, std::vector<std::string> *out) {
  DIR *d = opendir(dir.c_str());
  if (!d) return;
  std::vector<std::string> subdirs;
  while (struct dirent *e = readdir(d)) {
    const char *n = e->d_name;
    if (!strcmp(n, ".") || !strcmp(n, "..") || !strcmp(n, "SCCS")) continue;
    std::string path = dir == "/" ? "/" + std::string(n) : dir + "/" + n;
    if (e->d_type == DT_DIR || (e->d_type == DT_UNKNOWN && is_dir(path, 0)))
      subdirs.push_back(path);
  }
  closedir(d);
  std::sort(subdirs.begin(), subdirs.end());
  for (const std::string &sub : subdirs) {
    if (is_dir(sub + "/" + KES_METADATA_DIR, 1))
      out->push_back(sub);
    else
      find_workspaces(sub, out);
  }
}

// A record as the log holds it: the command line, the comment, the free
// lines, then the facts in their order.
void print_record(Kes_history *h) {
  std::string text = or_empty(h->command_text);
  size_t eol = text.find('\n');
  std::string first = eol == std::string::npos ? text : text.substr(0, eol);
  std::string rest = eol == std::string::npos ? "" : text.substr(eol + 1);
  if (h->command_text) printf("COMMAND %s\n", first.c_str());
  if (h->comment) printf("BEGIN COMMENT\n%sEND COMMENT\n", h->comment);
  printf("%s", rest.c_str());
  auto line = [](const char *key, const char *value) {
    if (value) printf("%s %s\n", key, value);
  };
  auto pair = [](const char *key, const char *a, const char *b) {
    if (a)
      printf("%s  (%s) (%s)\n", key, a, or_empty(b));
    else
      printf("%s \n", key);
  };
  auto times = [](const char *key, const char *a, const char *b) {
    if (a) printf("%s (%s) (%s)\n", key, a, or_empty(b));
  };
  line("CWD", h->cwd);
  line("RELEASE", h->release);
  line("HOST", h->host);
  line("USER", h->user);
  // The pair of lines is written together; a side without a workspace is
  // the bare keyword.
  if (h->parent_name || h->child_name) {
    pair("PARENT_WORKSPACE", h->parent_name, h->parent_netname);
    pair("CHILD_WORKSPACE", h->child_name, h->child_netname);
  }
  line("RTI", h->rti);
  line("FREEZEPOINT_FILE", h->freezepoint_file);
  times("START", h->start_local, h->start_gmt);
  times("END", h->end_local, h->end_gmt);
  line("STATUS", h->status);
}

}  // namespace

int Kes_ws_command::list(int ac, char **av) {
  int first = scan_options(ac, av, [](int, const char *) {});
  std::vector<std::string> names(av + first, av + ac);
  if (names.empty()) {
    // The workspaces the user keeps in view, as the graphical tool reads them.
    char *path = nullptr;
    getenv_brindle_wspath(&path);
    std::string all = path ? path : "";
    for (size_t start = 0; start <= all.size();) {
      size_t colon = all.find(':', start);
      if (colon == std::string::npos) colon = all.size();
      if (colon > start) names.push_back(all.substr(start, colon - start));
      start = colon + 1;
    }
    if (names.empty()) names.push_back(".");
  }

  int status = 0;
  std::set<std::string> listed;
  for (const std::string &n : names) {
    Kes_err *err = nullptr;
    Kes_workspace ws(n.c_str(), &err);
    if (err) {
      status = fail(err);
      continue;
    }
    std::vector<std::string> found;
    if (ws.exists()) {
      found.push_back(or_empty(ws.wsname));
    } else if (is_dir(or_empty(ws.get_absname()), 1)) {
      char containing[1024];
      kes_find_containing_ws(containing, ws.get_absname());
      if (containing[0])
        found.push_back(containing);
      else
        find_workspaces(or_empty(ws.get_absname()), &found);
    } else {
      status = fail((new Kes_err)->format_msg(
          2041, 0, BWM_MSG(16020, "\"%s\" is not a workspace or a directory"), n.c_str()));
      continue;
    }
    for (const std::string &f : found) {
      Kes_workspace w(f.c_str(), &err);
      if (err) {
        status = fail(err);
        continue;
      }
      if (!listed.insert(or_empty(w.wsname)).second) continue;
      printf("%c%s\n", status_of(&w), or_empty(w.wsname));
    }
  }
  return status;
}

int Kes_ws_command::locks(int ac, char **av) {
  const char *ws_name = nullptr;
  int force = 0, bad_number = 0;
  std::vector<int> chosen;
  int first = scan_options(ac, av, [&](int c, const char *arg) {
    if (c == 'w') ws_name = arg;
    if (c == 'f') force = 1;
    if (c == 'r') {
      char *end = nullptr;
      long n = strtol(arg, &end, 10);
      if (end == arg || *end || n < 1 || n > 1000000) bad_number = 1;
      chosen.push_back((int)n);
    }
  });
  if (first != ac || bad_number) usage();
  Kes_workspace *ws = existing_ws(ws_name);
  if (!ws) return 1;
  Kes_cmdlocklist *list = nullptr;
  Kes_err *err = ws->get_locks(&list);
  if (err) {
    delete list;
    delete ws;
    return fail(err);
  }

  int status = 0;
  if (chosen.empty()) {
    if (list->count == 0)
      printf(BWM_MSG(16021, "Workspace \"%s\" has no locks\n"), or_empty(ws->wsname));
    else if ((err = ws->print_locks(nullptr)))
      status = fail(err);
    delete list;
    delete ws;
    return status;
  }

  // The locks are taken by what they are, as shown, not by their number at
  // the time of removal: a lock that comes or goes meanwhile doesn't shift them.
  std::sort(chosen.begin(), chosen.end());
  chosen.erase(std::unique(chosen.begin(), chosen.end()), chosen.end());
  std::vector<Kes_cmdlock *> doomed;
  for (int n : chosen) {
    int i = 0;
    Kes_cmdlock *found = nullptr;
    for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
      if (++i == n) found = static_cast<Kes_cmdlock *>(e->data);
    if (!found) {
      status = fail((new Kes_err)->format_msg(
          2084, 0, BWM_MSG(16022, "Workspace \"%s\" has no lock %d"), or_empty(ws->wsname), n));
      continue;
    }
    doomed.push_back(found);
  }
  if (status) doomed.clear();  // all or nothing, as asked

  char buf[1024];
  if (!doomed.empty() && !force) {
    for (size_t k = 0; k < doomed.size(); k++)
      printf("%d) %s", chosen[k], doomed[k]->format_msg(buf));
    printf("%s", BWM_MSG(16023, "Removing a command's lock while the command is running may\n"
                                "corrupt SCCS files in either the parent or the child "
                                "workspace.\n"));
    if (!confirm(BWM_MSG(16024, "Do you still want to remove locks ? [y/n] "))) {
      printf("%s", BWM_MSG(16025, "No locks removed\n"));
      doomed.clear();
      status = 1;
    }
  }
  std::string removed;
  for (Kes_cmdlock *lock : doomed) {
    lock->format_lock_line(buf);
    if ((err = ws->release_lock(lock))) {
      status = fail(err);
      continue;
    }
    removed += std::string(BWM_MSG(16026, "removed lock: ")) + buf + "\n";
  }
  if (!removed.empty()) record(ws, nullptr, removed);
  delete list;
  delete ws;
  return status;
}

int Kes_ws_command::history(int ac, char **av) {
  const char *ws_name = nullptr, *command = nullptr, *user = nullptr;
  int first = scan_options(ac, av, [&](int c, const char *arg) {
    if (c == 'w') ws_name = arg;
    if (c == 'c') command = arg;
    if (c == 'u') user = arg;
  });
  if (first != ac) usage();
  Kes_workspace *ws = existing_ws(ws_name);
  if (!ws) return 1;
  Kes_err *err = nullptr;
  if (!command && !user) {
    // The log as it stands.
    err = ws->print_history();
    delete ws;
    return err ? fail(err) : 0;
  }
  Kes_md_history *md = nullptr;
  Kes_historylist records;
  err = ws->get_md_history(&md);
  if (!err) err = md->get_contents(&records);
  delete md;
  delete ws;
  if (err) return fail(err);
  // A command matches as the history viewer's filter does: its first letters,
  // in any case; a user matches exactly.
  for (Kes_listelem *e = records.head.next; e != &records.head; e = e->next) {
    Kes_history *h = static_cast<Kes_history *>(e->data);
    if (command && !(h->command_name && !strncasecmp(h->command_name, command, strlen(command))))
      continue;
    if (user && !(h->user && !strcmp(h->user, user))) continue;
    print_record(h);
  }
  return 0;
}
