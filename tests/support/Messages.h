#ifndef RECORDING_MESSAGES_H
#define RECORDING_MESSAGES_H

#include "imc/imc_msg.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace recording {

/** All bytes of an IMC message, as they stand on the bus. */
using Record = std::array<unsigned char, sizeof(imc_msg)>;

/**
 * A record from typed bytes; what is not typed is 0.
 * @param header exactly 12 bytes
 * @param payload 1024 bytes at most
 * @throw std::invalid_argument for another number of bytes
 */
Record record(std::initializer_list<unsigned char> header,
              std::initializer_list<unsigned char> payload = {});

/** The bytes of a message. */
Record record(imc_msg const& message);

/** The message that a record holds. */
imc_msg message(Record const& record);

/**
 * A message of an event, as a board sends it.
 * @param length header field; independent of the number of payload bytes given, so that short and
 *        overlong messages can be made
 * @throw std::invalid_argument for more than 1024 payload bytes
 */
imc_msg message(std::uint32_t messageId, std::uint16_t length, std::uint8_t sourceSid,
                std::initializer_list<unsigned char> payload = {});

/** The first offset at which the records differ; their size when they are equal. */
std::size_t firstDifference(Record const& left, Record const& right);

} // namespace recording

#endif
