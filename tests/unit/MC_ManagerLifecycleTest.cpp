#include "tests/unit/MC_ManagerFixture.h"

#include <functional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace mctest;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

class MC_ManagerLifecycle : public ManagerTest {
protected:
    MC_Channel& open(int channelDirection = 1) {
        MC_Channel& channel = newChannel(channelDirection);
        manager->openChannel(&channel);
        platform().clearRecords();
        return channel;
    }
};

using MC_ManagerLifecycleSpecificationDeathTest = MC_ManagerLifecycle;

// openChannel

TEST_F(MC_ManagerLifecycle, OpenOfAnOutChannelWithFaxDetectionSendsFiveCommandsInOrder) {
    MC_Channel& channel = newChannel(2);
    channel.faxDetection = true;
    manager->openChannel(&channel);
    EXPECT_THAT(commands(), ElementsAre("108:2", "108:5", "108:4", "108:3", "104"));
    EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
    EXPECT_TRUE(channel.voiceOpen);
    EXPECT_FALSE(channel.faxOpen);
    EXPECT_THAT(channels(), ElementsAre(&channel));
    EXPECT_EQ(channel.referenceCount, 2U);
}

TEST_F(MC_ManagerLifecycle, OpenOfAnInChannelSendsNoPacketLength) {
    MC_Channel& channel = newChannel(1);
    channel.faxDetection = true;
    manager->openChannel(&channel);
    EXPECT_THAT(commands(), ElementsAre("108:2", "108:5", "108:3", "100"));
    EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
    EXPECT_TRUE(channel.voiceOpen);
}

struct Arming {
    bool noteworthy;
    int mode;
    bool wanted;
    bool armed;
};

std::ostream& operator<<(std::ostream& out, Arming const& arming) {
    return out << "noteworthy " << arming.noteworthy << ", mode " << arming.mode << ", wanted "
               << arming.wanted;
}

class MC_ManagerArming : public ManagerTest, public testing::WithParamInterface<Arming> {};

INSTANTIATE_TEST_SUITE_P(
    Combinations, MC_ManagerArming,
    testing::Values(Arming{false, 0, true, true}, Arming{false, 0, false, false},
                    Arming{false, 1, true, true}, Arming{false, 2, true, false},
                    Arming{false, 2, false, false}, Arming{false, 3, true, true},
                    Arming{false, -2, true, true}, Arming{true, 0, true, false},
                    Arming{true, 1, true, false}, Arming{true, 2, true, false},
                    Arming{true, 0, false, false}));

TEST_P(MC_ManagerArming, OfFaxDetectionByOpenNeedsTheFlagClearAnotherModeThan2AndTheWish) {
    config().noteworthyFlag = GetParam().noteworthy;
    MC_Channel& channel = newChannel();
    channel.channelMode = GetParam().mode;
    channel.faxDetection = GetParam().wanted;
    manager->openChannel(&channel);
    if (GetParam().armed) {
        EXPECT_THAT(commands(), ElementsAre("108:2", "108:5", "108:3", "100"));
    } else {
        EXPECT_THAT(commands(), ElementsAre("108:2", "108:3", "100"));
    }
}

TEST_F(MC_ManagerLifecycle, OpenSendsTheSettledSilenceSuppression) {
    MC_Channel& out = open(2);
    MC_Channel& in = newChannel(1);
    in.vad = true;
    manager->openChannel(&in);
    EXPECT_FALSE(in.vad);
    EXPECT_FALSE(out.vad);
    ASSERT_THAT(commands(), ElementsAre("108:2", "108:3", "100"));
    EXPECT_EQ(platform().posted()[0].payload[2], 0);
}

TEST_F(MC_ManagerLifecycle, OpenSendsSilenceSuppressionWhenItStaysOn) {
    MC_Channel& channel = newChannel(1);
    channel.vad = true;
    manager->openChannel(&channel);
    EXPECT_EQ(platform().posted()[0].payload[2], 1);
    EXPECT_TRUE(channel.vad);
}

TEST_F(MC_ManagerLifecycle, OpenAppendsBehindTheChannelsThatAreListed) {
    MC_Channel& first = open();
    MC_Channel& second = open();
    EXPECT_THAT(channels(), ElementsAre(&first, &second));
}

