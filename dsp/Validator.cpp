#include "dsp/Validator.h"

namespace dsp {

namespace {

std::string unless(bool good, char const* field, unsigned value) {
    return good ? std::string() : field + (" " + std::to_string(value));
}

std::string badFaxProtocol(unsigned protocol) {
    return unless(protocol == 17 || protocol == 6, "fax protocol", protocol);
}

/** One overload per command that has something to check. */
class Validator {
public:
    explicit Validator(unsigned channelCount) : channels(channelCount) {}

    std::string operator()(OpenVoice const& command) const {
        unsigned const codec = command.codec;
        bool const known = codec == 0 || codec == 1 || codec == 3 || codec == 4;
        return known ? badFaxProtocol(command.faxProtocol) : unless(false, "codec", codec);
    }

    std::string operator()(SetSilenceCompression const& command) const {
        return unless(command.on <= 1, "silence compression", command.on);
    }

    std::string operator()(SetDigitDetection const& command) const {
        return unless(command.mode <= 2, "digit detection", command.mode);
    }

    std::string operator()(SetPacketLength const& command) const {
        if (command.minimum == 0) {
            return unless(false, "minimum packet length", 0);
        }
        return unless(command.minimum <= command.maximum,
                      "maximum packet length below the minimum:", command.maximum);
    }

    std::string operator()(SetFaxDetection const& command) const {
        bool const known = command.mode == 0 || command.mode == 2 || command.mode == 3;
        return unless(known, "fax detection", command.mode);
    }

    std::string operator()(OpenFax const& command) const {
        if (command.noSignal > 2) {
            return unless(false, "no-signal setting", command.noSignal);
        }
        if (command.ced > 1) {
            return unless(false, "CED setting", command.ced);
        }
        return badFaxProtocol(command.protocol);
    }

    std::string operator()(Join const& command) const {
        if (command.otherBoard > 1) {
            return unless(false, "join flag", command.otherBoard);
        }
        bool const isLocal = command.otherBoard == 0;
        if (isLocal && command.peerDsp == command.dsp) {
            return unless(false, "join with itself: dsp", command.peerDsp);
        }
        bool const exists = !isLocal || command.peerDsp < channels;
        return unless(exists, "peer not on this board: dsp", command.peerDsp);
    }

    std::string operator()(UpdateVoice const&) const { return {}; }
    std::string operator()(CloseVoice const&) const { return {}; }
    /** Its code is refused for a cause of its own. */
    std::string operator()(SetUnknown const&) const { return {}; }
    std::string operator()(CloseFax const&) const { return {}; }
    std::string operator()(Unjoin const&) const { return {}; }

private:
    unsigned channels;
};

} // namespace

std::string findBadValue(Command const& command, unsigned channels) {
    return std::visit(Validator(channels), command);
}

} // namespace dsp
