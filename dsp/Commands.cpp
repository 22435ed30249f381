#include "dsp/Commands.h"

#include "dsp/Reader.h"

namespace dsp {

namespace {

/*
 * Open voice: 100 in, 104 out; 36 bytes
 *
 *    0      dsp
 *    1      codec type
 *    2      fax protocol, IP protocol number
 *    3      reserved
 *    4-19   remote address
 *   20-21   remote RTP port
 *   22-23   local RTP port
 *   24-25   remote RTCP port
 *   26      RTP tick request      reserved when out
 *   27-29   reserved
 *   30      voice parameter 2     reserved when out
 *   31      voice parameter 1     reserved when out
 *   32      RTP payload type of DTMF
 *   33      RTP payload type of redundancy
 *   34-35   reserved
 */
Command decodeOpenVoice(Reader& from, CommandKind const& kind) {
    OpenVoice command{};
    command.direction = *kind.direction;
    command.dsp = from.byte();
    command.codec = from.byte();
    command.faxProtocol = from.byte();
    from.reserved(1);
    command.remoteAddress = from.address();
    command.remoteRtpPort = from.half();
    command.localRtpPort = from.half();
    command.remoteRtcpPort = from.half();
    if (command.direction == Direction::in) {
        command.tickRequest = from.byte();
        from.reserved(3);
        command.voiceParam2 = from.byte();
        command.voiceParam1 = from.byte();
    } else {
        from.reserved(6);
    }
    command.dtmfPayloadType = from.byte();
    command.redundancyPayloadType = from.byte();
    return command;
}

/*
 * Update voice: 132 in, 133 out; 28 bytes
 *
 *    0      dsp
 *    1-3    reserved
 *    4-19   remote address
 *   20-21   remote RTP port
 *   22-23   local RTP port
 *   24-25   remote RTCP port
 *   26      RTP payload type of DTMF
 *   27      RTP payload type of redundancy
 */
Command decodeUpdateVoice(Reader& from, CommandKind const& kind) {
    UpdateVoice command{};
    command.direction = *kind.direction;
    command.dsp = from.byte();
    from.reserved(3);
    command.remoteAddress = from.address();
    command.remoteRtpPort = from.half();
    command.localRtpPort = from.half();
    command.remoteRtcpPort = from.half();
    command.dtmfPayloadType = from.byte();
    command.redundancyPayloadType = from.byte();
    return command;
}

/*
 * Close voice: 102 in, 106 out; 1 byte
 *
 *    0      dsp
 */
Command decodeCloseVoice(Reader& from, CommandKind const& kind) {
    return CloseVoice{*kind.direction, from.byte()};
}

/*
 * Set parameter: 108; 6 bytes
 *
 *    0      dsp
 *    1      parameter code
 *           2 SILENCE_COMPRESSION   3 DIGIT_DETECTION   4 PACKET_LENGTH   5 FAX_T38
 *    2      value                   value               minimum, high     mode
 *    3      reserved                reserved            minimum, low      reserved
 *    4      reserved                reserved            maximum, high     reserved
 *    5      reserved                reserved            maximum, low      reserved
 */
Command decodeSetParameter(Reader& from, CommandKind const&) {
    std::uint8_t const channel = from.byte();
    std::uint8_t const code = from.byte();
    if (code == 4) {
        std::uint16_t const minimum = from.half();
        return SetPacketLength{channel, minimum, from.half()};
    }
    if (code < 2 || code > 5) {
        return SetUnknown{channel, code, from.word()};
    }
    std::uint8_t const value = from.byte();
    if (code == 2) {
        return SetSilenceCompression{channel, value};
    }
    if (code == 3) {
        return SetDigitDetection{channel, value};
    }
    return SetFaxDetection{channel, value};
}

/*
 * Open fax: 115 in, 119 out; 12 bytes
 *
 *    0      dsp
 *    1      fax protocol, IP protocol number
 *    2      depth                 reserved when in, and so is the rest
 *    3      redundancy
 *    4-7    remote IPv4 address
 *    8-9    remote port
 *   10      no-signal setting
 *   11      send CED
 */
Command decodeOpenFax(Reader& from, CommandKind const& kind) {
    OpenFax command{};
    command.direction = *kind.direction;
    command.dsp = from.byte();
    command.protocol = from.byte();
    if (command.direction == Direction::in) {
        return command;
    }
    command.depth = from.byte();
    command.redundancy = from.byte();
    command.remoteIpv4 = from.word();
    command.remotePort = from.half();
    command.noSignal = from.byte();
    command.ced = from.byte();
    return command;
}

/*
 * Close fax: 117 in, 121 out; 1 byte
 *
 *    0      dsp
 */
Command decodeCloseFax(Reader& from, CommandKind const& kind) {
    return CloseFax{*kind.direction, from.byte()};
}

/*
 * Join: 124; 20 bytes
 *
 *    0      dsp
 *    1      peer dsp
 *    2      1 when the peer is on another board, 0 when it is on this one
 *    3      reserved
 *    4-19   address of the peer's board
 */
Command decodeJoin(Reader& from, CommandKind const&) {
    Join command{};
    command.dsp = from.byte();
    command.peerDsp = from.byte();
    command.otherBoard = from.byte();
    from.reserved(1);
    command.peerBoard = from.address();
    return command;
}

/*
 * Unjoin: 125; 1 byte
 *
 *    0      dsp
 */
Command decodeUnjoin(Reader& from, CommandKind const&) {
    return Unjoin{from.byte()};
}

} // namespace

std::vector<CommandKind> const& commandKinds() {
    static std::vector<CommandKind> const kinds = {
        {{100, "OpenVoice", Direction::in, 36}, true, decodeOpenVoice},
        {{104, "OpenVoice", Direction::out, 36}, true, decodeOpenVoice},
        {{102, "CloseVoice", Direction::in, 1}, true, decodeCloseVoice},
        {{106, "CloseVoice", Direction::out, 1}, true, decodeCloseVoice},
        {{132, "UpdateVoice", Direction::in, 28}, false, decodeUpdateVoice},
        {{133, "UpdateVoice", Direction::out, 28}, false, decodeUpdateVoice},
        {{108, "SetParameter", std::nullopt, 6}, false, decodeSetParameter},
        {{115, "OpenFax", Direction::in, 12}, true, decodeOpenFax},
        {{119, "OpenFax", Direction::out, 12}, true, decodeOpenFax},
        {{117, "CloseFax", Direction::in, 1}, true, decodeCloseFax},
        {{121, "CloseFax", Direction::out, 1}, true, decodeCloseFax},
        {{124, "Join", std::nullopt, 20}, false, decodeJoin},
        {{125, "Unjoin", std::nullopt, 1}, false, decodeUnjoin},
    };
    return kinds;
}

CommandKind const* findCommand(std::uint32_t identifier) {
    return find(commandKinds(), identifier);
}

std::optional<DecodedCommand> decodeCommand(CommandKind const& kind, imc_msg const& message) {
    if (message.length != kind.length) {
        return std::nullopt;
    }
    Reader from(message);
    Command const command = kind.decode(from, kind);
    // Reserved bytes at the end of a layout, and everything behind the layout.
    from.reservedRest();
    return DecodedCommand{command, from.nonzeroReserved()};
}

std::uint8_t dspOf(Command const& command) {
    return std::visit([](auto const& any) { return any.dsp; }, command);
}

} // namespace dsp
