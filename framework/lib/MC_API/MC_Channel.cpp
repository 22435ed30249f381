#include "MC_Channel.h"

#include "MC_Text.h"

#include "address/IPAddress.h"
#include "imc/IMC_Manager.h"

#include <cstddef>
#include <cstdio>

namespace {

std::uint32_t nextIdentifier = 1;

std::uint32_t takeIdentifier() {
    std::uint32_t const taken = nextIdentifier;
    ++nextIdentifier;
    if (nextIdentifier == 0) {
        nextIdentifier = 1;
    }
    return taken;
}

/** The packets that a DSP takes: a duration, and its length in each codec's unit. 0: refused. */
struct PacketLength {
    VCOM_Framing framing;
    unsigned short samples; ///< at 8 kHz
    unsigned short frames30;
    unsigned short frames10;
};

PacketLength const packetLengths[] = {
    {VCOM_FRAMING_10, 80, 0, 1},     {VCOM_FRAMING_20, 160, 0, 2},
    {VCOM_FRAMING_30, 240, 1, 3},    {VCOM_FRAMING_40, 320, 0, 4},
    {VCOM_FRAMING_50, 400, 0, 5},    {VCOM_FRAMING_60, 480, 2, 6},
    {VCOM_FRAMING_70, 560, 0, 7},    {VCOM_FRAMING_80, 640, 0, 8},
    {VCOM_FRAMING_90, 720, 3, 9},    {VCOM_FRAMING_100, 800, 0, 10},
    {VCOM_FRAMING_110, 880, 0, 11},  {VCOM_FRAMING_120, 960, 4, 12},
    {VCOM_FRAMING_130, 1040, 0, 13}, {VCOM_FRAMING_140, 1120, 0, 14},
    {VCOM_FRAMING_150, 1200, 5, 15},
};

/** The length of a packet in the codec's unit; 0 when the codec does not take it. */
unsigned short packetLength(std::int32_t codec, VCOM_Framing framing) {
    for (PacketLength const& entry : packetLengths) {
        if (entry.framing == framing) {
            switch (codec) {
            case 1:
            case 2:
                return entry.samples;
            case 3:
                return entry.frames30;
            case 4:
            case 5:
                return entry.frames10;
            default:
                return 0;
            }
        }
    }
    return 0;
}

// The words of the refusals are the interface to those who search for them: "Minium", "not" here
// and "Not" there, the bracket that is never closed.
std::runtime_error framingError(char const* which, std::runtime_error const& inner) {
    MC_Text text;
    text << which << inner.what();
    return std::runtime_error(text.ends());
}

std::string addressText(INetAddress const* pAddress) {
    return pAddress != NULL ? *pAddress : IPAddress::IpAddressAny;
}

char const* onOff(bool on) {
    return on ? "On" : "Off";
}

char const* kindName(MC_Channel const& channel) {
    if (channel.faxOpen) {
        return "Fax ";
    }
    return channel.voiceOpen ? "Voice " : "No data ";
}

char const* signalName(std::uint8_t sendNoSignal) {
    switch (sendNoSignal) {
    case 0:
        return "T38_SIG_NIL";
    case 1:
        return "T38_SIG_NO_SIGNAL";
    default:
        return "T38_SIG_CNG";
    }
}

void describeMedia(MC_Text& text, MC_Channel const& channel) {
    text << "\t" << kindName(channel) << MC_directionName(channel.direction) << " on Ip("
         << addressText(channel.mediaGateway) << ") dsp(" << int(channel.dsp) << ") "
         << IMC_Manager::instance(0xff)->getStringSid(channel.sid) << " ["
         << MC_codecName(channel.codec) << " (" << MC_framingName(channel.minFraming) << "/"
         << MC_framingName(channel.maxFraming) << "ms) vad(" << onOff(channel.vad) << ")]\n";
}

void describeState(MC_Text& text, MC_Channel const& channel) {
    text << "\tState : "
         << MC_tableName(MC_Channel::stateToStr, MC_Channel::stateToStrMAX, channel.state);
    if (channel.state == MC_Channel::Join) {
        text << " with " << addressText(channel.joinIp) << " dsp(" << int(channel.joinDsp) << ")";
    }
    text << "\n";
}

void describeAddresses(MC_Text& text, char const* label, UDPAddr const& local,
                       UDPAddr const& remote) {
    text << label << std::string(local) << " <-> " << std::string(remote) << "\n";
}

} // namespace

