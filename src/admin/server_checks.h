#pragma once

#include "admin/checklist.h"
#include "domain/domains.h"

#include <map>

// Checks the programs and directories that domains of these kinds share.
void check_server(Checklist &checklist, const std::map<WebstatKind, std::size_t> &kinds);
