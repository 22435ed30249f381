#include "tests/support/Recording.h"

#include "tests/support/State.h"

#include <algorithm>

namespace recording {

void Census::born(void const* object) {
    objects[object] = generation;
}

bool Census::died(void const* object) {
    return objects.erase(object) > 0;
}

bool Census::knows(void const* object) const {
    return objects.count(object) > 0;
}

std::size_t Census::count() const {
    auto const isYoung = [this](auto const& object) { return object.second == generation; };
    return static_cast<std::size_t>(std::count_if(objects.begin(), objects.end(), isYoung));
}

void Census::forget() {
    ++generation;
}

State& state() {
    static State& onlyState = *new State;
    return onlyState;
}

void enter(Kind kind, std::string const& text) {
    state().notes.journal.emplace_back(kind, text);
}

Platform& platform() {
    static Platform& onlyPlatform = *new Platform;
    return onlyPlatform;
}

void Platform::reset() {
    script = Script{};
    state().notes = Notes{};
    state().settings = Settings{};
    state().logLevel = 0;
    state().metaObjects.forget();
    state().clones.forget();
    state().addresses.forget();
}

void Platform::clearRecords() {
    state().notes = Notes{};
}

std::vector<std::string> Platform::journal(Kind kinds) const {
    std::vector<std::string> entries;
    for (auto const& entry : state().notes.journal) {
        if ((static_cast<unsigned int>(entry.first) & static_cast<unsigned int>(kinds)) != 0) {
            entries.push_back(entry.second);
        }
    }
    return entries;
}

} // namespace recording
