#ifndef GATEWAY_OPERATORLINE_H
#define GATEWAY_OPERATORLINE_H

#include <string>

namespace gateway {

/**
 * The library shows as many DSP channels as "MC Dsp 0x..." asks for, up to two billion, and looks
 * through its whole list for each. A board has 256; this is what may be asked for here.
 */
constexpr unsigned long mostDspsShown = 0x400;

/** @throw std::invalid_argument for a line whose answer would use up the process's memory */
void requireModest(std::string const& line);

} // namespace gateway

#endif
