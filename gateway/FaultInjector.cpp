#include "gateway/FaultInjector.h"

#include "dsp/Board.h"

#include <algorithm>

namespace gateway {

namespace {

/** What a rule may ask of a message. */
struct Traits {
    std::string name;
    /** Empty when it has none. */
    std::string direction;
    std::string dsp;
};

Traits traitsOf(imc_msg const& message) {
    dsp::Description const description = dsp::fields(message);
    Traits traits;
    auto const blank = description.name.find(' ');
    traits.name = description.name.substr(0, blank);
    traits.direction = blank == std::string::npos ? "" : description.name.substr(blank + 1);
    for (dsp::Field const& field : description.fields) {
        traits.dsp = field.name == "dsp" ? field.value : traits.dsp;
        // That of an order, whose name ends in its kind.
        traits.direction = field.name == "direction" ? field.value : traits.direction;
    }
    return traits;
}

bool matches(FaultRule const& rule, unsigned char sid, Traits const& traits) {
    bool const isNamed = rule.names.empty() || std::find(rule.names.begin(), rule.names.end(),
                                                         traits.name) != rule.names.end();
    return isNamed && (!rule.sid || *rule.sid == sid) &&
           (!rule.dsp || std::to_string(*rule.dsp) == traits.dsp) &&
           (rule.direction.empty() || rule.direction == traits.direction);
}

void apply(FaultRule const& rule, FaultVerdict& verdict) {
    switch (rule.action) {
    case FaultRule::Action::drop:
        verdict.isDropped = true;
        break;
    case FaultRule::Action::delay:
        verdict.delay += rule.delay;
        break;
    case FaultRule::Action::duplicate:
        ++verdict.copies;
        break;
    case FaultRule::Action::length:
        verdict.length = static_cast<std::uint16_t>(rule.value);
        break;
    case FaultRule::Action::error:
        verdict.error = static_cast<std::uint8_t>(rule.value);
        break;
    case FaultRule::Action::restart:
        verdict.isRestarting = true;
        break;
    }
    verdict.rules.push_back(rule.text);
}

} // namespace

FaultInjector::FaultInjector(std::vector<FaultRule> const& rules) {
    for (FaultRule const& rule : rules) {
        states.push_back(State{rule, std::mt19937(static_cast<std::uint32_t>(rule.seed))});
    }
}

bool FaultInjector::State::applies() {
    if (++matched <= rule.after || (matched - rule.after) % rule.every != 0) {
        return false;
    }
    if (rule.count && applied >= *rule.count) {
        return false;
    }
    if (rule.percent < 100 && random() % 100 >= rule.percent) {
        return false;
    }
    ++applied;
    return true;
}

FaultVerdict FaultInjector::judge(Traffic traffic, unsigned char sid, imc_msg const& message) {
    FaultVerdict verdict;
    if (states.empty()) {
        return verdict;
    }
    Traits const traits = traitsOf(message);
    for (State& state : states) {
        if (state.rule.traffic == traffic && matches(state.rule, sid, traits) && state.applies()) {
            apply(state.rule, verdict);
        }
    }
    return verdict;
}

std::vector<std::pair<std::string, std::uint64_t>> FaultInjector::applied() const {
    std::vector<std::pair<std::string, std::uint64_t>> result;
    for (State const& state : states) {
        result.emplace_back(state.rule.text, state.applied);
    }
    return result;
}

} // namespace gateway
