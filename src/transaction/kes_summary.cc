// The summary at the end of a transaction.  Everything goes through printf, so
// the history log gets it too.
#include <cstdio>

#include "transaction/kes_transaction.h"
#include "util/kes_err.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"
#include "workspace/kes_workspace.h"

int Kes_transaction::content_chgs() {
  const Kes_trans_counts &c = counts;
  return c.conflicts > 0 || c.updates > 0 || c.restores > 0 || c.removes > 0 || c.creates > 0 ||
         c.new_in_to > 0 || c.changed_in_to_only > 0 || c.unresolved_in_from > 0 ||
         c.unresolved_in_to > 0 || c.checked_out_in_from > 0 || c.checked_out_in_to > 0 ||
         c.differentiate_parent > 0 || c.differentiate_child > 0 || c.contents_errors > 0 ||
         c.unchanged > 0;
}

int Kes_transaction::name_chgs() {
  const Kes_trans_counts &c = counts;
  return c.renamed > 0 || c.rename_conflicts > 0 || c.name_changed_in_to_only > 0 ||
         c.update_parent_nh > 0 || c.update_children_nh > 0 || c.merge_nh > 0 ||
         c.rename_errors > 0;
}

void Kes_transaction::print_summary_line(int state, int count) {
  if (count > 0) printf("%8d   %s\n", count, localized_str(state));
}

void Kes_transaction::summary_counts(int names, int *states, int *values, int *n) {
  const Kes_trans_counts &c = counts;
  const int contents_lines[][2] = {
      {KES_TS_CREATE, c.creates},
      {KES_TS_UPDATE, c.updates},
      {KES_TS_CONFLICT, c.conflicts},
      {KES_TS_RESTORE, c.restores},
      {KES_TS_REMOVE, c.removes},
      {KES_TS_UNCHANGED, c.unchanged},
      {get_new_in_to_msg(), c.new_in_to},
      {get_chgd_in_to_only_msg(), c.changed_in_to_only},
      {get_unresolved_in_from_msg(), c.unresolved_in_from},
      {get_unresolved_in_to_msg(), c.unresolved_in_to},
      {get_checkedout_in_from_msg(), c.checked_out_in_from},
      {get_checkedout_in_to_msg(), c.checked_out_in_to},
      {KES_TS_DIFFERENTIATE_PARENT, c.differentiate_parent},
      {KES_TS_DIFFERENTIATE_CHILD, c.differentiate_child},
      {KES_TS_CONTENTS_ERRORS, c.contents_errors},
  };
  const int names_lines[][2] = {
      {KES_TS_RENAMED, c.renamed},
      {KES_TS_RENAME_CONFLICT, c.rename_conflicts},
      {KES_TS_UPDATE_PARENT_NH, c.update_parent_nh},
      {KES_TS_UPDATE_CHILDREN_NH, c.update_children_nh},
      {KES_TS_MERGE_NH, c.merge_nh},
      {get_name_chgd_in_to_only_msg(), c.name_changed_in_to_only},
      {KES_TS_RENAME_ERRORS, c.rename_errors},
  };
  const int(*lines)[2] = names ? names_lines : contents_lines;
  int count = names ? 7 : 15;
  *n = 0;
  for (int i = 0; i < count; i++) {
    if (lines[i][1] <= 0) continue;
    states[*n] = lines[i][0];
    values[*n] = lines[i][1];
    (*n)++;
  }
}

void Kes_transaction::summarize() {
  const Kes_trans_counts &c = counts;
  int contents = content_chgs();
  int names = name_chgs();
  if (!contents && !names && c.cross_type == 0) return;

  const char *cmd = kes_get_base_cmdname() ? kes_get_base_cmdname() : "";
  int file_errors = c.contents_errors + c.rename_errors;
  if (!flags.preview && file_errors > 0) {
    printf("\n");
    printf(BWM_MSG(13520, "%s warning: files with errors: %d\n"), cmd, file_errors);
    printf("\n");
    print_errs();
  }
  if (examined > 0) {
    printf("\n");
    printf(BWM_MSG(13521, "Examined files: %d\n"), examined);
  }
  int states[16], values[16], n;
  if (contents) {
    printf("\n");
    printf("%s", BWM_MSG(13522, "Contents Summary:\n"));
    summary_counts(0, states, values, &n);
    for (int i = 0; i < n; i++) print_summary_line(states[i], values[i]);
  }
  if (names) {
    printf("\n");
    printf("%s", BWM_MSG(13523, "Names Summary:\n"));
    summary_counts(1, states, values, &n);
    for (int i = 0; i < n; i++) print_summary_line(states[i], values[i]);
  }
  if (c.cross_type > 0) {
    printf("\n");
    print_summary_line(KES_TS_CROSS_TYPE, c.cross_type);
  }
  if (!flags.preview && c.conflicts > 0) {
    // Straight to the terminal: the log has the conflict lines already.
    char resolve[1024];
    Kes_err *err = kes_find_cmd_in_path("resolve", resolve);
    if (err) {
      delete err;
      snprintf(resolve, sizeof resolve, "resolve");
    }
    fprintf(stdout, "\n");
    fprintf(stdout, BWM_MSG(13524, "Use \"%s -w %s\" to resolve conflicts.\n"), resolve,
            to_ws && to_ws->wsname ? to_ws->wsname : "");
  }
  if (flags.preview) {
    printf("\n");
    printf("%s", get_no_files_done_msg());
    printf("\n");
  }
}
