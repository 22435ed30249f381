#include "gateway/session/Supervisor.h"

#include "dsp/Cause.h"
#include "dsp/Commands.h"
#include "dsp/Events.h"
#include "dsp/Service.h"
#include "host/Workstation.h"
#include "host/imc/SidText.h"
#include "imc/IMC_Manager.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace gateway {

using host::BusHolder;
using host::sidText;

namespace {

/** The acknowledgements; each is the identifier of its command and 1. */
std::array<long, 8> const ackIdentifiers = {101, 105, 103, 107, 116, 120, 118, 122};

std::array<long, 2> const services = {static_cast<long>(dsp::Service::auditAnswer),
                                      static_cast<long>(dsp::Service::auditRequest)};

std::string errorText(unsigned error) {
    char const* const name = dsp::errorName(error);
    return "error " + std::to_string(error) +
           (name == nullptr ? "" : std::string(" (") + name + ")");
}

/** As the library has it: a fax path that got a port is open, whatever else the board says. */
unsigned errorOf(dsp::Acknowledge const& event, Request const& request) {
    bool const isFaxWithPort = request.kind == Request::Kind::openFax && event.localPort != 0;
    return isFaxWithPort ? 0 : event.error;
}

AckDeadlines::Time now() {
    return AckDeadlines::Clock::now();
}

} // namespace

Supervisor::Supervisor(host::Dispatcher& dispatcher, Supervision const& how,
                       SessionManager& sessions, Journal& to, BoardNames& names)
    : options(how),
      journal(to),
      deadlines(how.ackDeadline),
      ownRecords(how.halfOpen),
      ownChannels(sessions, ownRecords, ownBoards, journal),
      auditor({options, journal, ownRecords, deadlines, ownBoards, names, ownChannels,
               [this](Path const& path) { return isOfCallFile && isOfCallFile(path); },
               [this](Record& record) { treatForgotten(record); }}),
      alarm(dispatcher, [this](Time time) { wake(time); }) {
    IMC_Manager* const imc = IMC_Manager::instance(0xff);
    for (long const identifier : ackIdentifiers) {
        imc->registration(this, identifier);
    }
    for (long const identifier : services) {
        imc->registration(this, identifier);
    }
}

Supervisor::~Supervisor() {
    IMC_Manager* const imc = IMC_Manager::instance(0xff);
    for (long const identifier : ackIdentifiers) {
        imc->unregistration(this, identifier);
    }
    for (long const identifier : services) {
        imc->unregistration(this, identifier);
    }
}

void Supervisor::begin() {
    hasBegun = true;
    wake(now());
}

void Supervisor::audit(unsigned char sid, Audits::Waiter waiter) {
    auditor.audit(sid, now(), std::move(waiter));
    setAlarm();
}

void Supervisor::postRefused(int cause) {
    ownChannels.postRefused();
    journal.entry(SessionCause::postRefused, "refused",
                  "the library could not send a command, and would have ended the process",
                  {{"cause", cause}});
}

/* Time */

void Supervisor::setAlarm() {
    alarm.setFor(deadlines.nextDue());
    alarm.setFor(ownRecords.nextDue());
    alarm.setFor(auditor.nextDue());
}

void Supervisor::wake(Time time) {
    expireDeadlines(time, time);
    closeExpired(time);
    if (hasBegun) {
        auditor.tick(time);
    }
    setAlarm();
}

void Supervisor::expireDeadlines(Time until, Time time) {
    std::string const why =
        "not acknowledged within " + std::to_string(options.ackDeadline.count()) + " ms";
    for (Request const& request : deadlines.expire(until)) {
        missed(request, SessionCause::ackDeadline, why, time);
    }
}

void Supervisor::giveUp() {
    expireDeadlines(Time::max(), now());
}

void Supervisor::closeExpired(Time time) {
    for (Record* const record : ownRecords.expired(time)) {
        journal.entry(SessionCause::halfOpenClosed, "half-open",
                      record->name + " was half-open for " +
                          std::to_string(options.halfOpen.count()) + " ms, and is closed",
                      {{"channel", record->name}});
        ownChannels.close(*record);
    }
}

/* Commands and acknowledgements */

void Supervisor::carried(imc_msg const& message) {
    bool const isCommand = message.sourceSid == host::Workstation::instance().sid() &&
                           dsp::findCommand(message.messageId) != nullptr;
    if (!isCommand) {
        return;
    }
    journal.command(message);
    if (auto const request =
            requestOf(message.messageId, message.destinationSid, message.payload[0])) {
        deadlines.expect(*request, now(), ownRecords.sent(*request));
        setAlarm();
    }
}

