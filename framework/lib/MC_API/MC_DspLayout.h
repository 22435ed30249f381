#ifndef MC_DSPLAYOUT_H
#define MC_DSPLAYOUT_H

#include "imc/imc_msg.h"

#include <cstdint>
#include <type_traits>

/**
 * The payloads of the DSP's commands and events, one declaration each, and the two operations that
 * read and write a field. A declaration lists its fields in the order of their offsets; fields that
 * overlap or that reach past the payload's length do not compile. Numbers are big-endian on the
 * wire. Payload bytes without a field are zero.
 */
namespace MC_Dsp {

/** A field of a payload: where it starts and how many bytes it takes. */
template <unsigned int Offset, unsigned int Width>
struct Field {
    static unsigned int const offset = Offset;
    static unsigned int const width = Width;
    /** The number that the field holds. */
    typedef typename std::conditional<
        Width == 1, std::uint8_t,
        typename std::conditional<Width == 2, std::uint16_t, std::uint32_t>::type>::type Value;
    static unsigned int const end = Offset + Width;
};

template <unsigned int Offset>
using U8 = Field<Offset, 1>;
template <unsigned int Offset>
using U16 = Field<Offset, 2>;
template <unsigned int Offset>
using U32 = Field<Offset, 4>;
/** The 16-byte binary form of an address. */
template <unsigned int Offset>
using Address = Field<Offset, 16>;

/** Checks that fields follow one another from `Start` on and end within `Length`. */
template <unsigned int Length, unsigned int Start, class... Fields>
struct InOrder {
    static_assert(Start <= Length, "the last field reaches past the payload's length");
};

template <unsigned int Length, unsigned int Start, class First, class... Rest>
struct InOrder<Length, Start, First, Rest...> : InOrder<Length, First::end, Rest...> {
    static_assert(First::offset >= Start, "a field overlaps the one before it");
};

template <class Wanted, class... Fields>
struct Contains : std::false_type {};

template <class Wanted, class First, class... Rest>
struct Contains<Wanted, First, Rest...>
    : std::conditional<std::is_same<Wanted, First>::value, std::true_type,
                       Contains<Wanted, Rest...>>::type {};

/** A payload of `Length` bytes that holds these fields. */
template <unsigned int Length, class... Fields>
struct Payload : InOrder<Length, 0, Fields...> {
    static_assert(Length <= imc_msg::payloadSize, "the payload does not fit into a message");
    static unsigned int const length = Length;

    template <class Wanted>
    using Holds = Contains<Wanted, Fields...>;
};

/** Writes a field; of a value wider than the field, its low bytes. */
template <class Message, class Field>
inline void put(imc_msg& message, unsigned int value) {
    static_assert(Message::Layout::template Holds<Field>::value, "no field of this message");
    static_assert(Field::width <= 4, "no number");
    for (unsigned int i = Field::width; i > 0; --i) {
        message.payload[Field::offset + i - 1] = static_cast<unsigned char>(value & 0xFFU);
        value >>= 8;
    }
}

template <class Message, class Field>
inline void put(imc_msg& message, int value) {
    put<Message, Field>(message, static_cast<unsigned int>(value));
}

/** The 16 bytes of an address field. */
template <class Message, class Field>
inline unsigned char (&bytes(imc_msg& message))[16] {
    static_assert(Message::Layout::template Holds<Field>::value, "no field of this message");
    static_assert(Field::width == 16, "no address");
    return reinterpret_cast<unsigned char(&)[16]>(message.payload[Field::offset]);
}

/** Reads a field. */
template <class Message, class Field>
inline typename Field::Value get(imc_msg const& message) {
    static_assert(Message::Layout::template Holds<Field>::value, "no field of this message");
    static_assert(Field::width <= 4, "no number");
    std::uint32_t value = 0;
    for (unsigned int i = 0; i < Field::width; ++i) {
        value = (value << 8) | message.payload[Field::offset + i];
    }
    return static_cast<typename Field::Value>(value);
}

/** What every command and event starts with. */
struct ChannelMessage {
    typedef U8<0> Dsp;
};

/** A command or event that says nothing but which channel. */
struct BareMessage : ChannelMessage {
    typedef Payload<1, Dsp> Layout;
};

/** @name Commands: message identifiers and payloads */
/// @{

struct OpenVoice : ChannelMessage {
    static unsigned int const idIn = 100;
    static unsigned int const idOut = 104;

