#ifndef DSP_SPELLING_H
#define DSP_SPELLING_H

#include "dsp/Commands.h"
#include "dsp/Events.h"

/*
 * The text form of each command and event, written once for both ways: `spell` shows its fields,
 * in the order of the text, to what prints them or reads them.
 */
namespace dsp {

template <typename Form, typename VoiceCommand>
void spellRemoteAndLocal(Form& form, VoiceCommand& command) {
    form.endpoint("remote", command.remoteAddress, command.remoteRtpPort);
    form.number("remoteRtcp", command.remoteRtcpPort);
    form.number("local", command.localRtpPort);
}

template <typename Form, typename VoiceCommand>
void spellPayloadTypes(Form& form, VoiceCommand& command) {
    form.number("dtmfPt", command.dtmfPayloadType);
    form.number("redundancyPt", command.redundancyPayloadType);
}

template <typename Form>
void spellRest(Form& form, OpenVoice& command) {
    form.number("codec", command.codec);
    form.protocol("fax", command.faxProtocol);
    spellRemoteAndLocal(form, command);
    if (command.direction == Direction::in) {
        form.number("tick", command.tickRequest);
        form.number("param1", command.voiceParam1);
        form.number("param2", command.voiceParam2);
    }
    spellPayloadTypes(form, command);
}

template <typename Form>
void spellRest(Form& form, UpdateVoice& command) {
    spellRemoteAndLocal(form, command);
    spellPayloadTypes(form, command);
}

template <typename Form>
void spellRest(Form& form, SetSilenceCompression& command) {
    form.number("SILENCE_COMPRESSION", command.on);
}

template <typename Form>
void spellRest(Form& form, SetDigitDetection& command) {
    form.number("DIGIT_DETECTION", command.mode);
}

template <typename Form>
void spellRest(Form& form, SetPacketLength& command) {
    form.range("PACKET_LENGTH", command.minimum, command.maximum);
}

template <typename Form>
void spellRest(Form& form, SetFaxDetection& command) {
    form.number("FAX_T38", command.mode);
}

template <typename Form>
void spellRest(Form& form, SetUnknown& command) {
    form.number("code", command.code);
    form.number("value", command.value);
}

template <typename Form>
void spellRest(Form& form, OpenFax& command) {
    form.protocol("protocol", command.protocol);
    if (command.direction == Direction::out) {
        form.endpoint("remote", command.remoteIpv4, command.remotePort);
        form.number("redundancy", command.redundancy);
        form.number("depth", command.depth);
        form.number("noSignal", command.noSignal);
        form.number("ced", command.ced);
    }
}

template <typename Form>
void spellRest(Form& form, Join& command) {
    form.number("peer", command.peerDsp);
    form.address("board", command.peerBoard);
    form.number("otherBoard", command.otherBoard);
}

template <typename Form>
void spellRest(Form&, CloseVoice&) {}

template <typename Form>
void spellRest(Form&, CloseFax&) {}

template <typename Form>
void spellRest(Form&, Unjoin&) {}

template <typename Form>
void spellRest(Form& form, Acknowledge& event) {
    form.error("error", event.error);
    form.number("port", event.localPort);
}

template <typename Form>
void spellRest(Form& form, Dtmf& event) {
    form.number("digit", event.digit);
    form.milliseconds("duration", event.milliseconds);
}

template <typename Form>
void spellRest(Form& form, Alert& event) {
    form.number("value", event.value);
}

template <typename Form>
void spellRest(Form&, FaxTone&) {}

/** All fields, the DSP channel's number first. */
template <typename Form, typename Message>
void spell(Form& form, Message& message) {
    form.number("dsp", message.dsp);
    spellRest(form, message);
}

} // namespace dsp

#endif
