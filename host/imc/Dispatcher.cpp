#include "host/imc/Dispatcher.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

namespace host {

namespace {

using Clock = Dispatcher::Clock;

/** The point in time after a delay of any size: past delays are over, endless ones stay far. */
Clock::time_point after(std::chrono::milliseconds delay) {
    constexpr std::chrono::milliseconds longest = std::chrono::hours(24 * 365 * 100);
    return Clock::now() + std::clamp(delay, std::chrono::milliseconds::zero(), longest);
}

} // namespace

struct Dispatcher::State {
    /** When a task falls due; tasks of one moment keep the order in which they were added. */
    using Key = std::pair<Clock::time_point, std::uint64_t>;

    std::mutex mutex;
    std::condition_variable changed;
    std::map<Key, Task> tasks;
    std::uint64_t added = 0;
    bool stopping = false;
    bool running = false;
    std::thread::id loopThread = std::this_thread::get_id();

    /** Marks the loop as running on this thread. */
    class Turn {
    public:
        explicit Turn(State& of) : state(of) {
            std::lock_guard<std::mutex> const lock(state.mutex);
            if (state.running) {
                throw std::logic_error("the dispatch loop runs already");
            }
            state.running = true;
            state.loopThread = std::this_thread::get_id();
        }
        ~Turn() {
            std::lock_guard<std::mutex> const lock(state.mutex);
            state.running = false;
        }
        Turn(Turn const&) = delete;
        Turn& operator=(Turn const&) = delete;

    private:
        State& state;
    };

    void add(std::chrono::milliseconds delay, Task task) {
        if (!task) {
            throw std::invalid_argument("the dispatch loop takes no empty task");
        }
        {
            // The time is taken under the lock, so that tasks due now keep their order.
            std::lock_guard<std::mutex> const lock(mutex);
            tasks.emplace(Key(after(delay), added++), std::move(task));
        }
        changed.notify_all();
    }

    /** Takes the next task if it is due by `limit`; the caller holds the lock. */
    Task takeDue(Clock::time_point limit) {
        auto const next = tasks.begin();
        if (next == tasks.end() || next->first.first > limit) {
            return {};
        }
        Task task = std::move(next->second);
        tasks.erase(next);
        return task;
    }

    /** Waits for a task that falls due by `limit`; empty when there is none, or on `ended`. */
    template <class Ended>
    Task await(Clock::time_point limit, Ended ended) {
        std::unique_lock<std::mutex> lock(mutex);
        while (!ended()) {
            Clock::time_point const now = Clock::now();
            if (Task task = takeDue(std::min(now, limit))) {
                return task;
            }
            if (now >= limit) {
                return {};
            }
            changed.wait_until(lock,
                               tasks.empty() ? limit : std::min(limit, tasks.begin()->first.first));
        }
        return {};
    }
};

Dispatcher::Dispatcher() : state(std::make_unique<State>()) {}

Dispatcher::~Dispatcher() = default;

void Dispatcher::post(Task task) {
    state->add(std::chrono::milliseconds::zero(), std::move(task));
}

void Dispatcher::postAfter(std::chrono::milliseconds delay, Task task) {
    state->add(delay, std::move(task));
}

std::size_t Dispatcher::runReady() {
    State::Turn const turn(*state);
    std::size_t count = 0;
    for (;;) {
        Task task;
        {
            std::lock_guard<std::mutex> const lock(state->mutex);
            task = state->takeDue(Clock::now());
        }
        if (!task) {
            return count;
        }
        task();
        ++count;
    }
}

bool Dispatcher::runUntil(std::function<bool()> const& done, std::chrono::milliseconds limit) {
    State::Turn const turn(*state);
    Clock::time_point const end = after(limit);
    while (!done()) {
        Task const task = state->await(end, [] { return false; });
        if (!task) {
            return false;
        }
        task();
    }
    return true;
}

void Dispatcher::run() {
    State::Turn const turn(*state);
    Clock::time_point const never = after(std::chrono::milliseconds::max());
    auto const stopped = [this] { return std::exchange(state->stopping, false); };
    while (Task const task = state->await(never, stopped)) {
        task();
    }
}

void Dispatcher::stop() {
    {
        std::lock_guard<std::mutex> const lock(state->mutex);
        state->stopping = true;
    }
    state->changed.notify_all();
}

void Dispatcher::clear() {
    std::map<State::Key, Task> dropped;
    {
        std::lock_guard<std::mutex> const lock(state->mutex);
        dropped.swap(state->tasks);
        state->stopping = false;
        state->loopThread = std::this_thread::get_id();
    }
    // The tasks end here, outside the lock: what they own may add tasks in its destructor.
}

void Dispatcher::apply(Task change) {
    {
        // Under the lock, so that another thread that is about to run the loop sees the change.
        std::lock_guard<std::mutex> const lock(state->mutex);
        if (state->loopThread == std::this_thread::get_id()) {
            change();
            return;
        }
    }
    post(std::move(change));
}

} // namespace host
