#include "dsp/Encode.h"

#include "dsp/Commands.h"
#include "dsp/Events.h"
#include "dsp/Layouts.h"
#include "dsp/Shown.h"
#include "dsp/Spelling.h"
#include "dsp/Writer.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <stdexcept>
#include <utility>
#include <variant>

namespace dsp {

namespace {

using Fields = std::vector<Field>;
using Names = std::vector<std::string>;

std::string listOf(Names const& names) {
    std::string text;
    for (std::string const& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

[[noreturn]] void refuse(char const* name, std::string const& value, std::string const& expected) {
    throw std::invalid_argument("bad value \"" + shown(value) + "\" of " + name + ": expected " +
                                expected);
}

/** @return nothing for a text that is no number up to `most` */
std::optional<std::uint32_t> parseNumber(std::string const& text, std::uint32_t most) {
    bool const isHex = text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0;
    char const* const begin = text.data() + (isHex ? 2 : 0);
    char const* const end = text.data() + text.size();
    std::uint32_t value = 0;
    auto const [last, fault] = std::from_chars(begin, end, value, isHex ? 16 : 10);
    bool const isNumber = fault == std::errc() && last == end && begin != end && value <= most;
    return isNumber ? std::optional<std::uint32_t>(value) : std::nullopt;
}

/** @return nothing for a text that is no address */
std::optional<Address> parseAddress(std::string const& text) {
    Address address{};
    if (text.size() > 2 && text.front() == '[' && text.back() == ']') {
        std::string const inner = text.substr(1, text.size() - 2);
        bool const isGood = inet_pton(AF_INET6, inner.c_str(), address.data()) == 1;
        return isGood ? std::optional<Address>(address) : std::nullopt;
    }
    address[10] = address[11] = 0xFF;
    bool const isGood = inet_pton(AF_INET, text.c_str(), address.data() + 12) == 1;
    return isGood ? std::optional<Address>(address) : std::nullopt;
}

/** Takes the fields of a text into a command or event. Fields that are not there are left alone. */
class Parser {
public:
    explicit Parser(Fields const& from) : given(from) {}

    template <typename Number>
    void number(char const* name, Number& to) {
        if (Field const* const field = find(name)) {
            to = parsed<Number>(name, field->value, field->value,
                                "a number from 0 to " + mostOf<Number>());
        }
    }

    void protocol(char const* name, std::uint8_t& to) {
        Field const* const field = find(name);
        if (field != nullptr && (field->value == "UDP" || field->value == "TCP")) {
            to = field->value == "UDP" ? 17 : 6;
        } else if (field != nullptr) {
            to = parsed<std::uint8_t>(name, field->value, field->value,
                                      "UDP, TCP or a number from 0 to 255");
        }
    }

    void endpoint(char const* name, Address& to, std::uint16_t& port) {
        char const* const expected = "ADDRESS:PORT, such as 10.0.0.1:4000 or [2001:db8::1]:4000";
        if (auto const parts = split(name, ":", expected)) {
            to = addressIn(name, parts->first, expected);
            port = parsed<std::uint16_t>(name, parts->second, find(name)->value, expected);
        }
    }

    void endpoint(char const* name, std::uint32_t& to, std::uint16_t& port) {
        char const* const expected = "ADDRESS:PORT, such as 10.0.0.1:4000";
        if (auto const parts = split(name, ":", expected)) {
            in_addr address{};
            if (inet_pton(AF_INET, parts->first.c_str(), &address) != 1) {
                refuse(name, find(name)->value, expected);
            }
            to = ntohl(address.s_addr);
            port = parsed<std::uint16_t>(name, parts->second, find(name)->value, expected);
        }
    }

    void address(char const* name, Address& to) {
        if (Field const* const field = find(name)) {
            to = addressIn(name, field->value, "an address, such as 10.0.0.1 or [2001:db8::1]");
        }
    }

    void range(char const* name, std::uint16_t& minimum, std::uint16_t& maximum) {
        char const* const expected = "MINIMUM..MAXIMUM, such as 80..240";
        if (auto const parts = split(name, "..", expected)) {
            minimum = parsed<std::uint16_t>(name, parts->first, find(name)->value, expected);
            maximum = parsed<std::uint16_t>(name, parts->second, find(name)->value, expected);
        }
    }

    void milliseconds(char const* name, std::uint16_t& to) {
        if (Field const* const field = find(name)) {
            std::string const& text = field->value;
            bool const hasUnit = text.size() > 2 && text.compare(text.size() - 2, 2, "ms") == 0;
            to = parsed<std::uint16_t>(name, text.substr(0, text.size() - (hasUnit ? 2 : 0)), text,
                                       "milliseconds from 0 to 65535, such as 80ms");
        }
    }

    void error(char const* name, std::uint8_t& to) { number(name, to); }

private:
    using Parts = std::pair<std::string, std::string>;

    template <typename Number>
    static std::string mostOf() {
        return std::to_string(std::numeric_limits<Number>::max());
    }

    Field const* find(char const* name) const {
        auto const found = std::find_if(given.begin(), given.end(),
                                        [name](Field const& each) { return each.name == name; });
        return found == given.end() ? nullptr : &*found;
    }

    /** @param whole what is shown when it is bad */
    template <typename Number>
    static Number parsed(char const* name, std::string const& text, std::string const& whole,
                         std::string const& expected) {
        auto const value = parseNumber(text, std::numeric_limits<Number>::max());
        if (!value) {
            refuse(name, whole, expected);
        }
        return static_cast<Number>(*value);
    }

    Address addressIn(char const* name, std::string const& text, char const* expected) const {
        auto const address = parseAddress(text);
        if (!address) {
            refuse(name, find(name)->value, expected);
        }
        return *address;
    }

    /** The two sides of the last separator; nothing when the field is not there. */
    std::optional<Parts> split(char const* name, std::string const& separator,
                               char const* expected) const {
        Field const* const field = find(name);
        if (field == nullptr) {
            return std::nullopt;
        }
        auto const at = field->value.rfind(separator);
        if (at == std::string::npos) {
            refuse(name, field->value, expected);
        }
        return Parts(field->value.substr(0, at), field->value.substr(at + separator.size()));
    }

    Fields const& given;
};

Names namesOf(Fields const& fields) {
    Names names;
    for (Field const& field : fields) {
        names.push_back(field.name);
    }
    return names;
}

bool isAmong(Names const& names, std::string const& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

void requireOnce(Names const& given) {
    for (auto each = given.begin(); each != given.end(); ++each) {
        if (std::find(given.begin(), each, *each) != each) {
            throw std::invalid_argument(*each + " is given twice");
        }
    }
}

template <typename SomeKind>
void addEmpty(std::vector<SomeKind> const& kinds, std::string const& name,
              std::vector<imc_msg>& to) {
    for (SomeKind const& kind : kinds) {
        if (title(kind) == name) {
            imc_msg message{};
            message.length = kind.length;
            message.messageId = kind.identifier;
            to.push_back(message);
        }
    }
}

template <typename SomeKind>
void addTitles(std::vector<SomeKind> const& kinds, Names& to) {
    for (SomeKind const& kind : kinds) {
        to.push_back(title(kind));
    }
}

/** The message of the name with zeros in its fields; of set-parameter, one for each shape. */
std::vector<imc_msg> emptyMessages(std::string const& name) {
    std::vector<imc_msg> messages;
    addEmpty(commandKinds(), name, messages);
    addEmpty(eventKinds(), name, messages);
    if (messages.empty()) {
        Names titles;
        addTitles(commandKinds(), titles);
        addTitles(eventKinds(), titles);
        throw std::invalid_argument("unknown message \"" + shown(name) + "\": expected one of " +
                                    listOf(titles));
    }
    if (name == "SetParameter") {
        // The first one has a code that no board knows, and takes any.
        for (std::uint8_t code = 2; code <= 5; ++code) {
            messages.push_back(messages.front());
            messages.back().payload[1] = code;
        }
    }
    return messages;
}

/** The message that has all the fields. */
imc_msg chosen(std::vector<imc_msg> const& messages, Names const& given) {
    Names all;
    for (imc_msg const& message : messages) {
        Names const names = namesOf(fields(message).fields);
        if (std::all_of(given.begin(), given.end(),
                        [&names](std::string const& each) { return isAmong(names, each); })) {
            return message;
        }
        std::copy_if(names.begin(), names.end(), std::back_inserter(all),
                     [&all](std::string const& each) { return !isAmong(all, each); });
    }
    for (std::string const& each : given) {
        if (!isAmong(all, each)) {
            throw std::invalid_argument("unknown field \"" + shown(each) + "\": expected one of " +
                                        listOf(all));
        }
    }
    Names parameters;
    std::copy_if(given.begin(), given.end(), std::back_inserter(parameters),
                 [](std::string const& each) { return each != "dsp"; });
    throw std::invalid_argument("it takes one parameter, not " + listOf(parameters));
}

template <typename Message>
void fill(imc_msg& to, Message const& empty, Fields const& fields) {
    std::visit(
        [&](auto any) {
            Parser parser(fields);
            spell(parser, any);
            Writer writer(to);
            walk(writer, any);
        },
        empty);
}

imc_msg filled(std::vector<imc_msg> const& messages, Fields const& fields) {
    Names const given = namesOf(fields);
    requireOnce(given);
    imc_msg message = chosen(messages, given);
    if (CommandKind const* const kind = findCommand(message.messageId)) {
        fill(message, decodeCommand(*kind, message)->command, fields);
    } else {
        fill(message, *decodeEvent(message), fields);
    }
    return message;
}

} // namespace

imc_msg encode(std::string const& name, std::vector<Field> const& fields) {
    std::vector<imc_msg> const messages = emptyMessages(name);
    try {
        return filled(messages, fields);
    } catch (std::invalid_argument const& error) {
        throw std::invalid_argument(name + ": " + error.what());
    }
}

} // namespace dsp
