// Kes_undo: the options, the backup area as the from workspace, the files to
// take back, messages and mail of ws_undo.
#include "transaction/kes_undo.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "transaction/kes_blocks.h"
#include "transaction/kes_file.h"
#include "transaction/kes_renames.h"
#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_host.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_options.h"
#include "workspace/kes_access.h"
#include "workspace/kes_cmdlog.h"
#include "workspace/kes_history.h"
#include "workspace/kes_md_args.h"
#include "workspace/kes_md_backupnew.h"
#include "workspace/kes_md_freezept_control.h"
#include "workspace/kes_workspace.h"

namespace {

const char *name_of(Kes_workspace *ws) { return ws && ws->wsname ? ws->wsname : ""; }
const char *cmd_name() { return kes_get_base_cmdname() ? kes_get_base_cmdname() : "ws_undo"; }

const Kes_option kOptions[] = {
    {'w', "ws"}, {'n'}, {'q'}, {'c', "comment"}, {'m', "comment_file"},
};

}  // namespace

const char *kes_undo_usage() {
  static const std::string text = kes_opt_usage(kOptions, "[files ...]");
  return text.c_str();
}

Kes_undo::Kes_undo(int argc, char **argv) : Kes_transaction(argc, argv), created(new Kes_strlist) {
  flags.backup = 0;
  flags.verify_from_names = 0;
}

Kes_undo::~Kes_undo() { delete created; }

void Kes_undo::usage() {
  fflush(stdout);
  fprintf(stderr, BWM_MSG(13000, "Usage: %s %s\n"), cmd_name(), kes_undo_usage());
  exit(1);
}

Kes_err *Kes_undo::parse_args() {
  const char *name = nullptr;
  int c;
  opterr = 0;
  optind = 1;
  const std::string optstring = kes_opt_string(kOptions);
  while ((c = getopt(argc, argv, optstring.c_str())) != -1) {
    Kes_err *err;
    switch (c) {
      case 'w': name = optarg; break;
      case 'n': flags.preview = 1; break;
      case 'q': flags.quiet = 1; break;  // -v does not exist here to be cleared
      case 'c': comment->add_new_copy(optarg); break;
      case 'm':
        if ((err = kes_read_comment_file(optarg, comment))) return err;
        break;
      default: usage();
    }
  }
  Kes_err *err = kes_determine_default_ws(name, &to_ws);
  if (err) return err;
  if (!to_ws->exists())
    return (new Kes_err)->format_msg(2003, 0, BWM_MSG(13001, "\"%s\" is not a workspace"),
                                     name_of(to_ws));
  first_file_arg = optind;
  return nullptr;
}

Kes_err *Kes_undo::determine_workspaces() {
  std::string area = std::string(to_ws->get_absname()) + "/" +
                     (to_ws->metadata_dir ? to_ws->metadata_dir : KES_METADATA_DIR) +
                     "/backup/files";
  Kes_err *err = kes_create_dirs((area + "/" + KES_METADATA_DIR).c_str());
  if (err) return err;
  from_ws = new Kes_backuparea(area.c_str(), &err);
  if (err) return err;
  // A scan of the area finds every saved history, whatever the workspace's
  // own file list program would list.
  from_ws->set_def_flp("find \"`pwd`\" -name 's.*' -print");
  to_ws->set_def_flp(nullptr);

  if (flags.preview) {
    delete kes_check_access_warning("undo", to_ws);
    return nullptr;
  }
  if ((err = kes_check_access("undo", to_ws))) return err;
  return autofreezepoint_if(&Kes_autofr::before_undo);
}

// Nobody reads the backup area while an undo runs; the workspace itself is
// written.
Kes_err *Kes_undo::obtain_locks() {
  if (flags.preview) return nullptr;
  return to_ws->obtain_lock(KES_WRITE_LOCK, &write_lock);
}

int Kes_undo::was_created(const char *name) {
  for (Kes_listelem *e = created->head.next; e != &created->head; e = e->next)
    if (strcmp((const char *)e->data, name) == 0) return 1;
  return 0;
}

// backup/new is a journal that its object only writes: its lines are read
// here, the version line left out.  A journal cut short by a crash ends at
// its last whole line.
Kes_err *Kes_undo::read_created() {
  Kes_md_backupnew *md = nullptr;
  Kes_err *err = to_ws->get_md_backupnew(&md);
  if (err) return err;
  FILE *f = fopen(md->fullname, "r");
  if (!f) {
    err = errno == ENOENT ? nullptr
                          : (new Kes_err)->format_msg(
                                1001, errno, BWM_MSG(13005, "Open of \"%s\" for reading failed"),
                                md->fullname);
    delete md;
    return err;
  }
  char *line = nullptr;
  size_t cap = 0;
  ssize_t n;
  for (int first = 1; (n = getline(&line, &cap, f)) > 0; first = 0) {
    if (line[n - 1] != '\n') break;
    line[n - 1] = '\0';
    if (!(first && strncmp(line, "VERSION ", 8) == 0) && line[0]) created->add_new_copy(line);
  }
  free(line);
  fclose(f);
  delete md;
  return nullptr;
}

