// Kes_putback: the options, workspaces, comments, blocks, the bringover it
// calls for, the validation program, messages and mail of a putback.
#include "transaction/kes_putback.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "transaction/kes_blocks.h"
#include "transaction/kes_file.h"
#include "util/kes_err.h"
#include "util/kes_host.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_options.h"
#include "util/kes_path.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"
#include "util/kes_str.h"
#include "workspace/kes_access.h"
#include "workspace/kes_cmdlog.h"
#include "workspace/kes_history.h"
#include "workspace/kes_md_freezept_control.h"
#include "workspace/kes_md_putback_validation.h"
#include "workspace/kes_workspace.h"

namespace {

char stdout_buffer[1024];

const char *name_of(Kes_workspace *ws) { return ws && ws->wsname ? ws->wsname : ""; }
const char *cmd_name() { return kes_get_base_cmdname() ? kes_get_base_cmdname() : "putback"; }

// The options, in the order of the usage text.
const Kes_option kOptions[] = {
    {'w', "child_ws"},     {'p', "parent_ws"},
    {'c', "comment"},      {'m', "comment_file"},
    {'f', "flp", KES_OPT_NEW_LINE | KES_OPT_REPEATS},
    {'n'}, {'b'}, {'g'}, {'q'}, {'v'}, {'B'}, {'d'},
    {'i', "include_file", KES_OPT_NEW_LINE}, {'x', "exclude_file"},
    {'M', "mr-list"},
};

// The parent's validation settings; none when it has no file.
Kes_err *validation_of(Kes_workspace *ws, int *on, int *over, int *auto_approved,
                       std::string *prog) {
  Kes_pbval *pbval = nullptr;
  Kes_err *err = ws->get_pbval(&pbval);
  if (err) return err;
  *on = pbval && pbval->on;
  if (over) *over = pbval && pbval->over;
  if (auto_approved) *auto_approved = pbval && pbval->auto_;
  if (prog) *prog = pbval && pbval->prog ? pbval->prog : "";
  delete pbval;
  return nullptr;
}

}  // namespace

const char *kes_putback_usage() {
  static const std::string text = kes_opt_usage(kOptions, "[files and dirs]");
  return text.c_str();
}

Kes_putback::Kes_putback(int argc, char **argv)
    : Kes_transaction(argc, argv),
      run_bringover(0),
      bringover_prog(strdup("bringover")),
      start_dir_fd(-1) {
  start_dir[0] = '\0';
  flags.accepts_parent_option = 1;
}

Kes_putback::~Kes_putback() {
  free(bringover_prog);
  if (start_dir_fd >= 0) ::close(start_dir_fd);
}

void Kes_putback::usage() {
  fflush(stdout);
  fprintf(stderr, BWM_MSG(12500, "Usage: %s %s\n"), cmd_name(), kes_putback_usage());
  exit(1);
}

int Kes_putback::take_own_option(int c, Kes_err **err) {
  *err = nullptr;
  if (c == 'b') {
    run_bringover = 1;
  } else if (c == 'M') {
    if (!integration_request) integration_request = strdup(optarg);
  } else {
    return 0;
  }
  return 1;
}

Kes_err *Kes_putback::parse_args() {
  Kes_err *err = parse_child_parent_args(kes_opt_string(kOptions).c_str());
  if (err) return err;
  if (run_bringover) {
    // A child named relative to here is named from here when the bringover runs.
    start_dir_fd = ::open(".", O_RDONLY | O_DIRECTORY);
    if (start_dir_fd < 0 || !kes_fchdir_supported()) {
      if (start_dir_fd >= 0) ::close(start_dir_fd);
      start_dir_fd = -1;
      if (!getcwd(start_dir, sizeof start_dir))
        return (new Kes_err)->format_msg(1039, errno, BWM_MSG(12501, "Getcwd failed"));
    }
  }
  return nullptr;
}

