// Kes_blocks: the lists of reasons that stop a command, and how they are printed.
#include "transaction/kes_blocks.h"

#include <cstdio>

#include "transaction/kes_file.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"

namespace {

void add(Kes_strlist **list, const char *name) {
  if (!*list) *list = new Kes_strlist;
  (*list)->add_new_copy(const_cast<char *>(name));
}

int empty(Kes_strlist *list) { return !list || list->count == 0; }

void print_names(Kes_strlist *list) {
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
    fprintf(stderr, "\t%s\n", (char *)e->data);
}

// The heading takes the workspace name; the names follow one a line.
int print_list(Kes_strlist *list, const char *heading, const char *wsname) {
  if (empty(list)) return 0;
  fflush(stdout);
  fprintf(stderr, "\n");
  fprintf(stderr, heading, wsname);
  print_names(list);
  return 1;
}

// The unresolved lists end with the command that settles them.
int print_unresolved(Kes_strlist *list, const char *wsname) {
  if (!print_list(list,
                  BWM_MSG(13501, "The following files need to be resolved in workspace\n\"%s\":\n"),
                  wsname))
    return 0;
  char resolve[1024];
  Kes_err *err = kes_find_cmd_in_path("resolve", resolve);
  if (err) {
    delete err;
    snprintf(resolve, sizeof resolve, "resolve");
  }
  fprintf(stderr, BWM_MSG(13502, "Use \"%s -w %s\" to resolve conflicts\n"), resolve, wsname);
  return 1;
}

const char *co_heading() {
  return BWM_MSG(13503,
                 "The following files are currently checked out and have been edited in "
                 "workspace\n\"%s\":\n");
}

const char *conflict_add_heading() {
  return BWM_MSG(13504,
                 "The conflict file in workspace \"%s\"\nwas incorrect.  The following files "
                 "are in conflict and have\nbeen added to the conflict file.\n");
}

const char *conflict_remove_heading() {
  return BWM_MSG(13505,
                 "The conflict file in workspace \"%s\"\nwas incorrect.  The following files "
                 "are not in conflict and have\nbeen removed from the conflict file.\n");
}

}  // namespace

Kes_blocks::Kes_blocks()
    : from_unresolved(nullptr),
      to_unresolved(nullptr),
      cross_type(nullptr),
      from_co(nullptr),
      to_co(nullptr),
      to_chg(nullptr),
      to_new(nullptr),
      to_name_chg(nullptr),
      from_name_chg(nullptr),
      to_conflict_add(nullptr),
      from_conflict_add(nullptr),
      to_conflict_remove(nullptr),
      from_conflict_remove(nullptr),
      duplicates(0) {}

Kes_blocks::~Kes_blocks() {
  if (cross_type) cross_type->delete_wrapper();
  delete from_unresolved;
  delete to_unresolved;
  delete from_co;
  delete to_co;
  delete to_chg;
  delete to_new;
  delete to_name_chg;
  delete from_name_chg;
  delete to_conflict_add;
  delete from_conflict_add;
  delete to_conflict_remove;
  delete from_conflict_remove;
}

void Kes_blocks::add_from_unresolved_list(const char *name) { add(&from_unresolved, name); }
void Kes_blocks::add_to_unresolved_list(const char *name) { add(&to_unresolved, name); }
void Kes_blocks::add_from_co_list(const char *name) { add(&from_co, name); }
void Kes_blocks::add_to_co_list(const char *name) { add(&to_co, name); }
void Kes_blocks::add_to_chg_list(const char *name) { add(&to_chg, name); }
void Kes_blocks::add_to_new_list(const char *name) { add(&to_new, name); }
void Kes_blocks::add_to_name_chg_list(const char *name) { add(&to_name_chg, name); }
void Kes_blocks::add_from_name_chg_list(const char *name) { add(&from_name_chg, name); }
void Kes_blocks::add_to_conflict_add_list(const char *name) { add(&to_conflict_add, name); }
void Kes_blocks::add_from_conflict_add_list(const char *name) { add(&from_conflict_add, name); }
void Kes_blocks::add_to_conflict_remove_list(const char *name) { add(&to_conflict_remove, name); }
void Kes_blocks::add_from_conflict_remove_list(const char *name) {
  add(&from_conflict_remove, name);
}

void Kes_blocks::add_cross_type_list(Kes_file *file) {
  if (!cross_type) cross_type = new Kes_filelist;
  cross_type->add_new_data(file);
}

int Kes_blocks::print_cross_type_list() {
  if (!cross_type || cross_type->count == 0) return 0;
  fflush(stdout);
  fprintf(stderr, "\n");
  fputs(BWM_MSG(13511, "The following files have different file types in the workspaces:\n"), stderr);
  for (Kes_listelem *e = cross_type->head.next; e != &cross_type->head; e = e->next) {
    Kes_file *f = (Kes_file *)e->data;
    fprintf(stderr, "\t%s (%s/%s)\n", f->to->name, f->from->filetype->get_string(),
            f->to->filetype->get_string());
  }
  return 1;
}

int Kes_blocks::print_from_co_list(const char *wsname) {
  return print_list(from_co, co_heading(), wsname);
}

int Kes_blocks::print_to_co_list(const char *wsname) {
  return print_list(to_co, co_heading(), wsname);
}

int Kes_blocks::print_to_chg_list(const char *wsname) {
  return print_list(
      to_chg,
      BWM_MSG(13506, "The following files have changed in workspace\n\"%s\" and must be brought over:\n"),
      wsname);
}

int Kes_blocks::print_to_new_list(const char *wsname) {
  return print_list(
      to_new,
      BWM_MSG(13507, "The following files are new in workspace\n\"%s\" and must be brought over:\n"),
      wsname);
}

int Kes_blocks::print_from_name_chg_list(const char *wsname) {
  return print_list(
      from_name_chg,
      BWM_MSG(13508, "The following files have been renamed in workspace\n\"%s\" and cannot be putback:\n"),
      wsname);
}

int Kes_blocks::print_to_name_chg_list(const char *wsname) {
  return print_list(
      to_name_chg,
      BWM_MSG(13509, "The following files have been renamed in workspace\n\"%s\" and must be brought over:\n"),
      wsname);
}

int Kes_blocks::print_to_conflict_add_list(const char *wsname) {
  print_list(to_conflict_add, conflict_add_heading(), wsname);
  return 0;
}

int Kes_blocks::print_from_conflict_add_list(const char *wsname) {
  print_list(from_conflict_add, conflict_add_heading(), wsname);
  return 0;
}

int Kes_blocks::print_to_conflict_remove_list(const char *wsname) {
  print_list(to_conflict_remove, conflict_remove_heading(), wsname);
  return 0;
}

int Kes_blocks::print_from_conflict_remove_list(const char *wsname) {
  print_list(from_conflict_remove, conflict_remove_heading(), wsname);
  return 0;
}

int Kes_blocks::print_from_unresolved_list(const char *wsname) {
  return print_unresolved(from_unresolved, wsname);
}

int Kes_blocks::print_to_unresolved_list(const char *wsname) {
  return print_unresolved(to_unresolved, wsname);
}

int Kes_blocks::print_duplicates() {
  if (!duplicates) return 0;
  fflush(stdout);
  fprintf(stderr, "\n");
  fputs(BWM_MSG(13510, "Some files in the same workspace have identical first deltas.\n"), stderr);
  return 1;
}
