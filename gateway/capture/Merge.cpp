#include "gateway/capture/Merge.h"

#include <algorithm>
#include <iterator>

namespace gateway {

Merge::Merge(std::chrono::milliseconds howLong) : hold(howLong) {}

void Merge::add(TimedMessage message, Clock::time_point now) {
    auto& last = latest.emplace(message.sender, message.time).first->second;
    last = std::max(last, message.time);
    Key const key = {last, ++added};
    held.emplace(key, std::move(message));
    arrivals.emplace_back(now, key);
}

std::vector<TimedMessage> Merge::takeDue(Clock::time_point now) {
    std::vector<TimedMessage> due;
    while (!arrivals.empty() && arrivals.front().first + hold <= now) {
        std::vector<TimedMessage> more = takeUntil(held.upper_bound(arrivals.front().second));
        std::move(more.begin(), more.end(), std::back_inserter(due));
        arrivals.pop_front();
    }
    return due;
}

std::vector<TimedMessage> Merge::takeAll() {
    arrivals.clear();
    return takeUntil(held.end());
}

std::vector<TimedMessage> Merge::takeUntil(Held::iterator end) {
    std::vector<TimedMessage> taken;
    for (auto each = held.begin(); each != end; ++each) {
        taken.push_back(std::move(each->second));
    }
    held.erase(held.begin(), end);
    return taken;
}

std::uint64_t Gaps::arrived(std::uint64_t number, std::uint64_t missedBefore) {
    bool const isContinued = lastNumber != 0 && number > lastNumber;
    // What was sent before the sender knew of us is not missing; what came while a link was broken
    // is.
    std::uint64_t const missing = isContinued ? number - lastNumber - 1 : missedBefore;
    lastNumber = number;
    lastMissed = missedBefore;
    known += missing;
    pending = 0;
    return missing;
}

void Gaps::told(std::uint64_t missedTotal) {
    pending = missedTotal >= lastMissed ? missedTotal - lastMissed : missedTotal;
}

} // namespace gateway
