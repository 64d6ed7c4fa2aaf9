// The options that bringover and putback share, and comment files.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "transaction/kes_transaction.h"
#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"
#include "workspace/kes_workspace.h"

Kes_err *kes_read_comment_file(const char *path, Kes_strlist *comment) {
  FILE *f = fopen(path, "r");
  if (!f)
    return (new Kes_err)->format_msg(
        1001, errno, BWM_MSG(12001, "Open of comment file \"%s\" for reading failed"), path);
  char line[1024];
  while (fgets(line, sizeof line, f)) {
    size_t len = strlen(line);
    if (len > 0 && line[len - 1] == '\n') line[len - 1] = '\0';
    comment->add_new_copy(line);
  }
  fclose(f);
  return nullptr;
}

int Kes_transaction::take_own_option(int, Kes_err **err) {
  *err = nullptr;
  return 0;
}

Kes_err *Kes_transaction::parse_child_parent_args(const char *optstring) {
  const char *child_name = nullptr;
  int c;
  opterr = 0;  // an unknown option gets the usage text, not getopt's
  optind = 1;
  while ((c = getopt(argc, argv, optstring)) != -1) {
    Kes_err *err = nullptr;
    if (c == 'w') {
      child_name = optarg;
    } else if (c == 'p') {
      delete parent_ws;
      parent_ws = nullptr;
      if (!(err = parse_dashp_arg(optarg, &parent_ws)) && !parent_ws)
        err = (new Kes_err)->format_msg(
            2041, 0, BWM_MSG(12004, "\"%s\" is not a workspace or a directory"), optarg);
    } else if (!take_own_option(c, &err) && !take_shared_option(c, &err)) {
      usage();
    }
    if (err) return err;
  }
  Kes_err *err = kes_determine_default_ws(child_name, &child_ws);
  if (err) return err;
  if (optind >= argc && flps->count == 0 && !include_file) parse_dasha_arg(child_ws);
  first_file_arg = optind;
  return nullptr;
}

int Kes_transaction::take_shared_option(int c, Kes_err **err) {
  *err = nullptr;
  switch (c) {
    case 'n': flags.preview = 1; break;
    case 'f': flps->add_new_copy(optarg); break;
    case 'c': comment->add_new_copy(optarg); break;
    case 'm': *err = kes_read_comment_file(optarg, comment); break;
    case 'i': kes_str_replace(&include_file, optarg); break;
    case 'x': kes_str_replace(&exclude_file, optarg); break;
    // -q and -v exclude each other: the later one wins.
    case 'q': flags.quiet = 1; flags.verbose = 0; break;
    case 'v': flags.verbose = 1; flags.quiet = 0; break;
    case 'g': flags.update_clear_files = 0; break;
    case 'd': flags.show_delta_comments = 1; break;
    case 'B': flags.no_backup = 1; break;
    default: return 0;
  }
  return 1;
}
