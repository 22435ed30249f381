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

std::string field(char const* name, std::string const& value) {
    return std::string(" ") + name + "=" + value;
}

std::string field(char const* name, unsigned value) {
    return field(name, std::to_string(value));
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
std::string remote(SomeAddress const& address, unsigned port) {
    return field("remote", addressText(address) + ":" + std::to_string(port));
}

std::string protocol(char const* name, unsigned number) {
    return field(name, number == 17 ? "UDP" : number == 6 ? "TCP" : std::to_string(number));
}

template <typename VoiceCommand>
std::string remoteAndLocal(VoiceCommand const& command) {
    return remote(command.remoteAddress, command.remoteRtpPort) +
           field("remoteRtcp", command.remoteRtcpPort) + field("local", command.localRtpPort);
}

template <typename VoiceCommand>
std::string payloadTypes(VoiceCommand const& command) {
    return field("dtmfPt", command.dtmfPayloadType) +
           field("redundancyPt", command.redundancyPayloadType);
}

/** The fields of a command or event behind its DSP number; one overload per type. */
struct Fields {
    std::string operator()(OpenVoice const& command) const {
        std::string text = field("codec", command.codec) + protocol("fax", command.faxProtocol) +
                           remoteAndLocal(command);
        if (command.direction == Direction::in) {
            text += field("tick", command.tickRequest) + field("param1", command.voiceParam1) +
                    field("param2", command.voiceParam2);
        }
        return text + payloadTypes(command);
    }

    std::string operator()(UpdateVoice const& command) const {
        return remoteAndLocal(command) + payloadTypes(command);
    }

    std::string operator()(SetSilenceCompression const& command) const {
        return field("SILENCE_COMPRESSION", command.on);
    }

    std::string operator()(SetDigitDetection const& command) const {
        return field("DIGIT_DETECTION", command.mode);
    }

    std::string operator()(SetPacketLength const& command) const {
        return field("PACKET_LENGTH",
                     std::to_string(command.minimum) + ".." + std::to_string(command.maximum));
    }

    std::string operator()(SetFaxDetection const& command) const {
        return field("FAX_T38", command.mode);
    }

    std::string operator()(SetUnknown const& command) const {
        return field("code", command.code) + field("value", std::to_string(command.value));
    }

    std::string operator()(OpenFax const& command) const {
        std::string text = protocol("protocol", command.protocol);
        if (command.direction == Direction::out) {
            text += remote(command.remoteIpv4, command.remotePort) +
                    field("redundancy", command.redundancy) + field("depth", command.depth) +
                    field("noSignal", command.noSignal) + field("ced", command.ced);
        }
        return text;
    }

    std::string operator()(Join const& command) const {
        return field("peer", command.peerDsp) + field("board", addressText(command.peerBoard)) +
               field("otherBoard", command.otherBoard);
    }

    std::string operator()(CloseVoice const&) const { return {}; }
    std::string operator()(CloseFax const&) const { return {}; }
    std::string operator()(Unjoin const&) const { return {}; }

    std::string operator()(Acknowledge const& event) const {
        std::string error = std::to_string(event.error);
        char const* const name = errorName(event.error);
        if (event.error != 0 && name != nullptr) {
            error += std::string("(") + name + ")";
        }
        return field("error", error) + field("port", event.localPort);
    }

    std::string operator()(Dtmf const& event) const {
        return field("digit", event.digit) +
               field("duration", std::to_string(event.milliseconds) + "ms");
    }

    std::string operator()(Alert const& event) const {
        return field("value", std::to_string(event.value));
    }

    std::string operator()(FaxTone const&) const { return {}; }
};

template <typename Message>
std::string fieldsOf(Message const& message) {
    return std::visit([](auto const& any) { return field("dsp", any.dsp) + Fields()(any); },
                      message);
}

std::string payloadText(imc_msg const& message) {
    std::size_t const shown = std::min<std::size_t>(message.length, longestDump);
    std::string text = field("length", message.length);
    text += " payload:";
    std::for_each(message.payload, message.payload + shown,
                  [&text](std::uint8_t byte) { text += " " + hexadecimal(byte); });
    return shown < message.length ? text + " ..." : text;
}

std::string malformed(Kind const& kind, imc_msg const& message) {
    return title(kind) + " malformed: length is not " + std::to_string(kind.length) + ":" +
           payloadText(message);
}

std::string describeCommand(CommandKind const& kind, imc_msg const& message) {
    auto const decoded = decodeCommand(kind, message);
    if (!decoded) {
        return malformed(kind, message);
    }
    std::string text = title(kind) + fieldsOf(decoded->command);
    if (decoded->nonzeroReserved) {
        text += " (byte " + std::to_string(*decoded->nonzeroReserved) + " is not zero)";
    }
    return text;
}

} // namespace

std::string describe(imc_msg const& message) {
    if (CommandKind const* const kind = findCommand(message.messageId)) {
        return describeCommand(*kind, message);
    }
    if (Kind const* const kind = findEvent(message.messageId)) {
        auto const event = decodeEvent(message);
        return event ? title(*kind) + fieldsOf(*event) : malformed(*kind, message);
    }
    return "unknown message " + std::to_string(std::uint32_t{message.messageId}) + ":" +
           payloadText(message);
}

} // namespace dsp
