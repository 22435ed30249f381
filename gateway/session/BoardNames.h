#ifndef GATEWAY_SESSION_BOARDNAMES_H
#define GATEWAY_SESSION_BOARDNAMES_H

#include <map>
#include <string>

namespace host {
class Workstation;
}

namespace gateway {

/**
 * The IPv4 addresses under which the library knows the boards. Who is not named has 10.0.0.SID, so
 * that a session can talk to a board of which it knows its IMC address only.
 */
class BoardNames {
public:
    explicit BoardNames(host::Workstation& workstation);

    /** @throw std::invalid_argument when `ip` is no IPv4 address, or either has another already */
    void name(std::string const& ip, unsigned char sid);

    /**
     * The address of the board, which is one from now on.
     * @throw std::runtime_error when the address that it would get is another board's
     */
    std::string const& ipOf(unsigned char sid);

private:
    host::Workstation& workstation;
    std::map<unsigned char, std::string> names;
};

} // namespace gateway

#endif
