// Kes_resolve_command: the resolve command's run over a workspace's conflicts
// and its questions at the terminal.
#include "transaction/kes_resolve_command.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sccs/kes_conflict.h"
#include "sccs/kes_sfile.h"
#include "transaction/kes_resolve_tool.h"
#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_options.h"
#include "util/kes_path.h"
#include "util/kes_quote.h"
#include "workspace/kes_history.h"
#include "workspace/kes_workspace.h"

namespace {

const Kes_option kOptions[] = {{'w', "ws"}, {'c'}, {'p'}, {'m', "merged_file"}};

void report(Kes_err *err) {
  err->print();
  delete err;
}

void show_progress(const char *text, int) {
  printf("%s\n", text);
  fflush(stdout);
}

// The first non-blank character of the answer; '\n' for an empty line, 0 at
// the end of the input.
char answer(const char *question) {
  printf("%s", question);
  fflush(stdout);
  char line[256];
  if (!fgets(line, sizeof line, stdin)) {
    printf("\n");
    return 0;
  }
  return line[strspn(line, " \t")];
}

// A comment typed by the user, each line with its newline; empty for none.
std::string read_comment() {
  Kes_strlist lines;
  kes_read_comment(&lines);
  std::string text;
  for (Kes_listelem *e = lines.head.next; e != &lines.head; e = e->next)
    text += std::string(static_cast<const char *>(e->data)) + "\n";
  return text;
}

}  // namespace

Kes_resolve_command::Kes_resolve_command(int ac, char **av)
    : argc(ac), argv(av), decision_for_all(0), merged_file(nullptr), workspace(nullptr),
      log(nullptr), history(nullptr), current(nullptr), tool(nullptr),
      errors(0), left(0) {}

Kes_resolve_command::~Kes_resolve_command() { finish(); }

void Kes_resolve_command::usage() {
  fprintf(stderr, BWM_MSG(14550, "Usage: %s %s\n"), kes_get_base_cmdname(),
          kes_opt_usage(kOptions, "[files]").c_str());
  exit(1);
}

// The options and the workspace; 1 after an error was printed.
int Kes_resolve_command::parse(int *first) {
  const char *ws_name = nullptr;
  opterr = 0;
  int c;
  while ((c = getopt(argc, argv, ("+" + kes_opt_string(kOptions)).c_str())) != -1) {
    switch (c) {
      case 'w': ws_name = optarg; break;
      case 'c':
      case 'p':
        if (decision_for_all || merged_file) usage();
        decision_for_all = c == 'c' ? KES_RS_CHILD : KES_RS_PARENT;
        break;
      case 'm':
        if (decision_for_all || merged_file) usage();
        merged_file = optarg;
        break;
      default: usage();
    }
  }
  *first = optind;
  // A merged file is the merge of one file.
  if (merged_file && argc - optind != 1) usage();
  Kes_err *err = kes_determine_default_ws(ws_name, &workspace);
  if (!err && !workspace->exists()) err = kes_ws_does_not_exist(workspace->wsname);
  if (err) {
    report(err);
    return 1;
  }
  return 0;
}

Kes_err *Kes_resolve_command::start() {
  log = new Kes_resolve_log(workspace);
  Kes_err *err = log->open(argc, argv);
  if (err) return err;
  if ((err = settings.read())) return err;
  history = log->history;
  tool = new Resolve_tool(workspace, &settings);
  return nullptr;
}

// Each pointer is cleared before its object goes, so that a signal's clean-up
// meanwhile finds nothing half gone.
void Kes_resolve_command::finish() {
  Resolve_tool *t = tool;
  tool = nullptr;
  delete t;
  history = nullptr;
  Kes_resolve_log *l = log;
  log = nullptr;
  if (l) l->close(errors ? 1 : left ? 4 : 0);
  delete l;
  Kes_workspace *ws = workspace;
  workspace = nullptr;
  delete ws;
}

