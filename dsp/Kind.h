#ifndef DSP_KIND_H
#define DSP_KIND_H

#include "dsp/Board.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace dsp {

/** What a message identifier stands for. */
struct Kind {
    std::uint32_t identifier;
    std::string name;
    /** Empty when the message is about the DSP channel as a whole. */
    std::optional<Direction> direction;
    /** Exact payload length in bytes. */
    std::uint16_t length;
};

inline char const* directionName(Direction direction) {
    return direction == Direction::in ? "in" : "out";
}

/** "OpenVoice in", "Join". */
inline std::string title(Kind const& kind) {
    return kind.direction ? kind.name + " " + directionName(*kind.direction) : kind.name;
}

/** @return null when no kind has the identifier */
template <typename SomeKind>
SomeKind const* find(std::vector<SomeKind> const& kinds, std::uint32_t identifier) {
    auto const found = std::find_if(kinds.begin(), kinds.end(), [identifier](SomeKind const& kind) {
        return kind.identifier == identifier;
    });
    return found == kinds.end() ? nullptr : &*found;
}

} // namespace dsp

#endif
