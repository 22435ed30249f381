#ifndef HOST_DEEPKEY_H
#define HOST_DEEPKEY_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace host {

/** Where something stands in a text; both count from 1. */
struct TextPlace {
    std::uint32_t line = 1;
    std::uint32_t column = 1;
};

/** Parts of a key, such as the two of "current.gateway", that a TOML text may have at most. */
constexpr std::size_t mostKeyParts = 16;

/**
 * Looks for a key with more parts than that. Each part is a table inside the one before it, and the
 * TOML library takes tables apart recursively: of a key with some ten thousand parts, the process
 * would run out of stack. To be asked before the text is parsed.
 * @return the place of the first part that is too many; nothing when there is none
 */
std::optional<TextPlace> findDeepKey(std::string const& text);

} // namespace host

#endif
