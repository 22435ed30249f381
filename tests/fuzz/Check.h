#ifndef FUZZ_CHECK_H
#define FUZZ_CHECK_H

#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

/** Ends the process, which is how a fuzz target says that an input is a finding. */
[[noreturn]] inline void fail(std::string const& what) {
    std::string const line = "does not hold: " + what + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr); // whole, whatever characters it holds
    std::abort();
}

inline void require(bool holds, char const* what) {
    if (!holds) {
        fail(what);
    }
}

/** Both as texts in the report, for anything that std::to_string takes. */
template <typename Value>
void requireEqual(Value const& seen, Value const& expected, char const* what) {
    if (!(seen == expected)) {
        fail(std::string(what) + " is " + std::to_string(seen) + ", not " +
             std::to_string(expected));
    }
}

inline void requireEqual(std::string const& seen, std::string const& expected, char const* what) {
    if (seen != expected) {
        fail(std::string(what) + " is \"" + seen + "\", not \"" + expected + "\"");
    }
}

} // namespace fuzz

#endif
