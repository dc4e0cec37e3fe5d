#include "domain/log_sources.h"

const LogSource log_sources[6] = {
    {"access_log", "webstat", 0, "http", nullptr},
    {"access_ssl_log", "webstat-ssl", 0, "https", nullptr},
    {"proxy_access_log", "webstat", 0, nullptr, &log_sources[0]},
    {"proxy_access_ssl_log", "webstat-ssl", 0, nullptr, &log_sources[1]},
    {"xferlog", "anon_ftpstat", 1, "anon_ftp", nullptr},
    {"xferlog_regular", "ftpstat", 1, "ftp", nullptr},
};

const char *const log_format_flags[2] = {"-F clf", "-F ftp"};

std::string prepared_log_name(const std::string &log)
{
    return log + ".webstat";
}

bool has_own_statistics(const LogSource &source)
{
    return source.service != nullptr && source.parent == nullptr;
}

const char *parent_log_name(const LogSource &source)
{
    return source.parent == nullptr ? "<unknown>" : source.parent->log_name;
}