Kes_err *Kes_putback::get_parent(Kes_workspace *ws, Kes_workspace **out) {
  *out = nullptr;
  Kes_err *err = ws->get_kes_parent(out);
  if (err || *out) return err;
  Kes_workspace *any = nullptr;
  if ((err = ws->get_parent(&any))) return err;
  int ombra = any != nullptr;
  delete any;
  if (ombra)
    return (new Kes_err)->format_msg(
        2038, 0,
        BWM_MSG(12502, "Parent workspace is an Ombra environment.  Use the 'ombraputback' command"));
  return nullptr;
}

Kes_err *Kes_putback::determine_workspaces() {
  Kes_err *err;
  const char *not_ws = BWM_MSG(12503, "\"%s\" is not a workspace");
  if (!child_ws->exists()) return (new Kes_err)->format_msg(2003, 0, not_ws, name_of(child_ws));
  if (!parent_ws) {
    if ((err = get_parent(child_ws, &parent_ws))) return err;
    if (!parent_ws)
      return (new Kes_err)->format_msg(
          2004, 0, BWM_MSG(12504, "Workspace \"%s\" doesn't have a parent workspace"),
          name_of(child_ws));
    if (!parent_ws->exists()) return (new Kes_err)->format_msg(2003, 0, not_ws, name_of(parent_ws));
    if (name_of(parent_ws)[0] != '/')
      return (new Kes_err)->format_msg(
          2005, 0,
          BWM_MSG(12505, "Parent workspace \"%s\" is not visible as it is not mounted on %s"),
          name_of(parent_ws), kes_hostname() ? kes_hostname() : "");
  } else {
    if (!parent_ws->exists()) return (new Kes_err)->format_msg(2003, 0, not_ws, name_of(parent_ws));
    Kes_workspace *recorded = nullptr;
    if ((err = child_ws->get_parent(&recorded))) return err;
    if (recorded && !recorded->compare(parent_ws))
      issue_warning(2020, 0,
                    BWM_MSG(12506,
                            "\nParent defined with the option -p :\n \"%s\"\ndiffers from native "
                            "parent :\n  \"%s\" \n"),
                    name_of(parent_ws), name_of(recorded));
    delete recorded;
  }

  to_ws = parent_ws;
  from_ws = child_ws;

  if (flags.preview) {
    delete kes_check_access_warning("putback-from", child_ws);
    delete kes_check_access_warning("putback-to", parent_ws);
  } else {
    if ((err = kes_check_access("putback-from", child_ws))) return err;
    if ((err = kes_check_access("putback-to", parent_ws))) {
      // The validated path is open to those whom the access list leaves out.
      int on = 0, over = 0;
      Kes_err *verr = validation_of(parent_ws, &on, &over, nullptr, nullptr);
      if (verr || !(on && over)) {
        delete verr;
        return err;
      }
      delete err;
    }
    if ((err = autofreezepoint_if(&Kes_autofr::before_pb))) return err;
  }
  return nullptr;
}

Kes_err *Kes_putback::get_comments() {
  int on = 0;
  Kes_err *err = validation_of(parent_ws, &on, nullptr, nullptr, nullptr);
  if (err) return err;
  if (on && !flags.preview && !integration_request && isatty(fileno(stdin))) {
    // Asked only of a person: a script is told of no request.
    fputs(BWM_MSG(12507, "Integration Request ID? "), stdout);
    fflush(stdout);
    char line[1024];
    if (fgets(line, sizeof line, stdin)) {
      size_t n = strlen(line);
      if (n) line[n - 1] = '\0';
      integration_request = strdup(line);
    }
  }
  if (comment->count == 0 && !flags.preview) kes_read_comment(comment);
  return nullptr;
}

