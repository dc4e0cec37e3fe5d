#include "config/server_config.h"

#include "config/config_path.h"
#include "util/errno_guard.h"
#include "util/owned.h"
#include "util/report.h"

#include <search.h>

#include <cctype>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

namespace
{

struct KnownSetting {
    const char *name;
    const char *default_value;
};

const KnownSetting known_settings[] = {
    {"_MIN_POSSIBLE_ZUT_CONF_VAR_NAME", "_MIN_POSSIBLE_ZUT_CONF_VAR_VALUE"},
    {"KORVO_MAILNAMES_D", "/var/qmail/mailnames"},
    {"RBLSMTPD", "/usr/sbin/rblsmtpd"},
    {"CLIENT_PHP_BIN", "/usr/local/zut/bin/php-cli"},
    {"LIB_CRYPTO_PATH", "/lib/libcrypto.so"},
    {"LIB_SSL_PATH", "/lib/libssl.so"},
    {"AWSTATS_DOC_D", "/usr/share/apache2/icons/awstats"},
    {"AWSTATS_TOOLS_D", "/usr/share/awstats"},
    {"AWSTATS_BIN_D", "/srv/www/cgi-bin/awstats"},
    {"AWSTATS_ETC_D", "/etc/awstats"},
    {"CATALINA_HOME", "/usr/share/tomcat"},
    {"MAILMAN_VAR_D", "/var/lib/mailman"},
    {"MAILMAN_ROOT_D", "/usr/lib/mailman"},
    {"PGSQL_DATA_D", "/var/lib/pgsql/data"},
    {"PGSQL_BIN_D", "/usr/lib/postgresql92/bin"},
    {"MYSQL_BIN_D", "/usr/bin"},
    {"MYSQL_VAR_D", "/var/lib/mysql"},
    {"WEB_STAT", "/usr/bin/webalizer"},
    {"DUMP_D", "/var/lib/zut/dumps"},
    {"DUMP_TMP_D", "/tmp"},
    {"NAMED_RUN_ROOT_D", "/var/lib/named"},
    {"HTTPD_SERVICE", "apache2"},
    {"HTTPD_LOG_D", "/var/log/apache2"},
    {"HTTPD_INCLUDE_D", "/etc/apache2/conf.d"},
    {"HTTPD_CONF_D", "/etc/apache2"},
    {"HTTPD_VHOSTS_D", "/srv/www/vhosts"},
    {"PRODUCT_ROOT_D", "/usr/local/zut"},
    {"MYSQL_SOCKET", "/var/run/mysql/mysql.sock"},
    {"SA_MAX_MAIL_SIZE", "256000"},
    {"NAMED_OPTIONS_CONF", "/etc/named.conf.include.korvo-options"},
    {"NAMED_ZONES_CONF", "/etc/named.conf.include.korvo-zones"},
    {"_MAX_POSSIBLE_ZUT_CONF_VAR_NAME", "_MAX_POSSIBLE_ZUT_CONF_VAR_VALUE"},
};
static_assert(std::size(known_settings) == KNOWN_KEY_COUNT, "one row a key");

constexpr int priority_error = 3;
constexpr int priority_user_warning = 12;
constexpr unsigned capacity_step = 20;
constexpr unsigned capacity_limit = 0x1fffffff; // the array's bytes must fit 32 bits

ServerConfig *loaded_config = nullptr;
const char *cached_values[KNOWN_KEY_COUNT];
bool cache_ready = false;

struct FreeConfig {
    void operator()(ServerConfig *config) const noexcept { conf_free(config); }
};

void init_cache()
{
    if (!cache_ready) {
        std::memset(cached_values, 0, sizeof cached_values);
        cache_ready = true;
    }
}

int compare_entries(const void *left, const void *right)
{
    return std::strcmp(static_cast<const ConfigEntry *>(left)->name,
                       static_cast<const ConfigEntry *>(right)->name);
}

int out_of_memory(const char *message)
{
    log_output(priority_user_warning, message, std::strerror(ENOMEM));
    errno = ENOMEM;
    return -1;
}

int make_room(ServerConfig *config)
{
    if (config->entries == nullptr) {
        config->entries =
            static_cast<ConfigEntry *>(std::calloc(capacity_step, sizeof(ConfigEntry)));
        if (config->entries == nullptr) {
            errno = ENOMEM;
            return -1;
        }
        config->capacity = capacity_step;
        config->count = 0;
        config->sorted = 1;
    }
    if (config->count < config->capacity) {
        return 0;
    }
    unsigned capacity = config->capacity >= 0x7fffffff ? 0 : config->capacity * 2;
    if (capacity < config->count) {
        capacity = config->count + capacity_step;
    }
    void *const grown = capacity < capacity_limit
                            ? std::realloc(config->entries, capacity * sizeof(ConfigEntry))
                            : nullptr;
    if (grown == nullptr) {
        return out_of_memory("Unable to read configuration: %s");
    }
    config->entries = static_cast<ConfigEntry *>(grown);
    std::memset(config->entries + config->capacity, 0,
                (capacity - config->capacity) * sizeof(ConfigEntry));
    config->capacity = capacity;
    return 0;
}

void sort_entries(ServerConfig *config)
{
    if (!config->sorted) {
        std::qsort(config->entries, config->count, sizeof(ConfigEntry), compare_entries);
        config->sorted = 1;
    }
}

bool is_space(char character)
{
    return std::isspace(static_cast<unsigned char>(character)) != 0;
}

bool is_name_character(char character)
{
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_';
}

bool is_comment_or_end(char character)
{
    return character == '#' || character == '\0';
}

char *skip_space(char *text)
{
    while (is_space(*text)) {
        ++text;
    }
    return text;
}

bool ends_in_three_blanks_and_newline(std::string_view value)
{
    const std::string_view end = value.substr(value.find_last_not_of(" \t\n\v\f\r") + 1);
    return end.size() == 4 && end.find_first_not_of(" \t") == 3 && end.back() == '\n';
}

// The end of the value that starts here: white space marks it, more white space lifts the mark.
// Three blanks and the newline are the exception.
char *value_end(char *value)
{
    char *mark = nullptr;
    char *end = value;
    for (; !is_comment_or_end(*end); ++end) {
        mark = is_space(*end) && mark == nullptr ? end : nullptr;
    }
    if (ends_in_three_blanks_and_newline({value, static_cast<std::size_t>(end - value)})) {
        return end - 1;
    }
    return mark == nullptr ? end : mark;
}

// Adds the setting of one line, which is cut up in place. A malformed line is logged and skipped.
// Returns -1 if the setting can't be added.
int add_line(char *line, ServerConfig *config)
{
    char *const name = skip_space(line);
    if (is_comment_or_end(*name)) {
        return 0;
    }
    char *name_end = name;
    while (is_name_character(*name_end)) {
        ++name_end;
    }
    if (!is_space(*name_end)) {
        log_output(priority_user_warning,
                   "Invalid variable definition %s\nExpected a space after variable name\n", name);
        return 0;
    }
    char *const value = skip_space(name_end);
    if (is_comment_or_end(*value)) {
        log_output(priority_user_warning, "Invalid variable definition %s\nExpected a value", name);
        return 0;
    }
    *value_end(value) = '\0';
    *name_end = '\0';
    return conf_set(name, value, config);
}

// Adds all lines of the file. Returns 0 at its true end, or -1 with errno set.
int add_lines(std::FILE *file, ServerConfig *config)
{
    char *line = nullptr;
    std::size_t size = 0;
    int result = 0;
    while (result == 0 && ::getdelim(&line, &size, '\n', file) != -1) {
        result = add_line(line, config);
    }
    const ErrnoGuard kept;
    const Malloced<char> owned(line);
    if (result != 0) {
        return -1;
    }
    sort_entries(config);
    if (std::feof(file) && !std::ferror(file)) {
        return 0;
    }
    log_output(priority_user_warning, "Unable to read configuration file: %s",
               std::strerror(kept.value()));
    return -1;
}

} // namespace

