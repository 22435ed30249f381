#include "host/config/Store.h"

#include "config/CFG_Store.h"

#include <cstring>
#include <stdexcept>

namespace host {

namespace {

enum Result : int { success = 0, missing = 1, otherType = 2, badArgument = 3 };

} // namespace

std::string Store::textFault(std::string const& text) {
    if (text.size() > longestText) {
        return "a text has " + std::to_string(longestText) + " characters at most, not " +
               std::to_string(text.size());
    }
    if (text.find('\0') != std::string::npos) {
        return "a text holds no NUL character";
    }
    return "";
}

void Store::set(std::string const& section, std::string const& key, Value const& value) {
    if (auto const* const text = std::get_if<std::string>(&value)) {
        std::string const fault = textFault(*text);
        if (!fault.empty()) {
            throw std::invalid_argument(section + " " + key + ": " + fault);
        }
    }
    values.set({section, key}, value);
}

void Store::remove(std::string const& section, std::string const& key) {
    values.remove({section, key});
}

int Store::read(char const* section, char const* key, void* destination, int type,
                int* count) const {
    if (section == nullptr || key == nullptr || destination == nullptr || count == nullptr ||
        *count < 1) {
        return badArgument;
    }
    *count = 0;
    Value const* const found = values.find({section, key});
    if (found == nullptr) {
        return missing;
    }
    auto const* const text = std::get_if<std::string>(found);
    auto const* const byte = std::get_if<std::uint8_t>(found);
    if (type == CFG_TYPE_TEXT && text != nullptr) {
        std::memcpy(destination, text->c_str(), text->size() + 1);
    } else if (type == CFG_TYPE_BYTE && byte != nullptr) {
        std::memcpy(destination, byte, sizeof *byte);
    } else {
        return otherType;
    }
    *count = 1;
    return success;
}

} // namespace host
