#ifndef BENCH_SWALLOWINGPLATFORM_H
#define BENCH_SWALLOWINGPLATFORM_H

#include <cstdint>

class IMC_Observer;

namespace bench {

/** Grows with everything that the platform is handed, so that no compiler drops the work. */
extern std::uint64_t swallowed;

void setLogLevel(unsigned int level);

/** @throw std::out_of_range when nobody is registered for the identifier */
IMC_Observer& observerOf(long messageId);

} // namespace bench

#endif
