// Commands: running one shell command and keeping its output, errors and
// status; comment quoting for the shell; and the command operations of a
// history file (check-out, check-in, unget, extraction, flags,
// putting a file under SCCS, the diff of two deltas) judged by the SCCS programs.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sccs/sccs_cmd.h"
#include "sccs/sccs_helpers.h"
#include "sccs/sccs_sfile.h"
#include "util/kes_list.h"
#include "util/kes_process.h"

using namespace sccs_test;
using namespace support;

namespace {

std::string str(const char *s) { return s ? s : "<null>"; }
int exit_code(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : -1; }

// What ran, its output, its errors and its status, for each constructor.  The
// texts are the object's own copies: the caller's buffer changes afterwards.
TEST(CmdExecute, KeepsOutputStatusAndTheTextThatRan) {
  char echo[] = "echo";
  struct {
    std::unique_ptr<Cmd> c;
    int status;
    const char *cmd, *out, *err;
  } cases[] = {
      {std::make_unique<Cmd>("sh", "-c", "'echo out; echo err >&2; exit 3'"), 3,
       "sh -c 'echo out; echo err >&2; exit 3'\n", "out\n", "err\n"},
      {std::make_unique<Cmd>(echo), 0, "echo\n", "\n", nullptr},
      {std::make_unique<Cmd>("printf", "'%s|'"), 0, "printf '%s|'\n", "|", nullptr},
      {std::make_unique<Cmd>(nullptr, "true", nullptr), 0, "true\n", "", nullptr},
  };
  echo[0] = 'X';
  for (auto &c : cases) {
    SCOPED_TRACE(c.cmd);
    EXPECT_EQ(exit_code(c.c->execute(nullptr)), c.status);
    EXPECT_EQ(exit_code(c.c->ret_stat), c.status);
    EXPECT_EQ(str(c.c->results), c.out);
    EXPECT_EQ(str(c.c->errors), str(c.err));  // null when nothing came
    // From here on cmd alone is what a message quotes.
    EXPECT_EQ(str(c.c->cmd), c.cmd);
    EXPECT_EQ(c.c->subcmd, nullptr);
    EXPECT_EQ(c.c->args, nullptr);
  }
}

TEST(CmdExecute, AFailedCdAndTheCommandShareTheErrorText) {
  Temp_dir tmp;
  std::string missing = tmp.file("no such dir");
  Cmd c("sh", "-c", "'echo mine >&2'");
  c.execute(missing.c_str());
  std::string errors = str(c.errors);
  // The first redirection made the file, the second appended to it.
  EXPECT_NE(errors.find("cd"), std::string::npos) << errors;
  EXPECT_NE(errors.find("no such dir"), std::string::npos) << errors;
  EXPECT_NE(errors.find("mine\n"), std::string::npos) << errors;
  EXPECT_LT(errors.find("cd"), errors.find("mine")) << errors;
}

TEST(CmdExecute, OutputOfAnySizeIsKeptWhole) {
  for (int lines : {0, 1, 204, 205, 20000}) {  // around the first 1024 bytes and far beyond
    Cmd c("sh", "-c", ("'seq 1 " + std::to_string(lines) + "'").c_str());
    ASSERT_EQ(c.execute(nullptr), 0);
    std::string expect;
    for (int i = 1; i <= lines; i++) expect += std::to_string(i) + "\n";
    EXPECT_EQ(str(c.results), expect) << lines;
  }
}

TEST(CmdExecute, TheErrorFileIsPrivateAndRemovedAfterwards) {
  // The command reports where its standard error goes, and that file's mode.
  Cmd c("sh", "-c",
        "'f=$(readlink /proc/$$/fd/2); echo \"$f\"; stat -c %a \"$f\"; echo x >&2'");
  ASSERT_EQ(c.execute("/"), 0);
  std::string out = str(c.results);
  size_t nl = out.find('\n');
  ASSERT_NE(nl, std::string::npos) << out;
  std::string errfile = out.substr(0, nl);
  EXPECT_EQ(errfile.rfind("/tmp/excmd", 0), 0u) << errfile;
  EXPECT_EQ(out.substr(nl + 1), "600\n");
  EXPECT_EQ(str(c.errors), "x\n");
  EXPECT_FALSE(file_exists(errfile));
}

// Uses up every descriptor, so that popen can't make its pipe, and runs a
// command: 0 when that gave -2 and an empty result.
int run_without_descriptors() {
  struct rlimit lim;
  lim.rlim_cur = lim.rlim_max = 64;
  setrlimit(RLIMIT_NOFILE, &lim);
  while (open("/dev/null", O_RDONLY) >= 0) {
  }
  Cmd c("echo", "hi");
  int r = c.execute(nullptr);
  return r == -2 && c.ret_stat == -2 && c.results && !*c.results ? 0 : 1;
}

TEST(CmdExecute, NoShellWithoutDescriptorsGivesMinusTwo) {
  // A plain child: after the descriptors are gone it must run nothing else.
  fflush(nullptr);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) _exit(run_without_descriptors());
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_EQ(exit_code(status), 0);
}

