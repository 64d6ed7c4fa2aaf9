// The mount table behind the netpath mapping and the automounter directories.
// The host's tables are /proc/self/mounts (read with getmntent) and
// /proc/self/mountinfo, which alone tells where a bind mount takes its directory
// from.  Every function that reads a table has a form that takes the table's
// file name, so that a copy or a made-up table can stand in.
#ifndef BRINDLE_UTIL_KES_MOUNT_H
#define BRINDLE_UTIL_KES_MOUNT_H

#include <sys/types.h>

#include <string>
#include <vector>

extern const char kes_mounts_file[];     // "/proc/self/mounts"
extern const char kes_mountinfo_file[];  // "/proc/self/mountinfo"

// 1 if a comma-separated field of options begins with option and is followed by
// "=", "," or the end.
int kes_mnt_has_option(const char *options, const char *option);

// One line of a mountinfo table.
struct Kes_mountinfo_entry {
  dev_t dev;                // device of the files in the mount
  std::string root;         // directory of the file system that is mounted
  std::string mount_point;
  std::string type;
  std::string special;      // the mounted resource, host:/path for a network mount
};

// Parses mountinfo text; lines that don't have its shape are left out.
std::vector<Kes_mountinfo_entry> kes_parse_mountinfo(const char *text);
// Reads and parses a mountinfo file; 0 when it can't be read.
int kes_read_mountinfo(const char *file, std::vector<Kes_mountinfo_entry> *entries);

// For the mount at mount_point of device dev: when it shows a directory that a
// wider or an earlier mount of the same file system shows too (a bind mount, or
// a second mount), the path of that directory through the other mount, into
// source (1024 bytes), and 1; otherwise 0.
int kes_bind_mount_source(const std::vector<Kes_mountinfo_entry> &entries,
                          const char *mount_point, dev_t dev, char *source);

// kes_path_to_netpath and kes_netpath_to_path over the given tables.
char *kes_path_to_netpath_using(const char *path, char *buf, const char *mounts,
                                const char *mountinfo);
char *kes_netpath_to_path_using(const char *netpath, char *buf, const char *mounts);

// Builds the automounter directory list anew from the given table; the number
// of directories, or -1 (and an empty list) when the table can't be read.
int kes_load_am_dirlist(const char *mounts);

#endif
