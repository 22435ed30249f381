// Boards as processes of their own, which are killed, halted and started again.

#include "tests/system/Background.h"
#include "tests/system/Program.h"
#include "tests/unit/bus/BusFixture.h"
#include "tests/unit/bus/HeldPort.h"
#include "tests/unit/dsp/Records.h"

#include "dsp/Board.h"
#include "dsp/Service.h"

#include <gmock/gmock.h>

#include <csignal>

namespace {

using host::Cause;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using Json = BackgroundProgram::Json;

/** A message of the sample commands to the board 0x10, from the session 0x01. */
imc_msg command(std::string const& name) {
    imc_msg message = dsp::sample(name);
    message.sourceSid = 0x01;
    message.destinationSid = 0x10;
    return message;
}

class BoardProcesses : public BusTest {
protected:
    std::vector<std::string> dsp(std::vector<std::string> const& more = {}) const {
        std::vector<std::string> arguments = {"dsp", "--bus", "ipc://" + directory.path()};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }
    static std::unique_ptr<BackgroundProgram> start(std::vector<std::string> const& arguments) {
        auto program = std::make_unique<BackgroundProgram>(arguments);
        program->await("serving");
        return program;
    }
    std::unique_ptr<PlayedNode> session() { return session(ipc("session")); }
    std::unique_ptr<PlayedNode> session(host::BusOptions const& options) {
        auto node = std::make_unique<PlayedNode>(loop, options);
        node->transport->attach(0x01, node->board);
        return node;
    }
    static std::vector<std::string> textsOf(std::vector<imc_msg> const& messages) {
        std::vector<std::string> texts;
        for (imc_msg const& message : messages) {
            texts.push_back(dsp::describe(message));
        }
        return texts;
    }
    /** @param from how many reports are passed over */
    bool awaitHeard(PlayedNode const& node, std::string const& begin, std::size_t from = 0) {
        return await([&] { return node.ears.hasHeardOf(begin, from); });
    }
    static std::uint64_t counterOf(BackgroundProgram& program, std::string const& of,
                                   std::string const& name) {
        for (Json const& line : program.lines("counter")) {
            if (line.at("of") == of && line.at("name") == name) {
                return line.at("count").get<std::uint64_t>();
            }
        }
        return 0;
    }
};

TEST_F(BoardProcesses, ABoardTakesCommandsAnswersAndTellsWhatItCounted) {
    auto const board = start(dsp());
    auto const node = session();
    node->transport->send(command("OpenVoice in"));
    ASSERT_TRUE(await([&] { return node->board.received.size() == 1; }));
    EXPECT_THAT(textsOf(node->board.received),
                ElementsAre("OpenVoiceAck in dsp=3 error=0 port=5000"));
    EXPECT_THAT(board->await("command").at("text").get<std::string>(),
                AllOf(StartsWith("OpenVoice in dsp=3 "), HasSubstr(" to=0x10")));
    EXPECT_EQ(board->await("event").at("text"),
              "OpenVoiceAck in dsp=3 error=0 port=5000 from=0x10");
    EXPECT_EQ(board->await("found").at("sid"), "0x01");
    board->signal(SIGTERM);
    EXPECT_EQ(board->end(), 0);
    EXPECT_EQ(board->errors(), "");
    EXPECT_EQ(counterOf(*board, "0x10", "taken: OpenVoice in"), 1U);
    EXPECT_TRUE(awaitHeard(*node, "lost 0x10 mcgw dsp with 0: "));
    EXPECT_TRUE(await([&] { return node->transport->peers().empty(); }));
}

TEST_F(BoardProcesses, ABoardAnswersAuditsAndCarriesOrdersOut) {
    auto const board = start(dsp({"--fault", "drop:audit:count=1"}));
    auto const node = session();
    // The first one is lost; the order and the answer to the second one come in their order.
    node->transport->send(dsp::encodeAuditRequest(6, 0x01, 0x10));
    node->transport->send(
        dsp::encodeOrder({dsp::Order::Kind::dtmf, 3, dsp::Direction::out, 5, 80}, 0x01, 0x10));
    node->transport->send(dsp::encodeAuditRequest(7, 0x01, 0x10));
    ASSERT_TRUE(await([&] { return node->board.received.size() == 2; }));
    EXPECT_THAT(
        textsOf(node->board.received),
        ElementsAre("Dtmf out dsp=3 digit=5 duration=80ms",
                    AllOf(StartsWith("AuditAnswer tag=7 "), HasSubstr(" channels=256 open=0"))));
    EXPECT_EQ(board->await("order").at("text"),
              "Order dtmf dsp=3 direction=out digit=5 duration=80ms to=0x10");
    EXPECT_EQ(board->await("fault").at("rule"), "drop:audit:count=1");
    board->signal(SIGTERM);
    EXPECT_EQ(board->end(), 0);
    EXPECT_EQ(counterOf(*board, "0x10", "taken: AuditRequest"), 1U);
    EXPECT_EQ(counterOf(*board, "0x10", "taken: Order"), 1U);
    EXPECT_TRUE(board->lines("command").empty());
    EXPECT_EQ(board->lines("event").size(), 1U);
}

TEST_F(BoardProcesses, EndsOnSigintAndLeavesNothingBehind) {
    auto const board = start(dsp({"--sid", "0x10", "0x11"}));
    board->signal(SIGINT);
    EXPECT_EQ(board->end(), 0);
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST_F(BoardProcesses, ASecondSignalDoesNotKillWhatEndsAlready) {
    auto const board = start(dsp());
    // Both wait when it goes on.
    board->halt();
    board->signal(SIGTERM);
    board->signal(SIGINT);
    board->signal(SIGCONT);
    EXPECT_EQ(board->end(), 0);
}

TEST_F(BoardProcesses, QuietShowsOnlyWhatWasCounted) {
    BackgroundProgram board(dsp({"--quiet"}));
    auto const node = session();
    ASSERT_TRUE(awaitHeard(*node, "found 0x10 mcgw dsp"));
    node->transport->send(command("OpenVoice in"));
    ASSERT_TRUE(await([&] { return node->board.received.size() == 1; }));
    board.signal(SIGTERM);
    EXPECT_EQ(board.end(), 0);
    EXPECT_EQ(counterOf(board, "0x10", "taken: OpenVoice in"), 1U);
    EXPECT_EQ(board.lines().size(), board.lines("counter").size());
}

TEST_F(BoardProcesses, SeveralBoardsServeTheirAddresses) {
    BackgroundProgram board(dsp({"--sid", "0x10", "0xFA", "--channels", "4"}));
    board.await("serving", [](Json const& line) { return line.at("sid") == "0xFA"; });
    auto const node = session();
    imc_msg message = command("OpenVoice in");
    node->transport->send(message);
    message.destinationSid = 0xFA;
    message.payload[0] = 4;
    node->transport->send(message);
    ASSERT_TRUE(await([&] { return node->board.received.size() == 2; }));
    EXPECT_THAT(
        textsOf(node->board.received),
        ElementsAre("OpenVoiceAck in dsp=3 error=0 port=5000", HasSubstr("dsp=4 error=1(")));
}

TEST_F(BoardProcesses, ASecondProcessForAnAddressIsRefusedNamingTheHolder) {
    auto const board = start(dsp({"--name", "lab board"}));
    ProgramRun const second = runProgram(dsp({"--sid", "0x10"}));
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.errors, "mcgw: IMC address 0x10 is served already by lab board, process " +
                                 std::to_string(board->pid()) + "\n");
}

TEST_F(BoardProcesses, AKilledBoardIsToldAtOnceAndAnotherTakesItsPlace) {
    auto board = start(dsp());
    auto const node = session();
    ASSERT_TRUE(awaitHeard(*node, "found 0x10 mcgw dsp"));
    board->signal(SIGKILL);
    EXPECT_EQ(board->end(), -SIGKILL);
    ASSERT_TRUE(awaitHeard(*node, "lost 0x10 mcgw dsp with 0: the connection broke"));
    std::string const fault =
        failureOf<std::runtime_error>([&] { node->transport->send(command("OpenVoice in")); });
    EXPECT_THAT(fault, AllOf(StartsWith("nobody serves IMC address 0x10 any more: mcgw dsp, "),
                             HasSubstr("the connection broke")));
    board = start(dsp());
    // The first send waits for the new link.
    node->transport->send(command("OpenVoice in"));
    EXPECT_TRUE(await([&] { return node->board.received.size() == 1; }));
    EXPECT_TRUE(node->ears.hasHeard("restarted 0x10 mcgw dsp"));
    EXPECT_EQ(node->counted(Cause::busPeerGone), 1U);
}

TEST_F(BoardProcesses, WhatAKilledBoardDidNotTakeIsCounted) {
    auto const board = start(dsp());
    auto const node = session();
    ASSERT_TRUE(awaitHeard(*node, "found 0x10 mcgw dsp"));
    board->halt();
    for (int i = 0; i < 9; ++i) {
        node->transport->send(command("OpenVoice in"));
    }
    board->signal(SIGKILL);
    EXPECT_TRUE(awaitHeard(*node, "lost 0x10 mcgw dsp with 9: the connection broke"));
    EXPECT_EQ(node->counted(Cause::busMessageLost), 9U);
}

TEST_F(BoardProcesses, AHaltedBoardFillsItsQueueAndGoesOnWhenItRuns) {
    auto const board = start(dsp());
    host::BusOptions options = ipc("session");
    options.window = 100;
    auto const node = session(options);
    ASSERT_TRUE(awaitHeard(*node, "found 0x10 mcgw dsp"));
    board->halt();
    std::size_t sent = 0;
    std::string const fault = failureOf<std::runtime_error>([&] {
        for (;;) {
            node->transport->send(command("OpenVoice in"));
            ++sent;
        }
    });
    EXPECT_EQ(fault, "queue to 0x10 (mcgw dsp, process " + std::to_string(board->pid()) +
                         ") is full: 100 messages not taken");
    EXPECT_EQ(sent, 100U);
    board->signal(SIGCONT);
    EXPECT_TRUE(await([&] { return node->board.received.size() == 100; }));
    EXPECT_EQ(node->counted(Cause::busMessageLost), 0U);
    EXPECT_EQ(node->counted(Cause::busWindowFull), 1U);
}

TEST_F(BoardProcesses, TwoSessionsSendToOneBoard) {
    auto const board = start(dsp());
    auto const first = session();
    PlayedNode second(loop, ipc("second"));
    second.transport->attach(0x02, second.board);
    for (std::uint8_t i = 0; i < 100; ++i) {
        imc_msg message = command("OpenVoice in");
        message.payload[0] = i;
        first->transport->send(message);
        message = command("OpenVoice out");
        message.sourceSid = 0x02;
        message.payload[0] = i;
        second.transport->send(message);
    }
    ASSERT_TRUE(await([&] {
        return first->board.received.size() == 100 && second.board.received.size() == 100;
    }));
    for (std::uint8_t i = 0; i < 100; ++i) {
        EXPECT_EQ(first->board.received[i].payload[0], i);
        EXPECT_EQ(second.board.received[i].payload[0], i);
    }
}

TEST_F(BoardProcesses, ASessionThatIsGoneDoesNotEndTheBoard) {
    auto const board = start(dsp());
    auto node = session();
    node->transport->send(command("OpenVoice in"));
    ASSERT_TRUE(await([&] { return node->board.received.size() == 1; }));
    node.reset();
    board->await("lost");
    // Its answer is for the session that is gone, whoever carries the command.
    PlayedNode other(loop, ipc("other"));
    other.transport->attach(0x02, other.board);
    other.transport->send(command("CloseVoice in"));
    EXPECT_THAT(board->await("board").at("text").get<std::string>(),
                HasSubstr("event not sent: nobody serves IMC address 0x01 any more: session, "));
    node = session();
    node->transport->send(command("OpenVoice in"));
    EXPECT_TRUE(await([&] { return node->board.received.size() == 1; }));
    EXPECT_EQ(board->await("returned").at("restarted"), true);
}

TEST_F(BoardProcesses, FaultsApplyByRuleAndAreCounted) {
    auto const board = start(dsp({"--fault", "duplicate:OpenVoiceAck", "--fault",
                                  "error:close=4:count=1", "--fault", "restart:open:after=1"}));
    auto const node = session();
    node->transport->send(command("OpenVoice in"));
    node->transport->send(command("CloseVoice in"));
    ASSERT_TRUE(await([&] { return node->board.received.size() == 3; }));
    node->transport->send(command("OpenVoice out"));
    ASSERT_TRUE(awaitHeard(*node, "restarted 0x10 mcgw dsp"));
    EXPECT_THAT(textsOf(node->board.received),
                ElementsAre("OpenVoiceAck in dsp=3 error=0 port=5000",
                            "OpenVoiceAck in dsp=3 error=0 port=5000",
                            "CloseVoiceAck in dsp=3 error=4(bad parameter) port=0"));
    board->signal(SIGTERM);
    EXPECT_EQ(board->end(), 0);
    EXPECT_EQ(counterOf(*board, "fault", "duplicate:OpenVoiceAck"), 1U);
    EXPECT_EQ(counterOf(*board, "fault", "error:close=4:count=1"), 1U);
    EXPECT_EQ(counterOf(*board, "fault", "restart:open:after=1"), 1U);
    EXPECT_EQ(board->lines("fault").size(), 3U);
}

TEST_F(BoardProcesses, OverTcpANodeIsLinkedAndAKilledOneIsTold) {
    BackgroundProgram board({"dsp", "--bus", "tcp://127.0.0.1:*"});
    std::string const endpoint = board.await("bus").at("endpoint").get<std::string>();
    board.await("serving");
    auto const node = session(tcp("session", {endpoint}));
    node->transport->send(command("OpenVoice in"));
    ASSERT_TRUE(await([&] { return node->board.received.size() == 1; }));
    // The board's word that it took the command travels apart from its answer.
    ASSERT_TRUE(await([&] { return node->transport->peers().at(0).untaken == 0; }));
    board.signal(SIGKILL);
    EXPECT_TRUE(awaitHeard(*node, "lost 0x10 mcgw dsp with 0: the connection broke"));
}

TEST_F(BoardProcesses, OverTcpASecondProcessForAnAddressIsRefused) {
    BackgroundProgram board({"dsp", "--bus", "tcp://127.0.0.1:*"});
    std::string const endpoint = board.await("bus").at("endpoint").get<std::string>();
    board.await("serving");
    ProgramRun const second = runProgram({"dsp", "--bus", "tcp://127.0.0.1:*", "--peer", endpoint});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.errors, "mcgw: IMC address 0x10 is served already by mcgw dsp, process " +
                                 std::to_string(board.pid()) + "\n");
}

