#include "MC_Channel.h"

#include "debug/DBG_Output.h"
#include "tests/support/Recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// Name tables of this program's own: shorter and less orderly than any platform's, so that what a
// search must not rely on is noticed. Behind the end of each stands a name that nobody may see.

std::string const DBG_Output::directionToStr[] = {"nowhere", "there", "beyond"};
int const DBG_Output::directionToStrMAX = 2;

std::string const DBG_Output::codecToStr[] = {"silence", "speech", "music", "noise", "beyond"};
int const DBG_Output::codecToStrMAX = 4;

DBG_Output::FramingName const DBG_Output::framingToStr[] = {
    {VCOM_FRAMING_40, "forty"},   {VCOM_FRAMING_20, "twenty"},
    {VCOM_FRAMING_20, "another"}, {static_cast<VCOM_Framing>(-7), "odd"},
    {VCOM_FRAMING_90, ""},        {VCOM_FRAMING_60, "beyond"},
    {VCOM_FRAMING_NONE, ""}};

namespace {

using namespace std::string_literals;

class NameTables : public testing::Test {
protected:
    NameTables() { recording::platform().reset(); }

    std::string mediaLine(int direction, int codec, int minFraming, int maxFraming) {
        channel.direction = static_cast<VCOM_Direction>(direction);
        channel.codec = codec;
        channel.minFraming = static_cast<VCOM_Framing>(minFraming);
        channel.maxFraming = static_cast<VCOM_Framing>(maxFraming);
        std::string const text = channel;
        std::size_t const start = text.find('\n') + 1;
        return text.substr(start, text.find('\n', start) - start);
    }

    std::string refusal(int codec, int framing) {
        channel.codec = codec;
        try {
            return std::to_string(channel.getSMFraming(static_cast<VCOM_Framing>(framing)));
        } catch (std::runtime_error const& e) {
            return recording::fullText(e);
        }
    }

    MC_Channel channel;
};

TEST_F(NameTables, FirstFramingOfAValueGivesTheNameInTheDescription) {
    EXPECT_EQ(
        mediaLine(0, 0, 40, 20),
        "\tNo data nowhere on Ip(0.0.0.0) dsp(0) sid(fa) [silence (forty/twentyms) vad(Off)]");
    EXPECT_EQ(mediaLine(1, 1, -7, 40),
              "\tNo data there on Ip(0.0.0.0) dsp(0) sid(fa) [speech (odd/fortyms) vad(Off)]");
}

TEST_F(NameTables, FramingsFromTheFirstEmptyNameOnHaveNoNameInTheDescription) {
    EXPECT_EQ(mediaLine(0, 3, 90, 60),
              "\tNo data nowhere on Ip(0.0.0.0) dsp(0) sid(fa) [noise (/ms) vad(Off)]");
    EXPECT_EQ(mediaLine(0, 3, 0, 10),
              "\tNo data nowhere on Ip(0.0.0.0) dsp(0) sid(fa) [noise (/ms) vad(Off)]");
}

TEST_F(NameTables, ValuesFromTheTablesSizeOnAreOutOfArrayInTheDescription) {
    EXPECT_EQ(mediaLine(2, 4, 20, 20),
              "\tNo data ERROR : OUT OF ARRAY !!! on Ip(0.0.0.0) dsp(0) sid(fa) [ERROR : OUT OF "
              "ARRAY !!! (twenty/twentyms) vad(Off)]");
}

TEST_F(NameTables, FramingRefusalsLookNamesUpTheSameWay) {
    EXPECT_EQ(refusal(0, 20), "Codec [silence (twenty)] not Supported by Session Manager\0"s);
    EXPECT_EQ(refusal(3, 40), "Codec [noise (forty)] not Supported by Session Manager\0"s);
    EXPECT_EQ(refusal(0, 90), "Codec [silence ()] not Supported by Session Manager\0"s);
    EXPECT_EQ(refusal(0, 60), "Codec [silence ()] not Supported by Session Manager\0"s);
    EXPECT_EQ(refusal(3, -7), "Codec [noise (odd)] not Supported by Session Manager\0"s);
}

TEST_F(NameTables, CodecThatIsConvertedMayHaveNoName) {
    EXPECT_EQ(refusal(4, 20), "2");
    EXPECT_EQ(refusal(4, 25),
              "Codec [ERROR : OUT OF ARRAY !!! ()] not Supported by Session Manager\0"s);
}

} // namespace
