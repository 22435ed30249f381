#include "tests/system/Program.h"

#include "tests/support/Shell.h"

#include <sys/wait.h>

#include <cstdlib>
#include <fstream>

using shell::contentOf;
using shell::quoted;

TemporaryFile::TemporaryFile(std::string const& name, std::string const& content)
    : filePath(directory.path() + "/" + name) {
    std::ofstream(filePath, std::ios::binary) << content;
}

ProgramRun runProgram(std::vector<std::string> const& arguments) {
    TemporaryFile const output("output", "");
    TemporaryFile const errors("errors", "");
    std::string const emulator = MCGW_EMULATOR;
    std::string command = emulator.empty() ? "" : quoted(emulator) + " ";
    command += quoted(MCGW_PROGRAM);
    for (std::string const& argument : arguments) {
        command += " " + quoted(argument);
    }
    command += " >" + quoted(output.path()) + " 2>" + quoted(errors.path());
    int const status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(output.path()),
            contentOf(errors.path())};
}
