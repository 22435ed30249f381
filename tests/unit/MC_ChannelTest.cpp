#include "MC_Channel.h"

#include "collector/GC_GarbageCollector.h"
#include "tests/support/Recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>

namespace {

using namespace std::string_literals;

using recording::Kind;
using recording::platform;
using testing::Each;
using testing::ElementsAre;
using testing::Eq;

// Clients and the manager are compiled against these types.
static_assert(std::is_base_of<GC_MetaObject, MC_Channel>::value, "");
static_assert(std::is_convertible<MC_Channel*, GC_MetaObject*>::value, "a public base");
static_assert(std::has_virtual_destructor<MC_Channel>::value, "");
static_assert(std::is_same<decltype(&MC_Channel::operator std::string const),
                           std::string const (MC_Channel::*)() const>::value,
              "");
static_assert(
    std::is_same<decltype(&MC_Channel::getIdentifier), std::string (MC_Channel::*)() const>::value,
    "");
static_assert(sizeof(MC_Channel::State) == 4, "");
static_assert(std::is_same<decltype(MC_Channel::referenceCount), std::uint32_t>::value, "");
static_assert(std::is_same<decltype(MC_Channel::identifier), std::uint32_t>::value, "");
static_assert(std::is_same<decltype(MC_Channel::state), MC_Channel::State>::value, "");
static_assert(std::is_same<decltype(MC_Channel::channelMode), std::int32_t>::value, "");
static_assert(std::is_same<decltype(MC_Channel::direction), VCOM_Direction>::value, "");
static_assert(std::is_same<decltype(MC_Channel::voiceOpen), bool>::value, "");
static_assert(std::is_same<decltype(MC_Channel::faxOpen), bool>::value, "");
static_assert(std::is_same<decltype(MC_Channel::vad), bool>::value, "");
static_assert(std::is_same<decltype(MC_Channel::faxDetection), bool>::value, "");
static_assert(std::is_same<decltype(MC_Channel::sendCed), bool>::value, "");
static_assert(std::is_same<decltype(MC_Channel::sendNoSignal), std::uint8_t>::value, "");
static_assert(std::is_same<decltype(MC_Channel::calledSide), bool>::value, "");
static_assert(std::is_same<decltype(MC_Channel::minFraming), VCOM_Framing>::value, "");
static_assert(std::is_same<decltype(MC_Channel::maxFraming), VCOM_Framing>::value, "");
static_assert(std::is_same<decltype(MC_Channel::dsp), std::uint8_t>::value, "");
static_assert(std::is_same<decltype(MC_Channel::rtcpLocal), UDPAddr>::value, "");
static_assert(std::is_same<decltype(MC_Channel::rtcpRemote), UDPAddr>::value, "");
static_assert(std::is_same<decltype(MC_Channel::rtpLocal), UDPAddr>::value, "");
static_assert(std::is_same<decltype(MC_Channel::rtpRemote), UDPAddr>::value, "");
static_assert(std::is_same<decltype(MC_Channel::codec), std::int32_t>::value, "");
static_assert(std::is_same<decltype(MC_Channel::joinIp), INetAddress*>::value, "");
static_assert(std::is_same<decltype(MC_Channel::joinDsp), std::uint8_t>::value, "");
static_assert(std::is_same<decltype(MC_Channel::mediaGateway), INetAddress*>::value, "");
static_assert(std::is_same<decltype(MC_Channel::sid), std::uint8_t>::value, "");
static_assert(std::is_same<decltype(MC_Channel::faxRedundancy), std::int32_t>::value, "");
static_assert(std::is_same<decltype(MC_Channel::faxDepth), std::int32_t>::value, "");
static_assert(std::is_same<decltype(MC_Channel::faxTransport), VCOM_FaxTransport>::value, "");
static_assert(std::is_same<decltype(MC_Channel::rtpDtmfPayloadType), std::uint8_t>::value, "");
static_assert(std::is_same<decltype(MC_Channel::rtpRedundancyPayloadType), std::uint8_t>::value,
              "");
static_assert(std::is_same<decltype(MC_Channel::inboundVoiceParam1), std::uint8_t>::value, "");
static_assert(std::is_same<decltype(MC_Channel::inboundVoiceParam2), std::uint8_t>::value, "");

/** A channel that is built where every byte had the same value before. */
class ChannelOnPattern {
public:
    explicit ChannelOnPattern(unsigned char pattern) {
        std::memset(storage, pattern, sizeof storage);
        channel = new (storage) MC_Channel;
    }
    ~ChannelOnPattern() { channel->~MC_Channel(); }

