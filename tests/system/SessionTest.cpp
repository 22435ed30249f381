// A session and boards as processes of their own, driven through the session's control socket.

#include "tests/system/Program.h"
#include "tests/system/SessionFixture.h"

#include "tests/unit/bus/BusFixture.h"
#include "tests/unit/dsp/Records.h"

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using Json = BackgroundProgram::Json;

TEST_F(Sessions, OpensAndClosesACall) {
    auto const dsp = board();
    auto const program = session();
    program->await("found");
    Operator person(control());
    EXPECT_EQ(person.say(voiceIn("a")).answer, "a is open, port 5000");
    EXPECT_THAT(person.say("session records").answer,
                AllOf(HasSubstr("a "), HasSubstr("Voice_Open"), HasSubstr("voice open")));
    EXPECT_EQ(person.say("session update a codec=\"G.711 mu-law\"").error, "");
    EXPECT_EQ(person.say("session fax a").answer, "a is switched to fax, port 5002");
    EXPECT_EQ(person.say("session close a").answer, "a is closed");
    EXPECT_EQ(person.say("session records").answer, "no channel");
    auto const counts = counted(*program);
    EXPECT_EQ(count(counts, "session.ack_in_time"), 4U);
    EXPECT_EQ(counts.size(), 1U) << testing::PrintToString(counts);
}

TEST_F(Sessions, PassesOtherLinesToTheLibrary) {
    auto const dsp = board();
    auto const program = session();
    program->await("found");
    Operator person(control());
    EXPECT_THAT(person.say("MC Channel All").answer, HasSubstr("It is empty."));
    person.say(voiceIn("a"));
    EXPECT_THAT(person.say("MC Channel All").answer, HasSubstr("Total = 1"));
    EXPECT_THAT(person.say("nonsense \"").answer, HasSubstr("nonsense"));
    EXPECT_THAT(person.say("MC Dsp 0x400").answer, HasSubstr("Dsp 1023\n"));
    EXPECT_THAT(person.say("MC Dsp 0x7FFFFFFF").error, HasSubstr("at most 0x400 DSP channels"));
    EXPECT_THAT(person.say("MC Channel All").answer, HasSubstr("Total = 1"));
}

TEST_F(Sessions, TellsWhatWouldBeRight) {
    auto const dsp = board();
    auto const program = session();
    program->await("found");
    Operator person(control());
    EXPECT_THAT(person.say("session nonsense").error,
                AllOf(HasSubstr("\"nonsense\""), HasSubstr("expected one of help, status")));
    EXPECT_EQ(person.say("session close").error, "expected session close NAME");
    EXPECT_EQ(person.say("session close a").error,
              "unknown channel \"a\": expected one that was opened, of which there is none");
    EXPECT_THAT(person.say("session open a colour=red").error,
                AllOf(HasSubstr("unknown key \"colour\": expected one of board, "),
                      HasSubstr("rtpRemote"), Not(HasSubstr("voiceOpen"))));
    EXPECT_EQ(person.say("session open a board=0x10 dsp=300").error,
              "dsp is 300: expected a number from 0 to 255");
    EXPECT_EQ(person.say("session open a board=0x10 dsp").error.substr(0, 25),
              "\"dsp\" is no key=value: ex");
    EXPECT_EQ(person.say("session open a board=0x10 dsp=1").error,
              "direction is missing: expected direction=in or direction=out");
    EXPECT_EQ(person.say("session open a direction=in").error,
              "the board is missing: expected board=SID, or mediaGateway=ADDRESS");
    EXPECT_THAT(person.say("session open a mediaGateway=10.9.9.9 direction=in").error,
                HasSubstr("no board has the address 10.9.9.9: expected board=SID"));
    EXPECT_THAT(person.say("session open a board=0x10 direction=in codec=\"G.711").error,
                HasSubstr("quotation mark"));
    EXPECT_THAT(person.say("session open none board=0x10").error, HasSubstr("not \"none\""));
    person.say(voiceIn("a"));
    EXPECT_THAT(person.say(voiceIn("a", 4)).error, HasSubstr("a channel a already"));
    EXPECT_EQ(person.say(voiceIn("b")).error,
              "board 0x10 dsp 3 in is that of a already: expected another dsp, direction or board");
    EXPECT_THAT(person.say("session update a dsp=4").error, HasSubstr("unknown key \"dsp\""));
    EXPECT_THAT(person.say("session close b").error, HasSubstr("expected one of a"));
    EXPECT_THAT(person.say("session join a").error, HasSubstr("NULL join IP"));
    EXPECT_EQ(person.say("session watch perhaps").error,
              "expected session watch on, or session watch off");
    EXPECT_THAT(person.say("session log 4").error, HasSubstr("a number from 0 to 3"));
    EXPECT_EQ(count(counted(*program), "session.request_refused"), 18U);
}

