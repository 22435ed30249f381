// The message sequence chart, before it is drawn and as it is drawn.

#include "gateway/msc/Chart.h"
#include "gateway/msc/Pairing.h"
#include "gateway/msc/PictureChart.h"
#include "gateway/msc/TextChart.h"
#include "gateway/msc/Wrap.h"

#include "dsp/Service.h"
#include "tests/support/CaptureBytes.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <sstream>

namespace {

using gateway::CaptureRecord;
using gateway::Chart;
using gateway::ChartMessage;
using gateway::ChartOptions;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::StartsWith;

/** Records one after the other; the first is at an hour of some day. */
class Records {
public:
    Records& add(microseconds time, std::string const& bytes, std::string const& comment = "") {
        CaptureRecord record;
        record.number = list.size() + 1;
        record.time = std::chrono::hours(490000) + time;
        record.bytes.assign(bytes.begin(), bytes.end());
        record.comment = comment;
        record.isRefused = comment.rfind("refused: ", 0) == 0;
        list.push_back(record);
        return *this;
    }
    Records& add(microseconds time, imc_msg const& message, std::string const& comment = "") {
        return add(time, bytesOfMessage(message), comment);
    }

    std::vector<CaptureRecord> list;
};

std::string const openPayload =
    std::string("\x03\x00\x11\x00", 4) + std::string(10, '\0') +
    std::string("\xFF\xFF\x0A\x00\x09\x01\x0F\xA0\x00\x00\x0F\xA1", 12) + std::string(10, '\0');

imc_msg openVoice(std::uint8_t board = 0x10) {
    return commandTo(board, 100, openPayload);
}

imc_msg closeVoice(std::uint8_t board = 0x10, char dsp = 3) {
    return commandTo(board, 102, std::string(1, dsp));
}

/** A call on board 0x10, a digit, and a board 0xFA that nobody serves. */
Records call() {
    Records records;
    records.add(microseconds(0), openVoice())
        .add(microseconds(2345), acknowledgementFrom(0x10, 100, 3, 5000))
        .add(microseconds(2500),
             dsp::encodeEvent(dsp::Dtmf{dsp::Direction::in, 3, 11, 80}, 0x10, 1))
        .add(milliseconds(1502), closeVoice(0xFA), "refused: nobody serves IMC address 0xFA")
        .add(milliseconds(1503), closeVoice())
        .add(milliseconds(1505), acknowledgementFrom(0x10, 102, 3, 0, 3));
    return records;
}

std::string draw(Records const& records, bool isAscii = true, std::size_t width = 100,
                 ChartOptions const& options = ChartOptions()) {
    return gateway::drawText(gateway::makeChart(records.list, options), {width, isAscii});
}

ChartMessage only(Records const& records, ChartOptions const& options = ChartOptions()) {
    Chart const chart = gateway::makeChart(records.list, options);
    EXPECT_EQ(chart.messages.size(), 1U);
    return chart.messages.at(0);
}

TEST(Pairing, theOldestCommandIsAcknowledgedFirst) {
    Records records;
    records.add(microseconds(0), closeVoice())
        .add(microseconds(1), closeVoice())
        .add(microseconds(2), acknowledgementFrom(0x10, 102, 3))
        .add(microseconds(3), acknowledgementFrom(0x10, 102, 3));
    gateway::Pairing const pairing = gateway::pair(records.list);
    EXPECT_THAT(pairing.commandOf, ElementsAre(Pair(2, 0), Pair(3, 1)));
    EXPECT_THAT(pairing.unanswered, IsEmpty());
    EXPECT_THAT(pairing.unexpected, IsEmpty());
}

TEST(Pairing, dspKindDirectionBoardAndSenderHaveToBeTheSame) {
    imc_msg otherSender = closeVoice();
    otherSender.sourceSid = 2;
    Records records;
    records.add(microseconds(0), closeVoice(0x10, 4))
        .add(microseconds(0), commandTo(0x10, 117, "\x03"))
        .add(microseconds(0), commandTo(0x10, 106, "\x03"))
        .add(microseconds(0), closeVoice(0x11))
        .add(microseconds(0), otherSender)
        .add(microseconds(2), acknowledgementFrom(0x10, 102, 3));
    gateway::Pairing const pairing = gateway::pair(records.list);
    EXPECT_THAT(pairing.commandOf, IsEmpty());
    EXPECT_THAT(pairing.unanswered, testing::UnorderedElementsAre(0, 1, 2, 3, 4));
    EXPECT_THAT(pairing.unexpected, ElementsAre(5));
}

TEST(Pairing, whatIsNotAcknowledgedWaitsForNothing) {
    Records records;
    records.add(microseconds(0), commandTo(0x10, 125, "\x03"))
        .add(microseconds(0), commandTo(0x10, 102, ""))
        .add(microseconds(0), closeVoice(), "refused: why")
        .add(microseconds(0), bytesOfMessage(closeVoice()).substr(0, 12))
        .add(microseconds(0), bytesOfMessage(acknowledgementFrom(0x10, 102, 3)).substr(0, 15));
    gateway::Pairing const pairing = gateway::pair(records.list);
    EXPECT_THAT(pairing.unanswered, IsEmpty());
    EXPECT_THAT(pairing.unexpected, IsEmpty());
}

TEST(Pairing, aBoardAcknowledgesACommandOfTheWrongLengthToo) {
    Records records;
    records.add(microseconds(0), commandTo(0x10, 102, "\x03 and more"))
        .add(microseconds(1), acknowledgementFrom(0x10, 102, 3, 0, 4));
    EXPECT_THAT(gateway::pair(records.list).commandOf, ElementsAre(Pair(1, 0)));
}

TEST(Chart, instancesAreTheManagerAndTheBoards) {
    Chart const chart = gateway::makeChart(call().list, {});
    ASSERT_EQ(chart.instances.size(), 3U);
    EXPECT_EQ(chart.instances[0].role + gateway::addressOf(chart.instances[0]),
              "Session Manager0x01");
    EXPECT_EQ(chart.instances[1].role + gateway::addressOf(chart.instances[1]), "Board0x10");
    EXPECT_EQ(chart.instances[2].role + gateway::addressOf(chart.instances[2]), "Board0xFA");
}

TEST(Chart, whoSendsNothingKnownHasNoRole) {
    Records records;
    records.add(microseconds(0), commandTo(0x10, 999, ""));
    Chart const chart = gateway::makeChart(records.list, {});
    ASSERT_EQ(chart.instances.size(), 2U);
    EXPECT_EQ(chart.instances[0].role, "IMC");
    EXPECT_EQ(chart.instances[1].role, "IMC");
}

TEST(Chart, showsTheFieldsThatTellTheStory) {
    Records records;
    records.add(microseconds(0), openVoice());
    EXPECT_EQ(only(records).fields, " dsp=3 codec=0(G.711 A-law) remote=10.0.9.1:4000");
    ChartOptions all;
    all.allFields = true;
    EXPECT_EQ(only(records, all).fields,
              " dsp=3 codec=0(G.711 A-law) fax=UDP remote=10.0.9.1:4000 remoteRtcp=4001 local=0 "
              "tick=0 param1=0 param2=0 dtmfPt=0 redundancyPt=0");
}

TEST(Chart, anAcknowledgementSaysHowLongItTook) {
    ChartMessage const message = gateway::makeChart(call().list, {}).messages.at(1);
    EXPECT_EQ(message.kind, ChartMessage::Kind::event);
    EXPECT_EQ(gateway::detailsOf(message), "dsp=3 port=5000 (after 2.3 ms)");
}

TEST(Chart, marksWhatIsWrong) {
    std::string const closing = bytesOfMessage(closeVoice());
    std::string garbled = bytesOfMessage(commandTo(0x10, 125, "\x03"));
    garbled[700] = 'x';
    struct {
        Records records;
        char const* remark;
    } const cases[] = {
        {Records().add(microseconds(0), closing), "not acknowledged"},
        {Records().add(microseconds(0), acknowledgementFrom(0x10, 102, 3)), "acknowledges nothing"},
        {Records().add(microseconds(0), closing, "refused: why"), "refused: why"},
        {Records().add(microseconds(0), closing.substr(0, 12)), "record of 12 bytes, not 1036"},
        {Records().add(microseconds(0), std::string("abc")), "record of 3 bytes, not 1036"},
        {Records().add(microseconds(0), commandTo(0x10, 125, "ab")),
         "length is not 1: length=2 payload: 61 62"},
        {Records().add(microseconds(0), commandTo(0x10, 999, "")), "length=0 payload:"},
        {Records().add(microseconds(0), garbled), "byte 700 is not zero"},
        {Records().add(microseconds(0), commandTo(0x10, 108, std::string("\3\2\7\0\0\0", 6))),
         "no board takes silence compression 7"},
        {Records().add(microseconds(0), commandTo(0x10, 108, std::string("\3\x9\7\0\0\0", 6))),
         "unknown parameter"},
    };
    for (auto const& each : cases) {
        ChartMessage const message = only(each.records);
        EXPECT_EQ(message.remark, each.remark);
        EXPECT_EQ(message.kind, ChartMessage::Kind::faulty) << each.remark;
        EXPECT_EQ(message.isLost, message.remark == "refused: why");
    }
}

TEST(Chart, anErrorOfTheBoardIsMarkedToo) {
    ChartMessage const message = gateway::makeChart(call().list, {}).messages.at(5);
    EXPECT_EQ(message.kind, ChartMessage::Kind::faulty);
    EXPECT_THAT(message.fields, HasSubstr("error=3(not open)"));
}

TEST(Chart, aForeignCommentCannotDisturbTheTerminal) {
    Records records;
    records.add(microseconds(0), commandTo(0x10, 125, "\x03"), "a\x1B[31m\n\xC3\xA4");
    EXPECT_EQ(only(records).remark, "a?[31m???");
}

TEST(Chart, choosesByDspAndByAddress) {
    Records records = call();
    records.add(milliseconds(1600), closeVoice(0x10, 7))
        .add(milliseconds(1700), std::string("abc"));
    ChartOptions dsp;
    dsp.dsp = 7;
    EXPECT_EQ(only(records, dsp).number, 7U);
    ChartOptions sid;
    sid.sid = 0xFA;
    EXPECT_EQ(only(records, sid).number, 4U);
    EXPECT_EQ(gateway::makeChart(records.list, sid).instances.size(), 2U);
    sid.sid = 1;
    EXPECT_EQ(gateway::makeChart(records.list, sid).messages.size(), 7U);
    EXPECT_EQ(gateway::makeChart(records.list, {}).messages.size(), 8U);
    // The delay does not depend on the choice, nor does the time.
    dsp.dsp = 3;
    Chart const chart = gateway::makeChart(records.list, dsp);
    EXPECT_TRUE(chart.messages.at(1).delay);
    EXPECT_EQ(chart.messages.at(3).time, milliseconds(1502));
}

TEST(Chart, leavesAuditsOutUnlessTheyAreWanted) {
    Records records = call();
    std::size_t const ofTheCall = records.list.size();
    imc_msg malformed = dsp::encodeAuditRequest(2, 1, 0x12);
    malformed.length = 3;
    records.add(milliseconds(1510), dsp::encodeAuditRequest(1, 1, 0x11))
        .add(milliseconds(1511), dsp::encodeAuditAnswer({1, 7, {}, {}}, 0x11, 1))
        .add(milliseconds(1512), malformed);

    Chart const chart = gateway::makeChart(records.list, {});
    EXPECT_EQ(chart.messages.size(), ofTheCall + 1);
    EXPECT_EQ(chart.messages.back().number, ofTheCall + 3);
    for (gateway::ChartInstance const& instance : chart.instances) {
        EXPECT_NE(instance.sid, 0x11);
    }

    ChartOptions options;
    options.audits = true;
    EXPECT_EQ(gateway::makeChart(records.list, options).messages.size(), ofTheCall + 3);
}

TEST(Chart, anOrderConcernsItsDspChannel) {
    Records records = call();
    records.add(
        milliseconds(1510),
        dsp::encodeOrder({dsp::Order::Kind::faxTone, 9, dsp::Direction::in, 0, 0}, 1, 0x10));
    ChartOptions options;
    options.dsp = 9;
    EXPECT_EQ(gateway::makeChart(records.list, options).messages.size(), 1U);
}

TEST(Wrap, breaksAtBlanks) {
    EXPECT_THAT(gateway::wrapped("one two three", 7), ElementsAre("one two", "three"));
    EXPECT_THAT(gateway::wrapped("one two three", 6), ElementsAre("one", "two", "three"));
    EXPECT_THAT(gateway::wrapped("longest one", 3), ElementsAre("longest", "one"));
    EXPECT_THAT(gateway::wrapped("longest", 3), ElementsAre("longest"));
    EXPECT_THAT(gateway::wrapped("", 3), ElementsAre(""));
    EXPECT_THAT(gateway::wrapped("error=3(not open) port=5", 12),
                ElementsAre("error=3(not open)", "port=5"));
    EXPECT_THAT(gateway::wrapped("an (open end", 4), ElementsAre("an", "(open", "end"));
}

char const asciiChart[] = R"(
            +-------------------+            +-------------------+            +-------------------+
            |  Session Manager  |            |       Board       |            |       Board       |
            |       0x01        |            |       0x10        |            |       0xFA        |
        ms  +---------+---------+            +---------+---------+            +---------+---------+
       0.0            |- OpenVoice in dsp=3 ---------->|                                |
                      |  codec=0(G.711 A-law)          |                                |
                      |  remote=10.0.9.1:4000          |                                |
       2.3            |<-- OpenVoiceAck in dsp=3 ------|                                |
                      |    port=5000 (after 2.3 ms)    |                                |
       2.5            |<-- Dtmf in dsp=3 digit=11(#) --|                                |
                      |    duration=80ms               |                                |
                      : 1499.5 ms                      :                                :
    1502.0            |- CloseVoice in dsp=3 ------------------------------------------*|
                      |  ! refused: nobody serves IMC address 0xFA                      |
    1503.0            |- CloseVoice in dsp=3 --------->|                                |
    1505.0            |<-- CloseVoiceAck in dsp=3 -----|                                |
                      |    error=3(not open)           |                                |
                      |    (after 2.0 ms)              |                                |
                   =======                          =======                          =======
)";

TEST(TextChart, isDrawnInAscii) {
    EXPECT_EQ("\n" + draw(call()), asciiChart);
}

TEST(TextChart, isDrawnWithBoxCharacters) {
    Records records;
    records.add(microseconds(0), closeVoice())
        .add(microseconds(1500), acknowledgementFrom(0x10, 102, 3))
        .add(milliseconds(3000), closeVoice(), "refused: why");
    EXPECT_EQ("\n" + draw(records, false, 80), R"(
            ┌───────────────────┐                          ┌───────────────────┐
            │  Session Manager  │                          │       Board       │
            │       0x01        │                          │       0x10        │
        ms  └─────────┬─────────┘                          └─────────┬─────────┘
       0.0            │─ CloseVoice in dsp=3 ───────────────────────▶│
       1.5            │◀── CloseVoiceAck in dsp=3 (after 1.5 ms) ────│
                      ⋮ 2998.5 ms                                    ⋮
    3000.0            │─ CloseVoice in dsp=3 ───────────────────────●│
                      │  ! refused: why                              │
                   ━━━━━━━                                        ━━━━━━━
)");
}

TEST(TextChart, fitsIntoItsWidthAsFarAsTheInstancesLetIt) {
    for (std::size_t const width : {60U, 80U, 120U, 200U}) {
        Records records;
        records.add(microseconds(0), openVoice());
        std::istringstream lines(draw(records, true, width));
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(line.size(), width) << line;
        }
    }
    Records many;
    for (std::uint8_t board = 0x10; board < 0x18; ++board) {
        many.add(microseconds(0), closeVoice(board));
    }
    EXPECT_THAT(draw(many, true, 60), HasSubstr("0x17"));
}

