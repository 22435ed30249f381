#ifndef DSP_WRITER_H
#define DSP_WRITER_H

#include "dsp/Board.h"
#include "imc/imc_msg.h"

#include <cstddef>
#include <cstdint>

namespace dsp {

/**
 * Fills a payload field by field, multi-byte fields big-endian; a Reader's other half. Reserved
 * bytes are left as they are.
 */
class Writer {
public:
    explicit Writer(imc_msg& to) : message(to) {}

    void byte(unsigned value) { message.payload[at++] = static_cast<std::uint8_t>(value); }

    void half(std::uint16_t value) {
        byte(value >> 8U);
        byte(value & 0xFFU);
    }

    void word(std::uint32_t value) {
        half(static_cast<std::uint16_t>(value >> 16U));
        half(static_cast<std::uint16_t>(value & 0xFFFFU));
    }

    void address(Address const& value) {
        for (std::uint8_t const each : value) {
            byte(each);
        }
    }

    /** @name One after the other; for layouts, see dsp/Layouts.h */
    /// @{
    template <typename... Fields>
    void fields(Fields const&... values) {
        (write(values), ...);
    }
    void constant(std::uint8_t value) { byte(value); }
    /// @}

    void reserved(std::size_t count) { at += count; }

private:
    void write(std::uint8_t value) { byte(value); }
    void write(std::uint16_t value) { half(value); }
    void write(std::uint32_t value) { word(value); }
    void write(Address const& value) { address(value); }

    imc_msg& message;
    std::size_t at = 0;
};

} // namespace dsp

#endif
