#ifndef HOST_BUS_BUSTRANSPORT_H
#define HOST_BUS_BUSTRANSPORT_H

#include "host/Counters.h"
#include "host/bus/Bus.h"
#include "host/bus/BusExchange.h"
#include "host/imc/Dispatcher.h"
#include "host/imc/Transport.h"

#include <memory>
#include <string>
#include <vector>

namespace host {

struct BusPlace;
class BusWire;

/**
 * Carries messages between processes, as docs/bus.md describes. A message that `send` took is
 * delivered, or counted and reported as lost. It is refused with a std::runtime_error that says why
 * when nobody serves the address, when the process that did is gone or does not answer, and when
 * that process has too many messages that it has not taken. Each cause has a counter.
 *
 * Used on the loop's thread only. May be destroyed while it delivers.
 */
class BusTransport : public Transport {
public:
    /**
     * Joins the bus.
     * @param dispatcher and counters outlive the transport and the tasks that it leaves in the loop
     * @param listener may be null; outlives the transport
     * @throw std::invalid_argument for options that name no bus
     * @throw std::runtime_error when the bus can't be joined
     */
    BusTransport(Dispatcher& dispatcher, Counters& counters, BusOptions const& options,
                 BusListener* listener = nullptr);

    /** Leaves the bus; takes no longer than twice `linger`. */
    ~BusTransport() override;
    BusTransport(BusTransport const&) = delete;
    BusTransport& operator=(BusTransport const&) = delete;

    /**
     * On tcp waits until the peers that were named are linked or can't be, `linkWait` at most.
     * @throw std::runtime_error naming the address and the process that serves it already
     */
    void attach(unsigned char sid, Endpoint& endpoint) override;
    void detach(unsigned char sid) override;
    void send(imc_msg const& message) override;

    /** Where this process takes frames; on tcp, what another one names as its peer. */
    std::string const& endpoint() const;

    /** The nodes that this one is linked with. */
    std::vector<BusPeer> peers() const;

    /**
     * Whether it is linked with all nodes that it can know of, taps included, or knows that it
     * can't be. Looks into the directory of an ipc bus.
     */
    bool isSettled() const;

private:
    Counters& counters;
    std::shared_ptr<BusPlace const> place;
    std::shared_ptr<BusExchange> exchange;
    std::unique_ptr<BusWire> wire;
};

} // namespace host

#endif
