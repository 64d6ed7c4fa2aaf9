// SSCanvas: the drawing area, its size, the repaint area and its painting, and the
// selection; SSApplication.
#include "toolkit/ss_canvas.h"

#include <Xm/DrawingA.h>
#include <Xm/Xm.h>

#include <algorithm>
#include <cstdio>

#include "toolkit/ss_xpm.h"

SSCanvas::SSCanvas(Widget drawingArea, Widget popupMenu)
    : SSRectobj(nullptr), drawingArea_(drawingArea) {
  canvas_ = this;
  selectable_ = 0;
  popupMenu_ = popupMenu;
  eventHandlerProc_ = SSRectobjEventHandlerDefault;
  Dimension w = 0, h = 0;
  Pixel fg = 0, bg = 0;
  XtVaGetValues(drawingArea, XmNwidth, &w, XmNheight, &h, XmNforeground, &fg, XmNbackground,
                &bg, nullptr);
  rect_ = prevRect_ = SSRectMake(0, 0, w, h);
  foreground_ = static_cast<long>(fg);
  background_ = static_cast<long>(bg);
  dblClickTime_ = XtGetMultiClickTime(XtDisplay(drawingArea));
  XtAddCallback(drawingArea, XmNexposeCallback, exposeCallback, this);
  XtAddCallback(drawingArea, XmNresizeCallback, resizeCallback, this);
  XtAddEventHandler(drawingArea,
                    ButtonPressMask | ButtonReleaseMask | PointerMotionMask | KeyPressMask |
                        KeyReleaseMask | EnterWindowMask | LeaveWindowMask,
                    False, canvasEventHandler, this);
  SSApplication::get()->addCanvas(this);
}

SSCanvas::~SSCanvas() {
  // Children go while the canvas can still take their repaints and selection.
  setDelayRepaint(1);
  while (children_) delete static_cast<SSRectobj *>(children_->getData());
  SSListNode::destroy(&selected_list_);
  SSApplication::get()->removeCanvas(this);
  XtRemoveCallback(drawingArea_, XmNexposeCallback, exposeCallback, this);
  XtRemoveCallback(drawingArea_, XmNresizeCallback, resizeCallback, this);
  XtRemoveEventHandler(drawingArea_, XtAllEvents, True, canvasEventHandler, this);
  if (batchPixmap_ != None) XFreePixmap(getDisplay(), batchPixmap_);
  if (gc_) XFreeGC(getDisplay(), gc_);
  canvas_ = nullptr;
}

Display *SSCanvas::getDisplay() const { return XtDisplay(drawingArea_); }

Window SSCanvas::getWindow() {
  if (window_ == None && XtIsRealized(drawingArea_)) window_ = XtWindow(drawingArea_);
  return window_;
}

XFontSet SSCanvas::getFontSet() const {
  return SSApplication::get()->getDefaultFontSet(getDisplay());
}

void SSCanvas::manageChild(SSRectobj *child, const XRectangle &r) {
  // The canvas stays at the origin and only grows towards the right and down.
  int w = std::max<int>(rect_.width, r.x + r.width);
  int h = std::max<int>(rect_.height, r.y + r.height);
  if (w != rect_.width || h != rect_.height) {
    startSet();
    rect_ = SSRectMake(0, 0, w, h);
    finishSet();
  }
  child->adjustGeometry(r);
}

void SSCanvas::setGeometry(const XRectangle &r) {
  SSRectobj::setGeometry(r);
  resizeWidget();
}

void SSCanvas::resizeWidget() {
  Dimension w = 0, h = 0;
  XtVaGetValues(drawingArea_, XmNwidth, &w, XmNheight, &h, nullptr);
  if (w == rect_.width && h == rect_.height) return;
  resizingWidget_ = 1;
  XtVaSetValues(drawingArea_, XmNwidth, static_cast<Dimension>(std::max<int>(rect_.width, 1)),
                XmNheight, static_cast<Dimension>(std::max<int>(rect_.height, 1)), nullptr);
  resizingWidget_ = 0;
}

void SSCanvas::resizeCallback(Widget w, XtPointer data, XtPointer) {
  auto *c = static_cast<SSCanvas *>(data);
  if (c->resizingWidget_) return;
  Dimension width = 0, height = 0;
  XtVaGetValues(w, XmNwidth, &width, XmNheight, &height, nullptr);
  c->rect_ = c->prevRect_ = SSRectMake(0, 0, width, height);
}

