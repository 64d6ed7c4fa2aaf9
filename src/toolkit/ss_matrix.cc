// Matrix: the icon grid, its selection, scrolling and double clicks.
#include "toolkit/ss_matrix.h"

#include <Xm/DrawingA.h>
#include <Xm/ScrolledW.h>
#include <Xm/ScrollBar.h>
#include <Xm/Xm.h>

#include <algorithm>

#include "toolkit/ss_array_tile.h"
#include "toolkit/ss_canvas.h"
#include "toolkit/ss_xpm.h"

namespace {
// The canvas of a matrix carries its matrix under this key.
const int kMatrixKey = 3011;
const int kMargin = 6;
}  // namespace

Matrix::Matrix(Widget parent, const char *name) {
  scrolled_ = XtVaCreateManagedWidget(name, xmScrolledWindowWidgetClass, parent, XmNscrollingPolicy,
                                      XmAUTOMATIC, XmNscrollBarDisplayPolicy, XmAS_NEEDED, nullptr);
  area_ = XtVaCreateManagedWidget("matrix_area", xmDrawingAreaWidgetClass, scrolled_,
                                  XmNresizePolicy, XmRESIZE_NONE, XmNwidth, 100, XmNheight, 100,
                                  nullptr);
  canvas_ = new SSCanvas(area_);
  canvas_->addKeyData(kMatrixKey, this);
  canvas_->setDblClickTime(1500);
  tile_ = new SSArrayTile(canvas_);
  tile_->setXY(kMargin, kMargin);
  tile_->setAlignment(SSTileAlignBeginning);
  Widget clip = nullptr;
  XtVaGetValues(scrolled_, XmNclipWindow, &clip, nullptr);
  if (clip) XtAddEventHandler(clip, StructureNotifyMask, False, resized, this);
}

Matrix::~Matrix() { delete canvas_; }

Pixmap Matrix::loadImage(const char *const *data, int highlighted) {
  Display *dpy = XtDisplay(area_);
  Pixmap pixmap = None;
  Pixel fg = canvas_->getForeground();
  Pixel bg = highlighted ? fg : canvas_->getBackground();
  SSXpmDataToPixmap(dpy, RootWindowOfScreen(XtScreen(area_)), data, fg, bg, &pixmap, nullptr,
                    nullptr);
  return pixmap;
}

int Matrix::getNumSelected() const { return canvas_->getNumSelected(); }

std::vector<SSDrawIcon *> Matrix::getSelectedElements() const {
  std::vector<SSDrawIcon *> out;
  for (SSListNode *n = canvas_->getSelectedList(); n; n = n->getNext())
    if (auto *icon = dynamic_cast<SSDrawIcon *>(static_cast<SSRectobj *>(n->getData())))
      out.push_back(icon);
  return out;
}

std::vector<SSDrawIcon *> Matrix::getElements() const {
  std::vector<SSDrawIcon *> out;
  for (SSListNode *n = tile_->getChildren(); n; n = n->getNext())
    out.push_back(static_cast<SSDrawIcon *>(n->getData()));
  return out;
}

void Matrix::clearSelection() { canvas_->clearSelection(); }

void Matrix::relayout() {
  Widget clip = nullptr;
  XtVaGetValues(scrolled_, XmNclipWindow, &clip, nullptr);
  Dimension view_w = 0, view_h = 0;
  if (clip) XtVaGetValues(clip, XmNwidth, &view_w, XmNheight, &view_h, nullptr);
  canvas_->setDelayRepaint(1);
  tile_->setViewConstraint(std::max(1, view_w - 2 * kMargin));
  tile_->relayout();
  // The drawing surface is the grid, but never smaller than the view.
  canvas_->startSet();
  canvas_->setWidth(std::max<int>(view_w, tile_->getWidth() + 2 * kMargin));
  canvas_->setHeight(std::max<int>(view_h, tile_->getHeight() + 2 * kMargin));
  canvas_->finishSet();
  canvas_->setDelayRepaint(0);
}

void Matrix::scrollToXY(int x, int y) {
  Widget bars[2] = {nullptr, nullptr};
  XtVaGetValues(scrolled_, XmNhorizontalScrollBar, &bars[0], XmNverticalScrollBar, &bars[1],
                nullptr);
  const int wanted[2] = {x, y};
  for (int i = 0; i < 2; i++) {
    if (!bars[i] || !XtIsManaged(bars[i])) continue;
    int value = 0, slider = 0, minimum = 0, maximum = 0, incr = 0, page = 0;
    XtVaGetValues(bars[i], XmNvalue, &value, XmNsliderSize, &slider, XmNminimum, &minimum,
                  XmNmaximum, &maximum, XmNincrement, &incr, XmNpageIncrement, &page, nullptr);
    int v = std::max(minimum, std::min(wanted[i], maximum - slider));
    if (v != value) XmScrollBarSetValues(bars[i], v, slider, incr, page, True);
  }
}

SSDrawIcon *Matrix::getElementAt(int x, int y) const {
  for (SSDrawIcon *icon : getElements())
    if (icon->getShow() && icon->contains(x, y)) return icon;
  return nullptr;
}

SSDrawIcon *Matrix::addElement(Pixmap plain, Pixmap highlighted, const char *label) {
  auto *icon = new SSDrawIcon(canvas_, plain, highlighted, label);
  icon->setDblClickProc(dbl_click);
  icon->setParent(tile_);
  return icon;
}

void Matrix::removeAll() {
  canvas_->setDelayRepaint(1);
  canvas_->clearSelection();
  for (SSDrawIcon *icon : getElements()) delete icon;
  canvas_->setDelayRepaint(0);
}

void Matrix::setActivateProc(MatrixActivateProc proc, void *data) {
  activate_ = proc;
  activateData_ = data;
}

void Matrix::dbl_click(SSRectobj *obj, XEvent *) {
  auto *self = static_cast<Matrix *>(obj->getCanvas()->getKeyData(kMatrixKey));
  if (self && self->activate_)
    self->activate_(self, static_cast<SSDrawIcon *>(obj), self->activateData_);
}

void Matrix::resized(Widget, XtPointer client, XEvent *event, Boolean *) {
  if (event->type == ConfigureNotify) static_cast<Matrix *>(client)->relayout();
}
