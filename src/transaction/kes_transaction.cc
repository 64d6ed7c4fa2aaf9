// The phases of a transaction, in their fixed order, and the output.
#include "transaction/kes_transaction.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "transaction/kes_blocks.h"
#include "transaction/kes_dir_hash.h"
#include "transaction/kes_file.h"
#include "transaction/kes_first_pages.h"
#include "transaction/kes_renames.h"
#include "transaction/kes_trans_timers.h"
#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_hash.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_path.h"
#include "util/kes_timing.h"
#include "workspace/kes_cmdlock.h"
#include "workspace/kes_cmdlog.h"
#include "workspace/kes_history.h"
#include "workspace/kes_md_backupnew.h"
#include "workspace/kes_nametable.h"
#include "workspace/kes_workspace.h"

namespace {

// Programs that a transaction runs learn the workspaces from these.  Each
// lives in a buffer of its own for the rest of the process, as putenv keeps
// the pointer.
char env_parent[1024];
char env_child[1024];
char env_src[1024];
char env_dest[1024];
char env_cmd[1024];
char env_root[1024];

void put_ws_env(char *buf, const char *name, Kes_workspace *ws) {
  if (!ws || !ws->exists()) return;
  snprintf(buf, 1024, "%s=%s", name, ws->get_absname());
  putenv(buf);
}

}  // namespace

void kes_trans_set_ws_root(const char *root) {
  snprintf(env_root, sizeof env_root, "BRINDLE_WS_ROOT=%s", root ? root : "");
  putenv(env_root);
}

Kes_transaction::Kes_transaction(int argc_in, char **argv_in)
    : argc(argc_in),
      argv(argv_in),
      first_file_arg(0),
      from_ws(nullptr),
      to_ws(nullptr),
      parent_ws(nullptr),
      child_ws(nullptr),
      backup_area(nullptr),
      renames(nullptr),
      file_args(new Kes_strlist),
      include_file(nullptr),
      excludes(new Kes_strlist),
      exclude_file(nullptr),
      flps(new Kes_strlist),
      action_files(nullptr),
      rename_candidates(nullptr),
      seen_names(new Kes_name_hash),
      from_conflicts(nullptr),
      to_conflicts(nullptr),
      cmdlog(new Kes_cmdlog),
      history(nullptr),
      blocks(new Kes_blocks),
      read_lock(nullptr),
      write_lock(nullptr),
      dir_cache{nullptr, nullptr},
      to_dir_fd(-1),
      from_dir_fd(-1),
      exit_status(0),
      backup_list(nullptr),
      comment(new Kes_strlist),
      integration_request(nullptr),
      backup_nametable(nullptr),
      flags(),
      examined(0),
      action_count(0),
      contents_action_count(0),
      name_action_count(0),
      counts(),
      quiet_merges(0),
      command_timer(nullptr),
      determine_files_timer(nullptr),
      create_ws_files_timer(nullptr),
      examine_creates_timer(nullptr),
      readdir_timer(nullptr),
      determine_states_timer(nullptr),
      execute_actions_timer(nullptr),
      symlink_cache(new Kes_name_hash(-1)),
      first_pages(nullptr),
      page_item(-1) {
  flags.backup = 1;
  flags.update_clear_files = 1;
  flags.check_renames = 1;
  flags.verify_from_names = 1;
  flags.verify_to_names = 1;
  if (kes_trans_timing_on()) {
    command_timer = kes_trans_timer(KES_TIMER_COMMAND);
    determine_files_timer = kes_trans_timer(KES_TIMER_DETERMINE_FILES);
    create_ws_files_timer = kes_trans_timer(KES_TIMER_CREATE_WS_FILES);
    examine_creates_timer = kes_trans_timer(KES_TIMER_EXAMINE_CREATES);
    readdir_timer = kes_trans_timer(KES_TIMER_READDIR);
    determine_states_timer = kes_trans_timer(KES_TIMER_DETERMINE_STATES);
    execute_actions_timer = kes_trans_timer(KES_TIMER_EXECUTE_ACTIONS);
  }
}

