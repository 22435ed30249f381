#ifndef GATEWAY_REPORT_H
#define GATEWAY_REPORT_H

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstddef>
#include <deque>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

/** An expectation that did not hold. Nothing expected or seen is an empty list. */
struct Failure {
    /** What was looked at: "callbacks", "state of caller-in". */
    std::string what;
    std::vector<std::string> expected;
    std::vector<std::string> seen;
    /** Nothing was expected against which `seen` could be held: `what` says it all. */
    bool isOnlySeen = false;
};

/** What happened in a call file, in numbers. */
struct Summary {
    std::size_t steps = 0;
    std::size_t stepsDone = 0;
    std::size_t held = 0;
    std::size_t failed = 0;
    std::size_t commands = 0;
    std::size_t events = 0;
    std::size_t callbacks = 0;
    std::size_t refusals = 0;
    /** Files that never began. */
    std::size_t filesNotRun = 0;

    bool hasPassed() const { return failed == 0 && filesNotRun == 0; }
};

struct ReportOptions {
    /** One JSON object per line instead of lines for a person. */
    bool json = false;
    /** Failures and summaries only. */
    bool quiet = false;
};

/**
 * Writes what happens, as it happens: one line, or one JSON object, for each operation, command,
 * event, callback and so on, with the time since the beginning of the call file.
 */
class Report {
public:
    using Json = nlohmann::ordered_json;

    /** @param stream stays valid as long as the report */
    Report(std::ostream& stream, ReportOptions const& options);

    /** Entries are not shown, so that nobody needs to make them. */
    bool isQuiet() const { return options.quiet; }

    /** A file that is going to run. When it never begins, the end names it as not run. */
    void expectFile(std::string const& path, std::size_t steps);

    void beginFile(std::string const& path, std::string const& title);

    /** Times count from here on, for the file that was begun; before, they are 0. */
    void startClock();

    /**
     * Something happened.
     * @param kind a word such as "command"
     * @param text for a person; may have several lines, NUL characters are left out
     * @param details what a machine gets besides time and kind
     */
    void entry(std::string const& kind, std::string const& text, Json const& details);

    /** The same for what stands at the end, which is shown in any case. */
    void result(std::string const& kind, std::string const& text, Json const& details);

    /** A remark of the call file's author on what comes. */
    void note(std::string const& text);

    /** @param place "FILE:LINE" and what was done there */
    void failure(std::string const& file, unsigned line, std::string const& operation,
                 Failure const& failure);

    void endFile(std::string const& path, Summary const& summary);

    /**
     * An entry of a call that another report wrote as JSON, as this one would have shown it. One
     * that is no such entry is shown as the JSON that it is.
     */
    void show(Json const& entry);

    /** After the last file that ran. */
    void end();

private:
    struct Awaited {
        std::string path;
        std::size_t steps;
    };

    double milliseconds() const;
    void showKnown(Json const& entry);
    void writeJson(Json const& object);
    void writeNotRun(Awaited const& file);
    void writeLine(std::string const& kind, std::string const& text);

    std::ostream& out;
    ReportOptions options;
    std::optional<std::chrono::steady_clock::time_point> start;
    /** Of an entry that is shown, in the place of the clock. */
    std::optional<double> shownTime;
    /** Files that have not begun. */
    std::deque<Awaited> awaited;
    std::size_t files = 0;
    std::size_t filesFailed = 0;
    Summary total;
};

/** @throw std::runtime_error when not all of a report could be written to the stream */
void requireWritten(std::ostream const& stream);

} // namespace gateway

#endif
