// SSTree's layout by contours: the line heap, the polygons of leaves and parents,
// and the merge of facing contours.
#include <algorithm>
#include <cstdlib>

#include "toolkit/ss_tree.h"

namespace {

const int kLinesPerChunk = 64;
// Records used in the newest chunk.  One count serves every tree, because a
// layout runs to its end before the next one begins, and each layout starts
// with a fresh chunk.
int lines_used = 0;

inline int16_t cut(int v) { return static_cast<int16_t>(v); }

}  // namespace

void SSTree::freeLineHeap() {
  for (SSListNode *n = lineHeap_; n; n = n->getNext()) free(n->getData());
  SSListNode::destroy(&lineHeap_);
}

_SSPolyLine *SSTree::constructLine(int dx, int dy, _SSPolyLine *link) {
  if (!lineHeap_ || lines_used >= kLinesPerChunk) {
    void *chunk = calloc(kLinesPerChunk, sizeof(_SSPolyLine));
    SSListNode::insertBefore(&lineHeap_, lineHeap_, chunk);
    lines_used = 0;
  }
  _SSPolyLine *l = static_cast<_SSPolyLine *>(lineHeap_->getData()) + lines_used++;
  l->dx = cut(dx);
  l->dy = cut(dy);
  l->link = link;
  return l;
}

int SSTree::depthOf(const SSRectobj *n) const {
  return layout_ == SSTreeVertical ? n->getHeight() : n->getWidth();
}

int SSTree::breadthOf(const SSRectobj *n) const {
  return layout_ == SSTreeVertical ? n->getWidth() : n->getHeight();
}

void SSTree::doLayout() {
  freeLineHeap();
  if (root_) calcPositions(root_);
}

void SSTree::calcPositions(SSRectobj *n) {
  _SSTreeNode *r = record(n);
  if (!r) return;
  r->offsetDx = r->offsetDy = 0;
  r->contour = _SSPolygon{nullptr, nullptr, nullptr, nullptr};
  if (!r->linkTo) {
    layoutLeaf(n);
    return;
  }
  for (SSListNode *l = r->linkTo; l; l = l->getNext())
    calcPositions(static_cast<SSRectobj *>(l->getData()));
  attachParent(n);
}

void SSTree::layoutLeaf(SSRectobj *n) {
  _SSPolygon &c = record(n)->contour;
  const int B = border_;
  c.upperTail = c.upperHead = constructLine(depthOf(n) + 2 * B, 0, nullptr);
  c.lowerTail = constructLine(0, -2 * B - breadthOf(n), nullptr);
  c.lowerHead = constructLine(depthOf(n) + 2 * B, 0, c.lowerTail);
  setBreadthDepth(n);
}

int SSTree::join(SSRectobj *n) {
  _SSTreeNode *r = record(n);
  SSListNode *l = r->linkTo;
  auto *first = static_cast<SSRectobj *>(l->getData());
  r->contour = record(first)->contour;
  int sum, h;
  sum = h = breadthOf(first) + 2 * border_;
  for (l = l->getNext(); l; l = l->getNext()) {
    auto *c = static_cast<SSRectobj *>(l->getData());
    _SSTreeNode *rc = record(c);
    if (!rc) continue;
    int gap = merge(&r->contour, &rc->contour);
    rc->offsetDy = cut(h + gap);
    rc->offsetDx = 0;
    h = breadthOf(c) + 2 * border_;
    sum += h + gap;
  }
  return sum;
}

void SSTree::attachParent(SSRectobj *n) {
  _SSTreeNode *r = record(n);
  const int B = border_, d = depthOf(n), b = breadthOf(n);
  const int h = join(n);
  const int x = B + parentDistance_;
  const int y = (h - b) / 2 - B;
  const int u = y + b + 2 * B - h;
  _SSTreeNode *first = record(static_cast<SSRectobj *>(r->linkTo->getData()));
  first->offsetDx = cut(d + x);
  first->offsetDy = cut(u);
  r->contour.upperHead = constructLine(d, 0, constructLine(x, u, r->contour.upperHead));
  r->contour.lowerHead = constructLine(d, 0, constructLine(x, y, r->contour.lowerHead));
  calcBreadthDepth(n);
}