Kes_transaction::~Kes_transaction() {
  if (current_transaction == this) current_transaction = nullptr;
  // Parent and child are, once the workspaces are determined, the same
  // objects as from and to.
  if (parent_ws != from_ws && parent_ws != to_ws) delete parent_ws;
  if (child_ws != from_ws && child_ws != to_ws) delete child_ws;
  delete from_ws;
  if (to_ws != from_ws) delete to_ws;
  delete file_args;
  free(include_file);
  delete excludes;
  free(exclude_file);
  delete flps;
  delete seen_names;
  delete renames;
  delete action_files;
  delete rename_candidates;
  delete backup_list;
  delete backup_nametable;
  delete backup_area;
  delete dir_cache[0];
  delete dir_cache[1];
  delete from_conflicts;
  delete to_conflicts;
  delete blocks;
  delete history;
  delete cmdlog;
  delete read_lock;
  delete write_lock;
  delete comment;
  free(integration_request);
  delete symlink_cache;
  delete first_pages;  // before the descriptors its thread reads through
  if (to_dir_fd >= 0) ::close(to_dir_fd);
  if (from_dir_fd >= 0) ::close(from_dir_fd);
  kes_trans_timers_delete();
}

void Kes_transaction::command() {
  run_and_mail();
  if (!flags.preview && cmdlog && history) {
    cmdlog->finish(exit_status);
    history->done(cmdlog);
  }
  current_transaction = nullptr;
  if (!flags.blocked && !flags.preview) notification();
}

void Kes_transaction::run_and_mail() {
  Kes_err *err = transaction();
  if (err) {
    err->print();
    delete err;
    exit_status = 1;
  } else if (counts.contents_errors || counts.rename_errors) {
    exit_status = 1;
  } else if (counts.conflicts) {
    exit_status = 4;
  } else {
    exit_status = 0;
  }
  Kes_err_owner(send_mail()).report();
}

Kes_err *Kes_transaction::transaction() {
  Kes_err *err;
  Kes_timing::start(command_timer);
  if ((err = parse_args())) return err;
  if ((err = determine_workspaces())) return err;
  print_wss();
  if ((err = update_arg_list())) return err;
  if ((err = get_comments())) return err;

  current_transaction = this;
  kes_trans_take_signals();

  if ((err = obtain_locks())) return err;
  Kes_err *result = propagate();
  if (!result) {
    Kes_err_owner(update_args_file(child_ws)).report();
  }
  // A later error is printed where an earlier one is kept.
  auto keep_or_print = [&](Kes_err *err) {
    if (!err) return;
    if (!result) {
      result = err;
    } else {
      err->print();
      delete err;
    }
  };
  if (renames) keep_or_print(renames->update_tables());
  if (backup_nametable) {
    backup_nametable->dirty = 1;  // written whole, as it was begun empty
    keep_or_print(kes_nt_update_or_forget(backup_nametable));
  }
  release_locks();

  Kes_timing::stop(command_timer);
  if (kes_trans_timing_on()) print_timers();
  return result;
}

// Read in the from workspace first, then write in the to workspace: every
// transaction takes them in this order and none waits, so none deadlocks.
Kes_err *Kes_transaction::obtain_locks() {
  if (flags.preview) return nullptr;
  Kes_err *err = from_ws->obtain_lock(KES_READ_LOCK, &read_lock);
  if (err) return err;
  err = to_ws->obtain_lock(KES_WRITE_LOCK, &write_lock);
  if (err && read_lock) {
    Kes_err *release_err = from_ws->release_lock(read_lock);
    if (release_err) {
      release_err->print();
      delete release_err;
    } else {
      delete read_lock;
      read_lock = nullptr;
    }
  }
  return err;
}

// A lock that can't be released keeps its pointer, so that the exit step
// warns that it was left behind.
void Kes_transaction::release_locks() {
  struct {
    Kes_workspace *ws;
    Kes_cmdlock **lock;
  } held[] = {{from_ws, &read_lock}, {to_ws, &write_lock}};
  for (auto &h : held) {
    if (!*h.lock) continue;
    Kes_err *err = h.ws->release_lock(*h.lock);
    if (err) {
      err->print();
      delete err;
      continue;
    }
    delete *h.lock;
    *h.lock = nullptr;
  }
}

// The history log of the to workspace, begun with the command line; a
// preview begins none, and every later write to it is then nothing.
Kes_err *Kes_transaction::open_history() {
  if (history) return nullptr;
  Kes_err *err = to_ws->get_md_history(&history);
  if (err) return err;
  history->argc = argc;
  history->argv = argv;
  if ((err = history->start(flags.preview))) return err;
  return print_comment();
}

