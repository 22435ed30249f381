#ifndef GATEWAY_CONTROL_TYPEDLINES_H
#define GATEWAY_CONTROL_TYPEDLINES_H

#include <cstddef>
#include <string>
#include <vector>

namespace gateway {

/**
 * The lines that were typed at consoles, kept in a file. Each is added as soon as it was typed, so
 * that consoles beside each other lose none. What goes wrong with the file is no reason to end a
 * console: the lines are then kept as long as the object.
 */
class TypedLines {
public:
    /** So many are read back. */
    static constexpr std::size_t most = 1000;

    /** @param path empty for none */
    explicit TypedLines(std::string const& path);

    /** Those of before, the oldest first. */
    std::vector<std::string> const& lines() const { return kept; }

    /** Unless it is blank, or the one before. */
    void add(std::string const& line);

    /** Why the lines are not in the file; empty when they are. */
    std::string const& fault() const { return why; }

    /** Of this user; empty when the environment tells no place for it. */
    static std::string defaultPath();

private:
    void load();
    void rewrite();
    void append(std::string const& line);

    std::string path;
    std::vector<std::string> kept;
    std::string why;
};

} // namespace gateway

#endif
