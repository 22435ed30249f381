#ifndef TRANSPORTADDRESS_H
#define TRANSPORTADDRESS_H

#include <string>

class INetAddress;

/**
 * An end point of a transport protocol: a network address, which it owns, and a port. The network
 * address may be missing. Copies clone it. The operations are defined by the platform.
 */
class TransportAddress {
public:
    /** No network address, port 0. */
    TransportAddress();

    /**
     * @param address cloned; null for a missing network address
     * @param port 0 to 65535
     */
    TransportAddress(INetAddress const* address, unsigned short port);

    TransportAddress(TransportAddress const& other);
    TransportAddress& operator=(TransportAddress const& other);
    ~TransportAddress();

    /**
     * Replaces both parts. The new address is cloned before the old one is released, so the
     * object's own address may be given.
     * @param address cloned; null for a missing network address
     */
    void Set(INetAddress const* address, unsigned short port);

    /** @return the network address, owned by this object; null when it is missing */
    INetAddress const* GetINetAddress() const;

    unsigned short GetPort() const;

    /** The text form; an object without a network address has one too. */
    operator std::string() const;

private:
    INetAddress* address;
    unsigned short port;
};

#endif
