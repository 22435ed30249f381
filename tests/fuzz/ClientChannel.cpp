#include "tests/fuzz/ClientChannel.h"

#include "tests/fuzz/Check.h"
#include "tests/support/Recording.h"

#include "address/IPAddress.h"

#include <algorithm>

namespace fuzz {

namespace {

/** Calls `visit(name, field, field of the record)` for each that the client may set. */
template <class FieldsOrConst, class Record, class Visitor>
void eachField(FieldsOrConst& fields, Record& record, Visitor visit) {
    visit("channelMode", fields.channelMode, record.channelMode);
    visit("direction", fields.direction, record.direction);
    visit("vad", fields.vad, record.vad);
    visit("faxDetection", fields.faxDetection, record.faxDetection);
    visit("sendCed", fields.sendCed, record.sendCed);
    visit("sendNoSignal", fields.sendNoSignal, record.sendNoSignal);
    visit("calledSide", fields.calledSide, record.calledSide);
    visit("minFraming", fields.minFraming, record.minFraming);
    visit("maxFraming", fields.maxFraming, record.maxFraming);
    visit("dsp", fields.dsp, record.dsp);
    visit("codec", fields.codec, record.codec);
    visit("joinDsp", fields.joinDsp, record.joinDsp);
    visit("sid", fields.sid, record.sid);
    visit("faxRedundancy", fields.faxRedundancy, record.faxRedundancy);
    visit("faxDepth", fields.faxDepth, record.faxDepth);
    visit("faxTransport", fields.faxTransport, record.faxTransport);
    visit("rtpDtmfPayloadType", fields.rtpDtmfPayloadType, record.rtpDtmfPayloadType);
    visit("rtpRedundancyPayloadType", fields.rtpRedundancyPayloadType,
          record.rtpRedundancyPayloadType);
    visit("inboundVoiceParam1", fields.inboundVoiceParam1, record.inboundVoiceParam1);
    visit("inboundVoiceParam2", fields.inboundVoiceParam2, record.inboundVoiceParam2);
}
unsigned const fieldCount = 20;

/** Mostly numbers that mean something, now and then any. */
std::int32_t readNumber(Input& input) {
    std::uint8_t const small = input.byte();
    return small < 0xF0 ? small : static_cast<std::int32_t>(input.word());
}

void read(Input& input, bool& value) {
    value = input.flag();
}
void read(Input& input, std::uint8_t& value) {
    value = input.byte();
}
void read(Input& input, std::int32_t& value) {
    value = readNumber(input);
}
void read(Input& input, VCOM_Direction& value) {
    value = static_cast<VCOM_Direction>(readNumber(input));
}
void read(Input& input, VCOM_FaxTransport& value) {
    value = static_cast<VCOM_FaxTransport>(readNumber(input));
}
void read(Input& input, VCOM_Framing& value) {
    std::int32_t const number = readNumber(input);
    value = static_cast<VCOM_Framing>(number < 16 && number > 0 ? number * 10 : number);
}

void fillIn(MC_Channel& record, Fields const& fields) {
    eachField(fields, record,
              [](char const*, auto const& field, auto& inRecord) { inRecord = field; });
}

void requireAddress(INetAddress const* seen, MaybeAddress const& noted, char const* what) {
    require((seen != nullptr) == noted.has_value(), what);
    if (noted) {
        requireEqual(std::string(*seen), noted->text(), what);
    }
}

} // namespace

std::string Address::text() const {
    return (kind == Kind::other ? "fe80::" : "10.0.0.") + std::to_string(number);
}

std::uint32_t Address::value() const {
    return 0x0A000000U | number;
}

std::array<std::uint8_t, 16> Address::binary() const {
    if (kind == Kind::other) {
        return {0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, number};
    }
    return {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 10, 0, 0, number};
}

std::unique_ptr<INetAddress> Address::make() const {
    switch (kind) {
    case Kind::other:
        return std::make_unique<recording::OtherAddress>(text(), binary());
    case Kind::derived:
        return std::make_unique<recording::DerivedAddress>(text());
    case Kind::ip:
        break;
    }
    return std::make_unique<IPAddress>(text());
}

MaybeAddress readAddress(Input& input) {
    std::uint8_t const byte = input.byte();
    std::uint8_t const number = byte & 0x0FU;
    switch (byte >> 5U) {
    case 0:
        return std::nullopt;
    case 1:
        return Address{Address::Kind::derived, number};
    case 2:
        return Address{Address::Kind::other, number};
    default:
        return Address{Address::Kind::ip, number};
    }
}

std::unique_ptr<INetAddress> make(MaybeAddress const& address) {
    return address ? address->make() : nullptr;
}

std::array<UDPAddr*, 4> endsOf(MC_Channel& record) {
    return {&record.rtpLocal, &record.rtpRemote, &record.rtcpLocal, &record.rtcpRemote};
}

void fill(ClientChannel& channel, std::uint8_t number) {
    Fields& fields = channel.fields;
    fields.direction = number % 2 == 0 ? VCOM_DIRECTION_IN : VCOM_DIRECTION_OUT;
    // Some share a DSP channel and a direction, and compete for its events.
    fields.dsp = number / 2 % 2;
    fields.joinDsp = 9;
    fields.sid = 0x10;
    fields.codec = 1;
    fields.minFraming = VCOM_FRAMING_20;
    fields.maxFraming = VCOM_FRAMING_30;
    fillIn(*channel.record, fields);
    // Counted through the whole process otherwise, so that no input would be the same twice.
    channel.record->identifier = 0x10U + number;
    setEnd(channel, 0, {Address{Address::Kind::ip, 1}, 5000});
    setEnd(channel, 1, {Address{Address::Kind::ip, 2}, 6000});
    setJoinIp(channel, Address{Address::Kind::ip, 1});
}

void setField(ClientChannel& channel, Input& input) {
    unsigned const wanted = input.below(fieldCount);
    unsigned index = 0;
    eachField(channel.fields, *channel.record, [&](char const*, auto& field, auto& inRecord) {
        if (index++ == wanted) {
            read(input, field);
            inRecord = field;
        }
    });
}

void setEnd(ClientChannel& channel, unsigned which, EndPoint const& end) {
    channel.fields.ends.at(which) = end;
    endsOf(*channel.record).at(which)->Set(make(end.address).get(), end.port);
}

void setJoinIp(ClientChannel& channel, MaybeAddress const& address) {
    channel.fields.joinIp = address;
    delete channel.record->joinIp;
    channel.record->joinIp = make(address).release();
}

void requireAsNoted(ClientChannel const& channel) {
    Fields const& fields = channel.fields;
    MC_Channel& record = *channel.record;
    require(record.state >= MC_Channel::Idle && record.state <= MC_Channel::Join,
            "the state is one of the six");
    requireEqual(static_cast<int>(record.state), static_cast<int>(fields.state), "state");
    requireEqual(record.voiceOpen, fields.voiceOpen, "voiceOpen");
    requireEqual(record.faxOpen, fields.faxOpen, "faxOpen");
    eachField(fields, record, [](char const* name, auto const& noted, auto const& seen) {
        requireEqual(static_cast<std::int64_t>(seen), static_cast<std::int64_t>(noted), name);
    });
    auto const ends = endsOf(record);
    for (std::size_t i = 0; i < ends.size(); ++i) {
        requireAddress(ends[i]->GetINetAddress(), fields.ends[i].address, "address of an end");
        requireEqual(ends[i]->GetPort(), fields.ends[i].port, "port of an end");
    }
    requireAddress(record.joinIp, fields.joinIp, "joinIp");
    requireAddress(record.mediaGateway, fields.mediaGateway, "mediaGateway");
}

} // namespace fuzz
