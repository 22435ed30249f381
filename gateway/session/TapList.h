#ifndef GATEWAY_SESSION_TAPLIST_H
#define GATEWAY_SESSION_TAPLIST_H

#include "host/imc/Transport.h"

#include <algorithm>
#include <string>
#include <vector>

namespace gateway {

/** Several taps where a transport takes one, in the order in which they came. Owns none. */
class TapList : public host::Tap {
public:
    void add(host::Tap& tap) { taps.push_back(&tap); }
    void remove(host::Tap& tap) {
        taps.erase(std::remove(taps.begin(), taps.end(), &tap), taps.end());
    }

    void carried(imc_msg const& message) override {
        for (host::Tap* const tap : taps) {
            tap->carried(message);
        }
    }
    void refused(imc_msg const& message, std::string const& reason) override {
        for (host::Tap* const tap : taps) {
            tap->refused(message, reason);
        }
    }
    void received(imc_msg const& message) override {
        for (host::Tap* const tap : taps) {
            tap->received(message);
        }
    }

private:
    std::vector<host::Tap*> taps;
};

} // namespace gateway

#endif
