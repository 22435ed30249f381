// Captures of a bus, and messages that are put on it by hand or from a capture.

#include "tests/support/CaptureBytes.h"
#include "tests/support/Shell.h"
#include "tests/system/Background.h"
#include "tests/system/Program.h"
#include "tests/unit/bus/BusFixture.h"

#include "dsp/Board.h"
#include "dsp/Encode.h"
#include "gateway/capture/CaptureReader.h"
#include "gateway/capture/CaptureWriter.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

namespace {

using gateway::CaptureWriter;
using shell::contentOf;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using Json = BackgroundProgram::Json;
using Words = std::vector<std::string>;

imc_msg event(std::string const& name, std::string const& dsp, unsigned char from = 0x10,
              unsigned char to = 0x01) {
    imc_msg message = dsp::encode(name, {{"dsp", dsp}});
    message.sourceSid = from;
    message.destinationSid = to;
    return message;
}

class ToolsOnTheBus : public BusTest {
protected:
    Words onBus(Words arguments, Words const& more = {}) const {
        arguments.insert(arguments.end(), {"--bus", "ipc://" + directory.path()});
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }
    std::string file(std::string const& name) const { return files.path() + "/" + name; }
    std::unique_ptr<BackgroundProgram> startDsp(Words const& more = {}) const {
        auto program = std::make_unique<BackgroundProgram>(onBus({"dsp"}, more));
        program->await("serving");
        return program;
    }
    /** Sees the nodes that it has found when this returns. */
    std::unique_ptr<BackgroundProgram> startCapture(std::size_t senders,
                                                    Words const& more = {}) const {
        auto program =
            std::make_unique<BackgroundProgram>(onBus({"capture", file("bus.pcapng")}, more));
        program->await("bus");
        for (std::size_t i = 0; i < senders; ++i) {
            program->await("found",
                           [&](Json const&) { return program->lines("found").size() > i; });
        }
        return program;
    }
    ProgramRun inject(Words const& more) const { return runProgram(onBus({"inject"}, more)); }
    /** Tells the program to end, and waits for it. */
    static int ended(BackgroundProgram& program) {
        program.signal(SIGTERM);
        return program.end();
    }

    static Words textsOf(std::vector<imc_msg> const& messages) {
        Words texts;
        for (imc_msg const& message : messages) {
            texts.push_back(dsp::describe(message));
        }
        return texts;
    }
    static Words textsOf(std::string const& path) {
        gateway::Capture const capture = gateway::readCapture(path);
        EXPECT_EQ(capture.fault, "");
        std::vector<imc_msg> messages;
        for (auto const& record : capture.records) {
            messages.push_back(gateway::messageOf(record));
        }
        return textsOf(messages);
    }
    bool awaitTap(PlayedNode const& node) {
        return await([&] {
            auto const peers = node.transport->peers();
            return std::any_of(peers.begin(), peers.end(),
                               [](auto const& peer) { return peer.isTap; });
        });
    }
    std::unique_ptr<PlayedNode> session() {
        auto node = std::make_unique<PlayedNode>(loop, ipc("session"));
        node->transport->attach(0x01, node->board);
        return node;
    }

