#include "gateway/OperatorLine.h"

#include <cctype>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace gateway {

namespace {

/** The number is read where the library reads it: behind the first "0x", wherever that stands. */
unsigned long dspsAskedFor(std::string const& line) {
    auto const dsp = line.find("MC Dsp");
    auto const prefix = dsp == std::string::npos ? dsp : line.find("0x", dsp);
    if (prefix == std::string::npos || line.find("MC Channel") != std::string::npos ||
        line.find("All", dsp) != std::string::npos ||
        std::isxdigit(static_cast<unsigned char>(line.c_str()[prefix + 2])) == 0) {
        return 0;
    }
    return std::strtoul(line.c_str() + prefix + 2, nullptr, 16);
}

} // namespace

void requireModest(std::string const& line) {
    if (dspsAskedFor(line) > mostDspsShown) {
        std::ostringstream text;
        text << std::hex << "MC Dsp shows at most 0x" << mostDspsShown
             << " DSP channels here: expected a number up to that, or All for those that have "
                "channels";
        throw std::invalid_argument(text.str());
    }
}

} // namespace gateway
