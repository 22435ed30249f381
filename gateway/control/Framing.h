#ifndef GATEWAY_CONTROL_FRAMING_H
#define GATEWAY_CONTROL_FRAMING_H

#include <nlohmann/json.hpp>

#include <cstddef>
#include <optional>
#include <string>

namespace gateway {

/** Characters of a line on a control socket, either way, its end not counted. */
constexpr std::size_t longestControlLine = std::size_t{1024} * 1024;

/** The object as a line; bytes that are no UTF-8 become U+FFFD. */
std::string controlLine(nlohmann::ordered_json const& object);

/** Takes bytes as they come, and gives whole lines. Never holds more than a line may have. */
class LineReader {
public:
    struct Line {
        std::string text{};
        /** It had more than it may have; its text is lost. */
        bool isTooLong = false;
    };

    void add(char const* bytes, std::size_t count);

    /** The next line, without its end; nothing until more is added. */
    std::optional<Line> next();

    /** What was added last did not end its line; of a line that was too long, nothing is left. */
    std::string rest() const { return buffer.substr(begin); }

private:
    std::optional<Line> unfinished();

    std::string buffer;
    /** Where the next line begins. */
    std::size_t begin = 0;
    /** Up to here is no end of a line. */
    std::size_t searched = 0;
    /** Of a line that was too long, the end has not come yet. */
    bool isSkipping = false;
};

} // namespace gateway

#endif
