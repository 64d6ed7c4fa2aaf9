// Kes_subcommands: dispatch, option scan, usage text and shared helpers of a
// command made of subcommands.
#include "transaction/kes_subcommands.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_options.h"
#include "workspace/kes_cmdlog.h"
#include "workspace/kes_history.h"
#include "workspace/kes_workspace.h"

Kes_subcommands::Kes_subcommands(int ac, char **av, const Subcommand *t, size_t n,
                                 const char *s)
    : argc(ac), argv(av), current(nullptr), cmdlog(new Kes_cmdlog), table(t), count(n),
      synopsis(s) {}

Kes_subcommands::~Kes_subcommands() { delete cmdlog; }

void Kes_subcommands::usage() {
  fflush(stdout);
  const char *cmd = kes_get_base_cmdname() ? kes_get_base_cmdname() : (argv ? argv[0] : "");
  auto line = [](const Subcommand *s) {
    return s->name + std::string(" ") +
           kes_opt_usage(s->options, s->option_count, s->operands);
  };
  if (current) {
    fprintf(stderr, BWM_MSG(16001, "Usage: %s %s\n"), cmd, line(current).c_str());
  } else {
    fprintf(stderr, synopsis, cmd);
    for (size_t i = 0; i < count; i++) fprintf(stderr, "\t%s %s\n", cmd, line(&table[i]).c_str());
  }
  exit(1);
}

int Kes_subcommands::command() {
  if (argc < 2) usage();
  for (size_t i = 0; i < count; i++)
    if (strcmp(argv[1], table[i].name) == 0) {
      current = &table[i];
      return (this->*table[i].run)(argc - 1, argv + 1);
    }
  usage();
}

int Kes_subcommands::scan_options(int ac, char **av,
                                  const std::function<void(int, const char *)> &on_option) {
  // "+": options come before the operands, as in the usage text.
  std::string optstring = "+" + kes_opt_string(current->options, current->option_count);
  opterr = 0;  // an unknown option gets the usage text, not getopt's
  optind = 0;  // a full restart of getopt's scan
  int c;
  while ((c = getopt(ac, av, optstring.c_str())) != -1) {
    if (c == '?' || c == ':') usage();
    on_option(c, optarg);
  }
  return optind;
}

int Kes_subcommands::fail(Kes_err *err) {
  err->print();
  delete err;
  return 1;
}

Kes_workspace *Kes_subcommands::existing_ws(const char *name) {
  Kes_workspace *ws = nullptr;
  Kes_err *err = kes_determine_default_ws(name, &ws);
  if (!err) err = ws->not_real_error();
  if (err) {
    delete ws;
    fail(err);
    return nullptr;
  }
  return ws;
}

void Kes_subcommands::record(Kes_workspace *ws, Kes_workspace *parent, const std::string &lines,
                             const char *freezepoint_file, int status) {
  Kes_md_history *log = nullptr;
  Kes_err_owner err(ws->get_md_history(&log));
  if (!err) {
    log->argc = argc;
    log->argv = argv;
    err.keep(log->start(0));
  }
  if (!err && !lines.empty()) err.keep(log->printf("%s", lines.c_str()));
  err.report();
  if (log) {
    cmdlog->set_ws(parent ? parent->wsname : nullptr, parent ? parent->netname : nullptr,
                   ws->wsname, ws->netname);
    if (freezepoint_file) cmdlog->set_fp(freezepoint_file);
    cmdlog->finish(status);
    log->done(cmdlog);
  }
  delete log;
}
