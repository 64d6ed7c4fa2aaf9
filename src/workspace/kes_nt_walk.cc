// The walk that rebuilds a name table: find_sfiles_in_ws and its timers.
#include "workspace/kes_nametable.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "sccs/kes_sfile.h"
#include "sccs/kes_smid.h"
#include "util/kes_err.h"
#include "util/kes_msg.h"
#include "util/kes_path.h"
#include "util/kes_timing.h"
#include "workspace/kes_workspace.h"

Kes_timing *kes_time_find;
Kes_timing *kes_time_readsccsdir;

namespace {

struct Walk {
  Kes_workspace *ws;
  Kes_ntlist *list;
  Kes_nt_hash *hash;
  Kes_smid_int_hash *dup_smids;
  int *dups;
  Kes_smid_int_hash *seen;  // SmIDs met so far; keys belong to the records
  const char *vcs;          // null when the workspace isn't under version control
  const char *vcs_name;     // the name of history directories
  int root_fd;
  std::string rel;          // the directory being read, from the root, as "./a/b"
};

std::string join(const std::string &dir, const char *name) {
  std::string p = dir + "/" + name;
  return p.compare(0, 2, "./") == 0 ? p.substr(2) : p;
}

// The clear file's name of a history file: "a/SCCS/s.x" gives "a/x".
std::string clear_name(const std::string &path, const char *vcs_name) {
  size_t slash = path.rfind('/');
  std::string dir = slash == std::string::npos ? "" : path.substr(0, slash);
  std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
  if (base.compare(0, 2, "s.") == 0) base = base.substr(2);
  size_t up = dir.rfind('/');
  std::string last = up == std::string::npos ? dir : dir.substr(up + 1);
  if (last == vcs_name) dir = up == std::string::npos ? "" : dir.substr(0, up);
  return dir.empty() ? base : dir + "/" + base;
}

void add_record(Walk *wk, const std::string &name, Kes_delta *delta) {
  Kes_nt *rec = new Kes_nt(name.c_str(), kes_smid_from_delta(delta));
  Kes_listelem *e = wk->list->add_new_data(rec);
  wk->hash->insert(rec, e);
  if (wk->seen->insert(rec->smid, 1) == 1) {
    *wk->dups = 1;
    Kes_smid *c = rec->smid->copy();
    if (wk->dup_smids->insert(c, 1) == 1) delete c;
  }
}

// Reads one history file, named from the root, where the process is now.
void read_history(Walk *wk, const std::string &path) {
  Kes_sfile *sf = wk->ws->get_sfile(path.c_str());
  if (Kes_err *err = sf->buildtree(0, 0, 1)) {
    // One bad history file doesn't stop the scan.
    err->print();
    delete err;
    delete sf;
    return;
  }
  std::string name = clear_name(path, wk->vcs_name);
  Kes_delta *root = sf->root_delta();
  if (root && root->is_fake()) {
    // Unrelated trees under one fake root: each real root is a file's identity.
    for (Kes_delta *c = root->first_child_delta(); c; c = c->next_sibling_delta())
      add_record(wk, name, c);
  } else if (root) {
    add_record(wk, name, root);
  }
  delete sf;
}

// From the directory fd (the one being read) to the root, read, and back.
Kes_err *read_from_root(Walk *wk, const std::string &path, int here_fd) {
  Kes_timing::suspend(kes_time_readsccsdir);
  Kes_timing::suspend(kes_time_find);
  Kes_err *err = kes_chdir(".", wk->root_fd);
  if (!err) {
    read_history(wk, path);
    err = kes_chdir(wk->rel.c_str(), here_fd);
  }
  Kes_timing::cont(kes_time_find);
  Kes_timing::cont(kes_time_readsccsdir);
  return err;
}

Kes_err *read_history_dir(Walk *wk, const char *dirname, int here_fd) {
  std::string hdir = join(wk->rel, dirname);
  DIR *d = opendir(dirname);
  if (!d)
    return (new Kes_err)->format_msg(1035, errno, BWM_MSG(5029, "Opendir of \"%s\" failed"),
                                     hdir.c_str());
  Kes_timing::start(kes_time_readsccsdir);
  Kes_err *err = nullptr;
  while (struct dirent *e = readdir(d)) {
    if (strncmp(e->d_name, "s.", 2) != 0) continue;
    if ((err = read_from_root(wk, hdir + "/" + e->d_name, here_fd))) break;
  }
  Kes_timing::stop(kes_time_readsccsdir);
  closedir(d);
  return err;
}

int is_directory(const struct dirent *e) {
  if (e->d_type == DT_DIR) return 1;
  if (e->d_type != DT_UNKNOWN) return 0;
  struct stat st;
  return lstat(e->d_name, &st) == 0 && S_ISDIR(st.st_mode);  // links aren't followed
}

// Reads the current directory, wk->rel; recurses into subdirectories.
Kes_err *walk_dir(Walk *wk, int top) {
  DIR *d = opendir(".");
  if (!d)
    return (new Kes_err)->format_msg(1035, errno, BWM_MSG(5029, "Opendir of \"%s\" failed"),
                                     wk->rel.c_str());
  int here = dirfd(d);
  Kes_err *err = nullptr;
  while (!err) {
    struct dirent *e = readdir(d);
    if (!e) break;
    const char *n = e->d_name;
    if (strcmp(n, ".") == 0 || strcmp(n, "..") == 0) continue;
    int dir = is_directory(e);
    if (!wk->vcs && !dir && strncmp(n, "s.", 2) == 0) {
      err = read_from_root(wk, join(wk->rel, n), here);
      continue;
    }
    if (!dir) continue;
    if (top && strcmp(n, KES_METADATA_DIR) == 0) continue;
    if (strcmp(n, wk->vcs_name) == 0) {
      err = read_history_dir(wk, n, here);
      continue;
    }
    std::string sub = wk->rel + "/" + n;
    if (chdir(n) != 0) {
      err = (new Kes_err)->format_msg(1023, errno, BWM_MSG(5028, "Chdir to \"%s\" failed"),
                                      join(wk->rel, n).c_str());
      break;
    }
    std::string saved = wk->rel;
    wk->rel = sub;
    err = walk_dir(wk, 0);
    wk->rel = saved;
    Kes_err *back = kes_chdir("..", here);
    if (!err) err = back;
    else delete back;
  }
  closedir(d);
  return err;
}

}  // namespace

