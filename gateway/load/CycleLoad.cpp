#include "gateway/load/CycleLoad.h"

#include "gateway/load/LibraryClient.h"
#include "gateway/load/RecordedCycle.h"

#include "host/bus/BusTransport.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace gateway {

namespace {

/**
 * Library and floor take turns of about half a second, so that both meet the same machine; each
 * ends with a short time in which less is under way.
 */
constexpr double turnSeconds = 0.5;
constexpr std::uint64_t turnCycles = 5000;
constexpr std::uint64_t fewestTurns = 4;
constexpr std::uint64_t mostTurns = 1000;
constexpr std::chrono::milliseconds progressPeriod{1000};

/** Sums up the processor time of some processes over several turns. */
class ShareMeter {
public:
    explicit ShareMeter(std::vector<ProcessShare>& of) : shares(of) {
        for (ProcessShare const& share : shares) {
            before.push_back(processorTime(share.process));
        }
    }
    ~ShareMeter() {
        for (std::size_t i = 0; i < shares.size(); ++i) {
            auto const now = processorTime(shares[i].process);
            if (before[i] && now) {
                shares[i].time += *now - *before[i];
            } else {
                shares[i].isGone = true;
            }
        }
    }
    ShareMeter(ShareMeter const&) = delete;
    ShareMeter& operator=(ShareMeter const&) = delete;

private:
    std::vector<ProcessShare>& shares;
    std::vector<std::optional<std::chrono::nanoseconds>> before;
};

std::vector<ProcessShare> sharesOf(std::string const& role, std::vector<pid_t> const& others) {
    std::vector<ProcessShare> shares = {{"mcgw load", getpid()}};
    for (pid_t const process : others) {
        shares.push_back({role, process});
    }
    return shares;
}

/** The floor: responders in place of the boards, and recorded messages in place of the library. */
class Floor : private host::Endpoint {
public:
    Floor(LoadSession& session, LoadPlan const& plan, LoadOptions const& options,
          RecordedCycles const& cycles)
        : processes(sharedOut(plan.responders, plan.processes),
                    [&](std::vector<std::uint8_t> const& sids) {
                        return responderArguments(session.busUrl(), sids);
                    }),
          paths(mediaPaths(plan.responders, options.channels)),
          transport(session.dispatcher(), counters, busOptions(session.busUrl()), &watch),
          played(transport, plan.floorSid, paths, cycles),
          itsDriver(session.dispatcher(), paths, played) {
        transport.attach(plan.floorSid, *this);
        session.await(watch, plan.responders, &processes);
        side.processes = sharesOf("responder", watch.processesOf(plan.responders));
    }

    CycleDriver& driver() { return itsDriver; }
    CycleSide& result() { return side; }

private:
    static std::vector<std::string> responderArguments(std::string const& url,
                                                       std::vector<std::uint8_t> const& sids) {
        std::vector<std::string> words = {"load", "--bus", url, "--respond"};
        for (std::uint8_t const sid : sids) {
            words.push_back(std::to_string(sid));
        }
        return words;
    }
    static host::BusOptions busOptions(std::string const& url) {
        host::BusOptions options;
        options.url = url;
        options.name = "mcgw load floor";
        return options;
    }
    void receive(imc_msg const& message) override {
        if (auto const what = acknowledgedPath(message)) {
            itsDriver.acknowledged(*what);
        }
    }

    ServingProcesses processes;
    std::vector<MediaPath> paths;
    host::Counters counters;
    PeerWatch watch;
    host::BusTransport transport;
    PlayedCycles played;
    CycleDriver itsDriver;
    CycleSide side;
};

/** The turns of one run. */
class Turns {
public:
    // NOLINTNEXTLINE(clang-analyzer-optin.cplusplus.UninitializedObject): made in other files
    Turns(LoadSession& itsSession, LoadOptions const& itsOptions, LoadPlan const& itsPlan,
          EarlyEnd& itsEnd)
        : session(itsSession),
          options(itsOptions),
          plan(itsPlan),
          end(itsEnd),
          paths(mediaPaths(plan.boards, options.channels)),
          client(
              paths,
              [this](PathAcknowledged const& what, std::chrono::nanoseconds) {
                  if (current != nullptr) {
                      current->acknowledged(what);
                  }
              },
              false),
          driver(session.dispatcher(), paths, client) {}
    ~Turns() { end.onEnd = nullptr; }
    Turns(Turns const&) = delete;
    Turns& operator=(Turns const&) = delete;

    CycleResult run(std::function<void(CycleProgress const&)> const& show) {
        end.onEnd = [this] { endTurn(); };
        RecordedCycles recorded;
        std::optional<Floor> floor;
        if (plan.hasFloor && !end.has()) {
            recorded = record();
            if (!end.has()) {
                floor.emplace(session, plan, options, recorded);
            }
        }
        CycleResult result;
        result.messagesIn = recorded[0].messages();
        result.messagesOut = recorded[1].messages();
        result.library.processes = sharesOf("board", session.boardProcesses());
        Ticker const ticker(session.dispatcher(), progressPeriod, [&] {
            show({driver.completed(),
                  floor ? std::optional(floor->driver().completed()) : std::nullopt});
        });
        takeTurns(result, floor);
        if (floor) {
            result.floor = floor->result();
        }
        result.ackEvents = client.ackEvents() - acksBefore;
        result.ackErrorEvents = client.ackErrorEvents() - ackErrorsBefore;
        return result;
    }

private:
    void endTurn() {
        if (current == nullptr) {
            return;
        }
        if (end.hasFailed()) {
            current->abandon();
        } else {
            current->finish();
        }
    }

