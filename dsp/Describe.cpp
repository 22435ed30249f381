#include "dsp/Board.h"
#include "dsp/Cause.h"
#include "dsp/Commands.h"
#include "dsp/Events.h"
#include "dsp/Service.h"
#include "dsp/Spelling.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>

namespace dsp {

namespace {

/** More of a payload that can't be read as fields does not help a person. */
std::size_t const longestDump = 36;

using List = std::vector<Field>;

std::string hexadecimal(std::uint8_t byte) {
    static char const digits[] = "0123456789abcdef";
    return {digits[byte >> 4U], digits[byte & 0xFU]};
}

std::string ipv4(std::uint8_t const* bytes) {
    return std::to_string(bytes[0]) + "." + std::to_string(bytes[1]) + "." +
           std::to_string(bytes[2]) + "." + std::to_string(bytes[3]);
}

/** An address, in brackets when it has colons of its own. */
std::string addressText(Address const& address) {
    Address mapped{};
    mapped[10] = mapped[11] = 0xFF;
    if (std::equal(address.begin(), address.begin() + 12, mapped.begin())) {
        return ipv4(address.data() + 12);
    }
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(AF_INET6, address.data(), text, sizeof text);
    return std::string("[") + text + "]";
}

std::string addressText(std::uint32_t address) {
    std::uint8_t const bytes[] = {
        static_cast<std::uint8_t>(address >> 24U), static_cast<std::uint8_t>(address >> 16U),
        static_cast<std::uint8_t>(address >> 8U), static_cast<std::uint8_t>(address)};
    return ipv4(bytes);
}

template <typename SomeAddress>
Field remote(SomeAddress const& address, unsigned port) {
    return field("remote", addressText(address) + ":" + std::to_string(port));
}

/** The fields of a command or event as texts. */
class Printer {
public:
    List list;

    template <typename Number>
    void number(char const* name, Number value) {
        add(name, std::to_string(value));
    }

    void protocol(char const* name, unsigned number) {
        add(name, number == 17 ? "UDP" : number == 6 ? "TCP" : std::to_string(number));
    }

    template <typename SomeAddress>
    void endpoint(char const* name, SomeAddress const& address, unsigned port) {
        add(name, addressText(address) + ":" + std::to_string(port));
    }

    void address(char const* name, Address const& value) { add(name, addressText(value)); }

    void range(char const* name, unsigned minimum, unsigned maximum) {
        add(name, std::to_string(minimum) + ".." + std::to_string(maximum));
    }

    void milliseconds(char const* name, unsigned value) { add(name, std::to_string(value) + "ms"); }

    void error(char const* name, std::uint8_t value) {
        char const* const words = errorName(value);
        add(name, std::to_string(value), value != 0 && words != nullptr ? words : "");
    }

