#ifndef GATEWAY_TEXT_H
#define GATEWAY_TEXT_H

#include <cstddef>
#include <string>

namespace gateway {

/** The texts of a list's elements with commas between them. */
template <typename List, typename TextOf>
std::string joined(List const& list, TextOf textOf) {
    std::string text;
    bool isFirst = true;
    for (auto const& each : list) {
        text += isFirst ? "" : ", ";
        text += textOf(each);
        isFirst = false;
    }
    return text;
}

/** The same for a list of texts. */
template <typename List>
std::string joined(List const& texts) {
    return joined(texts, [](auto const& text) -> std::string const& { return text; });
}

/** "1 event", "2 events". */
inline std::string plural(std::size_t count, std::string const& word) {
    return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

} // namespace gateway

#endif
