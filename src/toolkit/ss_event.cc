// The SSEvent... helpers over X events.
#include "toolkit/ss_event.h"

#include <X11/Xutil.h>

int SSEventX(const XEvent *e) {
  switch (e->type) {
    case ButtonPress: case ButtonRelease: return e->xbutton.x;
    case KeyPress: case KeyRelease: return e->xkey.x;
    case MotionNotify: return e->xmotion.x;
    case EnterNotify: case LeaveNotify: return e->xcrossing.x;
    default: return 0;
  }
}

int SSEventY(const XEvent *e) {
  switch (e->type) {
    case ButtonPress: case ButtonRelease: return e->xbutton.y;
    case KeyPress: case KeyRelease: return e->xkey.y;
    case MotionNotify: return e->xmotion.y;
    case EnterNotify: case LeaveNotify: return e->xcrossing.y;
    default: return 0;
  }
}

int SSEventRootX(const XEvent *e) {
  switch (e->type) {
    case ButtonPress: case ButtonRelease: return e->xbutton.x_root;
    case KeyPress: case KeyRelease: return e->xkey.x_root;
    case MotionNotify: return e->xmotion.x_root;
    case EnterNotify: case LeaveNotify: return e->xcrossing.x_root;
    default: return 0;
  }
}

int SSEventRootY(const XEvent *e) {
  switch (e->type) {
    case ButtonPress: case ButtonRelease: return e->xbutton.y_root;
    case KeyPress: case KeyRelease: return e->xkey.y_root;
    case MotionNotify: return e->xmotion.y_root;
    case EnterNotify: case LeaveNotify: return e->xcrossing.y_root;
    default: return 0;
  }
}

Time SSEventTime(const XEvent *e) {
  switch (e->type) {
    case ButtonPress: case ButtonRelease: return e->xbutton.time;
    case KeyPress: case KeyRelease: return e->xkey.time;
    case MotionNotify: return e->xmotion.time;
    case EnterNotify: case LeaveNotify: return e->xcrossing.time;
    default: return CurrentTime;
  }
}

unsigned SSEventState(const XEvent *e) {
  switch (e->type) {
    case ButtonPress: case ButtonRelease: return e->xbutton.state;
    case KeyPress: case KeyRelease: return e->xkey.state;
    case MotionNotify: return e->xmotion.state;
    case EnterNotify: case LeaveNotify: return e->xcrossing.state;
    default: return 0;
  }
}

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
