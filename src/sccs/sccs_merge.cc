// Writing a merged history file: delta table, header copied from the to file,
// and the body by one of two routes.
#include "sccs/sccs_merge.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>

#include "sccs/kes_sfile.h"
#include "sccs/kes_smid.h"
#include "sccs/sccs_sfile.h"
#include "sccs/seditor.h"
#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"

namespace {

// -1: not looked up yet.
int bodies_test = -1;

int is_control(const char *line) { return line[0] == '\001'; }

// Reads the next line (or the next piece of a long one) into the file's buffer.
int next_line(Kes_sfile *f) {
  if (!fgets(f->line, sizeof f->line, f->stream)) return 0;
  f->line_count++;
  return 1;
}

Kes_serial *map_entry(Kes_sfile *f, int serial) {
  if (!f->serial_map || serial < 0 || serial > f->map_size) return nullptr;
  return &f->serial_map[serial];
}

int new_serial(Kes_sfile *f, int serial) {
  Kes_serial *e = map_entry(f, serial);
  return e ? e->serial : -1;
}

}  // namespace

void kes_merge_bodies_test_reread() { bodies_test = -1; }

SCCS_merge::SCCS_merge() {}

SCCS_merge::~SCCS_merge() {}

Kes_err *SCCS_merge::mksfile(Kes_delta **list, int conflict) {
  const char *dest = destination ? destination : to_sname;
  const char *slash = strrchr(dest, '/');
  std::string name = slash ? std::string(dest, slash - dest + 1) + "S." + (slash + 1) + ".XXXXXX"
                           : std::string("S.") + dest + ".XXXXXX";
  int fd = mkstemp(&name[0]);
  if (fd < 0)
    return (new Kes_err)
        ->format_msg(1017, errno, BWM_MSG(2514, "Open of \"%s\" for writing failed"), name.c_str());
  if (to_file->tmp_sfile_out) fclose(to_file->tmp_sfile_out);
  to_file->tmp_sfile_out = nullptr;
  free(to_file->tmp_sfile_path);
  to_file->tmp_sfile_path = strdup(name.c_str());
  if (!to_file->tmp_sfile_path) kes_new_handler();
  const char *tmp = to_file->tmp_sfile_path;
  // Written through the descriptor mkstemp opened: the name is made once.
  FILE *out = fdopen(fd, "w+");
  if (!out) {
    int e = errno;
    close(fd);
    return (new Kes_err)
        ->format_msg(1017, e, BWM_MSG(2514, "Open of \"%s\" for writing failed"), tmp);
  }
  Kes_err *err = fprintf_N_check(out, tmp, "%ch00000\n", 1);
  for (int i = 0; !err && list[i]; i++) err = list[i]->write(out, tmp);
  if (!err) err = sbody(list, out, conflict, (options & KES_MO_STRIP_FLAGS) != 0);
  if (!err && fflush(out) != 0) err = fprintf_err_message(tmp);
  if (err) {
    fclose(out);
    return err;
  }
  // The sync comes with the rename, after the checksum is in place; the
  // stream stays open for the checksum.
  to_file->sync_tmp_sfile = 1;
  to_file->tmp_sfile_out = out;
  return nullptr;
}

