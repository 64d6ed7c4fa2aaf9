// SSArrayTile: children in a grid.
#include "toolkit/ss_array_tile.h"

#include <algorithm>

SSArrayTile::SSArrayTile(SSRectobj *parent) : SSRectobj(parent) {
  selectable_ = 0;
  eventHandlerProc_ = SSRectobjEventHandlerDefault;
}

void SSArrayTile::addChild(SSRectobj *child) {
  SSRectobj::addChild(child);
  relayout();
}

void SSArrayTile::delChild(SSRectobj *child) {
  SSRectobj::delChild(child);
  relayout();
}

void SSArrayTile::manageChild(SSRectobj *child, const XRectangle &r) {
  if (placing_)
    child->adjustGeometry(r);
  else
    relayout();
}

void SSArrayTile::setGeometry(const XRectangle &) { relayout(); }

void SSArrayTile::update(int *field, int value) {
  *field = value;
  relayout();
}

void SSArrayTile::setColumnGap(int v) { update(&columnGap_, std::max(v, 0)); }
void SSArrayTile::setRowGap(int v) { update(&rowGap_, std::max(v, 0)); }
void SSArrayTile::setColumnWidth(int v) { update(&columnWidth_, std::max(v, 0)); }
void SSArrayTile::setRowHeight(int v) { update(&rowHeight_, std::max(v, 0)); }
void SSArrayTile::setCount(int v) { update(&count_, std::max(v, 1)); }
void SSArrayTile::setViewConstraint(int v) { update(&viewConstraint_, std::max(v, 0)); }

void SSArrayTile::setLayout(SSTileLayout layout) {
  layout_ = layout;
  relayout();
}

void SSArrayTile::setAlignment(SSTileAlignment alignment) {
  alignment_ = alignment;
  relayout();
}

void SSArrayTile::cellSize(int *w, int *h) const {
  *w = columnWidth_;
  *h = rowHeight_;
  for (SSListNode *n = children_; n; n = n->getNext()) {
    auto *c = static_cast<SSRectobj *>(n->getData());
    if (!c->getShow()) continue;
    if (!columnWidth_) *w = std::max(*w, c->getWidth());
    if (!rowHeight_) *h = std::max(*h, c->getHeight());
  }
}

int SSArrayTile::getCellsPerLine() const {
  if (!viewConstraint_) return count_;
  int w, h;
  cellSize(&w, &h);
  int cell = layout_ == SSTileByRows ? w + columnGap_ : h + rowGap_;
  int gap = layout_ == SSTileByRows ? columnGap_ : rowGap_;
  return cell > 0 ? std::max(1, (viewConstraint_ + gap) / cell) : 1;
}

void SSArrayTile::relayout() {
  if (placing_) return;
  placing_ = 1;
  int cw, ch;
  cellSize(&cw, &ch);
  const int per_line = getCellsPerLine();
  int i = 0, cols = 0, rows = 0;
  for (SSListNode *n = children_; n; n = n->getNext()) {
    auto *c = static_cast<SSRectobj *>(n->getData());
    if (!c->getShow()) continue;
    int col = layout_ == SSTileByRows ? i % per_line : i / per_line;
    int row = layout_ == SSTileByRows ? i / per_line : i % per_line;
    cols = std::max(cols, col + 1);
    rows = std::max(rows, row + 1);
    int x = rect_.x + col * (cw + columnGap_), y = rect_.y + row * (ch + rowGap_);
    int slack_x = cw - c->getWidth(), slack_y = ch - c->getHeight();
    int share = alignment_ == SSTileAlignBeginning ? 0 : alignment_ == SSTileAlignCenter ? 1 : 2;
    if (layout_ == SSTileByRows)
      x += slack_x * share / 2;
    else
      y += slack_y * share / 2;
    c->adjustGeometry(SSRectMake(x, y, c->getWidth(), c->getHeight()));
    i++;
  }
  int w = cols ? cols * (cw + columnGap_) - columnGap_ : 0;
  int h = rows ? rows * (ch + rowGap_) - rowGap_ : 0;
  if (w != rect_.width || h != rect_.height) {
    startSet();
    rect_.width = static_cast<unsigned short>(w);
    rect_.height = static_cast<unsigned short>(h);
    setRepaint();
    finishSet();
  }
  placing_ = 0;
}
