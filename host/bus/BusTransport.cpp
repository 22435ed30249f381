#include "host/bus/BusTransport.h"

#include "host/bus/BusWire.h"
#include "host/imc/SidText.h"

#include <optional>
#include <stdexcept>
#include <utility>

namespace host {

BusTransport::BusTransport(Dispatcher& loop, Counters& faults, BusOptions const& options,
                           BusListener* listener)
    : counters(faults),
      place(std::make_shared<BusPlace>(options)),
      exchange(std::make_shared<BusExchange>(loop, faults, place->setup(false), listener, nullptr)),
      wire(std::make_unique<BusWire>(place, exchange, faults)) {
    exchange->watchArrivals([this](imc_msg const& message) {
        if (tap() != nullptr) {
            tap()->received(message);
        }
    });
}

BusTransport::~BusTransport() {
    exchange->end();
}

void BusTransport::attach(unsigned char sid, Endpoint& endpoint) {
    try {
        if (exchange->isAttached(sid)) {
            throw std::runtime_error("IMC address " + sidText(sid) + " is served already");
        }
        std::optional<LockFile> lock;
        if (place->directory) {
            BusNode const& self = exchange->self();
            lock = place->directory->claim(sid, {self.name, self.pid});
        } else {
            exchange->awaitPeers();
            if (std::optional<BusHolder> const holder = exchange->holderOf(sid)) {
                throw std::runtime_error("IMC address " + sidText(sid) + " is served already by " +
                                         holder->text());
            }
        }
        exchange->attach(sid, endpoint, std::move(lock));
    } catch (std::runtime_error const&) {
        counters.add(Cause::busClaimRefused);
        throw;
    }
}

void BusTransport::detach(unsigned char sid) {
    exchange->detach(sid);
}

void BusTransport::send(imc_msg const& message) {
    try {
        exchange->send(message);
    } catch (std::runtime_error const& error) {
        if (tap() != nullptr) {
            tap()->refused(message, error.what());
        }
        throw;
    }
    if (tap() != nullptr) {
        tap()->carried(message);
    }
}

std::string const& BusTransport::endpoint() const {
    return exchange->self().endpoint;
}

std::vector<BusPeer> BusTransport::peers() const {
    return exchange->peers();
}

bool BusTransport::isSettled() const {
    // One of those in the directory is this one.
    return place->directory ? peers().size() + 1 >= place->directory->endpoints().size()
                            : exchange->isResolved();
}

} // namespace host