Kes_err *find_sfiles_in_ws(Kes_workspace *ws, Kes_ntlist *list, Kes_nt_hash *hash,
                           Kes_smid_int_hash *dup_smids, int *dups) {
  *dups = 0;
  const char *root = ws ? ws->get_absname() : nullptr;
  char saved_name[1024];
  if (!getcwd(saved_name, sizeof saved_name)) saved_name[0] = '\0';
  int saved_fd = ::open(".", O_RDONLY | O_DIRECTORY);
  if (!root || chdir(root) != 0) {
    int e = root ? errno : ENOENT;
    if (saved_fd >= 0) ::close(saved_fd);
    return (new Kes_err)->format_msg(1023, e, BWM_MSG(5028, "Chdir to \"%s\" failed"),
                                     root ? root : (ws && ws->wsname ? ws->wsname : ""));
  }
  Walk wk;
  wk.ws = ws;
  wk.list = list;
  wk.hash = hash;
  Kes_smid_int_hash *own_dups = dup_smids ? nullptr : new Kes_smid_int_hash;
  wk.dup_smids = dup_smids ? dup_smids : own_dups;
  wk.dups = dups;
  wk.seen = new Kes_smid_int_hash;
  wk.vcs = ws->get_vcs_dir();
  wk.vcs_name = wk.vcs ? wk.vcs : "SCCS";
  wk.root_fd = ::open(".", O_RDONLY | O_DIRECTORY);
  wk.rel = ".";
  Kes_timing::start(kes_time_find);
  Kes_err *err = walk_dir(&wk, 1);
  Kes_timing::stop(kes_time_find);
  Kes_err *back = kes_chdir(saved_name, saved_fd);
  if (!err) err = back;
  else delete back;
  if (wk.root_fd >= 0) ::close(wk.root_fd);
  if (saved_fd >= 0) ::close(saved_fd);
  delete wk.seen;
  if (own_dups) kes_nt_delete_dup_smids(own_dups);
  return err;
}

void kes_nt_delete_dup_smids(Kes_smid_int_hash *dups) {
  if (!dups) return;
  std::vector<Kes_smid *> keys;
  dups->iterate(
      [](void *key, void *, void *arg) {
        static_cast<std::vector<Kes_smid *> *>(arg)->push_back(static_cast<Kes_smid *>(key));
        return 0;
      },
      &keys);
  delete dups;
  for (Kes_smid *k : keys) delete k;
}