void SSCanvas::exposeCallback(Widget, XtPointer data, XtPointer call) {
  auto *c = static_cast<SSCanvas *>(data);
  auto *cbs = static_cast<XmDrawingAreaCallbackStruct *>(call);
  if (!cbs->event || cbs->event->type != Expose) return;
  const XExposeEvent &e = cbs->event->xexpose;
  c->addArea(SSRectMake(e.x, e.y, e.width, e.height));
  if (e.count == 0 && c->setCount_ == 0 && c->delayRepaint_ == 0) c->flushRepaint();
}

void SSCanvas::setDelayRepaint(int delay) {
  if (delay) {
    delayRepaint_++;
  } else if (delayRepaint_ > 0 && --delayRepaint_ == 0 && setCount_ == 0) {
    flushRepaint();
  }
}

void SSCanvas::endSet() {
  if (setCount_ > 0) setCount_--;
  if (setCount_ == 0 && delayRepaint_ == 0) flushRepaint();
}

void SSCanvas::addArea(const XRectangle &r) {
  if (SSRectIsEmpty(r)) return;
  for (const XRectangle &a : area_)
    if (SSRectContains(a, r)) return;
  area_.erase(std::remove_if(area_.begin(), area_.end(),
                             [&](const XRectangle &a) { return SSRectContains(r, a); }),
              area_.end());
  area_.push_back(r);
  // Many small pieces cost more to paint one by one than their bounding box.
  if (area_.size() > 32) {
    XRectangle box = area_[0];
    for (const XRectangle &a : area_) box = SSRectUnion(box, a);
    area_.assign(1, box);
  }
}

XRectangle SSCanvas::visibleArea() const {
  // Only the part inside the parent (a scrolled window's clip window) is seen;
  // the rest is painted when it is exposed.
  Position x = 0, y = 0;
  Dimension pw = 0, ph = 0;
  XtVaGetValues(drawingArea_, XmNx, &x, XmNy, &y, nullptr);
  XtVaGetValues(XtParent(drawingArea_), XmNwidth, &pw, XmNheight, &ph, nullptr);
  int x0 = std::max(0, -x), y0 = std::max(0, -y);
  int x1 = std::min<int>(rect_.width, -x + pw), y1 = std::min<int>(rect_.height, -y + ph);
  return SSRectMake(x0, y0, x1 - x0, y1 - y0);
}

void SSCanvas::setBatchPixmap(int on) {
  batchPixmapOn_ = on ? 1 : 0;
  clearArea_ = !batchPixmapOn_;
}

void SSCanvas::flushRepaint() {
  if (area_.empty()) return;
  if (!XtIsRealized(drawingArea_)) {
    area_.clear();  // the first exposure paints everything
    return;
  }
  Display *dpy = getDisplay();
  getWindow();
  if (!gc_) {
    XGCValues v;
    v.graphics_exposures = False;  // copies from pixmaps need no exposure events
    gc_ = XCreateGC(dpy, window_, GCGraphicsExposures, &v);
  }
  XRectangle vis = visibleArea();
  std::vector<XRectangle> rects;
  XRectangle box = {0, 0, 0, 0};
  for (const XRectangle &a : area_) {
    int x0 = std::max(a.x, vis.x), y0 = std::max(a.y, vis.y);
    int x1 = std::min(a.x + a.width, vis.x + vis.width);
    int y1 = std::min(a.y + a.height, vis.y + vis.height);
    if (x1 <= x0 || y1 <= y0) continue;
    rects.push_back(SSRectMake(x0, y0, x1 - x0, y1 - y0));
    box = SSRectUnion(box, rects.back());
  }
  area_.clear();
  if (rects.empty()) return;
  const int n = static_cast<int>(rects.size());
  Region region = XCreateRegion();
  for (XRectangle &r : rects) XUnionRectWithRegion(&r, region, region);
  XSetForeground(dpy, gc_, getBackground());
  if (batchPixmapOn_) {
    if (batchPixmap_ == None || batchWidth_ < box.width || batchHeight_ < box.height) {
      if (batchPixmap_ != None) XFreePixmap(dpy, batchPixmap_);
      batchWidth_ = std::max<int>(batchWidth_, box.width);
      batchHeight_ = std::max<int>(batchHeight_, box.height);
      Cardinal depth = 0;
      XtVaGetValues(drawingArea_, XmNdepth, &depth, nullptr);
      batchPixmap_ = XCreatePixmap(dpy, window_, batchWidth_, batchHeight_, depth);
    }
    paintX_ = box.x;
    paintY_ = box.y;
    XOffsetRegion(region, -box.x, -box.y);
    XSetRegion(dpy, gc_, region);
    XFillRectangle(dpy, batchPixmap_, gc_, 0, 0, box.width, box.height);
    paint(batchPixmap_, rects.data(), n);
    XOffsetRegion(region, box.x, box.y);
    XSetRegion(dpy, gc_, region);
    XCopyArea(dpy, batchPixmap_, window_, gc_, 0, 0, box.width, box.height, box.x, box.y);
  } else {
    paintX_ = paintY_ = 0;
    for (const XRectangle &r : rects) {
      if (clearArea_)
        XClearArea(dpy, window_, r.x, r.y, r.width, r.height, False);
      else
        XFillRectangle(dpy, window_, gc_, r.x, r.y, r.width, r.height);
    }
    XSetRegion(dpy, gc_, region);
    paint(window_, rects.data(), n);
  }
  XSetClipMask(dpy, gc_, None);
  XSetClipOrigin(dpy, gc_, 0, 0);
  XDestroyRegion(region);
  paintX_ = paintY_ = 0;
}