// ---------------------------------------------------------------------------
// Comment quoting

// What the shell makes of the quoted text inside single quotes.
std::string through_shell(const std::string &text) {
  char *q = escape_comment(text.c_str());
  std::string arg = std::string("'") + q + "'";
  free(q);
  Cmd c("printf", "%s", arg.c_str());
  EXPECT_EQ(c.execute(nullptr), 0) << str(c.errors);
  return str(c.results);
}

TEST(CommentQuoting, QuotesBecomeEscapesThatSurviveTheShellAndNullIsEmpty) {
  char *q = escape_comment(nullptr);
  EXPECT_STREQ(q, "");
  free(q);
  for (std::string text : {"it's", "'", "''", "a'b'c'", "$HOME `id` \"x\" \\ ; | & > <",
                           "two\nlines", "tab\there", ""})
    EXPECT_EQ(through_shell(text), text);
}

TEST(CommentQuoting, CutAt1024CharactersNeverInsideAnEscape) {
  std::string long_text(2000, 'a');
  char *q = escape_comment(long_text.c_str());
  EXPECT_EQ(strlen(q), 1024u);
  free(q);
  // The quote would end at 1027: it is left out whole.
  std::string near_end = std::string(1023, 'b') + "'c";
  q = escape_comment(near_end.c_str());
  EXPECT_EQ(std::string(q), std::string(1023, 'b'));
  free(q);
  // Exactly fitting: 1020 + 4.
  std::string fits = std::string(1020, 'd') + "'";
  q = escape_comment(fits.c_str());
  EXPECT_EQ(std::string(q), std::string(1020, 'd') + "'\\''");
  free(q);
  // Whatever the cut, the text stays a valid piece between single quotes: the
  // shell gives back a prefix of the original.
  std::mt19937 rng(7);
  for (int round = 0; round < 40; round++) {
    std::string text;
    int len = 900 + rng() % 400;
    for (int i = 0; i < len; i++) text += "ab'$\\ \"x"[rng() % 8];
    std::string back = through_shell(text);
    EXPECT_EQ(text.compare(0, back.size(), back), 0);
    EXPECT_GE(back.size(), 1024u / 4);
  }
}

// ---------------------------------------------------------------------------
// The command operations of a history file, run against the SCCS programs and
// judged by them.  The files lie in a directory whose name needs quoting, and
// comments hold quotes.

class CmdSfile : public ::testing::Test {
protected:
  static void SetUpTestSuite() { kes_set_path(); }

  void SetUp() override {
    ws = tmp.file("src dir;$x'&(y)");
    ASSERT_EQ(mkdir(ws.c_str(), 0777), 0);
    ASSERT_EQ(mkdir((ws + "/SCCS").c_str(), 0777), 0);
    sdir = ws + "/SCCS";
    spath = sdir + "/s.f.c";
    clear = ws + "/f.c";
  }

  // A history of f.c with these versions on the trunk.
  void make_history(const std::string &first, const std::string &second = "",
                    const std::string &admin_flags = "") {
    new_history(sdir, "f.c", first, admin_flags);
    if (!second.empty()) add_delta(spath, second, "second");
  }

  // The comment of one delta as prs gives it, without the line prs adds.
  static std::string comment(const std::string &sfile, const std::string &sid) {
    std::string c = prs(sfile, ":C:", sid);
    if (c.size() >= 2 && c.compare(c.size() - 2, 2, "\n\n") == 0) c.pop_back();
    return c;
  }