Kes_err *SCCS_merge::sbody(Kes_delta **list, FILE *out, int conflict, int strip) {
  const char *name = to_file->tmp_sfile_path;
  Kes_err *err = nullptr;
  for (Kes_sfile *f : {from_file, to_file}) {
    if (f->stream) {
      if (fseek(f->stream, f->deltab_end, SEEK_SET) != 0)
        return (new Kes_err)
            ->format_msg(1040, errno,
                         BWM_MSG(2515, "Seek of \"%s\" to end of delta table failed."), f->s_path);
      f->line_count = f->deltab_lines;
      continue;
    }
    f->stream = kes_fopen_read(f->s_path);
    if (!f->stream)
      return (new Kes_err)
          ->format_msg(1001, errno, BWM_MSG(2516, "Open of \"%s\" for reading failed"), f->s_path);
    f->line_count = 0;
    if (f == to_file)
      while (next_line(f) && !(is_control(f->line) && f->line[1] == 'u')) {
      }
  }
  char from_e = '0', to_e = '0';
  while (next_line(from_file)) {
    const char *l = from_file->line;
    if (is_control(l) && l[1] == 'T') break;
    if (is_control(l) && strncmp(l + 1, "f e ", 4) == 0) from_e = l[5];
  }
  if ((err = fprintf_N_check(out, name, "%cu\n", 1))) return err;
  while (next_line(to_file) && !(is_control(to_file->line) && to_file->line[1] == 'U'))
    if ((err = fputs_N_check(to_file->line, out, name))) return err;
  if ((err = fprintf_N_check(out, name, "%cU\n", 1))) return err;
  if (conflict) {
    if ((err = fprintf_N_check(out, name, "%cf b\n", 1))) return err;
    if ((err = fprintf_N_check(out, name, "%cf d %s\n", 1, to_file->default_sid))) return err;
  }
  while (next_line(to_file)) {
    const char *l = to_file->line;
    if (is_control(l) && l[1] == 'T') break;
    if (is_control(l) && strncmp(l + 1, "f e ", 4) == 0) to_e = l[5];
    // The test is the fourth byte of every line of this stretch, descriptive text
    // included, as the flag lines "^Af b" and "^Af d" have it (docs/decisions.md).
    if ((conflict || strip) && strlen(l) > 3 && (l[3] == 'b' || l[3] == 'd')) continue;
    if ((err = fputs_N_check(l, out, name))) return err;
  }
  if ((from_e == '1') != (to_e == '1'))
    return (new Kes_err)
        ->format_msg(2537, 0,
                     BWM_MSG(2517, "File \"%s\" has incompatible type with file \"%s\"(text/binary)"),
                     from_file->s_path, to_file->s_path);
  if ((err = fprintf_N_check(out, name, "%cT\n", 1))) return err;
  err = merge_bodies(list, out);
  for (Kes_sfile *f : {from_file, to_file}) {
    if (!f->stream) continue;
    Kes_err *c = fclose_N_check(f->stream, f->s_path);
    f->stream = nullptr;
    if (c && !err)
      err = c;
    else
      delete c;
  }
  return err;
}

Kes_err *SCCS_merge::merge_bodies(Kes_delta **list, FILE *out) {
  const char *name = to_file->tmp_sfile_path;
  if (bodies_test < 0) bodies_test = getenv("BRINDLE_MERGE_BODIES_TEST") != nullptr;
  if (bodies_test) return merge_bodies_new(out, list);
  long pos = ftell(out);
  if (pos < 0)
    return (new Kes_err)->format_msg(1001, errno, BWM_MSG(2518, "ftell() failed for \"%s\""), name);
  try {
    return merge_bodies_old(out);
  } catch (Kes_err *e) {
    delete e;
  }
  fputs(BWM_MSG(2519, "--> Switching to new merging logic due to internal error in "
                      "sccsmerge().\n--> It may take several minutes, please wait.\n"),
        stdout);
  fflush(stdout);
  // Written lines still in the stream's buffer would be read back from behind
  // the cut: flush them before cutting.
  if (fflush(out) != 0 || fseek(out, pos, SEEK_SET) != 0)
    return (new Kes_err)->format_msg(1040, errno, BWM_MSG(2520, "fseek() failed for \"%s\""), name);
  if (ftruncate(fileno(out), pos) != 0)
    return (new Kes_err)
        ->format_msg(1040, errno, BWM_MSG(2521, "ftruncate() failed for \"%s\""), name);
  return merge_bodies_new(out, list);
}

