#ifndef HOST_LOG_H
#define HOST_LOG_H

#include "host/Counters.h"
#include "host/Workstation.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace spdlog {
class logger;
}

namespace host {

/**
 * The log behind every DBG_Log: its level word, and where its lines go. Lines may be written from
 * any thread.
 */
class Log {
public:
    using Line = Workstation::LogLine;
    using Sink = Workstation::LogSink;

    /** Takes the level from the environment. `counters` has to outlive the log. */
    explicit Log(Counters& counters);
    ~Log();
    Log(Log const&) = delete;
    Log& operator=(Log const&) = delete;

    /** The level word, which modules read without a lock on the thread of the loop. */
    unsigned int const& levelWord() const { return word; }
    /** Whether operations and events are to be traced. */
    bool isTracing() const { return (word & 3U) > 1U; }

    /** Notes the level that is wanted; any thread. */
    void requestLevel(unsigned int level) { requested = level; }
    unsigned int requestedLevel() const { return requested; }
    /** Makes the level that is wanted the level word; the loop's thread only. */
    void applyLevel() { word = requested; }

    /** An empty sink stands for standard error. */
    void setSink(Sink sink);

    void error(std::string const& message, std::string const& detail, std::string const& file,
               int line);
    void trace(std::string const& text, std::string const& file, int line);

    /** Hands everything that was written to the operating system. */
    void flush();

    /** Standard error, and the level that the environment says. */
    void reset();

    /** Counts a bad variable of the environment, and reports it when it was not reported yet. */
    void reportEnvironment(std::string const& fault);

private:
    void write(Line const& line);
    void print(Line const& line);

    Counters& counters;
    unsigned int word = 0;
    std::atomic<unsigned int> requested{0};
    std::mutex sinkMutex;
    std::shared_ptr<Sink const> sink;
    std::unique_ptr<spdlog::logger> standardError;
    /** Kept over `reset`: the environment is the same one after it. */
    std::set<std::string> reportedFaults;
};

/**
 * A line as standard error shows it behind time and level: source and line when there is a source,
 * text, detail when there is one. NUL characters are dropped, blanks and line ends at the end of
 * text and detail too, and the lines of a longer text are indented under the first.
 */
std::string printable(Log::Line const& line);

} // namespace host

#endif
