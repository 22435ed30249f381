// What goes wrong on a bus of processes: they are killed, halted, sent nonsense, answered wrongly.
// After each fault the others go on, and the books of all of them agree.

#include "tests/system/Program.h"
#include "tests/system/SessionFixture.h"
#include "tests/unit/bus/BusFixture.h"

#include "dsp/Service.h"
#include "gateway/control/Socket.h"
#include "host/bus/Frame.h"

#include <gmock/gmock.h>

#include <sys/socket.h>
#include <unistd.h>

#include <zmq.hpp>

#include <iomanip>
#include <random>
#include <sstream>
#include <thread>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

/** An opening that a board takes in either direction. */
std::string opening(std::string const& name, std::string const& sid, int dsp,
                    std::string const& direction) {
    return "session open " + name + " board=" + sid + " dsp=" + std::to_string(dsp) +
           " direction=" + direction +
           " codec=1 minFraming=20 maxFraming=20 rtpRemote=10.0.9.1:4000";
}

/** Where no acknowledgement is late and no audit comes by itself. */
Words const calm = {"--audit", "0", "--ack-deadline", "3600000", "--half-open", "3600000"};

Words operator+(Words first, Words const& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/** A process that serves an address of its own, and asks a board what it has open. */
class Inspector {
public:
    explicit Inspector(std::string const& directory) : node(loop, optionsFor(directory)) {
        node.transport->attach(0xEE, node.board);
    }

    /** What the board has: "1 in: voice 3 out: voice fax joined", whoever opened it. */
    std::string openOn(unsigned char sid) {
        std::size_t const before = node.board.received.size();
        node.transport->send(dsp::encodeAuditRequest(++tag, 0xEE, sid));
        auto const end = host::Dispatcher::Clock::now() + controlPatience;
        while (node.board.received.size() == before && host::Dispatcher::Clock::now() < end) {
            loop.runUntil([&] { return node.board.received.size() > before; },
                          std::chrono::milliseconds(50));
        }
        auto const answer = dsp::decodeAuditAnswer(node.board.received.at(before));
        if (!answer || answer->tag != tag) {
            return "no answer to the audit";
        }
        std::string text;
        for (std::size_t i = 0; i < answer->in.size(); ++i) {
            text += textOf(std::to_string(i) + " in:", answer->in[i]);
            text += textOf(std::to_string(i) + " out:", answer->out[i]);
        }
        return text;
    }

private:
    static host::BusOptions optionsFor(std::string const& directory) {
        host::BusOptions options;
        options.url = "ipc://" + directory;
        options.name = "inspector";
        options.linkWait = controlPatience;
        return options;
    }
    static std::string textOf(std::string const& path, dsp::PathState const& state) {
        std::string const what = std::string(state.voiceOpen ? " voice" : "") +
                                 (state.faxOpen ? " fax" : "") + (state.joined ? " joined" : "");
        return what.empty() ? "" : path + what + " ";
    }

    host::Dispatcher loop;
    PlayedNode node;
    std::uint32_t tag = 0;
};

class Faults : public Sessions {
protected:
    /** Asks until the board is as the sessions have it, and the session has no orphan there. */
    static void awaitAudit(Operator& person, std::string const& sid, std::string const& outcome) {
        std::string const wanted = "board " + sid + ": " + outcome + ", 0 missing, 0 orphans";
        EXPECT_EQ(audited(person, sid, wanted), wanted);
    }

    /** Ends a session. @return what it counted, each request decided once */
    Counts const& ended(BackgroundProgram& session) {
        Counts const& counts = countsOf[&session] = counted(session);
        expectSettled(session, counts);
        books.sent += session.lines("command").size();
        books.arrived +=
            sumOf(counts, {"session.ack_in_time", "session.ack_late", "session.ack_duplicate",
                           "session.ack_unexpected", "session.ack_malformed"});
        books.lostOnTheWay += count(counts, "bus.message_lost");
        return counts;
    }

    /**
     * Ends all that still run, and they end well; nothing is open on any board, and nothing was
     * lost uncounted, by sessions that were ended or killed before either.
     * @param injected acknowledgements that no board sent
     */
    void expectAllWell(std::vector<BackgroundProgram*> const& sessions,
                       std::vector<BackgroundProgram*> const& boards, std::uint64_t injected = 0) {
        for (BackgroundProgram* const session : sessions) {
            ended(*session);
        }
        expectNothingOpen(boards);
        for (BackgroundProgram* const board : boards) {
            countsOf[board] = counted(*board);
            books.lostOnTheWayBack += count(countsOf[board], "bus.message_lost");
            enterBoard(*board);
        }
        for (Program const& killed : killedOnes) {
            if (isSession(*killed)) {
                books.sent += killed->lines("command").size();
                books.arrived += linesOf(*killed, "callback", {"ackEvent", "ackErrorEvent"});
            } else {
                enterBoard(*killed);
            }
        }
        expectBalanced(injected);
    }

    std::string bus() const { return "ipc://" + directory.path(); }

    static bool isSession(BackgroundProgram& program) { return !program.lines("control").empty(); }

    /** Of each program that was ended. */
    std::map<BackgroundProgram*, Counts> countsOf;
    /** Commands of killed sessions that never reached a board. */
    std::uint64_t diedUnderWay = 0;

private:
    /** Commands, and the acknowledgements that they got. */
    struct Books {
        std::uint64_t sent = 0;
        std::uint64_t taken = 0;
        std::uint64_t lostOnTheWay = 0;
        std::uint64_t acknowledged = 0;
        std::uint64_t arrived = 0;
        std::uint64_t lostOnTheWayBack = 0;
    };

    void enterBoard(BackgroundProgram& board) {
        books.taken += board.lines("command").size();
        bool isAcknowledgement = false;
        for (Json const& line : board.lines()) {
            if (line.at("type") == "event") {
                std::string const name = line.at("name");
                isAcknowledgement = name.find("Ack ") != std::string::npos;
                books.acknowledged += isAcknowledgement ? 1U : 0U;
            } else if (line.at("type") == "board" &&
                       line.at("text").get<std::string>().rfind("event not sent", 0) == 0) {
                // It is about the event before it.
                books.acknowledged -= isAcknowledgement ? 1U : 0U;
            }
        }
    }

    void expectNothingOpen(std::vector<BackgroundProgram*> const& boards) const {
        Inspector inspector(directory.path());
        for (BackgroundProgram* const board : boards) {
            for (Json const& line : board->lines("serving")) {
                std::string const sid = line.at("sid");
                auto const number = static_cast<unsigned char>(std::stoul(sid, nullptr, 16));
                EXPECT_EQ(inspector.openOn(number), "") << sid;
            }
        }
    }

    /**
     * What was lost is counted as an upper bound. A killed process counts nothing, and of the one
     * message that it had in its hands it may not have written; what a killed board had sent may
     * have died with it.
     */
    void expectBalanced(std::uint64_t injected) const {
        std::uint64_t const inHands = killedOnes.size();
        bool const isBoardKilled =
            std::any_of(killedOnes.begin(), killedOnes.end(),
                        [](Program const& program) { return !isSession(*program); });
        EXPECT_LE(books.taken, books.sent + inHands);
        EXPECT_GE(books.taken + books.lostOnTheWay + diedUnderWay + inHands, books.sent);
        EXPECT_LE(books.arrived, books.acknowledged + injected);
        if (!isBoardKilled) {
            EXPECT_GE(books.arrived + books.lostOnTheWayBack + inHands,
                      books.acknowledged + injected);
        }
    }

    Books books;
};

/* A board process is killed */

struct Phase {
    char const* name;
    /** Of the board that is killed. */
    Words board;
    /** What happens before, and what it is in the middle of. */
    Words before;
    std::string line;
    /** The command that it has to have taken; none: it is halted, and takes nothing. */
    std::string taken;
    /** Channels that are open again afterwards, where that is wanted. */
    Words reopened;
};

std::string const openA = opening("a", "0x10", 3, "in");
std::string const openB = opening("b", "0x10", 4, "out");
std::string const never = ":ms=3600000";

void PrintTo(Phase const& phase, std::ostream* out) {
    *out << phase.name;
}

Phase const phases[] = {
    {"BeforeTheOpening", {}, {}, "", "", {}},
    {"OpeningSent", {"--ack-delay", "3600000"}, {}, openA, "OpenVoice in", {"a"}},
    {"Open", {}, {openA, openB}, "", "", {"a", "b"}},
    {"Update", {}, {openA}, "session update a codec=2", "", {"a"}},
    {"FaxOpening",
     {"--fault", "delay:OpenFaxAck" + never},
     {openA},
     "session fax a",
     "OpenFax in",
     {"a"}},
    {"FaxOpen", {}, {openA, openB, "session fax b"}, "", "", {"a", "b"}},
    {"Joined", {}, {openA, openB, "session join a joinIp=10.0.0.16 joinDsp=4"}, "", "", {"a", "b"}},
    {"Unjoining",
     {},
     {openA, openB, "session join a joinIp=10.0.0.16 joinDsp=4"},
     "session unjoin a",
     "",
     {"a", "b"}},
    {"Closing",
     {"--fault", "delay:CloseVoiceAck" + never},
     {openA, openB},
     "session close a",
     "CloseVoice in",
     {"b"}},
    {"ClosingFax",
     {"--fault", "delay:CloseFaxAck" + never},
     {openA, "session fax a"},
     "session close a",
     "CloseFax in",
     {}},
};

class KilledBoards : public Faults,
                     public testing::WithParamInterface<std::tuple<Phase, std::string>> {
protected:
    Phase const& phase() const { return std::get<0>(GetParam()); }
    bool isReopening() const { return std::get<1>(GetParam()) == "reopen"; }

    /** Kills the board in the middle of the phase. @return what became of the line */
    Said killWithin(Program& dsp, Operator& person) {
        if (phase().line.empty()) {
            kill(dsp);
            return {};
        }
        if (phase().taken.empty()) {
            dsp->halt();
            Said const said = person.say(phase().line);
            kill(dsp);
            return said;
        }
        auto const request = person.type(phase().line);
        dsp->await("command", [&](Json const& line) { return line.at("name") == phase().taken; });
        kill(dsp);
        return person.await(request);
    }
    static void sayAll(Operator& person, Words const& lines) {
        for (std::string const& line : lines) {
            EXPECT_EQ(person.say(line).error, "") << line;
        }
    }
};

TEST_P(KilledBoards, StartAgainAsNewAndDisturbNobody) {
    auto const bystander = board({"--sid", "0x11"});
    Program dsp = board(phase().board);
    auto const program = session(calm + Words{"--on-restart", std::get<1>(GetParam())});
    awaitText(*program, "found", "0x10 ");
    awaitText(*program, "found", "0x11 ");
    Operator person(control());
    sayAll(person, {opening("other", "0x11", 3, "in")});
    sayAll(person, phase().before);
    EXPECT_THAT(killWithin(dsp, person).error,
                HasSubstr(phase().taken.empty() ? "" : "lost with its board"));
    program->await("lost");
    EXPECT_EQ(person.say(opening("z", "0x10", 9, "in")).error, "board 0x10 is gone");
    dsp = board();
    program->await("returned");
    std::size_t const open = isReopening() ? phase().reopened.size() : 0;
    awaitAudit(person, "0x10", std::to_string(open) + " open, 0 of others");
    awaitAudit(person, "0x11", "1 open, 0 of others");
    for (std::size_t i = 0; i < open; ++i) {
        EXPECT_EQ(person.say("session close " + phase().reopened[i]).error, "");
    }
    sayAll(person, {openA, openB, "session fax a", "session close a", "session close b",
                    "session close other"});
    EXPECT_EQ(person.say("session records").answer, "no channel");
    expectAllWell({program.get()}, {dsp.get(), bystander.get()});
    Counts const& counts = countsOf[program.get()];
    EXPECT_EQ(count(counts, "session.board_lost"), 1U);
    EXPECT_EQ(count(counts, "session.board_restarted"), 1U);
    EXPECT_EQ(count(counts, "session.ack_lost") > 0, !phase().taken.empty());
}

INSTANTIATE_TEST_SUITE_P(InEachPhase, KilledBoards,
                         testing::Combine(testing::ValuesIn(phases),
                                          testing::Values(std::string("close"),
                                                          std::string("reopen"))),
                         [](auto const& each) {
                             return std::string(std::get<0>(each.param).name) + "_" +
                                    std::get<1>(each.param);
                         });

/* A session is killed */

class KilledSessions : public Faults {
protected:
    /** Voice, fax, both directions, joined: six channels on each of three boards. */
    static Words everything() {
        Words lines;
        for (std::string const sid : {"0x10", "0x11", "0x12"}) {
            std::string const on = "-" + sid;
            lines = lines + Words{opening("in" + on, sid, 1, "in"),
                                  opening("out" + on, sid, 1, "out"),
                                  opening("fax" + on, sid, 2, "in"),
                                  opening("faxout" + on, sid, 2, "out"),
                                  "session fax fax" + on,
                                  "session fax faxout" + on,
                                  opening("left" + on, sid, 3, "in"),
                                  opening("right" + on, sid, 4, "out"),
                                  "session join left" + on + " joinDsp=4 joinIp=10.0.0." +
                                      std::to_string(std::stoi(sid, nullptr, 16))};
        }
        return lines;
    }
    static void awaitNothingOpen(Operator& person) {
        for (std::string const sid : {"0x10", "0x11", "0x12"}) {
            awaitAudit(person, sid, "0 open, 0 of others");
        }
    }
    static void awaitBoards(BackgroundProgram& program) {
        for (std::string const sid : {"0x10 ", "0x11 ", "0x12 "}) {
            awaitText(program, "found", sid);
        }
    }
    /** All of it, on boards that are as new. */
    static void expectEverythingOpens(Operator& person) {
        for (std::string const& line : everything()) {
            EXPECT_EQ(person.say(line).error, "") << line;
        }
        for (std::string const sid : {"0x10", "0x11", "0x12"}) {
            awaitAudit(person, sid, "6 open, 0 of others");
        }
    }

    /** When the boards have seen all of them go, what they sent has been taken, or never will be.
     */
    void closeTheBooksOfKilledOnes() {
        std::uint64_t sent = 0;
        for (Program const& killed : killedOnes) {
            sent += killed->lines("command").size();
        }
        std::uint64_t taken = 0;
        for (BackgroundProgram* const board : {first.get(), second.get()}) {
            EXPECT_TRUE(
                awaitThat([&] { return board->lines("lost").size() == killedOnes.size(); }));
            taken += board->lines("command").size();
        }
        EXPECT_LE(taken, sent + killedOnes.size());
        diedUnderWay = sent > taken ? sent - taken : 0;
    }

    Program const first = board({"--sid", "0x10", "0x11"});
    Program const second = board({"--sid", "0x12"});
};

TEST_F(KilledSessions, LeaveNothingBehindOnTheirBoards) {
    Program program = session();
    awaitBoards(*program);
    {
        Operator person(control());
        expectEverythingOpens(person);
    }
    kill(program);
    program = session({"--audit", "100"});
    awaitBoards(*program);
    Operator person(control());
    awaitNothingOpen(person);
    EXPECT_EQ(person.say("session records").answer, "no channel");
    expectEverythingOpens(person);
    Counts const& counts = ended(*program);
    EXPECT_EQ(count(counts, "session.audit_orphan"), 18U);
    EXPECT_EQ(count(counts, "session.orphan_closed"), 18U);
    EXPECT_EQ(count(counts, "session.ack_orphan"), 24U);
    EXPECT_EQ(count(counts, "session.ack_error"), 0U);
    expectAllWell({}, {first.get(), second.get()});
}

TEST_F(KilledSessions, LeaveNothingBehindWhereverTheyWere) {
    Program program;
    for (std::size_t const reached : {0U, 1U, 4U, 11U, 26U}) {
        program = session({"--audit", "100"});
        awaitBoards(*program);
        Operator person(control());
        awaitNothingOpen(person);
        std::vector<std::uint64_t> requests;
        for (std::string const& line : everything()) {
            requests.push_back(person.type(line));
        }
        person.await(requests[reached]);
        kill(program);
    }
    closeTheBooksOfKilledOnes();
    program = session({"--audit", "100"});
    awaitBoards(*program);
    Operator person(control());
    awaitNothingOpen(person);
    EXPECT_EQ(person.say("session records").answer, "no channel");
    expectEverythingOpens(person);
    Counts const& counts = ended(*program);
    EXPECT_EQ(count(counts, "session.ack_error"), 0U);
    expectAllWell({}, {first.get(), second.get()});
}

/* A queue is full */

TEST_F(Faults, AFullQueueIsRefusedInWordsAndCountedAndGoesOn) {
    auto const dsp = board();
    auto const program = session(calm);
    program->await("found");
    Operator person(control());
    EXPECT_EQ(person.say(openA).error, "");
    EXPECT_EQ(person.say(openB).error, "");
    dsp->halt();
    EXPECT_EQ(fillQueue(person, "a"),
              "a was not updated: board 0x10 dsp 3 in can't be reached, see the report for "
              "why");
    std::string const words = "queue to 0x10 (mcgw dsp, process " + std::to_string(dsp->pid()) +
                              ") is full: 4096 messages not taken";
    awaitText(*program, "error", words);
    EXPECT_THAT(person.say(opening("c", "0x10", 5, "in")).error, HasSubstr("can't be reached"));
    EXPECT_EQ(person.say("session audit 0x10").answer, "board 0x10: can't be asked");
    // The library takes it off its list, so that the board has to be told later.
    EXPECT_EQ(person.say("session close b").error, "");
    EXPECT_THAT(person.say("session counters").answer, HasSubstr("bus.window_full"));
    EXPECT_THAT(person.say("session records").answer, HasSubstr("a "));
    dsp->signal(SIGCONT);
    awaitAudit(person, "0x10", "1 open, 0 of others");
    EXPECT_EQ(person.say("session update a codec=2").error, "");
    EXPECT_EQ(person.say(openB).error, "");
    EXPECT_EQ(person.say(opening("c", "0x10", 5, "in")).error, "");
    expectAllWell({program.get()}, {dsp.get()});
}

TEST_F(Faults, ASessionEndsWhileAQueueIsFull) {
    Program dsp = board();
    auto const program = session({"--audit", "0", "--ack-deadline", "300"});
    program->await("found");
    Operator person(control());
    EXPECT_EQ(person.say(openA).error, "");
    dsp->halt();
    EXPECT_THAT(fillQueue(person, "a"), HasSubstr("can't be reached"));
    Counts const& counts = ended(*program);
    EXPECT_GT(count(counts, "bus.window_full"), 0U);
    EXPECT_GE(count(counts, "bus.message_lost"), 1U);
    dsp->signal(SIGCONT);
    auto const next = session({"--audit", "100"});
    next->await("found");
    Operator other(control());
    awaitAudit(other, "0x10", "0 open, 0 of others");
    expectAllWell({next.get()}, {dsp.get()});
}

TEST_F(Faults, ASessionThatTakesNothingDisturbsNobodyAndMissesNothingUncounted) {
    constexpr std::uint64_t tones = 4200;
    auto const dsp = board();
    auto const halted = session();
    auto const program = session({"--sid", "0x02", "--audit", "0"});
    awaitText(*halted, "found", "0x10 ");
    awaitText(*program, "found", "0x10 ");
    Operator other(directory.path() + "/session-02.control");
    EXPECT_EQ(other.say(opening("b", "0x10", 3, "out")).error, "");
    // Its command is the last one: the events are for it.
    EXPECT_EQ(Operator(control()).say(openA).error, "");
    halted->halt();
    for (std::uint64_t i = 1; i < tones; ++i) {
        other.type("session faxtone b");
    }
    EXPECT_EQ(other.say("session faxtone b").error, "");
    awaitAudit(other, "0x10", "1 open, 1 of others");
    auto const refused = awaitText(*dsp, "board", "event not sent: queue to 0x01 (mcgw session");
    EXPECT_THAT(refused.at("text").get<std::string>(),
                HasSubstr("is full: 4096 messages not taken"));
    halted->signal(SIGCONT);
    auto const arrived = [&] { return linesOf(*halted, "callback", {"faxToneEvent"}); };
    EXPECT_TRUE(awaitThat([&] { return arrived() + dsp->lines("board").size() >= tones; }));
    EXPECT_EQ(other.say("session close b").error, "");
    expectAllWell({halted.get(), program.get()}, {dsp.get()});
    EXPECT_EQ(arrived() + dsp->lines("board").size(), tones);
    EXPECT_EQ(count(countsOf[dsp.get()], "bus.window_full"), dsp->lines("board").size());
}

/* A board acknowledges wrongly */

TEST_F(Faults, ABoardThatNeverAcknowledges) {
    auto const dsp = board({"--fault", "drop:ack"});
    auto const program = session({"--audit", "0", "--ack-deadline", "100", "--half-open", "100"});
    program->await("found");
    Operator person(control());
    for (std::string const& line : {openA, openB}) {
        EXPECT_THAT(person.say(line).error, HasSubstr("not acknowledged within 100 ms"));
    }
    awaitText(*program, "half-open", "a was half-open for 100 ms, and is closed");
    awaitText(*program, "half-open", "b was half-open for 100 ms, and is closed");
    awaitAudit(person, "0x10", "0 open, 0 of others");
    // Left as it is: its opening and its closing are unanswered when the session ends.
    person.type(openA);
    awaitText(*program, "opened", "a on board 0x10 dsp 3 in");
    expectAllWell({program.get()}, {dsp.get()});
}

TEST_F(Faults, ABoardThatAcknowledgesTwice) {
    auto const dsp = board({"--fault", "duplicate:ack"});
    auto const program = session();
    program->await("found");
    Operator person(control());
    for (std::string const& line :
         {openA, std::string("session fax a"), std::string("session update a codec=2"), openB,
          std::string("session close a"), openA}) {
        EXPECT_EQ(person.say(line).error, "") << line;
    }
    awaitAudit(person, "0x10", "2 open, 0 of others");
    expectAllWell({program.get()}, {dsp.get()});
}

TEST_F(Faults, ABoardThatAcknowledgesLateOrWhenTheChannelIsClosed) {
    auto const dsp = board();
    auto const program =
        session({"--audit", "0", "--ack-deadline", "200", "--half-open", "3600000"});
    program->await("found");
    Operator person(control());
    dsp->halt();
    for (std::string const& line : {openA, openB}) {
        EXPECT_THAT(person.say(line).error, HasSubstr("not acknowledged"));
    }
    EXPECT_THAT(person.say("session close b").error, HasSubstr("not acknowledged"));
    dsp->signal(SIGCONT);
    awaitText(*program, "healed", "a: voice open");
    awaitText(*program, "unexpected", "OpenVoice out of board 0x10 dsp 4: acknowledged, and not");
    awaitAudit(person, "0x10", "1 open, 0 of others");
    EXPECT_EQ(person.say(openB).error, "");
    expectAllWell({program.get()}, {dsp.get()});
}

TEST_F(Faults, AcknowledgementsOvertakeEachOther) {
    auto const dsp = board({"--fault", "delay:OpenVoiceAck:ms=100:every=2"});
    auto const program = session(calm);
    program->await("found");
    Operator person(control());
    for (int i = 0; i < 5; ++i) {
        auto const open = person.type(openA);
        person.type("session close a");
        person.await(open);
        EXPECT_EQ(recorded(person, "no channel"), "no channel");
    }
    awaitAudit(person, "0x10", "0 open, 0 of others");
    expectAllWell({program.get()}, {dsp.get()});
}

TEST_F(Faults, EventsThatNobodyAskedFor) {
    auto const dsp = board();
    auto const program = session();
    program->await("found");
    Operator person(control());
    EXPECT_EQ(person.say(openA).error, "");
    EXPECT_EQ(person.say(openB).error, "");
    EXPECT_EQ(person.say("session close b").error, "");
    ProgramRun const fromTheBoard = runProgram(
        {"inject", "--bus", bus(), "--to", "0x01", "--from", "0x10",
         "OpenVoiceAck out dsp=4 port=5000", "OpenVoiceAck in dsp=3 error=2 port=0",
         "CloseVoiceAck in dsp=3", "OpenFaxAck in dsp=3 port=6000", "CloseFaxAck out dsp=200",
         "Dtmf out dsp=4 digit=5 duration=80", "FaxTone dsp=77", "Alert in dsp=200 value=1"});
    EXPECT_EQ(fromTheBoard.status, 0) << fromTheBoard.output << fromTheBoard.errors;
    ProgramRun const fromElsewhere =
        runProgram({"inject", "--bus", bus(), "--to", "0x01", "--from", "0x77",
                    "OpenVoiceAck in dsp=3 port=5000", "CloseVoiceAck in dsp=3",
                    "OpenFaxAck out dsp=3 error=9", "Dtmf in dsp=3 digit=5 duration=80"});
    EXPECT_EQ(fromElsewhere.status, 0) << fromElsewhere.output << fromElsewhere.errors;
    EXPECT_THAT(person.say("session records").answer, HasSubstr("voice open"));
    awaitAudit(person, "0x10", "1 open, 0 of others");
    EXPECT_EQ(person.say("session close a").error, "");
    expectAllWell({program.get()}, {dsp.get()}, 8);
}

/** Bytes of a message from the board to the session, as `mcgw inject` takes them. */
std::string rawMessage(unsigned identifier, std::size_t length, std::mt19937& random) {
    std::ostringstream text;
    text << "raw 00100100" << std::hex << std::uppercase << std::setfill('0') << std::setw(4)
         << length << "0000" << std::setw(8) << identifier;
    for (int i = 0; i < 36; ++i) {
        text << std::setw(2) << (random() & 0xFFU);
    }
    return text.str() + "\n";
}

TEST_F(Faults, EventsOfEveryLengthAndMeaning) {
    std::vector<unsigned> const acknowledgements = {101, 103, 105, 107, 116, 118, 120, 122};
    auto const dsp = board();
    auto const program = session();
    program->await("found");
    Operator person(control());
    EXPECT_EQ(person.say(openA).error, "");
    std::string events;
    std::mt19937 random(11);
    std::uint64_t injected = 0;
    for (std::size_t length = 0; length <= 1100; ++length) {
        unsigned const identifier = 100 + static_cast<unsigned>(random() % 25);
        events += rawMessage(identifier, length, random);
        injected += static_cast<std::uint64_t>(
            std::count(acknowledgements.begin(), acknowledgements.end(), identifier));
    }
    TemporaryFile const file("events", events);
    ProgramRun const run = runProgram({"inject", "--bus", bus(), "--file", file.path()});
    EXPECT_EQ(run.status, 0) << run.errors;
    awaitAudit(person, "0x10", "1 open, 0 of others");
    EXPECT_EQ(person.say(openB).error, "");
    EXPECT_EQ(person.say("session close a").error, "");
    expectAllWell({program.get()}, {dsp.get()}, injected);
}

/* Garbage on the sockets */

/** 0 to 1100 bytes, and about as many as a frame may have. */
std::vector<std::size_t> const garbageSizes = [] {
    std::vector<std::size_t> sizes;
    for (std::size_t size = 0; size <= 1100; ++size) {
        sizes.push_back(size);
    }
    sizes.insert(sizes.end(), {65535, 65536, 70000});
    return sizes;
}();

/** A process that talks as processes on the bus do, but not of the same things. */
class Stranger {
public:
    explicit Stranger(std::string const& endpoint) {
        socket.set(zmq::sockopt::linger, 0);
        socket.set(zmq::sockopt::sndhwm, 0);
        socket.set(zmq::sockopt::rcvtimeo,
                   static_cast<int>(std::chrono::milliseconds(controlPatience).count()));
        zmq_socket_monitor(socket.handle(), "inproc://ends", ZMQ_EVENT_DISCONNECTED);
        ends.connect("inproc://ends");
        ends.set(zmq::sockopt::rcvtimeo,
                 static_cast<int>(std::chrono::milliseconds(controlPatience).count()));
        socket.connect(endpoint);
    }
    void send(host::FrameBytes const& bytes) {
        socket.send(zmq::buffer(bytes), zmq::send_flags::none);
    }
    /** Says a hello of another version: its answer comes behind all that was sent before. */
    bool isAnswered() {
        host::BusNode self;
        self.instance = 77;
        self.name = "stranger";
        host::FrameBytes hello = host::encodeFrame({0, host::HelloFrame{self}});
        hello[4] = 2;
        send(hello);
        zmq::message_t answer;
        return socket.recv(answer, zmq::recv_flags::none).has_value();
    }
    bool isCutOff() {
        zmq::message_t event;
        return ends.recv(event, zmq::recv_flags::none).has_value();
    }

private:
    zmq::context_t context;
    zmq::socket_t socket{context, zmq::socket_type::dealer};
    zmq::socket_t ends{context, zmq::socket_type::pair};
};

class Garbage : public Faults {
protected:
    host::FrameBytes garbage(std::size_t size) {
        host::FrameBytes bytes(size);
        for (unsigned char& each : bytes) {
            each = static_cast<unsigned char>(random());
        }
        return bytes;
    }
    static std::unique_ptr<gateway::OwnedSocket> connected(std::string const& path) {
        auto raw =
            std::make_unique<gateway::OwnedSocket>(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        gateway::SocketPath const address(path);
        if (connect(raw->get(), address.get(), gateway::SocketPath::size) != 0) {
            throw std::runtime_error("nobody listens at " + path);
        }
        return raw;
    }
    /** As much as the other side takes before it has had enough. */
    static void sendAll(int socket, host::FrameBytes const& bytes) {
        std::size_t sent = 0;
        while (sent < bytes.size()) {
            ssize_t const count =
                ::send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (count <= 0) {
                return;
            }
            sent += static_cast<std::size_t>(count);
        }
    }
    /** Reads until the other side ends the connection. */
    static void awaitEnd(int socket) {
        char buffer[4096];
        while (recv(socket, buffer, sizeof buffer, 0) > 0) {
        }
    }
    static std::string endpointOf(BackgroundProgram& program) {
        return program.await("bus").at("endpoint");
    }
    static void expectServed(Operator& person) {
        for (std::string const& line :
             {openA, openB, std::string("session fax a"), std::string("session close a")}) {
            EXPECT_EQ(person.say(line).error, "") << line;
        }
    }

    std::mt19937 random{7};
    Program const dsp = board();
    Program const program = session();
};

TEST_F(Garbage, InFramesIsCountedAndEndsNothing) {
    program->await("found");
    Operator person(control());
    for (BackgroundProgram* const each : {dsp.get(), program.get()}) {
        Stranger stranger(endpointOf(*each));
        for (std::size_t const size : garbageSizes) {
            if (size <= 65536) {
                stranger.send(garbage(size));
            }
        }
        EXPECT_TRUE(stranger.isAnswered());
        stranger.send(garbage(70000));
        EXPECT_TRUE(stranger.isCutOff());
        expectServed(person);
        EXPECT_EQ(person.say("session close b").error, "");
    }
    // All but the one that is too long, and the hello.
    EXPECT_THAT(person.say("session counters").answer, HasSubstr("bus.bad_frame"));
    expectAllWell({program.get()}, {dsp.get()});
    EXPECT_EQ(count(countsOf[program.get()], "bus.bad_frame"), garbageSizes.size());
    EXPECT_EQ(count(countsOf[dsp.get()], "bus.bad_frame"), garbageSizes.size());
}

TEST_F(Garbage, OnTheBusSocketIsCountedAndEndsNothing) {
    program->await("found");
    Operator person(control());
    std::vector<std::unique_ptr<gateway::OwnedSocket>> silent;
    for (BackgroundProgram* const each : {dsp.get(), program.get()}) {
        std::string const path = endpointOf(*each).substr(6);
        for (std::size_t const size : garbageSizes) {
            sendAll(connected(path)->get(), garbage(size));
        }
        // Those that begin as others do, and those that say nothing for ever.
        for (std::size_t size = 1; size <= 64; ++size) {
            host::FrameBytes bytes = garbage(size);
            bytes[0] = 0xFF;
            if (size > 9) {
                bytes[9] = 0x7F;
            }
            sendAll(connected(path)->get(), bytes);
        }
        for (int i = 0; i < 10; ++i) {
            silent.push_back(connected(path));
        }
        // It is taken behind all of those.
        EXPECT_TRUE(Stranger(endpointOf(*each)).isAnswered());
        expectServed(person);
        EXPECT_EQ(person.say("session close b").error, "");
    }
    expectAllWell({program.get()}, {dsp.get()});
    // Each but the shortest, of which more might come.
    for (BackgroundProgram* const each : {dsp.get(), program.get()}) {
        EXPECT_GT(count(countsOf[each], "bus.handshake_failed"), 1000U);
    }
}

TEST_F(Garbage, OnTheControlSocketIsCountedAndEndsNothing) {
    program->await("found");
    Operator person(control());
    for (std::size_t const size : garbageSizes) {
        host::FrameBytes bytes = garbage(size);
        std::replace(bytes.begin(), bytes.end(), static_cast<unsigned char>('\n'),
                     static_cast<unsigned char>(' '));
        bytes.push_back('\n');
        auto const console = connected(control());
        sendAll(console->get(), bytes);
        shutdown(console->get(), SHUT_WR);
        awaitEnd(console->get());
    }
    // One that leaves in the middle of a line, and one that does not end its line ever.
    sendAll(connected(control())->get(), garbage(100));
    auto const endless = connected(control());
    sendAll(endless->get(), host::FrameBytes(3U << 20U, 'x'));
    expectServed(person);
    EXPECT_EQ(person.say("session close b").error, "");
    expectAllWell({program.get()}, {dsp.get()});
    EXPECT_GE(count(countsOf[program.get()], "control.bad_request"), garbageSizes.size());
}

/* Two sessions */

class TwoSessions : public Faults {
protected:
    std::string otherControl() const { return directory.path() + "/session-02.control"; }
    static std::uint64_t digitsOf(BackgroundProgram& program) {
        std::uint64_t count = 0;
        for (Json const& line : program.lines("callback")) {
            count += line.at("name") == "dtmfEvent" ? 1U : 0U;
        }
        return count;
    }
};

TEST_F(TwoSessions, GetTheirOwnAcknowledgementsAndOneThatIsKilledDisturbsNobody) {
    auto const dsp = board({"--ack-delay", "50"});
    auto const first = session();
    Program second = session({"--sid", "0x02", "--audit", "0"});
    awaitText(*first, "found", "0x10 ");
    awaitText(*second, "found", "0x10 ");
    Operator person(control());
    {
        Operator other(otherControl());
        std::vector<std::uint64_t> own;
        std::vector<std::uint64_t> others;
        for (int i = 0; i < 10; ++i) {
            std::string const name = "c" + std::to_string(i);
            own.push_back(person.type(opening(name, "0x10", i, "in")));
            others.push_back(other.type(opening(name, "0x10", 100 + i, "out")));
        }
        for (std::size_t i = 0; i < own.size(); ++i) {
            EXPECT_EQ(person.await(own[i]).error, "");
            EXPECT_EQ(other.await(others[i]).error, "");
        }
        awaitAudit(person, "0x10", "10 open, 10 of others");
        awaitAudit(other, "0x10", "10 open, 10 of others");
        // An event goes to whoever had a command carried out last.
        EXPECT_EQ(person.say("session update c0 codec=2").error, "");
        EXPECT_EQ(person.say("session dtmf c0 5").error, "");
        awaitText(*first, "callback", "dtmfEvent channel=c0 digit=5");
        EXPECT_EQ(other.say("session update c0 codec=2").error, "");
        EXPECT_EQ(other.say("session dtmf c0 6").error, "");
        awaitText(*second, "callback", "dtmfEvent channel=c0 digit=6");
        EXPECT_EQ(digitsOf(*first), 1U);
        EXPECT_EQ(digitsOf(*second), 1U);
    }
    kill(second);
    awaitText(*first, "lost", "0x02 ");
    // It was the last one; its event is for nobody.
    EXPECT_EQ(person.say("session dtmf c0 7").error, "");
    awaitText(*dsp, "board", "event not sent: nobody serves IMC address 0x02 any more");
    EXPECT_EQ(person.say(opening("more", "0x10", 20, "in")).error, "");
    EXPECT_EQ(person.say("session dtmf c0 8").error, "");
    awaitText(*first, "callback", "dtmfEvent channel=c0 digit=8");
    awaitAudit(person, "0x10", "11 open, 10 of others");
    second = session({"--sid", "0x02", "--audit", "100"});
    Operator other(otherControl());
    awaitText(*second, "found", "0x10 ");
    awaitAudit(other, "0x10", "0 open, 11 of others");
    awaitAudit(person, "0x10", "11 open, 0 of others");
    // The board has closed the orphans, and says so 50 ms later: until then their paths are taken.
    EXPECT_EQ(recorded(other, "no channel"), "no channel");
    EXPECT_EQ(other.say(opening("c0", "0x10", 100, "out")).error, "");
    EXPECT_EQ(digitsOf(*second), 0U);
    EXPECT_EQ(digitsOf(*first), 2U);
    expectAllWell({first.get(), second.get()}, {dsp.get()});
}

TEST_F(TwoSessions, OfOneAddressTheSecondIsRefusedAndTheFirstGoesOn) {
    auto const dsp = board();
    auto const first = session({"--audit", "0", "--name", "the first"});
    first->await("found");
    ProgramRun const second = runProgram(arguments("session", {"--control", control() + "2"}));
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.errors, "mcgw: IMC address 0x01 is served already by the first, process " +
                                 std::to_string(first->pid()) + "\n");
    Operator person(control());
    EXPECT_THAT(person.say("session status").answer,
                AllOf(HasSubstr("the first"), HasSubstr("0x01")));
    EXPECT_EQ(person.say(openA).error, "");
    expectAllWell({first.get()}, {dsp.get()});
}

} // namespace
