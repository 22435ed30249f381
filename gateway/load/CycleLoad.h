#ifndef GATEWAY_LOAD_CYCLELOAD_H
#define GATEWAY_LOAD_CYCLELOAD_H

#include "gateway/load/CycleDriver.h"
#include "gateway/load/LoadSession.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

/** Processor time of one process for the cycles of one side. */
struct ProcessShare {
    /** What it does. */
    std::string role;
    pid_t process = 0;
    std::chrono::nanoseconds time{};
    /** It ended, and what it took can't be asked for. */
    bool isGone = false;
};

/** What one side did, the library or the floor. */
struct CycleSide {
    CycleTally tally;
    std::vector<ProcessShare> processes;

    /** Processor time of all processes for a cycle, in seconds; nothing when one is gone. */
    std::optional<double> processorPerCycle() const;
};

struct CycleResult {
    CycleSide library;
    std::optional<CycleSide> floor;
    /** How often library and floor took turns. */
    unsigned rounds = 1;
    /** Of each turn in which both completed cycles, the library's rate by the floor's. */
    std::vector<double> turnRatios;
    /** Messages of a cycle in and a cycle out, without acknowledgements; 0 where not recorded. */
    std::size_t messagesIn = 0;
    std::size_t messagesOut = 0;
    /** @name Callbacks that the library's client got */
    /// @{
    std::uint64_t ackEvents = 0;
    std::uint64_t ackErrorEvents = 0;
    /// @}

    /** How much of the floor's rate the library reaches; nothing where it can't be said. */
    std::optional<double> ratio() const;
    /** The same by turns: a machine that was busy with something else for a while counts less. */
    std::optional<double> medianRatio() const;
    /** How much of the library's processor time of a cycle, in all processes, the floor takes. */
    std::optional<double> processorRatio() const;
};

/** Cycles that ended well so far. */
struct CycleProgress {
    std::uint64_t library = 0;
    /** Nothing where there is none. */
    std::optional<std::uint64_t> floor;
};

/**
 * Runs the cycles that the options ask for: through the library, and where there is a floor, in
 * turns with it, so that both meet the same machine.
 * @param show called once a second
 * @throw std::runtime_error when the floor can't be run
 */
CycleResult runCycles(LoadSession& session, LoadOptions const& options, LoadPlan const& plan,
                      EarlyEnd& end, std::function<void(CycleProgress const&)> const& show);

} // namespace gateway

#endif
