#ifndef DSP_LAYOUTS_H
#define DSP_LAYOUTS_H

#include "dsp/Commands.h"
#include "dsp/Events.h"

#include <type_traits>
#include <utility>

/*
 * The payload of each command and event, written once for both ways: `walk` leads a Reader or a
 * Writer along the fields, in the order of their offsets. What a layout has at its end without a
 * field is reserved, and so is everything behind it.
 */
namespace dsp {

/*
 * Open voice: 100 in, 104 out; 36 bytes
 *
 *    0      dsp
 *    1      codec type
 *    2      fax protocol, IP protocol number
 *    3      reserved
 *    4-19   remote address
 *   20-21   remote RTP port
 *   22-23   local RTP port
 *   24-25   remote RTCP port
 *   26      RTP tick request      reserved when out
 *   27-29   reserved
 *   30      voice parameter 2     reserved when out
 *   31      voice parameter 1     reserved when out
 *   32      RTP payload type of DTMF
 *   33      RTP payload type of redundancy
 *   34-35   reserved
 */
template <typename Walker>
void walk(Walker& at, OpenVoice& command) {
    at.fields(command.dsp, command.codec, command.faxProtocol);
    at.reserved(1);
    at.fields(command.remoteAddress, command.remoteRtpPort, command.localRtpPort,
              command.remoteRtcpPort);
    if (command.direction == Direction::in) {
        at.fields(command.tickRequest);
        at.reserved(3);
        at.fields(command.voiceParam2, command.voiceParam1);
    } else {
        at.reserved(6);
    }
    at.fields(command.dtmfPayloadType, command.redundancyPayloadType);
}

/*
 * Update voice: 132 in, 133 out; 28 bytes
 *
 *    0      dsp
 *    1-3    reserved
 *    4-19   remote address
 *   20-21   remote RTP port
 *   22-23   local RTP port
 *   24-25   remote RTCP port
 *   26      RTP payload type of DTMF
 *   27      RTP payload type of redundancy
 */
template <typename Walker>
void walk(Walker& at, UpdateVoice& command) {
    at.fields(command.dsp);
    at.reserved(3);
    at.fields(command.remoteAddress, command.remoteRtpPort, command.localRtpPort,
              command.remoteRtcpPort, command.dtmfPayloadType, command.redundancyPayloadType);
}

/*
 * Close voice: 102 in, 106 out; 1 byte
 *
 *    0      dsp
 */
template <typename Walker>
void walk(Walker& at, CloseVoice& command) {
    at.fields(command.dsp);
}

/*
 * Set parameter: 108; 6 bytes
 *
 *    0      dsp
 *    1      parameter code
 *           2 SILENCE_COMPRESSION   3 DIGIT_DETECTION   4 PACKET_LENGTH   5 FAX_T38
 *    2      value                   value               minimum, high     mode
 *    3      reserved                reserved            minimum, low      reserved
 *    4      reserved                reserved            maximum, high     reserved
 *    5      reserved                reserved            maximum, low      reserved
 */
template <typename Walker>
void walk(Walker& at, SetSilenceCompression& command) {
    at.fields(command.dsp);
    at.constant(2);
    at.fields(command.on);
}

template <typename Walker>
void walk(Walker& at, SetDigitDetection& command) {
    at.fields(command.dsp);
    at.constant(3);
    at.fields(command.mode);
}

template <typename Walker>
void walk(Walker& at, SetPacketLength& command) {
    at.fields(command.dsp);
    at.constant(4);
    at.fields(command.minimum, command.maximum);
}

template <typename Walker>
void walk(Walker& at, SetFaxDetection& command) {
    at.fields(command.dsp);
    at.constant(5);
    at.fields(command.mode);
}

template <typename Walker>
void walk(Walker& at, SetUnknown& command) {
    at.fields(command.dsp, command.code, command.value);
}

/*
 * Open fax: 115 in, 119 out; 12 bytes
 *
 *    0      dsp
 *    1      fax protocol, IP protocol number
 *    2      depth                 reserved when in, and so is the rest
 *    3      redundancy
 *    4-7    remote IPv4 address
 *    8-9    remote port
 *   10      no-signal setting
 *   11      send CED
 */
template <typename Walker>
void walk(Walker& at, OpenFax& command) {
    at.fields(command.dsp, command.protocol);
    if (command.direction == Direction::out) {
        at.fields(command.depth, command.redundancy, command.remoteIpv4, command.remotePort,
                  command.noSignal, command.ced);
    }
}

/*
 * Close fax: 117 in, 121 out; 1 byte
 *
 *    0      dsp
 */
template <typename Walker>
void walk(Walker& at, CloseFax& command) {
    at.fields(command.dsp);
}

/*
 * Join: 124; 20 bytes
 *
 *    0      dsp
 *    1      peer dsp
 *    2      1 when the peer is on another board, 0 when it is on this one
 *    3      reserved
 *    4-19   address of the peer's board
 */
template <typename Walker>
void walk(Walker& at, Join& command) {
    at.fields(command.dsp, command.peerDsp, command.otherBoard);
    at.reserved(1);
    at.fields(command.peerBoard);
}

/*
 * Unjoin: 125; 1 byte
 *
 *    0      dsp
 */
template <typename Walker>
void walk(Walker& at, Unjoin& command) {
    at.fields(command.dsp);
}

/*
 * Acknowledgement: identifier of the command + 1; 4 bytes
 *
 *    0      dsp
 *    1      error, 0 is success
 *    2-3    local port
 */
template <typename Walker>
void walk(Walker& at, Acknowledge& event) {
    at.fields(event.dsp, event.error, event.localPort);
}

/*
 * DTMF: 114 in, 113 out; 4 bytes
 *
 *    0      dsp
 *    1      digit
 *    2-3    duration in milliseconds
 */
template <typename Walker>
void walk(Walker& at, Dtmf& event) {
    at.fields(event.dsp, event.digit, event.milliseconds);
}

/*
 * Fax tone: 123; 1 byte
 *
 *    0      dsp
 */
template <typename Walker>
void walk(Walker& at, FaxTone& event) {
    at.fields(event.dsp);
}

/*
 * Alert: 110 in, 112 out; 8 bytes
 *
 *    0      dsp
 *    1-3    not defined, sent as 0
 *    4-7    alert value
 */
template <typename Walker>
void walk(Walker& at, Alert& event) {
    at.fields(event.dsp);
    at.reserved(3);
    at.fields(event.value);
}

template <typename Message, typename = void>
struct HasDirection : std::false_type {};

template <typename Message>
struct HasDirection<Message, std::void_t<decltype(std::declval<Message>().direction)>>
    : std::true_type {};

/** Decodes a payload of the kind, whose layout is that of `Message`. */
template <typename Message, typename Walker, typename SomeKind>
Message decodeAs(Walker& from, SomeKind const& kind) {
    Message message{};
    if constexpr (HasDirection<Message>::value) {
        message.direction = *kind.direction;
    }
    walk(from, message);
    return message;
}

} // namespace dsp

#endif
