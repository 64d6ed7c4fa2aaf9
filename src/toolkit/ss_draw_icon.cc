// SSDrawIcon: an image and its label laid out as one object.
#include <algorithm>

#include "toolkit/ss_draw.h"

SSDrawIcon::SSDrawIcon(SSRectobj *parent, Pixmap plain, Pixmap highlighted, const char *label)
    : SSRectobj(parent) {
  eventMapperProc_ = SSRectobjEventMapperSelf;
  startSet();
  relayingOut_ = 1;  // the parts come one by one; lay out once they are both there
  image_ = new SSDrawImage(this, plain, highlighted);
  text_ = new SSDrawText(this, label);
  image_->setSelectable(0);
  text_->setSelectable(0);
  relayingOut_ = 0;
  relayout();
  finishSet();
}

void SSDrawIcon::setLayout(SSIconLayout layout) {
  startSet();
  layout_ = layout;
  relayout();
  finishSet();
}

void SSDrawIcon::setGap(int pixels) {
  startSet();
  gap_ = std::max(pixels, 0);
  relayout();
  finishSet();
}

void SSDrawIcon::manageChild(SSRectobj *child, const XRectangle &r) {
  if (relayingOut_) {
    child->adjustGeometry(r);
    return;
  }
  relayout();
}

// The icon's size follows its parts; its corner stays.
void SSDrawIcon::relayout() {
  if (relayingOut_ || !image_ || !text_) return;
  relayingOut_ = 1;
  int iw = image_->getWidth(), ih = image_->getHeight();
  int tw = text_->getWidth(), th = text_->getHeight();
  int w, h;
  if (layout_ == SSIconTextBelow) {
    w = std::max(iw, tw);
    h = ih + gap_ + th;
  } else {
    w = iw + gap_ + tw;
    h = std::max(ih, th);
  }
  startSet();
  rect_.width = static_cast<unsigned short>(w);
  rect_.height = static_cast<unsigned short>(h);
  setRepaint();
  finishSet();
  placeParts();
  relayingOut_ = 0;
}

void SSDrawIcon::placeParts() {
  const XRectangle &r = rect_;
  int iw = image_->getWidth(), ih = image_->getHeight();
  int tw = text_->getWidth(), th = text_->getHeight();
  if (layout_ == SSIconTextBelow) {
    image_->adjustGeometry(SSRectMake(r.x + (r.width - iw) / 2, r.y, iw, ih));
    text_->adjustGeometry(SSRectMake(r.x + (r.width - tw) / 2, r.y + ih + gap_, tw, th));
  } else {
    image_->adjustGeometry(SSRectMake(r.x, r.y + (r.height - ih) / 2, iw, ih));
    text_->adjustGeometry(SSRectMake(r.x + iw + gap_, r.y + (r.height - th) / 2, tw, th));
  }
}

void SSDrawIcon::setGeometry(const XRectangle &) {
  if (image_ && text_) placeParts();
}

void SSDrawIcon::setSelected(int selected) {
  SSRectobj::setSelected(selected);
  if (!image_ || !text_) return;
  image_->setHighlight(selected_);
  text_->setInverse(selected_);
}
