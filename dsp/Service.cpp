#include "dsp/Service.h"

#include "dsp/Reader.h"
#include "dsp/Writer.h"

#include <cstddef>
#include <stdexcept>
#include <string>

namespace dsp {

namespace {

std::uint32_t identifierOf(Service service) {
    return static_cast<std::uint32_t>(service);
}

imc_msg newRecord(Service service, std::size_t length, std::uint8_t sourceSid,
                  std::uint8_t destinationSid) {
    imc_msg message{};
    message.sourceSid = sourceSid;
    message.destinationSid = destinationSid;
    message.length = static_cast<std::uint16_t>(length);
    message.messageId = identifierOf(service);
    return message;
}

bool isOne(imc_msg const& message, Service service, std::size_t length) {
    return message.messageId == identifierOf(service) && message.length == length;
}

/*
 * Audit request: 9001; 4 bytes
 *
 *    0-3    tag
 */
std::size_t const auditRequestLength = 4;

/*
 * Audit answer: 9002; 16 bytes and 2 for each DSP channel
 *
 *    0-3    tag
 *    4-11   incarnation
 *   12-13   number of DSP channels
 *   14-15   reserved
 *   then for each DSP channel its direction in and its direction out, a byte each
 *           0x01 voice open   0x02 fax open   0x04 joined   0x80 another client's
 */
std::size_t const auditAnswerLength = 16;
std::size_t const mostChannels = (imc_msg::payloadSize - auditAnswerLength) / 2;

constexpr unsigned voiceOpenBit = 0x01;
constexpr unsigned faxOpenBit = 0x02;
constexpr unsigned joinedBit = 0x04;
constexpr unsigned othersBit = 0x80;

unsigned bitsOf(PathState const& path) {
    return (path.voiceOpen ? voiceOpenBit : 0U) | (path.faxOpen ? faxOpenBit : 0U) |
           (path.joined ? joinedBit : 0U) | (path.isOthers ? othersBit : 0U);
}

PathState pathOf(unsigned bits) {
    return {(bits & voiceOpenBit) != 0, (bits & faxOpenBit) != 0, (bits & joinedBit) != 0,
            (bits & othersBit) != 0};
}

/*
 * Order: 9003; 8 bytes
 *
 *    0      dsp
 *    1      direction, 1 in, 2 out      of dtmf and alert
 *    2      kind
 *           1 dtmf        2 faxTone     3 alert     4 failNext
 *    3      digit         -             -           error
 *    4-7    milliseconds  -             value       -
 */
std::size_t const orderLength = 8;

PathState stateOf(Path const& path, bool isJoined, std::uint8_t asker) {
    PathState state;
    state.voiceOpen = path.voiceOpen;
    state.faxOpen = path.faxOpen;
    state.joined = isJoined;
    state.isOthers =
        (path.voiceOpen && path.voiceOpener != asker) || (path.faxOpen && path.faxOpener != asker);
    return state;
}

} // namespace

char const* orderName(Order::Kind kind) {
    switch (kind) {
    case Order::Kind::dtmf:
        return "dtmf";
    case Order::Kind::faxTone:
        return "faxTone";
    case Order::Kind::alert:
        return "alert";
    case Order::Kind::failNext:
        return "failNext";
    }
    return nullptr;
}

char const* serviceName(std::uint32_t identifier) {
    switch (static_cast<Service>(identifier)) {
    case Service::auditRequest:
        return "AuditRequest";
    case Service::auditAnswer:
        return "AuditAnswer";
    case Service::order:
        return "Order";
    }
    return nullptr;
}

imc_msg encodeAuditRequest(std::uint32_t tag, std::uint8_t sourceSid, std::uint8_t destinationSid) {
    imc_msg message =
        newRecord(Service::auditRequest, auditRequestLength, sourceSid, destinationSid);
    Writer(message).word(tag);
    return message;
}

imc_msg encodeAuditAnswer(AuditAnswer const& answer, std::uint8_t sourceSid,
                          std::uint8_t destinationSid) {
    std::size_t const channels = answer.in.size();
    if (answer.out.size() != channels || channels > mostChannels) {
        throw std::invalid_argument("no audit answer has " + std::to_string(channels) +
                                    " channels in, and " + std::to_string(answer.out.size()) +
                                    " out");
    }
    imc_msg message = newRecord(Service::auditAnswer, auditAnswerLength + 2 * channels, sourceSid,
                                destinationSid);
    Writer to(message);
    to.word(answer.tag);
    to.word(static_cast<std::uint32_t>(answer.incarnation >> 32U));
    to.word(static_cast<std::uint32_t>(answer.incarnation));
    to.half(static_cast<std::uint16_t>(channels));
    to.reserved(2);
    for (std::size_t i = 0; i < channels; ++i) {
        to.byte(bitsOf(answer.in[i]));
        to.byte(bitsOf(answer.out[i]));
    }
    return message;
}

imc_msg encodeOrder(Order const& order, std::uint8_t sourceSid, std::uint8_t destinationSid) {
    imc_msg message = newRecord(Service::order, orderLength, sourceSid, destinationSid);
    Writer to(message);
    to.byte(order.dsp);
    to.byte(static_cast<unsigned>(order.direction));
    to.byte(static_cast<unsigned>(order.kind));
    to.byte(order.value8);
    to.word(order.value32);
    return message;
}

std::optional<std::uint32_t> decodeAuditRequest(imc_msg const& message) {
    if (!isOne(message, Service::auditRequest, auditRequestLength)) {
        return std::nullopt;
    }
    return Reader(message).word();
}

std::optional<AuditAnswer> decodeAuditAnswer(imc_msg const& message) {
    bool const hasHead = message.messageId == identifierOf(Service::auditAnswer) &&
                         message.length >= auditAnswerLength;
    if (!hasHead) {
        return std::nullopt;
    }
    Reader from(message);
    AuditAnswer answer;
    answer.tag = from.word();
    std::uint64_t const high = from.word();
    answer.incarnation = high << 32U | from.word();
    std::size_t const channels = from.half();
    from.reserved(2);
    if (channels > mostChannels || message.length != auditAnswerLength + 2 * channels) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < channels; ++i) {
        answer.in.push_back(pathOf(from.byte()));
        answer.out.push_back(pathOf(from.byte()));
    }
    return answer;
}

std::optional<Order> decodeOrder(imc_msg const& message) {
    if (!isOne(message, Service::order, orderLength)) {
        return std::nullopt;
    }
    Reader from(message);
    Order order;
    order.dsp = from.byte();
    order.direction = static_cast<Direction>(from.byte());
    order.kind = static_cast<Order::Kind>(from.byte());
    order.value8 = from.byte();
    order.value32 = from.word();
    return order;
}

AuditAnswer audit(Board const& board, std::uint8_t asker) {
    AuditAnswer answer;
    for (unsigned dsp = 0; dsp < board.channels(); ++dsp) {
        Channel const& channel = board.channel(dsp);
        answer.in.push_back(stateOf(channel.in, channel.joined, asker));
        answer.out.push_back(stateOf(channel.out, channel.joined, asker));
    }
    return answer;
}

} // namespace dsp
