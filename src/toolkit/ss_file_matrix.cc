// FMFile, FileMatrix and SFileMatrix: directories as grids of icons.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "toolkit/ss_matrix.h"
#include "toolkit/ss_canvas.h"

#include "toolkit/icons/file_checkedout.xpm"
#include "toolkit/icons/file_directory.xpm"
#include "toolkit/icons/file_regular.xpm"
#include "toolkit/icons/file_sccs.xpm"

namespace {

enum { REGULAR, DIRECTORY, HISTORY, CHECKED_OUT };

void delete_file(SSRectobj *, int, void *value) { delete static_cast<FMFile *>(value); }

// The names in dir, without "."; 0 when it cannot be read.
int names_in(const char *dir, std::vector<std::string> *out) {
  DIR *d = opendir(dir);
  if (!d) return 0;
  while (struct dirent *e = readdir(d))
    if (strcmp(e->d_name, ".") != 0) out->push_back(e->d_name);
  closedir(d);
  return 1;
}

}  // namespace

FMFile::FMFile(const char *d, const char *n) : dir(d), name(n) {
  path = dir == "/" ? "/" + name : dir + "/" + name;
  exists = stat(path.c_str(), &st) == 0;
  if (!exists) memset(&st, 0, sizeof st);
}

FileMatrix::FileMatrix(Widget parent, const char *name) : Matrix(parent, name) {
  const char *const *data[4] = {file_regular_xpm, file_directory_xpm, file_sccs_xpm,
                                file_checkedout_xpm};
  for (int i = 0; i < 4; i++)
    for (int lit = 0; lit < 2; lit++) images_[i][lit] = loadImage(data[i], lit);
}

FMFile *FileMatrix::fileOf(SSRectobj *element) {
  return element ? static_cast<FMFile *>(element->getKeyData(FM_FILE_KEY)) : nullptr;
}

int FileMatrix::readEntries(const char *dir, std::vector<FMFile *> *out) {
  std::vector<std::string> names;
  if (!names_in(dir, &names)) return -1;
  for (const std::string &n : names) out->push_back(new FMFile(dir, n.c_str()));
  return 0;
}

void FileMatrix::imagesFor(FMFile *file, Pixmap *plain, Pixmap *highlighted) {
  int kind = file->isDirectory() ? DIRECTORY : REGULAR;
  *plain = images_[kind][0];
  *highlighted = images_[kind][1];
}

int FileMatrix::load(const char *dir) {
  std::vector<FMFile *> entries;
  if (readEntries(dir, &entries) != 0) {
    for (FMFile *f : entries) delete f;
    return -1;
  }
  std::sort(entries.begin(), entries.end(), [](const FMFile *a, const FMFile *b) {
    return strcoll(a->name.c_str(), b->name.c_str()) < 0;
  });
  directory_ = dir;
  getCanvas()->setDelayRepaint(1);
  removeAll();
  for (FMFile *f : entries) {
    Pixmap plain, lit;
    imagesFor(f, &plain, &lit);
    SSDrawIcon *icon = addElement(plain, lit, f->name.c_str());
    icon->addKeyData(FM_FILE_KEY, f, delete_file);
  }
  relayout();
  scrollToXY(0, 0);
  getCanvas()->setDelayRepaint(0);
  return 0;
}

int SFileMatrix::readEntries(const char *dir, std::vector<FMFile *> *out) {
  std::vector<std::string> names;
  if (!names_in(dir, &names)) return -1;
  std::string sccs_dir = std::string(dir) + "/SCCS";
  std::vector<std::string> histories;
  names_in(sccs_dir.c_str(), &histories);
  std::set<std::string> pfiles;
  for (const std::string &h : histories)
    if (h.compare(0, 2, "p.") == 0) pfiles.insert(h.substr(2));

  std::set<std::string> seen;
  for (const std::string &n : names) {
    auto *f = new FMSFile(dir, n.c_str());
    // The SCCS directory is shown through the files it holds.
    if (n == "SCCS" && f->isDirectory()) {
      delete f;
      continue;
    }
    seen.insert(n);
    out->push_back(f);
  }
  for (const std::string &h : histories) {
    if (h.compare(0, 2, "s.") != 0 || h.size() < 3) continue;
    std::string name = h.substr(2);
    FMSFile *f = nullptr;
    if (seen.count(name)) {
      for (FMFile *e : *out)
        if (e->name == name) f = static_cast<FMSFile *>(e);
    } else {
      f = new FMSFile(dir, name.c_str());
      out->push_back(f);
    }
    if (f && !f->isDirectory()) {
      f->history = 1;
      f->checked_out = pfiles.count(name) > 0;
    }
  }
  return 0;
}

void SFileMatrix::imagesFor(FMFile *file, Pixmap *plain, Pixmap *highlighted) {
  auto *f = static_cast<FMSFile *>(file);
  int kind = f->isDirectory()                      ? DIRECTORY
             : f->history && f->checked_out && showCheckIn_ ? CHECKED_OUT
             : f->history                          ? HISTORY
                                                   : REGULAR;
  *plain = images_[kind][0];
  *highlighted = images_[kind][1];
}
