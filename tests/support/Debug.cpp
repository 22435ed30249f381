#include "collector/GC_GarbageCollector.h"
#include "debug/DBG_Log.h"
#include "debug/DBG_NoteworthyValueMgr.h"
#include "tests/support/State.h"

#include <algorithm>
#include <cstring>
#include <iterator>

using recording::enter;
using recording::Kind;
using recording::LogCall;
using recording::platform;
using recording::play;
using recording::state;

namespace {

/** The constructor of the service is for platforms only. */
class NoteworthyValueMgr : public DBG_NoteworthyValueMgr {};

bool isCollector(DBG_Log const& log) {
    return dynamic_cast<GC_GarbageCollector const*>(&log) != nullptr;
}

std::string place(LogCall const& call) {
    return " | " + call.file + ":" + std::to_string(call.line);
}

} // namespace

DBG_Log::DBG_Log() : level(state().logLevel) {
    enter(Kind::logs, "log created");
}

DBG_Log::~DBG_Log() {
    enter(Kind::logs, "log destroyed");
}

void DBG_Log::error(std::string const& message, std::string const& detail, std::string const& file,
                    int line) const {
    LogCall const call{this, isCollector(*this), true, message, detail, file, line};
    state().notes.logCalls.push_back(call);
    enter(Kind::errors, "error " + message + " | " + detail + place(call));
    play(platform().script.log, call);
}

void DBG_Log::trace(std::string const& text, std::string const& file, int line) const {
    LogCall const call{this, isCollector(*this), false, text, "", file, line};
    state().notes.logCalls.push_back(call);
    if (call.isCollector) {
        enter(Kind::collectorTraces, "collector trace " + text + place(call));
    } else {
        enter(Kind::traces, "trace " + text + place(call));
    }
    play(platform().script.log, call);
}

DBG_NoteworthyValueMgr::DBG_NoteworthyValueMgr() = default;
DBG_NoteworthyValueMgr::~DBG_NoteworthyValueMgr() = default;

DBG_NoteworthyValueMgr* DBG_NoteworthyValueMgr::instance() {
    static NoteworthyValueMgr& manager = *new NoteworthyValueMgr;
    enter(Kind::instances, "DBG_NoteworthyValueMgr::instance()");
    return &manager;
}

bool DBG_NoteworthyValueMgr::getValue(int number, void* destination, std::size_t size) const {
    state().notes.noteworthyQuestions.push_back({number, size});
    enter(Kind::configuration,
          "getValue(" + std::to_string(number) + ", " + std::to_string(size) + ")");
    auto const& values = state().settings.noteworthyValues;
    auto const found = values.find(number);
    if (found == values.end() || found->second.size() != size) {
        return false;
    }
    std::memcpy(destination, found->second.data(), size);
    return true;
}

namespace recording {

namespace {

template <typename Condition>
std::vector<LogCall> callsThat(Condition condition) {
    std::vector<LogCall> calls;
    auto const& all = state().notes.logCalls;
    std::copy_if(all.begin(), all.end(), std::back_inserter(calls), condition);
    return calls;
}

} // namespace

void Platform::setLogLevel(unsigned int level) {
    state().logLevel = level;
}

std::vector<LogCall> const& Platform::logCalls() const {
    return state().notes.logCalls;
}

std::vector<LogCall> Platform::errors() const {
    return callsThat([](LogCall const& call) { return call.isError && !call.isCollector; });
}

std::vector<LogCall> Platform::traces() const {
    return callsThat([](LogCall const& call) { return !call.isError && !call.isCollector; });
}

std::vector<LogCall> Platform::collectorTraces() const {
    return callsThat([](LogCall const& call) { return call.isCollector && !call.isError; });
}

void Platform::setNoteworthyValue(int number, std::vector<std::uint8_t> const& bytes) {
    state().settings.noteworthyValues[number] = bytes;
}

void Platform::removeNoteworthyValue(int number) {
    state().settings.noteworthyValues.erase(number);
}

std::vector<NoteworthyQuestion> const& Platform::noteworthyQuestions() const {
    return state().notes.noteworthyQuestions;
}

} // namespace recording
