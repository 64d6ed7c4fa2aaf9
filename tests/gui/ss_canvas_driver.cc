// A small Motif program that shows a tree of icons and a few other toolkit objects
// on a canvas and writes what happens to them to a trace file, for the canvas's
// tests under a real X server.
//
//   ss_canvas_driver TRACE PICTURE.xpm
//
// Trace lines: "exposed N" after the N-th complete exposure has been painted;
// "at NAME X Y W H" (screen coordinates) for every icon, ended by "positions",
// after the first exposure and after each relayout; "selected NAMES..." (sorted);
// "dblclick NAME"; "key NAME KEYSYM" for a key pressed over an icon;
// "drop DRAGGED TARGET", where a drop on an icon also links the
// dragged icon below the target; "popup" and "popdown" for the popup menu.
#include <Xm/DrawingA.h>
#include <Xm/PushB.h>
#include <Xm/RowColumn.h>
#include <Xm/ScrolledW.h>
#include <Xm/Xm.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "toolkit/ss_canvas.h"
#include "toolkit/ss_draw.h"
#include "toolkit/ss_event.h"
#include "toolkit/ss_tree.h"
#include "toolkit/ss_xpm.h"

namespace {

FILE *trace;
Widget drawing_area;
SSTree *tree;
std::map<const SSRectobj *, std::string> names;
std::vector<SSDrawIcon *> icons;

void say(const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  vfprintf(trace, fmt, ap);
  va_end(ap);
  fputc('\n', trace);
  fflush(trace);
}

const char *name_of(const SSRectobj *o) {
  auto it = names.find(o);
  return it == names.end() ? "?" : it->second.c_str();
}

// Once the server has drawn what was asked, where each icon is on the screen.
void report_positions() {
  Display *dpy = XtDisplay(drawing_area);
  XSync(dpy, False);
  for (SSDrawIcon *icon : icons) {
    if (!icon->getShow()) continue;
    int x, y;
    Window child;
    XTranslateCoordinates(dpy, XtWindow(drawing_area), DefaultRootWindow(dpy), icon->getX(),
                          icon->getY(), &x, &y, &child);
    say("at %s %d %d %d %d", name_of(icon), x, y, icon->getWidth(), icon->getHeight());
  }
  say("positions");
}

void selection_changed(SSCanvas *canvas, void *) {
  std::vector<std::string> sel;
  for (SSListNode *n = canvas->getSelectedList(); n; n = n->getNext())
    sel.push_back(name_of(static_cast<SSRectobj *>(n->getData())));
  std::sort(sel.begin(), sel.end());
  std::string line = "selected";
  for (const std::string &s : sel) line += " " + s;
  say("%s", line.c_str());
}

void dropped(SSRectobj *dragged, SSRectobj *target, XEvent *) {
  say("drop %s %s", name_of(dragged), name_of(target));
  if (target != dragged && target->getParent() == tree) {
    tree->addLink(target, dragged);
    report_positions();
  }
}

void double_clicked(SSRectobj *obj, XEvent *) { say("dblclick %s", name_of(obj)); }

// Keys are traced, everything goes on to the icons' usual handler.
void icon_event(SSRectobj *obj, XEvent *event) {
  if (event->type == KeyPress) say("key %s %s", name_of(obj), XKeysymToString(SSEventKeysym(event)));
  SSRectobjEventHandlerDblClickDefault(obj, event);
}

void exposed(Widget, XtPointer, XtPointer call) {
  static int count = 0;
  auto *cbs = static_cast<XmDrawingAreaCallbackStruct *>(call);
  if (!cbs->event || cbs->event->xexpose.count != 0) return;
  XSync(XtDisplay(drawing_area), False);  // the canvas has painted before us
  say("exposed %d", ++count);
  if (count == 1) report_positions();
}

void menu_mapped(Widget, XtPointer, XtPointer) { say("popup"); }
void menu_unmapped(Widget, XtPointer, XtPointer) { say("popdown"); }

}  // namespace

