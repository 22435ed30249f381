#include "Fixture.h"

#include "address/IPAddress.h"
#include "config/CFG_Manager.h"

#include <stdexcept>

namespace {

class Network : public HostTest {};

TEST_F(Network, ABoardIsKnownUntilTheBoardsAreForgotten) {
    EXPECT_FALSE(CFG_Manager::isVoIPBoardIP(IPAddress("10.0.0.1")));
    workstation.setBoard("10.0.0.1", 0x80);
    EXPECT_TRUE(CFG_Manager::isVoIPBoardIP(IPAddress("10.0.0.1")));
    EXPECT_FALSE(CFG_Manager::isVoIPBoardIP(IPAddress("10.0.0.2")));
    EXPECT_EQ(imc().getSid(12, IPAddress("10.0.0.1")), 0x80);
    workstation.setBoard("10.0.0.1", 0x81);
    EXPECT_EQ(imc().getSid(12, IPAddress("10.0.0.1")), 0x81);
    workstation.clearBoards();
    EXPECT_FALSE(CFG_Manager::isVoIPBoardIP(IPAddress("10.0.0.1")));
}

TEST_F(Network, TheAnyAddressIsNoBoardUnlessItIsSet) {
    EXPECT_FALSE(CFG_Manager::isVoIPBoardIP(IPAddress::IpAddressAny));
    workstation.setBoard("0.0.0.0", 0);
    EXPECT_TRUE(CFG_Manager::isVoIPBoardIP(IPAddress::IpAddressAny));
    EXPECT_EQ(imc().getSid(12, IPAddress::IpAddressAny), 0);
    EXPECT_EQ(counted("imc.unknown_board"), 0U);
}

TEST_F(Network, ABoardOrInterfaceWithoutAnAddressIsRefused) {
    EXPECT_EQ(failureOf<std::invalid_argument>([&] { workstation.setBoard("10.0.0", 1); }),
              "\"10.0.0\" is no IPv4 address");
    EXPECT_EQ(failureOf<std::invalid_argument>([&] { workstation.setInterface("x", "::1"); }),
              "\"::1\" is no IPv4 address");
}

TEST_F(Network, AnInterfaceThatIsSetGoesBeforeTheMachinesOwn) {
    workstation.setInterface("voicelan", "10.0.0.9");
    workstation.setInterface("lo", "10.0.0.8");
    EXPECT_EQ(std::string(IPAddress::GetAddress("voicelan")), "10.0.0.9");
    EXPECT_EQ(std::string(IPAddress::GetAddress("lo")), "10.0.0.8");
}

TEST_F(Network, TheMachinesOwnInterfaceAnswersForItsName) {
    EXPECT_EQ(std::string(IPAddress::GetAddress("lo")), "127.0.0.1");
}

TEST_F(Network, AnUnknownInterfaceHasTheAnyAddress) {
    EXPECT_EQ(IPAddress::GetAddress("no such interface").GetValue(), 0U);
    EXPECT_EQ(IPAddress::GetAddress("").GetValue(), 0U);
}

TEST_F(Network, OnlyFourPlainDecimalNumbersAreAnIPv4Address) {
    for (char const* const bad :
         {"", "1", "1.2.3", "1.2.3.4.5", "256.0.0.1", "1.2.3.-4", "01.2.3.4", " 1.2.3.4",
          "1.2.3.4 ", "0x1.2.3.4", "1..3.4", "a.b.c.d"}) {
        EXPECT_THROW(IPAddress{std::string(bad)}, std::invalid_argument) << bad;
    }
    EXPECT_EQ(failureOf<std::invalid_argument>([] { IPAddress{std::string("1.2.3.4\0x", 9)}; }),
              "\"1.2.3.4\\0x\" is no IPv4 address");
    EXPECT_EQ(IPAddress(std::string("255.255.255.255")).GetValue(), 0xFFFFFFFFU);
}

} // namespace
