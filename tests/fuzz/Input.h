#ifndef FUZZ_INPUT_H
#define FUZZ_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

/**
 * The bytes of an input, taken from the front. What is missing at the end reads as 0, so that every
 * input is a whole one.
 */
class Input {
public:
    Input(std::uint8_t const* data, std::size_t size) : next(data), end(data + size) {}

    bool isEmpty() const { return next == end; }

    std::uint8_t byte() { return isEmpty() ? std::uint8_t{0} : *next++; }

    std::uint16_t half() {
        unsigned const high = byte();
        return static_cast<std::uint16_t>(high << 8U | byte());
    }

    std::uint32_t word() {
        std::uint32_t const high = half();
        return high << 16U | half();
    }

    bool flag() { return (byte() & 1U) != 0; }

    /** A number below `limit`, which is 256 at most. */
    unsigned below(unsigned limit) { return byte() % limit; }

    /** A byte that says how many characters, and the characters. */
    std::string text() { return take(byte()); }

    /** Everything that is left, `longest` bytes at most. */
    std::string take(std::size_t longest) {
        std::size_t const count = std::min(longest, static_cast<std::size_t>(end - next));
        std::string const taken(next, next + count);
        next += count;
        return taken;
    }

private:
    std::uint8_t const* next;
    std::uint8_t const* end;
};

} // namespace fuzz

#endif
