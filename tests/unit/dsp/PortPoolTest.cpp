#include "dsp/PortPool.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>

namespace dsp {
namespace {

TEST(PortPool, HandsOutEvenPortsFromTheFirst) {
    PortPool ports(5000);
    EXPECT_EQ(ports.take(), 5000);
    EXPECT_EQ(ports.take(), 5002);
    EXPECT_EQ(ports.take(), 5004);
}

TEST(PortPool, LeavesAnOddFirstPortOut) {
    PortPool ports(5001);
    EXPECT_EQ(ports.take(), 5002);
}

TEST(PortPool, HandsOutEveryPortOnceAndThenNone) {
    PortPool ports(60001);
    std::set<unsigned> taken;
    while (auto const port = ports.take()) {
        EXPECT_EQ(*port % 2, 0);
        EXPECT_TRUE(taken.insert(*port).second) << *port;
    }
    EXPECT_EQ(taken.size(), (65534U - 60002U) / 2 + 1);
    EXPECT_EQ(*taken.begin(), 60002U);
    EXPECT_EQ(*taken.rbegin(), 65534U);
    EXPECT_FALSE(ports.take());
}

TEST(PortPool, TakesAReleasedPortAgainLast) {
    PortPool ports(65530);
    EXPECT_EQ(ports.take(), 65530);
    ports.release(65530);
    EXPECT_EQ(ports.take(), 65532);
    EXPECT_EQ(ports.take(), 65534);
    EXPECT_EQ(ports.take(), 65530);
    EXPECT_FALSE(ports.take());
    ports.release(65532);
    EXPECT_EQ(ports.take(), 65532);
    EXPECT_FALSE(ports.take());
}

TEST(PortPool, RefusesAPortThatNobodyHolds) {
    PortPool ports(5000);
    ASSERT_EQ(ports.take(), 5000);
    for (unsigned const port : {0U, 4998U, 5001U, 5002U, 65535U}) {
        EXPECT_THROW(ports.release(static_cast<std::uint16_t>(port)), std::invalid_argument)
            << port;
    }
    ports.release(5000);
    EXPECT_THROW(ports.release(5000), std::invalid_argument);
}

TEST(PortPool, NeedsAPort) {
    EXPECT_THROW(PortPool(0), std::invalid_argument);
    EXPECT_THROW(PortPool(65535), std::invalid_argument);
    EXPECT_EQ(PortPool(65534).take(), 65534);
    EXPECT_EQ(PortPool(1).take(), 2);
}

} // namespace
} // namespace dsp
