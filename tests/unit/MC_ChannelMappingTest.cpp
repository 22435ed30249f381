#include "MC_Channel.h"

#include "tests/support/Recording.h"
#include "tests/unit/FailingAllocation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <map>
#include <type_traits>
#include <utility>

namespace {

using namespace std::string_literals;

using recording::platform;

static_assert(std::is_same<decltype(std::declval<MC_Channel>().getSMFraming(VCOM_FRAMING_10)),
                           unsigned short>::value,
              "");
static_assert(
    std::is_same<decltype(std::declval<MC_Channel>().getSMMaxFraming()), unsigned short>::value,
    "");
static_assert(
    std::is_same<decltype(std::declval<MC_Channel>().getSMMinFraming()), unsigned short>::value,
    "");
static_assert(std::is_same<decltype(std::declval<MC_Channel>().getSMCodecType()), int>::value, "");
static_assert(
    std::is_same<decltype(std::declval<MC_Channel>().getSMFaxProtocol(VCOM_FAXTRANSPORT_UDP)),
                 int>::value,
    "");

/** Packet duration in milliseconds, and its length in the codec's unit. */
using Lengths = std::map<int, int>;

Lengths const samples{{10, 80},   {20, 160},  {30, 240},   {40, 320},   {50, 400},
                      {60, 480},  {70, 560},  {80, 640},   {90, 720},   {100, 800},
                      {110, 880}, {120, 960}, {130, 1040}, {140, 1120}, {150, 1200}};
Lengths const framesOf30{{30, 1}, {60, 2}, {90, 3}, {120, 4}, {150, 5}};
Lengths const framesOf10{{10, 1},   {20, 2},   {30, 3},   {40, 4},   {50, 5},
                         {60, 6},   {70, 7},   {80, 8},   {90, 9},   {100, 10},
                         {110, 11}, {120, 12}, {130, 13}, {140, 14}, {150, 15}};

struct Codec {
    int value;
    std::string name;
    Lengths lengths;
};

std::string const outOfArray = "ERROR : OUT OF ARRAY !!!";

std::vector<Codec> const codecs{
    {0, "CODEC_0", {}},         {1, "CODEC_1", samples},       {2, "CODEC_2", samples},
    {3, "CODEC_3", framesOf30}, {4, "CODEC_4", framesOf10},    {5, "CODEC_5", framesOf10},
    {6, outOfArray, {}},        {7, outOfArray, {}},           {8, outOfArray, {}},
    {257, outOfArray, {}},      {65537, outOfArray, {}},       {INT_MAX, outOfArray, {}},
    {-1, outOfArray, {}},       {-2, outOfArray, {}},          {-255, outOfArray, {}},
    {-65533, outOfArray, {}},   {INT_MIN + 1, outOfArray, {}}, {INT_MIN, outOfArray, {}}};

std::vector<int> framings() {
    std::vector<int> all{INT_MIN, INT_MIN + 10, -65516, -246, 266, 276, 65546, 65566, INT_MAX};
    for (int framing = -10; framing <= 160; ++framing) {
        all.push_back(framing);
    }
    return all;
}

std::map<int, std::string> const framingNames{
    {10, "10"},   {20, "20"},   {30, "30"},   {40, "40"},   {50, "50"},
    {60, "60"},   {70, "70"},   {80, "80"},   {90, "90"},   {100, "100"},
    {110, "110"}, {120, "120"}, {130, "130"}, {140, "140"}, {150, "150"}};

std::string framingName(int framing) {
    auto const found = framingNames.find(framing);
    return found == framingNames.end() ? "" : found->second;
}

std::string framingRefusal(Codec const& codec, int framing) {
    return "Codec [" + codec.name + " (" + framingName(framing) +
           ")] not Supported by Session Manager\0"s;
}

/** The whole text of the refusal of a conversion. */
template <class Conversion>
std::string refusal(Conversion conversion) {
    try {
        return "converted to " + std::to_string(conversion());
    } catch (std::runtime_error const& e) {
        return recording::fullText(e);
    }
}

class ChannelMapping : public testing::Test {
protected:
    ChannelMapping() { platform().reset(); }

