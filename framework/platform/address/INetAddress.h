#ifndef INETADDRESS_H
#define INETADDRESS_H

#include <string>

/**
 * A network address of any family. Its operations and destructor are defined by the platform.
 *
 * Addresses are plain values without a thread of their own; the library uses them on the thread on
 * which it is called. Where no exception is named, an operation of the address classes throws
 * nothing but std::bad_alloc.
 */
class INetAddress {
public:
    virtual ~INetAddress();

    /** @return a copy of the same dynamic type, allocated with `new` and owned by the caller */
    virtual INetAddress* Clone() const = 0;

    /** The text form, such as "192.168.0.1". */
    virtual operator std::string() const = 0;

    /** @return whether `text` is the text form of this address */
    virtual bool operator==(std::string const& text) const = 0;

    /** The negation of the address's own comparison with a text. */
    bool operator!=(std::string const& text) const;

    /**
     * Writes the 16-byte binary form in network byte order. An IPv4 address takes its IPv4-mapped
     * IPv6 form (RFC 4291, section 2.5.5.2).
     */
    virtual void GetBinary(unsigned char (&bytes)[16]) const = 0;

protected:
    INetAddress() = default;
    INetAddress(INetAddress const&) = default;
    INetAddress& operator=(INetAddress const&) = default;
};

#endif
