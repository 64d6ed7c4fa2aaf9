// putback_validation, what a putback into a workspace must satisfy: Kes_pbval
// and Kes_md_pbval.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_str.h"
#include "workspace/kes_md_putback_validation.h"

Kes_pbval::Kes_pbval(int on_, int over_, int auto_approved, const char *prog_)
    : on(on_), over(over_), auto_(auto_approved), prog(kes_strdup(prog_)) {}

Kes_pbval::~Kes_pbval() { free(prog); }

void Kes_pbval::set_prog(const char *p) { kes_str_replace(&prog, p); }

Kes_pbval *Kes_pbval::copy() { return new Kes_pbval(on, over, auto_, prog); }

int Kes_pbval::compare(Kes_pbval *o) {
  if (!o || on != o->on || over != o->over || auto_ != o->auto_) return 0;
  if (!prog || !o->prog) return !prog && !o->prog;
  return strcmp(prog, o->prog) == 0;
}

void Kes_pbval::print() { printf("prog: %s\t\n", prog ? prog : "null"); }

Kes_err *Kes_md_pbval::parse(char *line, void **entry, Kes_strlist *comments) {
  *entry = nullptr;
  char *key, *value;
  kes_md_split_key(line, &key, &value);
  if (!value) return nullptr;
  if (!strcmp(key, "putback-validation")) pbval.on = kes_md_first_word_is(value, "on");
  else if (!strcmp(key, "override-ac")) pbval.over = kes_md_first_word_is(value, "yes");
  else if (!strcmp(key, "auto-approved")) pbval.auto_ = kes_md_first_word_is(value, "yes");
  else if (!strcmp(key, "validation-program")) pbval.set_prog(value);
  return nullptr;
}

void Kes_md_pbval::format_comment(void *entry, char **text) { *text = nullptr; }

void Kes_md_pbval::format_entry(void *entry, char **text) {
  *text = kes_strdup(static_cast<char *>(entry));
}

void Kes_md_pbval::make_lines(Kes_pbval *s, Kes_strlist *out) {
  out->add_new_data(kes_md_keyed_line("putback-validation", s->on ? "on" : "off"));
  out->add_new_data(kes_md_keyed_line("override-ac", s->over ? "yes" : "no"));
  out->add_new_data(kes_md_keyed_line("auto-approved", s->auto_ ? "yes" : "no"));
  if (s->prog) out->add_new_data(kes_md_keyed_line("validation-program", s->prog));
}

Kes_err *Kes_md_pbval::save(Kes_pbval *settings) {
  // Creates a missing file with its version line: put_contents only replaces.
  if (Kes_err *e = open("a")) return e;
  if (Kes_err *e = close()) return e;
  Kes_strlist lines;
  make_lines(settings, &lines);
  return put_contents(&lines);
}