TEST_F(MC_ManagerLifecycle, OpenIgnoresTheState) {
    for (int const state : {0, 1, 2, 3, 4, 5}) {
        MC_Channel& channel = newChannel();
        channel.state = static_cast<MC_Channel::State>(state);
        manager->openChannel(&channel);
        EXPECT_EQ(channel.state, MC_Channel::Voice_Open) << state;
    }
}

TEST_F(MC_ManagerLifecycle, OpenTwiceListsTwiceAndOneCloseRemovesOneEntryAndOneReference) {
    MC_Channel& channel = open();
    manager->openChannel(&channel);
    EXPECT_THAT(channels(), ElementsAre(&channel, &channel));
    EXPECT_EQ(channel.referenceCount, 3U);
    manager->closeChannel(&channel);
    EXPECT_THAT(channels(), ElementsAre(&channel));
    EXPECT_EQ(channel.referenceCount, 2U);
    EXPECT_THAT(platform().dereferenced(), ElementsAre(&channel));
    manager->closeChannel(&channel);
    EXPECT_THAT(channels(), IsEmpty());
    EXPECT_EQ(channel.referenceCount, 1U);
}

TEST_F(MC_ManagerLifecycle, OpenTracesTheWholeDescriptionAfterTheStateIsSet) {
    MC_Channel& channel = newChannel(2);
    channel.mediaGateway = IPAddress("10.0.0.5").Clone();
    channel.rtpDtmfPayloadType = 101;
    channel.rtpRedundancyPayloadType = 100;
    platform().setLogLevel(2);
    manager->openChannel(&channel);
    std::string const expected =
        withNul("OpenMC_Channel 2F\n"
                "\tVoice OUTGOING on Ip(10.0.0.5) dsp(3) sid(fa) [CODEC_1 (10/30ms) vad(Off)]\n"
                "send ced Off\n"
                "send no signal T38_SIG_NIL\n"
                "\tState : Voice_Open\n"
                "\tRTP  : 10.1.0.1:5004 <-> 10.2.0.1:6004\n"
                "\tRTCP : 10.1.0.2:5005 <-> 10.2.0.2:6005\n"
                "\tRTP Dtmf PT: 0x65 = 101\n"
                "\tRTP Redundancy PT: 0x64 = 64\n") +
        "\n";
    EXPECT_THAT(traces(), ElementsAre(trace(expected, 275)));
    EXPECT_EQ(expected, "Open" + description(channel) + "\n");
}

TEST_F(MC_ManagerLifecycle, OpenThatFailsInTheLastStepStaysListedAndIdle) {
    MC_Channel& channel = newChannel(1);
    channel.codec = 0;
    platform().setLogLevel(2);
    EXPECT_EQ(refusal([&] { manager->openChannel(&channel); }),
              withNul("Failed to openChannel(2F)\n\tCodec [CODEC_0] Not Supported by Session "
                      "Manager"));
    EXPECT_THAT(commands(), ElementsAre("108:2", "108:3"));
    EXPECT_THAT(channels(), ElementsAre(&channel));
    EXPECT_EQ(channel.referenceCount, 2U);
    EXPECT_EQ(channel.state, MC_Channel::Idle);
    EXPECT_FALSE(channel.voiceOpen);
    EXPECT_THAT(platform().logCalls(), IsEmpty());
}

TEST_F(MC_ManagerLifecycle, OpenThatFailsKeepsTheStateItHad) {
    MC_Channel& channel = newChannel(1);
    channel.codec = 0;
    channel.state = MC_Channel::Close;
    EXPECT_THROW(manager->openChannel(&channel), std::runtime_error);
    EXPECT_EQ(channel.state, MC_Channel::Close);
}

TEST_F(MC_ManagerLifecycle, CloseAfterAFailedOpenSendsNothingAndReleasesTheChannel) {
    MC_Channel& channel = newChannel(1);
    channel.codec = 0;
    EXPECT_THROW(manager->openChannel(&channel), std::runtime_error);
    platform().clearRecords();
    manager->closeChannel(&channel);
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_THAT(channels(), IsEmpty());
    EXPECT_EQ(channel.referenceCount, 1U);
    EXPECT_EQ(channel.state, MC_Channel::Close);
}

