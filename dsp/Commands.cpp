#include "dsp/Commands.h"

#include "dsp/Layouts.h"
#include "dsp/Reader.h"

namespace dsp {

namespace {

template <typename Message>
Command decode(Reader& from, CommandKind const& kind) {
    return decodeAs<Message>(from, kind);
}

Command decodeSetParameter(Reader& from, CommandKind const& kind) {
    switch (from.parameterCode()) {
    case 2:
        return decodeAs<SetSilenceCompression>(from, kind);
    case 3:
        return decodeAs<SetDigitDetection>(from, kind);
    case 4:
        return decodeAs<SetPacketLength>(from, kind);
    case 5:
        return decodeAs<SetFaxDetection>(from, kind);
    default:
        return decodeAs<SetUnknown>(from, kind);
    }
}

} // namespace

std::vector<CommandKind> const& commandKinds() {
    static std::vector<CommandKind> const kinds = {
        {{100, "OpenVoice", Direction::in, 36}, true, decode<OpenVoice>},
        {{104, "OpenVoice", Direction::out, 36}, true, decode<OpenVoice>},
        {{102, "CloseVoice", Direction::in, 1}, true, decode<CloseVoice>},
        {{106, "CloseVoice", Direction::out, 1}, true, decode<CloseVoice>},
        {{132, "UpdateVoice", Direction::in, 28}, false, decode<UpdateVoice>},
        {{133, "UpdateVoice", Direction::out, 28}, false, decode<UpdateVoice>},
        {{108, "SetParameter", std::nullopt, 6}, false, decodeSetParameter},
        {{115, "OpenFax", Direction::in, 12}, true, decode<OpenFax>},
        {{119, "OpenFax", Direction::out, 12}, true, decode<OpenFax>},
        {{117, "CloseFax", Direction::in, 1}, true, decode<CloseFax>},
        {{121, "CloseFax", Direction::out, 1}, true, decode<CloseFax>},
        {{124, "Join", std::nullopt, 20}, false, decode<Join>},
        {{125, "Unjoin", std::nullopt, 1}, false, decode<Unjoin>},
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
