#ifndef GATEWAY_SECTION_H
#define GATEWAY_SECTION_H

#include "gateway/CallFileError.h"
#include "gateway/ChannelFields.h"

#include <toml++/toml.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

Position positionOf(toml::source_region const& region);

/** A text and where it stands. */
struct PlacedText {
    std::string text;
    Position position;
};

/**
 * A table of a call file whose keys are all known: reads them one by one, remembers which ones it
 * was asked for, and refuses the others. Every operation throws CallFileError for a value that is
 * not as it should be.
 */
class Section {
public:
    /**
     * @param toml stays valid as long as the section
     * @param what the table is, for error texts: "a step"
     */
    Section(toml::table const& toml, std::string file, std::string what);

    bool has(std::string const& key) const { return table.contains(key); }
    Position position() const { return positionOf(table.source()); }
    /** Where the value of the key stands. */
    Position position(std::string const& key) const;
    /** Where the key itself stands. */
    Position keyPosition(std::string const& key) const;
    std::string const& fileName() const { return file; }
    std::vector<std::string> keys() const;

    /** @name Values; nothing when the key is missing */
    /// @{
    std::optional<std::string> text(std::string const& key);
    std::optional<std::int64_t> number(std::string const& key, std::int64_t low, std::int64_t high);
    std::optional<bool> flag(std::string const& key);
    /** One text, or an array of texts. */
    std::optional<std::vector<PlacedText>> texts(std::string const& key);
    /** A value of the type that the field has. */
    std::optional<FieldValue> value(std::string const& key, FieldType const& type);
    std::optional<Section> section(std::string const& key, std::string const& what);
    /** Every table of an array of tables; empty when the key is missing. */
    std::vector<Section> sections(std::string const& key, std::string const& what);
    /// @}

    /** @name Values that must be there */
    /// @{
    std::string requiredText(std::string const& key);
    std::int64_t requiredNumber(std::string const& key, std::int64_t low, std::int64_t high);
    /// @}

    [[noreturn]] void failAt(std::string const& key, std::string const& text) const;
    [[noreturn]] void fail(std::string const& text) const;

    /** Refuses every key that was not asked for. */
    void finish() const;

private:
    toml::node const* find(std::string const& key);
    [[noreturn]] void failMissing(std::string const& key) const;
    [[noreturn]] void failUnknown(std::string const& key, Position where) const;

    toml::table const& table;
    std::string file;
    std::string what;
    std::vector<std::string> known;
};

} // namespace gateway

#endif
