#include "gateway/capture/CaptureReader.h"

#include "tests/support/CaptureBytes.h"

#include <gmock/gmock.h>

#include <random>
#include <set>
#include <sstream>

namespace {

using gateway::Capture;
using gateway::CaptureError;
using gateway::CaptureReader;
using gateway::CaptureRecord;
using std::chrono::nanoseconds;
using testing::StartsWith;

imc_msg const command = commandTo(0x10, 102, "\x03");
std::string const message = bytesOfMessage(command);

Capture read(std::string const& bytes) {
    std::istringstream from(bytes);
    CaptureReader reader(from, "call.pcapng");
    Capture capture{};
    for (CaptureRecord record; reader.next(record);) {
        capture.records.push_back(record);
    }
    capture.fault = reader.fault();
    capture.leftOut = reader.leftOut();
    return capture;
}

std::string errorOf(std::string const& bytes) {
    try {
        read(bytes);
    } catch (CaptureError const& error) {
        return error.what();
    }
    return "";
}

std::string textOf(CaptureRecord const& record) {
    return {record.bytes.begin(), record.bytes.end()};
}

CaptureBytes begun(bool isBig = false) {
    CaptureBytes bytes(isBig);
    bytes.section().interface();
    return bytes;
}

class ByteOrder : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(CaptureReader, ByteOrder, testing::Bool(),
                         [](auto const& tested) { return tested.param ? "Big" : "Little"; });

TEST_P(ByteOrder, readsRecordsWithTimesAndComments) {
    CaptureBytes bytes = begun(GetParam());
    bytes.packet(message, 0x0000000100000002)
        .packet("xyz", 7, 0, bytes.option(2, "ab") + bytes.option(1, "why") + bytes.word(0));
    Capture const capture = read(bytes.text());
    ASSERT_EQ(capture.records.size(), 2U);
    EXPECT_EQ(capture.records[0].number, 1U);
    // Microseconds, unless the interface says otherwise.
    EXPECT_EQ(capture.records[0].time, nanoseconds(0x100000002 * 1000));
    EXPECT_EQ(textOf(capture.records[0]), message);
    EXPECT_EQ(capture.records[0].comment, "");
    EXPECT_EQ(capture.records[1].number, 2U);
    EXPECT_EQ(textOf(capture.records[1]), "xyz");
    EXPECT_EQ(capture.records[1].comment, "why");
    EXPECT_EQ(capture.fault, "");
    EXPECT_EQ(capture.leftOut, 0U);
}

TEST_P(ByteOrder, aSectionMayFollowInTheOtherOrder) {
    Capture const capture = read(begun(GetParam()).packet(message, 1).text() +
                                 begun(!GetParam()).packet(message, 2).text());
    ASSERT_EQ(capture.records.size(), 2U);
    EXPECT_EQ(capture.records[1].number, 2U);
    EXPECT_EQ(capture.records[1].time, nanoseconds(2000));
    EXPECT_EQ(capture.fault, "");
}

TEST_P(ByteOrder, addsTheOffsetOfTheInterface) {
    CaptureBytes bytes(GetParam());
    bytes.section().interface(bytes.option(14, bytes.both(0xFFFFFFFFFFFFFFFF)));
    bytes.packet(message, 3000001);
    Capture const capture = read(bytes.text());
    ASSERT_EQ(capture.records.size(), 1U) << capture.fault;
    EXPECT_EQ(capture.records[0].time, nanoseconds(2000001000)) << "an offset may be negative";
}

struct Resolution {
    char code;
    std::uint64_t ticks;
    std::int64_t nanoseconds;
};

TEST(CaptureReaderTest, followsEveryTimeResolution) {
    Resolution const cases[] = {
        {0, 5, 5000000000},
        {3, 1234, 1234000000},
        {9, 1234567891, 1234567891},
        {12, 1234567891234, 1234567891},
        {19, 12345678912345678901U, 1234567891},
        {'\x80', 3, 3000000000},
        {'\x8A', 1536, 1500000000},
        {'\xA0', 0x180000000, 1500000000},
        {'\xBF', 0xC000000000000000, 1500000000},
    };
    for (Resolution const& each : cases) {
        CaptureBytes bytes;
        bytes.section().interface(bytes.option(9, std::string(1, each.code)));
        Capture const capture = read(bytes.packet(message, each.ticks).text());
        ASSERT_EQ(capture.records.size(), 1U) << capture.fault;
        EXPECT_EQ(capture.records[0].time, nanoseconds(each.nanoseconds))
            << int{static_cast<unsigned char>(each.code)};
    }
}

TEST(CaptureReaderTest, refusesAResolutionAndATimeBeyondTheClock) {
    for (char const code : {'\x14', '\x7F', '\xC0', '\xFF'}) {
        CaptureBytes bytes;
        bytes.section().interface(bytes.option(9, std::string(1, code)));
        EXPECT_EQ(read(bytes.packet(message, 1).text()).fault,
                  "call.pcapng: record 1: the time resolution of its interface can't be followed");
    }
    CaptureBytes bytes;
    bytes.section().interface(bytes.option(9, std::string(1, '\0')));
    EXPECT_EQ(read(bytes.packet(message, 10000000000).text()).fault,
              "call.pcapng: record 1: its time is beyond the year 2262");
}

TEST(CaptureReaderTest, passesOverWhatSaysNothingAboutMessages) {
    CaptureBytes bytes = begun();
    bytes.block(4, "names of hosts..").block(5, std::string(12, '\0')).block(0xBAD, "");
    bytes.packet(message, 0, 0, bytes.option(2, std::string(4, '\1')) + bytes.option(77, "abcde"));
    Capture const capture = read(bytes.text());
    EXPECT_EQ(capture.records.size(), 1U);
    EXPECT_EQ(capture.fault, "");
}

TEST(CaptureReaderTest, leavesOutOtherLinkTypesAndRecordsWithoutATime) {
    CaptureBytes bytes = begun();
    bytes.interface("", 1).packet("ethernet", 0, 1).block(3, bytes.word(4) + "abcd");
    bytes.packet(message);
    Capture const capture = read(bytes.text());
    ASSERT_EQ(capture.records.size(), 1U);
    EXPECT_EQ(capture.records[0].number, 3U) << "as Wireshark counts";
    EXPECT_EQ(capture.leftOut, 2U);
}

TEST_P(ByteOrder, aRefusedMessageWentOutAndNowhereIn) {
    CaptureBytes bytes = begun(GetParam());
    for (std::uint32_t const flags : {0U, 1U, 2U, 3U, 0xFFFFFFFEU, 0xFFFFFFFCU}) {
        bytes.packet("", 0, 0, bytes.option(2, bytes.word(flags)) + bytes.word(0));
    }
    bytes.packet("", 0, 0, bytes.option(2, "x"));
    std::vector<bool> refused;
    for (CaptureRecord const& record : read(bytes.text()).records) {
        refused.push_back(record.isRefused);
    }
    EXPECT_EQ(refused, (std::vector<bool>{false, false, true, false, true, false, false}));
}

TEST(CaptureReaderTest, keepsRecordsOfEveryLength) {
    CaptureBytes bytes = begun();
    bytes.packet("").packet(message.substr(0, 20)).packet(message + "x");
    Capture const capture = read(bytes.text());
    ASSERT_EQ(capture.records.size(), 3U);
    EXPECT_EQ(capture.records[0].bytes.size(), 0U);
    EXPECT_EQ(capture.records[1].bytes.size(), 20U);
    EXPECT_EQ(capture.records[2].bytes.size(), 1037U);
}

TEST(CaptureReaderTest, saysWhatAFileIsThatIsNoCapture) {
    EXPECT_EQ(errorOf(""), "call.pcapng: there is nothing in it");
    EXPECT_EQ(errorOf("[["), "call.pcapng: no pcapng file");
    EXPECT_EQ(errorOf("[[board]]"), "call.pcapng: no pcapng file");
    for (std::string const start :
         {"\xA1\xB2\xC3\xD4", "\xD4\xC3\xB2\xA1", "\xA1\xB2\x3C\x4D", "\x4D\x3C\xB2\xA1"}) {
        EXPECT_EQ(errorOf(start + "...."),
                  "call.pcapng: no pcapng file: it is of the older pcap format, which editcap -F "
                  "pcapng converts");
    }
    EXPECT_EQ(errorOf("\x1F\x8B\x08\x08"), "call.pcapng: no pcapng file: it is compressed");
    std::string bytes = begun().text();
    bytes[8] = 'x';
    EXPECT_EQ(errorOf(bytes), "call.pcapng: a section has no byte order");
    EXPECT_EQ(errorOf(CaptureBytes().section(2).text()),
              "call.pcapng: version 2 of pcapng is not known");
}

TEST(CaptureReaderTest, aFileThatCannotBeOpenedHasItsReason) {
    EXPECT_THROW(
        {
            try {
                gateway::readCapture("/nowhere/call.pcapng");
            } catch (CaptureError const& error) {
                EXPECT_STREQ(error.what(), "/nowhere/call.pcapng: No such file or directory");
                throw;
            }
        },
        CaptureError);
}

TEST(CaptureReaderTest, usesWhatPrecedesACutRecord) {
    std::string const bytes = begun().packet(message).packet(message).text();
    Capture const capture = read(bytes.substr(0, bytes.size() - 5));
    EXPECT_EQ(capture.records.size(), 1U);
    EXPECT_EQ(capture.fault, "call.pcapng: record 2 is cut short: 1063 of 1068 bytes are there");
}

TEST(CaptureReaderTest, everyTruncationIsReportedAndTheRestUsed) {
    std::string const bytes = begun().packet("abc").packet("def").text();
    std::set<std::size_t> const whole = {28, 48, 84, 120};
    for (std::size_t size = 28; size <= bytes.size(); ++size) {
        Capture const capture = read(bytes.substr(0, size));
        EXPECT_EQ(capture.records.size(), size < 84 ? 0U : size < 120 ? 1U : 2U) << size;
        EXPECT_EQ(capture.fault.empty(), whole.count(size) == 1) << size << capture.fault;
    }
    for (std::size_t size = 0; size < 28; ++size) {
        EXPECT_THAT(errorOf(bytes.substr(0, size)), StartsWith("call.pcapng: ")) << size;
    }
}

struct BadBlock {
    char const* name;
    std::string bytes;
    char const* fault;
};

std::vector<BadBlock> badBlocks() {
    CaptureBytes const f;
    return {
        {"LengthTooSmall", f.word(6) + f.word(8),
         "after record 1, at byte 1116: no block is 8 bytes long"},
        {"LengthNoMultiple", f.word(6) + f.word(33),
         "after record 1, at byte 1116: no block is 33 bytes long"},
        {"LengthTooLarge", f.word(6) + f.word(0xFFFFFFFC),
         "after record 1, at byte 1116: no block is 4294967292 bytes long"},
        {"LengthsDiffer", f.word(77) + f.word(16) + f.word(0) + f.word(20),
         "after record 1, at byte 1116: a block is 16 bytes long at its beginning, 20 at its end"},
        {"HeadCut", f.word(6) + "ab", "after record 1, at byte 1116: the head of a block is cut"},
        {"SectionHeadCut", f.word(0x0A0D0D0A) + f.word(28) + "ab",
         "after record 1, at byte 1116: the head of a block is cut short"},
        {"SectionTooSmall", f.word(0x0A0D0D0A) + f.word(12) + f.word(0x1A2B3C4D),
         "after record 1, at byte 1116: no block is 12 bytes long"},
        {"OtherBlockCut", f.word(77) + f.word(16) + f.word(0),
         "after record 1, at byte 1116: a block is cut short: 12 of 16 bytes are there"},
        {"SectionVersion", CaptureBytes().section(9).text(),
         "block after record 1: version 9 of pcapng is not known"},
        {"InterfaceShort", CaptureBytes().block(1, f.word(147)).text(),
         "block after record 1: its block ends before its fields do"},
        {"NoInterface", CaptureBytes().packet("", 0, 4).text(),
         "record 2: there is no interface 4"},
        {"DataBeyondBlock",
         CaptureBytes().block(6, f.word(0) + f.both(0) + f.word(5) + f.word(5) + "abcd").text(),
         "record 2: its block ends before its fields do"},
        {"PacketShort", CaptureBytes().block(6, f.word(0)).text(),
         "record 2: its block ends before its fields do"},
        {"PacketEmpty", CaptureBytes().block(6, "").text(),
         "record 2: its block ends before its fields do"},
        {"OptionBeyondBlock",
         CaptureBytes().packet("", 0, 0, f.half(1) + f.half(9) + "abcd").text(),
         "record 2: its block ends before its fields do"},
    };
}

TEST(CaptureReaderTest, namesTheRecordAndWhatIsWrong) {
    for (BadBlock const& each : badBlocks()) {
        std::string const good = begun().packet(message).text();
        ASSERT_EQ(good.size(), 1116U);
        Capture const capture = read(good + each.bytes);
        EXPECT_EQ(capture.records.size(), 1U) << each.name;
        EXPECT_THAT(capture.fault, StartsWith(std::string("call.pcapng: ") + each.fault))
            << each.name;
    }
}

TEST(CaptureReaderTest, survivesAnyChangeOfAnyByte) {
    CaptureBytes capture = begun();
    capture.packet("abc", 5, 0, capture.option(1, "why") + capture.word(0));
    capture.packet("defg").block(5, std::string(12, '\0'));
    std::string const good = capture.text();
    std::mt19937 random(20261121);
    for (int i = 0; i < 20000; ++i) {
        std::string bytes = good;
        for (auto changes = random() % 3 + 1; changes != 0; --changes) {
            bytes[random() % bytes.size()] = static_cast<char>(random() % 256);
        }
        try {
            Capture const changed = read(bytes);
            EXPECT_LE(changed.records.size() + changed.leftOut, 3U);
        } catch (CaptureError const& error) {
            EXPECT_THAT(error.what(), StartsWith("call.pcapng: "));
        }
    }
}

CaptureRecord recordOf(std::string const& bytes) {
    CaptureRecord record;
    record.bytes.assign(bytes.begin(), bytes.end());
    return record;
}

std::string described(std::string const& bytes) {
    dsp::Description const description = gateway::describe(recordOf(bytes));
    return description.name + dsp::textOf(description.fields) + description.remark;
}

TEST(CaptureRecordTest, describesRecordsThatAreNoWholeMessage) {
    EXPECT_EQ(described(message), "CloseVoice in dsp=3");
    EXPECT_EQ(described(message.substr(0, 13)),
              "CloseVoice in dsp=3 (record of 13 bytes, not 1036)");
    EXPECT_EQ(described(message + "x"), "CloseVoice in dsp=3 (record of 1037 bytes, not 1036)");
    EXPECT_EQ(described(message.substr(0, 12)),
              "CloseVoice in malformed: record of 12 bytes, not 1036");
    EXPECT_EQ(described(message.substr(0, 11)), "malformed record: record of 11 bytes, not 1036");
    EXPECT_EQ(described(""), "malformed record: record of 0 bytes, not 1036");
    std::string const unknown = bytesOfMessage(commandTo(0x10, 999, "ab"));
    EXPECT_EQ(described(unknown), "unknown message 999: length=2 payload: 61 62");
    EXPECT_EQ(described(unknown.substr(0, 13)),
              "unknown message 999: record of 13 bytes, not 1036");
}

TEST(CaptureRecordTest, knowsWhatIsWellFormed) {
    EXPECT_TRUE(gateway::isWellFormed(recordOf(message)));
    EXPECT_FALSE(gateway::isWellFormed(recordOf(message + "x")));
    EXPECT_FALSE(gateway::isWellFormed(recordOf(bytesOfMessage(commandTo(0x10, 999, "a")))));
    EXPECT_FALSE(gateway::isWellFormed(recordOf(bytesOfMessage(commandTo(0x10, 102, "ab")))));
}

} // namespace
