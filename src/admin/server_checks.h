#pragma once

#include "admin/checklist.h"
#include "domain/domains.h"

#include <map>

// Checks the server configuration file: who may write it, whether it can be read, and the lines that
// do not count, or not as they seem to.
void check_configuration(Checklist &checklist);

// Checks the programs and directories that domains of these kinds share.
void check_server(Checklist &checklist, const std::map<WebstatKind, std::size_t> &kinds);
