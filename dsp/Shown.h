#ifndef DSP_SHOWN_H
#define DSP_SHOWN_H

#include <algorithm>
#include <string>

namespace dsp {

/**
 * A text of whatever origin as an error message repeats it: no more of it than tells which one it
 * is, and nothing that a terminal would obey.
 */
inline std::string shown(std::string const& text) {
    std::string::size_type const longest = 60;
    std::string result = text.substr(0, longest);
    std::replace_if(
        result.begin(), result.end(), [](char each) { return each < ' ' || each > '~'; }, '?');
    return result + (text.size() > longest ? "..." : "");
}

} // namespace dsp

#endif
