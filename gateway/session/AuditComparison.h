#ifndef GATEWAY_SESSION_AUDITCOMPARISON_H
#define GATEWAY_SESSION_AUDITCOMPARISON_H

#include "gateway/session/Path.h"

#include "dsp/Service.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace gateway {

/** What the session holds to be open on a path of a board. */
struct OwnPath {
    std::string name;
    Path path{};
    bool isVoiceOpen = false;
    bool isFaxOpen = false;

    bool isOpen(Medium medium) const { return medium == Medium::voice ? isVoiceOpen : isFaxOpen; }
};

/** What a board says, held against what the session knows. */
struct AuditFindings {
    struct Missing {
        std::string name;
        Medium medium = Medium::voice;

        bool operator==(Missing const& other) const {
            return name == other.name && medium == other.medium;
        }
    };
    struct Orphan {
        Path path{};
        bool isVoiceOpen = false;
        bool isFaxOpen = false;

        bool operator==(Orphan const& other) const {
            return path == other.path && isVoiceOpen == other.isVoiceOpen &&
                   isFaxOpen == other.isFaxOpen;
        }
    };

    /** Open here, closed there. */
    std::vector<Missing> missing{};
    /** Open there on this session's behalf, and not known here. */
    std::vector<Orphan> orphans{};
    /** Names of records whose path another session has opened. */
    std::vector<std::string> taken{};
    /** Names of records of which the board has more open than was asked for. */
    std::vector<std::string> extra{};
    /** @name Paths with something open */
    /// @{
    std::size_t open = 0;
    std::size_t others = 0;
    /// @}

    bool isClean() const {
        return missing.empty() && orphans.empty() && taken.empty() && extra.empty();
    }
};

/** What compareAudit asks of a path that the board has open. */
struct PathKnowledge {
    /** Requests are undecided, or were sent after the audit: what the board says is old. */
    std::function<bool(Path const&)> isBusy;
    /** This process has opened it, in a record or a call file that are there still. */
    std::function<bool(Path const&, Medium)> isOpened;
};

/** @param own the session's paths on the board; those that are busy are left out */
AuditFindings compareAudit(unsigned char sid, dsp::AuditAnswer const& answer,
                           std::vector<OwnPath> const& own, PathKnowledge const& knowledge);

} // namespace gateway

#endif
