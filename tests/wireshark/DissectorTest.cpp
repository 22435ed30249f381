// The dissector against the decoder of the software board and against the chart's pairing, through
// tshark: what the two say of the same bytes has to be the same.

#include "dsp/Board.h"
#include "dsp/Commands.h"
#include "dsp/Events.h"
#include "dsp/Service.h"
#include "dsp/Validator.h"
#include "gateway/capture/CaptureReader.h"
#include "gateway/msc/Pairing.h"
#include "tests/support/CaptureBytes.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/wireshark/Tshark.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <regex>
#include <set>
#include <sstream>

namespace {

using gateway::Capture;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using Names = std::set<std::string>;

/** Without the part about the acknowledged command, which has a time in it. */
std::string withoutPairing(std::string const& info) {
    static std::regex const pairing(R"(( \[refused\])?( \[frame \d+, after [0-9.]+ ms\])?$)");
    return std::regex_replace(info, pairing, "", std::regex_constants::format_first_only);
}

std::string textOf(gateway::CaptureRecord const& record) {
    dsp::Description const description = gateway::describe(record);
    return description.name + dsp::textOf(description.fields) + description.remark;
}

/** A capture in a file, from blocks. */
class CaptureFile {
public:
    CaptureFile() { bytes.section().interface(bytes.option(9, "\x09")); }

    void add(std::string const& data, bool isRefused = false) {
        time += 1000000;
        bytes.packet(data, time, 0,
                     isRefused ? bytes.option(2, bytes.word(2)) + bytes.word(0) : "");
    }
    void add(imc_msg const& message) { add(bytesOfMessage(message)); }

