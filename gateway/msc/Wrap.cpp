#include "gateway/msc/Wrap.h"

namespace gateway {

namespace {

/** Where the text may be broken next; the end of the text when nowhere. */
std::string::size_type nextBreak(std::string const& text, std::string::size_type from) {
    for (std::string::size_type at = from; at < text.size(); ++at) {
        if (text[at] == ' ') {
            return at;
        }
        std::string::size_type const close = text[at] == '(' ? text.find(')', at) : at;
        at = close == std::string::npos ? at : close;
    }
    return text.size();
}

} // namespace

std::vector<std::string> wrapped(std::string const& text, std::size_t room) {
    std::vector<std::string> lines(1);
    for (std::string::size_type begin = 0; begin < text.size();) {
        std::string::size_type const end = nextBreak(text, begin);
        std::string const word = text.substr(begin, end - begin);
        bool const isFirst = lines.back().empty();
        if (!isFirst && lines.back().size() + 1 + word.size() > room) {
            lines.push_back(word);
        } else {
            lines.back() += (isFirst ? "" : " ") + word;
        }
        begin = end + 1;
    }
    return lines;
}

} // namespace gateway
