#include "host/config/Network.h"

#include <arpa/inet.h>
#include <ifaddrs.h>

#include <cstring>
#include <memory>

namespace host {

namespace {

/** The first IPv4 address of an interface of this machine; 0 when it has none. */
std::uint32_t machineInterface(std::string const& name) {
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) {
        return 0;
    }
    std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> const owner(first, freeifaddrs);
    for (ifaddrs const* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (name == entry->ifa_name && entry->ifa_addr != nullptr &&
            entry->ifa_addr->sa_family == AF_INET) {
            sockaddr_in address{};
            std::memcpy(&address, entry->ifa_addr, sizeof address);
            return ntohl(address.sin_addr.s_addr);
        }
    }
    return 0;
}

} // namespace

std::optional<unsigned char> Network::boardSid(std::uint32_t ip) const {
    unsigned char const* const found = boards.find(ip);
    if (found == nullptr) {
        return std::nullopt;
    }
    return *found;
}

bool Network::isBoardSid(unsigned char sid) const {
    return boards.holds(sid);
}

std::uint32_t Network::interfaceAddress(std::string const& name) const {
    std::uint32_t const* const found = interfaces.find(name);
    return found == nullptr ? machineInterface(name) : *found;
}

} // namespace host
