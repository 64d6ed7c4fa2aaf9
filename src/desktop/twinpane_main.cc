// twinpane: the three-way merge tool of the resolve side.  "twinpane -T id" serves
// the resolve side over Hailway; "twinpane -x ... child parent merged" merges one
// file and tells the decision by its exit status.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "desktop/twinpane.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"

namespace {
struct Tp_args {
  std::string caller, offline, ancestor, child_caption, parent_caption, merged_caption, title,
      decision;
  std::vector<std::string> files;
};

// One table feeds the parser and the usage text.
const struct Tp_option {
  const char *flag;
  const char *value;  // null: a flag without a value
  std::string Tp_args::*field;
} options[] = {
    {"-T", "process-id", &Tp_args::caller},
    {"-x", nullptr, &Tp_args::offline},
    {"-a", "ancestor", &Tp_args::ancestor},
    {"-f1", "caption", &Tp_args::child_caption},
    {"-f2", "caption", &Tp_args::parent_caption},
    {"-f3", "caption", &Tp_args::merged_caption},
    {"-ft", "title", &Tp_args::title},
    {"-d", "merged|child|parent|skip", &Tp_args::decision},
};

void usage() {
  std::string line;
  for (const Tp_option &o : options)
    line += std::string(" [") + o.flag + (o.value ? std::string(" ") + o.value : "") + "]";
  fprintf(stderr,
          BWM_MSG(15020,
                  "Usage: %s%s [child parent merged]\n"
                  "  -T: serve the resolve side of that Hailway process\n"
                  "  -x: merge one file; exit 16 parent, 32 child, 48 merged, else skipped\n"),
          kes_get_base_cmdname(), line.c_str());
}

bool parse(int argc, char **argv, Tp_args *a) {
  for (int i = 1; i < argc; i++) {
    const Tp_option *o = nullptr;
    for (const Tp_option &cand : options)
      if (!strcmp(argv[i], cand.flag)) o = &cand;
    if (!o && argv[i][0] == '-' && argv[i][1]) return false;
    if (!o)
      a->files.push_back(argv[i]);
    else if (!o->value)
      a->*(o->field) = "1";
    else if (++i < argc)
      a->*(o->field) = argv[i];
    else
      return false;
  }
  // Exactly one of the two ways, with its files.
  return a->caller.empty() != a->offline.empty() &&
         a->files.size() == (a->offline.empty() ? 0u : 3u);
}
}  // namespace

int main(int argc, char **argv) {
  umask_save();
  kes_init(argv);
  libbwm_init();
  libutil_init();
  // The user's own tools write the merge, and it becomes the user's file: with
  // the user's mask, not the engine's explicit modes.
  umask(umask_get());
  if (kes_check_if_invoked_for_version(argc, argv, "1.0")) return 0;
  Tp_args a;
  if (!parse(argc, argv, &a)) {
    usage();
    return 1;
  }
  int preset = -1;
  const char *word = a.decision.empty() ? getenv("TWINPANE_DECISION") : a.decision.c_str();
  if (word && *word && !tp_decision_from_word(word, &preset)) {
    fprintf(stderr, BWM_MSG(15021, "%s: \"%s\" is no decision\n"), kes_get_base_cmdname(), word);
    usage();
    return 1;
  }
  if (!a.caller.empty()) return tp_serve(a.caller.c_str(), preset);
  Tp_job job;
  job.ancestor = a.ancestor;
  job.child = a.files[0];
  job.parent = a.files[1];
  job.merged = a.files[2];
  job.title = a.title.empty() ? job.merged : a.title;
  job.captions[0] = a.child_caption.empty() ? "Child" : a.child_caption;
  job.captions[1] = a.parent_caption.empty() ? "Parent" : a.parent_caption;
  job.captions[2] = a.merged_caption.empty() ? "Merged Result" : a.merged_caption;
  job.ask = isatty(0);
  Tp_decision decision;
  if (Kes_err *err = tp_resolve(job, preset, &decision)) {
    err->print();
    delete err;
    return 1;
  }
  return decision;
}
