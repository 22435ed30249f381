#include "gateway/CallRunner.h"

#include "gateway/MessageJson.h"
#include "gateway/OperatorLine.h"
#include "gateway/Text.h"

#include "host/Text.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <set>
#include <stdexcept>
#include <utility>

namespace gateway {

namespace {

char const privateSection[] = "/current//gw_priv";
char const gatewaySection[] = "/current//gateway";
char const unknownBoardCause[] = "imc.unknown_board";
char const unknownCommandCause[] = "console.command_without_observer";
char const faxProtoKey[] = "fax_proto";
char const rtptickRequestKey[] = "rtptick_request";
/** Number of the noteworthy value that keeps channels from arming fax-tone detection. */
int const noteworthyNumber = 5;
int const console = 1;

struct OperationName {
    char const* name;
    SessionManager::Operation operation;
};

/** The library's operation. */
OperationName nameOf(ChannelAction::Operation operation) {
    switch (operation) {
    case ChannelAction::Operation::open:
        return {"openChannel", &MC_Manager::openChannel};
    case ChannelAction::Operation::update:
        return {"updateChannel", &MC_Manager::updateChannel};
    case ChannelAction::Operation::activateFax:
        return {"activateFax", &MC_Manager::activateFax};
    case ChannelAction::Operation::join:
        return {"joinChannel", &MC_Manager::joinChannel};
    case ChannelAction::Operation::unjoin:
        return {"unjoinChannel", &MC_Manager::unjoinChannel};
    case ChannelAction::Operation::close:
        break;
    }
    return {"closeChannel", &MC_Manager::closeChannel};
}

std::string textOf(Configuration const& change) {
    std::string text;
    auto const add = [&text](std::string const& name, std::string const& value) {
        text += " " + name + "=" + value;
    };
    if (change.faxProto) {
        add(faxProtoKey, *change.faxProto);
    }
    if (change.rtptickRequest) {
        add(rtptickRequestKey, std::to_string(*change.rtptickRequest));
    }
    if (change.noteworthyValue5) {
        add("noteworthyValue5", std::to_string(*change.noteworthyValue5));
    }
    if (change.voicelan) {
        add("voicelan", *change.voicelan);
    }
    for (std::string const& name : change.remove) {
        add("remove", name);
    }
    return text;
}

std::string textOf(std::vector<FieldSetting> const& fields) {
    std::string text;
    for (FieldSetting const& setting : fields) {
        text += " " + setting.field->name + "=" + setting.field->type.text(setting.value);
    }
    return text;
}

/** What a step does, as a person reads it. */
struct Description {
    std::string const& channel;
    /** As the library's own texts name the channel. */
    std::string const& identifier;

    std::string operator()(ChannelAction const& action) const {
        return std::string(nameOf(action.operation).name) + " " + channel + " channel(" +
               identifier + ")" + textOf(action.set);
    }
    std::string operator()(DtmfAction const& action) const {
        return "dtmf " + channel + " digit=" + std::to_string(action.digit) +
               " duration=" + std::to_string(action.duration) + "ms";
    }
    std::string operator()(FaxToneAction const&) const { return "faxTone " + channel; }
    std::string operator()(AlertAction const& action) const {
        return "alert " + channel + " value=" + std::to_string(action.value);
    }
    std::string operator()(FailNextAction const& action) const {
        return "failNext " + channel +
               " error=" + boardErrorType().text(static_cast<std::int64_t>(action.error));
    }
    std::string operator()(ConfigureAction const& action) const {
        return "configure" + textOf(action.change);
    }
    std::string operator()(ConsoleAction const& action) const { return "console " + action.line; }
    std::string operator()(WaitAction const& action) const {
        return "wait " + std::to_string(action.time.count()) + "ms";
    }
    std::string operator()(LogLevelAction const& action) const {
        return "logLevel " + std::to_string(action.level);
    }
};

} // namespace

struct CallRunner::Doer {
    CallRunner& runner;
    MC_Channel* channel;

