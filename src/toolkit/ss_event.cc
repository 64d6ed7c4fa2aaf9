// The SSEvent... helpers over X events.
#include "toolkit/ss_event.h"

#include <X11/Xutil.h>

namespace {

// Where and when the pointer was, for the events that carry it.
struct PointerFields {
  int x = 0, y = 0, x_root = 0, y_root = 0;
  unsigned state = 0;
  Time time = CurrentTime;
};

template <typename E>
PointerFields fields(const E &e) {
  PointerFields f;
  f.x = e.x, f.y = e.y, f.x_root = e.x_root, f.y_root = e.y_root;
  f.state = e.state, f.time = e.time;
  return f;
}

PointerFields pointer(const XEvent *e) {
  switch (e->type) {
    case ButtonPress: case ButtonRelease: return fields(e->xbutton);
    case KeyPress: case KeyRelease: return fields(e->xkey);
    case MotionNotify: return fields(e->xmotion);
    case EnterNotify: case LeaveNotify: return fields(e->xcrossing);
    default: return PointerFields();
  }
}

}  // namespace

int SSEventX(const XEvent *e) { return pointer(e).x; }
int SSEventY(const XEvent *e) { return pointer(e).y; }
int SSEventRootX(const XEvent *e) { return pointer(e).x_root; }
int SSEventRootY(const XEvent *e) { return pointer(e).y_root; }
Time SSEventTime(const XEvent *e) { return pointer(e).time; }
unsigned SSEventState(const XEvent *e) { return pointer(e).state; }

int SSEventIsKey(const XEvent *e) { return e->type == KeyPress || e->type == KeyRelease; }
int SSEventIsButton(const XEvent *e) {
  return e->type == ButtonPress || e->type == ButtonRelease;
}
int SSEventIsMotion(const XEvent *e) { return e->type == MotionNotify; }
int SSEventIsDown(const XEvent *e) { return e->type == ButtonPress || e->type == KeyPress; }

KeySym SSEventKeysym(XEvent *e) {
  if (!SSEventIsKey(e)) return NoSymbol;
  KeySym sym = NoSymbol;
  char buf[8];
  XLookupString(&e->xkey, buf, sizeof buf, &sym, nullptr);
  return sym;
}

static int button_is(const XEvent *e, unsigned button) {
  return SSEventIsButton(e) && e->xbutton.button == button;
}
int SSEventMouseLeft(const XEvent *e) { return button_is(e, Button1); }
int SSEventMouseMiddle(const XEvent *e) { return button_is(e, Button2); }
int SSEventMouseRight(const XEvent *e) { return button_is(e, Button3); }

// The state of a press does not yet include its own button.
static int held(const XEvent *e, unsigned button, unsigned mask) {
  if (e->type == ButtonPress && e->xbutton.button == button) return 1;
  if (e->type == ButtonRelease && e->xbutton.button == button) return 0;
  return (SSEventState(e) & mask) != 0;
}
int SSEventMouseLeftIsDown(const XEvent *e) { return held(e, Button1, Button1Mask); }
int SSEventMouseMiddleIsDown(const XEvent *e) { return held(e, Button2, Button2Mask); }
int SSEventMouseRightIsDown(const XEvent *e) { return held(e, Button3, Button3Mask); }
int SSEventShiftIsDown(const XEvent *e) { return (SSEventState(e) & ShiftMask) != 0; }
int SSEventCtrlIsDown(const XEvent *e) { return (SSEventState(e) & ControlMask) != 0; }
int SSEventAltIsDown(const XEvent *e) { return (SSEventState(e) & Mod1Mask) != 0; }
