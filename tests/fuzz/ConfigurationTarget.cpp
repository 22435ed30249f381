// The workstation's configuration file. A text that is taken has to hold what the file may say, and
// to say the same again when it is written from what was read.

#include "tests/fuzz/Check.h"
#include "tests/fuzz/Target.h"

#include "address/IPAddress.h"
#include "config/CFG_Store.h"
#include "host/config/Configuration.h"

#include <array>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using fuzz::require;
using fuzz::requireEqual;
using host::Configuration;

std::string const name = "gateway.toml";
unsigned char const ownSid = 0x01;

/** A refusal begins with "gateway.toml:LINE:COLUMN: ", both from 1, and says something. */
void requirePlace(std::string const& text) {
    std::istringstream from(text);
    std::string file;
    std::getline(from, file, ':');
    requireEqual(file, name, "file of a refusal");
    unsigned line = 0;
    unsigned column = 0;
    std::array<char, 3> marks{};
    from >> line >> marks[0] >> column >> marks[1];
    from.get(marks[2]);
    bool const isPlaced = from && line > 0 && column > 0 && marks[0] == ':' && marks[1] == ':' &&
                          marks[2] == ' ' && from.peek() != EOF;
    require(isPlaced, "a refusal has a place and a cause");
}

std::string addressText(std::uint32_t value) {
    return std::to_string(value >> 24U) + "." + std::to_string(value >> 16U & 0xFFU) + "." +
           std::to_string(value >> 8U & 0xFFU) + "." + std::to_string(value & 0xFFU);
}

/** A text as TOML writes it. */
std::string quoted(std::string const& text) {
    std::ostringstream result;
    for (char const character : text) {
        unsigned const code = static_cast<unsigned char>(character);
        if (code < 0x20 || code == 0x7F || character == '"' || character == '\\') {
            result << "\\u00" << std::hex << code / 16 << code % 16;
        } else {
            result << character;
        }
    }
    return '"' + result.str() + '"';
}

std::string written(Configuration const& configuration) {
    std::ostringstream text;
    for (auto const& [place, value] : configuration.values) {
        std::string const section = place.first.substr(place.first.rfind('/') + 1);
        text << "[current." << section << "]\n" << place.second << " = ";
        if (auto const* const characters = std::get_if<std::string>(&value)) {
            text << quoted(*characters) << "\n";
        } else {
            text << unsigned{std::get<std::uint8_t>(value)} << "\n";
        }
    }
    text << "[boards]\n";
    for (auto const& [ip, sid] : configuration.boards) {
        text << '"' << addressText(ip) << "\" = " << unsigned{sid} << "\n";
    }
    text << "[interfaces]\n";
    for (auto const& [interface, ip] : configuration.interfaces) {
        text << quoted(interface) << " = \"" << addressText(ip) << "\"\n";
    }
    text << "[noteworthy]\n";
    for (auto const& [number, value] : configuration.noteworthyValues) {
        text << number << " = " << unsigned{value} << "\n";
    }
    return text.str();
}

void requireSame(Configuration const& left, Configuration const& right) {
    require(left.values == right.values, "the values are read again as they were");
    require(left.boards == right.boards, "the boards are read again as they were");
    require(left.interfaces == right.interfaces, "the interfaces are read again as they were");
    require(left.noteworthyValues == right.noteworthyValues,
            "the noteworthy values are read again as they were");
}

/** Every value can be read from the store, whole and closed with a NUL. */
void requireReadable(Configuration const& configuration) {
    host::Store store;
    store.replaceFile(configuration.values);
    for (auto const& [place, value] : configuration.values) {
        auto const* const text = std::get_if<std::string>(&value);
        std::array<char, CFG_TEXT_SIZE> destination{};
        destination.fill('?');
        int count = 1;
        int const result = store.read(place.first.c_str(), place.second.c_str(), destination.data(),
                                      text != nullptr ? CFG_TYPE_TEXT : CFG_TYPE_BYTE, &count);
        require(result == 0 && count == 1, "a value of the file can be read");
        if (text != nullptr) {
            requireEqual(std::string(destination.data()), *text, "text of the store");
        }
    }
}

void requireOwnSids(Configuration const& configuration) {
    std::set<unsigned char> sids = {ownSid};
    for (auto const& [ip, sid] : configuration.boards) {
        require(sids.insert(sid).second, "a board's IMC address is nobody else's");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(data, data + size);
    Configuration configuration;
    try {
        configuration = host::parseConfiguration(text, name, ownSid);
    } catch (std::runtime_error const& refusal) {
        requirePlace(refusal.what());
        return 0;
    }
    requireOwnSids(configuration);
    requireReadable(configuration);
    requireSame(host::parseConfiguration(written(configuration), name, ownSid), configuration);
    return 0;
}
