// SSCanvas events: mapping to objects, the default handlers, click, double click,
// drag and drop, popup menus and the rubber band.
#include <Xm/RowColumn.h>
#include <Xm/Xm.h>
#include <X11/keysym.h>

#include <algorithm>
#include <cstdlib>

#include "toolkit/ss_canvas.h"
#include "toolkit/ss_event.h"

namespace {

const long kGestureMask = ButtonPressMask | ButtonReleaseMask | PointerMotionMask;
const unsigned kAllButtons = Button1Mask | Button2Mask | Button3Mask | Button4Mask | Button5Mask;

int buttons_down(unsigned state) { return __builtin_popcount(state & kAllButtons); }

}  // namespace

void SSCanvas::canvasEventHandler(Widget, XtPointer data, XEvent *event, Boolean *) {
  auto *c = static_cast<SSCanvas *>(data);
  // Keys go to Motif's focus widget: a press on the canvas makes that the canvas,
  // so that the objects get keys under a window manager that focuses by click.
  if (event->type == ButtonPress) XmProcessTraversal(c->drawingArea_, XmTRAVERSE_CURRENT);
  switch (event->type) {
    case ButtonPress: case ButtonRelease: case MotionNotify: case KeyPress: case KeyRelease:
    case EnterNotify: case LeaveNotify:
      c->eventToSSRectobj(event)->eventHandler(event);
      break;
    default:
      break;
  }
}

SSRectobj *SSCanvas::eventToSSRectobj(XEvent *event) {
  SSRectobj *o = eventMapper(SSEventX(event), SSEventY(event));
  return o ? o : this;
}

void SSCanvas::showPopupMenu(SSRectobj *obj, XEvent *event) {
  if (event->type != ButtonPress) return;
  for (SSRectobj *o = obj; o; o = o->getParent()) {
    if (Widget menu = o->getPopupMenu()) {
      XmMenuPosition(menu, &event->xbutton);
      XtManageChild(menu);
      return;
    }
  }
}

void SSRectobjEventHandlerDefault(SSRectobj *obj, XEvent *event) {
  SSCanvas *c = obj->getCanvas();
  if (!c || event->type != ButtonPress) return;
  if (SSEventMouseRight(event)) {
    c->showPopupMenu(obj, event);
    return;
  }
  if (!SSEventMouseLeft(event)) return;
  if (!SSEventShiftIsDown(event)) c->clearSelection();
  if (c->getRubberBand()) c->rubberBand(event);
  c->processSelectionChanges();
}

void SSRectobjEventHandlerDblClickDefault(SSRectobj *obj, XEvent *event) {
  if (obj->getCanvas() && event->type == ButtonPress) obj->getCanvas()->startDblClick(obj, event);
}

void SSCanvas::startDblClick(SSRectobj *obj, XEvent *event) { doDblClickDrag(obj, event); }

void SSCanvas::doDblClickDrag(SSRectobj *obj, XEvent *event) {
  if (SSEventMouseMiddle(event) || !obj->getShow()) return;
  if (SSEventMouseRight(event)) {
    showPopupMenu(obj, event);
    return;
  }
  if (!SSEventMouseLeft(event)) return;
  if (SSEventShiftIsDown(event)) {
    obj->setSelected(!obj->getSelected());
    processSelectionChanges();
    return;
  }
  // Selected alone and on top; shown before the gesture goes on.
  setDelayRepaint(1);
  for (SSListNode *n = selected_list_; n;) {
    auto *o = static_cast<SSRectobj *>(n->getData());
    n = n->getNext();
    if (o != obj) o->setSelected(0);
  }
  obj->setSelected(1);
  obj->raise();
  setDelayRepaint(0);
  processSelectionChanges();

  XEvent end;
  int result = waitForNextEvent(obj, event, &end);
  if (result == 2) {
    lastClickObject_ = nullptr;
    if (obj->getDraggable()) startDragDrop(obj, &end);
  } else if (result == 1) {
    Time t = event->xbutton.time;
    if (lastClickObject_ == obj && isDblClick(lastClickTime_, t)) {
      lastClickObject_ = nullptr;
      obj->dblClick(&end);
    } else {
      lastClickObject_ = obj;
      lastClickTime_ = t;
    }
  }
}

int SSCanvas::waitForNextEvent(SSRectobj *obj, const XEvent *press, XEvent *end) {
  Display *dpy = getDisplay();
  const int x0 = press->xbutton.x, y0 = press->xbutton.y;
  for (;;) {
    XWindowEvent(dpy, getWindow(), kGestureMask, end);
    if (end->type == MotionNotify) {
      if (std::abs(end->xmotion.x - x0) > dragThreshold_ ||
          std::abs(end->xmotion.y - y0) > dragThreshold_)
        return 2;
    } else if (end->type == ButtonRelease && buttons_down(end->xbutton.state) <= 1) {
      return obj->contains(end->xbutton.x, end->xbutton.y) ? 1 : 0;
    }
  }
}

