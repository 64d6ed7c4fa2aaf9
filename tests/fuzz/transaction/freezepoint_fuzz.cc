// Fuzz target: the freezepoint file, as freezept list and extract read it.
// Input: the file.
//
// The reader must give error 2087 (a damaged line) or 2046 (a newer version),
// or a freezepoint that, written anew, reads back the same.
#include <unistd.h>

#include <string>

#include "fuzz_support.h"
#include "transaction/kes_freezepoint.h"
#include "util/kes_err.h"

namespace {
bool same(const Kes_freezepoint &a, const Kes_freezepoint &b) {
  if (a.workspace != b.workspace || a.time != b.time || a.comment != b.comment ||
      a.scope != b.scope || a.files.size() != b.files.size())
    return false;
  for (size_t i = 0; i < a.files.size(); i++) {
    const Kes_fp_file &x = a.files[i], &y = b.files[i];
    if (x.name != y.name || x.sid != y.sid || !kes_smid_equal(const_cast<Kes_smid *>(&x.root),
                                                              const_cast<Kes_smid *>(&y.root)) ||
        !kes_smid_equal(const_cast<Kes_smid *>(&x.delta), const_cast<Kes_smid *>(&y.delta)))
      return false;
  }
  return true;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::string path = fuzz::put("fp/in", fuzz::text(data, size));
  Kes_freezepoint fp;
  if (fuzz::expect_codes(fp.read(path.c_str()), {2087, 2046}, "freezepoint")) return 0;
  std::string copy = fuzz::path("fp/copy");
  unlink(copy.c_str());
  fuzz::expect_codes(fp.write(copy.c_str()), {}, "freezepoint write");
  Kes_freezepoint back;
  fuzz::expect_codes(back.read(copy.c_str()), {}, "freezepoint read back");
  fuzz::check(same(fp, back), "a freezepoint reads back as it was written");
  return 0;
}
