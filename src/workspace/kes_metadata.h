// The base of every file in a workspace's metadata directory.
//
// Each file begins with the line "VERSION n".  Readers take no lock: a rewrite
// renames a complete file into place, so a reader sees the old or the new file
// whole.  Appends and rewrites take the file's short lock, a symbolic link
// F.lock that works over network file systems and is broken after 15 seconds
// by the file server's clock.  To change a file on the basis of its contents,
// hold lock() around get_contents and put_contents: the lock nests.
//
// A subclass supplies its simple name and version, and overrides parse (line to
// entry), format_comment and format_entry (entry to text) as it needs.
#ifndef BRINDLE_WORKSPACE_KES_METADATA_H
#define BRINDLE_WORKSPACE_KES_METADATA_H

#include <cstdio>
#include <ctime>
#include <string>

class Kes_err;
class Kes_list;
class Kes_strlist;
class Kes_workspace;

class Kes_metadata {
public:
  char *fullname;            // metadata directory + "/" + simplename
  char *simplename;          // may hold a "/", as backup/new
  Kes_workspace *workspace;  // not owned
  int version;               // the version this class reads and writes
  int file_version;          // found in the file; -1 until read or written
  int lock_count;            // nesting depth of lock
  FILE *stream;              // the open file, null when closed

  Kes_metadata(Kes_workspace *ws, const char *metadata_dir, const char *simplename,
               int version);
  // Closes the stream; does not release a held lock.
  virtual ~Kes_metadata();
  Kes_metadata(const Kes_metadata &) = delete;
  Kes_metadata &operator=(const Kes_metadata &) = delete;

  // Reads the entries into list, with "#" comments and backslash continuation
  // lines; a missing file reads as empty.
  [[nodiscard]] virtual Kes_err *get_contents(Kes_list *list);
  // lines_only: entries are the logical lines as strings, parse is not called.
  [[nodiscard]] virtual Kes_err *get_contents(Kes_list *list, int lines_only);
  [[nodiscard]] virtual Kes_err *get_lines(Kes_strlist *list);
  // Atomic rewrite through F.tmp; the file must exist, and keeps its mode.
  [[nodiscard]] virtual Kes_err *put_contents(Kes_list *list);
  // Appends the line unless the file holds it already; creates the file.
  [[nodiscard]] virtual Kes_err *add_line(const char *line);
  // Makes an entry from a logical line; comments holds the comment lines that
  // stand before it and the one on its own line.  entry may stay null.
  [[nodiscard]] virtual Kes_err *parse(char *line, void **entry, Kes_strlist *comments);
  // Converts an older file in place; by default that is an error.
  [[nodiscard]] virtual Kes_err *conversion();
  [[nodiscard]] virtual Kes_err *append_sized_vector(char **lines, int count);
  [[nodiscard]] virtual Kes_err *append_vector(char **lines);  // null-terminated
  // Text to write for an entry, with its own line ends; malloc-ed, freed by
  // the caller; a null text writes nothing.
  virtual void format_comment(void *entry, char **text);
  virtual void format_entry(void *entry, char **text);

  // mode "a": append (creates the file with its version line); "r" or "r+":
  // read, a missing file leaves stream null and is no error; "w": truncate.
  [[nodiscard]] Kes_err *open(const char *mode);
  [[nodiscard]] Kes_err *close();
  // Closes a file written whole through open("w"); after err, or a failed
  // close, the fragment is removed, as one would stop every later reader.
  // Returns the first error.
  [[nodiscard]] Kes_err *close_whole(Kes_err *err);
  [[nodiscard]] Kes_err *lock();
  void unlock();
  // Drops every line equal to line; found, if given, says whether one was.
  [[nodiscard]] Kes_err *delete_line(const char *line, int *found);
  [[nodiscard]] Kes_err *remove();
  int exists();
  char *get_relname(char *buf);  // Brindle_wsdata/<simplename>
  [[nodiscard]] Kes_err *write_vernum();
  [[nodiscard]] Kes_err *write_vernum_to_fp(FILE *fp);
  [[nodiscard]] Kes_err *check_vernum();
  [[nodiscard]] Kes_err *check_vernum_string(const char *line);
};

// Opens the file for appending and closes it again: 1 if that worked.  Creates
// the file with its version line if it was absent.
int ok_for_write(Kes_metadata *md);

// Takes the short lock lockname, a symbolic link to target.  Waits while the
// lock is held and younger than timeout seconds (0 or less: 15) by the file
// server's clock, read from a probe file made beside the lock.
[[nodiscard]] Kes_err *kes_file_lock(const char *target, const char *lockname, int timeout);

// Called at every look at a held lock, with the lock's age basis and the probe
// file's time; broken says whether the lock was found stale.  For tests and
// diagnostics; null turns it off.
typedef void (*Kes_file_lock_observer)(const char *lockname, time_t lock_mtime,
                                       time_t probe_mtime, int broken);
void kes_file_lock_set_observer(Kes_file_lock_observer fn);

// The lines "key<blanks>value" of the settings files.  split_key splits one in
// place: key ends at the first blank, value starts at the next non-blank and is
// null when there is none.
void kes_md_split_key(char *line, char **key, char **value);
// 1 when the first word of value is word.
int kes_md_first_word_is(const char *value, const char *word);
// key, blanks to 20 columns (at least one), value and a newline; malloc-ed.
char *kes_md_keyed_line(const char *key, const char *value);
// Ends a line that an entry's formatter writes: a newline, with a blank before
// it when the line ends in a backslash (a value read from "a\ # note"), so
// that the reader doesn't take it for a continuation and run the next line in.
void kes_md_end_line(std::string *line);

// The comment lines of an entry as one text for format_comment, each with its
// newline; null when there are none or every one is empty.  malloc-ed.
char *kes_md_comment_text(Kes_strlist *comments);

#endif
