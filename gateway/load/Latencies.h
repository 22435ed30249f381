#ifndef GATEWAY_LOAD_LATENCIES_H
#define GATEWAY_LOAD_LATENCIES_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace gateway {

/**
 * Times of many operations, and their percentiles. It keeps counts in buckets instead of the times
 * themselves, so that a run of days takes as little memory as one of seconds: below 256 ns a bucket
 * is one nanosecond, above it less than 1/128 of its times. Times of more than 18 minutes count as
 * that.
 */
class Latencies {
public:
    using Nanoseconds = std::chrono::nanoseconds;

    Latencies();

    /** A negative time counts as none. */
    void add(Nanoseconds time);
    void add(Latencies const& more);

    std::uint64_t count() const { return total; }

    /**
     * The smallest time that at least `percent` of all are not longer than, rounded up to the end
     * of its bucket, but never above the longest; 0 when there is none.
     * @param percent from 0 to 100
     */
    Nanoseconds percentile(double percent) const;

    /** Exact. */
    Nanoseconds longest() const { return Nanoseconds(highest); }

private:
    static std::size_t bucketOf(std::int64_t time);
    static std::int64_t lastOf(std::size_t bucket);

    std::vector<std::uint64_t> counts;
    std::uint64_t total = 0;
    std::int64_t highest = 0;
};

} // namespace gateway

#endif
