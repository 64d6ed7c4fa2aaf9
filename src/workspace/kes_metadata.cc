// Kes_metadata, the base of every metadata file, with its short file lock and the line
// helpers of the settings files.
#include "workspace/kes_metadata.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_scope_exit.h"
#include "util/kes_str.h"
#include "workspace/kes_workspace.h"

namespace {
const int kLineSize = 1024;

char *join(const char *a, const char *b) {
  size_t la = strlen(a), lb = strlen(b);
  char *s = static_cast<char *>(malloc(la + lb + 1));
  memcpy(s, a, la);
  memcpy(s + la, b, lb + 1);
  return s;
}

bool blank(const char *s) {
  for (; *s; s++)
    if (!isspace(static_cast<unsigned char>(*s))) return false;
  return true;
}

// Cuts a trailing newline; true if there was one.
bool chop(char *s) {
  size_t n = strlen(s);
  if (n && s[n - 1] == '\n') {
    s[n - 1] = '\0';
    return true;
  }
  return false;
}

Kes_file_lock_observer lock_observer = nullptr;
Kes_err *read_failed(const char *name) {
  return (new Kes_err)->format_msg(1001, errno,
                                   BWM_MSG(4506, "Open of \"%s\" for reading failed"), name);
}

}  // namespace

Kes_metadata::Kes_metadata(Kes_workspace *ws, const char *metadata_dir, const char *simple,
                           int vers)
    : fullname(nullptr), simplename(strdup(simple)), workspace(ws), version(vers),
      file_version(-1), lock_count(0), stream(nullptr) {
  char *dir = join(metadata_dir, "/");
  fullname = join(dir, simple);
  free(dir);
}

Kes_metadata::~Kes_metadata() {
  if (stream) fclose(stream);
  free(fullname);
  free(simplename);
}

Kes_err *Kes_metadata::get_contents(Kes_list *list) { return get_contents(list, 0); }

Kes_err *Kes_metadata::get_lines(Kes_strlist *list) { return get_contents(list, 1); }

Kes_err *Kes_metadata::get_contents(Kes_list *list, int lines_only) {
  if (Kes_err *e = open("r")) return e;
  if (!stream) return nullptr;  // a missing file reads as empty
  int counter = 1;
  size_t size = kLineSize;
  char *buf = static_cast<char *>(malloc(size));
  Kes_strlist comments;
  Kes_err *err = nullptr;
  while (fgets(buf, kLineSize, stream)) {
    counter++;
    // Assemble the logical line: continuation lines, and physical lines longer
    // than one piece.
    for (;;) {
      size_t n = strlen(buf);
      bool continued = n >= 2 && buf[n - 1] == '\n' && buf[n - 2] == '\\';
      bool unfinished = n == 0 || buf[n - 1] != '\n';
      if (!continued && !unfinished) break;
      if (continued) buf[n - 2] = '\0', n -= 2;
      size += kLineSize;
      buf = static_cast<char *>(realloc(buf, size));
      counter++;
      if (!fgets(buf + n, kLineSize, stream)) {
        err = (new Kes_err)->format_msg(
            2027, 0, BWM_MSG(4500, "Corrupted file - \"%s\", line %d"), fullname, counter);
        break;
      }
    }
    if (err) break;
    chop(buf);

    char *hash = strchr(buf, '#');
    if (hash) {
      comments.add_new_data(strdup(hash));
      *hash = '\0';
      if (blank(buf)) continue;
    } else if (blank(buf)) {
      comments.add_new_data(strdup(buf));
      continue;
    }
    void *entry = nullptr;
    if (lines_only) {
      entry = strdup(buf);
    } else if ((err = parse(buf, &entry, &comments))) {
      break;
    }
    comments.clear();
    if (entry) list->add_new_data(entry);
  }
  free(buf);
  Kes_err *ce = close();
  if (err) {
    delete ce;
    return err;
  }
  return ce;
}

