#include "tests/soak/Memory.h"

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <new>
#include <string>

namespace {

std::atomic<std::size_t> blocks{0};
std::atomic<std::size_t> bytes{0};

/** In front of each block stands its size, in as much room as keeps the block aligned. */
constexpr std::size_t front = alignof(std::max_align_t);
static_assert(front >= sizeof(std::size_t), "the size fits in front of a block");

void* allocate(std::size_t size) noexcept {
    void* const memory = std::malloc(front + size);
    if (memory == nullptr) {
        return nullptr;
    }
    *static_cast<std::size_t*>(memory) = size;
    ++blocks;
    bytes += size;
    return static_cast<char*>(memory) + front;
}

void* allocateOrThrow(std::size_t size) {
    void* const memory = allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void release(void* block) noexcept {
    if (block == nullptr) {
        return;
    }
    void* const memory = static_cast<char*>(block) - front;
    --blocks;
    bytes -= *static_cast<std::size_t*>(memory);
    std::free(memory);
}

} // namespace

void* operator new(std::size_t size) {
    return allocateOrThrow(size);
}

void* operator new[](std::size_t size) {
    return allocateOrThrow(size);
}

void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return allocate(size);
}

void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
    return allocate(size);
}

void operator delete(void* block) noexcept {
    release(block);
}

void operator delete[](void* block) noexcept {
    release(block);
}

void operator delete(void* block, std::size_t) noexcept {
    release(block);
}

void operator delete[](void* block, std::size_t) noexcept {
    release(block);
}

void operator delete(void* block, std::nothrow_t const&) noexcept {
    release(block);
}

void operator delete[](void* block, std::nothrow_t const&) noexcept {
    release(block);
}

namespace soak {

Heap heapInUse() {
    return {blocks, bytes};
}

Resident residentMemory() {
    Resident resident{0, 0};
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") {
            status >> resident.now;
        } else if (word == "VmHWM:") {
            status >> resident.peak;
        }
    }
    return resident;
}

} // namespace soak
