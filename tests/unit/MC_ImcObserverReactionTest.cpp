#include "MC_ImcObserver.h"
#include "MC_Log.h"
#include "MC_Message.h"

#include "tests/support/Recording.h"
#include "tests/unit/ScriptedManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <stdexcept>

// The observers alone, with reactions that throw what the manager's own never let out.

namespace {

using namespace std::string_literals;

using recording::message;
using recording::platform;
using testing::ElementsAre;
using testing::IsEmpty;

/** What reached a reaction. */
struct Seen {
    std::string reaction;
    int event;
    int direction;
    std::string record;

    bool operator==(Seen const& other) const {
        return reaction == other.reaction && event == other.event && direction == other.direction &&
               record == other.record;
    }
};

void PrintTo(Seen const& seen, std::ostream* out) {
    *out << seen.reaction << "(" << seen.event << ", " << seen.direction << ", " << seen.record
         << ")";
}

/** An observer, a message that it takes, and the texts of what it reports. */
struct Observer {
    char const* name;
    std::shared_ptr<IMC_Observer> observer;
    std::uint16_t length;
    Seen expected;
    std::string ignored;
    int ignoredLine;
    std::string discarded;
    int discardedLine;
};

void PrintTo(Observer const& observer, std::ostream* out) {
    *out << observer.name;
}

Observer faxTone() {
    return {"FaxTone",
            std::make_shared<MC_FaxToneObserver>(FaxToneEvent),
            1,
            {"faxToneEvent", 0, 1, "dsp 200 sid 154"},
            "EVT : Fax Tone event ignored (",
            78,
            "EVT : Fax Tone event discarded (",
            85};
}

Observer dtmf(char const* name, VCOM_Direction direction) {
    return {name,
            std::make_shared<MC_DtmfObserver>(DtmfEvent, direction),
            4,
            {"dtmfEvent", 1, direction, "dsp 200 sid 154 digit 17 duration 8755"},
            "EVT : Dtmf event ignored (",
            121,
            "EVT : Dtmf event discarded (",
            128};
}

Observer alert(char const* name, VCOM_Direction direction) {
    return {name,
            std::make_shared<MC_AlertObserver>(AlertEvent, direction),
            8,
            {"alertEvent", 2, direction, "dsp 200 sid 154 alert 1146447479"},
            "EVT : Alert event ignored (",
            164,
            "EVT : Alert event discarded (",
            171};
}

Observer ack(char const* name, MC_Event event, VCOM_Direction direction) {
    return {name,
            std::make_shared<MC_AckObserver>(event, direction),
            4,
            {"ackEvent", event, direction, "dsp 200 sid 154 error 17 port 8755"},
            "EVT : Ack event ignored (",
            207,
            "EVT : Ack event discarded (",
            214};
}

std::string base(MC_Message const& record) {
    return "dsp " + std::to_string(record.dsp) + " sid " + std::to_string(record.sid);
}

class ObserverReaction : public testing::TestWithParam<Observer> {
protected:
    ObserverReaction() {
        platform().reset();
        MC_Log::instance();
        auto& script = scriptedManager();
        script = ScriptedManager{};
        script.instance = [this] { ++instances; };
        script.faxToneEvent = [this](MC_Event event, VCOM_Direction direction,
                                     MC_FaxTone const& r) {
            react({"faxToneEvent", event, direction, base(r)});
        };
        script.dtmfEvent = [this](MC_Event event, VCOM_Direction direction, MC_Dtmf const& r) {
            react({"dtmfEvent", event, direction,
                   base(r) + " digit " + std::to_string(r.digit) + " duration " +
                       std::to_string(r.duration)});
        };
        script.alertEvent = [this](MC_Event event, VCOM_Direction direction, MC_Alert const& r) {
            react({"alertEvent", event, direction,
                   base(r) + " alert " + std::to_string(static_cast<std::uint32_t>(r.alert))});
        };
        script.ackEvent = [this](MC_Event event, VCOM_Direction direction,
                                 MC_Acknowledge const& r) {
            react({"ackEvent", event, direction,
                   base(r) + " error " + std::to_string(r.error) + " port " +
                       std::to_string(r.localPort)});
        };
        platform().clearRecords();
    }
    ~ObserverReaction() override {
        scriptedManager() = ScriptedManager{};
        MC_Log::desinstance();
    }

