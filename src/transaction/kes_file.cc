// Kes_file: deciding what a transaction does to one file's contents and name,
// and the quick check that spares most files any parsing.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "sccs/kes_merge.h"
#include "sccs/kes_sfile.h"
#include "transaction/kes_blocks.h"
#include "transaction/kes_file.h"
#include "transaction/kes_first_pages.h"
#include "transaction/kes_trans_timers.h"
#include "transaction/kes_transaction.h"
#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_heap.h"
#include "util/kes_msg.h"
#include "util/kes_timing.h"
#include "workspace/kes_workspace.h"

namespace {
Kes_heap *file_heap;
}  // namespace

void *Kes_file::operator new(size_t size) { return kes_heap_new(&file_heap, size, 500); }
void Kes_file::operator delete(void *p) { kes_heap_delete(file_heap, p); }
void kes_file_delete_heap() { kes_heap_destroy(&file_heap); }

Kes_file::Kes_file()
    : pre_rename_name(nullptr),
      from(nullptr),
      to(nullptr),
      merge(nullptr),
      get_pid(0),
      flags(),
      contents_error(nullptr),
      rename_error(nullptr),
      comments(nullptr),
      get_retries(0),
      actions_done(0) {}

Kes_file::~Kes_file() {
  free(pre_rename_name);
  delete from;
  delete to;
  delete merge;
  delete contents_error;
  delete rename_error;
  delete comments;
}

Kes_file *Kes_file::copy() {
  Kes_file *c = new Kes_file;
  c->from = from ? from->copy() : nullptr;
  c->to = to ? to->copy() : nullptr;
  c->flags = flags;
  return c;
}

int Kes_file::has_action() {
  return flags.contents_action || flags.name_action || flags.name_history_merge ||
         (from && from->nh_incomplete) || (to && to->nh_incomplete);
}

int Kes_file::are_problems(Kes_transaction *t) { return t->report_problems(this, 0); }
int Kes_file::print_problems(Kes_transaction *t) { return t->report_problems(this, 1); }

// ---------------------------------------------------------------------------
// The quick check

namespace {

Kes_err *open_failed(const char *name) {
  return (new Kes_err)->format_msg(1001, errno, BWM_MSG(10500, "Open of \"%s\" for reading failed"),
                                   name);
}

Kes_err *zero_length(const char *name) {
  return (new Kes_err)->format_msg(2057, 0, BWM_MSG(10501, "Zero-length history file, \"%s\""),
                                   name);
}

}  // namespace

// Two short preads and no parse; the first pages as a whole when the first
// delta entries are long.  The second thread may have made the check already.
Kes_err *Kes_file::sccsmerge_quick_check(Kes_transaction *t) {
  if (flags.quick_check_result != KES_QC_NOT_DONE) return nullptr;
  flags.quick_check_result = KES_QC_DIFFERENT;
  char from_rel[1024], to_rel[1024], abs[1024];
  from->get_rel_sdotname(from_rel);
  to->get_rel_sdotname(to_rel);
  if (t->first_pages) {
    int verdict = t->first_pages->take(t->page_item, from_rel, to_rel);
    if (verdict >= 0) {
      if (verdict) flags.quick_check_result = KES_QC_SAME;
      return nullptr;
    }
  }

  int ffd = t->from_dir_fd >= 0 ? kes_open_read(t->from_dir_fd, from_rel)
                                : kes_open_read(AT_FDCWD, from->get_abs_sdotname(abs));
  if (ffd < 0) return open_failed(from->get_abs_sdotname(abs));
  int tfd = t->to_dir_fd >= 0 ? kes_open_read(t->to_dir_fd, to_rel)
                              : kes_open_read(AT_FDCWD, to->get_abs_sdotname(abs));
  if (tfd < 0) {
    Kes_err *err = open_failed(to->get_abs_sdotname(abs));
    ::close(ffd);
    return err;
  }
  long na, nb;
  int same = kes_first_pages_same(ffd, tfd, &na, &nb);
  ::close(ffd);
  ::close(tfd);
  // The from side is named relative to its root, the to side absolutely.
  if (na == 0) return zero_length(from_rel);
  if (nb == 0) return zero_length(to->get_abs_sdotname(abs));
  if (na < 0 || nb < 0) return nullptr;  // unreadable: different, and the merge will say why
  if (same) flags.quick_check_result = KES_QC_SAME;
  return nullptr;
}

