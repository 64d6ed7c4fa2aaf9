// SSRectobj: the change bracket, geometry negotiation, children, key data and the
// default event mapper; rectangle helpers.
#include "toolkit/ss_rectobj.h"

#include <algorithm>

#include "toolkit/ss_canvas.h"

int SSRectIsEmpty(const XRectangle &r) { return r.width == 0 || r.height == 0; }

int SSRectIntersects(const XRectangle &a, const XRectangle &b) {
  return a.x < b.x + b.width && b.x < a.x + a.width && a.y < b.y + b.height &&
         b.y < a.y + a.height;
}

int SSRectContains(const XRectangle &o, const XRectangle &i) {
  return i.x >= o.x && i.y >= o.y && i.x + i.width <= o.x + o.width &&
         i.y + i.height <= o.y + o.height;
}

XRectangle SSRectUnion(const XRectangle &a, const XRectangle &b) {
  if (a.width == 0 && a.height == 0) return b;
  if (b.width == 0 && b.height == 0) return a;
  int x = std::min(a.x, b.x), y = std::min(a.y, b.y);
  int r = std::max(a.x + a.width, b.x + b.width), bot = std::max(a.y + a.height, b.y + b.height);
  return SSRectMake(x, y, r - x, bot - y);
}

int SSRectEqual(const XRectangle &a, const XRectangle &b) {
  return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}

XRectangle SSRectMake(int x, int y, int width, int height) {
  XRectangle r;
  r.x = static_cast<short>(x);
  r.y = static_cast<short>(y);
  r.width = static_cast<unsigned short>(std::max(width, 0));
  r.height = static_cast<unsigned short>(std::max(height, 0));
  return r;
}

SSRectobj::SSRectobj(SSRectobj *parent)
    : canvas_(parent ? parent->canvas_ : nullptr),
      eventMapperProc_(SSRectobjEventMapperDefault),
      eventHandlerProc_(SSRectobjEventHandlerDblClickDefault) {
  startSet();
  parent_ = parent;
  finishSet();
}

SSRectobj::~SSRectobj() {
  // Children unlink themselves from children_ as they go.
  while (children_) delete static_cast<SSRectobj *>(children_->getData());
  if (parent_) {
    addRepaint(rect_);
    parent_->delChild(this);
  }
  if (canvas_ && canvas_ != this) canvas_->forget(this);
  while (keyData_) {
    auto *kd = static_cast<SSKeyDataListNode *>(keyData_->getData());
    SSListNode::remove(&keyData_, keyData_);
    if (kd->cleanup) kd->cleanup(this, kd->key, kd->value);
    delete kd;
  }
}

void SSRectobj::startSet() {
  if (setDepth_++ == 0) {
    prevRect_ = rect_;
    prevParent_ = parent_;
  }
  if (canvas_) canvas_->beginSet();
}

void SSRectobj::finishSet() {
  // The depth stays at 1 while the change is settled, so that brackets opened by
  // the settling (a new parent hiding its child, say) are nested ones.
  if (setDepth_ == 1) {
    if (parent_ != prevParent_) {
      if (prevParent_) prevParent_->delChild(this);
      if (parent_) parent_->addChild(this);
      prevParent_ = parent_;
    }
    if (!noGeometry_) geometryManage(rect_);
    if (repaintWanted_) {
      addRepaint(prevRect_);
      addRepaint(rect_);
    }
    prevRect_ = rect_;
    noGeometry_ = 0;
    repaintWanted_ = 0;
  }
  if (setDepth_ > 0) setDepth_--;
  if (canvas_) canvas_->endSet();
}

void SSRectobj::addChild(SSRectobj *child) {
  if (child->ownNode_) return;  // already ours
  child->ownNode_ = SSListNode::append(&children_, child);
}

void SSRectobj::delChild(SSRectobj *child) {
  if (!child->ownNode_) return;
  SSListNode::remove(&children_, child->ownNode_);
  child->ownNode_ = nullptr;
}