void Kes_resolve_command::clean_up(int signal) {
  Kes_resolve *r = current;
  current = nullptr;
  if (r) r->remove_tmpfiles();
  if (history)
    Kes_err_owner(history->printf(BWM_MSG(14551, "Command exited due to signal %d\n"), signal))
        .report();
  errors++;
  finish();
}

// Names as bringover takes them: relative to the workspace's root, or absolute
// inside it.
Kes_strlist *Kes_resolve_command::files_to_resolve(int first) {
  if (first == argc)
    return resolve_get_conflicts(workspace, [](Kes_err *err) { report(err); });
  Kes_strlist *names = new Kes_strlist;
  for (int i = first; i < argc; i++) {
    char rel[1024] = "", clean[1024] = "";
    bool inside = argv[i][0] == '/' ? workspace->is_under_ws(argv[i], rel)
                                    : snprintf(rel, sizeof rel, "%s", argv[i]) < 1024;
    Kes_err *err = inside && rel[0] ? kes_path_remove_dots(rel, clean) : nullptr;
    if (err || !clean[0] || !strcmp(clean, ".")) {
      delete err;
      report((new Kes_err)
                 ->format_msg(2071, 0, BWM_MSG(14552, "File \"%s\" is not in workspace \"%s\""),
                              argv[i], workspace->wsname));
      errors++;
      continue;
    }
    names->add_new_copy(clean);
  }
  return names;
}

int Kes_resolve_command::command() {
  int first = 0;
  if (parse(&first)) return 1;
  Kes_err *err = start();
  if (err) {
    report(err);
    errors++;
    finish();
    return 1;
  }
  Kes_strlist *names = files_to_resolve(first);
  if (!names && !errors)
    printf(BWM_MSG(14553, "No files in conflict in workspace \"%s\"\n"), workspace->wsname);
  int n = 0, total = names ? names->count : 0, quit = 0;
  for (Kes_listelem *e = names ? names->head.next : nullptr; e && e != &names->head; e = e->next) {
    if (quit) {
      left++;
      continue;
    }
    quit = resolve_one(static_cast<const char *>(e->data), ++n, total);
  }
  delete names;
  int status = errors ? 1 : left ? 4 : 0;
  finish();
  return status;
}

// ---------------------------------------------------------------------------
// One file

int Kes_resolve_command::resolve_one(const char *name, int n, int total) {
  Kes_resolve *r = current = new Kes_resolve;
  int not_in_conflict = 0, skip = 0, quit = 0, done = 0, decision = KES_RS_SKIP;
  Kes_err *err = r->set_names(name, workspace, &not_in_conflict);
  if (!err && not_in_conflict)
    printf(BWM_MSG(14554, "File \"%s\" is not in conflict according to its SCCS file; it is "
                          "removed from the conflict list.\n"),
           name);
  if (!err && !not_in_conflict) {
    printf(BWM_MSG(14555, "\nResolving %s (%d of %d)\n"), r->relative_name, n, total);
    err = checked_out(r, &skip, &quit);
  }
  bool go_on = !err && !not_in_conflict && !skip && !quit;
  if (go_on) err = r->materialize_tmpfiles(&done);
  if (!err && done) {
    // The child's line was no line of its own: the parent's version stands.
    const char *word = resolve_decision_word(KES_RS_PARENT);
    printf("%s: %s\n", word, r->relative_name);
    if (history) err = history->printf("%s: %s\n", word, r->relative_name);
  }
  go_on = go_on && !err && !done;
  if (go_on) {
    printf(BWM_MSG(14556, "\nChanges in the child workspace \"%s\":\n"), workspace->wsname);
    err = r->print_child_history();
    if (!err) {
      printf(BWM_MSG(14557, "\nChanges in the parent workspace \"%s\":\n"),
             r->conflict->ws_path ? r->conflict->ws_path : "");
      err = r->print_parent_history();
    }
    printf("\n");
  }
  if (go_on && !err) {
    if (decision_for_all) {
      decision = decision_for_all;
    } else if (merged_file) {
      err = kes_copy_file(r->merged_file, merged_file);
      decision = KES_RS_MERGED;
    } else {
      decision = ask_decision(r, r->sfile->flags && r->sfile->flags->encoded, &err);
      quit = decision < 0;
    }
  }
  if (go_on && !err && decision > 0) {
    char buf[1024];
    err = resolve_decide(r, decision, ask_comment(decision, buf), history, show_progress);
    if (!err) printf("%s: %s\n", resolve_decision_word(decision), r->relative_name);
  }
  if (err) {
    report(err);
    errors++;
  }
  // Whatever wasn't decided keeps no temporary files; unless it settled itself,
  // it stays in conflict.
  if (err || decision <= 0) {
    r->remove_tmpfiles();
    if (!not_in_conflict && !done) left++;
  }
  current = nullptr;
  delete r;
  fflush(stdout);
  return quit;
}

