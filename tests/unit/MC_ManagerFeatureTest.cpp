#include "tests/unit/MC_ManagerFixture.h"

#include <stdexcept>
#include <string>

namespace {

using namespace mctest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class MC_ManagerFeature : public ManagerTest {
protected:
    void setSilenceSuppressionActive(MC_Channel const& channel) {
        Access::setSilenceSuppressionActive(*manager, &channel);
    }
    void setDigitDetection(MC_Channel const& channel) {
        Access::setDigitDetection(*manager, &channel);
    }
    void setPacketLength(MC_Channel const& channel) { Access::setPacketLength(*manager, &channel); }

    /** The one command that was posted must be this set-parameter command to sid 0xFA. */
    static void expectParameter(std::uint8_t code, std::uint8_t byte2, std::uint8_t byte3 = 0,
                                std::uint8_t byte4 = 0, std::uint8_t byte5 = 0) {
        ASSERT_EQ(platform().posted().size(), 1U);
        EXPECT_THAT(platform().posted()[0],
                    IsRecord(record({0, 0, 0xFA, 0, 0, 6, 0, 0, 0, 0, 0, 108},
                                    {3, code, byte2, byte3, byte4, byte5})));
    }
};

TEST_F(MC_ManagerFeature, SilenceSuppressionOffIsSentAs0AndTracedAsFalse) {
    platform().setLogLevel(3);
    setSilenceSuppressionActive(listedChannel());
    expectParameter(2, 0);
    EXPECT_THAT(traces(),
                ElementsAre(trace("set SILENCE_COMPRESSION on channel(2F) to false\n", 573)));
}

TEST_F(MC_ManagerFeature, SilenceSuppressionOnIsSentAs1AndTracedAsTrue) {
    platform().setLogLevel(3);
    MC_Channel& channel = listedChannel();
    channel.vad = true;
    setSilenceSuppressionActive(channel);
    expectParameter(2, 1);
    EXPECT_THAT(traces(),
                ElementsAre(trace("set SILENCE_COMPRESSION on channel(2F) to true\n", 573)));
}

TEST_F(MC_ManagerFeature, SilenceSuppressionIsSentAsItStandsWithoutLookingAtThePartner) {
    MC_Channel& channel = listedChannel(1);
    MC_Channel& partner = listedChannel(2);
    channel.vad = true;
    setSilenceSuppressionActive(channel);
    expectParameter(2, 1);
    EXPECT_TRUE(channel.vad);
    EXPECT_FALSE(partner.vad);
}

TEST_F(MC_ManagerFeature, DigitDetectionOfPayloadType0IsSentAs0AndTracedAsDisabled) {
    platform().setLogLevel(3);
    setDigitDetection(listedChannel());
    expectParameter(3, 0);
    EXPECT_THAT(traces(), ElementsAre(trace("DIGIT_DETECTION is DISABLED on channel(2F)\n", 651)));
}

TEST_F(MC_ManagerFeature, DigitDetectionOfAnyOtherPayloadTypeIsSentAs2AndTraced) {
    platform().setLogLevel(3);
    MC_Channel& channel = listedChannel();
    for (int const payloadType : {1, 2, 101, 255}) {
        platform().clearRecords();
        channel.rtpDtmfPayloadType = static_cast<std::uint8_t>(payloadType);
        setDigitDetection(channel);
        expectParameter(3, 2);
        EXPECT_THAT(traces(), ElementsAre(trace("set DIGIT_DETECTION on channel(2F)\n", 659)));
    }
}

TEST_F(MC_ManagerFeature, DigitDetectionIsTracedBeforeThePostAndTheOthersAfterIt) {
    platform().setLogLevel(3);
    MC_Channel& channel = listedChannel();
    setDigitDetection(channel);
    channel.rtpDtmfPayloadType = 101;
    setDigitDetection(channel);
    setSilenceSuppressionActive(channel);
    setPacketLength(channel);
    EXPECT_THAT(platform().journal(Kind::posts | Kind::traces),
                ElementsAre(HasSubstr("DIGIT_DETECTION is DISABLED"), "post 108",
                            HasSubstr("set DIGIT_DETECTION"), "post 108", "post 108",
                            HasSubstr("set SILENCE_COMPRESSION"), "post 108",
                            HasSubstr("set PACKET_LENGTH")));
}

TEST_F(MC_ManagerFeature, DigitDetectionHasBeenTracedWhenThePostFails) {
    platform().setLogLevel(3);
    platform().script.post = recording::throwing(std::runtime_error("no route"));
    platform().script.coreDumpExit = [](int) { EXPECT_EQ(traces().size(), 1U); };
    setDigitDetection(listedChannel());
    EXPECT_THAT(platform().exits(), ElementsAre(0));
}

TEST_F(MC_ManagerFeature, PacketLengthOfCodec1From10To30IsSentIn8kHzSamples) {
    platform().setLogLevel(3);
    setPacketLength(listedChannel());
    expectParameter(4, 0x00, 0x50, 0x00, 0xF0);
    EXPECT_THAT(traces(),
                ElementsAre(trace("set PACKET_LENGTH detection on channel(2F) to 80/240\n", 706)));
}

TEST_F(MC_ManagerFeature, PacketLengthOf150MillisecondsFillsBothBytes) {
    platform().setLogLevel(3);
    MC_Channel& channel = listedChannel();
    channel.codec = 2;
    channel.minFraming = VCOM_FRAMING_140;
    channel.maxFraming = VCOM_FRAMING_150;
    setPacketLength(channel);
    expectParameter(4, 0x04, 0x60, 0x04, 0xB0);
    EXPECT_THAT(traces(), ElementsAre(trace(
                              "set PACKET_LENGTH detection on channel(2F) to 1120/1200\n", 706)));
}

TEST_F(MC_ManagerFeature, PacketLengthDoesNotCompareMinimumAndMaximum) {
    MC_Channel& channel = listedChannel();
    channel.codec = 4;
    channel.minFraming = VCOM_FRAMING_150;
    channel.maxFraming = VCOM_FRAMING_10;
    setPacketLength(channel);
    expectParameter(4, 0, 15, 0, 1);
}

TEST_F(MC_ManagerFeature, PacketLengthOfCodec3With20MillisecondsIsRefusedUnsent) {
    platform().setLogLevel(3);
    MC_Channel& channel = listedChannel();
    channel.codec = 3;
    channel.minFraming = VCOM_FRAMING_20;
    EXPECT_EQ(refusal([&] { setPacketLength(channel); }),
              withNul("Minium framing error : Codec [CODEC_3 (20)] not Supported by Session "
                      "Manager"));
    EXPECT_THAT(platform().posted(), IsEmpty());
    EXPECT_THAT(platform().logCalls(), IsEmpty());
}

TEST_F(MC_ManagerFeature, PacketLengthOfAnUnsupportedMaximumIsRefusedUnsent) {
    MC_Channel& channel = listedChannel();
    channel.codec = 3;
    channel.minFraming = VCOM_FRAMING_30;
    channel.maxFraming = VCOM_FRAMING_40;
    EXPECT_EQ(refusal([&] { setPacketLength(channel); }),
              withNul("Maximum framing error : Codec [CODEC_3 (40)] not Supported by Session "
                      "Manager"));
    EXPECT_THAT(platform().posted(), IsEmpty());
}

TEST_F(MC_ManagerFeature, PacketLengthReportsTheMinimumWhenBothAreUnsupported) {
    MC_Channel& channel = listedChannel();
    channel.codec = 0;
    EXPECT_EQ(refusal([&] { setPacketLength(channel); }),
              withNul("Minium framing error : Codec [CODEC_0 (10)] not Supported by Session "
                      "Manager"));
}

TEST_F(MC_ManagerFeature, DirectionIsNotConsulted) {
    for (int const channelDirection : {-1, 0, 1, 2, 3}) {
        MC_Channel& channel = listedChannel(channelDirection);
        platform().clearRecords();
        setSilenceSuppressionActive(channel);
        setDigitDetection(channel);
        setPacketLength(channel);
        EXPECT_THAT(commands(), ElementsAre("108:2", "108:3", "108:4")) << channelDirection;
        for (auto const& message : platform().posted()) {
            EXPECT_EQ(message.length, 6);
        }
    }
}

} // namespace
