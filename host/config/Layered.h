#ifndef HOST_LAYERED_H
#define HOST_LAYERED_H

#include <algorithm>
#include <map>
#include <utility>

namespace host {

/**
 * Values that both the program and the configuration file give. The program's goes before the
 * file's, so that a change of the file never takes back what the program set.
 */
template <class Key, class Value>
class Layered {
public:
    using Values = std::map<Key, Value>;

    /** Sets the program's value. */
    void set(Key const& key, Value const& value) { program[key] = value; }
    /** Removes the program's value, and the file's until the file gives it again. */
    void remove(Key const& key) {
        program.erase(key);
        file.erase(key);
    }
    /** Removes all values as `remove` does. */
    void clear() {
        program.clear();
        file.clear();
    }

    /** Replaces everything that the file gave before. */
    void replaceFile(Values values) { file = std::move(values); }

    /** The value in force; null when there is none. Valid until the next change. */
    Value const* find(Key const& key) const {
        for (Values const* const layer : {&program, &file}) {
            auto const found = layer->find(key);
            if (found != layer->end()) {
                return &found->second;
            }
        }
        return nullptr;
    }

    /** Whether the value is in force for any key. */
    bool holds(Value const& value) const {
        auto const isIt = [&](auto const& entry) {
            return entry.second == value && find(entry.first) == &entry.second;
        };
        return std::any_of(program.begin(), program.end(), isIt) ||
               std::any_of(file.begin(), file.end(), isIt);
    }

private:
    Values program;
    Values file;
};

} // namespace host

#endif
