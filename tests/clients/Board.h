#ifndef BOARD_H
#define BOARD_H

#include <cstddef>
#include <cstdint>
#include <vector>

/**
 * The board that the client of these tests runs on: the recording platform, behind declarations
 * that every language mode reads the same way.
 */
namespace board {

/** IMC address and network address of its one board. */
unsigned char const sid = 0x10;
extern char const ip[];

/** Fresh, with that board known. */
void setUp();

/** Identifiers of the messages that were posted since the last call, in order. */
std::vector<std::uint32_t> takePosted();

/** Delivers an acknowledgement; returns the number of observers called. */
std::size_t acknowledge(std::uint32_t messageId, std::uint8_t dsp, std::uint8_t error,
                        std::uint16_t localPort);

/** Number of counted objects that exist. */
std::size_t liveObjects();

} // namespace board

#endif
