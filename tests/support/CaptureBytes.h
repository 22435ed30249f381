#ifndef TESTS_SUPPORT_CAPTUREBYTES_H
#define TESTS_SUPPORT_CAPTUREBYTES_H

#include "dsp/Commands.h"
#include "dsp/Events.h"
#include "imc/imc_msg.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

/** Bytes of a pcapng file, block by block, good ones and bad ones, in either byte order. */
class CaptureBytes {
public:
    explicit CaptureBytes(bool isBig = false) : isBigEndian(isBig) {}

    CaptureBytes& section(unsigned version = 1) {
        return block(0x0A0D0D0A,
                     word(0x1A2B3C4D) + half(version) + half(0) + std::string(8, '\xFF'));
    }

    CaptureBytes& interface(std::string const& options = "", unsigned linkType = 147) {
        return block(1, half(linkType) + half(0) + word(0) + options);
    }

    CaptureBytes& packet(std::string const& data, std::uint64_t ticks = 0, unsigned interface = 0,
                         std::string const& options = "") {
        return block(6, word(interface) + word(static_cast<std::uint32_t>(ticks >> 32U)) +
                            word(static_cast<std::uint32_t>(ticks)) + size(data) + size(data) +
                            padded(data) + options);
    }

    CaptureBytes& block(std::uint32_t type, std::string const& body) {
        std::string const length = word(static_cast<std::uint32_t>(body.size()) + 12);
        return raw(word(type) + length + body + length);
    }

    CaptureBytes& raw(std::string const& more) {
        bytes += more;
        return *this;
    }

    std::string option(unsigned code, std::string const& value) const {
        return half(code) + half(static_cast<unsigned>(value.size())) + padded(value);
    }

    std::string half(unsigned value) const {
        char const high = static_cast<char>(static_cast<unsigned char>(value >> 8U & 0xFFU));
        char const low = static_cast<char>(static_cast<unsigned char>(value & 0xFFU));
        return isBigEndian ? std::string{high, low} : std::string{low, high};
    }

    std::string word(std::uint32_t value) const {
        std::string const high = half(value >> 16U);
        std::string const low = half(value & 0xFFFFU);
        return isBigEndian ? high + low : low + high;
    }

    std::string both(std::uint64_t value) const {
        std::string const high = word(static_cast<std::uint32_t>(value >> 32U));
        std::string const low = word(static_cast<std::uint32_t>(value));
        return isBigEndian ? high + low : low + high;
    }

    std::string const& text() const { return bytes; }

private:
    static std::string padded(std::string const& data) {
        return data + std::string((4 - data.size() % 4) % 4, '\0');
    }
    std::string size(std::string const& data) const {
        return word(static_cast<std::uint32_t>(data.size()));
    }

    bool isBigEndian;
    std::string bytes;
};

/** The bytes of a message. */
inline std::string bytesOfMessage(imc_msg const& message) {
    std::string bytes(sizeof message, '\0');
    std::memcpy(&bytes[0], &message, sizeof message);
    return bytes;
}

/** A command of the payload from the Session Manager 0x01 to the board. */
inline imc_msg commandTo(std::uint8_t board, std::uint32_t identifier, std::string const& payload) {
    imc_msg message{};
    message.sourceSid = 0x01;
    message.destinationSid = board;
    message.length = static_cast<std::uint16_t>(payload.size());
    message.messageId = identifier;
    std::memcpy(message.payload, payload.data(), payload.size());
    return message;
}

/** The board's acknowledgement of a command, to the Session Manager 0x01. */
inline imc_msg acknowledgementFrom(std::uint8_t board, std::uint32_t command, std::uint8_t dsp,
                                   std::uint16_t port = 0, std::uint8_t error = 0) {
    return dsp::encodeEvent(dsp::Acknowledge{command, dsp, error, port}, board, 0x01);
}

#endif
