// Kes_resolve_rc: the user's resolve settings in ~/.brindle_resrc.
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "transaction/kes_resolve.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_path.h"

namespace {

const char kFile[] = ".brindle_resrc";

}  // namespace

Kes_resolve_rc::Kes_resolve_rc()
    : start_twinpane(0), autoadvance(1), checkin_comments(0), reuse_twinpane(0), autosave(0) {}

bool Kes_resolve_rc::path(char *out) {
  const char *home = getenv("HOME");
  if (!home || !*home) {
    struct passwd *pw = getpwuid(getuid());
    home = pw ? pw->pw_dir : nullptr;
  }
  if (!home || !*home) return false;
  return snprintf(out, 1024, "%s/%s", home, kFile) < 1024;
}

Kes_err *Kes_resolve_rc::read() {
  char file[1024];
  if (!path(file)) return nullptr;
  FILE *in = fopen(file, "r");
  if (!in) return nullptr;
  // Matched as a prefix of the word's own length, in this order: "auto" is
  // autoadvance.
  struct {
    const char *key;
    int *field;
    int inverted;
  } keys[] = {{"autoadvance", &autoadvance, 0},       {"checkin_comments", &checkin_comments, 0},
              {"skipcomments", &checkin_comments, 1}, {"reuse_twinpane", &reuse_twinpane, 0},
              {"start_twinpane", &start_twinpane, 0}, {"autosave", &autosave, 0}};
  // Lines are read whole: a long comment's tail is no setting.
  char *line = nullptr;
  size_t cap = 0;
  Kes_err *err = nullptr;
  while (!err && getline(&line, &cap, in) >= 0) {
    line[strcspn(line, "\n")] = '\0';
    if (line[0] == '#' || line[0] == '\0') continue;
    if (strncmp(line, "set", 3) != 0) {
      err = (new Kes_err)
                ->format_msg(2032, 0, BWM_MSG(14530, "Can't parse line in file \"%s\": %s"), file,
                             line);
      break;
    }
    const char *p = line + 3;
    while (isspace(static_cast<unsigned char>(*p))) p++;
    std::string word;
    while (isalpha(static_cast<unsigned char>(*p))) word += *p++;
    int value = 1;
    if (word.compare(0, 2, "no") == 0) {
      value = 0;
      word.erase(0, 2);
    }
    if (word.empty()) continue;  // a bare "set" or "set no" names nothing
    for (auto &k : keys)
      if (strncmp(k.key, word.c_str(), word.size()) == 0) {
        *k.field = k.inverted ? !value : value;
        break;
      }
  }
  free(line);
  fclose(in);
  return err;
}

Kes_err *Kes_resolve_rc::write() {
  char file[1024];
  if (!path(file))
    return (new Kes_err)
        ->format_msg(2031, 0,
                     BWM_MSG(14531, "Can't find home directory so can't write to file \"%s\""),
                     kFile);
  // The new text goes beside the file's real place and replaces it whole, so a
  // full disk leaves the old settings and a linked file stays linked.
  char real[1024];
  std::string target = kes_abspath(file, real, sizeof real) ? real : file;
  std::string tmp = target + ".XXXXXX";
  int fd = mkstemp(&tmp[0]);
  if (fd < 0)
    return (new Kes_err)
        ->format_msg(2031, errno, BWM_MSG(14532, "Please make sure %s is a writable file."),
                     file);
  fchmod(fd, 0666 & ~umask_get());
  FILE *out = fdopen(fd, "w");
  if (!out) close(fd);
  const int fields[] = {start_twinpane, autoadvance, checkin_comments, reuse_twinpane, autosave};
  const char *lines[] = {"set %sstart_twinpane\n", "set %sautoadvance\n",
                         "set %scheckin_comments\n", "set %sreuse_twinpane\n",
                         "set %sautosave\n"};
  bool ok = out != nullptr;
  for (int i = 0; ok && i < 5; i++) ok = fprintf(out, lines[i], fields[i] ? "" : "no") > 0;
  if (out) ok = fclose(out) == 0 && ok;
  if (!ok || rename(tmp.c_str(), target.c_str()) != 0) {
    int saved = errno;
    unlink(tmp.c_str());
    return (new Kes_err)
        ->format_msg(1001, saved, BWM_MSG(14533, "Writing to \"%s\" failed"), file);
  }
  return nullptr;
}
