#include "dsp/ChannelBank.h"

#include <stdexcept>
#include <string>

namespace dsp {

namespace {

bool isOpen(Path const& path) {
    return path.voiceOpen || path.faxOpen;
}

bool isOpen(Channel const& channel) {
    return isOpen(channel.in) || isOpen(channel.out);
}

template <typename VoiceCommand>
void setRemote(Path& path, VoiceCommand const& command) {
    path.remoteAddress = command.remoteAddress;
    path.remoteRtpPort = command.remoteRtpPort;
    path.remoteRtcpPort = command.remoteRtcpPort;
    path.dtmfPayloadType = command.dtmfPayloadType;
    path.redundancyPayloadType = command.redundancyPayloadType;
}

/** What was closed leaves nothing behind for the next call that gets the channel. */
void tidy(Channel& channel) {
    for (Path* const path : {&channel.in, &channel.out}) {
        if (!isOpen(*path)) {
            *path = Path();
        }
    }
    if (!isOpen(channel)) {
        channel = Channel();
    }
}

} // namespace

ChannelBank::ChannelBank(unsigned channelCount, std::uint16_t firstPort) : ports(firstPort) {
    if (channelCount == 0 || channelCount > 256) {
        throw std::invalid_argument("a board has 1 to 256 channels, not " +
                                    std::to_string(channelCount));
    }
    channels.resize(channelCount);
}

Channel const& ChannelBank::at(unsigned dsp) const {
    if (dsp >= channels.size()) {
        throw std::out_of_range("the board has no DSP channel " + std::to_string(dsp) +
                                ": it has " + std::to_string(channels.size()) +
                                ", numbered from 0");
    }
    return channels[dsp];
}

Outcome ChannelBank::apply(Command const& command, std::uint8_t sender) {
    client = sender;
    return std::visit([this](auto const& any) { return carryOut(any); }, command);
}

template <typename Directed>
Path& ChannelBank::pathOf(Directed const& command) {
    Channel& channel = channels.at(command.dsp);
    return command.direction == Direction::in ? channel.in : channel.out;
}

Outcome ChannelBank::carryOut(OpenVoice const& command) {
    Path& path = pathOf(command);
    if (path.voiceOpen) {
        return refused(Cause::alreadyOpen, "voice");
    }
    auto const port = ports.take();
    if (!port) {
        return refused(Cause::noPortLeft, "voice");
    }
    path.voiceOpen = true;
    path.voiceOpener = client;
    path.localRtpPort = *port;
    path.codec = command.codec;
    path.faxProtocol = command.faxProtocol;
    setRemote(path, command);
    return Done{*port};
}

Outcome ChannelBank::carryOut(UpdateVoice const& command) {
    Path& path = pathOf(command);
    if (!path.voiceOpen) {
        return refused(Cause::notOpen, "voice");
    }
    setRemote(path, command);
    return Done{};
}

Outcome ChannelBank::carryOut(CloseVoice const& command) {
    Path& path = pathOf(command);
    if (!path.voiceOpen) {
        return refused(Cause::notOpen, "voice");
    }
    ports.release(path.localRtpPort);
    path.voiceOpen = false;
    path.voiceOpener = 0;
    path.localRtpPort = 0;
    tidy(channels.at(command.dsp));
    return Done{};
}

Outcome ChannelBank::carryOut(SetSilenceCompression const& command) {
    channels.at(command.dsp).silenceCompression = command.on != 0;
    return Done{};
}

Outcome ChannelBank::carryOut(SetDigitDetection const& command) {
    channels.at(command.dsp).digitDetection = command.mode;
    return Done{};
}

Outcome ChannelBank::carryOut(SetPacketLength const& command) {
    Channel& channel = channels.at(command.dsp);
    channel.minPacketLength = command.minimum;
    channel.maxPacketLength = command.maximum;
    return Done{};
}

Outcome ChannelBank::carryOut(SetFaxDetection const& command) {
    channels.at(command.dsp).faxDetection = command.mode;
    return Done{};
}

Outcome ChannelBank::carryOut(SetUnknown const& command) {
    return refused(Cause::unknownParameter, "code " + std::to_string(command.code));
}

Outcome ChannelBank::carryOut(OpenFax const& command) {
    Path& path = pathOf(command);
    if (path.faxOpen) {
        return refused(Cause::alreadyOpen, "fax");
    }
    auto const port = ports.take();
    if (!port) {
        return refused(Cause::noPortLeft, "fax");
    }
    path.faxOpen = true;
    path.faxOpener = client;
    path.localFaxPort = *port;
    path.faxProtocol = command.protocol;
    return Done{*port};
}

Outcome ChannelBank::carryOut(CloseFax const& command) {
    Path& path = pathOf(command);
    if (!path.faxOpen) {
        return refused(Cause::notOpen, "fax");
    }
    ports.release(path.localFaxPort);
    path.faxOpen = false;
    path.faxOpener = 0;
    path.localFaxPort = 0;
    tidy(channels.at(command.dsp));
    return Done{};
}

Outcome ChannelBank::carryOut(Join const& command) {
    Channel& channel = channels.at(command.dsp);
    if (!isOpen(channel)) {
        return refused(Cause::notOpen, "nothing to join");
    }
    if (channel.joined) {
        return refused(Cause::alreadyJoined, "to dsp " + std::to_string(channel.joinedDsp));
    }
    bool const isLocal = command.otherBoard == 0;
    if (isLocal && !isOpen(channels.at(command.peerDsp))) {
        return refused(Cause::notOpen, "peer dsp " + std::to_string(command.peerDsp));
    }
    channel.joined = true;
    channel.joinedDsp = command.peerDsp;
    channel.joinedRemote = !isLocal;
    return Done{};
}

Outcome ChannelBank::carryOut(Unjoin const& command) {
    Channel& channel = channels.at(command.dsp);
    if (!channel.joined) {
        return refused(Cause::notJoined, "");
    }
    channel.joined = false;
    channel.joinedDsp = 0;
    channel.joinedRemote = false;
    return Done{};
}

} // namespace dsp
