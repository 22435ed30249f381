#ifndef TESTS_SOAK_MEMORY_H
#define TESTS_SOAK_MEMORY_H

#include <cstddef>

namespace soak {

/** What is in use of the memory that the whole program, its libraries included, got with `new`. */
struct Heap {
    std::size_t blocks;
    std::size_t bytes;

    bool operator==(Heap const& other) const {
        return blocks == other.blocks && bytes == other.bytes;
    }
    bool operator!=(Heap const& other) const { return !(*this == other); }
};

/** Exact: counts what was asked for, not what the allocator made of it. */
Heap heapInUse();

/** Memory of the process that is resident, in KiB, as the system sees it. */
struct Resident {
    std::size_t now;
    std::size_t peak;
};

Resident residentMemory();

} // namespace soak

#endif
