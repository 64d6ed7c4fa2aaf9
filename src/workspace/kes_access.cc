// Access control: Kes_access, Kes_accesslist, Kes_md_access, the checks, and the
// workspace's access operations.
#include "workspace/kes_access.h"

#include <netdb.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "util/kes_err.h"
#include "util/kes_host.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "util/kes_str.h"

namespace {

// The nine rights, in the order of the default file.  The first column says
// whether the default is the creating user alone (1) or everybody (0).
struct Operation {
  const char *name;
  int owner_only;
};
const Operation operations[] = {
    {"bringover-from", 0},     {"bringover-to", 1},       {"putback-from", 0},
    {"putback-to", 0},         {"undo", 0},               {"workspace-delete", 1},
    {"workspace-move", 1},     {"workspace-reparent", 1}, {"workspace-reparent-to", 0},
};

// Names are compared over at most this many bytes.
const size_t kUserLen = 32;

// The creating user, or "-" (which denies everybody) when the uid has no name.
std::string creating_user(int *unknown) {
  const char *user = kes_get_user(0, 0);
  *unknown = user == nullptr;
  if (!user) return "-";
  return std::string(user, strnlen(user, kUserLen));
}

Kes_access *make_default(const char *operation, int *unknown) {
  *unknown = 0;
  if (strcmp(operation, "version-control") == 0) {
    Kes_strlist *values = new Kes_strlist;
    values->add_new_copy(const_cast<char *>("SCCS"));
    return new Kes_access(nullptr, operation, values);
  }
  for (const Operation &op : operations) {
    if (strcmp(op.name, operation) != 0) continue;
    Kes_strlist *values = nullptr;
    if (op.owner_only) {
      values = new Kes_strlist;
      std::string user = creating_user(unknown);
      values->add_new_copy(const_cast<char *>(user.c_str()));
    }
    return new Kes_access(nullptr, operation, values);
  }
  return nullptr;
}

// Whether user, or this host, is in the netgroup.  The NIS domain is asked
// once per check.
int in_netgroup(const char *group, const char *user, const char **domain, int *domain_known) {
  if (!*domain_known) {
    static char buf[256];
    *domain_known = 1;
    if (getdomainname(buf, sizeof buf) == 0 && buf[0] && strcmp(buf, "(none)") != 0)
      *domain = buf;
  }
  const char *host = kes_hostname();
  if (*domain) {
    if (innetgr(group, nullptr, user, *domain)) return 1;
    if (host && innetgr(group, host, nullptr, *domain)) return 1;
  }
  return innetgr(group, nullptr, user, nullptr);
}

const char *denial_text(const char *operation) {
  if (!strcmp(operation, "bringover-from"))
    return BWM_MSG(6501, "User %s does not have access to bringover from workspace \"%s\"");
  if (!strcmp(operation, "bringover-to"))
    return BWM_MSG(6502, "User %s does not have access to bringover to workspace \"%s\"");
  if (!strcmp(operation, "putback-from"))
    return BWM_MSG(6503, "User %s does not have access to putback from workspace \"%s\"");
  if (!strcmp(operation, "putback-to"))
    return BWM_MSG(6504, "User %s does not have access to putback to workspace \"%s\"");
  if (!strcmp(operation, "undo"))
    return BWM_MSG(6505, "User %s does not have access to undo workspace \"%s\"");
  if (!strcmp(operation, "workspace-delete"))
    return BWM_MSG(6506, "User %s does not have access to delete workspace \"%s\"");
  if (!strcmp(operation, "workspace-move"))
    return BWM_MSG(6507, "User %s does not have access to move workspace \"%s\"");
  if (!strcmp(operation, "workspace-reparent"))
    return BWM_MSG(6508, "User %s does not have access to change the parent of workspace \"%s\"");
  if (!strcmp(operation, "workspace-reparent-to"))
    return BWM_MSG(6509, "User %s does not have access to change the parent to workspace \"%s\"");
  return nullptr;
}

// The shared part of the two checks: 1 and no error when the user may go on.
Kes_err *check(const char *operation, Kes_workspace *ws, const char **user, int *granted) {
  *granted = 1;
  *user = kes_get_user(0, 1);
  if (!*user) return nullptr;  // a uid without a name is not checked
  return ws->access_granted(operation, *user, granted);
}

}  // namespace

