// Matrix, a grid of icons on its own canvas in a scrolled window; FileMatrix,
// a directory shown in it; SFileMatrix, the same with SCCS history files shown
// by their file names.
//
// Each icon of a FileMatrix carries its FMFile (path, directory, name, stat)
// under the key FM_FILE_KEY; the icon deletes it.  ".." is an entry like the
// others, so that it can be opened, and a chooser keeps it out of selections.
//
// Defined in ss_matrix.cc (Matrix) and ss_file_matrix.cc (the rest).
#ifndef BRINDLE_TOOLKIT_SS_MATRIX_H
#define BRINDLE_TOOLKIT_SS_MATRIX_H

#include <X11/Intrinsic.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "toolkit/ss_draw.h"

class SSCanvas;
class SSArrayTile;
class Matrix;

// Called on a double click of an element.
typedef void (*MatrixActivateProc)(Matrix *matrix, SSDrawIcon *element, void *data);

class Matrix {
public:
  // A scrolled window named name below parent, holding the grid.
  Matrix(Widget parent, const char *name);
  virtual ~Matrix();
  Matrix(const Matrix &) = delete;
  Matrix &operator=(const Matrix &) = delete;

  Widget getWidget() const { return scrolled_; }
  SSCanvas *getCanvas() const { return canvas_; }
  int getNumSelected() const;
  // In the order they were selected.
  std::vector<SSDrawIcon *> getSelectedElements() const;
  std::vector<SSDrawIcon *> getElements() const;
  void clearSelection();
  // Fits the cells per row to the visible width and the canvas to the grid.
  void relayout();
  void scrollToXY(int x, int y);
  // The element at (x, y) of the canvas, or null.
  SSDrawIcon *getElementAt(int x, int y) const;
  SSDrawIcon *addElement(Pixmap plain, Pixmap highlighted, const char *label);
  void removeAll();
  void setActivateProc(MatrixActivateProc proc, void *data);

protected:
  Pixmap loadImage(const char *const *data, int highlighted);

private:
  static void dbl_click(SSRectobj *obj, XEvent *event);
  static void resized(Widget w, XtPointer client, XEvent *event, Boolean *cont);

  Widget scrolled_;
  Widget area_;
  SSCanvas *canvas_;
  SSArrayTile *tile_;
  MatrixActivateProc activate_ = nullptr;
  void *activateData_ = nullptr;
};

enum { FM_FILE_KEY = 3010 };

// A directory entry.
class FMFile {
public:
  FMFile(const char *dir, const char *name);
  virtual ~FMFile() = default;
  int isDirectory() const { return exists && S_ISDIR(st.st_mode); }
  int isDotDot() const { return name == ".."; }

  std::string path;  // dir/name
  std::string dir;
  std::string name;
  struct stat st;
  int exists;  // stat succeeded
};

// An entry of an SCCS directory: a clear file, a history file shown by its
// file name, or both.
class FMSFile : public FMFile {
public:
  FMSFile(const char *dir, const char *name) : FMFile(dir, name) {}
  int history = 0;      // SCCS/s.name exists
  int checked_out = 0;  // SCCS/p.name exists
};

class FileMatrix : public Matrix {
public:
  FileMatrix(Widget parent, const char *name);
  // Reads dir and shows its entries sorted by strcoll.  Answers 0, or -1 when
  // the directory cannot be read, and then the old listing stays.
  int load(const char *dir);
  const std::string &getDirectory() const { return directory_; }
  static FMFile *fileOf(SSRectobj *element);

protected:
  // The entries of dir, without "." and with "..".
  virtual int readEntries(const char *dir, std::vector<FMFile *> *out);
  virtual void imagesFor(FMFile *file, Pixmap *plain, Pixmap *highlighted);

  Pixmap images_[4][2] = {};  // regular, directory, history, checked out

private:
  std::string directory_;
};

class SFileMatrix : public FileMatrix {
public:
  SFileMatrix(Widget parent, const char *name) : FileMatrix(parent, name) {}
  // Checked-out files get their own picture from the next load on.
  void showCheckIn(int on) { showCheckIn_ = on; }

protected:
  int readEntries(const char *dir, std::vector<FMFile *> *out) override;
  void imagesFor(FMFile *file, Pixmap *plain, Pixmap *highlighted) override;

private:
  int showCheckIn_ = 1;
};

#endif
