// create_ws_shell_c, "Create Workspace", and create_cws_shell_c, "Create Child
// Workspace": the workspace command's create (and parent), and the new
// workspaces on the canvas.
#include <Xm/ToggleB.h>

#include <memory>
#include <sstream>
#include <string>

#include "gui/kes_canvas.h"
#include "gui/kes_gui.h"
#include "gui/kes_gui_debug.h"
#include "gui/kes_gui_stubs.h"
#include "gui/shells/form_dialog.h"
#include "gui/shells/ws_ops.h"
#include "util/kes_err.h"
#include "util/kes_quote.h"
#include "workspace/kes_workspace.h"

namespace {

const char *const kButtons[] = {"Create", "Cancel", "Help"};

// Adds a workspace the tool made to the canvas, below parent if given.
void add_made(const std::string &path, const std::string &parent) {
  Kes_err *err = nullptr;
  Kes_workspace ws(path.c_str(), &err);
  delete err;
  std::unique_ptr<Kes_workspace> p;
  if (!parent.empty()) p.reset(new Kes_workspace(parent.c_str(), nullptr));
  get_gui()->get_canvas()->add_workspace(p.get(), &ws);
}

}  // namespace

class Kes_gui_create {
public:
  // Runs "workspace create" on names; the made workspaces go on the canvas.
  // Returns the count made; message collects the command's complaints.
  static int run_cmd(const std::string &names, std::string *message) {
    std::string cmd = ws_command_path(0);
    if (cmd.empty()) return 0;
    std::string out;
    run_ws_command(cmd + " create " + names + " 2>&1", &out);
    int made = 0;
    std::istringstream lines(out);
    std::string line, last;
    while (std::getline(lines, line)) {
      if (line.compare(0, 9, "workspace") == 0) {
        *message += line + "\n";
      } else if (line.empty() || line[0] != '/') {
        char text[2048];
        snprintf(text, sizeof text, GUI_MSG("brindletool: \"%s\" doesn't start with a /"),
                 line.c_str());
        *message += std::string(text) + "\n";
      } else {
        add_made(line, "");
        made++;
        last = line;
      }
    }
    if (made == 1) left_footer(GUI_MSG("%s workspace created"), last.c_str());
    return made;
  }
};

class create_ws_shell_c : public form_dialog_c {
public:
  create_ws_shell_c()
      : form_dialog_c("create_ws_shell", GUI_MSG("Lathe Weaving: Create Workspace"), "create") {
    dir = add_field("create_ws_dir", GUI_MSG("Workspace Directory:"));
    add_buttons(kButtons, 3);
  }
  Widget dir;

  void button(int index) override {
    if (index == 1) {
      hide();
      return;
    }
    std::istringstream words(text_of(dir));
    std::string word, names, shown;
    int count = 0;
    while (words >> word) {
      std::string path = absolute_path(word);
      if (!has_containing_dir(path)) {
        set_footer(GUI_MSG("Workspace Directory field requires a valid containing directory"));
        return;
      }
      names += quoted(path.c_str()) + " ";
      shown += path + " ";
      count++;
    }
    if (count == 0) {
      set_footer(GUI_MSG("Enter a directory that will be a workspace."));
      return;
    }
    left_footer("%s", GUI_MSG("Create workspace(s)..."));
    char text[8192];
    snprintf(text, sizeof text, GUI_MSG("create the workspace(s) %s..."), shown.c_str());
    set_footer(text);
    std::string message;
    int made = Kes_gui_create::run_cmd(names, &message);
    if (!message.empty()) gui_issue_errdialog(message.c_str());
    if (made > 1) left_footer(GUI_MSG("%d workspace(s) created"), made);
    if (made == 0) left_footer("%s", GUI_MSG("Create workspace(s)... failed"));
    set_footer(made ? nullptr : GUI_MSG("Create workspace(s)... failed"));
    if (made) hide();
  }
};

class Kes_gui_createchild {
public:
  // "workspace create" for the child, then "workspace parent" when the first
  // went well.  The command's complaints go to message.
  static int run_cmds(const std::string &parent, const std::string &child, std::string *message) {
    std::string cmd = ws_command_path(0);
    if (cmd.empty()) return 1;
    std::string out;
    std::string c = quoted(child.c_str());
    int status = run_ws_command(cmd + " create " + c + " 2>&1", &out);
    if (status == 0)
      status = run_ws_command(cmd + " parent -p " + quoted(parent.c_str()) + " " + c +
                                  " 2>&1",
                              &out);
    *message = status == -1 ? out : error_lines(out, "workspace");
    if (status != 0 && message->empty()) *message = out;
    return status;
  }
};

class create_cws_shell_c : public form_dialog_c {
public:
  create_cws_shell_c()
      : form_dialog_c("create_cws_shell", GUI_MSG("Lathe Weaving: Create Child Workspace"),
                      "create") {
    parent = add_field("cws_parent", GUI_MSG("Parent  Workspace Directory:"), 1);
    child = add_field("cws_child", GUI_MSG("Child Workspace Directory:"));
    bringover = add_toggle(nullptr, "cws_bringover", GUI_MSG("Do Bringover"));
    add_buttons(kButtons, 3);
  }
  Widget parent, child, bringover;

  void button(int index) override {
    if (index == 1) {
      hide();
      return;
    }
    std::string p = absolute_path(text_of(parent)), c = absolute_path(text_of(child));
    const char *why = nullptr;
    if (p.empty())
      why = GUI_MSG("Enter a directory that will be a parent workspace.");
    else if (!is_workspace_dir(p))
      why = GUI_MSG("Parent Workspace Directory field requires a valid workspace");
    else if (c.empty())
      why = GUI_MSG("Enter a directory that will be a child workspace.");
    else if (!has_containing_dir(c))
      why = GUI_MSG("Child Workspace Directory field requires a valid containing directory");
    if (why) {
      set_footer(why);
      return;
    }
    left_footer(GUI_MSG("Creating Child workspace: %s..."), c.c_str());
    std::string message;
    int status = Kes_gui_createchild::run_cmds(p, c, &message);
    if (status != 0 || !message.empty()) {
      gui_issue_errdialog(message.c_str());
      left_footer("%s", GUI_MSG("Creating Child workspace... failed"));
      return;
    }
    add_made(c, p);
    left_footer(GUI_MSG("%s Child workspace created"), c.c_str());
    hide();
    if (XmToggleButtonGetState(bringover)) gui_bringover_create(p, c);
  }
};

namespace {
create_ws_shell_c *create_shell;
create_cws_shell_c *create_child_shell;
}  // namespace

void gui_stubs_create_workspace() {
  if (!create_shell) create_shell = new create_ws_shell_c;
  form_dialog_c::set_text(create_shell->dir, "");
  create_shell->set_footer(nullptr);
  create_shell->show();
}

void gui_stubs_create_child() {
  if (!create_child_shell) create_child_shell = new create_cws_shell_c;
  std::string sel = selected_ws_path();
  if (!sel.empty()) form_dialog_c::set_text(create_child_shell->parent, sel.c_str());
  create_child_shell->set_footer(nullptr);
  create_child_shell->show();
}
