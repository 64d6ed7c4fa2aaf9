// Paths and mounts.  Every path buffer is 1024 bytes, owned by the caller.
// A network path (netpath) has the form host:/path.
#ifndef BRINDLE_UTIL_KES_PATH_H
#define BRINDLE_UTIL_KES_PATH_H

class Kes_err;

// Mapping between local paths and netpaths through the mount table; null when
// no mapping is found (the caller says why).  Forms over other tables, and the
// table reader itself, are in kes_mount.h.
char *kes_path_to_netpath(const char *path, char *buf);
char *kes_netpath_to_path(const char *netpath, char *buf);
char *kes_path_thru_automounter(const char *path, char *buf);
const char *abs_under_automounter(const char *path);
void kes_delete_am_dirlist();

// Physical absolute path with symbolic links resolved (at most 20; a cycle
// keeps the name it stopped at); a missing tail is kept as written.  Null when
// the result or a step on the way needs size or 1024 bytes or more.
char *kes_abspath(const char *path, char *buf, int size);
// The same walk with links taken as the names they are; null when too long.
char *kes_labspath(const char *path, char *buf, int size);
// Error 2006 when ".." climbs above the start; buf is then empty.
[[nodiscard]] Kes_err *kes_path_remove_dots(const char *path, char *buf);
char *kes_path_cat(char *dir, const char *tail);
void kes_parse_filename(const char *path, char *dir, char *base);
char *kes_make_sccs_name(const char *name, char *buf, char prefix, int use_root,
                         const char *vcs_dir, const char *root);
char *kes_make_gname(const char *sname, char *buf, const char *vcs_dir);
char *kes_fully_qualify(const char *name, char *buf);
char *kes_fully_qualify_using_home(const char *name, char *buf);

[[nodiscard]] Kes_err *kes_chdir(const char *path, int fd);
int kes_fchdir_supported();
int kes_is_readable_dir(const char *path);
int kes_empty_line(const char *line);

#endif