    TemporaryDirectory files;
};

Json summaryOf(BackgroundProgram& program) {
    return program.lines("summary").at(0);
}

// Capture

TEST_F(ToolsOnTheBus, ACaptureHoldsTheCommandAndItsAcknowledgement) {
    auto const board = startDsp();
    auto const capture = startCapture(1, {"--count", "2", "--hold", "2000"});
    ProgramRun const run = inject({"--to", "0x10", "--serve", "--wait", "60000", "--answers", "1",
                                   "OpenVoice in dsp=3 codec=1 remote=10.0.9.1:4000"});
    EXPECT_EQ(run.status, 0) << run.errors << run.output;
    EXPECT_THAT(run.output, HasSubstr("OpenVoiceAck in dsp=3 error="));
    EXPECT_EQ(capture->end(), 0) << capture->errors();
    EXPECT_THAT(textsOf(file("bus.pcapng")), ElementsAre(StartsWith("OpenVoice in dsp=3 codec=1 "),
                                                         StartsWith("OpenVoiceAck in dsp=3 ")));
    EXPECT_EQ(summaryOf(*capture).at("messages"), 2);
    EXPECT_EQ(summaryOf(*capture).at("missed"), 0);
    EXPECT_EQ(capture->lines("found").at(0).at("pid"), board->pid());
    EXPECT_EQ(capture->lines("found").at(1).at("name"), "mcgw inject");
}

TEST_F(ToolsOnTheBus, ACaptureMergesSendersByTheirTimes) {
    PlayedNode first(loop, ipc("first"));
    PlayedNode second(loop, ipc("second"));
    first.transport->attach(0x10, first.board);
    second.transport->attach(0x11, second.board);
    auto const capture = startCapture(2, {"--hold", "2000"});
    ASSERT_TRUE(awaitTap(first) && awaitTap(second));
    Words expected;
    for (int i = 0; i < 100; ++i) {
        bool const isFirst = i % 3 == 0;
        imc_msg const message = event("FaxTone", std::to_string(i), 0x10, isFirst ? 0x10 : 0x11);
        (isFirst ? first : second).transport->send(message);
        expected.push_back(dsp::describe(message));
    }
    // A word of the reading end that all copies arrived.
    auto const isTaken = [](PlayedNode const& node) {
        auto const peers = node.transport->peers();
        return std::all_of(peers.begin(), peers.end(),
                           [](auto const& peer) { return peer.untaken == 0; });
    };
    ASSERT_TRUE(await([&] { return isTaken(first) && isTaken(second); }));
    EXPECT_EQ(ended(*capture), 0);
    gateway::Capture const read = gateway::readCapture(file("bus.pcapng"));
    EXPECT_TRUE(std::is_sorted(read.records.begin(), read.records.end(),
                               [](auto const& a, auto const& b) { return a.time < b.time; }));
    EXPECT_THAT(textsOf(file("bus.pcapng")), testing::UnorderedElementsAreArray(expected));
}

TEST_F(ToolsOnTheBus, ACaptureSaysHowManyMessagesAreMissingWhere) {
    host::BusOptions options = ipc("node");
    options.window = 10;
    PlayedNode node(loop, options);
    node.transport->attach(0x10, node.board);
    auto const capture = startCapture(1);
    ASSERT_TRUE(awaitTap(node));
    capture->halt();
    for (int i = 0; i < 50; ++i) {
        node.transport->send(event("FaxTone", std::to_string(i), 0x10, 0x10));
    }
    capture->signal(SIGCONT);
    ASSERT_TRUE(await([&] { return node.transport->peers().at(0).untaken == 0; }));
    node.transport->send(event("FaxTone", "50", 0x10, 0x10));
    ASSERT_TRUE(await([&] { return node.transport->peers().at(0).untaken == 0; }));
    EXPECT_EQ(ended(*capture), 0);
    EXPECT_EQ(summaryOf(*capture).at("messages"), 11);
    EXPECT_EQ(summaryOf(*capture).at("missed"), 40);
    auto const records = gateway::readCapture(file("bus.pcapng")).records;
    ASSERT_EQ(records.size(), 11U);
    EXPECT_EQ(records[9].comment, "");
    EXPECT_EQ(records[10].comment,
              "40 messages of node, process " + std::to_string(getpid()) + " are missing here");
    // The statistics at the end: interface, time, then received and dropped.
    CaptureBytes const format(true);
    EXPECT_THAT(contentOf(file("bus.pcapng")),
                HasSubstr(format.option(4, format.both(51)) + format.option(5, format.both(40))));
}

TEST_F(ToolsOnTheBus, ACaptureTellsWhoComesAndGoes) {
    auto const capture = startCapture(0);
    auto const board = startDsp({"--name", "lab board"});
    EXPECT_EQ(capture->await("found").at("name"), "lab board");
    EXPECT_EQ(ended(*board), 0);
    EXPECT_EQ(capture->await("lost").at("pid"), capture->lines("found").at(0).at("pid"));
    EXPECT_EQ(ended(*capture), 0);
}

TEST_F(ToolsOnTheBus, ACaptureEndsAfterItsTime) {
    ProgramRun const run =
        runProgram(onBus({"capture", file("bus.pcapng")}, {"--for", "1", "--quiet"}));
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, HasSubstr(" 0 messages, 0 missed\n"));
    EXPECT_EQ(run.errors, "");
    EXPECT_THAT(textsOf(file("bus.pcapng")), IsEmpty());
}

TEST_F(ToolsOnTheBus, ACaptureGoesToStandardOutputAndTheWordsToStandardError) {
    ProgramRun const run = runProgram(onBus({"capture", "-"}, {"--for", "1"}));
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("joined at "), HasSubstr(" 0 messages, 0 missed\n")));
    std::ofstream(file("out.pcapng"), std::ios::binary) << run.output;
    EXPECT_THAT(textsOf(file("out.pcapng")), IsEmpty());
}

