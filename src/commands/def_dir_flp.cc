// def.dir.flp: the default directory file list program.  Run in a directory
// of a workspace, it prints the canonical name of every history file below
// that directory, relative to the workspace root (BRINDLE_WS_ROOT), one per
// line and directory by directory.  Symbolic links are not followed, and the
// metadata directory is passed over.
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

bool is_dir(const std::string &path, const dirent *e) {
  if (e->d_type == DT_DIR) return true;
  if (e->d_type != DT_UNKNOWN) return false;
  struct stat st;
  return lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string here;  // the starting directory, for messages

// A directory that can't be read hides its files: the user is told.
DIR *open_dir(const std::string &path) {
  DIR *d = opendir(path.c_str());
  if (!d) fprintf(stderr, "def.dir.flp: %s%s: %s\n", here.c_str(), path.c_str() + 1, strerror(errno));
  return d;
}

// prefix is the directory's name relative to the root ("" at the root, else
// ending in "/"); path is how to reach it from here.
void walk(const std::string &path, const std::string &prefix, bool at_root) {
  DIR *d = open_dir(path);
  if (!d) return;
  std::vector<std::string> dirs;
  bool has_sccs = false;
  while (dirent *e = readdir(d)) {
    const char *n = e->d_name;
    if (!strcmp(n, ".") || !strcmp(n, "..") || strchr(n, '\n')) continue;
    if (at_root && !strcmp(n, "Brindle_wsdata")) continue;
    if (!is_dir(path + "/" + n, e)) continue;
    if (!strcmp(n, "SCCS"))
      has_sccs = true;
    else
      dirs.push_back(n);
  }
  closedir(d);
  if (has_sccs) {
    std::vector<std::string> files;
    if (DIR *s = open_dir(path + "/SCCS")) {
      while (dirent *e = readdir(s))
        if (e->d_name[0] == 's' && e->d_name[1] == '.' && e->d_name[2] && !strchr(e->d_name, '\n') &&
            e->d_type != DT_DIR)
          files.push_back(e->d_name + 2);
      closedir(s);
    }
    std::sort(files.begin(), files.end());
    for (const std::string &f : files) {
      fputs(prefix.c_str(), stdout);
      fputs(f.c_str(), stdout);
      putchar('\n');
    }
  }
  std::sort(dirs.begin(), dirs.end());
  for (const std::string &sub : dirs) walk(path + "/" + sub, prefix + sub + "/", false);
}

}  // namespace

int main() {
  char cwd[4096];
  if (!getcwd(cwd, sizeof cwd)) {
    perror("def.dir.flp: getcwd");
    return 1;
  }
  here = cwd;
  // The names start at the workspace root; without one, here.
  std::string prefix;
  bool at_root = true;
  const char *root = getenv("BRINDLE_WS_ROOT");
  char real_root[4096];
  if (root && *root && realpath(root, real_root)) {
    size_t n = strlen(real_root);
    if (strncmp(cwd, real_root, n) == 0 && cwd[n] == '/') {
      prefix = std::string(cwd + n + 1) + "/";
      at_root = false;
    }
  }
  static char buf[1 << 16];
  setvbuf(stdout, buf, _IOFBF, sizeof buf);
  walk(".", prefix, at_root);
  return fflush(stdout) == 0 ? 0 : 1;
}
