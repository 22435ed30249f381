// A client of the library, written so that C++11 and C++23 take it alike.

#include "tests/clients/Board.h"

#include "MC_Manager.h"
#include "MC_Observer.h"
#include "address/IPAddress.h"
#include "collector/GC_GarbageCollector.h"

#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

int failures = 0;

void require(bool holds, char const* what) {
    if (!holds) {
        std::fprintf(stderr, "failed: %s\n", what);
        ++failures;
    }
}

#define REQUIRE(condition) require((condition), #condition)

/** What the library told its client. */
class SessionManager : public MC_Observer {
public:
    void faxToneEvent(MC_Channel*, MC_FaxTone const&) override { ++otherEvents; }
    void dtmfEvent(MC_Channel*, MC_Dtmf const&) override { ++otherEvents; }

    void ackEvent(MC_Channel* pChannel, MC_Acknowledge const& acknowledge) override {
        ++acknowledgements;
        channel = pChannel;
        dsp = acknowledge.dsp;
        error = acknowledge.error;
        localPort = acknowledge.localPort;
        if (isRefusing) {
            throw std::runtime_error("not now");
        }
    }

    void ackErrorEvent(MC_Channel* pChannel, MC_AckError const&) override {
        ++refusals;
        channel = pChannel;
    }

    bool isRefusing = false;
    int acknowledgements = 0;
    int refusals = 0;
    int otherEvents = 0;
    MC_Channel* channel = nullptr;
    std::uint32_t dsp = 0;
    std::uint32_t error = 0;
    std::uint16_t localPort = 0;
};

void fill(MC_Channel& channel) {
    IPAddress const peer("10.0.9.1");
    channel.dsp = 3;
    channel.direction = VCOM_DIRECTION_IN;
    channel.codec = 1;
    channel.minFraming = VCOM_FRAMING_20;
    channel.maxFraming = VCOM_FRAMING_20;
    channel.faxTransport = VCOM_FAXTRANSPORT_UDP;
    channel.joinDsp = 0;
    channel.faxRedundancy = 0;
    channel.faxDepth = 0;
    channel.rtpRemote.Set(&peer, 4000);
    channel.rtcpRemote.Set(&peer, 4001);
}

void checkRecord(MC_Channel const& channel) {
    std::string const description = channel;
    REQUIRE(description.find(channel.getIdentifier()) != std::string::npos);
    REQUIRE(MC_Channel::stateToStr[MC_Channel::Voice_Open] == "Voice_Open");
    REQUIRE(channel.getSMFraming(VCOM_FRAMING_20) == 160);
    bool isRefused = false;
    try {
        channel.getSMFraming(VCOM_FRAMING_NONE);
    } catch (std::runtime_error const& refusal) {
        isRefused = std::string(refusal.what()).size() > 0;
    }
    REQUIRE(isRefused);
}

void checkOpen(MC_Manager& manager, SessionManager& client, MC_Channel& channel) {
    manager.openChannel(&channel);
    REQUIRE(channel.state == MC_Channel::Voice_Open);
    REQUIRE(channel.referenceCount == 2);
    // Silence suppression, digit detection, open voice.
    REQUIRE((board::takePosted() == std::vector<std::uint32_t>{108, 108, 100}));

    REQUIRE(board::acknowledge(101, 3, 0, 5000) == 1);
    REQUIRE(client.acknowledgements == 1);
    REQUIRE(client.channel == &channel);
    REQUIRE(client.dsp == 3);
    REQUIRE(client.error == 0);
    REQUIRE(client.localPort == 5000);
}

void checkExceptionsOfTheClient(SessionManager& client, MC_Channel const& channel) {
    client.isRefusing = true;
    client.channel = nullptr;
    REQUIRE(board::acknowledge(101, 3, 0, 5000) == 1);
    REQUIRE(client.acknowledgements == 2);
    REQUIRE(client.refusals == 1);
    REQUIRE(client.channel == &channel);
    client.isRefusing = false;
}

void checkClose(MC_Manager& manager, MC_Channel& channel) {
    manager.closeChannel(&channel);
    REQUIRE(channel.state == MC_Channel::Close);
    REQUIRE(channel.referenceCount == 1);
    REQUIRE((board::takePosted() == std::vector<std::uint32_t>{102}));
}

void checkRegistration(MC_Manager& manager, SessionManager& client) {
    bool isRefused = false;
    try {
        manager.registration(nullptr);
    } catch (std::invalid_argument const& refusal) {
        isRefused = std::string(refusal.what()).size() > 0;
    }
    REQUIRE(isRefused);
    manager.registration(&client);
}

void runCall() {
    SessionManager client;
    MC_Manager& manager = *MC_Manager::instance();
    checkRegistration(manager, client);

    MC_Channel& channel = *manager.factory();
    fill(channel);
    IPAddress const mediaGateway(board::ip);
    manager.setMediaGateway(&channel, &mediaGateway);
    REQUIRE(channel.sid == board::sid);
    board::takePosted();

    checkRecord(channel);
    checkOpen(manager, client, channel);
    checkExceptionsOfTheClient(client, channel);
    checkClose(manager, channel);
    REQUIRE(client.otherEvents == 0);

    manager.unregistration(&client);
    delete &manager;
    GC_GarbageCollector::instance()->dereference(&channel);
    REQUIRE(board::liveObjects() == 0);
}

} // namespace

int main() {
    board::setUp();
    runCall();
    std::printf("client: C++ %ld, %d failures\n", static_cast<long>(__cplusplus), failures);
    return failures == 0 ? 0 : 1;
}
