#ifndef UDPADDR_H
#define UDPADDR_H

#include "address/TransportAddress.h"

/** An end point of the User Datagram Protocol. Constructors are defined by the platform. */
class UDPAddr : public TransportAddress {
public:
    /** No network address, port 0. */
    UDPAddr();

    /** As TransportAddress. */
    UDPAddr(INetAddress const* address, unsigned short port);
};

#endif
