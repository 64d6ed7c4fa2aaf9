// The message catalogues: opening them and fetching a text by number.
#include "util/kes_msg.h"

#include <nl_types.h>

#include <cstdio>
#include <cstdlib>

namespace {
const nl_catd kNoCatalog = reinterpret_cast<nl_catd>(-1);
nl_catd util_cat = kNoCatalog;
nl_catd bwm_cat = kNoCatalog;

const char *lookup(nl_catd cat, int number, const char *text) {
  if (cat == kNoCatalog) return text;
  return catgets(cat, 1, number, text);
}

int open_catalog(nl_catd *cat, const char *pattern) {
  if (!getenv("NLSPATH")) {
    fputs("Internal error: Set NLSPATH before opening catalogue file\n", stderr);
    return 1;
  }
  char name[64];
  snprintf(name, sizeof name, pattern, 1);
  if (*cat == kNoCatalog) *cat = catopen(name, NL_CAT_LOCALE);
  return 0;
}

void close_catalog(nl_catd *cat) {
  if (*cat != kNoCatalog) catclose(*cat);
  *cat = kNoCatalog;
}
}  // namespace

const char *kes_util_msg(int number, const char *text) { return lookup(util_cat, number, text); }
const char *kes_bwm_msg(int number, const char *text) { return lookup(bwm_cat, number, text); }

int libutil_init() { return open_catalog(&util_cat, "libutil_%d"); }
int libbwm_init() { return open_catalog(&bwm_cat, "libbwm_%d"); }
void libutil_fini() { close_catalog(&util_cat); }
void libbwm_fini() { close_catalog(&bwm_cat); }
