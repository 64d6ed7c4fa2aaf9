// Generator of history pairs and the judge of merged histories.
#include "support/merge_gen.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <set>
#include <sstream>

namespace merge_gen {

namespace {

std::vector<std::string> split(const std::string &s, char sep) {
  std::vector<std::string> parts;
  std::string cur;
  for (char c : s) {
    if (c == sep) {
      parts.push_back(cur);
      cur.clear();
    } else {
      cur += c;
    }
  }
  parts.push_back(cur);
  return parts;
}

std::vector<int> numbers(const std::string &s) {
  std::vector<int> v;
  std::istringstream in(s);
  int n;
  while (in >> n) v.push_back(n);
  return v;
}

std::vector<int> sid_parts(const std::string &sid) {
  std::vector<int> v;
  for (const std::string &p : split(sid, '.')) v.push_back(atoi(p.c_str()));
  return v;
}

const char *const kSignature = "sccsmerge-signature:";
const char *const kDataMarker = "Oakline Brindle data about conflicts, renames, etc...";

bool is_data_delta(const Delta_info &d) {
  return d.user == "Brindle" && d.comments.compare(0, strlen(kDataMarker), kDataMarker) == 0;
}

bool is_fake_root(const Delta_info &d) {
  return d.user == "Fake" && d.date == "70/01/01 00:00:00";
}

// A delta's bookkeeping without its type: a delta that one file has removed
// and the other not is the same delta.
std::string live_key(const Delta_info *d) {
  if (!d) return "?";
  Delta_info c = *d;
  c.type = 'D';
  return c.key();
}

// Writes an edited history file and lets admin -z mend its checksum.
void mend(const std::string &sfile, const std::string &text, const std::string &dir) {
  write_file(sfile, text);
  run({cssc("admin"), "-z", sfile}, dir);
}

// The entries of the p-file beside sfile.
std::vector<Pfile_entry> pfile_entries(const std::string &sfile) {
  std::vector<Pfile_entry> v;
  std::string pf = dir_of(sfile) + "/p." + base_of(sfile).substr(2);
  if (!file_exists(pf)) return v;
  for (const std::string &line : split(read_file(pf), '\n')) {
    std::istringstream in(line);
    Pfile_entry e;
    if (in >> e.old_sid >> e.new_sid >> e.user) v.push_back(e);
  }
  return v;
}

// Every delta of the table, newest first, by prs -e -a with one record per
// delta between \x02 and \x03, split at '|'.  The comments may hold '|' and
// newlines, so they go last.  False when prs fails.
bool read_deltas(const std::string &sfile, std::vector<Delta_info> *deltas,
                 std::vector<std::string> *problems) {
  Run_result r = run({cssc("prs"), "-e", "-a",
                      "-d\x02:I:|:DT:|:D: :T:|:P:|:DL:|:DS:|:DP:|:Dn:|:Dx:|:Dg:|:C:\x03", sfile});
  if (r.status != 0) {
    problems->push_back("prs of " + sfile + " failed: " + r.err);
    return false;
  }
  for (size_t pos = 0; (pos = r.out.find('\x02', pos)) != std::string::npos;) {
    size_t end = r.out.find('\x03', pos);
    if (end == std::string::npos) break;
    std::vector<std::string> f = split(r.out.substr(pos + 1, end - pos - 1), '|');
    pos = end;
    if (f.size() < 11) {
      problems->push_back("unreadable prs record in " + sfile);
      continue;
    }
    Delta_info d;
    d.sid = f[0];
    d.type = f[1].empty() ? '?' : f[1][0];
    d.date = f[2];
    d.user = f[3];
    d.stats = f[4];
    d.serial = atoi(f[5].c_str());
    d.pred = atoi(f[6].c_str());
    d.included = numbers(f[7]);
    d.excluded = numbers(f[8]);
    d.ignored = numbers(f[9]);
    std::string c = f[10];
    for (size_t i = 11; i < f.size(); i++) c += "|" + f[i];
    if (!c.empty() && c.back() != '\n') c += '\n';
    d.comments = c;
    deltas->push_back(d);
  }
  return true;
}

}  // namespace

// ---- snapshots ----------------------------------------------------------------

std::string Delta_info::key() const {
  std::string c = comments;
  // A merge signature at the end never separates two deltas.
  size_t last = c.empty() ? std::string::npos : c.rfind('\n', c.size() - 2);
  size_t start = last == std::string::npos ? 0 : last + 1;
  if (c.compare(start, strlen(kSignature), kSignature) == 0) c.erase(start);
  return std::string(1, type) + "|" + stats + "|" + date + "|" + user + "|" + c;
}

const Delta_info *Snapshot::by_key(const std::string &key) const {
  for (const Delta_info &d : deltas)
    if (d.key() == key) return &d;
  return nullptr;
}

const Delta_info *Snapshot::by_serial(int serial) const {
  for (const Delta_info &d : deltas)
    if (d.serial == serial) return &d;
  return nullptr;
}

const Delta_info *Snapshot::by_live_sid(const std::string &sid) const {
  for (const Delta_info &d : deltas)
    if (d.type == 'D' && d.sid == sid) return &d;
  return nullptr;
}

std::string get_text(const std::string &sfile, const std::string &sid,
                     std::vector<std::string> *problems) {
  Run_result r = support::get_text(sfile, sid);
  if (r.status != 0) {
    problems->push_back("get -p -r" + sid + " " + sfile + " failed: " + r.err);
    return "";
  }
  return r.out;
}

Snapshot snapshot(const std::string &sfile, std::vector<std::string> *problems) {
  Snapshot s;
  s.sfile = sfile;
  if (!read_deltas(sfile, &s.deltas, problems)) return s;
  Run_result fl = run({cssc("prs"), "-d:BF:|:Ds:|:FL:\x02:FD:", sfile});
  size_t text_at = fl.out.find('\x02');
  if (text_at != std::string::npos) s.desc = fl.out.substr(text_at + 1);
  std::vector<std::string> f = split(fl.out.substr(0, text_at), '|');
  if (fl.status != 0 || f.size() < 3 || text_at == std::string::npos) {
    problems->push_back("prs of the flags of " + sfile + " failed: " + fl.err);
  } else {
    s.branch_flag = f[0] == "yes";
    std::string flags = f[2];
    size_t d = flags.find("default SID\t");
    if (d != std::string::npos) {
      size_t e = flags.find('\n', d);
      s.default_sid = flags.substr(d + 12, e == std::string::npos ? std::string::npos : e - d - 12);
    }
  }
  s.pfile = pfile_entries(sfile);
  for (const Delta_info &d : s.deltas)
    if (d.type == 'D') s.text[d.sid] = get_text(sfile, d.sid, problems);
  return s;
}

const Delta_info *Snapshot::head() const {
  Run_result r = run({cssc("get"), "-g", sfile});
  std::string sid = r.out.substr(0, r.out.find('\n'));
  if (r.status == 0) return by_live_sid(sid);
  // A default branch with no delta on it yet: work goes on from its base.
  if (std::count(default_sid.begin(), default_sid.end(), '.') > 1)
    return by_live_sid(default_sid.substr(0, default_sid.rfind('.')));
  return nullptr;
}

// ---- the generator ----------------------------------------------------------

std::string Gen_params::describe() const {
  std::ostringstream o;
  o << "common=" << common_ops << " from=" << from_ops << " to=" << to_ops
    << (no_common ? " no-common" : "") << (binary ? " binary" : "")
    << (checkout_to ? " to-checked-out" : "") << (checkout_from ? " from-checked-out" : "")
    << (quick ? " quick" : "") << (same_second ? " same-second" : "") << (names ? " names" : "")
    << (split_root ? " split-root" : "") << " branch=" << branch_pct << "% ie=" << ie_pct
    << "% rmdel=" << rmdel_pct << "% ignore=" << ignore_pct << "%";
  return o.str();
}

struct Generator::History {
  std::string dir, name, sfile;  // sfile relative to dir: SCCS/s.<name>
  const char *side = "";
  std::vector<Delta_info> deltas;
  std::string path() const { return dir + "/" + sfile; }
  std::string gfile() const { return dir + "/" + name; }
  void refresh() {
    std::vector<std::string> ignored;
    deltas.clear();
    read_deltas(path(), &deltas, &ignored);
  }
  std::vector<std::string> live_sids() const {
    std::vector<std::string> v;
    for (const Delta_info &d : deltas)
      if (d.type == 'D') v.push_back(d.sid);
    return v;
  }
};

Generator::Generator(unsigned seed, const std::string &root)
    : rng_(seed), root_(root), clock_(788918400 /* 1995-01-01 */ + (seed % 1000) * 86400L) {}

int Generator::pick(int n) { return n <= 1 ? 0 : std::uniform_int_distribution<int>(0, n - 1)(rng_); }

bool Generator::chance(int pct) { return pick(100) < pct; }

std::string Generator::new_line() {
  static const char *const words[] = {"alpha", "beta", "gamma", "}", "{", "return 0;", "",
                                      "x = y;", "delta", "/* note */", "if (a)", "else"};
  int n = pick(5);
  if (n == 0) return words[pick(12)];  // common lines make the diffs ambiguous
  std::string s = "l" + std::to_string(counter_) + "-" + std::to_string(pick(100000));
  for (int i = 0; i < n; i++) s += std::string(" ") + words[pick(12)];
  return s;
}

std::string Generator::new_binary_line() {
  std::string s;
  int n = 1 + pick(40);
  for (int i = 0; i < n; i++) s += static_cast<char>(pick(256));
  return s;
}

// Inserts, deletes and changes random runs of lines.
void Generator::edit_text(std::string *text, bool binary) {
  std::vector<std::string> lines;
  if (!text->empty()) lines = split(text->back() == '\n' ? text->substr(0, text->size() - 1) : *text, '\n');
  int edits = 1 + pick(3);
  for (int e = 0; e < edits; e++) {
    int kind = lines.empty() ? 0 : pick(3);
    int at = pick(static_cast<int>(lines.size()) + 1);
    int len = 1 + pick(4);
    if (kind == 1 || kind == 2) {  // delete or change
      at = std::min(at, static_cast<int>(lines.size()) - 1);
      int n = std::min(len, static_cast<int>(lines.size()) - at);
      lines.erase(lines.begin() + at, lines.begin() + at + n);
      if (kind == 1) continue;
    }
    for (int i = 0; i < len; i++) {
      std::string l = binary ? new_binary_line() : new_line();
      if (!binary && chance(long_line_pct_)) l += std::string(1100 + pick(3000), 'w');
      lines.insert(lines.begin() + std::min(at, static_cast<int>(lines.size())), l);
    }
  }
  text->clear();
  for (const std::string &l : lines) *text += l + "\n";
  if (binary && text->empty()) *text = "\x01\n";
}

// Gives the newest delta of the file the next date of the generator's clock, so
// that deltas of the two sides interleave in time as they would on two machines.
// Now and then two deltas share a second.
void Generator::stamp(History &h) {
  if (!chance(10)) clock_ += 30 + pick(3000);
  std::string path = h.path();
  std::string s = read_file(path);
  size_t d = s.find("\n\001d ");
  if (d == std::string::npos) return;
  size_t sid_end = s.find(' ', d + 6);
  char date[32];
  time_t t = clock_;
  struct tm tm;
  gmtime_r(&t, &tm);
  strftime(date, sizeof date, "%y/%m/%d %H:%M:%S", &tm);
  s.replace(sid_end + 1, 17, date);
  mend(path, s, h.dir);
}

void Generator::create(History &h, const Gen_params &p) {
  std::string text;
  int n = 3 + pick(8);
  for (int i = 0; i < n; i++) text += (p.binary ? new_binary_line() : new_line()) + "\n";
  write_file(h.gfile(), text);
  // Descriptive text with lines that have a 'b' or a 'd' in the fourth byte,
  // as the branch and default flag lines have.
  write_file(h.dir + "/desc",
             " *\tdefault SID: " + std::string(h.side) + "\nribbon\nkept " + h.side + "\n");
  std::vector<std::string> argv = {cssc("admin"), "-i" + h.name, "-tdesc",
                                   "-yfirst version " + std::to_string(++counter_) + " " + h.side};
  if (p.binary) argv.push_back("-b");
  argv.push_back(h.sfile);
  run(argv, h.dir);
  unlink(h.gfile().c_str());
  unlink((h.dir + "/desc").c_str());
  stamp(h);
  h.refresh();
}

bool Generator::do_edit(History &h, const Gen_params &p) {
  std::vector<std::string> live = h.live_sids();
  std::vector<std::string> argv = {cssc("get"), "-e", "-s"};
  std::string base;
  if (!live.empty() && chance(p.branch_pct)) {
    base = live[pick(static_cast<int>(live.size()))];
    argv.push_back("-r" + base);
  }
  if (live.size() > 1 && chance(p.ie_pct)) {
    std::string other = live[pick(static_cast<int>(live.size()))];
    if (other != base) argv.push_back((chance(50) ? "-i" : "-x") + other);
  }
  argv.push_back(h.sfile);
  bool done = run(argv, h.dir).status == 0;
  if (done) {
    std::string text = read_file(h.gfile());
    long_line_pct_ = p.long_line_pct;
    edit_text(&text, p.binary);
    write_file(h.gfile(), text);
    std::string comment = std::string(h.side) + " change " + std::to_string(++counter_);
    if (chance(20)) comment += "\nsecond line of the comment";
    done = run({cssc("delta"), "-s", "-y" + comment, h.sfile}, h.dir).status == 0;
  }
  if (!done) {
    run({cssc("unget"), "-s", h.sfile}, h.dir);
    unlink(h.gfile().c_str());
    return false;
  }
  if (!p.quick) {
    if (p.ignore_pct && chance(p.ignore_pct)) {  // no draw when off: fixed seeds keep their pairs
      h.refresh();
      ignore_older(h);
    }
    if (!p.same_second) stamp(h);
    h.refresh();
  }
  return true;
}

// Gives the newest delta an ignore list naming an older live delta other than
// the root.  CSSC's delta has no -g: the line is added by hand, after the
// include and exclude lists as CSSC writes them.
void Generator::ignore_older(History &h) {
  std::vector<int> older;
  for (const Delta_info &d : h.deltas)
    if (d.type == 'D' && d.serial > 1 && d.serial < h.deltas.front().serial)
      older.push_back(d.serial);
  if (older.empty()) return;
  std::string path = h.path();
  std::string s = read_file(path);
  size_t at = s.find("\n\001d ");
  if (at == std::string::npos) return;
  at = s.find('\n', at + 1) + 1;
  while (s.compare(at, 2, "\001i") == 0 || s.compare(at, 2, "\001x") == 0)
    at = s.find('\n', at) + 1;
  s.insert(at, "\001g " + std::to_string(older[pick(static_cast<int>(older.size()))]) + "\n");
  mend(path, s, h.dir);
}

// An empty first block of the root before the rest of it: every version stays
// the same, but the body's structure no longer matches the other copy's.
static void split_root_block(const std::string &sfile, const std::string &dir) {
  std::string s = read_file(sfile);
  size_t at = s.find("\n\001I 1\n", s.find("\n\001T\n"));
  if (at == std::string::npos) return;
  s.insert(at + 6, "\001E 1\n\001I 1\n");
  mend(sfile, s, dir);
}

// Removes a random delta that nothing builds on.
bool Generator::do_rmdel(History &h) {
  std::vector<std::string> leaves;
  for (const Delta_info &d : h.deltas) {
    if (d.type != 'D' || d.pred == 0) continue;
    bool has_child = false;
    for (const Delta_info &c : h.deltas)
      if (c.pred == d.serial) has_child = true;
    if (!has_child) leaves.push_back(d.sid);
  }
  if (leaves.empty()) return false;
  Run_result r = run({cssc("rmdel"), "-r" + leaves[pick(static_cast<int>(leaves.size()))], h.sfile}, h.dir);
  h.refresh();
  return r.status == 0;
}

bool Generator::operate(History &h, const Gen_params &p) {
  for (int attempt = 0; attempt < 5; attempt++) {
    if (chance(p.rmdel_pct) && h.deltas.size() > 2) {
      if (do_rmdel(h)) return true;
    } else if (do_edit(h, p)) {
      return true;
    }
  }
  return false;
}

void Generator::checkout(History &h, const Gen_params &p) {
  std::vector<std::string> argv = {cssc("get"), "-e", "-s"};
  std::vector<std::string> live = h.live_sids();
  if (!live.empty() && chance(30)) argv.push_back("-r" + live[pick(static_cast<int>(live.size()))]);
  argv.push_back(h.sfile);
  if (run(argv, h.dir).status != 0) return;
  // Work in progress in the clear file, to be checked in after the merge.
  std::string text = read_file(h.gfile());
  edit_text(&text, p.binary);
  write_file(h.gfile(), text);
}

Gen_params Generator::random_params(int scale) {
  Gen_params p;
  p.common_ops = pick(4 * scale + 1);
  p.from_ops = pick(4 * scale + 1);
  p.to_ops = pick(4 * scale + 1);
  p.no_common = chance(10);
  p.binary = chance(10);
  p.checkout_to = chance(25);
  p.checkout_from = chance(15);
  p.branch_pct = pick(50);
  p.ie_pct = pick(30);
  p.rmdel_pct = pick(20);
  p.long_line_pct = chance(20) ? 5 : 0;
  p.same_second = !p.no_common && chance(15);
  p.names = chance(50);
  p.ignore_pct = chance(40) ? 30 : 0;
  p.split_root = chance(20);
  return p;
}

Pair Generator::make_pair(const Gen_params &p, const std::string &name) {
  Pair pair;
  pair.params = p;
  pair.name = name;
  pair.dir = root_ + "/" + name;
  mkdir(pair.dir.c_str(), 0755);
  History from, to;
  from.dir = pair.dir + "/from";
  to.dir = pair.dir + "/to";
  from.side = "from side";
  to.side = "to side";
  for (History *h : {&from, &to}) {
    h->name = "f.c";
    h->sfile = "SCCS/s.f.c";
    mkdir(h->dir.c_str(), 0755);
    mkdir((h->dir + "/SCCS").c_str(), 0755);
  }
  create(from, p);
  if (p.no_common) {
    create(to, p);
  } else {
    for (int i = 0; i < p.common_ops; i++) operate(from, p);
    copy_file(from.path(), to.path());
    to.refresh();
  }
  // The two sides take turns at random, so that their dates interleave.
  int left[2] = {p.from_ops, p.to_ops};
  History *sides[2] = {&from, &to};
  while (left[0] + left[1] > 0) {
    int s = left[0] == 0 ? 1 : left[1] == 0 ? 0 : pick(2);
    left[s]--;
    operate(*sides[s], p);
  }
  if (p.split_root) split_root_block(to.path(), to.dir);
  if (p.checkout_from) checkout(from, p);
  if (p.checkout_to) checkout(to, p);
  pair.from_sfile = from.path();
  pair.to_sfile = to.path();
  return pair;
}

// ---- the judge ----------------------------------------------------------------

namespace {

// Deltas reachable backwards from d (itself included) by predecessors, and also by
// included deltas when `with_includes`.
std::set<std::string> ancestors(const Snapshot &s, const Delta_info *d, bool with_includes) {
  std::set<std::string> keys;
  std::vector<const Delta_info *> todo = {d};
  while (!todo.empty()) {
    const Delta_info *x = todo.back();
    todo.pop_back();
    if (!x || !keys.insert(x->key()).second) continue;
    if (x->pred) todo.push_back(s.by_serial(x->pred));
    if (with_includes)
      for (int i : x->included) todo.push_back(s.by_serial(i));
  }
  return keys;
}

// The conflict records in a history's data delta, behind their marker.
const char kConflictMarker[] = "Conflict from ws : ";
std::vector<std::string> conflict_records(const Snapshot &s) {
  std::vector<std::string> v;
  const size_t n = strlen(kConflictMarker);
  for (const Delta_info &d : s.deltas) {
    size_t at = is_data_delta(d) ? d.comments.find(kConflictMarker) : std::string::npos;
    if (at != std::string::npos)
      v.push_back(d.comments.substr(at + n, d.comments.find('\n', at) - at - n));
  }
  return v;
}

bool is_common(const Snapshot &a, const Snapshot &b, const Delta_info &d) {
  return is_data_delta(d) || b.by_key(d.key()) != nullptr;
}

// A child of `head` that one file has removed and the other still has.
bool removed_on_one_side(const Snapshot &from, const Snapshot &to, const Delta_info *head) {
  if (!head) return false;
  const Delta_info *hf = from.by_key(head->key());
  const Delta_info *ht = to.by_key(head->key());
  if (!hf || !ht) return false;
  auto children = [](const Snapshot &s, const Delta_info *h) {
    std::vector<const Delta_info *> v;
    for (const Delta_info &d : s.deltas)
      if (d.pred == h->serial) v.push_back(&d);
    return v;
  };
  // A removed child of the head whose match in the other file is live there,
  // and not also removed there.
  std::vector<const Delta_info *> cf = children(from, hf), ct = children(to, ht);
  for (int side = 0; side < 2; side++) {
    const std::vector<const Delta_info *> &mine = side ? ct : cf, &other = side ? cf : ct;
    for (const Delta_info *c : mine) {
      if (c->type != 'R') continue;
      bool live = false, removed = false;
      for (const Delta_info *p : other)
        if (live_key(p) == live_key(c)) (p->type == 'R' ? removed : live) = true;
      if (live && !removed) return true;
    }
  }
  return false;
}

std::string cut_last(const std::string &sid) {
  size_t dot = sid.rfind('.');
  return dot == std::string::npos ? sid : sid.substr(0, dot);
}

bool has_root_in_common(const Snapshot &from, const Snapshot &to) {
  auto roots = [](const Snapshot &s) {
    std::vector<const Delta_info *> v;
    for (const Delta_info &d : s.deltas) {
      const Delta_info *p = d.pred ? s.by_serial(d.pred) : nullptr;
      if (!is_fake_root(d) && (d.pred == 0 || (p && is_fake_root(*p)))) v.push_back(&d);
    }
    return v;
  };
  for (const Delta_info *a : roots(from))
    for (const Delta_info *b : roots(to))
      if (a->key() == b->key()) return true;
  return false;
}

}  // namespace

int expected_state(const Snapshot &from, const Snapshot &to, bool *conflict) {
  const Delta_info *f = from.head(), *t = to.head();
  bool from_new = false, to_new = false;
  for (const Delta_info &d : from.deltas)
    if (!is_common(from, to, d)) from_new = true;
  for (const Delta_info &d : to.deltas)
    if (!is_common(to, from, d)) to_new = true;
  bool c;
  if (removed_on_one_side(from, to, f) || removed_on_one_side(from, to, t)) {
    c = true;
  } else if (f && to.by_key(f->key())) {
    c = false;
  } else if (!t || !from.by_key(t->key())) {
    c = true;
  } else {
    c = false;
    for (const Pfile_entry &e : to.pfile)
      if (e.old_sid == t->sid) c = true;
  }
  *conflict = c;
  if (c) return has_root_in_common(from, to) ? 3 : 4;
  // A pending check-out marks the to file for rewriting, as new deltas do.
  return from_new ? 1 : (to_new || !to.pfile.empty()) ? 2 : 0;
}

void check_output(const Snapshot &from, const Snapshot &to, const Snapshot &out,
                  bool conflict, const std::string &ws_path,
                  std::vector<std::string> *problems) {
  auto fail = [&](const std::string &what) { problems->push_back(out.sfile + ": " + what); };

  // Every delta of both inputs is in the output, in the same place, with the
  // same text.
  for (const Snapshot *in : {&from, &to}) {
    for (const Delta_info &d : in->deltas) {
      if (is_data_delta(d)) continue;
      const Delta_info *o = out.by_key(d.key());
      if (!o) {
        fail("lost delta " + d.sid + " (" + d.comments.substr(0, d.comments.find('\n')) +
             ") of " + in->sfile);
        continue;
      }
      if (d.pred) {
        const Delta_info *p = in->by_serial(d.pred);
        const Delta_info *op = p ? out.by_key(p->key()) : nullptr;
        if (!op || op->serial != o->pred)
          fail("delta " + d.sid + " of " + in->sfile + " has another predecessor as " + o->sid);
      } else if (o->pred != 0) {
        const Delta_info *op = out.by_serial(o->pred);
        if (!op || !is_fake_root(*op))
          fail("root " + d.sid + " of " + in->sfile + " hangs under a real delta as " + o->sid);
      }
      static std::vector<int> Delta_info::*const lists[3] = {
          &Delta_info::included, &Delta_info::excluded, &Delta_info::ignored};
      static const char *const list_names[3] = {"include", "exclude", "ignore"};
      for (int which = 0; which < 3; which++) {
        const std::vector<int> &in_list = d.*lists[which];
        const std::vector<int> &out_list = o->*lists[which];
        // Named by live_key: a delta that one input has removed and the other
        // not stands twice in the output, and a list of a delta common to both
        // can name only one of them.
        std::multiset<std::string> a, b;
        for (int s : in_list) a.insert(live_key(in->by_serial(s)));
        for (int s : out_list) b.insert(live_key(out.by_serial(s)));
        if (a != b)
          fail(std::string(list_names[which]) + " list of " + d.sid + " of " + in->sfile +
               " differs in " + o->sid);
      }
      if (d.type == 'D') {
        auto it = in->text.find(d.sid);
        auto ot = out.text.find(o->sid);
        if (it == in->text.end() || ot == out.text.end() || it->second != ot->second)
          fail("text of " + d.sid + " of " + in->sfile + " differs from that of " + o->sid);
      }
    }
  }
  // Nothing else is in the output, and live SIDs are unique and well formed.
  std::set<std::string> live;
  int data_deltas = 0;
  for (const Delta_info &o : out.deltas) {
    if (is_data_delta(o)) {
      data_deltas++;
      continue;
    }
    if (!is_fake_root(o) && !from.by_key(o.key()) && !to.by_key(o.key()))
      fail("delta " + o.sid + " comes from neither input");
    if (o.type != 'D') continue;
    if (!live.insert(o.sid).second) fail("SID " + o.sid + " given twice");
    const Delta_info *p = o.pred ? out.by_serial(o.pred) : nullptr;
    if (!p) continue;
    std::vector<int> s = sid_parts(o.sid), ps = sid_parts(p->sid);
    bool ok;
    if (s.size() == 2) {
      ok = ps.size() == 2 && (ps[0] < s[0] || (ps[0] == s[0] && ps[1] < s[1]));
    } else if (s.size() == 4) {
      if (s[3] > 1)
        ok = ps.size() == 4 && ps[0] == s[0] && ps[1] == s[1] && ps[2] == s[2] && ps[3] < s[3];
      else
        ok = ps.size() >= 2 && ps[0] == s[0] && ps[1] == s[1];
    } else {
      ok = false;
    }
    if (!ok) fail("SID " + o.sid + " does not follow its predecessor " + p->sid);
  }
  if (data_deltas > 1) fail("more than one data delta");

  // The from file's trunk keeps its numbers (moved up one level in release 1 when
  // the output has a fake root that the from file lacked).
  bool fake_added = false;
  for (const Delta_info &o : out.deltas)
    if (is_fake_root(o) && !from.by_key(o.key())) fake_added = true;
  for (const Delta_info &d : from.deltas) {
    if (d.type != 'D' || is_data_delta(d) || sid_parts(d.sid).size() != 2) continue;
    const Delta_info *o = out.by_key(d.key());
    std::vector<int> s = sid_parts(d.sid);
    std::string want = fake_added && s[0] == 1 ? "1." + std::to_string(s[1] + 1) : d.sid;
    if (o && o->sid != want) fail("trunk delta " + d.sid + " of the from file became " + o->sid);
  }

  // Pending check-outs of the to file name versions of the output and free SIDs.
  if (out.pfile.size() != to.pfile.size()) fail("p-file lost or gained entries");
  std::set<std::string> pending;
  for (size_t i = 0; i < out.pfile.size() && i < to.pfile.size(); i++) {
    const Pfile_entry &e = out.pfile[i];
    auto it = to.text.find(to.pfile[i].old_sid);
    auto ot = out.text.find(e.old_sid);
    if (it == to.text.end() || ot == out.text.end() || it->second != ot->second)
      fail("p-file entry " + e.old_sid + " names another version than " + to.pfile[i].old_sid);
    if (live.count(e.new_sid)) fail("p-file names SID " + e.new_sid + " that is taken");
    if (!pending.insert(e.new_sid).second) fail("p-file names SID " + e.new_sid + " twice");
  }

  // A conflict drops every descriptive-text line whose fourth byte is 'b' or 'd',
  // as it drops the flag lines; every other line stays.
  std::vector<std::string> want_desc;
  for (const std::string &l : split(to.desc, '\n'))
    if (!(conflict && l.size() > 3 && (l[3] == 'b' || l[3] == 'd'))) want_desc.push_back(l);
  if (split(out.desc, '\n') != want_desc)
    fail("descriptive text of the to file: got [" + out.desc + "] from [" + to.desc + "]");
  const Delta_info *fh = from.head(), *th = to.head();
  if (!conflict) {
    if (out.branch_flag != to.branch_flag || out.default_sid != to.default_sid)
      fail("flags changed without a conflict");
    // A record may only be carried over, never made.
    std::string inputs;
    for (const Snapshot *in : {&from, &to})
      for (const Delta_info &d : in->deltas)
        if (is_data_delta(d)) inputs += d.comments;
    for (const std::string &r : conflict_records(out))
      if (inputs.find(kConflictMarker + r) == std::string::npos)
        fail("conflict record without a conflict");
    return;
  }
  // A conflict: new work goes on the to file's line, and the record names the
  // versions to reconcile.
  if (!out.branch_flag) fail("no branch flag after a conflict");
  if (out.default_sid.empty()) fail("no default SID after a conflict");
  std::vector<std::string> records = conflict_records(out);
  std::string record = records.empty() ? "" : records.back();
  std::istringstream in(record);
  std::string word, path, child, parent, anc;
  in >> word >> path >> child >> parent >> anc;
  if (record.empty() || word != "noforce" || path != ws_path) {
    fail("conflict record is \"" + record + "\"");
    return;
  }
  // The child is the to file's line, or, when both lines share one branch, the
  // to file's version itself; the texts below decide.
  if (child != out.default_sid && !out.by_live_sid(child))
    fail("conflict child " + child + " is neither the default SID " + out.default_sid +
         " nor a delta");
  bool to_checked_out = false;
  for (size_t i = 0; i < to.pfile.size(); i++) {
    if (!th || to.pfile[i].old_sid != th->sid) continue;
    to_checked_out = true;
    // The pending delta is where the to file's line goes on.
    if (i < out.pfile.size() && cut_last(out.pfile[i].new_sid) != child)
      fail("conflict child " + child + " is not the line of the pending delta " +
           out.pfile[i].new_sid);
  }
  if (th && !to_checked_out) {
    std::string text = get_text(out.sfile, child, problems);
    if (text != to.text.at(th->sid)) fail("conflict child " + child + " is not the to file's head");
  }
  if (fh && get_text(out.sfile, parent, problems) != from.text.at(fh->sid))
    fail("conflict parent " + parent + " is not the from file's head");
  if (!anc.empty()) {
    const Delta_info *a = out.by_live_sid(anc);
    if (!a) {
      fail("conflict ancestor " + anc + " is not a delta");
    } else if (fh && th) {
      // A common ancestor of both heads, with no common ancestor below it.
      std::set<std::string> af = ancestors(from, from.by_key(fh->key()), true);
      std::set<std::string> at = ancestors(to, to.by_key(th->key()), true);
      if (!af.count(a->key()) || !at.count(a->key())) {
        fail("conflict ancestor " + anc + " is not an ancestor of both heads");
      } else {
        std::set<std::string> pf = ancestors(from, from.by_key(fh->key()), false);
        std::set<std::string> pt = ancestors(to, to.by_key(th->key()), false);
        for (const std::string &k : pf) {
          if (!pt.count(k) || k == a->key()) continue;
          const Delta_info *c = out.by_key(k);
          if (c && ancestors(out, c, false).count(a->key()))
            fail("conflict ancestor " + anc + " is older than the common ancestor " + c->sid);
        }
      }
    }
  }
}

std::string Judge_report::summary() const {
  std::string s;
  for (const std::string &p : problems) s += p + "\n";
  return s;
}

namespace {

// A scratch copy of a history's directory (clear file, SCCS directory with its
// p-file), so that merges never touch the generated pair.
std::string scratch_copy(const std::string &sfile, const std::string &where) {
  std::string ws = dir_of(dir_of(sfile));
  remove_tree(where);
  run({"/bin/cp", "-a", ws, where});
  return where + "/SCCS/" + base_of(sfile);
}

// Checks in the pending work of the first p-file entry, as its owner would after
// the merge: the delta must take the SID the p-file promises and keep the text.
void check_pending_delta(const std::string &sfile, std::vector<std::string> *problems) {
  std::vector<Pfile_entry> entries = pfile_entries(sfile);
  if (entries.empty()) return;
  const std::string &old_sid = entries[0].old_sid, &new_sid = entries[0].new_sid;
  std::string ws = dir_of(dir_of(sfile));
  std::string gfile = ws + "/" + base_of(sfile).substr(2);
  std::string work = read_file(gfile);
  Run_result d = run({cssc("delta"), "-s", "-r" + old_sid, "-ywork after merge", "SCCS/" + base_of(sfile)}, ws);
  if (d.status != 0) {
    problems->push_back(sfile + ": delta of the pending work failed: " + d.err);
    return;
  }
  if (val(sfile) != 0)
    problems->push_back(sfile + ": val refuses the file after the pending delta");
  if (get_text(sfile, new_sid, problems) != work)
    problems->push_back(sfile + ": pending work did not become " + new_sid);
}

void judge_direction(const Snapshot &from, const Snapshot &to, const std::string &scratch,
                     const Merge_fn &merge, Judge_report *rep, bool first, bool names) {
  std::vector<std::string> *problems = &rep->problems;
  bool conflict;
  int state = expected_state(from, to, &conflict);
  if (first) rep->contents_state = state;
  rep->states[state]++;
  std::string label = from.sfile + " into " + to.sfile + ": ";

  std::string from_copy = scratch_copy(from.sfile, scratch + "/in");
  std::string orig_to = read_file(to.sfile);

  // Analysis alone gives the same answer and writes nothing.
  std::string analysed = scratch_copy(to.sfile, scratch + "/analysis");
  Merge_request req;
  req.from_sfile = from_copy;
  req.to_sfile = analysed;
  req.analysis = true;
  req.names = names;
  Merge_outcome a = merge(req);
  if (!a.ok) problems->push_back(label + "analysis failed: " + a.error);
  else if (a.contents_state != state)
    problems->push_back(label + "analysis says state " + std::to_string(a.contents_state) +
                        ", expected " + std::to_string(state));
  if (read_file(analysed) != orig_to) problems->push_back(label + "analysis changed the file");

  Snapshot outs[2];
  for (int slow = 0; slow < 2; slow++) {
    std::string out = scratch_copy(to.sfile, scratch + (slow ? "/slow" : "/fast"));
    req.to_sfile = out;
    req.analysis = false;
    req.slow = slow;
    Merge_outcome m = merge(req);
    std::string route = slow ? "slow route: " : "fast route: ";
    if (slow && m.switched) problems->push_back(label + route + "switched routes");
    if (!slow && m.switched) rep->switches++;
    if (!m.ok) {
      problems->push_back(label + route + "merge failed: " + m.error);
      return;
    }
    if (m.contents_state != state) {
      problems->push_back(label + route + "state " + std::to_string(m.contents_state) +
                          ", expected " + std::to_string(state));
      return;
    }
    if ((state == 0 || state == 2) && (!req.names || read_file(out) == orig_to)) {
      // Nothing new for the to file; with names, a name history it lacked
      // may still be written.
      if (read_file(out) != orig_to) problems->push_back(label + route + "file changed with nothing new");
      return;
    }
    if (val(out) != 0) problems->push_back(label + route + "val refuses the output");
    if (admin_check(out) != 0)
      problems->push_back(label + route + "admin -h finds a bad checksum");
    outs[slow] = snapshot(out, problems);
    size_t before = problems->size();
    check_output(from, to, outs[slow], conflict, req.ws_path, problems);
    for (size_t i = before; i < problems->size(); i++) (*problems)[i] = label + route + (*problems)[i];
    if (problems->size() != before) return;
  }
  // Both routes give the same SIDs and versions.
  for (const Delta_info &d : outs[0].deltas) {
    const Delta_info *s = outs[1].by_key(d.key());
    if (!s || s->sid != d.sid || s->serial != d.serial)
      problems->push_back(label + "slow route placed " + d.sid + " otherwise");
    else if (d.type == 'D' && outs[0].text.at(d.sid) != outs[1].text.at(s->sid))
      problems->push_back(label + "routes differ in the text of " + d.sid);
  }
  // Merging either input into the output again finds nothing new.
  for (const Snapshot *in : {&from, &to}) {
    std::string again = scratch_copy(outs[0].sfile, scratch + "/again");
    std::string in_copy = scratch_copy(in->sfile, scratch + "/in2");
    Merge_request r2;
    r2.names = names;
    r2.from_sfile = in_copy;
    r2.to_sfile = again;
    r2.analysis = true;
    Merge_outcome m2 = merge(r2);
    // Nothing is new; a removal that only one side has stays a conflict.
    Snapshot again_snap = snapshot(again, problems);
    bool c2;
    int want = expected_state(*in, again_snap, &c2);
    if (!m2.ok || m2.contents_state != want || want == 1 || want == 4)
      problems->push_back(label + "merging " + in->sfile + " into the output again gives state " +
                          std::to_string(m2.contents_state) + ", expected " +
                          std::to_string(want) + " " + m2.error);
  }
  check_pending_delta(outs[0].sfile, problems);
}

}  // namespace

Judge_report judge_pair(const Pair &pair, const Merge_fn &merge) {
  Judge_report rep;
  Snapshot a = snapshot(pair.from_sfile, &rep.problems);
  Snapshot b = snapshot(pair.to_sfile, &rep.problems);
  if (!rep.problems.empty()) return rep;
  std::string scratch = pair.dir + "/scratch";
  mkdir(scratch.c_str(), 0755);
  judge_direction(a, b, scratch, merge, &rep, true, pair.params.names);
  judge_direction(b, a, scratch, merge, &rep, false, pair.params.names);
  remove_tree(scratch);
  return rep;
}

}  // namespace merge_gen
