// SSRectobj, the base of everything drawn on an SSCanvas, with the procedure types
// and default event procedures of rectangle objects.
//
// Objects are not widgets: each is a rectangle in the coordinates of the canvas's
// window, held in its parent's children list, painted by the canvas and handed X
// events by it.  An object belongs to its parent; deleting it deletes its children.
//
// Every change goes through a bracket, startSet() ... finishSet().  Setters bracket
// themselves, and a caller may wrap several changes in an outer bracket so that
// they are settled once: when the outermost bracket closes, a new parent is told
// (delChild of the old, addChild of the new), the geometry is negotiated with the
// parent (geometryManage -> parent's manageChild -> adjustGeometry), the changed
// area is added to the canvas's repaint, and the canvas paints when no bracket on
// it is open and repaints are not held back (SSCanvas::setDelayRepaint).
//
// Colours are pixels; -1 means "as the parent".
#ifndef BRINDLE_TOOLKIT_SS_RECTOBJ_H
#define BRINDLE_TOOLKIT_SS_RECTOBJ_H

#include <X11/Intrinsic.h>
#include <X11/Xlib.h>

#include "toolkit/ss_list.h"

class SSCanvas;
class SSRectobj;

// Answers the object that should get an event at (x, y) of the window.
typedef SSRectobj *(*SSEventMapperProc)(SSRectobj *obj, int x, int y);
typedef void (*SSEventHandlerProc)(SSRectobj *obj, XEvent *event);
typedef void (*SSDblClickProc)(SSRectobj *obj, XEvent *event);
// Dragged first, target second.
typedef void (*SSDropProc)(SSRectobj *dragged, SSRectobj *target, XEvent *event);
typedef void (*SSChildDropProc)(SSRectobj *dragged, SSRectobj *parent,
                                SSRectobj *child, XEvent *event);

class SSRectobj {
public:
  // Appends the object to parent's children; it takes the parent's canvas.
  explicit SSRectobj(SSRectobj *parent);
  SSRectobj(const SSRectobj &) = delete;
  SSRectobj &operator=(const SSRectobj &) = delete;

  // Closes a bracket; the outermost one settles parent, geometry and repaint.
  virtual void finishSet();
  // Called on the new parent, after the child's parent field changed.
  virtual void addChild(SSRectobj *child);
  virtual void delChild(SSRectobj *child);
  // Stores r and, if it differs from the rectangle before this change, asks the
  // parent (or, without one, adjustGeometry) to accept it.
  virtual void geometryManage(const XRectangle &r);
  // A child asks for r: a plain object accepts it, growing to contain it first.
  virtual void manageChild(SSRectobj *child, const XRectangle &r);
  // Takes r as the rectangle, repaints old and new area, calls setGeometry.
  virtual void adjustGeometry(const XRectangle &r);
  // After the rectangle changed: moves the children by the same amount.
  virtual void setGeometry(const XRectangle &r);
  virtual ~SSRectobj();
  virtual int getWidth() const;
  virtual void setWidth(int width);
  virtual int getHeight() const;
  virtual void setHeight(int height);
  virtual int getSelected() const;
  virtual void setSelected(int selected);
  virtual void setForegroundColor(long pixel);
  virtual void setBackgroundColor(long pixel);
  // Paints into d what of the object lies in rects; the default paints the shown
  // children in stacking order, bottom first.
  virtual void paint(Drawable d, const XRectangle *rects, int count);
  virtual SSRectobj *eventMapper(int x, int y);  // calls the mapper procedure
  virtual void eventHandler(XEvent *event);      // calls the handler procedure
  virtual void dblClick(XEvent *event);          // calls the double click procedure
  virtual void drop(SSRectobj *dragged, XEvent *event);
  virtual void childDrop(SSRectobj *dragged, SSRectobj *child, XEvent *event);

  void startSet();

  SSCanvas *getCanvas() const { return canvas_; }
  SSRectobj *getParent() const { return parent_; }
  void setParent(SSRectobj *parent);
  SSListNode *getChildren() const { return children_; }
  int getShow() const { return show_; }
  void setShow(int show);
  int getSelectable() const { return selectable_; }
  void setSelectable(int selectable);

  int getX() const { return rect_.x; }
  int getY() const { return rect_.y; }
  const XRectangle &getRect() const { return rect_; }
  void setX(int x);
  void setY(int y);
  void setXY(int x, int y);
  int contains(int x, int y) const;

  // The pixels as set (-1: inherited) and as used.
  long getForegroundColor() const { return foreground_; }
  long getBackgroundColor() const { return background_; }
  Pixel getForeground() const;
  Pixel getBackground() const;

  // Inside a bracket: settle this change without geometry management.
  void setNoGeometry() { noGeometry_ = 1; }
  // Inside a bracket: repaint the object's old and new area at its end.
  void setRepaint() { repaintWanted_ = 1; }
  // To the top of the parent's stacking order.
  void raise();