void SSRectobj::geometryManage(const XRectangle &r) {
  rect_ = r;
  if (SSRectEqual(r, prevRect_) || geometryState_) return;
  geometryState_ = 1;
  if (parent_)
    parent_->manageChild(this, r);
  else
    adjustGeometry(r);
  geometryState_ = 0;
}

void SSRectobj::manageChild(SSRectobj *child, const XRectangle &r) {
  if (!SSRectContains(rect_, r) && !SSRectIsEmpty(r)) {
    startSet();
    rect_ = SSRectUnion(rect_, r);
    finishSet();
  }
  child->adjustGeometry(r);
}

void SSRectobj::adjustGeometry(const XRectangle &r) {
  if (SSRectEqual(r, prevRect_) && SSRectEqual(r, rect_)) return;
  XRectangle old = prevRect_;
  rect_ = r;
  addRepaint(old);
  addRepaint(r);
  setGeometry(r);
  prevRect_ = r;
}

void SSRectobj::setGeometry(const XRectangle &r) {
  // prevRect_ still holds the old rectangle here.
  int dx = r.x - prevRect_.x, dy = r.y - prevRect_.y;
  if (dx == 0 && dy == 0) return;
  for (SSListNode *n = children_; n; n = n->getNext()) {
    auto *c = static_cast<SSRectobj *>(n->getData());
    XRectangle cr = c->rect_;
    cr.x = static_cast<short>(cr.x + dx);
    cr.y = static_cast<short>(cr.y + dy);
    c->adjustGeometry(cr);
  }
}

int SSRectobj::getWidth() const { return rect_.width; }
int SSRectobj::getHeight() const { return rect_.height; }

void SSRectobj::setWidth(int width) {
  startSet();
  rect_.width = static_cast<unsigned short>(std::max(width, 0));
  setRepaint();
  finishSet();
}

void SSRectobj::setHeight(int height) {
  startSet();
  rect_.height = static_cast<unsigned short>(std::max(height, 0));
  setRepaint();
  finishSet();
}

void SSRectobj::setX(int x) { setXY(x, rect_.y); }
void SSRectobj::setY(int y) { setXY(rect_.x, y); }

void SSRectobj::setXY(int x, int y) {
  startSet();
  rect_.x = static_cast<short>(x);
  rect_.y = static_cast<short>(y);
  setRepaint();
  finishSet();
}

int SSRectobj::contains(int x, int y) const {
  return x >= rect_.x && y >= rect_.y && x < rect_.x + rect_.width && y < rect_.y + rect_.height;
}

int SSRectobj::getSelected() const { return selected_; }

void SSRectobj::setSelected(int selected) {
  selected = selected ? 1 : 0;
  if (selected == selected_ || (selected && !selectable_)) return;
  startSet();
  selected_ = selected;
  setRepaint();
  setNoGeometry();
  finishSet();
  if (canvas_) canvas_->selectionChanged(this, selected);
}

void SSRectobj::setForegroundColor(long pixel) { setColor(&foreground_, pixel); }
void SSRectobj::setBackgroundColor(long pixel) { setColor(&background_, pixel); }

void SSRectobj::setColor(long *field, long pixel) {
  startSet();
  *field = pixel;
  setRepaint();
  setNoGeometry();
  finishSet();
}

Pixel SSRectobj::getForeground() const {
  for (const SSRectobj *o = this; o; o = o->parent_)
    if (o->foreground_ != -1) return static_cast<Pixel>(o->foreground_);
  return canvas_ && canvas_->foreground_ != -1 ? static_cast<Pixel>(canvas_->foreground_) : 0;
}

Pixel SSRectobj::getBackground() const {
  for (const SSRectobj *o = this; o; o = o->parent_)
    if (o->background_ != -1) return static_cast<Pixel>(o->background_);
  return canvas_ && canvas_->background_ != -1 ? static_cast<Pixel>(canvas_->background_) : 0;
}

void SSRectobj::setParent(SSRectobj *parent) {
  if (parent == parent_) return;
  startSet();
  parent_ = parent;
  setRepaint();
  finishSet();
}

