#include "host/debug/Log.h"

#include "host/Environment.h"
#include "host/Text.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/stdout_color_sinks.h>

#include <utility>

namespace host {

namespace {

char const source[] = "host/debug/Log";

/** Without NUL characters, and without blanks and line ends at the end. */
std::string trimmed(std::string const& text) {
    std::string result = withoutNul(text);
    result.resize(result.find_last_not_of("\n\r ") + 1);
    return result;
}

} // namespace

std::string printable(Log::Line const& line) {
    std::string text;
    if (!line.file.empty()) {
        text = line.file + ":" + std::to_string(line.line) + ": ";
    }
    text += trimmed(line.text);
    std::string const detail = trimmed(line.detail);
    if (!detail.empty()) {
        text += " : " + detail;
    }
    std::string shown;
    for (char const character : text) {
        shown += character;
        if (character == '\n') {
            shown += "    ";
        }
    }
    return shown;
}

Log::Log(Counters& faults)
    : counters(faults),
      standardError(std::make_unique<spdlog::logger>(
          "host", std::make_shared<spdlog::sinks::stderr_color_sink_mt>())) {
    standardError->set_level(spdlog::level::trace);
    standardError->set_pattern("%Y-%m-%d %H:%M:%S.%e %^%-5l%$ %v");
    reset();
}

Log::~Log() = default;

void Log::setSink(Sink newSink) {
    auto replacement = newSink ? std::make_shared<Sink const>(std::move(newSink)) : nullptr;
    std::lock_guard<std::mutex> const lock(sinkMutex);
    sink.swap(replacement);
}

void Log::error(std::string const& message, std::string const& detail, std::string const& file,
                int line) {
    write({true, message, detail, file, line});
}

void Log::trace(std::string const& text, std::string const& file, int line) {
    write({false, text, "", file, line});
}

void Log::write(Line const& line) {
    std::shared_ptr<Sink const> taken;
    {
        std::lock_guard<std::mutex> const lock(sinkMutex);
        taken = sink;
    }
    if (!taken) {
        print(line);
        return;
    }
    try {
        (*taken)(line);
    } catch (...) {
        // A module that logs is promised that logging does not fail.
        counters.add(Cause::logLineLost);
        print(line);
    }
}

void Log::print(Line const& line) {
    // As a view, so that braces in the text are no format.
    std::string const text = printable(line);
    standardError->log(line.isError ? spdlog::level::err : spdlog::level::trace,
                       spdlog::string_view_t(text));
}

void Log::flush() {
    standardError->flush();
}

void Log::reset() {
    setSink(nullptr);
    EnvironmentDigit const level = environmentDigit("MC_LOG_LEVEL", 3);
    requestLevel(level.value.value_or(0));
    applyLevel();
    reportEnvironment(level.fault);
}

void Log::reportEnvironment(std::string const& fault) {
    if (fault.empty()) {
        return;
    }
    counters.add(Cause::badEnvironment);
    if (reportedFaults.insert(fault).second) {
        error("a variable of the environment is ignored", fault, source, __LINE__);
    }
}

} // namespace host
