#include "address/INetAddress.h"
#include "address/IPAddress.h"
#include "address/TransportAddress.h"
#include "address/UDPAddr.h"
#include "tests/contract/PlatformUnderTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

namespace {

using contract::platform;
using testing::ElementsAre;

using Binary = std::array<unsigned char, 16>;

std::string textOf(INetAddress const& address) {
    return address;
}

std::string textOf(TransportAddress const& address) {
    return address;
}

Binary binaryOf(INetAddress const& address) {
    unsigned char bytes[16];
    std::fill(std::begin(bytes), std::end(bytes), static_cast<unsigned char>(0xAA));
    address.GetBinary(bytes);
    Binary binary{};
    std::copy(std::begin(bytes), std::end(bytes), binary.begin());
    return binary;
}

/** An address of a family that the platform does not know; notes its clones and destructions. */
class ForeignAddress : public INetAddress {
public:
    explicit ForeignAddress(std::vector<std::string>& journal) : events(journal) {}
    ForeignAddress(ForeignAddress const&) = default;
    ~ForeignAddress() override { events.push_back("destroyed"); }

    ForeignAddress* Clone() const override {
        events.push_back("cloned");
        return new ForeignAddress(*this);
    }
    operator std::string() const override { return "foreign"; }
    /** Any text of seven characters is taken for its own. */
    bool operator==(std::string const& text) const override { return text.size() == 7; }
    void GetBinary(unsigned char (&bytes)[16]) const override {
        std::fill(std::begin(bytes), std::end(bytes), static_cast<unsigned char>(0x5A));
    }

private:
    std::vector<std::string>& events;
};

class IPAddresses : public contract::ContractTest {};

TEST_F(IPAddresses, NumberAndTextNameTheSameAddress) {
    IPAddress const fromNumber(0xC0A80001);
    IPAddress const fromText("192.168.0.1");
    EXPECT_EQ(textOf(fromNumber), "192.168.0.1");
    EXPECT_EQ(textOf(fromText), "192.168.0.1");
    EXPECT_EQ(fromNumber.GetValue(), 0xC0A80001U);
    EXPECT_EQ(fromText.GetValue(), 0xC0A80001U);
}

TEST_F(IPAddresses, TheFirstAndTheLastAddressHaveTexts) {
    EXPECT_EQ(textOf(IPAddress(0)), "0.0.0.0");
    EXPECT_EQ(textOf(IPAddress(0xFFFFFFFF)), "255.255.255.255");
    EXPECT_EQ(IPAddress("255.255.255.255").GetValue(), 0xFFFFFFFFU);
    EXPECT_EQ(IPAddress("0.0.0.0").GetValue(), 0U);
}

TEST_F(IPAddresses, ATextThatIsNoAddressIsRefused) {
    std::string const texts[] = {"",
                                 "1",
                                 "1.2.3",
                                 "1.2.3.4.5",
                                 "1.2.3.",
                                 ".1.2.3",
                                 "1..2.3",
                                 "1.2.3.256",
                                 "256.2.3.4",
                                 "1.2.3.1000",
                                 "1.2.3.4294967297",
                                 "-1.2.3.4",
                                 "+1.2.3.4",
                                 "1.2.3.x",
                                 "a.b.c.d",
                                 "0x1.2.3.4",
                                 " 1.2.3.4",
                                 "1.2.3.4 ",
                                 "1.2.3.4\n",
                                 "1 .2.3.4",
                                 "1,2,3,4",
                                 "::1",
                                 "::ffff:1.2.3.4",
                                 "localhost",
                                 std::string("1.2.3.4\0", 8)};
    for (auto const& text : texts) {
        EXPECT_THROW(IPAddress{text}, std::invalid_argument) << text;
    }
}

TEST_F(IPAddresses, BinaryFormIsTheIPv4MappedOne) {
    Binary const expected = {{0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFF,
                              0xFF, 0xC0, 0xA8, 0x00, 0x01}};
    EXPECT_EQ(binaryOf(IPAddress("192.168.0.1")), expected);
}

TEST_F(IPAddresses, BinaryFormOfTheAnyAddressIsMappedToo) {
    Binary const expected = {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0, 0, 0, 0}};
    EXPECT_EQ(binaryOf(IPAddress::IpAddressAny), expected);
}

TEST_F(IPAddresses, AnyAddressIsAllZero) {
    EXPECT_EQ(IPAddress::IpAddressAny.GetValue(), 0U);
    EXPECT_EQ(textOf(IPAddress::IpAddressAny), "0.0.0.0");
}

