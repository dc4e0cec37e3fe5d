#pragma once

#include <sys/types.h>

// System accounts. A lookup that fails is reported and leaves errno as the database gave it, ENOENT
// if there simply is no such account.

// Puts the id of the user of that name into *id, and that of the user's own group into *group
// unless that is null. Returns 0, or -1 after a report.
int user_id_by_name(const char *name, uid_t *id, gid_t *group);

// Puts the id of the group of that name into *id. Returns 0, or -1 after a report.
int group_id_by_name(const char *name, gid_t *id);

// Puts the id of the group that has the id, as the database knows it, into *id. Returns 0, or -1
// after a report if there is no such group.
int group_id_by_id(gid_t group, gid_t *id);

// The name of a user that is given by name or by its id in digits, as newly allocated text that the
// caller frees; null after a report.
char *user_name(const char *user);

// The user id of the account, or 0, without a report, if there is none of that name.
uid_t user_id_or_zero(const char *user);

// Switches the process to the account for good: its group, its supplementary groups and its user
// id. Returns 0, or -1 with errno set if there is no such account (ENOENT) or a switch is refused;
// groups may have changed by then.
int p_setuid(const char *user);
