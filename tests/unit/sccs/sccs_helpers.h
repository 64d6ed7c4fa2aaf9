// Test helpers for history files: temporary directories, the SCCS programs
// (made and judged by CSSC, never by our own code), and file contents.
#ifndef BRINDLE_TESTS_UNIT_SCCS_SCCS_HELPERS_H
#define BRINDLE_TESTS_UNIT_SCCS_SCCS_HELPERS_H

#include <memory>
#include <string>
#include <vector>

#include "sccs/sccs_sfile.h"

namespace sccs_test {

// A fresh directory under $TMPDIR (or /tmp), removed with its contents at the end.
class TempDir {
public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;
  const std::string &path() const { return path_; }
  // path()/name
  std::string file(const std::string &name) const;

private:
  std::string path_;
};

struct RunResult {
  int status;        // exit status, or 128 + signal
  std::string out;   // standard output
  std::string err;   // standard error
};

// Runs a shell command, in dir when given, and collects its output.
RunResult run(const std::string &cmd, const std::string &dir = "");
// A word quoted for the shell.
std::string shq(const std::string &word);
// Full path of one of CSSC's programs (admin, get, delta, prs, val, rmdel,
// unget, sact).
std::string cssc(const std::string &prog);

std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &text);
void copy_file(const std::string &from, const std::string &to);
bool file_exists(const std::string &path);

// Building histories with CSSC.  Each returns the result of the last command;
// a failing command makes the current test fail with its output.
// A new history dir/s.<name> with the text as its first version;
// admin_flags go to admin as they stand (e.g. "-fb -tdesc.txt").
RunResult new_history(const std::string &dir, const std::string &name,
                      const std::string &text, const std::string &admin_flags = "");
// get -e <get_flags>, writes text as the new version, delta -y<comment>.
RunResult add_delta(const std::string &sfile, const std::string &text,
                    const std::string &comment, const std::string &get_flags = "");

// Judging with CSSC.
// prs -d<spec> for one SID (all deltas with -e when sid is empty).
std::string prs(const std::string &sfile, const std::string &spec,
                const std::string &sid = "");
// SIDs that prs lists (live deltas), newest first.
std::vector<std::string> live_sids(const std::string &sfile);
// Raw "d" lines of the delta table as (type, sid, serial, pred) rows, in table
// order, removed deltas included (prs doesn't list those).
struct TableRow {
  char type;
  std::string sid;
  int serial;
  int pred;
};
std::vector<TableRow> table_rows(const std::string &sfile);
// get -p -k of one SID: its text.  status is 0 on success.
RunResult get_text(const std::string &sfile, const std::string &sid);
int val(const std::string &sfile);
// admin -h: 0 when the checksum and structure are sound.
int admin_check(const std::string &sfile);

// The real histories under the test data, and every "s." file there, sorted.
std::string corpus_dir();
std::vector<std::string> corpus_files();

// A history file read by our own reader in full; a failure fails the test.
std::unique_ptr<SCCS_sfile> read_full(const std::string &path, int side = 0, int pfile = 1);

// The texts of every live SID, keyed "sid\n" + text, for comparing a file
// before and after a rewrite.
std::string all_versions(const std::string &sfile);

}  // namespace sccs_test

#endif
