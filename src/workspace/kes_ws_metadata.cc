// Kes_workspace's factories of its metadata files, and the readers and writers
// built on them.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>

#include "util/kes_err.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_path.h"
#include "workspace/kes_access.h"
#include "workspace/kes_cmdlock.h"
#include "workspace/kes_history.h"
#include "workspace/kes_md_args.h"
#include "workspace/kes_md_backupnew.h"
#include "workspace/kes_md_conflicts.h"
#include "workspace/kes_md_description.h"
#include "workspace/kes_md_freezept_control.h"
#include "workspace/kes_md_parent.h"
#include "workspace/kes_md_putback_validation.h"
#include "workspace/kes_nametable.h"
#include "workspace/kes_notify.h"
#include "workspace/kes_workspace.h"

namespace {
// The first workspace of a parent-link file, or null.
Kes_err *first_link(Kes_md_parent *md, Kes_workspace **out) {
  Kes_wslist list;
  Kes_err *e = md->get_contents(&list);
  if (!e && list.count > 0) {
    Kes_listelem *first = list.head.next;
    *out = static_cast<Kes_workspace *>(first->data);
    list.delete_elem_wrapper(first);
  }
  return e;
}
}  // namespace

Kes_err *Kes_workspace::get_md_access(Kes_md_access **md) { return make_md(md); }
Kes_err *Kes_workspace::get_md_args(Kes_md_args **md) { return make_md(md); }
Kes_err *Kes_workspace::get_md_autofr(Kes_md_autofr **md) { return make_md(md); }
Kes_err *Kes_workspace::get_md_backupnew(Kes_md_backupnew **md) { return make_md(md); }
Kes_err *Kes_workspace::get_md_children(Kes_md_children **md) { return make_md(md); }
Kes_err *Kes_workspace::get_md_conflicts(Kes_md_conflicts **md) { return make_md(md); }
Kes_err *Kes_workspace::get_md_description(Kes_md_description **md) { return make_md(md); }
Kes_err *Kes_workspace::get_md_history(Kes_md_history **md) { return make_md(md); }
Kes_err *Kes_workspace::get_md_locks(Kes_md_locks **md) { return make_md(md); }
Kes_err *Kes_workspace::get_md_nametable(Kes_md_nametable **md) { return make_md(md); }
Kes_err *Kes_workspace::get_md_nt_editlog(Kes_md_nt_editlog **md) { return make_md(md); }
Kes_err *Kes_workspace::get_md_notify(Kes_md_notify **md) { return make_md(md); }
Kes_err *Kes_workspace::get_md_ombraparent(Kes_md_ombraparent **md) { return make_md(md); }
Kes_err *Kes_workspace::get_md_parent(Kes_md_parent **md) { return make_md(md); }
Kes_err *Kes_workspace::get_md_pbval(Kes_md_pbval **md) { return make_md(md); }

Kes_err *Kes_workspace::new_md_parent(Kes_workspace *ws, Kes_md_parent **out) {
  return ws->get_md_parent(out);
}

Kes_err *Kes_workspace::get_parent(Kes_workspace **parent) {
  *parent = nullptr;
  if (!exists()) return nullptr;
  Kes_md_parent *md = nullptr;
  Kes_err *e = new_md_parent(this, &md);
  if (!e) e = first_link(md, parent);
  delete md;
  if (e || *parent) return e;
  Kes_md_ombraparent *omd = nullptr;
  e = get_md_ombraparent(&omd);
  if (!e) e = first_link(omd, parent);
  delete omd;
  return e;
}

Kes_err *Kes_workspace::get_kes_parent(Kes_workspace **parent) {
  *parent = nullptr;
  if (!exists()) return nullptr;
  Kes_md_parent *md = nullptr;
  Kes_err *e = get_md_parent(&md);
  if (!e) e = first_link(md, parent);
  delete md;
  return e;
}

Kes_err *Kes_workspace::get_children(Kes_wslist **children) {
  *children = new Kes_wslist;
  if (!exists()) return nullptr;
  Kes_md_children *md = nullptr;
  Kes_err *e = get_md_children(&md);
  if (!e) e = md->get_contents(*children);
  delete md;
  return e;
}

Kes_err *Kes_workspace::get_description(Kes_strlist **lines) {
  *lines = nullptr;
  if (!exists()) return nullptr;
  Kes_md_description *md = nullptr;
  Kes_err *e = get_md_description(&md);
  if (!e) {
    *lines = new Kes_strlist;
    e = md->get_contents(*lines);
  }
  delete md;
  if (e && e->code == 1001 && e->system_errno == ENOENT) {
    delete e;
    e = nullptr;
  }
  if (e) {
    delete *lines;
    *lines = nullptr;
  }
  return e;
}

Kes_err *Kes_workspace::get_conflicts(Kes_strlist **names) {
  *names = new Kes_strlist;
  if (!exists()) return nullptr;
  Kes_md_conflicts *md = nullptr;
  Kes_err *e = get_md_conflicts(&md);
  if (!e) e = md->get_lines(*names);
  delete md;
  return e;
}

