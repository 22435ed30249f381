#include "MC_ImcObserver.h"

#include "MC_Channel.h"
#include "MC_Log.h"
#include "MC_Manager.h"
#include "MC_Observer.h"

#include "tests/support/Recording.h"
#include "tests/unit/VirtualSlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <memory>
#include <stdexcept>
#include <type_traits>

namespace {

using namespace std::string_literals;

using recording::message;
using recording::platform;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(FaxToneEvent == 0, "");
static_assert(DtmfEvent == 1, "");
static_assert(AlertEvent == 2, "");
static_assert(OpenVoiceAck == 3, "");
static_assert(CloseVoiceAck == 4, "");
static_assert(OpenFaxAck == 5, "");
static_assert(CloseFaxAck == 6, "");

static_assert(std::is_abstract<MC_ImcObserver>::value, "");
static_assert(std::is_convertible<MC_ImcObserver*, IMC_Observer*>::value, "a public base");
static_assert(std::is_convertible<MC_FaxToneObserver*, MC_ImcObserver*>::value, "a public base");
static_assert(std::is_convertible<MC_DtmfObserver*, MC_ImcObserver*>::value, "a public base");
static_assert(std::is_convertible<MC_AlertObserver*, MC_ImcObserver*>::value, "a public base");
static_assert(std::is_convertible<MC_AckObserver*, MC_ImcObserver*>::value, "a public base");
static_assert(sizeof(MC_FaxToneObserver) == sizeof(MC_ImcObserver), "no field of its own");
static_assert(sizeof(MC_DtmfObserver) == sizeof(MC_ImcObserver), "no field of its own");
static_assert(sizeof(MC_AlertObserver) == sizeof(MC_ImcObserver), "no field of its own");
static_assert(sizeof(MC_AckObserver) == sizeof(MC_ImcObserver), "no field of its own");
static_assert(std::is_constructible<MC_FaxToneObserver, MC_Event>::value, "");
static_assert(!std::is_constructible<MC_FaxToneObserver, MC_Event, VCOM_Direction>::value, "");

unsigned char const boardSid = 0x9A;
unsigned char const dspNumber = 200;

/** The fields that an observer keeps for itself. */
template <class Observer>
class Opened : public Observer {
public:
    using Observer::direction;
    using Observer::event;
    using Observer::Observer;
};

/** The client: notes who was told of what. */
class Client : public MC_Observer {
public:
    void faxToneEvent(MC_Channel* pChannel, MC_FaxTone const&) override {
        note("fax tone", pChannel);
    }
    void ackEvent(MC_Channel* pChannel, MC_Acknowledge const&) override { note("ack", pChannel); }
    void dtmfEvent(MC_Channel* pChannel, MC_Dtmf const&) override {
        note("dtmf", pChannel);
        if (failure) {
            failure();
        }
    }
    void ackErrorEvent(MC_Channel* pChannel, MC_AckError const&) override {
        note("ack error", pChannel);
    }

    std::function<void()> failure;
    std::vector<std::string> told;

private:
    void note(std::string const& what, MC_Channel const* pChannel) {
        told.push_back(what + " " + (pChannel == nullptr ? "?" : pChannel->getIdentifier()));
    }
};

/** The manager with a channel of each direction on the same DSP channel: identifiers A1 and A2. */
class ImcObserver : public testing::Test {
protected:
    ImcObserver() {
        platform().reset();
        platform().setBoard("10.0.0.1", boardSid);
        MC_Manager::instance()->registration(&client);
        for (VCOM_Direction const direction : {VCOM_DIRECTION_IN, VCOM_DIRECTION_OUT}) {
            open(direction);
        }
        platform().clearRecords();
    }
    ~ImcObserver() override {
        platform().reset();
        delete MC_Manager::instance();
    }

    void open(VCOM_Direction direction) {
        IPAddress const board("10.0.0.1");
        channels.emplace_back(MC_Manager::instance()->factory());
        MC_Channel* const channel = channels.back().get();
        channel->identifier = 0xA0U + static_cast<unsigned int>(direction);
        channel->dsp = dspNumber;
        channel->direction = direction;
        channel->codec = 1;
        channel->minFraming = VCOM_FRAMING_20;
        channel->maxFraming = VCOM_FRAMING_20;
        MC_Manager::instance()->setMediaGateway(channel, &board);
        MC_Manager::instance()->openChannel(channel);
    }

    /** An event of the DSP channel under this identifier, with this header length. */
    static std::size_t deliver(std::uint32_t messageId, std::uint16_t length) {
        return platform().deliver(message(messageId, length, boardSid, {dspNumber, 1, 0, 80}));
    }

