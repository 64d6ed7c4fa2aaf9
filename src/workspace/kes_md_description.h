// description: the workspace's short name and description.
//
//   NAME
//   <short name>
//   DESCRIPTION
//   <any number of lines>
//
// Both parts are optional.  "#" is not special here: every line is read as it
// stands.  To write, put one string (make_description_line) with put_contents.
#ifndef BRINDLE_WORKSPACE_KES_MD_DESCRIPTION_H
#define BRINDLE_WORKSPACE_KES_MD_DESCRIPTION_H

#include "workspace/kes_metadata.h"

class Kes_md_description : public Kes_metadata {
public:
  Kes_md_description(Kes_workspace *ws, const char *metadata_dir)
      : Kes_metadata(ws, metadata_dir, "description", 1) {}
  using Kes_metadata::get_contents;
  // Every line as it stands, newline cut, as strings: list is a Kes_strlist.
  [[nodiscard]] Kes_err *get_contents(Kes_list *list) override;
  void format_comment(void *entry, char **text) override;  // nothing
  void format_entry(void *entry, char **text) override;    // the string
};

class Kes_description {
public:
  char *name;
  char *text;  // each line with its newline

  Kes_description() : name(nullptr), text(nullptr) {}
  ~Kes_description();
  Kes_description(const Kes_description &) = delete;
  Kes_description &operator=(const Kes_description &) = delete;

  // From the file's lines; an empty or null list leaves both null.
  [[nodiscard]] Kes_err *init_description(Kes_strlist *lines);
  // The file text for name and text: malloc-ed, freed by the caller.
  char *make_description_line();
  Kes_description *copy();
};

#endif
