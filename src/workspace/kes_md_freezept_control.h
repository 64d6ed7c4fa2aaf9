// freezept_control: when to take a freezepoint automatically.  Lines of a key,
// blanks or tabs, and "yes" or "no".  The resolve keys are written but not read
// back: before_res and after_res always read as 0.
#ifndef BRINDLE_WORKSPACE_KES_MD_FREEZEPT_CONTROL_H
#define BRINDLE_WORKSPACE_KES_MD_FREEZEPT_CONTROL_H

#include "workspace/kes_metadata.h"

class Kes_autofr {
public:
  int before_br;
  int after_br;
  int before_pb;
  int after_pb;
  int before_undo;
  int after_undo;
  int before_res;
  int after_res;

  Kes_autofr()
      : Kes_autofr(0, 0, 0, 0, 0, 0, 0, 0) {}
  Kes_autofr(int before_br, int after_br, int before_pb, int after_pb, int before_undo,
             int after_undo, int before_res, int after_res);
  void set_before_br(int v) { before_br = v; }
  void set_after_br(int v) { after_br = v; }
  void set_before_pb(int v) { before_pb = v; }
  void set_after_pb(int v) { after_pb = v; }
  void set_before_undo(int v) { before_undo = v; }
  void set_after_undo(int v) { after_undo = v; }
  void set_before_res(int v) { before_res = v; }
  void set_after_res(int v) { after_res = v; }
  Kes_autofr *copy();
  int compare(Kes_autofr *other);  // 1 if all eight agree
};

class Kes_md_autofr : public Kes_metadata {
public:
  Kes_autofr autofr;  // what parse has read

  Kes_md_autofr(Kes_workspace *ws, const char *metadata_dir)
      : Kes_metadata(ws, metadata_dir, "freezept_control", 2) {}
  // Stores into autofr and gives no entry.
  [[nodiscard]] Kes_err *parse(char *line, void **entry, Kes_strlist *comments) override;
  void format_comment(void *entry, char **text) override;  // nothing
  void format_entry(void *entry, char **text) override;    // the string
  [[nodiscard]] Kes_err *create_default_file();

  // The file's lines for the settings, as the properties dialog saves them:
  // the explaining comment first when with_comment is set, then one
  // "key<blanks to 20 columns>yes|no" line per key.
  static void make_lines(Kes_autofr *settings, int with_comment, Kes_strlist *out);
  // Writes the settings the way the dialog does: a missing file is created and
  // begins with the comment.
  [[nodiscard]] Kes_err *save(Kes_autofr *settings);
};

#endif
