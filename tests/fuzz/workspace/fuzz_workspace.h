// The workspace of the metadata fuzz targets: scratch()/ws, made once per
// process; each input is written into its metadata directory.
#ifndef BRINDLE_TESTS_FUZZ_WORKSPACE_FUZZ_WORKSPACE_H
#define BRINDLE_TESTS_FUZZ_WORKSPACE_FUZZ_WORKSPACE_H

#include <string>

#include "fuzz_support.h"
#include "util/kes_err.h"
#include "workspace/kes_workspace.h"

// The errors of every metadata file's framework: no version line, an older
// file that can't be converted, a newer file, a line cut short by the end of
// the file, and an empty file, whose version line can't be written through a
// stream opened for reading.
#define MD_ERRORS 2008, 2047, 2046, 2027, 1001

namespace fuzz {

inline Kes_workspace *workspace() {
  static Kes_workspace *ws = [] {
    path("ws/" KES_METADATA_DIR "/backup/x");
    Kes_err *err = nullptr;
    Kes_workspace *w = new Kes_workspace((scratch() + "/ws").c_str(), &err);
    expect_codes(err, {}, "workspace");
    return w;
  }();
  return ws;
}

// A new metadata object of class MD on the workspace.
template <class MD> MD *md() {
  MD *m = nullptr;
  expect_codes(workspace()->make_md(&m), {}, "metadata object");
  return m;
}

// Writes bytes as the workspace's metadata file name; returns its path.
inline std::string put_md(const std::string &name, const std::string &bytes) {
  workspace();
  return put("ws/" KES_METADATA_DIR "/" + name, bytes);
}

}  // namespace fuzz

#endif