    void text(char const* name, std::string const& value) { add(name, value); }

private:
    void add(char const* name, std::string const& value, std::string const& remark = "") {
        list.push_back({name, value, remark});
    }
};

template <typename Message>
List fieldsOf(Message const& message) {
    return std::visit(
        [](auto any) {
            Printer printer;
            spell(printer, any);
            return printer.list;
        },
        message);
}

std::string payloadText(imc_msg const& message) {
    std::size_t const shown = std::min<std::size_t>(message.length, longestDump);
    std::string text = " length=" + std::to_string(message.length) + " payload:";
    std::for_each(message.payload, message.payload + shown,
                  [&text](std::uint8_t byte) { text += " " + hexadecimal(byte); });
    return shown < message.length ? text + " ..." : text;
}

Description malformed(Kind const& kind, imc_msg const& message) {
    return {title(kind) + " malformed",
            {},
            ": length is not " + std::to_string(kind.length) + ":" + payloadText(message)};
}

Description commandFields(CommandKind const& kind, imc_msg const& message) {
    auto const decoded = decodeCommand(kind, message);
    if (!decoded) {
        return malformed(kind, message);
    }
    Description description = {title(kind), fieldsOf(decoded->command)};
    if (decoded->nonzeroReserved) {
        description.remark =
            " (byte " + std::to_string(*decoded->nonzeroReserved) + " is not zero)";
    }
    return description;
}

Description malformedService(imc_msg const& message) {
    return {
        std::string(serviceName(message.messageId)) + " malformed", {}, ":" + payloadText(message)};
}

Description requestFields(imc_msg const& message) {
    auto const tag = decodeAuditRequest(message);
    if (!tag) {
        return malformedService(message);
    }
    Printer printer;
    printer.number("tag", *tag);
    return {serviceName(message.messageId), printer.list};
}

unsigned openPaths(std::vector<PathState> const& paths) {
    return static_cast<unsigned>(std::count_if(paths.begin(), paths.end(), [](auto const& path) {
        return path.voiceOpen || path.faxOpen;
    }));
}

std::string hexadecimal(std::uint64_t value) {
    std::string text = "0x";
    for (unsigned shift = 64; shift != 0; shift -= 8) {
        text += hexadecimal(static_cast<std::uint8_t>(value >> (shift - 8)));
    }
    return text;
}

Description answerFields(imc_msg const& message) {
    auto const answer = decodeAuditAnswer(message);
    if (!answer) {
        return malformedService(message);
    }
    Printer printer;
    printer.number("tag", answer->tag);
    printer.text("incarnation", hexadecimal(answer->incarnation));
    printer.number("channels", answer->in.size());
    printer.number("open", openPaths(answer->in) + openPaths(answer->out));
    return {serviceName(message.messageId), printer.list};
}

std::string textOf(Direction value) {
    bool const isOne = value == Direction::in || value == Direction::out;
    return isOne ? directionName(value) : std::to_string(static_cast<int>(value));
}

void spellValues(Printer& printer, Order const& order) {
    switch (order.kind) {
    case Order::Kind::dtmf:
        printer.text("direction", textOf(order.direction));
        printer.number("digit", order.value8);
        printer.milliseconds("duration", order.value32);
        return;
    case Order::Kind::faxTone:
        return;
    case Order::Kind::alert:
        printer.text("direction", textOf(order.direction));
        printer.number("value", order.value32);
        return;
    case Order::Kind::failNext:
        printer.error("error", order.value8);
        return;
    }
    printer.number("kind", static_cast<unsigned>(order.kind));
}

Description orderFields(imc_msg const& message) {
    auto const order = decodeOrder(message);
    if (!order) {
        return malformedService(message);
    }
    char const* const name = orderName(order->kind);
    Printer printer;
    printer.number("dsp", order->dsp);
    spellValues(printer, *order);
    return {serviceName(message.messageId) + (name == nullptr ? "" : std::string(" ") + name),
            printer.list};
}

Description serviceFields(imc_msg const& message) {
    switch (static_cast<Service>(std::uint32_t{message.messageId})) {
    case Service::auditRequest:
        return requestFields(message);
    case Service::auditAnswer:
        return answerFields(message);
    case Service::order:
        break;
    }
    return orderFields(message);
}

} // namespace

Description fields(imc_msg const& message) {
    if (CommandKind const* const kind = findCommand(message.messageId)) {
        return commandFields(*kind, message);
    }
    if (Kind const* const kind = findEvent(message.messageId)) {
        auto const event = decodeEvent(message);
        return event ? Description{title(*kind), fieldsOf(*event)} : malformed(*kind, message);
    }
    if (serviceName(message.messageId) != nullptr) {
        return serviceFields(message);
    }
    return {"unknown message " + std::to_string(std::uint32_t{message.messageId}),
            {},
            ":" + payloadText(message)};
}

std::string textOf(std::vector<Field> const& list) {
    std::string text;
    for (Field const& each : list) {
        text += " " + each.name + "=" + each.value;
        text += each.remark.empty() ? "" : "(" + each.remark + ")";
    }
    return text;
}

std::string describe(imc_msg const& message) {
    Description const description = fields(message);
    return description.name + textOf(description.fields) + description.remark;
}

} // namespace dsp
