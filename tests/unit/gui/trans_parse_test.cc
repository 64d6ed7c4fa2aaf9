// The output parser of the transaction panels, without an X server: the
// recorded output of the commands (transcripts/) fed in as the pipe delivers
// it, giving the counts, the events that need a reaction, what reaches the
// output window, the progress bar and the verdict on the exit status.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_engine.h"
#include "gui/kes_gui_trans.h"

namespace {

const std::string kDir = BRINDLE_SOURCE_DIR "/tests/unit/gui/transcripts/";

struct Expect {
  const char *file;
  int changes, creates, updates, conflicts, renames, removes, restores;
  const char *event;  // "conflicts", "blocked", "too large" or ""
  const char *next;   // the bringover a blocked putback stores for the panel
  const char *bar;    // the last "value maximum" of the progress bar, "" if never drawn
  const char *verdict;
};

// The counts follow the announcements and the action words of the command's
// own engine: a putback that ran its bringover counts that bringover's actions
// but not its announcement; a metadata file counts for nothing, and the
// summaries' indented lines not at all.
const char kNext[] = " /usr/bin/bringover -w /ws/k -p /ws/p src/a.c 2>&1";
const Expect kCases[] = {
    {"bringover-create", 3, 3, 0, 0, 0, 0, 0, "", "", "3 3", "Bringover completed"},
    {"bringover-nothing", 0, 0, 0, 0, 0, 0, 0, "", "", "100 100", "Bringover completed"},
    {"bringover-preview", 3, 1, 1, 0, 1, 0, 0, "", "", "3 3", "Bringover preview completed"},
    {"bringover-preview-conflicts", 2, 0, 1, 1, 0, 0, 0, "", "", "2 2",
     "Bringover preview completed, conflict(s) would be created"},
    {"bringover-conflicts", 2, 0, 1, 1, 0, 0, 0, "conflicts", "", "2 2",
     "Bringover completed, conflict(s) were created"},
    {"bringover-locked", 0, 0, 0, 0, 0, 0, 0, "", "", "", "Bringover failed due to an error"},
    {"bringover-no-parent", 0, 0, 0, 0, 0, 0, 0, "", "", "", "Bringover failed due to an error"},
    {"putback-done", 2, 1, 1, 0, 0, 0, 0, "", "", "2 2", "Putback completed"},
    {"putback-preview-blocked", 1, 0, 1, 0, 0, 0, 0, "blocked", kNext, "1 1",
     "Putback preview would block, would not execute bringover"},
    {"putback-blocked", 0, 0, 0, 0, 0, 0, 0, "blocked", kNext, "",
     "Putback blocked, bringover not executed  - no files put back"},
    {"putback-bringover-ran", 0, 0, 1, 0, 0, 0, 0, "", "", "0 100",
     "Putback blocked, executed bringover - no files were put back"},
    {"putback-bringover-conflicts", 0, 0, 0, 1, 0, 0, 0, "", "", "0 100",
     "Putback blocked, executed bringover and created conflict(s) - no files were put back"},
    {"putback-locked", 0, 0, 0, 0, 0, 0, 0, "", "", "", "Putback failed due to an error"},
    {"putback-blocked-long", 0, 0, 0, 0, 0, 0, 0, "too large", "", "",
     "Putback blocked, bringover not executed  - no files put back"},
    {"undo-create", 5, 0, 0, 0, 0, 4, 0, "", "", "4 5", "Undo completed"},
    {"undo-preview", 4, 0, 0, 0, 0, 1, 2, "", "", "3 4", "Undo preview completed"},
    {"undo-locked", 0, 0, 0, 0, 0, 0, 0, "", "", "", "Undo failed due to an error"},
    {"undo-nothing", 0, 0, 0, 0, 0, 0, 0, "", "", "100 100", "Undo completed"},
};

class TransParse : public ::testing::Test {
protected:
  static void SetUpTestSuite() {
    char name[] = "/tmp/brindle-trace.XXXXXX";
    close(mkstemp(name));
    trace_path = name;
    setenv("BRINDLE_GUI_DEBUG", name, 1);
    gui_debug_init();
  }
  static void TearDownTestSuite() { unlink(trace_path.c_str()); }

