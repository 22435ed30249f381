#include "tests/soak/BoardModel.h"

namespace soak {

namespace {

struct Kind {
    std::uint32_t identifier;
    char const* name;
    bool isAcknowledged;
    bool opensPath;
};

constexpr std::array<Kind, kindCount> kinds = {{
    {100, "OpenVoice in", true, true},
    {104, "OpenVoice out", true, true},
    {102, "CloseVoice in", true, false},
    {106, "CloseVoice out", true, false},
    {132, "UpdateVoice in", false, false},
    {133, "UpdateVoice out", false, false},
    {108, "SetParameter", false, false},
    {115, "OpenFax in", true, true},
    {119, "OpenFax out", true, true},
    {117, "CloseFax in", true, false},
    {121, "CloseFax out", true, false},
    {124, "Join", false, false},
    {125, "Unjoin", false, false},
}};

/** A refusal and the error that goes with it; that of a requested one was asked for. */
struct RefusalText {
    char const* name;
    std::uint8_t error;
};

/** In the order of Refusal. */
constexpr std::array<RefusalText, refusalCount + 1> refusals = {{
    {"", 0},
    {"no such channel", 1},
    {"bad parameter", 4},
    {"already open", 2},
    {"not open", 3},
    {"already joined", 2},
    {"not joined", 3},
    {"on request", 0},
}};

std::size_t kindOf(imc_msg const& command) {
    std::size_t kind = 0;
    while (kinds.at(kind).identifier != command.messageId) {
        ++kind;
    }
    return kind;
}

} // namespace

BoardModel::BoardModel(unsigned channelCount) : channels(channelCount) {}

void BoardModel::restart() {
    for (Channel& channel : channels) {
        channel = Channel();
    }
    taken.fill(0);
    refused.fill(0);
}

Expected BoardModel::receive(imc_msg const& command) {
    std::size_t const number = kindOf(command);
    Kind const& kind = kinds.at(number);
    std::uint8_t const dsp = command.payload[0];
    Refusal refusal = none;
    requested = 0;
    if (dsp >= channels.size()) {
        refusal = noSuchChannel;
    } else if (kind.isAcknowledged && channels[dsp].nextError != 0) {
        requested = channels[dsp].nextError;
        channels[dsp].nextError = 0;
        refusal = onRequest;
    } else {
        refusal = apply(command);
    }
    if (refusal != none) {
        ++refused.at(refusal);
        std::uint8_t const error = refusal == onRequest ? requested : refusals.at(refusal).error;
        return {false, kind.isAcknowledged, error, false};
    }
    ++taken.at(number);
    return {true, kind.isAcknowledged, 0, kind.opensPath};
}

BoardModel::Refusal BoardModel::apply(imc_msg const& command) {
    Channel& channel = channels[command.payload[0]];
    switch (command.messageId) {
    case 100:
        return set(channel, channel.voice[0], true);
    case 104:
        return set(channel, channel.voice[1], true);
    case 102:
        return set(channel, channel.voice[0], false);
    case 106:
        return set(channel, channel.voice[1], false);
    case 132:
        return channel.voice[0] ? none : notOpen;
    case 133:
        return channel.voice[1] ? none : notOpen;
    case 115:
        return openFax(channel, 0, command);
    case 119:
        return openFax(channel, 1, command);
    case 117:
        return set(channel, channel.fax[0], false);
    case 121:
        return set(channel, channel.fax[1], false);
    case 124:
        return join(channel, command);
    case 125:
        if (!channel.joined) {
            return notJoined;
        }
        channel.joined = false;
        return none;
    default:
        // What the client sets as a feature, every board takes.
        return none;
    }
}

BoardModel::Refusal BoardModel::set(Channel& channel, bool& path, bool open) {
    if (path == open) {
        return open ? alreadyOpen : notOpen;
    }
    path = open;
    channel.joined = channel.joined && channel.isOpen();
    return none;
}

BoardModel::Refusal BoardModel::openFax(Channel& channel, std::size_t side,
                                        imc_msg const& command) {
    bool const isKnownSignal = command.payload[10] <= 2;
    return isKnownSignal ? set(channel, channel.fax.at(side), true) : badParameter;
}

BoardModel::Refusal BoardModel::join(Channel& channel, imc_msg const& command) {
    bool const isLocal = command.payload[2] == 0;
    std::uint8_t const peer = command.payload[1];
    if (isLocal && (peer == command.payload[0] || peer >= channels.size())) {
        return badParameter;
    }
    if (!channel.isOpen()) {
        return notOpen;
    }
    if (channel.joined) {
        return alreadyJoined;
    }
    if (isLocal && !channels[peer].isOpen()) {
        return notOpen;
    }
    channel.joined = true;
    return none;
}

std::map<std::string, std::uint64_t> BoardModel::counters() const {
    std::map<std::string, std::uint64_t> result;
    for (std::size_t i = 0; i < kindCount; ++i) {
        if (taken.at(i) != 0) {
            result.emplace(std::string("taken: ") + kinds.at(i).name, taken.at(i));
        }
    }
    for (std::size_t i = 1; i <= refusalCount; ++i) {
        if (refused.at(i) != 0) {
            result.emplace(std::string("refused: ") + refusals.at(i).name, refused.at(i));
        }
    }
    return result;
}

} // namespace soak
