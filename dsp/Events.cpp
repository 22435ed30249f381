#include "dsp/Events.h"

#include "dsp/Layouts.h"
#include "dsp/Reader.h"
#include "dsp/Writer.h"

#include <stdexcept>
#include <vector>

namespace dsp {

namespace {

std::uint16_t const acknowledgeLength = 4;

std::uint32_t const dtmfIn = 114;
std::uint32_t const dtmfOut = 113;
std::uint32_t const faxTone = 123;
std::uint32_t const alertIn = 110;
std::uint32_t const alertOut = 112;

std::uint32_t identifierOf(Acknowledge const& event) {
    return event.command + 1;
}

std::uint32_t identifierOf(Dtmf const& event) {
    return event.direction == Direction::in ? dtmfIn : dtmfOut;
}

std::uint32_t identifierOf(FaxTone const&) {
    return faxTone;
}

std::uint32_t identifierOf(Alert const& event) {
    return event.direction == Direction::in ? alertIn : alertOut;
}

template <typename Message>
Event decode(Reader& from, EventKind const& kind) {
    return decodeAs<Message>(from, kind);
}

Event decodeAcknowledge(Reader& from, EventKind const& kind) {
    Acknowledge event = decodeAs<Acknowledge>(from, kind);
    event.command = kind.identifier - 1;
    return event;
}

std::vector<EventKind> makeEventKinds() {
    std::vector<EventKind> kinds = {
        {{dtmfIn, "Dtmf", Direction::in, 4}, decode<Dtmf>},
        {{dtmfOut, "Dtmf", Direction::out, 4}, decode<Dtmf>},
        {{faxTone, "FaxTone", std::nullopt, 1}, decode<FaxTone>},
        {{alertIn, "Alert", Direction::in, 8}, decode<Alert>},
        {{alertOut, "Alert", Direction::out, 8}, decode<Alert>},
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

} // namespace

std::vector<EventKind> const& eventKinds() {
    static std::vector<EventKind> const kinds = makeEventKinds();
    return kinds;
}

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
    std::visit([&to](auto any) { walk(to, any); }, event);
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