TEST_F(ToolsOnTheBus, ACaptureEndsWellWhenTheReaderOfItsPipeLeaves) {
    ASSERT_EQ(mkfifo(file("bus.pcapng").c_str(), 0600), 0);
    BackgroundProgram capture(onBus({"capture", file("bus.pcapng")}));
    int const reader = open(file("bus.pcapng").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    capture.await("bus");
    // Nothing is sent: it is noticed all the same.
    close(reader);
    EXPECT_EQ(capture.end(), 0);
    EXPECT_THAT(capture.errors(), HasSubstr(" any more: the capture ended\n"));
    EXPECT_EQ(summaryOf(capture).at("messages"), 0);
}

TEST_F(ToolsOnTheBus, ACaptureThatCantBeBegunIsRefused) {
    std::ofstream(file("precious.txt")) << "text";
    ProgramRun const precious = runProgram(onBus({"capture", file("precious.txt")}));
    EXPECT_EQ(precious.status, 2);
    EXPECT_THAT(precious.errors, HasSubstr("exists and is no capture: it is not overwritten"));
    EXPECT_EQ(contentOf(file("precious.txt")), "text");
    CaptureWriter(file("old.pcapng")).write(event("FaxTone", "3"), std::chrono::nanoseconds(1));
    ProgramRun const bad = runProgram({"capture", file("old.pcapng"), "--bus", "bus"});
    EXPECT_EQ(bad.status, 2);
    EXPECT_THAT(bad.errors, HasSubstr("expected ipc://DIRECTORY or tcp://HOST:PORT"));
    EXPECT_EQ(textsOf(file("old.pcapng")).size(), 1U) << "kept";
}

TEST_F(ToolsOnTheBus, ACaptureThatIsBeingWrittenIsLeftAlone) {
    auto const board = startDsp({"--capture", file("dsp.pcapng")});
    EXPECT_EQ(inject({"--to", "0x10", "CloseVoice in dsp=1"}).status, 0);
    // The same command once more, and a capture into the same file.
    for (Words const& again : {onBus({"dsp"}, {"--capture", file("dsp.pcapng")}),
                               onBus({"capture", file("dsp.pcapng")}, {"--for", "1"})}) {
        ProgramRun const run = runProgram(again);
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.errors, HasSubstr("dsp.pcapng: another process is recording there\n"));
    }
    EXPECT_EQ(inject({"--to", "0x10", "CloseVoice in dsp=2"}).status, 0);
    board->await("command", [](Json const& line) { return line.at("fields").at("dsp") == 2; });
    EXPECT_EQ(ended(*board), 0);
    EXPECT_THAT(textsOf(file("dsp.pcapng")), Contains("CloseVoice in dsp=1"));
    EXPECT_THAT(textsOf(file("dsp.pcapng")), Contains("CloseVoice in dsp=2"));
}

