#include "util/admin_utility.h"

#include "config/server_config.h"
#include "util/bounded_format.h"
#include "util/child_process.h"
#include "util/report.h"

#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

namespace
{

constexpr std::size_t max_arguments = 99;

} // namespace

int run_admin_utility(const char *name, ...)
{
    if (std::strchr(name, '/') != nullptr) {
        report(0, 0, "Utility name '%s' is invalid. Use only utility name without path.", name);
        return -1;
    }
    std::string path = format_bounded("%s/admin/sbin/%s", conf_get(PRODUCT_ROOT_D), name);
    std::vector<char *> vector = {path.data()};
    va_list arguments;
    va_start(arguments, name);
    while (char *const argument = va_arg(arguments, char *)) {
        if (vector.size() > max_arguments) {
            break;
        }
        vector.push_back(argument);
    }
    va_end(arguments);
    vector.push_back(nullptr);
    return run_and_report(path.c_str(), vector.data(), false);
}
