// The merge-tool protocol between the resolve side and twinpane: the operation
// names, where each argument stands, and the exit statuses of the tool's -x form.
// Both sides build and read their messages with these, so they cannot drift.
#ifndef BRINDLE_HAILWAY_HW_TWINPANE_H
#define BRINDLE_HAILWAY_HW_TWINPANE_H

// From the resolve side; each a request to the tool.
#define HW_TP_LOAD "Oakline_Twinpane_Load"          // procedure-addressed when not reused
#define HW_TP_SET_LFTR "Oakline_Twinpane_Set_LFtr"  // string text, integer flag
#define HW_TP_QUIT "Oakline_Twinpane_Quit"          // integer 1
#define HW_TP_UNLOAD "Oakline_Twinpane_Unload"      // integer 1
// From the tool; each a notice to the resolve side's process.
#define HW_TP_STARTED "Oakline_Twinpane_Started"
#define HW_TP_LOADED "Oakline_Twinpane_Loaded"
#define HW_TP_SAVED "Oakline_Twinpane_Saved"
#define HW_TP_QUITTED "Oakline_Twinpane_Quitted"

// The arguments of a Load, in order; all in, except the merged file (inout).
enum Hw_tp_load_arg {
  HW_TP_LOAD_REUSE,           // integer
  HW_TP_LOAD_ZERO,            // integer 0
  HW_TP_LOAD_ANCESTOR,        // string, null without a common ancestor
  HW_TP_LOAD_CHILD_CAPTION,   // "Child vs. Ancestor", or "Child"
  HW_TP_LOAD_PARENT_CAPTION,  // "Parent vs. Ancestor", or "parent"
  HW_TP_LOAD_NULL,            // string, null
  HW_TP_LOAD_CHILD,           // string: the child's version
  HW_TP_LOAD_PARENT,          // string: the parent's version
  HW_TP_LOAD_MERGED,          // string, inout: where the merge goes
  HW_TP_LOAD_PATH,            // string: the clear file
  HW_TP_LOAD_MERGED_CAPTION,  // "Merged Result"
  HW_TP_LOAD_ONE,             // integer 1
  HW_TP_LOAD_AUTOSAVE,        // integer: decide without asking the user
  HW_TP_LOAD_TITLE,           // string: the clear file again
  HW_TP_LOAD_COUNT
};

// The arguments of a Saved, all in.  The clear file is the child's name less its
// last nine characters (".C.XXXXXX").  Took-parent wins over took-child; neither
// means the merged file is the result.
enum Hw_tp_saved_arg {
  HW_TP_SAVED_ANCESTOR,     // string, null without a common ancestor
  HW_TP_SAVED_CHILD,        // string
  HW_TP_SAVED_PARENT,       // string
  HW_TP_SAVED_MERGED,       // string
  HW_TP_SAVED_TOOK_PARENT,  // integer, non-zero: the parent's version
  HW_TP_SAVED_TOOK_CHILD,   // integer, non-zero: the child's version
  HW_TP_SAVED_COUNT
};

// "twinpane -x ..." ends with the decision; any other status decides nothing.
enum Hw_tp_exit { HW_TP_EXIT_PARENT = 16, HW_TP_EXIT_CHILD = 32, HW_TP_EXIT_MERGED = 48 };

#endif