// A file checked out can't be resolved until it is checked in or its
// check-out undone; only the user can say which.
Kes_err *Kes_resolve_command::checked_out(Kes_resolve *r, int *skip, int *quit) {
  if (!r->is_checkedout()) return nullptr;
  if (decision_for_all || merged_file)
    return (new Kes_err)
        ->format_msg(2072, 0,
                     BWM_MSG(14558, "File \"%s\" is checked out; check it in or undo the "
                                    "check-out before resolving it"),
                     r->relative_name);
  for (;;) {
    char question[2048];
    snprintf(question, sizeof question,
             BWM_MSG(14559, "File %s is checked out.  Check it (i)n, (u)ndo the check-out, "
                            "(s)kip or (q)uit? "),
             r->relative_name);
    switch (answer(question)) {
      case 'i': return r->checkin(read_comment().c_str(), show_progress);
      case 'u': return r->uncheckout();
      case 's': *skip = 1; return nullptr;
      case 'q':
      case 0: *quit = 1; return nullptr;
      default: break;
    }
  }
}

// The user's decision, or -1 to quit.  "m" runs the merge tool; a tool that
// ends without a decision brings the question back.
int Kes_resolve_command::ask_decision(Kes_resolve *r, int binary, Kes_err **err) {
  *err = nullptr;
  bool run_tool = settings.start_twinpane && !binary;
  for (;;) {
    if (run_tool) {
      int decision = KES_RS_SKIP;
      if ((*err = tool->merge(r, &decision))) return KES_RS_SKIP;
      if (decision != KES_RS_SKIP) return decision;
      printf(BWM_MSG(14560, "No decision from the merge tool: %s is still in conflict.\n"),
             r->relative_name);
      run_tool = false;
    }
    char c = answer(binary ? BWM_MSG(14561, "The file is binary.  Accept the (c)hild's version, "
                                            "the (p)arent's version, (s)kip or (q)uit? ")
                           : BWM_MSG(14562, "(m)erge with the tool, accept the (c)hild's "
                                            "version, accept the (p)arent's version, (s)kip or "
                                            "(q)uit? "));
    switch (c) {
      case 'm': run_tool = !binary; break;
      case 'c': return KES_RS_CHILD;
      case 'p': return KES_RS_PARENT;
      case 's': return KES_RS_SKIP;
      case 'q':
      case 0: return -1;
      default: break;
    }
  }
}

// With check-in comments asked for, the user's comment for the new delta, or
// null for the default one.
const char *Kes_resolve_command::ask_comment(int decision, char *buf) {
  if (!settings.checkin_comments || decision_for_all || merged_file ||
      decision == KES_RS_PARENT)
    return nullptr;
  char def[1024];
  if (decision == KES_RS_CHILD)
    current->accept_child_def_comment(def);
  else
    current->merge_def_comment(def);
  printf(BWM_MSG(14563, "Check-in comment; an empty line takes this one:\n%s"), def);
  std::string text = read_comment();
  if (text.empty()) return nullptr;
  snprintf(buf, 1024, "%s", text.c_str());
  return buf;
}
