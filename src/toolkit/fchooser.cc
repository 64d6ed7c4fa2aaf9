// FChooser_c, GfileChooser and accessible_dir.
#include "toolkit/fchooser.h"

#include <Xm/Form.h>
#include <Xm/Label.h>
#include <Xm/PushB.h>
#include <Xm/RowColumn.h>
#include <Xm/TextF.h>
#include <Xm/Xm.h>
#include <X11/Shell.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "toolkit/modal_dialog.h"
#include "toolkit/ss_matrix.h"
#include "toolkit/ss_trace.h"

namespace {

XmString make_string(const char *text) { return XmStringCreateLocalized(const_cast<char *>(text)); }

Widget label(Widget parent, const char *name, const char *text) {
  XmString s = make_string(text);
  Widget w = XtVaCreateManagedWidget(name, xmLabelWidgetClass, parent, XmNlabelString, s, nullptr);
  XmStringFree(s);
  return w;
}

Widget button(Widget parent, const char *name, const char *text) {
  XmString s = make_string(text);
  Widget w =
      XtVaCreateManagedWidget(name, xmPushButtonWidgetClass, parent, XmNlabelString, s, nullptr);
  XmStringFree(s);
  return w;
}

}  // namespace

int accessible_dir(const char *path, char *text, int size) {
  const char *slash = strrchr(path, '/');
  const char *last = slash && slash[1] ? slash + 1 : path;
  if (access(path, F_OK) != 0) {
    snprintf(text, size, SS_MSG("%s doesn't exist"), last);
    return 0;
  }
  if (access(path, R_OK | X_OK) != 0) {
    snprintf(text, size, SS_MSG("There is no access to %s"), last);
    return 0;
  }
  text[0] = '\0';
  return 1;
}

void FChooser_c::create(Widget parent, const char *name, const char *title) {
  Widget top = parent;
  while (top && !XtIsShell(top)) top = XtParent(top);
  shell = XtVaCreatePopupShell(name, transientShellWidgetClass, top, XmNtitle, title,
                               XmNtransientFor, top, XmNdeleteResponse, XmUNMAP, XmNx, 60, XmNy, 90, XmNwidth, 520,
                               XmNheight, 440, nullptr);
  form = XtVaCreateWidget("fc_form", xmFormWidgetClass, shell, XmNmarginWidth, 6,
                          XmNmarginHeight, 6, XmNverticalSpacing, 4, nullptr);
  dir_label = label(form, "fc_dir_label", SS_MSG("Directory:"));
  XtVaSetValues(dir_label, XmNtopAttachment, XmATTACH_FORM, XmNtopOffset, 6, XmNleftAttachment,
                XmATTACH_FORM, nullptr);
  dir_text = XtVaCreateManagedWidget("fc_dir_text", xmTextFieldWidgetClass, form,
                                     XmNtopAttachment, XmATTACH_FORM, XmNleftAttachment,
                                     XmATTACH_WIDGET, XmNleftWidget, dir_label, XmNrightAttachment,
                                     XmATTACH_FORM, nullptr);
  footer = label(form, "fc_footer", " ");
  XtVaSetValues(footer, XmNbottomAttachment, XmATTACH_FORM, XmNleftAttachment, XmATTACH_FORM,
                XmNrightAttachment, XmATTACH_FORM, XmNalignment, XmALIGNMENT_BEGINNING,
                XmNrecomputeSize, False, nullptr);
  Widget row = XtVaCreateManagedWidget(
      "fc_buttons", xmRowColumnWidgetClass, form, XmNorientation, XmHORIZONTAL, XmNpacking,
      XmPACK_TIGHT, XmNbottomAttachment, XmATTACH_WIDGET, XmNbottomWidget, footer,
      XmNleftAttachment, XmATTACH_FORM, nullptr);
  add_btn = button(row, "fc_add_btn", SS_MSG("Add Files to List"));
  load_btn = button(row, "fc_load_btn", SS_MSG("Load Directory"));
  cancel_btn = button(row, "fc_cancel_btn", SS_MSG("Cancel"));
  help_btn = button(row, "fc_help_btn", SS_MSG("Help"));
  name_label = label(form, "fc_name_label", SS_MSG("Name:"));
  name_text = XtVaCreateManagedWidget("fc_name_text", xmTextFieldWidgetClass, form,
                                      XmNbottomAttachment, XmATTACH_WIDGET, XmNbottomWidget, row,
                                      XmNleftAttachment, XmATTACH_WIDGET, XmNleftWidget,
                                      name_label, XmNrightAttachment, XmATTACH_FORM, nullptr);
  XtVaSetValues(name_label, XmNbottomAttachment, XmATTACH_WIDGET, XmNbottomWidget, row,
                XmNbottomOffset, 8, XmNleftAttachment, XmATTACH_FORM, nullptr);
  area = XtVaCreateManagedWidget("fc_area", xmFormWidgetClass, form, XmNtopAttachment,
                                 XmATTACH_WIDGET, XmNtopWidget, dir_text, XmNbottomAttachment,
                                 XmATTACH_WIDGET, XmNbottomWidget, name_text, XmNleftAttachment,
                                 XmATTACH_FORM, XmNrightAttachment, XmATTACH_FORM, nullptr);
  XtManageChild(form);
}

