#pragma once

#include <cstdlib>
#include <memory>

struct FreeMemory {
    void operator()(void *memory) const noexcept { std::free(memory); }
};

// Owns memory from malloc and its kin until it is handed out with release().
template <typename T>
using Malloced = std::unique_ptr<T, FreeMemory>;