    std::string const& path() const {
        std::ofstream(name, std::ios::binary) << bytes.text();
        return name;
    }

private:
    TemporaryDirectory const directory;
    std::string const name = directory.path() + "/test.pcapng";
    CaptureBytes bytes{true};
    std::uint64_t time = 1700000000000000000;
};

/** The Info column says of each record what the board's decoder says. */
void expectSameTexts(std::string const& path) {
    Capture const capture = gateway::readCapture(path);
    ASSERT_EQ(capture.fault, "");
    auto const rows = fieldsOf(path, {"_ws.col.Info"});
    ASSERT_EQ(rows.size(), capture.records.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(withoutPairing(rows[i].at(0)), textOf(capture.records[i])) << "record " << i + 1;
    }
}

std::vector<dsp::Kind> allKinds() {
    std::vector<dsp::Kind> kinds;
    for (std::uint32_t identifier = 0; identifier < 1024; ++identifier) {
        dsp::Kind const* const command = dsp::findCommand(identifier);
        dsp::Kind const* const kind = command != nullptr ? command : dsp::findEvent(identifier);
        if (kind != nullptr) {
            kinds.push_back(*kind);
        }
    }
    return kinds;
}

/** A message of the kind whose payload bytes all differ. */
imc_msg distinct(dsp::Kind const& kind) {
    std::string payload;
    for (unsigned i = 0; i < kind.length; ++i) {
        payload += static_cast<char>(i + 16);
    }
    return commandTo(0x10, kind.identifier, payload);
}

/** Messages to vary: one for each kind, one for each parameter, addresses of both families. */
std::vector<imc_msg> bases() {
    std::vector<imc_msg> messages;
    for (dsp::Kind const& kind : allKinds()) {
        imc_msg const message = distinct(kind);
        messages.push_back(message);
        if (kind.name == "SetParameter") {
            for (std::uint8_t code = 2; code <= 5; ++code) {
                messages.push_back(message);
                messages.back().payload[1] = code;
            }
        }
        if (kind.length >= 20) {
            messages.push_back(message);
            std::fill_n(messages.back().payload + 4, 10, std::uint8_t{0});
            std::fill_n(messages.back().payload + 14, 2, std::uint8_t{0xFF});
        }
    }
    return messages;
}

imc_msg withByteChanged(imc_msg message, std::size_t offset) {
    message.payload[offset] ^= 0xFFU;
    return message;
}

std::map<std::string, std::string> valuesOf(imc_msg const& message) {
    std::map<std::string, std::string> values;
    for (dsp::Field const& field : dsp::fields(message).fields) {
        values[field.name] = field.value;
    }
    return values;
}

Names keysOf(std::map<std::string, std::string> const& values) {
    Names names;
    for (auto const& each : values) {
        names.insert(each.first);
    }
    return names;
}

/** The payload bytes that each field is read from: those that change it when they change. */
std::map<std::string, std::set<std::size_t>> bytesOfFields(imc_msg const& base) {
    std::map<std::string, std::set<std::size_t>> bytes;
    auto const before = valuesOf(base);
    for (std::size_t offset = 0; offset < base.length; ++offset) {
        auto const after = valuesOf(withByteChanged(base, offset));
        if (keysOf(after) != keysOf(before)) {
            continue; // the byte says which fields there are
        }
        for (auto const& [name, value] : before) {
            if (after.at(name) != value) {
                bytes[name].insert(offset);
            }
        }
    }
    return bytes;
}

/** Messages of boards in software: each right, orders of each kind, and some that are not. */
std::vector<imc_msg> services() {
    std::vector<imc_msg> messages = {dsp::encodeAuditRequest(0x01020304, 0x01, 0x10)};
    dsp::AuditAnswer answer;
    answer.tag = 0x01020304;
    answer.incarnation = 0x00FEDCBA98765432;
    messages.push_back(dsp::encodeAuditAnswer(answer, 0x10, 0x01));
    answer.in = {{true, false, true, false}, {}, {false, false, true, true}};
    answer.out = {{false, true, false, true}, {true, true, true, true}, {}};
    messages.push_back(dsp::encodeAuditAnswer(answer, 0x10, 0x01));
    answer.in.assign(504, {true, false, false, false});
    answer.out.assign(504, {false, true, false, true});
    messages.push_back(dsp::encodeAuditAnswer(answer, 0x10, 0x01));
    for (std::uint8_t kind = 0; kind <= 5; ++kind) {
        dsp::Order const order = {static_cast<dsp::Order::Kind>(kind), 7, dsp::Direction::out, 5,
                                  0x00010203};
        messages.push_back(dsp::encodeOrder(order, 0x01, 0x10));
    }
    messages.push_back(dsp::encodeOrder({}, 0x01, 0x10));
    return messages;
}

/** What Wireshark calls a field. */
std::string abbreviationOf(std::string const& name) {
    std::string result = "mc.";
    bool const isUpper = std::isupper(static_cast<unsigned char>(name[0])) != 0;
    for (char const each : name) {
        bool const isCapital = std::isupper(static_cast<unsigned char>(each)) != 0;
        result += isCapital && !isUpper ? "_" : "";
        result += static_cast<char>(std::tolower(static_cast<unsigned char>(each)));
    }
    return result;
}

/** Fields of the payload in one frame of tshark's PDML, with the payload bytes that they cover. */
using Frame = std::map<std::string, std::set<std::size_t>>;

std::vector<Frame> framesOf(std::string const& pdml) {
    static std::regex const field(
        R"xx(<field name="(mc\.[a-z0-9_]+)".* size="(\d+)" pos="(\d+)" show=)xx");
    std::vector<Frame> frames;
    std::istringstream lines(pdml);
    for (std::string line; std::getline(lines, line);) {
        if (line.find("<packet>") != std::string::npos) {
            frames.emplace_back();
        }
        std::smatch match;
        if (!std::regex_search(line, match, field)) {
            continue;
        }
        std::size_t const size = std::stoul(match[2]);
        std::size_t const begin = std::stoul(match[3]);
        for (std::size_t at = begin; size != 0 && begin >= 12 && at < begin + size; ++at) {
            frames.back()[match[1]].insert(at - 12);
        }
    }
    return frames;
}

TEST(Dissector, isTheOneUnderTest) {
    // With another one installed for everybody, that one would be tested.
    std::string const line = "Media gateway IMC\tMC\tmc\n";
    EXPECT_THAT(outputOf({"tshark", "-G", "protocols"}), Not(HasSubstr(line)));
    EXPECT_THAT(
        outputOf({"tshark", "-G", "protocols", "-X", std::string("lua_script:") + DISSECTOR}),
        HasSubstr(line));
}

TEST(Dissector, eachFieldStandsWhereTheBoardReadsIt) {
    // Parts of a field, and what stands beside the fields.
    Names const others = {"mc.ipv4",           "mc.ipv6",           "mc.remote_port",
                          "mc.packet_minimum", "mc.packet_maximum", "mc.parameter",
                          "mc.payload"};
    CaptureFile file;
    std::vector<imc_msg> const messages = bases();
    for (imc_msg const& message : messages) {
        file.add(message);
    }
    std::vector<Frame> const frames = framesOf(tshark(file.path(), {"-T", "pdml"}));
    ASSERT_EQ(frames.size(), messages.size());
    for (std::size_t i = 0; i < messages.size(); ++i) {
        Frame expected;
        for (auto const& [name, bytes] : bytesOfFields(messages[i])) {
            expected[abbreviationOf(name)] = bytes;
        }
        Frame seen = frames[i];
        for (std::string const& other : others) {
            seen.erase(other);
        }
        EXPECT_EQ(seen, expected) << dsp::describe(messages[i]);
        EXPECT_EQ(expected.size(), valuesOf(messages[i]).size()) << dsp::describe(messages[i]);
    }
}

TEST(Dissector, eachFieldReadsAsTheBoardReadsIt) {
    CaptureFile file;
    for (imc_msg const& base : bases()) {
        file.add(base);
        for (std::size_t offset = 0; offset < base.length; ++offset) {
            file.add(withByteChanged(base, offset));
        }
    }
    expectSameTexts(file.path());
}

TEST(Dissector, readsAuditsAndOrdersAsTheBoardDoes) {
    CaptureFile file;
    for (imc_msg const& base : services()) {
        file.add(base);
        for (std::size_t offset = 0; offset < std::min<std::size_t>(base.length, 24); ++offset) {
            file.add(withByteChanged(base, offset));
            imc_msg one = base;
            one.payload[offset] = 1;
            file.add(one);
        }
        for (unsigned const length :
             {0U,  1U,  2U,  3U,  4U,    5U,    7U,    8U,    9U,    14U,   15U,
              16U, 17U, 18U, 22U, 1023U, 1024U, 1025U, 1026U, 3000U, 65535U}) {
            imc_msg other = base;
            other.length = static_cast<std::uint16_t>(length);
            file.add(other);
            other.payload[12] = static_cast<std::uint8_t>((length - 16) / 2 >> 8U);
            other.payload[13] = static_cast<std::uint8_t>((length - 16) / 2);
            file.add(other);
        }
        for (std::size_t size = 0; size <= 60; ++size) {
            file.add(bytesOfMessage(base).substr(0, size));
        }
        file.add(bytesOfMessage(base) + "more");
    }
    expectSameTexts(file.path());
}

TEST(Dissector, placesTheFieldsOfAuditsAndOrders) {
    CaptureFile file;
    std::vector<imc_msg> const messages = services();
    for (std::size_t const each : {0U, 2U, 5U, 6U, 7U, 8U, 9U}) {
        file.add(messages[each]);
    }
    std::vector<Frame> frames = framesOf(tshark(file.path(), {"-T", "pdml"}));
    ASSERT_EQ(frames.size(), 7U);
    for (Frame& frame : frames) {
        frame.erase("mc.payload");
    }
    using Bytes = std::set<std::size_t>;
    EXPECT_EQ(frames[0], (Frame{{"mc.tag", {0, 1, 2, 3}}}));
    EXPECT_EQ(frames[1], (Frame{{"mc.tag", {0, 1, 2, 3}},
                                {"mc.incarnation", {4, 5, 6, 7, 8, 9, 10, 11}},
                                {"mc.channels", {12, 13}},
                                {"mc.open", {16, 17, 18, 19, 20, 21}},
                                {"mc.path", {16, 17, 19, 20}}}));
    Frame const common = {{"mc.order", {2}}, {"mc.dsp", {0}}};
    auto const with = [&common](std::map<std::string, Bytes> const& more) {
        Frame all = common;
        all.insert(more.begin(), more.end());
        return all;
    };
    EXPECT_EQ(
        frames[2],
        with({{"mc.direction", {1}}, {"mc.digit", {3}}, {"mc.order_duration", {4, 5, 6, 7}}}));
    EXPECT_EQ(frames[3], common);
    EXPECT_EQ(frames[4], with({{"mc.direction", {1}}, {"mc.value", {4, 5, 6, 7}}}));
    EXPECT_EQ(frames[5], with({{"mc.error", {3}}}));
    EXPECT_EQ(frames[6], common);
}

TEST(Dissector, pairsAuditsByTheirTag) {
    CaptureFile file;
    auto const answer = [](std::uint32_t tag, std::uint8_t board) {
        dsp::AuditAnswer all;
        all.tag = tag;
        return dsp::encodeAuditAnswer(all, board, 0x01);
    };
    file.add(dsp::encodeAuditRequest(1, 0x01, 0x10));
    file.add(dsp::encodeAuditRequest(2, 0x01, 0x10));
    file.add(dsp::encodeAuditRequest(2, 0x01, 0x11));
    file.add(answer(2, 0x10));
    file.add(answer(1, 0x10));
    file.add(answer(3, 0x10));
    auto const rows =
        fieldsOf(file.path(), {"mc.acknowledges", "mc.acknowledged_in", "mc.expert.unanswered",
                               "mc.expert.unexpected", "_ws.col.Source"});
    EXPECT_THAT(rows, ElementsAre(ElementsAre("", "5", "", "", "session 0x01"),
                                  ElementsAre("", "4", "", "", "session 0x01"),
                                  ElementsAre("", "", "1", "", "session 0x01"),
                                  ElementsAre("2", "", "", "", "board 0x10"),
                                  ElementsAre("1", "", "", "", "board 0x10"),
                                  ElementsAre("", "", "", "1", "board 0x10")));
}

TEST(Dissector, marksOrdersThatNoBoardCarriesOut) {
    CaptureFile file;
    using Kind = dsp::Order::Kind;
    auto const in = dsp::Direction::in;
    for (dsp::Order const& order :
         {dsp::Order{Kind::dtmf, 3, in, 5, 80}, dsp::Order{Kind::dtmf, 3, in, 5, 65536},
          dsp::Order{Kind::alert, 3, static_cast<dsp::Direction>(0), 0, 1},
          dsp::Order{Kind::faxTone, 3, static_cast<dsp::Direction>(0), 9, 9},
          dsp::Order{static_cast<Kind>(7), 3, in, 0, 0}}) {
        file.add(dsp::encodeOrder(order, 0x01, 0x10));
    }
    EXPECT_THAT(fieldsOf(file.path(), {"mc.expert.value", "mc.kind", "mc.channel"}),
                ElementsAre(ElementsAre("", "order", "0x10/3"), ElementsAre("1", "order", "0x10/3"),
                            ElementsAre("1", "order", "0x10/3"), ElementsAre("", "order", "0x10/3"),
                            ElementsAre("1", "order", "0x10/3")));
}

TEST(Dissector, knowsEachIdentifierAndItsLength) {
    CaptureFile file;
    for (std::uint32_t identifier = 95; identifier <= 140; ++identifier) {
        for (std::size_t length = 0; length <= 38; ++length) {
            file.add(commandTo(0x10, identifier, std::string(length, '\0')));
        }
    }
    for (std::uint32_t const identifier :
         {0U, 1U, 600U, 9000U, 9004U, 65636U, 0x80000064U, 0xFFFFFFFFU}) {
        file.add(commandTo(0x10, identifier, "\x03"));
    }
    expectSameTexts(file.path());
}

TEST(Dissector, readsRecordsOfEverySize) {
    CaptureFile file;
    imc_msg const open = distinct(*dsp::findCommand(100));
    std::string const bytes = bytesOfMessage(open);
    std::vector<std::size_t> sizes = {1035, 1036, 1037, 3000, 65535};
    for (std::size_t size = 0; size <= 60; ++size) {
        sizes.push_back(size);
    }
    for (std::size_t const size : sizes) {
        std::string record = bytes;
        record.resize(size);
        file.add(record);
    }
    expectSameTexts(file.path());
    auto const rows = fieldsOf(file.path(), {"frame.len", "mc.expert.size"});
    ASSERT_EQ(rows.size(), sizes.size());
    for (auto const& row : rows) {
        EXPECT_EQ(row.at(1), row.at(0) == "1036" ? "" : "1") << row.at(0);
    }
}

TEST(Dissector, survivesGarbage) {
    std::mt19937 random(20261121);
    CaptureFile file;
    for (int i = 0; i < 3000; ++i) {
        std::string bytes(random() % 4 == 0 ? random() % 1200 : 1036, '\0');
        std::size_t const filled = random() % 3 == 0 ? bytes.size() : random() % 64;
        for (std::size_t at = 0; at < std::min(filled, bytes.size()); ++at) {
            bytes[at] = static_cast<char>(random() % 256);
        }
        if (bytes.size() >= 12) {
            bytes.replace(8, 4, std::string(3, '\0') + static_cast<char>(95 + random() % 45));
            if (random() % 2 == 0) {
                bytes.replace(4, 2, std::string(1, '\0') + static_cast<char>(random() % 40));
            }
        }
        file.add(bytes);
    }
    expectSameTexts(file.path());
}

TEST(Dissector, namesTheByteThatShouldBeZero) {
    CaptureFile file;
    for (dsp::Kind const& kind : allKinds()) {
        for (std::size_t const offset : {0U, 3U, 6U, 7U, 15U, 46U, 47U, 48U, 700U, 1035U}) {
            std::string bytes =
                bytesOfMessage(commandTo(0x10, kind.identifier, std::string(kind.length, '\0')));
            bytes[offset] = '\1';
            file.add(bytes);
        }
    }
    expectSameTexts(file.path());
    auto const rows =
        fieldsOf(file.path(), {"mc.kind", "mc.expert.nonzero", "mc.expert.undefined"});
    for (auto const& row : rows) {
        EXPECT_FALSE(row.at(0) == "event" && !row.at(1).empty());
        EXPECT_FALSE(row.at(0) == "command" && !row.at(2).empty());
    }
    std::size_t const noted = static_cast<std::size_t>(std::count_if(
        rows.begin(), rows.end(), [](auto const& row) { return !row.at(2).empty(); }));
    EXPECT_GE(noted, 13U * 9U) << "of the events nearly all";
}

/** A command with small values, so that good and bad ones are met. */
imc_msg randomCommand(dsp::Kind const& kind, std::mt19937& random) {
    std::string payload;
    for (unsigned i = 0; i < kind.length; ++i) {
        payload += static_cast<char>(random() % 7);
    }
    if (kind.length > 2 && random() % 2 == 0) {
        payload[kind.name == "OpenFax" ? 1 : 2] = random() % 2 == 0 ? '\x11' : '\x06';
    }
    return commandTo(0x10, kind.identifier, payload);
}

bool isTakenByNoBoard(imc_msg const& message) {
    auto const decoded = dsp::decodeCommand(*dsp::findCommand(message.messageId), message);
    bool const isUnknown = std::holds_alternative<dsp::SetUnknown>(decoded->command);
    return isUnknown || !dsp::findBadValue(decoded->command, 256).empty();
}

TEST(Dissector, marksTheValuesThatTheBoardRefuses) {
    std::mt19937 random(5);
    CaptureFile file;
    std::vector<imc_msg> messages;
    for (dsp::CommandKind const& kind : dsp::commandKinds()) {
        for (int i = 0; i < 150; ++i) {
            messages.push_back(randomCommand(kind, random));
            file.add(messages.back());
        }
    }
    auto const rows = fieldsOf(file.path(), {"mc.expert.value"});
    ASSERT_EQ(rows.size(), messages.size());
    for (std::size_t i = 0; i < messages.size(); ++i) {
        EXPECT_EQ(!rows[i].at(0).empty(), isTakenByNoBoard(messages[i]))
            << dsp::describe(messages[i]);
    }
}

TEST(Dissector, namesErrorsAndMarksThem) {
    CaptureFile file;
    for (unsigned code = 0; code <= 6; ++code) {
        file.add(acknowledgementFrom(0x10, 100, 3, 0, static_cast<std::uint8_t>(code)));
    }
    expectSameTexts(file.path());
    auto const rows = fieldsOf(file.path(), {"mc.error", "mc.expert.refused"});
    for (auto const& row : rows) {
        EXPECT_EQ(row.at(1).empty(), row.at(0) == "0");
    }
}

/** Opens, closes and acknowledgements of few channels in any order. */
void addTraffic(CaptureFile& file) {
    std::mt19937 random(11);
    std::vector<std::uint32_t> const identifiers = {100, 104, 102, 106, 115, 119, 117, 121, 125};
    for (int i = 0; i < 1500; ++i) {
        std::uint32_t const identifier = identifiers[random() % identifiers.size()];
        std::uint8_t const dsp = static_cast<std::uint8_t>(random() % 2);
        std::uint8_t const board = static_cast<std::uint8_t>(0x10 + random() % 2);
        std::size_t const length =
            random() % 8 == 0 ? random() % 3 : dsp::findCommand(identifier)->length;
        std::string payload(length, static_cast<char>(dsp));
        std::string const command = bytesOfMessage(commandTo(board, identifier, payload));
        if (identifier == 125 || random() % 2 == 0) {
            file.add(random() % 10 == 0 ? command.substr(0, 12 + random() % 3) : command,
                     random() % 10 == 0);
        } else {
            std::string const bytes = bytesOfMessage(acknowledgementFrom(board, identifier, dsp));
            file.add(random() % 10 == 0 ? bytes.substr(0, 12 + random() % 5) : bytes);
        }
    }
}

std::string frameText(std::size_t index) {
    return std::to_string(index + 1);
}

TEST(Dissector, pairsAsTheChartDoes) {
    CaptureFile file;
    addTraffic(file);
    Capture const capture = gateway::readCapture(file.path());
    gateway::Pairing const pairing = gateway::pair(capture.records);
    ASSERT_GT(pairing.commandOf.size(), 100U);
    ASSERT_GT(pairing.unanswered.size(), 10U);
    ASSERT_GT(pairing.unexpected.size(), 10U);
    std::vector<std::vector<std::string>> expected(capture.records.size(),
                                                   std::vector<std::string>(5));
    for (auto const& [acknowledgement, command] : pairing.commandOf) {
        expected[acknowledgement][0] = frameText(command);
        expected[command][1] = frameText(acknowledgement);
        // Each record is a millisecond after the one before.
        char text[32];
        std::snprintf(text, sizeof text, "%.9f",
                      static_cast<double>(acknowledgement - command) / 1000);
        expected[acknowledgement][2] = text;
    }
    for (std::size_t const each : pairing.unanswered) {
        expected[each][3] = "1";
    }
    for (std::size_t const each : pairing.unexpected) {
        expected[each][4] = "1";
    }
    auto const rows =
        fieldsOf(file.path(), {"mc.acknowledges", "mc.acknowledged_in", "mc.response_time",
                               "mc.expert.unanswered", "mc.expert.unexpected"});
    ASSERT_EQ(rows.size(), expected.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i], expected[i]) << frameText(i) << " " << textOf(capture.records[i]);
    }
}