int const MC_Channel::stateToStrMAX;

std::string const MC_Channel::stateToStr[stateToStrMAX] = {"Idle",     "Voice_Open", "Fax_Detected",
                                                           "Fax_Open", "Close",      "Join"};

// joinDsp, faxRedundancy and faxDepth have no default: no value would be right for a client that
// forgot to fill them.
MC_Channel::MC_Channel()
    : identifier(takeIdentifier()),
      state(Idle),
      channelMode(0),
      direction(VCOM_DIRECTION_NONE),
      voiceOpen(false),
      faxOpen(false),
      vad(false),
      faxDetection(false),
      sendCed(false),
      sendNoSignal(0),
      calledSide(false),
      minFraming(VCOM_FRAMING_NONE),
      maxFraming(VCOM_FRAMING_NONE),
      dsp(0),
      codec(0),
      joinIp(NULL),
      mediaGateway(NULL),
      sid(0xFA),
      faxTransport(VCOM_FAXTRANSPORT_UDP),
      rtpDtmfPayloadType(0),
      rtpRedundancyPayloadType(0),
      inboundVoiceParam1(0),
      inboundVoiceParam2(0) {}

MC_Channel::~MC_Channel() {
    delete joinIp;
    delete mediaGateway;
}

std::string MC_Channel::getIdentifier() const {
    char digits[9];
    std::snprintf(digits, sizeof digits, "%X", static_cast<unsigned int>(identifier));
    return digits;
}

MC_Channel::operator std::string const() const {
    MC_Text text;
    text << "MC_Channel " << getIdentifier() << "\n";
    describeMedia(text, *this);
    text << "send ced " << onOff(sendCed) << "\n";
    text << "send no signal " << signalName(sendNoSignal) << "\n";
    describeState(text, *this);
    describeAddresses(text, "\tRTP  : ", rtpLocal, rtpRemote);
    describeAddresses(text, "\tRTCP : ", rtcpLocal, rtcpRemote);
    text << "\tRTP Dtmf PT: 0x" << MC_Text::Hex{rtpDtmfPayloadType} << " = "
         << int(rtpDtmfPayloadType) << "\n";
    // The redundancy type is hexadecimal on both sides; who reads these lines knows it so.
    text << "\tRTP Redundancy PT: 0x" << MC_Text::Hex{rtpRedundancyPayloadType} << " = "
         << MC_Text::Hex{rtpRedundancyPayloadType} << "\n";
    return text.ends();
}

unsigned short MC_Channel::getSMFraming(VCOM_Framing framing) const MC_THROW((std::runtime_error)) {
    unsigned short const length = packetLength(codec, framing);
    if (length == 0) {
        MC_Text text;
        text << "Codec [" << MC_codecName(codec) << " (" << MC_framingName(framing)
             << ")] not Supported by Session Manager";
        throw std::runtime_error(text.ends());
    }
    return length;
}

unsigned short MC_Channel::getSMMaxFraming() const MC_THROW((std::runtime_error)) {
    try {
        return getSMFraming(maxFraming);
    } catch (std::runtime_error const& e) {
        throw framingError("Maximum framing error : ", e);
    }
}

unsigned short MC_Channel::getSMMinFraming() const MC_THROW((std::runtime_error)) {
    try {
        return getSMFraming(minFraming);
    } catch (std::runtime_error const& e) {
        throw framingError("Minium framing error : ", e);
    }
}

int MC_Channel::getSMCodecType() const MC_THROW((std::runtime_error)) {
    switch (codec) {
    case 1:
        return 0;
    case 2:
        return 1;
    case 3:
        return 3;
    case 4:
    case 5:
        return 4;
    default:
        MC_Text text;
        text << "Codec [" << MC_codecName(codec) << "] Not Supported by Session Manager";
        throw std::runtime_error(text.ends());
    }
}

int MC_Channel::getSMFaxProtocol(VCOM_FaxTransport transport) const MC_THROW((std::runtime_error)) {
    switch (transport != VCOM_FAXTRANSPORT_NONE ? transport : faxTransport) {
    case VCOM_FAXTRANSPORT_UDP:
        return 17;
    case VCOM_FAXTRANSPORT_TCP:
        return 6;
    default:
        MC_Text text;
        text << "Transport type not supported by Session Manager";
        throw std::runtime_error(text.ends());
    }
}
