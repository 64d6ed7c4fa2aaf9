// SSArrayTile: a rectangle object that places its shown children in a grid of
// equal cells, row by row or column by column.
#ifndef BRINDLE_TOOLKIT_SS_ARRAY_TILE_H
#define BRINDLE_TOOLKIT_SS_ARRAY_TILE_H

#include "toolkit/ss_rectobj.h"

enum SSTileLayout { SSTileByRows = 0, SSTileByColumns = 1 };
enum SSTileAlignment { SSTileAlignBeginning = 0, SSTileAlignCenter = 1, SSTileAlignEnd = 2 };

class SSArrayTile : public SSRectobj {
public:
  explicit SSArrayTile(SSRectobj *parent);

  void addChild(SSRectobj *child) override;
  void delChild(SSRectobj *child) override;
  void manageChild(SSRectobj *child, const XRectangle &r) override;
  void setGeometry(const XRectangle &r) override;

  void setColumnGap(int pixels);
  void setRowGap(int pixels);
  // Cell size; 0 (the default) takes the widest or tallest child.
  void setColumnWidth(int pixels);
  void setRowHeight(int pixels);
  void setLayout(SSTileLayout layout);
  // Children within their cells, across (by rows) or down (by columns).
  void setAlignment(SSTileAlignment alignment);
  // Cells per row (by rows) or per column (by columns); at least 1.
  void setCount(int count);
  // Nonzero: as many cells per row (column) as fit this width (height), which
  // is usually the visible part of a scrolled window; 0 uses the count.
  void setViewConstraint(int extent);
  int getCellsPerLine() const;
  // Places the children now; changes do so by themselves.
  void relayout();

private:
  void cellSize(int *w, int *h) const;
  void update(int *field, int value);

  int columnGap_ = 8, rowGap_ = 8;
  int columnWidth_ = 0, rowHeight_ = 0;
  SSTileLayout layout_ = SSTileByRows;
  SSTileAlignment alignment_ = SSTileAlignCenter;
  int count_ = 4;
  int viewConstraint_ = 0;
  int placing_ = 0;
};

#endif
