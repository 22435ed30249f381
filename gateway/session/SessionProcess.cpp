#include "gateway/session/SessionProcess.h"

#include "gateway/CallFileError.h"
#include "gateway/CallRunner.h"
#include "gateway/MessageJson.h"
#include "gateway/Subcommand.h"
#include "gateway/Text.h"

#include "host/Platform.h"
#include "host/Text.h"
#include "host/bus/BusTransport.h"
#include "host/imc/SidText.h"

#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace gateway {

using host::sidText;

namespace {

/** A loop that waits for nothing else looks up that often. */
constexpr std::chrono::hours longTime{1};

/** The text of a line of the log as `mcgw call` shows it. */
std::string textOf(host::Workstation::LogLine const& line) {
    std::string const detail = host::withoutNul(line.detail);
    std::string text = host::withoutNul(line.text);
    text.erase(text.find_last_not_of(" \n") + 1);
    return text + (detail.empty() ? "" : ": " + detail);
}

} // namespace

SessionProcess::SessionProcess(Report& to, SessionOptions const& with)
    : report(to),
      callReport(to),
      options(with),
      workstation(host::Workstation::instance()),
      journal(report, !options.report.quiet),
      names(workstation),
      capture(startCapture(options.capture)),
      calls([this](CallFile const& file, Report& where) { return runCall(file, where); }) {
    preparePlatform();
    sessions = std::make_unique<SessionManager>(
        [this](Message const& callback) { seeCallback(callback); });
    supervisor = std::make_unique<Supervisor>(workstation.dispatcher(), options.supervision,
                                              *sessions, journal, names);
    supervisor->setCallFiles([this](Path const& path) {
        return watcher != nullptr && watcher->owns(path.sid, path.dsp);
    });
    supervisor->setClaimLost([this] { isClaimLost = isEnding = true; });
    lines = std::make_unique<SessionLines>(
        SessionLines::Session{workstation, *supervisor, names, journal, [this] { return facts(); },
                              [this] { return counters(); },
                              [this](int console, bool isOn) { control->watch(console, isOn); },
                              [this] { isEnding = true; }});
    try {
        joinBus();
        openControl();
    } catch (...) {
        leave();
        throw;
    }
    queueCalls();
}

SessionProcess::~SessionProcess() {
    leave();
    supervisor.reset();
    sessions.reset();
    workstation.setLogSink(nullptr);
    workstation.setExitAction(nullptr);
}

void SessionProcess::preparePlatform() {
    workstation.setLogSink([this](host::Workstation::LogLine const& line) { seeLog(line); });
    workstation.setExitAction([this](int cause) { seeLibraryEnd(cause); });
    if (options.logLevel) {
        workstation.setLogLevel(*options.logLevel);
    }
    if (!options.config.empty()) {
        try {
            workstation.loadConfiguration(options.config);
        } catch (std::runtime_error const& error) {
            throw std::invalid_argument(error.what());
        }
    }
    for (auto const& [ip, sid] : options.boards) {
        names.name(ip, sid);
    }
    workstation.setSid(options.sid);
}

void SessionProcess::joinBus() {
    auto transport = std::make_unique<host::BusTransport>(workstation.dispatcher(),
                                                          host::Platform::instance().counters,
                                                          options.bus, supervisor.get());
    endpoint = transport->endpoint();
    workstation.setTransport(std::move(transport));
    taps.add(*supervisor);
    if (capture) {
        taps.add(*capture);
    }
    workstation.transport().setTap(&taps);
    journal.entry(
        "bus", "joined at " + endpoint + " as " + sidText(options.sid),
        {{"endpoint", endpoint}, {"name", options.bus.name}, {"sid", sidText(options.sid)}});
}

void SessionProcess::openControl() {
    std::string const path = options.control.empty()
                                 ? defaultControlPath(options.bus.url, options.sid)
                                 : options.control;
    control = std::make_unique<ControlServer>(
        workstation.dispatcher(), path,
        Report::Json{{"name", options.bus.name},
                     {"pid", getpid()},
                     {"sid", sidText(options.sid)},
                     {"version", MCGW_VERSION}},
        [this](ControlRequest const& request, std::shared_ptr<ControlExchange> exchange) {
            takeRequest(request, std::move(exchange));
        });
    journal.setTeller([this](Report::Json const& what) { control->tell(what); });
    journal.entry("control", "consoles attach at " + path, {{"path", path}});
}

/** Whoever is told by the bus and the control socket is there still. */
void SessionProcess::leave() {
    journal.setTeller(nullptr);
    control.reset();
    workstation.setTransport(nullptr);
}

/* Its life */

void SessionProcess::run() {
    supervisor->begin();
    host::Dispatcher& loop = workstation.dispatcher();
    while (!isEnding) {
        loop.runUntil([this] { return isEnding || calls.hasWork(); }, longTime);
        if (!isEnding && calls.hasWork()) {
            calls.runNext();
        }
    }
    calls.drop();
    closeAll();
}

void SessionProcess::askToEnd() {
    workstation.dispatcher().post([this] { isEnding = true; });
}

void SessionProcess::closeAll() {
    auto const all = supervisor->records().all();
    journal.entry("ending", "closing " + plural(all.size(), "channel"), {{"channels", all.size()}});
    for (Record* const record : all) {
        if (record->isClosing()) {
            continue;
        }
        if (auto const refusal = supervisor->channels().close(*record)) {
            journal.entry("refused", *refusal);
        }
    }
    workstation.dispatcher().runUntil(
        [this] { return supervisor->acknowledgements().outstanding() == 0; },
        options.supervision.ackDeadline);
    supervisor->giveUp();
}

