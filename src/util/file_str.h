#pragma once

#include <cstddef>
#include <cstdio>

// Called for each line of a file that is being edited, with its length in bytes; the line includes
// its newline, if it has one, and may be of any length and hold any byte. Writes what shall stand
// in its place, or nothing, to the new file. Must not end the program, which would leave that file
// behind. Returns 0, or -1 to abandon the edit.
using LineEditor = int (*)(const char *line, std::size_t length, std::FILE *new_file,
                           void *context);

// Edits a text file line by line. The new text goes to "<path>.tmp", which gets the file's owner
// and mode and is then renamed over the file: a reader sees the old text or the new, never half of
// one. A link is followed to the file that it names, and "<path>" is that file's. Editors of one
// file wait for each other; the lock is an advisory one on the file itself. A "<path>.tmp" that is
// there already is taken for the remains of a killed editor and removed.
// context: handed to the editor as it is.
// Returns 0, or -1 with the old file untouched and no "<path>.tmp" left: after a report, with errno
// set, if a step failed; without one if the editor abandoned the edit.
int file_str(const char *path, LineEditor editor, void *context);
