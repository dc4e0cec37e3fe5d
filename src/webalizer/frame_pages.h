#pragma once

#include <string>

// The two pages through which a statistics directory is browsed: index.html, a frameset, and
// nav.html, a list of the periods there are statistics of. Choosing a period loads the index.html
// of its directory. A failure is reported and ends only the page being written, which stays as far
// as it has come; each function returns whether there was none. A regular file that already holds
// the page's bytes is left alone, times and all, so that no visitor meets half a page and nothing is
// sent to the disk; other pages are replaced, and so is a link or a FIFO in place of one.

// Writes both pages into the statistics directory. Their paths are cut to 4095 characters.
bool write_frame_pages(const std::string &statistics_dir);

// Writes the frameset to the path. A page that can't be written whole leaves its descriptor open.
bool write_index_page(const std::string &path);

// Writes to the path the list of the directory's subdirectories, in byte-wise order; links to
// directories are none. Their names are written as they are, without escaping. The working
// directory changes while the directory is read and is restored, but see walk_directory: after an
// entry that can't be checked, or a failed write among the entries, it is left as it is.
bool write_nav_page(const std::string &statistics_dir, const std::string &path);