Kes_access::Kes_access(Kes_strlist *comments_in, const char *operation_in, Kes_strlist *values_in)
    : comments(comments_in), operation(kes_strdup_or_empty(operation_in)),
      values(values_in) {}

Kes_access::~Kes_access() {
  delete comments;
  free(operation);
  delete values;
}

void Kes_access::set_cmts(Kes_strlist *c) {
  delete comments;
  comments = c;
}

void Kes_access::set_values(Kes_strlist *v) {
  delete values;
  values = v;
}

Kes_access *Kes_access::copy() {
  return new Kes_access(comments ? (Kes_strlist *)comments->copy() : nullptr, operation,
                        values ? (Kes_strlist *)values->copy() : nullptr);
}

void Kes_access::print() {
  if (comments)
    for (Kes_listelem *e = comments->head.next; e != &comments->head; e = e->next)
      fprintf(stderr, "%s\n", (char *)e->data);
  fprintf(stderr, "%s", operation);
  if (values)
    for (Kes_listelem *e = values->head.next; e != &values->head; e = e->next)
      fprintf(stderr, " %s", (char *)e->data);
  fprintf(stderr, "\n");
}

int Kes_access::compare(Kes_access *other) {
  if (!other || strcmp(operation, other->operation) != 0) return 0;
  int mine = values ? values->count : 0;
  int theirs = other->values ? other->values->count : 0;
  if (mine == 0 || theirs == 0) return mine == theirs;
  return values->compare(other->values);
}

int Kes_access::access(const char *user) {
  if (!values || values->count == 0) return 1;
  int result = 1;
  const char *domain = nullptr;
  int domain_known = 0;
  for (Kes_listelem *e = values->head.next; e != &values->head; e = e->next) {
    const char *value = (const char *)e->data;
    int grant = 1;
    if (value[0] == '-') {
      grant = 0;
      value++;
    } else {
      // A list that names somebody leaves out whoever it does not name.
      result = 0;
    }
    if (!*value) return 0;  // a bare "-" denies everybody and ends the scan
    int match;
    if (value[0] == '@')
      match = in_netgroup(value + 1, user, &domain, &domain_known);
    else
      match = strncmp(value, user, kUserLen) == 0;
    if (match) return grant;
  }
  return result;
}

Kes_accesslist::~Kes_accesslist() { clear(); }
Kes_list *Kes_accesslist::create_list() { return new Kes_accesslist; }
void *Kes_accesslist::create_data() { return new Kes_access(nullptr, "", nullptr); }
void *Kes_accesslist::copy_data(void *data) { return ((Kes_access *)data)->copy(); }
void Kes_accesslist::delete_data(void *data) { delete (Kes_access *)data; }
void Kes_accesslist::print_data(void *data) { ((Kes_access *)data)->print(); }
int Kes_accesslist::compare_datas(void *a, void *b) {
  return ((Kes_access *)a)->compare((Kes_access *)b);
}

Kes_access *Kes_accesslist::find_operation(const char *name) {
  for (Kes_listelem *e = head.next; e != &head; e = e->next) {
    Kes_access *a = (Kes_access *)e->data;
    if (strcmp(a->operation, name) == 0) return a;
  }
  return nullptr;
}

Kes_err *Kes_md_access::parse(char *line, void **entry, Kes_strlist *comments) {
  *entry = nullptr;
  char *p = line;
  while (*p && isspace((unsigned char)*p)) p++;
  char *end = p;
  while (*end && !isspace((unsigned char)*end)) end++;
  std::string operation(p, end - p);
  if (operation.empty()) return nullptr;
  Kes_strlist *values = new Kes_strlist;
  char *save = nullptr;
  for (char *v = strtok_r(end, ":, \t", &save); v; v = strtok_r(nullptr, ":, \t", &save))
    values->add_new_copy(v);
  Kes_strlist *cmts = comments && comments->count ? (Kes_strlist *)comments->copy() : nullptr;
  *entry = new Kes_access(cmts, operation.c_str(), values);
  return nullptr;
}