void Supervisor::refused(imc_msg const& /*message*/, std::string const& /*reason*/) {}

void Supervisor::messageEvent(imc_msg const& message) {
    Time const time = now();
    switch (static_cast<dsp::Service>(static_cast<std::uint32_t>(message.messageId))) {
    case dsp::Service::auditAnswer:
        auditor.take(message, time);
        break;
    case dsp::Service::auditRequest:
        answerAudit(message);
        break;
    default:
        acknowledged(message, time);
    }
    setAlarm();
}

void Supervisor::timeoutEvent(unsigned int /*timer*/) {}

void Supervisor::acknowledged(imc_msg const& message, Time time) {
    auto const event = dsp::decodeEvent(message);
    auto const* const done = event ? std::get_if<dsp::Acknowledge>(&*event) : nullptr;
    auto const request =
        done != nullptr ? requestOf(done->command, message.sourceSid, done->dsp) : std::nullopt;
    if (!request) {
        journal.entry(SessionCause::ackMalformed, "malformed",
                      "acknowledgement from board " + sidText(message.sourceSid) + ": " +
                          dsp::describe(message),
                      {{"sid", sidText(message.sourceSid)}});
        return;
    }
    unsigned const error = errorOf(*done, *request);
    AckDeadlines::Outcome const outcome = deadlines.acknowledge(*request, error, time);
    reportAcknowledgement(*request, error, outcome);
    bool const isAnswer = outcome.result == AckDeadlines::Result::inTime ||
                          outcome.result == AckDeadlines::Result::late;
    if (isAnswer) {
        apply(*request, outcome.isTolerated ? 0 : error, done->localPort);
    }
}

void Supervisor::reportAcknowledgement(Request const& request, unsigned error,
                                       AckDeadlines::Outcome const& outcome) {
    std::string const what = textOf(request) + nameOf(request.path);
    Report::Json const details = {{"sid", sidText(request.path.sid)},
                                  {"dsp", request.path.dsp},
                                  {"error", error},
                                  {"took_ms", outcome.took.count()}};
    switch (outcome.result) {
    case AckDeadlines::Result::inTime:
        journal.count(SessionCause::ackInTime);
        break;
    case AckDeadlines::Result::late:
        journal.entry(SessionCause::ackLate, "late",
                      what + ": acknowledged after " + std::to_string(outcome.took.count()) + " ms",
                      details);
        break;
    case AckDeadlines::Result::duplicate:
        journal.entry(SessionCause::ackDuplicate, "duplicate", what + ": acknowledged already",
                      details);
        return;
    case AckDeadlines::Result::unexpected:
        journal.entry(SessionCause::ackUnexpected, "unexpected",
                      what + ": acknowledged, and not asked for", details);
        return;
    }
    if (error == 0) {
        return;
    }
    if (outcome.isTolerated) {
        journal.count(request.isOpening() ? SessionCause::ackOrphan : SessionCause::ackForgotten);
    } else {
        journal.entry(SessionCause::ackError, "ack error",
                      what + ": acknowledged with " + errorText(error), details);
    }
}

/** What an acknowledgement makes of the record that it is about, where there is one. */
void Supervisor::apply(Request const& request, unsigned error, std::uint16_t port) {
    Records::Change const change = ownRecords.acknowledged(request, error);
    Record* const record = ownRecords.at(request.path);
    if (record == nullptr) {
        return;
    }
    if (request.isOpening()) {
        record->port = port;
    }
    if (error != 0) {
        record->fault = record->name + ": board " + sidText(request.path.sid) + " answered " +
                        textOf(request.kind) + " with " + errorText(error);
    }
    if (change == Records::Change::healed) {
        journal.entry(SessionCause::halfOpenHealed, "healed", record->name + ": " + record->text(),
                      {{"channel", record->name}});
    }
    if (change == Records::Change::refused) {
        journal.entry(SessionCause::openRefused, "refused",
                      record->name + " is closed, since the board did not open it",
                      {{"channel", record->name}});
        ownChannels.close(*record);
        return;
    }
    ownChannels.settle(*record);
}

