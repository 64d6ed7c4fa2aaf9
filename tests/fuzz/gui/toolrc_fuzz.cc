// Fuzz target: the tool properties file, ~/.brindletoolrc, as brindletool reads
// it at start-up.  Input: the file.
//
// Every property ends with one of its words' numbers or its default, and a text
// property is text: a value the file spells wrong never shows as a number the
// tool has no meaning for.
#include <cstdlib>
#include <string>

#include "fuzz_support.h"
#include "gui/kes_gui_props.h"

// The resource manager compares a name with a stored, shorter one by memcmp
// over the longer length, which ends at the first difference, inside the
// stored name; AddressSanitizer would check the whole length and report a
// read beyond the store that never happens.
extern "C" const char *__asan_default_options() { return "strict_memcmp=0"; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const std::string home = [] {
    std::string h = fuzz::scratch();
    setenv("HOME", h.c_str(), 1);
    return h;
  }();
  fuzz::put(".brindletoolrc", fuzz::text(data, size));
  Kes_gui_props props;
  props.load();
  fuzz::check(props.rc_path && props.rc_path == home + "/.brindletoolrc", "the file's path");
  fuzz::check(!props.failure_text || !props.database, "a failure has no database");
  for (int v : {props.load_parents_and_children, props.auto_load_file_list,
                props.auto_display_output, props.auto_bringover_update, props.issue_comment_warn,
                props.show_children_dlg, props.show_time, props.show_operation, props.show_user,
                props.show_host, props.show_release, props.show_status, props.filter_operation,
                props.filter_user, props.filter_host, props.filter_release, props.filter_status,
                props.orientation})
    fuzz::check(v == 0 || v == 1, "a two-word property is 0 or 1");
  fuzz::check(props.workspace_names >= 0 && props.workspace_names <= 2, "workspace names");
  fuzz::check(props.sort_option >= 0 && props.sort_option <= 5, "sort option");
  fuzz::check(props.normal_double_click && props.conflict_double_click, "the double clicks");
  return 0;
}
