#include "host/bus/BusTap.h"

#include "host/bus/BusWire.h"

namespace host {

BusTap::BusTap(Dispatcher& loop, Counters& counters, BusOptions const& options,
               BusTapListener& listener, BusListener* bus) {
    auto const place = std::make_shared<BusPlace const>(options);
    exchange = std::make_shared<BusExchange>(loop, counters, place->setup(true), bus, &listener);
    wire = std::make_unique<BusWire>(place, exchange, counters);
}

BusTap::~BusTap() {
    exchange->end();
}

std::string const& BusTap::endpoint() const {
    return exchange->self().endpoint;
}

std::vector<BusHolder> BusTap::senders() const {
    return exchange->senders();
}

} // namespace host