TEST_F(MC_ManagerLifecycle, OpenThatFailsInAMiddleStepShowsTheChainOfTexts) {
    MC_Channel& channel = newChannel(2);
    channel.codec = 3;
    channel.minFraming = VCOM_FRAMING_20;
    EXPECT_EQ(refusal([&] { manager->openChannel(&channel); }),
              withNul("Failed to openChannel(2F)\n\tMinium framing error : Codec [CODEC_3 (20)] "
                      "not Supported by Session Manager"));
    EXPECT_THAT(commands(), ElementsAre("108:2"));
}

TEST_F(MC_ManagerLifecycle, OpenOfAChannelWithAnotherDirectionFailsBeforeAnythingIsSent) {
    MC_Channel& channel = newChannel(0);
    EXPECT_EQ(refusal([&] { manager->openChannel(&channel); }),
              withNul("Failed to openChannel(2F)\n\tDirection NONE invalid"));
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_THAT(channels(), ElementsAre(&channel));
}

TEST_F(MC_ManagerLifecycle, OpenCountsTheReferenceBeforeTheFirstCommand) {
    MC_Channel& channel = newChannel();
    platform().script.post = [&](imc_msg const&) {
        EXPECT_EQ(channel.referenceCount, 2U);
        EXPECT_THAT(channels(), ElementsAre(&channel));
        EXPECT_EQ(channel.state, MC_Channel::Idle);
        EXPECT_FALSE(channel.voiceOpen);
    };
    manager->openChannel(&channel);
    EXPECT_EQ(commands().size(), 3U);
}

TEST_F(MC_ManagerLifecycle, OpenListsThenTracesTheReferenceThenCountsIt) {
    MC_Channel& channel = newChannel();
    platform().setCollectorTrace(true);
    platform().script.log = [&](recording::LogCall const& call) {
        EXPECT_TRUE(call.isCollector);
        EXPECT_THAT(channels(), ElementsAre(&channel));
        EXPECT_EQ(channel.referenceCount, 1U);
    };
    manager->openChannel(&channel);
    EXPECT_EQ(platform().collectorTraces().size(), 1U);
    EXPECT_EQ(channel.referenceCount, 2U);
}

TEST_F(MC_ManagerLifecycle, OpenAndCloseTraceAfterTheFlagsAreSet) {
    MC_Channel& channel = newChannel();
    platform().setLogLevel(2);
    platform().script.log = [&](recording::LogCall const& call) {
        bool const isOpened = call.line == 275;
        EXPECT_EQ(channel.voiceOpen, isOpened);
        EXPECT_EQ(channel.state, isOpened ? MC_Channel::Voice_Open : MC_Channel::Close);
        EXPECT_THAT(channels(), ElementsAre(&channel));
    };
    manager->openChannel(&channel);
    manager->closeChannel(&channel);
    EXPECT_EQ(traces().size(), 2U);
    platform().script.log = nullptr;
}

TEST_F(MC_ManagerLifecycle, OpenTracesTheReferenceBeforeTheFirstCommand) {
    platform().setCollectorTrace(true);
    MC_Channel& channel = newChannel();
    manager->openChannel(&channel);
    auto const journal = platform().journal(Kind::posts | Kind::collectorTraces);
    ASSERT_EQ(journal.size(), 4U);
    EXPECT_THAT(journal[0], HasSubstr("collector trace GC : reference "));
}

TEST_F(MC_ManagerLifecycle, OpenWhoseTraceOfTheReferenceFailsIsWrapped) {
    MC_Channel& channel = newChannel();
    platform().setCollectorTrace(true);
    platform().script.log = failingTrace(0, std::range_error("collector"));
    EXPECT_EQ(refusal([&] { manager->openChannel(&channel); }),
              withNul("Failed to openChannel(2F)\n\tcollector"));
    EXPECT_THAT(channels(), ElementsAre(&channel));
    EXPECT_EQ(channel.referenceCount, 1U);
    EXPECT_THAT(commands(), IsEmpty());
}

TEST_F(MC_ManagerLifecycle, OpenWhoseLastTraceFailsPassesItOnUnwrappedWithTheChannelOpen) {
    MC_Channel& channel = newChannel();
    platform().setLogLevel(2);
    platform().script.log = failingTrace(275, std::range_error("trace"));
    EXPECT_EQ(refusal<std::range_error>([&] { manager->openChannel(&channel); }), "trace");
    EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
    EXPECT_TRUE(channel.voiceOpen);
    EXPECT_THAT(channels(), ElementsAre(&channel));
}

