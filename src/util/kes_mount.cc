// Netpaths (host:/path) through the mount table, bind mounts followed to the
// directory they show, and the automounter's directories.
#include "util/kes_mount.h"
#include "util/kes_path_join.h"

#include <mntent.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "util/kes_host.h"
#include "util/kes_init.h"
#include "util/kes_path.h"

const char kes_mounts_file[] = "/proc/self/mounts";
const char kes_mountinfo_file[] = "/proc/self/mountinfo";

namespace {
const size_t kPathBuf = 1024;
const int kMaxRemaps = 20;  // bind mounts followed by one mapping

bool copy_out(const std::string &s, char *buf) {
  if (s.size() >= kPathBuf) return false;
  memcpy(buf, s.c_str(), s.size() + 1);
  return true;
}


// path lies at or under dir.  "/" holds every absolute path.
bool is_under(const std::string &path, const std::string &dir) {
  if (dir.size() == 1) return dir[0] == '/' && !path.empty() && path[0] == '/';
  return path.compare(0, dir.size(), dir) == 0 &&
         (path.size() == dir.size() || path[dir.size()] == '/');
}

// The mount table, read a line at a time.  Option lists of some file systems
// are long: the buffer is generous so that no entry is cut.
class Mount_reader {
public:
  explicit Mount_reader(const char *file) : fp(setmntent(file, "r")), line(64 * 1024) {}
  ~Mount_reader() {
    if (fp) endmntent(fp);
  }
  Mount_reader(const Mount_reader &) = delete;
  Mount_reader &operator=(const Mount_reader &) = delete;
  bool ok() const { return fp != nullptr; }
  struct mntent *next() {
    return getmntent_r(fp, &ent, line.data(), static_cast<int>(line.size()));
  }

private:
  FILE *fp;
  struct mntent ent;
  std::vector<char> line;
};

// Device of the mounted file system as its mount point shows it; false when the
// mount point can't be stat-ed (a dead server, say), so that the entry is skipped.
bool mount_device(const char *mount_point, dev_t *dev) {
  struct stat st;
  if (stat(mount_point, &st) != 0 || st.st_dev == 0) return false;
  *dev = st.st_dev;
  return true;
}

// Device of path, or of its deepest existing directory.
bool device_of(const std::string &path, dev_t *dev) {
  std::string p = path;
  for (;;) {
    struct stat st;
    if (stat(p.c_str(), &st) == 0) {
      *dev = st.st_dev;
      return true;
    }
    if (p == "/") return false;
    size_t slash = p.rfind('/');
    p.erase(slash == 0 ? 1 : slash);
  }
}

// Mountinfo escapes blanks, tabs, newlines and backslashes as \ooo.
std::string unescape(const std::string &s) {
  std::string out;
  for (size_t i = 0; i < s.size(); i++) {
    if (s[i] == '\\' && i + 3 < s.size() && s[i + 1] >= '0' && s[i + 1] <= '3' &&
        s[i + 2] >= '0' && s[i + 2] <= '7' && s[i + 3] >= '0' && s[i + 3] <= '7') {
      out += static_cast<char>((s[i + 1] - '0') * 64 + (s[i + 2] - '0') * 8 + (s[i + 3] - '0'));
      i += 3;
    } else {
      out += s[i];
    }
  }
  return out;
}

bool parse_mountinfo_line(const std::string &line, Kes_mountinfo_entry *e) {
  std::vector<std::string> f;
  size_t pos = 0;
  while (pos < line.size()) {
    while (pos < line.size() && line[pos] == ' ') pos++;
    if (pos >= line.size()) break;
    size_t end = line.find(' ', pos);
    if (end == std::string::npos) end = line.size();
    f.push_back(line.substr(pos, end - pos));
    pos = end;
  }
  // id parent major:minor root mount-point options [optional...] - type special ...
  if (f.size() < 9) return false;
  size_t sep = 6;
  while (sep < f.size() && f[sep] != "-") sep++;
  if (sep + 2 >= f.size()) return false;
  unsigned int major_no = 0, minor_no = 0;
  char rest = 0;
  if (sscanf(f[2].c_str(), "%u:%u%c", &major_no, &minor_no, &rest) != 2) return false;
  if (f[3].empty() || f[3][0] != '/' || f[4].empty() || f[4][0] != '/') return false;
  e->dev = makedev(major_no, minor_no);
  e->root = unescape(f[3]);
  e->mount_point = unescape(f[4]);
  e->type = unescape(f[sep + 1]);
  e->special = unescape(f[sep + 2]);
  return true;
}

// The automounter's directories, read once per process.
std::vector<std::string> am_dirs;
bool am_loaded = false;

void am_load_once() {
  if (!am_loaded) kes_load_am_dirlist(kes_mounts_file);
}

bool under_am_dir(const std::string &path) {
  am_load_once();
  for (const std::string &dir : am_dirs)
    if (is_under(path, dir)) return true;
  return false;
}

// The best entry for a path: its device, the longest mount point holding it.
struct Match {
  bool found = false;
  std::string special, type, listed, mount_point;
};
}  // namespace

