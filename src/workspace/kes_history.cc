// The history log: Kes_history, Kes_historylist, Kes_md_history and print_history.
#include "workspace/kes_history.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/types.h>
#include <unistd.h>

#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"
#include "workspace/kes_cmdlog.h"
#include "workspace/kes_workspace.h"

namespace {

// The reader's keywords, in the order of their places in a record.
struct Keyword {
  const char *text;
  size_t bytes;
};
const Keyword keywords[] = {
    {"COMMAND ", 8},          {"BEGIN COMMENT", 13},     {"END COMMENT", 11},
    {"CWD ", 4},              {"RELEASE ", 8},           {"HOST ", 5},
    {"USER ", 5},             {"PARENT_WORKSPACE ", 17}, {"CHILD_WORKSPACE ", 16},
    {"RTI ", 4},              {"FREEZEPOINT_FILE ", 17}, {"START ", 6},
    {"END ", 4},              {"STATUS ", 7},
};
enum {
  K_COMMAND, K_BEGIN_COMMENT, K_END_COMMENT, K_CWD, K_RELEASE, K_HOST, K_USER, K_PARENT,
  K_CHILD, K_RTI, K_FREEZEPOINT, K_START, K_END, K_STATUS, K_TEXT
};

int keyword_index(const char *line) {
  for (int i = 0; i < K_TEXT; i++)
    if (strncmp(line, keywords[i].text, keywords[i].bytes) == 0) return i;
  return K_TEXT;
}

// "(first) (second)": each inside of a pair whose ")" stands behind its "(".
void set_pair(const char *rest, char **first, char **second) {
  char **fields[2] = {first, second};
  for (char **field : fields) {
    const char *open = strchr(rest, '(');
    const char *close = strchr(rest, ')');
    if (!open || !close || close < open) return;
    free(*field);
    *field = strndup(open + 1, close - open - 1);
    if (!*field) kes_new_handler();
    rest = close + 1;
  }
}

int has_data(const Kes_history *h) {
  return h->command_text || h->comment || h->cwd || h->release || h->host || h->user ||
         h->parent_name || h->child_name || h->start_local || h->end_local || h->status ||
         h->rti || h->freezepoint_file;
}

// The fields in the order they are compared and copied.
char **fields(Kes_history *h, int i) {
  char **all[] = {&h->command_name,  &h->command_text,   &h->comment,     &h->cwd,
                  &h->release,       &h->host,           &h->user,        &h->parent_name,
                  &h->parent_netname, &h->child_name,    &h->child_netname, &h->start_local,
                  &h->start_gmt,     &h->end_local,      &h->end_gmt,     &h->status,
                  &h->rti,           &h->freezepoint_file};
  return all[i];
}
const int kFields = 18;
const int kChildName = 9;  // 0-based

}  // namespace

// ---- Kes_history ----

Kes_history::Kes_history() {
  for (int i = 0; i < kFields; i++) *fields(this, i) = nullptr;
}

Kes_history::~Kes_history() {
  for (int i = 0; i < kFields; i++) free(*fields(this, i));
}

Kes_history *Kes_history::copy() {
  Kes_history *h = new Kes_history;
  for (int i = 0; i < kFields; i++) *fields(h, i) = kes_strdup(*fields(this, i));
  return h;
}

int Kes_history::compare(Kes_history *other) {
  for (int i = 0; i < kFields; i++) {
    if (i == kChildName) continue;
    const char *a = *fields(this, i), *b = *fields(other, i);
    if (a == b) continue;
    if (!a) return -1;
    if (!b) return 1;
    int r = strcmp(a, b);
    if (r) return r;
  }
  return 0;
}

// ---- Kes_historylist ----

Kes_historylist::~Kes_historylist() { clear(); }
Kes_list *Kes_historylist::create_list() { return new Kes_historylist; }
void *Kes_historylist::create_data() { return new Kes_history; }
void *Kes_historylist::copy_data(void *data) { return ((Kes_history *)data)->copy(); }
void Kes_historylist::delete_data(void *data) { delete (Kes_history *)data; }
int Kes_historylist::compare_datas(void *a, void *b) {
  return ((Kes_history *)a)->compare((Kes_history *)b) == 0;
}
void Kes_historylist::print_data(void *data) {
  Kes_history *h = (Kes_history *)data;
  for (int i = 0; i < kFields; i++) {
    const char *f = *fields(h, i);
    fprintf(stderr, "\t%d %s\n", i + 1, f ? f : "(null)");
  }
}

