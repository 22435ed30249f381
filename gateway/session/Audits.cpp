#include "gateway/session/Audits.h"

#include <algorithm>
#include <utility>

namespace gateway {

Audits::Audits(std::chrono::milliseconds itsDeadline) : deadline(itsDeadline) {}

std::uint32_t Audits::begin(unsigned char sid, std::uint64_t serial, Time now) {
    audits[sid] = {++lastTag, serial, now + deadline, {}};
    return lastTag;
}

void Audits::await(unsigned char sid, Waiter waiter) {
    audits.at(sid).waiters.push_back(std::move(waiter));
}

std::optional<Audits::Audit> Audits::answer(unsigned char sid, std::uint32_t tag) {
    auto const found = audits.find(sid);
    if (found == audits.end() || found->second.tag != tag) {
        return std::nullopt;
    }
    Audit audit = std::move(found->second);
    audits.erase(found);
    silent.erase(sid);
    return audit;
}

std::vector<Audits::Waiter> Audits::drop(unsigned char sid) {
    auto const found = audits.find(sid);
    if (found == audits.end()) {
        return {};
    }
    std::vector<Waiter> waiters = std::move(found->second.waiters);
    audits.erase(found);
    return waiters;
}

std::vector<Audits::Unanswered> Audits::expire(Time now) {
    std::vector<Unanswered> result;
    for (auto each = audits.begin(); each != audits.end();) {
        if (each->second.due > now) {
            ++each;
            continue;
        }
        bool const isFirst = silent.insert(each->first).second;
        result.push_back({each->first, isFirst, std::move(each->second.waiters)});
        each = audits.erase(each);
    }
    return result;
}

std::optional<Audits::Time> Audits::nextDue() const {
    auto const first =
        std::min_element(audits.begin(), audits.end(), [](auto const& one, auto const& other) {
            return one.second.due < other.second.due;
        });
    return first == audits.end() ? std::nullopt : std::optional<Time>(first->second.due);
}

} // namespace gateway