Kes_err *Kes_undo::determine_files() {
  Kes_err *err = start_file_lists();

  if (!err) err = read_created();
  if (err) return err;

  if (file_args->count) {
    for (Kes_listelem *a = file_args->head.next; !err && a != &file_args->head; a = a->next) {
      char *arg = (char *)a->data;
      if ((err = add_file(nullptr, arg, nullptr))) break;
      for (Kes_listelem *c = created->head.next; !err && c != &created->head; c = c->next)
        if (to_ws->is_under_dir(arg, (const char *)c->data))
          err = add_file(nullptr, (char *)c->data, nullptr);
    }
  } else {
    err = run_dir_flp_in_ws(from_ws, ".");
    for (Kes_listelem *c = created->head.next; !err && c != &created->head; c = c->next)
      err = add_file(nullptr, (char *)c->data, nullptr);
    if (!err) {
      Kes_md_args *args = nullptr;
      if (!(err = to_ws->get_md_args(&args))) err = args->determine_undo_state(this);
      delete args;
    }
  }
  if (err) return err;
  return renames->match_up_files();
}

Kes_err *Kes_undo::determine_prop_state(Kes_file *file) { return file->determine_undo_state(this); }

int Kes_undo::execute_prop_action(Kes_file *file) { return file->execute_undo_action(this); }

// The args file comes back with the other files.
Kes_err *Kes_undo::update_args_file(Kes_workspace *) { return nullptr; }

int Kes_undo::should_block() {
  if (!blocks->print_duplicates()) return 0;
  fprintf(stderr, "\n");
  fprintf(stderr, BWM_MSG(13002, "Your %s command was blocked and no files were undone.\n"),
          cmd_name());
  flags.blocked = 1;
  return 1;
}

void Kes_undo::checked_out_status(Kes_ws_file *, Kes_ws_file *) {}

int Kes_undo::report_problems(Kes_file *, int) { return 0; }

void Kes_undo::print_parent_ws() {}

void Kes_undo::print_child_ws() { printf(BWM_MSG(13003, "Workspace: %s\n"), name_of(to_ws)); }

// File errors are told on the way and don't change the status: what could be
// taken back was, and a second undo tries the rest again.
void Kes_undo::command() {
  Kes_err *err = transaction();
  exit_status = 0;
  fail_on(err);
  Kes_err_owner(send_mail()).report();
  if (!flags.preview && to_ws && cmdlog && history) {
    cmdlog->finish(exit_status);
    history->done(cmdlog);
  }
  if (!flags.preview && exit_status == 0) fail_on(autofreezepoint_if(&Kes_autofr::after_undo));
  if (!flags.blocked && !flags.preview) notification();
}

void Kes_undo::setup_notification(const char *tmpname, const char *user) {
  if (!to_ws || !from_ws) return;
  if (!user) user = kes_get_user(1, 0);
  char *desc = to_ws->make_descnm_notif_line(11);
  char *body = nullptr;
  if (asprintf(&body, BWM_MSG(13004, "Event:     %s\nWorkspace: %s\n           (%s)%s\nUser:      %s\n"),
               "undo", name_of(to_ws), to_ws->netname ? to_ws->netname : "", desc, user) < 0)
    kes_new_handler();
  notify_event(tmpname, user, "undo", to_ws, body);
  free(body);
  free(desc);
}

const char *Kes_undo::get_nofiles_to_do_msg() { return BWM_MSG(13010, "No changes to undo"); }

const char *Kes_undo::get_changes_contents_msg() {
  if (flags.preview) return BWM_MSG(13011, "Would undo contents changes");
  return BWM_MSG(13012, "Undoing contents changes");
}

const char *Kes_undo::get_changes_name_msg() {
  if (flags.preview) return BWM_MSG(13013, "Would undo name changes");
  return BWM_MSG(13014, "Undoing name changes");
}

const char *Kes_undo::get_no_files_done_msg() { return BWM_MSG(13015, "No changes were undone"); }
const char *Kes_undo::get_creates_msg() { return BWM_MSG(13016, "Removed"); }
const char *Kes_undo::get_updates_msg() { return BWM_MSG(13017, "Restored"); }
