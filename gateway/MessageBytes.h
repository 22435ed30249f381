#ifndef GATEWAY_MESSAGEBYTES_H
#define GATEWAY_MESSAGEBYTES_H

#include "imc/imc_msg.h"

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

namespace gateway {

/** A message that somebody wrote down. */
struct WrittenMessage {
    imc_msg message{};
    /** Whether its addresses were written too. */
    bool hasSource = false;
    bool hasDestination = false;
};

/**
 * Bytes from hexadecimal digits, two each; blanks and colons between bytes say nothing.
 * @throw std::invalid_argument with what is wrong
 */
std::vector<std::uint8_t> parseHexadecimal(std::string const& text);

/**
 * A record from the hexadecimal text of its first bytes; the rest is zero. It is addressed when
 * these are at least the four with the addresses.
 * @throw std::invalid_argument with what is wrong
 */
WrittenMessage parseRecord(std::string const& hexadecimal);

/**
 * A command or event by name and fields, "OpenVoiceAck in dsp=3 port=5000", with from=SID and
 * to=SID where its addresses are written too, or a record, "raw 00 01".
 * @throw std::invalid_argument with what is wrong and what could stand there
 */
WrittenMessage parseWritten(std::string const& text);

/**
 * One message in each line; empty lines, and what follows a # at the beginning of a line or behind
 * a blank, say nothing.
 * @param name for the texts
 * @throw std::invalid_argument naming the line and what is wrong there
 */
std::vector<WrittenMessage> readWritten(std::istream& from, std::string const& name);

} // namespace gateway

#endif
