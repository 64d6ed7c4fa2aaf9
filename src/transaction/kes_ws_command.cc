// Kes_ws_command: the subcommand table and the subcommands that change
// workspaces: create, delete, move, parent, name and updatenames.
#include "transaction/kes_ws_command.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "transaction/kes_ws_updatenames.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_options.h"
#include "workspace/kes_access.h"
#include "workspace/kes_md_description.h"
#include "workspace/kes_workspace.h"

namespace {

const Kes_option kDeleteOptions[] = {{'d'}, {'f'}};
const Kes_option kParentOptions[] = {{'f'}, {'p', "parent_ws"}, {'u'}};
const Kes_option kNameOptions[] = {{'w', "ws"}};
const Kes_option kLocksOptions[] = {{'w', "ws"}, {'f'}, {'r', "n", KES_OPT_REPEATS}};
const Kes_option kHistoryOptions[] = {{'w', "ws"}, {'c', "command"}, {'u', "user"}};
const Kes_option kUpdatenamesOptions[] = {{'H'}};

const Kes_subcommands::Subcommand kSubcommands[] = {
    KES_SUBCOMMAND_PLAIN(Kes_ws_command, "create", create, "ws ..."),
    KES_SUBCOMMAND(Kes_ws_command, "delete", delete_, kDeleteOptions, "ws ..."),
    KES_SUBCOMMAND_PLAIN(Kes_ws_command, "move", move, "old_ws new_ws"),
    KES_SUBCOMMAND(Kes_ws_command, "parent", parent, kParentOptions, "[ws]"),
    KES_SUBCOMMAND_PLAIN(Kes_ws_command, "list", list, "[ws_or_dir ...]"),
    KES_SUBCOMMAND(Kes_ws_command, "name", name, kNameOptions, "[new_name]"),
    KES_SUBCOMMAND(Kes_ws_command, "locks", locks, kLocksOptions, ""),
    KES_SUBCOMMAND(Kes_ws_command, "history", history, kHistoryOptions, ""),
    KES_SUBCOMMAND(Kes_ws_command, "updatenames", updatenames, kUpdatenamesOptions, "[ws ...]"),
};

const char *or_empty(const char *s) { return s ? s : ""; }

// The run of updatenames that a signal must clean up after.
Kes_ws_updatenames *running_update = nullptr;

void update_signal_handler(int sig) {
  signal(sig, SIG_IGN);
  if (running_update) running_update->clean_up(sig);
  exit(1);
}

const int kCleanExitSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM};

}  // namespace

Kes_ws_command::Kes_ws_command(int ac, char **av)
    : Kes_subcommands(ac, av, kSubcommands, sizeof kSubcommands / sizeof kSubcommands[0],
                      BWM_MSG(16002, "Usage: %s [ws_subcommand ...]\n")) {}

int Kes_ws_command::confirm(const std::string &question) {
  printf("%s", question.c_str());
  fflush(stdout);
  char line[256];
  if (!fgets(line, sizeof line, stdin)) {
    printf("\n");
    return 0;
  }
  return line[0] == 'y' || line[0] == 'Y';
}

int Kes_ws_command::create(int ac, char **av) {
  int first = scan_options(ac, av, [](int, const char *) {});
  if (first >= ac) usage();
  int status = 0;
  for (int i = first; i < ac; i++) {
    Kes_err *err = nullptr;
    Kes_workspace ws(av[i], &err);
    if (!err) err = ws.create_ws(VCS_SCCS);
    if (err) {
      status = fail(err);
      continue;
    }
    printf("%s\n", or_empty(ws.wsname));
    fflush(stdout);
    record(&ws, nullptr, "");
  }
  return status;
}

int Kes_ws_command::delete_(int ac, char **av) {
  int metadata_only = 0, force = 0;
  int first = scan_options(ac, av, [&](int c, const char *) {
    if (c == 'd') metadata_only = 1;
    if (c == 'f') force = 1;
  });
  if (first >= ac) usage();
  int status = 0;
  for (int i = first; i < ac; i++) {
    Kes_workspace *ws = existing_ws(av[i]);
    if (!ws) {
      status = 1;
      continue;
    }
    Kes_err *err = kes_check_access("workspace-delete", ws);
    if (!err && !force) {
      const char *q =
          metadata_only
              ? BWM_MSG(16003, "Delete the Brindle_wsdata directory of workspace \"%s\"? [y/n] ")
              : BWM_MSG(16004, "Delete workspace \"%s\" with all its files? [y/n] ");
      char question[2048];
      snprintf(question, sizeof question, q, or_empty(ws->wsname));
      if (!confirm(question)) {
        printf(BWM_MSG(16005, "Workspace \"%s\" not deleted\n"), or_empty(ws->wsname));
        status = 1;
        delete ws;
        continue;
      }
    }
    if (!err) err = ws->delete_ws(metadata_only);
    if (err) status = fail(err);
    delete ws;
  }
  return status;
}