Kes_err *Kes_metadata::put_contents(Kes_list *list) {
  if (!list) return nullptr;
  if (Kes_err *e = lock()) return e;
  auto unlock_at_end = kes_scope_exit([this] { unlock(); });
  std::string tmp = std::string(fullname) + ".tmp";
  struct stat st;
  if (stat(fullname, &st) != 0)
    return (new Kes_err)->format_msg(2702, errno, BWM_MSG(4501, "stat of %s failed"),
                                     tmp.c_str());
  // The temporary file gets the old file's mode.
  mode_t old_mask = umask(~st.st_mode & 0777);
  FILE *fp = fopen(tmp.c_str(), "w");
  umask(old_mask);
  if (!fp)
    return (new Kes_err)->format_msg(1017, errno,
                                     BWM_MSG(4502, "Open of \"%s\" for writing failed"),
                                     tmp.c_str());
  Kes_err_owner err(write_vernum_to_fp(fp));
  for (Kes_listelem *el = list->head.next; !err && el != &list->head; el = el->next) {
    char *text = nullptr;
    format_comment(el->data, &text);
    if (text) err.keep(fputs_N_check(text, fp, tmp.c_str()));
    free(text);
    if (err) break;
    text = nullptr;
    format_entry(el->data, &text);
    if (text) err.keep(fputs_N_check(text, fp, tmp.c_str()));
    free(text);
  }
  err.keep(fclose_N_check(fp, tmp.c_str()));
  if (err) {
    unlink(tmp.c_str());  // the old file stays as it was
    return err.release();
  }
  if (rename(tmp.c_str(), fullname) != 0)
    return (new Kes_err)->format_msg(1018, errno,
                                     BWM_MSG(4503, "Rename of \"%s\" to \"%s\" failed"),
                                     fullname, tmp.c_str());
  file_version = version;
  return nullptr;
}

Kes_err *Kes_metadata::add_line(const char *line) {
  if (!line || !line[0]) return nullptr;
  if (Kes_err *e = lock()) return e;
  auto unlock_at_end = kes_scope_exit([this] { unlock(); });
  bool present = false;
  Kes_err_owner err(open("r"));
  if (!err && stream) {
    char buf[kLineSize];
    while (!present && fgets(buf, sizeof buf, stream)) {
      chop(buf);
      present = strcmp(buf, line) == 0;
    }
  }
  err.keep(close());
  if (!err && !present) {
    err.keep(open("a"));
    if (!err) err.keep(fprintf_N_check(stream, fullname, "%s\n", line));
    err.keep(close());
  }
  return err.release();
}

Kes_err *Kes_metadata::parse(char *line, void **entry, Kes_strlist *comments) {
  *entry = strdup(line);
  return nullptr;
}

Kes_err *Kes_metadata::conversion() {
  return (new Kes_err)->format_msg(
      2047, 0, BWM_MSG(4504, "Do not know how to convert file \"%s\" from version %d to %d"),
      fullname, file_version, version);
}

Kes_err *Kes_metadata::append_sized_vector(char **lines, int count) {
  if (!lines || count <= 0) return nullptr;
  if (Kes_err *e = lock()) return e;
  auto unlock_at_end = kes_scope_exit([this] { unlock(); });
  Kes_err_owner err(open("a"));
  for (int i = 0; !err && i < count; i++)
    if (lines[i]) err.keep(fprintf_N_check(stream, fullname, "%s\n", lines[i]));
  err.keep(close());
  return err.release();
}

Kes_err *Kes_metadata::append_vector(char **lines) {
  if (!lines) return nullptr;
  int count = 0;
  while (lines[count]) count++;
  return append_sized_vector(lines, count);
}

// The defaults mark a subclass that writes entries without saying how; the
// texts land in the file, so they are not translated.
void Kes_metadata::format_comment(void *entry, char **text) {
  *text = strdup("Object-specific format_comment() function needs to be written\n");
}

void Kes_metadata::format_entry(void *entry, char **text) {
  *text = strdup("Object-specific format_entry() function needs to be written\n");
}

Kes_err *Kes_metadata::open(const char *mode) {
  if (stream) delete close();
  Kes_err *err = nullptr;
  switch (mode[0]) {
  case 'a': {
    // A file this open makes goes again if it can't get its version line:
    // left empty, it would fail every later reader.
    struct stat st;
    bool made = stat(fullname, &st) != 0 && errno == ENOENT;
    stream = fopen(fullname, "a+");
    if (!stream)
      return (new Kes_err)->format_msg(
          1025, errno, BWM_MSG(4505, "Open of \"%s\" for appending failed"), fullname);
    rewind(stream);
    err = check_vernum();
    if (!err && fseek(stream, 0, SEEK_END) != 0) err = fprintf_err_message(fullname);
    if (err && made) unlink(fullname);
    break;
  }
  case 'w':
    stream = fopen(fullname, "w+");
    if (!stream)
      return (new Kes_err)->format_msg(
          1017, errno, BWM_MSG(4502, "Open of \"%s\" for writing failed"), fullname);
    err = write_vernum();
    break;
  default:
    stream = fopen(fullname, mode[0] == 'r' && mode[1] == '+' ? "r+" : "r");
    if (!stream) {
      if (errno == ENOENT) return nullptr;
      return read_failed(fullname);
    }
    err = check_vernum();
    break;
  }
  if (err) {
    fclose(stream);
    stream = nullptr;
  }
  return err;
}

