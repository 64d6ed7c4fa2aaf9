// Kes_bringover: the options, workspaces, checks, messages and mail of a bringover.
#include "transaction/kes_bringover.h"

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
#include "util/kes_str.h"
#include "workspace/kes_access.h"
#include "workspace/kes_cmdlog.h"
#include "workspace/kes_history.h"
#include "workspace/kes_md_freezept_control.h"
#include "workspace/kes_md_putback_validation.h"
#include "workspace/kes_notify.h"
#include "workspace/kes_workspace.h"

namespace {

char stdout_buffer[1024];

const char *name_of(Kes_workspace *ws) { return ws && ws->wsname ? ws->wsname : ""; }

}  // namespace

namespace {
// The options, in the order of the usage text.
const Kes_option kOptions[] = {
    {'w', "child_ws"},     {'p', "parent_ws"},
    {'c', "comment"},      {'m', "comment_file"},
    {'f', "flp", KES_OPT_NEW_LINE | KES_OPT_REPEATS},
    {'n'}, {'g'}, {'q'}, {'v'}, {'d'}, {'B'}, {'C'},
    {'i', "include_file"}, {'x', "exclude_file"},
};
}  // namespace

const char *kes_bringover_usage() {
  static const std::string text = kes_opt_usage(kOptions, "[files and dirs]");
  return text.c_str();
}

Kes_bringover::Kes_bringover(int argc, char **argv) : Kes_transaction(argc, argv) {
  flags.accepts_parent_option = 1;
  comment->clear();
}

void Kes_bringover::usage() {
  fflush(stdout);
  fprintf(stderr, BWM_MSG(12003, "Usage: %s %s\n"),
          kes_get_base_cmdname() ? kes_get_base_cmdname() : "bringover", kes_bringover_usage());
  exit(1);
}

Kes_err *Kes_bringover::parse_args() {
  return parse_child_parent_args(kes_opt_string(kOptions).c_str());
}

int Kes_bringover::take_own_option(int c, Kes_err **err) {
  *err = nullptr;
  if (c != 'C') return 0;
  flags.force_conflict = 1;
  return 1;
}

// The parent named by -p must be a workspace; unlike the base form this does
// not count as a new parent for the child.
Kes_err *Kes_bringover::parse_dashp_arg(const char *path, Kes_workspace **ws) {
  Kes_err *err = nullptr;
  Kes_workspace *p = new Kes_workspace(path, &err);
  if (err) {
    delete p;
    return err;
  }
  if (!p->exists()) {
    err = (new Kes_err)->format_msg(2610, 0, BWM_MSG(12005, "\"%s\" is not a workspace"),
                                    name_of(p));
    delete p;
    return err;
  }
  *ws = p;
  return nullptr;
}

