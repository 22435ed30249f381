#include "tests/unit/MC_ManagerFixture.h"

#include <exception>
#include <stdexcept>
#include <string>

namespace {

using namespace mctest;
using testing::ElementsAre;
using testing::IsEmpty;

class MC_ManagerSilence : public ManagerTest {
protected:
    MC_Channel& listed(int channelDirection, bool vad, std::uint32_t identifier) {
        MC_Channel& channel = listedChannel(channelDirection);
        channel.vad = vad;
        channel.identifier = identifier;
        return channel;
    }

    void check(MC_Channel& channel) {
        platform().setLogLevel(3);
        manager->checkSilenceSuppressionMode(&channel);
        EXPECT_THAT(platform().posted(), IsEmpty());
        EXPECT_THAT(errors(), IsEmpty());
    }

    static LogLine disabled(std::string const& channel, std::string const& partner) {
        return trace("Silence suppression disable for channel(" + channel + ") and channel(" +
                         partner + ")\n",
                     1183);
    }
};

TEST_F(MC_ManagerSilence, InWantsItAndOutDoesNotSwitchesBothOffAndNamesTheInChannelFirst) {
    MC_Channel& in = listed(1, true, 0x1A);
    MC_Channel& out = listed(2, false, 0x2B);
    check(in);
    EXPECT_FALSE(in.vad);
    EXPECT_FALSE(out.vad);
    EXPECT_THAT(traces(), ElementsAre(disabled("1A", "2B")));
}

TEST_F(MC_ManagerSilence, ThePartnerIsSwitchedOffWhenTheChannelInHandDoesNotWantIt) {
    MC_Channel& in = listed(1, true, 0x1A);
    MC_Channel& out = listed(2, false, 0x2B);
    check(out);
    EXPECT_FALSE(in.vad);
    EXPECT_FALSE(out.vad);
    EXPECT_THAT(traces(), ElementsAre(disabled("2B", "1A")));
}

TEST_F(MC_ManagerSilence, OutWantsItAndInDoesNotSwitchesBothOff) {
    MC_Channel& in = listed(1, false, 0x1A);
    MC_Channel& out = listed(2, true, 0x2B);
    check(out);
    EXPECT_FALSE(in.vad);
    EXPECT_FALSE(out.vad);
    EXPECT_THAT(traces(), ElementsAre(disabled("2B", "1A")));
}

TEST_F(MC_ManagerSilence, BothWantItOrNeitherDoesChangesNothing) {
    for (bool const vad : {true, false}) {
        channels().clear();
        MC_Channel& in = listed(1, vad, 0x1A);
        MC_Channel& out = listed(2, vad, 0x2B);
        check(in);
        check(out);
        EXPECT_EQ(in.vad, vad);
        EXPECT_EQ(out.vad, vad);
        EXPECT_THAT(traces(), IsEmpty());
    }
}

TEST_F(MC_ManagerSilence, ARecordOnAnotherBoardIsNoPartner) {
    MC_Channel& in = listed(1, true, 0x1A);
    MC_Channel& out = listed(2, false, 0x2B);
    out.sid = 0x7A;
    check(in);
    EXPECT_TRUE(in.vad);
    EXPECT_THAT(traces(), IsEmpty());
}

TEST_F(MC_ManagerSilence, ARecordOfAnotherDspIsNoPartner) {
    MC_Channel& in = listed(1, true, 0x1A);
    MC_Channel& out = listed(2, false, 0x2B);
    out.dsp = 4;
    check(in);
    EXPECT_TRUE(in.vad);
    EXPECT_THAT(traces(), IsEmpty());
}

TEST_F(MC_ManagerSilence, ARecordOfTheSameDirectionIsNoPartner) {
    for (int const channelDirection : {1, 2}) {
        channels().clear();
        MC_Channel& channel = listed(channelDirection, true, 0x1A);
        MC_Channel& same = listed(channelDirection, false, 0x2B);
        MC_Channel& none = listed(0, false, 0x3C);
        MC_Channel& beyond = listed(3, false, 0x4D);
        check(channel);
        EXPECT_TRUE(channel.vad);
        EXPECT_FALSE(same.vad || none.vad || beyond.vad);
        EXPECT_THAT(traces(), IsEmpty());
    }
}

TEST_F(MC_ManagerSilence, OnlyOneDirectionChangesNothing) {
    MC_Channel& in = listed(1, true, 0x1A);
    check(in);
    EXPECT_TRUE(in.vad);
    EXPECT_THAT(traces(), IsEmpty());
}

TEST_F(MC_ManagerSilence, PartnersThatAreNotListedDoNotCount) {
    MC_Channel& in = listed(1, true, 0x1A);
    MC_Channel& out = newChannel(2);
    check(in);
    EXPECT_TRUE(in.vad);
    EXPECT_FALSE(out.vad);
}

TEST_F(MC_ManagerSilence, TheStateOfThePartnerDoesNotMatter) {
    for (int const state : {0, 1, 2, 3, 4, 5}) {
        channels().clear();
        MC_Channel& in = listed(1, true, 0x1A);
        MC_Channel& out = listed(2, false, 0x2B);
        out.state = static_cast<MC_Channel::State>(state);
        check(in);
        EXPECT_FALSE(in.vad) << state;
    }
}

TEST_F(MC_ManagerSilence, SinglePassLeavesAWantingPartnerThatComesFirst) {
    MC_Channel& in = listed(1, true, 0x1A);
    MC_Channel& first = listed(2, true, 0x2B);
    MC_Channel& second = listed(2, false, 0x3C);
    check(in);
    EXPECT_FALSE(in.vad);
    EXPECT_TRUE(first.vad);
    EXPECT_FALSE(second.vad);
    EXPECT_THAT(traces(), ElementsAre(disabled("1A", "3C")));
}

TEST_F(MC_ManagerSilence, SinglePassClearsAWantingPartnerThatComesLater) {
    MC_Channel& first = listed(2, false, 0x2B);
    MC_Channel& in = listed(1, true, 0x1A);
    MC_Channel& second = listed(2, true, 0x3C);
    MC_Channel& third = listed(2, false, 0x4D);
    MC_Channel& fourth = listed(2, true, 0x5E);
    check(in);
    EXPECT_FALSE(in.vad || first.vad || second.vad || third.vad || fourth.vad);
    EXPECT_THAT(traces(),
                ElementsAre(disabled("1A", "2B"), disabled("1A", "3C"), disabled("1A", "5E")));
}

TEST_F(MC_ManagerSilence, TheOtherDirectionLooksAtTheListInTheSameOrder) {
    MC_Channel& first = listed(1, true, 0x1A);
    MC_Channel& second = listed(1, false, 0x2B);
    MC_Channel& out = listed(2, true, 0x3C);
    check(out);
    EXPECT_FALSE(out.vad);
    EXPECT_TRUE(first.vad);
    EXPECT_FALSE(second.vad);
    EXPECT_THAT(traces(), ElementsAre(disabled("3C", "2B")));
}

TEST_F(MC_ManagerSilence, TracesAfterBothAreSwitchedOff) {
    MC_Channel& in = listed(1, true, 0x1A);
    MC_Channel& out = listed(2, false, 0x2B);
    in.vad = false;
    out.vad = true;
    platform().script.log = [&](recording::LogCall const&) { EXPECT_FALSE(in.vad || out.vad); };
    check(in);
    EXPECT_EQ(traces().size(), 1U);
}

class MC_ManagerSilenceTrace : public MC_ManagerSilence {
protected:
    MC_ManagerSilenceTrace() { platform().setLogLevel(3); }

