// Rectangle objects without a display: geometry between parents and children,
// key data with cleanups, and the grid of SSArrayTile.
#include <gtest/gtest.h>

#include <vector>

#include "toolkit/ss_array_tile.h"
#include "toolkit/ss_rectobj.h"

namespace {

TEST(SSRectobj, ParentsGrowForChildrenAndCarryThemAlong) {
  SSRectobj parent(nullptr);
  parent.setXY(10, 10);
  parent.setWidth(50);
  parent.setHeight(50);
  SSRectobj *child = new SSRectobj(&parent);
  child->setXY(40, 30);
  child->setWidth(40);  // reaches x = 80, beyond the parent's 60
  child->setHeight(10);
  EXPECT_EQ(parent.getX(), 10);
  EXPECT_EQ(parent.getWidth(), 70);
  EXPECT_EQ(parent.getHeight(), 50);
  parent.setXY(110, 20);
  EXPECT_EQ(child->getX(), 140);
  EXPECT_EQ(child->getY(), 40);
  EXPECT_EQ(SSListNode::getNumElements(parent.getChildren()), 1);
  delete child;
  EXPECT_EQ(parent.getChildren(), nullptr);
}

TEST(SSRectobj, KeyDataCleanupsRunWithTheirObject) {
  static std::vector<std::pair<int, void *>> cleaned;
  auto cleanup = [](SSRectobj *, int key, void *value) { cleaned.emplace_back(key, value); };
  int a, b, c;
  SSRectobj *o = new SSRectobj(nullptr);
  o->addKeyData(1, &a, cleanup);
  o->addKeyData(2, &b, cleanup);
  o->addKeyData(1, &c, cleanup);  // newer record of the same key
  EXPECT_EQ(o->getKeyData(1), &c);
  EXPECT_TRUE(o->deleteKeyData(1));
  EXPECT_EQ(o->getKeyData(1), &a);
  EXPECT_FALSE(o->deleteKeyData(3));
  delete o;
  std::vector<std::pair<int, void *>> want = {{1, &c}, {2, &b}, {1, &a}};
  EXPECT_EQ(cleaned, want);
}

// Children 20x10, 30x16 and 10x10 in cells of the largest, 30x16, with gaps of
// 8: centred across, two to a row: (5, 0), (38, 0), (10, 24); 68 x 40 in all.
// A view 120 wide holds (120 + 8) / 38 = 3 cells to a row: 106 x 16.
TEST(SSArrayTile, PlacesChildrenInCellsOfTheLargest) {
  SSArrayTile tile(nullptr);
  tile.setColumnGap(8);
  tile.setRowGap(8);
  tile.setCount(2);
  const int sizes[][2] = {{20, 10}, {30, 16}, {10, 10}};
  std::vector<SSRectobj *> kids;
  for (const auto &s : sizes) {
    SSRectobj *o = new SSRectobj(&tile);
    o->setWidth(s[0]);
    o->setHeight(s[1]);
    kids.push_back(o);
  }
  const int two_a_row[][2] = {{5, 0}, {38, 0}, {10, 24}};
  for (int i = 0; i < 3; i++) {
    EXPECT_EQ(kids[i]->getX(), two_a_row[i][0]) << i;
    EXPECT_EQ(kids[i]->getY(), two_a_row[i][1]) << i;
  }
  EXPECT_EQ(tile.getWidth(), 68);
  EXPECT_EQ(tile.getHeight(), 40);
  tile.setViewConstraint(120);
  EXPECT_EQ(tile.getCellsPerLine(), 3);
  EXPECT_EQ(kids[2]->getX(), 86);
  EXPECT_EQ(kids[2]->getY(), 0);
  EXPECT_EQ(tile.getWidth(), 106);
  EXPECT_EQ(tile.getHeight(), 16);
}

}  // namespace
