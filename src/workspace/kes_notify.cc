// Notification: Kes_notify, its lists, Kes_md_notify, and the workspace's notification
// operations.
#include "workspace/kes_notify.h"

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "util/kes_err.h"
#include "util/kes_host.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"
#include "workspace/kes_workspace.h"

namespace {

// The events are the operations of the access control file.
const char *const events[] = {
    "bringover-from",   "bringover-to",   "putback-from",       "putback-to",
    "undo",             "workspace-delete", "workspace-move", "workspace-reparent",
    "workspace-reparent-to",
};

// The keywords of the file are never translated, so they are filled into the
// translated comment rather than written in it.
const char *kBegin = "BEGIN";
const char *kEnd = "END";

// The blank-separated words of a line.
std::vector<std::string> words(const char *line) {
  std::vector<std::string> out;
  const char *p = line;
  for (;;) {
    while (*p && isspace((unsigned char)*p)) p++;
    if (!*p) break;
    const char *start = p;
    while (*p && !isspace((unsigned char)*p)) p++;
    out.emplace_back(start, p - start);
  }
  return out;
}

}  // namespace

int check_event_entry(const char *word) {
  for (const char *e : events)
    if (strcmp(e, word) == 0) return 1;
  return 0;
}

void Kes_md_notify::create_default_string1(char **text) {
  *text = kes_format_alloc(
      BWM_MSG(7001,
              "#\n# A workspace's notification file.\n#\n# Note: Because this file is edited "
              "manually, you may\n#       want to maintain it using SCCS.\n#\n# The format for "
              "each entry is:\n#\n#       email_address event ...\n#       %s\n#       file1\n"
              "#       dir\n#       .\n#       .\n#       .\n#       %s\n#\n# where "
              "<email_address> is the address to which the mail will be sent;\n# <event> is one "
              "of the following:\n#       %s\n#       %s\n#       %s\n#       %s\n#       %s\n"
              "#       %s\n#       %s\n#       %s\n#       %s\n"),
      kBegin, kEnd, events[0], events[1], events[2], events[3], events[4], events[5], events[6],
      events[7], events[8]);
}

void Kes_md_notify::create_default_string2(char **text) {
  *text = kes_format_alloc(
      BWM_MSG(7002,
              "#\n# The bringover, putback, and undo events can include a list of files and\n"
              "# directories to be associated with the event.  When a directory is listed,\n"
              "# all files hierarchically beneath it are registered.  The list must be\n"
              "# delimited by BEGIN and END statements.  To get registration for all files\n"
              "# in the workspace, use a list of \".\", an empty list, or no list.\n#\n"
              "# The following is a sample notification file:\n#\n"
              "#       user1@host1 bringover-to\n#       %s\n#       dir/foo.cc\n"
              "#       dir/bar.cc\n#       %s\n#       user2@host2 bringover-to putback-to\n"
              "#       %s\n#       .\n#       %s\n#       user2@host2 workspace-move\n#\n\n"),
      kBegin, kEnd, kBegin, kEnd);
}

Kes_err *Kes_md_notify::create_default_file() {
  Kes_err *err = open("w");
  if (err) return err;
  char *one = nullptr;
  char *two = nullptr;
  create_default_string1(&one);
  create_default_string2(&two);
  err = fputs_N_check(one, stream, fullname);
  if (!err) err = fputs_N_check(two, stream, fullname);
  free(one);
  free(two);
  return close_whole(err);
}

Kes_notify::Kes_notify() : comments(nullptr), email_addr(nullptr), events(new Kes_strlist), files(nullptr) {}

Kes_notify::~Kes_notify() {
  delete comments;
  free(email_addr);
  delete events;
  delete files;
}

void Kes_notify::set_cmtlist(Kes_strlist *c) {
  delete comments;
  comments = c;
}

void Kes_notify::set_emailaddr(const char *addr) {
  free(email_addr);
  email_addr = addr ? strdup(addr) : nullptr;
}

Kes_notify *Kes_notify::copy() {
  Kes_notify *n = new Kes_notify;
  n->set_cmtlist(comments ? (Kes_strlist *)comments->copy() : nullptr);
  n->set_emailaddr(email_addr);
  delete n->events;
  n->events = (Kes_strlist *)events->copy();
  n->files = files ? (Kes_strlist *)files->copy() : nullptr;
  return n;
}

