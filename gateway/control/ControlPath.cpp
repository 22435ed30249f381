#include "gateway/control/ControlServer.h"

#include "host/bus/BusAddress.h"
#include "host/imc/SidText.h"

namespace gateway {

std::string defaultControlPath(std::string const& busUrl, unsigned char sid) {
    host::BusAddress address =
        host::parseBusAddress(busUrl.empty() ? host::defaultBusUrl() : busUrl);
    if (address.kind == host::BusAddress::Kind::tcp) {
        address = host::parseBusAddress(host::defaultBusUrl());
    }
    return address.directory + "/session-" + host::sidText(sid).substr(2) + ".control";
}

} // namespace gateway