TEST_F(ToolsOnTheBus, APipeThatIsFullDoesNotKeepACaptureFromEnding) {
    ASSERT_EQ(mkfifo(file("bus.pcapng").c_str(), 0600), 0);
    BackgroundProgram capture(onBus({"capture", file("bus.pcapng")}));
    int const reader = open(file("bus.pcapng").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    capture.await("bus");
    PlayedNode node(loop, ipc("session"));
    node.transport->attach(0x01, node.board);
    ASSERT_TRUE(awaitTap(node));
    for (int i = 0; i < 200; ++i) {
        node.transport->send(event("FaxTone", "1"));
    }
    // What is left does not fit into the pipe.
    int const room = fcntl(reader, F_GETPIPE_SZ);
    ASSERT_TRUE(await([&] {
        int held = 0;
        return ioctl(reader, FIONREAD, &held) == 0 && held > room / 2;
    }));
    EXPECT_EQ(ended(capture), 1);
    EXPECT_THAT(capture.errors(), HasSubstr("bus.pcapng: its reader takes nothing\n"));
    close(reader);
}

TEST_F(ToolsOnTheBus, ALongHoldDoesNotHoldUpTheEnd) {
    auto const node = session();
    auto const capture = startCapture(1, {"--hold", "60000"});
    ASSERT_TRUE(awaitTap(*node));
    node->transport->send(event("FaxTone", "1"));
    ASSERT_TRUE(await([&] { return node->board.received.size() == 1; }));
    capture->signal(SIGTERM);
    EXPECT_TRUE(await([&] { return !capture->lines("summary").empty(); }));
    EXPECT_EQ(capture->end(), 0);
    EXPECT_THAT(textsOf(file("bus.pcapng")), ElementsAre("FaxTone dsp=1"));
}

TEST_F(ToolsOnTheBus, ABoardsCaptureHoldsEachMessageOnce) {
    auto const board = startDsp({"--sid", "0x10", "0x11", "--capture", file("dsp.pcapng")});
    // From outside, and answered to the other board of the process, which does not know events.
    ProgramRun const run = inject({"--to", "0x10", "--from", "0x11", "CloseVoice in dsp=3"});
    EXPECT_EQ(run.status, 0) << run.errors << run.output;
    board->await("command", [](Json const& line) { return line.at("name") == "CloseVoiceAck in"; });
    ProgramRun const outside = inject({"--to", "0x11", "--from", "0x77", "CloseFax in dsp=4"});
    EXPECT_EQ(outside.status, 0);
    board->await("board", [](Json const& line) {
        return line.at("text").get<std::string>().find("event not sent") == 0;
    });
    EXPECT_EQ(ended(*board), 0);
    EXPECT_THAT(textsOf(file("dsp.pcapng")),
                ElementsAre("CloseVoice in dsp=3", StartsWith("CloseVoiceAck in dsp=3"),
                            "CloseFax in dsp=4", StartsWith("CloseFaxAck in dsp=4")));
    EXPECT_THAT(gateway::readCapture(file("dsp.pcapng")).records.back().comment,
                StartsWith("refused: nobody serves IMC address 0x77"));
}

TEST_F(ToolsOnTheBus, ABoardsCaptureIsNotOnItsStandardOutput) {
    ProgramRun const run = runProgram(onBus({"dsp", "--capture", "-"}));
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.errors, HasSubstr("capture -: the standard output is for the report"));
}

// Inject

TEST_F(ToolsOnTheBus, WhatIsInjectedArrivesByteForByte) {
    auto const node = session();
    std::ofstream(file("list.txt")) << "# a list\nAlert out dsp=5 value=7\n"
                                    << "raw 01 99 01 02 FFFF 0304 00000005 AA # as it is\n";
    BackgroundProgram program(onBus(
        {"inject"}, {"--to", "0x01", "--from", "0x10", "OpenVoiceAck in dsp=3 port=5000", "--id",
                     "77", "--payload", "0102", "--length", "300", "--file", file("list.txt")}));
    ASSERT_TRUE(await([&] { return node->board.received.size() == 4; }));
    EXPECT_EQ(program.end(), 0) << program.errors();
    EXPECT_THAT(textsOf(node->board.received),
                ElementsAre("OpenVoiceAck in dsp=3 error=0 port=5000",
                            StartsWith("unknown message 77"), "Alert out dsp=5 value=7",
                            StartsWith("unknown message 5")));
    EXPECT_EQ(node->board.received[0].sourceSid, 0x10);
    EXPECT_EQ(node->board.received[1].length, 300);
    EXPECT_EQ(bytesOfMessage(node->board.received[3]).substr(0, 13),
              std::string("\x01\x10\x01\x02\xFF\xFF\x03\x04\x00\x00\x00\x05\xAA", 13));
    EXPECT_EQ(summaryOf(program).at("sent"), 4);
}

TEST_F(ToolsOnTheBus, WhatIsInjectedAndWhatComesBackIsRecorded) {
    auto const board = startDsp();
    ProgramRun const run = inject({"--capture", file("own.pcapng"), "--to", "0x10", "--serve",
                                   "--wait", "60000", "--answers", "1", "CloseVoice in dsp=3"});
    EXPECT_EQ(run.status, 0) << run.errors << run.output;
    EXPECT_THAT(textsOf(file("own.pcapng")),
                ElementsAre("CloseVoice in dsp=3", StartsWith("CloseVoiceAck in dsp=3")));
}

TEST_F(ToolsOnTheBus, ARecordKeepsItsAddressesUnlessOthersAreGiven) {
    auto const node = session();
    BackgroundProgram program(onBus({"inject"}, {"--raw", "00 99 01 00"}));
    ASSERT_TRUE(await([&] { return node->board.received.size() == 1; }));
    EXPECT_EQ(program.end(), 0);
    EXPECT_EQ(node->board.received[0].sourceSid, 0x99);
}

