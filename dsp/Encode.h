#ifndef DSP_ENCODE_H
#define DSP_ENCODE_H

#include "dsp/Board.h"
#include "imc/imc_msg.h"

#include <string>
#include <vector>

namespace dsp {

/**
 * The command or event that these pieces of a text stand for; the other way round of `fields`.
 * @param name with the direction where there is one: "OpenVoice in"
 * @param fields in any order; those that are not given are 0, remarks say nothing
 * @return the message without addresses; every byte that it does not define is zero
 * @throw std::invalid_argument for a name, field or value that does not exist, with what could
 *        stand there
 */
imc_msg encode(std::string const& name, std::vector<Field> const& fields);

} // namespace dsp

#endif
