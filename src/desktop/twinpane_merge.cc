// twinpane's merging: which three-way tool runs, how it is called, how its
// result is judged, and the question to the user afterwards.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "desktop/twinpane.h"
#include "util/kes_err.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"

namespace {
enum Kind { MELD, KDIFF3, DIFF3, OTHER };

struct Tool {
  Kind kind;
  std::vector<std::string> words;  // the program's path, then the user's own words
};

Kes_err *choose_tool(Tool *tool) {
  char path[1024];
  const char *chosen = getenv("TWINPANE_TOOL");
  for (const char *p = chosen ? chosen : ""; *p;) {
    size_t n = strcspn(p, " \t");
    if (n) tool->words.emplace_back(p, n);
    p += n + strspn(p + n, " \t");
  }
  if (!tool->words.empty()) {
    std::string base = tool->words[0].substr(tool->words[0].rfind('/') + 1);
    tool->kind = base == "meld"     ? MELD
                 : base == "kdiff3" ? KDIFF3
                 : base == "diff3"  ? DIFF3
                                    : OTHER;
    Kes_err *err = kes_find_cmd_in_path(tool->words[0].c_str(), path);
    if (!err) tool->words[0] = path;
    return err;
  }
  const char *names[] = {"meld", "kdiff3", "diff3"};
  for (Kind k : {MELD, KDIFF3, DIFF3}) {
    Kes_err *err = kes_find_cmd_in_path(names[k], path);
    if (!err || k == DIFF3) {
      tool->kind = k;
      tool->words = {path};
      return err;
    }
    delete err;
  }
  return nullptr;
}

// Runs a program on the user's terminal.  Its exit status is an answer, not a
// failure; a signal or a failed start is an error.
Kes_err *run(const std::vector<std::string> &words, int *rc) {
  std::vector<char *> argv;
  for (const std::string &w : words) argv.push_back(const_cast<char *>(w.c_str()));
  argv.push_back(nullptr);
  Kes_err *err = kes_execute_cmd_with_rc(argv[0], argv.data(), rc);
  if (err && err->code == 2012) {
    delete err;
    err = nullptr;
  }
  return err;
}

// The same through the shell, for redirection and for an $EDITOR with words.
Kes_err *run_shell(const std::string &cmd, int *rc) {
  Kes_err *err = kes_system_with_rc_no_quoting(cmd.c_str(), rc);
  if (err && err->code == 2012) {
    delete err;
    err = nullptr;
  }
  return err;
}

std::string quoted(const std::string &s) { return kes_shell_path(s.c_str()); }

// What tells whether meld wrote its output: its exit status doesn't.
struct Stamp {
  bool exists;
  struct stat st;
};

Stamp stamp(const std::string &path) {
  Stamp s;
  s.exists = stat(path.c_str(), &s.st) == 0;
  return s;
}

bool changed(const Stamp &a, const Stamp &b) {
  if (a.exists != b.exists) return true;
  return a.exists && (a.st.st_ino != b.st.st_ino || a.st.st_size != b.st.st_size ||
                      a.st.st_mtim.tv_sec != b.st.st_mtim.tv_sec ||
                      a.st.st_mtim.tv_nsec != b.st.st_mtim.tv_nsec);
}

// A merge in which the user has left conflict markers isn't finished; a missing
// one counts the same.
bool has_markers(const std::string &path) {
  FILE *f = fopen(path.c_str(), "r");
  if (!f) return true;
  bool open = false, closed = false;
  char *line = nullptr;
  size_t cap = 0;
  while (!closed && getline(&line, &cap, f) > 0) {
    if (!strncmp(line, "<<<<<<<", 7)) open = true;
    if (open && !strncmp(line, ">>>>>>>", 7)) closed = true;
  }
  free(line);
  fclose(f);
  return closed;
}

std::string substitute(const std::string &word, const Tp_job &job, const std::string &base,
                       bool *used) {
  std::string out;
  for (size_t i = 0; i < word.size(); i++) {
    char c = i + 1 < word.size() && word[i] == '%' ? word[i + 1] : 0;
    const std::string *with = c == 'B'   ? &base
                              : c == 'L' ? &job.child
                              : c == 'O' ? &job.parent
                              : c == 'M' ? &job.merged
                              : c == 'T' ? &job.title
                                         : nullptr;
    if (with) {
      out += *with;
      *used = *used || c != 'T';
      i++;
    } else {
      out += word[i];
    }
  }
  return out;
}

// Runs the tool on one job; *saved tells whether it left a merged file.
Kes_err *merge(const Tp_job &job, const Tool &tool, const std::string &base, bool *saved) {
  int rc = 0;
  Kes_err *err = nullptr;
  std::vector<std::string> argv = tool.words;
  switch (tool.kind) {
    case MELD: {
      argv.insert(argv.end(), {"--output=" + job.merged, job.child, base, job.parent});
      Stamp before = stamp(job.merged);
      err = run(argv, &rc);
      *saved = changed(before, stamp(job.merged));
      break;
    }
    case KDIFF3:
      argv.insert(argv.end(), {base, job.child, job.parent, "-o", job.merged});
      err = run(argv, &rc);
      *saved = rc == 0 && stamp(job.merged).exists;
      break;
    case OTHER: {
      bool used = false;
      for (std::string &w : argv) w = substitute(w, job, base, &used);
      if (!used) argv.insert(argv.end(), {base, job.child, job.parent, "-o", job.merged});
      err = run(argv, &rc);
      *saved = rc == 0 && stamp(job.merged).exists;
      break;
    }
    case DIFF3: {
      std::string cmd;
      for (const std::string &w : argv) cmd += quoted(w) + " ";
      cmd += "-m -L child -L ancestor -L parent " + quoted(job.child) + " " + quoted(base) + " " +
             quoted(job.parent) + " > " + quoted(job.merged);
      err = run_shell(cmd, &rc);  // 0 clean, 1 conflicts marked, 2 trouble
      if (!err && rc > 1) err = kes_decode_sh_wait(rc << 8, cmd.c_str(), nullptr);
      if (err) return err;
      const char *editor = getenv("EDITOR");
      err =
          run_shell(std::string(editor && *editor ? editor : "vi") + " " + quoted(job.merged), &rc);
      *saved = rc == 0 && !has_markers(job.merged);
      break;
    }
  }
  return err;
}

// After the tool: the user says what becomes of the file.  *again asks for
// another round with the tool.
Tp_decision ask(const Tp_job &job, bool saved, bool *again) {
  *again = false;
  for (;;) {
    fprintf(stderr,
            saved ? BWM_MSG(15001, "The merged result of %s is saved.\n")
                  : BWM_MSG(15002, "There is no finished merge of %s.\n"),
            job.title.c_str());
    fprintf(stderr,
            BWM_MSG(15003,
                    "Take the (m)erged result, the (c)hild's version, the "
                    "(p)arent's version, merge (a)gain or (s)kip? [%c] "),
            saved ? 'm' : 's');
    fflush(stderr);
    char line[256];
    if (!fgets(line, sizeof line, stdin)) return TP_SKIP;
    char *p = line + strspn(line, " \t");
    char c = *p == '\n' || !*p ? (saved ? 'm' : 's') : *p;
    switch (c) {
      case 'm':
        // Whatever the tool said, a file with conflict markers is no merge.
        if (!has_markers(job.merged)) return TP_MERGED;
        fprintf(stderr, BWM_MSG(15004, "%s is missing or still has conflict markers.\n"),
                job.merged.c_str());
        break;
      case 'c': return TP_CHILD;
      case 'p': return TP_PARENT;
      case 's': return TP_SKIP;
      case 'a': *again = true; return TP_SKIP;
      default: break;
    }
  }
}
}  // namespace

