#include "host/bus/BusAddress.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <stdexcept>

namespace host {

namespace {

std::string const ipcScheme = "ipc://";
std::string const tcpScheme = "tcp://";

bool beginsWith(std::string const& text, std::string const& begin) {
    return text.compare(0, begin.size(), begin) == 0;
}

[[noreturn]] void refuse(std::string const& url, std::string const& fault) {
    throw std::invalid_argument("\"" + url + "\" is no address of a bus: " + fault +
                                "; expected ipc://DIRECTORY or tcp://HOST:PORT");
}

bool isPort(std::string const& text) {
    bool const isNumber = !text.empty() && text.size() <= 5 &&
                          std::all_of(text.begin(), text.end(),
                                      [](unsigned char each) { return std::isdigit(each) != 0; });
    return text == "*" || (isNumber && std::stoul(text) >= 1 && std::stoul(text) <= 65535);
}

BusAddress parseTcp(std::string const& url) {
    BusAddress address;
    address.kind = BusAddress::Kind::tcp;
    std::string rest = url.substr(tcpScheme.size());
    auto const hash = rest.find('#');
    if (hash != std::string::npos) {
        address.key = rest.substr(hash + 1);
        rest.erase(hash);
        if (address.key.empty() || address.key.find('/') != std::string::npos) {
            refuse(url, "the name of a key stands behind #");
        }
    }
    auto const colon = rest.rfind(':');
    if (colon == std::string::npos || !isPort(rest.substr(colon + 1))) {
        refuse(url, "the port is a number from 1 to 65535, or * for any");
    }
    address.host = rest.substr(0, colon);
    address.port = rest.substr(colon + 1);
    bool const isBracketed =
        address.host.size() > 2 && address.host.front() == '[' && address.host.back() == ']';
    if (address.host.empty() ||
        (!isBracketed && address.host.find_first_of(":/[]") != std::string::npos)) {
        refuse(url, "the host is a name, an IPv4 address, or an IPv6 address in brackets");
    }
    return address;
}

} // namespace

bool BusAddress::isLocal() const {
    if (kind == Kind::ipc) {
        return true;
    }
    in_addr ipv4{};
    if (inet_pton(AF_INET, host.c_str(), &ipv4) == 1) {
        return ntohl(ipv4.s_addr) >> 24U == 127;
    }
    return host == "localhost" || host == "[::1]";
}

BusAddress parseBusAddress(std::string const& url) {
    if (std::any_of(url.begin(), url.end(),
                    [](unsigned char each) { return each < 0x20 || each == 0x7F; })) {
        // Others are told of it, and show it on terminals.
        throw std::invalid_argument("the address of a bus holds no control characters");
    }
    if (beginsWith(url, tcpScheme)) {
        return parseTcp(url);
    }
    BusAddress address;
    if (!beginsWith(url, ipcScheme)) {
        refuse(url, "the scheme is not known");
    }
    address.directory = url.substr(ipcScheme.size());
    if (address.directory.empty()) {
        refuse(url, "the directory is missing");
    }
    return address;
}

std::string defaultBusUrl() {
    char const* const runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && *runtime != '\0') {
        return ipcScheme + runtime + "/mcgw";
    }
    return ipcScheme + "/tmp/mcgw-" + std::to_string(geteuid());
}

} // namespace host
