#include "tests/unit/MC_ManagerFixture.h"

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

// Every trace of the manager: at which levels it is written, and its line.

namespace {

using namespace mctest;
using testing::IsEmpty;
using testing::NiceMock;

/** An operation that writes one trace of its own at its level. */
struct Traced {
    char const* name;
    /** The level below which the trace is not written. */
    unsigned int level;
    /** How the trace begins. */
    char const* begin;
    int line;
    void (*call)(MC_Manager&, MC_Channel&);
};

std::ostream& operator<<(std::ostream& out, Traced const& traced) {
    return out << traced.name;
}

void acknowledge(MC_Manager& manager, MC_Channel const& channel, unsigned char error) {
    MC_Acknowledge const ack(recording::message(0, 4, channel.sid, {channel.dsp, error, 0, 0}));
    manager.ackEvent(OpenFaxAck, channel.direction, ack);
}

/** In the order in which the operations stand in the manager's source. */
std::vector<Traced> const& allTraced() {
    using M = MC_Manager;
    using C = MC_Channel;
    static std::vector<
        Traced> const all = {{"openChannel", 2, "OpenMC_Channel 2F\n", 275,
                              [](M& manager, C& channel) { manager.openChannel(&channel); }},
                             {"closeChannel", 2, "CloseChannel(2F) ", 316,
                              [](M& manager, C& channel) { manager.closeChannel(&channel); }},
                             {"updateChannel", 2, "UpdateMC_Channel 2F\n", 364,
                              [](M& manager, C& channel) { manager.updateChannel(&channel); }},
                             {"activateFax", 2, "AcivateFaxMC_Channel 2F\n", 407,
                              [](M& manager, C& channel) { manager.activateFax(&channel); }},
                             {"joinChannel", 2, "JoinMC_Channel 2F\n", 468,
                              [](M& manager, C& channel) { manager.joinChannel(&channel); }},
                             {"unjoinChannel", 2, "UnjoinChannel(2F) ", 511,
                              [](M& manager, C& channel) { manager.unjoinChannel(&channel); }},
                             {"setSilenceSuppressionActive", 3,
                              "set SILENCE_COMPRESSION on channel(2F) to ", 573,
                              [](M& manager, C& channel) {
                                  Access::setSilenceSuppressionActive(manager, &channel);
                              }},
                             {"setFaxDetectionActive", 3,
                              "set FAX_T38 detection on channel(2F) to ", 620,
                              [](M& manager, C& channel) {
                                  Access::setFaxDetectionActive(manager, &channel);
                              }},
                             {"setDigitDetectionOff", 3,
                              "DIGIT_DETECTION is DISABLED on channel(2F)", 651,
                              [](M& manager, C& channel) {
                                  Access::setDigitDetection(manager, &channel);
                              }},
                             {"setDigitDetectionOn", 3, "set DIGIT_DETECTION on channel(2F)", 659,
                              [](M& manager, C& channel) {
                                  channel.rtpDtmfPayloadType = 101;
                                  Access::setDigitDetection(manager, &channel);
                              }},
                             {"setPacketLength", 3,
                              "set PACKET_LENGTH detection on channel(2F) to ", 706,
                              [](M& manager, C& channel) {
                                  Access::setPacketLength(manager, &channel);
                              }},
                             {"openVoice", 3, "Open Voice channel(2F) ", 780,
                              [](M& manager, C& channel) { Access::openVoice(manager, &channel); }},
                             {"updateVoice", 3, "Update Voice channel(2F) ", 852,
                              [](M& manager, C& channel) {
                                  Access::updateVoice(manager, &channel);
                              }},
                             {"openFaxWithNoSignal", 3, "send_NO_SIG is enabled to (1) ", 924,
                              [](M& manager, C& channel) {
                                  channel.direction = VCOM_DIRECTION_OUT;
                                  channel.sendNoSignal = 1;
                                  Access::openFax(manager, &channel);
                              }},
                             {"openFax", 3, "Open Fax channel(2F) ", 937,
                              [](M& manager, C& channel) { Access::openFax(manager, &channel); }},
                             {"closeVoice", 3, "Close Voice channel(2F)", 982,
                              [](M& manager, C& channel) {
                                  Access::closeVoice(manager, &channel);
                              }},
                             {"closeFax", 3, "Close Fax channel(2F)", 1028,
                              [](M& manager, C& channel) { Access::closeFax(manager, &channel); }},
                             {"checkSilenceSuppressionMode", 3,
                              "Silence suppression disable for channel(2F) and ", 1183,
                              [](M& manager, C& channel) {
                                  C partner;
                                  partner.direction = VCOM_DIRECTION_OUT;
                                  partner.dsp = channel.dsp;
                                  partner.vad = true;
                                  Access::channels(manager).push_back(&partner);
                                  manager.checkSilenceSuppressionMode(&channel);
                                  Access::channels(manager).pop_back();
                              }},
                             {"faxToneEvent", 2, "EVT : Fax Tone Event for channel(2F)", 1217,
                              [](M& manager, C& channel) {
                                  MC_FaxTone const tone(
                                      recording::message(0, 1, channel.sid, {channel.dsp}));
                                  manager.faxToneEvent(FaxToneEvent, channel.direction, tone);
                              }},
                             {"dtmfEvent", 2, "EVT : DTMF Event(", 1244,
                              [](M& manager, C& channel) {
                                  MC_Dtmf const dtmf(
                                      recording::message(0, 4, channel.sid, {channel.dsp}));
                                  manager.dtmfEvent(DtmfEvent, channel.direction, dtmf);
                              }},
                             {"ackEventThatFails", 2, "ackEvent error on channel(2F) ", 1318,
                              [](M& manager, C& channel) { acknowledge(manager, channel, 1); }},
                             {"ackEvent", 2, "EVT : Ack Event for channel(2F)\n", 1331,
                              [](M& manager, C& channel) { acknowledge(manager, channel, 0); }}};
    return all;
}

class MC_ManagerTrace : public ManagerTest, public testing::WithParamInterface<Traced> {
protected:
    MC_ManagerTrace() {
        manager->registration(&client);
        channel.state = MC_Channel::Fax_Detected;
        channel.joinIp = IPAddress("10.3.0.1").Clone();
        platform().clearRecords();
    }

