#include "gateway/Report.h"

#include "gateway/Text.h"

#include "host/Text.h"

#include <cmath>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <stdexcept>

namespace gateway {

namespace {

/** Times, kinds and texts stand in columns. */
int const timeWidth = 8;
int const kindWidth = 9;
std::string const textMargin(timeWidth + kindWidth + 7, ' ');

/** The lines below the first begin with the margin, except empty ones. */
std::string indented(std::string const& text, std::string const& margin) {
    std::string result;
    bool isNewLine = false;
    for (char const each : text) {
        if (isNewLine && each != '\n') {
            result += margin;
        }
        result += each;
        isNewLine = each == '\n';
    }
    return result;
}

/** A text as a person reads it: without NUL characters, tabs, and empty lines around it. */
std::string readable(std::string const& raw) {
    std::string text = host::withoutNul(raw);
    text.erase(text.find_last_not_of("\n\r ") + 1);
    text.erase(0, text.find_first_not_of('\n'));
    for (auto tab = text.find('\t'); tab != std::string::npos; tab = text.find('\t', tab)) {
        text.replace(tab, 1, "    ");
    }
    return text;
}

/** "expected" or "seen" with one line for each of the texts. */
std::string listing(std::string const& label, std::vector<std::string> const& texts) {
    std::string const margin(10, ' ');
    if (texts.empty()) {
        return "\n" + label + "nothing";
    }
    std::string result;
    for (std::string const& text : texts) {
        result +=
            (result.empty() ? "\n" + label : "\n" + margin) + indented(readable(text), margin);
    }
    return result;
}

Report::Json toJson(Summary const& summary) {
    return {{"passed", summary.hasPassed()},   {"steps", summary.steps},
            {"steps_done", summary.stepsDone}, {"expectations_held", summary.held},
            {"failures", summary.failed},      {"commands", summary.commands},
            {"events", summary.events},        {"callbacks", summary.callbacks},
            {"refusals", summary.refusals}};
}

Summary summaryFrom(Report::Json const& object) {
    Summary summary;
    summary.steps = object.at("steps");
    summary.stepsDone = object.at("steps_done");
    summary.held = object.at("expectations_held");
    summary.failed = object.at("failures");
    summary.commands = object.at("commands");
    summary.events = object.at("events");
    summary.callbacks = object.at("callbacks");
    summary.refusals = object.at("refusals");
    return summary;
}

std::string toText(Summary const& summary) {
    std::string const steps =
        summary.stepsDone == summary.steps
            ? plural(summary.steps, "step")
            : std::to_string(summary.stepsDone) + " of " + plural(summary.steps, "step");
    return (summary.hasPassed() ? "passed" : "FAILED") + (": " + steps) + ", " +
           plural(summary.held, "expectation") + " held, " + plural(summary.failed, "failure") +
           "; " + plural(summary.commands, "command") + ", " + plural(summary.events, "event") +
           ", " + plural(summary.callbacks, "callback") + ", " +
           plural(summary.refusals, "refusal");
}

void add(Summary& total, Summary const& more) {
    total.steps += more.steps;
    total.stepsDone += more.stepsDone;
    total.held += more.held;
    total.failed += more.failed;
    total.commands += more.commands;
    total.events += more.events;
    total.callbacks += more.callbacks;
    total.refusals += more.refusals;
}

} // namespace

Report::Report(std::ostream& stream, ReportOptions const& how) : out(stream), options(how) {}

double Report::milliseconds() const {
    if (shownTime) {
        return *shownTime;
    }
    if (!start) {
        return 0;
    }
    std::chrono::duration<double, std::milli> const elapsed =
        std::chrono::steady_clock::now() - *start;
    return std::round(elapsed.count() * 10) / 10;
}

void Report::writeJson(Json const& object) {
    // A text of a message may hold any byte; a JSON text may not.
    out << object.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n' << std::flush;
}

void Report::writeLine(std::string const& kind, std::string const& text) {
    std::ostringstream line;
    line << std::fixed << std::setprecision(1) << std::setw(timeWidth) << milliseconds() << " ms  "
         << std::left << std::setw(kindWidth) << kind << "  "
         << indented(readable(text), textMargin);
    out << line.str() << '\n' << std::flush;
}

void Report::expectFile(std::string const& path, std::size_t steps) {
    awaited.push_back({path, steps});
}

void Report::beginFile(std::string const& path, std::string const& title) {
    start.reset();
    if (!awaited.empty()) {
        awaited.pop_front();
    }
    if (options.quiet) {
        return;
    }
    if (options.json) {
        writeJson({{"type", "file"}, {"file", path}, {"title", title}});
    } else {
        out << (files == 0 ? "" : "\n") << path << (title.empty() ? "" : ": ") << title << '\n'
            << std::flush;
    }
}

void Report::startClock() {
    start = std::chrono::steady_clock::now();
}

void Report::entry(std::string const& kind, std::string const& text, Json const& details) {
    if (!options.quiet) {
        result(kind, text, details);
    }
}

void Report::result(std::string const& kind, std::string const& text, Json const& details) {
    if (options.json) {
        Json object = {{"type", kind}, {"time_ms", milliseconds()}};
        object.update(details);
        writeJson(object);
    } else {
        writeLine(kind, text);
    }
}

void Report::note(std::string const& text) {
    if (options.quiet) {
        return;
    }
    if (options.json) {
        writeJson({{"type", "note"}, {"time_ms", milliseconds()}, {"text", text}});
    } else {
        out << "\n  " << text << '\n' << std::flush;
    }
}

void Report::failure(std::string const& file, unsigned line, std::string const& operation,
                     Failure const& what) {
    if (options.json) {
        Json object = {{"type", "failure"},
                       {"time_ms", milliseconds()},
                       {"file", file},
                       {"line", line},
                       {"operation", operation},
                       {"what", what.what},
                       {"expected", what.expected},
                       {"seen", what.seen}};
        if (what.isOnlySeen) {
            object["only_seen"] = true;
        }
        writeJson(object);
    } else {
        std::string const place = file + (line == 0 ? "" : ":" + std::to_string(line));
        std::string const expected = what.isOnlySeen ? "" : listing("expected  ", what.expected);
        std::string const seen =
            what.isOnlySeen && what.seen.empty() ? "" : listing("seen      ", what.seen);
        writeLine("FAILED", place + ": " + operation + ": " + what.what + expected + seen);
    }
}

void Report::endFile(std::string const& path, Summary const& summary) {
    ++files;
    filesFailed += summary.failed == 0 ? 0 : 1;
    add(total, summary);
    if (options.json) {
        Json object = {{"type", "file_summary"}, {"time_ms", milliseconds()}, {"file", path}};
        object.update(toJson(summary));
        writeJson(object);
    } else {
        out << (options.quiet ? "" : "\n") << path << ": " << toText(summary) << '\n' << std::flush;
    }
}

void Report::show(Json const& entry) {
    try {
        shownTime = entry.value("time_ms", 0.0);
        showKnown(entry);
    } catch (Json::exception const&) {
        writeJson(entry);
    }
    shownTime.reset();
}

void Report::showKnown(Json const& each) {
    std::string const type = each.at("type");
    if (type == "file") {
        beginFile(each.at("file"), each.at("title"));
    } else if (type == "note") {
        note(each.at("text"));
    } else if (type == "failure") {
        failure(each.at("file"), each.at("line"), each.at("operation"),
                {each.at("what"), each.at("expected"), each.at("seen"),
                 each.value("only_seen", false)});
    } else if (type == "file_summary") {
        endFile(each.at("file"), summaryFrom(each));
    } else if (type != "summary") {
        // What a board could not take is told with the board, as its messages tell it themselves.
        std::string const from =
            type == "board" ? " from=" + each.at("from").get<std::string>() : "";
        entry(type, each.at("text").get<std::string>() + from, each);
    }
}

void Report::writeNotRun(Awaited const& file) {
    if (options.json) {
        writeJson({{"type", "file_not_run"}, {"file", file.path}, {"steps", file.steps}});
    } else {
        out << file.path << ": NOT RUN: 0 of " << plural(file.steps, "step") << '\n' << std::flush;
    }
}

void Report::end() {
    for (Awaited const& file : awaited) {
        writeNotRun(file);
        ++files;
        ++total.filesNotRun;
        total.steps += file.steps;
    }
    std::string const notRun =
        total.filesNotRun == 0 ? "" : ", " + std::to_string(total.filesNotRun) + " not run";
    if (options.json) {
        Json object = {{"type", "summary"},
                       {"files", files},
                       {"files_failed", filesFailed},
                       {"files_not_run", total.filesNotRun}};
        object.update(toJson(total));
        writeJson(object);
    } else if (files > 1) {
        out << (options.quiet ? "" : "\n") << plural(files, "file") << ", "
            << std::to_string(filesFailed) << " failed" << notRun << ": " << toText(total) << '\n'
            << std::flush;
    }
}

void requireWritten(std::ostream const& stream) {
    if (!stream) {
        throw std::runtime_error("the report can't be written");
    }
}

} // namespace gateway