TEST_F(Sessions, ARefusalOfTheLibraryLeavesNothingBehind) {
    auto const dsp = board();
    auto const program = session();
    program->await("found");
    Operator person(control());
    EXPECT_THAT(person.say("session open a board=0x10 direction=out codec=1").error,
                HasSubstr("a was not opened: Failed to openChannel("));
    EXPECT_EQ(person.say("session records").answer, "no channel");
    EXPECT_EQ(person.say(voiceIn("a")).error, "");
}

TEST_F(Sessions, WhoWatchesIsTold) {
    auto const dsp = board();
    auto const program = session();
    program->await("found");
    Operator person(control());
    person.say("session watch on");
    person.say(voiceIn("a"));
    EXPECT_EQ(person.say("session dtmf a 5 120").error, "");
    Operator watcher(control());
    watcher.say("session watch on");
    EXPECT_EQ(person.say("session faxtone a").error, "");
    watcher.awaitTold("callback", "faxToneEvent channel=a");
    awaitText(*program, "callback", "dtmfEvent channel=a digit=5 duration=120ms");
    EXPECT_EQ(person.say("session alert a 7").error, "");
}

TEST_F(Sessions, AChannelThatIsNotAcknowledgedIsHalfOpenAndThenClosed) {
    auto const dsp = board({"--fault", "drop:OpenVoiceAck:count=1"});
    auto const program = session({"--audit", "0", "--ack-deadline", "100", "--half-open", "200"});
    program->await("found");
    Operator person(control());
    EXPECT_EQ(person.say(voiceIn("a")).error, "a: OpenVoice: not acknowledged within 100 ms");
    awaitText(*program, "half-open", "a on board 0x10 dsp 3 in: half-open: voice not acknowledged");
    awaitText(*program, "half-open", "a was half-open for 200 ms, and is closed");
    awaitText(*program, "closed", "a on board 0x10 dsp 3 in");
    dsp->await("event", [](Json const& line) { return line.at("name") == "CloseVoiceAck in"; });
    // Its answer comes behind the acknowledgement.
    EXPECT_THAT(person.say("session audit 0x10").answer, HasSubstr("0 open"));
    EXPECT_EQ(person.say(voiceIn("b")).error, "");
    auto const counts = counted(*program);
    EXPECT_EQ(count(counts, "session.ack_deadline"), 1U);
    EXPECT_EQ(count(counts, "session.half_open"), 1U);
    EXPECT_EQ(count(counts, "session.half_open_closed"), 1U);
    EXPECT_EQ(count(counts, "session.ack_error"), 0U);
}

TEST_F(Sessions, ALateAcknowledgementHeals) {
    auto const dsp = board({"--fault", "delay:OpenVoiceAck:ms=1500:count=1"});
    auto const program = session({"--audit", "0", "--ack-deadline", "300", "--half-open", "60000"});
    program->await("found");
    Operator person(control());
    EXPECT_THAT(person.say(voiceIn("a")).error, HasSubstr("not acknowledged"));
    awaitText(*program, "late", "OpenVoice in of board 0x10 dsp 3 (a): acknowledged after");
    awaitText(*program, "healed", "a: voice open");
    auto const counts = counted(*program);
    EXPECT_EQ(count(counts, "session.ack_late"), 1U);
    EXPECT_EQ(count(counts, "session.half_open_healed"), 1U);
    EXPECT_EQ(count(counts, "session.half_open_closed"), 0U);
}

