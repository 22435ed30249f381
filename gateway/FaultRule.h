#ifndef GATEWAY_FAULTRULE_H
#define GATEWAY_FAULTRULE_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

/** What goes to a board, and what comes from it; audits are both. */
enum class Traffic { command, event, audit, order };

/**
 * One fault of a board: what happens to which messages, and how often. Written as
 * `ACTION[:MESSAGES[=VALUE]][:KEY=VALUE]...`; docs/bus.md describes it.
 */
struct FaultRule {
    enum class Action { drop, delay, duplicate, length, error, restart };

    /** As it was written. */
    std::string text;
    Action action = Action::drop;

    /** @name Which messages */
    /// @{
    Traffic traffic = Traffic::command;
    /** Names without the direction; empty for all. */
    std::vector<std::string> names{};
    std::optional<unsigned> sid{};
    std::optional<unsigned> dsp{};
    /** "in" or "out"; empty for both. */
    std::string direction{};
    /// @}

    /** @name How often, of those */
    /// @{
    /** The first ones are spared. */
    std::uint64_t after = 0;
    std::uint64_t every = 1;
    std::optional<std::uint64_t> count{};
    unsigned percent = 100;
    std::uint64_t seed = 1;
    /// @}

    /** Length or error code. */
    unsigned value = 0;
    std::chrono::milliseconds delay{};
};

/** @throw std::invalid_argument with what is wrong and what could stand there */
FaultRule parseFaultRule(std::string const& text);

/** The grammar, for a person. */
extern char const faultRuleHelp[];

} // namespace gateway

#endif
