#include "gateway/control/Completion.h"

#include "gateway/ChannelFields.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <sstream>

namespace gateway {

namespace {

using Words = std::vector<std::string>;
using Names = std::function<Words()>;

/** What may stand behind the first words, other than names and keys. */
std::map<Words, Words> const& fixedWords() {
    static std::map<Words, Words> const table = {
        {{}, {"MC", "call", "exit", "help", "quit", "session"}},
        {{"MC"}, {"Channel", "Dsp", "help"}},
        {{"MC", "Channel"}, {"0x", "All"}},
        {{"MC", "Dsp"}, {"0x", "All"}},
        {{"session"},
         {"alert", "audit", "boards", "close", "counters", "dtmf", "end", "fax", "faxtone", "help",
          "join", "log", "open", "records", "status", "unjoin", "update", "watch"}},
        {{"session", "audit"}, {"0x"}},
        {{"session", "log"}, {"0", "1", "2", "3"}},
        {{"session", "watch"}, {"off", "on"}}};
    return table;
}

bool isOneOf(std::string const& word, Words const& words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

Words keysOfChannels() {
    Words keys = {"board="};
    for (ChannelField const& field : channelFields()) {
        if (field.set) {
            keys.push_back(field.name + "=");
        }
    }
    return keys;
}

/** Those that are not on the line yet. */
Words unused(Words const& keys, Words const& before) {
    Words result;
    std::copy_if(keys.begin(), keys.end(), std::back_inserter(result), [&](std::string const& key) {
        return std::none_of(before.begin(), before.end(), [&key](std::string const& word) {
            return word.compare(0, key.size(), key) == 0;
        });
    });
    return result;
}

Words ofSession(Words const& before, Names const& names) {
    std::string const& verb = before[1];
    static Words const ofRecords = {"alert",   "close", "dtmf",   "fax",
                                    "faxtone", "join",  "unjoin", "update"};
    if (before.size() == 2) {
        return isOneOf(verb, ofRecords) ? names() : Words();
    }
    if (verb == "open" || verb == "update") {
        return unused(keysOfChannels(), before);
    }
    return verb == "join" ? unused({"joinDsp=", "joinIp="}, before) : Words();
}

Words behind(Words const& before, Names const& names) {
    auto const fixed = fixedWords().find(before);
    if (fixed != fixedWords().end()) {
        return fixed->second;
    }
    return before.size() >= 2 && before[0] == "session" ? ofSession(before, names) : Words();
}

/** A word that goes on: a key, the beginning of a number. */
bool isUnfinished(std::string const& word) {
    return word.back() == '=' || word == "0x";
}

std::string commonBegin(Words const& words) {
    std::string common = words.front();
    for (std::string const& word : words) {
        auto const end = std::mismatch(common.begin(), common.end(), word.begin(), word.end());
        common.erase(end.first, common.end());
    }
    return common;
}

} // namespace

Completion complete(std::string const& typed, Names const& names) {
    Words before;
    std::istringstream stream(typed);
    for (std::string word; stream >> word;) {
        before.push_back(word);
    }
    std::string begun;
    if (!typed.empty() && typed.back() != ' ' && !before.empty()) {
        begun = before.back();
        before.pop_back();
    }
    Words fitting = behind(before, names);
    fitting.erase(std::remove_if(fitting.begin(), fitting.end(),
                                 [&begun](std::string const& word) {
                                     return word.empty() ||
                                            word.compare(0, begun.size(), begun) != 0;
                                 }),
                  fitting.end());
    if (fitting.empty()) {
        return {};
    }
    Completion result;
    result.insertion = commonBegin(fitting).substr(begun.size());
    if (fitting.size() == 1 && !isUnfinished(fitting.front())) {
        result.insertion += ' ';
    }
    if (result.insertion.empty() && fitting.size() > 1) {
        result.choices = fitting;
    }
    return result;
}

} // namespace gateway
