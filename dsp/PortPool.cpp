#include "dsp/PortPool.h"

#include <stdexcept>
#include <string>

namespace dsp {

namespace {

/** Ports go in pairs, an even port and the odd one behind it. */
std::size_t const pairs = 65536 / 2;

} // namespace

PortPool::PortPool(std::uint16_t first) : firstPair((first + std::size_t{1}) / 2) {
    if (first == 0 || firstPair == pairs) {
        throw std::invalid_argument("no media ports from " + std::to_string(first));
    }
    held.resize(pairs - firstPair);
}

std::optional<std::uint16_t> PortPool::take() {
    for (std::size_t tried = 0; tried < held.size(); ++tried) {
        std::size_t const candidate = (next + tried) % held.size();
        if (!held[candidate]) {
            held[candidate] = true;
            next = candidate + 1;
            return static_cast<std::uint16_t>((firstPair + candidate) * 2);
        }
    }
    return std::nullopt;
}

void PortPool::release(std::uint16_t port) {
    std::size_t const pair = port / 2U;
    if (port % 2 != 0 || pair < firstPair || !held[pair - firstPair]) {
        throw std::invalid_argument("media port " + std::to_string(port) + " is not held");
    }
    held[pair - firstPair] = false;
}

} // namespace dsp
