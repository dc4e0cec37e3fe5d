#pragma once

#include <dirent.h>

#include <cstdio>
#include <memory>

struct CloseFile {
    void operator()(std::FILE *file) const noexcept { std::fclose(file); }
};

// Owns an open stdio stream.
using OwnedFile = std::unique_ptr<std::FILE, CloseFile>;

struct CloseListing {
    void operator()(DIR *listing) const noexcept { ::closedir(listing); }
};

// Owns an open listing of a directory.
using OwnedListing = std::unique_ptr<DIR, CloseListing>;
