#include "tests/fuzz/CommandBytes.h"

#include <algorithm>

namespace fuzz {

namespace {

std::size_t const headerSize = 12;

Record command(Fields const& channel, std::uint8_t messageId, std::uint8_t length) {
    Record record{};
    record[2] = channel.sid;
    record[5] = length;
    record[11] = messageId;
    record[headerSize] = channel.dsp;
    return record;
}

void put8(Record& record, std::size_t offset, std::int32_t value) {
    record[headerSize + offset] = static_cast<unsigned char>(static_cast<std::uint32_t>(value));
}

void put16(Record& record, std::size_t offset, std::uint16_t value) {
    put8(record, offset, value >> 8);
    put8(record, offset + 1, value);
}

void put32(Record& record, std::size_t offset, std::uint32_t value) {
    put16(record, offset, static_cast<std::uint16_t>(value >> 16));
    put16(record, offset + 2, static_cast<std::uint16_t>(value));
}

void putAddress(Record& record, std::size_t offset, MaybeAddress const& address) {
    if (address) {
        auto const bytes = address->binary();
        std::copy(bytes.begin(), bytes.end(),
                  record.begin() + static_cast<std::ptrdiff_t>(headerSize + offset));
    }
}

/** Of a command that exists once for each direction; nothing for another direction. */
MaybeRecord directed(Fields const& channel, std::uint8_t in, std::uint8_t out,
                     std::uint8_t length) {
    if (!isDirected(channel)) {
        return std::nullopt;
    }
    return command(channel, channel.direction == VCOM_DIRECTION_IN ? in : out, length);
}

Record parameter(Fields const& channel, std::uint8_t code, std::uint8_t value) {
    Record record = command(channel, 108, 6);
    put8(record, 1, code);
    put8(record, 2, value);
    return record;
}

std::optional<std::uint8_t> codecType(std::int32_t codec) {
    switch (codec) {
    case 1:
        return std::uint8_t{0};
    case 2:
        return std::uint8_t{1};
    case 3:
        return std::uint8_t{3};
    case 4:
    case 5:
        return std::uint8_t{4};
    default:
        return std::nullopt;
    }
}

std::optional<std::uint8_t> protocolNumber(VCOM_FaxTransport transport) {
    switch (transport) {
    case VCOM_FAXTRANSPORT_UDP:
        return std::uint8_t{17};
    case VCOM_FAXTRANSPORT_TCP:
        return std::uint8_t{6};
    default:
        return std::nullopt;
    }
}

/** In the codec's unit: 8 samples are a millisecond. */
std::optional<std::uint16_t> unitsOf(std::int32_t codec, std::int32_t milliseconds) {
    if (milliseconds < 10 || milliseconds > 150 || milliseconds % 10 != 0) {
        return std::nullopt;
    }
    auto const units = [milliseconds](std::int32_t perUnit) {
        return static_cast<std::uint16_t>(milliseconds / perUnit);
    };
    switch (codec) {
    case 1:
    case 2:
        return static_cast<std::uint16_t>(milliseconds * 8);
    case 3:
        return milliseconds % 30 == 0 ? std::optional<std::uint16_t>(units(30)) : std::nullopt;
    case 4:
    case 5:
        return units(10);
    default:
        return std::nullopt;
    }
}

void putVoiceEnds(Record& record, Fields const& channel) {
    putAddress(record, 4, channel.rtpRemote().address);
    put16(record, 20, channel.rtpRemote().port);
    put16(record, 22, channel.rtpLocal().port);
    put16(record, 24, channel.rtcpRemote().port);
}

void putFaxTarget(Record& record, Fields const& channel, std::uint32_t remote) {
    std::uint8_t const cng = 2;
    bool const isMuted = channel.sendNoSignal == cng && channel.calledSide;
    put8(record, 2, channel.faxDepth);
    put8(record, 3, channel.faxRedundancy);
    put32(record, 4, remote);
    put16(record, 8, channel.rtpRemote().port);
    put8(record, 10, isMuted ? 0 : channel.sendNoSignal);
    put8(record, 11, channel.sendCed ? 1 : 0);
}

} // namespace

bool isDirected(Fields const& channel) {
    return channel.direction == VCOM_DIRECTION_IN || channel.direction == VCOM_DIRECTION_OUT;
}

MaybeRecord silenceCompression(Fields const& channel) {
    return parameter(channel, 2, channel.vad ? 1 : 0);
}

MaybeRecord faxDetection(Fields const& channel, Settings const& settings) {
    std::uint8_t const inBand = channel.calledSide ? 2 : 3;
    return parameter(channel, 5, settings.isFaxProtocolSet ? inBand : std::uint8_t{0});
}

MaybeRecord digitDetection(Fields const& channel) {
    return parameter(channel, 3, channel.rtpDtmfPayloadType == 0 ? 0 : 2);
}

MaybeRecord packetLength(Fields const& channel) {
    auto const minimum = unitsOf(channel.codec, channel.minFraming);
    auto const maximum = unitsOf(channel.codec, channel.maxFraming);
    if (!minimum || !maximum) {
        return std::nullopt;
    }
    Record record = parameter(channel, 4, 0);
    put16(record, 2, *minimum);
    put16(record, 4, *maximum);
    return record;
}

MaybeRecord openVoice(Fields const& channel, Settings const& settings) {
    auto const codec = codecType(channel.codec);
    auto const protocol = protocolNumber(settings.faxProtocol);
    MaybeRecord record = directed(channel, 100, 104, 36);
    if (!record || !codec || !protocol) {
        return std::nullopt;
    }
    put8(*record, 1, *codec);
    put8(*record, 2, *protocol);
    putVoiceEnds(*record, channel);
    put8(*record, 32, channel.rtpDtmfPayloadType);
    put8(*record, 33, channel.rtpRedundancyPayloadType);
    if (channel.direction == VCOM_DIRECTION_IN) {
        put8(*record, 26, settings.rtpTickRequest);
        put8(*record, 30, channel.inboundVoiceParam2);
        put8(*record, 31, channel.inboundVoiceParam1);
    }
    return record;
}

MaybeRecord updateVoice(Fields const& channel) {
    MaybeRecord record = directed(channel, 132, 133, 28);
    if (record) {
        putVoiceEnds(*record, channel);
        put8(*record, 26, channel.rtpDtmfPayloadType);
        put8(*record, 27, channel.rtpRedundancyPayloadType);
    }
    return record;
}

MaybeRecord closeVoice(Fields const& channel) {
    return directed(channel, 102, 106, 1);
}

MaybeRecord openFax(Fields const& channel, Settings const& settings) {
    bool const isOut = channel.direction == VCOM_DIRECTION_OUT;
    auto const protocol = protocolNumber(isOut ? channel.faxTransport : settings.faxProtocol);
    MaybeAddress const& remote = channel.rtpRemote().address;
    MaybeRecord record = directed(channel, 115, 119, 12);
    if (!record || !protocol) {
        return std::nullopt;
    }
    put8(*record, 1, *protocol);
    if (isOut) {
        if (!remote || remote->kind == Address::Kind::other) {
            return std::nullopt;
        }
        putFaxTarget(*record, channel, remote->value());
    }
    return record;
}

MaybeRecord closeFax(Fields const& channel) {
    return directed(channel, 117, 121, 1);
}

MaybeRecord join(Fields const& channel) {
    if (!channel.joinIp) {
        return std::nullopt;
    }
    MaybeAddress const& local = channel.rtpLocal().address;
    bool const isOtherBoard = !local || local->text() != channel.joinIp->text();
    Record record = command(channel, 124, 20);
    put8(record, 1, channel.joinDsp);
    put8(record, 2, isOtherBoard ? 1 : 0);
    putAddress(record, 4, channel.joinIp);
    return record;
}

MaybeRecord unjoin(Fields const& channel) {
    return command(channel, 125, 1);
}

} // namespace fuzz
