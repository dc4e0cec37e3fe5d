#pragma once

#include <dirent.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

// Owners of what the C library hands out; release() hands it on.

struct FreeMemory {
    void operator()(void *memory) const noexcept { std::free(memory); }
};

// Memory from malloc and its kin.
template <typename T>
using Malloced = std::unique_ptr<T, FreeMemory>;

struct CloseFile {
    void operator()(std::FILE *file) const noexcept { std::fclose(file); }
};

// An open stdio stream.
using OwnedFile = std::unique_ptr<std::FILE, CloseFile>;

struct CloseListing {
    void operator()(DIR *listing) const noexcept { ::closedir(listing); }
};

// An open listing of a directory.
using OwnedListing = std::unique_ptr<DIR, CloseListing>;
