#ifndef TESTS_SUPPORT_REFUSAL_H
#define TESTS_SUPPORT_REFUSAL_H

#include <stdexcept>
#include <string>

/** Why an action refuses what it is given; empty when it takes it. */
template <typename Error = std::invalid_argument, typename Action>
std::string refusalOf(Action const& action) {
    try {
        action();
    } catch (Error const& error) {
        return error.what();
    }
    return "";
}

#endif
