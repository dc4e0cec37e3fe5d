#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdio>

// Small jobs with files. Where a routine says "after a report", errno is as the failing call left
// it.

// Empties the file, or creates it with the mode, less the file-creation mask. Returns 0, or -1
// after a report.
int truncate_or_create_file(const char *path, mode_t mode);

// Creates the file with the mode, less the file-creation mask; one that exists is a failure.
// Returns 0, or -1 after a report.
int create_file(const char *path, mode_t mode);

// Whether there is a regular file at the path; links are followed.
bool file_exists(const char *path);

// Reads the first line of a file into the buffer of that many bytes, terminated and without its
// newline; the last line of a file needs none, and an empty file has an empty line. Returns 0, or
// -1 after a report: the file can't be opened or read, or the buffer is too short for the line
// (ERANGE).
int read_line(const char *path, char *buffer, std::size_t size);

// Copies what is left of one stream to another and flushes that. Returns 0, or -1 after a report
// that tells which stream failed; what has been copied by then stays.
int copy_stream(std::FILE *input, std::FILE *output);