    ChannelOnPattern(ChannelOnPattern const&) = delete;
    ChannelOnPattern& operator=(ChannelOnPattern const&) = delete;

    MC_Channel const* operator->() const { return channel; }

    /** The bytes of a field, whether it was set or not. */
    template <class Field>
    std::vector<int> bytesOf(Field const& field) const {
        unsigned char bytes[sizeof(Field)];
        std::memcpy(bytes, static_cast<void const*>(&field), sizeof bytes);
        return {bytes, bytes + sizeof bytes};
    }

private:
    alignas(MC_Channel) unsigned char storage[sizeof(MC_Channel)];
    MC_Channel* channel;
};

class Channel : public testing::Test {
protected:
    Channel() {
        platform().reset();
        channel.identifier = 0x1A;
    }

    std::string description() const { return channel; }

    /** Line of the description, counted from 0, without its newline. */
    std::string line(std::size_t number) const {
        std::string const text = description();
        std::size_t start = 0;
        for (std::size_t i = 0; i < number; ++i) {
            start = text.find('\n', start) + 1;
        }
        return text.substr(start, text.find('\n', start) - start);
    }

    static UDPAddr endPoint(std::string const& ip, unsigned short port) {
        IPAddress const address(ip);
        return UDPAddr(&address, port);
    }

