// Kes_gui_trans, the command runner behind the transaction panels, and the
// three panels Kes_gui_bringover, Kes_gui_putback and Kes_gui_undo.
//
// The tool never runs a transaction in its own process.  A press of a panel's
// action button makes a new panel object; process() reads the form, checks it,
// builds the command line and run() starts "sh -c" on it in a process group of
// its own, with one pipe for both output streams.  A 100 ms timer reads the
// pipe; process_line() counts what it recognises, by the words of the engine
// objects (Kes_gui_engine), and writes the line to the output window.  End of
// output ends the transaction: cleanup() turns the exit status into the verdict
// on the footers, reacts to conflicts and blocked putbacks, and deletes the
// object.  The Stop button kills the process group.
//
// One long-lived base object (get_gui_trans) keeps the last comments, the
// integration request and the lists of the form on top; one long-lived undo
// object (get_gui_undo) keeps the undo's file list.
//
// With BRINDLE_GUI_DEBUG the runner traces "trans command CMD", "trans pid N",
// "log TEXT" for what reaches the output window, "trans status TEXT" and
// "output status TEXT" for the footers, "trans progress VALUE MAX" and
// "trans exit STATUS".
//
// Defined in kes_gui_trans.cc (the runner), kes_gui_trans_parse.cc (lines,
// counts and verdicts) and kes_gui_panels.cc (the panels' forms and checks).
#ifndef BRINDLE_GUI_KES_GUI_TRANS_H
#define BRINDLE_GUI_KES_GUI_TRANS_H

#include <X11/Intrinsic.h>

class Kes_workspace;
class Kes_strlist;
class Kes_gui_engine;

enum Kes_gui_trans_kind { KES_TRANS_BRINGOVER = 0, KES_TRANS_PUTBACK = 1, KES_TRANS_UNDO = 2 };

class Kes_gui_trans {
public:
  XtIntervalId timer = 0;
  int preview = 0;
  int quiet = 0;
  int verbose = 0;
  int skip_gets = 0;
  int skip_backups = 0;
  int delta_comments = 0;
  int print_status = 1;
  int abnormal = 0;  // nothing sets it; its texts stay in reserve
  int stopped = 0;
  char *command = nullptr;
  Kes_workspace *parent_ws = nullptr;
  Kes_workspace *child_ws = nullptr;
  int changes = 0;
  int updates = 0;
  int creates = 0;
  int conflicts = 0;
  int renames = 0;
  int removes = 0;
  int restores = 0;
  int no_changes_seen = 0;
  int read_fd = -1;
  int write_fd = -1;
  int child_pid = 0;
  int exit_status = 0;
  int finished = 1;
  int poll_time = 100;
  Kes_strlist *file_list = nullptr;  // borrowed from the form
  Kes_strlist *flp_list = nullptr;   // borrowed from the form
  int overflow = 0;
  char *command_prefix;
  char *command_suffix;
  char *last_bringover_comment = nullptr;
  char *last_putback_comment = nullptr;
  char *last_undo_comment = nullptr;
  char integration_request[1024] = "";
  // Which transaction this is, and the engine whose words the parser compares.
  Kes_gui_trans_kind kind;
  Kes_gui_engine *engine;

  // The engine defaults to the one Kes_gui holds for the kind.
  explicit Kes_gui_trans(Kes_gui_trans_kind kind = KES_TRANS_BRINGOVER,
                         Kes_gui_engine *engine = nullptr);
  virtual ~Kes_gui_trans();
  Kes_gui_trans(const Kes_gui_trans &) = delete;
  Kes_gui_trans &operator=(const Kes_gui_trans &) = delete;

  // The comment text quoted for the inside of single quotes; malloc-ed.  This
  // and the slots that find the panel's widgets work by the kind.
  virtual char *get_comments();
  // text quoted as get_comments quotes the panel's comment; malloc-ed.
  static char *quote_comment(const char *text);
  virtual Widget get_abort_button();
  virtual void set_abort_button(Widget w);
  virtual const char *get_abort_label();
  virtual Widget get_output_button();
  virtual void show_abort_button();
  virtual void hide_abort_button();
  virtual int is_abort_button();
  virtual Widget get_transaction_button();
  virtual Widget get_panel();
  virtual void enable_panel();
  virtual void disable_panel();
  virtual void get_options();
  // The checks answer 1 when the press may go on.
  virtual int verify_parent_ws();
  virtual int verify_child_ws();
  virtual int verify_comment();
  virtual int build_cmd();
  virtual void run();
  virtual void cleanup();
  virtual int get_cmd_size();
  virtual void process();
  virtual void process_line(const char *line, int length);
  virtual void update_statistics_footer();