// Pushes c2 away from c1 until they no longer overlap, splices c2 onto c1 and
// answers the push.  Walks only as far as the shorter contour reaches.
int SSTree::merge(_SSPolygon *c1, _SSPolygon *c2) {
  _SSPolyLine *upper = c1->lowerHead, *lower = c2->upperHead;
  int x = 0, y = 0, total = 0;
  while (lower && upper) {
    int gap = offset(x, y, lower->dx, lower->dy, upper->dx, upper->dy);
    y += gap;
    total += gap;
    if (x + lower->dx <= upper->dx) {
      y += lower->dy;
      x += lower->dx;
      lower = lower->link;
    } else {
      y -= upper->dy;
      x -= upper->dx;
      upper = upper->link;
    }
  }
  if (lower) {
    _SSPolyLine *b = bridge(c1->upperTail, 0, 0, lower, x, y);
    c1->upperTail = b->link ? c2->upperTail : b;
    c1->lowerTail = c2->lowerTail;
  } else {
    _SSPolyLine *b = bridge(c2->lowerTail, x, y, upper, 0, 0);
    if (!b->link) c1->lowerTail = b;
  }
  c1->lowerHead = c2->lowerHead;
  return total;
}

// How far the segment (a, b) starting at (p1, p2) must move to clear the segment
// (c, d) starting at the origin; never negative.
int SSTree::offset(int p1, int p2, int a, int b, int c, int d) {
  if (c <= p1 || p1 + a <= 0) return 0;
  int r;
  const int t = b * c - a * d;
  if (t > 0) {
    if (p1 < 0)
      r = (p1 * b) / a - p2;
    else if (p1 > 0)
      r = (p1 * d) / c - p2;
    else
      r = -p2;
  } else if (c < p1 + a) {
    r = d - (p2 + ((c - p1) * b) / a);
  } else if (c > p1 + a) {
    r = ((p1 + a) * d) / c - (p2 + b);
  } else {
    r = d - (p2 + b);
  }
  return r > 0 ? r : 0;
}

// Joins the tail of one contour to the middle of another.
_SSPolyLine *SSTree::bridge(_SSPolyLine *line1, int x1, int y1, _SSPolyLine *line2, int x2,
                            int y2) {
  const int dx = x2 + line2->dx - x1;
  const int dy = line2->dx == 0 ? line2->dy : (dx * line2->dy) / line2->dx;
  _SSPolyLine *r = constructLine(dx, dy, line2->link);
  line1->link = constructLine(0, y2 + line2->dy - dy - y1, r);
  return r;
}

void SSTree::setBreadthDepth(SSRectobj *n) {
  _SSTreeNode *r = record(n);
  const int b = breadthOf(n), half = b / 2;
  r->depth = cut(depthOf(n) + 2 * border_);
  r->breadthMax = cut(b - half + border_);
  r->breadthMin = cut(-(border_ + half));
}

void SSTree::calcBreadthDepth(SSRectobj *n) {
  setBreadthDepth(n);
  _SSTreeNode *r = record(n);
  int s = 0, t = 0;
  int mn = r->breadthMin, mx = r->breadthMax, depth = r->depth;
  for (SSListNode *l = r->linkTo; l; l = l->getNext()) {
    auto *c = static_cast<SSRectobj *>(l->getData());
    _SSTreeNode *rc = record(c);
    const int adj = (breadthOf(c) - breadthOf(n)) / 2;
    s += rc->offsetDy;
    t += rc->offsetDx;
    mn = std::min(mn, rc->breadthMin + s + adj);
    mx = std::max(mx, rc->breadthMax + s + adj);
    depth = std::max(depth, rc->depth + t);
  }
  r->breadthMin = cut(mn);
  r->breadthMax = cut(mx);
  r->depth = cut(depth);
}