// Every list is printed, with no short cut, so that one run tells everything
// that stands in the way.
int Kes_putback::should_block() {
  const char *to = name_of(to_ws), *from = name_of(from_ws);
  int blocked = 0;
  blocked |= blocks->print_cross_type_list();
  blocked |= blocks->print_to_co_list(to);
  blocked |= blocks->print_from_co_list(from);
  blocked |= blocks->print_from_unresolved_list(from);
  blocked |= blocks->print_to_unresolved_list(to);
  blocked |= blocks->print_to_new_list(to);
  blocked |= blocks->print_to_chg_list(to);
  blocked |= blocks->print_to_name_chg_list(to);
  blocked |= blocks->print_duplicates();
  blocks->print_to_conflict_add_list(to);
  blocks->print_from_conflict_add_list(from);
  blocks->print_to_conflict_remove_list(to);
  blocks->print_from_conflict_remove_list(from);
  if (!blocked) return 0;
  fflush(stdout);
  fprintf(stderr, "\n");
  if (flags.preview)
    fprintf(stderr, BWM_MSG(12508, "Your %s command would be blocked.\n"), cmd_name());
  else
    fprintf(stderr, BWM_MSG(12509, "Your %s command was blocked and no files were putback.\n"),
            cmd_name());
  flags.blocked = 1;
  return 1;
}

Kes_err *Kes_putback::execute_validation_program() {
  if (flags.preview) return nullptr;
  int on = 0, auto_approved = 0;
  std::string prog;
  Kes_err *err = validation_of(to_ws, &on, nullptr, &auto_approved, &prog);
  if (err) return err;
  if (!on || auto_approved || prog.empty()) return nullptr;
  return run_mrs(prog.c_str());
}

// An edited file on either side would lose its edits; a parent's file that
// is merely checked out still blocks, since the parent is not to be touched
// under anyone's hands.
void Kes_putback::checked_out_status(Kes_ws_file *to, Kes_ws_file *from) {
  if (to->checked_out >= 2) blocks->add_to_co_list(to->name);
  if (from->checked_out == 2 || from->checked_out == 4) blocks->add_from_co_list(from->name);
}

void Kes_putback::set_conflict(Kes_ws_file *file) { Kes_transaction::set_conflict(file); }

// Everything a putback refuses blocks the whole command instead.
int Kes_putback::report_problems(Kes_file *, int) { return 0; }

Kes_err *Kes_putback::bringover(Kes_strlist *changed, Kes_strlist *renamed, Kes_strlist *fresh) {
  char prog[1024];
  Kes_err *err = kes_find_cmd_in_path(bringover_prog, prog);
  if (err) return err;
  if (name_of(child_ws)[0] != '/') {
    if (start_dir_fd >= 0 ? fchdir(start_dir_fd) != 0 : chdir(start_dir) != 0)
      return (new Kes_err)->format_msg(1023, errno, BWM_MSG(12510, "Chdir to \"%s\" failed"),
                                       start_dir);
  }
  // shell_escape gives one static buffer: each result is copied at once.
  std::string cmd = shell_escape(prog);
  cmd += " -w " + std::string(shell_escape(name_of(child_ws)));
  if (flags.parent_given) cmd += " -p " + std::string(shell_escape(name_of(parent_ws)));
  for (Kes_strlist *list : {changed, renamed, fresh}) {
    if (!list) continue;
    for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
      cmd += " " + std::string(shell_escape((const char *)e->data));
  }
  fflush(stdout);
  fprintf(stderr, "\n");
  if (!run_bringover || flags.preview) {
    fprintf(stderr, "%s", BWM_MSG(12511, "The bringover that needs to be done is:\n"));
    fprintf(stderr, "\t%s\n", cmd.c_str());
    return nullptr;
  }
  fprintf(stderr, "%s", BWM_MSG(12512, "Doing the bringover:\n"));
  fprintf(stderr, "\t%s\n", cmd.c_str());
  int rc = 0;
  err = kes_system_with_rc_no_quoting(cmd.c_str(), &rc);
  if (!err) {
    exit_status = 3;
  } else if (rc == 4) {
    // It worked, and left conflicts for the child to resolve.
    delete err;
    err = nullptr;
    exit_status = 4;
  } else {
    exit_status = 1;
  }
  return err;
}

