// SSTree: node records, links, the change bracket, geometry and painting; the
// contour layout itself is in ss_tree_layout.cc.
#include "toolkit/ss_tree.h"

#include <cstdlib>

#include "toolkit/ss_canvas.h"
#include "toolkit/ss_draw.h"

_SSTreeNode *SSTree::record(const SSRectobj *node) {
  return node ? static_cast<_SSTreeNode *>(node->getKeyData(SS_TREE_NODE_KEY)) : nullptr;
}

void treeKeyDataCleanup(SSRectobj *, int, void *value) {
  auto *r = static_cast<_SSTreeNode *>(value);
  delete r->drawLine;
  SSListNode::destroy(&r->linkTo);
  free(r);
}

SSTree::SSTree(SSRectobj *parent) : SSRectobj(parent) {
  selectable_ = 0;
  eventHandlerProc_ = SSRectobjEventHandlerDefault;
  root_ = new SSRectobj(this);  // addChild gives it its record
  root_->setSelectable(0);
}

SSTree::~SSTree() { freeLineHeap(); }

void SSTree::delayRepaint(int delay) {
  if (canvas_) canvas_->setDelayRepaint(delay);
}

void SSTree::finishSet() {
  const int outermost = setDepth() == 1;
  delayRepaint(1);
  SSRectobj::finishSet();
  if (outermost && relayout_ && root_ && !batchLayout_) layoutResize();
  delayRepaint(0);
}

_SSTreeNode *SSTree::makeRecord(SSRectobj *child) {
  // The line is a child of the tree too, and must not get a record of its own.
  static int in_progress = 0;
  if (in_progress) return nullptr;
  in_progress = 1;
  child->deleteKeyData(SS_TREE_NODE_KEY);
  auto *r = static_cast<_SSTreeNode *>(calloc(1, sizeof(_SSTreeNode)));
  child->addKeyData(SS_TREE_NODE_KEY, r, treeKeyDataCleanup);
  r->drawLine = new SSDrawLine(this);
  r->drawLine->setShow(0);  // painted by the tree, never hit by events
  r->drawLine->setSelectable(0);
  in_progress = 0;
  return r;
}

void SSTree::addChild(SSRectobj *child) {
  SSRectobj::addChild(child);
  if (makeRecord(child)) child->setShow(0);  // until it is linked
}

void SSTree::delChild(SSRectobj *child) {
  delayRepaint(1);
  const bool was_node = record(child) != nullptr;
  SSRectobj::delChild(child);
  unlinkChild(child);
  if (was_node && child != root_) {
    if (batchLayout_)
      relayout_ = 1;
    else
      layoutResize();
  }
  delayRepaint(0);
}

void SSTree::unlinkChild(SSRectobj *node) {
  _SSTreeNode *r = record(node);
  if (!r) return;
  if (_SSTreeNode *p = record(r->linkFrom))
    if (SSListNode *n = SSListNode::find(p->linkTo, node)) SSListNode::remove(&p->linkTo, n);
  r->linkFrom = nullptr;
  if (canvas_) {
    canvas_->addArea(node->getRect());
    if (r->drawLine) canvas_->addArea(r->drawLine->getRect());
  }
  delete r->drawLine;
  r->drawLine = nullptr;
  for (SSListNode *n = r->linkTo; n; n = n->getNext())
    if (_SSTreeNode *c = record(static_cast<SSRectobj *>(n->getData()))) c->linkFrom = nullptr;
  SSListNode::destroy(&r->linkTo);
  node->deleteKeyData(SS_TREE_NODE_KEY);
}

void SSTree::manageChild(SSRectobj *child, const XRectangle &r) {
  _SSTreeNode *rec = record(child);
  if (!rec || !rec->linkFrom)
    child->adjustGeometry(r);
  else if (batchLayout_)
    relayout_ = 1;
  else
    layoutResize();
}

void SSTree::setGeometry(const XRectangle &r) {
  doLayout();
  setGeometries(r);
}