    void react(Seen const& what) {
        seen.push_back(what);
        if (failure) {
            failure();
        }
    }

    /** The record's own bytes are 0x11, 0x2233, or 0x44556677 where it starts at byte 4. */
    static imc_msg eventOf(std::uint16_t length) {
        return message(999, length, 154, {200, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88});
    }

    void deliver() { deliver(GetParam().length); }
    void deliver(std::uint16_t length) { GetParam().observer->messageEvent(eventOf(length)); }

    void expectIgnored(std::string const& text) {
        EXPECT_THAT(platform().errors(), IsEmpty());
        ASSERT_EQ(platform().logCalls().size(), 1U);
        auto const& call = platform().logCalls().front();
        EXPECT_EQ(call.log, pMClog);
        EXPECT_EQ(call.text, "MC - OBS - " + GetParam().ignored + text + ")\0"s);
        EXPECT_EQ(call.file, "framework/lib/MC_API/MC_ImcObserver");
        EXPECT_EQ(call.line, GetParam().ignoredLine);
    }

    void expectDiscarded(std::string const& text) {
        EXPECT_THAT(platform().traces(), IsEmpty());
        ASSERT_EQ(platform().logCalls().size(), 1U);
        auto const& call = platform().logCalls().front();
        EXPECT_EQ(call.log, pMClog);
        EXPECT_EQ(call.text, "MC - " + GetParam().discarded + text + ")\0"s);
        EXPECT_EQ(call.detail, "");
        EXPECT_EQ(call.file, "framework/lib/MC_API/MC_ImcObserver");
        EXPECT_EQ(call.line, GetParam().discardedLine);
    }

