#include "benchmarks/Scenarios.h"

#include "benchmarks/Floor.h"
#include "benchmarks/SwallowingPlatform.h"
#include "tests/unit/MC_ManagerTestAccess.h"

#include "MC_Manager.h"

#include "address/IPAddress.h"
#include "collector/GC_GarbageCollector.h"
#include "imc/IMC_Observer.h"

namespace {

unsigned char const board = 0x10;

struct Client : MC_Observer {
    void faxToneEvent(MC_Channel* pChannel, MC_FaxTone const&) override { take(pChannel); }
    void ackEvent(MC_Channel* pChannel, MC_Acknowledge const&) override { take(pChannel); }
    void dtmfEvent(MC_Channel* pChannel, MC_Dtmf const&) override { take(pChannel); }
    void ackErrorEvent(MC_Channel* pChannel, MC_AckError const&) override { take(pChannel); }

    void take(MC_Channel const* pChannel) { bench::swallowed += pChannel->dsp; }
};

/** The library, its client, and a channel in hand; the floor works on the same channel. */
struct Desk {
    Client client;
    MC_Channel* pChannel = nullptr;
    std::list<MC_Channel*> floorList;

    Desk() { MC_Manager::instance()->registration(&client); }

    /** Starts anew with this many open channels, the one in hand being the last. */
    void open(unsigned int count, VCOM_Direction direction) {
        clear();
        bench::setLogLevel(0);
        for (unsigned int i = 0; i < count; ++i) {
            make(direction, static_cast<std::uint8_t>(i % 256),
                 static_cast<std::uint8_t>(board + i / 256));
            MC_Manager::instance()->openChannel(pChannel);
            floorList.push_back(pChannel);
        }
    }

    /** Starts anew with one channel that is not open. */
    void hold(VCOM_Direction direction, unsigned int level) {
        clear();
        bench::setLogLevel(level);
        make(direction, 1, board);
    }

private:
    void make(VCOM_Direction direction, std::uint8_t dsp, std::uint8_t sid) {
        IPAddress const ip(0x0A000001);
        pChannel = MC_Manager::instance()->factory();
        pChannel->direction = direction;
        pChannel->dsp = dsp;
        pChannel->sid = sid;
        pChannel->codec = 1;
        pChannel->minFraming = VCOM_FRAMING_10;
        pChannel->maxFraming = VCOM_FRAMING_20;
        pChannel->rtpDtmfPayloadType = 101;
        pChannel->rtpLocal.Set(&ip, 4000);
        pChannel->rtpRemote.Set(&ip, 5000);
        pChannel->rtcpLocal.Set(&ip, 4001);
        pChannel->rtcpRemote.Set(&ip, 5001);
        held.push_back(pChannel);
    }

    void clear() {
        for (MC_Channel* const each : held) {
            MC_Manager::instance()->closeChannel(each);
            GC_GarbageCollector::instance()->dereference(each);
        }
        held.clear();
        floorList.clear();
    }