TEST_F(Sessions, ADuplicateAndOneThatNobodyAskedForAreTold) {
    auto const dsp = board({"--fault", "duplicate:OpenVoiceAck:count=1", "--fault",
                            "delay:OpenVoiceAck:ms=1200:dsp=9"});
    auto const program = session({"--audit", "0", "--ack-deadline", "200"});
    program->await("found");
    Operator person(control());
    EXPECT_EQ(person.say(voiceIn("a")).error, "");
    awaitText(*program, "duplicate", "OpenVoice in of board 0x10 dsp 3 (a): acknowledged already");
    EXPECT_THAT(person.say(voiceIn("b", 9)).error, HasSubstr("not acknowledged"));
    EXPECT_EQ(person.say("session close b").error, "");
    awaitText(*program, "unexpected", "OpenVoice in of board 0x10 dsp 9: acknowledged, and not");
    auto const counts = counted(*program);
    EXPECT_EQ(count(counts, "session.ack_duplicate"), 1U);
    EXPECT_EQ(count(counts, "session.ack_unexpected"), 1U);
}

TEST_F(Sessions, AMalformedAcknowledgementIsNone) {
    auto const dsp = board({"--fault", "length:OpenVoiceAck=20:count=1"});
    auto const program = session({"--audit", "0", "--ack-deadline", "200"});
    program->await("found");
    Operator person(control());
    EXPECT_THAT(person.say(voiceIn("a")).error, HasSubstr("not acknowledged"));
    EXPECT_EQ(count(counted(*program), "session.ack_malformed"), 1U);
}

TEST_F(Sessions, AnOpeningThatTheBoardRefusesIsClosed) {
    auto const dsp = board({"--fault", "error:OpenVoice=5:count=1"});
    auto const program = session();
    program->await("found");
    Operator person(control());
    EXPECT_EQ(person.say(voiceIn("a")).error,
              "a: board 0x10 answered OpenVoice with error 5 (no port left)");
    EXPECT_EQ(person.say("session records").answer, "no channel");
    EXPECT_THAT(person.say("MC Channel All").answer, HasSubstr("It is empty."));
    auto const counts = counted(*program);
    EXPECT_EQ(count(counts, "session.ack_error"), 1U);
    EXPECT_EQ(count(counts, "session.open_refused"), 1U);
    EXPECT_EQ(count(counts, "session.ack_forgotten"), 1U);
}

TEST_F(Sessions, WhatAnotherSessionHasOpenIsLeftToIt) {
    auto const dsp = board();
    auto const first = session();
    first->await("found");
    Operator person(control());
    person.say(voiceIn("a"));
    auto const second = session({"--sid", "0x02", "--audit", "0"});
    awaitText(*second, "found", "0x10");
    Operator other(directory.path() + "/session-02.control");
    EXPECT_THAT(other.say(voiceIn("b")).error, HasSubstr("error 2 (already open)"));
    EXPECT_THAT(other.say("session audit 0x10").answer, HasSubstr("0 open, 1 of others"));
    EXPECT_THAT(person.say("session audit 0x10").answer, HasSubstr("1 open, 0 of others"));
}

