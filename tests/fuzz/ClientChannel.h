#ifndef FUZZ_CLIENTCHANNEL_H
#define FUZZ_CLIENTCHANNEL_H

#include "tests/fuzz/Input.h"

#include "MC_Channel.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace fuzz {

/** A network address as the target thinks of it, apart from the platform's classes. */
struct Address {
    enum class Kind {
        ip,      ///< an IPAddress, exactly
        derived, ///< a class derived from IPAddress, with the same text and bytes
        other    ///< of another family
    };

    Kind kind = Kind::ip;
    std::uint8_t number = 0;

    std::string text() const;
    std::array<std::uint8_t, 16> binary() const;
    /** Of an IPv4 address. */
    std::uint32_t value() const;
    /** An object of the platform's that stands for it. */
    std::unique_ptr<INetAddress> make() const;
};

using MaybeAddress = std::optional<Address>;

MaybeAddress readAddress(Input& input);

/** Null for none. */
std::unique_ptr<INetAddress> make(MaybeAddress const& address);

struct EndPoint {
    MaybeAddress address;
    std::uint16_t port = 0;
};

/**
 * What a channel record has to hold: a second book, kept by the target from what it sets itself and
 * from what the manager's operations are described to do. The names are MC_Channel's.
 */
struct Fields {
    MC_Channel::State state = MC_Channel::Idle;
    bool voiceOpen = false;
    bool faxOpen = false;

    std::int32_t channelMode = 0;
    VCOM_Direction direction = VCOM_DIRECTION_NONE;
    bool vad = false;
    bool faxDetection = false;
    bool sendCed = false;
    std::uint8_t sendNoSignal = 0;
    bool calledSide = false;
    VCOM_Framing minFraming = VCOM_FRAMING_NONE;
    VCOM_Framing maxFraming = VCOM_FRAMING_NONE;
    std::uint8_t dsp = 0;
    std::int32_t codec = 0;
    std::uint8_t joinDsp = 0;
    std::uint8_t sid = 0xFA;
    std::int32_t faxRedundancy = 0;
    std::int32_t faxDepth = 0;
    VCOM_FaxTransport faxTransport = VCOM_FAXTRANSPORT_UDP;
    std::uint8_t rtpDtmfPayloadType = 0;
    std::uint8_t rtpRedundancyPayloadType = 0;
    std::uint8_t inboundVoiceParam1 = 0;
    std::uint8_t inboundVoiceParam2 = 0;

    std::array<EndPoint, 4> ends; ///< in the order of `endsOf`
    MaybeAddress joinIp;
    MaybeAddress mediaGateway;

    EndPoint const& rtpLocal() const { return ends[0]; }
    EndPoint const& rtpRemote() const { return ends[1]; }
    EndPoint const& rtcpRemote() const { return ends[3]; }
    EndPoint& rtpLocal() { return ends[0]; }
    EndPoint& rtcpLocal() { return ends[2]; }
};

/** The record's end points: local and remote of RTP, local and remote of RTCP. */
std::array<UDPAddr*, 4> endsOf(MC_Channel& record);

/** A channel of the client's, and who holds references on it. */
struct ClientChannel {
    explicit ClientChannel(MC_Channel* itsRecord) : record(itsRecord) {}

    MC_Channel* record;
    Fields fields;
    /** References that the target holds, those included that a deleted manager left behind. */
    std::uint32_t held = 1;
};

/** @name What the client does to a record; it is noted in the fields */
/// @{
/** A record that opens as it stands; `number` tells it from the others. */
void fill(ClientChannel& channel, std::uint8_t number);
void setField(ClientChannel& channel, Input& input);
void setEnd(ClientChannel& channel, unsigned which, EndPoint const& end);
void setJoinIp(ClientChannel& channel, MaybeAddress const& address);
/// @}

/** Ends the process unless the record holds what is noted. */
void requireAsNoted(ClientChannel const& channel);

} // namespace fuzz

#endif
