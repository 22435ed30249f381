#include "gateway/load/Responder.h"

#include "gateway/load/MediaPath.h"

#include <stdexcept>

namespace gateway {

namespace {

host::BusOptions options(std::string const& url) {
    host::BusOptions result;
    result.url = url;
    result.name = "mcgw load responder";
    return result;
}

} // namespace

Responder::Responder(host::Dispatcher& dispatcher, std::string const& busUrl,
                     std::vector<std::uint8_t> const& sids)
    : transport(dispatcher, counters, options(busUrl)) {
    for (std::uint8_t const sid : sids) {
        transport.attach(sid, *this);
    }
}

void Responder::receive(imc_msg const& command) {
    if (auto const event = acknowledgementOf(command)) {
        try {
            transport.send(*event);
        } catch (std::runtime_error const&) {
            // Who asked is gone, and waits for nothing.
        }
    }
}

} // namespace gateway
