#ifndef HOST_BUS_BUSADDRESS_H
#define HOST_BUS_BUSADDRESS_H

#include <string>

namespace host {

/**
 * Where a bus is: `ipc://DIRECTORY`, `tcp://HOST:PORT`, or for a peer `tcp://HOST:PORT#KEY`, where
 * KEY names its public key.
 */
struct BusAddress {
    enum class Kind { ipc, tcp };

    Kind kind = Kind::ipc;
    /** Of kind ipc. */
    std::string directory;
    /** @name Of kind tcp; an IPv6 address stands in brackets, and the port may be `*` */
    /// @{
    std::string host;
    std::string port;
    std::string key;
    /// @}

    /** Only processes of this machine reach it. */
    bool isLocal() const;
    /** Of kind tcp, as the socket takes it. */
    std::string endpoint() const { return "tcp://" + host + ":" + port; }
};

/** @throw std::invalid_argument with what is wrong and what is expected */
BusAddress parseBusAddress(std::string const& url);

/** The bus of this user on this machine, when none is named. */
std::string defaultBusUrl();

} // namespace host

#endif