TEST_F(BoardProcesses, OverTcpAProcessThatLosesAllItsAddressesEnds) {
    HeldPort const port;
    BackgroundProgram first({"dsp", "--bus", "tcp://127.0.0.1:*", "--peer", port.endpoint});
    first.await("serving");
    // It knows of nobody; the first one finds it.
    BackgroundProgram second({"dsp", "--bus", port.endpoint});
    second.await("serving");
    EXPECT_EQ(second.end(), 1);
    EXPECT_EQ(second.lines("conflict").size(), 1U);
    EXPECT_EQ(counterOf(second, "process", "bus.claim_conflict"), 1U);
    first.signal(SIGTERM);
    EXPECT_EQ(first.end(), 0);
}

TEST_F(BoardProcesses, OverTcpAHaltedNodeIsToldWhenItIsSilentForTooLong) {
    BackgroundProgram board({"dsp", "--bus", "tcp://127.0.0.1:*"});
    std::string const endpoint = board.await("bus").at("endpoint").get<std::string>();
    host::BusOptions options = tcp("session", {endpoint});
    options.heartbeat = std::chrono::milliseconds(500);
    auto const node = session(options);
    ASSERT_TRUE(awaitHeard(*node, "found 0x10 mcgw dsp"));
    board.halt();
    std::size_t const halted = node->ears.heard.size();
    ASSERT_TRUE(awaitHeard(*node, "lost 0x10 mcgw dsp with 0: the connection broke", halted));
    board.signal(SIGCONT);
    EXPECT_TRUE(awaitHeard(*node, "returned 0x10 mcgw dsp", halted));
}