Kes_err *SCCS_merge::merge_bodies_old(FILE *out) {
  const char *name = to_file->tmp_sfile_path;
  Kes_sfile *from = from_file, *to = to_file;
  Kes_err *err;
  int from_more = next_line(from), to_more = next_line(to);
  while (from_more && to_more) {
    int fc = is_control(from->line), tc = is_control(to->line);
    if (!fc && !tc) {
      if (strcmp(from->line, to->line) != 0)
        return (new Kes_err)
            ->format_msg(2512, 0,
                         BWM_MSG(2522, "Internal error in sccsmerge in sccsmerge(): Data lines\nat "
                                       "line %d in file \"%s\"\nand line %d in \"%s\"\nshould "
                                       "have been identical"),
                         from->line_count, from->s_path, to->line_count, to->s_path);
      if ((err = fputs_N_check(from->line, out, name))) return err;
      from_more = next_line(from);
      to_more = next_line(to);
      continue;
    }
    int fs = fc ? from->get_serial() : 0;
    int ts = tc ? to->get_serial() : 0;
    if (fc && tc && from->line[1] == to->line[1]) {
      int nf = new_serial(from, fs);
      if (nf != -1 && nf == new_serial(to, ts)) {
        if ((err = fprintf_N_check(out, name, "%c%c %d\n", 1, from->line[1], nf))) return err;
        from_more = next_line(from);
        to_more = next_line(to);
        continue;
      }
    }
    Kes_serial *fe = fc ? map_entry(from, fs) : nullptr;
    Kes_serial *te = tc ? map_entry(to, ts) : nullptr;
    int f = fe && fe->delta && !fe->delta->peer;
    int t = te && te->delta && te->delta->side == 1 && !te->delta->peer;
    if (f && t) {
      // The older delta's block comes first; the from file wins a tie.
      if (kes_delta_cmp(fe->delta, te->delta) >= 0)
        t = 0;
      else
        f = 0;
    }
    if (f) {
      if ((err = newstuff(from, out, name, to))) return err;
      from_more = next_line(from);
    } else if (t) {
      if ((err = newstuff(to, out, name, from))) return err;
      to_more = next_line(to);
    } else {
      throw new Kes_err;  // the bodies differ in structure: this route can't go on
    }
  }
  for (; from_more; from_more = next_line(from))
    if ((err = newstuff(from, out, name, to))) return err;
  for (; to_more; to_more = next_line(to))
    if ((err = newstuff(to, out, name, from))) return err;
  for (Kes_sfile *f : {from, to})
    for (int i = 0; f->serial_map && i <= f->map_size; i++)
      if (f->serial_map[i].mode)
        return (new Kes_err)
            ->format_msg(2514, 0,
                         BWM_MSG(2523, "Internal error in sccsmerge in sccsmerge(): flags left in "
                                       "map for \"%s\""),
                         f->s_path);
  return nullptr;
}

