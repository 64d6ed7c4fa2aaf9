// Deleting, moving and reparenting a workspace.  Each touches several
// workspaces' files with no transaction around them, so the order is always:
// test what can be tested, change the neighbours, change the workspace itself,
// tell the users.  A neighbour that can't be updated (it may sit on a dead
// host) doesn't stop a delete or a move; only reparent rolls back.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "util/kes_err.h"
#include "util/kes_host.h"
#include "util/kes_init.h"
#include "util/kes_list.h"
#include "util/kes_msg.h"
#include "util/kes_process.h"
#include "util/kes_quote.h"
#include "workspace/kes_cmdlock.h"
#include "workspace/kes_mailer.h"
#include "workspace/kes_notify.h"
#include "workspace/kes_workspace.h"

namespace {

const char *or_empty(const char *s) { return s ? s : ""; }

// A neighbour's link file could not be updated: say so, show why, go on.
void neighbour_warning(Kes_err *err, const char *fmt, const char *neighbour, const char *ws) {
  kes_issue_warning(2608, 0, fmt, or_empty(neighbour), or_empty(ws));
  err->print();
  delete err;
}

// The write lock of a workspace that is to be deleted.  A full disk can keep
// the lock line from being written; when nobody else holds a lock, the
// metadata files other than locks are thrown away to make room.
Kes_err *lock_for_delete(Kes_workspace *ws, Kes_cmdlock **lock) {
  *lock = nullptr;
  Kes_err *err = ws->obtain_lock(KES_WRITE_LOCK, lock);
  if (!err || err->system_errno != ENOSPC) return err;
  delete err;
  // The failed write can leave locks empty, without even its version line,
  // and such a file can't be read: it holds no lock and goes.
  std::string locks = kes_format("%s/%s/locks", or_empty(ws->get_absname()), KES_METADATA_DIR);
  struct stat st;
  if (stat(locks.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_size == 0)
    unlink(locks.c_str());
  Kes_cmdlocklist *list = nullptr;
  err = ws->get_locks(&list);
  if (!err) err = list->obtain_write_lock(ws);
  delete list;
  if (err) return err;
  // Every name but those beginning with "l": the locks file stays.
  std::string cmd = kes_format("rm -f %s/%s/[a-km-z]*", kes_shell_word(ws->get_absname()).c_str(),
                           KES_METADATA_DIR);
  Kes_err_owner(kes_system_no_quoting(cmd.c_str())).report();
  err = ws->obtain_lock(KES_WRITE_LOCK, lock);
  if (err && err->system_errno == ENOSPC) {
    // Still no room: the delete goes on without a lock.
    delete err;
    *lock = nullptr;
    return nullptr;
  }
  return err;
}

}  // namespace

Kes_err *Kes_workspace::delete_ws(int metadata_only) {
  if (!exists()) return kes_ws_does_not_exist(wsname);

  Kes_workspace *parent = nullptr;
  Kes_err *err = get_parent(&parent);
  if (err) return err;
  if (parent) {
    if (Kes_err *e = parent->remove_child(this))
      neighbour_warning(
          e,
          BWM_MSG(8010, "Workspace \"%s\" is a parent of \"%s\".  Could not update its child file because:"),
          parent->wsname, wsname);
    delete parent;
  }

  Kes_wslist *children = nullptr;
  err = get_children(&children);
  if (err) {
    delete children;
    return err;
  }
  for (Kes_listelem *e = children->head.next; e != &children->head; e = e->next) {
    Kes_workspace *child = (Kes_workspace *)e->data;
    if (Kes_err *ce = child->remove_parent())
      neighbour_warning(
          ce,
          BWM_MSG(8011, "Workspace \"%s\" is a child of \"%s\".  Could not update its parent file because:"),
          child->wsname, wsname);
  }
  delete children;

  // What the mail needs is read while the files are still there.  A damaged
  // notification file doesn't keep a workspace from being deleted.
  Kes_notifylist *list = nullptr;
  if (Kes_err *ne = get_notifications("workspace-delete", &list)) {
    Kes_err_owner(ne).report();
    list->clear();
  }
  char *descline = make_descnm_notif_line(11);

  Kes_cmdlock *lock = nullptr;
  err = lock_for_delete(this, &lock);
  if (err) {
    delete list;
    free(descline);
    return err;
  }

  std::string root = kes_shell_word(get_absname());
  std::string cmd;
  if (metadata_only) {
    cmd = kes_format("rm -rf %s/%s", root.c_str(), KES_METADATA_DIR);
  } else {
    // The read-only metadata directory outlives the first pass, so the lock
    // stands while the sources go; then it is opened and removed too.  For a
    // superuser it is gone already, and the chmod has nothing to say.
    cmd = kes_format("chmod 444 %s/%s; rm -rf %s 1> /dev/null 2>&1; chmod 777 %s/%s 2>/dev/null; rm -rf %s",
                 root.c_str(), KES_METADATA_DIR, root.c_str(), root.c_str(), KES_METADATA_DIR,
                 root.c_str());
  }
  err = kes_system_no_quoting(cmd.c_str());
  if (err) {
    err->format_msg(2098, err->system_errno,
                    BWM_MSG(8012, "Cannot delete workspace %s. Please check permissions."),
                    or_empty(wsname));
    if (lock) Kes_err_owner(release_lock(lock)).report();
    delete lock;
    delete list;
    free(descline);
    return err;
  }
  delete lock;
  write_locked = 0;

  const char *event = "workspace-delete";
  std::string body = kes_format(BWM_MSG(8013, "Event:     %s\nWorkspace: %s%s"), event,
                            or_empty(wsname), descline);
  send_ws_notification(event, list, body.c_str(), kes_notif_pad(BWM_MSG(8014, "Workspace")));
  delete list;
  free(descline);
  return nullptr;
}

Kes_err *Kes_workspace::move_ws(Kes_workspace *target) {
  if (!exists()) return kes_ws_does_not_exist(wsname);
  if (target->exists())
    return (new Kes_err)->format_msg(2015, 0, BWM_MSG(8001, "Workspace \"%s\" already exists"),
                                     or_empty(target->wsname));
  std::string old_root = or_empty(get_absname());
  std::string new_root = or_empty(target->get_absname());
  char outer[1024];
  kes_find_containing_ws(outer, new_root.c_str());
  if (outer[0])
    return (new Kes_err)->format_msg(
        2063, 0,
        BWM_MSG(8020, "Cannot move workspace \"%s\" because\nit would be nested within workspace \"%s\""),
        or_empty(wsname), outer);

  Kes_workspace *parent = nullptr;
  Kes_wslist *children = nullptr;
  Kes_cmdlock *lock = nullptr;
  Kes_err *err = get_parent(&parent);
  if (!err) err = get_children(&children);
  if (!err) err = obtain_lock(KES_WRITE_LOCK, &lock);
  if (err) {
    delete parent;
    delete children;
    return err;
  }
  auto give_up = [&](Kes_err *e) {
    Kes_err_owner(release_lock(lock)).report();
    delete lock;
    delete parent;
    delete children;
    return e;
  };

  int old_tree_stays = 0;
  if (rename(old_root.c_str(), new_root.c_str()) != 0) {
    if (errno != EXDEV)
      return give_up((new Kes_err)->format_msg(
          1018, errno, BWM_MSG(8021, "Rename of \"%s\" to \"%s\" failed"), old_root.c_str(),
          new_root.c_str()));
    // Another file system: the tree is copied, and removed here afterwards.
    struct stat st;
    if (stat(new_root.c_str(), &st) != 0 &&
        mkdir(new_root.c_str(), 0777 & ~umask_get()) != 0)
      return give_up((new Kes_err)->format_msg(
          1013, errno, BWM_MSG(8022, "Mkdir of \"%s\" failed"), new_root.c_str()));
    char status_file[] = "/tmp/tar_e_stat.XXXXXX";
    int fd = mkstemp(status_file);
    if (fd < 0)
      return give_up((new Kes_err)->format_msg(
          1005, errno, BWM_MSG(8023, "Create of \"%s\" failed"), status_file));
    close(fd);
    // The pipeline's status is that of the receiving end; the sender's comes
    // through the status file.
    std::string cmd = kes_format("(cd %s; tar -cf - .; echo $? > %s) | (cd %s; tar -xpf -)",
                             kes_shell_word(old_root.c_str()).c_str(), status_file,
                             kes_shell_word(new_root.c_str()).c_str());
    std::string drop_copy =
        kes_format("rm -rf %s/%s", kes_shell_word(new_root.c_str()).c_str(), KES_METADATA_DIR);
    err = kes_system_no_quoting(cmd.c_str());
    if (err) {
      unlink(status_file);
      Kes_err_owner(kes_system_no_quoting(drop_copy.c_str())).report();
      return give_up(err);
    }
    char buf[11] = "";
    fd = open(status_file, O_RDONLY);
    if (fd >= 0) {
      ssize_t n = read(fd, buf, 10);
      buf[n > 0 ? n : 0] = '\0';
      close(fd);
    }
    unlink(status_file);
    if (atoi(buf) != 0) {
      err = (new Kes_err)->format_msg(2035, 0, BWM_MSG(8024, "Could not tar the workspace %s"),
                                      or_empty(wsname));
      Kes_err_owner(kes_system_no_quoting(drop_copy.c_str())).report();
      return give_up(err);
    }
    old_tree_stays = 1;
  }
  // Now that the directory is real, every spelling of the new name counts.
  std::string tname = or_empty(target->wsname);
  Kes_err_owner(target->set_name(tname.c_str(), nullptr)).report();
  tname = or_empty(target->wsname);

  Kes_err *kept = nullptr;
  if (parent) {
    kept = parent->remove_child(this);
    if (!kept) kept = parent->add_child(target);
  }
  for (Kes_listelem *e = children->head.next; e != &children->head; e = e->next) {
    Kes_workspace *child = (Kes_workspace *)e->data;
    Kes_workspace *its_parent = nullptr;
    Kes_err *ce = child->get_parent(&its_parent);
    // A child that has since been given another parent is left alone.
    int ours = !ce && its_parent && its_parent->nethost_path && nethost_path &&
               strcmp(its_parent->nethost_path, nethost_path) == 0;
    delete its_parent;
    if (!ce && !ours) continue;
    if (!ce) ce = child->remove_parent();
    if (!ce) ce = child->set_parent(target);
    if (ce)
      neighbour_warning(
          ce,
          BWM_MSG(8025, "Workspace \"%s\" is a child of \"%s\".  Could not update its parent file"),
          child->wsname, wsname);
  }
  delete children;
  delete parent;

  if (old_tree_stays) {
    std::string cmd = kes_format("rm -rf %s", kes_shell_word(old_root.c_str()).c_str());
    if (Kes_err *re = kes_system_no_quoting(cmd.c_str())) {
      Kes_err_owner(kept).report();
      kept = re;
    }
  }
  // The locks file has moved with the tree.
  Kes_err_owner(target->release_lock(lock)).report();
  delete lock;
  write_locked = 0;

  Kes_notifylist *list = nullptr;
  const char *event = "workspace-move";
  if (Kes_err *ne = target->get_notifications(event, &list)) {
    Kes_err_owner(ne).report();
  } else {
    char *descline = target->make_descnm_notif_line(14);
    std::string body =
        kes_format(BWM_MSG(8026, "Event:        %s\nWorkspace:    %s%s\nNew location: %s"), event,
               or_empty(wsname), descline, tname.c_str());
    send_ws_notification(event, list, body.c_str(),
                         kes_notif_pad(BWM_MSG(8027, "New location")));
    free(descline);
  }
  delete list;
  return kept;
}

Kes_err *Kes_workspace::reparent(Kes_workspace *new_parent, int force) {
  if (new_parent && compare(new_parent))
    return (new Kes_err)->format_msg(2018, 0,
                                     BWM_MSG(8030, "Can't reparent a workspace to itself"));
  const char *shorter, *longer;
  if (new_parent &&
      kes_ws_nested(get_absname(), new_parent->get_absname(), &shorter, &longer))
    return (new Kes_err)->format_msg(
        2063, 0,
        BWM_MSG(8031, "Can't reparent nested workspace.\nWorkspace \"%s\" is nested within \"%s\""),
        longer, shorter);

  Kes_workspace *old = nullptr;
  Kes_err *err = get_parent(&old);
  if (err) {
    if (!force) return err;
    Kes_err_owner(err).report();
    old = nullptr;
  }
  if (old && !old->exists()) {
    delete old;
    old = nullptr;
  }
  // Whether the old parent lost its child line, so that a rollback puts it back.
  int unlinked_old = 0;
  if (old) {
    err = old->remove_child(this);
    if (err && !force) {
      delete old;
      return err;
    }
    unlinked_old = !err;
    Kes_err_owner(err).report();
  }
  auto restore_old = [&]() {
    if (unlinked_old) Kes_err_owner(old->add_child(this)).report();
  };
  if (new_parent && (err = new_parent->add_child(this))) {
    restore_old();
    delete old;
    return err;
  }
  err = remove_parent();
  if (err && !force) {
    restore_old();
    if (new_parent) Kes_err_owner(new_parent->remove_child(this)).report();
    delete old;
    return err;
  }
  Kes_err_owner(err).report();
  if (new_parent && (err = set_parent(new_parent))) {
    restore_old();
    Kes_err_owner(new_parent->remove_child(this)).report();
    delete old;
    return err;
  }
  delete old;

  const char *event = "workspace-reparent";
  Kes_notifylist *list = nullptr;
  if ((err = get_notifications(event, &list))) {
    delete list;
    return err;
  }
  char *descline = make_descnm_notif_line(12);
  if (new_parent) {
    char *pdesc = new_parent->make_descnm_notif_line(12);
    std::string body =
        kes_format(BWM_MSG(8032, "Event:      %s\nWorkspace:  %s%s\nNew parent: %s%s"), event,
               or_empty(wsname), descline, or_empty(new_parent->wsname), pdesc);
    send_ws_notification(event, list, body.c_str(), kes_notif_pad(BWM_MSG(8033, "New parent")));
    free(pdesc);
  } else {
    std::string body = kes_format(BWM_MSG(8034, "Event:     %s\nWorkspace:  %s%s"), event,
                              or_empty(wsname), descline);
    send_ws_notification(event, list, body.c_str(), kes_notif_pad(BWM_MSG(8014, "Workspace")));
  }
  free(descline);
  delete list;
  if (!new_parent) return nullptr;

  const char *to_event = "workspace-reparent-to";
  if ((err = new_parent->get_notifications(to_event, &list))) {
    delete list;
    return err;
  }
  descline = make_descnm_notif_line(17);
  char *pdesc = new_parent->make_descnm_notif_line(17);
  std::string body = kes_format(
      BWM_MSG(8035, "Event:           %s\nChild workspace: %s%s\nNew parent:      %s%s"),
      to_event, or_empty(wsname), descline, or_empty(new_parent->wsname), pdesc);
  send_ws_notification(to_event, list, body.c_str(),
                       kes_notif_pad(BWM_MSG(8036, "Child workspace")));
  free(descline);
  free(pdesc);
  delete list;
  return nullptr;
}
