// History files for the history file layer's tests: made by CSSC with every
// kind of delta, read by our own reader, and the SmIDs of their roots.
#ifndef BRINDLE_TESTS_UNIT_SCCS_SCCS_HELPERS_H
#define BRINDLE_TESTS_UNIT_SCCS_SCCS_HELPERS_H

#include <memory>
#include <string>

#include "sccs/sccs_sfile.h"
#include "support/cssc.h"

class Kes_smid;

namespace sccs_test {

// A history file read by our own reader in full; a failure fails the test.
std::unique_ptr<SCCS_sfile> read_full(const std::string &path, int side = 0, int pfile = 1);

// dir/s.<name> with everything the reader and the writer handle: descriptive
// text (unless !with_text), flags with values and without, two users, MRs on
// every delta, a comment of two lines and one with a quote, trunk deltas 1.2
// and 1.3, a branch 1.2.1.1, a delta 1.4 made with an include list (1.2.1.1)
// and an exclude list (1.3) whose text has bytes of 0x80 and above (the
// checksum sums them as signed), and a removed leaf 1.5.  Returns its path.
std::string make_rich_history(const std::string &dir, const std::string &name,
                              bool with_text = true);
// dir/s.<name> with one version, the root's date and, when given, SID set by
// hand (and the checksum mended by CSSC).
std::string make_dated_history(const std::string &dir, const std::string &name,
                               const std::string &date, const std::string &sid = "");
// dir/s.two: two root deltas, 1.2 and 1.1.1.1, under a fake root, as a merge of
// unrelated files leaves them; each argument is its delta's "c" lines.
std::string fake_rooted(const std::string &dir, const std::string &first_comments,
                        const std::string &second_comments);
// The root's SmID as a fresh read of the file in the given mode sees it.
std::string root_smid(const std::string &sfile, int roots_only);
std::string smid_text(Kes_smid *smid);  // deletes the SmID

}  // namespace sccs_test

#endif
