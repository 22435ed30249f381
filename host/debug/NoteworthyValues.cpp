#include "host/debug/NoteworthyValues.h"

#include <cstring>

namespace host {

bool NoteworthyValues::read(int number, void* destination, std::size_t size) const {
    std::uint8_t const* const found = values.find(number);
    if (found == nullptr || destination == nullptr || size != sizeof *found) {
        return false;
    }
    std::memcpy(destination, found, size);
    return true;
}

} // namespace host