    typedef U8<1> CodecType;
    typedef U8<2> FaxProtocol;
    typedef Address<4> RemoteIp;
    typedef U16<20> RemoteRtpPort;
    typedef U16<22> LocalRtpPort;
    typedef U16<24> RemoteRtcpPort;
    typedef U8<26> RtpTickRequest; // direction 1
    typedef U8<30> VoiceParam2;    // direction 1; the second value stands first
    typedef U8<31> VoiceParam1;    // direction 1
    typedef U8<32> DtmfPayloadType;
    typedef U8<33> RedundancyPayloadType;

    typedef Payload<36, Dsp, CodecType, FaxProtocol, RemoteIp, RemoteRtpPort, LocalRtpPort,
                    RemoteRtcpPort, RtpTickRequest, VoiceParam2, VoiceParam1, DtmfPayloadType,
                    RedundancyPayloadType>
        Layout;
};

struct UpdateVoice : ChannelMessage {
    static unsigned int const idIn = 132;
    static unsigned int const idOut = 133;

    typedef Address<4> RemoteIp;
    typedef U16<20> RemoteRtpPort;
    typedef U16<22> LocalRtpPort;
    typedef U16<24> RemoteRtcpPort;
    typedef U8<26> DtmfPayloadType;
    typedef U8<27> RedundancyPayloadType;

    typedef Payload<28, Dsp, RemoteIp, RemoteRtpPort, LocalRtpPort, RemoteRtcpPort, DtmfPayloadType,
                    RedundancyPayloadType>
        Layout;
};

struct CloseVoice : BareMessage {
    static unsigned int const idIn = 102;
    static unsigned int const idOut = 106;
};

/** One command for every feature of a DSP channel; the parameter code says which. */
struct SetParameter : ChannelMessage {
    static unsigned int const id = 108;

    enum Code { SILENCE_COMPRESSION = 2, DIGIT_DETECTION = 3, PACKET_LENGTH = 4, FAX_T38 = 5 };

    typedef U8<1> ParameterCode;
};

struct SetSilenceCompression : SetParameter {
    typedef U8<2> Active;

    typedef Payload<6, Dsp, ParameterCode, Active> Layout;
};

struct SetDigitDetection : SetParameter {
    enum { Off = 0, On = 2 };

    typedef U8<2> Mode;

    typedef Payload<6, Dsp, ParameterCode, Mode> Layout;
};

struct SetPacketLength : SetParameter {
    typedef U16<2> Minimum;
    typedef U16<4> Maximum;

    typedef Payload<6, Dsp, ParameterCode, Minimum, Maximum> Layout;
};

struct SetFaxDetection : SetParameter {
    enum { T38 = 0, InBandCalled = 2, InBandCalling = 3 };

    typedef U8<2> Mode;

    typedef Payload<6, Dsp, ParameterCode, Mode> Layout;
};

struct OpenFax : ChannelMessage {
    static unsigned int const idIn = 115;
    static unsigned int const idOut = 119;

    typedef U8<1> FaxProtocol;
    typedef U8<2> Depth; // direction 2, as all that follow
    typedef U8<3> Redundancy;
    typedef U32<4> RemoteIp;
    typedef U16<8> RemotePort;
    typedef U8<10> NoSignal;
    typedef U8<11> SendCed;

    typedef Payload<12, Dsp, FaxProtocol, Depth, Redundancy, RemoteIp, RemotePort, NoSignal,
                    SendCed>
        Layout;
};

struct CloseFax : BareMessage {
    static unsigned int const idIn = 117;
    static unsigned int const idOut = 121;
};

struct Join : ChannelMessage {
    static unsigned int const id = 124;

    typedef U8<1> PeerDsp;
    typedef U8<2> Remote;
    typedef Address<4> PeerIp;

    typedef Payload<20, Dsp, PeerDsp, Remote, PeerIp> Layout;
};

struct Unjoin : BareMessage {
    static unsigned int const id = 125;
};
/// @}

/** @name Events: payloads
 *  The observers are registered for their message identifiers, see MC_Manager. */
/// @{

struct Acknowledge : ChannelMessage {
    typedef U8<1> Error;
    typedef U16<2> LocalPort;

    typedef Payload<4, Dsp, Error, LocalPort> Layout;
};

struct Dtmf : ChannelMessage {
    typedef U8<1> Digit;
    typedef U16<2> Duration;

    typedef Payload<4, Dsp, Digit, Duration> Layout;
};

struct Alert : ChannelMessage {
    typedef U32<4> Value;

    typedef Payload<8, Dsp, Value> Layout;
};

typedef BareMessage FaxTone;
/// @}

} // namespace MC_Dsp

#endif