    MC_Channel channel;
};

class ChannelDefaults : public testing::TestWithParam<unsigned char> {};

TEST_P(ChannelDefaults, EveryFieldButThreeIsSetByTheConstructor) {
    platform().reset();
    ChannelOnPattern const channel(GetParam());
    EXPECT_EQ(channel->referenceCount, 0U);
    EXPECT_EQ(channel->state, 0);
    EXPECT_EQ(channel->channelMode, 0);
    EXPECT_EQ(channel->direction, 0);
    EXPECT_THAT(channel.bytesOf(channel->voiceOpen), ElementsAre(0));
    EXPECT_THAT(channel.bytesOf(channel->faxOpen), ElementsAre(0));
    EXPECT_THAT(channel.bytesOf(channel->vad), ElementsAre(0));
    EXPECT_THAT(channel.bytesOf(channel->faxDetection), ElementsAre(0));
    EXPECT_THAT(channel.bytesOf(channel->sendCed), ElementsAre(0));
    EXPECT_EQ(channel->sendNoSignal, 0U);
    EXPECT_THAT(channel.bytesOf(channel->calledSide), ElementsAre(0));
    EXPECT_EQ(channel->minFraming, 0);
    EXPECT_EQ(channel->maxFraming, 0);
    EXPECT_EQ(channel->dsp, 0U);
    EXPECT_EQ(channel->codec, 0);
    EXPECT_EQ(channel->joinIp, nullptr);
    EXPECT_EQ(channel->mediaGateway, nullptr);
    EXPECT_EQ(channel->sid, 0xFAU);
    EXPECT_EQ(channel->faxTransport, 1);
    EXPECT_EQ(channel->rtpDtmfPayloadType, 0U);
    EXPECT_EQ(channel->rtpRedundancyPayloadType, 0U);
    EXPECT_EQ(channel->inboundVoiceParam1, 0U);
    EXPECT_EQ(channel->inboundVoiceParam2, 0U);
    for (UDPAddr const* end :
         {&channel->rtcpLocal, &channel->rtcpRemote, &channel->rtpLocal, &channel->rtpRemote}) {
        EXPECT_EQ(end->GetINetAddress(), nullptr);
        EXPECT_EQ(end->GetPort(), 0U);
    }
}

TEST_P(ChannelDefaults, JoinDspFaxRedundancyAndFaxDepthAreLeftUnset) {
    ChannelOnPattern const channel(GetParam());
    EXPECT_THAT(channel.bytesOf(channel->joinDsp), Each(Eq(GetParam())));
    EXPECT_THAT(channel.bytesOf(channel->faxRedundancy), Each(Eq(GetParam())));
    EXPECT_THAT(channel.bytesOf(channel->faxDepth), Each(Eq(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(OnMemoryOf, ChannelDefaults, testing::Values(0x00, 0xA5, 0xFF),
                         [](testing::TestParamInfo<unsigned char> const& named) {
                             return "Byte" + std::to_string(named.param);
                         });

TEST_F(Channel, FieldsStandInTheirOrder) {
    std::vector<void const*> const fields{&channel.referenceCount,
                                          &channel.identifier,
                                          &channel.state,
                                          &channel.channelMode,
                                          &channel.direction,
                                          &channel.voiceOpen,
                                          &channel.faxOpen,
                                          &channel.vad,
                                          &channel.faxDetection,
                                          &channel.sendCed,
                                          &channel.sendNoSignal,
                                          &channel.calledSide,
                                          &channel.minFraming,
                                          &channel.maxFraming,
                                          &channel.dsp,
                                          &channel.rtcpLocal,
                                          &channel.rtcpRemote,
                                          &channel.rtpLocal,
                                          &channel.rtpRemote,
                                          &channel.codec,
                                          &channel.joinIp,
                                          &channel.joinDsp,
                                          &channel.mediaGateway,
                                          &channel.sid,
                                          &channel.faxRedundancy,
                                          &channel.faxDepth,
                                          &channel.faxTransport,
                                          &channel.rtpDtmfPayloadType,
                                          &channel.rtpRedundancyPayloadType,
                                          &channel.inboundVoiceParam1,
                                          &channel.inboundVoiceParam2};
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end(), std::less<void const*>()));
}

TEST_F(Channel, StatesHaveTheirValues) {
    EXPECT_EQ(MC_Channel::Idle, 0);
    EXPECT_EQ(MC_Channel::Voice_Open, 1);
    EXPECT_EQ(MC_Channel::Fax_Detected, 2);
    EXPECT_EQ(MC_Channel::Fax_Open, 3);
    EXPECT_EQ(MC_Channel::Close, 4);
    EXPECT_EQ(MC_Channel::Join, 5);
}

TEST_F(Channel, StateNamesStandInTheirTable) {
    EXPECT_EQ(int{MC_Channel::stateToStrMAX}, 6);
    std::vector<std::string> const names(MC_Channel::stateToStr, MC_Channel::stateToStr + 6);
    EXPECT_THAT(names,
                ElementsAre("Idle", "Voice_Open", "Fax_Detected", "Fax_Open", "Close", "Join"));
}

TEST_F(Channel, IdentifiersFollowOneAnother) {
    MC_Channel const first;
    MC_Channel const second;
    EXPECT_EQ(second.identifier, first.identifier + 1);
}

TEST_F(Channel, IdentifierIsShownInUpperCaseHexadecimalWithoutPadding) {
    std::pair<std::uint32_t, char const*> const shown[] = {{1, "1"},
                                                           {9, "9"},
                                                           {10, "A"},
                                                           {26, "1A"},
                                                           {255, "FF"},
                                                           {256, "100"},
                                                           {0xBCDEF, "BCDEF"},
                                                           {0, "0"},
                                                           {0x80000000, "80000000"},
                                                           {0x7FFFFFFF, "7FFFFFFF"},
                                                           {0xFFFFFFFF, "FFFFFFFF"}};
    for (auto const& entry : shown) {
        channel.identifier = entry.first;
        EXPECT_EQ(channel.getIdentifier(), entry.second);
        EXPECT_EQ(line(0), "MC_Channel "s + entry.second);
    }
}

TEST_F(Channel, FreshChannelIsDescribedWhole) {
    EXPECT_EQ(description(), "MC_Channel 1A\n"
                             "\tNo data NONE on Ip(0.0.0.0) dsp(0) sid(fa) [CODEC_0 (/ms)"
                             " vad(Off)]\n"
                             "send ced Off\n"
                             "send no signal T38_SIG_NIL\n"
                             "\tState : Idle\n"
                             "\tRTP  : none:0 <-> none:0\n"
                             "\tRTCP : none:0 <-> none:0\n"
                             "\tRTP Dtmf PT: 0x0 = 0\n"
                             "\tRTP Redundancy PT: 0x0 = 0\n\0"s);
}

TEST_F(Channel, VoiceChannelIsDescribedWhole) {
    channel.identifier = 0xABCDEF01;
    channel.state = MC_Channel::Voice_Open;
    channel.direction = VCOM_DIRECTION_IN;
    channel.voiceOpen = true;
    channel.vad = true;
    channel.sendNoSignal = 1;
    channel.minFraming = VCOM_FRAMING_20;
    channel.maxFraming = VCOM_FRAMING_150;
    channel.dsp = 200;
    channel.sid = 0x9C;
    channel.codec = 3;
    channel.mediaGateway = new IPAddress("192.168.30.4");
    channel.rtpLocal = endPoint("10.0.0.1", 5000);
    channel.rtpRemote = endPoint("10.0.0.2", 5002);
    channel.rtcpLocal = endPoint("10.0.0.3", 5001);
    channel.rtcpRemote = endPoint("10.0.0.4", 65535);
    channel.rtpDtmfPayloadType = 101;
    channel.rtpRedundancyPayloadType = 100;
    EXPECT_EQ(description(), "MC_Channel ABCDEF01\n"
                             "\tVoice INCOMING on Ip(192.168.30.4) dsp(200) sid(9c) [CODEC_3"
                             " (20/150ms) vad(On)]\n"
                             "send ced Off\n"
                             "send no signal T38_SIG_NO_SIGNAL\n"
                             "\tState : Voice_Open\n"
                             "\tRTP  : 10.0.0.1:5000 <-> 10.0.0.2:5002\n"
                             "\tRTCP : 10.0.0.3:5001 <-> 10.0.0.4:65535\n"
                             "\tRTP Dtmf PT: 0x65 = 101\n"
                             "\tRTP Redundancy PT: 0x64 = 64\n\0"s);
}

TEST_F(Channel, JoinedFaxChannelIsDescribedWhole) {
    channel.identifier = 7;
    channel.state = MC_Channel::Join;
    channel.direction = VCOM_DIRECTION_OUT;
    channel.faxOpen = true;
    channel.sendCed = true;
    channel.sendNoSignal = 2;
    channel.minFraming = VCOM_FRAMING_30;
    channel.maxFraming = VCOM_FRAMING_90;
    channel.dsp = 255;
    channel.sid = 0x05;
    channel.codec = 5;
    channel.joinIp = new recording::OtherAddress("fe80::9");
    channel.joinDsp = 254;
    channel.mediaGateway = new recording::OtherAddress("fe80::1");
    channel.rtpDtmfPayloadType = 255;
    channel.rtpRedundancyPayloadType = 255;
    EXPECT_EQ(description(), "MC_Channel 7\n"
                             "\tFax OUTGOING on Ip(fe80::1) dsp(255) sid(05) [CODEC_5 (30/90ms)"
                             " vad(Off)]\n"
                             "send ced On\n"
                             "send no signal T38_SIG_CNG\n"
                             "\tState : Join with fe80::9 dsp(254)\n"
                             "\tRTP  : none:0 <-> none:0\n"
                             "\tRTCP : none:0 <-> none:0\n"
                             "\tRTP Dtmf PT: 0xff = 255\n"
                             "\tRTP Redundancy PT: 0xff = ff\n\0"s);
}

TEST_F(Channel, ChannelOutsideAllTablesIsDescribedWhole) {
    channel.identifier = 0xFFFFFFFF;
    channel.state = static_cast<MC_Channel::State>(6);
    channel.direction = static_cast<VCOM_Direction>(3);
    channel.codec = 6;
    channel.minFraming = static_cast<VCOM_Framing>(25);
    channel.maxFraming = VCOM_FRAMING_10;
    channel.sendNoSignal = 7;
    EXPECT_EQ(description(), "MC_Channel FFFFFFFF\n"
                             "\tNo data ERROR : OUT OF ARRAY !!! on Ip(0.0.0.0) dsp(0) sid(fa)"
                             " [ERROR : OUT OF ARRAY !!! (/10ms) vad(Off)]\n"
                             "send ced Off\n"
                             "send no signal T38_SIG_CNG\n"
                             "\tState : ERROR : OUT OF ARRAY !!!\n"
                             "\tRTP  : none:0 <-> none:0\n"
                             "\tRTCP : none:0 <-> none:0\n"
                             "\tRTP Dtmf PT: 0x0 = 0\n"
                             "\tRTP Redundancy PT: 0x0 = 0\n\0"s);
}

TEST_F(Channel, DescriptionEndsWithExactlyOneNul) {
    std::string const text = description();
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(text.find('\0'), text.size() - 1);
    EXPECT_EQ(text[text.size() - 2], '\n');
}

TEST_F(Channel, DescriptionChangesNothing) {
    std::string const first = description();
    EXPECT_EQ(description(), first);
}

TEST_F(Channel, FaxAndVoiceOpenPrintTheKindFax) {
    channel.faxOpen = true;
    channel.voiceOpen = true;
    EXPECT_THAT(line(1), testing::StartsWith("\tFax NONE on"));
}

TEST_F(Channel, SidIsShownInTheTextFormOfTheProcessOwnImc) {
    channel.sid = 0x80;
    EXPECT_THAT(line(1), testing::HasSubstr(" dsp(0) sid(80) ["));
    EXPECT_THAT(platform().journal(Kind::sidTexts), ElementsAre("getStringSid(80)"));
    EXPECT_THAT(platform().instanceQuestions(), ElementsAre(0xFF));
}

TEST_F(Channel, EachDirectionPrintsItsName) {
    std::pair<int, std::string> const names[] = {{0, "NONE"},
                                                 {1, "INCOMING"},
                                                 {2, "OUTGOING"},
                                                 {3, "ERROR : OUT OF ARRAY !!!"},
                                                 {4, "ERROR : OUT OF ARRAY !!!"},
                                                 {256, "ERROR : OUT OF ARRAY !!!"},
                                                 {INT_MAX, "ERROR : OUT OF ARRAY !!!"},
                                                 {-1, "ERROR : OUT OF ARRAY !!!"},
                                                 {INT_MIN, "ERROR : OUT OF ARRAY !!!"}};
    for (auto const& entry : names) {
        channel.direction = static_cast<VCOM_Direction>(entry.first);
        EXPECT_EQ(line(1), "\tNo data " + entry.second +
                               " on Ip(0.0.0.0) dsp(0) sid(fa) [CODEC_0 (/ms) vad(Off)]")
            << entry.first;
    }
}

TEST_F(Channel, EachCodecPrintsItsName) {
    std::pair<int, std::string> const names[] = {{0, "CODEC_0"},
                                                 {1, "CODEC_1"},
                                                 {2, "CODEC_2"},
                                                 {3, "CODEC_3"},
                                                 {4, "CODEC_4"},
                                                 {5, "CODEC_5"},
                                                 {6, "ERROR : OUT OF ARRAY !!!"},
                                                 {7, "ERROR : OUT OF ARRAY !!!"},
                                                 {256, "ERROR : OUT OF ARRAY !!!"},
                                                 {INT_MAX, "ERROR : OUT OF ARRAY !!!"},
                                                 {-1, "ERROR : OUT OF ARRAY !!!"},
                                                 {INT_MIN, "ERROR : OUT OF ARRAY !!!"}};
    for (auto const& entry : names) {
        channel.codec = entry.first;
        EXPECT_EQ(line(1), "\tNo data NONE on Ip(0.0.0.0) dsp(0) sid(fa) [" + entry.second +
                               " (/ms) vad(Off)]")
            << entry.first;
    }
}

TEST_F(Channel, EachFramingPrintsItsNameAndAnUnknownOnePrintsNothing) {
    for (int framing = -10; framing <= 160; ++framing) {
        bool const isKnown = framing >= 10 && framing <= 150 && framing % 10 == 0;
        std::string const name = isKnown ? std::to_string(framing) : "";
        channel.minFraming = static_cast<VCOM_Framing>(framing);
        channel.maxFraming = VCOM_FRAMING_NONE;
        EXPECT_THAT(line(1), testing::EndsWith(" [CODEC_0 (" + name + "/ms) vad(Off)]"));
        channel.minFraming = VCOM_FRAMING_NONE;
        channel.maxFraming = static_cast<VCOM_Framing>(framing);
        EXPECT_THAT(line(1), testing::EndsWith(" [CODEC_0 (/" + name + "ms) vad(Off)]"));
    }
}

TEST_F(Channel, UnknownFramingLeavesNothingBetweenBracketAndSlash) {
    channel.minFraming = static_cast<VCOM_Framing>(INT_MAX);
    channel.maxFraming = static_cast<VCOM_Framing>(INT_MIN);
    EXPECT_THAT(line(1), testing::EndsWith(" (/ms) vad(Off)]"));
}

TEST_F(Channel, SendNoSignal7PrintsCng) {
    channel.sendNoSignal = 7;
    EXPECT_EQ(line(3), "send no signal T38_SIG_CNG");
}

TEST_F(Channel, EachSignalPrintsItsName) {
    for (int signal = 0; signal <= 255; ++signal) {
        channel.sendNoSignal = static_cast<std::uint8_t>(signal);
        std::string const name = signal == 0   ? "T38_SIG_NIL"
                                 : signal == 1 ? "T38_SIG_NO_SIGNAL"
                                               : "T38_SIG_CNG";
        EXPECT_EQ(line(3), "send no signal " + name);
    }
}

TEST_F(Channel, EachStatePrintsItsName) {
    std::pair<int, std::string> const names[] = {{0, "Idle"},
                                                 {1, "Voice_Open"},
                                                 {2, "Fax_Detected"},
                                                 {3, "Fax_Open"},
                                                 {4, "Close"},
                                                 {6, "ERROR : OUT OF ARRAY !!!"},
                                                 {7, "ERROR : OUT OF ARRAY !!!"},
                                                 {261, "ERROR : OUT OF ARRAY !!!"},
                                                 {INT_MAX, "ERROR : OUT OF ARRAY !!!"},
                                                 {-1, "ERROR : OUT OF ARRAY !!!"},
                                                 {INT_MIN, "ERROR : OUT OF ARRAY !!!"}};
    channel.joinIp = new IPAddress("10.0.0.9");
    for (auto const& entry : names) {
        channel.state = static_cast<MC_Channel::State>(entry.first);
        EXPECT_EQ(line(4), "\tState : " + entry.second) << entry.first;
    }
}

TEST_F(Channel, JoinWithoutJoinIpPrintsTheAnyAddress) {
    channel.state = MC_Channel::Join;
    channel.joinDsp = 0;
    EXPECT_EQ(line(4), "\tState : Join with 0.0.0.0 dsp(0)");
}

TEST_F(Channel, DspNumbersArePrintedInDecimalFrom0To255) {
    channel.state = MC_Channel::Join;
    for (int dsp = 0; dsp <= 255; ++dsp) {
        channel.dsp = static_cast<std::uint8_t>(dsp);
        channel.joinDsp = static_cast<std::uint8_t>(255 - dsp);
        EXPECT_THAT(line(1), testing::HasSubstr(" dsp(" + std::to_string(dsp) + ") "));
        EXPECT_THAT(line(4), testing::EndsWith(" dsp(" + std::to_string(255 - dsp) + ")"));
    }
}

TEST_F(Channel, RedundancyPayloadTypeIsHexadecimalOnBothSidesAndDtmfOnOne) {
    channel.rtpRedundancyPayloadType = 100;
    channel.rtpDtmfPayloadType = 101;
    EXPECT_EQ(line(7), "\tRTP Dtmf PT: 0x65 = 101");
    EXPECT_EQ(line(8), "\tRTP Redundancy PT: 0x64 = 64");
    channel.rtpRedundancyPayloadType = 0xAB;
    channel.rtpDtmfPayloadType = 0xCD;
    EXPECT_EQ(line(7), "\tRTP Dtmf PT: 0xcd = 205");
    EXPECT_EQ(line(8), "\tRTP Redundancy PT: 0xab = ab");
}

TEST_F(Channel, DestructorReleasesTheAddressesInTheirOrder) {
    auto dying = std::make_unique<MC_Channel>();
    dying->joinIp = IPAddress("10.0.0.1").Clone();
    dying->mediaGateway = IPAddress("10.0.0.2").Clone();
    dying->rtpRemote = endPoint("10.0.0.3", 3);
    dying->rtpLocal = endPoint("10.0.0.4", 4);
    dying->rtcpRemote = endPoint("10.0.0.5", 5);
    dying->rtcpLocal = endPoint("10.0.0.6", 6);
    platform().clearRecords();
    dying.reset();
    EXPECT_THAT(platform().journal(),
                ElementsAre("delete 10.0.0.1", "delete 10.0.0.2", "~TransportAddress(10.0.0.3, 3)",
                            "delete 10.0.0.3", "~TransportAddress(10.0.0.4, 4)", "delete 10.0.0.4",
                            "~TransportAddress(10.0.0.5, 5)", "delete 10.0.0.5",
                            "~TransportAddress(10.0.0.6, 6)", "delete 10.0.0.6",
                            "object destroyed"));
    EXPECT_EQ(platform().liveClones(), 0U);
}

TEST_F(Channel, DestructorOfAnEmptyChannelDeletesNoAddress) {
    auto dying = std::make_unique<MC_Channel>();
    platform().clearRecords();
    dying.reset();
    EXPECT_THAT(platform().journal(),
                ElementsAre("~TransportAddress(none, 0)", "~TransportAddress(none, 0)",
                            "~TransportAddress(none, 0)", "~TransportAddress(none, 0)",
                            "object destroyed"));
}

TEST_F(Channel, CollectorDestroysTheChannelWithItsLastReferenceAndReleasesTheAddresses) {
    auto* const counted = new MC_Channel;
    counted->referenceCount = 2;
    counted->joinIp = IPAddress("10.0.0.1").Clone();
    counted->mediaGateway = IPAddress("10.0.0.2").Clone();
    std::size_t const others = platform().liveObjects() - 1;
    GC_GarbageCollector::instance()->dereference(counted);
    EXPECT_EQ(platform().liveClones(), 2U);
    GC_GarbageCollector::instance()->dereference(counted);
    EXPECT_EQ(platform().liveClones(), 0U);
    EXPECT_EQ(platform().liveObjects(), others);
}

} // namespace
