// Test helpers for the data delta, SmIDs and name histories: histories with
// every kind of delta, made by CSSC, and checks of error objects.
#ifndef BRINDLE_TESTS_UNIT_SCCS_SDATA_HELPERS_H
#define BRINDLE_TESTS_UNIT_SCCS_SDATA_HELPERS_H

#include <string>
#include <vector>

class Kes_err;
class Kes_smid;
class Kes_strlist;

namespace sdata_test {

// dir/s.<name> made by CSSC: descriptive text, a flag, trunk deltas 1.2 and
// 1.3, a branch 1.2.1.1, a delta 1.4 made with an include and an exclude list,
// and a removed leaf 1.5.  Returns the s-file's path.
std::string make_rich_history(const std::string &dir, const std::string &name);
// dir/s.<name> with one version, then the root's date and, when given, SID set
// by editing the file and mending its checksum with CSSC.
std::string make_dated_history(const std::string &dir, const std::string &name,
                               const std::string &date, const std::string &sid = "");
// Replaces text in an s-file and lets CSSC mend the checksum.
void edit_sfile(const std::string &sfile, const std::string &from, const std::string &to);
// Everything prs tells of the live deltas except serial numbers, and the
// descriptive text and flags: what a rewrite must keep.
std::string prs_summary(const std::string &sfile);

// dir/s.two: two root deltas, 1.2 and 1.1.1.1, under a fake root, as a merge
// of unrelated files leaves them; each argument is its delta's "c" lines.
std::string fake_rooted(const std::string &dir, const std::string &first_comments,
                        const std::string &second_comments);
// The root's SmID as a fresh read of the file in the given mode sees it.
std::string root_smid(const std::string &sfile, int roots_only);
// An SmID's text; deletes the SmID.
std::string smid_text(Kes_smid *smid);
// A new list holding copies of the strings.
Kes_strlist *strlist(const std::vector<std::string> &v);

// Checks code and message of an error, with the text that a system error
// number adds, and deletes it.
void expect_error(Kes_err *err, int code, const std::string &message,
                  const std::string &system_text = "");

}  // namespace sdata_test

#endif
