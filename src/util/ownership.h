#pragma once

#include <sys/types.h>

// Owners and modes of files and directories.

// Sets owner, group and mode of one file or directory; a link is followed. Returns 0, or -1 after a
// report, with errno set.
int set_owner_and_mode(const char *path, uid_t owner, gid_t group, mode_t mode);

// Set the owner and group, or the mode, of a file or directory and of everything below it; a
// directory's turn comes after its entries'. Links are not followed: their own owner is set, their
// mode left alone. An entry that is gone before it is looked at is passed over; one that is gone
// before it is changed is reported and passed over. Every other failure is reported with exit
// status 1, which ends the program, as remove_tree does. The working directory changes during the
// walk and is restored. Modes need /proc.
void chown_tree(const char *path, uid_t owner, gid_t group);
void chmod_tree(const char *path, mode_t mode);
