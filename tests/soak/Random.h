#ifndef TESTS_SOAK_RANDOM_H
#define TESTS_SOAK_RANDOM_H

#include <cstddef>
#include <cstdint>
#include <random>

namespace soak {

/**
 * Random numbers that are the same for a seed on every machine: the engine's are laid down by the
 * language, the distributions of the standard library are not and are left out.
 */
class Random {
public:
    explicit Random(std::uint64_t seed) : engine(seed) {}

    /** 0 to `bound` - 1. */
    std::uint32_t below(std::uint32_t bound) {
        std::uint64_t const high = engine() >> 32U;
        return static_cast<std::uint32_t>((high * bound) >> 32U);
    }

    /** One of `size` places. */
    std::size_t index(std::size_t size) { return below(static_cast<std::uint32_t>(size)); }

    bool percent(std::uint32_t chance) { return below(100) < chance; }

private:
    std::mt19937_64 engine;
};

} // namespace soak

#endif