TEST_F(MC_ManagerLifecycleSpecificationDeathTest, OpenWhoseTraceThrowsAnIntEndsTheProcess) {
    MC_Channel& channel = newChannel();
    platform().setLogLevel(2);
    platform().script.log = failingTrace(275, 7);
    EXPECT_DEATH(watchingForUnexpected([&] { manager->openChannel(&channel); }), ranUnexpected());
}

// updateChannel

TEST_F(MC_ManagerLifecycle, UpdateOfAnInChannelSendsSilenceDigitsAndVoice) {
    MC_Channel& channel = open(1);
    manager->updateChannel(&channel);
    EXPECT_THAT(commands(), ElementsAre("108:2", "108:3", "132"));
}

TEST_F(MC_ManagerLifecycle, UpdateOfAnOutChannelSendsThePacketLengthToo) {
    MC_Channel& channel = open(2);
    manager->updateChannel(&channel);
    EXPECT_THAT(commands(), ElementsAre("108:2", "108:4", "108:3", "133"));
}

TEST_F(MC_ManagerLifecycle, UpdateNeverSendsFaxDetection) {
    MC_Channel& channel = open(2);
    channel.faxDetection = true;
    manager->updateChannel(&channel);
    EXPECT_THAT(commands(), ElementsAre("108:2", "108:4", "108:3", "133"));
}

TEST_F(MC_ManagerLifecycle, UpdateSettlesSilenceSuppressionBeforeItIsSent) {
    MC_Channel& in = open(1);
    MC_Channel& out = open(2);
    in.vad = true;
    out.vad = false;
    manager->updateChannel(&in);
    EXPECT_FALSE(in.vad);
    EXPECT_EQ(platform().posted()[0].payload[2], 0);
}

TEST_F(MC_ManagerLifecycle, UpdateChangesNoStateAndNoFlagAndListsNothing) {
    MC_Channel& channel = open();
    for (int const state : {0, 1, 2, 3, 4, 5}) {
        for (bool const flag : {false, true}) {
            channel.state = static_cast<MC_Channel::State>(state);
            channel.voiceOpen = flag;
            channel.faxOpen = !flag;
            manager->updateChannel(&channel);
            EXPECT_EQ(channel.state, state);
            EXPECT_EQ(channel.voiceOpen, flag);
            EXPECT_EQ(channel.faxOpen, !flag);
        }
    }
    EXPECT_THAT(channels(), ElementsAre(&channel));
    EXPECT_EQ(channel.referenceCount, 2U);
}

TEST_F(MC_ManagerLifecycle, UpdateTracesTheWholeDescription) {
    MC_Channel& channel = open();
    platform().setLogLevel(2);
    manager->updateChannel(&channel);
    EXPECT_THAT(traces(), ElementsAre(trace("Update" + description(channel) + "\n", 364)));
    EXPECT_THAT(platform().journal(Kind::posts | Kind::traces).back(), HasSubstr("trace "));
}

TEST_F(MC_ManagerLifecycle, UpdateThatFailsIsWrapped) {
    MC_Channel& channel = open(2);
    channel.codec = 0;
    platform().setLogLevel(2);
    EXPECT_EQ(refusal([&] { manager->updateChannel(&channel); }),
              withNul("Failed to updateChannel(2F)\n\tMinium framing error : Codec [CODEC_0 (10)] "
                      "not Supported by Session Manager"));
    EXPECT_THAT(commands(), ElementsAre("108:2"));
    EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
    EXPECT_THAT(platform().logCalls(), IsEmpty());
}

TEST_F(MC_ManagerLifecycle, UpdateWhoseLastTraceFailsIsWrapped) {
    MC_Channel& channel = open();
    platform().setLogLevel(2);
    platform().script.log = failingTrace(364, std::range_error("trace"));
    EXPECT_EQ(refusal([&] { manager->updateChannel(&channel); }),
              withNul("Failed to updateChannel(2F)\n\ttrace"));
    EXPECT_THAT(commands(), ElementsAre("108:2", "108:3", "132"));
}

// closeChannel

