#pragma once

// The panel's server-wide settings: a text file of name/value lines with a compiled-in default for
// every setting, looked up by key. Not for use by several threads.
//
// A line is a name of letters, digits and underscores, white space, and a value; '#' starts a
// comment anywhere. White space inside a value is kept; at its end, see conf_parse_file.
//
// Messages go through log_output, at priority 3 for a setting that is unknown or a configuration
// that can't be allocated, and at priority 12 for everything else, which the console's threshold
// keeps silent.

// The known settings; a key's number is its row in the table of compiled defaults. The first and
// the last name no real setting.
enum KnownKey : int {
    MIN_POSSIBLE_KEY,
    KORVO_MAILNAMES_D,
    RBLSMTPD,
    CLIENT_PHP_BIN,
    LIB_CRYPTO_PATH,
    LIB_SSL_PATH,
    AWSTATS_DOC_D,
    AWSTATS_TOOLS_D,
    AWSTATS_BIN_D,
    AWSTATS_ETC_D,
    CATALINA_HOME,
    MAILMAN_VAR_D,
    MAILMAN_ROOT_D,
    PGSQL_DATA_D,
    PGSQL_BIN_D,
    MYSQL_BIN_D,
    MYSQL_VAR_D,
    WEB_STAT,
    DUMP_D,
    DUMP_TMP_D,
    NAMED_RUN_ROOT_D,
    HTTPD_SERVICE,
    HTTPD_LOG_D,
    HTTPD_INCLUDE_D,
    HTTPD_CONF_D,
    HTTPD_VHOSTS_D,
    PRODUCT_ROOT_D,
    MYSQL_SOCKET,
    SA_MAX_MAIL_SIZE,
    NAMED_OPTIONS_CONF,
    NAMED_ZONES_CONF,
    MAX_POSSIBLE_KEY,
    KNOWN_KEY_COUNT
};

// One setting of a file. Both texts are malloc'd and belong to the ServerConfig.
struct ConfigEntry {
    char *name;
    char *value;
};

// A parsed file. All zero is a valid, empty one; it is released with conf_free.
struct ServerConfig {
    ConfigEntry *entries; // `capacity` slots; those from `count` on are null
    unsigned capacity;
    unsigned count;
    int sorted; // not 0 when the entries are in strcmp order of their names
};

// The value of a setting: the file's, or else the compiled default. The file is read once, on the
// first lookup; while it can't be read, every lookup tries again. Never null for a known key; other
// numbers must not be passed. The text lives as long as the process and is not freed.
const char *conf_get(int key);

// The same by name. Null, with a message, for a name that is not in the table; the table's last row
// does not count as a name.
const char *conf_get_by_name(const char *name);

// The file's own value of any name, known or not, or null if it has none or can't be read.
const char *conf_lookup(const char *name);

// Reads the server configuration file if that has not been done. Returns 0, or -1 after a message
// if it can't be read; nothing is remembered of a failure.
int conf_load();

// Adds the settings of a file to the configuration; a later line for a name overrides an earlier
// one. A malformed line is logged and skipped. The end of a value: the line's white space before
// the end or before '#' is dropped by its last character only, and only where its length, the
// newline included, is odd or it is three blanks (spaces or tabs) and the newline; otherwise all of
// it stays. So
// "name value\n" gives "value", and "name value \n" keeps the blank and the newline.
// Returns 0 with the entries sorted, or -1 with errno set: the file can't be opened or read, or
// there is no memory. The configuration then holds what was added before. All but a lack of memory
// for the very first entry is logged.
int conf_parse_file(const char *path, ServerConfig *config);

// Adds a copy of the pair, or replaces the value of a name that is there. Returns 0, or -1 with
// errno set to ENOMEM; that is logged, but for the very first entry.
int conf_set(const char *name, const char *value, ServerConfig *config);

// Frees the record and all it owns; null is ignored.
void conf_free(ServerConfig *config);
