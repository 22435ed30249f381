#include "gateway/control/Framing.h"

namespace gateway {

std::string controlLine(nlohmann::ordered_json const& object) {
    return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

void LineReader::add(char const* bytes, std::size_t count) {
    buffer.erase(0, begin);
    searched -= begin;
    begin = 0;
    buffer.append(bytes, count);
}

std::optional<LineReader::Line> LineReader::next() {
    auto const end = buffer.find('\n', searched);
    if (end == std::string::npos) {
        return unfinished();
    }
    std::size_t const size = end - begin;
    Line line;
    bool const isRestOfSkipped = isSkipping;
    line.isTooLong = size > longestControlLine;
    if (!isRestOfSkipped && !line.isTooLong) {
        line.text = buffer.substr(begin, size);
    }
    begin = searched = end + 1;
    isSkipping = false;
    return isRestOfSkipped ? next() : line;
}

std::optional<LineReader::Line> LineReader::unfinished() {
    searched = buffer.size();
    bool const isTooLong = !isSkipping && buffer.size() - begin > longestControlLine;
    if (isSkipping || isTooLong) {
        isSkipping = true;
        buffer.clear();
        begin = searched = 0;
    }
    return isTooLong ? std::optional<Line>(Line{"", true}) : std::nullopt;
}

} // namespace gateway
