#ifndef GATEWAY_LOAD_CYCLEDRIVER_H
#define GATEWAY_LOAD_CYCLEDRIVER_H

#include "gateway/load/Latencies.h"
#include "gateway/load/MediaPath.h"

#include "host/imc/Dispatcher.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace gateway {

/** How a path is opened, updated and closed; paths by their index in the driver's list. */
class CycleOperations {
public:
    virtual ~CycleOperations() = default;

    virtual void open(std::size_t path) = 0;
    virtual void update(std::size_t path) = 0;
    virtual void close(std::size_t path) = 0;
};

/** How long a run goes on, and how fast. */
struct CycleGoal {
    /** How many cycles begin; 0 when the time decides. */
    std::uint64_t cycles = 0;
    std::chrono::nanoseconds time{};
    /** Cycles that are to begin per second; 0 for as fast as possible. */
    double rate = 0;
    /** At a given rate: when the first one is to begin. */
    std::chrono::nanoseconds first{};
    /** How many cycles may be under way. */
    std::size_t outstanding = 1;
};

/** What became of the cycles of one run, or of several. */
struct CycleTally {
    /** Each cycle that began is counted in one of these. */
    /// @{
    std::uint64_t completed = 0;
    /** A board acknowledged with an error. */
    std::uint64_t refused = 0;
    /** An acknowledgement did not come within the deadline. */
    std::uint64_t lost = 0;
    /** Under way when the run was given up. */
    std::uint64_t abandoned = 0;
    /// @}
    /** Acknowledgements that nobody waited for. */
    std::uint64_t unexpected = 0;
    std::chrono::nanoseconds elapsed{};
    /** @name How long the operation took */
    /// @{
    Latencies open;
    Latencies update;
    Latencies close;
    /// @}
    /** @name From the post of the command until its acknowledgement was delivered */
    /// @{
    Latencies openAcknowledged;
    Latencies closeAcknowledged;
    /// @}

    std::uint64_t begun() const { return completed + refused + lost + abandoned; }
    double perSecond() const;
    void add(CycleTally const& more);
};

/**
 * Runs cycles on paths: open, wait for the acknowledgement, update and close, wait for the
 * acknowledgement. A path of which one is lost is closed, and not used again, so that a late
 * acknowledgement is never taken for another's. All on the loop's thread.
 */
class CycleDriver {
public:
    using Clock = std::chrono::steady_clock;

    /** All have to outlive the driver. */
    CycleDriver(host::Dispatcher& dispatcher, std::vector<MediaPath> const& paths,
                CycleOperations& operations,
                std::chrono::milliseconds deadline = std::chrono::seconds(5));

    /** Runs the loop until the goal is reached and nothing is under way. */
    CycleTally run(CycleGoal const& goal);

    /** An acknowledgement was delivered. */
    void acknowledged(PathAcknowledged const& what);

    /** Begins no more cycles in this run. */
    void finish() { isFinishing = true; }

    /** Ends this run at once, and every later one. */
    void abandon() { isAbandoned = true; }

    /** Cycles that ended well since the driver was made, for whoever shows the progress. */
    std::uint64_t completed() const { return allCompleted; }

private:
    enum class Phase : std::uint8_t { free, opening, closing, retired };
    struct State {
        Phase phase = Phase::free;
        bool isRefused = false;
        Clock::time_point posted{};
    };

    void begin(CycleGoal const& goal);
    void fill();
    bool mayBegin() const;
    bool isDone() const;
    bool isReached() const;
    void open(std::size_t path);
    void opened(std::size_t path);
    void closed(std::size_t path);
    void tick();
    void postTick();
    void giveUpLate();

    host::Dispatcher& dispatcher;
    CycleOperations& operations;
    std::chrono::milliseconds deadline;
    std::vector<State> states;
    /** By the key of the path. */
    std::vector<std::uint32_t> indexes;
    /** The one that was used longest ago first. */
    std::deque<std::size_t> freePaths;

    CycleGoal goal;
    CycleTally tally;
    Clock::time_point start{};
    std::uint64_t begun = 0;
    std::size_t busy = 0;
    bool isFinishing = false;
    bool isAbandoned = false;
    std::uint64_t allCompleted = 0;
    /** Tells a tick whether its run is still on. */
    std::shared_ptr<bool> life;
};

} // namespace gateway

#endif
