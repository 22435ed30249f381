#ifndef DSP_COMMANDS_H
#define DSP_COMMANDS_H

#include "dsp/Kind.h"
#include "imc/imc_msg.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <variant>
#include <vector>

namespace dsp {

/*
 * Commands, one type per payload layout. The values are as they were received: a decoded command
 * has the right length, nothing else of it has been checked.
 */

struct OpenVoice {
    Direction direction;
    std::uint8_t dsp;
    std::uint8_t codec;
    std::uint8_t faxProtocol;
    Address remoteAddress;
    std::uint16_t remoteRtpPort;
    std::uint16_t localRtpPort;
    std::uint16_t remoteRtcpPort;
    /** These three belong to direction in only, and are 0 otherwise. */
    std::uint8_t tickRequest;
    std::uint8_t voiceParam1;
    std::uint8_t voiceParam2;
    std::uint8_t dtmfPayloadType;
    std::uint8_t redundancyPayloadType;
};

struct UpdateVoice {
    Direction direction;
    std::uint8_t dsp;
    Address remoteAddress;
    std::uint16_t remoteRtpPort;
    std::uint16_t localRtpPort;
    std::uint16_t remoteRtcpPort;
    std::uint8_t dtmfPayloadType;
    std::uint8_t redundancyPayloadType;
};

struct CloseVoice {
    Direction direction;
    std::uint8_t dsp;
};

struct SetSilenceCompression {
    std::uint8_t dsp;
    std::uint8_t on;
};

struct SetDigitDetection {
    std::uint8_t dsp;
    std::uint8_t mode;
};

struct SetPacketLength {
    std::uint8_t dsp;
    std::uint16_t minimum;
    std::uint16_t maximum;
};

struct SetFaxDetection {
    std::uint8_t dsp;
    std::uint8_t mode;
};

/** Set-parameter with a code that the board does not know. */
struct SetUnknown {
    std::uint8_t dsp;
    std::uint8_t code;
    std::uint32_t value;
};

struct OpenFax {
    Direction direction;
    std::uint8_t dsp;
    std::uint8_t protocol;
    /** The rest belongs to direction out only, and is 0 otherwise. */
    std::uint8_t depth;
    std::uint8_t redundancy;
    std::uint32_t remoteIpv4;
    std::uint16_t remotePort;
    std::uint8_t noSignal;
    std::uint8_t ced;
};

struct CloseFax {
    Direction direction;
    std::uint8_t dsp;
};

struct Join {
    std::uint8_t dsp;
    std::uint8_t peerDsp;
    /** 1 when the peer is on another board, 0 when it is on this one. */
    std::uint8_t otherBoard;
    Address peerBoard;
};

struct Unjoin {
    std::uint8_t dsp;
};

using Command =
    std::variant<OpenVoice, UpdateVoice, CloseVoice, SetSilenceCompression, SetDigitDetection,
                 SetPacketLength, SetFaxDetection, SetUnknown, OpenFax, CloseFax, Join, Unjoin>;

class Reader;

struct CommandKind : Kind {
    CommandKind(Kind const& what, bool isAcknowledged,
                Command (*decoder)(Reader&, CommandKind const&))
        : Kind(what), acknowledged(isAcknowledged), decode(decoder) {}

    /** Answered by an event whose identifier is one higher. */
    bool acknowledged;
    Command (*decode)(Reader& from, CommandKind const& kind);
};

/** Every command there is, each identifier once. */
std::vector<CommandKind> const& commandKinds();

/** @return null when no command has the identifier */
CommandKind const* findCommand(std::uint32_t identifier);

struct DecodedCommand {
    Command command;
    /** Offset in the record of the first byte that should be zero and is not. */
    std::optional<std::size_t> nonzeroReserved;
};

/** @return nothing when the payload length is not exactly that of the kind */
std::optional<DecodedCommand> decodeCommand(CommandKind const& kind, imc_msg const& message);

/** Number of the DSP channel that the command is for. */
std::uint8_t dspOf(Command const& command);

} // namespace dsp

#endif