  static std::string pfile_text(const std::string &sdir) {
    std::string p = sdir + "/p.f.c";
    return file_exists(p) ? read_file(p) : "";
  }

  // Two edits at once: 1.2 on the trunk and 1.1.1.1 beside it.
  void make_two_edits() {
    make_history("one\n", "", "-fj");  // concurrent edits allowed
    ASSERT_EQ(sh(cssc("get") + " -s -e s.f.c", sdir).status, 0);
    ASSERT_EQ(sh(cssc("get") + " -s -e -r1.1 -G" + shq(tmp.file("g2")) + " s.f.c", sdir).status,
              0);
    std::string both = pfile_text(sdir);
    ASSERT_EQ(both.substr(0, 8), "1.1 1.2 ") << both;
    ASSERT_NE(both.find("\n1.1 1.1.1.1 "), std::string::npos) << both;
  }

  // A name directly under /tmp, where extractions are private; removed at
  // the end.
  std::string temp_dir_file(const std::string &name) {
    std::string p = "/tmp/brindle-cmdtest-" + std::to_string(getpid()) + "-" +
                    std::to_string(made.size()) + "-" + name;
    made.push_back(p);
    return p;
  }
  void TearDown() override {
    for (const std::string &p : made) unlink(p.c_str());
  }
  std::vector<std::string> made;

  // The quoted directory part of a shown command: "cd <dir>; " (the temporary
  // directory's own name needs no quoting).
  std::string cd_part() const { return "cd " + tmp.path() + "/src\\ dir\\;\\$x\\'\\&\\(y\\); "; }

  // An operation's command succeeded and showed `shown` behind the quoted
  // directory part.
  void ran(Cmd *c, const std::string &shown) {
    EXPECT_EQ(c->ret_stat, 0) << str(c->errors) << str(c->results);
    EXPECT_EQ(str(c->cmd), cd_part() + shown);
    delete c;
  }

  Temp_dir tmp;
  std::string ws, sdir, spath, clear;
};

TEST_F(CmdSfile, CheckOutEditAndCheckInWithAQuotedComment) {
  make_history("one\ntwo\n");
  SCCS_sfile f(spath.c_str());
  ran(f.check_out(nullptr, nullptr), "get -e SCCS/s.f.c \n");
  EXPECT_EQ(pfile_text(sdir).substr(0, 8), "1.1 1.2 ");
  EXPECT_EQ(read_file(clear), "one\ntwo\n");
  EXPECT_NE(mode_of(clear) & 0200, 0u);  // writable for the edit

  write_file(clear, "one\ntwo\nthree\n");
  const char *text = "it's \"quoted\" $HOME `id` & ; done";
  ran(f.check_in(nullptr, text, nullptr),
      "sccs delget -y'it'\\''s \"quoted\" $HOME `id` & ; done' f.c < /dev/null\n");
  EXPECT_EQ(comment(spath, "1.2"), std::string(text) + "\n");
  EXPECT_EQ(get_text(spath, "1.2").out, "one\ntwo\nthree\n");
  EXPECT_EQ(pfile_text(sdir), "");
  EXPECT_EQ(mode_of(clear) & 0222, 0u);  // the fresh clear file is read-only
  EXPECT_EQ(read_file(clear), "one\ntwo\nthree\n");

  // Again, naming the pending SID and with a flag of delta's.
  delete f.check_out(nullptr, nullptr);
  write_file(clear, "four\n");
  ran(f.check_in("1.3", "with sid", "-s"), "sccs delget -s -r1.3 -y'with sid' f.c < /dev/null\n");
  EXPECT_EQ(live_sids(spath), (std::vector<std::string>{"1.3", "1.2", "1.1"}));
  EXPECT_EQ(comment(spath, "1.3"), "with sid\n");
  EXPECT_EQ(val(spath), 0);
}