    void expectTrace(std::string const& text, int line) {
        ASSERT_EQ(platform().logCalls().size(), 1U);
        auto const& call = platform().logCalls().front();
        EXPECT_FALSE(call.isError);
        EXPECT_EQ(call.text, text);
        EXPECT_EQ(call.file, "framework/lib/MC_API/MC_ImcObserver");
        EXPECT_EQ(call.line, line);
    }

    Client client;
    // The manager's list holds references of its own, but is gone before the channels are.
    std::vector<std::unique_ptr<MC_Channel>> channels;
};

TEST_F(ImcObserver, DtmfUnder113IsOfDirection2AndUnder114OfDirection1) {
    EXPECT_EQ(deliver(113, 4), 1U);
    EXPECT_THAT(client.told, ElementsAre("dtmf A2"));
    client.told.clear();
    EXPECT_EQ(deliver(114, 4), 1U);
    EXPECT_THAT(client.told, ElementsAre("dtmf A1"));
}

TEST_F(ImcObserver, FaxToneUnder123IsOfDirection1) {
    EXPECT_EQ(deliver(123, 1), 1U);
    EXPECT_THAT(client.told, ElementsAre("fax tone A1"));
}

TEST_F(ImcObserver, EachAcknowledgementIsOfItsDirection) {
    for (std::uint32_t const messageId : {101U, 103U, 116U, 118U}) {
        client.told.clear();
        EXPECT_EQ(deliver(messageId, 4), 1U);
        EXPECT_THAT(client.told, ElementsAre("ack A1")) << messageId;
    }
    for (std::uint32_t const messageId : {105U, 107U, 120U, 122U}) {
        client.told.clear();
        EXPECT_EQ(deliver(messageId, 4), 1U);
        EXPECT_THAT(client.told, ElementsAre("ack A2")) << messageId;
    }
}

TEST_F(ImcObserver, FaxToneOf2BytesIsOneTraceAtLevel3AndNothingElse) {
    platform().setLogLevel(3);
    deliver(123, 2);
    EXPECT_THAT(platform().journal(),
                ElementsAre("trace MC - OBS - EVT : Fax Tone event ignored (wrong msg size)\0 | "
                            "framework/lib/MC_API/MC_ImcObserver:78"s));
    EXPECT_THAT(client.told, IsEmpty());
    EXPECT_EQ(channels[0]->state, MC_Channel::Voice_Open);
}

TEST_F(ImcObserver, FaxToneOf2BytesBelowLevel3ProducesNoOutput) {
    for (unsigned int const level : {0U, 1U, 2U}) {
        platform().setLogLevel(level);
        deliver(123, 2);
        EXPECT_THAT(platform().journal(), IsEmpty()) << level;
    }
    EXPECT_THAT(client.told, IsEmpty());
}

TEST_F(ImcObserver, EveryWrongLengthIsIgnoredAndNothingIsChanged) {
    struct Expected {
        std::uint32_t messageId;
        unsigned int length;
        std::string text;
        int line;
    };
    std::string const faxTone = "MC - OBS - EVT : Fax Tone event ignored (wrong msg size)\0"s;
    std::string const dtmf = "MC - OBS - EVT : Dtmf event ignored (wrong msg size)\0"s;
    std::string const alert = "MC - OBS - EVT : Alert event ignored (wrong msg size)\0"s;
    std::string const ack = "MC - OBS - EVT : Ack event ignored (wrong msg size)\0"s;
    platform().setLogLevel(3);
    for (Expected const& event :
         {Expected{123, 1, faxTone, 78}, Expected{114, 4, dtmf, 121}, Expected{113, 4, dtmf, 121},
          Expected{110, 8, alert, 164}, Expected{112, 8, alert, 164}, Expected{101, 4, ack, 207},
          Expected{105, 4, ack, 207}, Expected{103, 4, ack, 207}, Expected{107, 4, ack, 207},
          Expected{116, 4, ack, 207}, Expected{120, 4, ack, 207}, Expected{118, 4, ack, 207},
          Expected{122, 4, ack, 207}}) {
        for (unsigned int const wrong : {0U, event.length - 1, event.length + 1, 1024U}) {
            platform().clearRecords();
            EXPECT_EQ(deliver(event.messageId, static_cast<std::uint16_t>(wrong)), 1U);
            expectTrace(event.text, event.line);
        }
    }
    EXPECT_THAT(client.told, IsEmpty());
    EXPECT_EQ(channels[0]->state, MC_Channel::Voice_Open);
    EXPECT_EQ(channels[1]->state, MC_Channel::Voice_Open);
}

TEST_F(ImcObserver, AlertOfCorrectSizeWritesNoLogLineAndTellsNobody) {
    platform().setLogLevel(3);
    EXPECT_EQ(deliver(110, 8), 1U);
    EXPECT_EQ(deliver(112, 8), 1U);
    EXPECT_THAT(platform().journal(), IsEmpty());
    EXPECT_THAT(client.told, IsEmpty());
}

TEST_F(ImcObserver, DtmfOfAnUnknownChannelIsIgnoredWithTheLookupsText) {
    platform().setLogLevel(3);
    platform().deliver(message(113, 4, 0x9B, {dspNumber, 1, 0, 80}));
    expectTrace("MC - OBS - EVT : Dtmf event ignored (Unable to found 'OUTGOING channel' with "
                "dsp(200))\0"s,
                121);
}

TEST_F(ImcObserver, FaxToneWithoutAClientIsIgnoredWithTheReactionsText) {
    MC_Manager::instance()->unregistration(&client);
    platform().setLogLevel(3);
    deliver(123, 1);
    expectTrace(
        "MC - OBS - EVT : Fax Tone event ignored (MC_Manager::faxToneEvent pObserver(NULL))\0"s,
        78);
}

TEST_F(ImcObserver, ClientsRuntimeErrorIsIgnored) {
    client.failure = [] { throw std::runtime_error("client\0more"s); };
    deliver(114, 4);
    EXPECT_THAT(platform().logCalls(), IsEmpty());
    platform().setLogLevel(3);
    platform().clearRecords();
    deliver(114, 4);
    // The reaction's own trace comes first.
    ASSERT_EQ(platform().traces().size(), 2U);
    EXPECT_EQ(platform().traces()[1].text, "MC - OBS - EVT : Dtmf event ignored (client)\0"s);
    EXPECT_EQ(platform().traces()[1].line, 121);
    EXPECT_THAT(platform().errors(), IsEmpty());
}

using ImcObserverSpecificationDeathTest = ImcObserver;

TEST_F(ImcObserverSpecificationDeathTest,
       ClientsInvalidArgumentEndsTheProcessInsteadOfBeingDiscarded) {
    client.failure = [] { throw std::invalid_argument("client's"); };
    EXPECT_DEATH(deliver(114, 4),
                 "terminate called after throwing an instance of 'std::invalid_argument'");
}

TEST_F(ImcObserver, TimeoutHasNoEffect) {
    platform().setLogLevel(3);
    auto const observers = platform().registered();
    std::size_t called = 0;
    for (auto const& registration : observers) {
        for (unsigned int const timer : {0U, 1U, UINT_MAX}) {
            if (registration.observer != nullptr) {
                registration.observer->timeoutEvent(timer);
                ++called;
            }
        }
    }
    EXPECT_EQ(called, 14U * 3U);
    EXPECT_THAT(platform().journal(), IsEmpty());
    EXPECT_THAT(client.told, IsEmpty());
}

/** An observer of its own, while there is no manager. */
class LonelyObserver : public testing::Test {
protected:
    LonelyObserver() {
        platform().reset();
        MC_Log::instance();
        platform().clearRecords();
    }
    ~LonelyObserver() override {
        platform().reset();
        MC_Log::desinstance();
    }

