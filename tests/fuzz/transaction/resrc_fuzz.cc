// Fuzz target: the user's resolve settings, ~/.brindle_resrc, as resolve reads
// them.  Input: the file.
//
// The read gives 2032 for a line it can't parse, or settings that are 0 or 1;
// a comment line changes nothing, however long; and the settings written back
// read back the same.
#include <cstdlib>
#include <string>

#include "fuzz_support.h"
#include "transaction/kes_resolve.h"

namespace {

struct Read {
  bool failed;
  int fields[5];
  bool operator==(const Read &o) const {
    if (failed != o.failed) return false;
    for (int i = 0; i < 5; i++)
      if (fields[i] != o.fields[i]) return false;
    return true;
  }
};

Read read_settings(const std::string &text) {
  fuzz::put(".brindle_resrc", text);
  Kes_resolve_rc rc;
  Read r{fuzz::expect_codes(rc.read(), {2032}, "resolve settings"),
         {rc.start_twinpane, rc.autoadvance, rc.checkin_comments, rc.reuse_twinpane, rc.autosave}};
  for (int v : r.fields) fuzz::check(v == 0 || v == 1, "a setting is 0 or 1");
  return r;
}

// The text without its comment lines.
std::string uncommented(const std::string &text) {
  std::string out;
  for (size_t from = 0; from < text.size();) {
    size_t nl = text.find('\n', from);
    size_t end = nl == std::string::npos ? text.size() : nl + 1;
    if (text[from] != '#') out += text.substr(from, end - from);
    from = end;
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool home = setenv("HOME", fuzz::scratch().c_str(), 1) == 0;
  fuzz::check(home, "HOME set");
  std::string text = fuzz::text(data, size);
  Read r = read_settings(text);
  fuzz::check(read_settings(uncommented(text)) == r, "a comment line changes nothing");
  if (r.failed) return 0;

  Kes_resolve_rc rc;
  rc.start_twinpane = r.fields[0];
  rc.autoadvance = r.fields[1];
  rc.checkin_comments = r.fields[2];
  rc.reuse_twinpane = r.fields[3];
  rc.autosave = r.fields[4];
  fuzz::expect_codes(rc.write(), {}, "resolve settings write");
  Kes_resolve_rc again;
  fuzz::expect_codes(again.read(), {}, "resolve settings read back");
  fuzz::check(again.start_twinpane == rc.start_twinpane && again.autoadvance == rc.autoadvance &&
                  again.checkin_comments == rc.checkin_comments &&
                  again.reuse_twinpane == rc.reuse_twinpane && again.autosave == rc.autosave,
              "the settings read back as written");
  return 0;
}
