#include "gateway/session/SessionCause.h"

namespace gateway {

/** In the order of SessionCause. */
std::array<char const*, SessionCounters::causes> const SessionCounters::names = {
    "session.ack_in_time",      "session.ack_error",       "session.ack_deadline",
    "session.ack_late",         "session.ack_duplicate",   "session.ack_unexpected",
    "session.ack_lost",         "session.ack_malformed",   "session.ack_forgotten",
    "session.ack_orphan",       "session.half_open",       "session.half_open_healed",
    "session.half_open_closed", "session.open_refused",    "session.board_lost",
    "session.board_restarted",  "session.restart_closed",  "session.restart_reopened",
    "session.audit_unanswered", "session.audit_not_sent",  "session.audit_unexpected",
    "session.audit_missing",    "session.audit_orphan",    "session.audit_taken",
    "session.audit_extra",      "session.orphan_closed",   "session.post_refused",
    "session.library_refused",  "session.request_refused", "session.call_failed",
};

std::map<std::string, std::uint64_t> SessionCounters::occurred() const {
    std::map<std::string, std::uint64_t> result;
    for (std::size_t i = 0; i < causes; ++i) {
        if (counts[i] != 0) {
            result.emplace(names[i], counts[i]);
        }
    }
    return result;
}

} // namespace gateway