bool tp_decision_from_word(const char *word, int *decision) {
  const struct {
    const char *word;
    int decision;
  } words[] = {
      {"merged", TP_MERGED}, {"child", TP_CHILD}, {"parent", TP_PARENT}, {"skip", TP_SKIP}};
  for (auto &w : words)
    if (!strcmp(word, w.word)) {
      *decision = w.decision;
      return true;
    }
  return false;
}

Kes_err *tp_resolve(const Tp_job &job, int preset, Tp_decision *decision) {
  *decision = TP_SKIP;
  if (preset == TP_CHILD || preset == TP_PARENT || preset == TP_SKIP) {
    *decision = static_cast<Tp_decision>(preset);
    return nullptr;
  }
  Tool tool;
  Kes_err *err = choose_tool(&tool);
  if (err) return err;
  // Without a common ancestor the tools compare against an empty file.
  std::string base = job.ancestor;
  if (base.empty()) {
    std::string tmpl = job.merged + ".E.XXXXXX";
    int fd = mkstemp(&tmpl[0]);
    if (fd < 0)
      return (new Kes_err)
          ->format_msg(2044, errno,
                       BWM_MSG(15005,
                               "Unable to create a temporary "
                               "name from template \"%s\""),
                       tmpl.c_str());
    close(fd);
    base = tmpl;
  }
  if (job.ask)
    fprintf(stderr, BWM_MSG(15006, "Merging %s\n  %s: %s\n  %s: %s\n  %s: %s\n"), job.title.c_str(),
            job.captions[0].c_str(), job.child.c_str(), job.captions[1].c_str(), job.parent.c_str(),
            job.captions[2].c_str(), job.merged.c_str());
  for (bool again = true; again && !err;) {
    bool saved = false;
    again = false;
    err = merge(job, tool, base, &saved);
    if (err) break;
    if (preset == TP_MERGED && !saved)
      fprintf(stderr, BWM_MSG(15007, "No finished merge of %s; it is skipped.\n"),
              job.title.c_str());
    if (preset == TP_MERGED || !job.ask)
      *decision = saved ? TP_MERGED : TP_SKIP;
    else
      *decision = ask(job, saved, &again);
  }
  if (job.ancestor.empty()) unlink(base.c_str());
  return err;
}
