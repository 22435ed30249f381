#include "gateway/load/CycleDriver.h"

#include <algorithm>
#include <limits>

namespace gateway {

namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t noIndex = std::numeric_limits<std::uint32_t>::max();
/** How often deadlines are looked at, and at a given rate, cycles begin. */
constexpr milliseconds deadlineTick{50};
constexpr milliseconds rateTick{1};
/** Longer than any run; the driver itself knows when it is over. */
constexpr milliseconds noLimit = std::chrono::hours(24 * 365);

} // namespace

double CycleTally::perSecond() const {
    double const seconds = std::chrono::duration<double>(elapsed).count();
    return seconds > 0 ? static_cast<double>(completed) / seconds : 0;
}

void CycleTally::add(CycleTally const& more) {
    completed += more.completed;
    refused += more.refused;
    lost += more.lost;
    abandoned += more.abandoned;
    unexpected += more.unexpected;
    elapsed += more.elapsed;
    open.add(more.open);
    update.add(more.update);
    close.add(more.close);
    openAcknowledged.add(more.openAcknowledged);
    closeAcknowledged.add(more.closeAcknowledged);
}

CycleDriver::CycleDriver(host::Dispatcher& loop, std::vector<MediaPath> const& paths,
                         CycleOperations& does, milliseconds limit)
    : dispatcher(loop),
      operations(does),
      deadline(limit),
      states(paths.size()),
      indexes(MediaPath::keys, noIndex) {
    for (std::size_t i = 0; i < paths.size(); ++i) {
        indexes[paths[i].key()] = static_cast<std::uint32_t>(i);
        freePaths.push_back(i);
    }
}

CycleTally CycleDriver::run(CycleGoal const& wanted) {
    begin(wanted);
    if (!isAbandoned) {
        fill();
        dispatcher.runUntil([this] { return isDone(); }, noLimit);
    }
    life.reset();
    tally.abandoned = busy;
    tally.elapsed = Clock::now() - start;
    return tally;
}

void CycleDriver::begin(CycleGoal const& wanted) {
    goal = wanted;
    tally = CycleTally();
    begun = 0;
    isFinishing = false;
    life = std::make_shared<bool>(true);
    start = Clock::now();
    postTick();
}

bool CycleDriver::mayBegin() const {
    if (isFinishing || isAbandoned || busy >= goal.outstanding || freePaths.empty()) {
        return false;
    }
    auto const elapsed = Clock::now() - start;
    if (goal.cycles != 0 ? begun >= goal.cycles : elapsed >= goal.time) {
        return false;
    }
    double const due = std::chrono::duration<double>(elapsed - goal.first).count() * goal.rate;
    return goal.rate <= 0 || static_cast<double>(begun) <= due;
}

bool CycleDriver::isDone() const {
    if (isAbandoned) {
        return true;
    }
    if (busy != 0) {
        return false;
    }
    return isFinishing || isReached() || freePaths.empty();
}

bool CycleDriver::isReached() const {
    auto const elapsed = Clock::now() - start;
    if (goal.cycles == 0) {
        return elapsed >= goal.time;
    }
    // The pause behind the last one belongs to the rate: the next run may begin at once.
    return begun >= goal.cycles && std::chrono::duration<double>(elapsed).count() * goal.rate >=
                                       static_cast<double>(goal.rate > 0 ? goal.cycles : 0);
}

void CycleDriver::fill() {
    while (mayBegin()) {
        std::size_t const path = freePaths.front();
        freePaths.pop_front();
        ++begun;
        ++busy;
        open(path);
    }
}

void CycleDriver::open(std::size_t path) {
    State& state = states[path];
    state = {Phase::opening, false, {}};
    auto const before = Clock::now();
    operations.open(path);
    // The command that is acknowledged is the last thing that an opening posts.
    state.posted = Clock::now();
    tally.open.add(state.posted - before);
}

void CycleDriver::acknowledged(PathAcknowledged const& what) {
    std::uint32_t const path = indexes[what.path.key()];
    Phase const awaited = what.isOpen ? Phase::opening : Phase::closing;
    if (path == noIndex || states[path].phase != awaited || isAbandoned) {
        ++tally.unexpected;
        return;
    }
    State& state = states[path];
    (what.isOpen ? tally.openAcknowledged : tally.closeAcknowledged)
        .add(Clock::now() - state.posted);
    state.isRefused = state.isRefused || what.error != 0;
    if (what.isOpen) {
        opened(path);
    } else {
        closed(path);
    }
}

void CycleDriver::opened(std::size_t path) {
    State& state = states[path];
    auto const before = Clock::now();
    operations.update(path);
    state.phase = Phase::closing;
    // The command that is acknowledged is the first thing that a closing posts.
    state.posted = Clock::now();
    tally.update.add(state.posted - before);
    operations.close(path);
    tally.close.add(Clock::now() - state.posted);
}

void CycleDriver::closed(std::size_t path) {
    State& state = states[path];
    if (state.isRefused) {
        ++tally.refused;
    } else {
        ++tally.completed;
        ++allCompleted;
    }
    state.phase = Phase::free;
    freePaths.push_back(path);
    --busy;
    fill();
}

void CycleDriver::postTick() {
    dispatcher.postAfter(goal.rate > 0 ? rateTick : deadlineTick,
                         [this, alive = std::weak_ptr<bool>(life)] {
                             if (!alive.expired()) {
                                 tick();
                             }
                         });
}

void CycleDriver::tick() {
    giveUpLate();
    fill();
    postTick();
}

void CycleDriver::giveUpLate() {
    auto const latest = Clock::now() - deadline;
    for (std::size_t path = 0; path < states.size() && !isAbandoned; ++path) {
        State& state = states[path];
        bool const isOpening = state.phase == Phase::opening;
        if ((!isOpening && state.phase != Phase::closing) || state.posted > latest) {
            continue;
        }
        state.phase = Phase::retired;
        ++tally.lost;
        --busy;
        if (isOpening) {
            operations.close(path);
        }
    }
}

} // namespace gateway
