#ifndef GATEWAY_SESSION_AUDITOR_H
#define GATEWAY_SESSION_AUDITOR_H

#include "gateway/session/AckDeadlines.h"
#include "gateway/session/AuditComparison.h"
#include "gateway/session/Audits.h"
#include "gateway/session/BoardNames.h"
#include "gateway/session/BoardWatch.h"
#include "gateway/session/Channels.h"
#include "gateway/session/Journal.h"
#include "gateway/session/Records.h"
#include "gateway/session/Supervision.h"

#include "imc/imc_msg.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace gateway {

/** Asks the boards what they have open, and does what follows from the answers. */
class Auditor {
public:
    using Time = AckDeadlines::Time;

    /** Of the audits' tags: those from here on are a call file's own. */
    static constexpr std::uint32_t firstForeignTag = 0x80000000U;

    /** What the auditor works on; all outlive it. */
    struct Subjects {
        Supervision const& options;
        Journal& journal;
        Records& records;
        AckDeadlines& deadlines;
        BoardWatch& boards;
        BoardNames& names;
        Channels& channels;
        /** Whether the path is that of a call file that runs. */
        std::function<bool(Path const&)> isOfCallFile;
        /** Does to a channel that its board has forgotten what is to be done. */
        std::function<void(Record&)> treatForgotten;
    };

    explicit Auditor(Subjects subjects)
        : with(std::move(subjects)), audits(with.options.ackDeadline) {}

    /** Asks a board, unless that is under way. @param waiter may be empty */
    void audit(unsigned char sid, Time now, Audits::Waiter waiter = nullptr);

    /** Asks all boards, when it is time to. */
    void tick(Time now);

    /** A message with the identifier of an answer arrived. */
    void take(imc_msg const& message, Time now);

    /** The board is gone. */
    void drop(unsigned char sid);

    std::optional<Time> nextDue() const;

private:
    void send(unsigned char sid, Time now);
    void expire(Time now);
    AuditFindings compare(unsigned char sid, dsp::AuditAnswer const& answer,
                          std::uint64_t serial) const;
    void treatMissing(AuditFindings const& findings, Time now);
    void treatOrphans(unsigned char sid, AuditFindings const& findings);
    void closeOrphan(AuditFindings::Orphan const& orphan);
    void reportOthers(unsigned char sid, AuditFindings const& findings);

    Subjects with;
    Audits audits;
    std::optional<Time> next;
    /** Those that have been reported, and are there still. */
    std::set<Path> toldOrphans;
    /** The same of records whose path holds what is not theirs: their names, by board. */
    std::map<unsigned char, std::set<std::string>> toldOthers;
};

} // namespace gateway

#endif