TEST_F(Sessions, AChannelOfABoardThatWasKilledIsClosedWhenItIsBack) {
    Program dsp = board();
    auto const program = session({"--audit", "0", "--half-open", "600000"});
    program->await("found");
    Operator person(control());
    person.say(voiceIn("a"));
    kill(dsp);
    awaitText(*program, "half-open", "a on board 0x10 dsp 3 in");
    EXPECT_EQ(person.say(voiceIn("b", 4)).error, "board 0x10 is gone");
    dsp = board();
    awaitText(*program, "restart", "a was forgotten by its board: it is closed");
    dsp->await("event", [](Json const& line) { return line.at("name") == "CloseVoiceAck in"; });
    // Its answer comes behind the acknowledgement.
    EXPECT_THAT(person.say("session audit 0x10").answer, HasSubstr("0 open"));
    EXPECT_EQ(person.say(voiceIn("b")).error, "");
    EXPECT_THAT(person.say("session records").answer, Not(HasSubstr("a ")));
    auto const counts = counted(*program);
    EXPECT_EQ(count(counts, "session.board_lost"), 1U);
    EXPECT_EQ(count(counts, "session.board_restarted"), 1U);
    EXPECT_EQ(count(counts, "session.restart_closed"), 1U);
    EXPECT_EQ(count(counts, "session.ack_forgotten"), 1U);
    EXPECT_EQ(count(counts, "session.ack_error"), 0U);
}

TEST_F(Sessions, AChannelOfABoardThatWasKilledIsOpenedAgain) {
    Program dsp = board();
    auto const program =
        session({"--audit", "0", "--half-open", "600000", "--on-restart", "reopen"});
    program->await("found");
    Operator person(control());
    person.say(voiceIn("a"));
    person.say("session fax a");
    kill(dsp);
    program->await("half-open");
    dsp = board();
    awaitText(*program, "restart", "a was forgotten by its board: it is opened again");
    for (char const* const name : {"OpenVoiceAck in", "OpenFaxAck in"}) {
        EXPECT_EQ(dsp->await("event", [name](Json const& line) { return line.at("name") == name; })
                      .at("fields")
                      .at("error"),
                  0);
    }
    EXPECT_THAT(person.say("session audit 0x10").answer,
                HasSubstr("1 open, 0 of others, 0 missing"));
    EXPECT_THAT(person.say("session records").answer, HasSubstr("voice open, fax open"));
    EXPECT_EQ(count(counted(*program), "session.restart_reopened"), 1U);
}

TEST_F(Sessions, AChannelOfABoardThatStaysAwayIsClosedWithoutEndingTheSession) {
    Program dsp = board();
    auto const program = session({"--audit", "0", "--half-open", "200"});
    program->await("found");
    Operator person(control());
    person.say(voiceIn("a"));
    kill(dsp);
    awaitText(*program, "closed", "a on board 0x10 dsp 3 in, which could not be told");
    EXPECT_EQ(person.say("session records").answer, "no channel");
    auto const counts = counted(*program);
    EXPECT_EQ(count(counts, "session.post_refused"), 1U);
    EXPECT_EQ(count(counts, "session.half_open_closed"), 1U);
}

TEST_F(Sessions, AnOpeningToNobodyIsUndone) {
    auto const program = session();
    Operator person(control());
    EXPECT_THAT(person.say(voiceIn("a")).error, HasSubstr("can't be reached"));
    EXPECT_EQ(person.say("session records").answer, "no channel");
    EXPECT_EQ(person.say("session boards").answer, "no board on the bus");
    EXPECT_GT(count(counted(*program), "session.post_refused"), 0U);
}

TEST_F(Sessions, AChannelThatTheBoardHasNotIsFoundByTheAudit) {
    auto const dsp = board();
    auto const program = session({"--audit", "0", "--on-restart", "reopen"});
    program->await("found");
    Operator person(control());
    person.say(voiceIn("a"));
    host::Dispatcher loop;
    host::BusOptions options;
    options.url = "ipc://" + directory.path();
    PlayedNode stranger(loop, options);
    stranger.transport->attach(0x05, stranger.board);
    imc_msg closing = dsp::sample("CloseVoice in");
    closing.sourceSid = 0x05;
    closing.destinationSid = 0x10;
    stranger.transport->send(closing);
    dsp->await("event", [](Json const& line) { return line.at("name") == "CloseVoiceAck in"; });
    EXPECT_THAT(person.say("session audit 0x10").answer,
                HasSubstr("0 open, 0 of others, 1 missing"));
    awaitText(*program, "missing", "a: voice is not open on board 0x10 dsp 3 in any more");
    awaitText(*program, "restart", "a was forgotten by its board: it is opened again");
    EXPECT_THAT(person.say("session audit 0x10").answer, HasSubstr("0 missing, 0 orphans"));
    EXPECT_THAT(person.say("session records").answer, HasSubstr("voice open"));
    EXPECT_EQ(count(counted(*program), "session.audit_missing"), 1U);
}

