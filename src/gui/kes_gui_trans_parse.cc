// Kes_gui_trans: what the output lines mean (counts, conflicts, a blocked
// putback's bringover), the progress they show, and the verdict on the exit
// status.  Nothing here needs the X server.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_engine.h"
#include "gui/kes_gui_trans.h"
#include "gui/kes_trans_forms.h"
#include "gui/shells/trans_shell.h"
#include "toolkit/ss_gauge.h"
#include "transaction/kes_trans_state.h"

namespace {

// The line being gathered, shared by all runs: a last line without a newline
// stays here and the next run's first line follows it.
char line_buf[1025];
int line_len;

// "name: Brindle_wsdata/x": a file of the metadata directory, which counts for
// nothing.
int is_metadata_line(const char *line, int length) {
  const char *colon = static_cast<const char *>(memchr(line, ':', length));
  if (!colon) return 0;
  const char *p = colon + 1, *end = line + length;
  while (p < end && (*p == ' ' || *p == '\t')) p++;
  static const char kDir[] = "Brindle_wsdata/";
  const int n = sizeof kDir - 1;
  return end - p > n && strncmp(p, kDir, n) == 0 && p[n] != '\n';
}

}  // namespace

int Kes_gui_trans::begins(const char *line, int length, const char *word) {
  if (!word || !*word) return 0;
  int n = static_cast<int>(strlen(word));
  return n <= length && strncmp(line, word, n) == 0;
}

void Kes_gui_trans::process_buffer(const char *bytes, int count) {
  for (int i = 0; i < count; i++) {
    // A line longer than the buffer goes in pieces; only its first piece can
    // be recognised, and a blocked putback's command is then too large.
    if (line_len == 1024) {
      overflow = 1;
      line_buf[line_len] = '\0';
      process_line(line_buf, line_len);
      line_len = 0;
    }
    line_buf[line_len++] = bytes[i];
    if (bytes[i] == '\n') {
      overflow = 0;
      line_buf[line_len] = '\0';
      process_line(line_buf, line_len);
      line_len = 0;
    }
  }
}

int Kes_gui_trans::count_action_words(const char *line, int length) {
  static const struct {
    int state;
    int *(*field)(Kes_gui_trans *);
  } kWords[] = {
      {KES_TS_CREATE, [](Kes_gui_trans *t) { return &t->creates; }},
      {KES_TS_UPDATE, [](Kes_gui_trans *t) { return &t->updates; }},
      {KES_TS_UPDATE_PARENT_NH, [](Kes_gui_trans *t) { return &t->updates; }},
      {KES_TS_UPDATE_CHILDREN_NH, [](Kes_gui_trans *t) { return &t->updates; }},
      {KES_TS_RENAME_FROM, [](Kes_gui_trans *t) { return &t->renames; }},
      {KES_TS_CONFLICT, [](Kes_gui_trans *t) { return &t->conflicts; }},
      {KES_TS_NO_CHANGES_TO, [](Kes_gui_trans *t) { return &t->no_changes_seen; }},
  };
  // Every word is tried: a line about the parent's name history is also an
  // "update" line, and counts twice.
  int hit = 0;
  for (const auto &w : kWords) {
    if (!begins(line, length, engine->localized_str(w.state))) continue;
    int *field = w.field(this);
    *field = w.state == KES_TS_NO_CHANGES_TO ? 1 : *field + 1;
    hit = 1;
  }
  return hit;
}

int Kes_gui_trans::count_announcement(const char *line) {
  int hit = 0;
  for (const char *text : {engine->get_changes_contents_msg(), engine->get_changes_name_msg()}) {
    if (!begins(line, static_cast<int>(strlen(line)), text)) continue;
    int n = 0;
    const char *behind = line + strlen(text);
    if (*behind && sscanf(behind + 1, "%d", &n) == 1) changes += n;
    hit = 1;
  }
  return hit;
}

void Kes_gui_trans::process_line(const char *line, int length) {
  if (is_metadata_line(line, length)) {
    write_to_log(line, length);
    return;
  }
  int hit = count_action_words(line, length);
  write_to_log(line, length);
  if (hit) update_statistics_footer();
}

void Kes_gui_trans::process_announced_line(const char *line, int length) {
  if (!is_metadata_line(line, length) && count_announcement(line)) {
    write_to_log(line, length);
    update_statistics_footer();
    return;
  }
  Kes_gui_trans::process_line(line, length);
}

void Kes_gui_bringover::process_line(const char *line, int length) {
  if (begins(line, length, "Use \"") && strstr(line, "to resolve conflicts")) {
    conflicts_created = 1;  // the user gets the question instead
    return;
  }
  process_announced_line(line, length);
}

void Kes_gui_putback::process_line(const char *line, int length) {
  if (begins(line, length, "The bringover that needs to be done is:")) {
    blocked = expect_command = 1;
    write_to_log(line, length);
    return;
  }
  if (expect_command) {
    expect_command = 0;
    write_to_log(line, length);
    if (overflow) {
      too_large = 1;
      return;
    }
    std::string cmd(line, length);
    cmd = cmd.substr(0, cmd.find('\n'));
    cmd.erase(0, cmd.find_first_not_of(" \t") == std::string::npos ? cmd.size()
                                                                   : cmd.find_first_not_of(" \t"));
    cmd = command_prefix + cmd + command_suffix;
    free(bringover_command);
    bringover_command = strdup(cmd.c_str());
    return;
  }
  process_announced_line(line, length);
}

