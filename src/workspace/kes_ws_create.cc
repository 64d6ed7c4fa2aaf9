// Making a new workspace: the metadata directory and the two files that every
// workspace starts with, access control and notification.  Linking it to a
// parent is the caller's work.
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "util/kes_err.h"
#include "util/kes_file.h"
#include "util/kes_init.h"
#include "util/kes_msg.h"
#include "workspace/kes_access.h"
#include "workspace/kes_notify.h"
#include "workspace/kes_workspace.h"

Kes_err *Kes_workspace::create_ws(VCS vcs) {
  const char *name = wsname ? wsname : "";
  if (exists())
    return (new Kes_err)->format_msg(2015, 0, BWM_MSG(8001, "Workspace \"%s\" already exists"),
                                     name);
  const char *root = get_absname();
  if (!root)
    return (new Kes_err)->format_msg(2078, 0, BWM_MSG(8002, "Cannot access workspace \"%s\""),
                                     name);
  struct stat st;
  int root_existed = stat(root, &st) == 0 && S_ISDIR(st.st_mode);

  char outer[1024];
  kes_find_containing_ws(outer, root);
  if (outer[0])
    return (new Kes_err)->format_msg(
        2063, 0,
        BWM_MSG(8003, "Cannot create workspace \"%s\" because\nit would be nested within workspace \"%s\""),
        name, outer);

  std::string mddir = std::string(root) + "/" + KES_METADATA_DIR;
  Kes_err *err = kes_create_dirs(mddir.c_str());
  if (err) return err;
  // The process runs with umask 0; a root made here gets the user's mask.
  if (!root_existed && stat(root, &st) == 0) chmod(root, (st.st_mode & 07777) & ~umask_get());

  Kes_md_access *access = nullptr;
  if ((err = get_md_access(&access))) return err;
  err = access->create_default_file(vcs);
  delete access;
  if (err) return err;

  Kes_md_notify *notify = nullptr;
  if ((err = get_md_notify(&notify))) return err;
  err = notify->create_default_file();
  delete notify;
  if (err) return err;

  // All spellings of the name are computed again for the now real directory.
  std::string again = name;
  return set_name(again.c_str(), nullptr);
}
