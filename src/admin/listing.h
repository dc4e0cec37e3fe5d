#pragma once

#include <sys/stat.h>

#include <functional>
#include <string>

// What lies at the path below the directory of the descriptor; flags as for fstatat. st_mode is 0 if
// there is nothing, or it can't be looked at.
struct stat look_at(int at, const std::string &path, int flags);

// Whether there is anything at the path, a link to nothing too.
bool is_there(const std::string &path);

// Called for each entry of a directory but "." and "..", with the directory's descriptor, the bare
// name, and the type as the directory tells it (DT_DIR and the like; DT_UNKNOWN where it does not).
using EntryReader = std::function<void(int directory, const char *name, unsigned char type)>;

// Reads the directory that lies at the path below the one of the descriptor, in its own order and
// with as few system calls as there can be: one to open and one to close it, and one for each 32 KiB
// of entries and for their end. Calls may be nested. Returns false, with errno set, if it can't be
// opened or read to its end; a link at the path's end is not followed.
bool read_directory(int at, const char *path, const EntryReader &reader);