  int getDraggable() const { return draggable_; }
  void setDraggable(int on) { draggable_ = on; }
  int getDropSite() const { return dropSite_; }
  void setDropSite(int on) { dropSite_ = on; }
  int getChildDropSite() const { return childDropSite_; }
  void setChildDropSite(int on) { childDropSite_ = on; }
  // The pointer while the object is dragged; None: the toolkit's drag cursor.
  Cursor getCursor() const { return cursor_; }
  void setCursor(Cursor cursor) { cursor_ = cursor; }
  // The popup menu for a right press; without one, the nearest ancestor's.
  Widget getPopupMenu() const { return popupMenu_; }
  void setPopupMenu(Widget menu) { popupMenu_ = menu; }

  SSDblClickProc getDblClickProc() const { return dblClickProc_; }
  void setDblClickProc(SSDblClickProc proc) { dblClickProc_ = proc; }
  SSDropProc getDropProc() const { return dropProc_; }
  void setDropProc(SSDropProc proc) { dropProc_ = proc; }
  SSChildDropProc getChildDropProc() const { return childDropProc_; }
  void setChildDropProc(SSChildDropProc proc) { childDropProc_ = proc; }
  SSEventMapperProc getEventMapper() const { return eventMapperProc_; }
  void setEventMapper(SSEventMapperProc proc) { eventMapperProc_ = proc; }
  SSEventHandlerProc getEventHandler() const { return eventHandlerProc_; }
  void setEventHandler(SSEventHandlerProc proc) { eventHandlerProc_ = proc; }

  // Key data: values that users attach by key.  addKeyData adds a record even if
  // the key has one; getKeyData answers the newest, or null.  setKeyData replaces
  // a value without its cleanup, or adds a record.  deleteKeyData runs the cleanup
  // of the newest record of the key and removes it; it answers 0 if there was none.
  void addKeyData(int key, void *value, SSKeyDataCleanup cleanup = nullptr);
  void *getKeyData(int key) const;
  void setKeyData(int key, void *value);
  int deleteKeyData(int key);

protected:
  // Adds r to the canvas's repaint area.
  void addRepaint(const XRectangle &r) const;
  void paintChildren(Drawable d, const XRectangle *rects, int count);
  int setDepth() const { return setDepth_; }
  SSKeyDataListNode *findKeyData(int key) const;
  void setColor(long *field, long pixel);

  SSCanvas *canvas_;
  SSRectobj *parent_ = nullptr;
  SSListNode *children_ = nullptr;
  SSListNode *ownNode_ = nullptr;  // this object's node in the parent's children
  int show_ = 1;
  int selectable_ = 1;
  int selected_ = 0;
  int geometryState_ = 0;  // nonzero while geometryManage runs, against loops
  XRectangle rect_ = {0, 0, 0, 0};
  long foreground_ = -1;
  long background_ = -1;
  int noGeometry_ = 0;
  int draggable_ = 0;
  int dropSite_ = 0;
  int childDropSite_ = 0;
  Cursor cursor_ = None;
  Widget popupMenu_ = nullptr;
  SSDblClickProc dblClickProc_ = nullptr;
  SSDropProc dropProc_ = nullptr;
  SSChildDropProc childDropProc_ = nullptr;
  SSEventMapperProc eventMapperProc_;
  SSEventHandlerProc eventHandlerProc_;
  SSListNode *keyData_ = nullptr;  // SSKeyDataListNode records, newest first
  XRectangle prevRect_ = {0, 0, 0, 0};
  SSRectobj *prevParent_ = nullptr;
  int repaintWanted_ = 0;
  int setDepth_ = 0;
};

// The deepest shown object under (x, y), children searched from the top of the
// stacking order down; obj itself when no child holds the point.
SSRectobj *SSRectobjEventMapperDefault(SSRectobj *obj, int x, int y);
// Answers obj for any point: for objects whose parts are not to be hit alone.
SSRectobj *SSRectobjEventMapperSelf(SSRectobj *obj, int x, int y);
// The bare background: right press shows the menu, left press clears the
// selection (not with Shift) and draws a rubber band when the canvas allows it.
void SSRectobjEventHandlerDefault(SSRectobj *obj, XEvent *event);
// Objects: select, toggle with Shift, raise, double click and drag.
void SSRectobjEventHandlerDblClickDefault(SSRectobj *obj, XEvent *event);

// Rectangle helpers.
int SSRectIsEmpty(const XRectangle &r);
int SSRectIntersects(const XRectangle &a, const XRectangle &b);
int SSRectContains(const XRectangle &outer, const XRectangle &inner);
XRectangle SSRectUnion(const XRectangle &a, const XRectangle &b);
int SSRectEqual(const XRectangle &a, const XRectangle &b);
XRectangle SSRectMake(int x, int y, int width, int height);

#endif
