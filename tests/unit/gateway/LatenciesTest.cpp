#include "gateway/load/Latencies.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using gateway::Latencies;
using std::chrono::nanoseconds;

TEST(LatenciesTest, NoneHaveNoPercentile) {
    Latencies const none;
    EXPECT_EQ(none.count(), 0U);
    EXPECT_EQ(none.percentile(50), nanoseconds(0));
    EXPECT_EQ(none.longest(), nanoseconds(0));
}

TEST(LatenciesTest, ShortOnesAreExact) {
    Latencies latencies;
    for (int i = 1; i <= 200; ++i) {
        latencies.add(nanoseconds(i));
    }
    EXPECT_EQ(latencies.percentile(0), nanoseconds(1));
    EXPECT_EQ(latencies.percentile(50), nanoseconds(100));
    EXPECT_EQ(latencies.percentile(99), nanoseconds(198));
    EXPECT_EQ(latencies.percentile(99.9), nanoseconds(200));
    EXPECT_EQ(latencies.percentile(100), nanoseconds(200));
}

TEST(LatenciesTest, ASingleOneIsEveryPercentile) {
    Latencies latencies;
    latencies.add(nanoseconds(123456789));
    EXPECT_EQ(latencies.percentile(0), nanoseconds(123456789));
    EXPECT_EQ(latencies.percentile(50), nanoseconds(123456789));
    EXPECT_EQ(latencies.percentile(100), nanoseconds(123456789));
}

TEST(LatenciesTest, TheEdgesOfBuckets) {
    // Whatever the size: never too low, and less than 1/128 too high.
    for (std::int64_t const time :
         {254LL, 255LL, 256LL, 257LL, 511LL, 512LL, 513LL, 1023LL, 1024LL, 65535LL, 65536LL,
          999999999LL, (1LL << 39) - 1, 1LL << 39, (1LL << 40) - 1}) {
        Latencies latencies;
        latencies.add(nanoseconds(time));
        latencies.add(nanoseconds((1LL << 40) - 1));
        std::int64_t const seen = latencies.percentile(50).count();
        EXPECT_GE(seen, time);
        EXPECT_LE(static_cast<double>(seen - time), static_cast<double>(time) / 128) << time;
    }
}

TEST(LatenciesTest, PercentilesOfManyAgreeWithTheSortedTimes) {
    std::mt19937_64 random(7);
    std::lognormal_distribution<double> distribution(11, 2);
    std::vector<std::int64_t> times;
    Latencies latencies;
    for (int i = 0; i < 100000; ++i) {
        times.push_back(static_cast<std::int64_t>(distribution(random)));
        latencies.add(nanoseconds(times.back()));
    }
    std::sort(times.begin(), times.end());
    EXPECT_EQ(latencies.longest().count(), times.back());
    for (auto const& [percent, rank] :
         {std::pair{50.0, 50000U}, {90.0, 90000U}, {99.0, 99000U}, {99.9, 99900U}}) {
        auto const exact = static_cast<double>(times[rank - 1]);
        auto const seen = static_cast<double>(latencies.percentile(percent).count());
        EXPECT_GE(seen, exact);
        EXPECT_LE(seen, exact * (1 + 1.0 / 128)) << percent;
    }
}

TEST(LatenciesTest, NegativeAndEndlessOnesAreTaken) {
    Latencies latencies;
    latencies.add(nanoseconds(-5));
    EXPECT_EQ(latencies.longest(), nanoseconds(0));
    latencies.add(std::chrono::hours(1000));
    EXPECT_EQ(latencies.longest(), nanoseconds((1LL << 40) - 1));
    EXPECT_EQ(latencies.count(), 2U);
}

TEST(LatenciesTest, SumsCountBoth) {
    Latencies one;
    one.add(nanoseconds(10));
    Latencies other;
    other.add(nanoseconds(30));
    other.add(nanoseconds(20));
    one.add(other);
    EXPECT_EQ(one.count(), 3U);
    EXPECT_EQ(one.percentile(50), nanoseconds(20));
    EXPECT_EQ(one.longest(), nanoseconds(30));
}

} // namespace
