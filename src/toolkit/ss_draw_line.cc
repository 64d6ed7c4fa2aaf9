// SSDrawLine: lines with optional arrowheads.
#include <algorithm>
#include <cmath>

#include "toolkit/ss_canvas.h"
#include "toolkit/ss_draw.h"

SSDrawLine::SSDrawLine(SSRectobj *parent) : SSRectobj(parent), arrowAngle_(M_PI / 6) {
  selectable_ = 0;
}

SSDrawLine::Segment &SSDrawLine::line(int index) {
  if (index < 1) index = 1;
  if (static_cast<size_t>(index) > lines_.size()) lines_.resize(index, Segment{0, 0, 0, 0});
  return lines_[index - 1];
}

int SSDrawLine::getX0(int i) const { return i >= 1 && i <= getNumLines() ? lines_[i - 1].x0 : 0; }
int SSDrawLine::getY0(int i) const { return i >= 1 && i <= getNumLines() ? lines_[i - 1].y0 : 0; }
int SSDrawLine::getX1(int i) const { return i >= 1 && i <= getNumLines() ? lines_[i - 1].x1 : 0; }
int SSDrawLine::getY1(int i) const { return i >= 1 && i <= getNumLines() ? lines_[i - 1].y1 : 0; }

void SSDrawLine::setEnd(int index, int which, int value) {
  startSet();
  Segment &s = line(index);
  int *ends[] = {&s.x0, &s.y0, &s.x1, &s.y1};
  *ends[which] = value;
  bound();
  finishSet();
}

void SSDrawLine::setX0(int index, int x) { setEnd(index, 0, x); }
void SSDrawLine::setY0(int index, int y) { setEnd(index, 1, y); }
void SSDrawLine::setX1(int index, int x) { setEnd(index, 2, x); }
void SSDrawLine::setY1(int index, int y) { setEnd(index, 3, y); }

void SSDrawLine::setLineStyle(int style) {
  startSet();
  lineStyle_ = style;
  setRepaint();
  finishSet();
}

void SSDrawLine::setLineWidth(int width) {
  startSet();
  lineWidth_ = std::max(width, 0);
  bound();
  finishSet();
}

void SSDrawLine::setArrowStyle(SSArrowStyle style) {
  startSet();
  arrowStyle_ = style;
  bound();
  finishSet();
}

void SSDrawLine::setArrow(double angle, int length, int inset) {
  startSet();
  arrowAngle_ = angle;
  arrowLength_ = length;
  arrowInset_ = inset;
  bound();
  finishSet();
}

// The rectangle holds every line, with room for the pen and the arrowheads.
void SSDrawLine::bound() {
  setRepaint();
  if (lines_.empty()) return;
  int x0 = lines_[0].x0, y0 = lines_[0].y0, x1 = x0, y1 = y0;
  for (const Segment &s : lines_) {
    x0 = std::min({x0, s.x0, s.x1});
    y0 = std::min({y0, s.y0, s.y1});
    x1 = std::max({x1, s.x0, s.x1});
    y1 = std::max({y1, s.y0, s.y1});
  }
  int m = lineWidth_ / 2 + (arrowStyle_ == SSArrowNone ? 0 : arrowLength_);
  rect_ = SSRectMake(x0 - m, y0 - m, x1 - x0 + 1 + 2 * m, y1 - y0 + 1 + 2 * m);
}

void SSDrawLine::paint(Drawable d, const XRectangle *, int) {
  if (!canvas_ || lines_.empty()) return;
  Display *dpy = canvas_->getDisplay();
  GC gc = canvas_->getGC();
  const int px = canvas_->getPaintX(), py = canvas_->getPaintY();
  XSetForeground(dpy, gc, getForeground());
  XSetLineAttributes(dpy, gc, lineWidth_, lineStyle_, CapButt, JoinMiter);
  // An arrowhead with its tip at (tx, ty), pointing away from (fx, fy).
  auto arrow = [&](int fx, int fy, int tx, int ty) {
    double a = std::atan2(ty - fy, tx - fx);
    XPoint p[4];
    auto at = [&](double len, double ang) {
      XPoint q;
      q.x = static_cast<short>(std::lround(tx - len * std::cos(ang)) - px);
      q.y = static_cast<short>(std::lround(ty - len * std::sin(ang)) - py);
      return q;
    };
    p[0] = at(0, a);
    p[1] = at(arrowLength_, a + arrowAngle_);
    p[2] = at(arrowInset_, a);
    p[3] = at(arrowLength_, a - arrowAngle_);
    XFillPolygon(dpy, d, gc, p, 4, Nonconvex, CoordModeOrigin);
  };
  for (const Segment &s : lines_) {
    XDrawLine(dpy, d, gc, s.x0 - px, s.y0 - py, s.x1 - px, s.y1 - py);
    if (s.x0 == s.x1 && s.y0 == s.y1) continue;
    if (arrowStyle_ == SSArrowAtStart || arrowStyle_ == SSArrowAtBoth) arrow(s.x1, s.y1, s.x0, s.y0);
    if (arrowStyle_ == SSArrowAtEnd || arrowStyle_ == SSArrowAtBoth) arrow(s.x0, s.y0, s.x1, s.y1);
  }
  XSetLineAttributes(dpy, gc, 0, LineSolid, CapButt, JoinMiter);
}
