#include "address/IPAddress.h"

#include "host/Platform.h"
#include "host/Text.h"

#include <arpa/inet.h>

#include <algorithm>
#include <stdexcept>

namespace {

std::uint32_t parse(std::string const& text) {
    in_addr address{};
    // A NUL would end the text for inet_pton, and hide what follows it.
    if (text.find('\0') != std::string::npos || inet_pton(AF_INET, text.c_str(), &address) != 1) {
        throw std::invalid_argument(host::quoted(text) + " is no IPv4 address");
    }
    return ntohl(address.s_addr);
}

} // namespace

IPAddress const IPAddress::IpAddressAny(0U);

IPAddress::IPAddress(std::uint32_t number) : value(number) {}

IPAddress::IPAddress(std::string const& text) : value(parse(text)) {}

IPAddress::~IPAddress() = default;

IPAddress IPAddress::GetAddress(std::string const& interfaceName) {
    return IPAddress(host::Platform::instance().network.interfaceAddress(interfaceName));
}

std::uint32_t IPAddress::GetValue() const {
    return value;
}

IPAddress* IPAddress::Clone() const {
    return new IPAddress(*this);
}

IPAddress::operator std::string() const {
    return std::to_string(value >> 24U) + "." + std::to_string((value >> 16U) & 0xFFU) + "." +
           std::to_string((value >> 8U) & 0xFFU) + "." + std::to_string(value & 0xFFU);
}

bool IPAddress::operator==(std::string const& text) const {
    return text == std::string(*this);
}

void IPAddress::GetBinary(unsigned char (&bytes)[16]) const {
    std::fill(bytes, bytes + 10, static_cast<unsigned char>(0));
    std::fill(bytes + 10, bytes + 12, static_cast<unsigned char>(0xFF));
    for (unsigned int i = 0; i < 4; ++i) {
        bytes[12 + i] = static_cast<unsigned char>((value >> (24U - 8U * i)) & 0xFFU);
    }
}