void SessionProcess::end() {
    controlCounters = control->counters();
    leave();
    for (auto const& [name, count] : counters()) {
        report.result("counter", "process " + name + ": " + std::to_string(count),
                      {{"of", "process"}, {"name", name}, {"count", count}});
    }
    if (capture) {
        capture->end();
    }
}

/* Call files */

void SessionProcess::queueCalls() {
    for (CallFile const& file : options.calls) {
        calls.add(file, callReport, [this, &file](std::optional<Summary> const& summary) {
            seeCall(file, summary);
            isCallFailed = isCallFailed || !summary || !summary->hasPassed();
        });
    }
}

SessionAccess SessionProcess::access() {
    return {*sessions,
            [this](host::Tap& tap) { taps.add(tap); },
            [this](host::Tap& tap) { taps.remove(tap); },
            [this](SessionWatcher* who) { watcher = who; },
            [this](std::string const& name, MC_Channel& channel) {
                supervisor->channels().keep(name, channel);
            },
            [this](unsigned char sid) { return supervisor->boards().isPresent(sid); },
            [this] { return isEnding; }};
}

/** A session that has just begun has not met them all. */
void SessionProcess::awaitBoards(CallFile const& file) {
    workstation.dispatcher().runUntil(
        [&] {
            return isEnding ||
                   std::all_of(file.boards.begin(), file.boards.end(), [this](auto const& board) {
                       return supervisor->boards().isPresent(board.sid);
                   });
        },
        options.supervision.ackDeadline);
}

Summary SessionProcess::runCall(CallFile const& file, Report& to) {
    awaitBoards(file);
    return CallRunner(std::make_unique<SessionSite>(access()), file, to, std::nullopt).run();
}

void SessionProcess::seeCall(CallFile const& file, std::optional<Summary> const& summary) {
    bool const hasPassed = summary && summary->hasPassed();
    if (!hasPassed) {
        journal.count(SessionCause::callFailed);
    }
    journal.entry("call",
                  file.path + (hasPassed ? ": passed"
                               : summary ? ": failed"
                                         : ": not run"),
                  {{"file", file.path}, {"passed", hasPassed}});
}

void SessionProcess::takeCall(ControlRequest const& request,
                              std::shared_ptr<ControlExchange> const& exchange) {
    std::string const path = request.name.empty() ? "call file" : request.name;
    try {
        CallFile const file = parseCallFile(request.call, path);
        calls.add(
            file, [exchange](Report::Json const& entry) { exchange->report(entry); },
            [this, file, exchange](std::optional<Summary> const& summary) {
                seeCall(file, summary);
                bool const hasPassed = summary && summary->hasPassed();
                exchange->end(summary ? "" : "the session ends", hasPassed ? allHeld : someFailed);
            });
    } catch (std::exception const& error) {
        exchange->end(error.what(), badInput);
    }
}

/* What is asked and seen */

void SessionProcess::takeRequest(ControlRequest const& request,
                                 std::shared_ptr<ControlExchange> exchange) {
    if (isEnding) {
        // Nobody would look after what it opens.
        journal.count(SessionCause::requestRefused);
        exchange->end("the session ends");
    } else if (request.isCall) {
        takeCall(request, exchange);
    } else {
        lines->take(request.line, request.console, exchange);
    }
}

void SessionProcess::seeCallback(Message const& callback) {
    journal.entry("callback", callback.text(), toJson(callback));
    if (watcher != nullptr) {
        watcher->callbackSeen(callback);
    }
}

void SessionProcess::seeLog(host::Workstation::LogLine const& line) {
    std::string const text = textOf(line);
    Report::Json const details = {
        {"text", text}, {"source", line.file}, {"source_line", line.line}};
    if (line.isError) {
        journal.entry("error", text, details);
    } else {
        journal.quietEntry("trace", text, details);
    }
    if (watcher != nullptr) {
        watcher->lineLogged(line);
    }
}

void SessionProcess::seeLibraryEnd(int cause) {
    supervisor->postRefused(cause);
    if (watcher != nullptr) {
        watcher->libraryEnded(cause);
    }
}

SessionLines::Facts SessionProcess::facts() const {
    auto const up =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
    auto const boards = supervisor->boards().boards();
    return {{"name", options.bus.name},
            {"process", std::to_string(getpid())},
            {"IMC address", sidText(options.sid)},
            {"bus", endpoint},
            {"control", control->path()},
            {"consoles", std::to_string(control->consoles())},
            {"up", std::to_string(up.count()) + " s"},
            {"boards", std::to_string(boards.size())},
            {"channels", std::to_string(supervisor->records().size())},
            {"half-open", std::to_string(supervisor->records().halfOpen())},
            {"acks to come", std::to_string(supervisor->acknowledgements().outstanding())},
            {"call running", calls.running().empty() ? "none" : calls.running()},
            {"calls waiting", std::to_string(calls.size())}};
}

std::map<std::string, std::uint64_t> SessionProcess::counters() const {
    std::map<std::string, std::uint64_t> all = workstation.counters();
    auto const own = journal.counters().occurred();
    all.insert(own.begin(), own.end());
    auto const ofControl = control ? control->counters() : controlCounters;
    all.insert(ofControl.begin(), ofControl.end());
    return all;
}

} // namespace gateway
