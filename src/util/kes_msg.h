// Message catalogues.  Every user-visible text is fetched by number with its
// English text built in, so the programs run fully without catalogue files.
// UTIL_MSG is for the foundation library (catalogue libutil_1), BWM_MSG for the
// engine (libbwm_1).  The numbers are plain literals: the build gathers them from
// the sources into the catalogues (see docs/messages.md for the number blocks).
#ifndef BRINDLE_UTIL_KES_MSG_H
#define BRINDLE_UTIL_KES_MSG_H

const char *kes_util_msg(int number, const char *text);
const char *kes_bwm_msg(int number, const char *text);

#define UTIL_MSG(number, text) kes_util_msg(number, text)
#define BWM_MSG(number, text) kes_bwm_msg(number, text)

int libutil_init();
int libbwm_init();
void libutil_fini();
void libbwm_fini();

#endif
