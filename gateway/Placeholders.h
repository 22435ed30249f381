#ifndef GATEWAY_PLACEHOLDERS_H
#define GATEWAY_PLACEHOLDERS_H

#include <functional>
#include <optional>
#include <string>

namespace gateway {

/**
 * A channel's identifier is not known before the call is placed: in a call file, "{NAME}" stands
 * for the identifier of the channel NAME. Braces around anything that is no name stay as they are.
 * @param identifier the text for a name; nothing when there is no such channel
 * @throw std::out_of_range with the name when there is no such channel
 */
std::string
expandPlaceholders(std::string const& text,
                   std::function<std::optional<std::string>(std::string const&)> const& identifier);

} // namespace gateway

#endif
