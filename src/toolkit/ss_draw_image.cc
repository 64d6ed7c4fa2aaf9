// SSDrawImage and SSDrawText: a pixmap and a line of text on the canvas.
#include <cstdlib>
#include <cstring>

#include "toolkit/ss_canvas.h"
#include "toolkit/ss_draw.h"

SSDrawImage::SSDrawImage(SSRectobj *parent, Pixmap plain, Pixmap highlighted)
    : SSRectobj(parent) {
  setPixmaps(plain, highlighted);
}

void SSDrawImage::setPixmaps(Pixmap plain, Pixmap highlighted) {
  startSet();
  plain_ = plain;
  highlighted_ = highlighted;
  unsigned w = 0, h = 0;
  if (plain != None && canvas_) {
    Window root;
    int x, y;
    unsigned bw, depth;
    XGetGeometry(canvas_->getDisplay(), plain, &root, &x, &y, &w, &h, &bw, &depth);
  }
  rect_.width = static_cast<unsigned short>(w);
  rect_.height = static_cast<unsigned short>(h);
  setRepaint();
  finishSet();
}

void SSDrawImage::setHighlight(int on) {
  if ((on != 0) == (highlight_ != 0)) return;
  startSet();
  highlight_ = on != 0;
  setRepaint();
  setNoGeometry();
  finishSet();
}

void SSDrawImage::paint(Drawable d, const XRectangle *, int) {
  Pixmap p = (selected_ || highlight_) && highlighted_ != None ? highlighted_ : plain_;
  if (!canvas_ || p == None) return;
  XCopyArea(canvas_->getDisplay(), p, d, canvas_->getGC(), 0, 0, rect_.width, rect_.height,
            rect_.x - canvas_->getPaintX(), rect_.y - canvas_->getPaintY());
}

SSDrawText::SSDrawText(SSRectobj *parent, const char *string) : SSRectobj(parent) {
  setString(string);
}

SSDrawText::~SSDrawText() { free(string_); }

void SSDrawText::setString(const char *string) {
  startSet();
  free(string_);
  string_ = strdup(string ? string : "");
  measure();
  finishSet();
}

XFontSet SSDrawText::getFont() const {
  return font_ ? font_ : canvas_ ? canvas_->getFontSet() : nullptr;
}

void SSDrawText::setFont(XFontSet font) {
  startSet();
  font_ = font;
  measure();
  finishSet();
}

void SSDrawText::setInverse(int on) {
  if ((on != 0) == (inverse_ != 0)) return;
  startSet();
  inverse_ = on != 0;
  setRepaint();
  setNoGeometry();
  finishSet();
}

void SSDrawText::setMargin(int pixels) {
  startSet();
  margin_ = pixels < 0 ? 0 : pixels;
  measure();
  finishSet();
}

void SSDrawText::measure() {
  setRepaint();
  XFontSet font = getFont();
  if (!font) {  // no display: the text takes no room
    rect_.width = rect_.height = 0;
    return;
  }
  // The height follows the font, not the string, so labels line up.
  XFontSetExtents *fe = XExtentsOfFontSet(font);
  XRectangle ink, logical;
  XmbTextExtents(font, string_, static_cast<int>(strlen(string_)), &ink, &logical);
  ascent_ = -fe->max_logical_extent.y;
  rect_.width = static_cast<unsigned short>(logical.width + 2 * margin_);
  rect_.height = static_cast<unsigned short>(fe->max_logical_extent.height + 2 * margin_);
}

void SSDrawText::paint(Drawable d, const XRectangle *, int) {
  XFontSet font = getFont();
  if (!canvas_ || !font) return;
  Display *dpy = canvas_->getDisplay();
  GC gc = canvas_->getGC();
  const int x = rect_.x - canvas_->getPaintX(), y = rect_.y - canvas_->getPaintY();
  Pixel ink = getForeground();
  if (selected_ || inverse_) {
    XSetForeground(dpy, gc, ink);
    XFillRectangle(dpy, d, gc, x, y, rect_.width, rect_.height);
    ink = getBackground();
  }
  XSetForeground(dpy, gc, ink);
  XmbDrawString(dpy, d, font, gc, x + margin_, y + margin_ + ascent_, string_,
                static_cast<int>(strlen(string_)));
}
