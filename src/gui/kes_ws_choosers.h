// The choosers that know workspaces: WSSfileChooser and WSFLPChooser, which
// show a workspace and never leave it, and BW_wsviewer, which marks the
// directories that are workspaces and backs the "Choose Directory" and
// "Choose Workspace" dialogs of the ". . ." buttons.
#ifndef BRINDLE_GUI_KES_WS_CHOOSERS_H
#define BRINDLE_GUI_KES_WS_CHOOSERS_H

#include <string>

#include "toolkit/fchooser.h"

// A chooser held to the tree below one directory, its workspace's root.
template <class Chooser>
class Kes_ws_bound : public Chooser {
public:
  using Chooser::Chooser;
  // Shows the workspace's root; from then on the chooser stays below it.
  int setWsDirectory(const char *root);
  const std::string &getWsDirectory() const { return root_; }

protected:
  int allowDirectory(const char *dir) override;

private:
  std::string root_;
};

class WSSfileChooser : public Kes_ws_bound<SfileChooser> {
public:
  using Kes_ws_bound<SfileChooser>::Kes_ws_bound;
};

class WSFLPChooser : public Kes_ws_bound<GfileChooser> {
public:
  using Kes_ws_bound<GfileChooser>::Kes_ws_bound;
};

enum { BW_WORKSPACE_KEY = 10001 };

// Directories only, workspaces with their own picture and the key data
// BW_WORKSPACE_KEY.
class BW_wsviewer : public SfileChooser {
public:
  using SfileChooser::SfileChooser;

protected:
  void loaded() override;
};

#endif
