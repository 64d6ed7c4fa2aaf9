// Command locks: Kes_cmdlock, Kes_cmdlocklist, Kes_md_locks, and the workspace's lock
// operations.
#include "workspace/kes_cmdlock.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "util/kes_err.h"
#include "util/kes_host.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"

namespace {

const int kBufSize = 1024;

char *dup_or_unknown(const char *s) {
  return kes_strdup(s && s[0] ? s : BWM_MSG(5500, "Unknown"));
}

void replace(char **field, const char *value) {
  free(*field);
  *field = dup_or_unknown(value);
}

int str_equal(const char *a, const char *b) { return strcmp(a ? a : "", b ? b : "") == 0; }

}  // namespace

Kes_cmdlock::Kes_cmdlock()
    : type(KES_READ_LOCK), command(nullptr), pid(-1), machine(nullptr), user(nullptr), time(0),
      workspace(nullptr) {}

Kes_cmdlock::Kes_cmdlock(Kes_cmdlocktype t, Kes_workspace *ws)
    : type(t), command(dup_or_unknown(kes_get_base_cmdname())), pid(getpid()),
      machine(dup_or_unknown(kes_hostname())), user(dup_or_unknown(kes_get_user(1, 0))),
      time(0), workspace(ws) {
  time = get_current_time();
}

Kes_cmdlock::Kes_cmdlock(const char *line, Kes_workspace *ws)
    : type(KES_READ_LOCK), command(dup_or_unknown(nullptr)), pid(-1),
      machine(dup_or_unknown(nullptr)), user(dup_or_unknown(nullptr)), time(0), workspace(ws) {
  if (!line) line = "";
  // Every word fits in a buffer as long as the line.
  size_t size = strlen(line) + 1;
  char *word[4];
  for (int i = 0; i < 4; i++) {
    word[i] = (char *)calloc(size, 1);
    if (!word[i]) kes_new_handler();
  }
  int n = sscanf(line, "%s %s %d %s %s %ld", word[0], word[1], &pid, word[2], word[3], &time);
  if (n >= 1 && strcmp(word[0], "write") == 0) type = KES_WRITE_LOCK;
  if (n >= 2) replace(&command, word[1]);
  if (n >= 4) replace(&machine, word[2]);
  if (n >= 5) replace(&user, word[3]);
  for (char *p : word) free(p);
}

Kes_cmdlock::~Kes_cmdlock() {
  free(command);
  free(machine);
  free(user);
}

char *Kes_cmdlock::format_lock_line(char *buf) {
  snprintf(buf, kBufSize, "%s %s %d %s %s %ld", type_str(), command, pid, machine, user, time);
  return buf;
}

char *Kes_cmdlock::format_msg(char *buf) {
  long age = get_current_time() - time;
  std::string text = kes_format(
      BWM_MSG(5504, "    User %s has been running a %s command (pid %d)\n        on %s for "),
      user, command, pid, machine);
  // Minutes are rounded, days and hours are not; zero days and hours are left out.
  if (age / 86400) text += kes_format(BWM_MSG(5505, "%ld days, "), age / 86400);
  if (age / 3600) text += kes_format(BWM_MSG(5506, "%ld hours, "), (age % 86400) / 3600);
  text += kes_format(BWM_MSG(5507, "%ld minutes\n"), ((age % 86400) % 3600 + 30) / 60);
  snprintf(buf, kBufSize, "%s", text.c_str());
  return buf;
}

const char *Kes_cmdlock::type_str() { return type == KES_WRITE_LOCK ? "write" : "read"; }

const char *Kes_cmdlock::i18n_type_str() {
  return type == KES_WRITE_LOCK ? BWM_MSG(5501, "write") : BWM_MSG(5502, "read");
}

long Kes_cmdlock::get_current_time() {
  long now = ::time(nullptr);
  if (!workspace) return now;
  char dir[kBufSize];
  if (Kes_err *err = workspace->get_full_metadata_dir(dir)) {
    delete err;
    return now;
  }
  // A file made in the metadata directory carries the file server's time, so
  // ages agree between hosts whose clocks differ.
  std::string probe = std::string(dir) + "/get_current_time.XXXXXX";
  int fd = mkstemp(&probe[0]);
  if (fd < 0) return now;
  struct stat st;
  if (fstat(fd, &st) == 0) now = st.st_mtime;
  close(fd);
  unlink(probe.c_str());
  return now;
}

