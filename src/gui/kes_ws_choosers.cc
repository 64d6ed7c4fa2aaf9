// WSSfileChooser, WSFLPChooser, BW_wsviewer and the ". . ." directory dialogs.
#include "gui/kes_ws_choosers.h"

#include <Xm/TextF.h>
#include <Xm/Xm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <map>

#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_trans_forms.h"
#include "toolkit/ss_canvas.h"
#include "toolkit/ss_matrix.h"
#include "toolkit/ss_xpm.h"
#include "util/kes_path.h"
#include "workspace/kes_workspace.h"

template <class Chooser>
int Kes_ws_bound<Chooser>::setWsDirectory(const char *root) {
  char real[PATH_MAX];
  root_ = realpath(root, real) ? real : root;
  return this->loadDirectory(root_.c_str());
}

template <class Chooser>
int Kes_ws_bound<Chooser>::allowDirectory(const char *dir) {
  size_t n = root_.size();
  if (root_.empty() || root_ == "/" ||
      (strncmp(dir, root_.c_str(), n) == 0 && (dir[n] == '\0' || dir[n] == '/')))
    return 1;
  this->setFooter(GUI_MSG("Enter a directory under the workspace"));
  return 0;
}

template class Kes_ws_bound<SfileChooser>;
template class Kes_ws_bound<GfileChooser>;

void BW_wsviewer::loaded() {
  static Pixmap mark[2] = {None, None};
  FileMatrix *matrix = getMatrix();
  SSCanvas *canvas = matrix->getCanvas();
  if (mark[0] == None) {
    char path[1024];
    gui_icon_path("brindle_16.xpm", path);
    Display *dpy = XtDisplay(getDialog()->shell);
    Window root = RootWindowOfScreen(XtScreen(getDialog()->shell));
    SSXpmFileToPixmap(dpy, root, path, canvas->getForeground(), canvas->getBackground(),
                      &mark[0], nullptr, nullptr);
    SSXpmFileToPixmap(dpy, root, path, canvas->getForeground(), canvas->getForeground(),
                      &mark[1], nullptr, nullptr);
  }
  canvas->setDelayRepaint(1);
  for (SSDrawIcon *icon : matrix->getElements()) {
    FMFile *f = FileMatrix::fileOf(icon);
    if (!f || !f->isDirectory()) {
      icon->setShow(0);
      continue;
    }
    if (f->isDotDot()) continue;
    std::string md = f->path + "/" KES_METADATA_DIR;
    struct stat st;
    if (stat(md.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && mark[0] != None) {
      icon->getImage()->setPixmaps(mark[0], mark[1]);
      icon->addKeyData(BW_WORKSPACE_KEY, reinterpret_cast<void *>(1));
    }
  }
  matrix->relayout();
  canvas->setDelayRepaint(0);
}

namespace {

struct Dot_dot {
  BW_wsviewer *viewer = nullptr;
  Widget field = nullptr;
  int workspaces_only = 0;
};

int is_dir(const std::string &path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

void dot_dot_chosen(GfileChooser *chooser, void *data) {
  auto *d = static_cast<Dot_dot *>(data);
  std::vector<std::string> selected = chooser->getSelectedPaths();
  std::string name = chooser->getName();
  const char *none = d->workspaces_only
                         ? GUI_MSG("Select a workspace or enter it in the Name field")
                         : GUI_MSG("Select workspace/directory or enter it in the Name field");
  if (selected.size() > 1) {
    chooser->setFooter(GUI_MSG("Please, select only one workspace/directory"));
    return;
  }
  std::string choice;
  if (!name.empty()) {
    char full[1024];
    if (name[0] == '/' || name[0] == '~')
      choice = kes_fully_qualify(name.c_str(), full) ? full : name;
    else
      choice = chooser->getDirectory() + "/" + name;
  } else if (!selected.empty()) {
    choice = selected[0];
  }
  if (choice.empty()) {
    chooser->setFooter(none);
    return;
  }
  if (!is_dir(choice)) {
    chooser->setFooter(GUI_MSG("Select or enter a single directory"));
    return;
  }
  if (d->workspaces_only && !is_dir(choice + "/" KES_METADATA_DIR)) {
    chooser->setFooter(none);
    return;
  }
  char real[PATH_MAX];
  if (realpath(choice.c_str(), real)) choice = real;
  set_field(d->field, choice.c_str());
  chooser->popdown();
  gui_debug("chooser %s chose %s", chooser->getChooserName(), choice.c_str());
  // As if the user had pressed Return in the field.
  XtCallCallbacks(d->field, XmNactivateCallback, nullptr);
}

}  // namespace

void show_dot_dot_chooser(Widget field, int workspaces_only) {
  static Dot_dot dialogs[2];
  Dot_dot *d = &dialogs[workspaces_only ? 1 : 0];
  if (!d->viewer) {
    const char *title = workspaces_only ? GUI_MSG("Choose Workspace") : GUI_MSG("Choose Directory");
    d->viewer = new BW_wsviewer(get_trans_shell_widget(),
                                workspaces_only ? "choose_workspace" : "choose_directory", title);
    d->viewer->setAddLabel(GUI_MSG("OK"));
    d->viewer->setAddProc(dot_dot_chosen, d);
    d->workspaces_only = workspaces_only;
    gui_trace_places_on_map(d->viewer->getDialog()->shell);
  }
  d->field = field;
  // A workspace is chosen among its neighbours: the listing starts in the
  // directory that holds the field's workspace.
  char *text = get_field(field);
  std::string start = text;
  free(text);
  if (workspaces_only && is_dir(start + "/" KES_METADATA_DIR)) start += "/..";
  if (!is_dir(start)) {
    size_t slash = start.rfind('/');
    start = slash != std::string::npos && slash > 0 ? start.substr(0, slash) : "";
  }
  if (!is_dir(start)) {
    char cwd[PATH_MAX];
    start = getcwd(cwd, sizeof cwd) ? cwd : "/";
  }
  d->viewer->setName("");
  d->viewer->popup();
  d->viewer->loadDirectory(start.c_str());
}
