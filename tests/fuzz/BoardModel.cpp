#include "tests/fuzz/BoardModel.h"

#include "tests/fuzz/Check.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace fuzz {

namespace {

std::size_t half(imc_msg const& message, std::size_t offset) {
    return static_cast<std::size_t>(message.payload[offset] << 8 | message.payload[offset + 1]);
}

std::uint16_t port(imc_msg const& message, std::size_t offset) {
    return static_cast<std::uint16_t>(half(message, offset));
}

bool isOpen(dsp::Path const& path) {
    return path.voiceOpen || path.faxOpen;
}

bool isOpen(dsp::Channel const& channel) {
    return isOpen(channel.in) || isOpen(channel.out);
}

bool isOneOf(unsigned value, std::initializer_list<unsigned> values) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

/** Directions that have commands of their own. */
bool isOut(imc_msg const& message) {
    return isOneOf(message.messageId, {104, 106, 133, 119, 121});
}

/** The payload bytes of a set-parameter command depend on its code. */
std::string_view fieldsOf(imc_msg const& message, CommandLayout const& layout) {
    bool const isOneByte = layout.messageId == 108 && isOneOf(message.payload[1], {2, 3, 5});
    return isOneByte ? "dcv..." : layout.bytes;
}

bool hasNonzeroReserved(imc_msg const& message, CommandLayout const& layout) {
    std::string_view const fields = fieldsOf(message, layout);
    for (std::size_t i = 0; i < imc_msg::payloadSize; ++i) {
        bool const isField = i < fields.size() && fields[i] != '.';
        if (!isField && message.payload[i] != 0) {
            return true;
        }
    }
    return message.header0 != 0 || message.header3 != 0 || message.reserved != 0;
}

void requireSamePath(dsp::Path const& seen, dsp::Path const& expected) {
    requireEqual(seen.voiceOpen, expected.voiceOpen, "voiceOpen");
    requireEqual(seen.faxOpen, expected.faxOpen, "faxOpen");
    requireEqual(seen.localRtpPort, expected.localRtpPort, "localRtpPort");
    requireEqual(seen.localFaxPort, expected.localFaxPort, "localFaxPort");
    requireEqual(seen.codec, expected.codec, "codec");
    requireEqual(seen.faxProtocol, expected.faxProtocol, "faxProtocol");
    require(seen.remoteAddress == expected.remoteAddress, "remoteAddress");
    requireEqual(seen.remoteRtpPort, expected.remoteRtpPort, "remoteRtpPort");
    requireEqual(seen.remoteRtcpPort, expected.remoteRtcpPort, "remoteRtcpPort");
    requireEqual(seen.dtmfPayloadType, expected.dtmfPayloadType, "dtmfPayloadType");
    requireEqual(seen.redundancyPayloadType, expected.redundancyPayloadType,
                 "redundancyPayloadType");
}

void requireSameChannel(dsp::Channel const& seen, dsp::Channel const& expected) {
    requireSamePath(seen.in, expected.in);
    requireSamePath(seen.out, expected.out);
    requireEqual(seen.silenceCompression, expected.silenceCompression, "silenceCompression");
    requireEqual(seen.digitDetection, expected.digitDetection, "digitDetection");
    requireEqual(seen.minPacketLength, expected.minPacketLength, "minPacketLength");
    requireEqual(seen.maxPacketLength, expected.maxPacketLength, "maxPacketLength");
    requireEqual(seen.faxDetection, expected.faxDetection, "faxDetection");
    requireEqual(seen.joined, expected.joined, "joined");
    requireEqual(seen.joinedDsp, expected.joinedDsp, "joinedDsp");
    requireEqual(seen.joinedRemote, expected.joinedRemote, "joinedRemote");
}

} // namespace

struct BoardModel::Refusal {
    /** Null when there is nothing to refuse. */
    char const* cause;
    std::uint8_t error;
};

std::vector<CommandLayout> const& commandLayouts() {
    // d dsp, c codec or code, f fax protocol, a address, r l s ports, t tick, v value, p payload
    // type
    static std::vector<CommandLayout> const layouts = {
        {100, 36, true, "OpenVoice in", "dcf.aaaaaaaaaaaaaaaarrllsst...vvpp.."},
        {104, 36, true, "OpenVoice out", "dcf.aaaaaaaaaaaaaaaarrllss......pp.."},
        {102, 1, true, "CloseVoice in", "d"},
        {106, 1, true, "CloseVoice out", "d"},
        {132, 28, false, "UpdateVoice in", "d...aaaaaaaaaaaaaaaarrllsspp"},
        {133, 28, false, "UpdateVoice out", "d...aaaaaaaaaaaaaaaarrllsspp"},
        {108, 6, false, "SetParameter", "dcvvvv"},
        {115, 12, true, "OpenFax in", "df.........."},
        {119, 12, true, "OpenFax out", "dfvvaaaarrvv"},
        {117, 1, true, "CloseFax in", "d"},
        {121, 1, true, "CloseFax out", "d"},
        {124, 20, false, "Join", "dpv.aaaaaaaaaaaaaaaa"},
        {125, 1, false, "Unjoin", "d"},
    };
    return layouts;
}