TEST_F(Sessions, ASessionThatWasKilledClosesWhatItLeftBehind) {
    auto const dsp = board();
    Program first = session();
    first->await("found");
    {
        Operator person(control());
        person.say(voiceIn("a"));
        person.say("session open b board=0x10 direction=out dsp=5 codec=1 minFraming=20 "
                   "maxFraming=20 rtpRemote=10.0.9.1:4000");
        person.say("session fax b");
    }
    kill(first);
    auto const program = session();
    awaitText(*program, "orphan", "board 0x10 dsp 3 in: voice open, and not this session's");
    awaitText(*program, "orphan", "board 0x10 dsp 5 out: voice and fax open");
    awaitText(*program, "closed", "board 0x10 dsp 5 out, an orphan");
    Operator person(control());
    EXPECT_EQ(recorded(person, "no channel"), "no channel");
    EXPECT_THAT(person.say("session audit").answer, HasSubstr("board 0x10: 0 open"));
    auto const counts = counted(*program);
    EXPECT_EQ(count(counts, "session.audit_orphan"), 2U);
    EXPECT_EQ(count(counts, "session.orphan_closed"), 2U);
    EXPECT_EQ(count(counts, "session.ack_orphan"), 3U);
    EXPECT_EQ(count(counts, "session.ack_error"), 0U);
}

TEST_F(Sessions, OrphansAreOnlyReportedWhenThatIsAskedFor) {
    auto const dsp = board();
    Program first = session();
    first->await("found");
    Operator(control()).say(voiceIn("a"));
    kill(first);
    auto const program = session({"--audit", "0", "--orphans", "report"});
    program->await("orphan");
    Operator person(control());
    EXPECT_THAT(person.say("session audit").answer, HasSubstr("1 open, 0 of others, 0 missing, 1"));
    auto const counts = counted(*program);
    EXPECT_EQ(count(counts, "session.audit_orphan"), 1U);
    EXPECT_EQ(count(counts, "session.orphan_closed"), 0U);
}

TEST_F(Sessions, ABoardThatDoesNotAnswerAuditsIsToldOnce) {
    auto const dsp = board({"--fault", "drop:AuditAnswer"});
    auto const program = session({"--audit", "50", "--ack-deadline", "50"});
    awaitText(*program, "audit", "board 0x10 does not answer audits");
    Operator person(control());
    EXPECT_EQ(person.say("session audit 0x10").answer, "board 0x10 does not answer audits");
    EXPECT_THAT(person.say("session boards").answer, HasSubstr("does not answer audits"));
    auto const counts = counted(*program);
    EXPECT_GE(count(counts, "session.audit_unanswered"), 2U);
    EXPECT_EQ(program->lines("audit").size(), 1U);
}

/** Opens and closes the channel "in"; @param error that the opening is expected to have */
std::string callFile(std::string const& error) {
    return boardAndChannel +
           "[[step]]\nopen = \"in\"\nexpect.callbacks = [\"ackEvent channel=in "
           "error=" +
           error +
           "\"]\n[[step]]\nclose = \"in\"\nexpect.callbacks = [\"ackErrorEvent channel=none\"]\n";
}

