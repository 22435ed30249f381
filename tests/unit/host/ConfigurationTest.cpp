#include "host/config/Configuration.h"

#include "Fixture.h"

#include <stdexcept>

namespace {

using host::Configuration;
using host::parseConfiguration;
using host::Store;

constexpr unsigned char ownSid = 0x01;

Configuration parsed(std::string const& text) {
    return parseConfiguration(text, "gw.toml", ownSid);
}

std::string refusal(std::string const& text) {
    return failureOf<std::runtime_error>([&] { parsed(text); });
}

TEST(Configuration, AnEmptyFileSaysNothing) {
    Configuration const read = parsed("");
    EXPECT_TRUE(read.values.empty());
    EXPECT_TRUE(read.boards.empty());
    EXPECT_TRUE(read.interfaces.empty());
    EXPECT_TRUE(read.noteworthyValues.empty());
}

TEST(Configuration, ReadsEveryTable) {
    Configuration const read = parsed("[current.gw_priv]\n"
                                      "fax_proto = \"tcp\"\n"
                                      "[current.gateway]\n"
                                      "rtptick_request = 255\n"
                                      "[boards]\n"
                                      "\"192.168.0.10\" = 0x10\n"
                                      "\"192.168.0.11\" = 0xFA\n"
                                      "[interfaces]\n"
                                      "voicelan = \"192.168.0.10\"\n"
                                      "[noteworthy]\n"
                                      "5 = 1\n"
                                      "-3 = 0\n");
    Store::Values const values = {
        {{"/current//gw_priv", "fax_proto"}, std::string("tcp")},
        {{"/current//gateway", "rtptick_request"}, std::uint8_t{255}},
    };
    EXPECT_EQ(read.values, values);
    EXPECT_EQ(read.boards,
              (std::map<std::uint32_t, unsigned char>{{0xC0A8000AU, 0x10}, {0xC0A8000BU, 0xFA}}));
    EXPECT_EQ(read.interfaces, (std::map<std::string, std::uint32_t>{{"voicelan", 0xC0A8000AU}}));
    EXPECT_EQ(read.noteworthyValues, (std::map<int, std::uint8_t>{{5, 1}, {-3, 0}}));
}

TEST(Configuration, ASyntaxErrorIsRefusedWithLineAndColumn) {
    std::string const text = refusal("[boards]\n\"192.168.0.10\" = = 1\n");
    EXPECT_EQ(text.substr(0, text.find(": ")), "gw.toml:2:18");
    EXPECT_GT(text.size(), std::string("gw.toml:2:18: ").size());
}

/** "a.a.a" for 3. */
std::string keyOfParts(std::size_t parts) {
    std::string key = "a";
    for (std::size_t part = 1; part < parts; ++part) {
        key += ".a";
    }
    return key;
}

TEST(Configuration, AKeyOfManyPartsIsRefusedWithItsPlace) {
    EXPECT_EQ(refusal(keyOfParts(17) + " = 1\n"), "gw.toml:1:33: a key has 16 parts at most");
    EXPECT_EQ(refusal("\n[" + keyOfParts(17) + "]\n"), "gw.toml:2:34: a key has 16 parts at most");
    EXPECT_EQ(refusal("a = {" + keyOfParts(200000) + " = 1}\n"),
              "gw.toml:1:38: a key has 16 parts at most");
    EXPECT_EQ(refusal("\"\xC3\xA4\" = 1 #\n\"\xC3\xA4\"." + keyOfParts(200000)),
              "gw.toml:2:35: a key has 16 parts at most");
    EXPECT_EQ(refusal(keyOfParts(16) + " = 1\n").substr(0, 12), "gw.toml:1:1:");
}

TEST(Configuration, DotsThatAreInNoKeyAreNotCounted) {
    std::string const dots(40, '.');
    std::string const numbers = "[1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0, 1.1, 2.1, 3.1, "
                                "4.1, 5.1, 6.1, 7.1, 8.1, 9.1]";
    for (std::string const& value :
         {"\"" + dots + "\\\"" + dots + "\"", "'" + dots + "\\' #" + dots,
          "\"\"\"" + dots + "\n\"\"" + dots + "\\\"\"\"\"\"\"", "'''" + dots + "\n'''''",
          numbers}) {
        std::string const text = "[current.gw_priv]\nfax_proto = " + value + "\n";
        EXPECT_EQ(refusal(text + "[x]\n").find("parts"), std::string::npos) << value;
        EXPECT_NE(refusal(text + keyOfParts(17)).find("parts"), std::string::npos) << value;
    }
}

TEST(Configuration, AKeyThatStandsTwiceIsRefusedWithItsLine) {
    std::string const text = refusal("[boards]\n\"10.0.0.1\" = 1\n\"10.0.0.1\" = 2\n");
    EXPECT_EQ(text.substr(0, text.find(':', 8)), "gw.toml:3");
}

TEST(Configuration, AnUnknownTableIsRefused) {
    EXPECT_EQ(refusal("[boards]\n\n  [bords]\n"),
              "gw.toml:3:4: unknown key \"bords\", expected current, boards, interfaces or "
              "noteworthy");
    EXPECT_EQ(refusal("[current.gw_pub]\n"),
              "gw.toml:1:10: unknown key \"gw_pub\", expected gw_priv or gateway");
}

TEST(Configuration, AnUnknownValueOfASectionIsRefused) {
    EXPECT_EQ(refusal("[current.gw_priv]\nfax_prot = \"udp\"\n"),
              "gw.toml:2:1: unknown key \"fax_prot\", expected fax_proto");
}

TEST(Configuration, AValueOfAnotherSectionIsRefused) {
    EXPECT_EQ(refusal("[current.gateway]\nfax_proto = \"udp\"\n"),
              "gw.toml:2:1: unknown key \"fax_proto\", expected rtptick_request");
}

TEST(Configuration, AValueOfAnotherTypeIsRefused) {
    EXPECT_EQ(refusal("[current.gw_priv]\nfax_proto = 1\n"), "gw.toml:2:13: expected a text");
    EXPECT_EQ(refusal("[current.gateway]\nrtptick_request = \"1\"\n"),
              "gw.toml:2:19: expected a number from 0 to 255");
    EXPECT_EQ(refusal("[current.gateway]\nrtptick_request = true\n"),
              "gw.toml:2:19: expected a number from 0 to 255");
    EXPECT_EQ(refusal("[interfaces]\nvoicelan = 1\n"), "gw.toml:2:12: expected a text");
    EXPECT_EQ(refusal("boards = 1\n"), "gw.toml:1:10: \"boards\" is no table");
    EXPECT_EQ(refusal("[current]\ngateway = 1\n"), "gw.toml:2:11: \"gateway\" is no table");
}

TEST(Configuration, ANumberOutOfRangeIsRefused) {
    EXPECT_EQ(refusal("[current.gateway]\nrtptick_request = 256\n"),
              "gw.toml:2:19: 256 is not in the range from 0 to 255");
    EXPECT_EQ(refusal("[noteworthy]\n5 = -1\n"),
              "gw.toml:2:5: -1 is not in the range from 0 to 255");
    EXPECT_EQ(refusal("[boards]\n\"10.0.0.1\" = 256\n"),
              "gw.toml:2:14: 256 is not in the range from 0 to 255");
}

TEST(Configuration, AnAddressThatIsNoneIsRefused) {
    EXPECT_EQ(refusal("[boards]\n\"10.0.0.256\" = 1\n"),
              "gw.toml:2:1: \"10.0.0.256\" is no IPv4 address");
    EXPECT_EQ(refusal("[interfaces]\nvoicelan = \"eth0\"\n"),
              "gw.toml:2:12: \"eth0\" is no IPv4 address");
}

TEST(Configuration, TwoBoardsOnOneImcAddressAreRefused) {
    EXPECT_EQ(refusal("[boards]\n\"10.0.0.1\" = 0x80\n\"10.0.0.2\" = 0x80\n"),
              "gw.toml:3:14: 0x80 is the IMC address of board 10.0.0.1 too");
    EXPECT_EQ(parsed("[boards]\n\"10.0.0.1\" = 0x80\n\"10.0.0.2\" = 0x81\n").boards.size(), 2U);
}

TEST(Configuration, ABoardOnTheImcAddressOfThisProcessIsRefused) {
    EXPECT_EQ(refusal("[boards]\n\"10.0.0.1\" = 0x80\n\"10.0.0.2\" = 1\n"),
              "gw.toml:3:14: 0x01 is this process's own IMC address");
}

TEST(Configuration, ANulCharacterInAKeyDoesNotEndTheError) {
    EXPECT_EQ(refusal("[boards]\n\"10.0.0.1\\u0000\" = 1\n"),
              "gw.toml:2:1: \"10.0.0.1\\0\" is no IPv4 address");
    EXPECT_EQ(refusal("\"a\\u0000b\" = 1\n"),
              "gw.toml:1:1: unknown key \"a\\0b\", expected current, boards, interfaces or "
              "noteworthy");
}

TEST(Configuration, ANoteworthyNumberThatIsNoneIsRefused) {
    EXPECT_EQ(refusal("[noteworthy]\n5x = 1\n"),
              "gw.toml:2:1: unknown key \"5x\", expected the number of a noteworthy value");
    EXPECT_EQ(refusal("[noteworthy]\n99999999999 = 1\n"),
              "gw.toml:2:1: unknown key \"99999999999\", expected the number of a noteworthy "
              "value");
}

TEST(Configuration, ANoteworthyNumberWrittenInTwoWaysIsRefused) {
    EXPECT_EQ(refusal("[noteworthy]\n05 = 1\n5 = 0\n"),
              "gw.toml:3:1: noteworthy value 5 stands twice");
}

TEST(Configuration, ATextOf63CharactersIsTakenAndOneMoreIsRefused) {
    std::string const longest(63, 'u');
    Configuration const read = parsed("[current.gw_priv]\nfax_proto = \"" + longest + "\"\n");
    EXPECT_EQ(std::get<std::string>(read.values.at({"/current//gw_priv", "fax_proto"})), longest);
    EXPECT_EQ(refusal("[current.gw_priv]\nfax_proto = \"" + longest + "u\"\n"),
              "gw.toml:2:13: a text has 63 characters at most, not 64");
}

TEST(Configuration, ATextWithANulCharacterIsRefused) {
    EXPECT_EQ(refusal("[current.gw_priv]\nfax_proto = \"udp\\u0000\"\n"),
              "gw.toml:2:13: a text holds no NUL character");
}

} // namespace
