#ifndef HOST_BUS_BUSTAP_H
#define HOST_BUS_BUSTAP_H

#include "host/Counters.h"
#include "host/bus/Bus.h"
#include "host/bus/BusExchange.h"
#include "host/imc/Dispatcher.h"

#include <memory>
#include <string>
#include <vector>

namespace host {

class BusWire;

/**
 * Sees every message that the nodes of a bus send, those included that stay inside a node. The
 * copies of one sender come in the order in which it sent them; those of several come as they
 * arrive, and their timestamps tell when each was sent. A tap never slows the bus: when `window`
 * copies of a sender are not taken, further ones are left out, counted, and told.
 */
class BusTap {
public:
    /**
     * Joins the bus; serves no address.
     * @param dispatcher and counters outlive the tap and the tasks that it leaves in the loop
     * @param listener outlives the tap
     * @param bus may be null; outlives the tap
     * @throw std::invalid_argument for options that name no bus
     * @throw std::runtime_error when the bus can't be joined
     */
    BusTap(Dispatcher& dispatcher, Counters& counters, BusOptions const& options,
           BusTapListener& listener, BusListener* bus = nullptr);
    ~BusTap();
    BusTap(BusTap const&) = delete;
    BusTap& operator=(BusTap const&) = delete;

    std::string const& endpoint() const;

    /** The nodes that send copies. */
    std::vector<BusHolder> senders() const;

private:
    std::shared_ptr<BusExchange> exchange;
    std::unique_ptr<BusWire> wire;
};

} // namespace host

#endif
