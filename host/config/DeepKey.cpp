#include "host/config/DeepKey.h"

#include <algorithm>

namespace host {

namespace {

TextPlace placeOf(std::string const& text, std::size_t at) {
    TextPlace place;
    for (std::size_t i = 0; i < at; ++i) {
        bool const isInsideCharacter = (static_cast<unsigned char>(text[i]) & 0xC0U) == 0x80;
        if (text[i] == '\n') {
            ++place.line;
            place.column = 1;
        } else if (!isInsideCharacter) {
            ++place.column;
        }
    }
    return place;
}

/** @return what is behind the string that begins at `at`; the end of the text when it has none */
std::size_t behindString(std::string const& text, std::size_t at) {
    char const quote = text[at];
    std::string const three(3, quote);
    bool const isLong = text.compare(at, 3, three) == 0;
    for (at += isLong ? 3 : 1; at < text.size(); ++at) {
        if (text[at] == '\\' && quote == '"') {
            ++at;
        } else if (isLong && text.compare(at, 3, three) == 0) {
            // The last three close it; up to two before them are its own.
            return std::min(text.find_first_not_of(quote, at), text.size());
        } else if (!isLong && (text[at] == quote || text[at] == '\n')) {
            return at + 1;
        }
    }
    return text.size();
}

} // namespace

std::optional<TextPlace> findDeepKey(std::string const& text) {
    std::size_t parts = 1;
    std::size_t at = 0;
    while (at < text.size()) {
        char const character = text[at];
        if (character == '"' || character == '\'') {
            at = behindString(text, at);
            continue;
        }
        if (character == '#') {
            at = std::min(text.find('\n', at), text.size());
            continue;
        }
        if (std::string("=,{}[]\n").find(character) != std::string::npos) {
            parts = 1;
        } else if (character == '.' && ++parts > mostKeyParts) {
            return placeOf(text, at + 1);
        }
        ++at;
    }
    return std::nullopt;
}

} // namespace host
