#ifndef HOST_STORE_H
#define HOST_STORE_H

#include "host/config/Layered.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <variant>

namespace host {

/** The values of the configuration store, by section and key. */
class Store {
public:
    /** A value of type code 3 or of type code 8. */
    using Value = std::variant<std::string, std::uint8_t>;
    using Values = std::map<std::pair<std::string, std::string>, Value>;

    /** Characters that a text has at most, so that it and its NUL fit in 64 bytes. */
    static constexpr std::size_t longestText = 63;

    /** What keeps a text from being a value; empty when nothing does. */
    static std::string textFault(std::string const& text);

    /** @throw std::invalid_argument for a text that can't be read back whole */
    void set(std::string const& section, std::string const& key, Value const& value);
    void remove(std::string const& section, std::string const& key);

    /** Replaces what the configuration file gave before; its texts have no fault. */
    void replaceFile(Values const& given) { values.replaceFile(given); }

    /** As the function `get` of the platform. */
    int read(char const* section, char const* key, void* destination, int type, int* count) const;

private:
    Layered<Values::key_type, Value> values;
};

} // namespace host

#endif