TEST_F(BoardProcesses, OverTcpWithKeysThatTheProgramMade) {
    std::string const boards = directory.path() + "/board";
    std::string const sessions = directory.path() + "/session";
    EXPECT_THAT(runProgram({"keys", boards}).output, StartsWith("public key: "));
    EXPECT_EQ(runProgram({"keys", sessions}).status, 0);
    ProgramRun const again = runProgram({"keys", sessions});
    EXPECT_EQ(again.status, 1);
    EXPECT_EQ(again.errors, "mcgw: can't make " + sessions + "/secret.key: File exists\n");
    std::filesystem::copy_file(boards + "/public.key", sessions + "/peers/board.pub");
    std::filesystem::copy_file(sessions + "/public.key", boards + "/peers/session.pub");
    BackgroundProgram board({"dsp", "--bus", "tcp://*:*", "--keys", boards});
    std::string const endpoint = board.await("bus").at("endpoint").get<std::string>();
    board.await("serving");
    host::BusOptions options =
        tcp("session", {"tcp://127.0.0.1" + endpoint.substr(endpoint.rfind(':'))});
    options.keys = sessions;
    auto const node = session(options);
    node->transport->send(command("OpenVoice in"));
    EXPECT_TRUE(await([&] { return node->board.received.size() == 1; }));
}