    std::function<void()> failure;
    int instances = 0;
    std::vector<Seen> seen;
};

TEST_P(ObserverReaction, MessageReachesTheReactionWithEventDirectionAndRecord) {
    platform().setLogLevel(3);
    deliver();
    EXPECT_THAT(seen, ElementsAre(GetParam().expected));
    EXPECT_EQ(instances, 1);
    EXPECT_THAT(platform().journal(), IsEmpty());
}

TEST_P(ObserverReaction, EveryMessageReachesTheReaction) {
    deliver();
    deliver();
    EXPECT_THAT(seen, ElementsAre(GetParam().expected, GetParam().expected));
}

TEST_P(ObserverReaction, WrongLengthIsIgnoredBeforeTheManagerIsAskedFor) {
    platform().setLogLevel(3);
    unsigned int const length = GetParam().length;
    for (unsigned int const wrong : {0U, length - 1, length + 1, 1024U, 0xFFFFU, length + 256}) {
        platform().clearRecords();
        deliver(static_cast<std::uint16_t>(wrong));
        expectIgnored("wrong msg size");
    }
    EXPECT_EQ(instances, 0);
    EXPECT_THAT(seen, IsEmpty());
}

TEST_P(ObserverReaction, IgnoredIsTracedAtLevel3Only) {
    failure = [] { throw std::runtime_error("reason"); };
    for (unsigned int const level : {0U, 1U, 2U, 4U, 5U, 6U, 0xFCU, 0xFDU, 0xFEU, UINT_MAX - 1}) {
        platform().setLogLevel(level);
        deliver();
        EXPECT_THAT(platform().journal(), IsEmpty()) << level;
    }
    for (unsigned int const level : {3U, 7U, 0xFFU, UINT_MAX}) {
        platform().setLogLevel(level);
        platform().clearRecords();
        deliver();
        expectIgnored("reason");
    }
}

TEST_P(ObserverReaction, DiscardedIsLoggedAtEveryLevel) {
    failure = [] { throw std::invalid_argument("reason"); };
    for (unsigned int const level : {0U, 1U, 2U, 3U, 4U, 0xFCU, 0xFFU}) {
        platform().setLogLevel(level);
        platform().clearRecords();
        deliver();
        expectDiscarded("reason");
    }
}

TEST_P(ObserverReaction, ExceptionTextIsReadUpToItsFirstNul) {
    platform().setLogLevel(3);
    failure = [] { throw std::runtime_error("first\0second\0"s); };
    deliver();
    expectIgnored("first");
    platform().clearRecords();
    failure = [] { throw std::invalid_argument("first\0second\0"s); };
    deliver();
    expectDiscarded("first");
}

TEST_P(ObserverReaction, SubclassesAreTakenAsTheirBases) {
    platform().setLogLevel(3);
    failure = [] { throw std::overflow_error("too much"); };
    deliver();
    expectIgnored("too much");
    platform().clearRecords();
    class NullChannel : public std::invalid_argument {
    public:
        NullChannel() : std::invalid_argument("no channel") {}
    };
    failure = [] { throw NullChannel(); };
    deliver();
    expectDiscarded("no channel");
}

TEST_P(ObserverReaction, WhatInstanceThrowsIsIgnoredOrDiscardedToo) {
    platform().setLogLevel(3);
    scriptedManager().instance = [] { throw std::runtime_error("no manager"); };
    deliver();
    expectIgnored("no manager");
    platform().clearRecords();
    scriptedManager().instance = [] { throw std::invalid_argument("bad manager"); };
    deliver();
    expectDiscarded("bad manager");
    EXPECT_THAT(seen, IsEmpty());
}

TEST_P(ObserverReaction, ExceptionsOfOtherTypesPassOnUnlogged) {
    platform().setLogLevel(3);
    failure = [] { throw std::logic_error("other"); };
    EXPECT_THROW(deliver(), std::logic_error);
    failure = [] { throw std::out_of_range("other"); };
    EXPECT_THROW(deliver(), std::out_of_range);
    failure = [] { throw std::exception(); };
    EXPECT_THROW(deliver(), std::exception);
    failure = [] { throw std::bad_alloc(); };
    EXPECT_THROW(deliver(), std::bad_alloc);
    failure = [] { throw 7; };
    EXPECT_THROW(deliver(), int);
    EXPECT_THAT(platform().journal(), IsEmpty());
}

TEST_P(ObserverReaction, TimeoutHasNoEffect) {
    platform().setLogLevel(3);
    for (unsigned int const timer : {0U, 1U, 123U, UINT_MAX}) {
        GetParam().observer->timeoutEvent(timer);
    }
    EXPECT_THAT(platform().journal(), IsEmpty());
    EXPECT_THAT(seen, IsEmpty());
    EXPECT_EQ(instances, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Of, ObserverReaction,
    testing::Values(faxTone(), dtmf("Dtmf1", VCOM_DIRECTION_IN), dtmf("Dtmf2", VCOM_DIRECTION_OUT),
                    alert("Alert1", VCOM_DIRECTION_IN), alert("Alert2", VCOM_DIRECTION_OUT),
                    ack("OpenVoice1", OpenVoiceAck, VCOM_DIRECTION_IN),
                    ack("OpenVoice2", OpenVoiceAck, VCOM_DIRECTION_OUT),
                    ack("CloseVoice1", CloseVoiceAck, VCOM_DIRECTION_IN),
                    ack("CloseVoice2", CloseVoiceAck, VCOM_DIRECTION_OUT),
                    ack("OpenFax1", OpenFaxAck, VCOM_DIRECTION_IN),
                    ack("OpenFax2", OpenFaxAck, VCOM_DIRECTION_OUT),
                    ack("CloseFax1", CloseFaxAck, VCOM_DIRECTION_IN),
                    ack("CloseFax2", CloseFaxAck, VCOM_DIRECTION_OUT)),
    [](testing::TestParamInfo<Observer> const& named) { return std::string(named.param.name); });

} // namespace