TEST(Dissector, showsWhatWasRefused) {
    CaptureFile file;
    file.add(bytesOfMessage(commandTo(0xFA, 102, "\x03")), true);
    file.add(bytesOfMessage(commandTo(0xFA, 102, "\x03")), false);
    auto const rows = fieldsOf(file.path(), {"mc.expert.lost", "_ws.col.Info"});
    EXPECT_THAT(rows, ElementsAre(ElementsAre("1", "CloseVoice in dsp=3 [refused]"),
                                  ElementsAre("", "CloseVoice in dsp=3")));
}

TEST(Dissector, columnsSayWhoSpeaksToWhom) {
    CaptureFile file;
    file.add(commandTo(0x10, 102, "\x03"));
    file.add(acknowledgementFrom(0x10, 102, 3));
    file.add(commandTo(0x10, 999, ""));
    EXPECT_THAT(
        fieldsOf(file.path(),
                 {"_ws.col.Protocol", "_ws.col.Source", "_ws.col.Destination", "_ws.col.Info"}),
        ElementsAre(ElementsAre("MC", "session 0x01", "board 0x10", "CloseVoice in dsp=3"),
                    ElementsAre("MC", "board 0x10", "session 0x01",
                                "CloseVoiceAck in dsp=3 error=0 port=0 [frame 1, after "
                                "1.0 ms]"),
                    ElementsAre("MC", "0x01", "0x10", "unknown message 999: length=0 payload:")));
}

