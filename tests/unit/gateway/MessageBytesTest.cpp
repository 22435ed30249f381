#include "gateway/MessageBytes.h"

#include "dsp/Board.h"
#include "tests/support/CaptureBytes.h"
#include "tests/support/Refusal.h"

#include <gmock/gmock.h>

#include <random>
#include <sstream>

namespace {

using gateway::parseHexadecimal;
using gateway::parseRecord;
using gateway::parseWritten;
using gateway::readWritten;
using gateway::WrittenMessage;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Lt;
using testing::SizeIs;
using testing::StartsWith;

TEST(Hexadecimal, MayHaveBlanksAndColonsBetweenBytes) {
    EXPECT_THAT(parseHexadecimal("00 fF:a0\t1B"), ElementsAre(0x00, 0xFF, 0xA0, 0x1B));
    EXPECT_THAT(parseHexadecimal(""), ElementsAre());
}

TEST(Hexadecimal, IsRefusedInHalvesAndWithOtherCharacters) {
    EXPECT_EQ(refusalOf([] { parseHexadecimal("001"); }),
              "bad bytes \"001\": the last one is half");
    EXPECT_EQ(refusalOf([] { parseHexadecimal("0 01"); }),
              "bad bytes \"0 01\": expected two hexadecimal digits for each byte");
    EXPECT_THAT(refusalOf([] { parseHexadecimal("0g"); }), StartsWith("bad bytes \"0g\""));
    EXPECT_THAT(refusalOf([] { parseHexadecimal("0x01"); }), StartsWith("bad bytes \"0x01\""));
}

TEST(WrittenRecord, IsFilledUpWithZeros) {
    WrittenMessage const written = parseRecord("00 02 10 00 FFFF 0000 00000064 03");
    imc_msg expected{};
    expected.sourceSid = 2;
    expected.destinationSid = 0x10;
    expected.length = 0xFFFF;
    expected.messageId = 100;
    expected.payload[0] = 3;
    EXPECT_EQ(bytesOfMessage(written.message), bytesOfMessage(expected));
    EXPECT_TRUE(written.hasSource && written.hasDestination);
}

TEST(WrittenRecord, MayBeAsLongAsAMessageAndNoLonger) {
    std::string whole;
    for (std::size_t i = 0; i < sizeof(imc_msg); ++i) {
        whole += "A5";
    }
    EXPECT_EQ(bytesOfMessage(parseRecord(whole).message),
              std::string(sizeof(imc_msg), static_cast<char>(0xA5)));
    EXPECT_EQ(refusalOf([&] { parseRecord(whole + "00"); }),
              "a record of 1037 bytes: expected 1 to 1036");
    EXPECT_EQ(refusalOf([] { parseRecord(" "); }), "a record of 0 bytes: expected 1 to 1036");
}

TEST(WrittenRecord, IsAddressedOnlyWithItsAddresses) {
    EXPECT_FALSE(parseRecord("00 02 10").hasDestination);
    EXPECT_FALSE(parseRecord("00 02 10").hasSource);
    EXPECT_TRUE(parseRecord("00 02 10 00").hasDestination);
    EXPECT_TRUE(parseRecord("00 02 10 00").hasSource);
}

TEST(Written, IsACommandOrEventAsItIsDescribed) {
    for (char const* const text :
         {"OpenVoiceAck in dsp=3 error=2(already open) port=5000",
          "Dtmf out dsp=3 digit=5 duration=80ms", "SetParameter dsp=3 PACKET_LENGTH=80..240",
          "Join dsp=3 peer=5 board=[2001:db8::1] otherBoard=1"}) {
        WrittenMessage const written = parseWritten(text);
        EXPECT_EQ(dsp::describe(written.message), text);
        EXPECT_FALSE(written.hasSource || written.hasDestination);
    }
}

TEST(Written, HasTheAddressesThatReportsShow) {
    WrittenMessage const both = parseWritten("CloseVoiceAck in dsp=3 from=0x1A to=1 error=2(open)");
    EXPECT_EQ(dsp::describe(both.message).find("CloseVoiceAck in dsp=3 error=2"), 0U);
    EXPECT_TRUE(both.hasSource && both.hasDestination);
    EXPECT_EQ(both.message.sourceSid, 0x1A);
    EXPECT_EQ(both.message.destinationSid, 1);
    WrittenMessage const one = parseWritten("FaxTone to=0x00 dsp=3");
    EXPECT_TRUE(one.hasDestination);
    EXPECT_FALSE(one.hasSource);
    for (char const* const bad : {"256", "0x100", "0x", "one", "-1", ""}) {
        EXPECT_EQ(refusalOf([&] { parseWritten(std::string("FaxTone dsp=3 to=") + bad); }),
                  std::string("bad value \"") + bad +
                      "\" of to: expected an IMC address from 0x00 to 0xFF");
    }
    EXPECT_EQ(refusalOf([&] { parseWritten("FaxTone to=1 to=2"); }),
              "FaxTone: unknown field \"to\": expected one of dsp");
}

TEST(Written, AnErrorRepeatsNoMoreThanTellsWhichTextItIs) {
    std::string const longText(70000, 'A');
    for (std::string const& text : {longText, "raw " + longText + "x", "FaxTone dsp=" + longText,
                                    "FaxTone " + longText + "=1", "FaxTone to=" + longText}) {
        EXPECT_THAT(refusalOf([&] { parseWritten(text); }),
                    AllOf(HasSubstr("AAAA...\""), SizeIs(Lt(700U))));
    }
    EXPECT_THAT(refusalOf([&] { parseWritten("\x1B[2J\xFF"); }), HasSubstr("\"?[2J?\""));
}

TEST(Written, IsARecordBehindTheWordRaw) {
    EXPECT_EQ(bytesOfMessage(parseWritten("raw 01 02").message),
              std::string("\x01\x02", 2) + std::string(sizeof(imc_msg) - 2, '\0'));
}

TEST(Written, GarbageIsRefusedAndDoesNothingElse) {
    std::string const good =
        "OpenVoice in dsp=3 fax=UDP remote=[2001:db8::1]:4000 remoteRtcp=4001(remark) tick=0x07";
    std::mt19937 random{7};
    unsigned refused = 0;
    for (int i = 0; i < 20000; ++i) {
        std::string text = good.substr(0, 1 + random() % good.size());
        for (unsigned changes = random() % 4; changes > 0; --changes) {
            text[random() % text.size()] = static_cast<char>(random());
        }
        refused += refusalOf([&text] { parseWritten(text); }).empty() ? 0U : 1U;
    }
    EXPECT_GT(refused, 10000U);
    EXPECT_LT(refused, 20000U);
}

TEST(WrittenFile, HasOneMessageInEachLine) {
    std::istringstream file("# two messages\n\n  FaxTone dsp=3  # of channel 3\r\n"
                            "\traw 00 02 10 00 # and bytes\n");
    auto const messages = readWritten(file, "file");
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(dsp::describe(messages[0].message), "FaxTone dsp=3");
    EXPECT_TRUE(messages[1].hasDestination);
}

TEST(WrittenFile, IsRefusedNamingTheLine) {
    std::istringstream file("FaxTone dsp=3\n\nFaxTone dsp=300\n");
    EXPECT_EQ(refusalOf([&] { readWritten(file, "list.txt"); }),
              "list.txt:3: FaxTone: bad value \"300\" of dsp: expected a number from 0 to 255");
}

} // namespace
