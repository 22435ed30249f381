#include "address/TransportAddress.h"

#include "address/INetAddress.h"

TransportAddress::TransportAddress() : address(nullptr), port(0) {}

TransportAddress::TransportAddress(INetAddress const* newAddress, unsigned short newPort)
    : address(newAddress == nullptr ? nullptr : newAddress->Clone()), port(newPort) {}

TransportAddress::TransportAddress(TransportAddress const& other)
    : TransportAddress(other.address, other.port) {}

TransportAddress& TransportAddress::operator=(TransportAddress const& other) {
    if (this != &other) {
        Set(other.address, other.port);
    }
    return *this;
}

TransportAddress::~TransportAddress() {
    delete address;
}

void TransportAddress::Set(INetAddress const* newAddress, unsigned short newPort) {
    INetAddress* const copy = newAddress == nullptr ? nullptr : newAddress->Clone();
    delete address;
    address = copy;
    port = newPort;
}

INetAddress const* TransportAddress::GetINetAddress() const {
    return address;
}

unsigned short TransportAddress::GetPort() const {
    return port;
}

TransportAddress::operator std::string() const {
    return (address == nullptr ? "-" : std::string(*address)) + ":" + std::to_string(port);
}