void Kes_notify::print() {
  if (comments)
    for (Kes_listelem *e = comments->head.next; e != &comments->head; e = e->next)
      printf("%s\n", (char *)e->data);
  printf("%s\t", email_addr ? email_addr : "");
  for (Kes_listelem *e = events->head.next; e != &events->head; e = e->next)
    printf("%s ", (char *)e->data);
  printf("\n");
  if (files)
    for (Kes_listelem *e = files->head.next; e != &files->head; e = e->next)
      printf("\t%s\n", (char *)e->data);
}

int Kes_notify::compare(Kes_notify *other) {
  if (!other || !kes_str_compare(email_addr, other->email_addr)) return 0;
  if (!events->compare(other->events)) return 0;
  if (!files || !other->files) return files == other->files;
  return files->compare(other->files);
}

int Kes_notify::key_equal(Kes_notify *other) {
  if (!other || !kes_str_compare(email_addr, other->email_addr)) return 0;
  Kes_strlist *a = (Kes_strlist *)events->copy();
  Kes_strlist *b = (Kes_strlist *)other->events->copy();
  a->sort(kes_strlist_compare);
  b->sort(kes_strlist_compare);
  int equal = a->compare(b);
  delete a;
  delete b;
  return equal;
}

Kes_notifylist::~Kes_notifylist() { clear(); }
Kes_list *Kes_notifylist::create_list() { return new Kes_notifylist; }
void *Kes_notifylist::create_data() { return new Kes_notify; }
void *Kes_notifylist::copy_data(void *data) { return ((Kes_notify *)data)->copy(); }
void Kes_notifylist::delete_data(void *data) { delete (Kes_notify *)data; }
void Kes_notifylist::print_data(void *data) { ((Kes_notify *)data)->print(); }
int Kes_notifylist::compare_datas(void *a, void *b) {
  return ((Kes_notify *)a)->compare((Kes_notify *)b);
}

void Kes_notifylist::get_event(const char *event) {
  for (Kes_listelem *e = head.next, *next; e != &head; e = next) {
    next = e->next;
    Kes_notify *n = (Kes_notify *)e->data;
    if (!n->events->search([](void *d, void *arg) { return strcmp((char *)d, (char *)arg) == 0 ? 1 : 0; },
                           const_cast<char *>(event)))
      delete_elem(e);
  }
}

Kes_notifyline::Kes_notifyline(const char *l, Kes_strlist *c)
    : line(strdup(l ? l : "")), comments(c ? (Kes_strlist *)c->copy() : nullptr) {
  if (!line) kes_new_handler();
}

Kes_notifyline::~Kes_notifyline() {
  free(line);
  delete comments;
}

int Kes_notifyline::get_no_of_lines() { return (comments ? comments->count : 0) + 1; }

Kes_notifyline_list::~Kes_notifyline_list() { clear(); }
Kes_list *Kes_notifyline_list::create_list() { return new Kes_notifyline_list; }
void *Kes_notifyline_list::create_data() { return new Kes_notifyline("", nullptr); }
void *Kes_notifyline_list::copy_data(void *data) {
  Kes_notifyline *l = (Kes_notifyline *)data;
  return new Kes_notifyline(l->line, l->comments);
}
void Kes_notifyline_list::delete_data(void *data) { delete (Kes_notifyline *)data; }
void Kes_notifyline_list::print_data(void *data) {
  fprintf(stderr, "\t%s\n", ((Kes_notifyline *)data)->line);
}
int Kes_notifyline_list::compare_datas(void *a, void *b) {
  return kes_str_compare(((Kes_notifyline *)a)->line, ((Kes_notifyline *)b)->line);
}

Kes_err *Kes_md_notify::parse(char *line, void **entry, Kes_strlist *comments) {
  *entry = new Kes_notifyline(line, comments && comments->count ? comments : nullptr);
  return nullptr;
}

