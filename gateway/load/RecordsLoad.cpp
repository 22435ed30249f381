#include "gateway/load/RecordsLoad.h"

#include "gateway/load/LibraryClient.h"

#include <algorithm>

namespace gateway {

namespace {

using Clock = CycleDriver::Clock;
using Nanoseconds = RecordsCost::Nanoseconds;

constexpr std::size_t firstStep = 1000;
constexpr std::size_t firstSmallStep = 64;
/** How often each operation is measured at a step. */
constexpr std::size_t samples = 200;
constexpr std::size_t mostUnderWay = 64;
constexpr std::chrono::milliseconds deadline{5000};
constexpr std::chrono::milliseconds progressPeriod{1000};

/** @param times not empty */
Nanoseconds medianOf(std::vector<Nanoseconds> times) {
    auto const middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

template <typename Operation>
Nanoseconds timeOf(Operation const& operation) {
    auto const before = Clock::now();
    operation();
    return Clock::now() - before;
}

/** Every acknowledgement is waited for before the deadline; the first that isn't ends the run. */
class Records {
public:
    Records(LoadSession& itsSession, LoadOptions const& itsOptions, LoadPlan const& plan,
            EarlyEnd& itsEnd)
        : session(itsSession),
          options(itsOptions),
          end(itsEnd),
          paths(mediaPaths(plan.boards, options.channels)),
          client(
              paths,
              [this](PathAcknowledged const& what, Nanoseconds handling) {
                  acknowledged(what, handling);
              },
              true) {}

    RecordsResult run(std::function<void(std::size_t)> const& show) {
        Ticker const ticker(session.dispatcher(), progressPeriod, [&] { show(listed.size()); });
        for (std::size_t const step : recordsSteps(options.records)) {
            while (listed.size() < step && !end.has()) {
                openNext();
            }
            await(0);
            measure();
        }
        result.memoryAfter = residentMemory();
        while (!listed.empty() && !end.has()) {
            close(0);
            await(mostUnderWay);
        }
        await(0);
        return result;
    }

private:
    void openNext() {
        open(next++);
        await(mostUnderWay);
    }

    Nanoseconds open(std::size_t path) {
        ++awaited;
        listed.push_back(path);
        return timeOf([&] { client.open(path); });
    }

    /** @param place in the library's list */
    Nanoseconds close(std::size_t place) {
        std::size_t const path = listed[place];
        listed.erase(listed.begin() + static_cast<std::ptrdiff_t>(place));
        ++awaited;
        return timeOf([&] { client.close(path); });
    }

    void acknowledged(PathAcknowledged const& what, Nanoseconds handling) {
        if (awaited == 0) {
            ++result.unexpected;
            return;
        }
        --awaited;
        ++(what.isOpen ? result.opened : result.closed);
        result.refused += what.error != 0 ? 1 : 0;
        lastHandling = handling;
    }

    /** Waits until no more acknowledgements than these are to come. */
    void await(std::size_t most) {
        if (awaited <= most || end.hasFailed()) {
            return;
        }
        auto const isOver = [&] { return awaited <= most || end.hasFailed(); };
        if (!session.dispatcher().runUntil(isOver, deadline)) {
            result.lost += awaited;
            end.fail("acknowledgements did not come within 5 s: " + std::to_string(awaited));
        }
    }

    /**
     * Updates, closes and opens again records that are spread evenly over the list. One that is
     * opened again stands at its end.
     */
    void measure() {
        std::vector<Nanoseconds> opens, updates, closes, openAcks, closeAcks;
        for (std::size_t i = 0; i < samples && !end.has(); ++i) {
            std::size_t const place = (2 * i + 1) * listed.size() / (2 * samples);
            std::size_t const path = listed[place];
            updates.push_back(timeOf([&] { client.update(path); }));
            closes.push_back(close(place));
            await(0);
            closeAcks.push_back(lastHandling);
            opens.push_back(open(path));
            await(0);
            openAcks.push_back(lastHandling);
        }
        if (!end.has()) {
            result.costs.push_back({listed.size(), medianOf(opens), medianOf(updates),
                                    medianOf(closes), medianOf(openAcks), medianOf(closeAcks)});
        }
    }

    LoadSession& session;
    LoadOptions const& options;
    EarlyEnd& end;
    std::vector<MediaPath> paths;
    LibraryClient client;
    /** The library's list. */
    std::vector<std::size_t> listed;
    std::size_t next = 0;
    std::size_t awaited = 0;
    Nanoseconds lastHandling{};
    RecordsResult result;
};

} // namespace

std::vector<std::size_t> recordsSteps(std::size_t records) {
    std::vector<std::size_t> steps;
    // The last doubling is left out where it would stand next to the end.
    for (std::size_t step = records > firstStep ? firstStep : firstSmallStep;
         4 * step <= 3 * records; step *= 2) {
        steps.push_back(step);
    }
    steps.push_back(records);
    return steps;
}

RecordsResult runRecords(LoadSession& session, LoadOptions const& options, LoadPlan const& plan,
                         EarlyEnd& end, std::function<void(std::size_t)> const& show) {
    std::size_t const memoryBefore = residentMemory();
    RecordsResult result = Records(session, options, plan, end).run(show);
    result.memoryBefore = memoryBefore;
    return result;
}

bool isGood(RecordsResult const& result, LoadOptions const& options, EarlyEnd const& end) {
    bool const isComplete = !result.costs.empty() &&
                            result.costs.back().listed == options.records &&
                            result.opened == result.closed;
    return (isComplete || end.isAsked()) && !end.hasFailed() && result.refused == 0 &&
           result.lost == 0 && result.unexpected == 0;
}

} // namespace gateway