TEST(TextChart, hasAPlaceForWhatIsNoArrow) {
    imc_msg toItself = closeVoice(0x01);
    toItself.messageId = 600;
    toItself.length = 0;
    Records records;
    records.add(microseconds(0), toItself).add(microseconds(1000), std::string("abc"));
    std::string const text = draw(records);
    EXPECT_THAT(text, HasSubstr("|<- unknown message 600\n"));
    EXPECT_THAT(text, HasSubstr("  ! length=0 payload:\n"));
    EXPECT_THAT(text, HasSubstr("       1.0        | ! record 2: malformed record: record of 3 "
                                "bytes, not 1036\n"));
    EXPECT_THAT(draw(Records().add(microseconds(0), std::string("abc"))),
                HasSubstr("       0.0  ! record 1: malformed record"));
}

std::string source(Records const& records) {
    return gateway::pictureSource(gateway::makeChart(records.list, {}));
}

TEST(PictureChart, namesEverythingThatTheTextNames) {
    std::string const text = source(call());
    EXPECT_THAT(text, StartsWith("digraph chart {"));
    EXPECT_THAT(text, AllOf(HasSubstr("<B>Session Manager</B><BR/>0x01"),
                            HasSubstr("<B>Board</B><BR/>0x10"), HasSubstr("<B>OpenVoice in</B>"),
                            HasSubstr("remote=10.0.9.1:4000"), HasSubstr("(after 2.3 ms)"),
                            HasSubstr("1499.5 ms pass"), HasSubstr("label=\"1502.0\\r\""),
                            HasSubstr("<I>refused: nobody serves IMC address 0xFA</I>"),
                            HasSubstr("arrowhead=dotnormal")));
}

TEST(PictureChart, aCommentIsNoMarkup) {
    Records records;
    records.add(microseconds(0), commandTo(0x10, 125, "\x03"), "<B>&\"");
    EXPECT_THAT(source(records), HasSubstr("&lt;B&gt;&amp;&quot;"));
}

TEST(PictureChart, isTooLongForAPngAtSomeLength) {
    Records records;
    for (int i = 0; i < 1500; ++i) {
        records.add(milliseconds(i), closeVoice());
    }
    Chart const chart = gateway::makeChart(records.list, {});
    try {
        gateway::drawPicture(chart, gateway::PictureFormat::png, "/nowhere/long.png");
        FAIL() << "drawn";
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(),
                     "/nowhere/long.png: the chart is too long for a PNG: draw an SVG, or choose "
                     "messages with --dsp or --sid");
    }
}

TEST(CapturesPage, showsTheChartOfItsExample) {
    std::ifstream page(CAPTURES_PAGE);
    std::string const text{std::istreambuf_iterator<char>(page), std::istreambuf_iterator<char>()};
    EXPECT_THAT(text, HasSubstr("```text" + std::string(asciiChart) + "```\n"));
}

} // namespace
