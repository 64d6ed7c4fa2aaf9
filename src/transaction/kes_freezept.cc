// Kes_freezept: the subcommands create, list and extract of the freezept command.
#include "transaction/kes_freezept.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <vector>

#include "sccs/kes_sfile.h"
#include "sccs/sccs_cmd.h"
#include "transaction/kes_freezepoint.h"
#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_options.h"
#include "util/kes_path.h"
#include "workspace/kes_nametable.h"
#include "workspace/kes_workspace.h"

namespace {

const Kes_option kCreateOptions[] = {
    {'w', "ws"}, {'k', "file"}, {'c', "comment", KES_OPT_REPEATS}, {'z', "path", KES_OPT_REPEATS}};
const Kes_option kListOptions[] = {{'w', "ws"}};
const Kes_option kExtractOptions[] = {{'w', "ws"}, {'k', "file"}};

const Kes_subcommands::Subcommand kSubcommands[] = {
    KES_SUBCOMMAND(Kes_freezept, "create", create, kCreateOptions, ""),
    KES_SUBCOMMAND(Kes_freezept, "list", list, kListOptions, ""),
    KES_SUBCOMMAND(Kes_freezept, "extract", extract, kExtractOptions, "dir"),
};

std::string absolute(const char *name) {
  char buf[1024];
  return kes_fully_qualify(name, buf) ? buf : name;
}

std::string freezepoints_dir(Kes_workspace *ws) {
  return std::string(ws->get_absname()) + "/" + KES_METADATA_DIR + "/" + KES_FREEZEPOINTS_DIR;
}

// A new name for a freezepoint taken now, as the automatic ones are named:
// Freezepoints/YYYY/MM/DD/HHMMSS.fp, and HHMMSS_2.fp, _3 ... for more in one
// second, which sort behind it.
std::string default_fp_name(Kes_workspace *ws) {
  time_t now = time(nullptr);
  struct tm tm_now;
  localtime_r(&now, &tm_now);
  char stamp[64];
  strftime(stamp, sizeof stamp, "%Y/%m/%d/%H%M%S", &tm_now);
  std::string base = freezepoints_dir(ws) + "/" + stamp;
  std::string name = base + ".fp";
  struct stat st;
  for (int n = 2; lstat(name.c_str(), &st) == 0; n++)
    name = base + "_" + std::to_string(n) + ".fp";
  return name;
}

void find_fp_files(const std::string &dir, std::vector<std::string> *out) {
  DIR *d = opendir(dir.c_str());
  if (!d) return;
  std::vector<std::string> names;
  while (struct dirent *e = readdir(d))
    if (strcmp(e->d_name, ".") && strcmp(e->d_name, "..")) names.push_back(e->d_name);
  closedir(d);
  std::sort(names.begin(), names.end());
  for (const std::string &n : names) {
    std::string path = dir + "/" + n;
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) continue;
    if (S_ISDIR(st.st_mode))
      find_fp_files(path, out);
    else if (S_ISREG(st.st_mode) && n.size() > 3 && n.compare(n.size() - 3, 3, ".fp") == 0)
      out->push_back(path);
  }
}

int has_root(Kes_sfile *sf, Kes_smid *smid) {
  Kes_delta *r = sf->root_delta();
  if (r && r->is_fake()) {
    for (Kes_delta *c = r->first_child_delta(); c; c = c->next_sibling_delta()) {
      Kes_smid *s = kes_smid_from_delta(c);
      int same = kes_smid_equal(s, smid);
      delete s;
      if (same) return 1;
    }
    return 0;
  }
  if (!r) return 0;
  Kes_smid *s = kes_smid_from_delta(r);
  int same = kes_smid_equal(s, smid);
  delete s;
  return same;
}

// The history of name in ws, read whole; null if it isn't there or can't be read.
Kes_sfile *open_history(Kes_workspace *ws, const std::string &name) {
  std::string path = std::string(ws->get_absname()) + "/" + name;
  Kes_sfile *sf = ws->get_sfile(path.c_str(), 0);
  if (!sf->sfile_exists()) {
    delete sf;
    return nullptr;
  }
  if (Kes_err *err = sf->buildtree(0, 0, 0)) {
    err->print();
    delete err;
    delete sf;
    return nullptr;
  }
  return sf;
}

}  // namespace

Kes_freezept::Kes_freezept(int ac, char **av)
    : Kes_subcommands(ac, av, kSubcommands, sizeof kSubcommands / sizeof kSubcommands[0],
                      BWM_MSG(16511, "Usage: %s create|list|extract ...\n")),
      nametable(nullptr) {}

Kes_freezept::~Kes_freezept() { delete nametable; }

int Kes_freezept::create(int ac, char **av) {
  const char *ws_name = nullptr, *file = nullptr;
  Kes_freezepoint fp;
  int first = scan_options(
      ac, av,
      [&](int c, const char *arg) {
        if (c == 'w') ws_name = arg;
        if (c == 'k') file = arg;
        if (c == 'z') fp.scope.push_back(arg);
        if (c == 'c') {
          // One argument may hold several lines, as the transactions pass them.
          std::string text = arg;
          for (size_t start = 0;;) {
            size_t nl = text.find('\n', start);
            fp.comment.push_back(text.substr(start, nl - start));
            if (nl == std::string::npos) break;
            start = nl + 1;
          }
        }
      });
  if (first != ac) usage();
  Kes_workspace *ws = existing_ws(ws_name);
  if (!ws) return 1;
  std::string path = file ? absolute(file) : default_fp_name(ws);
  int unreadable = 0;
  Kes_err *err = fp.take(ws, &unreadable);
  if (!err) err = fp.write(path.c_str());
  if (err) {
    delete ws;
    return fail(err);
  }
  if (!file) printf("%s\n", path.c_str());

  record(ws, nullptr, "", path.c_str(), unreadable ? 1 : 0);
  delete ws;
  return unreadable ? 1 : 0;
}