Kes_err *Kes_md_access::conversion() {
  FILE *f = fopen(fullname, "r+");
  if (!f)
    return (new Kes_err)->format_msg(
        1017, errno, BWM_MSG(6510, "Open of \"%s\" for writing failed"), fullname);
  // The old version line has the same length as the new one, and nothing
  // else changed between the two versions.
  Kes_err *err = fprintf_N_check(f, fullname, "VERSION %d\n", version);
  Kes_err *close_err = fclose_N_check(f, fullname);
  if (err) {
    delete close_err;
    return err;
  }
  if (close_err) return close_err;
  file_version = version;
  return nullptr;
}

void Kes_md_access::format_comment(void *entry, char **text) {
  *text = kes_md_comment_text(static_cast<Kes_access *>(entry)->comments);
}

void Kes_md_access::format_entry(void *entry, char **text) {
  Kes_access *a = (Kes_access *)entry;
  std::string out = a->operation;
  size_t len = out.size();
  // Values start in column 24 where the name leaves room.
  if (len < 24)
    out.append((31 - len) / 8, '\t');
  else
    out += ' ';
  if (a->values) {
    const char *sep = "";
    for (Kes_listelem *e = a->values->head.next; e != &a->values->head; e = e->next) {
      out += sep;
      out += (const char *)e->data;
      sep = ":";
    }
  }
  kes_md_end_line(&out);
  *text = kes_strdup(out.c_str());
}

Kes_err *Kes_md_access::create_default_file(VCS vcs) {
  Kes_err *err = open("w");
  if (err) return err;
  const char *intro = BWM_MSG(
      6520,
      "#\n# A workspace's access control file.\n# The format is:\n#\n#\toperation [values]\n"
      "#\t...\n#\n# where <operation> describes an operation and <values> is a colon (:),\n"
      "# comma(,), or space separated list of user and/or netgroup names.  A \n"
      "# value beginning with a \"@\" names a netgroup.\n#\n"
      "# The values are processed left to right.  If a username appears\n"
      "# in the value list or in a netgroup, then the user is granted\n"
      "# permission for that operation.  A username or netgroup name\n"
      "# beginning with a \"-\" is denied permission for that operation.\n"
      "# A value of just \"-\" denies everyone permission for that operation.\n"
      "# If there are no values, then all users are granted permission.\n");
  const char *meanings = BWM_MSG(
      6521,
      "#\n# The operations have the following meanings:\n"
      "#   bringover-from\t\tPermission for this workspace to be the parent\n"
      "#\t\t\t\tduring a bringover command\n"
      "#   bringover-to\t\tPermission for this workspace to be the child\n"
      "#\t\t\t\tduring a bringover command\n"
      "#   putback-from\t\tPermission for this workspace to be the child\n"
      "#\t\t\t\tduring a putback command\n"
      "#   putback-to\t\t\tPermission for this workspace to be the parent\n"
      "#\t\t\t\tduring a putback command\n"
      "#   undo\t\t\tPermission to undo a bringover or putback into\n"
      "#\t\t\t\tinto this workspace\n"
      "#   workspace-delete\t\tPermission to delete this workspace via the\n"
      "#\t\t\t\tworkspace delete command\n"
      "#   workspace-move\t\tPermission to move this workspace via the\n"
      "#\t\t\t\tworkspace move command\n"
      "#   workspace-reparent\t\tPermission to reparent this workspace via the\n"
      "#\t\t\t\tworkspace reparent command\n"
      "#   workspace-reparent-to\tPermission for this workspace to receive a new\n"
      "#\t\t\t\tchild workspace via th workspace reparent\n"
      "#\t\t\t\tcommand\n#\n\n");
  err = fputs_N_check(intro, stream, fullname);
  if (!err) err = fputs_N_check(meanings, stream, fullname);
  int unknown_user = 0;
  for (const Operation &op : operations) {
    if (err) break;
    int unknown = 0;
    Kes_access *a = make_default(op.name, &unknown);
    unknown_user |= unknown;
    char *text = nullptr;
    format_entry(a, &text);
    err = fputs_N_check(text, stream, fullname);
    free(text);
    delete a;
  }
  if ((err = close_whole(err))) return err;
  if (unknown_user)
    kes_issue_warning(2065, 0,
                      BWM_MSG(6522,
                              "Unknown login name;\n           default access control values "
                              "have been set to '-'"));
  return nullptr;
}