TEST_F(ToolsOnTheBus, AnOptionTakesOneWordAndLeavesTheRestToTheMessages) {
    auto const node = session();
    std::ofstream(file("list.txt")) << "FaxTone dsp=3\n";
    BackgroundProgram program(
        onBus({"inject"}, {"--to", "1", "--raw", "00 99 01 00", "FaxTone dsp=1", "--file",
                           file("list.txt"), "FaxTone dsp=2"}));
    ASSERT_TRUE(await([&] { return node->board.received.size() == 4; }));
    EXPECT_EQ(program.end(), 0);
    EXPECT_THAT(textsOf(node->board.received),
                ElementsAre("FaxTone dsp=1", "FaxTone dsp=2", StartsWith("unknown message 0"),
                            "FaxTone dsp=3"));
}

TEST_F(ToolsOnTheBus, ACaptureOverTcpNamesItsPeersBeforeItsFile) {
    BackgroundProgram board({"dsp", "--bus", "tcp://127.0.0.1:*"});
    std::string const endpoint = board.await("bus").at("endpoint").get<std::string>();
    board.await("serving");
    BackgroundProgram capture(
        {"capture", "--bus", "tcp://127.0.0.1:*", "--peer", endpoint, file("bus.pcapng")});
    EXPECT_EQ(capture.await("found").at("pid"), board.pid());
    EXPECT_EQ(ended(capture), 0);
    EXPECT_THAT(textsOf(file("bus.pcapng")), IsEmpty());
}

TEST_F(ToolsOnTheBus, MessagesAreRepeated) {
    auto const node = session();
    BackgroundProgram program(onBus({"inject"}, {"--to", "1", "FaxTone dsp=1", "FaxTone dsp=2",
                                                 "--repeat", "3", "--interval", "1"}));
    ASSERT_TRUE(await([&] { return node->board.received.size() == 6; }));
    EXPECT_EQ(program.end(), 0);
    EXPECT_EQ(program.lines("sent").size(), 6U);
    EXPECT_THAT(textsOf(node->board.received),
                ElementsAre("FaxTone dsp=1", "FaxTone dsp=2", "FaxTone dsp=1", "FaxTone dsp=2",
                            "FaxTone dsp=1", "FaxTone dsp=2"));
}

TEST_F(ToolsOnTheBus, GarbageOfAnyLengthIsCountedByTheBoard) {
    auto const board = startDsp();
    Words arguments = {"--to", "0x10"};
    for (std::size_t const size : {1U, 4U, 11U, 12U, 13U, 48U, 500U, 1035U, 1036U}) {
        std::string garbage;
        for (std::size_t i = 0; i < size; ++i) {
            garbage += "A7";
        }
        arguments.insert(arguments.end(), {"--raw", garbage});
    }
    EXPECT_EQ(inject(arguments).status, 0);
    EXPECT_EQ(ended(*board), 0);
    std::uint64_t counted = 0;
    for (Json const& line : board->lines("counter")) {
        if (line.at("of") == "0x10" && line.at("name").get<std::string>().find("refused: ") == 0) {
            counted += line.at("count").get<std::uint64_t>();
        }
    }
    EXPECT_EQ(counted, 9U);
}

TEST_F(ToolsOnTheBus, MessagesComeFromStandardInput) {
    auto const board = startDsp();
    using shell::quoted;
    std::string const command = "printf 'CloseVoice in dsp=3\n# that is all\n' | " +
                                quoted(MCGW_PROGRAM) + " inject --bus " +
                                quoted("ipc://" + directory.path()) +
                                " --to 0x10 --file - --quiet >" + quoted(file("output"));
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_THAT(contentOf(file("output")), HasSubstr("1 message sent, 0 refused\n"));
    EXPECT_EQ(board->await("command").at("name"), "CloseVoice in");
}

TEST_F(ToolsOnTheBus, ARefusedMessageIsToldWithItsReason) {
    ProgramRun const run = inject({"--to", "0x77", "--wait-for", "10", "FaxTone dsp=1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, HasSubstr("FaxTone dsp=1 from=0x02 to=0x77: nobody serves IMC address "
                                      "0x77\n"));
    EXPECT_THAT(run.output, HasSubstr("0 messages sent, 1 refused\n"));
}

