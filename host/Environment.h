#ifndef HOST_ENVIRONMENT_H
#define HOST_ENVIRONMENT_H

#include <optional>
#include <string>

namespace host {

/** What a variable of the environment says. */
struct EnvironmentDigit {
    /** The digit; none when the variable is unset, empty or bad. */
    std::optional<unsigned int> value;
    /** What is wrong with a bad value; empty otherwise. */
    std::string fault;
};

/** Reads a variable that holds one decimal digit from 0 to `highest`. */
EnvironmentDigit environmentDigit(char const* name, unsigned int highest);

} // namespace host

#endif
