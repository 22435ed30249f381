#include "host/Counters.h"

namespace host {

namespace {

/** In the order of Cause. */
constexpr std::array<char const*, Counters::causes> names = {
    "imc.message_without_observer",
    "imc.message_dropped",
    "imc.post_refused",
    "imc.observer_exception",
    "console.command_without_observer",
    "console.answer_without_console",
    "console.answer_refused",
    "imc.unknown_board",
    "collector.reference_not_held",
    "configuration.refused",
    "environment.bad_value",
    "log.line_lost",
    "bus.unserved",
    "bus.peer_gone",
    "bus.not_linked",
    "bus.window_full",
    "bus.message_lost",
    "bus.out_of_sequence",
    "bus.link_lost",
    "bus.link_refused",
    "bus.claim_refused",
    "bus.claim_conflict",
    "bus.bad_frame",
    "bus.handshake_failed",
    "bus.key_refused",
    "bus.copy_missed",
    "bus.system_fault",
};
static_assert(names.back() != nullptr, "every cause has a name");

} // namespace

void Counters::add(Cause cause, std::uint64_t times) {
    counts.at(static_cast<std::size_t>(cause)) += times;
}

std::uint64_t Counters::value(Cause cause) const {
    return counts.at(static_cast<std::size_t>(cause));
}

std::map<std::string, std::uint64_t> Counters::occurred() const {
    std::map<std::string, std::uint64_t> result;
    for (std::size_t i = 0; i < causes; ++i) {
        if (std::uint64_t const count = counts.at(i)) {
            result.emplace(names.at(i), count);
        }
    }
    return result;
}

void Counters::clear() {
    for (auto& count : counts) {
        count = 0;
    }
}

} // namespace host