// ---- Kes_md_history ----

Kes_md_history::Kes_md_history(Kes_workspace *ws, const char *metadata_dir)
    : Kes_metadata(ws, metadata_dir, "history", 1),
      temp_name(nullptr),
      temp_file(nullptr),
      argc(0),
      argv(nullptr) {}

Kes_md_history::~Kes_md_history() { drop_temp(); }

void Kes_md_history::drop_temp() {
  if (temp_file) fclose(temp_file);
  temp_file = nullptr;
  if (temp_name) unlink(temp_name);
  free(temp_name);
  temp_name = nullptr;
}

Kes_err *Kes_md_history::start(int noop) {
  if (noop) return nullptr;
  drop_temp();
  // Beside the log, so that the final copy is local; mkstemp gives a name no
  // other process can take.
  std::string tmpl = std::string(fullname) + ".XXXXXX";
  temp_name = kes_strdup(tmpl.c_str());
  int fd = mkstemp(temp_name);
  if (fd >= 0) {
    temp_file = fdopen(fd, "w+");
    if (!temp_file) {
      int saved = errno;
      ::close(fd);
      unlink(temp_name);
      errno = saved;
    }
  }
  if (!temp_file) {
    Kes_err *err =
        (new Kes_err)->format_msg(1001, errno, BWM_MSG(6000, "Open of \"%s\" failed"), temp_name);
    free(temp_name);
    temp_name = nullptr;
    return err;
  }
  Kes_err *err = fputs_N_check("COMMAND ", temp_file, temp_name);
  for (; !err && argc > 0; argc--, argv++)
    err = fprintf_N_check(temp_file, temp_name, "%s ", *argv);
  if (!err) err = fputs_N_check("\n", temp_file, temp_name);
  if (err) drop_temp();
  return err;
}

Kes_err *Kes_md_history::print_comment(Kes_strlist *comment) {
  if (!temp_file || !comment) return nullptr;
  Kes_err *err = fputs_N_check("BEGIN COMMENT\n", temp_file, temp_name);
  for (Kes_listelem *e = comment->head.next; !err && e != &comment->head; e = e->next)
    err = fprintf_N_check(temp_file, temp_name, "%s\n", (char *)e->data);
  if (!err) err = fputs_N_check("END COMMENT\n", temp_file, temp_name);
  return err;
}

Kes_err *Kes_md_history::print_rti(const char *value) {
  if (!temp_file || !value) return nullptr;
  return fprintf_N_check(temp_file, temp_name, "RTI %s\n", value);
}

Kes_err *Kes_md_history::printf(const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  Kes_err *err = vprintf(fmt, ap);
  va_end(ap);
  return err;
}

Kes_err *Kes_md_history::vprintf(const char *fmt, va_list ap) {
  if (!temp_file) return nullptr;
  return vfprintf(temp_file, fmt, ap) < 0 ? fprintf_err_message(temp_name) : nullptr;
}

void Kes_md_history::done(Kes_cmdlog *log) {
  if (!temp_file) return;
  Kes_err *err = nullptr;
  if (log)
    for (int i = 0; !err && i < log->count; i++)
      if (log->lines[i]) err = fprintf_N_check(temp_file, temp_name, "%s\n", log->lines[i]);
  if (!err && fflush(temp_file) != 0) err = fprintf_err_message(temp_name);
  if (!err) {
    rewind(temp_file);
    err = lock();
    if (!err) {
      err = open("a");
      // Where the record begins: a failed append is cut off there again, so
      // that the log never keeps a partial record.
      off_t end = err ? -1 : ftello(stream);
      char buf[1024];
      while (!err && fgets(buf, sizeof buf, temp_file))
        err = fputs_N_check(buf, stream, fullname);
      if (!err && ferror(temp_file)) err = fprintf_err_message(temp_name);
      Kes_err *cerr = close();
      if (!err) err = cerr;
      else delete cerr;
      if (err && end >= 0 && truncate(fullname, end) != 0) {
        // The partial record stays; the message below still says why.
      }
      unlock();
    }
  }
  drop_temp();
  Kes_err_owner(err).report();
}

Kes_err *Kes_md_history::print() {
  Kes_err *err = open("r");
  if (err || !stream) return err;
  // open has read the version line already.
  char buf[1024];
  while (!err && fgets(buf, sizeof buf, stream)) err = fputs_N_check(buf, stdout, "stdout");
  if (!err && fflush(stdout) != 0) err = fprintf_err_message("stdout");
  Kes_err *cerr = close();
  if (!err) return cerr;
  delete cerr;
  return err;
}

