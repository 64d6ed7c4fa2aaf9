// notification: who wants mail when something happens to a workspace.  An
// entry is an address and the events, optionally followed by a list of files
// between "BEGIN" and "END":
//
//   user@host bringover-to putback-to
//   BEGIN
//   dir/file.c
//   END
//
// A new workspace gets a file that holds only the explaining comment.
#ifndef BRINDLE_WORKSPACE_KES_NOTIFY_H
#define BRINDLE_WORKSPACE_KES_NOTIFY_H

#include "util/kes_list.h"
#include "workspace/kes_metadata.h"

// One registration.
class Kes_notify {
public:
  Kes_strlist *comments;  // may be null
  char *email_addr;
  Kes_strlist *events;
  Kes_strlist *files;     // null: all files

  Kes_notify();
  ~Kes_notify();
  Kes_notify(const Kes_notify &) = delete;
  Kes_notify &operator=(const Kes_notify &) = delete;

  void set_cmtlist(Kes_strlist *comments);  // takes it over
  void set_emailaddr(const char *addr);
  Kes_notify *copy();
  void print();
  int compare(Kes_notify *other);    // address, events and files
  int key_equal(Kes_notify *other);  // address and the sorted events
};

class Kes_notifylist : public Kes_list {
public:
  ~Kes_notifylist() override;
  Kes_list *create_list() override;
  void *create_data() override;
  void *copy_data(void *data) override;
  void delete_data(void *data) override;
  void print_data(void *data) override;
  int compare_datas(void *a, void *b) override;
  // Drops every entry whose events do not hold event.
  void get_event(const char *event);
};

// A logical line of the file with the comments before it; used while parsing.
class Kes_notifyline {
public:
  char *line;
  Kes_strlist *comments;

  Kes_notifyline(const char *line, Kes_strlist *comments);  // copies both
  ~Kes_notifyline();
  Kes_notifyline(const Kes_notifyline &) = delete;
  Kes_notifyline &operator=(const Kes_notifyline &) = delete;
  // The physical lines it took in the file, for the line numbers of messages.
  int get_no_of_lines();
};

class Kes_notifyline_list : public Kes_list {
public:
  ~Kes_notifyline_list() override;
  Kes_list *create_list() override;
  void *create_data() override;
  void *copy_data(void *data) override;
  void delete_data(void *data) override;
  void print_data(void *data) override;
  int compare_datas(void *a, void *b) override;
};

class Kes_md_notify : public Kes_metadata {
public:
  Kes_md_notify(Kes_workspace *ws, const char *metadata_dir)
      : Kes_metadata(ws, metadata_dir, "notification", 1) {}
  using Kes_metadata::get_contents;
  // Reads the entries into list, a Kes_notifylist.  A damaged entry stops the
  // reading with an error that says no mail goes out.
  [[nodiscard]] Kes_err *get_contents(Kes_list *list) override;
  // Makes a Kes_notifyline.
  [[nodiscard]] Kes_err *parse(char *line, void **entry, Kes_strlist *comments) override;
  void format_comment(void *entry, char **text) override;
  void format_entry(void *entry, char **text) override;
  // The version line and the two comment blocks.
  [[nodiscard]] Kes_err *create_default_file();
  // The two comment blocks, with the keywords and event names filled in;
  // malloc-ed, for the caller to free.
  static void create_default_string1(char **text);
  static void create_default_string2(char **text);
};

// 1 for the nine event words of the file.
int check_event_entry(const char *word);

#endif