void Kes_gui_undo::process_line(const char *line, int length) {
  if (is_metadata_line(line, length)) {
    write_to_log(line, length);
    return;
  }
  int hit = count_announcement(line);
  if (begins(line, length, engine->localized_str(KES_TS_REMOVE))) removes++, hit = 1;
  if (begins(line, length, engine->localized_str(KES_TS_RESTORE))) restores++, hit = 1;
  if (begins(line, length, engine->localized_str(KES_TS_NO_CHANGES_TO)))
    no_changes_seen = 1, hit = 1;
  write_to_log(line, length);
  if (hit) update_statistics_footer();
}

namespace {

void show_progress(int value, int maximum) {
  if (trans_shell_c *t = get_trans_shell()) t->progress->set(value, maximum, 1);
  gui_debug("trans progress %d %d", value, maximum);
}

// The bar for done of the announced changes; a run that saw only "No changes
// to" shows it full.
void progress(Kes_gui_trans *t, int done) {
  if (t->no_changes_seen && done == 0 && t->changes == 0) {
    show_progress(100, 100);
    t->no_changes_seen = 0;
  } else {
    show_progress(std::min(done, t->changes), t->changes ? t->changes : 100);
  }
}

}  // namespace

void Kes_gui_trans::update_statistics_footer() {
  if (quiet) return;
  progress(this, updates + creates + conflicts + renames);
  char text[256];
  snprintf(text, sizeof text, GUI_MSG("%d changes, %d creates, %d updates, %d conflicts, %d renames"),
           changes, creates, updates, conflicts, renames);
  print_popup_footer(text);
}

void Kes_gui_undo::update_statistics_footer() {
  if (quiet) return;
  progress(this, removes + restores);
  char text[128];
  snprintf(text, sizeof text, GUI_MSG("%d removes, %d restores"), removes, restores);
  print_popup_footer(text);
}

int Kes_gui_trans::final_status() const {
  if (abnormal) return -2;
  if (stopped) return -1;
  return exit_status;
}

const char *kes_gui_exit_text(Kes_gui_trans_kind kind, int preview, int status, char *buf,
                              int size) {
  struct Verdict {
    int status;
    const char *real, *preview;
  };
  static const Verdict kBringover[] = {
      {-2, "Bringover failed due to abnormal termination",
       "Bringover preview failed due to abnormal termination"},
      {-1, "Bringover failed due to user stopping the process",
       "Bringover preview failed due to user stopping the process"},
      {0, "Bringover completed", "Bringover preview completed"},
      {1, "Bringover failed due to an error", "Bringover preview would fail due to an error"},
      {4, "Bringover completed, conflict(s) were created",
       "Bringover preview completed, conflict(s) would be created"},
      {99, "Bringover exited: %d - unknown exit code",
       "Bringover preview exited: %d - unknown exit code"},
  };
  static const Verdict kPutback[] = {
      {-2, "Putback failed due to abnormal termination",
       "Putback preview failed due to abnormal termination"},
      {-1, "Putback failed due to user stopping the process",
       "Putback preview failed due to user stopping the process"},
      {0, "Putback completed", "Putback preview completed"},
      {1, "Putback failed due to an error", "Putback preview would fail due to an error"},
      {2, "Putback blocked, bringover not executed  - no files put back",
       "Putback preview would block, would not execute bringover"},
      {3, "Putback blocked, executed bringover - no files were put back",
       "Putback preview would block, would execute bringover"},
      {4, "Putback blocked, executed bringover and created conflict(s) - no files were put back",
       "Putback preview would block, would execute bringover and create conflict(s)"},
      {99, "Putback exited: %d - unknown exit code",
       "Putback preview exited: %d - unknown exit code"},
  };
  static const Verdict kUndo[] = {
      {-2, "Undo failed due to abnormal termination",
       "Undo preview failed due to abnormal termination"},
      {-1, "Undo failed due to user stopping the process",
       "Undo preview failed due to user stopping the process"},
      {0, "Undo completed", "Undo preview completed"},
      {1, "Undo failed due to an error", "Undo preview would fail due to an error"},
      {99, "Undo exited: %d - unknown exit code", "Undo preview exited: %d - unknown exit code"},
  };
  const Verdict *table = kind == KES_TRANS_PUTBACK ? kPutback : kind == KES_TRANS_UNDO ? kUndo
                                                                                       : kBringover;
  const Verdict *v = table;
  while (v->status != status && v->status != 99) v++;
  snprintf(buf, size, GUI_MSG(preview ? v->preview : v->real), status);
  return buf;
}

void Kes_gui_trans::print_exit_status(int status) {
  char text[256];
  kes_gui_exit_text(kind, preview, status, text, sizeof text);
  print_footer(KES_GUI_LEFT_FOOTER, text);
  print_popup_footer(text);
  gui_debug("trans exit %d", status);
}
