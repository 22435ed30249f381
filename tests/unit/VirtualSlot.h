#ifndef UNIT_VIRTUALSLOT_H
#define UNIT_VIRTUALSLOT_H

#include <cstdint>
#include <cstring>
#include <type_traits>

/**
 * The slot of a virtual operation in its class's table, as programs that are linked already count
 * it. A virtual destructor that stands first takes slots 0 and 1.
 *
 * Reads what the C++ ABI of g++ and clang++ keeps in a pointer to a virtual member: its offset in
 * the table, which most processors mark by adding one.
 */
template <class Operation>
std::uintptr_t virtualSlot(Operation operation) {
    static_assert(std::is_member_function_pointer<Operation>::value, "has no slot");
    std::uintptr_t words[2];
    static_assert(sizeof words == sizeof operation, "another ABI");
    std::memcpy(words, &operation, sizeof words);
#if defined(__arm__) || defined(__aarch64__)
    std::uintptr_t const mark = 0;
#else
    std::uintptr_t const mark = 1;
#endif
    return (words[0] - mark) / sizeof(void*);
}

#endif
