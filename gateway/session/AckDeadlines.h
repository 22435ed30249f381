#ifndef GATEWAY_SESSION_ACKDEADLINES_H
#define GATEWAY_SESSION_ACKDEADLINES_H

#include "gateway/session/Path.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <vector>

namespace gateway {

/**
 * Which acknowledgements are to come, and what becomes of each: every request that was sent ends in
 * exactly one way, acknowledged, missed or lost, and every acknowledgement that arrives is told
 * apart.
 *
 * Acknowledgements of the same kind and path answer in the order of the requests. One that could
 * answer a request in time as well as one whose deadline has passed answers the former: where the
 * other one was lost that is right, and where it comes still the sums are the same.
 *
 * Pure: the time is passed in and never goes back.
 */
class AckDeadlines {
public:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;

    enum class Result {
        inTime,
        /** Its deadline had passed. */
        late,
        /** Acknowledged before. */
        duplicate,
        /** Nothing was asked, or what was asked has been undone by a later request. */
        unexpected
    };

    struct Outcome {
        Result result = Result::unexpected;
        /** Since the request; zero where there is none. */
        std::chrono::milliseconds took{};
        /** The error is the one that the request was sent in expectation of. */
        bool isTolerated = false;
    };

    explicit AckDeadlines(std::chrono::milliseconds deadline);

    /**
     * A request was sent.
     * @param tolerated the error that may well be its answer
     */
    void expect(Request const& request, Time now, std::optional<dsp::Error> tolerated = {});

    /** An acknowledgement arrived. @param error 0 for success */
    Outcome acknowledge(Request const& request, unsigned error, Time now);

    /** The requests whose deadline has passed by now, oldest first; each once. */
    std::vector<Request> expire(Time now);

    /** The requests that a board will not answer any more. */
    std::vector<Request> loseBoard(unsigned char sid);

    /** When the next deadline passes; nothing while nothing is outstanding. */
    std::optional<Time> nextDue() const;

    /** How many requests are neither answered, missed nor lost. */
    std::size_t outstanding() const { return count; }
    bool isOutstanding(Path const& path) const;

    /** Grows with each request. */
    std::uint64_t serial() const { return lastNumber; }
    /** Whether a request for the path was sent after that serial. */
    bool isTouchedSince(Path const& path, std::uint64_t serial) const;

    /** Whether the last request for it was an opening that was not refused. */
    bool isOpened(Path const& path, Medium medium) const;

private:
    struct Expectation {
        std::uint64_t number;
        Time sent;
        std::optional<dsp::Error> tolerated;
        /** The opposite was requested after it. */
        bool isUndone = false;
    };
    struct Queue {
        std::deque<Expectation> outstanding{};
        std::deque<Expectation> overdue{};
        /** One was acknowledged since the opposite was requested. */
        bool isAcknowledged = false;
        /** Of the last request; 0 before the first one, and after a refused opening. */
        std::uint64_t last = 0;
    };
    struct Due {
        Time time;
        Request request;
        std::uint64_t number;
    };

    void undo(Request const& request);
    Outcome answer(std::deque<Expectation>& from, Result result, unsigned error, Time now);
    bool isDecided(Due const& due) const;
    void trim();
    std::uint64_t lastOf(Request const& request) const;

    std::chrono::milliseconds const deadline;
    std::map<Request, Queue> queues;
    /** In the order of sending, which is that of their times; decided ones are left in between. */
    std::deque<Due> dues;
    std::size_t count = 0;
    std::uint64_t lastNumber = 0;
};

} // namespace gateway

#endif