Kes_err *Kes_transaction::log_also_in(Kes_workspace *ws) {
  Kes_md_history *other = nullptr;
  Kes_err *err = ws ? ws->get_md_history(&other) : nullptr;
  if (!err && other) {
    other->argc = argc;
    other->argv = argv;
    if (!(err = other->start(0))) other->done(cmdlog);
  }
  delete other;
  return err;
}

void Kes_transaction::fail_on(Kes_err *err) {
  if (!err) return;
  err->print();
  delete err;
  exit_status = 1;
}

Kes_err *Kes_transaction::propagate() {
  Kes_err *err;

  // A read-only to workspace is worth a word before anything is examined,
  // though it does not stop a preview or a transaction with nothing to do.
  if (to_ws && to_ws->get_absname()) {
    char probe[1024];
    snprintf(probe, sizeof probe, "%s/readonly.XXXXXX", to_ws->get_absname());
    int fd = mkstemp(probe);
    if (fd >= 0) {
      fchmod(fd, 0666);
      ::close(fd);
      unlink(probe);
    } else if (errno == EROFS) {
      issue_warning(2627, 0, BWM_MSG(9040, "Directory \"%s\" is mounted read-only"),
                    to_ws->get_absname());
    }
  }

  put_ws_env(env_parent, "BRINDLE_WS_PARENT", parent_ws);
  put_ws_env(env_child, "BRINDLE_WS_CHILD", child_ws);
  put_ws_env(env_src, "BRINDLE_WS_SRC", from_ws);
  put_ws_env(env_dest, "BRINDLE_WS_DEST", to_ws);
  if (kes_get_base_cmdname()) {
    snprintf(env_cmd, sizeof env_cmd, "BRINDLE_CMD=%s", kes_get_base_cmdname());
    putenv(env_cmd);
  }
  kes_trans_set_ws_root("");

  // From here on the working directory is the to workspace's root, and
  // relative names mean files there.
  const char *to_root = to_ws ? to_ws->get_absname() : nullptr;
  const char *from_root = from_ws ? from_ws->get_absname() : nullptr;
  if (to_dir_fd < 0 && to_root) to_dir_fd = ::open(to_root, O_RDONLY | O_DIRECTORY);
  if (from_dir_fd < 0 && from_root) from_dir_fd = ::open(from_root, O_RDONLY | O_DIRECTORY);
  if (to_dir_fd >= 0 && kes_fchdir_supported()) {
    if (fchdir(to_dir_fd) != 0)
      return (new Kes_err)->format_msg(1031, errno, BWM_MSG(9041, "Fchdir to \"%s\" failed"),
                                       to_root);
  } else {
    if (to_dir_fd >= 0) ::close(to_dir_fd);
    if (from_dir_fd >= 0) ::close(from_dir_fd);
    to_dir_fd = from_dir_fd = -1;
    if ((!to_root || chdir(to_root) != 0) && !(flags.creating_child && flags.preview))
      return (new Kes_err)->format_msg(1023, errno, BWM_MSG(9042, "Chdir to \"%s\" failed"),
                                       to_root ? to_root : "");
  }

  delete renames;
  renames = new Kes_renames(this);
  if ((err = renames->init())) return err;
  err = determine_files();
  if (!err) err = renames->update_tables();
  for (Kes_dir_hash *&cache : dir_cache) {
    delete cache;
    cache = nullptr;
  }
  if (err) return err;

  printf("\n");
  printf(BWM_MSG(9043, "Examined files: %d\n"), examined);

  if (counts.contents_errors || counts.rename_errors) {
    // Nothing has been changed: say why and stop, with the counters making
    // the exit status.
    printf("\n");
    printf(BWM_MSG(9044, "%s cannot continue due to the following errors:\n"),
           kes_get_base_cmdname() ? kes_get_base_cmdname() : "");
    printf("\n");
    print_errs();
    return nullptr;
  }

  if (!flags.preview || action_count == 0) {
    if (should_block()) return nullptr;
  }

  if (action_count == 0 && (!action_files || action_files->count == 0)) {
    // Creating an empty child still leaves a record in it.
    if (!flags.preview && flags.creating_child && cmdlog) {
      if ((err = open_history())) return err;
      log_printf("\n");
      log_printf(BWM_MSG(9043, "Examined files: %d\n"), examined);
    }
    printf("\n");
    printf("%s", get_nofiles_to_do_msg());
    printf("\n");
    summarize();
    return nullptr;
  }

  if ((err = execute_validation_program())) {
    flags.blocked = 1;
    return err;
  }

  if ((err = start_backup())) return err;

  if (contents_action_count > 0 || name_action_count > 0) printf("\n");
  if (contents_action_count > 0) printf("%s: %d\n", get_changes_contents_msg(), contents_action_count);
  if (name_action_count > 0) printf("%s: %d\n", get_changes_name_msg(), name_action_count);

  flags.silent = flags.quiet;
  sort_renames_in_af_list();
  drop_swaps();
  err = execute_actions();
  flags.silent = 0;
  if (err) return err;
  if (flags.preview) should_block();
  summarize();
  return nullptr;
}