// One edit: the clear file comes back, whatever SID is named.  Of two edits,
// one SID ungets that edit; without a SID both are dropped.
TEST_F(CmdSfile, UncheckoutOfOneAndOfTwoEdits) {
  make_two_edits();
  SCCS_sfile f(spath.c_str());
  ran(f.uncheckout("1.1.1.1"), "sccs unget -r1.1.1.1 f.c\n");
  std::string left = pfile_text(sdir);
  EXPECT_EQ(left.substr(0, 8), "1.1 1.2 ") << left;
  EXPECT_EQ(std::count(left.begin(), left.end(), '\n'), 1) << left;

  write_file(clear, "changed\n");
  {
    SCCS_sfile g(spath.c_str());  // a fresh object reads the p-file
    ran(g.uncheckout("1.7"), "sccs unedit f.c\n");  // one entry: the SID plays no part
  }
  EXPECT_EQ(pfile_text(sdir), "");
  EXPECT_EQ(read_file(clear), "one\n");
  EXPECT_EQ(mode_of(clear) & 0222, 0u);

  ASSERT_EQ(sh(cssc("get") + " -s -e -G" + shq(tmp.file("g3")) + " s.f.c", sdir).status, 0);
  ASSERT_EQ(sh(cssc("get") + " -s -e -r1.1 -G" + shq(tmp.file("g4")) + " s.f.c", sdir).status, 0);
  SCCS_sfile g(spath.c_str());
  ran(g.uncheckout(nullptr), "sccs unedit f.c\n");
  EXPECT_FALSE(file_exists(sdir + "/p.f.c"));  // SCCS drops every edit
}

TEST_F(CmdSfile, ExtractionToPrivateAndSharedPlaces) {
  make_history("v %I%\n", "w %I%\n");
  SCCS_sfile f(spath.c_str());
  // Under /tmp: unexpanded, silent, and private.
  std::string priv = temp_dir_file("old version");
  Cmd *c = f.get_clear_file_cmd("1.1", 3, priv.c_str());
  EXPECT_EQ(c->ret_stat, 0) << str(c->errors);
  EXPECT_EQ(str(c->cmd),
            cd_part() + "get -k -s -r1.1 -p SCCS/s.f.c > " + priv.substr(0, priv.size() - 11) +
                "old\\ version\n");
  EXPECT_EQ(str(c->results), "");
  EXPECT_EQ(c->errors, nullptr);
  delete c;
  EXPECT_EQ(read_file(priv), "v %I%\n");
  EXPECT_EQ(mode_of(priv), 0600u);
  // Elsewhere the mask stays the caller's; keywords expand without bit 0.
  std::string elsewhere = std::string("/var/tmp/brindle-cmdtest-") + std::to_string(getpid());
  ASSERT_EQ(mkdir(elsewhere.c_str(), 0777), 0);
  std::string shared = elsewhere + "/shared copy";
  mode_t old = umask(022);
  EXPECT_EQ(f.get_clear_file(nullptr, 2, shared.c_str()), 0);
  umask(old);
  EXPECT_EQ(read_file(shared), "w 1.2\n");
  EXPECT_EQ(mode_of(shared), 0644u);
  // A SID that doesn't exist.
  EXPECT_NE(exit_code(f.get_clear_file("7.7", 3, shared.c_str())), 0);
  unlink(shared.c_str());
  rmdir(elsewhere.c_str());
}

