// Labels of the per-file status lines and of the summary.  The terminal gets
// the catalogue text, the history log always the fixed English one.
#ifndef BRINDLE_TRANSACTION_KES_TRANS_STATE_H
#define BRINDLE_TRANSACTION_KES_TRANS_STATE_H

enum Kes_trans_state {
  KES_TS_CREATE = 1,
  KES_TS_UPDATE = 2,
  KES_TS_CONFLICT = 3,
  KES_TS_UPDATE_PARENT_NH = 4,
  KES_TS_UPDATE_CHILDREN_NH = 5,
  KES_TS_MERGE_NH = 6,
  KES_TS_DIFFERENTIATE = 7,
  KES_TS_DIFFERENTIATE_PARENT = 8,
  KES_TS_DIFFERENTIATE_CHILD = 9,
  KES_TS_UNCHANGED = 10,
  KES_TS_CONTENTS_ERRORS = 11,
  KES_TS_CROSS_TYPE = 12,
  KES_TS_NO_CHANGES_TO = 13,
  KES_TS_CHANGED_IN_CHILD_ONLY = 14,
  KES_TS_EXISTS_IN_CHILD_ONLY = 15,
  KES_TS_RENAMED_IN_CHILD_ONLY = 16,
  KES_TS_UNRESOLVED_IN_PARENT = 17,
  KES_TS_CHECKED_OUT_IN_PARENT = 18,
  KES_TS_CHANGED_IN_PARENT_ONLY = 19,
  KES_TS_EXISTS_IN_PARENT_ONLY = 20,
  KES_TS_RENAMED_IN_PARENT_ONLY = 21,
  KES_TS_UNRESOLVED_IN_CHILD = 22,
  KES_TS_CHECKED_OUT_IN_CHILD = 23,
  KES_TS_REMOVE = 24,
  KES_TS_RESTORE = 25,
  KES_TS_RENAMED = 26,
  KES_TS_RENAME_FROM = 27,
  KES_TS_RENAME_TO = 28,
  KES_TS_RENAME_CONFLICT = 29,
  KES_TS_RENAME_ERRORS = 30,
  KES_TS_UNKNOWN = 31
};

// The catalogue text of a state, fetched once per state and kept.
const char *kes_trans_state_localized(int state);
// The fixed English text; state 13 has none and reads "Unknown state".
const char *kes_trans_state_english(int state);

#endif