Kes_err *Kes_bringover::determine_workspaces() {
  Kes_err *err;
  if (!child_ws->exists()) {
    if (!parent_ws)
      return (new Kes_err)->format_msg(2003, 0, BWM_MSG(12006, "\"%s\" is not a workspace"),
                                       name_of(child_ws));
    if (first_file_arg >= argc && flps->count == 0)
      return (new Kes_err)->format_msg(
          2048, 0,
          BWM_MSG(12007,
                  "Must specify at least one file, directory or -f argument\nto a bringover "
                  "that creates a child workspace"));
    flags.creating_child = 1;
    if (!flags.preview) {
      // A child that would hold its own parent can never be brought over to.
      const char *child_path = child_ws->get_absname();
      const char *parent_path = parent_ws->get_absname();
      size_t n = strlen(child_path);
      if (strncmp(parent_path, child_path, n) == 0 && parent_path[n] == '/')
        return (new Kes_err)->format_msg(
            2063, 0, BWM_MSG(12008, "Workspace \"%s\" is nested within \"%s\""), parent_path,
            child_path);
      if ((err = child_ws->create_ws(VCS_SCCS))) return err;
      err = kes_check_access("workspace-reparent-to", parent_ws);
      if (err) {
        // The new child stays, without a parent recorded.
        delete err;
        delete kes_check_access_warning("workspace-reparent-to", parent_ws);
      } else {
        if ((err = child_ws->set_parent(parent_ws))) return err;
        if ((err = parent_ws->add_child(child_ws))) return err;
      }
    }
    flags.child_root_empty = child_ws->root_is_empty() ? 1 : 0;
  } else if (parent_ws) {
    Kes_workspace *recorded = nullptr;
    if ((err = child_ws->get_parent(&recorded))) return err;
    if (recorded && !recorded->compare(parent_ws))
      kes_issue_warning(2020, 0,
                        BWM_MSG(12009,
                                "\nParent defined with the option -p :\n \"%s\"\ndiffers from "
                                "native parent :\n  \"%s\" \n"),
                        name_of(parent_ws), name_of(recorded));
    int differs = !recorded || !recorded->compare(parent_ws);
    delete recorded;
    if (!flags.accepts_parent_option && differs)
      return (new Kes_err)->format_msg(
          2002, 0,
          BWM_MSG(12010, "Cannot use the -p option to reparent the child of an Ombra environment"));
  } else {
    if ((err = child_ws->get_parent(&parent_ws))) return err;
    if (!parent_ws)
      return (new Kes_err)->format_msg(
          2004, 0, BWM_MSG(12011, "Workspace \"%s\" doesn't have a parent workspace"),
          name_of(child_ws));
    if (!parent_ws->exists())
      return (new Kes_err)->format_msg(2003, 0, BWM_MSG(12006, "\"%s\" is not a workspace"),
                                       name_of(parent_ws));
    if (name_of(parent_ws)[0] != '/')
      return (new Kes_err)->format_msg(
          2005, 0,
          BWM_MSG(12012, "Parent workspace \"%s\" is not visible as it is not mounted on %s"),
          name_of(parent_ws), kes_hostname() ? kes_hostname() : "");
  }

  from_ws = parent_ws;
  to_ws = child_ws;

  if (flags.preview) {
    delete kes_check_access_warning("bringover-from", parent_ws);
    if (!flags.creating_child) delete kes_check_access_warning("bringover-to", child_ws);
  } else {
    if ((err = kes_check_access("bringover-from", parent_ws))) return err;
    if (!flags.creating_child && (err = kes_check_access("bringover-to", child_ws))) return err;
  }

  if (!flags.creating_child) {
    Kes_pbval *pbval = nullptr;
    if ((err = child_ws->get_pbval(&pbval))) return err;
    int on = pbval && pbval->on;
    delete pbval;
    if (on) {
      const char *text = BWM_MSG(12013, "Only putback to \"%s\" is currently allowed");
      if (flags.preview)
        issue_warning(2065, 0, text, name_of(child_ws));
      else
        return (new Kes_err)->format_msg(2610, 0, text, name_of(child_ws));
    }
  }

  // A failure is printed where it happens, and stops the command.
  if (!flags.preview) return autofreezepoint_if(&Kes_autofr::before_br);
  return nullptr;
}

int Kes_bringover::should_block() {
  blocks->print_to_conflict_add_list(name_of(to_ws));
  blocks->print_from_conflict_add_list(name_of(from_ws));
  blocks->print_to_conflict_remove_list(name_of(to_ws));
  blocks->print_from_conflict_remove_list(name_of(from_ws));
  if (!blocks->print_duplicates()) return 0;
  fprintf(stderr, "\n");
  fprintf(stderr, BWM_MSG(12014, "Your %s command was blocked and no files were brought over.\n"),
          kes_get_base_cmdname() ? kes_get_base_cmdname() : "bringover");
  flags.blocked = 1;
  return 1;
}

void Kes_bringover::command() {
  // Line by line, so that a reader of the output sees each line as it comes.
  fflush(stdout);
  setvbuf(stdout, stdout_buffer, _IOLBF, sizeof stdout_buffer);
  run_and_mail();
  if (!flags.preview && child_ws && cmdlog && history) {
    // The child keeps the whole record; the parent learns who took from it.
    cmdlog->set_ws(parent_ws ? parent_ws->wsname : nullptr,
                   parent_ws ? parent_ws->netname : nullptr, child_ws->wsname, child_ws->netname);
    cmdlog->finish(exit_status);
    history->done(cmdlog);
    fail_on(log_also_in(parent_ws));
  }
  if (!flags.preview && exit_status == 0 && child_ws && child_ws->exists())
    fail_on(autofreezepoint_if(&Kes_autofr::after_br));
  if (!flags.blocked && !flags.preview) notification();
}

// Those registered for "bringover-from" in the parent and "bringover-to" in
// the child each get one mail, or one per path they listed.
void Kes_bringover::setup_notification(const char *tmpname, const char *user) {
  notify_pair(tmpname, user, "bringover-from", parent_ws, child_ws,
              BWM_MSG(12030, "Event:            %s\nParent workspace: %s\n                  (%s)%s\n"
                             "Child workspace:  %s\n                  (%s)%s\nUser:             %s\n"),
              "bringover-to",
              BWM_MSG(12031, "Event:            %s\nChild workspace:  %s\n                  (%s)%s\n"
                             "Parent workspace: %s\n                  (%s)%s\nUser:             %s\n"));
}

