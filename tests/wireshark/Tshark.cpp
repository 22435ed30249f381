#include "tests/wireshark/Tshark.h"

#include "tests/support/Shell.h"
#include "tests/support/TemporaryDirectory.h"

#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

using shell::contentOf;
using shell::quoted;

std::string outputOf(std::vector<std::string> const& command) {
    TemporaryDirectory const directory;
    std::string const output = directory.path() + "/output";
    std::string const errors = directory.path() + "/errors";
    // No settings and no plugins of whoever runs the test.
    std::string line = "HOME=" + quoted(directory.path());
    for (std::string const& each : command) {
        line += " " + quoted(each);
    }
    int const status = std::system((line + " >" + output + " 2>" + errors).c_str());
    std::string const printed = contentOf(output);
    std::string const said = contentOf(errors);
    bool const isLuaFault = (printed + said).find("Lua Error") != std::string::npos ||
                            said.find("Lua: ") != std::string::npos;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || isLuaFault) {
        throw std::runtime_error(line + ": status " + std::to_string(status) + "\n" + said +
                                 printed.substr(0, 2000));
    }
    return printed;
}

std::string tshark(std::string const& capture, std::vector<std::string> const& options) {
    std::vector<std::string> command = {
        "tshark", "-2", "-X", std::string("lua_script:") + DISSECTOR, "-r", capture};
    command.insert(command.end(), options.begin(), options.end());
    return outputOf(command);
}

std::vector<std::vector<std::string>> fieldsOf(std::string const& capture,
                                               std::vector<std::string> const& names) {
    std::vector<std::string> options = {"-T", "fields"};
    for (std::string const& name : names) {
        options.insert(options.end(), {"-e", name});
    }
    std::vector<std::vector<std::string>> rows;
    std::istringstream lines(tshark(capture, options));
    for (std::string line; std::getline(lines, line);) {
        rows.push_back(split(line, '\t'));
    }
    return rows;
}

std::vector<std::string> split(std::string const& text, char at) {
    std::vector<std::string> parts(1);
    for (char const each : text) {
        if (each == at) {
            parts.emplace_back();
        } else {
            parts.back() += each;
        }
    }
    return parts;
}
