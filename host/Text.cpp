#include "host/Text.h"

#include <algorithm>

namespace host {

std::string withoutNul(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\0'), text.end());
    return text;
}

std::string quoted(std::string const& text) {
    std::string result = "\"";
    for (char const character : text) {
        if (character == '\0') {
            result += "\\0";
        } else {
            result += character;
        }
    }
    return result + "\"";
}

} // namespace host
