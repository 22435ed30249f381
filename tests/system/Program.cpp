#include "tests/system/Program.h"

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace {

std::string quoted(std::string const& argument) {
    std::string result = "'";
    for (char const each : argument) {
        result += each == '\'' ? std::string("'\\''") : std::string(1, each);
    }
    return result + "'";
}

std::string contentOf(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string makeDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "mcgw-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary directory");
    }
    return name;
}

} // namespace

TemporaryFile::TemporaryFile(std::string const& name, std::string const& content)
    : directory(makeDirectory()), filePath(directory + "/" + name) {
    std::ofstream(filePath, std::ios::binary) << content;
}

TemporaryFile::~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
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
