#include "gateway/load/MediaPath.h"

namespace gateway {

namespace {

constexpr std::uint32_t openIn = 100;
constexpr std::uint32_t closeIn = 102;
constexpr std::uint32_t openOut = 104;
constexpr std::uint32_t closeOut = 106;
/** From a command to its acknowledgement. */
constexpr std::uint32_t acknowledged = 1;
/** DSP channel, error, and the local port in two bytes. */
constexpr std::uint16_t acknowledgementLength = 4;

} // namespace

std::vector<long> const acknowledgementIds = {openIn + acknowledged, closeIn + acknowledged,
                                              openOut + acknowledged, closeOut + acknowledged};

std::vector<MediaPath> mediaPaths(std::vector<std::uint8_t> const& sids, unsigned channels) {
    using Direction = MediaPath::Direction;
    std::vector<MediaPath> paths;
    for (unsigned dsp = 0; dsp < channels; ++dsp) {
        for (Direction const first : {Direction::in, Direction::out}) {
            // In and out alternate from board to board too.
            Direction direction = first;
            for (std::uint8_t const sid : sids) {
                paths.push_back({sid, static_cast<std::uint8_t>(dsp), direction});
                direction = direction == Direction::in ? Direction::out : Direction::in;
            }
        }
    }
    return paths;
}

std::optional<PathAcknowledged> acknowledgedPath(imc_msg const& message) {
    PathAcknowledged result;
    result.path.sid = message.sourceSid;
    result.path.dsp = message.payload[0];
    result.error = message.payload[1];
    switch (message.messageId) {
    case openOut + acknowledged:
    case closeOut + acknowledged:
        result.path.direction = MediaPath::Direction::out;
        break;
    case openIn + acknowledged:
    case closeIn + acknowledged:
        break;
    default:
        return std::nullopt;
    }
    if (message.length != acknowledgementLength) {
        return std::nullopt;
    }
    result.isOpen =
        message.messageId == openIn + acknowledged || message.messageId == openOut + acknowledged;
    return result;
}

std::optional<imc_msg> acknowledgementOf(imc_msg const& command) {
    switch (command.messageId) {
    case openIn:
    case closeIn:
    case openOut:
    case closeOut:
        break;
    default:
        return std::nullopt;
    }
    imc_msg event{};
    event.sourceSid = command.destinationSid;
    event.destinationSid = command.sourceSid;
    event.length = acknowledgementLength;
    event.messageId = command.messageId + acknowledged;
    event.payload[0] = command.payload[0];
    return event;
}

} // namespace gateway