Kes_err *Kes_md_notify::get_contents(Kes_list *list) {
  Kes_notifyline_list lines;
  Kes_err *err = Kes_metadata::get_contents(&lines, 0);
  if (err) return err;
  int counter = 1;
  while (lines.count) {
    Kes_listelem *first = lines.head.next;
    Kes_notifyline *nl = (Kes_notifyline *)first->data;
    counter += nl->get_no_of_lines();
    std::vector<std::string> w = words(nl->line);
    if (w.size() < 2)
      return (new Kes_err)->format_msg(
          2067, 0,
          BWM_MSG(7003, "Corrupted file - \"%s\", missing notification event, line %d.  Can't send notification"),
          fullname, counter);
    Kes_notify *n = new Kes_notify;
    n->set_cmtlist(nl->comments ? (Kes_strlist *)nl->comments->copy() : nullptr);
    n->set_emailaddr(w[0].c_str());
    for (size_t i = 1; i < w.size(); i++) n->events->add_new_copy(const_cast<char *>(w[i].c_str()));
    lines.delete_elem(first);
    list->add_new_data(n);

    if (!lines.count) break;
    nl = (Kes_notifyline *)lines.head.next->data;
    w = words(nl->line);
    if (w.empty() || w[0] != kBegin) continue;
    counter += nl->get_no_of_lines();
    if (w.size() > 1)
      return (new Kes_err)->format_msg(
          2052, 0,
          BWM_MSG(7004, "Corrupted file - \"%s\", text after \"BEGIN\", line %d.  Can't send notification"),
          fullname, counter);
    lines.delete_elem(lines.head.next);
    for (;;) {
      if (!lines.count)
        return (new Kes_err)->format_msg(
            2054, 0,
            BWM_MSG(7005, "Corrupted file - \"%s\", missing \"END\", line %d.  Can't send notification"),
            fullname, counter);
      nl = (Kes_notifyline *)lines.head.next->data;
      counter += nl->get_no_of_lines();
      w = words(nl->line);
      if (!w.empty() && w[0] == kEnd) {
        if (w.size() > 1)
          return (new Kes_err)->format_msg(
              2053, 0,
              BWM_MSG(7006, "Corrupted file - \"%s\", text after \"END\", line %d.  Can't send notification"),
              fullname, counter);
        lines.delete_elem(lines.head.next);
        break;
      }
      // "." stands for all files, the same as no list.
      if (!w.empty() && w[0] != ".") {
        if (!n->files) n->files = new Kes_strlist;
        n->files->add_new_copy(const_cast<char *>(w[0].c_str()));
      }
      lines.delete_elem(lines.head.next);
    }
  }
  return nullptr;
}

void Kes_md_notify::format_comment(void *entry, char **text) {
  *text = kes_md_comment_text(static_cast<Kes_notify *>(entry)->comments);
}

void Kes_md_notify::format_entry(void *entry, char **text) {
  *text = nullptr;
  Kes_notify *n = (Kes_notify *)entry;
  if (!n->email_addr || n->events->count == 0) return;
  std::string out = n->email_addr;
  for (Kes_listelem *e = n->events->head.next; e != &n->events->head; e = e->next) {
    out += ' ';
    out += (char *)e->data;
  }
  kes_md_end_line(&out);
  if (n->files) {
    out += std::string(kBegin) + "\n";
    for (Kes_listelem *e = n->files->head.next; e != &n->files->head; e = e->next) {
      std::string name = (char *)e->data;
      kes_md_end_line(&name);
      out += name;
    }
    out += std::string(kEnd) + "\n";
  }
  *text = kes_format_alloc("%s", out.c_str());
}

Kes_err *Kes_workspace::get_notifications(const char *event, Kes_notifylist **list) {
  *list = new Kes_notifylist;
  if (!exists()) return nullptr;
  Kes_md_notify *md = nullptr;
  Kes_err *err = get_md_notify(&md);
  if (err) return err;
  err = md->get_contents(*list);
  if (!err && event) {
    (*list)->get_event(event);
    // The usual mistake is a second address on an entry's line; the entry
    // still gets its mail.
    for (Kes_listelem *e = (*list)->head.next; e != &(*list)->head; e = e->next) {
      Kes_notify *n = (Kes_notify *)e->data;
      for (Kes_listelem *w = n->events->head.next; w != &n->events->head; w = w->next)
        if (!check_event_entry((char *)w->data))
          kes_issue_warning(2623, 0,
                            BWM_MSG(7007, "Mail_addr \"%s\" is in wrong position in file %s.\nNotification for the event %s will not be sent\n"),
                            (char *)w->data, md->fullname, event);
    }
  }
  delete md;
  return err;
}

Kes_err *Kes_workspace::print_notifications() {
  Kes_notifylist *list = nullptr;
  Kes_err *err = get_notifications(nullptr, &list);
  if (!err) list->print();
  delete list;
  return err;
}

