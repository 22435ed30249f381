#include "dsp/Events.h"

#include "dsp/Reader.h"

#include <cstddef>
#include <stdexcept>
#include <vector>

namespace dsp {

namespace {

/** Fills the payload of an event field by field, multi-byte fields big-endian. */
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

    void zeros(std::size_t count) { at += count; }

private:
    imc_msg& message;
    std::size_t at = 0;
};

struct EventKind : Kind {
    EventKind(Kind const& what, Event (*decoder)(Reader&, EventKind const&))
        : Kind(what), decode(decoder) {}

    Event (*decode)(Reader& from, EventKind const& kind);
};

/*
 * Acknowledgement: identifier of the command + 1; 4 bytes
 *
 *    0      dsp
 *    1      error, 0 is success
 *    2-3    local port
 */
std::uint16_t const acknowledgeLength = 4;

void encode(Writer& to, Acknowledge const& event) {
    to.byte(event.dsp);
    to.byte(event.error);
    to.half(event.localPort);
}

Event decodeAcknowledge(Reader& from, EventKind const& kind) {
    Acknowledge event{};
    event.command = kind.identifier - 1;
    event.dsp = from.byte();
    event.error = from.byte();
    event.localPort = from.half();
    return event;
}

std::uint32_t identifierOf(Acknowledge const& event) {
    return event.command + 1;
}

/*
 * DTMF: 114 in, 113 out; 4 bytes
 *
 *    0      dsp
 *    1      digit
 *    2-3    duration in milliseconds
 */
std::uint32_t const dtmfIn = 114;
std::uint32_t const dtmfOut = 113;

void encode(Writer& to, Dtmf const& event) {
    to.byte(event.dsp);
    to.byte(event.digit);
    to.half(event.milliseconds);
}

Event decodeDtmf(Reader& from, EventKind const& kind) {
    Dtmf event{};
    event.direction = *kind.direction;
    event.dsp = from.byte();
    event.digit = from.byte();
    event.milliseconds = from.half();
    return event;
}

std::uint32_t identifierOf(Dtmf const& event) {
    return event.direction == Direction::in ? dtmfIn : dtmfOut;
}

/*
 * Fax tone: 123; 1 byte
 *
 *    0      dsp
 */
std::uint32_t const faxTone = 123;

void encode(Writer& to, FaxTone const& event) {
    to.byte(event.dsp);
}

Event decodeFaxTone(Reader& from, EventKind const&) {
    return FaxTone{from.byte()};
}

std::uint32_t identifierOf(FaxTone const&) {
    return faxTone;
}

/*
 * Alert: 110 in, 112 out; 8 bytes
 *
 *    0      dsp
 *    1-3    not defined, sent as 0
 *    4-7    alert value
 */
std::uint32_t const alertIn = 110;
std::uint32_t const alertOut = 112;

void encode(Writer& to, Alert const& event) {
    to.byte(event.dsp);
    to.zeros(3);
    to.word(event.value);
}

Event decodeAlert(Reader& from, EventKind const& kind) {
    Alert event{};
    event.direction = *kind.direction;
    event.dsp = from.byte();
    from.reserved(3);
    event.value = from.word();
    return event;
}

std::uint32_t identifierOf(Alert const& event) {
    return event.direction == Direction::in ? alertIn : alertOut;
}

std::vector<EventKind> makeEventKinds() {
    std::vector<EventKind> kinds = {
        {{dtmfIn, "Dtmf", Direction::in, 4}, decodeDtmf},
        {{dtmfOut, "Dtmf", Direction::out, 4}, decodeDtmf},
        {{faxTone, "FaxTone", std::nullopt, 1}, decodeFaxTone},
        {{alertIn, "Alert", Direction::in, 8}, decodeAlert},
        {{alertOut, "Alert", Direction::out, 8}, decodeAlert},
    };
    for (CommandKind const& command : commandKinds()) {
        if (command.acknowledged) {
            kinds.push_back({{command.identifier + 1, command.name + "Ack", command.direction,
                              acknowledgeLength},
                             decodeAcknowledge});
        }
    }
    return kinds;
}

std::vector<EventKind> const& eventKinds() {
    static std::vector<EventKind> const kinds = makeEventKinds();
    return kinds;
}

} // namespace

Kind const* findEvent(std::uint32_t identifier) {
    return find(eventKinds(), identifier);
}

imc_msg encodeEvent(Event const& event, std::uint8_t sourceSid, std::uint8_t destinationSid) {
    Kind const* const kind =
        findEvent(std::visit([](auto const& any) { return identifierOf(any); }, event));
    if (kind == nullptr) {
        throw std::invalid_argument("no acknowledgement has this command identifier");
    }
    imc_msg message{};
    message.sourceSid = sourceSid;
    message.destinationSid = destinationSid;
    message.length = kind->length;
    message.messageId = kind->identifier;
    Writer to(message);
    std::visit([&to](auto const& any) { encode(to, any); }, event);
    return message;
}

std::optional<Event> decodeEvent(imc_msg const& message) {
    EventKind const* const kind = find(eventKinds(), message.messageId);
    if (kind == nullptr || message.length != kind->length) {
        return std::nullopt;
    }
    Reader from(message);
    return kind->decode(from, *kind);
}

} // namespace dsp
