#ifndef GATEWAY_SESSION_CALLQUEUE_H
#define GATEWAY_SESSION_CALLQUEUE_H

#include "gateway/CallFile.h"
#include "gateway/Report.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace gateway {

/**
 * The call files that wait for their turn. One runs at a time, outside of the tasks of the dispatch
 * loop, which it runs itself: consoles are served meanwhile.
 */
class CallQueue {
public:
    /** Runs one file, and returns what came of it. */
    using Runner = std::function<Summary(CallFile const& file, Report& report)>;
    /** Takes the lines of a file's report, as `mcgw call --json` writes them. */
    using Sink = std::function<void(Report::Json const& entry)>;
    /** Told the end; nothing when the file did not run. */
    using Done = std::function<void(std::optional<Summary> const& summary)>;

    explicit CallQueue(Runner itsRunner) : runner(std::move(itsRunner)) {}

    void add(CallFile file, Sink sink, Done done);

    /** Whose report is one that is there already. */
    void add(CallFile file, Report& report, Done done);

    bool hasWork() const { return !waiting.empty(); }
    std::size_t size() const { return waiting.size(); }
    /** Path of the file that runs; empty while none does. */
    std::string const& running() const { return current; }

    void runNext();

    /** Ends those that have not begun. */
    void drop();

private:
    struct Entry {
        CallFile file;
        std::function<Summary(CallFile const&)> run;
        Done done;
    };

    Runner runner;
    std::deque<Entry> waiting;
    std::string current;
};

} // namespace gateway

#endif
