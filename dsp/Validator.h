#ifndef DSP_VALIDATOR_H
#define DSP_VALIDATOR_H

#include "dsp/Commands.h"

#include <string>

namespace dsp {

/**
 * Looks for a value that a command must not carry, whatever the state of its DSP channel.
 * @param channels number of DSP channels of the board
 * @return what is wrong, in a few words; empty when nothing is
 */
std::string findBadValue(Command const& command, unsigned channels);

} // namespace dsp

#endif
