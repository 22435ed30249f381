#ifndef GATEWAY_ENDINGSIGNALS_H
#define GATEWAY_ENDINGSIGNALS_H

#include "host/bus/Wakeup.h"

#include <csignal>
#include <functional>
#include <thread>

namespace gateway {

/**
 * Each SIGINT and SIGTERM, and each SIGHUP unless it is ignored, calls an action, on a thread of
 * its own, as long as this exists. Made before any other thread, so that the signals reach this
 * one.
 */
class EndingSignals {
public:
    explicit EndingSignals(std::function<void()> action);
    ~EndingSignals();
    EndingSignals(EndingSignals const&) = delete;
    EndingSignals& operator=(EndingSignals const&) = delete;

private:
    host::Wakeup ending;
    int signals;
    sigset_t before{};
    std::thread waiter;
};

} // namespace gateway

#endif