void SSCanvas::selectionChanged(SSRectobj *obj, int selected) {
  SSListNode *n = SSListNode::find(selected_list_, obj);
  if (selected && !n) SSListNode::append(&selected_list_, obj);
  if (!selected && n) SSListNode::remove(&selected_list_, n);
  selectionDirty_ = 1;
}

void SSCanvas::clearSelection() {
  setDelayRepaint(1);
  while (selected_list_) static_cast<SSRectobj *>(selected_list_->getData())->setSelected(0);
  setDelayRepaint(0);
}

void SSCanvas::setSelectionProc(SSSelectionProc proc, void *data) {
  selectionProc_ = proc;
  selectionData_ = data;
}

void SSCanvas::processSelectionChanges() {
  if (!selectionDirty_) return;
  selectionDirty_ = 0;
  if (selectionProc_) selectionProc_(this, selectionData_);
}

void SSCanvas::forget(SSRectobj *obj) {
  if (SSListNode *n = SSListNode::find(selected_list_, obj)) {
    SSListNode::remove(&selected_list_, n);
    selectionDirty_ = 1;
  }
  if (lastClickObject_ == obj) lastClickObject_ = nullptr;
}

SSApplication *SSApplication::get() {
  static SSApplication app;
  return &app;
}

void SSApplication::addCanvas(SSCanvas *canvas) { SSListNode::append(&canvases_, canvas); }

void SSApplication::removeCanvas(SSCanvas *canvas) {
  if (SSListNode *n = SSListNode::find(canvases_, canvas)) SSListNode::remove(&canvases_, n);
}

SSCanvas *SSApplication::findCanvas(Window window) const {
  for (SSListNode *n = canvases_; n; n = n->getNext()) {
    auto *c = static_cast<SSCanvas *>(n->getData());
    if (XtIsRealized(c->getDrawingArea()) && XtWindow(c->getDrawingArea()) == window) return c;
  }
  return nullptr;
}

XFontSet SSApplication::getDefaultFontSet(Display *display) {
  if (fontSet_) return fontSet_;
  static const char *const patterns[] = {
      "-*-fixed-medium-r-normal--13-*-*-*-*-*-*-*",
      "-*-fixed-*-*-*-*-*-*-*-*-*-*-*-*",
      "-*-*-*-*-*-*-*-*-*-*-*-*-*-*",
      "fixed",
  };
  for (const char *p : patterns) {
    char **missing = nullptr, *def = nullptr;
    int nmissing = 0;
    fontSet_ = XCreateFontSet(display, p, &missing, &nmissing, &def);
    if (missing) XFreeStringList(missing);
    if (fontSet_) return fontSet_;
  }
  fprintf(stderr, "no font found for the canvas: texts are not drawn\n");
  return nullptr;
}

Cursor SSApplication::getDragCursor(Display *display) {
  if (dragCursor_ == None) {
    int screen = DefaultScreen(display);
    if (SSXpmDataToCursor(display, ss_drag_cursor_data, BlackPixel(display, screen),
                          WhitePixel(display, screen), 1, 1, &dragCursor_))
      dragCursor_ = None;
  }
  return dragCursor_;
}
