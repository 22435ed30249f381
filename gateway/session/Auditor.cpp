#include "gateway/session/Auditor.h"

#include "gateway/Text.h"

#include "dsp/Service.h"
#include "host/Workstation.h"
#include "host/imc/SidText.h"
#include "imc/IMC_Manager.h"

#include <stdexcept>
#include <utility>

namespace gateway {

using host::sidText;

namespace {

std::string boardText(unsigned char sid) {
    return "board " + sidText(sid);
}

void tellAll(std::vector<Audits::Waiter> const& waiters, std::string const& outcome) {
    for (Audits::Waiter const& waiter : waiters) {
        waiter(outcome);
    }
}

std::string openText(AuditFindings::Orphan const& orphan) {
    return orphan.isVoiceOpen && orphan.isFaxOpen ? "voice and fax"
           : orphan.isVoiceOpen                   ? "voice"
                                                  : "fax";
}

std::string textOf(AuditFindings const& findings) {
    return std::to_string(findings.open) + " open, " + std::to_string(findings.others) +
           " of others, " + std::to_string(findings.missing.size()) + " missing, " +
           plural(findings.orphans.size(), "orphan");
}

Report::Json toJson(unsigned char sid, AuditFindings const& findings) {
    return {{"sid", sidText(sid)},
            {"open", findings.open},
            {"others", findings.others},
            {"missing", findings.missing.size()},
            {"orphans", findings.orphans.size()}};
}

} // namespace

void Auditor::audit(unsigned char sid, Time now, Audits::Waiter waiter) {
    if (!audits.isUnderWay(sid)) {
        send(sid, now);
    }
    if (!waiter) {
        return;
    }
    if (audits.isUnderWay(sid)) {
        audits.await(sid, std::move(waiter));
    } else {
        waiter(boardText(sid) + ": can't be asked");
    }
}

/** Audits go the way that commands go, so that the answer is about all that was sent before. */
void Auditor::send(unsigned char sid, Time now) {
    std::uint32_t const tag = audits.begin(sid, with.deadlines.serial(), now);
    try {
        IMC_Manager::instance(0xff)->post(
            dsp::encodeAuditRequest(tag, host::Workstation::instance().sid(), sid));
    } catch (std::runtime_error const& error) {
        audits.drop(sid);
        with.journal.entry(SessionCause::auditNotSent, "audit",
                           boardText(sid) + " can't be asked: " + error.what(),
                           {{"sid", sidText(sid)}});
    }
}

void Auditor::tick(Time now) {
    expire(now);
    if (with.options.audit == Supervision::Milliseconds::zero() || (next && *next > now)) {
        return;
    }
    next = now + with.options.audit;
    for (BoardWatch::Peer const& board : with.boards.boards()) {
        if (board.isPresent) {
            audit(board.sid, now);
        }
    }
}

void Auditor::expire(Time now) {
    for (Audits::Unanswered const& each : audits.expire(now)) {
        with.journal.count(SessionCause::auditUnanswered);
        with.boards.silent(each.sid);
        std::string const text = boardText(each.sid) + " does not answer audits";
        if (each.isFirst) {
            with.journal.entry("audit", text, {{"sid", sidText(each.sid)}});
        }
        tellAll(each.waiters, text);
    }
}

void Auditor::drop(unsigned char sid) {
    tellAll(audits.drop(sid), boardText(sid) + " went away");
    toldOthers.erase(sid);
    toldOrphans.erase(toldOrphans.lower_bound({sid, 0, dsp::Direction::in}),
                      toldOrphans.upper_bound({sid, 255, dsp::Direction::out}));
}

void Auditor::take(imc_msg const& message, Time now) {
    auto const answer = dsp::decodeAuditAnswer(message);
    if (answer && answer->tag >= firstForeignTag) {
        return;
    }
    unsigned char const sid = message.sourceSid;
    auto const audit = answer ? audits.answer(sid, answer->tag) : std::nullopt;
    if (!audit) {
        with.journal.entry(SessionCause::auditUnexpected, "audit",
                           "what " + boardText(sid) + " says answers no audit",
                           {{"sid", sidText(sid)}});
        return;
    }
    if (with.boards.audited(sid, *answer)) {
        with.journal.entry(SessionCause::boardRestarted, "restarted",
                           boardText(sid) + ", as its answer to an audit tells",
                           {{"sid", sidText(sid)}});
    }
    AuditFindings const findings = compare(sid, *answer, audit->serial);
    with.boards.tellOpen(sid, findings.open, findings.others);
    std::string const text = boardText(sid) + ": " + textOf(findings);
    if (!findings.isClean()) {
        with.journal.entry("audit", text, toJson(sid, findings));
    }
    treatMissing(findings, now);
    treatOrphans(sid, findings);
    reportOthers(sid, findings);
    tellAll(audit->waiters, text);
}

AuditFindings Auditor::compare(unsigned char sid, dsp::AuditAnswer const& answer,
                               std::uint64_t serial) const {
    std::vector<OwnPath> own;
    for (Record const* const record : with.records.ofBoard(sid)) {
        own.push_back({record->name, record->path, record->isOpen(Medium::voice),
                       record->isOpen(Medium::fax)});
    }
    PathKnowledge knowledge;
    knowledge.isBusy = [this, serial](Path const& path) {
        return with.deadlines.isOutstanding(path) || with.deadlines.isTouchedSince(path, serial);
    };
    knowledge.isOpened = [this](Path const& path, Medium medium) {
        // What is nobody's any more was closed here only, since the board could not be told.
        bool const isSomebodys = with.records.at(path) != nullptr || with.isOfCallFile(path);
        return isSomebodys && with.deadlines.isOpened(path, medium);
    };
    return compareAudit(sid, answer, own, knowledge);
}

void Auditor::treatMissing(AuditFindings const& findings, Time now) {
    std::set<std::string> names;
    for (AuditFindings::Missing const& each : findings.missing) {
        Record& record = *with.records.find(each.name);
        with.journal.entry(SessionCause::auditMissing, "missing",
                           each.name + ": " + nameOf(each.medium) + " is not open on " +
                               gateway::textOf(record.path) + " any more",
                           {{"channel", each.name}, {"medium", nameOf(each.medium)}});
        with.records.forget(record, each.medium, now);
        names.insert(each.name);
    }
    for (std::string const& name : names) {
        with.treatForgotten(*with.records.find(name));
    }
}

void Auditor::treatOrphans(unsigned char sid, AuditFindings const& findings) {
    std::set<Path> still;
    for (AuditFindings::Orphan const& orphan : findings.orphans) {
        still.insert(orphan.path);
        if (toldOrphans.count(orphan.path) == 0) {
            with.journal.entry(SessionCause::auditOrphan, "orphan",
                               gateway::textOf(orphan.path) + ": " + openText(orphan) +
                                   " open, and not this session's",
                               {{"sid", sidText(sid)}, {"dsp", orphan.path.dsp}});
        }
        if (with.options.orphans == Supervision::Orphans::close) {
            closeOrphan(orphan);
        }
    }
    toldOrphans.erase(toldOrphans.lower_bound({sid, 0, dsp::Direction::in}),
                      toldOrphans.upper_bound({sid, 255, dsp::Direction::out}));
    toldOrphans.insert(still.begin(), still.end());
}

void Auditor::closeOrphan(AuditFindings::Orphan const& orphan) {
    std::string fault;
    try {
        fault = with.channels
                    .closeOrphan(orphan.path, orphan.isVoiceOpen, orphan.isFaxOpen,
                                 with.names.ipOf(orphan.path.sid))
                    .value_or("");
    } catch (std::runtime_error const& error) {
        fault = error.what();
    }
    if (fault.empty()) {
        with.journal.entry(SessionCause::orphanClosed, "closed",
                           gateway::textOf(orphan.path) + ", an orphan",
                           {{"sid", sidText(orphan.path.sid)}, {"dsp", orphan.path.dsp}});
    } else {
        with.journal.entry("orphan", gateway::textOf(orphan.path) + " stays: " + fault);
    }
}

void Auditor::reportOthers(unsigned char sid, AuditFindings const& findings) {
    std::set<std::string> still;
    auto const isNews = [&](std::string const& name) {
        still.insert(name);
        return toldOthers[sid].count(name) == 0;
    };
    for (std::string const& name : findings.taken) {
        if (isNews(name)) {
            with.journal.entry(SessionCause::auditTaken, "taken",
                               name + ": its path is open for another session",
                               {{"channel", name}});
        }
    }
    for (std::string const& name : findings.extra) {
        if (isNews(name)) {
            with.journal.entry(SessionCause::auditExtra, "extra",
                               name + ": the board has more open on its path than was asked for",
                               {{"channel", name}});
        }
    }
    toldOthers[sid] = std::move(still);
}

std::optional<Auditor::Time> Auditor::nextDue() const {
    auto const due = audits.nextDue();
    if (!next || with.options.audit == Supervision::Milliseconds::zero()) {
        return due;
    }
    return due ? std::min(*due, *next) : *next;
}

} // namespace gateway