Kes_err *Kes_metadata::close() {
  if (!stream) return nullptr;
  Kes_err *err = fclose_N_check(stream, fullname);
  stream = nullptr;
  return err;
}

Kes_err *Kes_metadata::close_whole(Kes_err *err) {
  Kes_err_owner first(err);
  first.keep(close());
  if (first) delete remove();
  return first.release();
}

Kes_err *Kes_metadata::lock() {
  if (lock_count == 0) {
    char *lockname = join(fullname, ".lock");
    Kes_err *err = kes_file_lock(fullname, lockname, 0);
    free(lockname);
    if (err) return err;
  }
  lock_count++;
  return nullptr;
}

void Kes_metadata::unlock() {
  lock_count--;
  if (lock_count == 0) {
    char *lockname = join(fullname, ".lock");
    unlink(lockname);
    free(lockname);
  } else if (lock_count < 0) {
    lock_count = 0;
  }
}

Kes_err *Kes_metadata::delete_line(const char *line, int *found) {
  if (!line || !line[0]) return nullptr;
  if (Kes_err *e = lock()) return e;
  auto unlock_at_end = kes_scope_exit([this] { unlock(); });
  Kes_err_owner err(open("r"));
  if (err || !stream) {
    if (found && !err) *found = 0;
    return err.release();
  }
  std::string tmp = std::string(fullname) + ".tmp";
  bool dropped = false;
  FILE *out = fopen(tmp.c_str(), "w");
  if (!out) {
    err.keep((new Kes_err)->format_msg(1017, errno,
                                       BWM_MSG(4502, "Open of \"%s\" for writing failed"),
                                       tmp.c_str()));
  } else {
    err.keep(write_vernum_to_fp(out));
    char *buf = nullptr;
    size_t cap = 0;
    ssize_t n;
    while (!err && (n = getline(&buf, &cap, stream)) >= 0) {
      bool nl = n > 0 && buf[n - 1] == '\n';
      if (nl) buf[n - 1] = '\0';
      if (strcmp(buf, line) == 0) {
        dropped = true;
        continue;
      }
      err.keep(fprintf_N_check(out, tmp.c_str(), nl ? "%s\n" : "%s", buf));
    }
    free(buf);
    err.keep(fclose_N_check(out, tmp.c_str()));
  }
  err.keep(close());
  if (out && (err || !dropped)) {
    unlink(tmp.c_str());
  } else if (!err && rename(tmp.c_str(), fullname) != 0) {
    err.keep((new Kes_err)->format_msg(1018, errno,
                                       BWM_MSG(4503, "Rename of \"%s\" to \"%s\" failed"),
                                       fullname, tmp.c_str()));
  }
  if (!err && found) *found = dropped ? 1 : 0;
  return err.release();
}

Kes_err *Kes_metadata::remove() {
  if (unlink(fullname) == 0 || errno == ENOENT) return nullptr;
  return (new Kes_err)->format_msg(1019, errno, BWM_MSG(4507, "Unlink of \"%s\" failed"),
                                   fullname);
}

int Kes_metadata::exists() {
  struct stat st;
  return stat(fullname, &st) == 0;
}

// The metadata directory has the same simple name in every workspace.
char *Kes_metadata::get_relname(char *buf) {
  snprintf(buf, kLineSize, "%s/%s", KES_METADATA_DIR, simplename);
  return buf;
}

Kes_err *Kes_metadata::write_vernum() {
  Kes_err *err = write_vernum_to_fp(stream);
  if (!err) file_version = version;
  return err;
}

Kes_err *Kes_metadata::write_vernum_to_fp(FILE *fp) {
  return fprintf_N_check(fp, fullname, "VERSION %d\n", version);
}

Kes_err *Kes_metadata::check_vernum() {
  char line[kLineSize];
  if (!fgets(line, sizeof line, stream)) {
    // A file that can't be read (a directory, say) is not an empty one: its
    // own error says why, not the failed write of a version line.
    if (ferror(stream))
      return read_failed(fullname);
    // An empty file gets its version line.  The seeks make this work on an
    // "a+" stream; on a read-only stream the write fails.
    fseek(stream, 0, SEEK_CUR);
    Kes_err *err = write_vernum();
    if (!err && fflush(stream) != 0) err = fprintf_err_message(fullname);
    fseek(stream, 0, SEEK_CUR);
    return err;
  }
  return check_vernum_string(line);
}

