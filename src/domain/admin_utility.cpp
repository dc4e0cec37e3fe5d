#include "domain/admin_utility.h"

#include "config/server_config.h"
#include "util/argument_vector.h"
#include "util/bounded_format.h"
#include "util/child_process.h"
#include "util/report.h"

#include <cstdarg>
#include <cstring>
#include <string>
#include <vector>

namespace
{

// The path of the utility; empty, after a report, for a name that is none.
std::string utility_path(const char *name)
{
    if (std::strchr(name, '/') != nullptr) {
        report(0, 0, "Utility name '%s' is invalid. Use only utility name without path.", name);
        return "";
    }
    return format_bounded("%s/admin/sbin/%s", conf_get(PRODUCT_ROOT_D), name);
}

} // namespace

int run_admin_utility(const char *name, ...)
{
    const std::string path = utility_path(name);
    if (path.empty()) {
        return -1;
    }
    va_list arguments;
    va_start(arguments, name);
    const std::vector<char *> vector = argument_vector(path.c_str(), arguments, max_arguments);
    va_end(arguments);
    return run_and_report(path.c_str(), vector.data(), false);
}

int run_admin_utility_vector(const char *name, char *const argv[])
{
    const std::string path = utility_path(name);
    return path.empty() ? -1 : run_and_report(path.c_str(), argv, false);
}