// ---------------------------------------------------------------------------
// The test merge

Kes_err *Kes_file::test_merge(Kes_transaction *t, int conflicts) {
  char from_s[1024], to_s[1024];
  from->get_abs_sdotname(from_s);
  to->get_rel_sdotname(to_s);
  Kes_timing *timer = kes_trans_timer(KES_TIMER_SCCSMERGE_TEST);
  Kes_timing::start(timer);
  Kes_merge *m = t->to_ws->get_merge_object();
  m->from_sname = from_s;
  m->from_name = from->name;
  m->to_sname = to_s;
  m->to_name = to->name;
  m->from_file = from->ws->get_sfile(from_s);
  m->to_file = to->ws->get_sfile(to_s);
  m->options = KES_MO_ANALYSIS_ONLY | KES_MO_NAMES;
  // The to file's p-file counts only when its checkout holds edits.
  if (to->checked_out == 2) m->options |= KES_MO_READ_PFILE;
  if (conflicts) m->options |= KES_MO_READ_CONFLICTS;
  Kes_err *err = m->merge();
  // The histories are closed at once; the results stay in the object.
  delete m->from_file;
  delete m->to_file;
  m->from_file = m->to_file = nullptr;
  m->from_sname = m->from_name = m->to_sname = m->to_name = nullptr;
  Kes_timing::stop(timer);
  if (err) {
    delete m;
    return err;
  }
  delete merge;
  merge = m;
  return nullptr;
}

namespace {
// The name-history results of a merge.
void take_name_history_bits(Kes_file *f) {
  unsigned int o = f->merge->options;
  f->flags.name_history_merge = (o & KES_MO_NH_REWRITE) != 0;
  f->to->nh_incomplete = (o & KES_MO_TO_NAME_GAINED) != 0;
  f->from->nh_incomplete = (o & KES_MO_FROM_NAME_GAINED) != 0;
}
}  // namespace

// ---------------------------------------------------------------------------
// State determination

Kes_err *Kes_file::determine_prop_state(Kes_transaction *t) {
  Kes_err *err;
  if (t->flags.check_renames) {
    if ((err = check_for_rename_candidate(t))) return err;
    if (flags.rename_candidate) return nullptr;  // it waits for the rename pass
  }
  if ((err = determine_contents_state(t))) return err;
  if ((err = determine_name_state(t))) return err;
  if (merge) {
    if (!flags.name_merge_candidate && merge->contents_state == KES_MERGE_SAME) t->quiet_merges++;
    delete merge;
    merge = nullptr;
  }
  return nullptr;
}

Kes_err *Kes_file::check_for_rename_candidate(Kes_transaction *t) {
  if (!flags.cross_type && from->exists && to->exists) {
    Kes_err *err = sccsmerge_quick_check(t);
    if (err) return err;
    if (flags.quick_check_result != KES_QC_SAME) {
      if ((err = test_merge(t, 1))) return err;
      if (merge->contents_state == KES_MERGE_SAME) t->quiet_merges++;
      if (merge->contents_state == KES_MERGE_CONFLICT_NO_COMMON) flags.no_common_ancestor = 1;
      take_name_history_bits(this);
    }
  }
  if (from->exists != to->exists)
    flags.rename_candidate = 1;
  else
    // Two unrelated files under one name may each be a rename of another.
    flags.rename_candidate = flags.no_common_ancestor;
  return nullptr;
}

