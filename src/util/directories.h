#pragma once

#include <sys/types.h>

// Makes one directory and gives it the owner, the group and the mode, whatever the process's
// file-creation mask. What exists already is accepted and gets them too; but neither a link nor what
// is behind it is changed. A path that vanishes in between is accepted. Returns 0, or -1 after a
// report of what failed ("ERROR: Unable to mkdir", "... chown", "... chmod", with the path and the
// reason), with errno as the failing call left it.
int make_dir_owned(const char *path, uid_t owner, gid_t group, mode_t mode);

// Deletes a regular file, a symbolic link, or a directory with all that is in it; a path that does
// not exist is fine, and so is an entry that vanishes meanwhile, except a directory that is just
// being opened. Links are removed, never followed. remove_top: whether a directory itself goes too,
// or is emptied and kept. Any failure is reported with exit status 1, which ends the program: a
// half-removed tree must not be worked on further. The working directory changes during the walk
// and is restored.
void remove_tree(const char *path, bool remove_top);
