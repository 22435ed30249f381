#ifndef TESTS_SUPPORT_SHELL_H
#define TESTS_SUPPORT_SHELL_H

#include <fstream>
#include <iterator>
#include <string>

/** For tests that run programs by a command line. */
namespace shell {

/** The argument as one word of a command line. */
inline std::string quoted(std::string const& argument) {
    std::string result = "'";
    for (char const each : argument) {
        result += each == '\'' ? std::string("'\\''") : std::string(1, each);
    }
    return result + "'";
}

/** Empty when the file can't be read. */
inline std::string contentOf(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace shell

#endif
