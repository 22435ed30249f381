#include "host/debug/NoteworthyValues.h"

#include <cstring>

namespace host {

bool NoteworthyValues::read(int number, void* destination, std::size_t size) const {
    auto const found = values.find(number);
    if (found == values.end() || destination == nullptr || size != sizeof found->second) {
        return false;
    }
    std::memcpy(destination, &found->second, size);
    return true;
}

} // namespace host
