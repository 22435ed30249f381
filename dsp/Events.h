#ifndef DSP_EVENTS_H
#define DSP_EVENTS_H

#include "dsp/Commands.h"
#include "dsp/Kind.h"
#include "imc/imc_msg.h"

#include <cstdint>
#include <optional>
#include <variant>
#include <vector>

namespace dsp {

struct Acknowledge {
    /** Identifier of the command that is acknowledged. */
    std::uint32_t command;
    std::uint8_t dsp;
    /** An `Error` when it is one of ours; 0 is success. */
    std::uint8_t error;
    std::uint16_t localPort;
};

struct Dtmf {
    Direction direction;
    std::uint8_t dsp;
    std::uint8_t digit;
    std::uint16_t milliseconds;
};

struct FaxTone {
    std::uint8_t dsp;
};

struct Alert {
    Direction direction;
    std::uint8_t dsp;
    std::uint32_t value;
};

using Event = std::variant<Acknowledge, Dtmf, FaxTone, Alert>;

struct EventKind : Kind {
    EventKind(Kind const& what, Event (*decoder)(Reader&, EventKind const&))
        : Kind(what), decode(decoder) {}

    Event (*decode)(Reader& from, EventKind const& kind);
};

/** Every event there is, each identifier once. */
std::vector<EventKind> const& eventKinds();

/** @return null when no event has the identifier; an acknowledgement is called after its command */
Kind const* findEvent(std::uint32_t identifier);

/**
 * The whole record; every byte that the event does not define is zero.
 * @throw std::invalid_argument for the acknowledgement of a command that is not acknowledged
 */
imc_msg encodeEvent(Event const& event, std::uint8_t sourceSid, std::uint8_t destinationSid);

/** @return nothing when the message is no event, or its payload length is not exactly right */
std::optional<Event> decodeEvent(imc_msg const& message);

} // namespace dsp

#endif
