#include "util/accounts.h"

#include "util/report.h"
#include "util/strings.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace
{

// Looks something up. Returns null with errno set if that fails or there is none.
template <typename Lookup>
auto look_up(const Lookup &lookup)
{
    errno = 0;
    const auto *const found = lookup();
    if (found == nullptr && errno == 0) {
        errno = ENOENT;
    }
    return found;
}

const passwd *find_user(const char *name)
{
    return look_up([&] { return ::getpwnam(name); });
}

const passwd *find_user_by_id(const char *digits)
{
    errno = 0;
    const unsigned long id = std::strtoul(digits, nullptr, 10);
    if (errno != 0 || id >= std::numeric_limits<uid_t>::max()) {
        errno = ENOENT; // no user has such an id
        return nullptr;
    }
    return look_up([&] { return ::getpwuid(static_cast<uid_t>(id)); });
}

} // namespace

int user_id_by_name(const char *name, uid_t *id, gid_t *group)
{
    const passwd *const user = find_user(name);
    if (user == nullptr) {
        return report_failure("Unable to find uid for user %s: %s", name);
    }
    *id = user->pw_uid;
    if (group != nullptr) {
        *group = user->pw_gid;
    }
    return 0;
}

int group_id_by_name(const char *name, gid_t *id)
{
    const group *const found = look_up([&] { return ::getgrnam(name); });
    if (found == nullptr) {
        return report_failure("getgrnam(%s): %s", name);
    }
    *id = found->gr_gid;
    return 0;
}

int group_id_by_id(gid_t group_id, gid_t *id)
{
    const group *const found = look_up([&] { return ::getgrgid(group_id); });
    if (found == nullptr) {
        report(0, 0, "getgrgid(%d): %s", static_cast<int>(group_id), std::strerror(errno));
        return -1;
    }
    *id = found->gr_gid;
    return 0;
}

char *user_name(const char *user)
{
    const passwd *found = find_user(user);
    if (found == nullptr && is_all_digits(user)) {
        found = find_user_by_id(user);
    }
    if (found == nullptr && errno != ENOENT) {
        report(0, 0, "Unable to getpwnam for user %s", user);
    } else if (found == nullptr) {
        report(0, 0, "user %s not found", user);
    }
    return found == nullptr ? nullptr : xasprintf("%s", found->pw_name);
}

uid_t user_id_or_zero(const char *user)
{
    const passwd *const account = find_user(user);
    return account == nullptr ? 0 : account->pw_uid;
}

int p_setuid(const char *user)
{
    const passwd *const account = find_user(user);
    if (account == nullptr) {
        return -1;
    }
    const uid_t user_id = account->pw_uid;
    const gid_t group_id = account->pw_gid;
    if (::setgid(group_id) != 0 || ::initgroups(user, group_id) != 0) {
        return -1;
    }
    return ::setuid(user_id);
}
