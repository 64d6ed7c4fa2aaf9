// Pictures and pointers from XPM data with the toolkit's symbolic colours.
//
// A picture names its colours symbolically: "none" (also any colour "None") and
// "BgColor" stand for the background it is drawn on, "FgColor" for the
// foreground.  The caller gives the pixels; a highlighted variant is the same data
// with another background.  Functions answer 0 on success and nonzero, with a line
// on standard error naming the picture, on failure.
#ifndef BRINDLE_TOOLKIT_SS_XPM_H
#define BRINDLE_TOOLKIT_SS_XPM_H

#include <X11/Intrinsic.h>

// A pixmap of data (an XPM array) or of the file path, for drawables like d.
int SSXpmDataToPixmap(Display *display, Drawable d, const char *const *data, Pixel fg,
                      Pixel bg, Pixmap *pixmap, int *width, int *height);
int SSXpmFileToPixmap(Display *display, Drawable d, const char *path, Pixel fg, Pixel bg,
                      Pixmap *pixmap, int *width, int *height);

// A pointer shaped by the picture: "FgColor" pixels in fg, other opaque pixels in
// bg (dark ones in fg), "none" transparent; hot spot at (hot_x, hot_y).
int SSXpmDataToCursor(Display *display, const char *const *data, Pixel fg, Pixel bg,
                      int hot_x, int hot_y, Cursor *cursor);
int SSXpmFileToCursor(Display *display, const char *path, Pixel fg, Pixel bg, int hot_x,
                      int hot_y, Cursor *cursor);

// The toolkit's own drag pointer picture.
extern const char *const *ss_drag_cursor_data;

#endif