TEST_F(IPAddresses, AnAddressEqualsItsTextOnly) {
    IPAddress const address("192.168.0.1");
    EXPECT_TRUE(address == "192.168.0.1");
    EXPECT_FALSE(address == "192.168.0.2");
    EXPECT_FALSE(address == "192.168.0.10");
    EXPECT_FALSE(address == "192.168.0");
    EXPECT_FALSE(address == "");
    EXPECT_FALSE(address != "192.168.0.1");
    EXPECT_TRUE(address != "192.168.0.2");
}

TEST_F(IPAddresses, ACopyIsIndependent) {
    IPAddress original("10.0.0.1");
    IPAddress const copy(original);
    original = IPAddress("10.0.0.2");
    EXPECT_EQ(textOf(copy), "10.0.0.1");
    EXPECT_EQ(textOf(original), "10.0.0.2");
    IPAddress const& alias = original;
    original = alias;
    EXPECT_EQ(textOf(original), "10.0.0.2");
}

TEST_F(IPAddresses, ACloneIsAnIPAddressOfItsOwn) {
    auto original = std::make_unique<IPAddress>("10.0.0.1");
    INetAddress const& address = *original;
    std::unique_ptr<INetAddress> const clone(address.Clone());
    EXPECT_NE(clone.get(), original.get());
    original.reset();
    INetAddress const& copy = *clone;
    EXPECT_EQ(typeid(copy), typeid(IPAddress));
    EXPECT_EQ(textOf(copy), "10.0.0.1");
}

TEST_F(IPAddresses, AnInterfaceHasTheAddressThatWasSet) {
    platform().setInterface("voicelan", "10.1.2.3");
    platform().setInterface("other", "10.1.2.4");
    EXPECT_EQ(textOf(IPAddress::GetAddress("voicelan")), "10.1.2.3");
    EXPECT_EQ(textOf(IPAddress::GetAddress("other")), "10.1.2.4");
}

TEST_F(IPAddresses, AnInterfaceThatTheBoardLacksHasTheAnyAddress) {
    EXPECT_EQ(IPAddress::GetAddress("no such interface").GetValue(), 0U);
    EXPECT_EQ(IPAddress::GetAddress("").GetValue(), 0U);
}

TEST_F(IPAddresses, InequalityIsTheNegationOfTheAddresssOwnComparison) {
    std::vector<std::string> events;
    ForeignAddress const foreign(events);
    INetAddress const& address = foreign;
    EXPECT_FALSE(address != "7 chars");
    EXPECT_TRUE(address != "foreign address");
}

/** TransportAddress and UDPAddr keep the same promises. */
template <typename EndPoint>
class EndPoints : public contract::ContractTest {};

using EndPointTypes = testing::Types<TransportAddress, UDPAddr>;
TYPED_TEST_SUITE(EndPoints, EndPointTypes, );

TYPED_TEST(EndPoints, DefaultHasNoAddressAndPort0) {
    TypeParam const endPoint;
    EXPECT_EQ(endPoint.GetINetAddress(), nullptr);
    EXPECT_EQ(endPoint.GetPort(), 0);
    EXPECT_NE(textOf(endPoint), "");
}

TYPED_TEST(EndPoints, HoldsACloneOfTheAddressAndThePort) {
    auto address = std::make_unique<IPAddress>("10.0.0.1");
    TypeParam const endPoint(address.get(), 65535);
    EXPECT_NE(endPoint.GetINetAddress(), address.get());
    address.reset();
    ASSERT_NE(endPoint.GetINetAddress(), nullptr);
    EXPECT_EQ(textOf(*endPoint.GetINetAddress()), "10.0.0.1");
    EXPECT_EQ(endPoint.GetPort(), 65535);
}

TYPED_TEST(EndPoints, AMissingAddressStaysMissing) {
    TypeParam const endPoint(nullptr, 5004);
    EXPECT_EQ(endPoint.GetINetAddress(), nullptr);
    EXPECT_EQ(endPoint.GetPort(), 5004);
    EXPECT_NE(textOf(endPoint), "");
    TypeParam const copy(endPoint);
    EXPECT_EQ(copy.GetINetAddress(), nullptr);
    EXPECT_EQ(copy.GetPort(), 5004);
}

TYPED_TEST(EndPoints, TextTellsAddressesAndPortsApart) {
    IPAddress const one("10.0.0.1");
    IPAddress const two("10.0.0.2");
    std::string const text = textOf(TypeParam(&one, 5004));
    EXPECT_EQ(textOf(TypeParam(&one, 5004)), text);
    EXPECT_NE(textOf(TypeParam(&two, 5004)), text);
    EXPECT_NE(textOf(TypeParam(&one, 5006)), text);
    EXPECT_NE(textOf(TypeParam(nullptr, 5004)), text);
}