struct Filter {
    char const* text;
    char const* frames;
};

TEST(Dissector, filtersByDspAddressDirectionAndChannel) {
    CaptureFile file;
    file.add(commandTo(0x10, 102, "\x03"));
    file.add(commandTo(0x10, 106, "\x03"));
    file.add(commandTo(0x10, 125, "\x03"));
    file.add(commandTo(0x11, 102, "\x03"));
    file.add(commandTo(0x10, 102, "\x1E"));
    file.add(acknowledgementFrom(0x10, 102, 3, 0, 3));
    for (Filter const& each :
         {Filter{"mc.dsp == 3", "1 2 3 4 6"}, Filter{"mc.sid == 0x10", "1 2 3 5 6"},
          Filter{"mc.src == 0x10", "6"}, Filter{"mc.dst == 0x10", "1 2 3 5"},
          Filter{"mc.channel == \"0x10/3\"", "1 2 3 6"},
          Filter{"mc.channel == \"0x10/3/in\"", "1 6"}, Filter{"mc.direction == 2", "2"},
          Filter{"mc.name == \"CloseVoiceAck in\"", "6"},
          Filter{"mc.kind == \"command\"", "1 2 3 4 5"}, Filter{"mc.error != 0", "6"},
          Filter{"mc.response_time > 0.004", "6"}, Filter{"mc.response_time > 0.006", ""}}) {
        std::string frames =
            tshark(file.path(), {"-Y", each.text, "-T", "fields", "-e", "frame.number"});
        std::replace(frames.begin(), frames.end(), '\n', ' ');
        EXPECT_EQ(frames, each.frames + std::string(*each.frames == '\0' ? "" : " ")) << each.text;
    }
}