BoardModel::BoardModel(dsp::BoardOptions const& boardOptions)
    : client(boardOptions.client),
      nextError(boardOptions.channels),
      options(boardOptions),
      channels(boardOptions.channels) {}

dsp::Path& BoardModel::pathOf(imc_msg const& message) {
    return isOut(message) ? channelOf(message).out : channelOf(message).in;
}

dsp::Path const& BoardModel::pathOf(imc_msg const& message) const {
    return isOut(message) ? channelOf(message).out : channelOf(message).in;
}

/** Every open path holds an even port from the first one on. */
std::size_t BoardModel::portsLeft() const {
    std::size_t held = 0;
    for (dsp::Channel const& channel : channels) {
        for (dsp::Path const* const path : {&channel.in, &channel.out}) {
            held += (path->voiceOpen ? 1U : 0U) + (path->faxOpen ? 1U : 0U);
        }
    }
    return (65536U - options.firstPort) / 2 - held;
}

BoardModel::Refusal BoardModel::refusalOfOpen(imc_msg const& message, bool isFax) const {
    std::uint8_t const* const payload = message.payload;
    bool const isGoodFax =
        isOneOf(payload[1], {17, 6}) && (!isOut(message) || (payload[10] <= 2 && payload[11] <= 1));
    bool const isGoodVoice = isOneOf(payload[1], {0, 1, 3, 4}) && isOneOf(payload[2], {17, 6});
    if (!(isFax ? isGoodFax : isGoodVoice)) {
        return {"bad parameter", 4};
    }
    if (isFax ? pathOf(message).faxOpen : pathOf(message).voiceOpen) {
        return {"already open", 2};
    }
    return portsLeft() == 0 ? Refusal{"no port left", 5} : Refusal{nullptr, 0};
}

BoardModel::Refusal BoardModel::refusalOfParameter(imc_msg const& message) const {
    std::uint8_t const value = message.payload[2];
    bool isGood = false;
    switch (message.payload[1]) {
    case 2:
        isGood = value <= 1;
        break;
    case 3:
        isGood = value <= 2;
        break;
    case 4:
        isGood = half(message, 2) != 0 && half(message, 2) <= half(message, 4);
        break;
    case 5:
        isGood = isOneOf(value, {0, 2, 3});
        break;
    default:
        return {"unknown parameter", 4};
    }
    return isGood ? Refusal{nullptr, 0} : Refusal{"bad parameter", 4};
}

BoardModel::Refusal BoardModel::refusalOfJoin(imc_msg const& message) const {
    std::uint8_t const peer = message.payload[1];
    bool const isLocal = message.payload[2] == 0;
    if (message.payload[2] > 1 ||
        (isLocal && (peer == message.payload[0] || peer >= channels.size()))) {
        return {"bad parameter", 4};
    }
    if (!isOpen(channelOf(message))) {
        return {"not open", 3};
    }
    if (channelOf(message).joined) {
        return {"already joined", 2};
    }
    return isLocal && !isOpen(channels.at(peer)) ? Refusal{"not open", 3} : Refusal{nullptr, 0};
}

BoardModel::Refusal BoardModel::refusalOf(imc_msg const& message,
                                          CommandLayout const& layout) const {
    bool isOpenEnough = true;
    switch (layout.messageId) {
    case 100:
    case 104:
        return refusalOfOpen(message, false);
    case 115:
    case 119:
        return refusalOfOpen(message, true);
    case 108:
        return refusalOfParameter(message);
    case 124:
        return refusalOfJoin(message);
    case 125:
        return channelOf(message).joined ? Refusal{nullptr, 0} : Refusal{"not joined", 3};
    case 117:
    case 121:
        isOpenEnough = pathOf(message).faxOpen;
        break;
    default:
        isOpenEnough = pathOf(message).voiceOpen;
    }
    return isOpenEnough ? Refusal{nullptr, 0} : Refusal{"not open", 3};
}

void BoardModel::setVoice(imc_msg const& message, std::size_t payloadTypes) {
    dsp::Path& path = pathOf(message);
    std::copy_n(message.payload + 4, 16, path.remoteAddress.begin());
    path.remoteRtpPort = port(message, 20);
    path.remoteRtcpPort = port(message, 24);
    path.dtmfPayloadType = message.payload[payloadTypes];
    path.redundancyPayloadType = message.payload[payloadTypes + 1];
}

