// notification: who wants mail when something happens to a workspace.  An
// entry is an address and the events, optionally followed by a list of files
// between "BEGIN" and "END".  A new workspace gets a file that holds only the
// explaining comment.
#ifndef BRINDLE_WORKSPACE_KES_NOTIFY_H
#define BRINDLE_WORKSPACE_KES_NOTIFY_H

#include "workspace/kes_metadata.h"

class Kes_md_notify : public Kes_metadata {
public:
  Kes_md_notify(Kes_workspace *ws, const char *metadata_dir)
      : Kes_metadata(ws, metadata_dir, "notification", 1) {}
  // The version line and the two comment blocks.
  Kes_err *create_default_file();
  // The two comment blocks, with the keywords and event names filled in;
  // malloc-ed, for the caller to free.
  static void create_default_string1(char **text);
  static void create_default_string2(char **text);
};

// 1 for the nine event words of the file.
int check_event_entry(const char *word);

#endif
