#include "gateway/CallFile.h"
#include "gateway/EndingSignals.h"
#include "gateway/Report.h"
#include "gateway/Subcommand.h"
#include "gateway/session/SessionProcess.h"
#include "gateway/session/Words.h"

#include <CLI/CLI.hpp>

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace gateway {

namespace {

char const sessionHelp[] =
    R"(It opens and closes channels of boards on the bus ("mcgw dsp") for whoever attaches to its
control socket ("mcgw console"), and for call files. "session help" on a console tells its lines.

What the library leaves to its client is looked after: acknowledgements that come late, twice or
not at all, channels that may be open or not, boards that go, come back or have restarted, and
channels that an earlier process left open.

Ends with SIGINT, SIGTERM, SIGHUP or the line "session end": it closes its channels, and prints what
was counted. A second signal ends it at once.

  mcgw session                                 on this user's bus, as IMC address 0x01
  mcgw session --sid 0x02 --on-restart reopen
  mcgw session --board 10.1.0.1=0x10 --call call.toml

More: docs/session.md.

Exit status: 0 when it was asked to end, 1 when the bus can't be joined, its address or control
socket is somebody's already, a call file of --call failed, or a second signal ended it, 2 for a bad
command line or an error in a file.)";

struct CommandOptions {
    SessionOptions session;
    unsigned sid = 0x01;
    std::vector<std::string> boards;
    std::vector<std::string> calls;
    unsigned ackDeadline = 2000;
    unsigned halfOpen = 10000;
    unsigned audit = 10000;
    std::string onRestart = "close";
    std::string orphans = "close";
};

std::pair<std::string, unsigned char> parseBoard(std::string const& text) {
    auto const equals = text.find('=');
    if (equals == std::string::npos || equals == 0) {
        throw std::invalid_argument("--board " + text + ": expected IP=SID, such as 10.1.0.1=0x10");
    }
    return {text.substr(0, equals),
            static_cast<unsigned char>(
                numberOf(text.substr(equals + 1), "SID of --board " + text, 0, 255))};
}

SessionOptions optionsOf(CommandOptions const& from) {
    SessionOptions options = from.session;
    options.sid = static_cast<unsigned char>(from.sid);
    for (std::string const& board : from.boards) {
        options.boards.push_back(parseBoard(board));
    }
    for (std::string const& path : from.calls) {
        options.calls.push_back(readCallFile(path));
    }
    Supervision& supervision = options.supervision;
    supervision.ackDeadline = Milliseconds(from.ackDeadline);
    supervision.halfOpen = Milliseconds(from.halfOpen);
    supervision.audit = Milliseconds(from.audit);
    supervision.onRestart =
        from.onRestart == "reopen" ? Supervision::OnRestart::reopen : Supervision::OnRestart::close;
    supervision.orphans =
        from.orphans == "report" ? Supervision::Orphans::report : Supervision::Orphans::close;
    return options;
}

int run(CommandOptions const& from) {
    SessionOptions const options = optionsOf(from);
    if (options.logLevel) {
        unsetenv("MC_LOG_LEVEL");
    }
    std::atomic<SessionProcess*> process{nullptr};
    std::atomic<unsigned> signalled{0};
    EndingSignals const signals([&process, &signalled] {
        if (++signalled > 1) {
            std::_Exit(someFailed);
        }
        if (SessionProcess* const running = process) {
            running->askToEnd();
        }
    });
    Report report(std::cout, options.report);
    report.startClock();
    SessionProcess session(report, options);
    process = &session;
    if (signalled != 0) {
        session.askToEnd();
    }
    session.run();
    process = nullptr;
    session.end();
    requireWritten(std::cout);
    return session.hasFailed() ? someFailed : allHeld;
}

void addPlace(CLI::App& session, CommandOptions& options) {
    addBusOptions(session, options.session.bus);
    session.add_option("--sid", options.sid, "IMC address of the session")
        ->check(CLI::Range(0U, 255U))
        ->capture_default_str();
    session.add_option("--control", options.session.control,
                       "Path of the control socket; session-SID.control beside the bus without it");
    session
        .add_option("--board", options.boards,
                    "The address of a board, such as 10.1.0.1=0x10; 10.0.0.SID without it")
        ->type_name("IP=SID");
}

void addSupervision(CLI::App& session, CommandOptions& options) {
    session
        .add_option("--ack-deadline", options.ackDeadline,
                    "How long an acknowledgement, or an answer to an audit, may take, ms")
        ->check(CLI::Range(1U, 3600000U))
        ->capture_default_str();
    session
        .add_option("--half-open", options.halfOpen,
                    "How long a channel may be half-open before it is closed, ms")
        ->check(CLI::Range(1U, 86400000U))
        ->capture_default_str();
    session
        .add_option("--audit", options.audit, "Time between audits of the boards, ms; 0 for none")
        ->check(CLI::Range(0U, 86400000U))
        ->capture_default_str();
    session
        .add_option("--on-restart", options.onRestart,
                    "What becomes of channels that their board has forgotten")
        ->check(CLI::IsMember({"close", "reopen"}))
        ->capture_default_str();
    session
        .add_option("--orphans", options.orphans,
                    "What becomes of channels that an earlier process left open")
        ->check(CLI::IsMember({"close", "report"}))
        ->capture_default_str();
}

} // namespace

Subcommand addSession(CLI::App& program) {
    auto const options = std::make_shared<CommandOptions>();
    options->session.bus.name = "mcgw session";
    CLI::App* const session = program.add_subcommand(
        "session", "Run the reference Session Manager, as a process on the bus");
    addPlace(*session, *options);
    session->add_option("--config", options->session.config,
                        "The gateway's configuration file (TOML)");
    session
        ->add_option("--log-level", options->session.logLevel,
                     "Level of the library's log: 2 shows operations and events, 3 also commands")
        ->check(CLI::Range(0U, 3U));
    addSupervision(*session, *options);
    addCaptureOption(*session, options->session.capture, "every message");
    session->add_option("--call", options->calls, "A call file to run first; several run in turn");
    session->add_flag("--json", options->session.report.json, "One JSON object per line");
    session->add_flag("--quiet", options->session.report.quiet, "What was counted only");
    session->footer(sessionHelp);
    return {session, [options] { return run(*options); }};
}

} // namespace gateway