    std::vector<MC_Channel*> held;
};

Desk& desk() {
    static Desk theDesk;
    return theDesk;
}

imc_msg event(std::uint32_t messageId, std::uint16_t length) {
    imc_msg message = imc_msg();
    message.sourceSid = board;
    message.length = length;
    message.messageId = messageId;
    message.payload[2] = 0x13;
    message.payload[3] = 0x88;
    return message;
}

bench::Scenario openAndClose(std::string const& name, VCOM_Direction direction, unsigned int level,
                             double wanted) {
    return {name, wanted, [=] { desk().hold(direction, level); },
            [] {
                MC_Manager::instance()->openChannel(desk().pChannel);
                MC_Manager::instance()->closeChannel(desk().pChannel);
            },
            [] {
                floor_::open(desk().floorList, desk().pChannel);
                floor_::close(desk().floorList, desk().pChannel);
            }};
}

bench::Scenario eventOf(std::string const& name, imc_msg const& message, VCOM_Direction direction,
                        std::function<void()> floor) {
    IMC_Observer* const pObserver =
        &bench::observerOf(static_cast<long>(static_cast<std::uint32_t>(message.messageId)));
    return {name, 2.0, [=] { desk().open(1, direction); },
            [=] { pObserver->messageEvent(message); }, floor};
}

bench::Scenario acknowledgement(std::string const& name, std::uint32_t messageId,
                                VCOM_Direction direction) {
    imc_msg const message = event(messageId, 4);
    return eventOf(name, message, direction, [=] {
        floor_::acknowledge(desk().floorList, desk().client, message, direction);
    });
}

bench::Scenario digit(std::string const& name, std::uint32_t messageId, VCOM_Direction direction) {
    imc_msg const message = event(messageId, 4);
    return eventOf(name, message, direction,
                   [=] { floor_::dtmf(desk().floorList, desk().client, message, direction); });
}

bench::Scenario lookup(unsigned int count) {
    return {"getChannel, " + std::to_string(count) + " listed", 1.2,
            [=] { desk().open(count, VCOM_DIRECTION_IN); },
            [] {
                MC_Channel const* const p = desk().pChannel;
                bench::swallowed +=
                    MC_Manager::instance()
                        ->getChannel(p->dsp, p->direction, static_cast<char>(p->sid))
                        ->dsp;
            },
            [] {
                MC_Channel const* const p = desk().pChannel;
                bench::swallowed +=
                    floor_::find(MC_ManagerTestAccess::channels(*MC_Manager::instance()), p->dsp,
                                 p->direction, p->sid)
                        ->dsp;
            }};
}

bench::Scenario guard(unsigned int count) {
    return {"guard, " + std::to_string(count) + " listed", 1.2,
            [=] { desk().open(count, VCOM_DIRECTION_IN); },
            [] {
                MC_ManagerTestAccess::channelCheck(*MC_Manager::instance(), desk().pChannel,
                                                   "closeVoice");
            },
            [] {
                bench::swallowed +=
                    floor_::contains(MC_ManagerTestAccess::channels(*MC_Manager::instance()),
                                     desk().pChannel, "closeVoice");
            }};
}

std::vector<bench::Scenario> build() {
    desk();
    imc_msg const faxTone = event(123, 1);
    imc_msg const faxOpened = event(116, 4);
    std::vector<bench::Scenario> all = {
        openAndClose("open and close, in, traces off", VCOM_DIRECTION_IN, 0, 1.5),
        openAndClose("open and close, out, traces off", VCOM_DIRECTION_OUT, 0, 1.5),
        openAndClose("open and close, in, traces on", VCOM_DIRECTION_IN, 3, 0),
        openAndClose("open and close, out, traces on", VCOM_DIRECTION_OUT, 3, 0),
        acknowledgement("open-voice acknowledgement, in", 101, VCOM_DIRECTION_IN),
        acknowledgement("open-voice acknowledgement, out", 105, VCOM_DIRECTION_OUT),
        acknowledgement("close-voice acknowledgement, in", 103, VCOM_DIRECTION_IN),
        acknowledgement("close-voice acknowledgement, out", 107, VCOM_DIRECTION_OUT),
        eventOf("open-fax acknowledgement, in", faxOpened, VCOM_DIRECTION_IN,
                [=] { floor_::acknowledgeFax(desk().floorList, desk().client, faxOpened); }),
        acknowledgement("open-fax acknowledgement, out", 120, VCOM_DIRECTION_OUT),
        acknowledgement("close-fax acknowledgement, in", 118, VCOM_DIRECTION_IN),
        acknowledgement("close-fax acknowledgement, out", 122, VCOM_DIRECTION_OUT),
        digit("DTMF digit, in", 114, VCOM_DIRECTION_IN),
        digit("DTMF digit, out", 113, VCOM_DIRECTION_OUT),
        eventOf("fax tone", faxTone, VCOM_DIRECTION_IN,
                [=] { floor_::faxTone(desk().floorList, desk().client, faxTone); }),
    };
    for (unsigned int const count : {1U, 64U, 512U, 4096U}) {
        all.push_back(lookup(count));
        all.push_back(guard(count));
    }
    return all;
}

} // namespace

std::vector<bench::Scenario> const& bench::scenarios() {
    static std::vector<Scenario> const all = build();
    return all;
}
