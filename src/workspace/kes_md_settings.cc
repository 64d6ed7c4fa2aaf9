// The two settings files edited in the workspace properties: freezept_control
// and putback_validation.
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "util/kes_err.h"
#include "util/kes_list.h"
#include "workspace/kes_md_autofr.h"
#include "workspace/kes_md_pbval.h"

namespace {
// Splits "key<blanks>value" in place: key ends at the first blank, value
// starts at the next non-blank.  value is null when there is none.
void split_key(char *line, char **key, char **value) {
  while (isspace(static_cast<unsigned char>(*line))) line++;
  *key = line;
  while (*line && !isspace(static_cast<unsigned char>(*line))) line++;
  if (*line) *line++ = '\0';
  while (isspace(static_cast<unsigned char>(*line))) line++;
  *value = *line ? line : nullptr;
}

// The first word of value, compared with word.
bool first_word_is(const char *value, const char *word) {
  size_t n = strlen(word);
  return strncmp(value, word, n) == 0 &&
         (value[n] == '\0' || isspace(static_cast<unsigned char>(value[n])));
}

// "key", blanks to 20 columns (at least one), value, newline.
std::string keyed_line(const char *key, const char *value) {
  std::string s = key;
  do s += ' ';
  while (s.size() < 20);
  return s + value + "\n";
}

const char *yes_no(int v) { return v ? "yes" : "no"; }

const char kAutofrComment[] =
    "#\n# Settings to create autofreezepoints before and after transactions:\n#\n"
    "# Key names:\n# before_bringover\n# after_bringover\n# before_putback\n"
    "# after_putback\n# before_resolve\n# after_resolve\n# before_undo\n# after_undo\n#\n"
    "# Allowed values:\n# yes\n# no\n#\n# Separator:\n# tabs or spaces\n#\n"
    "# Examples:\n# before_putback yes\n# after_resolve yes\n# before_undo no\n\n";
}  // namespace

Kes_autofr::Kes_autofr(int bbr, int abr, int bpb, int apb, int bun, int aun, int bres,
                       int ares)
    : before_br(bbr), after_br(abr), before_pb(bpb), after_pb(apb), before_undo(bun),
      after_undo(aun), before_res(bres), after_res(ares) {}

Kes_autofr *Kes_autofr::copy() {
  return new Kes_autofr(before_br, after_br, before_pb, after_pb, before_undo, after_undo,
                        before_res, after_res);
}

int Kes_autofr::compare(Kes_autofr *o) {
  return o && before_br == o->before_br && after_br == o->after_br &&
         before_pb == o->before_pb && after_pb == o->after_pb &&
         before_undo == o->before_undo && after_undo == o->after_undo &&
         before_res == o->before_res && after_res == o->after_res;
}

// The resolve keys are not recognised: they are written, never read back.
Kes_err *Kes_md_autofr::parse(char *line, void **entry, Kes_strlist *comments) {
  *entry = nullptr;
  char *key, *value;
  split_key(line, &key, &value);
  if (!value) return nullptr;
  int v = first_word_is(value, "yes");
  if (!strcmp(key, "before_bringover")) autofr.before_br = v;
  else if (!strcmp(key, "after_bringover")) autofr.after_br = v;
  else if (!strcmp(key, "before_putback")) autofr.before_pb = v;
  else if (!strcmp(key, "after_putback")) autofr.after_pb = v;
  else if (!strcmp(key, "before_undo")) autofr.before_undo = v;
  else if (!strcmp(key, "after_undo")) autofr.after_undo = v;
  return nullptr;
}

void Kes_md_autofr::format_comment(void *entry, char **text) { *text = nullptr; }

void Kes_md_autofr::format_entry(void *entry, char **text) {
  *text = entry ? strdup(static_cast<char *>(entry)) : nullptr;
}

Kes_err *Kes_md_autofr::create_default_file() {
  Kes_err *e = open("w");
  Kes_err *c = close();
  if (e) {
    delete c;
    return e;
  }
  return c;
}

void Kes_md_autofr::make_lines(Kes_autofr *s, int with_comment, Kes_strlist *out) {
  if (with_comment) out->add_new_data(strdup(kAutofrComment));
  const struct {
    const char *key;
    int value;
  } keys[] = {{"before_bringover", s->before_br}, {"after_bringover", s->after_br},
              {"before_putback", s->before_pb},   {"after_putback", s->after_pb},
              {"before_undo", s->before_undo},    {"after_undo", s->after_undo},
              {"before_resolve", s->before_res},  {"after_resolve", s->after_res}};
  for (const auto &k : keys) out->add_new_data(strdup(keyed_line(k.key, yes_no(k.value)).c_str()));
}

Kes_err *Kes_md_autofr::save(Kes_autofr *settings) {
  int fresh = !exists();
  if (fresh)
    if (Kes_err *e = create_default_file()) return e;
  Kes_strlist lines;
  make_lines(settings, fresh, &lines);
  return put_contents(&lines);
}

Kes_pbval::Kes_pbval(int on_, int over_, int auto_approved, const char *prog_)
    : on(on_), over(over_), auto_(auto_approved), prog(prog_ ? strdup(prog_) : nullptr) {}

Kes_pbval::~Kes_pbval() { free(prog); }

void Kes_pbval::set_prog(const char *p) {
  free(prog);
  prog = p ? strdup(p) : nullptr;
}

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
  split_key(line, &key, &value);
  if (!value) return nullptr;
  if (!strcmp(key, "putback-validation")) pbval.on = first_word_is(value, "on");
  else if (!strcmp(key, "override-ac")) pbval.over = first_word_is(value, "yes");
  else if (!strcmp(key, "auto-approved")) pbval.auto_ = first_word_is(value, "yes");
  else if (!strcmp(key, "validation-program")) pbval.set_prog(value);
  return nullptr;
}

void Kes_md_pbval::format_comment(void *entry, char **text) { *text = nullptr; }

void Kes_md_pbval::format_entry(void *entry, char **text) {
  *text = entry ? strdup(static_cast<char *>(entry)) : nullptr;
}

void Kes_md_pbval::make_lines(Kes_pbval *s, Kes_strlist *out) {
  out->add_new_data(strdup(keyed_line("putback-validation", s->on ? "on" : "off").c_str()));
  out->add_new_data(strdup(keyed_line("override-ac", yes_no(s->over)).c_str()));
  out->add_new_data(strdup(keyed_line("auto-approved", yes_no(s->auto_)).c_str()));
  if (s->prog) out->add_new_data(strdup(keyed_line("validation-program", s->prog).c_str()));
}

Kes_err *Kes_md_pbval::save(Kes_pbval *settings) {
  // Creates a missing file with its version line: put_contents only replaces.
  if (Kes_err *e = open("a")) return e;
  if (Kes_err *e = close()) return e;
  Kes_strlist lines;
  make_lines(settings, &lines);
  return put_contents(&lines);
}
