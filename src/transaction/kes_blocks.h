// The reasons that stop a command, collected while the files are examined and
// printed on standard error before anything is changed.  A list is made when
// its first name is added; an empty list prints nothing.
#ifndef BRINDLE_TRANSACTION_KES_BLOCKS_H
#define BRINDLE_TRANSACTION_KES_BLOCKS_H

class Kes_strlist;
class Kes_filelist;
class Kes_file;

class Kes_blocks {
public:
  Kes_strlist *from_unresolved;
  Kes_strlist *to_unresolved;
  Kes_filelist *cross_type;  // refers to files the transaction owns
  Kes_strlist *from_co;
  Kes_strlist *to_co;
  Kes_strlist *to_chg;
  Kes_strlist *to_new;
  Kes_strlist *to_name_chg;
  Kes_strlist *from_name_chg;
  Kes_strlist *to_conflict_add;
  Kes_strlist *from_conflict_add;
  Kes_strlist *to_conflict_remove;
  Kes_strlist *from_conflict_remove;
  int duplicates;

  Kes_blocks();
  ~Kes_blocks();
  Kes_blocks(const Kes_blocks &) = delete;
  Kes_blocks &operator=(const Kes_blocks &) = delete;

  // Each copies the name.
  void add_from_unresolved_list(const char *name);
  void add_to_unresolved_list(const char *name);
  void add_from_co_list(const char *name);
  void add_to_co_list(const char *name);
  void add_to_chg_list(const char *name);
  void add_to_new_list(const char *name);
  void add_to_name_chg_list(const char *name);
  void add_from_name_chg_list(const char *name);
  void add_to_conflict_add_list(const char *name);
  void add_from_conflict_add_list(const char *name);
  void add_to_conflict_remove_list(const char *name);
  void add_from_conflict_remove_list(const char *name);
  void set_duplicates() { duplicates = 1; }
  // Keeps the file itself, not a copy.
  void add_cross_type_list(Kes_file *file);

  // Each prints a blank line, its heading with the workspace name and the
  // names, and gives 1 if it printed (the reason blocks); on an empty list it
  // prints nothing and gives 0.  The conflict-file corrections never block.
  // "\tname (type/type)" per file, the from workspace's type first.
  int print_cross_type_list();
  int print_from_co_list(const char *wsname);
  int print_to_co_list(const char *wsname);
  int print_to_chg_list(const char *wsname);
  int print_to_new_list(const char *wsname);
  int print_from_name_chg_list(const char *wsname);
  int print_to_name_chg_list(const char *wsname);
  int print_to_conflict_add_list(const char *wsname);
  int print_from_conflict_add_list(const char *wsname);
  int print_to_conflict_remove_list(const char *wsname);
  int print_from_conflict_remove_list(const char *wsname);
  int print_from_unresolved_list(const char *wsname);
  int print_to_unresolved_list(const char *wsname);
  int print_duplicates();
};

#endif
