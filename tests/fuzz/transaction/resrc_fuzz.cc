// Fuzz target: the user's resolve settings, ~/.brindle_resrc, as resolve reads
// them.  Input: the file.
//
// The read gives 2032 for a line it can't parse, or settings that are 0 or 1;
// a comment line changes nothing, however long; and the settings written back
// read back the same.
#include <array>
#include <cstdlib>
#include <string>
#include <utility>

#include "fuzz_support.h"
#include "transaction/kes_resolve.h"

namespace {

using Settings = std::array<int, 5>;

Settings settings_of(const Kes_resolve_rc &rc) {
  return {rc.start_twinpane, rc.autoadvance, rc.checkin_comments, rc.reuse_twinpane, rc.autosave};
}

// Whether reading text as the file failed, and the settings it gave.
std::pair<bool, Settings> read_settings(const std::string &text) {
  fuzz::put(".brindle_resrc", text);
  Kes_resolve_rc rc;
  bool failed = fuzz::expect_codes(rc.read(), {2032}, "resolve settings");
  for (int v : settings_of(rc)) fuzz::check(v == 0 || v == 1, "a setting is 0 or 1");
  return {failed, settings_of(rc)};
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
  std::pair<bool, Settings> r = read_settings(text);
  fuzz::check(read_settings(uncommented(text)) == r, "a comment line changes nothing");
  if (r.first) return 0;

  Kes_resolve_rc rc;
  rc.start_twinpane = r.second[0];
  rc.autoadvance = r.second[1];
  rc.checkin_comments = r.second[2];
  rc.reuse_twinpane = r.second[3];
  rc.autosave = r.second[4];
  fuzz::expect_codes(rc.write(), {}, "resolve settings write");
  Kes_resolve_rc again;
  fuzz::expect_codes(again.read(), {}, "resolve settings read back");
  fuzz::check(settings_of(again) == r.second, "the settings read back as written");
  return 0;
}