TEST_F(ToolsOnTheBus, TheOpenCommandThatHelpShowsIsTaken) {
    auto const board = startDsp();
    std::string const shown = "\"OpenVoice in dsp=3 fax=UDP remote=10.0.9.1:4000 remoteRtcp=4001\"";
    EXPECT_THAT(runProgram({"inject", "--help"}).output, HasSubstr(shown));
    ProgramRun const run = inject({"--to", "0x10", "--serve", "--wait", "60000", "--answers", "1",
                                   shown.substr(1, shown.size() - 2)});
    EXPECT_THAT(run.output, HasSubstr("OpenVoiceAck in dsp=3 error=0 "));
}

TEST_F(ToolsOnTheBus, WhatAReportShowsIsSentAsItStandsThere) {
    auto const board = startDsp();
    ProgramRun const run =
        inject({"OpenVoiceAck in dsp=3 error=2(already open) port=5000 from=0x22 to=0x10"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("port=5000 from=0x22 to=0x10\n"));
    ProgramRun const elsewhere =
        inject({"--to", "0x10", "--from", "0x23", "FaxTone dsp=1 from=0x22 to=0x11"});
    EXPECT_THAT(elsewhere.output, HasSubstr("FaxTone dsp=1 from=0x23 to=0x10\n"));
}

TEST_F(ToolsOnTheBus, WhatASignalKeptFromBeingSentIsTold) {
    auto const board = startDsp();
    BackgroundProgram program(onBus(
        {"inject"}, {"--to", "0x10", "--repeat", "3", "--interval", "3600000", "FaxTone dsp=1"}));
    program.await("sent");
    EXPECT_EQ(ended(program), 1);
    EXPECT_EQ(summaryOf(program).at("sent"), 1);
    EXPECT_EQ(summaryOf(program).at("refused"), 0);
    EXPECT_EQ(summaryOf(program).at("not_sent"), 2);
}

TEST_F(ToolsOnTheBus, WhatABoardDoesNotTakeIsTold) {
    auto const board = startDsp();
    board->halt();
    ProgramRun const run = inject({"--to", "0x10", "FaxTone dsp=1", "--wait-for", "0"});
    EXPECT_EQ(run.status, 1) << run.output;
    board->signal(SIGCONT);
}

TEST_F(ToolsOnTheBus, AMessageThatCantBeMadeIsRefused) {
    auto const faultOf = [this](Words const& more) {
        ProgramRun const run = inject(more);
        EXPECT_EQ(run.status, 2) << run.output;
        return run.errors + run.output;
    };
    EXPECT_THAT(faultOf({}), HasSubstr("no message: expected MESSAGE, --raw, --id or --file"));
    EXPECT_THAT(faultOf({"FaxTone"}), HasSubstr("needs --to"));
    EXPECT_THAT(faultOf({"--raw", "00 02 10"}), HasSubstr("needs --to"));
    EXPECT_THAT(faultOf({"--to", "1", "FaxTon"}),
                HasSubstr("unknown message \"FaxTon\": expected one of OpenVoice in, "));
    EXPECT_THAT(faultOf({"--to", "1", "FaxTone x=1"}),
                HasSubstr("FaxTone: unknown field \"x\": expected one of dsp"));
    EXPECT_THAT(faultOf({"--to", "256", "FaxTone"}), HasSubstr("256"));
    EXPECT_THAT(faultOf({"--to", "1", "--raw", "0"}), HasSubstr("is half"));
    EXPECT_THAT(faultOf({"--to", "1", "--payload", "00"}), HasSubstr("--id"));
    EXPECT_THAT(faultOf({"--to", "1", "--id", "5", "--payload", std::string(2050, '0')}),
                HasSubstr("a payload of 1025 bytes: expected up to 1024"));
    EXPECT_THAT(faultOf({"--to", "1", "--file", file("none")}), HasSubstr("No such file"));
    EXPECT_THAT(faultOf({"--to", "1", "--file", files.path()}), HasSubstr("Is a directory"));
    EXPECT_THAT(faultOf({"--to", "1", "FaxTone", "--answers", "1"}), HasSubstr("--serve"));
    EXPECT_THAT(faultOf({"--to", "1", "FaxTone", "--wait", "1"}), HasSubstr("--serve"));
    EXPECT_THAT(faultOf({"--to", "1", "SetParameter dsp=3 FAX_T38=1 DIGIT_DETECTION=1"}),
                HasSubstr("it takes one parameter, not FAX_T38, DIGIT_DETECTION\n"));
    std::ofstream(file("list.txt")) << "FaxTone\n\nFaxTone dsp=one\n";
    EXPECT_THAT(faultOf({"--to", "1", "--file", file("list.txt")}),
                HasSubstr("list.txt:3: FaxTone: bad value \"one\" of dsp"));
}

// Replay

class ReplayOnTheBus : public ToolsOnTheBus {
protected:
    /** A millisecond after the one before. */
    void record(imc_msg const& message, bool isRefused = false) {
        time += std::chrono::milliseconds(1);
        if (isRefused) {
            writer.writeRefused(message, time, "it was");
        } else {
            writer.write(message, time);
        }
    }
    Words replay(Words const& more = {}) const { return onBus({"replay", path}, more); }

    std::string const path = file("field.pcapng");
    CaptureWriter writer{path};
    std::chrono::nanoseconds time = std::chrono::hours(24);
};

TEST_F(ReplayOnTheBus, SendsTheEventsAsTheyWere) {
    imc_msg malformed = event("OpenVoiceAck in", "9", 0x12);
    malformed.length = 999;
    malformed.payload[1000] = 0x5A;
    record(event("OpenVoiceAck in", "3"));
    record(event("OpenVoice in", "3", 0x01, 0x10));
    record(event("FaxTone", "4", 0x11));
    record(event("FaxTone", "5"), true);
    record(malformed);
    auto const node = session();
    BackgroundProgram program(replay());
    ASSERT_TRUE(await([&] { return node->board.received.size() == 3; }));
    EXPECT_EQ(program.end(), 0) << program.errors();
    EXPECT_EQ(bytesOfMessage(node->board.received[0]),
              bytesOfMessage(event("OpenVoiceAck in", "3")));
    EXPECT_EQ(bytesOfMessage(node->board.received[1]), bytesOfMessage(event("FaxTone", "4", 0x11)));
    EXPECT_EQ(bytesOfMessage(node->board.received[2]), bytesOfMessage(malformed));
    EXPECT_EQ(summaryOf(program).at("sent"), 3);
    EXPECT_EQ(summaryOf(program).at("left_out"), 2);
    EXPECT_EQ(summaryOf(program).at("refused"), 0);
    EXPECT_EQ(program.lines("sent").at(1).at("record"), 3);
}

TEST_F(ReplayOnTheBus, SendsAllOfThemElsewhereWhenItIsTold) {
    record(event("OpenVoice in", "3", 0x01, 0x10));
    record(event("FaxTone", "5"), true);
    auto const node = session();
    BackgroundProgram program(replay({"--all", "--to", "0x01", "--speed", "100"}));
    ASSERT_TRUE(await([&] { return node->board.received.size() == 2; }));
    EXPECT_EQ(program.end(), 0);
    EXPECT_THAT(textsOf(node->board.received),
                ElementsAre(StartsWith("OpenVoice in dsp=3"), "FaxTone dsp=5"));
}

TEST_F(ReplayOnTheBus, RecordsWhatItSendsElsewhere) {
    record(event("FaxTone", "1"));
    record(event("OpenVoice in", "3", 0x01, 0x10));
    auto const node = session();
    BackgroundProgram program(replay({"--capture", file("again.pcapng")}));
    ASSERT_TRUE(await([&] { return node->board.received.size() == 1; }));
    EXPECT_EQ(program.end(), 0) << program.errors();
    EXPECT_THAT(textsOf(file("again.pcapng")), ElementsAre("FaxTone dsp=1"));
    ProgramRun const onto = runProgram(replay({"--capture", files.path() + "/./field.pcapng"}));
    EXPECT_EQ(onto.status, 2);
    EXPECT_THAT(onto.errors, HasSubstr("that is the capture to be sent, expected another file"));
    EXPECT_THAT(textsOf(path), SizeIs(2));
}

TEST_F(ReplayOnTheBus, KeepsTheTimes) {
    record(event("FaxTone", "1"));
    time += std::chrono::seconds(3);
    record(event("FaxTone", "2"));
    auto const node = session();
    BackgroundProgram program(replay({"--speed", "10"}));
    ASSERT_TRUE(await([&] { return node->board.received.size() == 2; }));
    EXPECT_EQ(program.end(), 0);
    // The clock of the lines starts before the first message: this can't be early.
    EXPECT_GE(program.lines("sent").at(1).at("time_ms").get<double>(), 300.0);
}

TEST_F(ReplayOnTheBus, WaitsForAFullQueueAndKeepsTheOrder) {
    unsigned const count = 5000;
    for (unsigned i = 0; i < count; ++i) {
        imc_msg message = event("Alert in", "3");
        message.payload[6] = static_cast<std::uint8_t>(i >> 8U);
        message.payload[7] = static_cast<std::uint8_t>(i & 0xFFU);
        record(message);
    }
    auto const node = session();
    // Nothing is taken before this loop runs.
    BackgroundProgram program(replay({"--fast", "--patience", "60000"}));
    program.await("full");
    ASSERT_TRUE(await([&] { return node->board.received.size() == count; }));
    EXPECT_EQ(program.end(), 0);
    for (unsigned i = 0; i < count; ++i) {
        ASSERT_EQ(node->board.received[i].payload[6] * 256 + node->board.received[i].payload[7],
                  static_cast<int>(i));
    }
    EXPECT_EQ(summaryOf(program).at("sent"), count);
}

TEST_F(ReplayOnTheBus, GivesUpWhenItsPatienceIsOver) {
    for (unsigned i = 0; i < 4100; ++i) {
        record(event("FaxTone", "3"));
    }
    auto const node = session();
    BackgroundProgram program(replay({"--fast", "--patience", "10"}));
    EXPECT_EQ(program.end(), 1);
    EXPECT_EQ(summaryOf(program).at("sent"), 4096);
    EXPECT_EQ(summaryOf(program).at("refused"), 1);
    EXPECT_EQ(summaryOf(program).at("not_sent"), 3);
    EXPECT_THAT(program.lines("refused").at(0).at("why").get<std::string>(),
                HasSubstr("is full: 4096 messages not taken"));
    EXPECT_EQ(program.lines("untaken").at(0).at("count"), 4096);
    EXPECT_EQ(program.lines("untaken").at(0).at("name"), "session");
}

TEST_F(ReplayOnTheBus, UsesWhatPrecedesTheDamage) {
    record(event("FaxTone", "1"));
    record(event("FaxTone", "2"));
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - 5);
    auto const node = session();
    BackgroundProgram program(replay({"--fast"}));
    ASSERT_TRUE(await([&] { return node->board.received.size() == 1; }));
    EXPECT_EQ(program.end(), 1);
    EXPECT_THAT(program.errors(), HasSubstr("record 2 is cut short"));
    EXPECT_EQ(summaryOf(program).at("sent"), 1);
}

