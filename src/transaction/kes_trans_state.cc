// The labels of the per-file status lines and the summary, localized and in English.
#include "transaction/kes_trans_state.h"

#include "util/kes_msg.h"

namespace {

// The English table is also what the history log gets, whatever the language
// of the terminal; so it is kept apart from the catalogue.
const char *const english[] = {
    nullptr,
    "create",
    "update",
    "conflict",
    "update parent's name history",
    "update children's name history",
    "merge name history",
    "differentiate",
    "differentiate parent",
    "differentiate child",
    "no action (unchanged)",
    "contents errors",
    "cross type",
    nullptr,  // "No changes to " exists on the terminal only
    "no action (changed in child only)",
    "no action (exists in child only)",
    "no action (renamed in child only)",
    "no action (unresolved in parent)",
    "no action (checked-out in parent)",
    "no action (changed in parent only)",
    "no action (exists in parent only)",
    "no action (renamed in parent only)",
    "no action (unresolved in child)",
    "no action (checked-out in child)",
    "remove",
    "restore",
    "renamed",
    "rename from",
    "         to",
    "rename conflict",
    "rename errors",
};
const int kStates = sizeof english / sizeof english[0];

const char *fetch(int state) {
  switch (state) {
    case 1: return BWM_MSG(9001, "create");
    case 2: return BWM_MSG(9002, "update");
    case 3: return BWM_MSG(9003, "conflict");
    case 4: return BWM_MSG(9004, "update parent's name history");
    case 5: return BWM_MSG(9005, "update children's name history");
    case 6: return BWM_MSG(9006, "merge name history");
    case 7: return BWM_MSG(9007, "differentiate");
    case 8: return BWM_MSG(9008, "differentiate parent");
    case 9: return BWM_MSG(9009, "differentiate child");
    case 10: return BWM_MSG(9010, "no action (unchanged)");
    case 11: return BWM_MSG(9011, "contents errors");
    case 12: return BWM_MSG(9012, "cross type");
    case 13: return BWM_MSG(9013, "No changes to ");
    case 14: return BWM_MSG(9014, "no action (changed in child only)");
    case 15: return BWM_MSG(9015, "no action (exists in child only)");
    case 16: return BWM_MSG(9016, "no action (renamed in child only)");
    case 17: return BWM_MSG(9017, "no action (unresolved in parent)");
    case 18: return BWM_MSG(9018, "no action (checked-out in parent)");
    case 19: return BWM_MSG(9019, "no action (changed in parent only)");
    case 20: return BWM_MSG(9020, "no action (exists in parent only)");
    case 21: return BWM_MSG(9021, "no action (renamed in parent only)");
    case 22: return BWM_MSG(9022, "no action (unresolved in child)");
    case 23: return BWM_MSG(9023, "no action (checked-out in child)");
    case 24: return BWM_MSG(9024, "remove");
    case 25: return BWM_MSG(9025, "restore");
    case 26: return BWM_MSG(9026, "renamed");
    case 27: return BWM_MSG(9027, "rename from");
    case 28: return BWM_MSG(9028, "         to");
    case 29: return BWM_MSG(9029, "rename conflict");
    case 30: return BWM_MSG(9030, "rename errors");
    default: return BWM_MSG(9031, "Unknown state");
  }
}

const char *cache[kStates + 1];

}  // namespace

const char *kes_trans_state_localized(int state) {
  int slot = (state >= 1 && state < kStates) ? state : kStates;
  if (!cache[slot]) cache[slot] = fetch(slot);
  return cache[slot];
}

const char *kes_trans_state_english(int state) {
  if (state >= 1 && state < kStates && english[state]) return english[state];
  return "Unknown state";
}