Kes_err *Kes_transaction::execute_actions() {
  Kes_timing::start(execute_actions_timer);
  printf("\n");
  Kes_err *err = open_history();
  if (err) {
    Kes_timing::stop(execute_actions_timer);
    return err;
  }
  // Each rewritten history is started out before its rename; the journal
  // commit that makes them durable is one for the whole run, below.
  if (!flags.preview) kes_defer_syncs(1);
  int full = 0;
  for (Kes_listelem *e = action_files ? action_files->head.next : nullptr;
       e && e != &action_files->head && !full; e = e->next) {
    Kes_file *f = (Kes_file *)e->data;
    if (!execute_prop_action(f)) continue;
    for (Kes_err *fe : {f->rename_error, f->contents_error}) {
      if (!fe || full) continue;
      fe->print();
      log_printf("%s", fe->text);
      if (fe == f->rename_error)
        counts.rename_errors++;
      else
        counts.contents_errors++;
      // A full disk stops the run at this file; the files done stay done.
      full = fe->system_errno == ENOSPC;
    }
  }
  // The clear files being refreshed in the background are waited for, but
  // not after a full disk: nothing more is written then.
  if (!full && flags.update_clear_files && !flags.preview) kes_gets_finish(this);
  if (!flags.preview) {
    kes_defer_syncs(0);
    err = kes_sync_deferred();
  }
  Kes_timing::stop(execute_actions_timer);
  return err;
}

int Kes_transaction::execute_prop_action(Kes_file *file) { return file->execute_prop_action(this); }

namespace {
// A file moves in the rename order if it changes its name, or an undo
// removes it and so frees its name.
int takes_part(Kes_file *f) {
  return f->flags.name_action || f->flags.contents_action == KES_CA_UNDO_REMOVE;
}
}  // namespace

// One pass: a file whose name another file wants moves in front of that
// file, so a chain A to B, B to C runs B to C first.  Cycles stay as they are.
void Kes_transaction::sort_renames_in_af_list() {
  if (!action_files) return;
  for (Kes_listelem *e = action_files->head.next, *next; e != &action_files->head; e = next) {
    next = e->next;
    Kes_file *f = (Kes_file *)e->data;
    if (!takes_part(f)) continue;
    for (Kes_listelem *y = action_files->head.next; y != e; y = y->next) {
      Kes_file *other = (Kes_file *)y->data;
      if (takes_part(other) && strcmp(other->from->name, f->to->name) == 0) {
        action_files->remove_elem(e);
        action_files->insert_before(y, e);
        break;
      }
    }
  }
}

// Two neighbours that want each other's names are refused: the system does
// not make up a temporary name for a swap.
void Kes_transaction::drop_swaps() {
  if (!action_files) return;
  for (Kes_listelem *e = action_files->head.next; e != &action_files->head;) {
    Kes_listelem *n = e->next;
    if (n == &action_files->head) break;
    Kes_file *a = (Kes_file *)e->data, *b = (Kes_file *)n->data;
    if (strcmp(a->from->name, b->to->name) == 0 && strcmp(a->from->name, b->from->name) != 0) {
      issue_warning(2699, 0,
                    BWM_MSG(9065, "File \"%s\" ignored because it is renamed to \"%s\" in \"%s\"\n"
                                  "and both \"%s\" and \"%s\" exist in \"%s\""),
                    a->from->name, b->from->name, from_ws->wsname ? from_ws->wsname : "",
                    a->from->name, b->from->name, to_ws->wsname ? to_ws->wsname : "");
      Kes_listelem *after = n->next;
      action_files->delete_elem(e);
      action_files->delete_elem(n);
      counts.rename_errors += 2;
      e = after;
      continue;
    }
    e = n;
  }
}

// A hook that no command fills: the mail about a run goes out from
// notification().
Kes_err *Kes_transaction::send_mail() { return nullptr; }

