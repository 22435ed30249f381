#ifndef GATEWAY_CAPTURE_MERGE_H
#define GATEWAY_CAPTURE_MERGE_H

#include "imc/imc_msg.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace gateway {

/** A message that somebody sent, as it is going to be recorded. */
struct TimedMessage {
    std::string sender;
    /** Since 1970, by the sender's clock. */
    std::chrono::nanoseconds time{};
    imc_msg message{};
    /** What there is to say; empty for nothing. */
    std::string comment{};
};

/**
 * Brings messages of several senders, which arrive as it comes, into the order of their times. Each
 * is held for a while, so that an earlier one may still arrive; one that comes later than that
 * stands where it comes. Messages of one sender stay in the order in which they were added, even
 * where its clock was set back.
 */
class Merge {
public:
    using Clock = std::chrono::steady_clock;

    explicit Merge(std::chrono::milliseconds hold);

    void add(TimedMessage message, Clock::time_point now);

    /** Those that were held long enough, and what precedes them. */
    std::vector<TimedMessage> takeDue(Clock::time_point now);

    /** All that are held. */
    std::vector<TimedMessage> takeAll();

    std::size_t size() const { return held.size(); }

private:
    /** The time that it is sorted by, and how many were added before. */
    using Key = std::pair<std::chrono::nanoseconds, std::uint64_t>;
    using Held = std::map<Key, TimedMessage>;

    std::vector<TimedMessage> takeUntil(Held::iterator end);

    std::chrono::milliseconds hold;
    std::uint64_t added = 0;
    Held held;
    std::deque<std::pair<Clock::time_point, Key>> arrivals;
    /** What the last message of each sender is sorted by. */
    std::map<std::string, std::chrono::nanoseconds> latest;
};

/** Counts the messages of one sender that did not arrive. */
class Gaps {
public:
    /**
     * A message arrived.
     * @param number counts all that the sender sent
     * @param missedBefore as the sender says, since it sends here
     * @return how many are missing between the one before and this one
     */
    std::uint64_t arrived(std::uint64_t number, std::uint64_t missedBefore);

    /** The sender says how many are missing since it sends here, and none follows so far. */
    void told(std::uint64_t missedTotal);

    /** How many are missing in all. */
    std::uint64_t total() const { return known + pending; }

private:
    std::uint64_t lastNumber = 0;
    std::uint64_t lastMissed = 0;
    std::uint64_t known = 0;
    /** Missing behind the last one that arrived; the next one says it again. */
    std::uint64_t pending = 0;
};

} // namespace gateway

#endif