GfileChooser::GfileChooser(Widget parent, const char *name, const char *title, int sccs)
    : name_(name) {
  dialog_.create(parent, name, title);
  matrix_ = sccs ? new SFileMatrix(dialog_.area, "fc_matrix") : new FileMatrix(dialog_.area, "fc_matrix");
  XtVaSetValues(matrix_->getWidget(), XmNtopAttachment, XmATTACH_FORM, XmNbottomAttachment,
                XmATTACH_FORM, XmNleftAttachment, XmATTACH_FORM, XmNrightAttachment,
                XmATTACH_FORM, nullptr);
  matrix_->setActivateProc(activated, this);
  XtAddCallback(dialog_.add_btn, XmNactivateCallback, add_callback, this);
  XtAddCallback(dialog_.name_text, XmNactivateCallback, add_callback, this);
  XtAddCallback(dialog_.load_btn, XmNactivateCallback, load_button_callback, this);
  XtAddCallback(dialog_.dir_text, XmNactivateCallback, load_callback, this);
  XtAddCallback(dialog_.cancel_btn, XmNactivateCallback, cancel_callback, this);
  XtAddCallback(dialog_.help_btn, XmNactivateCallback, help_callback, this);
  XtAddCallback(dialog_.shell, XmNpopdownCallback, cancel_callback, this);
}

GfileChooser::~GfileChooser() {
  delete matrix_;
  XtDestroyWidget(dialog_.shell);
}

void GfileChooser::popup() {
  XtPopup(dialog_.shell, XtGrabNone);
  XRaiseWindow(XtDisplay(dialog_.shell), XtWindow(dialog_.shell));
  up_ = 1;
  SSTrace("chooser %s up", name_.c_str());
}

void GfileChooser::popdown() {
  if (up_) XtPopdown(dialog_.shell);
  up_ = 0;
}

int GfileChooser::allowDirectory(const char *) { return 1; }

