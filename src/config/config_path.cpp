#include "config/config_path.h"

const char *const server_config_path = SERVER_CONFIG_PATH;
