// The name table: its records and lines, the states of table and journal and
// what a read makes of each, writing, edits and the journal, the rebuild by a
// walk over a workspace of history files made by SCCS, and duplicate SmIDs.
#include <fcntl.h>
#include <sys/wait.h>

#include <algorithm>
#include <set>

#include "sccs/kes_sfile.h"
#include "sccs/kes_smid.h"
#include "util/kes_process.h"
#include "workspace/kes_nametable.h"
#include "workspace/kes_workspace.h"
#include "support/cssc.h"
#include "workspace/ws_helpers.h"

using namespace support;
using namespace ws_test;

namespace {

// A history file made by SCCS, with a comment of its own so that its SmID is
// its own.
void make_history(const std::string &sfile, const std::string &comment) {
  make_dirs(dir_of(sfile));
  new_history(dir_of(sfile), base_of(sfile).substr(2), "text of " + sfile + "\n", "-y" + shq(comment));
}

// The SmID text of a history file's root, through a full read.
std::string root_smid(const std::string &sfile) {
  Kes_workspace scratch;
  Kes_sfile *f = scratch.get_sfile(sfile.c_str());
  Kes_err *e = f->buildtree(0, 0, 0);
  EXPECT_EQ(e, nullptr) << (e ? e->text : "");
  delete e;
  Kes_smid *s = kes_smid_from_delta(f->root_delta());
  char buf[KES_SMID_TEXT_SIZE];
  std::string t = s->to_text(buf);
  delete s;
  delete f;
  return t;
}

Kes_nt *record(const char *name, unsigned long a, unsigned long b, unsigned long c,
               unsigned long d) {
  unsigned long words[4] = {a, b, c, d};
  return new Kes_nt(name, new Kes_smid(words));
}

class Nametable : public ::testing::Test {
protected:
  static void SetUpTestSuite() { kes_set_path(); }

  void SetUp() override {
    root = make_ws(tmp.file("ws"));
    md = root + "/Brindle_wsdata";
    table = md + "/nametable";
    journal = md + "/nametable_editlog";
  }
  void TearDown() override {
    delete nt;
    delete ws;
  }

  // A fresh workspace object and table object.
  Kes_md_nametable *open_table() {
    delete nt;
    delete ws;
    nt = nullptr;
    Kes_err *err = nullptr;
    ws = new Kes_workspace(root.c_str(), &err);
    EXPECT_EQ(err, nullptr);
    delete err;
    EXPECT_EQ(take(ws->get_md_nametable(&nt)).code, 0);
    return nt;
  }

  // The records in memory as "name smid" lines, removed ones left out, sorted.
  std::vector<std::string> records() {
    std::vector<std::string> v;
    for (Kes_listelem *e = nt->list->head.next; e != &nt->list->head; e = e->next) {
      Kes_nt *r = static_cast<Kes_nt *>(e->data);
      char buf[KES_NT_BUF_SIZE];
      if (r->edit != Kes_nt::REMOVE) v.push_back(r->print(buf));
    }
    std::sort(v.begin(), v.end());
    return v;
  }

  Err read() { return take(nt->read_table(nullptr, nullptr)); }

  // The table file's lines but its version line, sorted.
  std::vector<std::string> table_lines() {
    std::string text = read_file(table);
    EXPECT_EQ(text.rfind("VERSION 1\n", 0), 0u) << text;
    std::vector<std::string> v = lines_of(text.substr(std::min<size_t>(10, text.size())));
    v.erase(std::remove(v.begin(), v.end(), ""), v.end());
    std::sort(v.begin(), v.end());
    return v;
  }

