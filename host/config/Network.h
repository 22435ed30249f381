#ifndef HOST_NETWORK_H
#define HOST_NETWORK_H

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
    void setBoard(std::uint32_t ip, unsigned char sid) { boards[ip] = sid; }
    void removeBoard(std::uint32_t ip) { boards.erase(ip); }
    void clearBoards() { boards.clear(); }

    /** The IMC address of the board with this IPv4 address; none when it is no board's. */
    std::optional<unsigned char> boardSid(std::uint32_t ip) const;
    /** Whether a board has this IMC address. */
    bool isBoardSid(unsigned char sid) const;

    void setInterface(std::string const& name, std::uint32_t ip) { interfaces[name] = ip; }
    void removeInterface(std::string const& name) { interfaces.erase(name); }

    /**
     * The address that was set for the name; otherwise the machine's own interface of that name
     * answers; otherwise 0.
     */
    std::uint32_t interfaceAddress(std::string const& name) const;

private:
    std::map<std::uint32_t, unsigned char> boards;
    std::map<std::string, std::uint32_t> interfaces;
};

} // namespace host

#endif
