// SSCanvas, the rectangle object that owns an X window (a Motif drawing area) and
// paints and drives the objects on it, and SSApplication, which knows every canvas.
//
// Painting: changes add rectangles to the canvas's repaint area; flushRepaint
// paints that area once, when no change bracket is open and repaints are not held
// back.  With the batch pixmap on (the default) the visible part of the area is
// filled with the background in an off-screen pixmap, painted there and copied to
// the window in one request, so bulk changes appear at once without flicker.
// Objects paint in window coordinates less getPaintX()/getPaintY(), the origin of
// the drawable being painted.
//
// Events from the window go to the object that eventToSSRectobj finds under the
// pointer.  A click, double click or drag on an object, and the rubber band on the
// background, read the pointer's following events straight from the window
// (waitForNextEvent) until the gesture ends.
#ifndef BRINDLE_TOOLKIT_SS_CANVAS_H
#define BRINDLE_TOOLKIT_SS_CANVAS_H

#include <X11/Intrinsic.h>

#include <vector>

#include "toolkit/ss_rectobj.h"

class SSCanvas;

// Called once after a gesture changed the selection.
typedef void (*SSSelectionProc)(SSCanvas *canvas, void *data);
// A dragged object released where no window of any client is.
typedef void (*SSRootDropProc)(SSRectobj *dragged, XEvent *event);

class SSCanvas : public SSRectobj {
public:
  // On a realized or unrealized Motif drawing area; the canvas takes its size and
  // colours, paints on its exposures and follows its resizes.
  SSCanvas(Widget drawingArea, Widget popupMenu = nullptr);
  ~SSCanvas() override;

  // Grows the canvas, and its drawing area, to hold the child.
  void manageChild(SSRectobj *child, const XRectangle &r) override;
  // Moves children as any object, and gives the drawing area the new size.
  void setGeometry(const XRectangle &r) override;

  Widget getDrawingArea() const { return drawingArea_; }
  Window getWindow();  // None until the drawing area is realized
  Display *getDisplay() const;
  GC getGC() const { return gc_; }
  XFontSet getFontSet() const;  // the toolkit's default font set

  // 1 holds repaints back, 0 releases one hold; pairs nest.
  void setDelayRepaint(int delay);
  int getDelayRepaint() const { return delayRepaint_; }
  void addArea(const XRectangle &r);
  void flushRepaint();
  // Off: the area is cleared on the window and painted there.
  void setBatchPixmap(int on);
  int getPaintX() const { return paintX_; }
  int getPaintY() const { return paintY_; }

  // Selection, in the order objects were selected.
  SSListNode *getSelectedList() const { return selected_list_; }
  int getNumSelected() const { return SSListNode::getNumElements(selected_list_); }
  void clearSelection();
  void setSelectionProc(SSSelectionProc proc, void *data);
  void processSelectionChanges();

  int getDragThreshold() const { return dragThreshold_; }
  void setDragThreshold(int pixels) { dragThreshold_ = pixels; }
  int getDblClickTime() const { return dblClickTime_; }  // milliseconds
  void setDblClickTime(int ms) { dblClickTime_ = ms; }
  int getRubberBand() const { return rubberBand_ != 0; }
  void setRubberBand(int allowed) { rubberBand_ = allowed ? 1 : 0; }
  void setRootDropProc(SSRootDropProc proc) { rootDropProc_ = proc; }

  // The object under the event's pointer.
  SSRectobj *eventToSSRectobj(XEvent *event);
  // Pops up the nearest popup menu of obj and its ancestors at the pointer.
  void showPopupMenu(SSRectobj *obj, XEvent *event);
  // The gesture that began with a button press on obj.
  void startDblClick(SSRectobj *obj, XEvent *event);
  // Reads the pointer's events after a left press on obj: 0 released away from
  // obj, 1 released on it, 2 moved beyond the drag threshold; *end gets the
  // event that decided.
  int waitForNextEvent(SSRectobj *obj, const XEvent *press, XEvent *end);
  // Whether two clicks this far apart make a double click; counts in tenths of
  // a second, as the double click time is set.
  int isDblClick(Time first, Time second) const;
  // Follows a drag of obj with the pointer grabbed, and drops it where released.
  void startDragDrop(SSRectobj *obj, XEvent *event);
  void rootWindowDrop(SSRectobj *dragged, XEvent *event);
  // Rubber band from the press: selects the selectable objects it encloses.
  void rubberBand(XEvent *press);

  // Used by SSRectobj: selection bookkeeping and the change brackets.
  void selectionChanged(SSRectobj *obj, int selected);
  void beginSet() { setCount_++; }
  void endSet();
  // Forgets obj, which is going away.
  void forget(SSRectobj *obj);

private:
  void doDblClickDrag(SSRectobj *obj, XEvent *event);
  void resizeWidget();
  XRectangle visibleArea() const;
  static void canvasEventHandler(Widget w, XtPointer data, XEvent *event, Boolean *cont);
  static void exposeCallback(Widget w, XtPointer data, XtPointer call);
  static void resizeCallback(Widget w, XtPointer data, XtPointer call);

  Widget drawingArea_;
  Window window_ = None;
  int delayRepaint_ = 0;
  int setCount_ = 0;
  std::vector<XRectangle> area_;
  int clearArea_ = 1;
  int batchPixmapOn_ = 1;
  Pixmap batchPixmap_ = None;
  SSListNode *selected_list_ = nullptr;
  int dragThreshold_ = 4;
  int dblClickTime_ = 250;
  SSRectobj *lastClickObject_ = nullptr;
  Time lastClickTime_ = 0;
  int rubberBand_ = 1;  // 0 not allowed, 1 allowed, 2 being drawn

  int batchWidth_ = 0, batchHeight_ = 0;
  int paintX_ = 0, paintY_ = 0;
  GC gc_ = nullptr;
  int selectionDirty_ = 0;
  SSSelectionProc selectionProc_ = nullptr;
  void *selectionData_ = nullptr;
  SSRootDropProc rootDropProc_ = nullptr;
  int resizingWidget_ = 0;
};

// Every canvas of the process, found by its window.
class SSApplication {
public:
  static SSApplication *get();
  void addCanvas(SSCanvas *canvas);
  void removeCanvas(SSCanvas *canvas);
  SSCanvas *findCanvas(Window window) const;
  // Made on first use from the first of a few patterns that the server has.
  XFontSet getDefaultFontSet(Display *display);
  // The pointer while an object is dragged, when the object has none of its own.
  Cursor getDragCursor(Display *display);

private:
  SSListNode *canvases_ = nullptr;
  XFontSet fontSet_ = nullptr;
  Cursor dragCursor_ = None;
};

#endif
