#ifndef DSP_CAUSE_H
#define DSP_CAUSE_H

#include "dsp/Board.h"

#include <cstddef>

namespace dsp {

/** Why a command is refused. */
enum class Cause : std::size_t {
    wrongDestination,
    unknownIdentifier,
    wrongLength,
    noSuchChannel,
    unknownParameter,
    badParameter,
    alreadyOpen,
    notOpen,
    alreadyJoined,
    notJoined,
    noPortLeft,
    onRequest
};

/** How many causes there are, numbered from 0. */
constexpr std::size_t causeCount = 12;

/** A few words, such as "wrong length". */
char const* causeName(Cause cause);

/** What an acknowledged command is answered with; none where it is not the cause that decides. */
Error errorOf(Cause cause);

/** A few words for an error code of the board, null when it is none of its. */
char const* errorName(unsigned code);

} // namespace dsp

#endif
