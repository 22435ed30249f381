#ifndef GATEWAY_CHANNELFIELDS_H
#define GATEWAY_CHANNELFIELDS_H

#include "MC_Channel.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

class MC_Manager;

namespace gateway {

/** A value as a call file writes it. */
using WrittenValue = std::variant<bool, std::int64_t, std::string>;

/** A value of a channel's field: numbers, flags and names as a number, addresses as their text. */
using FieldValue = std::variant<std::int64_t, std::string>;

/** What the values of a field look like in a call file. */
struct FieldType {
    /** What may stand there, for an error text: "a number from 0 to 255". */
    std::string expected;
    /** Nothing when the written value is none of this type. */
    std::function<std::optional<FieldValue>(WrittenValue const&)> parse;
    /** A value as a person reads it. */
    std::function<std::string(FieldValue const&)> text;
};

/** A number from 0 to 255 that may be given by its name; `names` holds the names from 0 up. */
FieldType namedNumber(std::vector<std::string> const& names);

/** A field of MC_Channel, under the library's own name. */
struct ChannelField {
    std::string name;
    FieldType type;
    /** Empty for a field that the library keeps and a client only reads. */
    std::function<void(MC_Manager&, MC_Channel&, FieldValue const&)> set;
    std::function<FieldValue(MC_Channel const&)> get;
};

/** Every field that a call file may set or expect, in the order of the record. */
std::vector<ChannelField> const& channelFields();

/** "dsp is 300: expected a number from 0 to 255". */
std::string wrongValue(std::string const& name, std::string const& shown,
                       std::string const& expected);

/** A value as an error text shows it. */
std::string shown(WrittenValue const& value);

/** @return null when there is no such field */
ChannelField const* findChannelField(std::string const& name);

} // namespace gateway

#endif