int kes_mnt_has_option(const char *options, const char *option) {
  if (!options || !option || !*option) return 0;
  size_t n = strlen(option);
  for (const char *p = options; p; p = strchr(p, ',') ? strchr(p, ',') + 1 : nullptr)
    if (strncmp(p, option, n) == 0 && (p[n] == '=' || p[n] == ',' || p[n] == '\0')) return 1;
  return 0;
}

std::vector<Kes_mountinfo_entry> kes_parse_mountinfo(const char *text) {
  std::vector<Kes_mountinfo_entry> entries;
  const char *p = text ? text : "";
  while (*p) {
    const char *nl = strchr(p, '\n');
    std::string line = nl ? std::string(p, nl - p) : std::string(p);
    Kes_mountinfo_entry e;
    if (parse_mountinfo_line(line, &e)) entries.push_back(e);
    if (!nl) break;
    p = nl + 1;
  }
  return entries;
}

int kes_read_mountinfo(const char *file, std::vector<Kes_mountinfo_entry> *entries) {
  FILE *fp = fopen(file, "r");
  if (!fp) return 0;
  std::string text;
  char chunk[8192];
  size_t n;
  while ((n = fread(chunk, 1, sizeof chunk, fp)) > 0) text.append(chunk, n);
  bool failed = ferror(fp) != 0;
  fclose(fp);
  if (failed) return 0;
  *entries = kes_parse_mountinfo(text.c_str());
  return 1;
}

int kes_bind_mount_source(const std::vector<Kes_mountinfo_entry> &entries,
                          const char *mount_point, dev_t dev, char *source) {
  // The last entry for a mount point is the one on top, the one that is seen.
  size_t bind = entries.size();
  for (size_t i = 0; i < entries.size(); i++)
    if (entries[i].dev == dev && entries[i].mount_point == mount_point) bind = i;
  if (bind == entries.size()) return 0;
  const std::string &root = entries[bind].root;
  // Where the directory shows elsewhere: a mount of the same file system whose
  // root holds it, the nearest one.  A root that is the same counts only for an
  // earlier mount, the original; so following binds never goes round in circles.
  const Kes_mountinfo_entry *from = nullptr;
  for (size_t i = 0; i < entries.size(); i++) {
    const Kes_mountinfo_entry &e = entries[i];
    if (i == bind || e.dev != dev) continue;
    if (e.root == root ? i > bind : !is_under(root, e.root)) continue;
    dev_t seen;
    if (!mount_device(e.mount_point.c_str(), &seen) || seen != dev) continue;
    if (!from || e.root.size() > from->root.size()) from = &e;
  }
  if (!from) return 0;
  std::string tail = from->root == "/" ? (root == "/" ? "" : root) : root.substr(from->root.size());
  std::string src = kes_path_join(from->mount_point, tail);
  if (src == mount_point) return 0;  // bound onto itself
  return copy_out(src, source) ? 1 : 0;
}

char *kes_path_to_netpath_using(const char *path, char *buf, const char *mounts,
                                const char *mountinfo) {
  char abs[kPathBuf];
  if (!path || !kes_abspath(path, abs, sizeof abs)) return nullptr;
  dev_t dev;
  if (!device_of(abs, &dev)) return nullptr;
  std::string cur = abs;
  std::vector<Kes_mountinfo_entry> info;
  bool info_read = false;
  Match m;
  for (int remaps = 0;; remaps++) {
    Mount_reader table(mounts);
    if (!table.ok()) return nullptr;
    m = Match();
    while (struct mntent *ent = table.next()) {
      if (kes_mnt_has_option(ent->mnt_opts, "ignore")) continue;
      dev_t mdev;
      if (!mount_device(ent->mnt_dir, &mdev) || mdev != dev) continue;
      std::string mp = ent->mnt_dir;
      if (!is_under(cur, mp)) {
        char resolved[kPathBuf];
        if (!kes_abspath(ent->mnt_dir, resolved, sizeof resolved) || !is_under(cur, resolved))
          continue;
        mp = resolved;
      }
      // Several mounts of one device hold the path when some are bind mounts:
      // the one with the longest mount point is the one the path is in.
      if (m.found && mp.size() <= m.mount_point.size()) continue;
      m.found = true;
      m.special = ent->mnt_fsname;
      m.type = ent->mnt_type;
      m.listed = ent->mnt_dir;
      m.mount_point = mp;
    }
    if (!m.found) break;
    std::string rest = m.mount_point.size() == 1 ? cur : cur.substr(m.mount_point.size());
    std::string source;
    if (m.type == "lofs") {
      source = m.special;
    } else {
      if (!info_read) {
        info_read = true;
        if (!kes_read_mountinfo(mountinfo, &info)) info.clear();
      }
      char src[kPathBuf];
      if (kes_bind_mount_source(info, m.listed.c_str(), dev, src)) source = src;
    }
    if (source.empty() || remaps >= kMaxRemaps) break;
    std::string next = kes_path_join(source, rest);
    if (next == cur || next.size() >= kPathBuf) break;
    cur = next;  // and start over
  }
  if (m.found && strchr(m.special.c_str(), ':'))
    return copy_out(kes_path_join(m.special, m.mount_point.size() == 1
                                         ? cur
                                         : cur.substr(m.mount_point.size())),
                    buf)
               ? buf
               : nullptr;
  const char *host = kes_hostname();
  if (!host) return nullptr;
  return copy_out(std::string(host) + ":" + cur, buf) ? buf : nullptr;
}

