#include "gateway/MessageBytes.h"

#include "gateway/Message.h"

#include "dsp/Encode.h"

#include <cstring>
#include <stdexcept>

namespace gateway {

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
            throw std::invalid_argument("bad bytes \"" + text +
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
        throw std::invalid_argument("bad bytes \"" + text + "\": the last one is half");
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
    written.isAddressed = bytes.size() >= addressedSize;
    return written;
}

WrittenMessage parseWritten(std::string const& text) {
    if (text.rfind(rawWord, 0) == 0) {
        return parseRecord(text.substr(rawWord.size()));
    }
    Message const message = parseMessage(text);
    return {dsp::encode(message.name, message.fields), false};
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