TEST_F(ReplayOnTheBus, ToldWhatIsRefused) {
    record(event("FaxTone", "1"));
    ProgramRun const run = runProgram(replay({"--wait-for", "10", "--quiet"}));
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, AllOf(HasSubstr("nobody serves IMC address 0x01"),
                                  HasSubstr("0 messages sent, 0 left out, 1 refused\n")));
}

TEST_F(ReplayOnTheBus, ABadCommandLineIsRefused) {
    auto const statusOf = [](Words const& arguments) { return runProgram(arguments).status; };
    EXPECT_EQ(statusOf(replay({"--speed", "0"})), 2);
    EXPECT_EQ(statusOf(replay({"--speed", "2", "--fast"})), 2);
    EXPECT_EQ(statusOf(replay({"--all", "--events"})), 2);
    EXPECT_EQ(statusOf(onBus({"replay"})), 2);
    EXPECT_EQ(statusOf(onBus({"replay", file("none.pcapng")})), 2);
    EXPECT_THAT(runProgram(onBus({"replay", files.path()})).errors, HasSubstr("Is a directory"));
    std::ofstream(file("text")) << "text";
    ProgramRun const run = runProgram(onBus({"replay", file("text")}));
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.errors, HasSubstr("no pcapng file"));
    EXPECT_EQ(statusOf(onBus({"capture"})), 2);
    EXPECT_EQ(statusOf(onBus({"capture", file("a.pcapng"), "--count", "0"})), 2);
    EXPECT_EQ(statusOf(onBus({"capture", file("a.pcapng"), "--for", "0"})), 2);
    EXPECT_FALSE(std::filesystem::exists(file("a.pcapng")));
}

TEST(Tools, HelpNamesThePageAndTheExitStatuses) {
    for (auto const& [command, page] :
         {std::pair("capture", "docs/captures.md"), std::pair("inject", "docs/tools.md"),
          std::pair("replay", "docs/tools.md")}) {
        ProgramRun const run = runProgram({command, "--help"});
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(run.output, AllOf(HasSubstr(page), HasSubstr("Exit status: 0 when")));
    }
}

} // namespace