    void operator()(ChannelAction const& action) const {
        runner.set(*channel, action.set);
        auto const refusal =
            runner.site->sessions().perform(nameOf(action.operation).operation, *channel);
        if (refusal) {
            runner.seeRefusal(*refusal);
        }
    }
    void operator()(DtmfAction const& action) const {
        order(dsp::Order::Kind::dtmf, action.digit, action.duration);
    }
    void operator()(FaxToneAction const&) const { order(dsp::Order::Kind::faxTone); }
    void operator()(AlertAction const& action) const {
        order(dsp::Order::Kind::alert, 0, action.value);
    }
    void operator()(FailNextAction const& action) const {
        order(dsp::Order::Kind::failNext, static_cast<std::uint8_t>(action.error));
    }
    void operator()(ConfigureAction const& action) const {
        runner.configure(action.change);
        runner.workstation.announceConfiguration();
    }
    void operator()(ConsoleAction const& action) const {
        std::string const line = expanded(action.line, runner.context());
        requireModest(line);
        runner.workstation.typeCommand(
            line, console, [&to = runner](std::string const& text) { to.seeAnswer(text); });
    }
    void operator()(WaitAction const&) const {}
    void operator()(LogLevelAction const& action) const {
        runner.workstation.setLogLevel(action.level);
    }

