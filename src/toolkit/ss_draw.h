// The drawing objects of the toolkit: SSDrawLine, SSDrawImage, SSDrawText and
// SSDrawIcon, a picture with a label under or beside it.
//
// Pixmaps given to images are borrowed: callers share them between objects and
// free them themselves.  Texts are copied.
#ifndef BRINDLE_TOOLKIT_SS_DRAW_H
#define BRINDLE_TOOLKIT_SS_DRAW_H

#include <vector>

#include "toolkit/ss_rectobj.h"

// Where a line carries arrowheads.  SSArrowNone is the initial style.
enum SSArrowStyle { SSArrowAtStart = 0, SSArrowAtEnd = 1, SSArrowAtBoth = 2, SSArrowNone = 3 };

// One or more straight lines, numbered from 1; its rectangle bounds them and
// their arrowheads.  Lines are not selectable by default.
class SSDrawLine : public SSRectobj {
public:
  explicit SSDrawLine(SSRectobj *parent);

  // The ends of line index; setting an end of a line not yet there adds lines
  // up to it, starting at (0, 0).
  int getX0(int index) const;
  int getY0(int index) const;
  int getX1(int index) const;
  int getY1(int index) const;
  void setX0(int index, int x);
  void setY0(int index, int y);
  void setX1(int index, int x);
  void setY1(int index, int y);
  int getNumLines() const { return static_cast<int>(lines_.size()); }

  void setLineStyle(int style);  // LineSolid, LineOnOffDash, LineDoubleDash
  int getLineStyle() const { return lineStyle_; }
  void setLineWidth(int width);
  int getLineWidth() const { return lineWidth_; }
  void setArrowStyle(SSArrowStyle style);
  SSArrowStyle getArrowStyle() const { return arrowStyle_; }
  // Half the opening of an arrowhead in radians, its length along the line, and
  // how far along the line its back edge reaches in the middle.
  void setArrow(double angle, int length, int inset);
  double getArrowAngle() const { return arrowAngle_; }
  int getArrowLength() const { return arrowLength_; }
  int getArrowInset() const { return arrowInset_; }

  void paint(Drawable d, const XRectangle *rects, int count) override;

private:
  struct Segment {
    int x0, y0, x1, y1;
  };
  Segment &line(int index);
  void setEnd(int index, int which, int value);
  void bound();

  std::vector<Segment> lines_;
  int lineStyle_ = LineSolid;
  int lineWidth_ = 0;
  double arrowAngle_;
  int arrowLength_ = 10;
  int arrowInset_ = 7;
  SSArrowStyle arrowStyle_ = SSArrowNone;
};

// A pixmap; the highlighted one is painted while the image is selected or
// highlighted by its owner.
class SSDrawImage : public SSRectobj {
public:
  SSDrawImage(SSRectobj *parent, Pixmap plain = None, Pixmap highlighted = None);

  // Sizes the image by the plain pixmap.
  void setPixmaps(Pixmap plain, Pixmap highlighted);
  Pixmap getPixmap() const { return plain_; }
  Pixmap getHighlightedPixmap() const { return highlighted_; }
  void setHighlight(int on);
  int getHighlight() const { return highlight_; }

  void paint(Drawable d, const XRectangle *rects, int count) override;

private:
  Pixmap plain_ = None;
  Pixmap highlighted_ = None;
  int highlight_ = 0;
};

// One line of text in a font set; selected or inverted, it is drawn in the
// background colour on the foreground colour.
class SSDrawText : public SSRectobj {
public:
  SSDrawText(SSRectobj *parent, const char *string);
  ~SSDrawText() override;

  const char *getString() const { return string_; }
  void setString(const char *string);
  // None: the canvas's default font set.
  void setFont(XFontSet font);
  XFontSet getFont() const;
  void setInverse(int on);
  int getInverse() const { return inverse_; }
  void setMargin(int pixels);
  int getMargin() const { return margin_; }

  void paint(Drawable d, const XRectangle *rects, int count) override;

private:
  void measure();

  char *string_ = nullptr;
  XFontSet font_ = nullptr;
  int inverse_ = 0;
  int margin_ = 2;
  int ascent_ = 0;
};

enum SSIconLayout { SSIconTextBelow = 0, SSIconTextRight = 1 };

// An image and a text laid out as one object.  The parts are children of the
// icon but take no events, selection or drops of their own: the icon answers
// for every point inside it.  When a part changes size the icon re-lays itself
// out and asks its parent for the new size.
class SSDrawIcon : public SSRectobj {
public:
  SSDrawIcon(SSRectobj *parent, Pixmap plain, Pixmap highlighted, const char *label);

  SSDrawImage *getImage() const { return image_; }
  SSDrawText *getText() const { return text_; }
  void setLayout(SSIconLayout layout);
  SSIconLayout getLayout() const { return layout_; }
  void setGap(int pixels);
  int getGap() const { return gap_; }
  // Whether (x, y) lies on the picture or on the label.
  int inImage(int x, int y) const { return image_->contains(x, y); }
  int inText(int x, int y) const { return text_->contains(x, y); }

  void manageChild(SSRectobj *child, const XRectangle &r) override;
  void setGeometry(const XRectangle &r) override;
  void setSelected(int selected) override;

private:
  void relayout();
  void placeParts();

  SSDrawImage *image_ = nullptr;
  SSDrawText *text_ = nullptr;
  SSIconLayout layout_ = SSIconTextBelow;
  int gap_ = 2;
  int relayingOut_ = 0;
};

#endif