class MC_ManagerClose : public MC_ManagerLifecycle,
                        public testing::WithParamInterface<std::tuple<bool, bool, int>> {};

INSTANTIATE_TEST_SUITE_P(FaxVoiceDirection, MC_ManagerClose,
                         testing::Combine(testing::Bool(), testing::Bool(), testing::Values(1, 2)));

TEST_P(MC_ManagerClose, SendsCloseFaxThenCloseVoiceAsFarAsOpenAndAlwaysUnlists) {
    int const channelDirection = std::get<2>(GetParam());
    MC_Channel& channel = open(channelDirection);
    MC_Channel& other = open();
    channel.faxOpen = std::get<0>(GetParam());
    channel.voiceOpen = std::get<1>(GetParam());
    std::vector<std::string> expected;
    if (channel.faxOpen) {
        expected.push_back(channelDirection == 1 ? "117" : "121");
    }
    if (channel.voiceOpen) {
        expected.push_back(channelDirection == 1 ? "102" : "106");
    }
    manager->closeChannel(&channel);
    EXPECT_THAT(commands(), ElementsAreArray(expected));
    EXPECT_EQ(channel.state, MC_Channel::Close);
    EXPECT_FALSE(channel.faxOpen);
    EXPECT_FALSE(channel.voiceOpen);
    EXPECT_THAT(channels(), ElementsAre(&other));
    EXPECT_EQ(channel.referenceCount, 1U);
    EXPECT_THAT(platform().dereferenced(), ElementsAre(&channel));
}

TEST_F(MC_ManagerLifecycle, CloseOfAnUnlistedChannelWithNothingOpenMarksItAndReleasesNothing) {
    MC_Channel& channel = newChannel();
    manager->closeChannel(&channel);
    EXPECT_EQ(channel.state, MC_Channel::Close);
    EXPECT_EQ(channel.referenceCount, 1U);
    EXPECT_THAT(platform().dereferenced(), IsEmpty());
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_THAT(platform().logCalls(), IsEmpty());
}

TEST_F(MC_ManagerLifecycle, CloseDestroysAChannelThatOnlyTheListHolds) {
    MC_Channel& channel = open();
    channel.referenceCount = 1;
    disown(channel);
    platform().setLogLevel(2);
    manager->closeChannel(&channel);
    EXPECT_EQ(platform().liveObjects(), 0U);
    EXPECT_THAT(channels(), IsEmpty());
    EXPECT_THAT(platform().journal(Kind::posts | Kind::traces | Kind::references | Kind::objects),
                ElementsAre("post 102", HasSubstr("trace MC - OBS - CloseChannel(2F)"),
                            "dereference, 0 left", "object destroyed"));
}

TEST_F(MC_ManagerLifecycle, CloseOfAJoinedChannelDoesNotUnjoin) {
    MC_Channel& channel = open();
    channel.joinIp = IPAddress("10.3.0.1").Clone();
    manager->joinChannel(&channel);
    platform().clearRecords();
    manager->closeChannel(&channel);
    EXPECT_THAT(commands(), ElementsAre("102"));
    EXPECT_EQ(channel.state, MC_Channel::Close);
    EXPECT_NE(channel.joinIp, nullptr);
}

TEST_F(MC_ManagerLifecycle, CloseTracesIdentifierAndDirection) {
    for (auto const& named : allDirections()) {
        MC_Channel& channel = newChannel(named.value);
        platform().setLogLevel(2);
        manager->closeChannel(&channel);
        EXPECT_THAT(traces(),
                    ElementsAre(trace("CloseChannel(2F) " + named.directionName + "\n", 316)));
    }
}

TEST_F(MC_ManagerLifecycle, CloseMarksAndTracesBeforeItReleases) {
    MC_Channel& channel = open();
    platform().setLogLevel(2);
    platform().script.post = [&](imc_msg const&) {
        EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
        EXPECT_TRUE(channel.voiceOpen);
    };
    manager->closeChannel(&channel);
    EXPECT_THAT(platform().journal(Kind::posts | Kind::traces | Kind::references),
                ElementsAre("post 102", HasSubstr("trace "), "dereference, 1 left"));
}

