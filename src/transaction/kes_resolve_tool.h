// Resolve_tool: the merge tool as the resolve command drives it.  Over the
// message service (unless BRINDLE_NO_HAILWAY is set) one "twinpane -T <id>"
// serves file after file: it announces itself (Started), takes each file by a
// Load, and reports the user's decision by Saved; a tool that quits or leaves
// the bus ended the file without a decision.  Without the service each file
// gets its own "twinpane -x ...", whose exit status is the decision.
#ifndef BRINDLE_TRANSACTION_KES_RESOLVE_TOOL_H
#define BRINDLE_TRANSACTION_KES_RESOLVE_TOOL_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "transaction/kes_resolve.h"

class Resolve_tool {
public:
  // settings give autosave for the Loads; not owned.
  Resolve_tool(Kes_workspace *ws, const Kes_resolve_rc *settings);
  // quit, and off the message service.
  ~Resolve_tool();
  Resolve_tool(const Resolve_tool &) = delete;
  Resolve_tool &operator=(const Resolve_tool &) = delete;

  // Runs the tool on r's temporary files; *decision is the user's, or
  // KES_RS_SKIP when the tool ended without one.
  [[nodiscard]] Kes_err *merge(Kes_resolve *r, int *decision);
  // Tells a running tool to quit and waits for its end.
  void quit();

private:
  Kes_workspace *ws;
  const Kes_resolve_rc *settings;
  int connected;        // -1 not tried yet, 0 no message service, 1 on it
  std::string me;       // our process id on the service
  std::string tool_id;  // the tool's, from its Started
  pid_t pid;            // the tool's process, -1 when none
  int pidfd;            // readable when it ends; -1 when the kernel has none
  bool started;         // its Started has come
  bool gone;            // it left the bus before it could be watched

  [[nodiscard]] Kes_err *spawn(const std::vector<std::string> &argv);
  [[nodiscard]] Kes_err *offline(const char *program, Kes_resolve *r, int *decision);
  [[nodiscard]] Kes_err *served(const char *program, Kes_resolve *r, int *decision);
  [[nodiscard]] Kes_err *load(Kes_resolve *r);
  // The next message; null when the tool has ended (before its start, or gone).
  [[nodiscard]] Kes_err *next(Hw_message *m);
  // True when no process is left: it was reaped now or before.
  bool reaped();
  // Forgets the tool and waits for its process.
  void over();
};

#endif