int Kes_cmdlock::compare(Kes_cmdlock *other) {
  if (!other || type != other->type) return 0;
  if (str_equal(command, other->command)) return 0;
  if (pid != other->pid) return 0;
  if (str_equal(machine, other->machine)) return 0;
  if (str_equal(user, other->user)) return 0;
  return time == other->time;
}

Kes_cmdlock *Kes_cmdlock::copy() {
  Kes_cmdlock *c = new Kes_cmdlock;
  c->type = type;
  c->command = dup_or_unknown(command);
  c->pid = pid;
  c->machine = dup_or_unknown(machine);
  c->user = dup_or_unknown(user);
  c->time = time;
  c->workspace = workspace;
  return c;
}

void Kes_cmdlock::print() {
  printf("type\t%s\n", type_str());
  printf("command\t%s\n", command);
  printf("pid\t%d\n", pid);
  printf("machine\t%s\n", machine);
  printf("user\t%s\n", user);
  printf("time\t%d\n", (int)time);
  printf("ws\t%s\n", workspace && workspace->wsname ? workspace->wsname : "");
}

Kes_cmdlocklist::~Kes_cmdlocklist() { clear(); }
Kes_list *Kes_cmdlocklist::create_list() { return new Kes_cmdlocklist; }
void *Kes_cmdlocklist::create_data() { return new Kes_cmdlock("", nullptr); }
void *Kes_cmdlocklist::copy_data(void *data) { return ((Kes_cmdlock *)data)->copy(); }
void Kes_cmdlocklist::delete_data(void *data) { delete (Kes_cmdlock *)data; }
void Kes_cmdlocklist::print_data(void *data) { ((Kes_cmdlock *)data)->print(); }
int Kes_cmdlocklist::compare_datas(void *a, void *b) {
  return ((Kes_cmdlock *)a)->compare((Kes_cmdlock *)b);
}

Kes_err *Kes_cmdlocklist::obtain_write_lock(Kes_workspace *ws) {
  return count ? deny_lock(KES_WRITE_LOCK, ws) : nullptr;
}

Kes_err *Kes_cmdlocklist::obtain_read_lock(Kes_workspace *ws) {
  for (Kes_listelem *e = head.next; e != &head; e = e->next)
    if (((Kes_cmdlock *)e->data)->type == KES_WRITE_LOCK) return deny_lock(KES_READ_LOCK, ws);
  return nullptr;
}

Kes_err *Kes_cmdlocklist::deny_lock(Kes_cmdlocktype type, Kes_workspace *ws) {
  const char *fmt = BWM_MSG(
      5503, "Cannot obtain a %s lock in workspace \"%s\"\nbecause it has the following locks:\n");
  const char *word = type == KES_WRITE_LOCK ? BWM_MSG(5501, "write") : BWM_MSG(5502, "read");
  const char *wsname = ws && ws->wsname ? ws->wsname : "";
  std::string text = kes_format(fmt, word, wsname);
  char buf[kBufSize];
  for (Kes_listelem *e = head.next; e != &head; e = e->next) {
    Kes_cmdlock *l = (Kes_cmdlock *)e->data;
    if (type == KES_WRITE_LOCK || l->type == KES_WRITE_LOCK) text += l->format_msg(buf);
  }
  // Room for every lock at its usual length, and never less than the text.
  size_t size = count * 130 + strlen(fmt) + strlen(word) + strlen(wsname) + 100;
  if (size < text.size() + 1) size = text.size() + 1;
  return (new Kes_err((int)size))->format_msg(2021, 0, "%s", text.c_str());
}

Kes_err *Kes_md_locks::parse(char *line, void **entry, Kes_strlist *comments) {
  *entry = new Kes_cmdlock(line, workspace);
  return nullptr;
}

Kes_err *Kes_workspace::get_locks(Kes_cmdlocklist **list) {
  *list = new Kes_cmdlocklist;
  if (!exists()) return nullptr;
  Kes_md_locks *md = nullptr;
  Kes_err *err = get_md_locks(&md);
  if (err) return err;
  err = md->get_contents(*list);
  delete md;
  return err;
}