TEST_F(BoardProcesses, ABadCommandLineIsRefusedWithWhatIsExpected) {
    auto const faultOf = [](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "dsp");
        ProgramRun const run = runProgram(arguments);
        EXPECT_EQ(run.status, 2);
        return run.errors + run.output;
    };
    EXPECT_THAT(faultOf({"--fault", "dorp:open"}),
                HasSubstr("mcgw: bad fault \"dorp:open\": unknown action \"dorp\": expected one"));
    EXPECT_THAT(faultOf({"--bus", "bus"}),
                HasSubstr("expected ipc://DIRECTORY or tcp://HOST:PORT"));
    EXPECT_THAT(faultOf({"--bus", "tcp://0.0.0.0:*"}), HasSubstr("needs keys"));
    EXPECT_THAT(faultOf({"--sid", "256"}), HasSubstr("256"));
    EXPECT_THAT(faultOf({"--channels", "0"}), HasSubstr("0"));
    EXPECT_THAT(faultOf({"--name", ""}), HasSubstr("1 to 64 printable characters"));
}

TEST_F(BoardProcesses, ABusThatCantBeJoinedIsRefused) {
    std::filesystem::permissions(directory.path(), std::filesystem::perms::all);
    ProgramRun const run = runProgram(dsp());
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "mcgw: others may enter the bus directory " + directory.path() +
                              ": its mode has to be 0700\n");
}

TEST_F(BoardProcesses, HelpNamesTheFaults) {
    ProgramRun const run = runProgram({"dsp", "--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, AllOf(HasSubstr("drop:open:every=10"), HasSubstr("Exit status: 0")));
}

} // namespace
