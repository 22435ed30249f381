#include "dsp/Board.h"
#include "Records.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <ostream>
#include <stdexcept>

namespace dsp {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/** An acknowledgement of the board 0xFA to the sender 0x21 of the samples, in hexadecimal. */
std::string ack(char const* identifier, char const* payload) {
    return std::string("00 FA 21 00 0004 0000 000000") + identifier + payload;
}

void expectLast(Bench const& bench, std::string const& hex) {
    ASSERT_FALSE(bench.events.empty());
    EXPECT_EQ(bytesOf(bench.events.back()), bytesOf(record(hex)));
}

imc_msg onChannel(imc_msg message, unsigned dsp) {
    message.payload[0] = static_cast<std::uint8_t>(dsp);
    return message;
}

BoardOptions portsFrom(std::uint16_t first) {
    BoardOptions options;
    options.firstPort = first;
    return options;
}

/** Sends a command that must be refused: once counted, once reported, nothing taken. */
void expectRefused(Bench& bench, imc_msg const& command, std::string const& cause) {
    std::string const counter = "refused: " + cause;
    auto const before = bench.count(counter);
    auto const taken = bench.sum("taken: ");
    auto const others = bench.sum("refused: ");
    bench.reports.clear();
    bench.board.receive(command);
    EXPECT_EQ(bench.count(counter), before + 1);
    EXPECT_EQ(bench.sum("taken: "), taken);
    EXPECT_EQ(bench.sum("refused: "), others + 1);
    ASSERT_EQ(bench.reports.size(), 1U);
    EXPECT_EQ(bench.reports[0].compare(0, counter.size(), counter), 0) << bench.reports[0];
    EXPECT_THAT(bench.reports[0], HasSubstr(describe(command)));
}

void expectTaken(Bench& bench, imc_msg const& command) {
    auto const taken = bench.sum("taken: ");
    bench.board.receive(command);
    EXPECT_EQ(bench.sum("taken: "), taken + 1) << describe(command);
}

TEST(Board, OptionsThatMakeNoBoardAreRefused) {
    BoardOptions none;
    none.channels = 0;
    EXPECT_THROW(Bench{none}, std::invalid_argument);
    BoardOptions tooMany;
    tooMany.channels = 257;
    EXPECT_THROW(Bench{tooMany}, std::invalid_argument);
    EXPECT_THROW(Bench{portsFrom(0)}, std::invalid_argument);
    EXPECT_THROW(Bench{portsFrom(65535)}, std::invalid_argument);
    EXPECT_THROW(Board(BoardOptions(), nullptr, nullptr), std::invalid_argument);
}

TEST(Board, KnowsItsAddress) {
    EXPECT_EQ(Bench().board.sid(), 0xFA);
    BoardOptions options;
    options.sid = 0x80;
    EXPECT_EQ(Bench(options).board.sid(), 0x80);
}

TEST(Board, WorksWithoutAReader) {
    Board board(
        BoardOptions(), [](imc_msg const&) {}, nullptr);
    board.receive(record("00 21 FA 00 0000 0000 000003E7"));
    EXPECT_EQ(board.counters().at("refused: unknown identifier"), 1U);
}

TEST(Board, CountersAreAllThereFromTheStart) {
    std::vector<std::string> names;
    for (auto const& [name, value] : Bench().board.counters()) {
        EXPECT_EQ(value, 0U);
        names.push_back(name);
    }
    EXPECT_THAT(
        names,
        ElementsAre("noticed: nonzero reserved", "refused: already joined", "refused: already open",
                    "refused: bad parameter", "refused: no port left", "refused: no such channel",
                    "refused: not joined", "refused: not open", "refused: on request",
                    "refused: unknown identifier", "refused: unknown parameter",
                    "refused: wrong destination", "refused: wrong length", "taken: CloseFax in",
                    "taken: CloseFax out", "taken: CloseVoice in", "taken: CloseVoice out",
                    "taken: Join", "taken: OpenFax in", "taken: OpenFax out", "taken: OpenVoice in",
                    "taken: OpenVoice out", "taken: SetParameter", "taken: Unjoin",
                    "taken: UpdateVoice in", "taken: UpdateVoice out"));
}

TEST(Board, AcknowledgesEachOpenAndClose) {
    Bench bench;
    bench.board.receive(sample("OpenVoice in"));
    expectLast(bench, ack("65", "03 00 1388"));
    bench.board.receive(sample("OpenVoice out"));
    expectLast(bench, ack("69", "03 00 138A"));
    bench.board.receive(sample("OpenFax in"));
    expectLast(bench, ack("74", "03 00 138C"));
    bench.board.receive(sample("OpenFax out"));
    expectLast(bench, ack("78", "03 00 138E"));
    bench.board.receive(sample("CloseFax in"));
    expectLast(bench, ack("76", "03 00 0000"));
    bench.board.receive(sample("CloseFax out"));
    expectLast(bench, ack("7A", "03 00 0000"));
    bench.board.receive(sample("CloseVoice in"));
    expectLast(bench, ack("67", "03 00 0000"));
    bench.board.receive(sample("CloseVoice out"));
    expectLast(bench, ack("6B", "03 00 0000"));
    EXPECT_EQ(bench.events.size(), 8U);
    EXPECT_THAT(bench.reports, IsEmpty());
}

TEST(Board, DoesNotAcknowledgeTheOtherCommands) {
    Bench bench;
    bench.board.receive(sample("OpenVoice in"));
    bench.board.receive(sample("OpenVoice out"));
    bench.events.clear();
    for (char const* const name :
         {"UpdateVoice in", "UpdateVoice out", "SetParameter", "Join", "Unjoin"}) {
        expectTaken(bench, sample(name));
        EXPECT_EQ(bench.count(std::string("taken: ") + name), 1U);
    }
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_THAT(bench.reports, IsEmpty());
}

TEST(Board, AnswersWhoeverSent) {
    BoardOptions options;
    options.sid = 0x80;
    Bench bench(options);
    bench.board.receive(record("00 FF 80 00 0001 0000 00000066 09"));
    expectLast(bench, "00 80 FF 00 0004 0000 00000067 09 03 0000");
}

TEST(Board, KeepsWhatAnOpenVoiceSays) {
    Bench bench;
    bench.board.receive(sample("OpenVoice in"));
    Channel const& channel = bench.board.channel(3);
    EXPECT_TRUE(channel.in.voiceOpen);
    EXPECT_FALSE(channel.in.faxOpen);
    EXPECT_EQ(channel.in.localRtpPort, 5000);
    EXPECT_EQ(channel.in.codec, 0U);
    EXPECT_EQ(channel.in.faxProtocol, 17U);
    EXPECT_EQ(channel.in.remoteAddress[12], 10);
    EXPECT_EQ(channel.in.remoteRtpPort, 4000);
    EXPECT_EQ(channel.in.remoteRtcpPort, 4001);
    EXPECT_EQ(channel.in.dtmfPayloadType, 101U);
    EXPECT_EQ(channel.in.redundancyPayloadType, 100U);
    EXPECT_FALSE(channel.out.voiceOpen);
    EXPECT_FALSE(bench.board.channel(2).in.voiceOpen);

    bench.board.receive(sample("OpenVoice out"));
    EXPECT_TRUE(channel.out.voiceOpen);
    EXPECT_EQ(channel.out.localRtpPort, 5002);
    EXPECT_EQ(channel.out.codec, 4U);
    EXPECT_EQ(channel.out.faxProtocol, 6U);
}

TEST(Board, UpdateChangesTheRemoteSideOnly) {
    Bench bench;
    bench.board.receive(sample("OpenVoice in"));
    bench.board.receive(sample("OpenVoice out"));
    bench.board.receive(sample("UpdateVoice in"));
    Channel const& channel = bench.board.channel(3);
    EXPECT_EQ(channel.in.remoteAddress[15], 2);
    EXPECT_EQ(channel.in.remoteRtpPort, 6000);
    EXPECT_EQ(channel.in.remoteRtcpPort, 6001);
    EXPECT_EQ(channel.in.dtmfPayloadType, 96U);
    EXPECT_EQ(channel.in.redundancyPayloadType, 97U);
    EXPECT_EQ(channel.in.localRtpPort, 5000);
    EXPECT_EQ(channel.in.faxProtocol, 17U);
    EXPECT_EQ(channel.out.remoteRtpPort, 65534);
}

TEST(Board, SetParameterSetsTheWholeChannelBeforeItIsOpen) {
    Bench bench;
    Channel const& channel = bench.board.channel(3);
    EXPECT_EQ(channel.faxDetection, -1);
    bench.board.receive(setParameter("02 01 000000"));
    bench.board.receive(setParameter("03 02 000000"));
    bench.board.receive(setParameter("04 0050 00F0"));
    bench.board.receive(setParameter("05 00 000000"));
    EXPECT_TRUE(channel.silenceCompression);
    EXPECT_EQ(channel.digitDetection, 2U);
    EXPECT_EQ(channel.minPacketLength, 80U);
    EXPECT_EQ(channel.maxPacketLength, 240U);
    EXPECT_EQ(channel.faxDetection, 0);
    bench.board.receive(setParameter("02 00 000000"));
    EXPECT_FALSE(channel.silenceCompression);
    EXPECT_EQ(bench.count("taken: SetParameter"), 5U);
}

TEST(Board, KeepsWhatAnOpenFaxSays) {
    Bench bench;
    bench.board.receive(sample("OpenFax out"));
    Channel const& channel = bench.board.channel(3);
    EXPECT_TRUE(channel.out.faxOpen);
    EXPECT_FALSE(channel.out.voiceOpen);
    EXPECT_FALSE(channel.in.faxOpen);
    EXPECT_EQ(channel.out.localFaxPort, 5000);
    EXPECT_EQ(channel.out.localRtpPort, 0);
    EXPECT_EQ(channel.out.faxProtocol, 6U);
}

TEST(Board, JoinAndUnjoin) {
    Bench bench;
    bench.board.receive(sample("OpenVoice in"));
    bench.board.receive(sample("Join"));
    Channel const& channel = bench.board.channel(3);
    EXPECT_TRUE(channel.joined);
    EXPECT_EQ(channel.joinedDsp, 5U);
    EXPECT_TRUE(channel.joinedRemote);
    bench.board.receive(sample("Unjoin"));
    EXPECT_FALSE(channel.joined);
    EXPECT_EQ(channel.joinedDsp, 0U);
    EXPECT_FALSE(channel.joinedRemote);
    imc_msg local = sample("Join");
    local.payload[2] = 0;
    bench.board.receive(onChannel(sample("OpenVoice in"), 5));
    expectTaken(bench, local);
    EXPECT_TRUE(channel.joined);
    EXPECT_FALSE(channel.joinedRemote);
}

TEST(Board, JoinsNoChannelWithItself) {
    Bench bench;
    bench.board.receive(sample("OpenVoice in"));
    imc_msg join = sample("Join");
    join.payload[1] = 3;
    join.payload[2] = 0;
    expectRefused(bench, join, "bad parameter");
    EXPECT_THAT(bench.reports.back(), testing::HasSubstr("(join with itself: dsp 3)"));
    EXPECT_FALSE(bench.board.channel(3).joined);
    join.payload[2] = 1;
    expectTaken(bench, join); // the channel of that number on another board
}

TEST(Board, JoinsNoPeerOfItsOwnThatIsNotOpen) {
    Bench bench;
    bench.board.receive(sample("OpenVoice in"));
    imc_msg join = sample("Join");
    join.payload[2] = 0;
    expectRefused(bench, join, "not open");
    EXPECT_THAT(bench.reports.back(), testing::HasSubstr("(peer dsp 5)"));
    EXPECT_FALSE(bench.board.channel(3).joined);
    bench.board.receive(onChannel(sample("OpenFax out"), 5));
    expectTaken(bench, join);
}

TEST(Board, FaxOpensWithAndWithoutVoiceAndOutlivesIt) {
    Bench bench;
    expectTaken(bench, sample("OpenVoice out"));
    expectTaken(bench, sample("OpenFax out"));
    expectTaken(bench, sample("CloseVoice out"));
    Channel const& channel = bench.board.channel(3);
    EXPECT_TRUE(channel.out.faxOpen);
    EXPECT_FALSE(channel.out.voiceOpen);
    EXPECT_EQ(channel.out.localRtpPort, 0);
    EXPECT_EQ(channel.out.localFaxPort, 5002);
    expectTaken(bench, sample("OpenFax in"));
    EXPECT_TRUE(channel.in.faxOpen);
    EXPECT_THAT(bench.reports, IsEmpty());
}

TEST(Board, ClosedChannelIsAsNew) {
    Bench bench;
    bench.board.receive(setParameter("05 02 000000"));
    bench.board.receive(setParameter("02 01 000000"));
    bench.board.receive(sample("OpenVoice in"));
    bench.board.receive(sample("OpenFax out"));
    bench.board.receive(sample("Join"));
    bench.board.receive(sample("CloseVoice in"));
    Channel const& channel = bench.board.channel(3);
    EXPECT_EQ(channel.in.remoteRtpPort, 0);
    EXPECT_TRUE(channel.joined);
    EXPECT_EQ(channel.faxDetection, 2);
    bench.board.receive(sample("CloseFax out"));
    EXPECT_FALSE(channel.joined);
    EXPECT_EQ(channel.faxDetection, -1);
    EXPECT_FALSE(channel.silenceCompression);
    EXPECT_EQ(channel.out.faxProtocol, 0U);
    EXPECT_EQ(channel.out.localFaxPort, 0);
}

TEST(Board, OpenTwiceIsRefusedAndChangesNothing) {
    Bench bench;
    for (char const* const name : {"OpenVoice in", "OpenVoice out", "OpenFax in", "OpenFax out"}) {
        bench.board.receive(sample(name));
        imc_msg again = sample(name);
        again.payload[1] = again.messageId == 100 ? 3 : 17;
        if (again.messageId == 104) {
            again.payload[1] = 1;
        }
        expectRefused(bench, again, "already open");
    }
    EXPECT_EQ(bench.board.channel(3).in.codec, 0U);
    EXPECT_EQ(bench.board.channel(3).out.codec, 4U);
    EXPECT_EQ(bench.board.channel(3).in.localRtpPort, 5000);
    EXPECT_EQ(bench.board.channel(3).out.localFaxPort, 5006);
    expectLast(bench, ack("78", "03 02 0000"));
    EXPECT_EQ(bench.events.size(), 8U);
}

TEST(Board, CloseOfAPathThatIsNotOpenIsRefused) {
    Bench bench;
    struct Line {
        char const* name;
        char const* acknowledgement;
    };
    for (Line const& each : {Line{"CloseVoice in", "67"}, Line{"CloseVoice out", "6B"},
                             Line{"CloseFax in", "76"}, Line{"CloseFax out", "7A"}}) {
        expectRefused(bench, sample(each.name), "not open");
        expectLast(bench, ack(each.acknowledgement, "03 03 0000"));
    }
}

TEST(Board, CloseOfTheOtherDirectionOrFunctionIsRefused) {
    Bench bench;
    bench.board.receive(sample("OpenVoice in"));
    expectRefused(bench, sample("CloseVoice out"), "not open");
    expectRefused(bench, sample("CloseFax in"), "not open");
    EXPECT_TRUE(bench.board.channel(3).in.voiceOpen);
    expectTaken(bench, sample("CloseVoice in"));
    expectRefused(bench, sample("CloseVoice in"), "not open");
}

TEST(Board, UpdateOfAPathThatIsNotOpenIsRefusedInSilence) {
    Bench bench;
    expectRefused(bench, sample("UpdateVoice in"), "not open");
    expectRefused(bench, sample("UpdateVoice out"), "not open");
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_EQ(bench.board.channel(3).in.remoteRtpPort, 0);
}

TEST(Board, JoinNeedsAnOpenChannelThatIsNotJoined) {
    Bench bench;
    expectRefused(bench, sample("Join"), "not open");
    bench.board.receive(sample("OpenVoice out"));
    expectTaken(bench, sample("Join"));
    imc_msg other = sample("Join");
    other.payload[1] = 6;
    expectRefused(bench, other, "already joined");
    EXPECT_EQ(bench.board.channel(3).joinedDsp, 5U);
    expectTaken(bench, sample("Unjoin"));
    expectRefused(bench, sample("Unjoin"), "not joined");
    EXPECT_EQ(bench.events.size(), 1U);
}

TEST(Board, FaxAloneIsEnoughToJoin) {
    Bench bench;
    bench.board.receive(sample("OpenFax in"));
    expectTaken(bench, sample("Join"));
}

TEST(Board, PortsAreGivenBackOnCloseAndTakenAgain) {
    Bench bench(portsFrom(65532));
    bench.board.receive(sample("OpenVoice in"));
    bench.board.receive(sample("OpenFax in"));
    expectLast(bench, ack("74", "03 00 FFFE"));
    bench.board.receive(sample("CloseVoice in"));
    bench.board.receive(sample("OpenVoice out"));
    expectLast(bench, ack("69", "03 00 FFFC"));
    bench.board.receive(sample("CloseFax in"));
    bench.board.receive(sample("OpenFax out"));
    expectLast(bench, ack("78", "03 00 FFFE"));
}

TEST(Board, NoPortLeftIsRefused) {
    Bench bench(portsFrom(65534));
    bench.board.receive(sample("OpenVoice in"));
    expectRefused(bench, sample("OpenVoice out"), "no port left");
    expectLast(bench, ack("69", "03 05 0000"));
    expectRefused(bench, sample("OpenFax in"), "no port left");
    expectLast(bench, ack("74", "03 05 0000"));
    EXPECT_FALSE(bench.board.channel(3).out.voiceOpen);
    EXPECT_FALSE(bench.board.channel(3).in.faxOpen);
    bench.board.receive(sample("CloseVoice in"));
    expectTaken(bench, sample("OpenFax in"));
}

TEST(Board, FullBoardHasAPortForEveryPath) {
    Bench bench;
    std::map<unsigned, int> ports;
    for (unsigned dsp = 0; dsp < 256; ++dsp) {
        for (char const* const name :
             {"OpenVoice in", "OpenVoice out", "OpenFax in", "OpenFax out"}) {
            bench.board.receive(onChannel(sample(name), dsp));
        }
        Channel const& channel = bench.board.channel(dsp);
        for (unsigned const port : {channel.in.localRtpPort, channel.in.localFaxPort,
                                    channel.out.localRtpPort, channel.out.localFaxPort}) {
            EXPECT_EQ(port % 2, 0U);
            EXPECT_GE(port, 5000U);
            ++ports[port];
        }
    }
    EXPECT_EQ(ports.size(), 1024U);
    EXPECT_THAT(bench.reports, IsEmpty());
}

TEST(Board, CommandForAnotherDestinationIsNotAnswered) {
    Bench bench;
    imc_msg message = sample("OpenVoice in");
    message.destinationSid = 0x7A;
    expectRefused(bench, message, "wrong destination");
    EXPECT_THAT(bench.reports[0], HasSubstr("IMC address 122"));
    EXPECT_THAT(bench.events, IsEmpty());
    EXPECT_FALSE(bench.board.channel(3).in.voiceOpen);
}

TEST(Board, UnknownIdentifierIsNotAnswered) {
    Bench bench;
    for (unsigned const identifier : {0U, 101U, 113U, 123U, 600U, 0x64000000U}) {
        imc_msg message = sample("CloseVoice in");
        message.messageId = identifier;
        expectRefused(bench, message, "unknown identifier");
    }
    EXPECT_THAT(bench.events, IsEmpty());
}

TEST(Board, WrongLengthIsRefusedAndAnsweredWhenItNamesTheChannel) {
    for (Sample const& each : samples()) {
        SCOPED_TRACE(each.name);
        Bench bench;
        imc_msg message = record(each.hex);
        std::uint64_t sent = 0;
        for (unsigned length = 0; length <= 1100; ++length) {
            if (length == each.length) {
                continue;
            }
            message.length = static_cast<std::uint16_t>(length);
            bench.events.clear();
            bench.board.receive(message);
            ASSERT_EQ(bench.count("refused: wrong length"), ++sent);
            if (each.acknowledged && length > 0) {
                ASSERT_EQ(bench.events.size(), 1U);
                EXPECT_EQ(bench.events[0].messageId, message.messageId + 1U);
                EXPECT_EQ(bench.events[0].payload[0], 3);
                EXPECT_EQ(bench.events[0].payload[1], 4);
            } else {
                ASSERT_THAT(bench.events, IsEmpty());
            }
        }
        EXPECT_EQ(bench.reports.size(), sent);
        EXPECT_EQ(bench.sum("taken: "), 0U);
        EXPECT_FALSE(bench.board.channel(3).in.voiceOpen);
        EXPECT_FALSE(bench.board.channel(3).out.voiceOpen);
    }
}

TEST(Board, ChannelThatTheBoardDoesNotHaveIsRefused) {
    BoardOptions options;
    options.channels = 3;
    Bench bench(options);
    for (Sample const& each : samples()) {
        SCOPED_TRACE(each.name);
        bench.events.clear();
        expectRefused(bench, record(each.hex), "no such channel");
        ASSERT_EQ(bench.events.size(), each.acknowledged ? 1U : 0U);
        if (each.acknowledged) {
            EXPECT_EQ(bench.events[0].payload[0], 3);
            EXPECT_EQ(bench.events[0].payload[1], 1);
        }
        bench.board.receive(onChannel(record(each.hex), 2));
    }
    EXPECT_EQ(bench.count("refused: no such channel"), samples().size());
}

TEST(Board, NonzeroReservedIsReportedAndTheCommandTaken) {
    Bench bench;
    imc_msg message = sample("OpenVoice out");
    message.payload[26] = 1;
    bench.board.receive(message);
    EXPECT_EQ(bench.count("noticed: nonzero reserved"), 1U);
    EXPECT_EQ(bench.count("taken: OpenVoice out"), 1U);
    ASSERT_EQ(bench.reports.size(), 1U);
    EXPECT_EQ(bench.reports[0],
              "noticed: nonzero reserved: OpenVoice out dsp=3 codec=4 fax=TCP "
              "remote=192.168.10.254:65534 remoteRtcp=65535 local=5000 dtmfPt=101 "
              "redundancyPt=100 (byte 38 is not zero)");
    expectLast(bench, ack("69", "03 00 1388"));
}

/** A command with one byte changed to a value that must be refused, or taken. */
struct Value {
    char const* name;
    unsigned offset;
    std::vector<unsigned> good;
};

void PrintTo(Value const& value, std::ostream* out) {
    *out << value.name << ", byte " << value.offset;
}

class Values : public testing::TestWithParam<Value> {};

TEST_P(Values, AreTakenOrRefused) {
    Value const& value = GetParam();
    for (unsigned byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        Bench bench;
        imc_msg message = sample(value.name);
        message.payload[value.offset] = static_cast<std::uint8_t>(byte);
        bool const good = std::find(value.good.begin(), value.good.end(), byte) != value.good.end();
        bool const answered = message.messageId != 124;
        if (!answered) {
            bench.board.receive(sample("OpenVoice in"));
            bench.board.receive(onChannel(sample("OpenVoice in"), 5));
            bench.events.clear();
        }
        if (good) {
            expectTaken(bench, message);
        } else {
            expectRefused(bench, message, "bad parameter");
        }
        ASSERT_EQ(bench.events.size(), answered ? 1U : 0U);
        if (answered) {
            EXPECT_EQ(bench.events[0].payload[1], good ? 0 : 4);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Board, Values,
    testing::Values(Value{"OpenVoice in", 1, {0, 1, 3, 4}}, Value{"OpenVoice out", 1, {0, 1, 3, 4}},
                    Value{"OpenVoice in", 2, {6, 17}}, Value{"OpenVoice out", 2, {6, 17}},
                    Value{"OpenFax in", 1, {6, 17}}, Value{"OpenFax out", 1, {6, 17}},
                    Value{"OpenFax out", 10, {0, 1, 2}}, Value{"OpenFax out", 11, {0, 1}},
                    Value{"Join", 2, {0, 1}}));

TEST(Board, SetParameterValues) {
    struct Line {
        char const* codeAndValue;
        bool good;
    };
    for (Line const& each : {
             Line{"02 00 000000", true},  Line{"02 01 000000", true},  Line{"02 02 000000", false},
             Line{"03 00 000000", true},  Line{"03 01 000000", true},  Line{"03 02 000000", true},
             Line{"03 03 000000", false}, Line{"05 00 000000", true},  Line{"05 01 000000", false},
             Line{"05 02 000000", true},  Line{"05 03 000000", true},  Line{"05 04 000000", false},
             Line{"05 FF 000000", false}, Line{"04 0050 00F0", true},  Line{"04 00F0 00F0", true},
             Line{"04 00F1 00F0", false}, Line{"04 0000 00F0", false}, Line{"04 0000 0000", false},
             Line{"04 0001 0000", false}, Line{"04 0001 0001", true},
         }) {
        SCOPED_TRACE(each.codeAndValue);
        Bench bench;
        if (each.good) {
            expectTaken(bench, setParameter(each.codeAndValue));
        } else {
            expectRefused(bench, setParameter(each.codeAndValue), "bad parameter");
        }
        EXPECT_THAT(bench.events, IsEmpty());
    }
}

TEST(Board, ParameterCodeThatItDoesNotKnowIsRefused) {
    for (char const* const code : {"00", "01", "06", "FF"}) {
        Bench bench;
        expectRefused(bench, setParameter(code + std::string("01 000000")), "unknown parameter");
        EXPECT_THAT(bench.events, IsEmpty());
    }
}

TEST(Board, PeerOnTheSameBoardMustExist) {
    BoardOptions options;
    options.channels = 5;
    Bench bench(options);
    bench.board.receive(sample("OpenVoice in"));
    imc_msg join = sample("Join");
    join.payload[2] = 0;
    expectRefused(bench, join, "bad parameter");
    join.payload[2] = 1;
    expectTaken(bench, join);
}

TEST(Board, FailsTheNextAcknowledgedCommandOnRequestOnce) {
    Bench bench;
    bench.board.failNext(3, Error::noPortLeft);
    expectTaken(bench, setParameter("02 01 000000"));
    bench.board.receive(onChannel(sample("OpenVoice in"), 4));
    EXPECT_EQ(bench.events.back().payload[1], 0);
    expectRefused(bench, sample("OpenVoice in"), "on request");
    expectLast(bench, ack("65", "03 05 0000"));
    EXPECT_FALSE(bench.board.channel(3).in.voiceOpen);
    expectTaken(bench, sample("OpenVoice in"));
    expectLast(bench, ack("65", "03 00 138A"));
    bench.board.failNext(3, Error::badParameter);
    expectRefused(bench, sample("CloseVoice in"), "on request");
    expectLast(bench, ack("67", "03 04 0000"));
    EXPECT_TRUE(bench.board.channel(3).in.voiceOpen);
}

TEST(Board, RequestToFailIsTakenBack) {
    Bench bench;
    bench.board.failNext(3, Error::notOpen);
    bench.board.failNext(3, Error::none);
    expectTaken(bench, sample("OpenVoice in"));
}

TEST(Board, RequestToFailOutlastsACommandOfWrongLength) {
    Bench bench;
    bench.board.failNext(3, Error::noSuchChannel);
    imc_msg message = sample("CloseFax in");
    message.length = 2;
    expectRefused(bench, message, "wrong length");
    expectRefused(bench, sample("CloseFax in"), "on request");
    expectLast(bench, ack("76", "03 01 0000"));
}

TEST(Board, RaisesEventsToItsClientUntilACommandCame) {
    BoardOptions options;
    options.client = 0x33;
    Bench bench(options);
    bench.board.raiseFaxTone(255);
    expectLast(bench, "00 FA 33 00 0001 0000 0000007B FF");
    bench.board.receive(setParameter("02 01 000000"));
    bench.board.raiseFaxTone(3);
    expectLast(bench, "00 FA 21 00 0001 0000 0000007B 03");
}

TEST(Board, RaisesEventsToTheDefaultClient) {
    Bench bench;
    bench.board.raiseFaxTone(0);
    expectLast(bench, "00 FA 01 00 0001 0000 0000007B 00");
}

TEST(Board, WhatItRefusesDoesNotChangeTheClient) {
    Bench bench;
    bench.board.receive(sample("OpenVoice in"));
    imc_msg refused = sample("OpenVoice in");
    refused.sourceSid = 0x44;
    expectRefused(bench, refused, "already open");
    imc_msg malformed = sample("CloseVoice in");
    malformed.sourceSid = 0x44;
    malformed.length = 2;
    expectRefused(bench, malformed, "wrong length");
    EXPECT_EQ(bench.events.back().destinationSid, 0x44) << "but it is answered";
    imc_msg elsewhere = sample("CloseVoice in");
    elsewhere.sourceSid = 0x44;
    elsewhere.destinationSid = 0x45;
    bench.board.receive(elsewhere);
    imc_msg unknown = sample("CloseVoice in");
    unknown.sourceSid = 0x44;
    unknown.messageId = 600;
    bench.board.receive(unknown);
    bench.board.raiseFaxTone(3);
    EXPECT_EQ(bench.events.back().destinationSid, 0x21);
}

TEST(Board, RaisesEachEventByDirection) {
    Bench bench;
    bench.board.raiseDtmf(1, Direction::in, 5, 80);
    expectLast(bench, "00 FA 01 00 0004 0000 00000072 01 05 0050");
    bench.board.raiseDtmf(1, Direction::out, 11, 0x1234);
    expectLast(bench, "00 FA 01 00 0004 0000 00000071 01 0B 1234");
    bench.board.raiseAlert(2, Direction::in, 0x01020304);
    expectLast(bench, "00 FA 01 00 0008 0000 0000006E 02 000000 01020304");
    bench.board.raiseAlert(2, Direction::out, 0xFFFFFFFF);
    expectLast(bench, "00 FA 01 00 0008 0000 00000070 02 000000 FFFFFFFF");
    EXPECT_EQ(bench.events.size(), 4U);
}

TEST(Board, RaisesNothingForAChannelOrDirectionThatItDoesNotHave) {
    BoardOptions options;
    options.channels = 8;
    Bench bench(options);
    EXPECT_THROW(bench.board.raiseDtmf(8, Direction::in, 1, 1), std::out_of_range);
    EXPECT_THROW(bench.board.raiseFaxTone(256), std::out_of_range);
    EXPECT_THROW(bench.board.raiseAlert(8, Direction::out, 1), std::out_of_range);
    EXPECT_THROW(bench.board.raiseDtmf(7, static_cast<Direction>(0), 1, 1), std::invalid_argument);
    EXPECT_THROW(bench.board.raiseAlert(7, static_cast<Direction>(3), 1), std::invalid_argument);
    EXPECT_THROW(bench.board.failNext(8, Error::notOpen), std::out_of_range);
    EXPECT_THROW(bench.board.channel(8), std::out_of_range);
    EXPECT_THAT(bench.events, IsEmpty());
}

TEST(Board, SaysWhichChannelsItHas) {
    BoardOptions options;
    options.channels = 4;
    Bench bench(options);
    std::string const text = "the board has no DSP channel 7: it has 4, numbered from 0";
    auto const throwsIt = testing::ThrowsMessage<std::out_of_range>(testing::StrEq(text));
    EXPECT_THAT([&] { bench.board.raiseDtmf(7, Direction::in, 1, 1); }, throwsIt);
    EXPECT_THAT([&] { bench.board.failNext(7, Error::notOpen); }, throwsIt);
    EXPECT_THAT([&] { bench.board.channel(7); }, throwsIt);
}

} // namespace
} // namespace dsp