TEST_F(Sessions, RunsTheCallFilesOfItsConsoles) {
    auto const dsp = board();
    auto const program = session();
    program->await("found");
    Operator person(control());
    Said const said = person.call(callFile("0"));
    EXPECT_EQ(said.status, 0) << said.reports;
    EXPECT_THAT(said.reports, HasSubstr("OpenVoice in dsp=2"));
    EXPECT_EQ(person.call(callFile("1")).status, 1);
    Said const bad = person.call("nonsense");
    EXPECT_EQ(bad.status, 2);
    EXPECT_THAT(bad.error, StartsWith("call.toml:1:"));
    awaitText(*program, "call", "call.toml: passed");
    awaitText(*program, "call", "call.toml: failed");
    auto const counts = counted(*program);
    EXPECT_EQ(count(counts, "session.call_failed"), 1U);
    EXPECT_EQ(count(counts, "session.audit_orphan"), 0U);
    EXPECT_EQ(count(counts, "session.ack_deadline"), 0U);
}

TEST_F(Sessions, RunsTheCallFilesOfItsOptionsOnceTheirBoardsAreThere) {
    TemporaryFile const good("good.toml", callFile("0"));
    TemporaryFile const bad("bad.toml", callFile("1"));
    auto const dsp = board();
    auto const program =
        session({"--ack-deadline", "60000", "--call", good.path(), "--call", bad.path()});
    awaitText(*program, "call", good.path() + ": passed");
    awaitText(*program, "call", bad.path() + ": failed");
    program->signal(SIGTERM);
    EXPECT_EQ(program->end(), 1);
}

TEST_F(Sessions, AChannelThatACallFileLeavesOpenIsTheSessions) {
    auto const dsp = board();
    auto const program = session();
    program->await("found");
    Operator person(control());
    Said const said =
        person.call("leaveOpen = true\n" + boardAndChannel + "[[step]]\nopen = \"in\"\n");
    EXPECT_EQ(said.status, 0) << said.reports;
    EXPECT_THAT(person.say("session records").answer, HasSubstr("voice open"));
    EXPECT_THAT(person.say("session audit 0x10").answer,
                HasSubstr("1 open, 0 of others, 0 missing, 0"));
    EXPECT_EQ(person.say("session close in").error, "");
    EXPECT_EQ(count(counted(*program), "session.ack_in_time"), 2U);
}

TEST_F(Sessions, EndsCleanlyAndClosesItsChannels) {
    auto const dsp = board();
    auto const program = session();
    program->await("found");
    Operator person(control());
    person.say(voiceIn("a"));
    person.say(voiceIn("b", 4));
    EXPECT_EQ(person.say("session end").answer, "the session ends");
    EXPECT_EQ(program->end(), 0);
    EXPECT_EQ(program->lines("ending").at(0).at("channels"), 2);
    dsp->await("event", [](Json const& line) {
        return line.at("name") == "CloseVoiceAck in" && line.at("fields").at("dsp") == 4;
    });
    EXPECT_FALSE(std::filesystem::exists(control()));
    EXPECT_FALSE(std::filesystem::exists(directory.path() + "/sid-01.lock"));
}

TEST_F(Sessions, WhatABoardCouldNotBeToldToCloseIsClosedByTheAudit) {
    auto const dsp = board();
    auto const program = session({"--audit", "0", "--ack-deadline", "600000"});
    program->await("found");
    Operator person(control());
    person.say(voiceIn("a"));
    person.say(voiceIn("b", 4));
    dsp->halt();
    EXPECT_THAT(fillQueue(person, "a"), HasSubstr("can't be reached"));
    EXPECT_EQ(person.say("session close b").answer, "b is closed");
    awaitText(*program, "closed", "b on board 0x10 dsp 4 in, which could not be told");
    dsp->signal(SIGCONT);
    EXPECT_THAT(audited(person, "0x10", " open, "),
                HasSubstr("2 open, 0 of others, 0 missing, 1 orphan"));
    dsp->await("event", [](Json const& line) { return line.at("name") == "CloseVoiceAck in"; });
    EXPECT_THAT(audited(person, "0x10", " open, "),
                HasSubstr("1 open, 0 of others, 0 missing, 0 orphans"));
    EXPECT_EQ(person.say(voiceIn("b", 4)).error, "");
    EXPECT_EQ(count(counted(*program), "session.ack_error"), 0U);
}

