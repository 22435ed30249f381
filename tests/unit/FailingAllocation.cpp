#include "tests/unit/FailingAllocation.h"

#include <cstdlib>
#include <new>

namespace {

std::size_t allocations = 0;
/** Number of the allocation that fails; 0: none. */
std::size_t failing = 0;

} // namespace

namespace failing_allocation {

std::size_t count() {
    return allocations;
}

void failAfter(std::size_t skipped) {
    failing = allocations + skipped + 1;
}

} // namespace failing_allocation

void* operator new(std::size_t size) {
    ++allocations;
    void* const memory = allocations == failing ? nullptr : std::malloc(size > 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
