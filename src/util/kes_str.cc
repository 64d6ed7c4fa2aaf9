// The string helpers of kes_str.h.
#include "util/kes_str.h"

#include <cstdlib>
#include <cstring>

#include "util/kes_init.h"

int kes_str_hash(const char *s) {
  int sum = 0;
  for (; s && *s; s++) sum += static_cast<signed char>(*s);
  return sum;
}

int kes_str_compare(const char *a, const char *b) {
  if (a == b) return 1;
  return a && b && strcmp(a, b) == 0;
}

char *kes_strdup(const char *s) {
  if (!s) return nullptr;
  char *d = strdup(s);
  if (!d) kes_new_handler();
  return d;
}

char *kes_strdup_or_empty(const char *s) { return kes_strdup(s ? s : ""); }

char *kes_strndup(const char *s, size_t n) {
  char *d = strndup(s, n);
  if (!d) kes_new_handler();
  return d;
}

void kes_str_delete(char *s) {
  if (s) free(s);
}

void kes_str_replace(char **field, const char *value) {
  free(*field);
  *field = kes_strdup(value);
}

void kes_strv_free(char **v) {
  if (!v) return;
  for (char **p = v; *p; p++) free(*p);
  free(v);
}

int kes_str_starts_with(const char *s, const char *prefix) {
  return s && strncmp(s, prefix, strlen(prefix)) == 0;
}