/** Every `mc....` of the page. */
std::vector<std::string> filtersOf(std::string const& page) {
    std::ifstream file(page);
    std::string const text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    static std::regex const code("`(mc\\.[^`]*)`");
    std::vector<std::string> filters;
    std::transform(std::sregex_iterator(text.begin(), text.end(), code), std::sregex_iterator(),
                   std::back_inserter(filters), [](std::smatch const& each) { return each[1]; });
    return filters;
}

TEST(Dissector, hasEveryFilterOfThePage) {
    CaptureFile file;
    file.add(commandTo(0x10, 102, "\x03"));
    std::string all;
    std::vector<std::string> const filters = filtersOf(CAPTURES_PAGE);
    ASSERT_GE(filters.size(), 50U);
    for (std::string const& each : filters) {
        all += (all.empty() ? "(" : " || (") + each + ")";
    }
    EXPECT_THAT(tshark(file.path(), {"-Y", all}), HasSubstr("CloseVoice in"));
}

/** What the golden files hold of a capture: everything but times. */
std::string golden(std::string const& capture) {
    std::string text;
    for (auto row :
         fieldsOf(capture, {"frame.number", "mc.src", "mc.dst", "mc.channel", "mc.acknowledged_in",
                            "mc.acknowledges", "_ws.expert.message", "_ws.col.Info"})) {
        row.back() = withoutPairing(row.back());
        for (std::string const& each : row) {
            text += (&each == &row.front() ? "" : " | ") + (each.empty() ? "-" : each);
        }
        text += '\n';
    }
    return text;
}

class Example : public testing::TestWithParam<char const*> {};

TEST_P(Example, isDissected) {
    TemporaryDirectory const directory;
    std::string const capture = directory.path() + "/call.pcapng";
    std::string const name = GetParam();
    outputOf({MCGW_PROGRAM, "call", "--quiet", "--capture", capture,
              std::string(EXAMPLES_DIRECTORY) + "/" + name + ".toml"});
    expectSameTexts(capture);
    std::ifstream file(std::string(GOLDEN_DIRECTORY) + "/" + name + ".txt");
    std::string const expected{std::istreambuf_iterator<char>(file),
                               std::istreambuf_iterator<char>()};
    EXPECT_EQ(golden(capture), expected);
}

std::string nameOf(testing::TestParamInfo<char const*> const& tested) {
    std::string name = tested.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Dissector, Example,
                         testing::Values("config-change", "console", "fax-t38", "join", "refusals",
                                         "silence-suppression", "voice-dtmf"),
                         nameOf);

} // namespace
