#include "gateway/session/Words.h"
#include "gateway/session/Table.h"
#include "tests/support/Refusal.h"

#include <gmock/gmock.h>

namespace {

using gateway::FieldSetting;
using gateway::SettingWords;
using gateway::Table;
using gateway::wordsOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(WordsOfALine, ArePartedByBlanksOutsideOfQuotationMarks) {
    EXPECT_THAT(wordsOf("  session\topen a "), ElementsAre("session", "open", "a"));
    EXPECT_THAT(wordsOf("a codec=\"G.711 A-law\" b"),
                ElementsAre("a", "codec=\"G.711 A-law\"", "b"));
    EXPECT_THAT(wordsOf(" "), IsEmpty());
    EXPECT_THAT(refusalOf([] { wordsOf("a \"b"); }), HasSubstr("quotation mark"));
}

TEST(NumbersOfALine, AreDecimalOrHexadecimal) {
    EXPECT_EQ(gateway::numberOf("16", "SID", 0, 255), 16);
    EXPECT_EQ(gateway::numberOf("0x10", "SID", 0, 255), 16);
    EXPECT_EQ(gateway::numberOf("0XfA", "SID", 0, 255), 250);
    for (char const* const bad :
         {"", "0x", "-1", "256", "1a", "99999999999999999999", "0x1g", "1 "}) {
        EXPECT_EQ(refusalOf([bad] { gateway::numberOf(bad, "SID", 0, 255); }),
                  std::string("SID is \"") + bad + "\": expected a number from 0 to 255");
    }
}

class Settings : public testing::Test {
protected:
    std::vector<FieldSetting> parse(std::vector<std::string> const& words) const {
        return SettingWords([](unsigned char sid) { return "10.0.0." + std::to_string(sid); },
                            [](gateway::ChannelField const& field) { return field.name != "dsp"; },
                            takesBoard)
            .parse(words);
    }
    std::string refusal(std::vector<std::string> const& words) const {
        return refusalOf([&] { parse(words); });
    }
    bool takesBoard = true;
};

TEST_F(Settings, AreThoseOfCallFiles) {
    auto const settings = parse({"board=0x10", "direction=in", "vad=true", "codec=\"G.711 A-law\"",
                                 "minFraming=20", "rtpRemote=\"10.0.9.1:4000\""});
    ASSERT_EQ(settings.size(), 6U);
    EXPECT_EQ(settings[0].field->name, "mediaGateway");
    EXPECT_EQ(settings[0].value, gateway::FieldValue("10.0.0.16"));
    EXPECT_EQ(settings[1].value, gateway::FieldValue(std::int64_t{1}));
    EXPECT_EQ(settings[2].value, gateway::FieldValue(std::int64_t{1}));
    EXPECT_EQ(settings[3].value, gateway::FieldValue(std::int64_t{1}));
    EXPECT_EQ(settings[4].value, gateway::FieldValue(std::int64_t{20}));
    EXPECT_EQ(settings[5].value, gateway::FieldValue("10.0.9.1:4000"));
}

TEST_F(Settings, SayWhatWouldBeRight) {
    EXPECT_THAT(refusal({"colour=red"}),
                HasSubstr("unknown key \"colour\": expected one of board, "));
    EXPECT_THAT(refusal({"dsp=1"}), HasSubstr("unknown key \"dsp\""));
    EXPECT_THAT(refusal({"state=1"}), HasSubstr("unknown key \"state\""));
    EXPECT_THAT(refusal({"vad"}), HasSubstr("\"vad\" is no key=value"));
    EXPECT_EQ(refusal({"vad=1"}), "vad is 1: expected true or false");
    EXPECT_EQ(refusal({"board=300"}), "board is \"300\": expected a number from 0 to 255");
    EXPECT_EQ(refusal({"vad=true", "vad=false"}), "vad is set twice: expected it once");
    EXPECT_EQ(refusal({"board=1", "mediaGateway=10.0.0.1"}),
              "mediaGateway is set twice: expected it once");
}

TEST_F(Settings, TakeABoardOnlyWhereItCanBeChosen) {
    takesBoard = false;
    EXPECT_THAT(refusal({"board=0x10"}), HasSubstr("unknown key \"board\""));
}

TEST(Tables, HaveTheirColumnsOneBelowTheOther) {
    Table table({"Name", "N"});
    EXPECT_TRUE(table.isEmpty());
    table.add({"a", "100"});
    table.add({"longer", ""});
    EXPECT_FALSE(table.isEmpty());
    EXPECT_EQ(table.text(), "Name    N\na       100\nlonger");
}

} // namespace