int SSCanvas::isDblClick(Time first, Time second) const {
  long tenths = static_cast<long>(second - first) / 100;
  return second >= first && tenths <= dblClickTime_ / 100;
}

void SSCanvas::startDragDrop(SSRectobj *obj, XEvent *event) {
  Display *dpy = getDisplay();
  Window win = getWindow();
  Cursor cursor = obj->getCursor();
  if (cursor == None) cursor = SSApplication::get()->getDragCursor(dpy);
  XGrabPointer(dpy, win, False, ButtonReleaseMask, GrabModeAsync, GrabModeAsync, None, cursor,
               CurrentTime);
  XGrabKeyboard(dpy, win, False, GrabModeAsync, GrabModeAsync, CurrentTime);
  XEvent ev = *event;
  int cancelled = 0;
  for (;;) {
    XMaskEvent(dpy, ButtonReleaseMask | KeyPressMask, &ev);
    if (ev.type == KeyPress && SSEventKeysym(&ev) == XK_Escape) cancelled = 1;
    if (ev.type == ButtonRelease && buttons_down(ev.xbutton.state) <= 1) break;
  }
  XUngrabKeyboard(dpy, CurrentTime);
  XUngrabPointer(dpy, CurrentTime);
  if (cancelled) return;

  // The deepest window under the pointer.
  Window root = RootWindowOfScreen(XtScreen(drawingArea_)), w = root, child = None;
  int rx = ev.xbutton.x_root, ry = ev.xbutton.y_root, x = rx, y = ry;
  while (XTranslateCoordinates(dpy, root, w, rx, ry, &x, &y, &child) && child != None) w = child;
  if (w == root) {
    rootWindowDrop(obj, &ev);
    return;
  }
  SSCanvas *target_canvas = SSApplication::get()->findCanvas(w);
  if (!target_canvas) return;
  ev.xbutton.window = w;
  ev.xbutton.x = x;
  ev.xbutton.y = y;
  SSRectobj *target = target_canvas->eventToSSRectobj(&ev);
  for (SSRectobj *o = target; o; o = o->getParent()) {
    if (o->getDropSite()) {
      o->drop(obj, &ev);
      return;
    }
    if (SSRectobj *p = o->getParent(); p && p->getChildDropSite()) {
      p->childDrop(obj, o, &ev);
      return;
    }
  }
}

void SSCanvas::rootWindowDrop(SSRectobj *dragged, XEvent *event) {
  if (rootDropProc_) rootDropProc_(dragged, event);
}

namespace {

void select_enclosed(SSRectobj *obj, const XRectangle &band) {
  for (SSListNode *n = obj->getChildren(); n; n = n->getNext()) {
    auto *c = static_cast<SSRectobj *>(n->getData());
    if (!c->getShow()) continue;
    if (c->getSelectable()) {
      if (!SSRectIsEmpty(c->getRect()) && SSRectContains(band, c->getRect())) c->setSelected(1);
    } else {
      select_enclosed(c, band);
    }
  }
}

}  // namespace

void SSCanvas::rubberBand(XEvent *press) {
  Display *dpy = getDisplay();
  Window win = getWindow();
  XGCValues v;
  v.function = GXxor;
  v.foreground = getForeground() ^ getBackground();
  v.subwindow_mode = IncludeInferiors;
  GC xor_gc = XCreateGC(dpy, win, GCFunction | GCForeground | GCSubwindowMode, &v);
  const int x0 = press->xbutton.x, y0 = press->xbutton.y;
  int x1 = x0, y1 = y0, drawn = 0;
  auto band = [&]() {
    return SSRectMake(std::min(x0, x1), std::min(y0, y1), std::abs(x1 - x0), std::abs(y1 - y0));
  };
  auto toggle = [&]() {
    XRectangle r = band();
    XDrawRectangle(dpy, win, xor_gc, r.x, r.y, r.width, r.height);
    drawn = !drawn;
  };
  rubberBand_ = 2;
  XEvent ev;
  for (;;) {
    XWindowEvent(dpy, win, kGestureMask, &ev);
    if (ev.type == MotionNotify) {
      if (drawn) toggle();
      x1 = ev.xmotion.x;
      y1 = ev.xmotion.y;
      toggle();
    } else if (ev.type == ButtonRelease && buttons_down(ev.xbutton.state) <= 1) {
      x1 = ev.xbutton.x;
      y1 = ev.xbutton.y;
      break;
    }
  }
  if (drawn) toggle();
  XFreeGC(dpy, xor_gc);
  rubberBand_ = 1;
  XRectangle r = band();
  if (r.width <= dragThreshold_ && r.height <= dragThreshold_) return;  // a click
  setDelayRepaint(1);
  select_enclosed(this, r);
  setDelayRepaint(0);
}
