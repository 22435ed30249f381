#include "gateway/Placeholders.h"

#include <regex>
#include <stdexcept>

namespace gateway {

std::string expandPlaceholders(
    std::string const& text,
    std::function<std::optional<std::string>(std::string const&)> const& identifier) {
    static std::regex const pattern("\\{([A-Za-z0-9_-]+)\\}");
    std::string result;
    auto rest = text.begin();
    for (std::sregex_iterator each(text.begin(), text.end(), pattern), end; each != end; ++each) {
        std::string const name = (*each)[1];
        auto const value = identifier(name);
        if (!value) {
            throw std::out_of_range(name);
        }
        result.append(rest, (*each)[0].first);
        result += *value;
        rest = (*each)[0].second;
    }
    return result.append(rest, text.end());
}

} // namespace gateway