// The lists are kept, but a bringover never prints them: a checkout is no
// reason to stop it.
void Kes_bringover::checked_out_status(Kes_ws_file *to, Kes_ws_file *from) {
  if (to->checked_out) blocks->add_to_co_list(to->name);
  if (from->checked_out) blocks->add_from_co_list(from->name);
}

// Silent, it keeps a file listed that the printing call, which decides, will
// look at again.  An edited checkout in the parent is only a warning there:
// the file still comes over, without the edits.
int Kes_bringover::report_problems(Kes_file *file, int print) {
  Kes_ws_file *from = file->from, *to = file->to;
  int problem = 0;
  if (file->flags.cross_type) {
    if (!print) return 1;
    issue_warning(2606, 0,
                  BWM_MSG(12040, "File \"%s\" not brought over because\nit is a %s in workspace "
                                 "\"%s\"\nand a %s in workspace \"%s\""),
                  from->name, from->filetype->get_string(), name_of(from_ws),
                  to->filetype->get_string(), name_of(to_ws));
    counts.cross_type++;
    problem = 1;
  }
  if (from->checked_out == 2 || from->checked_out == 4) {
    if (!print) return 1;
    issue_warning(2624, 0,
                  BWM_MSG(12041, "File \"%s\" is checked out in workspace\n\t\"%s\".  The changes "
                                 "in the checked out file will not\n\tbe brought over."),
                  from->name, name_of(from_ws));
  }
  if (file->flags.contents_action && (to->checked_out == 3 || to->checked_out == 4)) {
    if (!print) return 1;
    issue_warning(2631, 0,
                  BWM_MSG(12042, "File \"%s\" not brought over because it is\n\tchecked out and "
                                 "not writable in workspace \"%s\""),
                  to->name, name_of(to_ws));
    counts.checked_out_in_to++;
    problem = 1;
  }
  const char *unresolved = BWM_MSG(12043, "File \"%s\" not brought over because it is\n\tunresolved "
                                          "in workspace \"%s\"");
  if (from->unresolved) {
    if (!print) return 1;
    issue_warning(2626, 0, unresolved, from->name, name_of(from_ws));
    counts.unresolved_in_from++;
    problem = 1;
  }
  if (to->unresolved) {
    if (!print) return 1;
    issue_warning(2626, 0, unresolved, to->name, name_of(to_ws));
    if (!from->unresolved) counts.unresolved_in_to++;
    problem = 1;
  }
  return problem;
}

const char *Kes_bringover::get_nofiles_to_do_msg() {
  return BWM_MSG(12020, "No changes to bring over");
}

const char *Kes_bringover::get_changes_contents_msg() {
  if (flags.preview) return BWM_MSG(12021, "Would bring over contents changes");
  return BWM_MSG(12022, "Bringing over contents changes");
}

const char *Kes_bringover::get_changes_name_msg() {
  if (flags.preview) return BWM_MSG(12023, "Would bring over name changes");
  return BWM_MSG(12024, "Bringing over name changes");
}

const char *Kes_bringover::get_no_files_done_msg() {
  return BWM_MSG(12025, "No changes were brought over");
}

Kes_trans_state Kes_bringover::get_new_in_to_msg() { return KES_TS_EXISTS_IN_CHILD_ONLY; }
Kes_trans_state Kes_bringover::get_chgd_in_to_only_msg() { return KES_TS_CHANGED_IN_CHILD_ONLY; }
Kes_trans_state Kes_bringover::get_unresolved_in_from_msg() { return KES_TS_UNRESOLVED_IN_PARENT; }
Kes_trans_state Kes_bringover::get_unresolved_in_to_msg() { return KES_TS_UNRESOLVED_IN_CHILD; }
Kes_trans_state Kes_bringover::get_checkedout_in_from_msg() { return KES_TS_CHECKED_OUT_IN_PARENT; }
Kes_trans_state Kes_bringover::get_checkedout_in_to_msg() { return KES_TS_CHECKED_OUT_IN_CHILD; }
Kes_trans_state Kes_bringover::get_name_chgd_in_to_only_msg() {
  return KES_TS_RENAMED_IN_CHILD_ONLY;
}
