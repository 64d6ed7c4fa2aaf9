// Conflict records: one "Conflict from ws" line in the data delta.
#include "sccs/kes_conflict.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sccs/kes_sfile.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"

namespace {

const char kAttribute[] = "Conflict from ws";

// The next blank-separated word of s from *pos, or "" at the end.
std::string next_word(const std::string &s, size_t *pos) {
  size_t b = s.find_first_not_of(" \t\n", *pos);
  if (b == std::string::npos) {
    *pos = s.size();
    return "";
  }
  size_t e = s.find_first_of(" \t\n", b);
  if (e == std::string::npos) e = s.size();
  *pos = e;
  return s.substr(b, e - b);
}

// Whether a path must be followed by "//" to be read back whole: get() splits
// an unmarked record at any blank (as isspace has it), and takes a record whose
// last "/" is doubled for a marked one.
bool needs_end_mark(const char *path) {
  for (const char *p = path; *p; p++)
    if (isspace((unsigned char)*p)) return true;
  const char *slash = strrchr(path, '/');
  return slash && slash > path && slash[-1] == '/';
}

}  // namespace

Kes_conflict::Kes_conflict(Kes_sfile *file, int owns)
    : Kes_sdata(file, owns), child_sid(nullptr), parent_sid(nullptr), ancestor_sid(nullptr),
      ws_path(nullptr), force_word(nullptr) {
  kes_str_replace(&force_word, "noforce");
}

Kes_conflict::~Kes_conflict() {
  free(child_sid);
  free(parent_sid);
  free(ancestor_sid);
  free(ws_path);
  free(force_word);
}

Kes_err *Kes_conflict::get() {
  Kes_strlist *values = nullptr;
  Kes_err *err = get_values(kAttribute, &values);
  if (err) return err;
  if (!values || values->count == 0) {
    kes_str_replace(&child_sid, nullptr);
    kes_str_replace(&parent_sid, nullptr);
    kes_str_replace(&ancestor_sid, nullptr);
    kes_str_replace(&ws_path, nullptr);
    delete values;
    return nullptr;
  }
  std::string value = static_cast<const char *>(values->head.next->data);
  delete values;
  if (!value.empty() && value.back() == '\n') value.pop_back();

  std::string word = "noforce", rest = value;
  int fields = 1;  // the word, read or not
  for (const char *w : {"force", "noforce"}) {
    size_t len = strlen(w);
    if (value.compare(0, len, w) == 0 && (value.size() == len || value[len] == ' ')) {
      word = w;
      size_t blank = value.find(' ');
      rest = blank == std::string::npos ? "" : value.substr(blank + 1);
    }
  }
  std::string path, child, parent, ancestor;
  size_t pos = 0;
  size_t slash = rest.rfind('/');
  if (slash != std::string::npos && slash > 0 && rest[slash - 1] == '/') {
    // A path with blanks ends in "//".
    path = rest.substr(0, slash - 1);
    pos = slash + 1;
    if (!path.empty()) fields++;
  } else {
    path = next_word(rest, &pos);
    if (!path.empty()) fields++;
  }
  child = next_word(rest, &pos);
  parent = next_word(rest, &pos);
  ancestor = next_word(rest, &pos);
  fields += !child.empty() + !parent.empty();
  if (fields < 4)
    return (new Kes_err)
        ->format_msg(2533, 0,
                     BWM_MSG(3300, "Internal error in sccsmerge in Kes_conflict::get(): "
                                   "incomplete conflict info for \"%s\""),
                     file && file->s_path ? file->s_path : "");
  kes_str_replace(&ancestor_sid, nullptr);
  set(word.c_str(), child.c_str(), parent.c_str(), ancestor.empty() ? nullptr : ancestor.c_str(),
      path.c_str());
  return nullptr;
}

void Kes_conflict::set(const char *word, const char *child, const char *parent,
                       const char *ancestor, const char *path) {
  kes_str_replace(&force_word, word);
  kes_str_replace(&child_sid, child);
  kes_str_replace(&parent_sid, parent);
  if (ancestor && *ancestor) kes_str_replace(&ancestor_sid, ancestor);
  kes_str_replace(&ws_path, path);
}

Kes_err *Kes_conflict::write() {
  if (!force_word || !child_sid || !parent_sid || !ws_path)
    return (new Kes_err)
        ->format_msg(2529, 0,
                     BWM_MSG(3301, "Internal error in sccsmerge in Kes_conflict::write(): NULL "
                                   "child or parent delta for \"%s\""),
                     file && file->s_path ? file->s_path : "");
  std::string value = std::string(force_word) + " " + ws_path +
                      (needs_end_mark(ws_path) ? "//" : "") + " " + child_sid + " " + parent_sid;
  if (ancestor_sid) value += std::string(" ") + ancestor_sid;
  Kes_strlist values;
  values.add_new_data(strdup(value.c_str()));
  return replace_values(kAttribute, &values);
}

Kes_err *Kes_conflict::clear() {
  Kes_err *err = file->lock_file();
  if (err) return err;
  Kes_strlist none;
  err = replace_values(kAttribute, &none);
  if (!err) err = file->write();
  file->unlock_file();
  return err;
}

int Kes_conflict::in_conflict() {
  Kes_err *err = get();
  if (err) {
    delete err;
    return 0;
  }
  return child_sid != nullptr;
}
