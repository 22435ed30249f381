#ifndef DSP_READER_H
#define DSP_READER_H

#include "dsp/Board.h"
#include "imc/imc_msg.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

namespace dsp {

/**
 * Reads a payload field by field, multi-byte fields big-endian, and notes the first reserved byte
 * that is not zero. Stays inside the payload: the longest layout is 36 of its 1024 bytes, and what
 * is left behind a layout is reserved as a whole.
 */
class Reader {
public:
    explicit Reader(imc_msg const& from) : message(from) {
        noteUnlessZero(from.header0, offsetof(imc_msg, header0));
        noteUnlessZero(from.header3, offsetof(imc_msg, header3));
        noteUnlessZero(from.reserved >> 8U, offsetof(imc_msg, reserved));
        noteUnlessZero(from.reserved & 0xFFU, offsetof(imc_msg, reserved) + 1);
    }

    std::uint8_t byte() { return message.payload[at++]; }

    std::uint16_t half() {
        unsigned const high = byte();
        return static_cast<std::uint16_t>(high << 8 | byte());
    }

    std::uint32_t word() {
        std::uint32_t const high = half();
        return high << 16 | half();
    }

    Address address() {
        Address bytes;
        std::generate(bytes.begin(), bytes.end(), [this] { return byte(); });
        return bytes;
    }

    /** @name One after the other; for layouts, see dsp/Layouts.h */
    /// @{
    template <typename... Fields>
    void fields(Fields&... to) {
        (read(to), ...);
    }
    /** A value that the layout is known by. */
    void constant(std::uint8_t) { ++at; }
    /// @}

    /** Of a set-parameter command, without reading it. */
    std::uint8_t parameterCode() const { return message.payload[1]; }

    void reserved(std::size_t count) {
        for (std::size_t const end = at + count; at < end; ++at) {
            noteUnlessZero(message.payload[at], offsetof(imc_msg, payload) + at);
        }
    }

    void reservedRest() {
        // All zero, but for a faulty sender: a thousand bytes are compared much faster at once.
        static constexpr std::uint8_t zeros[imc_msg::payloadSize] = {};
        std::size_t const rest = imc_msg::payloadSize - at;
        if (std::memcmp(message.payload + at, zeros, rest) != 0) {
            reserved(rest);
        }
    }

    std::optional<std::size_t> nonzeroReserved() const { return nonzero; }

private:
    void read(std::uint8_t& to) { to = byte(); }
    void read(std::uint16_t& to) { to = half(); }
    void read(std::uint32_t& to) { to = word(); }
    void read(Address& to) { to = address(); }

    void noteUnlessZero(unsigned value, std::size_t offset) {
        if (value != 0 && !nonzero) {
            nonzero = offset;
        }
    }

    imc_msg const& message;
    std::size_t at = 0;
    std::optional<std::size_t> nonzero;
};

} // namespace dsp

#endif
