#include "host/bus/BusAddress.h"

#include "tests/support/Refusal.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using host::BusAddress;
using host::parseBusAddress;

std::string faultOf(std::string const& url) {
    return refusalOf([&] { parseBusAddress(url); });
}

TEST(BusAddress, ReadsADirectory) {
    BusAddress const address = parseBusAddress("ipc:///run/user/1000/mcgw");
    EXPECT_EQ(address.kind, BusAddress::Kind::ipc);
    EXPECT_EQ(address.directory, "/run/user/1000/mcgw");
    EXPECT_TRUE(address.isLocal());
}

TEST(BusAddress, ReadsHostPortAndKey) {
    BusAddress const address = parseBusAddress("tcp://board-3:5000#lab");
    EXPECT_EQ(address.kind, BusAddress::Kind::tcp);
    EXPECT_EQ(address.host, "board-3");
    EXPECT_EQ(address.port, "5000");
    EXPECT_EQ(address.key, "lab");
    EXPECT_EQ(address.endpoint(), "tcp://board-3:5000");
    EXPECT_EQ(parseBusAddress("tcp://[fe80::1]:*").host, "[fe80::1]");
    EXPECT_EQ(parseBusAddress("tcp://[fe80::1]:*").port, "*");
}

TEST(BusAddress, KnowsWhatOtherMachinesReach) {
    for (char const* const host : {"127.0.0.1", "127.200.0.9", "localhost", "[::1]"}) {
        EXPECT_TRUE(parseBusAddress(std::string("tcp://") + host + ":1").isLocal()) << host;
    }
    for (char const* const host : {"0.0.0.0", "*", "10.0.0.1", "128.0.0.1", "[::]",
                                   "localhost.example", "127.0.0.1.example", "127.1"}) {
        EXPECT_FALSE(parseBusAddress(std::string("tcp://") + host + ":1").isLocal()) << host;
    }
}

TEST(BusAddress, SaysWhatIsWrongAndWhatIsExpected) {
    EXPECT_EQ(faultOf("udp://x:1"), "\"udp://x:1\" is no address of a bus: the scheme is not "
                                    "known; expected ipc://DIRECTORY or tcp://HOST:PORT");
    EXPECT_NE(faultOf("ipc://").find("the directory is missing"), std::string::npos);
    EXPECT_EQ(faultOf("ipc:///tmp/a\nb"), "the address of a bus holds no control characters");
    EXPECT_NE(faultOf("tcp://x:1#").find("the name of a key"), std::string::npos);
    EXPECT_NE(faultOf("tcp://x:1#../k").find("the name of a key"), std::string::npos);
    for (char const* const port : {"", ":", ":0", ":65536", ":99999999999", ":1x", ":-1"}) {
        EXPECT_NE(faultOf(std::string("tcp://x") + port).find("the port is"), std::string::npos)
            << port;
    }
    for (char const* const host : {"", "::1", "[]", "a/b", "[::1"}) {
        EXPECT_NE(faultOf(std::string("tcp://") + host + ":1").find("the host is"),
                  std::string::npos)
            << host;
    }
}

TEST(BusAddress, TheDefaultIsTheUsersOwnDirectory) {
    setenv("XDG_RUNTIME_DIR", "/run/user/7", 1);
    EXPECT_EQ(host::defaultBusUrl(), "ipc:///run/user/7/mcgw");
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(host::defaultBusUrl().rfind("ipc:///tmp/mcgw-", 0), 0U);
}

} // namespace
