#ifndef GATEWAY_SESSION_ALARM_H
#define GATEWAY_SESSION_ALARM_H

#include "host/imc/Dispatcher.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace gateway {

/** Calls an action, as a task of the loop, when the time has come; as long as this exists. */
class Alarm {
public:
    using Time = std::chrono::steady_clock::time_point;

    Alarm(host::Dispatcher& dispatcher, std::function<void(Time now)> what)
        : loop(dispatcher), action(std::move(what)) {}

    /** No later than this; nothing changes when it was set for earlier, or for nothing. */
    void setFor(std::optional<Time> time) {
        if (!time || (set && *set <= *time)) {
            return;
        }
        set = time;
        auto const left =
            std::chrono::ceil<std::chrono::milliseconds>(*time - std::chrono::steady_clock::now());
        loop.postAfter(left, [this, alive = std::weak_ptr<bool>(life), at = *time] {
            if (!alive.expired() && set == at) {
                set.reset();
                action(std::chrono::steady_clock::now());
            }
        });
    }

private:
    host::Dispatcher& loop;
    std::function<void(Time)> action;
    std::optional<Time> set;
    /** Tells a task whether this still exists. */
    std::shared_ptr<bool> life = std::make_shared<bool>(true);
};

} // namespace gateway

#endif