  Temp_dir tmp;
  std::string root, md, table, journal;
  Kes_workspace *ws = nullptr;
  Kes_md_nametable *nt = nullptr;
};

// ---------------------------------------------------------------------------
// Reading: what a read makes of each state of table and journal

TEST_F(Nametable, AMissingTableIsBuiltFromTheTreeAndKept) {
  make_history(root + "/SCCS/s.a.c", "a");
  make_history(root + "/dir with blank/SCCS/s.b c.h", "b");
  make_history(root + "/x/y/SCCS/s.z.c", "z");
  char before[4096], after[4096];
  ASSERT_NE(getcwd(before, sizeof before), nullptr);
  open_table();
  EXPECT_EQ(read().code, 0);
  ASSERT_NE(getcwd(after, sizeof after), nullptr);
  EXPECT_STREQ(before, after);  // the walk leaves the current directory as it was
  std::vector<std::string> expect = {
      "a.c " + root_smid(root + "/SCCS/s.a.c"),
      "dir with blank/b c.h " + root_smid(root + "/dir with blank/SCCS/s.b c.h"),
      "x/y/z.c " + root_smid(root + "/x/y/SCCS/s.z.c")};
  std::sort(expect.begin(), expect.end());
  EXPECT_EQ(records(), expect);
  EXPECT_TRUE(nt->rebuilt);
  EXPECT_EQ(table_lines(), expect);
  EXPECT_EQ(mode_of(table), 0666u);
  EXPECT_FALSE(file_exists(journal));
  EXPECT_FALSE(file_exists(table + ".lock"));

  // The next read takes the file as it is: nothing is scanned.
  open_table();
  EXPECT_EQ(read().code, 0);
  EXPECT_FALSE(nt->rebuilt);
  EXPECT_EQ(records(), expect);
}

// Each state of the two files (nullptr: no such file): the code of the read,
// the warning it prints, whether the table was rebuilt from the tree (which
// holds one history, real.c), the records it ends with, and the table's lines
// afterwards; "" for a table that must stay as it was.  Whatever the state,
// the journal is gone after a good read and no lock is left.
TEST_F(Nametable, WhatAReadMakesOfTableAndJournal) {
  make_history(root + "/SCCS/s.real.c", "real");
  const std::string good = "real.c " + root_smid(root + "/SCCS/s.real.c");
  const std::string longest = std::string(1062 - 8 - 1, 'm') + " 1 2 3 5";  // 1062 with its newline
  auto bad_format = [&](int line) {
    return "Line " + std::to_string(line) + " has bad format in \"" + table + "\"  (Warning 2615)\n";
  };
  auto too_long = [&](int line) {
    return "Line " + std::to_string(line) + " too long or unexpected end of file in \"" + table +
           "\"  (Warning 2614)\n";
  };
  const char *one_add = "VERSION 1\nj 1 2 3 4 1\n";
  using V = std::vector<std::string>;
  struct State {
    const char *what;
    std::string table;
    const char *journal;
    int code;
    std::string warning;
    bool rebuilt;
    V records, lines;
  } states[] = {
      {"clean, empty journal", "VERSION 1\nno such file 1 2 3 4\nother/one a b c d\n", "VERSION 1\n", 0,
       "", false, {"no such file 1 2 3 4", "other/one a b c d"}, {}},
      // Each journal line is taken as a table line, so none of them reaches a
      // record of the table: "kept" stays, and the lines come in whole.
      {"journal replayed", "VERSION 1\nkept 1 2 3 4\n",
       "VERSION 1\nnew name 1 2 3 4 1\ngone 5 6 7 8 2\nkept 1 2 3 4 2\n", 0, "", false,
       {"gone 5 6 7 8 2", "kept 1 2 3 4", "kept 1 2 3 4 2", "new name 1 2 3 4 1"},
       {"gone 5 6 7 8 2", "kept 1 2 3 4", "kept 1 2 3 4 2", "new name 1 2 3 4 1"}},
      {"longest line, a line twice", "VERSION 1\nf 1 2 3 4\n" + longest + "\nf 1 2 3 4\n", nullptr, 0,
       "", false, {"f 1 2 3 4", longest}, {}},
      {"not hex", "VERSION 1\nok 1 2 3 4\nnot hex g h i j\n", one_add, 0, bad_format(2), true, {good},
       {good}},
      {"too long", "VERSION 1\n" + std::string(1058, 'n') + " 1 2 3 4\n", one_add, 0, too_long(1), true,
       {good}, {good}},
      {"no newline", "VERSION 1\nok 1 2 3 4\nno newline 1 2 3 4", one_add, 0, too_long(2), true, {good},
       {good}},
      {"newer version", "VERSION 2\nf 1 2 3 4\n", nullptr, 2046, "", false, {}, {}},
      {"no version line", "nametable\nf 1 2 3 4\n", nullptr, 2008, "", false, {}, {}},
      {"empty", "", nullptr, 1006, "", false, {}, {}},
      {"short journal line", "VERSION 1\nf 1 2 3 4\n", "VERSION 1\nshort 1 2 3\n", 2056, "", false, {},
       {}},
  };
  for (const State &st : states) {
    SCOPED_TRACE(st.what);
    write_file(table, st.table);
    unlink(journal.c_str());
    if (st.journal) write_file(journal, st.journal);
    open_table();
    Err e;
    std::string out = capture_stdout([&] { e = read(); });
    EXPECT_EQ(e.code, st.code) << e.text;
    EXPECT_EQ(out, st.warning);
    EXPECT_FALSE(file_exists(table + ".lock"));
    if (st.code) continue;
    EXPECT_EQ(nt->rebuilt, st.rebuilt);
    EXPECT_FALSE(nt->dirty);
    EXPECT_EQ(records(), st.records);
    EXPECT_EQ(nt->list->count, (int)st.records.size());
    if (st.lines.empty())
      EXPECT_EQ(read_file(table), st.table);
    else
      EXPECT_EQ(table_lines(), st.lines);
    EXPECT_FALSE(file_exists(journal));
  }
  // A clean table isn't written again.
  write_file(table, "VERSION 1\n");
  unlink(journal.c_str());
  open_table();
  ASSERT_EQ(read().code, 0);
  unlink(table.c_str());
  EXPECT_EQ(take(nt->update_table()).code, 0);
  EXPECT_FALSE(file_exists(table));
}

TEST_F(Nametable, TwoNamesForOneSmidCantBeRead) {
  std::string t = "VERSION 1\nfirst.c 1 2 3 4\nsecond.c 1 2 3 4\n";
  write_file(table, t);
  open_table();
  Err e = read();
  EXPECT_EQ(e.code, 2088);
  char prog[1024];
  Kes_err *pe = kes_find_executable("workspace", prog);
  std::string cmd = pe ? "workspace" : prog;
  delete pe;
  EXPECT_EQ(e.text,
            "Nametable in workspace: \"" + root +
                "\"\ncannot be read because the following history files have identical root "
                "deltas\n\tfirst.c\n\tsecond.c\nRun the following command and then re-execute "
                "the \"\" command:\n\t\"" +
                cmd + " updatenames " + root + "\"\n  (Error 2088)\n");
  EXPECT_EQ(read_file(table), t);
  EXPECT_FALSE(file_exists(table + ".lock"));

  // The repair step reads them all.
  EXPECT_EQ(take(nt->read_existing_table_with_dups()).code, 0);
  EXPECT_EQ(nt->list->count, 2);
  EXPECT_EQ(nt->check_dups, 1);
  // And a table that holds them is not written.
  e = take(nt->write_table());
  EXPECT_EQ(e.code, 2090);
  EXPECT_NE(e.text.find("\"\nnot written because the following history files have identical "
                        "root deltas\n\tfirst.c\n\tsecond.c\n"),
            std::string::npos)
      << e.text;
  EXPECT_EQ(read_file(table), t);
  EXPECT_EQ(sh("ls -A " + shq(md)).out, "nametable\n");  // no temporary file left

  // The repair step takes a bad table, or none, as empty.
  for (bool bad : {true, false}) {
    if (bad) write_file(table, "VERSION 1\nbroken line\n"); else unlink(table.c_str());
    open_table();
    std::string out =
        capture_stdout([&] { EXPECT_EQ(take(nt->read_existing_table_with_dups()).code, 0); });
    EXPECT_EQ(out.find("Warning 2615") != std::string::npos, bad) << out;
    EXPECT_EQ(nt->list->count, 0);
    EXPECT_FALSE(nt->rebuilt);
  }
  EXPECT_FALSE(file_exists(table));
}

// ---------------------------------------------------------------------------
// Edits, the journal and writing

TEST_F(Nametable, EditsReachTheJournalOnlyUnderTheWriteLock) {
  write_file(table, "VERSION 1\nold 1 2 3 4\n");
  open_table();
  ASSERT_EQ(read().code, 0);
  Kes_nt *add = record("new one", 5, 6, 7, 8);
  Kes_nt *old = record("old", 1, 2, 3, 4);
  EXPECT_EQ(take(nt->add_record(add, nullptr)).code, 0);
  EXPECT_TRUE(nt->dirty);
  EXPECT_FALSE(file_exists(journal));  // not write-locked
  EXPECT_EQ(nt->editlog_enabled(), 0);

  ws->write_locked = 1;
  EXPECT_EQ(nt->editlog_enabled(), 1);
  nt->editlog_disable();
  EXPECT_EQ(take(nt->remove_record(old)).code, 0);
  EXPECT_FALSE(file_exists(journal));
  nt->editlog_enable();
  Kes_nt *third = record("third", 9, 9, 9, 9);
  Kes_nt *stored = nullptr;
  EXPECT_EQ(take(nt->add_record(third, &stored)).code, 0);
  ASSERT_NE(stored, nullptr);
  EXPECT_NE(stored, third);
  EXPECT_TRUE(kes_nt_equal(stored, third));
  EXPECT_EQ(third->edit, (unsigned)Kes_nt::NOOP);
  EXPECT_EQ(take(nt->remove_record(add)).code, 0);
  // Adding what is there writes nothing.
  EXPECT_EQ(take(nt->add_record(third, &stored)).code, 0);
  EXPECT_EQ(stored, nullptr);
  EXPECT_EQ(take(nt->remove_record(old)).code, 0);  // already gone: nothing
  delete nt->editlog->close();
  EXPECT_EQ(read_file(journal), "VERSION 1\nthird 9 9 9 9 1\nnew one 5 6 7 8 2\n");
  EXPECT_EQ(mode_of(journal), 0666u);
  EXPECT_EQ(records(), std::vector<std::string>{"third 9 9 9 9"});

  EXPECT_EQ(take(nt->update_table()).code, 0);
  EXPECT_EQ(read_file(table), "VERSION 1\nthird 9 9 9 9\n");
  EXPECT_FALSE(file_exists(journal));
  EXPECT_FALSE(nt->dirty);
  delete add;
  delete old;
  delete third;
}

TEST_F(Nametable, RemoveThenAddKeepsTheRecord) {
  write_file(table, "VERSION 1\nf 1 2 3 4\n");
  open_table();
  ASSERT_EQ(read().code, 0);
  Kes_nt *f = record("f", 1, 2, 3, 4);
  EXPECT_EQ(take(nt->remove_record(f)).code, 0);
  EXPECT_FALSE(nt->record_exists(f));
  EXPECT_EQ(take(nt->add_record(f, nullptr)).code, 0);
  EXPECT_TRUE(nt->record_exists(f));
  EXPECT_EQ(take(nt->write_table()).code, 0);
  EXPECT_EQ(read_file(table), "VERSION 1\nf 1 2 3 4\n");
  delete f;
}

// ---------------------------------------------------------------------------
// The walk

TEST_F(Nametable, WhatTheWalkCountsAsAHistoryFile) {
  make_history(root + "/SCCS/s.top.c", "top");
  make_history(root + "/s.loose.c", "loose");                // beside the root's files
  make_history(root + "/SCCS/SCCS/s.inner.c", "inner");      // below a history directory
  make_history(root + "/Brindle_wsdata/SCCS/s.meta.c", "meta");
  make_history(root + "/sub/Brindle_wsdata/SCCS/s.deep.c", "deep");
  make_history(tmp.file("outside/SCCS/s.linked.c"), "linked");
  ASSERT_EQ(symlink(tmp.file("outside").c_str(), (root + "/link").c_str()), 0);
  write_file(root + "/SCCS/s.broken.c", "this is no history file\n");
  write_file(root + "/SCCS/p.top.c", "1.1 1.2 someone 26/01/01 00:00:00\n");

  open_table();
  Kes_ntlist list;
  Kes_nt_hash hash;
  int dups = 0;
  std::string err_out;
  testing::internal::CaptureStderr();
  Err e = take(find_sfiles_in_ws(ws, &list, &hash, nullptr, &dups));
  err_out = testing::internal::GetCapturedStderr();
  EXPECT_EQ(e.code, 0) << e.text;
  EXPECT_EQ(dups, 0);
  std::set<std::string> names;
  for (Kes_listelem *x = list.head.next; x != &list.head; x = x->next)
    names.insert(static_cast<Kes_nt *>(x->data)->name);
  EXPECT_EQ(names, (std::set<std::string>{"top.c", "sub/Brindle_wsdata/deep.c"}));
  EXPECT_EQ(hash.count, 2);
  // The unreadable file is reported and skipped.
  EXPECT_NE(err_out.find("s.broken.c"), std::string::npos) << err_out;

  // Not under version control: "s." files anywhere count, and SCCS
  // directories still do.
  ws->under_vc = 0;
  Kes_ntlist list2;
  Kes_nt_hash hash2;
  testing::internal::CaptureStderr();
  e = take(find_sfiles_in_ws(ws, &list2, &hash2, nullptr, &dups));
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(e.code, 0) << e.text;
  names.clear();
  for (Kes_listelem *x = list2.head.next; x != &list2.head; x = x->next)
    names.insert(static_cast<Kes_nt *>(x->data)->name);
  EXPECT_EQ(names, (std::set<std::string>{"top.c", "loose.c", "sub/Brindle_wsdata/deep.c"}));
}

TEST_F(Nametable, EveryRealRootUnderAFakeRootIsAFile) {
  // A history whose first delta is a fake root over two real ones: made by
  // SCCS and then given the fake root's bookkeeping by hand, as a merge of
  // unrelated histories writes it.
  std::string s = root + "/SCCS/s.two roots.c";
  make_history(s, "first");
  add_delta(s, "text\nx\n", "second");
  add_delta(s, "text\ny\n", "third", "-r1.1");
  std::string text = read_file(s);
  size_t d = text.find("\001d D 1.1 "), s_line = text.rfind("\001s ", d);
  text.replace(s_line, text.find(" 1 0\n", d) - s_line,
               "\001s 00000/00000/00000\n\001d D 1.1 70/01/01 00:00:00 Fake");
  write_file(s, text);

  Kes_workspace scratch;
  Kes_sfile *f = scratch.get_sfile(s.c_str());
  ASSERT_EQ(take(f->buildtree(0, 0, 0)).code, 0);
  ASSERT_TRUE(f->root_delta()->is_fake());
  std::vector<std::string> expect;
  char buf[KES_SMID_TEXT_SIZE];
  for (Kes_delta *c = f->root_delta()->first_child_delta(); c; c = c->next_sibling_delta()) {
    Kes_smid *sm = kes_smid_from_delta(c);
    expect.push_back(std::string("two roots.c ") + sm->to_text(buf));
    delete sm;
  }
  delete f;
  ASSERT_EQ(expect.size(), 2u);
  std::sort(expect.begin(), expect.end());

  open_table();
  EXPECT_EQ(read().code, 0);
  EXPECT_EQ(records(), expect);
}

TEST_F(Nametable, ALongScanShowsItIsAlive) {
  make_history(root + "/SCCS/s.a.c", "a");
  // A history file that keeps the scan waiting until someone opens it for
  // writing: a process that reads the scan's output and opens it after the first beat.
  std::string slow = root + "/SCCS/s.slow.c", said = tmp.file("said");
  ASSERT_EQ(mkfifo(slow.c_str(), 0666), 0);
  int out[2];
  ASSERT_EQ(pipe(out), 0);
  pid_t writer = fork();
  if (writer == 0) {
    close(out[1]);
    std::string seen;
    char buf[512];
    for (ssize_t n; (n = ::read(out[0], buf, sizeof buf)) > 0;) {
      bool first = seen.find("minutes ...\n") == std::string::npos;
      seen.append(buf, n);
      if (first && seen.find("minutes ...\n") != std::string::npos) close(open(slow.c_str(), O_WRONLY));
    }
    write_file(said, seen);
    _exit(0);
  }
  close(out[0]);
  setenv("BRINDLE_HEARTBEAT", "1", 1);
  open_table();
  fflush(stdout);
  setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // each beat reaches the writer as it is said
  int saved = dup(1);
  dup2(out[1], 1);
  close(out[1]);
  std::string err = capture_stderr([&] { EXPECT_EQ(read().code, 0); });
  fflush(stdout);
  dup2(saved, 1);
  close(saved);
  unsetenv("BRINDLE_HEARTBEAT");
  waitpid(writer, nullptr, 0);
  EXPECT_EQ(read_file(said).rfind("Searching for history files for 0.0 minutes ...\n", 0), 0u)
      << read_file(said);
  EXPECT_NE(err.find("s.slow.c"), std::string::npos) << err;  // reported and skipped
  EXPECT_EQ(records(), std::vector<std::string>{"a.c " + root_smid(root + "/SCCS/s.a.c")});
  // The beat ends with the scan: no alarm is left to fire.
  EXPECT_EQ(alarm(0), 0u);
}

}  // namespace