  void process_buffer(const char *bytes, int count);
  void write_to_log(const char *text, int length);
  void print_footer(int footer, const char *text);
  void clear_footer(int footer);
  void print_popup_footer(const char *text);
  void clear_popup_footer();
  // -2 abnormal, -1 stopped, else the child's exit status.
  int final_status() const;
  void print_exit_status(int status);

protected:
  // The base's recognition of action words; 1 when one matched.
  int count_action_words(const char *line, int length);
  // The two announcement lines; 1 when one matched and was counted.
  int count_announcement(const char *line);
  // Bringover's and putback's lines after their own: an announcement is
  // counted, anything else goes to the base.
  void process_announced_line(const char *line, int length);
  // The shared part of every cleanup: buttons, panel and cursors back.
  void restore_panel();
  // Whether the first length bytes of line begin with word.
  static int begins(const char *line, int length, const char *word);
};

class Kes_gui_bringover : public Kes_gui_trans {
public:
  int conflicts_created = 0;
  int created_new = 0;
  int force_conflicts = 0;
  char *new_child_path = nullptr;

  explicit Kes_gui_bringover(Kes_gui_engine *engine = nullptr);
  ~Kes_gui_bringover() override;

  void hide_abort_button() override;
  void enable_panel() override;
  void disable_panel() override;
  void get_options() override;
  int verify_parent_ws() override;
  int verify_child_ws() override;
  int verify_comment() override;
  int build_cmd() override;
  void cleanup() override;
  void process_line(const char *line, int length) override;
  // Brings the form in line with a command made elsewhere (a blocked
  // putback's bringover); 0 when the command cannot be read back.
  int setup_panel();
};

class Kes_gui_putback : public Kes_gui_trans {
public:
  int blocked = 0;
  int auto_bringover = 0;
  int expect_command = 0;
  char *bringover_command = nullptr;
  int too_large = 0;

  explicit Kes_gui_putback(Kes_gui_engine *engine = nullptr);
  ~Kes_gui_putback() override;

  void hide_abort_button() override;
  void enable_panel() override;
  void disable_panel() override;
  void get_options() override;
  int verify_parent_ws() override;
  int verify_child_ws() override;
  int verify_comment() override;
  int build_cmd() override;
  void cleanup() override;
  void process_line(const char *line, int length) override;
};

class Kes_gui_undo : public Kes_gui_trans {
public:
  // The names given to ws_undo; only the long-lived object's list is used.
  Kes_strlist *undo_list = nullptr;

  explicit Kes_gui_undo(Kes_gui_engine *engine = nullptr);

  void hide_abort_button() override;
  void enable_panel() override;
  void disable_panel() override;
  void get_options() override;
  int verify_parent_ws() override;  // nothing to check
  int verify_child_ws() override;   // the one workspace: verify_ws
  int verify_comment() override;
  int build_cmd() override;
  int get_cmd_size() override;
  void cleanup() override;
  void process_line(const char *line, int length) override;
  void update_statistics_footer() override;
  int verify_ws();
};

// The verdict on a transaction's exit status, as the footers show it; buf
// holds size bytes.
const char *kes_gui_exit_text(Kes_gui_trans_kind kind, int preview, int status, char *buf,
                              int size);

// The timer that reads the pipe, the Stop button's work, and the end of a run.
void cmd_timer_func(XtPointer object, XtIntervalId *id);
void cmd_kill_proc(Widget button);
void clean_up_after_trans(Kes_gui_trans *trans);

Kes_gui_trans *get_gui_trans();
void set_gui_trans(Kes_gui_trans *trans);
Kes_gui_undo *get_gui_undo();
void set_gui_undo(Kes_gui_undo *undo);

#endif
