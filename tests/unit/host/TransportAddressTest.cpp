#include "address/IPAddress.h"
#include "address/UDPAddr.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>

namespace {

TEST(TransportAddress, TheTextFormIsAddressAndPort) {
    IPAddress const ip("192.168.0.1");
    EXPECT_EQ(std::string(TransportAddress(&ip, 5004)), "192.168.0.1:5004");
    EXPECT_EQ(std::string(UDPAddr(&ip, 65535)), "192.168.0.1:65535");
}

TEST(TransportAddress, AMissingAddressIsADashInTheTextForm) {
    EXPECT_EQ(std::string(TransportAddress()), "-:0");
    EXPECT_EQ(std::string(UDPAddr(nullptr, 5004)), "-:5004");
}

TEST(TransportAddress, AnAssignmentToItselfKeepsBothParts) {
    IPAddress const ip("192.168.0.1");
    UDPAddr address(&ip, 5004);
    UDPAddr const& same = address;
    address = same;
    EXPECT_EQ(std::string(address), "192.168.0.1:5004");
}

TEST(TransportAddress, ItsOwnAddressMayBeSet) {
    IPAddress const ip("192.168.0.1");
    TransportAddress address(&ip, 5004);
    address.Set(address.GetINetAddress(), 5006);
    EXPECT_EQ(std::string(address), "192.168.0.1:5006");
}

TEST(TransportAddress, AnAddressThatFailsToCloneLeavesTheOneBefore) {
    class Unclonable : public INetAddress {
    public:
        INetAddress* Clone() const override { throw std::bad_alloc(); }
        operator std::string() const override { return "x"; }
        bool operator==(std::string const& text) const override { return text == "x"; }
        void GetBinary(unsigned char (&bytes)[16]) const override { bytes[0] = 0; }
    };
    IPAddress const ip("192.168.0.1");
    TransportAddress address(&ip, 5004);
    Unclonable const unclonable;
    EXPECT_THROW(address.Set(&unclonable, 1), std::bad_alloc);
    EXPECT_EQ(std::string(address), "192.168.0.1:5004");
}

TEST(TransportAddress, ACopyOutlivesItsOriginal) {
    auto ip = std::make_unique<IPAddress>(0xC0A80001U);
    auto original = std::make_unique<UDPAddr>(ip.get(), static_cast<unsigned short>(5004));
    ip.reset();
    UDPAddr const copy(*original);
    original.reset();
    EXPECT_EQ(std::string(copy), "192.168.0.1:5004");
}

} // namespace
