#pragma once

#include <sys/types.h>

// Makes one directory and gives it the owner, the group and the mode, whatever the process's
// file-creation mask. What exists already is accepted and gets them too; but neither a link nor what
// is behind it is changed. A path that vanishes in between is accepted. Only the mode of a socket,
// which can't be opened, needs /proc. Returns 0, or -1 after a report of what failed ("ERROR: Unable
// to mkdir", "... chown", "... chmod", with the path and the reason), with errno as the failing call
// left it.
int make_dir_owned(const char *path, uid_t owner, gid_t group, mode_t mode);

// Makes a directory with the mode, less the file-creation mask, and gives it to the user and that
// user's own group. Returns 0, or -1 after a report, with errno set; a directory that could not be
// given away is removed again.
int make_user_dir(const char *path, const char *user, mode_t mode);

// Makes a directory with the mode under that file-creation mask; the process's own is restored.
// Returns 0, or -1 with errno set.
int make_dir_with_umask(const char *path, mode_t mode, mode_t mask);

// Deletes a regular file, a symbolic link, or a directory with all that is in it; a path that does
// not exist is fine, and so is an entry that vanishes meanwhile, except a directory that is just
// being opened. Links are removed, never followed. remove_top: whether a directory itself goes too,
// or is emptied and kept. Any failure is reported with exit status 1, which ends the program: a
// half-removed tree must not be worked on further. The working directory changes during the walk
// and is restored.
void remove_tree(const char *path, bool remove_top);

// Renames a directory. A target that exists, of whatever kind, is refused with errno EEXIST.
// Returns 0, or -1 after a report.
int rename_dir(const char *from, const char *to);

// Whether there is a directory at the path; links are followed.
bool dir_exists(const char *path);

// Tells whether the first directory lies inside the second, at any depth, by their resolved names.
// A directory lies inside itself. Returns 1 or 0, or -1 after a report if one can't be resolved to
// a directory.
int is_dir_inside(const char *inner, const char *outer);

// Looks in a directory for an entry of that name, regardless of the case of ASCII letters; one with
// the very name goes first. Returns "<directory>/<entry>" as newly allocated text that the caller
// frees, or null with errno set: ENOENT if there is none.
char *find_entry(const char *directory, const char *name);