TYPED_TEST(EndPoints, EveryAddressThatIsClonedIsReleasedOnce) {
    std::vector<std::string> events;
    ForeignAddress const address(events);
    {
        TypeParam const endPoint(&address, 5004);
        INetAddress const& copy = *endPoint.GetINetAddress();
        EXPECT_EQ(typeid(copy), typeid(ForeignAddress));
        EXPECT_THAT(events, ElementsAre("cloned"));
    }
    EXPECT_THAT(events, ElementsAre("cloned", "destroyed"));
}

TYPED_TEST(EndPoints, ACopyIsIndependent) {
    IPAddress const one("10.0.0.1");
    IPAddress const two("10.0.0.2");
    TypeParam original(&one, 5004);
    TypeParam const copy(original);
    EXPECT_NE(copy.GetINetAddress(), original.GetINetAddress());
    original.Set(&two, 5006);
    EXPECT_EQ(textOf(*copy.GetINetAddress()), "10.0.0.1");
    EXPECT_EQ(copy.GetPort(), 5004);
    EXPECT_EQ(textOf(*original.GetINetAddress()), "10.0.0.2");
    EXPECT_EQ(original.GetPort(), 5006);
}

TYPED_TEST(EndPoints, AssignmentReplacesBothPartsByACopy) {
    std::vector<std::string> events;
    ForeignAddress const foreign(events);
    IPAddress const ip("10.0.0.1");
    TypeParam target(&foreign, 1);
    TypeParam source(&ip, 5004);
    target = source;
    EXPECT_THAT(events, ElementsAre("cloned", "destroyed"));
    EXPECT_NE(target.GetINetAddress(), source.GetINetAddress());
    source.Set(nullptr, 0);
    EXPECT_EQ(textOf(*target.GetINetAddress()), "10.0.0.1");
    EXPECT_EQ(target.GetPort(), 5004);
}

TYPED_TEST(EndPoints, AssignmentFromAnEndPointWithoutAddress) {
    IPAddress const ip("10.0.0.1");
    TypeParam target(&ip, 1);
    target = TypeParam();
    EXPECT_EQ(target.GetINetAddress(), nullptr);
    EXPECT_EQ(target.GetPort(), 0);
}

TYPED_TEST(EndPoints, SelfAssignmentChangesNothing) {
    IPAddress const ip("10.0.0.1");
    TypeParam endPoint(&ip, 5004);
    TypeParam const& alias = endPoint;
    endPoint = alias;
    ASSERT_NE(endPoint.GetINetAddress(), nullptr);
    EXPECT_EQ(textOf(*endPoint.GetINetAddress()), "10.0.0.1");
    EXPECT_EQ(endPoint.GetPort(), 5004);
    TypeParam empty;
    TypeParam const& emptyAlias = empty;
    empty = emptyAlias;
    EXPECT_EQ(empty.GetINetAddress(), nullptr);
}

TYPED_TEST(EndPoints, SetMayBeGivenTheObjectsOwnAddress) {
    IPAddress const ip("10.0.0.1");
    TypeParam endPoint(&ip, 5004);
    endPoint.Set(endPoint.GetINetAddress(), 5);
    ASSERT_NE(endPoint.GetINetAddress(), nullptr);
    EXPECT_EQ(textOf(*endPoint.GetINetAddress()), "10.0.0.1");
    EXPECT_EQ(endPoint.GetPort(), 5);
}

TYPED_TEST(EndPoints, SetClonesBeforeItReleases) {
    std::vector<std::string> events;
    ForeignAddress const address(events);
    TypeParam endPoint(&address, 5004);
    events.clear();
    endPoint.Set(endPoint.GetINetAddress(), 5);
    EXPECT_THAT(events, ElementsAre("cloned", "destroyed"));
}

TYPED_TEST(EndPoints, SetWithoutAnAddressReleasesTheOldOne) {
    std::vector<std::string> events;
    ForeignAddress const address(events);
    TypeParam endPoint(&address, 5004);
    endPoint.Set(nullptr, 7);
    EXPECT_THAT(events, ElementsAre("cloned", "destroyed"));
    EXPECT_EQ(endPoint.GetINetAddress(), nullptr);
    EXPECT_EQ(endPoint.GetPort(), 7);
}

} // namespace