void Kes_putback::save_comments() {
  if (!child_ws || !comment || comment->count == 0) return;
  std::string path = std::string(child_ws->get_absname()) + "/" +
                     (child_ws->metadata_dir ? child_ws->metadata_dir : KES_METADATA_DIR) +
                     "/putback.cmt";
  FILE *f = fopen(path.c_str(), "w");
  if (!f) return;
  for (Kes_listelem *e = comment->head.next; e != &comment->head; e = e->next)
    fprintf(f, "%s\n", (const char *)e->data);
  if (fclose(f) != 0) return;
  fflush(stdout);
  printf("\n");
  printf(BWM_MSG(12513, "Your putback comments have been saved in file\n\"%s\"\n"), path.c_str());
}

void Kes_putback::cleanup() {}

void Kes_putback::command() {
  // Line by line, so that a reader of the output sees each line as it comes.
  fflush(stdout);
  setvbuf(stdout, stdout_buffer, _IOLBF, sizeof stdout_buffer);
  // A putback makes no conflicts (a preview only counts the ones a bringover
  // would make): its statuses past 1 are its own.
  run_and_mail();
  if (exit_status == 4) exit_status = 0;
  if (exit_status == 0 && flags.blocked) exit_status = 2;
  if (blocks->to_chg || blocks->to_name_chg || blocks->to_new)
    fail_on(bringover(blocks->to_chg, blocks->to_name_chg, blocks->to_new));
  if (exit_status != 0) save_comments();
  cleanup();

  if (!flags.preview && parent_ws && cmdlog && history) {
    // The parent keeps the whole record; the child learns what left it.
    cmdlog->set_ws(name_of(parent_ws), parent_ws->netname, name_of(child_ws), child_ws->netname);
    cmdlog->set_rti(integration_request);
    cmdlog->finish(exit_status);
    history->done(cmdlog);
    Kes_err *err = log_also_in(child_ws);
    if (!err) err = autofreezepoint_if(&Kes_autofr::after_pb);
    fail_on(err);
  }
  if (!flags.blocked && !flags.preview) notification();
}

void Kes_putback::setup_notification(const char *tmpname, const char *user) {
  notify_pair(tmpname, user, "putback-from", child_ws, parent_ws,
              BWM_MSG(12520, "Event:            %s\nChild workspace:  %s\n                  (%s)%s\n"
                             "Parent workspace: %s\n                  (%s)%s\nUser:             %s\n"),
              "putback-to",
              BWM_MSG(12521, "Event:            %s\nParent workspace: %s\n                  (%s)%s\n"
                             "Child workspace:  %s\n                  (%s)%s\nUser:             %s\n"));
}

const char *Kes_putback::get_nofiles_to_do_msg() { return BWM_MSG(12530, "No changes to put back"); }

const char *Kes_putback::get_changes_contents_msg() {
  if (flags.preview) return BWM_MSG(12531, "Would put back contents changes");
  return BWM_MSG(12532, "Putting back contents changes");
}

const char *Kes_putback::get_changes_name_msg() {
  if (flags.preview) return BWM_MSG(12533, "Would put back name changes");
  return BWM_MSG(12534, "Putting back name changes");
}

const char *Kes_putback::get_no_files_done_msg() {
  return BWM_MSG(12535, "No changes were put back");
}

Kes_trans_state Kes_putback::get_new_in_to_msg() { return KES_TS_EXISTS_IN_PARENT_ONLY; }
Kes_trans_state Kes_putback::get_chgd_in_to_only_msg() { return KES_TS_CHANGED_IN_PARENT_ONLY; }
Kes_trans_state Kes_putback::get_name_chgd_in_to_only_msg() { return KES_TS_RENAMED_IN_PARENT_ONLY; }
