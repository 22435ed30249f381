#ifndef GATEWAY_SESSION_AUDITS_H
#define GATEWAY_SESSION_AUDITS_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace gateway {

/** The audits under way, one of a board at a time, and the boards that do not answer them. */
class Audits {
public:
    using Time = std::chrono::steady_clock::time_point;
    /** Told the outcome in words. */
    using Waiter = std::function<void(std::string const& outcome)>;

    struct Audit {
        std::uint32_t tag = 0;
        /** AckDeadlines::serial when it was sent. */
        std::uint64_t serial = 0;
        Time due{};
        std::vector<Waiter> waiters{};
    };
    struct Unanswered {
        unsigned char sid = 0;
        /** It answered the audit before, or was never asked. */
        bool isFirst = false;
        std::vector<Waiter> waiters{};
    };

    explicit Audits(std::chrono::milliseconds deadline);

    bool isUnderWay(unsigned char sid) const { return audits.count(sid) != 0; }

    /** Begins one. @return its tag */
    std::uint32_t begin(unsigned char sid, std::uint64_t serial, Time now);

    /** Somebody wants to know what becomes of the audit that is under way. */
    void await(unsigned char sid, Waiter waiter);

    /** The answer arrived. @return the audit that it ends; nothing when it is no answer to one */
    std::optional<Audit> answer(unsigned char sid, std::uint32_t tag);

    /** It could not be sent, or the board is gone. @return its waiters */
    std::vector<Waiter> drop(unsigned char sid);

    /** Those whose time has passed; each once. */
    std::vector<Unanswered> expire(Time now);

    std::optional<Time> nextDue() const;

private:
    std::chrono::milliseconds const deadline;
    std::map<unsigned char, Audit> audits;
    std::set<unsigned char> silent;
    std::uint32_t lastTag = 0;
};

} // namespace gateway

#endif
