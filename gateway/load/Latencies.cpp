#include "gateway/load/Latencies.h"

#include <algorithm>
#include <cmath>

namespace gateway {

namespace {

/** Times below this have a bucket each; every doubling above it has half as many. */
constexpr std::int64_t exactBelow = 256;
constexpr std::size_t perDoubling = 128;
constexpr std::int64_t longestCounted = (std::int64_t{1} << 40) - 1;
/** From 2^8 to 2^40. */
constexpr std::size_t doublings = 32;

} // namespace

Latencies::Latencies() : counts(exactBelow + doublings * perDoubling) {}

std::size_t Latencies::bucketOf(std::int64_t time) {
    std::size_t doubling = 0;
    while (time >= exactBelow) {
        time >>= 1;
        ++doubling;
    }
    // What is left of a time that was halved lies in the upper half.
    return static_cast<std::size_t>(time) + doubling * perDoubling;
}

std::int64_t Latencies::lastOf(std::size_t bucket) {
    if (bucket < exactBelow) {
        return static_cast<std::int64_t>(bucket);
    }
    std::size_t const doubling = (bucket - perDoubling) / perDoubling;
    auto const rest = static_cast<std::int64_t>(bucket - doubling * perDoubling);
    return ((rest + 1) << doubling) - 1;
}

void Latencies::add(Nanoseconds time) {
    std::int64_t const taken =
        std::clamp(static_cast<std::int64_t>(time.count()), std::int64_t{0}, longestCounted);
    ++counts[bucketOf(taken)];
    ++total;
    highest = std::max(highest, taken);
}

void Latencies::add(Latencies const& more) {
    std::transform(counts.begin(), counts.end(), more.counts.begin(), counts.begin(),
                   [](std::uint64_t own, std::uint64_t others) { return own + others; });
    total += more.total;
    highest = std::max(highest, more.highest);
}

Latencies::Nanoseconds Latencies::percentile(double percent) const {
    auto const wanted = std::max<std::uint64_t>(
        1, static_cast<std::uint64_t>(std::ceil(percent / 100 * static_cast<double>(total))));
    std::uint64_t seen = 0;
    for (std::size_t bucket = 0; bucket < counts.size(); ++bucket) {
        seen += counts[bucket];
        if (seen >= wanted) {
            return Nanoseconds(std::min(lastOf(bucket), highest));
        }
    }
    return longest();
}

} // namespace gateway
