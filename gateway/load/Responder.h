#ifndef GATEWAY_LOAD_RESPONDER_H
#define GATEWAY_LOAD_RESPONDER_H

#include "host/Counters.h"
#include "host/bus/BusTransport.h"
#include "host/imc/Dispatcher.h"

#include <cstdint>
#include <string>
#include <vector>

namespace gateway {

/**
 * What is left of a board when all that makes it one is taken away: it acknowledges voice commands,
 * with success, and does nothing else.
 */
class Responder : private host::Endpoint {
public:
    /** Serves the addresses. @throw std::runtime_error when it can't */
    Responder(host::Dispatcher& dispatcher, std::string const& busUrl,
              std::vector<std::uint8_t> const& sids);

private:
    void receive(imc_msg const& command) override;

    host::Counters counters;
    host::BusTransport transport;
};

} // namespace gateway

#endif