void SSTree::addLink(SSRectobj *from, SSRectobj *to) {
  if (from == this) from = root_;
  _SSTreeNode *fr = record(from);
  if (!fr || !to || to == root_) return;
  for (SSRectobj *a = from; a; a = record(a) ? record(a)->linkFrom : nullptr)
    if (a == to) return;  // to is from or above it
  startSet();
  if (to->getParent() != this)
    to->setParent(this);  // addChild makes the record
  else if (!record(to))
    makeRecord(to);
  if (_SSTreeNode *tr = record(to)) {
    if (_SSTreeNode *old = record(tr->linkFrom))
      if (SSListNode *n = SSListNode::find(old->linkTo, to)) SSListNode::remove(&old->linkTo, n);
    SSListNode::append(&fr->linkTo, to);
    if (tr->linkState == SSTreeNeverLinked) tr->linkState = SSTreeLinked;
    tr->linkFrom = from;
    relayout_ = 1;
    hide(to, 1);
  }
  finishSet();
}

void SSTree::unLink(SSRectobj *node) {
  startSet();
  unlinkChild(node);
  relayout_ = 1;
  finishSet();
}

template <typename T>
void SSTree::setParameter(T *field, T value) {
  startSet();
  *field = value;
  relayout_ = 1;
  finishSet();
}

void SSTree::setParentDistance(int distance) { setParameter(&parentDistance_, distance); }
void SSTree::setLayout(SSTreeLayout layout) { setParameter(&layout_, layout); }
void SSTree::setBorder(int border) { setParameter(&border_, border); }

void SSTree::setBatchLayout(int batch) {
  if (batch == 1) {
    batchLayout_ = 1;
    return;
  }
  delayRepaint(1);
  if (batchLayout_ && relayout_ && root_) layoutResize();
  batchLayout_ = 0;
  delayRepaint(0);
}

SSRectobj *SSTree::getLinkFrom(SSRectobj *node) const {
  _SSTreeNode *r = record(node == this ? root_ : node);
  return r ? r->linkFrom : nullptr;
}

SSListNode *SSTree::getLinkToList(SSRectobj *node) const {
  _SSTreeNode *r = record(node == this ? root_ : node);
  return r ? r->linkTo : nullptr;
}

SSDrawLine *SSTree::getDrawLineTo(SSRectobj *node) const {
  _SSTreeNode *r = node == this ? nullptr : record(node);
  return r ? r->drawLine : nullptr;
}

int SSTree::getLinkState(SSRectobj *node) const {
  _SSTreeNode *r = record(node);
  return r ? static_cast<int>(r->linkState) : static_cast<int>(SSTreeNeverLinked);
}

void SSTree::hide(SSRectobj *node, int show) {
  if (node->getShow() != (show ? 1 : 0)) node->setShow(show);
  if (_SSTreeNode *r = record(node))
    for (SSListNode *n = r->linkTo; n; n = n->getNext())
      hide(static_cast<SSRectobj *>(n->getData()), show);
}

void SSTree::layoutResize() {
  doLayout();
  _SSTreeNode *r = record(root_);
  if (!r) return;
  const int breadth = r->breadthMax - r->breadthMin + parentDistance_;
  const int depth = r->depth + parentDistance_;
  const int w = layout_ == SSTreeVertical ? breadth : depth;
  const int h = layout_ == SSTreeVertical ? depth : breadth;
  if (w != getWidth() || h != getHeight()) {
    geometryManage(SSRectMake(rect_.x, rect_.y, w, h));
  } else {
    setGeometries(rect_);
    relayout_ = 0;
  }
}

void SSTree::setGeometries(const XRectangle &r) {
  _SSTreeNode *rr = record(root_);
  if (!rr) return;
  const int mn = rr->breadthMin, mx = rr->breadthMax;
  int x = r.x, y = r.y;
  if (layout_ == SSTreeVertical)
    x = r.x - mn + (mn - mx + r.width) / 2;
  else
    y = r.y - mn + (mn - mx + r.height) / 2;
  root_->adjustGeometry(SSRectMake(x, y, 0, 0));
  setXY(root_, x, y);
  setLinks(root_);
}

