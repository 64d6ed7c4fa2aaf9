// SSGauge: the progress bar, painted on a drawing area.
#include "toolkit/ss_gauge.h"

#include <Xm/DrawingA.h>
#include <Xm/Xm.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "toolkit/ss_canvas.h"

SSGauge::SSGauge(Widget parent, const char *name, int width, int height) {
  area_ = XtVaCreateManagedWidget(name, xmDrawingAreaWidgetClass, parent, XmNwidth, width,
                                  XmNheight, height, XmNresizePolicy, XmRESIZE_NONE,
                                  XmNshadowThickness, 0, nullptr);
  XtAddCallback(area_, XmNexposeCallback, expose, this);
}

void SSGauge::set(int value, int maximum, int show_label) {
  maximum_ = std::max(maximum, 1);
  value_ = std::max(0, std::min(value, maximum_));
  showLabel_ = show_label;
  paint();
}

void SSGauge::expose(Widget, XtPointer client, XtPointer) { static_cast<SSGauge *>(client)->paint(); }

void SSGauge::paint() {
  if (!XtIsRealized(area_)) return;
  Display *dpy = XtDisplay(area_);
  Window win = XtWindow(area_);
  if (!gc_) gc_ = XCreateGC(dpy, win, 0, nullptr);
  Dimension w = 0, h = 0;
  Pixel fg = 0, bg = 0;
  XtVaGetValues(area_, XmNwidth, &w, XmNheight, &h, XmNforeground, &fg, XmNbackground, &bg,
                nullptr);
  XClearWindow(dpy, win);
  XSetForeground(dpy, gc_, fg);
  XDrawRectangle(dpy, win, gc_, 0, 0, w - 1, h - 1);
  int filled = static_cast<int>(static_cast<long>(w - 4) * value_ / maximum_);
  Colormap cmap = DefaultColormapOfScreen(XtScreen(area_));
  XColor bar, unused;
  XSetForeground(dpy, gc_, XAllocNamedColor(dpy, cmap, "#5d88c2", &bar, &unused) ? bar.pixel : fg);
  if (filled > 0) XFillRectangle(dpy, win, gc_, 2, 2, filled, h - 4);
  if (showLabel_) {
    char text[32];
    snprintf(text, sizeof text, "%d/%d", value_, maximum_);
    XFontSet fs = SSApplication::get()->getDefaultFontSet(dpy);
    XRectangle ink, logical;
    XmbTextExtents(fs, text, static_cast<int>(strlen(text)), &ink, &logical);
    XSetForeground(dpy, gc_, fg);
    XmbDrawString(dpy, win, fs, gc_, (w - logical.width) / 2,
                  (h - logical.height) / 2 - logical.y, text, static_cast<int>(strlen(text)));
  }
  XFlush(dpy);
}