Kes_access *kes_acl_get_default(Kes_workspace *ws, const char *operation) {
  int unknown = 0;
  return make_default(operation, &unknown);
}

Kes_err *Kes_workspace::get_accesslist(Kes_accesslist **list) {
  *list = nullptr;
  if (!exists()) return nullptr;
  Kes_md_access *md = nullptr;
  Kes_err *err = get_md_access(&md);
  if (err) return err;
  Kes_accesslist *l = new Kes_accesslist;
  err = md->get_contents(l);
  delete md;
  if (err) {
    delete l;
    if (err->code == 1001 && err->system_errno == ENOENT) {
      delete err;
      return nullptr;
    }
    return err;
  }
  *list = l;
  return nullptr;
}

Kes_err *Kes_workspace::access_granted(const char *operation, const char *user, int *granted) {
  *granted = 0;
  if (not_real) {
    *granted = 1;
    return nullptr;
  }
  Kes_accesslist *list = nullptr;
  Kes_err *err = get_accesslist(&list);
  if (err) return err;
  if (!list || list->count == 0) {
    delete list;
    *granted = 1;
    return nullptr;
  }
  Kes_access *a = list->find_operation(operation);
  if (!a) {
    // A file that lacks the operation falls back to its built-in default.
    a = kes_acl_get_default(this, operation);
    if (!a) {
      delete list;
      return (new Kes_err)->format_msg(
          2034, 0,
          BWM_MSG(6511,
                  "Internal error: access control operation \"%s\" does not have a built-in "
                  "default"),
          operation);
    }
    list->add_new_data(a);
  }
  *granted = a->access(user);
  delete list;
  return nullptr;
}

Kes_err *kes_check_access(const char *operation, Kes_workspace *ws) {
  const char *user = nullptr;
  int granted = 1;
  Kes_err *err = check(operation, ws, &user, &granted);
  if (err || granted) return err;
  const char *text = denial_text(operation);
  if (!text) return new Kes_err;
  return (new Kes_err)->format_msg(2065, 0, text, user, ws->wsname ? ws->wsname : "");
}

Kes_err *kes_check_access_warning(const char *operation, Kes_workspace *ws) {
  const char *user = nullptr;
  int granted = 1;
  Kes_err *err = check(operation, ws, &user, &granted);
  if (err) {
    err->print();
    delete err;
    return nullptr;
  }
  if (granted) return nullptr;
  const char *text = denial_text(operation);
  if (text) kes_issue_warning(2065, 0, text, user, ws->wsname ? ws->wsname : "");
  return nullptr;
}

// One line per operation, the values lined up in one column.
Kes_err *Kes_workspace::print_accesslist() {
  Kes_md_access *md = nullptr;
  Kes_err *err = get_md_access(&md);
  if (err) return err;
  int present = exists() && md->exists();
  delete md;
  Kes_accesslist *list = nullptr;
  if (present && (err = get_accesslist(&list))) return err;
  if (!list)
    return (new Kes_err)->format_msg(2035, 0,
                                     BWM_MSG(6523, "Access control file does not exist"));
  for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next) {
    Kes_access *a = (Kes_access *)e->data;
    std::string line = std::string(a->operation) + "   ";
    if (a->values && a->values->count) {
      int pad = 26 - (int)strlen(a->operation);
      if (pad > 0) line.append(pad, ' ');
      const char *sep = "";
      for (Kes_listelem *v = a->values->head.next; v != &a->values->head; v = v->next) {
        line += sep;
        line += (const char *)v->data;
        sep = ":";
      }
    }
    line += "\n";
    if ((err = fputs_N_check(line.c_str(), stdout, "stdout"))) break;
  }
  delete list;
  return err;
}
