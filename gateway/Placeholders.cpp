#include "gateway/Placeholders.h"

#include <stdexcept>

namespace gateway {

namespace {

char const nameCharacters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";

} // namespace

std::string expandPlaceholders(
    std::string const& text,
    std::function<std::optional<std::string>(std::string const&)> const& identifier) {
    std::string result;
    std::size_t rest = 0;
    for (auto open = text.find('{'); open != std::string::npos; open = text.find('{', open + 1)) {
        auto const close = text.find_first_not_of(nameCharacters, open + 1);
        if (close == std::string::npos || close == open + 1 || text[close] != '}') {
            continue;
        }
        std::string const name = text.substr(open + 1, close - open - 1);
        auto const value = identifier(name);
        if (!value) {
            throw std::out_of_range(name);
        }
        result.append(text, rest, open - rest);
        result += *value;
        rest = close + 1;
    }
    return result.append(text, rest, std::string::npos);
}

} // namespace gateway
