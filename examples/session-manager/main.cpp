// A Session Manager in one file: one call in both directions, from factory() to the last reference.
// The platform is the workstation's, and the DSP board is software in this process.

#include "MC_Channel.h"
#include "MC_Manager.h"
#include "MC_Message.h"
#include "MC_Observer.h"
#include "dsp/Board.h"
#include "host/Workstation.h"

#include "address/IPAddress.h"
#include "collector/GC_GarbageCollector.h"

#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>

namespace {

unsigned char const boardSid = 0x10;
unsigned int const dspChannel = 3;

/** The DSP board: serves its IMC address, and shows the commands that reach it. */
class InProcessBoard : public host::Endpoint {
public:
    InProcessBoard() : device(options(), sendEvent, showReport) {
        host::Workstation::instance().setBoard("10.0.0.1", boardSid);
        host::Workstation::instance().transport().attach(boardSid, *this);
    }
    ~InProcessBoard() override { host::Workstation::instance().transport().detach(boardSid); }

    void receive(imc_msg const& command) override {
        std::printf("    %s\n", dsp::describe(command).c_str());
        device.receive(command);
    }

    dsp::Board device;

private:
    static dsp::BoardOptions options() {
        dsp::BoardOptions options;
        options.sid = boardSid;
        return options;
    }
    static void sendEvent(imc_msg const& event) {
        host::Workstation::instance().transport().send(event);
    }
    static void showReport(std::string const& text) { std::printf("    %s\n", text.c_str()); }
};

// A record holds one reference of ours from factory() on; the collector takes it back.
struct GiveBack {
    void operator()(MC_Channel* pChannel) const {
        GC_GarbageCollector::instance()->dereference(pChannel);
    }
};
using Channel = std::unique_ptr<MC_Channel, GiveBack>;

class SessionManager : public MC_Observer {
public:
    SessionManager() : manager(MC_Manager::instance()) { manager->registration(this); }

    // All channels are closed here: the manager would not give back the references of listed ones.
    ~SessionManager() override {
        manager->unregistration(this);
        delete manager;
    }

    Channel create(VCOM_Direction direction) {
        Channel channel(manager->factory());
        channel->direction = direction;
        channel->dsp = dspChannel;
        channel->codec = 1; // G.711 A-law
        channel->minFraming = VCOM_FRAMING_10;
        channel->maxFraming = VCOM_FRAMING_30;
        channel->rtpDtmfPayloadType = 101; // other than 0: the DSP detects digits
        channel->faxDetection = direction == VCOM_DIRECTION_IN; // tones are heard on this side
        channel->vad = direction == VCOM_DIRECTION_IN;          // the other one disagrees

        // These three have no default.
        channel->joinDsp = 0;
        channel->faxRedundancy = 3;
        channel->faxDepth = 1;

        IPAddress const board("10.0.0.1");
        IPAddress const peer("10.0.9.1");
        channel->rtpLocal.Set(&board, 0);
        channel->rtcpLocal.Set(&board, 0);
        channel->rtpRemote.Set(&peer, 4000);
        channel->rtcpRemote.Set(&peer, 4001);
        manager->setMediaGateway(channel.get(), &board);
        return channel;
    }

    void begin() {
        in = create(VCOM_DIRECTION_IN);
        out = create(VCOM_DIRECTION_OUT);
        open(*in);
        open(*out);
        std::printf("silence suppression: in %d, out %d\n", in->vad, out->vad);
    }

    void open(MC_Channel& channel) {
        try {
            manager->openChannel(&channel);
        } catch (std::runtime_error const& refusal) {
            std::printf("refused: %s\n", refusal.what());
            // The record is listed all the same, and what was sent stays in force.
            manager->closeChannel(&channel);
        }
    }

    void movePeer() {
        IPAddress const peer("10.0.9.2");
        for (MC_Channel* const pChannel : {in.get(), out.get()}) {
            pChannel->rtpRemote.Set(&peer, 4100);
            pChannel->rtcpRemote.Set(&peer, 4101);
            manager->updateChannel(pChannel);
        }
    }

    void joinAndUnjoin() {
        try {
            manager->joinChannel(in.get());
        } catch (std::runtime_error const& refusal) {
            std::printf("refused: %s\n", refusal.what()); // says "unjoin", and means the join
        }
        in->joinIp = new IPAddress("10.0.0.2"); // the record owns it from now on
        in->joinDsp = 5;
        manager->joinChannel(in.get());
        manager->unjoinChannel(in.get());
    }

    void refuse() {
        Channel const channel = create(VCOM_DIRECTION_OUT);
        channel->dsp = dspChannel + 1;
        channel->codec = 0;
        open(*channel);
        std::printf("references: %u\n", static_cast<unsigned>(channel->referenceCount));
    }

    void end() {
        manager->closeChannel(in.get());
        manager->closeChannel(out.get());
    }

    void ackEvent(MC_Channel* pChannel, MC_Acknowledge const& acknowledge) override {
        std::printf("ackEvent: channel %s, error %u, port %u\n", pChannel->getIdentifier().c_str(),
                    static_cast<unsigned>(acknowledge.error),
                    static_cast<unsigned>(acknowledge.localPort));
    }

    void ackErrorEvent(MC_Channel* pChannel, MC_AckError const&) override {
        std::printf("ackErrorEvent: channel %s\n",
                    pChannel == nullptr ? "unknown" : pChannel->getIdentifier().c_str());
    }

    void dtmfEvent(MC_Channel* pChannel, MC_Dtmf const& dtmf) override {
        std::printf("dtmfEvent: channel %s, digit %u\n", pChannel->getIdentifier().c_str(),
                    static_cast<unsigned>(dtmf.digit));
    }

    // The tone is told of the in record only; both directions change to fax.
    void faxToneEvent(MC_Channel* pChannel, MC_FaxTone const&) override {
        std::printf("faxToneEvent: channel %s\n", pChannel->getIdentifier().c_str());
        try {
            manager->activateFax(in.get());
            manager->activateFax(out.get());
        } catch (std::exception const& refusal) {
            // Nothing but a std::runtime_error may leave this callback; nothing does.
            std::printf("refused: %s\n", refusal.what());
        }
    }

private:
    MC_Manager* manager;
    Channel in;
    Channel out;
};

// Messages are delivered on the loop, and every call of ours is a task of it: so no event comes
// into the middle of a call. Everything that the call sets off has happened when this returns.
void onLoop(char const* what, std::function<void()> const& call) {
    std::printf("%s\n", what);
    host::Workstation::instance().dispatcher().post(call);
    host::Workstation::instance().dispatcher().runReady();
}

} // namespace

int main() {
    host::Workstation& workstation = host::Workstation::instance();
    InProcessBoard board;
    {
        SessionManager sessions;
        // The library reads its settings when message 600 says that they changed, not before.
        workstation.setConfiguration("/current//gw_priv", "fax_proto", "udp");
        onLoop("== configure", [&] { workstation.announceConfiguration(); });
        onLoop("== open", [&] { sessions.begin(); });
        onLoop("== digit", [&] { board.device.raiseDtmf(dspChannel, dsp::Direction::in, 5, 80); });
        onLoop("== update", [&] { sessions.movePeer(); });
        onLoop("== join", [&] { sessions.joinAndUnjoin(); });
        onLoop("== fax", [&] { board.device.raiseFaxTone(dspChannel); });
        onLoop("== refusal", [&] { sessions.refuse(); });
        onLoop("== close", [&] { sessions.end(); });
    }
    std::printf("records left: %zu\n", workstation.liveObjects());
    return 0;
}