int main(int argc, char **argv) {
  XtSetLanguageProc(nullptr, nullptr, nullptr);
  XtAppContext app;
  Widget top = XtVaOpenApplication(&app, "SSCanvasDriver", nullptr, 0, &argc, argv, nullptr,
                                    applicationShellWidgetClass, XmNx, 0, XmNy, 0, XmNwidth, 480,
                                    XmNheight, 360, XmNtitle, "ss canvas driver", nullptr);
  if (argc != 3 || !(trace = fopen(argv[1], "a"))) {
    fprintf(stderr, "usage: ss_canvas_driver TRACE PICTURE.xpm\n");
    return 2;
  }
  Display *dpy = XtDisplay(top);
  XColor paper, unused;
  XAllocNamedColor(dpy, DefaultColormap(dpy, DefaultScreen(dpy)), "#d8d8d8", &paper, &unused);
  Widget sw = XtVaCreateManagedWidget("scroll", xmScrolledWindowWidgetClass, top,
                                      XmNscrollingPolicy, XmAUTOMATIC, nullptr);
  drawing_area = XtVaCreateManagedWidget("canvas", xmDrawingAreaWidgetClass, sw, XmNwidth, 400,
                                         XmNheight, 300, XmNbackground, paper.pixel,
                                         XmNforeground, BlackPixel(dpy, DefaultScreen(dpy)),
                                         nullptr);
  Widget menu = XmCreatePopupMenu(drawing_area, const_cast<char *>("menu"), nullptr, 0);
  XtVaCreateManagedWidget("Open", xmPushButtonWidgetClass, menu, nullptr);
  XtVaCreateManagedWidget("Remove", xmPushButtonWidgetClass, menu, nullptr);
  XtAddCallback(menu, XmNmapCallback, menu_mapped, nullptr);
  XtAddCallback(menu, XmNunmapCallback, menu_unmapped, nullptr);

  auto *canvas = new SSCanvas(drawing_area, menu);
  XtAddCallback(drawing_area, XmNexposeCallback, exposed, nullptr);
  canvas->setSelectionProc(selection_changed, nullptr);
  canvas->setDropSite(1);
  canvas->setDropProc(dropped);
  canvas->setDblClickTime(2000);  // generous: clicks come from a busy test machine
  names[canvas] = "canvas";

  Pixmap plain, lit;
  Window root = DefaultRootWindow(dpy);
  if (SSXpmFileToPixmap(dpy, root, argv[2], canvas->getForeground(), paper.pixel, &plain, nullptr,
                        nullptr) ||
      SSXpmFileToPixmap(dpy, root, argv[2], canvas->getForeground(),
                        BlackPixel(dpy, DefaultScreen(dpy)), &lit, nullptr, nullptr))
    return 2;

  auto *title = new SSDrawText(canvas, "toolkit canvas");
  title->setXY(250, 12);
  auto *arrow = new SSDrawLine(canvas);
  arrow->setArrowStyle(SSArrowAtEnd);
  arrow->setX0(1, 300);
  arrow->setY0(1, 32);
  arrow->setX1(1, 220);
  arrow->setY1(1, 60);

  tree = new SSTree(canvas);
  tree->setLayout(SSTreeVertical);
  tree->setParentDistance(24);
  tree->setXY(10, 40);
  tree->setBatchLayout(1);
  for (const char *n : {"top", "left", "right", "leaf"}) {
    auto *icon = new SSDrawIcon(canvas, plain, lit, n);
    icon->setDraggable(1);
    icon->setDropSite(1);
    icon->setDropProc(dropped);
    icon->setDblClickProc(double_clicked);
    icon->setEventHandler(icon_event);
    names[icon] = n;
    icons.push_back(icon);
  }
  tree->addLink(tree, icons[0]);
  tree->addLink(icons[0], icons[1]);
  tree->addLink(icons[0], icons[2]);
  tree->addLink(icons[2], icons[3]);
  tree->setBatchLayout(0);
  names[tree] = "tree";

  // Hidden, on top of "right": clicks there must reach "right".
  auto *ghost = new SSDrawIcon(canvas, plain, lit, "ghost");
  ghost->setXY(icons[2]->getX(), icons[2]->getY());
  ghost->setShow(0);
  names[ghost] = "ghost";

  XtRealizeWidget(top);
  XtAppMainLoop(app);
}
