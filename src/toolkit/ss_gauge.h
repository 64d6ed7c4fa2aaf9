// SSGauge, a progress bar: a drawing area that fills the share value/maximum
// of its width and can show "value/maximum" over the bar.  Its size never
// changes with what it shows, so a window's layout stays put while it runs.
#ifndef BRINDLE_TOOLKIT_SS_GAUGE_H
#define BRINDLE_TOOLKIT_SS_GAUGE_H

#include <X11/Intrinsic.h>

class SSGauge {
public:
  SSGauge(Widget parent, const char *name, int width, int height);
  Widget getWidget() const { return area_; }
  // A maximum below 1 counts as 1; the value is kept within 0 and maximum.
  void set(int value, int maximum, int show_label);
  int getValue() const { return value_; }
  int getMaximum() const { return maximum_; }
  int getShowLabel() const { return showLabel_; }

private:
  static void expose(Widget w, XtPointer client, XtPointer call);
  void paint();

  Widget area_;
  GC gc_ = nullptr;
  int value_ = 0;
  int maximum_ = 100;
  int showLabel_ = 0;
};

#endif
