#include "gateway/MessageBytes.h"

#include "gateway/Message.h"

#include "dsp/Encode.h"
#include "dsp/Shown.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <system_error>

namespace gateway {

using dsp::shown;

namespace {

std::string const rawWord = "raw ";
/** Addresses are bytes 1 and 2 of four that belong together. */
std::size_t const addressedSize = 4;

int digitOf(char character) {
    static std::string const digits = "0123456789abcdef";
    bool const isUpper = 'A' <= character && character <= 'F';
    auto const at = digits.find(isUpper ? static_cast<char>(character - 'A' + 'a') : character);
    return at == std::string::npos ? -1 : static_cast<int>(at);
}

bool isBlank(char character) {
    return character == ' ' || character == '\t' || character == '\r';
}

/** Without the comment, and blanks at both ends. */
std::string contentOf(std::string const& line) {
    std::size_t end = 0;
    while (end < line.size() && !(line[end] == '#' && (end == 0 || isBlank(line[end - 1])))) {
        ++end;
    }
    while (end > 0 && isBlank(line[end - 1])) {
        --end;
    }
    std::size_t begin = 0;
    while (begin < end && isBlank(line[begin])) {
        ++begin;
    }
    return line.substr(begin, end - begin);
}

std::uint8_t parseSid(dsp::Field const& field) {
    bool const isHex = field.value.rfind("0x", 0) == 0;
    char const* const begin = field.value.data() + (isHex ? 2 : 0);
    char const* const end = field.value.data() + field.value.size();
    std::uint8_t sid = 0;
    auto const [last, fault] = std::from_chars(begin, end, sid, isHex ? 16 : 10);
    if (fault != std::errc() || last != end) {
        throw std::invalid_argument("bad value \"" + shown(field.value) + "\" of " + field.name +
                                    ": expected an IMC address from 0x00 to 0xFF");
    }
    return sid;
}

/** The address in the field, which the message has no more then; reports show both this way. */
std::optional<std::uint8_t> takeSid(Message& message, char const* name) {
    auto const found = std::find_if(message.fields.begin(), message.fields.end(),
                                    [name](dsp::Field const& each) { return each.name == name; });
    if (found == message.fields.end()) {
        return std::nullopt;
    }
    std::uint8_t const sid = parseSid(*found);
    message.fields.erase(found);
    return sid;
}

} // namespace

std::vector<std::uint8_t> parseHexadecimal(std::string const& text) {
    std::vector<std::uint8_t> bytes;
    int high = -1;
    for (char const each : text) {
        if (high < 0 && (isBlank(each) || each == ':')) {
            continue;
        }
        int const digit = digitOf(each);
        if (digit < 0) {
            throw std::invalid_argument("bad bytes \"" + shown(text) +
                                        "\": expected two hexadecimal digits for each byte");
        }
        if (high < 0) {
            high = digit;
        } else {
            bytes.push_back(static_cast<std::uint8_t>(high * 16 + digit));
            high = -1;
        }
    }
    if (high >= 0) {
        throw std::invalid_argument("bad bytes \"" + shown(text) + "\": the last one is half");
    }
    return bytes;
}

WrittenMessage parseRecord(std::string const& hexadecimal) {
    std::vector<std::uint8_t> const bytes = parseHexadecimal(hexadecimal);
    if (bytes.empty() || bytes.size() > sizeof(imc_msg)) {
        throw std::invalid_argument("a record of " + std::to_string(bytes.size()) +
                                    " bytes: expected 1 to " + std::to_string(sizeof(imc_msg)));
    }
    WrittenMessage written;
    std::memcpy(&written.message, bytes.data(), bytes.size());
    written.hasSource = written.hasDestination = bytes.size() >= addressedSize;
    return written;
}

WrittenMessage parseWritten(std::string const& text) {
    if (text.rfind(rawWord, 0) == 0) {
        return parseRecord(text.substr(rawWord.size()));
    }
    Message message = parseMessage(text);
    std::optional<std::uint8_t> const source = takeSid(message, "from");
    std::optional<std::uint8_t> const destination = takeSid(message, "to");
    WrittenMessage written;
    written.message = dsp::encode(message.name, message.fields);
    written.message.sourceSid = source.value_or(0);
    written.message.destinationSid = destination.value_or(0);
    written.hasSource = source.has_value();
    written.hasDestination = destination.has_value();
    return written;
}

std::vector<WrittenMessage> readWritten(std::istream& from, std::string const& name) {
    std::vector<WrittenMessage> messages;
    std::size_t number = 0;
    for (std::string line; std::getline(from, line);) {
        ++number;
        std::string const content = contentOf(line);
        try {
            if (!content.empty()) {
                messages.push_back(parseWritten(content));
            }
        } catch (std::invalid_argument const& error) {
            throw std::invalid_argument(name + ":" + std::to_string(number) + ": " + error.what());
        }
    }
    return messages;
}

} // namespace gateway
