// Free functions that read the X events the canvas hands to rectangle objects.
#ifndef BRINDLE_TOOLKIT_SS_EVENT_H
#define BRINDLE_TOOLKIT_SS_EVENT_H

#include <X11/Xlib.h>

// Pointer position in the window, and on the screen; 0 for events without one.
int SSEventX(const XEvent *event);
int SSEventY(const XEvent *event);
int SSEventRootX(const XEvent *event);
int SSEventRootY(const XEvent *event);
Time SSEventTime(const XEvent *event);
unsigned SSEventState(const XEvent *event);  // modifier and button mask

int SSEventIsKey(const XEvent *event);     // key press or release
int SSEventIsButton(const XEvent *event);  // button press or release
int SSEventIsMotion(const XEvent *event);
int SSEventIsDown(const XEvent *event);    // a press, of a key or a button
KeySym SSEventKeysym(XEvent *event);       // NoSymbol for other events

// Button events of one button.
int SSEventMouseLeft(const XEvent *event);
int SSEventMouseMiddle(const XEvent *event);
int SSEventMouseRight(const XEvent *event);

// Button or modifier held: for a press, the pressed button counts as down.
int SSEventMouseLeftIsDown(const XEvent *event);
int SSEventMouseMiddleIsDown(const XEvent *event);
int SSEventMouseRightIsDown(const XEvent *event);
int SSEventShiftIsDown(const XEvent *event);
int SSEventCtrlIsDown(const XEvent *event);
int SSEventAltIsDown(const XEvent *event);

#endif
