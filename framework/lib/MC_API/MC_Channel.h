#ifndef MC_CHANNEL_H
#define MC_CHANNEL_H

#include "MC_Throw.h"

#include "address/UDPAddr.h"
#include "collector/GC_MetaObject.h"
#include "voice/VCOM_Types.h"

#include <cstdint>
#include <stdexcept>
#include <string>

class INetAddress;

/**
 * The record of one media channel: one direction of one DSP channel of a board.
 *
 * The Session Manager obtains an empty record from MC_Manager::factory, fills the fields and hands
 * it to the manager's operations, which build DSP commands from it and keep `state`, `voiceOpen`
 * and `faxOpen`. Records are counted objects: they are never deleted directly, the platform's
 * collector destroys them with their last reference.
 */
class MC_Channel : public GC_MetaObject {
public:
    /** How far the channel has come. */
    enum State : int { Idle, Voice_Open, Fax_Detected, Fax_Open, Close, Join };

    /** Number of names in `stateToStr`. */
    static int const stateToStrMAX = 6;
    /** The name of each state. */
    static std::string const stateToStr[stateToStrMAX];

    /**
     * An idle channel with the next identifier. Identifiers count from 1 and pass over 0 when they
     * wrap. Channels are constructed by one thread at a time: the count is not guarded.
     */
    MC_Channel();

    /** Deletes `joinIp` and `mediaGateway`. */
    ~MC_Channel() override;

    MC_Channel(MC_Channel const&) = delete;
    MC_Channel& operator=(MC_Channel const&) = delete;

    /** The identifier in upper-case hexadecimal, without prefix or padding: 26 gives "1A". */
    std::string getIdentifier() const;

    /** The description: several lines, each ended by a newline, and one NUL character. */
    operator std::string const() const;

    /** @name Conversions to what the DSP expects */
    /// @{
    /**
     * A packet duration in the codec's own unit: samples at 8 kHz for codecs 1 and 2, frames of
     * 30 ms for codec 3, frames of 10 ms for codecs 4 and 5.
     * @throw std::runtime_error when the codec does not take such packets
     */
    unsigned short getSMFraming(VCOM_Framing framing) const MC_THROW((std::runtime_error));

    /** `maxFraming` in the codec's own unit; errors as getSMFraming. */
    unsigned short getSMMaxFraming() const MC_THROW((std::runtime_error));

    /** `minFraming` in the codec's own unit; errors as getSMFraming. */
    unsigned short getSMMinFraming() const MC_THROW((std::runtime_error));

    /** @throw std::runtime_error when the DSP has no such codec */
    int getSMCodecType() const MC_THROW((std::runtime_error));

    /**
     * The protocol number (IANA Protocol Numbers: 17 UDP, 6 TCP) of a fax transport.
     * @param transport VCOM_FAXTRANSPORT_NONE stands for the channel's own `faxTransport`
     * @throw std::runtime_error when it is neither UDP nor TCP
     */
    int getSMFaxProtocol(VCOM_FaxTransport transport) const MC_THROW((std::runtime_error));
    /// @}

    std::uint32_t identifier;       ///< never 0; unique until 2^32 channels were made
    State state;                    ///< kept by the manager
    std::int32_t channelMode;       ///< 2: opening the channel does not arm fax-tone detection
    VCOM_Direction direction;       ///< in or out
    bool voiceOpen;                 ///< the voice path is open; kept by the manager
    bool faxOpen;                   ///< the fax path is open; kept by the manager
    bool vad;                       ///< silence suppression (voice activity detection) is
                                    ///< wanted; the manager clears it when the other
                                    ///< direction disagrees
    bool faxDetection;              ///< fax-tone detection is wanted from the opening on
    bool sendCed;                   ///< the fax side sends the CED tone (ITU-T T.30)
    std::uint8_t sendNoSignal;      ///< T.38 signal to send: 0 none, 1 no-signal, 2 CNG
    bool calledSide;                ///< on the called side of the call, else on the calling side
    VCOM_Framing minFraming;        ///< shortest packet, in milliseconds
    VCOM_Framing maxFraming;        ///< longest packet, in milliseconds
    std::uint8_t dsp;               ///< number of the DSP channel on its board
    UDPAddr rtcpLocal;              ///< RTCP end point of the board
    UDPAddr rtcpRemote;             ///< RTCP end point of the peer
    UDPAddr rtpLocal;               ///< RTP end point of the board
    UDPAddr rtpRemote;              ///< RTP end point of the peer
    std::int32_t codec;             ///< voice codec, an index into DBG_Output::codecToStr
    INetAddress* joinIp;            ///< board of the DSP channel to join; owned, null when none
    std::uint8_t joinDsp;           ///< number of the DSP channel to join; no default
    INetAddress* mediaGateway;      ///< board of the DSP; owned, set by MC_Manager::setMediaGateway
    std::uint8_t sid;               ///< IMC address of that board, set with it; 0xFA until then
    std::int32_t faxRedundancy;     ///< T.38 redundancy; no default
    std::int32_t faxDepth;          ///< T.38 depth; no default
    VCOM_FaxTransport faxTransport; ///< of an outgoing fax path
    std::uint8_t rtpDtmfPayloadType;       ///< RTP payload type of DTMF (RFC 4733); 0 for none
    std::uint8_t rtpRedundancyPayloadType; ///< RTP payload type of redundancy (RFC 2198)
    std::uint8_t inboundVoiceParam1;       ///< passed on when the voice path of direction 1 opens
    std::uint8_t inboundVoiceParam2;       ///< the same, second value
};

#endif
