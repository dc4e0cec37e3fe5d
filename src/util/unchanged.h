#pragma once

#include <cstddef>

// Looks that tell whether what is about to be made is there already, so that it can stay. Nothing
// is reported: what can't be looked at is not there. They leave errno alone, and the times of the
// file.

// Whether the path is a regular file, and not a link to one, that holds exactly these bytes.
bool file_holds(const char *path, const char *text, std::size_t size);

// Whether the path is a symbolic link with exactly this target.
bool is_link_to(const char *path, const char *target);
