#ifndef DSP_CHANNELBANK_H
#define DSP_CHANNELBANK_H

#include "dsp/Board.h"
#include "dsp/Cause.h"
#include "dsp/Commands.h"
#include "dsp/PortPool.h"

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace dsp {

/** A command was carried out. */
struct Done {
    /** The local port that it opened, otherwise 0. */
    std::uint16_t localPort = 0;
};

/** A command was not carried out, and nothing has changed. */
struct Refused {
    Cause cause;
    Error error;
    /** What exactly was wrong, for a person; may be empty. */
    std::string detail;
};

/** @return the refusal with the error that goes with its cause */
inline Refused refused(Cause cause, std::string detail) {
    return {cause, errorOf(cause), std::move(detail)};
}

using Outcome = std::variant<Done, Refused>;

/** The DSP channels of a board, and what each command does to them. */
class ChannelBank {
public:
    /** @throw std::invalid_argument when there is no channel, more than 256, or no port */
    ChannelBank(unsigned channelCount, std::uint16_t firstPort);

    unsigned size() const { return static_cast<unsigned>(channels.size()); }

    /** @throw std::out_of_range when there is no such channel */
    Channel const& at(unsigned dsp) const;

    /**
     * Carries out a command whose channel exists and whose values are good, or refuses it.
     * @param sender IMC address of the client
     */
    Outcome apply(Command const& command, std::uint8_t sender);

private:
    Outcome carryOut(OpenVoice const& command);
    Outcome carryOut(UpdateVoice const& command);
    Outcome carryOut(CloseVoice const& command);
    Outcome carryOut(SetSilenceCompression const& command);
    Outcome carryOut(SetDigitDetection const& command);
    Outcome carryOut(SetPacketLength const& command);
    Outcome carryOut(SetFaxDetection const& command);
    Outcome carryOut(SetUnknown const& command);
    Outcome carryOut(OpenFax const& command);
    Outcome carryOut(CloseFax const& command);
    Outcome carryOut(Join const& command);
    Outcome carryOut(Unjoin const& command);

    template <typename Directed>
    Path& pathOf(Directed const& command);

    std::vector<Channel> channels;
    /** Of the command that is carried out. */
    std::uint8_t client = 0;
    PortPool ports;
};

} // namespace dsp

#endif