Kes_err *Kes_file::determine_contents_state(Kes_transaction *t) {
  enum { NOTHING, UNCHANGED, NEW_IN_TO, CHANGED_IN_TO } outcome = NOTHING;
  int to_changed = 0;
  int unresolved_known = 0;  // a history said whether the files are in conflict
  flags.contents_action = KES_CA_NONE;

  if (flags.cross_type) {
    // nothing moves
  } else if (from->exists && !to->exists) {
    flags.contents_action = KES_CA_CREATE;
    t->set_conflict(from);
    unresolved_known = 1;
  } else if (!from->exists && to->exists) {
    outcome = NEW_IN_TO;
  } else if (from->exists && to->exists) {
    Kes_err *err = sccsmerge_quick_check(t);
    if (err) return err;
    if (flags.quick_check_result == KES_QC_SAME) {
      outcome = UNCHANGED;
    } else {
      if (!merge && (err = test_merge(t, 1))) return err;
      unresolved_known = 1;
      if (merge->options & KES_MO_ROOTS_CHANGED) flags.roots_changed = 1;
      int cs = merge->conflict_state;
      if (cs == 2 || cs == 3) {
        to->unresolved = 1;
        flags.to_unresolved = 1;
      }
      if (cs == 1 || cs == 3) from->unresolved = 1;
      switch (merge->contents_state) {
        case KES_MERGE_SAME: outcome = UNCHANGED; break;
        case KES_MERGE_FROM_NEW:
          flags.contents_action = t->flags.force_conflict ? KES_CA_CONFLICT : KES_CA_UPDATE;
          break;
        case KES_MERGE_TO_NEW:
          outcome = CHANGED_IN_TO;
          to_changed = 1;
          break;
        case KES_MERGE_CONFLICT:
          flags.contents_action = KES_CA_CONFLICT;
          to_changed = 1;
          break;
        default:
          flags.contents_action = KES_CA_CONFLICT;
          flags.no_common_ancestor = 1;
          to_changed = 1;
          break;
      }
      take_name_history_bits(this);
    }
  }

  if (flags.cross_type) t->vstatus_printf(KES_TS_CROSS_TYPE, to->name);
  if (outcome == UNCHANGED) {
    t->counts.unchanged++;
    t->vstatus_printf(KES_TS_UNCHANGED, to->name);
  }
  if (outcome == CHANGED_IN_TO && !flags.to_unresolved) {
    t->counts.changed_in_to_only++;
    t->vstatus_printf(t->get_chgd_in_to_only_msg(), to->name);
  }
  if (outcome == NEW_IN_TO) {
    t->blocks->add_to_new_list(to->name);
    t->counts.new_in_to++;
    t->vstatus_printf(t->get_new_in_to_msg(), to->name);
  }
  if (to_changed) t->blocks->add_to_chg_list(to->name);
  t->checked_out_status(to, from);
  if (to->unresolved) t->blocks->add_to_unresolved_list(to->name);
  if (from->unresolved) t->blocks->add_from_unresolved_list(from->name);
  // The conflicts files are caches of what the histories say; they are put
  // right only where a history was read.
  if (unresolved_known) {
    if (to->exists) t->reconcile_conflict_file(to);
    t->reconcile_conflict_file(from);
  }
  return nullptr;
}

Kes_err *Kes_file::determine_name_state(Kes_transaction *t) {
  flags.name_action = KES_NA_NONE;
  if (flags.cross_type || !from->exists || !to->exists) return nullptr;
  Kes_err *err;
  if (!flags.name_merge_candidate) {
    if ((err = sccsmerge_quick_check(t))) return err;
    if (flags.quick_check_result == KES_QC_SAME) return nullptr;
  }
  // A file out of the rename pass has two names, so its histories are merged
  // even when they are the same.
  if (!merge && (err = test_merge(t, 0))) return err;
  switch (merge->rename_state) {
    case 1:
      flags.name_action = KES_NA_UPDATE;
      t->blocks->add_from_name_chg_list(from->name);
      break;
    case 2:
      t->counts.name_changed_in_to_only++;
      t->vstatus_printf(t->get_name_chgd_in_to_only_msg(), to->name);
      t->blocks->add_to_name_chg_list(to->name);
      break;
    case 3:
      flags.name_action = KES_NA_CONFLICT;
      t->blocks->add_from_name_chg_list(from->name);
      t->blocks->add_to_name_chg_list(to->name);
      break;
    default: break;
  }
  take_name_history_bits(this);
  return nullptr;
}

// ---------------------------------------------------------------------------
// Kes_filelist

Kes_filelist::~Kes_filelist() { clear(); }
Kes_list *Kes_filelist::create_list() { return new Kes_filelist; }
void *Kes_filelist::create_data() { return new Kes_file; }
void *Kes_filelist::copy_data(void *data) { return static_cast<Kes_file *>(data)->copy(); }
void Kes_filelist::delete_data(void *data) { delete static_cast<Kes_file *>(data); }
void Kes_filelist::print_data(void *data) {
  Kes_file *f = static_cast<Kes_file *>(data);
  fprintf(stderr, "\t%p %s -> %s\n", data, f->from ? f->from->name : "", f->to ? f->to->name : "");
}
int Kes_filelist::compare_datas(void *a, void *b) { return a == b; }
