#include "benchmarks/Floor.h"

#include "MC_Channel.h"
#include "MC_Message.h"
#include "MC_Observer.h"

#include "address/INetAddress.h"
#include "collector/GC_GarbageCollector.h"
#include "imc/IMC_Manager.h"

#define BENCH_NOINLINE __attribute__((noinline))

namespace {

BENCH_NOINLINE void guard(MC_Channel const*, std::string) {}

BENCH_NOINLINE void post(imc_msg message, std::string, MC_Channel const*) {
    IMC_Manager::instance(0xff)->post(message);
}

imc_msg command(MC_Channel const* pChannel, std::uint32_t messageId, std::uint16_t length) {
    imc_msg message = imc_msg();
    message.destinationSid = pChannel->sid;
    message.length = length;
    message.messageId = messageId;
    message.payload[0] = pChannel->dsp;
    return message;
}

void put16(imc_msg& message, unsigned int offset, unsigned int value) {
    message.payload[offset] = static_cast<unsigned char>(value >> 8);
    message.payload[offset + 1] = static_cast<unsigned char>(value & 0xFFU);
}

unsigned int portOf(UDPAddr const& end) {
    return TransportAddress(end.GetINetAddress(), end.GetPort()).GetPort();
}

BENCH_NOINLINE void setParameter(MC_Channel const* pChannel, char const* where, char const* what,
                                 unsigned char code, unsigned int first, unsigned int second) {
    guard(pChannel, where);
    imc_msg message = command(pChannel, 108, 6);
    message.payload[1] = code;
    put16(message, 2, first);
    put16(message, 4, second);
    post(message, what, pChannel);
}

BENCH_NOINLINE void openVoice(MC_Channel const* pChannel) {
    bool const isIn = pChannel->direction == VCOM_DIRECTION_IN;
    guard(pChannel, "openVoice");
    imc_msg message = command(pChannel, isIn ? 100 : 104, 36);
    message.payload[2] = 17;
    {
        TransportAddress const copy(pChannel->rtpRemote.GetINetAddress(),
                                    pChannel->rtpRemote.GetPort());
        copy.GetINetAddress()->GetBinary(
            reinterpret_cast<unsigned char(&)[16]>(message.payload[4]));
    }
    put16(message, 20, portOf(pChannel->rtpRemote));
    put16(message, 22, portOf(pChannel->rtpLocal));
    put16(message, 24, portOf(pChannel->rtcpRemote));
    message.payload[30] = isIn ? pChannel->inboundVoiceParam2 : std::uint8_t(0);
    message.payload[31] = isIn ? pChannel->inboundVoiceParam1 : std::uint8_t(0);
    message.payload[32] = pChannel->rtpDtmfPayloadType;
    message.payload[33] = pChannel->rtpRedundancyPayloadType;
    post(message, "Failed to Open Voice", pChannel);
}

MC_Channel* channelOf(std::list<MC_Channel*> const& channels, imc_msg const& message,
                      VCOM_Direction direction) {
    return floor_::find(channels, message.payload[0], direction, message.sourceSid);
}

} // namespace

void floor_::open(std::list<MC_Channel*>& channels, MC_Channel* pChannel) {
    channels.push_back(pChannel);
    GC_GarbageCollector::instance()->isTraceOn();
    ++pChannel->referenceCount;
    guard(pChannel, "checkSilenceSuppressionMode");
    setParameter(pChannel, "setSilenceSuppressionActive", "Failed to set SILENCE_COMPRESSION", 2,
                 pChannel->vad ? 0x100 : 0, 0);
    if (pChannel->direction == VCOM_DIRECTION_OUT) {
        setParameter(pChannel, "setPacketLength", "Failed to set PACKET_LENGTH", 4, 80, 160);
    }
    setParameter(pChannel, "setDigitDetection", "Failed to set DIGIT_DETECTION", 3, 0x200, 0);
    openVoice(pChannel);
    pChannel->voiceOpen = true;
    pChannel->state = MC_Channel::Voice_Open;
}

void floor_::close(std::list<MC_Channel*>& channels, MC_Channel* pChannel) {
    guard(pChannel, "closeVoice");
    imc_msg const message =
        command(pChannel, pChannel->direction == VCOM_DIRECTION_IN ? 102 : 106, 1);
    post(message, "Failed to Close Voice", pChannel);
    pChannel->voiceOpen = false;
    pChannel->state = MC_Channel::Close;
    channels.pop_back();
    GC_GarbageCollector::instance()->dereference(pChannel);
}

void floor_::acknowledge(std::list<MC_Channel*> const& channels, MC_Observer& client,
                         imc_msg const& message, VCOM_Direction direction) {
    MC_Acknowledge const record(message);
    client.ackEvent(channelOf(channels, message, direction), record);
}

void floor_::acknowledgeFax(std::list<MC_Channel*> const& channels, MC_Observer& client,
                            imc_msg const& message) {
    MC_Acknowledge const record(message);
    MC_Channel* const pChannel = channelOf(channels, message, VCOM_DIRECTION_IN);
    pChannel->rtpLocal.Set(pChannel->rtpLocal.GetINetAddress(), record.localPort);
    pChannel->rtcpLocal.Set(pChannel->rtcpLocal.GetINetAddress(),
                            static_cast<std::uint16_t>(record.localPort + 1));
    client.ackEvent(pChannel, record);
}

void floor_::dtmf(std::list<MC_Channel*> const& channels, MC_Observer& client,
                  imc_msg const& message, VCOM_Direction direction) {
    MC_Dtmf const record(message);
    client.dtmfEvent(channelOf(channels, message, direction), record);
}

void floor_::faxTone(std::list<MC_Channel*> const& channels, MC_Observer& client,
                     imc_msg const& message) {
    MC_FaxTone const record(message);
    client.faxToneEvent(channelOf(channels, message, VCOM_DIRECTION_IN), record);
}

BENCH_NOINLINE MC_Channel* floor_::find(std::list<MC_Channel*> const& channels, int dsp,
                                        VCOM_Direction direction, unsigned char sid) {
    for (MC_Channel* const pChannel : channels) {
        if (pChannel->dsp == dsp && pChannel->direction == direction && pChannel->sid == sid) {
            return pChannel;
        }
    }
    return nullptr;
}

BENCH_NOINLINE bool floor_::contains(std::list<MC_Channel*> const& channels,
                                     MC_Channel const* pChannel, std::string) {
    for (MC_Channel const* const entry : channels) {
        if (entry == pChannel) {
            return true;
        }
    }
    return false;
}