char *kes_path_to_netpath(const char *path, char *buf) {
  return kes_path_to_netpath_using(path, buf, kes_mounts_file, kes_mountinfo_file);
}

char *kes_netpath_to_path_using(const char *netpath, char *buf, const char *mounts) {
  if (!netpath) return nullptr;
  const char *host = kes_hostname();
  if (host && *host) {
    // Deliberately loose: the name anywhere in the text, the ":" at its length.
    size_t len = strlen(host);
    if (strstr(netpath, host) && netpath[len] == ':')
      return copy_out(netpath + len + 1, buf) ? buf : nullptr;
  }
  const char *colon = strchr(netpath, ':');
  if (colon) {
    std::string net = "/net/" + std::string(netpath, colon - netpath) + (colon + 1);
    struct stat st;
    if (stat(net.c_str(), &st) == 0) return copy_out(net, buf) ? buf : nullptr;
  }
  Mount_reader table(mounts);
  if (!table.ok()) return nullptr;
  while (struct mntent *ent = table.next()) {
    if (kes_mnt_has_option(ent->mnt_opts, "ignore")) continue;
    // Only a network resource can stand in a netpath.
    if (!strchr(ent->mnt_fsname, ':') || !strstr(netpath, ent->mnt_fsname)) continue;
    size_t slen = strlen(ent->mnt_fsname);
    std::string cand = kes_path_join(ent->mnt_dir, strlen(netpath) >= slen ? netpath + slen : "");
    struct stat st;
    dev_t mdev;
    if (stat(cand.c_str(), &st) != 0 || !mount_device(ent->mnt_dir, &mdev)) continue;
    if (st.st_dev == mdev) return copy_out(cand, buf) ? buf : nullptr;
  }
  return nullptr;
}

char *kes_netpath_to_path(const char *netpath, char *buf) {
  return kes_netpath_to_path_using(netpath, buf, kes_mounts_file);
}

int kes_load_am_dirlist(const char *mounts) {
  am_dirs.clear();
  am_loaded = true;
  Mount_reader table(mounts);
  if (!table.ok()) return -1;
  while (struct mntent *ent = table.next()) {
    const char *o = ent->mnt_opts;
    bool by_options = kes_mnt_has_option(o, "ignore") && kes_mnt_has_option(o, "map") &&
                      (kes_mnt_has_option(o, "direct") || kes_mnt_has_option(o, "indirect"));
    if (strcmp(ent->mnt_type, "autofs") == 0 || by_options) am_dirs.push_back(ent->mnt_dir);
  }
  return static_cast<int>(am_dirs.size());
}

void kes_delete_am_dirlist() {
  am_dirs.clear();
  am_dirs.shrink_to_fit();
  am_loaded = false;
}

const char *abs_under_automounter(const char *path) {
  if (!path || path[0] != '/') return nullptr;
  const char *text = strchr(path + 1, '/');  // behind the mount prefix
  if (!text) return nullptr;
  am_load_once();
  const std::string *dir = nullptr;
  for (const std::string &d : am_dirs)
    if (is_under(text, d)) {
      dir = &d;
      break;
    }
  if (!dir) return nullptr;
  // One component behind the automounter directory: the mounted thing itself.
  size_t cut = dir->size();
  while (text[cut] == '/') cut++;
  while (text[cut] && text[cut] != '/') cut++;
  std::string cut_text(text, cut);
  std::string cut_path(path, (text - path) + cut);
  struct stat a, b;
  if (stat(cut_path.c_str(), &a) != 0 || stat(cut_text.c_str(), &b) != 0) return nullptr;
  return a.st_ino == b.st_ino && a.st_dev == b.st_dev ? text : nullptr;
}

char *kes_path_thru_automounter(const char *path, char *buf) {
  if (!path || !*path) return nullptr;
  const char *found = nullptr;
  std::string abs;
  if (path[0] == '/') {
    if (under_am_dir(path)) return copy_out(path, buf) ? buf : nullptr;
    found = abs_under_automounter(path);
  } else {
    char *cwd = getcwd(nullptr, 0);
    if (!cwd) {
      if (errno == ENOMEM) kes_new_handler();
      return nullptr;
    }
    abs = kes_path_join(cwd, path);
    free(cwd);
    found = abs_under_automounter(abs.c_str());
  }
  return found && copy_out(found, buf) ? buf : nullptr;
}
