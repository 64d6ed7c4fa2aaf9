// The data delta: the system's own data inside a history file.  It is a removed
// delta with serial 2 and SID 1.2 under the root, owned by the user "Brindle",
// whose first comment line is a marker and whose further comment lines are
// attributes "name : value".  Stock SCCS skips removed deltas and reads comments
// as free text, so the file stays an ordinary history file.
//
// Nothing here writes the file: callers go on with Kes_sfile::write(), or the
// merge writes it.
#ifndef BRINDLE_SCCS_KES_SDATA_H
#define BRINDLE_SCCS_KES_SDATA_H

class Kes_delta;
class Kes_err;
class Kes_sfile;
class Kes_smid;
class Kes_strlist;

// Attribute names and their separator.
#define KES_SDATA_SEPARATOR " : "
#define KES_ATTR_NAME_HISTORY "Name history"
#define KES_ATTR_CONFLICT "Conflict from ws"
// First comment line of a root made unique, followed by a blank and a name.
#define KES_UNIQUIFICATION "Brindle Uniquification:"
// Last comment line of a delta made by a merge.
#define KES_MERGE_SIGNATURE "sccsmerge-signature:"

// The longest attribute line kept, newline included: with the three bytes in
// front of a comment it is the longest line a delta table reader takes whole.
constexpr int KES_SDATA_MAX_LINE = 1020;

class Kes_sdata {
public:
  int owns;            // 1: the destructor deletes the file object
  Kes_delta *sdata;    // the data delta, null until found or made
  Kes_sfile *file;
  int create;          // check_for_sdata makes the delta when it is absent

  Kes_sdata(Kes_sfile *file, int owns);
  ~Kes_sdata();
  Kes_sdata(const Kes_sdata &) = delete;
  Kes_sdata &operator=(const Kes_sdata &) = delete;

  // Looks the data delta up, reading the delta table first if the file has none.
  [[nodiscard]] Kes_err *find_sdata();
  // find_sdata, and with the create flag set, makes the delta when it is absent.
  [[nodiscard]] Kes_err *check_for_sdata();
  // A new list of copies of the lines behind the marker; empty with no data delta.
  [[nodiscard]] Kes_err *get_entire_list(Kes_strlist **out);
  // Replaces the lines behind the marker with copies of the list's strings.
  [[nodiscard]] Kes_err *replace_entire_list(Kes_strlist *list);
  // The values of one attribute in file order, newline kept; clears the create
  // flag, so that reading never makes a data delta.
  [[nodiscard]] Kes_err *get_values(const char *attribute, Kes_strlist **out);
  // Sets the create flag; drops every line of the attribute and appends one
  // line per value.  The list stays the caller's.
  [[nodiscard]] Kes_err *replace_values(const char *attribute, Kes_strlist *values);
};

// Adds "Brindle Uniquification: <name>" as the delta's new first comment line,
// so that its SmID changes; *out receives the new SmID.
void uniquify_delta(Kes_delta *delta, const char *name, Kes_smid **out);
// Gives the root of the file that has SmID smid (or, under a fake root, the real
// root that has it) a new identity, and writes the file.  name is the file's
// name in its workspace.  Error 2094 when no root has the SmID.  Reads the delta
// table if the file has none; the file object stays the caller's.  With write
// off the change stays in the object, for a command that only reports.
[[nodiscard]] Kes_err *kes_uniquify_sfile_smid(Kes_sfile *file, Kes_smid *smid, const char *name,
                                               Kes_smid **out, int write = 1);

#endif