Kes_err *Kes_workspace::get_pbval(Kes_pbval **settings) {
  *settings = nullptr;
  if (!exists()) return nullptr;
  Kes_md_pbval *md = nullptr;
  Kes_err *e = get_md_pbval(&md);
  if (!e) {
    Kes_strlist unused;
    e = md->get_contents(&unused);
    if (!e) *settings = md->pbval.copy();
  }
  delete md;
  return e;
}

Kes_err *Kes_workspace::get_autofr(Kes_autofr **settings) {
  *settings = nullptr;
  if (!exists()) return nullptr;
  Kes_md_autofr *md = nullptr;
  Kes_err *e = get_md_autofr(&md);
  if (!e) {
    Kes_strlist unused;
    e = md->get_contents(&unused);
    if (!e) *settings = md->autofr.copy();
  }
  delete md;
  return e;
}

Kes_err *Kes_workspace::set_parent(Kes_workspace *parent) {
  if (parent->not_real) return nullptr;
  if (!exists()) return kes_ws_does_not_exist(wsname);
  const char *shorter, *longer;
  if (kes_ws_nested(get_absname(), parent->get_absname(), &shorter, &longer))
    return (new Kes_err)->format_msg(
        2063, 0, BWM_MSG(4011, "workspace \"%s\" is nested within \"%s\""), shorter, longer);
  Kes_md_parent *md = nullptr;
  Kes_err *e = parent->new_md_parent(this, &md);
  if (!e) e = md->add_line(parent->netname);
  delete md;
  return e;
}

Kes_err *Kes_workspace::remove_parent() {
  Kes_md_parent *md = nullptr;
  Kes_err *e = get_md_parent(&md);
  if (e) return e;
  errno = 0;
  e = md->remove();
  bool absent = !e && errno == ENOENT;
  delete md;
  if (!absent) return e;
  Kes_md_ombraparent *omd = nullptr;
  e = get_md_ombraparent(&omd);
  if (!e) e = omd->remove();
  delete omd;
  return e;
}

Kes_err *Kes_workspace::add_child(Kes_workspace *child) {
  if (not_real) return nullptr;
  if (!exists()) return kes_ws_does_not_exist(wsname);
  Kes_md_children *md = nullptr;
  Kes_err *e = get_md_children(&md);
  if (!e) e = md->add_line(child->netname);
  delete md;
  return e;
}

Kes_err *Kes_workspace::remove_child(Kes_workspace *child) {
  Kes_md_children *md = nullptr;
  Kes_err *e = get_md_children(&md);
  if (e) return e;
  int found = 0;
  e = md->delete_line(child->netname, &found);
  if (!e && !found && child->netname && child->netname[0] == '/') {
    // The line may have been written in the host:/path form.
    char net[1024];
    if (kes_path_to_netpath(child->netname, net)) e = md->delete_line(net, &found);
  }
  delete md;
  return e;
}

Kes_err *Kes_workspace::add_conflict(const char *name) {
  if (!exists()) return kes_ws_does_not_exist(wsname);
  Kes_md_conflicts *md = nullptr;
  Kes_err *e = get_md_conflicts(&md);
  if (!e) e = md->add_line(name);
  delete md;
  return e;
}

Kes_err *Kes_workspace::remove_conflict(const char *name) {
  Kes_md_conflicts *md = nullptr;
  Kes_err *e = get_md_conflicts(&md);
  if (!e) e = md->delete_line(name, nullptr);
  delete md;
  return e;
}

// Writing the settings is the caller's, through put_contents (or save) on the
// object from get_md_pbval or get_md_autofr.
Kes_err *Kes_workspace::set_pbval(Kes_pbval *settings) {
  if (!exists()) return kes_ws_does_not_exist(wsname);
  Kes_md_pbval *md = nullptr;
  Kes_err *e = get_md_pbval(&md);
  delete md;
  return e;
}

Kes_err *Kes_workspace::set_autofr(Kes_autofr *settings) {
  if (!exists()) return kes_ws_does_not_exist(wsname);
  Kes_md_autofr *md = nullptr;
  Kes_err *e = get_md_autofr(&md);
  delete md;
  return e;
}

namespace {
// The workspace's description, or an error; d stays empty without a file.
Kes_err *read_description(Kes_workspace *ws, Kes_description *d) {
  Kes_strlist *lines = nullptr;
  Kes_err *e = ws->get_description(&lines);
  if (!e) e = d->init_description(lines);
  delete lines;
  return e;
}
}  // namespace

Kes_err *Kes_workspace::print_description(int with_name, int with_text) {
  Kes_description d;
  if (Kes_err *e = read_description(this, &d)) return e;
  if (with_name && d.name) {
    if (with_text) printf("%s", BWM_MSG(7503, "NAME:\n"));
    printf("%s\n", d.name);
  }
  if (with_text && d.name) {
    if (with_name) printf("%s", BWM_MSG(7504, "DESCRIPTION:\n"));
    printf("%s", d.text ? d.text : "");
  }
  return nullptr;
}

char *Kes_workspace::make_descnm_notif_line(int indent) {
  Kes_description d;
  Kes_err *e = read_description(this, &d);
  if (e || !d.name) {
    delete e;
    return strdup("");
  }
  std::string s = "\n";
  s.append(indent > 0 ? indent : 0, ' ');
  s = s + "<" + d.name + ">";
  return strdup(s.c_str());
}