const char *conf_get(int key)
{
    init_cache();
    if (cached_values[key] != nullptr) {
        return cached_values[key];
    }
    if (const char *const value = conf_lookup(known_settings[key].name)) {
        cached_values[key] = value;
        return value;
    }
    return known_settings[key].default_value;
}

const char *conf_get_by_name(const char *name)
{
    for (int key = MIN_POSSIBLE_KEY; key < MAX_POSSIBLE_KEY; ++key) {
        if (std::strcmp(name, known_settings[key].name) == 0) {
            return conf_get(key);
        }
    }
    log_output(priority_error,
               "variable '%s' was found neither in %s, nor in compile-time defaults", name,
               server_config_path);
    return nullptr;
}

const char *conf_lookup(const char *name)
{
    if (loaded_config == nullptr && conf_load() != 0) {
        return nullptr;
    }
    const ConfigEntry wanted = {const_cast<char *>(name), nullptr};
    std::size_t count = loaded_config->count;
    const void *const found =
        loaded_config->sorted
            ? std::bsearch(&wanted, loaded_config->entries, count, sizeof wanted, compare_entries)
            : ::lfind(&wanted, loaded_config->entries, &count, sizeof wanted, compare_entries);
    return found == nullptr ? nullptr : static_cast<const ConfigEntry *>(found)->value;
}

int conf_load()
{
    if (loaded_config != nullptr) {
        return 0;
    }
    init_cache();
    std::unique_ptr<ServerConfig, FreeConfig> config(
        static_cast<ServerConfig *>(std::calloc(1, sizeof(ServerConfig))));
    if (config == nullptr) {
        log_output(priority_error,
                   "Not enough memory to allocate Korvo runtime configuration structure");
        return -1;
    }
    if (conf_parse_file(server_config_path, config.get()) != 0) {
        return -1;
    }
    loaded_config = config.release();
    return 0;
}

int conf_parse_file(const char *path, ServerConfig *config)
{
    if (make_room(config) != 0) {
        return -1;
    }
    const OwnedFile file(std::fopen(path, "rt"));
    if (file == nullptr) {
        const ErrnoGuard kept;
        log_output(priority_user_warning, "unable to open configuration file %s: %s\n", path,
                   std::strerror(kept.value()));
        return -1;
    }
    return add_lines(file.get(), config);
}

int conf_set(const char *name, const char *value, ServerConfig *config)
{
    if (make_room(config) != 0) {
        return -1;
    }
    Malloced<char> name_copy(::strdup(name));
    Malloced<char> value_copy(::strdup(value));
    if (name_copy == nullptr || value_copy == nullptr) {
        return out_of_memory("Unable to form configuration: %s");
    }
    const ConfigEntry entry = {name_copy.get(), nullptr};
    std::size_t count = config->count;
    auto *const slot = static_cast<ConfigEntry *>(
        ::lsearch(&entry, config->entries, &count, sizeof entry, compare_entries));
    if (count > config->count) {
        static_cast<void>(name_copy.release()); // the new slot has it
        config->count = static_cast<unsigned>(count);
        config->sorted = 0;
    }
    std::free(slot->value);
    slot->value = value_copy.release();
    return 0;
}

void conf_free(ServerConfig *config)
{
    if (config == nullptr) {
        return;
    }
    for (unsigned i = 0; i < config->capacity; ++i) {
        std::free(config->entries[i].name);
        std::free(config->entries[i].value);
    }
    std::free(config->entries);
    std::free(config);
}