Kes_err *SCCS_merge::newstuff(Kes_sfile *src, FILE *out, const char *out_name, Kes_sfile *other) {
  Kes_err *err;
  int depth = 0;  // open inserts
  for (;;) {
    if (depth > 0 && !is_control(src->line)) {
      if ((err = fputs_N_check(src->line, out, out_name))) return err;
    } else {
      // One control line; an insert goes on with the lines it holds and then
      // with the control line behind them.
      for (;;) {
        int serial = src->get_serial();
        Kes_serial *e = map_entry(src, serial);
        if (!e || e->serial == -1)
          return (new Kes_err)
              ->format_msg(2515, 0,
                           BWM_MSG(2524, "Internal error in sccsmerge in newstuff(): serial number "
                                         "%d maps to -1"),
                           serial);
        char letter = src->line[1];
        if (letter == 'D') {
          if (e->mode != 0)
            return (new Kes_err)
                ->format_msg(2516, 0, BWM_MSG(2525, "Internal error in sccsmerge in newstuff(): "
                                                    "no delete flag"));
          e->mode = 'D';
          if ((err = fprintf_N_check(out, out_name, "%cD %d\n", 1, e->serial))) return err;
          break;
        }
        if (letter == 'E') {
          if (e->mode == 0)
            return (new Kes_err)
                ->format_msg(2519, 0,
                             BWM_MSG(2526, "Internal error in sccsmerge in newstuff(): unset "
                                           "flags for serial number %d"),
                             serial);
          if ((err = fprintf_N_check(out, out_name, "%cE %d\n", 1, e->serial))) return err;
          if (e->mode == 'I') depth--;
          e->mode = 0;
          break;
        }
        if (letter != 'I')
          return (new Kes_err)
              ->format_msg(2520, 0,
                           BWM_MSG(2527, "Internal error in sccsmerge in newstuff(): two deltas "
                                         "in files \"%s\" and\n\"%s\" it thinks are the same, "
                                         "aren't"),
                           src->s_path, other->s_path);
        if (e->mode != 0)
          return (new Kes_err)
              ->format_msg(2517, 0, BWM_MSG(2528, "Internal error in sccsmerge in newstuff(): no "
                                                  "insert flag"));
        e->mode = 'I';
        if ((err = fprintf_N_check(out, out_name, "%cI %d\n", 1, e->serial))) return err;
        depth++;
        for (;;) {
          if (!next_line(src))
            return (new Kes_err)
                ->format_msg(2518, 0,
                             BWM_MSG(2529, "Internal error in sccsmerge in newstuff(): EOF in "
                                           "file \"%s\""),
                             src->s_path);
          if (is_control(src->line)) break;
          if ((err = fputs_N_check(src->line, out, out_name))) return err;
        }
      }
    }
    if (depth < 1) return nullptr;
    if (!next_line(src)) break;
  }
  return (new Kes_err)
      ->format_msg(2521, 0,
                   BWM_MSG(2530, "Internal error in sccsmerge in newstuff(): returning while "
                                 "still in insert mode"));
}

Kes_err *SCCS_merge::merge_bodies_new(FILE *out, Kes_delta **list) {
  int n = list_length;
  SCCS_sfile output(to_file->tmp_sfile_path);
  output.stream = out;
  Kes_tree_node **nodes = reinterpret_cast<Kes_tree_node **>(list);
  Kes_err *err = nullptr;
  try {
    SEditor from_ed(from_file, nodes, n), to_ed(to_file, nodes, n), out_ed(&output, nodes, n);
    for (int i = n - 1; i >= 0; i--) {
      Kes_delta *d = list[i];
      if (d->removed || d->fake) continue;
      if (d->peer && d->peer != d && !SEditor::cmp_files(from_ed, d, to_ed, d))
        throw(new Kes_err)
            ->format_msg(2520, 0,
                         BWM_MSG(2531, "Internal error in merge_bodies: different g-files for "
                                       "serial %d"),
                         d->serial);
      SEditor &src = d->side ? to_ed : from_ed;
      bool lists = (d->includes && d->includes[0]) || (d->excludes && d->excludes[0]) ||
                   (d->ignores && d->ignores[0]);
      if (lists) {
        Diff_list full, plain, ie_src, ie_out;
        src.build_diffs(d, &full, &plain, &ie_src);
        out_ed.build_diffs(d, nullptr, nullptr, &ie_out);
        if (ie_src.compare(&ie_out)) {
          out_ed.apply_diffs(d, &full);
        } else {
          // The lists act otherwise on the output: go from its view to the delta.
          Diff_list *rebased = rebase(&plain, &ie_out);
          try {
            out_ed.apply_diffs(d, rebased);
          } catch (...) {
            delete rebased;
            throw;
          }
          delete rebased;
        }
      } else {
        Diff_list full;
        src.build_diffs(d, &full, nullptr, nullptr);
        out_ed.apply_diffs(d, &full);
      }
    }
  } catch (Kes_err *e) {
    err = e;
  }
  output.stream = nullptr;  // the caller's stream
  return err;
}