int GfileChooser::loadDirectory(const char *dir) {
  if (!dir || !*dir) {
    setFooter(SS_MSG("No directory specified"));
    return 0;
  }
  char real[PATH_MAX];
  struct stat st;
  if (!realpath(dir, real) || stat(real, &st) != 0 || !S_ISDIR(st.st_mode)) {
    char text[256];
    snprintf(text, sizeof text, SS_MSG("%s field requires a valid directory"),
             SS_MSG("Directory"));
    setFooter(text);
    return 0;
  }
  char text[1200];
  if (!accessible_dir(real, text, sizeof text)) {  // the old listing stays
    setFooter(text);
    return 0;
  }
  if (!allowDirectory(real)) return 0;
  const int again = matrix_->getDirectory() == real;
  setFooter(again ? SS_MSG("Reloading directory...") : SS_MSG("Loading directory..."));
  ss_set_busy_cursor(dialog_.shell, 1);
  int failed = matrix_->load(real);
  ss_set_busy_cursor(dialog_.shell, 0);
  if (failed) {
    accessible_dir(real, text, sizeof text);
    setFooter(text);
    return 0;
  }
  XmTextFieldSetString(dialog_.dir_text, real);
  setFooter(nullptr);
  loaded();
  SSTrace("chooser %s loaded %s", name_.c_str(), real);
  return 1;
}

const std::string &GfileChooser::getDirectory() const { return matrix_->getDirectory(); }

std::string GfileChooser::getName() const {
  char *text = XmTextFieldGetString(dialog_.name_text);
  std::string out = text ? text : "";
  XtFree(text);
  return out;
}

void GfileChooser::setName(const char *text) {
  XmTextFieldSetString(dialog_.name_text, const_cast<char *>(text ? text : ""));
}

std::vector<std::string> GfileChooser::getSelectedPaths() const {
  std::vector<std::string> out;
  for (SSDrawIcon *icon : matrix_->getSelectedElements()) {
    FMFile *f = FileMatrix::fileOf(icon);
    if (f && !f->isDotDot()) out.push_back(f->path);
  }
  return out;
}

void GfileChooser::setFooter(const char *text) {
  XmString s = make_string(text && *text ? text : " ");
  XtVaSetValues(dialog_.footer, XmNlabelString, s, nullptr);
  XmStringFree(s);
  SSTrace("chooser %s footer %s", name_.c_str(), text ? text : "");
}

void GfileChooser::setAddProc(AddProc proc, void *data) {
  add_ = proc;
  addData_ = data;
}

void GfileChooser::setAddLabel(const char *text) {
  XmString s = make_string(text);
  XtVaSetValues(dialog_.add_btn, XmNlabelString, s, nullptr);
  XmStringFree(s);
}

void GfileChooser::setTitle(const char *title) {
  XtVaSetValues(dialog_.shell, XmNtitle, title, nullptr);
}

void GfileChooser::add_callback(Widget, XtPointer client, XtPointer) {
  auto *self = static_cast<GfileChooser *>(client);
  if (self->add_) self->add_(self, self->addData_);
}

void GfileChooser::load_callback(Widget, XtPointer client, XtPointer) {
  auto *self = static_cast<GfileChooser *>(client);
  char *text = XmTextFieldGetString(self->dialog_.dir_text);
  self->loadDirectory(text);
  XtFree(text);
}

void GfileChooser::loadPressed() { load_callback(nullptr, this, nullptr); }

void GfileChooser::load_button_callback(Widget, XtPointer client, XtPointer) {
  static_cast<GfileChooser *>(client)->loadPressed();
}

void GfileChooser::cancel_callback(Widget w, XtPointer client, XtPointer) {
  auto *self = static_cast<GfileChooser *>(client);
  if (w != self->dialog_.shell) self->popdown();
  self->up_ = 0;
}

void GfileChooser::help_callback(Widget, XtPointer client, XtPointer) {
  modal_dialog::help(static_cast<GfileChooser *>(client)->name_.c_str());
}

// A directory is entered, a file added as if it alone were selected.
void GfileChooser::activated(Matrix *, SSDrawIcon *element, void *data) {
  auto *self = static_cast<GfileChooser *>(data);
  FMFile *f = FileMatrix::fileOf(element);
  if (!f) return;
  if (f->isDirectory()) {
    self->directoryActivated(f->path);
    return;
  }
  self->matrix_->clearSelection();
  element->setSelected(1);
  if (self->add_) self->add_(self, self->addData_);
}
