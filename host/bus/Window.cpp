#include "host/bus/Window.h"

namespace host {

std::uint64_t Window::accept(unsigned char sid) {
    pending.emplace_back(sid);
    return taken + pending.size();
}

bool Window::take(std::uint64_t upTo) {
    if (upTo < taken || upTo - taken > pending.size()) {
        return false;
    }
    auto const end = pending.begin() + static_cast<std::ptrdiff_t>(upTo - taken);
    pending.erase(pending.begin(), end);
    taken = upTo;
    return true;
}

std::uint64_t Window::abandon(unsigned char sid) {
    std::uint64_t count = 0;
    for (auto& each : pending) {
        if (each == sid) {
            each.reset();
            ++count;
        }
    }
    return count;
}

std::map<unsigned char, std::uint64_t> Window::outstanding() const {
    std::map<unsigned char, std::uint64_t> counts;
    for (auto const& each : pending) {
        if (each) {
            ++counts[*each];
        }
    }
    return counts;
}

} // namespace host
