#include "gateway/Section.h"

#include "gateway/Text.h"

#include <algorithm>
#include <utility>

namespace gateway {

namespace {

std::string numberRange(std::int64_t low, std::int64_t high) {
    return "a number from " + std::to_string(low) + " to " + std::to_string(high);
}

std::optional<WrittenValue> writtenValue(toml::node const& node) {
    if (auto const text = node.value_exact<std::string>()) {
        return *text;
    }
    if (auto const number = node.value_exact<std::int64_t>()) {
        return *number;
    }
    if (auto const flag = node.value_exact<bool>()) {
        return *flag;
    }
    return std::nullopt;
}

/** A value as an error text shows it. */
std::string shown(toml::node const& node) {
    if (auto const value = writtenValue(node)) {
        return gateway::shown(*value);
    }
    switch (node.type()) {
    case toml::node_type::table:
        return "a table";
    case toml::node_type::array:
        return "an array";
    case toml::node_type::floating_point:
        return "a number with a fraction";
    default:
        return "a date or a time";
    }
}

[[noreturn]] void failValue(std::string const& file, toml::node const& node, std::string const& key,
                            std::string const& expected) {
    fail(file, positionOf(node.source()), wrongValue(key, shown(node), expected));
}

} // namespace

Position positionOf(toml::source_region const& region) {
    return {region.begin.line, region.begin.column};
}

Section::Section(toml::table const& toml, std::string fileName, std::string whatItIs)
    : table(toml), file(std::move(fileName)), what(std::move(whatItIs)) {}

toml::node const* Section::find(std::string const& key) {
    if (std::find(known.begin(), known.end(), key) == known.end()) {
        known.push_back(key);
    }
    return table.get(key);
}

Position Section::keyPosition(std::string const& key) const {
    auto const found = table.find(key);
    return found == table.end() ? position() : positionOf(found->first.source());
}

Position Section::position(std::string const& key) const {
    toml::node const* const node = table.get(key);
    return node == nullptr ? position() : positionOf(node->source());
}

std::vector<std::string> Section::keys() const {
    std::vector<std::string> all;
    for (auto const& [key, value] : table) {
        all.emplace_back(key.str());
    }
    return all;
}

std::optional<std::string> Section::text(std::string const& key) {
    toml::node const* const node = find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    auto value = node->value_exact<std::string>();
    if (!value) {
        failValue(file, *node, key, "a text in quotation marks");
    }
    return value;
}

std::optional<std::int64_t> Section::number(std::string const& key, std::int64_t low,
                                            std::int64_t high) {
    toml::node const* const node = find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    auto const value = node->value_exact<std::int64_t>();
    if (!value || *value < low || *value > high) {
        failValue(file, *node, key, numberRange(low, high));
    }
    return value;
}

std::optional<bool> Section::flag(std::string const& key) {
    toml::node const* const node = find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    auto const value = node->value_exact<bool>();
    if (!value) {
        failValue(file, *node, key, "true or false");
    }
    return value;
}

std::optional<std::vector<PlacedText>> Section::texts(std::string const& key) {
    toml::node const* const node = find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    std::vector<PlacedText> all;
    auto const take = [&](toml::node const& each) {
        auto const value = each.value_exact<std::string>();
        if (!value) {
            failValue(file, each, key, "a text in quotation marks, or an array of such texts");
        }
        all.push_back({*value, positionOf(each.source())});
    };
    if (toml::array const* const array = node->as_array()) {
        std::for_each(array->begin(), array->end(), take);
    } else {
        take(*node);
    }
    return all;
}

std::optional<FieldValue> Section::value(std::string const& key, FieldType const& type) {
    toml::node const* const node = find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    auto const written = writtenValue(*node);
    auto parsed = written ? type.parse(*written) : std::nullopt;
    if (!parsed) {
        failValue(file, *node, key, type.expected);
    }
    return parsed;
}

std::optional<Section> Section::section(std::string const& key, std::string const& whatItIs) {
    toml::node const* const node = find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    toml::table const* const inner = node->as_table();
    if (inner == nullptr) {
        failValue(file, *node, key, "a table");
    }
    return Section(*inner, file, whatItIs);
}

std::vector<Section> Section::sections(std::string const& key, std::string const& whatItIs) {
    toml::node const* const node = find(key);
    if (node == nullptr) {
        return {};
    }
    std::string const expected = "tables that begin with [[" + key + "]]";
    toml::array const* const array = node->as_array();
    if (array == nullptr) {
        failValue(file, *node, key, expected);
    }
    std::vector<Section> all;
    for (toml::node const& each : *array) {
        if (!each.is_table()) {
            failValue(file, each, key, expected);
        }
        all.emplace_back(*each.as_table(), file, whatItIs);
    }
    return all;
}

std::string Section::requiredText(std::string const& key) {
    auto const value = text(key);
    if (!value) {
        failMissing(key);
    }
    return *value;
}

std::int64_t Section::requiredNumber(std::string const& key, std::int64_t low, std::int64_t high) {
    auto const value = number(key, low, high);
    if (!value) {
        failMissing(key);
    }
    return *value;
}

void Section::failAt(std::string const& key, std::string const& message) const {
    gateway::fail(file, position(key), message);
}

void Section::fail(std::string const& message) const {
    gateway::fail(file, position(), message);
}

void Section::failMissing(std::string const& key) const {
    fail("\"" + key + "\" is missing in " + what);
}

void Section::failUnknown(std::string const& key, Position where) const {
    gateway::fail(file, where,
                  "unknown key \"" + key + "\" in " + what + ": expected one of " + joined(known));
}

void Section::finish() const {
    for (auto const& [key, value] : table) {
        std::string const name(key.str());
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            failUnknown(name, positionOf(key.source()));
        }
    }
}

} // namespace gateway