    /** How often the operation's own trace is written when the level word is as given. */
    std::size_t count(unsigned int levelWord) {
        platform().clearRecords();
        platform().setLogLevel(levelWord);
        channel.referenceCount = 2;
        if (channels().empty()) {
            channels().push_back(&channel);
        }
        GetParam().call(*manager, channel);
        auto const lines = traces();
        return static_cast<std::size_t>(
            std::count_if(lines.begin(), lines.end(), [](LogLine const& line) {
                return line.line == GetParam().line &&
                       line.text.find(std::string("MC - OBS - ") + GetParam().begin) == 0;
            }));
    }

    NiceMock<Client> client;
    MC_Channel& channel = listedChannel();
};

INSTANTIATE_TEST_SUITE_P(Operations, MC_ManagerTrace, testing::ValuesIn(allTraced()), NameOf());

TEST_P(MC_ManagerTrace, IsWrittenFromItsLevelUpAndOnlyTheTwoLowBitsCount) {
    for (unsigned int const low : {0U, 1U, 2U, 3U}) {
        for (unsigned int const high : {0U, 4U, 8U, 0x80000000U, 0xFFFFFFFCU}) {
            EXPECT_EQ(count(high | low), low >= GetParam().level ? 1U : 0U) << high << "|" << low;
        }
    }
}

TEST_P(MC_ManagerTrace, EndsWithALineBreakAndExactlyOneNul) {
    ASSERT_EQ(count(3), 1U);
    for (auto const& line : traces()) {
        ASSERT_GE(line.text.size(), 2U);
        EXPECT_EQ(line.text.substr(line.text.size() - 2), withNul("\n"));
        EXPECT_EQ(line.file, source);
        EXPECT_EQ(line.detail, "");
    }
}

TEST_P(MC_ManagerTrace, WritesNothingAtTheLevelsBelow) {
    for (unsigned int level = 0; level < 2; ++level) {
        count(level);
        EXPECT_THAT(platform().logCalls(), IsEmpty()) << level;
        EXPECT_THAT(platform().journal(Kind::sidTexts), IsEmpty())
            << "a description is not even built";
    }
}

TEST_P(MC_ManagerTrace, OfACommandBuildsNoDescription) {
    if (GetParam().level == 3) {
        count(3);
        EXPECT_THAT(platform().journal(Kind::sidTexts), IsEmpty());
    } else {
        count(2);
        EXPECT_EQ(traces().size(), 1U) << "the commands' own traces need level 3";
    }
}

// Whoever reads the logs knows a call by its number.

class MC_ManagerTraceLines : public ManagerTest {
protected:
    /** The line that the operation's own trace carries now. */
    int lineOf(Traced const& traced) {
        MC_Channel& channel = listedChannel();
        channel.state = MC_Channel::Fax_Detected;
        channel.joinIp = IPAddress("10.3.0.1").Clone();
        channel.referenceCount = 2;
        platform().setLogLevel(3);
        traced.call(*manager, channel);
        channels().clear();
        for (auto const& line : traces()) {
            if (line.text.find(std::string("MC - OBS - ") + traced.begin) == 0) {
                return line.line;
            }
        }
        ADD_FAILURE() << "no trace of " << traced;
        return 0;
    }

    NiceMock<Client> client;
};

TEST_F(MC_ManagerTraceLines, AscendInTheOrderOfTheSourceAndAreNotUsedForErrors) {
    manager->registration(&client);
    std::vector<int> lines;
    for (auto const& traced : allTraced()) {
        lines.push_back(lineOf(traced));
    }
    EXPECT_EQ(std::adjacent_find(lines.begin(), lines.end(), std::greater_equal<int>()),
              lines.end());
    for (int const error : {532, 1062, 1192}) {
        EXPECT_FALSE(std::binary_search(lines.begin(), lines.end(), error)) << error;
    }
}

} // namespace
