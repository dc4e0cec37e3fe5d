#pragma once

#include <string>

// Empties a prepared log in place, once a generator has taken its records in: inode, owner and mode
// stay, and so does its use by whoever holds it open. A link is followed. A missing file is not
// created. A failure is printed on standard output with the path and the reason.
void truncate_log(const std::string &path);