Kes_err *Kes_md_history::get_contents(Kes_list *list) {
  Kes_err *err = open("r");
  if (err || !stream) return err;

  // The logical lines: a trailing backslash joins the next line, a line longer
  // than the buffer is put together again.  A last line without its newline,
  // as when an append is read while it happens, is taken as it stands.  Lines
  // are read whole, so that a zero byte, which no writer puts there, is dropped
  // rather than cutting its line short and running the next one into it.
  Kes_strlist lines;
  std::string line;
  char *buf = nullptr;
  size_t cap = 0;
  ssize_t n;
  while ((n = getline(&buf, &cap, stream)) > 0) {
    for (ssize_t i = 0; i < n; i++)
      if (buf[i]) line += buf[i];
    if (line.empty() || line.back() != '\n') continue;
    line.pop_back();
    if (!line.empty() && line.back() == '\\') {
      line.pop_back();
      continue;
    }
    lines.add_new_data(kes_strdup(line.c_str()));
    line.clear();
  }
  free(buf);
  if (!line.empty()) lines.add_new_data(kes_strdup(line.c_str()));
  if (ferror(stream)) err = (new Kes_err)->format_msg(
      1001, errno, BWM_MSG(6001, "Read of \"%s\" failed"), fullname);
  Kes_err *cerr = close();
  if (err) {
    delete cerr;
    return err;
  }
  if (cerr) return cerr;

  int last = -1;
  std::string command, comment;
  Kes_history *rec = (Kes_history *)list->create_data();
  // Stores the texts in the record; appends it if it holds anything and gives
  // the next one.
  auto finish_record = [&](bool at_end) {
    if (!command.empty()) kes_str_replace(&rec->command_text, command.c_str());
    if (!comment.empty()) kes_str_replace(&rec->comment, comment.c_str());
    command.clear();
    comment.clear();
    if (has_data(rec)) {
      list->add_new_data(rec);
      rec = at_end ? nullptr : (Kes_history *)list->create_data();
    } else if (at_end) {
      list->delete_data(rec);
      rec = nullptr;
    }
  };

  for (Kes_listelem *e = lines.head.next; e != &lines.head; e = e->next) {
    const char *l = (const char *)e->data;
    int index = keyword_index(l);
    if (index <= last) finish_record(false);
    const char *rest = index < K_TEXT ? l + keywords[index].bytes : l;
    switch (index) {
    case K_COMMAND: {
      command = std::string(rest) + "\n";
      const char *p = rest;
      while (*p == ' ' || *p == '\t') p++;
      std::string word(p, strcspn(p, " \t"));
      size_t slash = word.rfind('/');
      if (slash != std::string::npos) word.erase(0, slash + 1);
      kes_str_replace(&rec->command_name, word.c_str());
      break;
    }
    case K_BEGIN_COMMENT:
    case K_END_COMMENT: break;
    case K_CWD: kes_str_replace(&rec->cwd, rest); break;
    case K_RELEASE: kes_str_replace(&rec->release, rest); break;
    case K_HOST: kes_str_replace(&rec->host, rest); break;
    case K_USER: kes_str_replace(&rec->user, rest); break;
    case K_RTI: kes_str_replace(&rec->rti, rest); break;
    case K_FREEZEPOINT: kes_str_replace(&rec->freezepoint_file, rest); break;
    case K_STATUS: kes_str_replace(&rec->status, rest); break;
    case K_PARENT: set_pair(rest, &rec->parent_name, &rec->parent_netname); break;
    case K_CHILD: set_pair(rest, &rec->child_name, &rec->child_netname); break;
    case K_START: set_pair(rest, &rec->start_local, &rec->start_gmt); break;
    case K_END: set_pair(rest, &rec->end_local, &rec->end_gmt); break;
    default:
      (last == K_BEGIN_COMMENT ? comment : command) += std::string(l) + "\n";
      continue;  // text leaves the last keyword as it was
    }
    last = index;
  }
  finish_record(true);
  return nullptr;
}

// ---- the workspace's members for the log ----

Kes_err *Kes_workspace::print_history() {
  Kes_md_history *md = nullptr;
  Kes_err *err = get_md_history(&md);
  if (err) return err;
  err = md->print();
  delete md;
  return err;
}
