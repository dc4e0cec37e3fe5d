#pragma once

#include "domain/log_position.h"
#include "util/descriptors.h"

#include <string>

// Writing positions; read_log_position reads them.

// Makes the directory of the positions (root, 0700) if it is missing, and waits until no other log
// preparation works. Returns what holds the lock, and keeps it until it is closed. Throws
// korvo::SystemError, and std::runtime_error if others than root can write to the directory.
Descriptor lock_log_positions();

// Writes the position: beside its name, then renamed to it. Makes the directory of the domain if it
// is missing. On return the position, its name and its directory are safely on the disk. Throws
// korvo::SystemError; the position is the old one then, unless only the last sync failed.
void write_log_position(const std::string &path, const LogPosition &position);
