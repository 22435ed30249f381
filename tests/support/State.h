#ifndef RECORDING_STATE_H
#define RECORDING_STATE_H

#include "tests/support/Recording.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace recording {

/**
 * Which objects of a kind exist. Objects from before the last `forget` are known but not counted,
 * so that a test does not count what an earlier one left behind.
 */
class Census {
public:
    void born(void const* object);
    /** @return whether the object was known */
    bool died(void const* object);
    bool knows(void const* object) const;
    /** Number of objects that exist and were born since `forget`. */
    std::size_t count() const;
    void forget();

private:
    unsigned int generation = 0;
    std::map<void const*, unsigned int> objects;
};

/** A value of the configuration store. */
struct ConfigurationValue {
    int type;
    std::vector<unsigned char> bytes;
};

/** What the test records and sets: what `Platform::reset` puts back to its start. */
struct Notes {
    std::vector<std::pair<Kind, std::string>> journal;

    std::vector<imc_msg> posted;
    std::vector<Registration> registrations;
    std::vector<std::string> answers;
    std::vector<int> exits;
    std::vector<LogCall> logCalls;
    std::vector<GC_MetaObject const*> dereferenced;
    std::size_t faultyDereferences = 0;
    std::vector<ConfigurationQuestion> configurationQuestions;
    std::vector<NoteworthyQuestion> noteworthyQuestions;
    std::vector<SidQuestion> sidQuestions;
    std::vector<std::string> boardQuestions;
    std::vector<std::string> interfaceQuestions;
    std::vector<unsigned char> instanceQuestions;
    std::vector<EndPoint> endPoints;
};

struct Settings {
    std::vector<Registration> registered;
    std::set<unsigned char> unservedSids;
    bool collectorTrace = false;
    std::map<std::pair<std::string, std::string>, ConfigurationValue> configuration;
    std::map<int, std::vector<std::uint8_t>> noteworthyValues;
    std::set<std::string> boards;
    std::map<std::string, unsigned char> sids;
    std::map<std::string, std::uint32_t> interfaces;
};

/** The memory of the recording platform. */
struct State {
    Notes notes;
    Settings settings;
    /** Never moves: every DBG_Log refers to it. */
    unsigned int logLevel = 0;
    Census metaObjects;
    Census clones;
    Census addresses;
};

/** Lives from its first use, before main(), beyond the end of every static object. */
State& state();

/** Adds an entry to the journal. */
void enter(Kind kind, std::string const& text);

/** Calls a function of the script as it is now, so that it may replace itself; none is harmless. */
template <typename... Parameters, typename... Arguments>
void play(std::function<void(Parameters...)> const& action, Arguments const&... arguments) {
    auto const current = action;
    if (current) {
        current(arguments...);
    }
}

} // namespace recording

#endif
