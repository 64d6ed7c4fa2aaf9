// Kes_description and Kes_md_description, the text that describes a workspace.
#include "workspace/kes_md_description.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"

Kes_err *Kes_md_description::get_contents(Kes_list *list) {
  if (Kes_err *e = open("r")) return e;
  if (!stream) return nullptr;
  char buf[1024];
  while (fgets(buf, sizeof buf, stream)) {
    size_t n = strlen(buf);
    if (n && buf[n - 1] == '\n') buf[n - 1] = '\0';
    list->add_new_data(strdup(buf));
  }
  return close();
}

void Kes_md_description::format_comment(void *entry, char **text) { *text = nullptr; }

void Kes_md_description::format_entry(void *entry, char **text) {
  *text = entry ? strdup(static_cast<char *>(entry)) : nullptr;
}

Kes_description::~Kes_description() {
  free(name);
  free(text);
}

Kes_err *Kes_description::init_description(Kes_strlist *lines) {
  free(name);
  free(text);
  name = text = nullptr;
  if (!lines || lines->count == 0) return nullptr;
  Kes_listelem *el = lines->head.next;
  auto at_end = [&] { return el == &lines->head; };
  auto line = [&] { return static_cast<const char *>(el->data); };
  if (!strcmp(line(), "NAME")) {
    el = el->next;
    if (at_end())
      return (new Kes_err)->format_msg(
          2070, 0, BWM_MSG(7501, "Description file is corrupted: has no name"));
    name = strdup(line());
    el = el->next;
    if (at_end()) return nullptr;
  }
  if (strcmp(line(), "DESCRIPTION") != 0)
    return (new Kes_err)->format_msg(
        2070, 0, BWM_MSG(7502, "Description file is corrupted: has no keyword for description"));
  std::string joined;
  for (el = el->next; !at_end(); el = el->next) {
    joined += line();
    joined += '\n';
  }
  text = strdup(joined.c_str());
  return nullptr;
}

char *Kes_description::make_description_line() {
  std::string s;
  if (name) s = s + "NAME\n" + name + "\n";
  if (text) s = s + "DESCRIPTION\n" + text;
  return strdup(s.c_str());
}

Kes_description *Kes_description::copy() {
  Kes_description *d = new Kes_description;
  d->name = name ? strdup(name) : nullptr;
  d->text = text ? strdup(text) : nullptr;
  return d;
}