void SSTree::setXY(SSRectobj *n, int x, int y) {
  for (SSListNode *l = record(n)->linkTo; l; l = l->getNext()) {
    auto *c = static_cast<SSRectobj *>(l->getData());
    _SSTreeNode *rc = record(c);
    if (!rc) continue;
    if (layout_ == SSTreeVertical) {
      y += rc->offsetDx;
      x += rc->offsetDy;
    } else {
      x += rc->offsetDx;
      y += rc->offsetDy;
    }
    if (rc->linkState == SSTreeLinked) rc->linkState = SSTreePositioned;
    c->adjustGeometry(SSRectMake(x, y, c->getWidth(), c->getHeight()));
    setXY(c, x, y);
  }
}

void SSTree::setLinks(SSRectobj *root) {
  for (SSListNode *l = record(root)->linkTo; l; l = l->getNext()) {
    _SSTreeNode *r = record(static_cast<SSRectobj *>(l->getData()));
    for (SSListNode *m = r ? r->linkTo : nullptr; m; m = m->getNext())
      moveLinks(static_cast<SSRectobj *>(m->getData()));
  }
}

void SSTree::moveLinks(SSRectobj *n) {
  _SSTreeNode *r = record(n);
  if (!r) return;
  if (SSRectobj *p = r->linkFrom; p && r->drawLine) {
    const XRectangle &pr = p->getRect(), &nr = n->getRect();
    int x0, y0, x1, y1;
    if (layout_ == SSTreeVertical) {
      x0 = pr.x + pr.width / 2, y0 = pr.y + pr.height + 1;
      x1 = nr.x + nr.width / 2, y1 = nr.y - 1;
    } else {
      x0 = pr.x + pr.width + 1, y0 = pr.y + pr.height / 2;
      x1 = nr.x - 1, y1 = nr.y + nr.height / 2;
    }
    SSDrawLine *line = r->drawLine;
    line->startSet();
    line->setX0(1, x0);
    line->setY0(1, y0);
    line->setX1(1, x1);
    line->setY1(1, y1);
    line->setNoGeometry();
    line->finishSet();
  }
  for (SSListNode *l = r->linkTo; l; l = l->getNext())
    moveLinks(static_cast<SSRectobj *>(l->getData()));
}

void SSTree::paint(Drawable d, const XRectangle *rects, int count) {
  XRectangle kept[64];
  int n = 0;
  for (int i = 0; i < count && n < 64; i++)
    if (SSRectIntersects(rects[i], rect_)) kept[n++] = rects[i];
  if (n == 0) return;
  for (SSListNode *l = record(root_)->linkTo; l; l = l->getNext())
    paintNodes(static_cast<SSRectobj *>(l->getData()), d, kept, n);
}

namespace {

void paint_if_seen(SSRectobj *o, Drawable d, const XRectangle *rects, int count) {
  for (int i = 0; i < count; i++)
    if (SSRectIntersects(o->getRect(), rects[i])) {
      o->paint(d, rects, count);
      return;
    }
}

}  // namespace

// Children are painted twice, with their parent and as parents: simpler than
// keeping track, and trees hold few nodes.
void SSTree::paintNodes(SSRectobj *n, Drawable d, const XRectangle *rects, int count) {
  if (!n->getShow()) return;
  paint_if_seen(n, d, rects, count);
  _SSTreeNode *r = record(n);
  for (SSListNode *l = r ? r->linkTo : nullptr; l; l = l->getNext()) {
    auto *c = static_cast<SSRectobj *>(l->getData());
    if (!c->getShow()) continue;
    paint_if_seen(c, d, rects, count);
    if (SSDrawLine *line = getDrawLineTo(c)) paint_if_seen(line, d, rects, count);
    paintNodes(c, d, rects, count);
  }
}
