#include "dsp/Board.h"
#include "dsp/Cause.h"
#include "dsp/Commands.h"
#include "dsp/Events.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>

namespace dsp {

namespace {

/** More of a payload that can't be read as fields does not help a person. */
std::size_t const longestDump = 36;

using List = std::vector<Field>;

Field field(char const* name, std::string const& value) {
    return {name, value};
}

Field field(char const* name, unsigned value) {
    return field(name, std::to_string(value));
}

void append(List& list, List const& more) {
    list.insert(list.end(), more.begin(), more.end());
}

std::string hexadecimal(std::uint8_t byte) {
    static char const digits[] = "0123456789abcdef";
    return {digits[byte >> 4U], digits[byte & 0xFU]};
}

std::string ipv4(std::uint8_t const* bytes) {
    return std::to_string(bytes[0]) + "." + std::to_string(bytes[1]) + "." +
           std::to_string(bytes[2]) + "." + std::to_string(bytes[3]);
}

/** An address, in brackets when it has colons of its own. */
std::string addressText(Address const& address) {
    Address mapped{};
    mapped[10] = mapped[11] = 0xFF;
    if (std::equal(address.begin(), address.begin() + 12, mapped.begin())) {
        return ipv4(address.data() + 12);
    }
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(AF_INET6, address.data(), text, sizeof text);
    return std::string("[") + text + "]";
}

std::string addressText(std::uint32_t address) {
    std::uint8_t const bytes[] = {
        static_cast<std::uint8_t>(address >> 24U), static_cast<std::uint8_t>(address >> 16U),
        static_cast<std::uint8_t>(address >> 8U), static_cast<std::uint8_t>(address)};
    return ipv4(bytes);
}

template <typename SomeAddress>
Field remote(SomeAddress const& address, unsigned port) {
    return field("remote", addressText(address) + ":" + std::to_string(port));
}

Field protocol(char const* name, unsigned number) {
    return field(name, number == 17 ? "UDP" : number == 6 ? "TCP" : std::to_string(number));
}

template <typename VoiceCommand>
List remoteAndLocal(VoiceCommand const& command) {
    return {remote(command.remoteAddress, command.remoteRtpPort),
            field("remoteRtcp", command.remoteRtcpPort), field("local", command.localRtpPort)};
}

template <typename VoiceCommand>
List payloadTypes(VoiceCommand const& command) {
    return {field("dtmfPt", command.dtmfPayloadType),
            field("redundancyPt", command.redundancyPayloadType)};
}

/** The fields of a command or event behind its DSP number; one overload per type. */
struct FieldsOf {
    List operator()(OpenVoice const& command) const {
        List list = {field("codec", command.codec), protocol("fax", command.faxProtocol)};
        append(list, remoteAndLocal(command));
        if (command.direction == Direction::in) {
            append(list, {field("tick", command.tickRequest), field("param1", command.voiceParam1),
                          field("param2", command.voiceParam2)});
        }
        append(list, payloadTypes(command));
        return list;
    }

    List operator()(UpdateVoice const& command) const {
        List list = remoteAndLocal(command);
        append(list, payloadTypes(command));
        return list;
    }

    List operator()(SetSilenceCompression const& command) const {
        return {field("SILENCE_COMPRESSION", command.on)};
    }

    List operator()(SetDigitDetection const& command) const {
        return {field("DIGIT_DETECTION", command.mode)};
    }

    List operator()(SetPacketLength const& command) const {
        return {field("PACKET_LENGTH",
                      std::to_string(command.minimum) + ".." + std::to_string(command.maximum))};
    }

    List operator()(SetFaxDetection const& command) const {
        return {field("FAX_T38", command.mode)};
    }

    List operator()(SetUnknown const& command) const {
        return {field("code", command.code), field("value", std::to_string(command.value))};
    }

    List operator()(OpenFax const& command) const {
        List list = {protocol("protocol", command.protocol)};
        if (command.direction == Direction::out) {
            append(list, {remote(command.remoteIpv4, command.remotePort),
                          field("redundancy", command.redundancy), field("depth", command.depth),
                          field("noSignal", command.noSignal), field("ced", command.ced)});
        }
        return list;
    }

    List operator()(Join const& command) const {
        return {field("peer", command.peerDsp), field("board", addressText(command.peerBoard)),
                field("otherBoard", command.otherBoard)};
    }

    List operator()(CloseVoice const&) const { return {}; }
    List operator()(CloseFax const&) const { return {}; }
    List operator()(Unjoin const&) const { return {}; }

    List operator()(Acknowledge const& event) const {
        Field error = field("error", event.error);
        char const* const name = errorName(event.error);
        if (event.error != 0 && name != nullptr) {
            error.remark = name;
        }
        return {error, field("port", event.localPort)};
    }

    List operator()(Dtmf const& event) const {
        return {field("digit", event.digit),
                field("duration", std::to_string(event.milliseconds) + "ms")};
    }

    List operator()(Alert const& event) const {
        return {field("value", std::to_string(event.value))};
    }

    List operator()(FaxTone const&) const { return {}; }
};

template <typename Message>
List fieldsOf(Message const& message) {
    return std::visit(
        [](auto const& any) {
            List list = {field("dsp", any.dsp)};
            append(list, FieldsOf()(any));
            return list;
        },
        message);
}

std::string payloadText(imc_msg const& message) {
    std::size_t const shown = std::min<std::size_t>(message.length, longestDump);
    std::string text = " length=" + std::to_string(message.length) + " payload:";
    std::for_each(message.payload, message.payload + shown,
                  [&text](std::uint8_t byte) { text += " " + hexadecimal(byte); });
    return shown < message.length ? text + " ..." : text;
}

Description malformed(Kind const& kind, imc_msg const& message) {
    return {title(kind) + " malformed",
            {},
            ": length is not " + std::to_string(kind.length) + ":" + payloadText(message)};
}

Description commandFields(CommandKind const& kind, imc_msg const& message) {
    auto const decoded = decodeCommand(kind, message);
    if (!decoded) {
        return malformed(kind, message);
    }
    Description description = {title(kind), fieldsOf(decoded->command)};
    if (decoded->nonzeroReserved) {
        description.remark =
            " (byte " + std::to_string(*decoded->nonzeroReserved) + " is not zero)";
    }
    return description;
}

} // namespace

Description fields(imc_msg const& message) {
    if (CommandKind const* const kind = findCommand(message.messageId)) {
        return commandFields(*kind, message);
    }
    if (Kind const* const kind = findEvent(message.messageId)) {
        auto const event = decodeEvent(message);
        return event ? Description{title(*kind), fieldsOf(*event)} : malformed(*kind, message);
    }
    return {"unknown message " + std::to_string(std::uint32_t{message.messageId}),
            {},
            ":" + payloadText(message)};
}

std::string textOf(std::vector<Field> const& list) {
    std::string text;
    for (Field const& each : list) {
        text += " " + each.name + "=" + each.value;
        text += each.remark.empty() ? "" : "(" + each.remark + ")";
    }
    return text;
}

std::string describe(imc_msg const& message) {
    Description const description = fields(message);
    return description.name + textOf(description.fields) + description.remark;
}

} // namespace dsp