TEST_F(Sessions, AnOrphanTakesNobodysName) {
    auto const dsp = board();
    auto const program = session({"--audit", "0", "--ack-deadline", "600000"});
    program->await("found");
    Operator person(control());
    person.say(voiceIn("a", 3));
    // What the records call an orphan may be what a person called a channel.
    person.say(voiceIn("orphan-16-3-in", 5));
    dsp->halt();
    EXPECT_THAT(fillQueue(person, "orphan-16-3-in"), HasSubstr("can't be reached"));
    person.say("session close a");
    dsp->signal(SIGCONT);
    EXPECT_THAT(audited(person, "0x10", " open, "), HasSubstr("1 orphan"));
    program->await("closed", [](Json const& line) {
        return line.at("text") == "board 0x10 dsp 3 in, an orphan";
    });
    EXPECT_THAT(audited(person, "0x10", " open, "),
                HasSubstr("1 open, 0 of others, 0 missing, 0 orphans"));
    EXPECT_EQ(person.say("session close orphan-16-3-in").answer, "orphan-16-3-in is closed");
    EXPECT_EQ(person.say("session records").answer, "no channel");
    counted(*program);
}

TEST_F(Sessions, FaxThatCouldNotBeSentCanBeAskedForAgain) {
    auto const dsp = board();
    auto const program = session({"--audit", "0", "--ack-deadline", "600000"});
    program->await("found");
    Operator person(control());
    person.say(voiceIn("a"));
    dsp->halt();
    EXPECT_THAT(fillQueue(person, "a"), HasSubstr("can't be reached"));
    EXPECT_THAT(person.say("session fax a").error, HasSubstr("can't be reached"));
    dsp->signal(SIGCONT);
    audited(person, "0x10", " open, ");
    EXPECT_EQ(person.say("session fax a").answer, "a is switched to fax, port 5002");
    EXPECT_EQ(person.say("session fax a").error, "a was not switched to fax: it is so already");
    counted(*program);
}

TEST_F(Sessions, ARefusedUpdateChangesNothing) {
    auto const dsp = board();
    auto const program = session();
    program->await("found");
    Operator person(control());
    person.say("session open a board=0x10 direction=out dsp=5 codec=1 minFraming=20 maxFraming=20 "
               "rtpRemote=10.0.9.1:4000");
    std::string const before = person.say("MC Channel 0x1").answer;
    EXPECT_THAT(before, HasSubstr("10.0.9.1:4000"));
    EXPECT_THAT(person
                    .say("session update a rtpRemote=10.0.9.9:7 minFraming=0 joinIp=10.0.0.16 "
                         "vad=true")
                    .error,
                HasSubstr("a was not updated: "));
    EXPECT_EQ(person.say("MC Channel 0x1").answer, before);
    EXPECT_THAT(person.say("session join a").error, HasSubstr("NULL join IP"));
    counted(*program);
}

TEST_F(Sessions, WhatCannotBeOpenedAgainCountsAsClosed) {
    Program dsp = board();
    auto const program = session({"--audit", "0", "--on-restart", "reopen"});
    program->await("found");
    Operator person(control());
    person.say("session open a board=0x10 direction=out dsp=5 codec=1 minFraming=20 maxFraming=20 "
               "rtpRemote=10.0.9.1:4000");
    EXPECT_EQ(person.say("session fax a").error, "");
    EXPECT_EQ(person.say("session update a rtpRemote=-:0").error, "");
    kill(dsp);
    program->await("half-open");
    dsp = board();
    awaitText(*program, "refused", "a was not switched to fax again");
    EXPECT_EQ(recorded(person, "no channel"), "no channel");
    auto const counts = counted(*program);
    EXPECT_EQ(count(counts, "session.restart_reopened"), 0U);
    EXPECT_EQ(count(counts, "session.restart_closed"), 1U);
}