int Kes_ws_command::move(int ac, char **av) {
  int first = scan_options(ac, av, [](int, const char *) {});
  if (ac - first != 2) usage();
  Kes_workspace *ws = existing_ws(av[first]);
  if (!ws) return 1;
  Kes_err *err = kes_check_access("workspace-move", ws);
  Kes_err *name_err = nullptr;
  Kes_workspace target(av[first + 1], &name_err);
  if (!err) err = name_err;
  else delete name_err;
  if (!err) err = ws->move_ws(&target);
  int status = 0;
  // An error after the tree has moved (a neighbour not updated) leaves the
  // workspace at its new place, and the move goes into its log there.
  if (err) status = fail(err);
  if (target.exists() && !ws->exists()) record(&target, nullptr, "");
  delete ws;
  return status;
}

int Kes_ws_command::parent(int ac, char **av) {
  const char *new_parent = nullptr;
  int unparent = 0, force = 0;
  int first = scan_options(ac, av, [&](int c, const char *arg) {
    if (c == 'p') new_parent = arg;
    if (c == 'u') unparent = 1;
    if (c == 'f') force = 1;
  });
  if ((new_parent && unparent) || ac - first > 1) usage();
  Kes_workspace *ws = existing_ws(first < ac ? av[first] : nullptr);
  if (!ws) return 1;
  if (!new_parent && !unparent) {
    Kes_err *err = ws->print_parent(0, 0);
    delete ws;
    return err ? fail(err) : 0;
  }
  Kes_workspace *np = nullptr;
  if (new_parent && !(np = existing_ws(new_parent))) {
    delete ws;
    return 1;
  }
  Kes_err *err = kes_check_access("workspace-reparent", ws);
  if (!err && np) err = kes_check_access("workspace-reparent-to", np);
  if (!err) err = ws->reparent(np, force);
  int status = 0;
  if (err)
    status = fail(err);
  else
    record(ws, np, "");
  delete np;
  delete ws;
  return status;
}

int Kes_ws_command::name(int ac, char **av) {
  const char *ws_name = nullptr;
  int first = scan_options(ac, av, [&](int, const char *arg) { ws_name = arg; });
  if (ac - first > 1) usage();
  Kes_workspace *ws = existing_ws(ws_name);
  if (!ws) return 1;
  Kes_strlist *lines = nullptr;
  Kes_description desc;
  Kes_err *err = ws->get_description(&lines);
  if (!err) err = desc.init_description(lines);
  delete lines;
  if (!err && first == ac) {
    if (desc.name) printf("%s\n", desc.name);
  } else if (!err) {
    const char *new_name = av[first];
    if (strchr(new_name, '\n'))
      err = (new Kes_err)
                ->format_msg(2070, 0, BWM_MSG(16006, "A workspace name can't hold a newline"));
    if (!err) {
      free(desc.name);
      desc.name = new_name[0] ? strdup(new_name) : nullptr;
      Kes_md_description *md = nullptr;
      err = ws->get_md_description(&md);
      // put_contents rewrites an existing file only.
      if (!err && !md->exists() && !ok_for_write(md))
        err = (new Kes_err)->format_msg(1017, 0, BWM_MSG(16007, "Open of \"%s\" failed"),
                                        md->fullname);
      if (!err) {
        Kes_strlist text;
        text.add_new_data(desc.make_description_line());
        err = md->put_contents(&text);
      }
      delete md;
      if (!err) record(ws, nullptr, "");
    }
  }
  delete ws;
  return err ? fail(err) : 0;
}

int Kes_ws_command::updatenames(int ac, char **av) {
  int histories = 0;
  int first = scan_options(ac, av, [&](int, const char *) { histories = 1; });
  int status = 0;
  // Each workspace named, or the default one once.
  for (int i = first; i < ac || i == first; i++) {
    Kes_workspace *ws = existing_ws(i < ac ? av[i] : nullptr);
    if (!ws) {
      status = 1;
      continue;
    }
    Kes_ws_updatenames update(ws, histories, argc, argv);
    running_update = &update;
    for (int s : kCleanExitSignals) signal(s, update_signal_handler);
    Kes_err *err = update.lock_and_update();
    for (int s : kCleanExitSignals) signal(s, SIG_DFL);
    running_update = nullptr;
    if (err)
      status = fail(err);
    else if (update.file_errors)
      status = 1;  // each was printed
    else if (update.quitted)
      printf(BWM_MSG(16008, "Name table of workspace \"%s\" not updated\n"), or_empty(ws->wsname));
    delete ws;
  }
  return status;
}