int Kes_freezept::list(int ac, char **av) {
  const char *ws_name = nullptr;
  int first = scan_options(ac, av, [&](int, const char *arg) { ws_name = arg; });
  if (first != ac) usage();
  Kes_workspace *ws = existing_ws(ws_name);
  if (!ws) return 1;
  std::vector<std::string> files;
  find_fp_files(freezepoints_dir(ws), &files);
  delete ws;
  int status = 0;
  for (const std::string &path : files) {
    Kes_freezepoint fp;
    if (Kes_err *err = fp.read(path.c_str())) {
      status = fail(err);
      continue;
    }
    printf("%s\t%s\t%zu\t%s\n", path.c_str(), fp.when().c_str(), fp.files.size(),
           fp.comment.empty() ? "" : fp.comment[0].c_str());
  }
  return status;
}

int Kes_freezept::extract(int ac, char **av) {
  const char *ws_name = nullptr, *file = nullptr;
  int first = scan_options(
      ac, av,
      [&](int c, const char *arg) {
        if (c == 'w') ws_name = arg;
        if (c == 'k') file = arg;
      });
  if (!file || ac - first != 1) usage();
  Kes_workspace *ws = existing_ws(ws_name);
  if (!ws) return 1;
  Kes_freezepoint fp;
  Kes_err *err = fp.read(absolute(file).c_str());
  std::string dir = absolute(av[first]);
  if (!err) {
    DIR *d = opendir(dir.c_str());
    int entries = 0;
    while (d && readdir(d)) entries++;
    if (d) closedir(d);
    // Extracted files never overwrite anything: the directory is new or empty.
    if (entries > 2 || (!d && errno != ENOENT))
      err = (new Kes_err)->format_msg(
          2081, d ? 0 : errno, BWM_MSG(16512, "Directory \"%s\" is not new or empty"),
          dir.c_str());
  }
  if (err) {
    delete ws;
    return fail(err);
  }
  // The files are the user's: made with the user's mask, not the engine's.
  umask(umask_get());
  if ((err = kes_create_dirs(dir.c_str()))) {
    delete ws;
    return fail(err);
  }
  int status = 0;
  for (const Kes_fp_file &f : fp.files) status |= extract_file(ws, f, dir);
  delete ws;
  return status;
}

std::string Kes_freezept::current_name(Kes_workspace *ws, const Kes_fp_file &f) {
  Kes_smid root = f.root;
  auto lookup = [&]() -> std::string {
    Kes_ntlist *list = nametable->list;
    for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next) {
      Kes_nt *rec = static_cast<Kes_nt *>(e->data);
      if (rec->edit != Kes_nt::REMOVE && kes_smid_equal(rec->smid, &root)) return rec->name;
    }
    return "";
  };
  if (!nametable) {
    // The table as it stands; a scan of the tree only if it doesn't know the
    // file.  Nothing is written: extract changes no workspace.
    Kes_err *err = ws->get_md_nametable(&nametable);
    if (!err) err = nametable->read_existing_table_with_dups();
    Kes_err_owner(err).report();
    if (!nametable) return "";
    std::string name = lookup();
    if (!name.empty()) return name;
    int dups = 0;
    Kes_err_owner(nametable->rebuild_table(nullptr, nullptr, &dups)).report();
    return lookup();
  }
  std::string name = lookup();
  if (name.empty() && !nametable->rebuilt) {
    int dups = 0;
    Kes_err_owner(nametable->rebuild_table(nullptr, nullptr, &dups)).report();
    name = lookup();
  }
  return name;
}

int Kes_freezept::extract_file(Kes_workspace *ws, const Kes_fp_file &f, const std::string &dir) {
  Kes_smid root = f.root, delta = f.delta;
  Kes_sfile *sf = open_history(ws, f.name);
  if (sf && !has_root(sf, &root)) {
    delete sf;
    sf = nullptr;
  }
  if (!sf) {
    // Renamed since: the same identity under another name.
    std::string now = current_name(ws, f);
    if (!now.empty()) sf = open_history(ws, now);
  }
  if (!sf)
    return fail((new Kes_err)->format_msg(
        2089, 0, BWM_MSG(16513, "History file of \"%s\" is not in workspace \"%s\""),
        f.name.c_str(), ws->wsname ? ws->wsname : ""));
  Kes_delta *d = sf->tree->find_delta(&delta);
  if (!d || !d->sid) {
    delete sf;
    return fail((new Kes_err)->format_msg(
        2089, 0, BWM_MSG(16514, "Delta %s of \"%s\" is no longer in its history file"),
        f.sid.c_str(), f.name.c_str()));
  }
  std::string out = dir + "/" + f.name;
  Kes_err *err = kes_create_file_dirs(out.c_str());
  Cmd *c = err ? nullptr : sf->get_clear_file_cmd(d->sid, 2, out.c_str());
  if (!err && c->ret_stat != 0)
    err = (new Kes_err)->format_msg(2012, 0, BWM_MSG(16515, "Could not get %s of \"%s\":\n%s"),
                                    d->sid, f.name.c_str(), c->errors ? c->errors : "");
  delete c;
  delete sf;
  return err ? fail(err) : 0;
}
