#ifndef HOST_REGISTRATIONS_H
#define HOST_REGISTRATIONS_H

#include <algorithm>
#include <map>
#include <memory>
#include <vector>

namespace host {

/**
 * Who is registered for what, in the order of registration. Observers may come and go while a
 * delivery goes on: one that went is not called again, and one that came is called from the next
 * delivery on. Nothing of an observer is touched once its call has begun, so it may be deleted.
 */
template <class Key, class Observer>
class Registrations {
public:
    /** @return false when the observer is registered for the key already */
    bool add(Key const& key, Observer& observer) {
        Entries& entries = registered[key];
        if (find(entries, &observer) != entries.end()) {
            return false;
        }
        entries.push_back(std::make_shared<Entry>(Entry{&observer}));
        return true;
    }

    /** @return false when the observer is not registered for the key */
    bool remove(Key const& key, Observer const* observer) {
        auto const list = registered.find(key);
        if (list == registered.end()) {
            return false;
        }
        auto const entry = find(list->second, observer);
        if (entry == list->second.end()) {
            return false;
        }
        (*entry)->observer = nullptr;
        list->second.erase(entry);
        if (list->second.empty()) {
            registered.erase(list);
        }
        return true;
    }

    /** Calls `call` with each observer of the key; @return false when there is none. */
    template <class Call>
    bool deliver(Key const& key, Call call) const {
        auto const list = registered.find(key);
        if (list == registered.end()) {
            return false;
        }
        Entries const now = list->second;
        for (auto const& entry : now) {
            if (entry->observer != nullptr) {
                call(*entry->observer);
            }
        }
        return true;
    }

private:
    /** Shared with the delivery under way, which has to see that the observer went. */
    struct Entry {
        Observer* observer;
    };
    using Entries = std::vector<std::shared_ptr<Entry>>;

    static typename Entries::iterator find(Entries& entries, Observer const* observer) {
        return std::find_if(entries.begin(), entries.end(),
                            [observer](auto const& entry) { return entry->observer == observer; });
    }

    std::map<Key, Entries> registered;
};

} // namespace host

#endif