TEST_F(Sessions, APathThatAnotherSessionTookIsToldOnce) {
    auto const dsp = board();
    auto const program = session();
    program->await("found");
    Operator person(control());
    person.say(voiceIn("a"));
    host::Dispatcher loop;
    host::BusOptions options;
    options.url = "ipc://" + directory.path();
    PlayedNode stranger(loop, options);
    stranger.transport->attach(0x05, stranger.board);
    for (char const* const name : {"CloseVoice in", "OpenVoice in"}) {
        imc_msg command = dsp::sample(name);
        command.sourceSid = 0x05;
        command.destinationSid = 0x10;
        stranger.transport->send(command);
    }
    dsp->await("event", [](Json const& line) { return line.at("name") == "CloseVoiceAck in"; });
    for (int i = 0; i < 3; ++i) {
        EXPECT_THAT(person.say("session audit 0x10").answer, HasSubstr("0 open, 1 of others"));
    }
    EXPECT_EQ(count(counted(*program), "session.audit_taken"), 1U);
}

TEST_F(Sessions, EveryRequestOfTheEndIsDecided) {
    auto const dsp = board({"--fault", "drop:CloseVoiceAck"});
    auto const program = session({"--audit", "0", "--ack-deadline", "100"});
    program->await("found");
    Operator person(control());
    for (int i = 0; i < 20; ++i) {
        person.say(voiceIn("a" + std::to_string(i), i));
    }
    auto const counts = counted(*program);
    EXPECT_EQ(linesOf(*program, "command", requestNames), 40U);
    expectSettled(*program, counts);
}

TEST_F(Sessions, NothingIsOpenedWhileItEnds) {
    auto const dsp = board({"--fault", "drop:CloseVoiceAck"});
    auto const program = session({"--audit", "0", "--ack-deadline", "2000"});
    program->await("found");
    Operator person(control());
    person.say(voiceIn("a"));
    person.say("session end");
    Said late;
    try {
        late = person.say(voiceIn("b", 4));
    } catch (std::exception const&) {
        // It has ended already.
        late.error = "the session ends";
    }
    EXPECT_EQ(late.error, "the session ends");
    EXPECT_EQ(program->end(), 0);
    EXPECT_THAT(program->lines("opened"), testing::SizeIs(1));
}

TEST_F(Sessions, ASecondSignalEndsItAtOnce) {
    auto const dsp = board({"--fault", "drop:CloseVoiceAck"});
    auto const program = session({"--audit", "0", "--ack-deadline", "3600000"});
    program->await("found");
    Operator person(control());
    person.say(voiceIn("a"));
    program->signal(SIGTERM);
    program->await("closed");
    program->signal(SIGINT);
    EXPECT_EQ(program->end(), 1);
    EXPECT_THAT(program->lines("counter"), IsEmpty());
}

TEST(SessionCommandLine, TellsWhatIsBad) {
    struct Row {
        Words arguments;
        std::string piece;
    };
    for (Row const& row :
         {Row{{"--sid", "256"}, "--sid"}, Row{{"--on-restart", "wait"}, "close,reopen"},
          Row{{"--orphans", "keep"}, "close,report"},
          Row{{"--board", "10.0.0.1"}, "expected IP=SID"},
          Row{{"--board", "10.0.0.1=300"}, "a number from 0 to 255"},
          Row{{"--ack-deadline", "0"}, "--ack-deadline"},
          Row{{"--call", "/nonexistent.toml"}, "can't be read"},
          Row{{"--config", "/nonexistent.toml"}, "/nonexistent.toml"},
          Row{{"--bus", "nowhere"}, "ipc://DIRECTORY"}, Row{{"more"}, "more"}}) {
        Words words = {"session"};
        words.insert(words.end(), row.arguments.begin(), row.arguments.end());
        ProgramRun const run = runProgram(words);
        EXPECT_EQ(run.status, 2) << row.piece;
        EXPECT_THAT(run.errors, HasSubstr(row.piece));
    }
}

TEST(SessionCommandLine, HelpsInFull) {
    ProgramRun const run = runProgram({"session", "--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, AllOf(HasSubstr("--on-restart"), HasSubstr("docs/session.md"),
                                  HasSubstr("Exit status")));
}

} // namespace
