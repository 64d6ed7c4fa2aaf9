// Kes_freezepoint: taking the state of a workspace's history files, and the
// freezepoint file's reader and writer.
#include "transaction/kes_freezepoint.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "sccs/kes_sfile.h"
#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_path.h"
#include "workspace/kes_workspace.h"

namespace {

std::string trimmed_scope(std::string s) {
  while (s.compare(0, 2, "./") == 0) s.erase(0, 2);
  while (s.size() > 1 && s.back() == '/') s.pop_back();
  return s;
}

Kes_err *damaged(const char *path, int line) {
  return (new Kes_err)
      ->format_msg(2087, 0, BWM_MSG(16501, "Freezepoint file \"%s\" is damaged at line %d"),
                   path, line);
}

// Splits off the next word, up to one blank; false when there is no blank.
bool next_word(std::string *rest, std::string *word) {
  size_t blank = rest->find(' ');
  if (blank == std::string::npos || blank == 0) return false;
  *word = rest->substr(0, blank);
  rest->erase(0, blank + 1);
  return true;
}

bool scan_smid(std::string *rest, Kes_smid *smid) {
  std::string text, w;
  for (int i = 0; i < 4; i++) {
    if (!next_word(rest, &w)) return false;
    if (w.find_first_not_of("0123456789abcdef") != std::string::npos) return false;
    text += (i ? " " : "") + w;
  }
  return smid->scan(text.c_str()) == 4;
}

// The walk of take: the history files below dir (a path from the root), each
// read whole.  vcs is the name of history directories.
struct Taker {
  Kes_workspace *ws;
  Kes_freezepoint *fp;
  std::string root;
  const char *vcs;
  int unreadable = 0;

  void read_history(const std::string &spath) {
    char gname[1024];
    kes_make_gname(spath.c_str(), gname, vcs);
    std::string name = gname;
    if (name.compare(0, 2, "./") == 0) name.erase(0, 2);
    if (!fp->in_scope(name)) return;
    Kes_sfile *sf = ws->get_sfile((root + "/" + spath).c_str());
    Kes_err *err = sf->buildtree(0, 0, 0);
    Kes_delta *r = sf->root_delta();
    Kes_delta *head = sf->head_delta();
    if (!err && (!r || !head || name.find('\n') != std::string::npos))
      err = (new Kes_err)->format_msg(
          2024, 0, BWM_MSG(16502, "History file \"%s\" can't be recorded in a freezepoint"),
          spath.c_str());
    if (err) {
      // One bad file doesn't stop the others: it is told and left out.
      err->print();
      delete err;
      unreadable++;
      delete sf;
      return;
    }
    if (r->is_fake()) r = r->first_child_delta();
    Kes_fp_file f;
    f.name = name;
    f.sid = head->sid ? head->sid : "";
    Kes_smid *s = kes_smid_from_delta(r);
    f.root = *s;
    delete s;
    s = kes_smid_from_delta(head);
    f.delta = *s;
    delete s;
    fp->files.push_back(f);
    delete sf;
  }

  void walk(const std::string &rel, bool top) {
    std::string dir = rel.empty() ? root : root + "/" + rel;
    DIR *d = opendir(dir.c_str());
    if (!d) return;
    std::vector<std::string> entries;
    while (struct dirent *e = readdir(d))
      if (strcmp(e->d_name, ".") && strcmp(e->d_name, "..")) entries.push_back(e->d_name);
    closedir(d);
    std::sort(entries.begin(), entries.end());
    for (const std::string &n : entries) {
      std::string path = rel.empty() ? n : rel + "/" + n;
      struct stat st;
      if (lstat((root + "/" + path).c_str(), &st) != 0) continue;
      bool is_dir = S_ISDIR(st.st_mode);  // links are not followed
      if (!is_dir) {
        if (!ws->get_vcs_dir() && n.compare(0, 2, "s.") == 0) read_history(path);
        continue;
      }
      if (top && n == KES_METADATA_DIR) continue;
      if (n == vcs) {
        walk_history_dir(path);
        continue;
      }
      walk(path, false);
    }
  }

  void walk_history_dir(const std::string &rel) {
    DIR *d = opendir((root + "/" + rel).c_str());
    if (!d) return;
    std::vector<std::string> entries;
    while (struct dirent *e = readdir(d))
      if (strncmp(e->d_name, "s.", 2) == 0) entries.push_back(e->d_name);
    closedir(d);
    std::sort(entries.begin(), entries.end());
    for (const std::string &n : entries) read_history(rel + "/" + n);
  }
};

}  // namespace

int Kes_freezepoint::in_scope(const std::string &name) const {
  if (scope.empty()) return 1;
  for (const std::string &raw : scope) {
    std::string s = trimmed_scope(raw);
    if (s == "." || s == name) return 1;
    if (name.size() > s.size() && name.compare(0, s.size(), s) == 0 && name[s.size()] == '/')
      return 1;
  }
  return 0;
}

std::string Kes_freezepoint::when() const {
  char text[64];
  time_t t = (time_t)time;
  struct tm tm_at;
  localtime_r(&t, &tm_at);
  strftime(text, sizeof text, "%Y/%m/%d %H:%M:%S", &tm_at);
  return text;
}

