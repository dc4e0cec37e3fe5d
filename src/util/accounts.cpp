#include "util/accounts.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>

uid_t user_id_or_zero(const char *user)
{
    const passwd *const account = ::getpwnam(user);
    return account == nullptr ? 0 : account->pw_uid;
}

int p_setuid(const char *user)
{
    errno = 0;
    const passwd *const account = ::getpwnam(user);
    if (account == nullptr) {
        errno = errno == 0 ? ENOENT : errno;
        return -1;
    }
    const uid_t user_id = account->pw_uid;
    const gid_t group_id = account->pw_gid;
    if (::setgid(group_id) != 0 || ::initgroups(user, group_id) != 0) {
        return -1;
    }
    return ::setuid(user_id);
}