    MC_Channel& in = listed(1, true, 0x1A);
    MC_Channel& out = listed(2, false, 0x2B);
};

using MC_ManagerSilenceTraceSpecificationDeathTest = MC_ManagerSilenceTrace;

TEST_F(MC_ManagerSilenceTrace, ThatFailsIsLoggedAndRethrownAsTheObjectThatItIs) {
    std::exception_ptr logged;
    std::exception_ptr thrown;
    platform().script.log = [&](recording::LogCall const& call) {
        if (call.line == 1183) {
            throw std::range_error("trace");
        }
        logged = std::current_exception();
    };
    try {
        manager->checkSilenceSuppressionMode(&in);
    } catch (std::range_error const&) {
        thrown = std::current_exception();
    }
    EXPECT_TRUE(thrown != nullptr && thrown == logged);
    EXPECT_THAT(errors(), ElementsAre(error(withNul("Failed to Check Silence Suppression mode on "
                                                    "channel(1A) \n"),
                                            "trace", 1192)));
    EXPECT_FALSE(in.vad || out.vad);
}

TEST_F(MC_ManagerSilenceTrace, ThatThrowsAnInvalidArgumentPassesItOnUnlogged) {
    platform().script.log = failingTrace(1183, std::invalid_argument("trace"));
    EXPECT_EQ(refusal<std::invalid_argument>([this] { manager->checkSilenceSuppressionMode(&in); }),
              "trace");
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(MC_ManagerSilenceTraceSpecificationDeathTest, OfAnotherExceptionEndsTheProcess) {
    platform().script.log = failingTrace(1183, std::logic_error("trace"));
    EXPECT_DEATH(watchingForUnexpected([this] { manager->checkSilenceSuppressionMode(&in); }),
                 ranUnexpected());
}

class MC_ManagerSilenceDirection : public MC_ManagerSilence,
                                   public testing::WithParamInterface<NamedDirection> {
protected:
    std::string const refused = "Direction " + GetParam().directionName + " invalid";
    LogLine const logged =
        error(withNul("Failed to Check Silence Suppression mode on channel(1A) \n"), refused, 1192);
};

INSTANTIATE_TEST_SUITE_P(Directions, MC_ManagerSilenceDirection,
                         testing::ValuesIn(otherDirections()), NameOf());

TEST_P(MC_ManagerSilenceDirection, OtherThan1And2IsLoggedAtEveryLevelAndRethrownUnchanged) {
    MC_Channel& channel = listed(GetParam().value, true, 0x1A);
    MC_Channel& in = listed(1, false, 0x2B);
    MC_Channel& out = listed(2, false, 0x3C);
    for (unsigned int const level : {0U, 3U}) {
        platform().clearRecords();
        platform().setLogLevel(level);
        EXPECT_EQ(refusal([&] { manager->checkSilenceSuppressionMode(&channel); }),
                  withNul(refused));
        EXPECT_THAT(errors(), ElementsAre(logged));
        EXPECT_THAT(traces(), IsEmpty());
    }
    EXPECT_TRUE(channel.vad);
    EXPECT_FALSE(in.vad || out.vad);
}

TEST_P(MC_ManagerSilenceDirection, IsLoggedFirstAndThenWrappedByOpenChannel) {
    MC_Channel& channel = newChannel(GetParam().value);
    channel.identifier = 0x1A;
    EXPECT_EQ(refusal([&] { manager->openChannel(&channel); }),
              withNul("Failed to openChannel(1A)\n\t" + refused));
    EXPECT_THAT(errors(), ElementsAre(logged));
    EXPECT_THAT(platform().posted(), IsEmpty());
    EXPECT_THAT(channels(), ElementsAre(&channel));
    EXPECT_EQ(channel.referenceCount, 2U);
    EXPECT_EQ(channel.state, MC_Channel::Idle);
}

TEST_P(MC_ManagerSilenceDirection, IsLoggedFirstAndThenWrappedByUpdateChannel) {
    MC_Channel& channel = listed(GetParam().value, true, 0x1A);
    EXPECT_EQ(refusal([&] { manager->updateChannel(&channel); }),
              withNul("Failed to updateChannel(1A)\n\t" + refused));
    EXPECT_THAT(errors(), ElementsAre(logged));
    EXPECT_THAT(platform().posted(), IsEmpty());
}

} // namespace
