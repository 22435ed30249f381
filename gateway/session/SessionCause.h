#ifndef GATEWAY_SESSION_SESSIONCAUSE_H
#define GATEWAY_SESSION_SESSIONCAUSE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace gateway {

/** What a session counts; docs/session.md describes each. */
enum class SessionCause : std::size_t {
    ackInTime,
    ackError,
    ackDeadline,
    ackLate,
    ackDuplicate,
    ackUnexpected,
    ackLost,
    ackMalformed,
    ackForgotten,
    ackOrphan,
    halfOpen,
    halfOpenHealed,
    halfOpenClosed,
    openRefused,
    boardLost,
    boardRestarted,
    restartClosed,
    restartReopened,
    auditUnanswered,
    auditNotSent,
    auditUnexpected,
    auditMissing,
    auditOrphan,
    auditTaken,
    auditExtra,
    orphanClosed,
    postRefused,
    libraryRefused,
    requestRefused,
    callFailed
};

class SessionCounters {
public:
    void add(SessionCause cause) { ++counts.at(static_cast<std::size_t>(cause)); }
    std::uint64_t value(SessionCause cause) const {
        return counts.at(static_cast<std::size_t>(cause));
    }

    /** The causes that occurred, by name. */
    std::map<std::string, std::uint64_t> occurred() const;

    static constexpr std::size_t causes = static_cast<std::size_t>(SessionCause::callFailed) + 1;

    /** "session.ack_late". */
    static std::array<char const*, causes> const names;

private:
    std::array<std::uint64_t, causes> counts{};
};

} // namespace gateway

#endif
