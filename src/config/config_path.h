#pragma once

// The server configuration file that the program reads: zut/zut.conf in the system configuration
// directory that the build was given. A relative path is taken from the working directory.
extern const char *const server_config_path;
