#include "host/Environment.h"

#include <cstdlib>

namespace host {

EnvironmentDigit environmentDigit(char const* name, unsigned int highest) {
    char const* const variable = std::getenv(name);
    std::string const text = variable == nullptr ? "" : variable;
    if (text.empty()) {
        return {};
    }
    if (text.size() == 1 && text[0] >= '0' && text[0] <= '9') {
        unsigned int const digit = static_cast<unsigned int>(text[0] - '0');
        if (digit <= highest) {
            return {digit, ""};
        }
    }
    return {std::nullopt, std::string(name) + " is \"" + text + "\", not a number from 0 to " +
                              std::to_string(highest)};
}

} // namespace host