void Supervisor::missed(Request const& request, SessionCause cause, std::string const& why,
                        Time time) {
    journal.entry(cause, cause == SessionCause::ackLost ? "ack lost" : "no ack",
                  textOf(request) + nameOf(request.path) + ": " + why,
                  {{"sid", sidText(request.path.sid)}, {"dsp", request.path.dsp}});
    Records::Change const change = ownRecords.missed(request, time);
    Record* const record = ownRecords.at(request.path);
    if (record == nullptr) {
        return;
    }
    record->fault = record->name + ": " + textOf(request.kind) + ": " + why;
    if (change == Records::Change::halfOpened) {
        halfOpened(*record);
    }
    ownChannels.settle(*record);
}

void Supervisor::halfOpened(Record const& record) {
    journal.entry(SessionCause::halfOpen, "half-open",
                  record.name + " on " + textOf(record.path) + ": " + record.text(),
                  {{"channel", record.name}});
}

std::string Supervisor::nameOf(Path const& path) const {
    Record const* const record = ownRecords.at(path);
    return record == nullptr ? "" : " (" + record->name + ")";
}

/* Boards */

void Supervisor::tell(std::string const& kind, std::string const& text,
                      Report::Json const& details) {
    journal.entry(kind, text, details);
}

void Supervisor::peerFound(unsigned char sid, BusHolder const& holder) {
    BusReporter::peerFound(sid, holder);
    ownBoards.found(sid, holder);
    audit(sid, nullptr);
}

void Supervisor::peerLost(unsigned char sid, BusHolder const& holder, std::uint64_t undelivered,
                          std::string const& why) {
    BusReporter::peerLost(sid, holder, undelivered, why);
    journal.count(SessionCause::boardLost);
    ownBoards.lost(sid);
    auditor.drop(sid);
    Time const time = now();
    for (Request const& request : deadlines.loseBoard(sid)) {
        missed(request, SessionCause::ackLost, "lost with its board", time);
    }
    for (Record const* const record : ownRecords.forget(sid, time)) {
        halfOpened(*record);
    }
    setAlarm();
}

void Supervisor::peerReturned(unsigned char sid, BusHolder const& holder, bool restarted) {
    BusReporter::peerReturned(sid, holder, restarted);
    ownBoards.returned(sid, holder, restarted);
    if (restarted) {
        journal.count(SessionCause::boardRestarted);
        boardForgot(sid);
    } else {
        for (Record const* const record : ownRecords.remember(sid)) {
            journal.entry(SessionCause::halfOpenHealed, "healed",
                          record->name + ": its board is back, and has not restarted",
                          {{"channel", record->name}});
        }
    }
    audit(sid, nullptr);
}

/** Those opened since are the new board's. */
void Supervisor::boardForgot(unsigned char sid) {
    for (Record* const record : ownRecords.ofBoard(sid)) {
        if (record->isHalfOpen()) {
            treatForgotten(*record);
        }
    }
}

void Supervisor::treatForgotten(Record& record) {
    std::string const name = record.name;
    bool const isReopening = options.onRestart == Supervision::OnRestart::reopen;
    journal.entry("restart",
                  name + " was forgotten by its board: it is " +
                      (isReopening ? "opened again" : "closed"),
                  {{"channel", name}});
    auto const refusal = isReopening ? ownChannels.reopen(record) : ownChannels.close(record);
    // What can't be opened again is closed.
    journal.count(isReopening && !refusal ? SessionCause::restartReopened
                                          : SessionCause::restartClosed);
    if (refusal) {
        journal.entry("refused", *refusal, {{"channel", name}});
    }
}

void Supervisor::claimLost(unsigned char sid, BusHolder const& holder) {
    BusReporter::claimLost(sid, holder);
    if (onClaimLost) {
        onClaimLost();
    }
}

/** Another session asks: this one is no board, and has no channels to be looked after. */
void Supervisor::answerAudit(imc_msg const& message) {
    auto const tag = dsp::decodeAuditRequest(message);
    if (!tag) {
        return;
    }
    dsp::AuditAnswer answer;
    answer.tag = *tag;
    try {
        IMC_Manager::instance(0xff)->post(
            dsp::encodeAuditAnswer(answer, host::Workstation::instance().sid(), message.sourceSid));
    } catch (std::runtime_error const& error) {
        journal.entry(SessionCause::auditNotSent, "audit",
                      "the answer to " + sidText(message.sourceSid) +
                          " can't be sent: " + error.what());
    }
}

} // namespace gateway
