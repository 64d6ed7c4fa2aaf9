// The file choosers: FChooser_c, the dialog's widgets; GfileChooser, a
// directory grid in that dialog; SfileChooser, the same with SCCS history
// files shown by their file names; and accessible_dir, the test a directory
// passes before a chooser enters it.
//
// A chooser is made once and then popped up and down.  "Add Files to List" (and
// Return in the Name field, and a double click on a file) calls the add
// procedure, which reads the Name field and the selection; a double click on a
// directory enters it.  What happens is told on the footer, and traced as
// "chooser NAME footer TEXT" and "chooser NAME loaded DIR".
#ifndef BRINDLE_TOOLKIT_FCHOOSER_H
#define BRINDLE_TOOLKIT_FCHOOSER_H

#include <X11/Intrinsic.h>

#include <string>
#include <vector>

class FileMatrix;
class SSDrawIcon;
class Matrix;

// 1 when path is a directory that can be read and searched; otherwise 0 and
// text (size bytes) says "%s doesn't exist" or "There is no access to %s" with
// the last component of the path.
int accessible_dir(const char *path, char *text, int size);

// The generated dialog: the shell, the "Directory:" field, the area that holds
// the grid, the "Name:" field, the buttons and the footer.
class FChooser_c {
public:
  void create(Widget parent, const char *name, const char *title);

  Widget shell = nullptr;
  Widget form = nullptr;
  Widget dir_label = nullptr;
  Widget dir_text = nullptr;
  Widget area = nullptr;
  Widget name_label = nullptr;
  Widget name_text = nullptr;
  Widget add_btn = nullptr;
  Widget load_btn = nullptr;
  Widget cancel_btn = nullptr;
  Widget help_btn = nullptr;
  Widget footer = nullptr;
};

class GfileChooser {
public:
  typedef void (*AddProc)(GfileChooser *chooser, void *data);

  GfileChooser(Widget parent, const char *name, const char *title)
      : GfileChooser(parent, name, title, 0) {}
  virtual ~GfileChooser();
  GfileChooser(const GfileChooser &) = delete;
  GfileChooser &operator=(const GfileChooser &) = delete;

  void popup();
  void popdown();
  int isUp() const { return up_; }
  // Shows dir, telling on the footer what went wrong; 1 when it is shown.
  int loadDirectory(const char *dir);
  const std::string &getDirectory() const;
  std::string getName() const;
  void setName(const char *text);
  // Full paths of the selected entries, in selection order; ".." never.
  std::vector<std::string> getSelectedPaths() const;
  void setFooter(const char *text);
  void setAddProc(AddProc proc, void *data);
  void setAddLabel(const char *label);
  void setTitle(const char *title);
  FChooser_c *getDialog() { return &dialog_; }
  FileMatrix *getMatrix() const { return matrix_; }
  const char *getChooserName() const { return name_.c_str(); }

protected:
  GfileChooser(Widget parent, const char *name, const char *title, int sccs);
  // Whether dir (a real path) may be shown; a refusal sets the footer itself.
  virtual int allowDirectory(const char *dir);
  // After each load.
  virtual void loaded() {}
  // "Load Directory": the Directory field's directory is shown.
  virtual void loadPressed();
  // A double click on a directory enters it.
  virtual void directoryActivated(const std::string &path) { loadDirectory(path.c_str()); }

private:
  static void add_callback(Widget w, XtPointer client, XtPointer call);
  static void load_callback(Widget w, XtPointer client, XtPointer call);
  static void load_button_callback(Widget w, XtPointer client, XtPointer call);
  static void cancel_callback(Widget w, XtPointer client, XtPointer call);
  static void help_callback(Widget w, XtPointer client, XtPointer call);
  static void activated(Matrix *matrix, SSDrawIcon *element, void *data);

  FChooser_c dialog_;
  FileMatrix *matrix_ = nullptr;
  std::string name_;
  AddProc add_ = nullptr;
  void *addData_ = nullptr;
  int up_ = 0;
};

class SfileChooser : public GfileChooser {
public:
  SfileChooser(Widget parent, const char *name, const char *title)
      : GfileChooser(parent, name, title, 1) {}
};

#endif
