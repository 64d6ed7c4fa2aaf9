// String helpers shared by every layer: copies that end the process when memory
// runs out (through kes_new_handler), comparisons and the hash of a name.
#ifndef BRINDLE_UTIL_KES_STR_H
#define BRINDLE_UTIL_KES_STR_H

#include <cstddef>

// A malloc-ed copy; null stays null.
char *kes_strdup(const char *s);
// The same, but a null s gives an empty string.
char *kes_strdup_or_empty(const char *s);
// A malloc-ed copy of at most n bytes, always terminated.
char *kes_strndup(const char *s, size_t n);
// free if set.
void kes_str_delete(char *s);
// Frees *field and puts a copy of value there; null stays null.
void kes_str_replace(char **field, const char *value);
// A null-terminated array of malloc-ed strings, and the array: freed.
void kes_strv_free(char **v);

// The sum of the characters as signed bytes; empty gives 0.
int kes_str_hash(const char *s);
// 1 if the same pointer, or both non-null and equal by strcmp; else 0.
int kes_str_compare(const char *a, const char *b);
// 1 when s begins with prefix; a null s begins with nothing.
int kes_str_starts_with(const char *s, const char *prefix);

#endif