    struct Case {
        IMC_Observer* observer;
        std::uint16_t length;
        std::string ignored;
        int ignoredLine;
        std::string discarded;
        int discardedLine;
    };

    std::vector<Case> cases() {
        return {{&faxTone, 1, "MC - OBS - EVT : Fax Tone event ignored (no manager)\0"s, 78,
                 "MC - EVT : Fax Tone event discarded (no manager)\0"s, 85},
                {&dtmf, 4, "MC - OBS - EVT : Dtmf event ignored (no manager)\0"s, 121,
                 "MC - EVT : Dtmf event discarded (no manager)\0"s, 128},
                {&alert, 8, "MC - OBS - EVT : Alert event ignored (no manager)\0"s, 164,
                 "MC - EVT : Alert event discarded (no manager)\0"s, 171},
                {&ack, 4, "MC - OBS - EVT : Ack event ignored (no manager)\0"s, 207,
                 "MC - EVT : Ack event discarded (no manager)\0"s, 214}};
    }

    static void deliver(Case const& event) { deliver(event, event.length); }
    static void deliver(Case const& event, std::uint16_t length) {
        platform().clearRecords();
        event.observer->messageEvent(message(1, length, boardSid, {dspNumber}));
    }

    MC_FaxToneObserver faxTone{FaxToneEvent};
    MC_DtmfObserver dtmf{DtmfEvent, VCOM_DIRECTION_IN};
    MC_AlertObserver alert{AlertEvent, VCOM_DIRECTION_OUT};
    MC_AckObserver ack{OpenVoiceAck, VCOM_DIRECTION_IN};
};

TEST_F(LonelyObserver, InvalidArgumentIsDiscardedInAllFourRegardlessOfTheLevel) {
    platform().script.registration = recording::throwing(std::invalid_argument("no manager"));
    for (Case const& event : cases()) {
        for (unsigned int const level : {0U, 1U, 2U, 3U}) {
            platform().setLogLevel(level);
            deliver(event);
            ASSERT_EQ(platform().logCalls().size(), 1U) << event.discarded;
            auto const& call = platform().logCalls().front();
            EXPECT_TRUE(call.isError);
            EXPECT_EQ(call.text, event.discarded);
            EXPECT_EQ(call.detail, "");
            EXPECT_EQ(call.file, "framework/lib/MC_API/MC_ImcObserver");
            EXPECT_EQ(call.line, event.discardedLine);
        }
    }
}

TEST_F(LonelyObserver, RuntimeErrorIsIgnoredInAllFourAtLevel3Only) {
    platform().script.registration = recording::throwing(std::runtime_error("no manager"));
    for (Case const& event : cases()) {
        for (unsigned int const level : {0U, 1U, 2U, 0xFCU | 2U}) {
            platform().setLogLevel(level);
            deliver(event);
            EXPECT_THAT(platform().logCalls(), IsEmpty()) << event.ignored;
        }
        platform().setLogLevel(0xFCU | 3U);
        deliver(event);
        ASSERT_EQ(platform().logCalls().size(), 1U) << event.ignored;
        auto const& call = platform().logCalls().front();
        EXPECT_FALSE(call.isError);
        EXPECT_EQ(call.text, event.ignored);
        EXPECT_EQ(call.file, "framework/lib/MC_API/MC_ImcObserver");
        EXPECT_EQ(call.line, event.ignoredLine);
    }
}

TEST_F(LonelyObserver, WrongLengthIsIgnoredBeforeAManagerIsAskedForAndSilentWithoutALog) {
    MC_Log::desinstance();
    for (Case const& event : cases()) {
        for (unsigned int const level : {0U, 1U, 2U, 3U}) {
            platform().setLogLevel(level);
            for (unsigned int const wrong : {0U, event.length + 1U, 1024U}) {
                deliver(event, static_cast<std::uint16_t>(wrong));
                EXPECT_THAT(platform().journal(), IsEmpty()) << event.ignored;
            }
        }
    }
}

TEST_F(LonelyObserver, ExceptionsOfOtherTypesPassOn) {
    platform().setLogLevel(3);
    for (Case const& event : cases()) {
        platform().script.registration = recording::throwing(7);
        EXPECT_THROW(deliver(event), int);
        platform().script.registration = recording::throwing(std::logic_error("other"));
        EXPECT_THROW(deliver(event), std::logic_error);
        EXPECT_THAT(platform().logCalls(), IsEmpty());
    }
}

TEST_F(LonelyObserver, FaxToneObserverStandsForDirection1) {
    Opened<MC_FaxToneObserver> const observer(FaxToneEvent);
    EXPECT_EQ(observer.event, 0);
    EXPECT_EQ(observer.direction, 1);
}

TEST_F(LonelyObserver, OthersKeepTheirEventAndDirection) {
    Opened<MC_DtmfObserver> const dtmfOut(DtmfEvent, VCOM_DIRECTION_OUT);
    EXPECT_EQ(dtmfOut.event, 1);
    EXPECT_EQ(dtmfOut.direction, 2);
    Opened<MC_AlertObserver> const alertIn(AlertEvent, VCOM_DIRECTION_IN);
    EXPECT_EQ(alertIn.event, 2);
    EXPECT_EQ(alertIn.direction, 1);
    Opened<MC_AckObserver> const closeFaxOut(CloseFaxAck, VCOM_DIRECTION_OUT);
    EXPECT_EQ(closeFaxOut.event, 6);
    EXPECT_EQ(closeFaxOut.direction, 2);
    EXPECT_TRUE(std::less<void const*>{}(&closeFaxOut.event, &closeFaxOut.direction));
}

TEST_F(LonelyObserver, NeitherRegistersNorUnregistersItself) {
    {
        MC_FaxToneObserver const briefFaxTone(FaxToneEvent);
        MC_DtmfObserver const briefDtmf(DtmfEvent, VCOM_DIRECTION_IN);
        MC_AlertObserver const briefAlert(AlertEvent, VCOM_DIRECTION_IN);
        MC_AckObserver const briefAck(OpenVoiceAck, VCOM_DIRECTION_IN);
    }
    EXPECT_THAT(platform().journal(), IsEmpty());
}

TEST_F(LonelyObserver, VirtualOperationsTakeTheirSlots) {
    EXPECT_EQ(virtualSlot(&MC_ImcObserver::messageEvent), 2U);
    EXPECT_EQ(virtualSlot(&MC_ImcObserver::timeoutEvent), 3U);
    EXPECT_EQ(virtualSlot(&MC_AckObserver::messageEvent), 2U);
    EXPECT_EQ(virtualSlot(&MC_AckObserver::timeoutEvent), 3U);
}

} // namespace
