// SSTree layout: node positions, tree sizes and lines of small trees, worked out
// by hand from the contour rules (arithmetic in the comments), no display needed.
//
// Notation: d = size along the depth axis (height when vertical, width when
// horizontal), b = size along the breadth axis, B border, P parent distance.
// Leaf: depth = d + 2B, max = b - b/2 + B, min = -(B + b/2).
// Parent: h = stacked breadth of the children; x = B + P; y = (h - b)/2 - B;
// first child offset (d + x, u = y + b + 2B - h); a further sibling's breadth
// offset is the previous one's b + 2B plus the push from merging contours.
// Tree size: breadth = max - min + P, depth = depth + P of the root.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "toolkit/ss_draw.h"
#include "toolkit/ss_tree.h"

namespace {

const int RX = 100, RY = 200;  // where each tree is placed

struct Line {
  int x0, y0, x1, y1;
};
struct Node {
  std::string name, parent;  // parent "" hangs on the tree's root
  int w, h;
  int x, y;           // expected corner, relative to (RX, RY)
  const Line *line;   // expected line from the parent, relative; null: none drawn
};
struct Case {
  const char *title;
  SSTreeLayout layout;
  int border, distance;
  int tree_w, tree_h;
  std::vector<Node> nodes;
};

// Chain: a -> b horizontal.  b: 30x10, d 30 b 10, depth 38, max 9, min -9.
// a (40x20): h = 18, x = 34, y = (18-20)/2 - 4 = -5, u = -5+20+8-18 = 5, so b's
// offset is (40+34, 5) = (74, 5); a's max = max(14, 9+5-5) = 14, min -14,
// depth = max(48, 38+74) = 112.  Root: h = 28, y = 10, u = -10: a at (34, -10);
// root depth = 112+34 = 146, max 14, min -14.  Tree 176 x 58; root y =
// 14 + (-28+58)/2 = 29, so a = (34, 19), b = (108, 24).  Line: a's right edge
// + 1 = 75 at a's middle 29, to b's left edge - 1 = 107 at 24 + 5 = 29.
const Line chain_line = {75, 29, 107, 29};

// Fan: p -> c1 c2 c3 vertical, B 4, P 10.  c (20x10): depth 18, max 14,
// min -14; the leaves' contours only touch (offset 0 at equal ends), so the
// siblings stand b + 2B = 28 apart and h = 84.  p (30x10): x = 14,
// y = (84-30)/2 - 4 = 23, u = 23+30+8-84 = -23; c1 at (10+14, -23) = (24, -23).
// p: min = -14-23-5 = -42, max = 14+33-5 = 42, depth 18+24 = 42.  Root: h = 38,
// y = 15, u = -15: p at (14, -15); root min -42, max 42, depth 56.  Tree 94 x 66,
// root x = 42 + (-84+94)/2 = 47: p = (32, 14), c1 = (9, 38), c2 = (37, 38),
// c3 = (65, 38).  Line p -> c1: (32+15, 14+10+1) to (9+10, 38-1).
const Line fan_line = {47, 25, 19, 37};

// Uneven, vertical, B 2, P 10: a (10x10) over a wide a1 (50x10) beside a wide,
// shallow leaf c (40x10).  a1: depth 14, max 27, min -27.  a: h = 54, x = 12,
// y = 20, u = -20: a1 at (22, -20); a: min -27, max 27, depth 36.
// Merging a's lower contour (10,0)(12,20)(14,0).. with c's upper (14,0): first
// step clears (offset 0, x becomes -10), second: c = 12 > p1+a = 4, so the push
// is (4*20)/12 = 6 (the slant of a's link at c's bottom), far less than the
// bounding boxes need.  c's offset = 14 + 6 = 20, h = 14+44+6 = 64.
// Root: y = 30, u = -30: a at (12, -30); min = min(-27-30+5, ...) = -52,
// max = 22-10+20 = 32, depth = 36+12 = 48.  Tree 94 x 58, root x = 52 + 5 = 57:
// a = (27, 12), a1 = (7, 34), c = (47, 12): c lies over a1's right part.
// Forest, horizontal, B 4, P 20: r1 30x10 and r2 30x20 under the root.  Leaves'
// ends meet: r2 is 18 below r1, h = 46; y = 19, u = -19: r1 at (24, -19).
// Root: min = -9-19+5 = -23, max = 14-1+10 = 23, depth 62.  Tree 82 x 66,
// root y = 23 + 10 = 33: r1 = (24, 14), r2 = (24, 32).  Roots get no lines.
const Case cases[] = {
    // A leaf 100x50 vertical, B 4, P 15: depth 58, max 54, min -54, offsets
    // (19, -50); root depth 77.  Tree 108+15 = 123 by 77+15 = 92; root
    // x = 54 + (-108+123)/2 = 61, leaf at (61-50, 19) = (11, 19).
    {"leaf vertical", SSTreeVertical, 4, 15, 123, 92, {{"leaf", "", 100, 50, 11, 19, nullptr}}},
    // A zero-sized leaf still takes 2B: max 4, min -4, depth 8; offsets (14, 0);
    // root depth 22.  Tree 18 x 32, root x = 4 + 5 = 9: leaf at (9, 14).
    {"zero-sized leaf", SSTreeVertical, 4, 10, 18, 32, {{"dot", "", 0, 0, 9, 14, nullptr}}},
    {"chain horizontal", SSTreeHorizontal, 4, 30, 176, 58,
     {{"a", "", 40, 20, 34, 19, nullptr}, {"b", "a", 30, 10, 108, 24, &chain_line}}},
    {"fan vertical", SSTreeVertical, 4, 10, 94, 66,
     {{"p", "", 30, 10, 32, 14, nullptr},
      {"c1", "p", 20, 10, 9, 38, &fan_line},
      {"c2", "p", 20, 10, 37, 38, nullptr},
      {"c3", "p", 20, 10, 65, 38, nullptr}}},
    {"uneven subtrees interleave", SSTreeVertical, 2, 10, 94, 58,
     {{"a", "", 10, 10, 27, 12, nullptr},
      {"a1", "a", 50, 10, 7, 34, nullptr},
      {"c", "", 40, 10, 47, 12, nullptr}}},
    {"forest horizontal", SSTreeHorizontal, 4, 20, 82, 66,
     {{"r1", "", 30, 10, 24, 14, nullptr}, {"r2", "", 30, 20, 24, 32, nullptr}}},
};

// Builds the case's tree in one batch, placed at (RX, RY).
struct Built {
  SSTree *tree;
  std::map<std::string, SSRectobj *> nodes;
};

Built build(const Case &c) {
  Built b{new SSTree(nullptr), {}};
  b.tree->setXY(RX, RY);
  b.tree->setBatchLayout(1);
  b.tree->setLayout(c.layout);
  b.tree->setBorder(c.border);
  b.tree->setParentDistance(c.distance);
  for (const Node &n : c.nodes) {
    SSRectobj *o = new SSRectobj(b.tree);
    o->setWidth(n.w);
    o->setHeight(n.h);
    b.tree->addLink(n.parent.empty() ? b.tree : b.nodes.at(n.parent), o);
    b.nodes[n.name] = o;
  }
  b.tree->setBatchLayout(0);
  return b;
}

TEST(SSTreeLayout, PositionsSizesAndLinesWorkedByHand) {
  for (const Case &c : cases) {
    SCOPED_TRACE(c.title);
    Built b = build(c);
    EXPECT_EQ(b.tree->getX(), RX);
    EXPECT_EQ(b.tree->getY(), RY);
    EXPECT_EQ(b.tree->getWidth(), c.tree_w);
    EXPECT_EQ(b.tree->getHeight(), c.tree_h);
    for (const Node &n : c.nodes) {
      SCOPED_TRACE(n.name);
      SSRectobj *o = b.nodes.at(n.name);
      EXPECT_EQ(o->getX() - RX, n.x);
      EXPECT_EQ(o->getY() - RY, n.y);
      EXPECT_EQ(o->getWidth(), n.w);
      EXPECT_EQ(o->getHeight(), n.h);
      EXPECT_TRUE(o->getShow());
      EXPECT_EQ(b.tree->getLinkState(o), SSTreePositioned);
      SSDrawLine *line = b.tree->getDrawLineTo(o);
      ASSERT_NE(line, nullptr);
      if (n.parent.empty()) {
        EXPECT_EQ(line->getNumLines(), 0) << "a root of the forest got a line";
      } else if (n.line) {
        EXPECT_EQ(line->getX0(1) - RX, n.line->x0);
        EXPECT_EQ(line->getY0(1) - RY, n.line->y0);
        EXPECT_EQ(line->getX1(1) - RX, n.line->x1);
        EXPECT_EQ(line->getY1(1) - RY, n.line->y1);
      }
    }
    delete b.tree;
  }
}

// A node that counts how often the layout places it.
class CountingNode : public SSRectobj {
public:
  using SSRectobj::SSRectobj;
  void adjustGeometry(const XRectangle &r) override {
    placed++;
    SSRectobj::adjustGeometry(r);
  }
  int placed = 0;
};

// Links without a batch lay the tree out each time; in a batch they cost one
// layout when it ends.  A resized node reflows the tree.
TEST(SSTreeLayout, BatchLaysOutOnceAndResizeReflows) {
  for (int batch : {0, 1}) {
    SCOPED_TRACE(batch ? "batch" : "no batch");
    SSTree tree(nullptr);
    tree.setBatchLayout(batch);
    auto *first = new CountingNode(&tree);
    first->setWidth(100);
    first->setHeight(50);
    tree.addLink(&tree, first);
    first->placed = 0;
    for (int i = 0; i < 4; i++) {
      SSRectobj *o = new SSRectobj(&tree);
      o->setWidth(20);
      o->setHeight(20);
      tree.addLink(&tree, o);
    }
    tree.setBatchLayout(0);
    if (batch)
      EXPECT_EQ(first->placed, 1);
    else
      EXPECT_GE(first->placed, 4);
  }
  // The vertical 100x50 leaf narrowed to 60: max 34, min -34, offsets (19, -30);
  // tree 68+15 = 83 wide, still 92 high; root x = 34 + 7 = 41: leaf at (11, 19).
  SSTree tree(nullptr);
  tree.setLayout(SSTreeVertical);
  tree.setBorder(4);
  tree.setParentDistance(15);
  SSRectobj *leaf = new SSRectobj(&tree);
  leaf->setWidth(100);
  leaf->setHeight(50);
  tree.addLink(&tree, leaf);
  ASSERT_EQ(tree.getWidth(), 123);
  auto expect_leaf_alone = [&](const char *when) {
    SCOPED_TRACE(when);
    EXPECT_EQ(tree.getWidth(), 83);
    EXPECT_EQ(tree.getHeight(), 92);
    EXPECT_EQ(leaf->getX() - tree.getX(), 11);
    EXPECT_EQ(leaf->getY() - tree.getY(), 19);
  };
  leaf->setWidth(60);
  expect_leaf_alone("resized");
  // A second root and a child of the leaf, deleted again: the tree shrinks back.
  SSRectobj *other = new SSRectobj(&tree), *child = new SSRectobj(&tree);
  other->setWidth(20);
  other->setHeight(20);
  tree.addLink(&tree, other);
  tree.addLink(leaf, child);
  EXPECT_EQ(tree.getLinkToList(leaf)->getData(), child);
  ASSERT_GT(tree.getWidth(), 83);
  delete other;
  delete child;
  EXPECT_EQ(tree.getLinkToList(leaf), nullptr);
  expect_leaf_alone("others deleted");
  // Unlinked, only the root's own 2B remains: 8 + 15 either way.
  tree.unLink(leaf);
  EXPECT_EQ(tree.getWidth(), 23);
  EXPECT_EQ(tree.getHeight(), 23);
  tree.addLink(&tree, leaf);
  expect_leaf_alone("linked again");
}

}  // namespace
