// XPM pictures and pointers with the symbolic colours "none", "BgColor", "FgColor".
#include "toolkit/ss_xpm.h"

#include <X11/xpm.h>
#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "toolkit/icons/ss_drag_cursor.xpm"

const char *const *ss_drag_cursor_data = ss_drag_cursor_xpm;

namespace {

enum ColourRole { kTransparent, kBackground, kForeground, kOther };

ColourRole role_of(const XpmColor &c) {
  if (c.symbolic && !strcasecmp(c.symbolic, "none")) return kTransparent;
  if (c.c_color && !strcasecmp(c.c_color, "none")) return kTransparent;
  if (c.symbolic && !strcasecmp(c.symbolic, "bgcolor")) return kBackground;
  if (c.symbolic && !strcasecmp(c.symbolic, "fgcolor")) return kForeground;
  return kOther;
}

void set_symbol(XpmColor &c, const char *name) {
  free(c.symbolic);
  c.symbolic = strdup(name);
}

// Reads data or a file into an XpmImage; 0 on success.
int read_image(const char *const *data, const char *path, XpmImage *image) {
  int status = data ? XpmCreateXpmImageFromData(const_cast<char **>(data), image, nullptr)
                    : XpmReadFileToXpmImage(const_cast<char *>(path), image, nullptr);
  if (status != XpmSuccess) {
    fprintf(stderr, "cannot read picture %s: %s\n", path ? path : "(built in)",
            XpmGetErrorString(status));
    return 1;
  }
  return 0;
}

int image_to_pixmap(Display *dpy, Drawable d, XpmImage *image, Pixel fg, Pixel bg,
                    Pixmap *pixmap, int *width, int *height) {
  // Spelling and "c None" vary between pictures: give every colour of a role one
  // symbolic name, so one substitution each serves them all.
  for (unsigned i = 0; i < image->ncolors; i++) {
    switch (role_of(image->colorTable[i])) {
      case kTransparent: set_symbol(image->colorTable[i], "none"); break;
      case kBackground: set_symbol(image->colorTable[i], "BgColor"); break;
      case kForeground: set_symbol(image->colorTable[i], "FgColor"); break;
      case kOther: break;
    }
  }
  XpmColorSymbol symbols[3] = {{const_cast<char *>("none"), nullptr, bg},
                               {const_cast<char *>("BgColor"), nullptr, bg},
                               {const_cast<char *>("FgColor"), nullptr, fg}};
  XpmAttributes attr;
  memset(&attr, 0, sizeof attr);
  attr.colorsymbols = symbols;
  attr.numsymbols = 3;
  attr.valuemask = XpmColorSymbols;
  Pixmap shape = None;
  int status = XpmCreatePixmapFromXpmImage(dpy, d, image, pixmap, &shape, &attr);
  if (shape != None) XFreePixmap(dpy, shape);
  if (status < XpmSuccess) {
    fprintf(stderr, "cannot make a pixmap of a picture: %s\n", XpmGetErrorString(status));
    XpmFreeAttributes(&attr);
    return 1;
  }
  if (width) *width = static_cast<int>(image->width);
  if (height) *height = static_cast<int>(image->height);
  XpmFreeAttributes(&attr);
  return 0;
}

int is_dark(Display *dpy, const char *colour) {
  XColor c;
  if (!colour || !XParseColor(dpy, DefaultColormap(dpy, DefaultScreen(dpy)), colour, &c)) return 0;
  return (c.red * 30L + c.green * 59L + c.blue * 11L) / 100 < 0x8000;
}

int image_to_cursor(Display *dpy, XpmImage *image, Pixel fg, Pixel bg, int hx, int hy,
                    Cursor *cursor) {
  unsigned w = image->width, h = image->height, stride = (w + 7) / 8;
  std::vector<char> src(stride * h), mask(stride * h);
  std::vector<int> opaque(image->ncolors), ink(image->ncolors);
  for (unsigned i = 0; i < image->ncolors; i++) {
    ColourRole r = role_of(image->colorTable[i]);
    opaque[i] = r != kTransparent;
    ink[i] = r == kForeground || (r == kOther && is_dark(dpy, image->colorTable[i].c_color));
  }
  for (unsigned y = 0; y < h; y++)
    for (unsigned x = 0; x < w; x++) {
      unsigned idx = image->data[y * w + x];
      char bit = static_cast<char>(1 << (x % 8));  // bitmaps are least significant first
      if (idx < image->ncolors && opaque[idx]) mask[y * stride + x / 8] |= bit;
      if (idx < image->ncolors && ink[idx]) src[y * stride + x / 8] |= bit;
    }
  Window root = DefaultRootWindow(dpy);
  Pixmap s = XCreateBitmapFromData(dpy, root, src.data(), w, h);
  Pixmap m = XCreateBitmapFromData(dpy, root, mask.data(), w, h);
  Colormap cmap = DefaultColormap(dpy, DefaultScreen(dpy));
  XColor fc, bc;
  fc.pixel = fg;
  bc.pixel = bg;
  XQueryColor(dpy, cmap, &fc);
  XQueryColor(dpy, cmap, &bc);
  *cursor = XCreatePixmapCursor(dpy, s, m, &fc, &bc, static_cast<unsigned>(hx),
                                static_cast<unsigned>(hy));
  XFreePixmap(dpy, s);
  XFreePixmap(dpy, m);
  return *cursor == None;
}

}  // namespace

namespace {

// Reads the picture from data or path, hands it to make and frees it.
template <typename Make>
int with_image(const char *const *data, const char *path, Make make) {
  XpmImage image;
  if (read_image(data, path, &image)) return 1;
  int r = make(&image);
  XpmFreeXpmImage(&image);
  return r;
}

}  // namespace

int SSXpmDataToPixmap(Display *dpy, Drawable d, const char *const *data, Pixel fg, Pixel bg,
                      Pixmap *pixmap, int *width, int *height) {
  return with_image(data, nullptr, [&](XpmImage *image) {
    return image_to_pixmap(dpy, d, image, fg, bg, pixmap, width, height);
  });
}

int SSXpmFileToPixmap(Display *dpy, Drawable d, const char *path, Pixel fg, Pixel bg,
                      Pixmap *pixmap, int *width, int *height) {
  return with_image(nullptr, path, [&](XpmImage *image) {
    return image_to_pixmap(dpy, d, image, fg, bg, pixmap, width, height);
  });
}

int SSXpmDataToCursor(Display *dpy, const char *const *data, Pixel fg, Pixel bg, int hx,
                      int hy, Cursor *cursor) {
  return with_image(data, nullptr, [&](XpmImage *image) {
    return image_to_cursor(dpy, image, fg, bg, hx, hy, cursor);
  });
}

int SSXpmFileToCursor(Display *dpy, const char *path, Pixel fg, Pixel bg, int hx, int hy,
                      Cursor *cursor) {
  return with_image(nullptr, path, [&](XpmImage *image) {
    return image_to_cursor(dpy, image, fg, bg, hx, hy, cursor);
  });
}
