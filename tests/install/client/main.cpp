// The smallest Session Manager: opens and closes one voice channel on a board of its own making,
// and prints what passes by. Knows nothing but the installed package.

#include "MC_Manager.h"
#include "MC_Observer.h"
#include "address/IPAddress.h"
#include "collector/GC_GarbageCollector.h"
#include "host/Workstation.h"

#include <cstdio>
#include <exception>

namespace {

unsigned char const boardSid = 0x10;
char const boardIp[] = "10.0.0.1";
unsigned char const localPortHigh = 0x13; // port 5000
unsigned char const localPortLow = 0x88;

/** A board that carries out every command, and acknowledges the opening and closing of voice. */
class Board : public host::Endpoint {
public:
    void receive(imc_msg const& command) override {
        unsigned int const id = command.messageId;
        std::printf("board: command %u for DSP channel %u\n", id, command.payload[0]);
        if (id == 100 || id == 102) {
            imc_msg event = {};
            event.sourceSid = command.destinationSid;
            event.destinationSid = command.sourceSid;
            event.length = 4;
            event.messageId = id + 1;
            event.payload[0] = command.payload[0];
            event.payload[2] = localPortHigh;
            event.payload[3] = localPortLow;
            host::Workstation::instance().transport().send(event);
        }
    }
};

class SessionManager : public MC_Observer {
public:
    void faxToneEvent(MC_Channel*, MC_FaxTone const&) override { std::puts("client: fax tone"); }
    void dtmfEvent(MC_Channel*, MC_Dtmf const&) override { std::puts("client: digit"); }
    void ackEvent(MC_Channel* pChannel, MC_Acknowledge const& acknowledge) override {
        std::printf("client: acknowledged, channel %s, error %u, port %u\n",
                    pChannel->getIdentifier().c_str(), static_cast<unsigned>(acknowledge.error),
                    static_cast<unsigned>(acknowledge.localPort));
    }
    void ackErrorEvent(MC_Channel* pChannel, MC_AckError const&) override {
        std::printf("client: acknowledgement of %s channel\n",
                    pChannel == nullptr ? "no listed" : "a listed");
    }
};

void place(MC_Manager& manager) {
    MC_Channel* const channel = manager.factory();
    IPAddress const peer("10.0.9.1");
    IPAddress const board(boardIp);
    channel->dsp = 3;
    channel->direction = VCOM_DIRECTION_IN;
    channel->codec = 1;
    channel->minFraming = channel->maxFraming = VCOM_FRAMING_20;
    channel->faxTransport = VCOM_FAXTRANSPORT_UDP;
    channel->joinDsp = 0;
    channel->faxRedundancy = channel->faxDepth = 0;
    channel->rtpRemote.Set(&peer, 4000);
    channel->rtcpRemote.Set(&peer, 4001);
    manager.setMediaGateway(channel, &board);

    host::Dispatcher& dispatcher = host::Workstation::instance().dispatcher();
    manager.openChannel(channel);
    dispatcher.runReady();
    std::printf("client: %s\n", MC_Channel::stateToStr[channel->state].c_str());
    manager.closeChannel(channel);
    dispatcher.runReady();
    std::printf("client: %s\n", MC_Channel::stateToStr[channel->state].c_str());
    GC_GarbageCollector::instance()->dereference(channel);
}

} // namespace

int main() {
    try {
        host::Workstation& workstation = host::Workstation::instance();
        Board board;
        workstation.setBoard(boardIp, boardSid);
        workstation.transport().attach(boardSid, board);

        SessionManager client;
        MC_Manager* const manager = MC_Manager::instance();
        manager->registration(&client);
        place(*manager);
        manager->unregistration(&client);
        delete manager;
        workstation.transport().detach(boardSid);
        std::printf("client: %u objects left\n", static_cast<unsigned>(workstation.liveObjects()));
        return workstation.liveObjects() == 0 ? 0 : 1;
    } catch (std::exception const& failure) {
        std::fprintf(stderr, "client: %s\n", failure.what());
        return 1;
    }
}
