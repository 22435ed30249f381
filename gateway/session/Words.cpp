#include "gateway/session/Words.h"

#include "gateway/Text.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <utility>

namespace gateway {

namespace {

bool isBlank(char each) {
    return std::isspace(static_cast<unsigned char>(each)) != 0;
}

std::optional<std::int64_t> number(std::string const& word) {
    bool const isHexadecimal = word.rfind("0x", 0) == 0 || word.rfind("0X", 0) == 0;
    std::string const digits = isHexadecimal ? word.substr(2) : word;
    bool const isNumber =
        !digits.empty() && digits.size() <= 15 &&
        std::all_of(digits.begin(), digits.end(), [isHexadecimal](char each) {
            auto const one = static_cast<unsigned char>(each);
            return isHexadecimal ? std::isxdigit(one) != 0 : std::isdigit(one) != 0;
        });
    return isNumber
               ? std::optional<std::int64_t>(std::stoll(digits, nullptr, isHexadecimal ? 16 : 10))
               : std::nullopt;
}

/** A value without quotation marks is what it looks like. */
WrittenValue written(std::string const& text) {
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
        return text.substr(1, text.size() - 2);
    }
    if (text == "true" || text == "false") {
        return text == "true";
    }
    if (auto const value = number(text)) {
        return *value;
    }
    return text;
}

} // namespace

std::vector<std::string> wordsOf(std::string const& line) {
    std::vector<std::string> words;
    bool isInWord = false;
    bool isQuoted = false;
    for (char const each : line) {
        if (isBlank(each) && !isQuoted) {
            isInWord = false;
            continue;
        }
        if (!isInWord) {
            words.emplace_back();
            isInWord = true;
        }
        isQuoted = isQuoted != (each == '"');
        words.back() += each;
    }
    if (isQuoted) {
        throw std::invalid_argument("a quotation mark has no other one: expected two");
    }
    return words;
}

std::int64_t numberOf(std::string const& word, std::string const& what, std::int64_t low,
                      std::int64_t high) {
    auto const value = number(word);
    if (!value || *value < low || *value > high) {
        throw std::invalid_argument(
            wrongValue(what, "\"" + word + "\"",
                       "a number from " + std::to_string(low) + " to " + std::to_string(high)));
    }
    return *value;
}

SettingWords::SettingWords(std::function<std::string(unsigned char)> ipOf,
                           std::function<bool(ChannelField const&)> allowed, bool isBoardAllowed)
    : boardIp(std::move(ipOf)), isAllowed(std::move(allowed)), takesBoard(isBoardAllowed) {}

std::vector<FieldSetting> SettingWords::parse(std::vector<std::string> const& words) const {
    std::vector<FieldSetting> settings;
    for (std::string const& word : words) {
        auto const equals = word.find('=');
        if (equals == std::string::npos) {
            throw std::invalid_argument("\"" + word +
                                        "\" is no key=value: expected one of the keys " + keys());
        }
        FieldSetting const setting = parseOne(word.substr(0, equals), word.substr(equals + 1));
        bool const isTwice =
            std::any_of(settings.begin(), settings.end(),
                        [&](FieldSetting const& each) { return each.field == setting.field; });
        if (isTwice) {
            throw std::invalid_argument(setting.field->name + " is set twice: expected it once");
        }
        settings.push_back(setting);
    }
    return settings;
}

FieldSetting SettingWords::parseOne(std::string const& key, std::string const& value) const {
    if (key == "board" && takesBoard) {
        auto const sid = static_cast<unsigned char>(numberOf(value, "board", 0, 255));
        return {findChannelField("mediaGateway"), boardIp(sid), {}};
    }
    ChannelField const* const field = findChannelField(key);
    if (field == nullptr || !field->set || !isAllowed(*field)) {
        throw std::invalid_argument("unknown key \"" + key + "\": expected one of " + keys());
    }
    WrittenValue const given = written(value);
    auto const parsed = field->type.parse(given);
    if (!parsed) {
        throw std::invalid_argument(wrongValue(key, shown(given), field->type.expected));
    }
    return {field, *parsed, {}};
}

std::string SettingWords::keys() const {
    std::vector<std::string> names;
    if (takesBoard) {
        names.emplace_back("board");
    }
    for (ChannelField const& field : channelFields()) {
        if (field.set && isAllowed(field)) {
            names.push_back(field.name);
        }
    }
    return joined(names);
}

} // namespace gateway