void SSRectobj::setShow(int show) {
  show = show ? 1 : 0;
  if (show == show_) return;
  startSet();
  show_ = show;
  setRepaint();
  setNoGeometry();
  finishSet();
}

void SSRectobj::setSelectable(int selectable) {
  selectable_ = selectable ? 1 : 0;
  if (!selectable_) setSelected(0);
}

void SSRectobj::raise() {
  if (!parent_ || !ownNode_ || !ownNode_->getNext()) return;
  startSet();
  SSListNode::unlink(&parent_->children_, ownNode_);
  delete ownNode_;
  ownNode_ = SSListNode::append(&parent_->children_, this);
  setRepaint();
  setNoGeometry();
  finishSet();
}

void SSRectobj::paint(Drawable d, const XRectangle *rects, int count) {
  paintChildren(d, rects, count);
}

void SSRectobj::paintChildren(Drawable d, const XRectangle *rects, int count) {
  for (SSListNode *n = children_; n; n = n->getNext()) {
    auto *c = static_cast<SSRectobj *>(n->getData());
    if (!c->show_) continue;
    for (int i = 0; i < count; i++) {
      if (SSRectIntersects(c->rect_, rects[i])) {
        c->paint(d, rects, count);
        break;
      }
    }
  }
}

SSRectobj *SSRectobj::eventMapper(int x, int y) {
  return eventMapperProc_ ? eventMapperProc_(this, x, y) : this;
}

void SSRectobj::eventHandler(XEvent *event) {
  if (eventHandlerProc_) eventHandlerProc_(this, event);
}

void SSRectobj::dblClick(XEvent *event) {
  if (dblClickProc_) dblClickProc_(this, event);
}

void SSRectobj::drop(SSRectobj *dragged, XEvent *event) {
  if (dropProc_) dropProc_(dragged, this, event);
}

void SSRectobj::childDrop(SSRectobj *dragged, SSRectobj *child, XEvent *event) {
  if (childDropProc_) childDropProc_(dragged, this, child, event);
}

void SSRectobj::addRepaint(const XRectangle &r) const {
  if (canvas_ && !SSRectIsEmpty(r)) canvas_->addArea(r);
}

SSKeyDataListNode *SSRectobj::findKeyData(int key) const {
  for (SSListNode *n = keyData_; n; n = n->getNext()) {
    auto *kd = static_cast<SSKeyDataListNode *>(n->getData());
    if (kd->key == key) return kd;
  }
  return nullptr;
}

void SSRectobj::addKeyData(int key, void *value, SSKeyDataCleanup cleanup) {
  auto *kd = new SSKeyDataListNode{key, value, cleanup};
  SSListNode::insertBefore(&keyData_, keyData_, kd);
}

void *SSRectobj::getKeyData(int key) const {
  SSKeyDataListNode *kd = findKeyData(key);
  return kd ? kd->value : nullptr;
}

void SSRectobj::setKeyData(int key, void *value) {
  if (SSKeyDataListNode *kd = findKeyData(key))
    kd->value = value;
  else
    addKeyData(key, value);
}

int SSRectobj::deleteKeyData(int key) {
  for (SSListNode *n = keyData_; n; n = n->getNext()) {
    auto *kd = static_cast<SSKeyDataListNode *>(n->getData());
    if (kd->key != key) continue;
    SSListNode::remove(&keyData_, n);
    if (kd->cleanup) kd->cleanup(this, kd->key, kd->value);
    delete kd;
    return 1;
  }
  return 0;
}

SSRectobj *SSRectobjEventMapperDefault(SSRectobj *obj, int x, int y) {
  for (SSListNode *n = SSListNode::getLast(obj->getChildren()); n; n = n->getPrev()) {
    auto *c = static_cast<SSRectobj *>(n->getData());
    if (c->getShow() && c->contains(x, y)) return c->eventMapper(x, y);
  }
  return obj;
}

SSRectobj *SSRectobjEventMapperSelf(SSRectobj *obj, int, int) { return obj; }