    void order(dsp::Order::Kind kind, std::uint8_t value8 = 0, std::uint32_t value32 = 0) const {
        auto const direction = static_cast<dsp::Direction>(channel->direction);
        runner.site->order(channel->sid, {kind, static_cast<std::uint8_t>(channel->dsp), direction,
                                          value8, value32});
    }
};

CallRunner::CallRunner(std::unique_ptr<CallSite> callSite, CallFile const& callFile, Report& to,
                       std::optional<unsigned> level)
    : site(std::move(callSite)),
      file(callFile),
      report(to),
      logLevel(level),
      workstation(host::Workstation::instance()) {}

CallRunner::~CallRunner() {
    // What the site still has to say is said to this runner.
    site.reset();
}

CheckContext CallRunner::context() const {
    return {file.channels,
            [this](std::size_t channel) -> MC_Channel const& { return *records[channel]; }};
}

void CallRunner::fail(Failure const& failure) {
    ++summary.failed;
    report.failure(file.path, current == nullptr ? 0 : current->position.line, place, failure);
}

/* What is seen */

void CallRunner::seeMessage(char const* kind, Message const& message) {
    report.entry(kind, message.text(), toJson(message));
}

void CallRunner::seeCommand(Message const& command) {
    ++summary.commands;
    seen.commands.push_back(command);
    seeMessage("command", command);
}

void CallRunner::seeEvent(Message const& event) {
    ++summary.events;
    seen.events.push_back(event);
    seeMessage("event", event);
}

void CallRunner::seeBoardReport(std::string const& board, std::string const& text) {
    report.entry("board", text + " from=" + board, {{"from", board}, {"text", text}});
    bool const isOnRequest = text.rfind("refused: on request", 0) == 0;
    if (!isOnRequest) {
        seen.reports.push_back(text);
    }
}

void CallRunner::seeCallback(Message const& callback) {
    ++summary.callbacks;
    seen.callbacks.push_back(callback);
    seeMessage("callback", callback);
}

void CallRunner::seeLog(host::Workstation::LogLine const& line) {
    std::string const detail = host::withoutNul(line.detail);
    std::string text = host::withoutNul(line.text);
    text.erase(text.find_last_not_of(" \n") + 1);
    text += detail.empty() ? "" : ": " + detail;
    (line.isError ? seen.errors : seen.traces).push_back(text);
    report.entry(line.isError ? "error" : "trace", text,
                 {{"text", text}, {"source", line.file}, {"source_line", line.line}});
}

void CallRunner::seeRefusal(std::string const& text) {
    ++summary.refusals;
    seen.refusal = host::withoutNul(text);
    report.entry("refused", *seen.refusal, {{"text", *seen.refusal}});
}

void CallRunner::seeAnswer(std::string const& text) {
    std::string const plain = host::withoutNul(text);
    seen.answer += plain;
    ++seen.answers;
    report.entry("answer", plain, {{"text", plain}});
}

void CallRunner::seeLibraryEnd(int cause) {
    // Where it goes on all the same, it may want to end again in the same operation.
    if (std::exchange(isEndedByLibrary, true)) {
        return;
    }
    std::vector<std::string> why = seen.errors;
    why.push_back("IMC_Manager::coreDumpExit(" + std::to_string(cause) + ")");
    fail({"the library ended the process", {}, why, true});
    if (site->endsWithLibrary()) {
        report.endFile(file.path, summary);
        report.end();
        std::_Exit(exitStatusOfFatal);
    }
}

/* The call file from its beginning to its end */

void CallRunner::configure(Configuration const& change) {
    if (change.faxProto) {
        workstation.setConfiguration(privateSection, faxProtoKey, *change.faxProto);
    }
    if (change.rtptickRequest) {
        workstation.setConfiguration(gatewaySection, rtptickRequestKey, *change.rtptickRequest);
    }
    if (change.noteworthyValue5) {
        workstation.setNoteworthyValue(noteworthyNumber, *change.noteworthyValue5);
    }
    if (change.voicelan) {
        workstation.setInterface("voicelan", *change.voicelan);
    }
    for (std::string const& name : change.remove) {
        if (name == faxProtoKey) {
            workstation.removeConfiguration(privateSection, faxProtoKey);
        } else if (name == rtptickRequestKey) {
            workstation.removeConfiguration(gatewaySection, rtptickRequestKey);
        } else {
            workstation.removeNoteworthyValue(noteworthyNumber);
        }
    }
}

void CallRunner::set(MC_Channel& channel, std::vector<FieldSetting> const& fields) {
    for (FieldSetting const& setting : fields) {
        setting.field->set(site->sessions().manager(), channel, setting.value);
    }
}

void CallRunner::prepare() {
    if (logLevel) {
        workstation.setLogLevel(*logLevel);
    }
    site->begin(file, *this);
    configure(file.configuration);
    if (file.isConfigured) {
        workstation.announceConfiguration();
    }
    workstation.dispatcher().runReady();
    prepareChannels();
}

void CallRunner::prepareChannels() {
    doInLoop([this] {
        for (ChannelEntry const& entry : file.channels) {
            records.push_back(&site->create(entry.name));
            std::uint64_t const before = occurred(unknownBoardCause);
            set(*records.back(), entry.fields);
            if (occurred(unknownBoardCause) != before) {
                place = "channel " + entry.name;
                fail(unknownBoard(occurred(unknownBoardCause) - before));
            }
        }
    });
}

/** Runs the task as one of the dispatch loop, where no event can come in between. */
void CallRunner::doInLoop(std::function<void()> const& task) {
    bool isDone = false;
    workstation.dispatcher().post([&task, &isDone] {
        task();
        isDone = true;
    });
    while (!isDone) {
        workstation.dispatcher().runUntil([&isDone] { return isDone; }, file.deadline);
    }
}

/** @return false when what is to come was not there at the deadline */
bool CallRunner::awaitEvents(Step const& step) {
    host::Dispatcher& loop = workstation.dispatcher();
    auto const end = host::Dispatcher::Clock::now() + file.deadline;
    auto const isDone = [&] {
        bool const isAllThere =
            site->hasArrived() && isComplete(step, seen) && (!step.settle || site->pending() == 0);
        return isAllThere || isOver();
    };
    site->mark();
    // What the step set off in this process is on its way already; the rest is waited for.
    loop.runReady();
    while (!isDone()) {
        auto const left =
            std::chrono::duration_cast<Milliseconds>(end - host::Dispatcher::Clock::now());
        if (!loop.runUntil(isDone, left)) {
            return false;
        }
        loop.runReady();
    }
    return true;
}

void CallRunner::runStep(Step const& step) {
    MC_Channel* const channel = step.channel ? records[*step.channel] : nullptr;
    std::string const name = step.channel ? file.channels[*step.channel].name : "";
    current = &step;
    std::string const identifier = channel == nullptr ? "" : channel->getIdentifier();
    place = std::visit(Description{name, identifier}, step.action);
    seen = Observed();
    unknownBoardsBefore = occurred(unknownBoardCause);
    unknownCommandsBefore = occurred(unknownCommandCause);
    if (!step.note.empty()) {
        report.note(step.note);
    }
    doInLoop([&] {
        report.entry("operation", place,
                     {{"file", file.path},
                      {"line", step.position.line},
                      {"step", step.verb},
                      {"channel", name},
                      {"text", place}});
        try {
            std::visit(Doer{*this, channel}, step.action);
        } catch (std::exception const& error) {
            fail({std::string("the step could not be done: ") + error.what(), {}, {}, true});
        }
    });
    if (WaitAction const* const wait = std::get_if<WaitAction>(&step.action)) {
        workstation.dispatcher().runUntil([this] { return isOver(); }, wait->time);
    }
    bool const isInTime = awaitEvents(step);
    requireSiteGoesOn();
    if (isEndedByLibrary) {
        return;
    }
    judgeStep(step, isInTime);
    ++summary.stepsDone;
}

void CallRunner::judgeStep(Step const& step, bool isInTime) {
    if (!isInTime) {
        fail(
            {"not in time",
             {"everything that was waited for, within " + std::to_string(file.deadline.count()) +
              " ms"},
             {plural(seen.commands.size(), "command") + ", " + plural(seen.events.size(), "event") +
              ", " + plural(seen.callbacks.size(), "callback") + ", " +
              plural(site->pending(), "acknowledgement") + " still to come"}});
        site->forget();
    }
    site->requireLiveRecords();
    seen.unknownBoards = occurred(unknownBoardCause) - unknownBoardsBefore;
    seen.unknownCommands = occurred(unknownCommandCause) - unknownCommandsBefore;
    Verdict const verdict = judge(step, seen, context());
    summary.held += verdict.held;
    std::for_each(verdict.failures.begin(), verdict.failures.end(),
                  [this](Failure const& failure) { fail(failure); });
}

void CallRunner::requireSiteGoesOn() const {
    if (site->isEnding()) {
        throw std::runtime_error("the session ends");
    }
}

void CallRunner::runSteps() {
    for (Step const& step : file.steps) {
        runStep(step);
        if (isEndedByLibrary) {
            return;
        }
    }
    current = nullptr;
    place = "end of the file";
    Step rest;
    rest.action = WaitAction();
    seen = Observed();
    unknownBoardsBefore = occurred(unknownBoardCause);
    unknownCommandsBefore = occurred(unknownCommandCause);
    judgeStep(rest, awaitEvents(rest));
}

void CallRunner::checkListings() {
    for (std::size_t i = 0; i < records.size(); ++i) {
        unsigned const listings = SessionManager::listings(*records[i]);
        if (listings != 0 && !file.leaveOpen) {
            fail({"listed channels",
                  {file.channels[i].name + " closed"},
                  {file.channels[i].name + " in state " +
                   findChannelField("state")->type.text(std::int64_t{records[i]->state}) +
                   ", still listed " + plural(listings, "time")}});
        }
    }
}

void CallRunner::finish() {
    checkListings();
    if (auto const leftOver = site->end()) {
        fail(*leftOver);
    }
    checkPlatform();
}

std::uint64_t CallRunner::occurred(char const* cause) const {
    auto const counters = workstation.counters();
    auto const found = counters.find(cause);
    return found == counters.end() ? 0 : found->second;
}

/**
 * What went wrong on the platform fails the file. Left out is what has been judged where it
 * happened: a message that could not be posted, as the refusal of the operation or the end of the
 * process; an unknown board and an unknown command, with the channel or step. A bad value in the
 * environment is printed by the platform, and is no fault of the call.
 */
void CallRunner::checkPlatform() {
    std::set<std::string> const judgedElsewhere = {"imc.post_refused", unknownBoardCause,
                                                   unknownCommandCause, "environment.bad_value"};
    auto const before = site->countersBefore();
    for (auto const& [cause, count] : workstation.counters()) {
        auto const known = before.find(cause);
        std::uint64_t const risen = count - (known == before.end() ? 0 : known->second);
        if (risen != 0 && judgedElsewhere.count(cause) == 0) {
            fail({"faults of the platform", {}, {cause + ": " + std::to_string(risen)}, true});
        }
    }
}

Summary CallRunner::run() {
    summary = Summary();
    summary.steps = file.steps.size();
    report.beginFile(file.path, file.title);
    place = "beginning of the file";
    try {
        prepare();
        report.startClock();
        runSteps();
        finish();
    } catch (CallFileError const& error) {
        fail({std::string("the call file can't be run here: ") + error.what(), {}, {}, true});
        site->abandon();
    } catch (std::exception const& error) {
        fail({std::string("the call file could not be run to its end: ") + error.what(),
              {},
              {},
              true});
        site->abandon();
    }
    report.endFile(file.path, summary);
    return summary;
}

} // namespace gateway
