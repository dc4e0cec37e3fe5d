#pragma once

#include <sys/types.h>

// System accounts.

// The user id of the account, or 0 if there is none of that name.
uid_t user_id_or_zero(const char *user);

// Switches the process to the account for good: its group, its supplementary groups and its user
// id. Returns 0, or -1 with errno set if there is no such account (ENOENT) or a switch is refused;
// groups may have changed by then.
int p_setuid(const char *user);