    /** One cycle in each direction. */
    RecordedCycles record() {
        CycleRecorder recorder(client, paths, session.platform().transport());
        CycleDriver first(session.dispatcher(), paths, recorder);
        CycleGoal goal;
        goal.cycles = 2;
        CycleTally const tally = take(first, goal);
        if (tally.completed != goal.cycles && !end.has()) {
            throw std::runtime_error("the boards did not carry out the two cycles that are "
                                     "recorded for the floor; --no-floor does without");
        }
        acksBefore = client.ackEvents();
        ackErrorsBefore = client.ackErrorEvents();
        return recorder.cycles();
    }

    CycleTally take(CycleDriver& turns, CycleGoal const& goal) {
        current = &turns;
        CycleTally tally = turns.run(goal);
        current = nullptr;
        return tally;
    }

    /** @return cycles per second */
    double take(CycleDriver& turns, CycleGoal const& goal, CycleSide& side) {
        ShareMeter const meter(side.processes);
        CycleTally const tally = take(turns, goal);
        side.tally.add(tally);
        return tally.perSecond();
    }

    void takeTurns(CycleResult& result, std::optional<Floor>& floor) {
        result.rounds = floor ? turns() : 1;
        for (unsigned round = 0; round < result.rounds && !end.has(); ++round) {
            CycleGoal const goal = goalOf(round, result.rounds);
            double const rate = take(driver, goal, result.library);
            if (!floor || end.has()) {
                continue;
            }
            double const floorRate = take(floor->driver(), goal, floor->result());
            if (rate > 0 && floorRate > 0) {
                result.turnRatios.push_back(rate / floorRate);
            }
        }
    }

    unsigned turns() const {
        std::uint64_t const wanted =
            options.cycles != 0 ? options.cycles / turnCycles
                                : static_cast<std::uint64_t>(options.seconds / turnSeconds);
        std::uint64_t const turns = std::clamp(wanted, fewestTurns, mostTurns);
        return static_cast<unsigned>(options.cycles != 0 ? std::min(turns, options.cycles) : turns);
    }

    /** A round's share. */
    CycleGoal goalOf(unsigned round, unsigned rounds) const {
        CycleGoal goal;
        goal.cycles = options.cycles * (round + 1) / rounds - options.cycles * round / rounds;
        goal.time = std::chrono::nanoseconds(std::llround(options.seconds / rounds * 1e9));
        goal.rate = options.rate;
        goal.outstanding = options.outstanding;
        if (options.cycles == 0 && options.rate > 0) {
            // The beginnings are spread over all turns, not begun anew in each.
            double const before = options.seconds / rounds * round;
            double const next = std::ceil(before * options.rate - 1e-6) / options.rate;
            goal.first = std::chrono::nanoseconds(std::llround(std::max(0.0, next - before) * 1e9));
        }
        return goal;
    }

    LoadSession& session;
    LoadOptions const& options;
    LoadPlan const& plan;
    EarlyEnd& end;
    std::vector<MediaPath> paths;
    LibraryClient client;
    CycleDriver driver;
    /** Whose turn it is; null between turns. */
    CycleDriver* current = nullptr;
    /** @name Callbacks of the recorded cycles */
    /// @{
    std::uint64_t acksBefore = 0;
    std::uint64_t ackErrorsBefore = 0;
    /// @}
};

} // namespace

std::optional<double> CycleResult::ratio() const {
    if (!floor || floor->tally.perSecond() <= 0) {
        return std::nullopt;
    }
    return library.tally.perSecond() / floor->tally.perSecond();
}

std::optional<double> CycleResult::medianRatio() const {
    if (turnRatios.empty()) {
        return std::nullopt;
    }
    std::vector<double> sorted = turnRatios;
    std::sort(sorted.begin(), sorted.end());
    std::size_t const upper = sorted.size() / 2;
    std::size_t const lower = (sorted.size() - 1) / 2;
    return (sorted[lower] + sorted[upper]) / 2;
}

std::optional<double> CycleResult::processorRatio() const {
    if (!floor) {
        return std::nullopt;
    }
    std::optional<double> const ofLibrary = library.processorPerCycle();
    std::optional<double> const ofFloor = floor->processorPerCycle();
    bool const isKnown = ofLibrary && ofFloor && *ofLibrary > 0;
    return isKnown ? std::make_optional(*ofFloor / *ofLibrary) : std::nullopt;
}

std::optional<double> CycleSide::processorPerCycle() const {
    std::chrono::duration<double> sum{};
    for (ProcessShare const& share : processes) {
        if (share.isGone) {
            return std::nullopt;
        }
        sum += share.time;
    }
    return sum.count() / static_cast<double>(std::max<std::uint64_t>(1, tally.begun()));
}

CycleResult runCycles(LoadSession& session, LoadOptions const& options, LoadPlan const& plan,
                      EarlyEnd& end, std::function<void(CycleProgress const&)> const& show) {
    return Turns(session, options, plan, end).run(show);
}

} // namespace gateway