    int framing(int codec, int value) {
        channel.codec = codec;
        return channel.getSMFraming(static_cast<VCOM_Framing>(value));
    }

    std::string framingRefused(int codec, int value) {
        return refusal([&] { return framing(codec, value); });
    }

    std::string faxProtocolRefused(int argument) {
        return refusal(
            [&] { return channel.getSMFaxProtocol(static_cast<VCOM_FaxTransport>(argument)); });
    }

    MC_Channel channel;
};

TEST_F(ChannelMapping, EveryFramingOfEveryCodecIsConvertedOrRefusedWithItsText) {
    // The channel's own framings have no say here.
    channel.minFraming = VCOM_FRAMING_30;
    channel.maxFraming = VCOM_FRAMING_60;
    for (Codec const& codec : codecs) {
        for (int const value : framings()) {
            auto const found = codec.lengths.find(value);
            if (found != codec.lengths.end()) {
                EXPECT_EQ(framing(codec.value, value), found->second)
                    << "codec " << codec.value << ", framing " << value;
            } else {
                EXPECT_EQ(framingRefused(codec.value, value), framingRefusal(codec, value))
                    << "codec " << codec.value << ", framing " << value;
            }
        }
    }
}

TEST_F(ChannelMapping, MinimumFramingIsConvertedOrRefusedWithItsPrefix) {
    for (Codec const& codec : codecs) {
        channel.codec = codec.value;
        channel.maxFraming = codec.value == 3 ? VCOM_FRAMING_30 : VCOM_FRAMING_NONE;
        for (int const value : framings()) {
            channel.minFraming = static_cast<VCOM_Framing>(value);
            auto const found = codec.lengths.find(value);
            EXPECT_EQ(refusal([&] { return channel.getSMMinFraming(); }),
                      found != codec.lengths.end()
                          ? "converted to " + std::to_string(found->second)
                          : "Minium framing error : " + framingRefusal(codec, value))
                << "codec " << codec.value << ", framing " << value;
        }
    }
}

TEST_F(ChannelMapping, MaximumFramingIsConvertedOrRefusedWithItsPrefix) {
    for (Codec const& codec : codecs) {
        channel.codec = codec.value;
        channel.minFraming = codec.value == 3 ? VCOM_FRAMING_30 : VCOM_FRAMING_NONE;
        for (int const value : framings()) {
            channel.maxFraming = static_cast<VCOM_Framing>(value);
            auto const found = codec.lengths.find(value);
            EXPECT_EQ(refusal([&] { return channel.getSMMaxFraming(); }),
                      found != codec.lengths.end()
                          ? "converted to " + std::to_string(found->second)
                          : "Maximum framing error : " + framingRefusal(codec, value))
                << "codec " << codec.value << ", framing " << value;
        }
    }
}

TEST_F(ChannelMapping, EveryCodecHasItsTypeOrIsRefusedWithItsText) {
    std::map<int, int> const types{{1, 0}, {2, 1}, {3, 3}, {4, 4}, {5, 4}};
    for (Codec const& codec : codecs) {
        channel.codec = codec.value;
        auto const found = types.find(codec.value);
        EXPECT_EQ(refusal([&] { return channel.getSMCodecType(); }),
                  found != types.end()
                      ? "converted to " + std::to_string(found->second)
                      : "Codec [" + codec.name + "] Not Supported by Session Manager\0"s)
            << "codec " << codec.value;
    }
}

TEST_F(ChannelMapping, EveryFaxTransportIsConvertedOrRefusedWhateverTheChannelHolds) {
    for (int const own : {INT_MIN, -2, -1, 0, 1, 2, 3, 4, 257, 65538, INT_MAX}) {
        channel.faxTransport = static_cast<VCOM_FaxTransport>(own);
        for (int const argument : {INT_MIN, -2, -1, 0, 1, 2, 3, 4, 257, 65538, INT_MAX}) {
            int const used = argument == 0 ? own : argument;
            EXPECT_EQ(faxProtocolRefused(argument),
                      used == 1   ? "converted to 17"s
                      : used == 2 ? "converted to 6"s
                                  : "Transport type not supported by Session Manager\0"s)
                << "argument " << argument << ", channel " << own;
        }
    }
}

TEST_F(ChannelMapping, Codec1Framing20Is160And25And0AreRefused) {
    EXPECT_EQ(framing(1, 20), 160);
    EXPECT_EQ(framingRefused(1, 25), "Codec [CODEC_1 ()] not Supported by Session Manager\0"s);
    EXPECT_EQ(framingRefused(1, 0), "Codec [CODEC_1 ()] not Supported by Session Manager\0"s);
}

TEST_F(ChannelMapping, Codec3Framing90Is3And20IsRefused) {
    EXPECT_EQ(framing(3, 90), 3);
    EXPECT_EQ(framingRefused(3, 20), "Codec [CODEC_3 (20)] not Supported by Session Manager\0"s);
}

TEST_F(ChannelMapping, Codec5Framing150Is15AndItsTypeIsThatOfCodec4) {
    EXPECT_EQ(framing(5, 150), 15);
    EXPECT_EQ(channel.getSMCodecType(), 4);
    channel.codec = 4;
    EXPECT_EQ(channel.getSMCodecType(), 4);
}

TEST_F(ChannelMapping, FreshChannelsCodec0IsRefusedByFramingAndType) {
    EXPECT_EQ(refusal([&] { return channel.getSMFraming(VCOM_FRAMING_20); }),
              "Codec [CODEC_0 (20)] not Supported by Session Manager\0"s);
    EXPECT_EQ(refusal([&] { return channel.getSMCodecType(); }),
              "Codec [CODEC_0] Not Supported by Session Manager\0"s);
}

TEST_F(ChannelMapping, Codec6AndNegativeCodecsAreRefusedAsOutOfArray) {
    for (int const codec : {6, -1}) {
        EXPECT_EQ(framingRefused(codec, 20),
                  "Codec [ERROR : OUT OF ARRAY !!! (20)] not Supported by Session Manager\0"s);
        EXPECT_EQ(refusal([&] { return channel.getSMCodecType(); }),
                  "Codec [ERROR : OUT OF ARRAY !!!] Not Supported by Session Manager\0"s);
    }
}

TEST_F(ChannelMapping, MinimumRefusalIsSpeltMiniumAndEndsWithExactlyOneNul) {
    channel.codec = 3;
    channel.minFraming = VCOM_FRAMING_40;
    channel.maxFraming = VCOM_FRAMING_30;
    std::string const text = refusal([&] { return channel.getSMMinFraming(); });
    EXPECT_EQ(text, "Minium framing error : Codec [CODEC_3 (40)] not Supported by Session "
                    "Manager\0"s);
    EXPECT_EQ(text.find('\0'), text.size() - 1);
    EXPECT_EQ(channel.getSMMaxFraming(), 1);
}

TEST_F(ChannelMapping, MaximumRefusalNamesTheMaximum) {
    channel.codec = 1;
    channel.minFraming = VCOM_FRAMING_10;
    channel.maxFraming = static_cast<VCOM_Framing>(155);
    EXPECT_EQ(refusal([&] { return channel.getSMMaxFraming(); }),
              "Maximum framing error : Codec [CODEC_1 ()] not Supported by Session Manager\0"s);
    EXPECT_EQ(channel.getSMMinFraming(), 80);
}

TEST_F(ChannelMapping, MinimumAndMaximumOfOneChannelAreToldApart) {
    channel.codec = 2;
    channel.minFraming = VCOM_FRAMING_10;
    channel.maxFraming = VCOM_FRAMING_140;
    EXPECT_EQ(channel.getSMMinFraming(), 80);
    EXPECT_EQ(channel.getSMMaxFraming(), 1120);
}

TEST_F(ChannelMapping, FaxProtocol0TakesTheChannelsTransport) {
    channel.faxTransport = VCOM_FAXTRANSPORT_TCP;
    EXPECT_EQ(channel.getSMFaxProtocol(VCOM_FAXTRANSPORT_NONE), 6);
    EXPECT_EQ(channel.getSMFaxProtocol(VCOM_FAXTRANSPORT_UDP), 17);
    EXPECT_EQ(faxProtocolRefused(3), "Transport type not supported by Session Manager\0"s);
    channel.faxTransport = VCOM_FAXTRANSPORT_NONE;
    EXPECT_EQ(faxProtocolRefused(0), "Transport type not supported by Session Manager\0"s);
}

TEST_F(ChannelMapping, ConversionsAndRefusalsChangeNothingLogNothingAndAskNobody) {
    channel.identifier = 1;
    channel.codec = 3;
    channel.minFraming = VCOM_FRAMING_20;
    channel.maxFraming = VCOM_FRAMING_30;
    platform().setLogLevel(3);
    std::string const before = channel;
    platform().clearRecords();
    EXPECT_EQ(channel.getSMMaxFraming(), 1);
    EXPECT_THROW(channel.getSMMinFraming(), std::runtime_error);
    EXPECT_EQ(channel.getSMCodecType(), 3);
    EXPECT_THROW(channel.getSMFaxProtocol(static_cast<VCOM_FaxTransport>(3)), std::runtime_error);
    EXPECT_THAT(platform().journal(), testing::IsEmpty());
    std::string const after = channel;
    EXPECT_EQ(after, before);
}

/** A conversion that refuses, and its name. */
struct Refusing {
    char const* name;
    std::function<void(MC_Channel const&)> convert;
};

void PrintTo(Refusing const& refusing, std::ostream* out) {
    *out << refusing.name;
}

class ChannelMappingSpecificationDeathTest : public testing::TestWithParam<Refusing> {};

TEST_P(ChannelMappingSpecificationDeathTest, ExceptionOfAnotherTypeEndsTheProcess) {
    platform().reset();
    MC_Channel channel;
    std::size_t const before = failing_allocation::count();
    EXPECT_THROW(GetParam().convert(channel), std::runtime_error);
    std::size_t const allocations = failing_allocation::count() - before;
    ASSERT_GT(allocations, 0U);
    // Wherever it fails on its way to the refusal, in a wrapper's own part included.
    for (std::size_t i = 0; i < allocations; ++i) {
        EXPECT_DEATH(
            {
                failing_allocation::failAfter(i);
                GetParam().convert(channel);
            },
            "terminate called after throwing an instance of 'std::bad_alloc'")
            << "allocation " << i << " of " << allocations;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Of, ChannelMappingSpecificationDeathTest,
    testing::Values(Refusing{"getSMFraming",
                             [](MC_Channel const& c) { c.getSMFraming(VCOM_FRAMING_NONE); }},
                    Refusing{"getSMMaxFraming", [](MC_Channel const& c) { c.getSMMaxFraming(); }},
                    Refusing{"getSMMinFraming", [](MC_Channel const& c) { c.getSMMinFraming(); }},
                    Refusing{"getSMCodecType", [](MC_Channel const& c) { c.getSMCodecType(); }},
                    Refusing{"getSMFaxProtocol",
                             [](MC_Channel const& c) {
                                 c.getSMFaxProtocol(static_cast<VCOM_FaxTransport>(3));
                             }}),
    [](testing::TestParamInfo<Refusing> const& named) { return std::string(named.param.name); });

} // namespace
