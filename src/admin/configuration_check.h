#pragma once

#include "admin/checklist.h"

// Checks the server configuration file: who may write it, whether it can be read, and the lines that
// do not count, or not as they seem to.
void check_configuration(Checklist &checklist);