Kes_err *Kes_metadata::check_vernum_string(const char *line) {
  const char *blank_at = strchr(line, ' ');
  if (strncmp(line, "VERSION", 7) != 0 || !blank_at)
    return (new Kes_err)->format_msg(2008, 0,
                                     BWM_MSG(4508, "No version number in file \"%s\""),
                                     fullname);
  file_version = atoi(blank_at + 1);
  if (file_version < version) return conversion();
  if (file_version > version)
    return (new Kes_err)->format_msg(
        2046, 0,
        BWM_MSG(4509, "Version mismatch between this binary and file\n\"%s\".\nThis binary is "
                      "compatible with version %d, but the file is version %d.\nUpgrade to a "
                      "release that is more recent than release %s."),
        fullname, version, file_version, "2.1");
  return nullptr;
}

int ok_for_write(Kes_metadata *md) {
  Kes_err *err = md->open("a");
  if (!err) err = md->close();
  if (!err) return 1;
  delete err;
  return 0;
}

void kes_file_lock_set_observer(Kes_file_lock_observer fn) { lock_observer = fn; }

Kes_err *kes_file_lock(const char *target, const char *lockname, int timeout) {
  if (timeout <= 0) timeout = 15;
  size_t n = strlen(lockname);
  char *probe = static_cast<char *>(malloc(n + 8));
  Kes_err *err = nullptr;
  for (;;) {
    if (symlink(target, lockname) == 0) break;
    if (errno != EEXIST) {
      err = (new Kes_err)->format_msg(
          1014, errno, BWM_MSG(4510, "Couldn't create lock for file \"%s\""), target);
      break;
    }
    // Held: wait, and break the lock once it is older than the timeout by the
    // file server's clock, which is the time of a file made there now.
    sleep(1);
    struct stat lk;
    if (lstat(lockname, &lk) != 0) continue;  // the holder is gone
    memcpy(probe, lockname, n);
    strcpy(probe + n, ".XXXXXX");
    int fd = mkstemp(probe);
    if (fd < 0) {
      err = (new Kes_err)->format_msg(
          1015, errno, BWM_MSG(4511, "Internal error: couldn't create temp file \"%s\""), probe);
      break;
    }
    ::close(fd);
    struct stat pr;
    if (stat(probe, &pr) != 0) {
      err = (new Kes_err)->format_msg(1016, errno,
                                      BWM_MSG(4512, "Internal error: couldn't stat \"%s\""),
                                      probe);
      unlink(probe);
      break;
    }
    unlink(probe);
    int stale = lk.st_mtime + timeout < pr.st_mtime;
    if (lock_observer) lock_observer(lockname, lk.st_mtime, pr.st_mtime, stale);
    if (stale) {
      // Unlink only the lock judged stale, not one a faster waiter has just
      // made in its place.
      struct stat again;
      if (lstat(lockname, &again) == 0 && again.st_ino == lk.st_ino &&
          again.st_mtim.tv_sec == lk.st_mtim.tv_sec &&
          again.st_mtim.tv_nsec == lk.st_mtim.tv_nsec)
        unlink(lockname);
    }
  }
  free(probe);
  return err;
}

void kes_md_split_key(char *line, char **key, char **value) {
  while (isspace(static_cast<unsigned char>(*line))) line++;
  *key = line;
  while (*line && !isspace(static_cast<unsigned char>(*line))) line++;
  if (*line) *line++ = '\0';
  while (isspace(static_cast<unsigned char>(*line))) line++;
  *value = *line ? line : nullptr;
}

int kes_md_first_word_is(const char *value, const char *word) {
  size_t n = strlen(word);
  return strncmp(value, word, n) == 0 &&
         (value[n] == '\0' || isspace(static_cast<unsigned char>(value[n])));
}

char *kes_md_keyed_line(const char *key, const char *value) {
  std::string s = key;
  do s += ' ';
  while (s.size() < 20);
  s += value;
  kes_md_end_line(&s);
  return kes_strdup(s.c_str());
}

void kes_md_end_line(std::string *line) {
  if (!line->empty() && line->back() == '\\') *line += ' ';
  *line += '\n';
}

char *kes_md_comment_text(Kes_strlist *comments) {
  if (!comments) return nullptr;
  std::string out;
  int any = 0;
  for (Kes_listelem *e = comments->head.next; e != &comments->head; e = e->next) {
    const char *c = static_cast<const char *>(e->data);
    if (c[0]) any = 1;
    out += c;
    out += '\n';
  }
  return any ? kes_strdup(out.c_str()) : nullptr;
}
