#ifndef IPADDRESS_H
#define IPADDRESS_H

#include "address/INetAddress.h"

#include <cstdint>
#include <string>

/** An IPv4 address. A plain value; its operations are defined by the platform. */
class IPAddress : public INetAddress {
public:
    /** @param value the address as a number: 192.168.0.1 is 0xC0A80001 */
    explicit IPAddress(std::uint32_t value);

    /**
     * @param text four decimal numbers with dots between them
     * @throw std::invalid_argument when the text is no IPv4 address
     */
    explicit IPAddress(std::string const& text);

    IPAddress(IPAddress const&) = default;
    IPAddress& operator=(IPAddress const&) = default;
    ~IPAddress() override;

    /**
     * The address of one of the board's network interfaces.
     * @param interfaceName such as "voicelan", the interface of the voice network
     * @return the address, or the any-address when the board has no such interface
     */
    static IPAddress GetAddress(std::string const& interfaceName);

    /** The any-address, 0.0.0.0. Set before main() starts. */
    static IPAddress const IpAddressAny;

    /** @return the address as a number: 192.168.0.1 is 0xC0A80001 */
    std::uint32_t GetValue() const;

    IPAddress* Clone() const override;
    operator std::string() const override;
    bool operator==(std::string const& text) const override;
    void GetBinary(unsigned char (&bytes)[16]) const override;

private:
    std::uint32_t value;
};

#endif