void BoardModel::setParameter(imc_msg const& message) {
    dsp::Channel& channel = channelOf(message);
    std::uint8_t const value = message.payload[2];
    switch (message.payload[1]) {
    case 2:
        channel.silenceCompression = value == 1;
        break;
    case 3:
        channel.digitDetection = value;
        break;
    case 4:
        channel.minPacketLength = port(message, 2);
        channel.maxPacketLength = port(message, 4);
        break;
    default:
        channel.faxDetection = value;
    }
}

/** What is closed is forgotten: the path with its last half, the channel with its last path. */
void BoardModel::close(imc_msg const& message, bool isFax) {
    dsp::Path& path = pathOf(message);
    (isFax ? path.faxOpen : path.voiceOpen) = false;
    (isFax ? path.localFaxPort : path.localRtpPort) = 0;
    if (!isOpen(path)) {
        path = dsp::Path();
    }
    if (!isOpen(channelOf(message))) {
        channelOf(message) = dsp::Channel();
    }
}

void BoardModel::carryOut(imc_msg const& message, CommandLayout const& layout) {
    dsp::Path& path = pathOf(message);
    dsp::Channel& channel = channelOf(message);
    switch (layout.messageId) {
    case 100:
    case 104:
        path.voiceOpen = true;
        path.codec = message.payload[1];
        path.faxProtocol = message.payload[2];
        setVoice(message, 32);
        newPort = &path.localRtpPort;
        break;
    case 132:
    case 133:
        setVoice(message, 26);
        break;
    case 108:
        setParameter(message);
        break;
    case 115:
    case 119:
        path.faxOpen = true;
        path.faxProtocol = message.payload[1];
        newPort = &path.localFaxPort;
        break;
    case 124:
        channel.joined = true;
        channel.joinedDsp = message.payload[1];
        channel.joinedRemote = message.payload[2] == 1;
        break;
    case 125:
        channel.joined = false;
        channel.joinedDsp = 0;
        channel.joinedRemote = false;
        break;
    default:
        close(message, isOneOf(layout.messageId, {117, 121}));
    }
}

void BoardModel::portTaken(std::uint16_t chosen) {
    require(chosen >= options.firstPort && chosen % 2 == 0, "a port is even and the board's");
    require(newPort != nullptr, "a port is taken for a path");
    for (dsp::Channel const& channel : channels) {
        for (dsp::Path const* const path : {&channel.in, &channel.out}) {
            require(path->localRtpPort != chosen && path->localFaxPort != chosen,
                    "no port is held twice");
        }
    }
    *newPort = chosen;
    newPort = nullptr;
}

Judgement BoardModel::judge(imc_msg const& message, CommandLayout const& layout) {
    Judgement judgement;
    judgement.isAcknowledged = layout.isAcknowledged && message.length != 0;
    auto const refuse = [&judgement](Refusal const& refusal) {
        judgement.counter = std::string("refused: ") + refusal.cause;
        judgement.error = refusal.error;
        return judgement;
    };
    if (message.length != layout.length) {
        return refuse({"wrong length", 4});
    }
    judgement.isNoticed = hasNonzeroReserved(message, layout);
    if (message.payload[0] >= channels.size()) {
        return refuse({"no such channel", 1});
    }
    std::uint8_t& wanted = nextError.at(message.payload[0]);
    if (layout.isAcknowledged && wanted != 0) {
        Refusal const onRequest{"on request", wanted};
        wanted = 0;
        return refuse(onRequest);
    }
    Refusal const refusal = refusalOf(message, layout);
    if (refusal.cause != nullptr) {
        return refuse(refusal);
    }
    carryOut(message, layout);
    client = message.sourceSid;
    judgement.isTaken = true;
    judgement.counter = std::string("taken: ") + layout.name;
    judgement.takesPort = newPort != nullptr;
    return judgement;
}

Judgement BoardModel::receive(imc_msg const& message) {
    Judgement judgement;
    judgement.counter = "refused: wrong destination";
    if (message.destinationSid != options.sid) {
        return judgement;
    }
    for (CommandLayout const& layout : commandLayouts()) {
        if (message.messageId == layout.messageId) {
            return judge(message, layout);
        }
    }
    judgement.counter = "refused: unknown identifier";
    return judgement;
}

void BoardModel::requireSame(dsp::Board const& board) const {
    for (unsigned i = 0; i < channels.size(); ++i) {
        requireSameChannel(board.channel(i), channels[i]);
    }
}

} // namespace fuzz
