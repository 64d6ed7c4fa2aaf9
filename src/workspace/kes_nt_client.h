// Kes_nt_client: what a name table asks of the command it works for.
#ifndef BRINDLE_WORKSPACE_KES_NT_CLIENT_H
#define BRINDLE_WORKSPACE_KES_NT_CLIENT_H

class Kes_workspace;

// What a table asks of the command it works for while it rebuilds.  The
// transaction implements it; the name table never sees the transaction itself.
class Kes_nt_client {
public:
  // 1 when ws is the child workspace this command is creating: it has no
  // history files yet, so there is nothing to scan.
  virtual int nt_creating_child(Kes_workspace *ws) = 0;
  // Prints the line that announces the scan of ws's tree.
  virtual void nt_print_progress(Kes_workspace *ws) = 0;

protected:
  ~Kes_nt_client() = default;
};

#endif