void Kes_transaction::vprint_out(const char *fmt, va_list ap) {
  if (!flags.silent) vfprintf(stdout, fmt, ap);
}

void Kes_transaction::printf(const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  vprint_out(fmt, ap);
  va_end(ap);
  va_start(ap, fmt);
  log_vprintf(fmt, ap);
  va_end(ap);
}

// The history log of the to workspace takes a copy of every line once it is
// open; until the log is written, nothing is kept.
void Kes_transaction::log_vprintf(const char *fmt, va_list ap) {
  if (!history) return;
  // A lost log line is told, but does not stop the command.
  Kes_err_owner(history->vprintf(fmt, ap)).report();
}

void Kes_transaction::status_printf(int state, const char *name) {
  if (!flags.silent) fprintf(stdout, "%s: %s\n", localized_str(state), name);
  log_printf("%s: %s\n", english_str(state), name);
}

void Kes_transaction::vstatus_printf(int state, const char *name) {
  if (!flags.silent && flags.verbose) fprintf(stdout, "%s: %s\n", localized_str(state), name);
  log_printf("%s: %s\n", english_str(state), name);
}

void Kes_transaction::log_printf(const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  log_vprintf(fmt, ap);
  va_end(ap);
}

void Kes_transaction::issue_warning(int code, int err, const char *fmt, ...) {
  Kes_warning warning;
  va_list ap;
  va_start(ap, fmt);
  warning.vformat_msg(code, err, fmt, ap);
  va_end(ap);
  warning.print();
  log_printf("%s", warning.text);
}

Kes_trans_state Kes_transaction::get_new_in_to_msg() { return KES_TS_UNKNOWN; }
Kes_trans_state Kes_transaction::get_chgd_in_to_only_msg() { return KES_TS_UNKNOWN; }
Kes_trans_state Kes_transaction::get_unresolved_in_from_msg() { return KES_TS_UNKNOWN; }
Kes_trans_state Kes_transaction::get_unresolved_in_to_msg() { return KES_TS_UNKNOWN; }
Kes_trans_state Kes_transaction::get_checkedout_in_from_msg() { return KES_TS_UNKNOWN; }
Kes_trans_state Kes_transaction::get_checkedout_in_to_msg() { return KES_TS_UNKNOWN; }
Kes_trans_state Kes_transaction::get_name_chgd_in_to_only_msg() { return KES_TS_UNKNOWN; }

const char *Kes_transaction::localized_str(int state) { return kes_trans_state_localized(state); }
const char *Kes_transaction::english_str(int state) { return kes_trans_state_english(state); }

Kes_err *Kes_transaction::parse_dashp_arg(const char *path, Kes_workspace **ws) {
  Kes_err *err = nullptr;
  *ws = new Kes_workspace(path, &err);
  if (err) {
    delete *ws;
    *ws = nullptr;
    return err;
  }
  flags.parent_given = 1;
  return nullptr;
}

// Only a putback asks for a comment.
Kes_err *Kes_transaction::get_comments() { return nullptr; }

void Kes_transaction::print_wss() {
  print_parent_ws();
  print_child_ws();
}

void Kes_transaction::print_parent_ws() {
  if (!parent_ws) return;
  const char *name = parent_ws->wsname ? parent_ws->wsname : "";
  if (parent_ws->netname && parent_ws->netname[0] == '*')
    printf(BWM_MSG(9045, "Parent directory: %s\n"), name);
  else
    printf(BWM_MSG(9046, "Parent workspace: %s\n"), name);
}

void Kes_transaction::print_child_ws() {
  if (!child_ws) return;
  printf(BWM_MSG(9047, "Child workspace:  %s\n"), child_ws->wsname ? child_ws->wsname : "");
}

void Kes_transaction::print_timers() { kes_trans_timers_print(); }

int Kes_transaction::nt_creating_child(Kes_workspace *ws) {
  return flags.creating_child && child_ws && child_ws->compare(ws);
}

void Kes_transaction::nt_print_progress(Kes_workspace *ws) {
  if (parent_ws && parent_ws->compare(ws))
    printf("%s", BWM_MSG(5024, "Updating names in parent workspace's name table\n"));
  else if (child_ws && child_ws->compare(ws))
    printf("%s", BWM_MSG(5025, "Updating names in child workspace's name table\n"));
  else
    printf("%s", BWM_MSG(5026, "Updating names in workspace's name table\n"));
}
