#ifndef UNIT_FAILINGALLOCATION_H
#define UNIT_FAILINGALLOCATION_H

#include <cstddef>

/**
 * Replaces the program's `operator new`, the library's included, by one that counts and fails on
 * demand: the one way to make an exception of a type that nobody declares arise in the middle of an
 * operation.
 */
namespace failing_allocation {

/** Allocations since the start of the program. */
std::size_t count();

/** From now on, `skipped` allocations succeed and the next one throws std::bad_alloc. */
void failAfter(std::size_t skipped);

} // namespace failing_allocation

#endif
