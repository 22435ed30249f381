#ifndef GATEWAY_CALLFILEERROR_H
#define GATEWAY_CALLFILEERROR_H

#include <cstdint>
#include <stdexcept>
#include <string>

namespace gateway {

/** A call file that is in error; the text names file, line, column and what was expected there. */
class CallFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** Where something stands in a call file; both count from 1. */
struct Position {
    std::uint32_t line = 0;
    std::uint32_t column = 0;
};

/** @throw CallFileError always */
[[noreturn]] inline void fail(std::string const& file, Position position, std::string const& text) {
    throw CallFileError(file + ":" + std::to_string(position.line) + ":" +
                        std::to_string(position.column) + ": " + text);
}

} // namespace gateway

#endif
