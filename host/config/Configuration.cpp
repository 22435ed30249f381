#include "host/config/Configuration.h"

#include "address/IPAddress.h"
#include "host/Text.h"
#include "host/config/DeepKey.h"
#include "host/imc/SidText.h"

#include <toml++/toml.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace host {

namespace {

enum class Kind { text, byte };

/** The values that the store knows. */
struct KnownValue {
    char const* table;
    char const* key;
    Kind kind;
};
constexpr KnownValue knownValues[] = {
    {"gw_priv", "fax_proto", Kind::text},
    {"gateway", "rtptick_request", Kind::byte},
};

/** The keys of a table of known values, as one text. */
std::string keysOf(std::string const& table) {
    std::string keys;
    for (KnownValue const& value : knownValues) {
        if (table == value.table) {
            keys += (keys.empty() ? "" : " or ") + std::string(value.key);
        }
    }
    return keys;
}

class Reader {
public:
    Reader(std::string const& fileName, unsigned char processSid)
        : name(fileName), ownSid(processSid) {}

    Configuration read(std::string const& text) {
        toml::table const root = parse(text);
        for (auto const& [key, node] : root) {
            if (key == "current") {
                readCurrent(tableAt(key, node));
            } else if (key == "boards") {
                readBoards(tableAt(key, node));
            } else if (key == "interfaces") {
                readInterfaces(tableAt(key, node));
            } else if (key == "noteworthy") {
                readNoteworthyValues(tableAt(key, node));
            } else {
                unknown(key, "current, boards, interfaces or noteworthy");
            }
        }
        return configuration;
    }

private:
    [[noreturn]] void fail(std::uint32_t line, std::uint32_t column,
                           std::string const& what) const {
        throw std::runtime_error(name + ":" + std::to_string(line) + ":" + std::to_string(column) +
                                 ": " + what);
    }

    [[noreturn]] void fail(toml::source_region const& where, std::string const& what) const {
        fail(where.begin.line, where.begin.column, what);
    }

    [[noreturn]] void unknown(toml::key const& key, std::string const& expected) const {
        fail(key.source(),
             "unknown key " + quoted(std::string(key.str())) + ", expected " + expected);
    }

    toml::table parse(std::string const& text) const {
        if (auto const place = findDeepKey(text)) {
            fail(place->line, place->column,
                 "a key has " + std::to_string(mostKeyParts) + " parts at most");
        }
        try {
            return toml::parse(text);
        } catch (toml::parse_error const& error) {
            fail(error.source(), std::string(error.description()));
        }
    }

    toml::table const& tableAt(toml::key const& key, toml::node const& node) const {
        if (!node.is_table()) {
            fail(node.source(), quoted(std::string(key.str())) + " is no table");
        }
        return *node.as_table();
    }

    std::string textAt(toml::node const& node) const {
        if (!node.is_string()) {
            fail(node.source(), "expected a text");
        }
        return node.as_string()->get();
    }

    std::uint8_t byteAt(toml::node const& node) const {
        if (!node.is_integer()) {
            fail(node.source(), "expected a number from 0 to 255");
        }
        std::int64_t const number = node.as_integer()->get();
        if (number < 0 || number > 255) {
            fail(node.source(), std::to_string(number) + " is not in the range from 0 to 255");
        }
        return static_cast<std::uint8_t>(number);
    }

    std::uint32_t ipAt(toml::source_region const& where, std::string const& text) const {
        try {
            return IPAddress(text).GetValue();
        } catch (std::invalid_argument const& error) {
            fail(where, error.what());
        }
    }

    void readCurrent(toml::table const& current) {
        for (auto const& [key, node] : current) {
            auto const known =
                std::any_of(std::begin(knownValues), std::end(knownValues),
                            [name = key.str()](auto const& value) { return name == value.table; });
            if (!known) {
                unknown(key, "gw_priv or gateway");
            }
            readSection(std::string(key.str()), tableAt(key, node));
        }
    }

    void readSection(std::string const& section, toml::table const& table) {
        for (auto const& [key, node] : table) {
            auto const known = std::find_if(std::begin(knownValues), std::end(knownValues),
                                            [&section, name = key.str()](auto const& value) {
                                                return section == value.table && name == value.key;
                                            });
            if (known == std::end(knownValues)) {
                unknown(key, keysOf(section));
            }
            configuration.values[{"/current//" + section, std::string(key.str())}] =
                known->kind == Kind::text ? storedText(node) : Store::Value(byteAt(node));
        }
    }

    Store::Value storedText(toml::node const& node) const {
        std::string const text = textAt(node);
        std::string const fault = Store::textFault(text);
        if (!fault.empty()) {
            fail(node.source(), fault);
        }
        return text;
    }

    void readBoards(toml::table const& table) {
        for (auto const& [key, node] : table) {
            std::uint32_t const ip = ipAt(key.source(), std::string(key.str()));
            unsigned char const sid = byteAt(node);
            checkSid(node.source(), sid);
            configuration.boards[ip] = sid;
        }
    }

    /** Two on one IMC address would receive each other's messages. */
    void checkSid(toml::source_region const& where, unsigned char sid) const {
        if (sid == ownSid) {
            fail(where, sidText(sid) + " is this process's own IMC address");
        }
        for (auto const& [ip, taken] : configuration.boards) {
            if (sid == taken) {
                fail(where, sidText(sid) + " is the IMC address of board " +
                                std::string(IPAddress(ip)) + " too");
            }
        }
    }

    void readInterfaces(toml::table const& table) {
        for (auto const& [key, node] : table) {
            configuration.interfaces[std::string(key.str())] = ipAt(node.source(), textAt(node));
        }
    }

    void readNoteworthyValues(toml::table const& table) {
        for (auto const& [key, node] : table) {
            std::string_view const digits = key.str();
            int number = 0;
            auto const [end, error] =
                std::from_chars(digits.data(), digits.data() + digits.size(), number);
            if (error != std::errc() || end != digits.data() + digits.size()) {
                unknown(key, "the number of a noteworthy value");
            }
            if (!configuration.noteworthyValues.emplace(number, byteAt(node)).second) {
                fail(key.source(), "noteworthy value " + std::to_string(number) + " stands twice");
            }
        }
    }

    std::string const& name;
    unsigned char const ownSid;
    Configuration configuration;
};

} // namespace

Configuration parseConfiguration(std::string const& text, std::string const& name,
                                 unsigned char ownSid) {
    return Reader(name, ownSid).read(text);
}

} // namespace host