Kes_err *Kes_workspace::obtain_lock(Kes_cmdlocktype type, Kes_cmdlock **lock) {
  // A plain directory takes part without locks.
  if (not_real) return nullptr;
  Kes_md_locks *md = nullptr;
  Kes_err *err = get_md_locks(&md);
  if (err) return err;
  // Held from the look at the locks to the new line: test and set are one step.
  err = md->lock();
  if (err) {
    delete md;
    return err;
  }
  Kes_cmdlocklist *list = nullptr;
  err = get_locks(&list);
  if (!err) {
    if (type == KES_WRITE_LOCK) {
      err = list->obtain_write_lock(this);
      write_locked = 1;  // also when denied
    } else if (type == KES_READ_LOCK) {
      err = list->obtain_read_lock(this);
      write_locked = 0;
    } else {
      err = (new Kes_err)->format_msg(
          2019, 0, BWM_MSG(5508, "Internal error: unknown locktype %d in workspace \"%s\""),
          (int)type, wsname ? wsname : "");
    }
  }
  if (!err) {
    Kes_cmdlock *mine = new Kes_cmdlock(type, this);
    char line[kBufSize];
    err = md->add_line(mine->format_lock_line(line));
    if (!err && lock)
      *lock = mine;
    else
      delete mine;
  }
  delete list;
  md->unlock();
  delete md;
  return err;
}

namespace {

// A lock this process took, as against one taken away from another command.
int own_lock(Kes_cmdlock *lock) {
  const char *host = kes_hostname();
  return lock->pid == (int)getpid() && host && lock->machine && strcmp(host, lock->machine) == 0;
}

// A write lock taken from another command by hand: the command may have died
// in the middle of its work, and nothing tells which names it had changed.
// The name tables of the workspace and of its backup area go, and the next
// command that reads one builds it anew from the files.
void forget_name_tables(Kes_workspace *ws) {
  char md[1024];
  Kes_err *err = ws->get_full_metadata_dir(md);
  if (err) {
    delete err;
    return;
  }
  for (const char *table : {"/nametable", "/backup/files/" KES_METADATA_DIR "/nametable"})
    unlink((std::string(md) + table).c_str());
}

}  // namespace

Kes_err *Kes_workspace::release_lock(Kes_cmdlock *lock) {
  if (not_real) return nullptr;
  write_locked = 0;
  if (!lock) return nullptr;
  char line[kBufSize];
  lock->format_lock_line(line);
  Kes_md_locks *md = nullptr;
  Kes_err *err = get_md_locks(&md);
  if (err) return err;
  err = md->delete_line(line, nullptr);
  if (err) {
    // Without room for the rewrite the file can still be unlinked, when this
    // lock is all it holds; otherwise the lock stays and the failure was shown.
    err->print();
    delete err;
    Kes_strlist lines;
    err = md->get_lines(&lines);
    if (!err) {
      int only_this = 1;
      for (Kes_listelem *e = lines.head.next; e != &lines.head; e = e->next)
        if (strcmp((char *)e->data, line) != 0) only_this = 0;
      if (only_this) err = md->remove();
    }
  }
  delete md;
  if (!err && lock->type == KES_WRITE_LOCK && !own_lock(lock)) forget_name_tables(this);
  return err;
}

Kes_err *Kes_workspace::release_lock(int n) {
  Kes_cmdlocklist *list = nullptr;
  Kes_err *err = get_locks(&list);
  if (!err) {
    int i = 0;
    for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
      if (++i == n) {
        err = release_lock((Kes_cmdlock *)e->data);
        break;
      }
  }
  delete list;
  return err;
}

Kes_err *Kes_workspace::print_locks(int *count) {
  if (count) *count = 0;
  Kes_cmdlocklist *list = nullptr;
  Kes_err *err = get_locks(&list);
  int i = 0;
  if (!err) {
    char buf[kBufSize];
    for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
      printf("%d) %s", ++i, ((Kes_cmdlock *)e->data)->format_msg(buf));
  }
  if (count) *count = i;
  delete list;
  return err;
}
