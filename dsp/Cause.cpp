#include "dsp/Cause.h"

#include <array>

namespace dsp {

namespace {

struct Entry {
    char const* name;
    Error error;
};

/** In the order of the enumeration. */
std::array<Entry, causeCount> const entries = {{
    {"wrong destination", Error::none},  // not answered
    {"unknown identifier", Error::none}, // not answered
    {"wrong length", Error::badParameter},
    {"no such channel", Error::noSuchChannel},
    {"unknown parameter", Error::badParameter},
    {"bad parameter", Error::badParameter},
    {"already open", Error::alreadyOpen},
    {"not open", Error::notOpen},
    {"already joined", Error::alreadyOpen},
    {"not joined", Error::notOpen},
    {"no port left", Error::noPortLeft},
    {"on request", Error::none}, // whoever asked for it named the error
}};

} // namespace

char const* causeName(Cause cause) {
    return entries.at(static_cast<std::size_t>(cause)).name;
}

Error errorOf(Cause cause) {
    return entries.at(static_cast<std::size_t>(cause)).error;
}

char const* errorName(unsigned code) {
    static std::array<char const*, 6> const names = {"none",     "no such channel", "already open",
                                                     "not open", "bad parameter",   "no port left"};
    return code < names.size() ? names[code] : nullptr;
}

} // namespace dsp
