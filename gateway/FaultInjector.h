#ifndef GATEWAY_FAULTINJECTOR_H
#define GATEWAY_FAULTINJECTOR_H

#include "gateway/FaultRule.h"

#include "imc/imc_msg.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace gateway {

/** What happens to one message. */
struct FaultVerdict {
    bool isDropped = false;
    bool isRestarting = false;
    /** How often it arrives. */
    unsigned copies = 1;
    std::chrono::milliseconds delay{};
    std::optional<std::uint16_t> length{};
    std::optional<std::uint8_t> error{};
    /** The rules that say so, as they were written. */
    std::vector<std::string> rules{};
};

/** Applies rules to messages, one after the other; each rule counts for itself. */
class FaultInjector {
public:
    explicit FaultInjector(std::vector<FaultRule> const& rules);

    /** @param sid IMC address of the board */
    FaultVerdict judge(Traffic traffic, unsigned char sid, imc_msg const& message);

    /** How often each rule applied, in their order. */
    std::vector<std::pair<std::string, std::uint64_t>> applied() const;

private:
    struct State {
        FaultRule rule;
        /** The generator is the language's own, so that a seed means the same everywhere. */
        std::mt19937 random;
        std::uint64_t matched = 0;
        std::uint64_t applied = 0;

        bool applies();
    };

    std::vector<State> states;
};

} // namespace gateway

#endif
