#include "gateway/session/AckDeadlines.h"

#include <algorithm>
#include <array>

namespace gateway {

namespace {

using Kind = Request::Kind;

std::array<Kind, 4> const kinds = {Kind::openVoice, Kind::closeVoice, Kind::openFax,
                                   Kind::closeFax};

} // namespace

AckDeadlines::AckDeadlines(std::chrono::milliseconds itsDeadline) : deadline(itsDeadline) {}

void AckDeadlines::expect(Request const& request, Time now, std::optional<dsp::Error> tolerated) {
    undo(request.opposite());
    Queue& queue = queues[request];
    queue.last = ++lastNumber;
    queue.outstanding.push_back({lastNumber, now, tolerated});
    dues.push_back({now + deadline, request, lastNumber});
    ++count;
}

/** What is still to come of it will be no news of the path any more. */
void AckDeadlines::undo(Request const& request) {
    auto const found = queues.find(request);
    if (found == queues.end()) {
        return;
    }
    Queue& queue = found->second;
    queue.overdue.clear();
    queue.isAcknowledged = false;
    for (Expectation& each : queue.outstanding) {
        each.isUndone = true;
    }
}

AckDeadlines::Outcome AckDeadlines::acknowledge(Request const& request, unsigned error, Time now) {
    auto const found = queues.find(request);
    if (found == queues.end()) {
        return {};
    }
    Queue& queue = found->second;
    bool const isAwaited = !queue.outstanding.empty() || !queue.overdue.empty();
    if (isAwaited && error != 0 && request.isOpening() && queue.outstanding.size() <= 1) {
        queue.last = 0;
    }
    if (!queue.outstanding.empty()) {
        queue.isAcknowledged = !queue.outstanding.front().isUndone;
        Outcome const outcome = answer(queue.outstanding, Result::inTime, error, now);
        --count;
        trim();
        return outcome;
    }
    if (!queue.overdue.empty()) {
        queue.isAcknowledged = true;
        return answer(queue.overdue, Result::late, error, now);
    }
    Outcome outcome;
    outcome.result = queue.isAcknowledged ? Result::duplicate : Result::unexpected;
    return outcome;
}

AckDeadlines::Outcome AckDeadlines::answer(std::deque<Expectation>& from, Result result,
                                           unsigned error, Time now) {
    Expectation const expectation = from.front();
    from.pop_front();
    Outcome outcome;
    outcome.result = result;
    outcome.took = std::chrono::duration_cast<std::chrono::milliseconds>(now - expectation.sent);
    outcome.isTolerated = error != 0 && expectation.tolerated &&
                          static_cast<unsigned>(*expectation.tolerated) == error;
    return outcome;
}

std::vector<Request> AckDeadlines::expire(Time now) {
    std::vector<Request> missed;
    for (; !dues.empty() && dues.front().time <= now; dues.pop_front()) {
        Due const& due = dues.front();
        if (isDecided(due)) {
            continue;
        }
        Queue& queue = queues.at(due.request);
        if (!queue.outstanding.front().isUndone) {
            queue.overdue.push_back(queue.outstanding.front());
        }
        queue.outstanding.pop_front();
        --count;
        missed.push_back(due.request);
    }
    trim();
    return missed;
}

std::vector<Request> AckDeadlines::loseBoard(unsigned char sid) {
    std::vector<Request> lost;
    Request const first = {{sid, 0, dsp::Direction::in}, Kind::openVoice};
    for (auto each = queues.lower_bound(first); each != queues.end() && each->first.path.sid == sid;
         ++each) {
        Queue& queue = each->second;
        lost.insert(lost.end(), queue.outstanding.size(), each->first);
        count -= queue.outstanding.size();
        queue.outstanding.clear();
        queue.overdue.clear();
        queue.isAcknowledged = false;
    }
    trim();
    return lost;
}

std::optional<AckDeadlines::Time> AckDeadlines::nextDue() const {
    return dues.empty() ? std::nullopt : std::optional<Time>(dues.front().time);
}

bool AckDeadlines::isOutstanding(Path const& path) const {
    return std::any_of(kinds.begin(), kinds.end(), [&](Kind kind) {
        auto const found = queues.find({path, kind});
        return found != queues.end() && !found->second.outstanding.empty();
    });
}

bool AckDeadlines::isTouchedSince(Path const& path, std::uint64_t serial) const {
    return std::any_of(kinds.begin(), kinds.end(), [&](Kind kind) {
        return lastOf({path, kind}) > serial;
    });
}

bool AckDeadlines::isOpened(Path const& path, Medium medium) const {
    Request const opening = {path, medium == Medium::voice ? Kind::openVoice : Kind::openFax};
    return lastOf(opening) > lastOf(opening.opposite());
}

std::uint64_t AckDeadlines::lastOf(Request const& request) const {
    auto const found = queues.find(request);
    return found == queues.end() ? 0 : found->second.last;
}

/** Within a queue, requests are decided in the order in which they were sent. */
bool AckDeadlines::isDecided(Due const& due) const {
    auto const& outstanding = queues.at(due.request).outstanding;
    return outstanding.empty() || outstanding.front().number > due.number;
}

/** The first entry is one that is still undecided. */
void AckDeadlines::trim() {
    while (!dues.empty() && isDecided(dues.front())) {
        dues.pop_front();
    }
}

} // namespace gateway
