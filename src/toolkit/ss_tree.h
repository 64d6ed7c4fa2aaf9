// SSTree: a rectangle object that lays out its children as a forest, by contours,
// and draws a line from each node to each of its children.
//
// Nodes are children of the tree linked by addLink(from, to); from the tree itself
// means the invisible root, so the forest's roots hang on it and get no line.
// Each subtree is summarised by a polygon (its contour), subtrees are packed
// side by side by walking the facing contours, and a parent is centred on its
// children, so subtrees of different shapes interleave instead of keeping to
// their bounding boxes.  Distances:
//
//   B (border)           margin kept around every node, default 4
//   P (parent distance)  gap between a parent and its children, default 30
//   depth axis           the one the tree grows along: X horizontal, Y vertical
//
// Every node takes 2B more than its size on both axes; siblings whose contours
// only touch are b + 2B apart, b their breadth.  Arithmetic is in 32-bit integers
// truncating towards zero; contour segments and offsets are cut to 16 bits.
//
// Layout runs when a change bracket on the tree closes after a link, a size or a
// parameter changed, unless held back by setBatchLayout(1).  A node that changes
// size makes the whole tree flow again.
#ifndef BRINDLE_TOOLKIT_SS_TREE_H
#define BRINDLE_TOOLKIT_SS_TREE_H

#include <cstdint>

#include "toolkit/ss_rectobj.h"

class SSDrawLine;

enum SSTreeLayout { SSTreeHorizontal = 0, SSTreeVertical = 1 };

// One segment of a contour.  Segments live in chunks on the tree's line heap and
// are shared freely between polygons: they are all dropped at the next layout.
struct _SSPolyLine {
  int16_t dx, dy;
  _SSPolyLine *link;
};

struct _SSPolygon {
  _SSPolyLine *lowerHead, *lowerTail, *upperHead, *upperTail;
};

// The tree's record of one node, as key data under SS_TREE_NODE_KEY.
struct _SSTreeNode {
  int16_t offsetDx;   // depth offset from the parent (first child), else 0
  int16_t offsetDy;   // breadth offset from the parent (first child) or previous sibling
  _SSPolygon contour;
  SSListNode *linkTo;  // children, in link order
  SSRectobj *linkFrom;  // parent
  SSDrawLine *drawLine;  // the line from the parent; owned
  int16_t breadthMin;  // subtree's lowest breadth, relative to the node's centre
  int16_t breadthMax;
  int16_t depth;       // subtree's extent along the depth axis
  uint16_t linkState;  // SSTreeNeverLinked, SSTreeLinked, SSTreePositioned
};

enum { SS_TREE_NODE_KEY = -1 };
enum { SSTreeNeverLinked = 0, SSTreeLinked = 1, SSTreePositioned = 2 };

void treeKeyDataCleanup(SSRectobj *obj, int key, void *value);

class SSTree : public SSRectobj {
public:
  explicit SSTree(SSRectobj *parent);
  using SSRectobj::setXY;  // the tree's own corner; setXY(node, x, y) places nodes

  void finishSet() override;
  void addChild(SSRectobj *child) override;
  void delChild(SSRectobj *child) override;
  void manageChild(SSRectobj *child, const XRectangle &r) override;
  void setGeometry(const XRectangle &r) override;
  ~SSTree() override;
  void paint(Drawable d, const XRectangle *rects, int count) override;

  // Appends to to the children of from (the tree itself: the root), making to a
  // child of the tree first if needed, and shows to and its subtree.  Nothing
  // happens if from is not a node, or if the link would close a cycle.
  void addLink(SSRectobj *from, SSRectobj *to);
  void unLink(SSRectobj *node);
  void setParentDistance(int distance);
  int getParentDistance() const { return parentDistance_; }
  void setLayout(SSTreeLayout layout);
  SSTreeLayout getLayout() const { return layout_; }
  void setBorder(int border);
  int getBorder() const { return border_; }
  // 1 holds layouts back; anything else runs a held one and ends the batch.
  void setBatchLayout(int batch);
  SSRectobj *getLinkFrom(SSRectobj *node) const;
  SSListNode *getLinkToList(SSRectobj *node) const;
  SSDrawLine *getDrawLineTo(SSRectobj *node) const;
  // setShow(show) on node and on every node below it.
  void hide(SSRectobj *node, int show);
  SSRectobj *getRoot() const { return root_; }
  // SSTreeNeverLinked for objects that are not nodes.
  int getLinkState(SSRectobj *node) const;

  void doLayout();
  void layoutResize();

private:
  template <typename T>
  void setParameter(T *field, T value);
  static _SSTreeNode *record(const SSRectobj *node);
  _SSTreeNode *makeRecord(SSRectobj *child);
  void unlinkChild(SSRectobj *node);
  void freeLineHeap();
  _SSPolyLine *constructLine(int dx, int dy, _SSPolyLine *link);
  int depthOf(const SSRectobj *n) const;    // d(n)
  int breadthOf(const SSRectobj *n) const;  // b(n)
  void calcPositions(SSRectobj *n);
  void layoutLeaf(SSRectobj *n);
  int join(SSRectobj *n);
  void attachParent(SSRectobj *n);
  int merge(_SSPolygon *c1, _SSPolygon *c2);
  static int offset(int p1, int p2, int a, int b, int c, int d);
  _SSPolyLine *bridge(_SSPolyLine *line1, int x1, int y1, _SSPolyLine *line2, int x2, int y2);
  void setBreadthDepth(SSRectobj *n);
  void calcBreadthDepth(SSRectobj *n);
  void setGeometries(const XRectangle &r);
  void setXY(SSRectobj *n, int x, int y);
  void setLinks(SSRectobj *root);
  void moveLinks(SSRectobj *n);
  void paintNodes(SSRectobj *n, Drawable d, const XRectangle *rects, int count);
  void delayRepaint(int delay);

  SSRectobj *root_ = nullptr;
  int parentDistance_ = 30;
  SSTreeLayout layout_ = SSTreeHorizontal;
  int border_ = 4;
  SSListNode *lineHeap_ = nullptr;
  int relayout_ = 0;
  int batchLayout_ = 0;
};

#endif