  // The trace lines written since the last call.
  static std::vector<std::string> new_trace() {
    std::ifstream in(trace_path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    std::vector<std::string> fresh(lines.begin() + std::min(seen, lines.size()), lines.end());
    seen = lines.size();
    return fresh;
  }

  static std::string trace_path;
  static size_t seen;
  std::unique_ptr<Kes_gui_engine> engines[3] = {
      std::unique_ptr<Kes_gui_engine>(kes_gui_make_bringover_engine()),
      std::unique_ptr<Kes_gui_engine>(kes_gui_make_putback_engine()),
      std::unique_ptr<Kes_gui_engine>(kes_gui_make_undo_engine())};
};

std::string TransParse::trace_path;
size_t TransParse::seen;

TEST_F(TransParse, TranscriptsGiveCountsEventsAndVerdicts) {
  for (const Expect &e : kCases) {
    SCOPED_TRACE(e.file);
    std::ifstream in(kDir + e.file + ".out");
    ASSERT_TRUE(in) << "no transcript";
    std::string command;
    int preview = 0, status = 0;
    std::string header;
    std::getline(in, header);
    std::istringstream(header.substr(2)) >> command >> preview >> status;
    std::stringstream rest;
    rest << in.rdbuf();
    const std::string text = rest.str();
    const Kes_gui_trans_kind kind = command == "putback" ? KES_TRANS_PUTBACK
                                    : command == "undo"  ? KES_TRANS_UNDO
                                                         : KES_TRANS_BRINGOVER;
    Kes_gui_engine *engine = engines[kind].get();
    engine->set_preview(preview);

    // Fed a byte at a time and in the reads of the timer: the same result.
    for (size_t chunk : {size_t(1), size_t(1024)}) {
      SCOPED_TRACE(chunk);
      std::unique_ptr<Kes_gui_trans> t(
          kind == KES_TRANS_PUTBACK ? static_cast<Kes_gui_trans *>(new Kes_gui_putback(engine))
          : kind == KES_TRANS_UNDO  ? static_cast<Kes_gui_trans *>(new Kes_gui_undo(engine))
                                    : static_cast<Kes_gui_trans *>(new Kes_gui_bringover(engine)));
      t->preview = preview;
      for (size_t at = 0; at < text.size(); at += chunk)
        t->process_buffer(text.data() + at, static_cast<int>(std::min(chunk, text.size() - at)));
      t->exit_status = status;
      t->print_exit_status(t->final_status());

      EXPECT_EQ(e.changes, t->changes);
      EXPECT_EQ(e.creates, t->creates);
      EXPECT_EQ(e.updates, t->updates);
      EXPECT_EQ(e.conflicts, t->conflicts);
      EXPECT_EQ(e.renames, t->renames);
      EXPECT_EQ(e.removes, t->removes);
      EXPECT_EQ(e.restores, t->restores);
      std::string event = "";
      if (auto *b = dynamic_cast<Kes_gui_bringover *>(t.get()))
        event = b->conflicts_created ? "conflicts" : "";
      std::string next_command;
      if (auto *p = dynamic_cast<Kes_gui_putback *>(t.get())) {
        event = p->too_large ? "too large" : p->blocked ? "blocked" : "";
        next_command = p->bringover_command ? p->bringover_command : "";
      }
      EXPECT_EQ(e.event, event);
      EXPECT_EQ(e.next, next_command);

      std::string bar, log, verdict;
      for (const std::string &line : new_trace()) {
        if (line.rfind("trans progress ", 0) == 0) bar = line.substr(15);
        if (line.rfind("log ", 0) == 0) log += line.substr(4) + "\n";
        if (line.rfind("trans status ", 0) == 0) verdict = line.substr(13);
      }
      EXPECT_EQ(e.bar, bar);
      EXPECT_EQ(e.verdict, verdict);
      // Bringover's resolve hint becomes a question, not a line of output;
      // the rest of the output reaches the window, line by line (the trace
      // leaves out empty lines, and a line cut in pieces is two).
      std::string expected_log;
      std::istringstream lines(text);
      for (std::string line; std::getline(lines, line);)
        if (!line.empty() && (kind != KES_TRANS_BRINGOVER ||
                              line.find("to resolve conflicts") == std::string::npos))
          expected_log += line + "\n";
      if (e.event != std::string("too large")) {
        EXPECT_EQ(expected_log, log);
      }
    }
  }
}

// Lines the recorded runs lack.  A line longer than the buffer goes in
// pieces: only the first piece can be recognised, and the rest is not mistaken
// for a line of its own.  A line about a parent's name history is an "update"
// line too, and counts twice.
TEST_F(TransParse, LongLinesAreCutAndNameHistoryLinesCountTwice) {
  std::unique_ptr<Kes_gui_engine> engine(kes_gui_make_bringover_engine());
  Kes_gui_bringover t(engine.get());
  std::string line = "update: " + std::string(1500, 'x') + "update: y\n";
  t.process_buffer(line.data(), static_cast<int>(line.size()));
  std::string tail = "create: z\nupdate parent's name history: src/b.c\n";
  t.process_buffer(tail.data(), static_cast<int>(tail.size()));
  EXPECT_EQ(3, t.updates);
  EXPECT_EQ(1, t.creates);
  EXPECT_EQ(0, t.overflow);
  new_trace();
}

TEST_F(TransParse, StoppedAndUnknownStatusesHaveTheirOwnWords) {
  const struct {
    Kes_gui_trans_kind kind;
    int preview, status;
    const char *text;
  } kVerdicts[] = {
      {KES_TRANS_BRINGOVER, 0, -1, "Bringover failed due to user stopping the process"},
      {KES_TRANS_BRINGOVER, 1, -1, "Bringover preview failed due to user stopping the process"},
      {KES_TRANS_PUTBACK, 1, 3, "Putback preview would block, would execute bringover"},
      {KES_TRANS_PUTBACK, 1, 0, "Putback preview completed"},
      {KES_TRANS_UNDO, 0, 7, "Undo exited: 7 - unknown exit code"},
      {KES_TRANS_BRINGOVER, 1, 2, "Bringover preview exited: 2 - unknown exit code"},
  };
  for (const auto &v : kVerdicts) {
    char buf[256];
    EXPECT_STREQ(v.text, kes_gui_exit_text(v.kind, v.preview, v.status, buf, sizeof buf));
  }
}

}  // namespace
