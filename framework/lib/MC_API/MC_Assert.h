#ifndef MC_ASSERT_H
#define MC_ASSERT_H

// The C library declares what reports a failed assertion only where assertions are on. The check
// of a channel pointer stays on in every build.
#ifdef NDEBUG
#undef NDEBUG
#include <cassert>
#define NDEBUG
#else
#include <cassert>
#endif

#include <cstddef>

class MC_Channel;

/**
 * Aborts when a channel pointer is null. The text of the report is fixed: it does not depend on the
 * compiler, on the build type or on where the call stands in the source.
 * @param source source name of the module
 * @param line fixed number of the check
 * @param function signature of the operation that checks
 */
inline void MC_assertChannel(MC_Channel const* pChannel, char const* source, unsigned int line,
                             char const* function) {
    if (pChannel == NULL) {
        __assert_fail("pChannel != __null", source, line, function);
    }
}

#endif
