// freezept_control, the settings for automatic freezepoints: Kes_autofr and
// Kes_md_autofr.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_str.h"
#include "workspace/kes_md_freezept_control.h"

namespace {
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
  kes_md_split_key(line, &key, &value);
  if (!value) return nullptr;
  int v = kes_md_first_word_is(value, "yes");
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
  *text = kes_strdup(static_cast<char *>(entry));
}

Kes_err *Kes_md_autofr::create_default_file() {
  return close_whole(open("w"));
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
  for (const auto &k : keys) out->add_new_data(kes_md_keyed_line(k.key, k.value ? "yes" : "no"));
}

Kes_err *Kes_md_autofr::save(Kes_autofr *settings) {
  int fresh = !exists();
  if (fresh)
    if (Kes_err *e = create_default_file()) return e;
  Kes_strlist lines;
  make_lines(settings, fresh, &lines);
  return put_contents(&lines);
}
