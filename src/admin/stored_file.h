#pragma once

#include <sys/types.h>

#include <string>

// Writes the text to the file and has it stored on the disk. A file that is there is emptied first. Throws
// Refusal if any of it fails; the file may then hold a part.
void store_file(const std::string &path, const std::string &text, mode_t mode);

// The same with "<path>.new", which then takes the place of the file: readers see the old text or the
// new one.
void replace_file(const std::string &path, const std::string &text);
