#ifndef HOST_NETWORK_H
#define HOST_NETWORK_H

#include "host/config/Layered.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace host {

/**
 * The boards of the gateway and the addresses of its network interfaces. IPv4 addresses are
 * numbers here: 192.168.0.1 is 0xC0A80001.
 */
class Network {
public:
    using Boards = std::map<std::uint32_t, unsigned char>;
    using Interfaces = std::map<std::string, std::uint32_t>;

    void setBoard(std::uint32_t ip, unsigned char sid) { boards.set(ip, sid); }
    void clearBoards() { boards.clear(); }

    /** The IMC address of the board with this IPv4 address; none when it is no board's. */
    std::optional<unsigned char> boardSid(std::uint32_t ip) const;
    /** Whether a board has this IMC address. */
    bool isBoardSid(unsigned char sid) const;

    void setInterface(std::string const& name, std::uint32_t ip) { interfaces.set(name, ip); }

    /** Replaces what the configuration file gave before. */
    void replaceFile(Boards const& givenBoards, Interfaces const& givenInterfaces) {
        boards.replaceFile(givenBoards);
        interfaces.replaceFile(givenInterfaces);
    }

    /**
     * The address that was set for the name; otherwise the machine's own interface of that name
     * answers; otherwise 0.
     */
    std::uint32_t interfaceAddress(std::string const& name) const;

private:
    Layered<Boards::key_type, Boards::mapped_type> boards;
    Layered<Interfaces::key_type, Interfaces::mapped_type> interfaces;
};

} // namespace host

#endif
