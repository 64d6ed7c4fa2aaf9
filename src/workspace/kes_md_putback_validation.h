// putback_validation: what a putback into this workspace must satisfy.  Lines
// of a key, blanks or tabs, and a value:
//   putback-validation  on|off
//   override-ac         yes|no
//   auto-approved       yes|no
//   validation-program  the rest of the line
#ifndef BRINDLE_WORKSPACE_KES_MD_PUTBACK_VALIDATION_H
#define BRINDLE_WORKSPACE_KES_MD_PUTBACK_VALIDATION_H

#include "workspace/kes_metadata.h"

class Kes_pbval {
public:
  int on;
  int over;
  int auto_;  // "auto" in the file's terms
  char *prog;

  Kes_pbval() : Kes_pbval(0, 1, 1, nullptr) {}
  Kes_pbval(int on, int over, int auto_approved, const char *prog);
  ~Kes_pbval();
  Kes_pbval(const Kes_pbval &) = delete;
  Kes_pbval &operator=(const Kes_pbval &) = delete;

  void set_on(int v) { on = v; }
  void set_over(int v) { over = v; }
  void set_auto(int v) { auto_ = v; }
  void set_prog(const char *p);
  Kes_pbval *copy();
  int compare(Kes_pbval *other);
  void print();
};

class Kes_md_pbval : public Kes_metadata {
public:
  Kes_pbval pbval;  // what parse has read

  Kes_md_pbval(Kes_workspace *ws, const char *metadata_dir)
      : Kes_metadata(ws, metadata_dir, "putback_validation", 2) {}
  // Stores into pbval and gives no entry.
  [[nodiscard]] Kes_err *parse(char *line, void **entry, Kes_strlist *comments) override;
  void format_comment(void *entry, char **text) override;  // nothing
  void format_entry(void *entry, char **text) override;    // the string

  // The file's lines for the settings, each key padded to 20 columns.
  static void make_lines(Kes_pbval *settings, Kes_strlist *out);
  // Writes the settings the way the properties dialog does, creating the file
  // when it is missing.
  [[nodiscard]] Kes_err *save(Kes_pbval *settings);
};

#endif