Kes_err *Kes_freezepoint::take(Kes_workspace *ws, int *unreadable) {
  workspace = ws->get_absname() ? ws->get_absname() : "";
  time = ::time(nullptr);
  files.clear();
  Taker t;
  t.ws = ws;
  t.fp = this;
  t.root = workspace;
  t.vcs = ws->get_vcs_dir() ? ws->get_vcs_dir() : "SCCS";
  t.walk("", true);
  std::sort(files.begin(), files.end(),
            [](const Kes_fp_file &a, const Kes_fp_file &b) { return a.name < b.name; });
  *unreadable = t.unreadable;
  return nullptr;
}

Kes_err *Kes_freezepoint::write(const char *path) {
  if (Kes_err *err = kes_create_file_dirs(path)) return err;
  std::string tmp = std::string(path) + ".XXXXXX";
  int fd = mkstemp(&tmp[0]);
  if (fd < 0)
    return (new Kes_err)->format_msg(1017, errno, BWM_MSG(16503, "Open of \"%s\" failed"),
                                     tmp.c_str());
  // Readable as the user's other files are.
  fchmod(fd, 0666 & ~umask_get());
  FILE *out = fdopen(fd, "w");
  char root[KES_SMID_TEXT_SIZE], delta[KES_SMID_TEXT_SIZE];
  Kes_err *err = fprintf_N_check(out, tmp.c_str(), "VERSION %d\nWORKSPACE %s\nDATE %ld %s\n",
                                 KES_FREEZEPOINT_VERSION, workspace.c_str(), time,
                                 when().c_str());
  for (size_t i = 0; !err && i < comment.size(); i++)
    err = fprintf_N_check(out, tmp.c_str(), "COMMENT %s\n", comment[i].c_str());
  for (size_t i = 0; !err && i < scope.size(); i++)
    err = fprintf_N_check(out, tmp.c_str(), "SCOPE %s\n", scope[i].c_str());
  for (size_t i = 0; !err && i < files.size(); i++) {
    Kes_fp_file &f = files[i];
    err = fprintf_N_check(out, tmp.c_str(), "FILE %s %s %s %s\n", f.sid.c_str(),
                          f.root.to_text(root), f.delta.to_text(delta), f.name.c_str());
  }
  if (!err && (fflush(out) != 0 || fsync(fileno(out)) != 0))
    err = fprintf_err_message(tmp.c_str());
  Kes_err *cerr = fclose_N_check(out, tmp.c_str());
  if (!err) err = cerr;
  else delete cerr;
  // link, not rename: an existing freezepoint is never replaced.
  if (!err && link(tmp.c_str(), path) != 0) {
    if (errno == EEXIST)
      err = (new Kes_err)->format_msg(
          2086, 0, BWM_MSG(16504, "Freezepoint file \"%s\" already exists"), path);
    else
      err = (new Kes_err)->format_msg(1018, errno,
                                      BWM_MSG(16505, "Rename of \"%s\" to \"%s\" failed"),
                                      tmp.c_str(), path);
  }
  unlink(tmp.c_str());
  return err;
}

Kes_err *Kes_freezepoint::read(const char *path) {
  FILE *in = fopen(path, "r");
  if (!in)
    return (new Kes_err)->format_msg(
        1001, errno, BWM_MSG(16506, "Open of \"%s\" for reading failed"), path);
  *this = Kes_freezepoint();
  std::string line;
  char buf[1024];
  int number = 0;
  Kes_err *err = nullptr;
  bool complete = true;
  while (!err && fgets(buf, sizeof buf, in)) {
    size_t n = strlen(buf);
    bool cut = n == 0 || buf[n - 1] != '\n';
    // A piece that ends early, neither filling the buffer nor at the end of the
    // file, ended at a zero byte: no text of this file has one.
    if (cut && n < sizeof buf - 1 && !feof(in)) {
      err = damaged(path, number + 1);
      break;
    }
    line.append(buf, n);
    if (cut) {
      if (!feof(in)) continue;
      complete = false;  // a last line without its newline: the file was cut
    }
    number++;
    if (complete) line.pop_back();
    std::string rest = line;
    line.clear();
    std::string key;
    if (!next_word(&rest, &key) || !complete) {
      err = damaged(path, number);
    } else if (number == 1) {
      int v = key == "VERSION" ? atoi(rest.c_str()) : 0;
      if (v < 1) err = damaged(path, number);
      if (v > KES_FREEZEPOINT_VERSION)
        err = (new Kes_err)->format_msg(
            2046, 0,
            BWM_MSG(16507, "Freezepoint file \"%s\" is version %d; this program reads version %d"),
            path, v, KES_FREEZEPOINT_VERSION);
    } else if (key == "WORKSPACE") {
      workspace = rest;
    } else if (key == "DATE") {
      time = atol(rest.c_str());
    } else if (key == "COMMENT") {
      comment.push_back(rest);
    } else if (key == "SCOPE") {
      scope.push_back(rest);
    } else if (key == "FILE") {
      Kes_fp_file f;
      if (next_word(&rest, &f.sid) && scan_smid(&rest, &f.root) && scan_smid(&rest, &f.delta) &&
          !rest.empty()) {
        f.name = rest;
        files.push_back(f);
      } else {
        err = damaged(path, number);
      }
    } else {
      err = damaged(path, number);
    }
  }
  if (!err && ferror(in))
    err = (new Kes_err)->format_msg(1006, errno, BWM_MSG(16508, "Read of \"%s\" failed"), path);
  if (!err && number == 0) err = damaged(path, 1);
  fclose(in);
  return err;
}