TEST_F(CmdSfile, ExtractionNamesAreTheCallersAndReplaceWhatIsThere) {
  make_history("one\n");
  SCCS_sfile f(spath.c_str());
  // A relative output name means the caller's directory, not the file's.
  char here[4096];
  ASSERT_NE(getcwd(here, sizeof here), nullptr);
  ASSERT_EQ(chdir(tmp.path().c_str()), 0);
  int status = f.get_clear_file("1.1", 2, "rel out");
  // The output name is unlinked first: a link there is replaced, not followed.
  std::string victim = tmp.file("victim");
  write_file(victim, "keep me\n");
  ASSERT_EQ(symlink(victim.c_str(), tmp.file("link").c_str()), 0);
  int status2 = f.get_clear_file("1.1", 2, "link");
  ASSERT_EQ(chdir(here), 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(read_file(tmp.file("rel out")), "one\n");
  EXPECT_FALSE(file_exists(ws + "/rel out"));
  EXPECT_EQ(status2, 0);
  EXPECT_EQ(read_file(victim), "keep me\n");
  struct stat st;
  ASSERT_EQ(lstat(tmp.file("link").c_str(), &st), 0);
  EXPECT_TRUE(S_ISREG(st.st_mode));
}

TEST_F(CmdSfile, PutUnderScMakesTheHistoryAndDropsTheBackup) {
  std::string name = ws + "/new file.c";
  write_file(name, "first\n");
  SCCS_sfile f(name.c_str(), 0);
  EXPECT_EQ(f.exists, 0);
  ran(f.put_under_sc("start of 'new file'"),
      "sccs create -y'start of '\\''new file'\\''' new\\ file.c\n");
  std::string s = sdir + "/s.new file.c";
  EXPECT_EQ(val(s), 0);
  EXPECT_EQ(comment(s, "1.1"), "start of 'new file'\n");
  EXPECT_EQ(get_text(s, "1.1").out, "first\n");
  EXPECT_FALSE(file_exists(ws + "/,new file.c"));
  EXPECT_EQ(read_file(name), "first\n");

  // A failure keeps whatever is there.
  std::string absent = ws + "/absent.c";
  write_file(ws + "/,absent.c", "someone's\n");
  SCCS_sfile g(absent.c_str(), 0);
  Cmd *c = g.put_under_sc("x");
  EXPECT_NE(c->ret_stat, 0);
  delete c;
  EXPECT_TRUE(file_exists(ws + "/,absent.c"));
}

TEST_F(CmdSfile, DiffOfTwoDeltas) {
  make_history("one\ntwo\n", "ONE\ntwo\n");
  SCCS_sfile f(spath.c_str());
  Cmd *c = f.diff_two_deltas("1.1", "1.2", 0);
  EXPECT_EQ(exit_code(c->ret_stat), 1);
  EXPECT_EQ(str(c->results), "1c1\n< one\n---\n> ONE\n");
  std::string shown = str(c->cmd);
  delete c;
  EXPECT_EQ(shown.rfind(cd_part() + "diff /tmp/vertl", 0), 0u) << shown;
  // The extracted versions are gone.
  size_t a = shown.find("/tmp/vertl"), b = shown.find(" /tmp/vertl", a + 1);
  ASSERT_NE(b, std::string::npos) << shown;
  EXPECT_FALSE(file_exists(shown.substr(a, b - a)));
  EXPECT_FALSE(file_exists(shown.substr(b + 1, shown.size() - b - 2)));

  c = f.diff_two_deltas("1.1", "1.2", 1);
  EXPECT_EQ(exit_code(c->ret_stat), 1);
  EXPECT_EQ(str(c->results).rfind("*** /tmp/vertl", 0), 0u) << str(c->results);
  EXPECT_EQ(str(c->cmd).rfind(cd_part() + "diff -c /tmp/vertl", 0), 0u) << str(c->cmd);
  delete c;
}

TEST_F(CmdSfile, ThePendingSidOfTheFileBeingEdited) {
  make_history("one\ntwo\n", "ONE\ntwo\n");
  {
    SCCS_sfile f(spath.c_str());
    delete f.check_out(nullptr, nullptr);
  }
  write_file(clear, "ONE\nTWO\n");
  SCCS_sfile f(spath.c_str());
  // Extracted, the pending SID 1.3 gives the version it was checked out from.
  std::string out = temp_dir_file("pending");
  Cmd *c = f.get_clear_file_cmd("1.3", 3, out.c_str());
  EXPECT_EQ(c->ret_stat, 0) << str(c->errors);
  EXPECT_NE(str(c->cmd).find(" -r1.2 "), std::string::npos) << str(c->cmd);
  delete c;
  EXPECT_EQ(read_file(out), "ONE\ntwo\n");
  // In a diff the clear file stands for it, on either side.
  c = f.diff_two_deltas("1.2", "1.3", 0);
  EXPECT_EQ(str(c->results), "2c2\n< two\n---\n> TWO\n");
  EXPECT_NE(str(c->cmd).find(" f.c\n"), std::string::npos) << str(c->cmd);
  delete c;
  c = f.diff_two_deltas("1.3", "1.1", 0);
  EXPECT_EQ(str(c->results), "1,2c1,2\n< ONE\n< TWO\n---\n> one\n> two\n");
  delete c;
  EXPECT_EQ(read_file(clear), "ONE\nTWO\n");  // never removed

  // A version that can't be had: the extraction's failure is the answer.
  c = f.diff_two_deltas("1.1", "4.4", 0);
  EXPECT_NE(exit_code(c->ret_stat), 0);
  EXPECT_EQ(str(c->cmd).find("diff"), std::string::npos) << str(c->cmd);
  EXPECT_NE(str(c->cmd).find("-r4.4"), std::string::npos) << str(c->cmd);
  delete c;
}

TEST_F(CmdSfile, FlagsSetAndUnset) {
  make_history("one\n");
  SCCS_sfile f(spath.c_str());
  ran(f.set_flag("b"), "sccs admin -fb f.c\n");
  delete f.set_flag("d1.1");
  delete f.set_flag("qsome text; $HOME");
  std::string t = read_file(spath);
  EXPECT_NE(t.find("\001f b\n"), std::string::npos);
  EXPECT_NE(t.find("\001f d 1.1\n"), std::string::npos);
  EXPECT_NE(t.find("\001f q some text; $HOME\n"), std::string::npos) << t;
  ran(f.unset_flag("q"), "sccs admin -dq f.c\n");
  EXPECT_EQ(read_file(spath).find("\001f q"), std::string::npos);
  ran(f.unset_branch(), "admin -dd -db SCCS/s.f.c\n");
  t = read_file(spath);
  EXPECT_EQ(t.find("\001f b"), std::string::npos);
  EXPECT_EQ(t.find("\001f d"), std::string::npos);
  EXPECT_EQ(val(spath), 0);
  // Unsetting flags that aren't set is no failure.
  ran(f.unset_branch(), "admin -dd -db SCCS/s.f.c\n");
}

TEST_F(CmdSfile, RelativeNamesAndHistoriesBesideTheirFiles) {
  make_history("one\n");
  // A history file beside its clear file, named from another directory.
  new_history(tmp.path(), "g.c", "gee\n");
  char here[4096];
  ASSERT_NE(getcwd(here, sizeof here), nullptr);
  ASSERT_EQ(chdir(tmp.path().c_str()), 0);
  std::string rel = "src dir;$x'&(y)/SCCS/s.f.c";
  Cmd *c1, *c2, *c3;
  {
    SCCS_sfile f(rel.c_str());
    c1 = f.check_out(nullptr, nullptr);
    SCCS_sfile g("s.g.c");
    c2 = g.check_sfile();
    c3 = g.file_history("prs -d:I:");
  }
  ASSERT_EQ(chdir(here), 0);
  EXPECT_EQ(c1->ret_stat, 0) << str(c1->errors);
  EXPECT_EQ(str(c1->cmd), "cd src\\ dir\\;\\$x\\'\\&\\(y\\); get -e SCCS/s.f.c \n");
  EXPECT_TRUE(file_exists(clear));
  EXPECT_EQ(c2->ret_stat, 0) << str(c2->errors);
  EXPECT_EQ(str(c2->cmd), "val s.g.c\n");  // no directory: no cd
  EXPECT_EQ(str(c3->results), "1.1\n");
  delete c1;
  delete c2;
  delete c3;
}

// The user list read from a history: no doubles, whole names only, and a
// removal takes every copy.
TEST(CmdUserLocks, NoDoublesOnTheListReadFromAHistory) {
  Temp_dir tmp;
  kes_set_path();
  new_history(tmp.path(), "u.c", "x\n", "-acarol -adave");
  SCCS_sfile f(tmp.file("s.u.c").c_str());
  ASSERT_EQ(f.buildtree(0, 0, 0), nullptr);
  ASSERT_NE(f.locks, nullptr);
  Kes_sc_locks &l = *f.locks;
  for (const char *u : {"dave", "dave\n", "erin", "", static_cast<const char *>(nullptr), "da"})
    l.add_user_lock(u);
  l.locks->add_new_copy(const_cast<char *>("erin\n"));  // a double from elsewhere
  l.remove_user_lock("carol");
  l.remove_user_lock("erin");
  l.remove_user_lock("nobody");
  std::string all;
  for (Kes_listelem *e = l.locks->head.next; e != &l.locks->head; e = e->next)
    all += static_cast<char *>(e->data);
  EXPECT_EQ(all, "dave\nda\n");
  EXPECT_EQ(l.locks->count, 2);
}

}  // namespace
