#include "address/UDPAddr.h"

UDPAddr::UDPAddr() = default;

UDPAddr::UDPAddr(INetAddress const* newAddress, unsigned short newPort)
    : TransportAddress(newAddress, newPort) {}
