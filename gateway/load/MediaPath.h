#ifndef GATEWAY_LOAD_MEDIAPATH_H
#define GATEWAY_LOAD_MEDIAPATH_H

#include "imc/imc_msg.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace gateway {

/** One direction of a DSP channel of a board. */
struct MediaPath {
    enum class Direction : std::uint8_t { in, out };

    std::uint8_t sid = 0;
    std::uint8_t dsp = 0;
    Direction direction = Direction::in;

    /** Different for each path, and less than `keys`. */
    std::size_t key() const {
        return (std::size_t{sid} << 9) | (std::size_t{dsp} << 1) |
               static_cast<std::size_t>(direction);
    }
    static constexpr std::size_t keys = std::size_t{1} << 17;

    bool operator==(MediaPath const& other) const { return key() == other.key(); }
};

/**
 * The paths of all boards, in the order in which they are taken: in and out alternate, and
 * neighbours are on different boards, as far as there are any.
 */
std::vector<MediaPath> mediaPaths(std::vector<std::uint8_t> const& sids, unsigned channels);

/** The acknowledgement of a voice command. */
struct PathAcknowledged {
    MediaPath path;
    bool isOpen = false;
    std::uint8_t error = 0;
};

/** Message identifiers of the four acknowledgements. */
extern std::vector<long> const acknowledgementIds;

/** @return nothing when the message is none of the four, or its length is wrong */
std::optional<PathAcknowledged> acknowledgedPath(imc_msg const& message);

/** What a board answers to a voice command that it carried out. @return nothing to others */
std::optional<imc_msg> acknowledgementOf(imc_msg const& command);

} // namespace gateway

#endif
