#include "gateway/ChannelFields.h"

#include "gateway/Text.h"

#include "MC_Manager.h"
#include "address/IPAddress.h"
#include "debug/DBG_Output.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <stdexcept>
#include <type_traits>

namespace gateway {

namespace {

using Names = std::vector<std::string>;

std::string const noAddress = "-";

std::int64_t numberOf(FieldValue const& value) {
    return std::get<std::int64_t>(value);
}

std::string const& textOf(FieldValue const& value) {
    return std::get<std::string>(value);
}

std::string quotedList(Names const& names) {
    return joined(names, [](std::string const& name) { return "\"" + name + "\""; });
}

FieldType flag() {
    return {"true or false",
            [](WrittenValue const& written) -> std::optional<FieldValue> {
                bool const* const value = std::get_if<bool>(&written);
                return value ? std::optional<FieldValue>(std::int64_t{*value}) : std::nullopt;
            },
            [](FieldValue const& value) { return numberOf(value) != 0 ? "true" : "false"; }};
}

template <typename Number>
FieldType number() {
    constexpr std::int64_t low = std::numeric_limits<Number>::min();
    constexpr std::int64_t high = std::numeric_limits<Number>::max();
    return {"a number from " + std::to_string(low) + " to " + std::to_string(high),
            [](WrittenValue const& written) -> std::optional<FieldValue> {
                std::int64_t const* const value = std::get_if<std::int64_t>(&written);
                return value && low <= *value && *value <= high ? std::optional<FieldValue>(*value)
                                                                : std::nullopt;
            },
            [](FieldValue const& value) { return std::to_string(numberOf(value)); }};
}

/** A number that may be given by its name; `names` holds the names from 0 up. */
template <typename Number>
FieldType named(Names const& names) {
    FieldType const plain = number<Number>();
    auto const parse = [names, plain](WrittenValue const& written) -> std::optional<FieldValue> {
        std::string const* const name = std::get_if<std::string>(&written);
        if (name == nullptr) {
            return plain.parse(written);
        }
        auto const found = std::find(names.begin(), names.end(), *name);
        return found == names.end() ? std::nullopt
                                    : std::optional<FieldValue>(found - names.begin());
    };
    auto const text = [names, plain](FieldValue const& value) {
        auto const index = static_cast<std::size_t>(numberOf(value));
        return index < names.size() ? names[index] : plain.text(value);
    };
    std::string const otherwise = sizeof(Number) == 1 ? plain.expected : "its number";
    return {"one of " + quotedList(names) + ", or " + otherwise, parse, text};
}

Names namesOf(std::string const* table, int size) {
    return Names(table, table + size);
}

std::optional<std::string> addressText(std::string const& text) {
    try {
        return text == noAddress ? noAddress : std::string(IPAddress(text));
    } catch (std::invalid_argument const&) {
        return std::nullopt;
    }
}

std::string addressText(INetAddress const* address) {
    return address == nullptr ? noAddress : std::string(*address);
}

/** Null for the text of no address. */
std::unique_ptr<INetAddress> makeAddress(std::string const& text) {
    return text == noAddress ? nullptr : std::make_unique<IPAddress>(text);
}

FieldType address() {
    return {"an IPv4 address such as \"10.0.0.1\", or \"-\" for none",
            [](WrittenValue const& written) -> std::optional<FieldValue> {
                std::string const* const text = std::get_if<std::string>(&written);
                return text ? std::optional<FieldValue>(addressText(*text)) : std::nullopt;
            },
            textOf};
}

/** The board of a channel can be changed, but not taken away. */
FieldType boardAddress() {
    FieldType type = address();
    type.expected = "an IPv4 address such as \"10.0.0.1\"";
    type.parse = [parseAny = type.parse](WrittenValue const& written) {
        std::optional<FieldValue> const value = parseAny(written);
        return value && textOf(*value) == noAddress ? std::nullopt : value;
    };
    return type;
}

struct EndPoint {
    std::string address;
    unsigned short port;
};

std::optional<unsigned short> portOf(std::string const& text) {
    bool const digits =
        !text.empty() && text.size() <= 5 &&
        std::all_of(text.begin(), text.end(), [](char each) { return each >= '0' && each <= '9'; });
    unsigned long const port = digits ? std::stoul(text) : 65536;
    return port < 65536 ? std::optional<unsigned short>(static_cast<unsigned short>(port))
                        : std::nullopt;
}

std::optional<EndPoint> endPointOf(std::string const& text) {
    std::string::size_type const colon = text.find(':');
    if (colon == std::string::npos) {
        return std::nullopt;
    }
    auto const ip = addressText(text.substr(0, colon));
    auto const port = portOf(text.substr(colon + 1));
    return ip && port ? std::optional<EndPoint>(EndPoint{*ip, *port}) : std::nullopt;
}

FieldType endPoint() {
    return {"an address and a port such as \"10.0.0.1:4000\", or \"-:0\" for none",
            [](WrittenValue const& written) -> std::optional<FieldValue> {
                std::string const* const text = std::get_if<std::string>(&written);
                auto const value = text ? endPointOf(*text) : std::nullopt;
                return value ? std::optional<FieldValue>(value->address + ":" +
                                                         std::to_string(value->port))
                             : std::nullopt;
            },
            textOf};
}

template <typename Member, typename Owner>
ChannelField readOnly(char const* name, FieldType const& type, Member Owner::*member) {
    return {name, type, nullptr, [member](MC_Channel const& channel) {
                return FieldValue(static_cast<std::int64_t>(channel.*member));
            }};
}

template <typename Member>
ChannelField field(char const* name, FieldType const& type, Member MC_Channel::*member) {
    ChannelField result = readOnly(name, type, member);
    result.set = [member](MC_Manager&, MC_Channel& channel, FieldValue const& value) {
        channel.*member = static_cast<Member>(numberOf(value));
    };
    return result;
}

ChannelField field(char const* name, UDPAddr MC_Channel::*member) {
    return {name, endPoint(),
            [member](MC_Manager&, MC_Channel& channel, FieldValue const& value) {
                EndPoint const wanted = endPointOf(textOf(value)).value();
                (channel.*member).Set(makeAddress(wanted.address).get(), wanted.port);
            },
            [member](MC_Channel const& channel) {
                UDPAddr const& value = channel.*member;
                return FieldValue(addressText(value.GetINetAddress()) + ":" +
                                  std::to_string(value.GetPort()));
            }};
}

ChannelField joinIp() {
    return {"joinIp", address(),
            [](MC_Manager&, MC_Channel& channel, FieldValue const& value) {
                auto wanted = makeAddress(textOf(value));
                delete channel.joinIp;
                channel.joinIp = wanted.release();
            },
            [](MC_Channel const& channel) { return FieldValue(addressText(channel.joinIp)); }};
}

ChannelField mediaGateway() {
    return {
        "mediaGateway", boardAddress(),
        [](MC_Manager& manager, MC_Channel& channel, FieldValue const& value) {
            manager.setMediaGateway(&channel, makeAddress(textOf(value)).get());
        },
        [](MC_Channel const& channel) { return FieldValue(addressText(channel.mediaGateway)); }};
}

std::vector<ChannelField> makeChannelFields() {
    FieldType const byte = number<std::uint8_t>();
    FieldType const word = number<std::int32_t>();
    FieldType const state =
        named<std::int32_t>(namesOf(MC_Channel::stateToStr, MC_Channel::stateToStrMAX));
    FieldType const direction =
        named<std::int32_t>(namesOf(DBG_Output::directionToStr, DBG_Output::directionToStrMAX));
    FieldType const codec =
        named<std::int32_t>(namesOf(DBG_Output::codecToStr, DBG_Output::codecToStrMAX));
    FieldType const noSignal = namedNumber({"none", "no-signal", "cng"});
    FieldType const transport = named<std::int32_t>({"none", "udp", "tcp"});
    return {
        readOnly("referenceCount", number<std::uint32_t>(), &MC_Channel::referenceCount),
        readOnly("state", state, &MC_Channel::state),
        field("channelMode", word, &MC_Channel::channelMode),
        field("direction", direction, &MC_Channel::direction),
        readOnly("voiceOpen", flag(), &MC_Channel::voiceOpen),
        readOnly("faxOpen", flag(), &MC_Channel::faxOpen),
        field("vad", flag(), &MC_Channel::vad),
        field("faxDetection", flag(), &MC_Channel::faxDetection),
        field("sendCed", flag(), &MC_Channel::sendCed),
        field("sendNoSignal", noSignal, &MC_Channel::sendNoSignal),
        field("calledSide", flag(), &MC_Channel::calledSide),
        field("minFraming", word, &MC_Channel::minFraming),
        field("maxFraming", word, &MC_Channel::maxFraming),
        field("dsp", byte, &MC_Channel::dsp),
        field("rtcpLocal", &MC_Channel::rtcpLocal),
        field("rtcpRemote", &MC_Channel::rtcpRemote),
        field("rtpLocal", &MC_Channel::rtpLocal),
        field("rtpRemote", &MC_Channel::rtpRemote),
        field("codec", codec, &MC_Channel::codec),
        joinIp(),
        field("joinDsp", byte, &MC_Channel::joinDsp),
        mediaGateway(),
        readOnly("sid", byte, &MC_Channel::sid),
        field("faxRedundancy", word, &MC_Channel::faxRedundancy),
        field("faxDepth", word, &MC_Channel::faxDepth),
        field("faxTransport", transport, &MC_Channel::faxTransport),
        field("rtpDtmfPayloadType", byte, &MC_Channel::rtpDtmfPayloadType),
        field("rtpRedundancyPayloadType", byte, &MC_Channel::rtpRedundancyPayloadType),
        field("inboundVoiceParam1", byte, &MC_Channel::inboundVoiceParam1),
        field("inboundVoiceParam2", byte, &MC_Channel::inboundVoiceParam2),
    };
}

} // namespace

FieldType namedNumber(std::vector<std::string> const& names) {
    return named<std::uint8_t>(names);
}

std::vector<ChannelField> const& channelFields() {
    static std::vector<ChannelField> const fields = makeChannelFields();
    return fields;
}

std::string wrongValue(std::string const& name, std::string const& shown,
                       std::string const& expected) {
    return name + " is " + shown + ": expected " + expected;
}

std::string shown(WrittenValue const& value) {
    if (auto const* const text = std::get_if<std::string>(&value)) {
        return "\"" + *text + "\"";
    }
    if (auto const* const number = std::get_if<std::int64_t>(&value)) {
        return std::to_string(*number);
    }
    return std::get<bool>(value) ? "true" : "false";
}

ChannelField const* findChannelField(std::string const& name) {
    auto const& fields = channelFields();
    auto const found = std::find_if(fields.begin(), fields.end(),
                                    [&name](ChannelField const& any) { return any.name == name; });
    return found == fields.end() ? nullptr : &*found;
}

} // namespace gateway
