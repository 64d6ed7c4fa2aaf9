// Histories made and judged by CSSC, never by our own code: the judge of every
// history file the tests write.
#ifndef BRINDLE_TESTS_SUPPORT_CSSC_H
#define BRINDLE_TESTS_SUPPORT_CSSC_H

#include <string>
#include <vector>

#include "support/support.h"

namespace support {

// Full path of one of CSSC's programs (admin, get, delta, prs, val, rmdel, sact...).
std::string cssc(const std::string &prog);

// Making histories; a failing command fails the current test with its output.
// dir/s.<name> with text as its first version; admin_flags as they stand
// (e.g. "-fb -tdesc").
Run_result new_history(const std::string &dir, const std::string &name, const std::string &text,
                       const std::string &admin_flags = "");
// get -e <get_flags>, text as the new version, delta -y<comment> [-m<mrs>].
Run_result add_delta(const std::string &sfile, const std::string &text, const std::string &comment,
                     const std::string &get_flags = "", const std::string &mrs = "");
// Replaces the first `from` in the file by `to` and lets admin -z mend the checksum.
void edit_sfile(const std::string &sfile, const std::string &from, const std::string &to);

// Judging.
// prs -d<spec> of one SID, or of every live delta when sid is empty.
std::string prs(const std::string &sfile, const std::string &spec, const std::string &sid = "");
std::vector<std::string> live_sids(const std::string &sfile);  // newest first
// get -s -k -p of one SID: its text in out, status 0 on success.
Run_result get_text(const std::string &sfile, const std::string &sid);
int val(const std::string &sfile);
int admin_check(const std::string &sfile);  // admin -h: checksum and structure
// The text of every live SID by get -p, each behind a "== SID status" line.
std::string versions(const std::string &sfile);
// Everything CSSC shows of a history: every delta by prs (removed ones, serial
// numbers and delta lists too when `serials`), flags, users, descriptive text,
// and the text of every live SID.  Two files with the same view are one
// history to every SCCS user.
std::string cssc_view(const std::string &sfile, bool serials = true);
// The raw "d" lines of the delta table, removed deltas included.
struct Table_row {
  char type;
  std::string sid;
  int serial, pred;
};
std::vector<Table_row> table_rows(const std::string &sfile);

// The real histories of the shared test data, and every "s." file there, sorted.
std::string corpus_dir();
std::vector<std::string> corpus_files();

}  // namespace support

#endif