TEST_F(MC_ManagerLifecycle, CloseWhoseCloseFaxFailsLeavesEverythingAndSkipsCloseVoice) {
    MC_Channel& channel = open();
    channel.faxOpen = true;
    channel.direction = VCOM_DIRECTION_NONE;
    platform().setLogLevel(2);
    EXPECT_EQ(refusal([&] { manager->closeChannel(&channel); }),
              withNul("Failed to closeChannel(2F)\n\tDirection NONE invalid"));
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
    EXPECT_TRUE(channel.faxOpen);
    EXPECT_TRUE(channel.voiceOpen);
    EXPECT_THAT(channels(), ElementsAre(&channel));
    EXPECT_EQ(channel.referenceCount, 2U);
    EXPECT_THAT(platform().logCalls(), IsEmpty());

    channel.direction = VCOM_DIRECTION_IN;
    manager->closeChannel(&channel);
    EXPECT_THAT(commands(), ElementsAre("117", "102"));
    EXPECT_THAT(channels(), IsEmpty());
}

TEST_F(MC_ManagerLifecycle, CloseWhoseCloseVoiceFailsKeepsTheFaxFlagAlthoughFaxWasClosed) {
    MC_Channel& channel = open();
    channel.faxOpen = true;
    platform().script.post = [&](imc_msg const&) { channel.direction = VCOM_DIRECTION_NONE; };
    EXPECT_EQ(refusal([&] { manager->closeChannel(&channel); }),
              withNul("Failed to closeChannel(2F)\n\tDirection NONE invalid"));
    EXPECT_THAT(commands(), ElementsAre("117"));
    EXPECT_TRUE(channel.faxOpen);
    EXPECT_TRUE(channel.voiceOpen);
    EXPECT_EQ(channel.state, MC_Channel::Voice_Open);
    EXPECT_THAT(channels(), ElementsAre(&channel));
}

TEST_F(MC_ManagerLifecycle, CloseWhoseTraceFailsPassesItOnUnwrappedWithTheChannelClosedButListed) {
    MC_Channel& channel = open();
    platform().setLogLevel(2);
    platform().script.log = failingTrace(316, std::range_error("trace"));
    EXPECT_EQ(refusal<std::range_error>([&] { manager->closeChannel(&channel); }), "trace");
    EXPECT_EQ(channel.state, MC_Channel::Close);
    EXPECT_FALSE(channel.voiceOpen);
    EXPECT_THAT(channels(), ElementsAre(&channel));
    EXPECT_EQ(channel.referenceCount, 2U);
}

TEST_F(MC_ManagerLifecycleSpecificationDeathTest, CloseWhoseTraceThrowsAnIntEndsTheProcess) {
    MC_Channel& channel = open();
    platform().setLogLevel(2);
    platform().script.log = failingTrace(316, 7);
    EXPECT_DEATH(watchingForUnexpected([&] { manager->closeChannel(&channel); }), ranUnexpected());
}

/** An address that tells when it is destroyed with the channel that it belongs to. */
class LastWords : public IPAddress {
public:
    explicit LastWords(std::function<void()> destruction)
        : IPAddress("10.9.9.9"), action(destruction) {}
    LastWords(LastWords const&) = delete;
    ~LastWords() override { action(); }

private:
    std::function<void()> action;
};

TEST_F(MC_ManagerLifecycle, CloseUnlistsTheChannelBeforeItIsDestroyed) {
    MC_Channel& channel = open();
    MC_Channel& other = open();
    bool isDestroyed = false;
    channel.joinIp = new LastWords([&] {
        isDestroyed = true;
        EXPECT_THAT(channels(), ElementsAre(&other));
    });
    channel.referenceCount = 1;
    disown(channel);
    manager->closeChannel(&channel);
    EXPECT_TRUE(isDestroyed);
}

TEST_F(MC_ManagerLifecycle, AWholeCallLeavesNothingBehind) {
    MC_Channel& in = open(1);
    MC_Channel& out = open(2);
    manager->updateChannel(&in);
    manager->activateFax(&in);
    manager->activateFax(&out);
    manager->closeChannel(&out);
    manager->closeChannel(&in);
    EXPECT_THAT(channels(), IsEmpty());
    EXPECT_EQ(in.referenceCount, 1U);
    EXPECT_EQ(out.referenceCount, 1U);
    EXPECT_EQ(platform().liveClones(), 8U) << "the two channels' own addresses";
}

} // namespace
