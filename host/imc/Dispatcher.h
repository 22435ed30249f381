#ifndef HOST_DISPATCHER_H
#define HOST_DISPATCHER_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

namespace host {

/**
 * The dispatch loop: runs tasks one at a time, in the order in which they fall due, on the thread
 * that calls one of the run operations. IMC messages and console commands are delivered as tasks
 * of this loop, so a client that calls the library from the loop serialises its calls with events
 * by construction. Tasks may be added from any thread, and from a task.
 *
 * A run operation that is called from a task, or while another thread is in one, is refused with a
 * std::logic_error: tasks would no longer run one at a time. An exception that leaves a task
 * leaves the run operation; the other tasks stay and run with the next one.
 */
class Dispatcher {
public:
    using Clock = std::chrono::steady_clock;
    using Task = std::function<void()>;

    Dispatcher();
    ~Dispatcher();
    Dispatcher(Dispatcher const&) = delete;
    Dispatcher& operator=(Dispatcher const&) = delete;

    /**
     * Adds a task that is due now.
     * @throw std::invalid_argument when the task is empty
     */
    void post(Task task);

    /**
     * Adds a task that falls due after the delay; a negative delay is none.
     * @throw std::invalid_argument when the task is empty
     */
    void postAfter(std::chrono::milliseconds delay, Task task);

    /** Runs what is due, and what that adds and is due too; returns how many tasks ran. */
    std::size_t runReady();

    /**
     * Runs tasks until `done` holds, which is tested before the first task and after each. Only
     * tasks that fall due within the limit run.
     * @return false when the limit passed first
     */
    bool runUntil(std::function<bool()> const& done, std::chrono::milliseconds limit);

    /** Runs tasks until stop() is called; waits when none is due. */
    void run();

    /**
     * Ends run(), from any thread or from a task, after the task that is running. The next run()
     * ends at once when none is running.
     */
    void stop();

    /** Drops all tasks, and a stop() that no run() has heeded yet. */
    void clear();

    /**
     * Makes a change to what the tasks read unguarded: at once when the calling thread is the
     * loop's, otherwise as a task. The loop's thread is the one that called a run operation or
     * clear() last, and before the first such call the one that made the loop. May be called from
     * any thread.
     * @param change short; does not use the loop
     */
    void apply(Task change);

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace host

#endif
